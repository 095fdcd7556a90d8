// marlindex-cli scan on the hand-made database: CSV on stdout, one summary line on stderr; a
// formula that does not read gives exit 2 and FILE:LINE:COLUMN, other bad input exit 2 with
// its place.
#include "cli/RunTool.h"
#include "support/QuoteFixtures.h"

#include <gtest/gtest.h>
#include <regex>

namespace marlindex {
namespace {

using test::RunTool;

class ScanCliTest : public ::testing::Test {
protected:
    void SetUp() override { test::ImportOrFail(folder_ / "db", test::TinyDatabase()); }

    std::string Formula(const std::string& name, const std::string& text) {
        test::WriteBytes(folder_ / name, text);
        return (folder_ / name).string();
    }
    test::Result Scan(const std::string& formula, std::vector<std::string> options = {}) {
        std::vector<std::string> args{"scan", "--database", (folder_ / "db").string()};
        args.insert(args.end(), options.begin(), options.end());
        args.push_back(formula);
        return RunTool(args);
    }

    test::TempFolder folder_;
};

TEST_F(ScanCliTest, ExploresAndScansToCsvWithASummary) {
    const test::Result explored =
        Scan(Formula("e.afl", "Filter = C > O;\r\nAddColumn( V, \"  Volume \", 1.0 );\r\n"
                              "AddColumn( Ref( C, -1 ) / C, \"Ratio\", 1.3 );"));
    EXPECT_EQ(explored.status, kExitOk) << explored.err;
    EXPECT_EQ(explored.out, "Symbol,Date,Volume,Ratio\n"
                            "AAA,2024-01-02,100,\n"
                            "AAA,2024-01-03,200,0.909\n"
                            "AAA,2024-01-08,500,0.833\n"
                            "BBB,2024-01-08,3000,0.905\n"
                            "CCC,2024-01-04,30,0.667\n");
    EXPECT_TRUE(
        std::regex_match(explored.err, std::regex("3 symbols, 11 bars, 5 rows, [0-9]+ ms\n")))
        << explored.err;

    const test::Result scanned = Scan(Formula("s.afl", "Buy = C > Ref( C, -1 );\nSell = V > 2500;"),
                                      {"--range", "bars", "--n", "1"});
    EXPECT_EQ(scanned.status, kExitOk) << scanned.err;
    EXPECT_EQ(scanned.out, "Symbol,Date,Trade,Close\n"
                           "AAA,2024-01-08,Buy,12.00\n"
                           "BBB,2024-01-08,Buy,21.00\n"
                           "BBB,2024-01-08,Sell,21.00\n"
                           "CCC,2024-01-04,Buy,6.00\n");

    const test::Result days = Scan(Formula("d.afl", "Buy = 1;"), {"--range", "days", "--n", "2"});
    EXPECT_EQ(days.out, "Symbol,Date,Trade,Close\n"
                        "AAA,2024-01-05,Buy,10.00\n"
                        "AAA,2024-01-08,Buy,12.00\n"
                        "BBB,2024-01-08,Buy,21.00\n");
    const test::Result one = Scan(Formula("d.afl", "Buy = 1;"), {"--symbol", "CCC"});
    EXPECT_EQ(one.out, "Symbol,Date,Trade,Close\n"
                       "CCC,2024-01-02,Buy,5.00\n"
                       "CCC,2024-01-03,Buy,4.00\n"
                       "CCC,2024-01-04,Buy,6.00\n");
    const test::Result all = Scan(Formula("d.afl", "Buy = 1;"));
    EXPECT_EQ(std::count(all.out.begin(), all.out.end(), '\n'), 12) << "every bar, and the header";
    EXPECT_EQ(Scan(Formula("d.afl", "Buy = 1;"), {"--symbol", "CCC", "--apply-to", "all"}).out,
              all.out)
        << "--apply-to all overrides the symbol";
}

TEST_F(ScanCliTest, RunsAScanFileGeneratedAsGenerateDoes) {
    const std::string scanFile = Formula("close.json", R"({
        "analysis": "sell",
        "rows": [ { "indicator1": "Price", "comparison": "is less than", "target": "Value",
                    "value": 10 } ] })");
    const test::Result scanned = Scan(scanFile, {"--registry", (folder_ / "none.reg").string()});
    EXPECT_EQ(scanned.status, kExitOk) << scanned.err;
    EXPECT_EQ(scanned.out, "Symbol,Date,Trade,Close\n"
                           "CCC,2024-01-02,Sell,5.00\n"
                           "CCC,2024-01-03,Sell,4.00\n"
                           "CCC,2024-01-04,Sell,6.00\n");
}

TEST_F(ScanCliTest, BadInputGivesExit2AndItsPlace) {
    const std::string bad = Formula("bad.afl", "Buy = 1;\n// fine so far\nSell = RSIa( C, 14 ;\n");
    const test::Result parse = Scan(bad);
    EXPECT_EQ(parse.status, kExitBadInput);
    EXPECT_EQ(parse.out, "");
    EXPECT_EQ(parse.err, bad + ":3:20: expected ')' after the arguments of RSIa, found ';'\n");

    const std::string wrongKind = Formula("kind.afl", "Buy = MA( C,\n  \"five\" );");
    const test::Result kind = Scan(wrongKind);
    EXPECT_EQ(kind.status, kExitBadInput);
    EXPECT_EQ(kind.err.rfind(wrongKind + ":2:3: ", 0), 0u) << kind.err;

    const test::Result nothing = Scan(Formula("n.afl", "x = C;"));
    EXPECT_EQ(nothing.status, kExitBadInput);
    EXPECT_EQ(nothing.err,
              "the formula assigns neither Buy nor Sell: a scan lists their signals\n");

    const std::string buy = Formula("b.afl", "Buy = 1;");
    EXPECT_EQ(Scan(buy, {"--symbol", "ZZZ"}).err, "the database has no symbol \"ZZZ\"\n");
    EXPECT_EQ(Scan(buy, {"--apply-to", "current"}).err,
              "scan: --apply-to current runs over one symbol: name it with --symbol\n");
    EXPECT_EQ(Scan(buy, {"--range", "weeks"}).status, kExitBadInput);
    EXPECT_EQ(Scan(buy, {"--n", "-1"}).status, kExitBadInput);

    const test::Result noStore = RunTool({"scan", "--database", folder_.path().string(), buy});
    EXPECT_EQ(noStore.status, kExitBadInput);
    EXPECT_EQ(noStore.err,
              folder_.path().string() +
                  ": no quote store (quotes.db) in this folder; import quotes first\n");
    EXPECT_EQ(Scan((folder_ / "missing.afl").string()).status, kExitBadInput);
}

} // namespace
} // namespace marlindex
