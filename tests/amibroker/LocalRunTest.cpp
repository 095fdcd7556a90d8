// Run on the local host, as a user runs it: conditions built in the main window's editor, Run
// through MainWindowState with the real LocalBroker over a hand-made database; the CSV beside
// Unnamed.afl and the message that says where it is, or why the run stopped.
#include "amibroker/LocalBroker.h"
#include "mainwindow/MainWindowState.h"
#include "settings/MemoryHive.h"
#include "support/QuoteFixtures.h"
#include "support/ScriptedPrompts.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace marlindex {
namespace {

namespace fs = std::filesystem;

TEST(ReadRangeN, TakesWholeNumbersAsTheAutomationInterfaceWould) {
    EXPECT_EQ(ReadRangeN(Variant{std::int16_t{7}}), 7u);
    EXPECT_EQ(ReadRangeN(Variant{std::string(" 12 ")}), 12u);
    EXPECT_EQ(ReadRangeN(Variant{std::string("+3")}), 3u);
    EXPECT_EQ(ReadRangeN(Variant{std::string("2.5")}), 2u) << "half to even";
    EXPECT_EQ(ReadRangeN(Variant{std::string("0")}), 0u);
    for (const Variant& refused :
         {Variant{std::string("-5")}, Variant{std::string("five")}, Variant{std::string("")},
          Variant{std::string("1e99")}, Variant{std::int16_t{-1}}, Variant{VariantEmpty{}}}) {
        EXPECT_FALSE(ReadRangeN(refused));
    }
}

class LocalRunTest : public ::testing::Test {
protected:
    void SetUp() override { test::ImportOrFail(database_, test::TinyDatabase()); }

    void Pick(ComboId combo, void (MainWindowState::*gotFocus)(), std::string_view text) {
        (w.*gotFocus)();
        const int index = w.Combo(combo).FindText(text);
        ASSERT_GE(index, 0) << text;
        w.Choose(combo, index);
    }
    // "Price (Close) is greater than 10", as the editor builds it.
    void CloseAbove10() {
        Pick(ComboId::cboIA1, &MainWindowState::cboIA1_GotFocus, "Price");
        Pick(ComboId::cboCO, &MainWindowState::cboCO_GotFocus, "is greater than");
        Pick(ComboId::cboCT, &MainWindowState::cboCT_GotFocus, "Value");
        w.txtVal1_GotFocus();
        w.txtVal1_Change("10");
        w.txtVal1_LostFocus();
    }
    RunOutcome Run() {
        prompts_.shown.clear();
        RunServices services;
        services.broker = &broker_;
        services.programFolder = (folder_.path() / "host" / "Marlindex").string();
        services.today = "21 Nov 2026";
        return w.btnRun_Click(services);
    }
    fs::path Csv() const { return folder_.path() / "host" / "Formulas" / "Unnamed.csv"; }
    std::string Message() const {
        return prompts_.shown.size() == 1 ? prompts_.shown[0].text : "(not one message)";
    }

    test::TempFolder folder_;
    fs::path database_ = folder_.path() / "database";
    test::ScriptedPrompts prompts_;
    LocalBroker broker_{database_, prompts_};
    MemoryHive hive_;
    CProgramSettings settings_ = CProgramSettings::ForMarlindex(hive_);
    MainWindowState w{settings_};
};

TEST_F(LocalRunTest, ExploresTheDatabaseAndSaysWhereTheRowsAre) {
    CloseAbove10();
    w.optAllBars_Click();
    const RunOutcome outcome = Run();
    EXPECT_TRUE(outcome.started);
    EXPECT_EQ(outcome.error, "");
    // Close > 10: AAA on 01-03, 01-04 and 01-08, BBB on each of its three bars.
    EXPECT_EQ(test::ReadBytes(Csv()), "Symbol,Date,Close,Open,High,Low,Volume\n"
                                      "AAA,2024-01-03,11.00,10.00,11.50,9.50,200.00\n"
                                      "AAA,2024-01-04,11.00,11.00,11.50,10.50,300.00\n"
                                      "AAA,2024-01-08,12.00,10.00,12.50,10.00,500.00\n"
                                      "BBB,2024-01-03,20.00,20.00,21.00,19.00,1000.00\n"
                                      "BBB,2024-01-04,19.00,20.00,20.00,18.00,2000.00\n"
                                      "BBB,2024-01-08,21.00,19.00,22.00,19.00,3000.00\n");
    EXPECT_EQ(Message(), "The exploration gave 6 rows from 3 symbols and 11 bars.\n"
                         "The rows are in\n" +
                             Csv().string());
    EXPECT_EQ(prompts_.shown[0].icon, PromptIcon::Information);
    ASSERT_TRUE(broker_.Local().LastResults());
    EXPECT_EQ(broker_.Local().LastResults()->rows.size(), 6u);

    // The range options reach the engine: the last trading date alone.
    w.OptLastDays_Click();
    w.txtRange_Change("1");
    Run();
    EXPECT_EQ(Message(), "The exploration gave 2 rows from 3 symbols and 11 bars.\n"
                         "The rows are in\n" +
                             Csv().string());
}

TEST_F(LocalRunTest, ScansAndAppliesToTheCurrentSymbolOnceThereIsOne) {
    CloseAbove10();
    w.optScanBuy_Click();
    w.OptCurrentTicker_Click();
    w.optAllBars_Click();
    RunOutcome outcome = Run();
    EXPECT_FALSE(outcome.started) << "the member failed, so the run did not complete";
    EXPECT_EQ(outcome.error, "the scan applies to the current symbol, and there is none yet: "
                             "choose \"all tickers\" or \"use filter\" to run over the database");
    EXPECT_EQ(Message(), "The run stopped:\n" + outcome.error);
    EXPECT_EQ(prompts_.shown[0].icon, PromptIcon::Exclamation);
    EXPECT_FALSE(fs::exists(Csv()));

    broker_.Local().SetCurrentSymbol("BBB");
    outcome = Run();
    EXPECT_TRUE(outcome.started);
    EXPECT_EQ(test::ReadBytes(Csv()), "Symbol,Date,Trade,Close\n"
                                      "BBB,2024-01-03,Buy,20.00\n"
                                      "BBB,2024-01-04,Buy,19.00\n"
                                      "BBB,2024-01-08,Buy,21.00\n");
    EXPECT_EQ(Message().substr(0, 46), "The scan gave 3 rows from 1 symbol and 3 bars.");
}

TEST_F(LocalRunTest, ACancelledRunKeepsTheRowsOfTheSymbolsDoneAndSaysSo) {
    CloseAbove10();
    w.optAllBars_Click();
    std::vector<std::size_t> heard;
    broker_.Local().SetRunControl({[&](std::size_t done, std::size_t total) {
        heard.push_back(done);
        EXPECT_EQ(total, 3u);
        return done < 1; // the user cancels once AAA is done
    }});
    const RunOutcome outcome = Run();
    EXPECT_TRUE(outcome.started);
    EXPECT_EQ(heard, std::vector<std::size_t>{1}) << "no symbol starts after the cancel";
    EXPECT_EQ(test::ReadBytes(Csv()), "Symbol,Date,Close,Open,High,Low,Volume\n"
                                      "AAA,2024-01-03,11.00,10.00,11.50,9.50,200.00\n"
                                      "AAA,2024-01-04,11.00,11.00,11.50,10.50,300.00\n"
                                      "AAA,2024-01-08,12.00,10.00,12.50,10.00,500.00\n");
    EXPECT_EQ(Message(), "The exploration gave 3 rows from 1 symbol and 5 bars; it was "
                         "cancelled before the last symbol.\nThe rows are in\n" +
                             Csv().string());
}

TEST_F(LocalRunTest, BesideAWindowTheRunGoesOnItsOwnThreadAndOnlyAFailureSaysSo) {
    CloseAbove10();
    w.optAllBars_Click();
    LocalAnalysis& local = broker_.Local();
    local.SetReportInMessage(false);
    std::atomic<bool> cancel{false};
    std::atomic<std::size_t> progressHeard{0};
    local.SetRunControl({[&](std::size_t, std::size_t) {
                             ++progressHeard;
                             return true;
                         },
                         &cancel});
    int pumped = 0;
    const std::thread::id caller = std::this_thread::get_id();
    local.SetWhileRunning([&] {
        EXPECT_EQ(std::this_thread::get_id(), caller);
        ++pumped;
    });
    EXPECT_TRUE(Run().started);
    EXPECT_GE(pumped, 1) << "the window has its events run at least once";
    EXPECT_EQ(progressHeard.load(), 3u);
    ASSERT_TRUE(local.LastResults());
    EXPECT_EQ(local.LastResults()->rows.size(), 6u);
    EXPECT_TRUE(prompts_.shown.empty()) << "the window shows the rows";
    EXPECT_TRUE(fs::exists(Csv())) << "the CSV is still written";

    // Cancel, clicked while the window's events run: the run stops before its first symbol or
    // after it (that symbol waits here for the click, so the run cannot finish first).
    local.SetRunControl({[&](std::size_t, std::size_t) {
                             while (!cancel) {
                                 std::this_thread::yield();
                             }
                             return true;
                         },
                         &cancel});
    local.SetWhileRunning([&] { cancel = true; });
    EXPECT_TRUE(Run().started);
    EXPECT_TRUE(local.LastResults()->cancelled);
    EXPECT_LE(local.LastResults()->symbolsRun, 1u);

    // A failure still says why.
    local.SetCurrentSymbol("ZZZ");
    w.OptCurrentTicker_Click();
    const RunOutcome failed = Run();
    EXPECT_NE(failed.error, "");
    EXPECT_EQ(Message(), "The run stopped:\n" + failed.error);
}

TEST_F(LocalRunTest, AFormulaThatDoesNotReadIsNamedByLineAndColumn) {
    w.txtForumlae.text = "Filter = Close >;\r\nAddColumn( Close, \"Close\" );";
    w.mICWC_Click(); // the formula alone, so its lines are the file's
    const RunOutcome outcome = Run();
    const std::string runFile = (folder_.path() / "host" / "Formulas" / "Unnamed.afl").string();
    EXPECT_EQ(outcome.error, runFile + ":1:17: expected a value, found ';'");
    EXPECT_EQ(Message(), "The run stopped:\n" + outcome.error);
    EXPECT_TRUE(fs::exists(runFile)) << "the run file stays, as after any failed run";
}

TEST_F(LocalRunTest, ReadsTheRunFileAsWindows1252AndSaysWhatIsMissing) {
    LocalAnalysis& analysis = broker_.Local();
    const fs::path file = folder_ / "f.afl";
    test::WriteBytes(file, "// Soci\xE9t\xE9 G\xE9n\xE9rale\r\nBuy = C > 20;");
    analysis.LoadFormula(file.string());
    analysis.SetApplyTo(0);
    analysis.SetRangeMode(1);
    analysis.SetRangeN(Variant{std::string("1")});
    analysis.Scan();
    EXPECT_EQ(test::ReadBytes(folder_ / "f.csv"), "Symbol,Date,Trade,Close\n"
                                                  "BBB,2024-01-08,Buy,21.00\n");

    EXPECT_THROW(analysis.SetRangeN(Variant{std::string("many")}), BrokerError);
    EXPECT_THROW(analysis.SetRangeMode(3), BrokerError);
    EXPECT_THROW(analysis.Explore(), BrokerError) << "no Filter to explore";
    EXPECT_EQ(prompts_.shown.back().text,
              "The run stopped:\nthe formula assigns no Filter: an exploration lists the bars "
              "where Filter is true");

    fs::remove(database_ / "quotes.db");
    EXPECT_THROW(analysis.Scan(), BrokerError);
    EXPECT_EQ(prompts_.shown.back().text,
              "The run stopped:\n" + database_.string() +
                  ": no quote store (quotes.db) in this folder; import quotes first");
}

} // namespace
} // namespace marlindex
