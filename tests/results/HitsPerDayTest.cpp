#include "results/HitsPerDay.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

TEST(HitsPerDay, CountsEachSymbolOnceADayInDateOrder) {
    AnalysisResults results;
    results.mode = AnalysisMode::Scan;
    results.symbols = {"AAA", "BBB", "CCC"};
    // Sorted by symbol, as a run gives them; BBB has a Buy and a Sell on day 20.
    results.rows = {{0, 30, Trade::Buy, 1},  {0, 10, Trade::Buy, 1},  {1, 20, Trade::Buy, 1},
                    {1, 20, Trade::Sell, 1}, {2, 20, Trade::Sell, 1}, {2, 30, Trade::Buy, 1}};
    const std::vector<DayHits> days = CountHitsPerDay(results);
    ASSERT_EQ(days.size(), 3u);
    EXPECT_EQ(days[0].date, 10);
    EXPECT_EQ(days[0].symbols, 1u);
    EXPECT_EQ(days[1].date, 20);
    EXPECT_EQ(days[1].symbols, 2u);
    EXPECT_EQ(days[2].date, 30);
    EXPECT_EQ(days[2].symbols, 2u);
    EXPECT_TRUE(CountHitsPerDay(AnalysisResults{}).empty());
}

} // namespace
} // namespace marlindex
