// The two builders of the filter expression. Their spacing differs on purpose, so every
// expected text is written out in full, blank for blank.
#include "filter/FilterExpression.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

enum : std::size_t { Markets, Groups, Sectors, Industries, Watchlists };

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end; (end = text.find("\r\n", start)) != std::string::npos; start = end + 2) {
        lines.push_back(text.substr(start, end - start));
    }
    lines.push_back(text.substr(start));
    return lines;
}

// Market NYSE and watch list 3 included, group Funds excluded; other items unmarked.
FilterFileContents NyseFundsWatchlist3() {
    FilterFileContents contents;
    contents[Markets] = {{kIncluded, "NYSE"}, {kUnmarked, "NASDAQ"}};
    contents[Groups] = {{kExcluded, "Funds"}};
    for (int n = 0; n < 5; ++n) {
        contents[Watchlists].push_back(
            {n == 3 ? kIncluded : kUnmarked, "Watchlist " + std::to_string(n)});
    }
    return contents;
}

TEST(FilterExpressionTest, WorkedExampleInBothForms) {
    const FilterFileContents contents = NyseFundsWatchlist3();
    EXPECT_EQ(Lines(BuildFilterExpression(contents, ExpressionForm::SaveData)),
              (std::vector<std::string>{"(( MarketID(1) == \"NYSE\"", "OR InWatchList(3) == 1 )",
                                        "AND ( GroupID(1)  != \"Funds\" ))"}));
    EXPECT_EQ(Lines(BuildFilterExpression(contents, ExpressionForm::Load)),
              (std::vector<std::string>{"(( MarketID(1) == \"NYSE\"", "OR InWatchList(3) == 1  )",
                                        "AND ( GroupID(1) != \"Funds\" ))"}));
}

TEST(FilterExpressionTest, OneSidedFiltersGetOnePairOfParentheses) {
    FilterFileContents contents;
    contents[Markets] = {{kUnmarked, "NYSE"}};
    EXPECT_EQ(BuildFilterExpression(contents, ExpressionForm::Load), "");
    EXPECT_EQ(BuildFilterExpression(contents, ExpressionForm::SaveData), "");

    contents[Sectors] = {{kIncluded, "Energy"}};
    EXPECT_EQ(BuildFilterExpression(contents, ExpressionForm::SaveData),
              "( SectorID(1)  == \"Energy\" )");

    contents[Sectors] = {{kExcluded, "Energy"}};
    contents[Industries] = {{kExcluded, "Oil"}};
    contents[Watchlists] = {{kExcluded, "Watchlist 0"}};
    EXPECT_EQ(BuildFilterExpression(contents, ExpressionForm::SaveData),
              "( SectorID(1)  != \"Energy\"\r\n"
              "AND IndustryID(1)  != \"Oil\"\r\n"
              "AND InWatchList(0) == 0 )");
    EXPECT_EQ(BuildFilterExpression(contents, ExpressionForm::Load),
              "( SectorID(1) != \"Energy\"\r\n"
              "AND IndustryID(1) != \"Oil\"\r\n"
              "AND InWatchList(0) == 0  )");
}

TEST(FilterExpressionTest, IncludedItemsOfAllCategoriesFormOneOrList) {
    FilterFileContents contents;
    contents[Markets] = {{kIncluded, "NYSE"}};
    contents[Groups] = {{kIncluded, "Stocks"}};
    contents[Sectors] = {{kIncluded, "Energy"}};
    contents[Industries] = {{kIncluded, "Oil"}};
    contents[Watchlists] = {{kUnmarked, "Watchlist 0"}, {kIncluded, "Watchlist 1"}};
    EXPECT_EQ(BuildFilterExpression(contents, ExpressionForm::SaveData),
              "( MarketID(1) == \"NYSE\"\r\n"
              "OR GroupID(1)  == \"Stocks\"\r\n"
              "OR SectorID(1)  == \"Energy\"\r\n"
              "OR IndustryID(1)  == \"Oil\"\r\n"
              "OR InWatchList(1) == 1 )");
    EXPECT_EQ(BuildFilterExpression(contents, ExpressionForm::Load),
              "( MarketID(1) == \"NYSE\"\r\n"
              "OR GroupID(1) == \"Stocks\"\r\n"
              "OR SectorID(1) == \"Energy\"\r\n"
              "OR IndustryID(1) == \"Oil\"\r\n"
              "OR InWatchList(1) == 1  )");
}

TEST(FilterExpressionTest, NamesAreQuotedWithApostrophesDoubled) {
    FilterFileContents contents;
    contents[Markets] = {{kIncluded, "O'Neil's"}};
    contents[Industries] = {{kExcluded, "Say \"Cheese\""}};
    EXPECT_EQ(BuildFilterExpression(contents, ExpressionForm::Load),
              "(( MarketID(1) == \"O''Neil''s\" )\r\n"
              "AND ( IndustryID(1) != \"Say \"Cheese\"\" ))");
}

TEST(FilterExpressionTest, TheWriteBackFormNumbersWatchlistsByTheirKeys) {
    // After the dialog has been loaded the keys, not the positions, name the watch lists.
    FilterExpressionBuilder builder(ExpressionForm::SaveData);
    builder.Add(Watchlists, kIncluded, "Watchlist 0", "17");
    builder.Add(Watchlists, kExcluded, "Watchlist 1", "40");
    EXPECT_EQ(builder.Build(), "(( InWatchList(17) == 1 )\r\nAND ( InWatchList(40) == 0 ))");
}

} // namespace
} // namespace marlindex
