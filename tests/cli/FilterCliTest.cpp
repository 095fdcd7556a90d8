// marlindex-cli filter, and generate --database: the expression on stdout, a damaged filter
// file reported and left alone unless the user asks for the default file.
#include "cli/CliCommands.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <sstream>

namespace marlindex {
namespace {

const std::string kSample = "[Markets]\r\n1\tNYSE\r\n[Groups]\r\n2\tFunds\r\n0\tO'Neil\r\n"
                            "[Sectors]\r\n[Industries]\r\n"
                            "[Watchlists]\r\n0\tWatchlist 0\r\n1\tWatchlist 1\r\n";

class FilterCliTest : public ::testing::Test {
protected:
    struct Result {
        int status = -1;
        std::string out;
        std::string err;
    };
    Result Run(std::vector<std::string> args, const std::string& input = "") {
        std::istringstream in(input);
        std::ostringstream out;
        std::ostringstream err;
        const int status = RunCli(args, in, out, err);
        return {status, out.str(), err.str()};
    }
    std::string Database() const { return database_.path().string(); }
    std::filesystem::path File() const { return database_ / "tempFilter.txt"; }

    test::TempFolder database_;
};

TEST_F(FilterCliTest, WritesTheExpressionInTheLoadOrTheSavedForm) {
    test::WriteBytes(File(), kSample);
    const Result loaded = Run({"filter", Database()});
    EXPECT_EQ(loaded.status, kExitOk);
    EXPECT_EQ(loaded.out, "(( MarketID(1) == \"NYSE\"\r\nOR InWatchList(1) == 1  )\r\n"
                          "AND ( GroupID(1) != \"Funds\" ))");
    EXPECT_EQ(loaded.err, "");

    const Result saved = Run({"filter", "--saved", Database()});
    EXPECT_EQ(saved.out, "(( MarketID(1) == \"NYSE\"\r\nOR InWatchList(1) == 1 )\r\n"
                         "AND ( GroupID(1)  != \"Funds\" ))");
    EXPECT_EQ(test::ReadBytes(File()), kSample) << "the file is only read";
}

TEST_F(FilterCliTest, ADamagedFileIsLeftAloneUnlessTheDefaultIsAskedFor) {
    const Result missing = Run({"filter", Database()});
    EXPECT_EQ(missing.status, kExitBadInput);
    EXPECT_NE(missing.err.find(File().string() + ": there is no such filter file"),
              std::string::npos)
        << missing.err;
    EXPECT_FALSE(std::filesystem::exists(File()));

    const std::string truncated = "[Markets]\r\n1\tNYSE\r\n[Groups]\r\n";
    test::WriteBytes(File(), truncated);
    const Result damaged = Run({"filter", Database()});
    EXPECT_EQ(damaged.status, kExitBadInput);
    EXPECT_EQ(damaged.out, "");
    EXPECT_NE(
        damaged.err.find("tempFilter.txt, line 4: The file ends before the [Sectors] heading"),
        std::string::npos)
        << damaged.err;
    EXPECT_EQ(Run({"filter", "--backup", Database()}).status, kExitBadInput)
        << "--backup only goes with --recreate";
    EXPECT_EQ(test::ReadBytes(File()), truncated);

    // Each re-creation keeps the file it replaces beside the earlier backups.
    const Result recreated = Run({"filter", "--recreate", "--backup", Database()});
    EXPECT_EQ(recreated.status, kExitOk) << recreated.err;
    EXPECT_EQ(recreated.out, "") << "nothing is marked in the default file";
    EXPECT_EQ(test::ReadBytes(database_ / "tempFilter.bak"), truncated);
    const std::string fresh = test::ReadBytes(File());
    EXPECT_EQ(fresh.substr(0, 35), "[Markets]\r\n0\tMarket 1\r\n0\tMarket 2\r\n");
    EXPECT_EQ(fresh.substr(fresh.size() - 16), "0\tWatchlist 63\r\n");
    test::WriteBytes(File(), "damaged again");
    const Result again = Run({"filter", "--recreate", "--backup", Database()});
    EXPECT_EQ(again.status, kExitOk) << again.err;
    EXPECT_NE(again.err.find(": re-created, the old file kept as " +
                             (database_ / "tempFilter.1.bak").string()),
              std::string::npos)
        << again.err;
    EXPECT_EQ(test::ReadBytes(database_ / "tempFilter.bak"), truncated);
    EXPECT_EQ(test::ReadBytes(database_ / "tempFilter.1.bak"), "damaged again");

    // An intact file is never replaced.
    test::WriteBytes(File(), kSample);
    EXPECT_EQ(Run({"filter", "--recreate", Database()}).status, kExitOk);
    EXPECT_EQ(test::ReadBytes(File()), kSample);
}

TEST_F(FilterCliTest, ANameTheExpressionCannotTakeIsReportedAtItsLineAndNeverWritten) {
    const std::string hostile = "[Markets]\r\n1\tNYSE\r\n[Groups]\r\n1\tFunds\\\r\n"
                                "[Sectors]\r\n[Industries]\r\n[Watchlists]\r\n";
    test::WriteBytes(File(), hostile);
    const Result refused = Run({"filter", Database()});
    EXPECT_EQ(refused.status, kExitBadInput);
    EXPECT_EQ(refused.out, "") << "no part of the expression is written";
    EXPECT_NE(refused.err.find(File().string() +
                               ", line 4, column 8: The name \"Funds\\\" under [Groups] "
                               "holds a backslash"),
              std::string::npos)
        << refused.err;
    EXPECT_EQ(test::ReadBytes(File()), hostile) << "left as it is without --recreate";
}

TEST_F(FilterCliTest, GenerateTakesTheFilterFromTheDatabaseFolder) {
    test::WriteBytes(File(), kSample);
    const std::string scan = R"j({"analysis": "buy", "applyTo": "filter", "filter": "ignored",
        "rows": [{"indicator1": "RSI", "comparison": "is less than", "target": "Value",
                  "value": 30}]})j";
    const std::string registry = (database_ / "absent.reg").string();
    const Result result =
        Run({"generate", "--registry", registry, "--database", Database(), "-"}, scan);
    EXPECT_EQ(result.status, kExitOk) << result.err;
    EXPECT_EQ(result.out, "Buy = (( MarketID(1) == \"NYSE\"\r\nOR InWatchList(1) == 1  )\r\n"
                          "AND ( GroupID(1) != \"Funds\" ))\r\n"
                          "AND RSIa( Close, 14 ) < 30;");

    test::WriteBytes(File(), "[Groups]\r\n");
    const Result damaged =
        Run({"generate", "--registry", registry, "--database", Database(), "-"}, scan);
    EXPECT_EQ(damaged.status, kExitBadInput);
    EXPECT_EQ(damaged.out, "");
    EXPECT_NE(damaged.err.find("No [Market] heading"), std::string::npos);
}

} // namespace
} // namespace marlindex
