// The quote store on the hand-made database of tests/quotes/data/tiny: categories and their
// numbers, watch lists, re-imports, breadth worked out by hand, and files that are no store.
#include "quotes/QuoteStore.h"

#include "quotes/QuoteImport.h"
#include "quotes/Sqlite.h"
#include "support/QuoteFixtures.h"

#include <gtest/gtest.h>
#include <tuple>

namespace marlindex {
namespace {

namespace fs = std::filesystem;

TradeDate Day(const char* text) {
    return *ParseIsoDate(text);
}

using test::TinyDatabase;

ImportReport Import(const fs::path& folder, const ImportRequest& request) {
    return test::ImportOrFail(folder, request);
}

class QuoteStoreTest : public ::testing::Test {
protected:
    void SetUp() override { Import(folder_.path(), TinyDatabase()); }
    QuoteStore Store() const { return QuoteStore::Open(folder_.path()).value(); }
    test::TempFolder folder_;
};

TEST_F(QuoteStoreTest, NumbersCategoriesInTheOrderFirstMetAndKeepsTheNumbers) {
    std::vector<SymbolInfo> symbols = Store().Symbols();
    ASSERT_EQ(symbols.size(), 3u);
    const SymbolInfo& a = symbols[0];
    EXPECT_EQ(a.name, "Alpha, Inc.");
    EXPECT_EQ(std::tie(a.market, a.group, a.sector, a.industry),
              std::tie("NYSE", "Large", "Tech", "Software"));
    EXPECT_EQ(std::tie(a.marketId, a.groupId, a.sectorId, a.industryId), std::tuple(0, 0, 0, 0));
    EXPECT_EQ(a.watchLists.to_ullong(), 0b1001u);
    const SymbolInfo& b = symbols[1];
    EXPECT_EQ(std::tie(b.group, b.groupId, b.sectorId, b.industryId), std::tuple("", 1, 1, 1));
    const SymbolInfo& c = symbols[2];
    EXPECT_EQ(std::tie(c.market, c.marketId, c.groupId, c.sectorId, c.industryId),
              std::tuple("NASDAQ", 1, 0, 0, 2));
    EXPECT_TRUE(c.watchLists.none());

    // A later symbols file in another order, without the optional columns: CCC moves to NYSE,
    // AMEX is new; groups and watch lists stay as they were. A symbol known only from its price
    // file has "" in every category.
    test::WriteBytes(folder_ / "more.csv", "Symbol,Name,Market,Sector,Industry\n"
                                           "DDD,Delta,AMEX,Tech,Software\n"
                                           "CCC,Gamma,NYSE,Tech,Chips\n");
    test::WriteBytes(folder_ / "ZZZ.csv", "Date,Open,High,Low,Close,Volume\n");
    const ImportReport report =
        Import(folder_.path(), {folder_ / "more.csv", {folder_ / "ZZZ.csv"}});
    EXPECT_EQ(report.newSymbols, 2u);
    symbols = Store().Symbols();
    ASSERT_EQ(symbols.size(), 5u);
    EXPECT_EQ(std::tie(symbols[2].name, symbols[2].marketId, symbols[2].groupId),
              std::tuple("Gamma", 0, 0));
    EXPECT_EQ(std::tie(symbols[3].market, symbols[3].marketId, symbols[3].groupId),
              std::tuple("AMEX", 2, 1));
    EXPECT_EQ(std::tie(symbols[4].symbol, symbols[4].market, symbols[4].marketId),
              std::tuple("ZZZ", "", 3));
    EXPECT_EQ(Store().CategoryNames(CategoryKind::Market),
              (std::vector<std::string>{"NYSE", "NASDAQ", "AMEX", ""}));
    EXPECT_EQ(Store().CategoryNames(CategoryKind::Group), (std::vector<std::string>{"Large", ""}));
}

TEST_F(QuoteStoreTest, BreadthMatchesTheCountsWorkedOutByHand) {
    const auto snapshot = Store().LoadForAnalysis();
    ASSERT_TRUE(snapshot.has_value());
    EXPECT_EQ(snapshot->tradingDates,
              (std::vector<TradeDate>{Day("2024-01-02"), Day("2024-01-03"), Day("2024-01-04"),
                                      Day("2024-01-05"), Day("2024-01-08")}));
    ASSERT_EQ(snapshot->breadth.size(), 2u);
    const auto days = [](const MarketBreadth& market) {
        std::vector<std::vector<double>> rows;
        for (const BreadthDay& d : market.days) {
            rows.push_back(
                {d.advancing, d.declining, d.unchanged, d.advancingVolume, d.decliningVolume});
        }
        return rows;
    };
    const MarketBreadth& nyse = snapshot->breadth[0];
    EXPECT_EQ(nyse.dates, (std::vector<TradeDate>{Day("2024-01-03"), Day("2024-01-04"),
                                                  Day("2024-01-05"), Day("2024-01-08")}));
    EXPECT_EQ(days(nyse),
              (std::vector<std::vector<double>>{
                  {1, 0, 0, 200, 0}, {0, 1, 1, 0, 2000}, {0, 1, 0, 0, 400}, {2, 0, 0, 3500, 0}}));
    const MarketBreadth& nasdaq = snapshot->breadth[1];
    EXPECT_EQ(nasdaq.dates, (std::vector<TradeDate>{Day("2024-01-03"), Day("2024-01-04")}));
    EXPECT_EQ(days(nasdaq), (std::vector<std::vector<double>>{{0, 1, 0, 0, 20}, {1, 0, 0, 30, 0}}));

    const auto streamed = Store().ComputeBreadth();
    ASSERT_EQ(streamed.size(), 2u);
    EXPECT_EQ(streamed[0].dates, nyse.dates);
    EXPECT_EQ(days(streamed[1]), days(nasdaq));
}

TEST_F(QuoteStoreTest, LoadsOneSymbolOrAllOfThemAlike) {
    const QuoteStore store = Store();
    const auto snapshot = store.LoadForAnalysis();
    ASSERT_EQ(snapshot->Find("BBB"), 1u);
    EXPECT_FALSE(snapshot->Find("BB").has_value());
    EXPECT_FALSE(store.LoadSeries("XYZ").has_value());
    const BarSeries bbb = *store.LoadSeries("BBB");
    EXPECT_EQ(bbb.dates, snapshot->series[1].dates);
    EXPECT_EQ(bbb.close, (std::vector<double>{20, 19, 21}));
    EXPECT_EQ(bbb.openInt, (std::vector<double>{7, 8, 0}));
    EXPECT_EQ(snapshot->series[0].openInt, std::vector<double>(5, 0.0));

    QuoteStore::Cursor cursor = store.Series();
    EXPECT_EQ(cursor.total(), 3u);
    SymbolInfo info;
    BarSeries bars;
    std::vector<std::string> order;
    while (cursor.Next(info, bars)) {
        order.push_back(info.symbol);
        EXPECT_EQ(bars.close, snapshot->series[order.size() - 1].close);
    }
    EXPECT_EQ(order, (std::vector<std::string>{"AAA", "BBB", "CCC"}));

    std::size_t calls = 0;
    EXPECT_FALSE(store
                     .LoadForAnalysis([&](std::size_t done, std::size_t total) {
                         EXPECT_EQ(total, 3u);
                         return ++calls < 2 && done == calls;
                     })
                     .has_value())
        << "cancelled after the second symbol";
}

TEST_F(QuoteStoreTest, ReimportReplacesDaysAndAppendsNewOnesAcrossYears) {
    // AAA again: a bar of the year before, a changed 2024-01-05 and a new 2024-01-09.
    test::WriteBytes(folder_ / "AAA.csv", "Date,Open,High,Low,Close,Volume\n"
                                          "2023-12-29,9,9.5,8.5,9,50\n"
                                          "2024-01-05,11,11,9,9.75,444\n"
                                          "2024-01-09,12,13,12,13,600\n");
    const ImportReport report = Import(folder_.path(), {std::nullopt, {folder_ / "AAA.csv"}});
    EXPECT_EQ(std::tie(report.bars, report.addedBars, report.replacedBars), std::tuple(3u, 2u, 1u));
    EXPECT_EQ(report.newSymbols, 0u);

    const QuoteStore store = Store();
    const BarSeries aaa = *store.LoadSeries("AAA");
    EXPECT_EQ(aaa.dates,
              (std::vector<TradeDate>{Day("2023-12-29"), Day("2024-01-02"), Day("2024-01-03"),
                                      Day("2024-01-04"), Day("2024-01-05"), Day("2024-01-08"),
                                      Day("2024-01-09")}));
    EXPECT_EQ(aaa.close, (std::vector<double>{9, 10, 11, 11, 9.75, 12, 13}));
    EXPECT_EQ(aaa.volume, (std::vector<double>{50, 100, 200, 300, 444, 500, 600}));
    EXPECT_EQ(store.TradingDates().size(), 7u);
    const std::vector<SymbolSummary> list = store.List();
    EXPECT_EQ(std::tie(list[0].bars, list[0].first, list[0].last),
              std::tuple(7u, Day("2023-12-29"), Day("2024-01-09")));
    EXPECT_EQ(store.Symbols()[0].name, "Alpha, Inc.") << "a price file keeps the symbol's row";
}

TEST_F(QuoteStoreTest, ChangesWatchListsWholeOrNotAtAll) {
    QuoteStore store = Store();
    EXPECT_EQ(store.AddToWatchList(5, {"AAA", "CCC"}).value(), 2u);
    EXPECT_EQ(store.AddToWatchList(5, {"CCC"}).value(), 0u) << "already a member";
    EXPECT_EQ(store.RemoveFromWatchList(3, {"BBB", "CCC"}).value(), 1u);
    EXPECT_EQ(store.AddToWatchList(63, {"BBB"}).value(), 1u);
    const auto unknown = store.AddToWatchList(7, {"AAA", "NOPE"});
    ASSERT_FALSE(unknown);
    EXPECT_EQ(unknown.problem().Message(), "the quote store has no symbol \"NOPE\"");
    EXPECT_EQ(store.AddToWatchList(64, {"AAA"}).problem().kind, ProblemKind::BadInput);
    EXPECT_FALSE(store.RemoveFromWatchList(-1, {"AAA"}));
    const std::vector<SymbolInfo> symbols = Store().Symbols();
    EXPECT_EQ(symbols[0].watchLists.to_ullong(), 0b101001u) << "AAA not in list 7";
    EXPECT_EQ(symbols[1].watchLists.to_ullong(), 0x8000000000000000u);
    EXPECT_EQ(symbols[2].watchLists.to_ullong(), 0b100000u);

    ASSERT_TRUE(store.NameWatchList(5, "Breakouts"));
    ASSERT_TRUE(store.NameWatchList(6, "Later"));
    ASSERT_TRUE(store.NameWatchList(6, ""));
    EXPECT_FALSE(store.NameWatchList(64, "Nope"));
    const auto names = Store().WatchListNames();
    EXPECT_EQ(names[5], "Breakouts");
    EXPECT_EQ(names[6], "");
}

TEST(QuoteStoreFile, RefusesFoldersWithoutAStoreAndFilesThatAreNone) {
    test::TempFolder folder;
    const auto problem = [&]() -> Problem {
        const Result<QuoteStore> opened = QuoteStore::Open(folder.path());
        EXPECT_FALSE(opened) << "opened";
        return opened ? Problem{} : opened.problem();
    };
    EXPECT_EQ(problem().kind, ProblemKind::BadInput);
    EXPECT_NE(problem().what.find("no quote store (quotes.db) in this folder"), std::string::npos);
    EXPECT_FALSE(fs::exists(folder / "quotes.db")) << "opening never creates the store";

    test::WriteBytes(folder / "quotes.db", std::string(5000, 'x'));
    EXPECT_EQ(problem().kind, ProblemKind::Failure);
    EXPECT_NE(problem().what.find("not a Marlindex quote database, or it is damaged"),
              std::string::npos)
        << problem().what;

    fs::remove(folder / "quotes.db");
    {
        sqlite::Connection other(folder / "quotes.db", sqlite::Connection::Mode::Create);
        other.Execute("CREATE TABLE t(x)");
    }
    EXPECT_NE(problem().what.find("an SQLite database of another program"), std::string::npos);

    fs::remove(folder / "quotes.db");
    Import(folder.path(), TinyDatabase());
    {
        sqlite::Connection newer(folder / "quotes.db", sqlite::Connection::Mode::ReadWrite);
        newer.Execute("PRAGMA user_version = 2");
    }
    EXPECT_EQ(problem().what, "the quote store was written by a newer Marlindex (layout 2); this "
                              "one reads layout 1");
}

} // namespace
} // namespace marlindex
