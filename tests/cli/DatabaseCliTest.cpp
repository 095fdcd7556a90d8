// marlindex-cli database: import with its report, list, watch lists; bad input gives exit 2
// and FILE:LINE on stderr, and changes nothing.
#include "cli/RunTool.h"
#include "quotes/QuoteStore.h"
#include "support/QuoteFixtures.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

using test::RunTool;

class DatabaseCliTest : public ::testing::Test {
protected:
    std::string Database() const { return folder_.path().string(); }
    test::Result Import(const std::vector<std::string>& paths) {
        std::vector<std::string> args{
            "database", "import",    "--database",
            Database(), "--symbols", test::QuoteFixture("tiny/symbols.csv").string()};
        args.insert(args.end(), paths.begin(), paths.end());
        return RunTool(args);
    }
    test::Result List() { return RunTool({"database", "list", "--database", Database()}); }

    test::TempFolder folder_;
    const std::string prices_ = test::QuoteFixture("tiny/prices").string();
};

TEST_F(DatabaseCliTest, ImportsReportsAndLists) {
    const test::Result imported = Import({prices_});
    EXPECT_EQ(imported.status, kExitOk) << imported.err;
    EXPECT_EQ(imported.out, "price files: 3\n"
                            "bars: 11 (11 new, 0 replaced)\n"
                            "dates: 2024-01-02 to 2024-01-08\n"
                            "symbols file rows: 3\n"
                            "new symbols: 3\n"
                            "repaired rows: 0 (Open from Close: 0, High raised: 0, "
                            "Low from min(Open, Close): 0)\n");
    EXPECT_EQ(imported.err, "");
    EXPECT_EQ(List().out, "AAA\t5\t2024-01-02\t2024-01-08\n"
                          "BBB\t3\t2024-01-03\t2024-01-08\n"
                          "CCC\t3\t2024-01-02\t2024-01-04\n");

    // Repairs are listed on stderr with their place; a symbol without bars lists empty dates.
    const std::string repairs = test::QuoteFixture("repairs/REP.csv").string();
    const test::Result repaired = Import({repairs});
    EXPECT_EQ(repaired.status, kExitOk);
    EXPECT_NE(repaired.out.find("repaired rows: 9 (Open from Close: 5, High raised: 5, "
                                "Low from min(Open, Close): 4)"),
              std::string::npos)
        << repaired.out;
    EXPECT_EQ(repaired.err.rfind(repairs + ":3: repaired: Open empty, took Close 11\n", 0), 0u)
        << repaired.err;
    test::WriteBytes(folder_ / "NEW.csv", "Date,Open,High,Low,Close,Volume\n");
    EXPECT_EQ(
        RunTool({"database", "import", "--database", Database(), (folder_ / "NEW.csv").string()})
            .status,
        kExitOk);
    EXPECT_NE(List().out.find("\nNEW\t0\t\t\n"), std::string::npos);
}

TEST_F(DatabaseCliTest, ABadRowStopsTheImportWithItsPlace) {
    ASSERT_EQ(Import({prices_}).status, kExitOk);
    const std::string listed = List().out;
    test::WriteBytes(folder_ / "BAD.csv", "Date,Open,High,Low,Close,Volume\n"
                                          "2024-01-09,1,2,0.5,1.5,10\n"
                                          "2024-01-10,1,2,0.5,1.5\n");
    const test::Result bad = Import({prices_, (folder_ / "BAD.csv").string()});
    EXPECT_EQ(bad.status, kExitBadInput);
    EXPECT_EQ(bad.out, "");
    EXPECT_EQ(bad.err, (folder_ / "BAD.csv").string() +
                           ":3: 5 fields where the header has 6\nNothing was imported.\n");
    EXPECT_EQ(List().out, listed);

    const test::Result missing = Import({(folder_ / "NONE.csv").string()});
    EXPECT_EQ(missing.status, kExitBadInput);
    EXPECT_EQ(missing.err, (folder_ / "NONE.csv").string() +
                               ": no such file or folder\nNothing was imported.\n");
    EXPECT_EQ(RunTool({"database", "import", "--database", Database()}).status, kExitBadInput)
        << "nothing to import";
}

TEST_F(DatabaseCliTest, ChangesWatchListsOfKnownSymbols) {
    const auto watchList = [this](std::vector<std::string> args) {
        args.insert(args.begin(), {"database", "watchlist", "--database", Database()});
        return RunTool(args);
    };
    const test::Result noStore = watchList({"add", "1", "AAA"});
    EXPECT_EQ(noStore.status, kExitBadInput);
    EXPECT_EQ(noStore.err,
              Database() + ": no quote store (quotes.db) in this folder; import quotes first\n");
    EXPECT_EQ(List().status, kExitBadInput);

    ASSERT_EQ(Import({prices_}).status, kExitOk);
    EXPECT_EQ(watchList({"add", "7", "AAA", "CCC"}).status, kExitOk);
    EXPECT_EQ(watchList({"remove", "3", "AAA"}).status, kExitOk);
    EXPECT_EQ(watchList({"name", "7", "Breakouts"}).status, kExitOk);
    const test::Result unknown = watchList({"add", "8", "AAA", "XYZ"});
    EXPECT_EQ(unknown.status, kExitBadInput);
    EXPECT_EQ(unknown.err, "the quote store has no symbol \"XYZ\"\n");
    const test::Result outOfRange = watchList({"add", "64", "AAA"});
    EXPECT_EQ(outOfRange.status, kExitBadInput);
    EXPECT_EQ(outOfRange.err, "the watch list 64 is not a number from 0 to 63\n");
    EXPECT_EQ(watchList({"add", "x", "AAA"}).status, kExitBadInput);

    const QuoteStore store = QuoteStore::Open(folder_.path()).value();
    const std::vector<SymbolInfo> symbols = store.Symbols();
    EXPECT_EQ(symbols[0].watchLists.to_ullong(), 0b10000001u) << "AAA: 0 and 7, not 3 or 8";
    EXPECT_EQ(symbols[2].watchLists.to_ullong(), 0b10000000u);
    EXPECT_EQ(store.WatchListNames()[7], "Breakouts");
}

} // namespace
} // namespace marlindex

namespace marlindex {
namespace {

// The sample scripts/run opens: its quotes import cleanly, its watch lists and filter file
// match.
TEST(SampleDatabase, ImportsWithItsWatchListsAndFilterFile) {
    const char* source = std::getenv("MARLINDEX_SOURCE_DIR");
    ASSERT_NE(source, nullptr);
    const std::filesystem::path examples = std::filesystem::path(source) / "examples";
    test::TempFolder folder;
    const test::Result imported =
        RunTool({"database", "import", "--database", folder.path().string(), "--symbols",
                 (examples / "quotes" / "symbols.csv").string(),
                 (examples / "quotes" / "prices").string()});
    EXPECT_EQ(imported.status, kExitOk) << imported.err;
    EXPECT_EQ(imported.out, "price files: 53\n"
                            "bars: 64346 (64346 new, 0 replaced)\n"
                            "dates: 2013-02-08 to 2018-02-07\n"
                            "symbols file rows: 53\n"
                            "new symbols: 53\n"
                            "repaired rows: 3 (Open from Close: 2, High raised: 2, "
                            "Low from min(Open, Close): 1)\n");
    std::vector<std::string> quirks;
    for (const SymbolInfo& info : QuoteStore::Open(folder.path())->Symbols()) {
        if (info.watchLists.test(2)) {
            quirks.push_back(info.symbol);
        }
    }
    EXPECT_EQ(quirks, (std::vector<std::string>{"AOS", "APTV", "DWDP", "O"}));

    const test::Result filter = RunTool({"filter", (examples / "database").string()});
    EXPECT_EQ(filter.status, kExitOk) << filter.err;
    EXPECT_EQ(filter.out, "") << "nothing is marked in the sample's filter";
}

} // namespace
} // namespace marlindex
