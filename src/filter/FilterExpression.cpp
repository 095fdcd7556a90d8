#include "filter/FilterExpression.h"

#include "startup/TextHelpers.h"

#include <array>

namespace marlindex {

namespace {

constexpr std::string_view kIncludedSeparator = "\r\nOR ";
constexpr std::string_view kExcludedSeparator = "\r\nAND ";

// The argument 1 makes AmiBroker return the category's name, which is what the file holds.
constexpr std::array<std::string_view, kWatchlistCategory> kNameFunctions{
    "MarketID(1)", "GroupID(1)", "SectorID(1)", "IndustryID(1)"};

} // namespace

void FilterExpressionBuilder::Add(std::size_t category, int mark, std::string_view name,
                                  std::string_view watchlistNumber) {
    if (mark == kUnmarked) {
        return;
    }
    const bool included = mark == kIncluded;
    std::string& list = included ? included_ : excluded_;
    list += Clause(category, included, name, watchlistNumber);
    list.append(included ? kIncludedSeparator : kExcludedSeparator);
}

std::string FilterExpressionBuilder::Clause(std::size_t category, bool included,
                                            std::string_view name,
                                            std::string_view watchlistNumber) const {
    std::string clause;
    if (category == kWatchlistCategory) {
        clause = "InWatchList(" + std::string(watchlistNumber) + ") == " + (included ? "1" : "0");
        if (form_ == ExpressionForm::Load) {
            clause += ' ';
        }
        return clause;
    }
    clause = kNameFunctions[category];
    // The write-back form has always put a second blank here for all but markets.
    if (form_ == ExpressionForm::SaveData && category != 0) {
        clause += ' ';
    }
    clause += included ? " == " : " != ";
    clause += '"' + QuoteApostrophes(name) + '"';
    return clause;
}

std::string FilterExpressionBuilder::Build() const {
    std::string_view included = included_;
    std::string_view excluded = excluded_;
    if (!included.empty()) {
        included.remove_suffix(kIncludedSeparator.size());
    }
    if (!excluded.empty()) {
        excluded.remove_suffix(kExcludedSeparator.size());
    }
    if (!included.empty() && !excluded.empty()) {
        return "(( " + std::string(included) + " )\r\nAND ( " + std::string(excluded) + " ))";
    }
    if (!included.empty()) {
        return "( " + std::string(included) + " )";
    }
    if (!excluded.empty()) {
        return "( " + std::string(excluded) + " )";
    }
    return {};
}

std::string BuildFilterExpression(const FilterFileContents& contents, ExpressionForm form) {
    FilterExpressionBuilder builder(form);
    for (std::size_t category = 0; category < kFilterCategoryCount; ++category) {
        for (std::size_t position = 0; position < contents[category].size(); ++position) {
            const FilterFileItem& item = contents[category][position];
            builder.Add(category, item.mark, item.name, std::to_string(position));
        }
    }
    return builder.Build();
}

} // namespace marlindex
