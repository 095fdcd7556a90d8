// The two builders of the filter expression. Their spacing differs on purpose, so every
// expected text is written out in full, blank for blank.
#include "filter/FilterExpression.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

enum : std::size_t { Markets, Groups, Sectors, Industries, Watchlists };

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines{""};
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text.compare(i, 2, "\r\n") == 0) {
            lines.emplace_back();
            ++i;
        } else {
            lines.back() += text[i];
        }
    }
    return lines;
}

TEST(FilterExpressionTest, WorkedExampleInBothForms) {
    // Market NYSE and watch list 3 included, group Funds excluded.
    FilterFileContents contents;
    contents[Markets] = {{kIncluded, "NYSE"}, {kUnmarked, "NASDAQ"}};
    contents[Groups] = {{kExcluded, "Funds"}};
    for (int n = 0; n < 5; ++n) {
        contents[Watchlists].push_back({n == 3 ? kIncluded : kUnmarked, "Watchlist"});
    }
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
              "( SectorID(1)  != \"Energy\"\r\nAND IndustryID(1)  != \"Oil\"\r\n"
              "AND InWatchList(0) == 0 )");
    EXPECT_EQ(BuildFilterExpression(contents, ExpressionForm::Load),
              "( SectorID(1) != \"Energy\"\r\nAND IndustryID(1) != \"Oil\"\r\n"
              "AND InWatchList(0) == 0  )");
}

TEST(FilterExpressionTest, IncludedItemsOfAllCategoriesFormOneOrListOfQuotedNames) {
    FilterFileContents contents;
    contents[Markets] = {{kIncluded, "O'Neil's"}};
    contents[Groups] = {{kIncluded, "Say \"Cheese\""}}; // double quotes pass as they are
    contents[Sectors] = {{kIncluded, "Energy"}};
    contents[Industries] = {{kIncluded, "Oil"}};
    contents[Watchlists] = {{kUnmarked, "Watchlist 0"}, {kIncluded, "Watchlist 1"}};
    EXPECT_EQ(BuildFilterExpression(contents, ExpressionForm::SaveData),
              "( MarketID(1) == \"O''Neil''s\"\r\n"
              "OR GroupID(1)  == \"Say \"Cheese\"\"\r\n"
              "OR SectorID(1)  == \"Energy\"\r\n"
              "OR IndustryID(1)  == \"Oil\"\r\n"
              "OR InWatchList(1) == 1 )");
}

} // namespace
} // namespace marlindex
