// marlindex-cli run: the run file and the analysis calls of every option combination, through a
// recording broker; the refusals of a command line that cannot run; the local host on a
// database folder.
#include "cli/RunCommand.h"
#include "cli/RunTool.h"
#include "support/QuoteFixtures.h"
#include "support/RecordingBroker.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <sstream>

namespace marlindex {
namespace {

// RSI below 30 with a filter: the filter joins the formula only under "use filter".
constexpr const char* kScan = R"({
  "analysis": "sell", "applyTo": "current", "range": "lastDays", "rangeN": 3,
  "filter": "Close > 5",
  "rows": [ { "indicator1": "RSI", "bars1": 0, "comparison": "is less than",
              "target": "Value", "value": 30 } ]
})";
constexpr const char* kHeader =
    "/* Create date: 21 Nov 2026\r\nRSI(14) of the current bar is less than 30 */\r\n\r\n";

class RunCliTest : public ::testing::Test {
protected:
    void SetUp() override {
        test::WriteBytes(folder_ / "rsi.json", kScan);
        options_.formula = (folder_ / "rsi.json").string();
        options_.registryFile = (folder_ / "none.reg").string();
        options_.programFolder = (folder_ / "AmiBroker" / "Marlindex").string();
        options_.today = "21 Nov 2026";
        options_.broker = &broker_;
    }

    int Run() {
        broker_.analysis.calls.clear();
        std::istringstream in;
        std::ostringstream out;
        err_.str("");
        return RunThroughBroker(options_, {in, out, err_});
    }
    std::filesystem::path RunFile(const char* folder = "Formulas") const {
        return folder_ / "AmiBroker" / folder / "Unnamed.afl";
    }
    std::vector<std::string> Calls(int applyTo, int rangeMode, const char* n, const char* last) {
        std::vector<std::string> calls{"Version",
                                       "Analysis",
                                       "LoadFormula " + RunFile().string(),
                                       "ClearFilters",
                                       "ApplyTo " + std::to_string(applyTo),
                                       "RangeMode " + std::to_string(rangeMode)};
        if (n != nullptr) {
            calls.push_back(std::string("RangeN text ") + n);
        }
        calls.push_back(last);
        return calls;
    }

    test::TempFolder folder_;
    test::RecordingBroker broker_;
    RunCommandOptions options_;
    std::ostringstream err_;
};

TEST_F(RunCliTest, AScanFileRunsWithItsOwnOptionsAndAHeaderComment) {
    options_.scan = true;
    ASSERT_EQ(Run(), kExitOk) << err_.str();
    EXPECT_EQ(test::ReadBytes(RunFile()), std::string(kHeader) + "Sell = RSIa( Close, 14 ) < 30;");
    EXPECT_EQ(broker_.analysis.calls, Calls(1, 2, "3", "Scan"));
}

TEST_F(RunCliTest, EveryOptionCombinationReachesTheAnalysis) {
    for (const bool explore : {true, false}) {
        for (const std::string applyTo : {"all", "current", "filter"}) {
            for (const std::string range : {"all", "bars", "days"}) {
                SCOPED_TRACE((explore ? "explore " : "scan ") + applyTo + " " + range);
                options_.explore = explore;
                options_.scan = !explore;
                options_.applyTo = applyTo;
                options_.range = range;
                options_.n = 250;
                ASSERT_EQ(Run(), kExitOk) << err_.str();
                const int mode = range == "all" ? 0 : range == "bars" ? 1 : 2;
                // "Use filter" runs over every symbol: the filter is in the formula instead.
                EXPECT_EQ(broker_.analysis.calls,
                          Calls(applyTo == "current" ? 1 : 0, mode, mode == 0 ? nullptr : "250",
                                explore ? "Explore" : "Scan"));
                const std::string file = test::ReadBytes(RunFile());
                EXPECT_EQ(file.rfind(kHeader, 0), 0u);
                // An exploration stays one; the file's sell scan stays a sell scan.
                EXPECT_NE(file.find(explore ? "Filter = " : "Sell = "), std::string::npos);
                EXPECT_EQ(file.find("Close > 5") != std::string::npos, applyTo == "filter");
            }
        }
    }
}

TEST_F(RunCliTest, AFormulaFileIsWrittenAsItIsInTheVersionsFolder) {
    // Windows-1252 on disk both ways: the pound sign is one byte.
    test::WriteBytes(folder_ / "mine.afl", "Buy = C > 1; // \xa3\r\n");
    options_.formula = (folder_ / "mine.afl").string();
    options_.explore = true;
    broker_.version = "4.60";
    ASSERT_EQ(Run(), kExitOk) << err_.str();
    EXPECT_EQ(test::ReadBytes(RunFile("AFL")),
              "/* Create date: 21 Nov 2026\r\n*/\r\n\r\nBuy = C > 1; // \xa3\r\n");
    // A formula file runs over every symbol and bar unless told otherwise.
    const std::vector<std::string> expected{
        "Version",      "Analysis",  "LoadFormula " + RunFile("AFL").string(),
        "ClearFilters", "ApplyTo 0", "RangeMode 0",
        "Explore"};
    EXPECT_EQ(broker_.analysis.calls, expected);

    broker_.version = "4.70";
    ASSERT_EQ(Run(), kExitOk) << err_.str();
    EXPECT_TRUE(std::filesystem::exists(RunFile("Formulas")));
}

TEST_F(RunCliTest, AFailureMidRunStopsThereAndKeepsTheFile) {
    options_.explore = true;
    broker_.analysis.failOn = "RangeMode";
    EXPECT_EQ(Run(), kExitFailure);
    EXPECT_EQ(broker_.analysis.calls.back(), "ApplyTo 1");
    EXPECT_TRUE(std::filesystem::exists(RunFile()));
    EXPECT_NE(err_.str().find("RangeMode"), std::string::npos) << err_.str();

    // A program folder too short to lie inside the application's folder writes nothing.
    broker_.analysis.failOn.clear();
    std::filesystem::remove(RunFile());
    options_.programFolder = "Marlindex";
    EXPECT_EQ(Run(), kExitFailure);
    EXPECT_FALSE(std::filesystem::exists(RunFile()));
    EXPECT_EQ(broker_.analysis.calls, std::vector<std::string>{"Version"});
}

TEST_F(RunCliTest, TheCommandLineSaysWhatIsMissing) {
    const std::string scan = (folder_ / "rsi.json").string();
    const test::Result neither = test::RunTool({"run", scan});
    EXPECT_EQ(neither.status, kExitBadInput);
    EXPECT_NE(neither.err.find("--explore or --scan"), std::string::npos);
    EXPECT_EQ(test::RunTool({"run", "--explore", "--scan", scan}).status, kExitBadInput);
    EXPECT_EQ(test::RunTool({"run", "--scan", "--apply-to", "some", scan}).status, kExitBadInput);
    const test::Result missing = test::RunTool({"run", "--scan", (folder_ / "no.json").string()});
    EXPECT_EQ(missing.status, kExitBadInput);
#ifndef _WIN32
    // Without a database folder there is nothing to run on but AmiBroker.
    const test::Result noHost =
        test::RunTool({"run", "--scan", "--registry", (folder_ / "none.reg").string(), scan});
    EXPECT_EQ(noHost.status, kExitBadInput);
    EXPECT_NE(noHost.err.find("--database"), std::string::npos) << noHost.err;
#endif
}

TEST_F(RunCliTest, TheLocalHostRunsTheFileOnItsDatabase) {
    test::ImportOrFail(folder_ / "db", test::TinyDatabase());
    test::WriteBytes(folder_ / "up.afl", "Buy = C > Ref( C, -1 );");
    const test::Result result = test::RunTool(
        {"run", "--scan", "--range", "bars", "--n", "1", "--database", (folder_ / "db").string(),
         "--program-folder", options_.programFolder, (folder_ / "up.afl").string()});
    ASSERT_EQ(result.status, kExitOk) << result.err;
    EXPECT_EQ(result.out, RunFile().string() + "\n");
    EXPECT_NE(test::ReadBytes(RunFile()).find("Buy = C > Ref( C, -1 );"), std::string::npos);
    // The local host says how many rows the run gave and where they went.
    EXPECT_NE(result.err.find("3 "), std::string::npos) << result.err;
}

} // namespace
} // namespace marlindex
