// The whole real data set of ../shared/data imported as a user would: the counts its README
// states, its quirks repaired, and breadth that accounts for every bar.
#include "support/SharedData.h"

#include "quotes/QuoteImport.h"
#include "quotes/QuoteStore.h"
#include "support/TempFolder.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <tuple>

namespace marlindex {
namespace {

class SharedDataTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        const auto data = test::SharedDataFolder();
        if (!data) {
            return;
        }
        folder_ = std::make_unique<test::TempFolder>();
        outcome_ = std::make_unique<ImportOutcome>(
            ImportQuotes(folder_->path(), {*data / "sp500_symbols_2018" / "symbols.csv",
                                           {*data / "sp500_daily_2013-2018"}}));
    }
    static void TearDownTestSuite() {
        outcome_.reset();
        folder_.reset();
    }
    void SetUp() override {
        if (!outcome_) {
            GTEST_SKIP() << test::kNoSharedData;
        }
        ASSERT_EQ(outcome_->status, ImportOutcome::Status::Imported)
            << (outcome_->problem ? outcome_->problem->Message() : "");
    }
    static QuoteStore Store() { return QuoteStore::Open(folder_->path()).value(); }

    static std::unique_ptr<test::TempFolder> folder_;
    static std::unique_ptr<ImportOutcome> outcome_;
};
std::unique_ptr<test::TempFolder> SharedDataTest::folder_;
std::unique_ptr<ImportOutcome> SharedDataTest::outcome_;

TEST_F(SharedDataTest, ImportsEverySymbolAndBarAndRepairsTheRowsWithEmptyFields) {
    const ImportReport& report = outcome_->report;
    EXPECT_EQ(report.files, 505u);
    EXPECT_EQ(report.symbolRows, 505u);
    EXPECT_EQ(report.newSymbols, 505u);
    EXPECT_EQ(report.bars, 619040u);
    EXPECT_EQ(report.addedBars, 619040u);
    EXPECT_EQ(FormatIsoDate(*report.firstDate), "2013-02-08");
    EXPECT_EQ(FormatIsoDate(*report.lastDate), "2018-02-07");
    // The 11 rows with an empty Open (8 of them with empty High and Low too), and AOS
    // 2014-05-19, whose High lies below its Close.
    EXPECT_EQ(report.repairs, (BarRepairs{11, 9, 8, 12}));

    const QuoteStore store = Store();
    const std::vector<SymbolSummary> list = store.List();
    ASSERT_EQ(list.size(), 505u);
    std::size_t bars = 0;
    std::map<std::string, const SymbolSummary*> bySymbol;
    for (const SymbolSummary& symbol : list) {
        bars += symbol.bars;
        bySymbol[symbol.symbol] = &symbol;
    }
    EXPECT_EQ(bars, 619040u);
    EXPECT_EQ(bySymbol.at("APTV")->bars, 44u);
    EXPECT_EQ(FormatIsoDate(*bySymbol.at("APTV")->first), "2017-12-05");
    EXPECT_EQ(bySymbol.at("BRK.B")->bars, 1259u);
    EXPECT_EQ(bySymbol.at("ES")->bars, 1249u) << "ten missing days";
    EXPECT_EQ(store.TradingDates().size(), 1259u);

    const BarSeries aapl = *store.LoadSeries("AAPL");
    EXPECT_EQ(aapl.close[0], 67.8542);
    EXPECT_EQ(aapl.volume[0], 158168416);
    const BarSeries bhf = *store.LoadSeries("BHF");
    const auto repaired = static_cast<std::size_t>(
        std::find(bhf.dates.begin(), bhf.dates.end(), *ParseIsoDate("2017-07-26")) -
        bhf.dates.begin());
    EXPECT_EQ(std::tie(bhf.open[repaired], bhf.high[repaired], bhf.low[repaired]),
              std::tuple(69.0842, 69.0842, 69.0842));
}

TEST_F(SharedDataTest, CategoriesAndBreadthAccountForEverySymbolAndBar) {
    const auto snapshot = Store().LoadForAnalysis();
    ASSERT_TRUE(snapshot.has_value());
    std::map<std::string, int> markets;
    std::map<int, std::string> sectors;
    std::map<int, std::string> industries;
    for (const SymbolInfo& info : snapshot->symbols) {
        ++markets[info.market];
        sectors[info.sectorId] = info.sector;
        industries[info.industryId] = info.industry;
        EXPECT_EQ(info.group, "");
    }
    EXPECT_EQ(markets, (std::map<std::string, int>{{"NASDAQ", 125}, {"NYSE", 380}}));
    EXPECT_EQ(sectors.size(), 11u);
    EXPECT_EQ(sectors.rbegin()->first, 10) << "numbered 0 to 10";
    EXPECT_EQ(industries.size(), 122u);
    EXPECT_EQ(snapshot->symbols[*snapshot->Find("A")].marketId, 0) << "the first row's market";

    // Every bar but each symbol's first counts once in its market's breadth.
    double counted = 0;
    for (const MarketBreadth& market : snapshot->breadth) {
        EXPECT_EQ(market.dates.front(), snapshot->tradingDates[1]) << "the first date has none";
        for (const BreadthDay& day : market.days) {
            counted += day.advancing + day.declining + day.unchanged;
        }
    }
    EXPECT_EQ(counted, 619040 - 505);
}

} // namespace
} // namespace marlindex
