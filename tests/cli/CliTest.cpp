// The command-line contract: what goes to stdout, what to stderr, and the exit status.
#include "cli/CliCommands.h"
#include "cli/RunTool.h"
#include "support/HostileFiles.h"
#include "support/TempFolder.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>

namespace marlindex {
namespace {

using test::Result;
using test::RunTool;

std::size_t Lines(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

class CliTest : public ::testing::Test {
protected:
    std::string NoRegistry() const { return (folder_ / "absent.reg").string(); }
    test::TempFolder folder_;
};

const std::string kScan = R"j({"analysis": "sell", "rows": [
    {"indicator1": "RSI", "comparison": "is less than", "target": "Value", "value": 30},
    {"joiner": "OR", "indicator1": "MA (Short)", "comparison": "crosses above",
     "indicator2": "MA (Long)", "bars1": 3}]})j";

TEST_F(CliTest, GenerateWritesTheFormulaBoxTextAndNothingElse) {
    const Result result = RunTool({"generate", "--registry", NoRegistry(), "-"}, kScan);
    EXPECT_EQ(result.status, kExitOk);
    EXPECT_EQ(result.out, "Sell = RSIa( Close, 14 ) < 30\r\n"
                          "OR BarsSince( Cross( MA( Close, 5 ), MA( Close, 50 ) ) ) <= 3;");
    EXPECT_EQ(result.err, "");

    const Result rows = RunTool({"generate", "--describe", "--registry", NoRegistry(), "-"}, kScan);
    EXPECT_EQ(rows.out,
              "RSI(14) of the current bar is less than 30\n"
              "OR MA (Short) Simple(5) crosses above MA (Long) Simple(50) on or after the "
              "previous 3 bars\n");
}

TEST_F(CliTest, GenerateReadsIndicatorDefaultsFromTheSettingsFile) {
    const auto registry = folder_ / "registry.reg";
    test::WriteBytes(registry,
                     "REGEDIT4\r\n\r\n"
                     "[HKEY_CURRENT_USER\\Software\\QRV\\Marlindex\\Settings\\Indicator\\16]\r\n"
                     "\"2\"=\"9\"\r\n");
    const Result result = RunTool({"generate", "--registry", registry.string(), "-"}, kScan);
    EXPECT_EQ(result.status, kExitOk) << result.err;
    EXPECT_EQ(result.out.substr(0, 28), "Sell = RSIa( Close, 9 ) < 30");
}

TEST_F(CliTest, ADamagedSettingsFileIsReportedAndLeftAlone) {
    const auto registry = folder_ / "registry.reg";
    const std::string damaged = "REGEDIT4\r\n\r\n\"orphan\"=\"no key\"\r\n";
    test::WriteBytes(registry, damaged);
    const Result result = RunTool({"generate", "--registry", registry.string(), "-"}, kScan);
    EXPECT_EQ(result.status, kExitOk);
    EXPECT_EQ(result.out.substr(0, 29), "Sell = RSIa( Close, 14 ) < 30") << "defaults apply";
    EXPECT_NE(result.err.find("warning: "), std::string::npos);
    EXPECT_EQ(test::ReadBytes(registry), damaged);
}

TEST_F(CliTest, BadScanGivesOneLineNamingFileRowAndField) {
    const auto scan = folder_ / "scan.json";
    test::WriteBytes(scan, R"j({"rows": [{"indicator1": "RSI", "comparison": 3,
                                 "target": "Value", "bars1": -2}]})j");
    const Result result = RunTool({"generate", "--registry", NoRegistry(), scan.string()});
    EXPECT_EQ(result.status, kExitBadInput);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(Lines(result.err), 1u);
    EXPECT_EQ(result.err.rfind(scan.string() + ", row 1, field \"bars1\": ", 0), 0u) << result.err;

    const Result missing = RunTool({"generate", (folder_ / "none.json").string()});
    EXPECT_NE(missing.status, kExitOk);
    EXPECT_EQ(missing.out, "");
    EXPECT_EQ(missing.err, (folder_ / "none.json").string() + ": there is no such scan file\n");
}

// A scan file that no editor wrote: each is refused at once, in one line that names the
// file and the place, with exit status 2 and nothing on stdout.
TEST_F(CliTest, HostileScanFilesAreRefusedInOneBoundedLine) {
    const auto scan = folder_ / "scan.json";
    const std::pair<std::string, std::string> cases[] = {
        {R"j({"rows": [{"indicator1": "RSI", "comparison": 3, "value": 1e400}]})j",
         ", line 1, column 59: the number \"1e400\" is out of range"},
        {R"j({"rangeN": 99999999999999999999999})j", ", field \"rangeN\": is out of range"},
        {std::string(100000, '['), ", line 1, column 65: lists and objects nest deeper"},
        {R"j({"name": ")j" + std::string(10 << 20, 'n') + "\", \"analysis\": 7}",
         ", field \"analysis\": must be a text"},
    };
    for (const auto& [text, expected] : cases) {
        test::WriteBytes(scan, text);
        const Result result = RunTool({"generate", "--registry", NoRegistry(), scan.string()});
        EXPECT_EQ(result.status, kExitBadInput);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err.rfind(scan.string() + expected, 0), 0u) << result.err.substr(0, 300);
        EXPECT_EQ(Lines(result.err), 1u);
        EXPECT_LT(result.err.size(), 300u);
    }
}

// What is no scan file is refused before it is read: a file over the bound (on stdin too,
// which is read only up to it), a pipe that would wait for ever, a device that never ends.
TEST_F(CliTest, ScanInputIsBoundedAndOnlyRegularFilesAreRead) {
    const auto big = folder_ / "big.json";
    test::WriteBytes(big, "{}");
    std::filesystem::resize_file(big, (16u << 20) + 1);
    const Result tooBig = RunTool({"generate", "--registry", NoRegistry(), big.string()});
    EXPECT_EQ(tooBig.status, kExitBadInput);
    EXPECT_EQ(tooBig.err.rfind(
                  big.string() + ": is 16 MB, larger than a scan file can be (at most 16 MB)", 0),
              0u)
        << tooBig.err;

    const std::string flood = "{\"name\": \"" + std::string(16u << 20, ' ');
    const Result stdinTooBig = RunTool({"generate", "--registry", NoRegistry(), "-"}, flood);
    EXPECT_EQ(stdinTooBig.status, kExitBadInput);
    EXPECT_EQ(stdinTooBig.err.rfind("stdin: holds more than 16 MB", 0), 0u) << stdinTooBig.err;

#ifndef _WIN32
    const auto fifo = folder_ / "fifo.json";
    ASSERT_TRUE(test::MakeFifo(fifo));
    const Result pipe = RunTool({"generate", "--registry", NoRegistry(), fifo.string()});
    EXPECT_EQ(pipe.status, kExitBadInput);
    EXPECT_EQ(pipe.err,
              fifo.string() + ": is a pipe, not a regular file; a scan file must be one\n");

    const Result device = RunTool({"generate", "--registry", NoRegistry(), "/dev/zero"});
    EXPECT_EQ(device.status, kExitBadInput);
    EXPECT_EQ(device.err, "/dev/zero: is a device, not a regular file; a scan file must be one\n");
#endif
}

TEST_F(CliTest, AllowedButDoubtfulInputWarnsAndStillGenerates) {
    const Result result = RunTool({"generate", "--registry", NoRegistry(), "-"},
                                  R"j({"analysis": "buy", "rows": [{"indicator1": "RSI",
                                  "comparison": 3, "target": "Indicator"}]})j");
    EXPECT_EQ(result.status, kExitOk);
    EXPECT_EQ(result.out, "Buy = RSIa( Close, 14 ) < Ref( Array2, -1 );");
    EXPECT_NE(result.err.find("stdin: warning: row 1: "), std::string::npos) << result.err;
}

TEST_F(CliTest, UsageErrorsAreBadInput) {
    for (const auto& args : std::vector<std::vector<std::string>>{
             {}, {"frobnicate"}, {"generate"}, {"highlight", "--format", "rtf", "-"}}) {
        const Result result = RunTool(args);
        EXPECT_EQ(result.status, kExitBadInput);
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.err, "");
    }
    const Result help = RunTool({"--help"});
    EXPECT_EQ(help.status, kExitOk);
    EXPECT_NE(help.out.find("generate"), std::string::npos);
}

TEST_F(CliTest, HighlightListsRunsOfCharacters) {
    const Result result = RunTool({"highlight", "-"}, "Buy = MA(Close,5);");
    EXPECT_EQ(result.status, kExitOk);
    EXPECT_EQ(result.out, "0 3 #000000 bold\n"       // Buy
                          "3 3 #000000 regular\n"    // " = "
                          "6 2 #0000ff regular\n"    // MA
                          "8 1 #000000 regular\n"    // (
                          "9 5 #000000 bold\n"       // Close
                          "14 1 #000000 regular\n"   // ,
                          "15 1 #ff00ff regular\n"   // 5
                          "16 2 #000000 regular\n"); // );
    const Result html = RunTool({"highlight", "--format", "html", "-"}, "Sell = 1 < 2;");
    EXPECT_EQ(html.out.rfind("<pre>", 0), 0u);
    EXPECT_NE(html.out.find("&lt;"), std::string::npos);
}

} // namespace
} // namespace marlindex
