// The analysis on hand-made databases: the rows an exploration and a scan give, worked out by
// hand from tests/quotes/data/tiny; ranges; one symbol; the run's order, progress and cancel;
// and the same rows whatever the number of threads and whether the quotes stream or sit in
// memory.
#include "analysis/AnalysisRun.h"

#include "analysis/ResultsCsv.h"
#include "support/QuoteFixtures.h"

#include <cmath>
#include <gtest/gtest.h>

namespace marlindex {
namespace {

namespace fs = std::filesystem;

TradeDate Day(const char* text) {
    return *ParseIsoDate(text);
}

// "AAA 2024-01-03 Buy" per row, for comparing whole runs at a glance.
std::vector<std::string> Rows(const AnalysisResults& results) {
    std::vector<std::string> rows;
    for (const ResultRow& row : results.rows) {
        std::string text = results.SymbolOf(row) + " " + FormatIsoDate(row.date);
        if (results.mode == AnalysisMode::Scan) {
            text += row.trade == Trade::Buy ? " Buy" : " Sell";
        }
        rows.push_back(std::move(text));
    }
    return rows;
}

class TinyDatabaseTest : public ::testing::Test {
protected:
    void SetUp() override { test::ImportOrFail(folder_.path(), test::TinyDatabase()); }

    Result<AnalysisResults> Run(const std::string& text, AnalysisRequest request) const {
        const QuoteStore store = QuoteStore::Open(folder_.path()).value();
        return RunAnalysis(afl::Formula::Parse(text), store, request);
    }
    AnalysisResults RunOk(const std::string& text, AnalysisRequest request) const {
        Result<AnalysisResults> results = Run(text, request);
        EXPECT_TRUE(results) << (results ? "" : results.problem().Message());
        return results ? std::move(results).value() : AnalysisResults{};
    }
    static AnalysisRequest Explore(BarRange range = {}) {
        return {AnalysisMode::Explore, range, std::nullopt, 0};
    }
    static AnalysisRequest Scan(BarRange range = {}) {
        return {AnalysisMode::Scan, range, std::nullopt, 0};
    }

    test::TempFolder folder_;
};

TEST_F(TinyDatabaseTest, ExploreListsTheBarsFilterPassesWithTheirColumns) {
    const AnalysisResults results =
        RunOk("Filter = C > O; AddColumn( C, \" Close \", 1.4 ); AddColumn( Ref( C, -1 ), "
              "\"Before\" );",
              Explore());
    EXPECT_EQ(Rows(results),
              (std::vector<std::string>{"AAA 2024-01-02", "AAA 2024-01-03", "AAA 2024-01-08",
                                        "BBB 2024-01-08", "CCC 2024-01-04"}));
    ASSERT_EQ(results.columns.size(), 2u);
    EXPECT_EQ(results.columns[0].title, "Close") << "blanks around the title trimmed";
    EXPECT_EQ(results.columns[0].format, 1.4);
    EXPECT_EQ(results.columns[1].format, 1.2) << "AddColumn's default format";
    EXPECT_EQ(results.symbolsRun, 3u);
    EXPECT_EQ(results.barsRun, 11u);
    EXPECT_FALSE(results.cancelled);
    EXPECT_EQ(ResultsCsv(results), "Symbol,Date,Close,Before\n"
                                   "AAA,2024-01-02,10.0000,\n" // no bar before: Null
                                   "AAA,2024-01-03,11.0000,10.00\n"
                                   "AAA,2024-01-08,12.0000,10.00\n"
                                   "BBB,2024-01-08,21.0000,19.00\n"
                                   "CCC,2024-01-04,6.0000,4.00\n");
}

TEST_F(TinyDatabaseTest, ScanGivesARowPerSignalAndBuyFirstOnABarWithBoth) {
    const AnalysisResults results =
        RunOk("Buy = C > Ref( C, -1 ); Sell = C < Ref( C, -1 ) OR V > 2500;", Scan());
    EXPECT_EQ(Rows(results), (std::vector<std::string>{
                                 "AAA 2024-01-03 Buy", "AAA 2024-01-05 Sell", "AAA 2024-01-08 Buy",
                                 "BBB 2024-01-04 Sell", "BBB 2024-01-08 Buy", "BBB 2024-01-08 Sell",
                                 "CCC 2024-01-03 Sell", "CCC 2024-01-04 Buy"}));
    EXPECT_EQ(results.rows[5].close, 21);
    EXPECT_TRUE(results.columns.empty());
    EXPECT_EQ(ResultsCsv(results).substr(0, 49), "Symbol,Date,Trade,Close\n"
                                                 "AAA,2024-01-03,Buy,11.00\n");

    // A formula with Buy alone scans Buy alone.
    EXPECT_EQ(RunOk("Buy = V > 2500;", Scan()).rows.size(), 1u);
}

TEST_F(TinyDatabaseTest, RangesChooseTheBarsThatReportNotTheHistoryComputedOn) {
    const auto rows = [&](BarRange range) { return Rows(RunOk("Buy = 1;", Scan(range))); };
    EXPECT_EQ(rows({}).size(), 11u);
    EXPECT_EQ(rows({RangeMode::LastBars, 2}),
              (std::vector<std::string>{"AAA 2024-01-05 Buy", "AAA 2024-01-08 Buy",
                                        "BBB 2024-01-04 Buy", "BBB 2024-01-08 Buy",
                                        "CCC 2024-01-03 Buy", "CCC 2024-01-04 Buy"}))
        << "each symbol's own last bars";
    // The two last trading dates of the database are 01-05 and 01-08: BBB misses 01-05 and
    // CCC ended before them.
    EXPECT_EQ(rows({RangeMode::LastDays, 2}),
              (std::vector<std::string>{"AAA 2024-01-05 Buy", "AAA 2024-01-08 Buy",
                                        "BBB 2024-01-08 Buy"}));
    EXPECT_EQ(rows({RangeMode::LastDays, 3}).size(), 6u);
    EXPECT_TRUE(rows({RangeMode::LastBars, 0}).empty());
    EXPECT_TRUE(rows({RangeMode::LastDays, 0}).empty());
    EXPECT_EQ(rows({RangeMode::LastBars, 99}).size(), 11u);
    EXPECT_EQ(rows({RangeMode::LastDays, 99}).size(), 11u);

    // The history before the range still feeds the indicators: Ref reaches back before it.
    const AnalysisResults last = RunOk("Filter = 1; AddColumn( Ref( C, -1 ), \"Before\" );",
                                       Explore({RangeMode::LastBars, 1}));
    EXPECT_EQ(last.values, (std::vector<double>{10, 19, 4}));
}

TEST(FirstReportedBar, CountsBarsOrTradingDates) {
    const std::vector<TradeDate> trading{1, 2, 3, 4, 5, 6};
    const std::vector<TradeDate> gaps{1, 3, 6};
    EXPECT_EQ(FirstReportedBar({RangeMode::AllBars, 0}, gaps, trading), 0u);
    EXPECT_EQ(FirstReportedBar({RangeMode::LastBars, 1}, gaps, trading), 2u);
    EXPECT_EQ(FirstReportedBar({RangeMode::LastBars, 5}, gaps, trading), 0u);
    EXPECT_EQ(FirstReportedBar({RangeMode::LastDays, 3}, gaps, trading), 2u) << "dates 4 to 6";
    EXPECT_EQ(FirstReportedBar({RangeMode::LastDays, 4}, gaps, trading), 1u) << "dates 3 to 6";
    EXPECT_EQ(FirstReportedBar({RangeMode::LastDays, 6}, gaps, trading), 0u);
    EXPECT_EQ(FirstReportedBar({RangeMode::LastDays, 1}, std::vector<TradeDate>{1, 3}, trading), 2u)
        << "a symbol that ended early has no bar in the range";
    EXPECT_EQ(FirstReportedBar({RangeMode::LastBars, 1}, {}, trading), 0u);
}

TEST_F(TinyDatabaseTest, TheCurrentSymbolAloneOrWhyNot) {
    AnalysisRequest request = Scan();
    request.symbol = "BBB";
    const AnalysisResults one = RunOk("Buy = 1;", request);
    EXPECT_EQ(one.symbols, (std::vector<std::string>{"BBB"}));
    EXPECT_EQ(one.rows.size(), 3u);
    EXPECT_EQ(one.symbolsRun, 1u);

    request.symbol = "bbb";
    EXPECT_EQ(Run("Buy = 1;", request).problem().Message(), "the database has no symbol \"bbb\"")
        << "symbols are matched exactly";
    request.symbol = "";
    EXPECT_EQ(Run("Buy = 1;", request).problem().Message(),
              "there is no current symbol to run over");
}

TEST_F(TinyDatabaseTest, BreadthIsTheDatabasesWhenTheRunStreams) {
    const std::string formula = "Filter = 1; AddColumn( ADLine(), \"AD\", 1.0 );";
    const AnalysisResults streamed = RunOk(formula, Explore());
    // NYSE as the fixture's README works it out: no breadth on 01-02; then advancing minus
    // declining over unchanged + 1 is 1, -1/2, -1 and 2, and ADLine sums their signed roots.
    EXPECT_EQ(FormatColumnValue(streamed.values[0], 1.0), "") << "AAA on the first date";
    const double half = std::sqrt(0.5);
    const std::vector<double> expected{1, 1 - half, -half, std::sqrt(2.0) - half};
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_NEAR(streamed.values[1 + i], expected[i], 1e-12) << "AAA, bar " << i + 1;
    }

    const QuoteSnapshot snapshot = *QuoteStore::Open(folder_.path())->LoadForAnalysis();
    const AnalysisResults inMemory =
        RunAnalysis(afl::Formula::Parse(formula), snapshot, Explore()).value();
    EXPECT_EQ(ResultsCsv(inMemory), ResultsCsv(streamed));
}

TEST_F(TinyDatabaseTest, AFormulaThatCannotRunSaysWhereOrWhy) {
    EXPECT_EQ(Run("Buy = 1;", Explore()).problem().Message(),
              "the formula assigns no Filter: an exploration lists the bars where Filter is "
              "true");
    EXPECT_EQ(Run("Filter = 1;", Scan()).problem().Message(),
              "the formula assigns neither Buy nor Sell: a scan lists their signals");
    // A value of the wrong kind shows only while it runs; its place is in the formula.
    const auto wrongKind = Run("x = 1;\nBuy = MA( C, \"five\" );", Scan());
    ASSERT_FALSE(wrongKind);
    EXPECT_EQ(wrongKind.problem().kind, ProblemKind::BadInput);
    EXPECT_EQ(wrongKind.problem().where.line, 2u);
    EXPECT_GT(wrongKind.problem().where.column, 1u);

    test::TempFolder empty;
    EXPECT_EQ(QuoteStore::Open(empty.path()).problem().kind, ProblemKind::BadInput);
}

// Many symbols, whose names sort differently by letter case and by byte.
class ManySymbolsTest : public ::testing::Test {
protected:
    void SetUp() override {
        test::ImportGeneratedStore(folder_.path(), 40, 260);
        const fs::path odd = folder_ / "odd";
        fs::create_directories(odd);
        int seed = 100;
        for (const char* name : {"a", "B", "BRK.B", "Z", "_x"}) {
            test::WriteBytes(odd / (std::string(name) + ".csv"),
                             test::GeneratedPrices(Day("2020-03-02"), 200, seed++));
        }
        test::ImportOrFail(folder_.path(), {std::nullopt, {odd}});
    }
    QuoteStore Store() const { return QuoteStore::Open(folder_.path()).value(); }

    static constexpr const char* kCrossing =
        "Buy = Cross( MA( C, 5 ), MA( C, 20 ) ); Sell = Cross( MA( C, 20 ), MA( C, 5 ) );";
    static constexpr const char* kColumns =
        "Filter = C > MA( C, 10 ); AddColumn( RSIa( C, 14 ), \"RSI\" ); "
        "AddColumn( IIf( C > O, Null, V ), \"Volume\", 1.0 );";
    test::TempFolder folder_;
};

TEST_F(ManySymbolsTest, RowsAreSortedBySymbolBytesThenDate) {
    const AnalysisResults results =
        RunAnalysis(afl::Formula::Parse("Buy = 1;"), Store(), {AnalysisMode::Scan, {}, {}, 0})
            .value();
    ASSERT_EQ(results.symbols.size(), 45u);
    EXPECT_EQ(results.symbols[0], "B");
    EXPECT_EQ(results.symbols[1], "BRK.B");
    EXPECT_EQ(results.symbols[2], "S000");
    EXPECT_EQ(results.symbols[42], "Z");
    EXPECT_EQ(results.symbols[43], "_x");
    EXPECT_EQ(results.symbols[44], "a");
    for (std::size_t r = 1; r < results.rows.size(); ++r) {
        const ResultRow& a = results.rows[r - 1];
        const ResultRow& b = results.rows[r];
        ASSERT_TRUE(a.symbol < b.symbol || (a.symbol == b.symbol && a.date < b.date)) << r;
    }
}

TEST_F(ManySymbolsTest, OneThreadAllThreadsAndQuotesInMemoryGiveTheSameRows) {
    const QuoteSnapshot snapshot = *Store().LoadForAnalysis();
    for (const char* text : {kCrossing, kColumns}) {
        const afl::Formula formula = afl::Formula::Parse(text);
        const AnalysisMode mode =
            formula.AssignsFilter() ? AnalysisMode::Explore : AnalysisMode::Scan;
        const BarRange range{RangeMode::LastDays, 120};
        const std::string serial =
            ResultsCsv(RunAnalysis(formula, Store(), {mode, range, {}, 1}).value());
        EXPECT_GT(serial.size(), 2000u) << "the formula finds rows: " << text;
        EXPECT_EQ(ResultsCsv(RunAnalysis(formula, Store(), {mode, range, {}, 0}).value()), serial);
        EXPECT_EQ(ResultsCsv(RunAnalysis(formula, snapshot, {mode, range, {}, 0}).value()), serial);
        EXPECT_EQ(ResultsCsv(RunAnalysis(formula, snapshot, {mode, range, {}, 1}).value()), serial);
    }
}

TEST_F(ManySymbolsTest, ProgressHearsEverySymbolInOrderAndCanCancel) {
    const afl::Formula formula = afl::Formula::Parse(kCrossing);
    for (const unsigned threads : {1u, 0u}) {
        std::vector<std::size_t> heard;
        RunControl control;
        control.progress = [&](std::size_t done, std::size_t total) {
            EXPECT_EQ(total, 45u);
            heard.push_back(done);
            return true;
        };
        const AnalysisResults whole =
            RunAnalysis(formula, Store(), {AnalysisMode::Scan, {}, {}, threads}, control).value();
        ASSERT_EQ(heard.size(), 45u);
        EXPECT_EQ(heard.front(), 1u);
        EXPECT_EQ(heard.back(), 45u);
        EXPECT_TRUE(std::is_sorted(heard.begin(), heard.end()));
        EXPECT_FALSE(whole.cancelled);

        // Cancelled by the progress after ten symbols: the rows are those of the symbols done.
        control.progress = [](std::size_t done, std::size_t) { return done < 10; };
        const AnalysisResults part =
            RunAnalysis(formula, Store(), {AnalysisMode::Scan, {}, {}, threads}, control).value();
        EXPECT_TRUE(part.cancelled);
        // Symbols still in flight on other threads are let go, so the cut is exact.
        EXPECT_EQ(part.symbolsRun, 10u);
        ASSERT_LE(part.rows.size(), whole.rows.size());
        for (std::size_t r = 0; r < part.rows.size(); ++r) {
            EXPECT_EQ(Rows(part)[r], Rows(whole)[r]);
        }

        // Cancelled by the flag, as a Cancel button on another thread would.
        std::atomic<bool> cancel{false};
        control.progress = [&](std::size_t done, std::size_t) {
            cancel = done >= 5;
            return true;
        };
        control.cancel = &cancel;
        const AnalysisResults flagged =
            RunAnalysis(formula, Store(), {AnalysisMode::Scan, {}, {}, threads}, control).value();
        EXPECT_TRUE(flagged.cancelled);
        EXPECT_EQ(flagged.symbolsRun, 5u);

        control.progress = {};
        const AnalysisResults before =
            RunAnalysis(formula, Store(), {AnalysisMode::Scan, {}, {}, threads}, control).value();
        EXPECT_EQ(before.symbolsRun, 0u) << "cancelled before it began";
        EXPECT_TRUE(before.cancelled);
    }
}

} // namespace
} // namespace marlindex
