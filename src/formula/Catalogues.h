// The five fixed tables that are the whole vocabulary of the condition builder: indicators
// with their AFL templates, which indicators pair with which, comparisons with their
// templates, which comparisons each indicator offers, and the option lists (moving-average
// type, price field). Every entry is a ";"-separated record, read with SplitEntry; the
// accessors below read the fields by position so that no caller repeats the layout.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marlindex {

inline constexpr int kIndicatorCount = 40;
inline constexpr int kComparisonCount = 12;
inline constexpr int kOptionCount = 14;

// Indicator indices that name a table row with special handling in the translation.
inline constexpr int kIndicatorMaShort = 7;
inline constexpr int kIndicatorMaMedium = 8;
inline constexpr int kIndicatorMaLong = 9;
inline constexpr int kIndicatorPrice = 14;

struct Catalogues {
    std::array<std::string_view, kIndicatorCount> indicators;
    std::array<std::string_view, kIndicatorCount> pairings;
    std::array<std::string_view, kComparisonCount> comparisons;
    std::array<std::string_view, kIndicatorCount> availability;
    std::array<std::string_view, kOptionCount> options;
};

// The tables, built once and shared; they are program constants.
const Catalogues& BuildCatalogues();

bool IsIndicatorIndex(int index);
bool IsComparisonIndex(int index);

// An indicator's record, taken apart.
struct IndicatorEntry {
    int index = 0;
    std::string aflTemplate; // " A1", " A2", " A3" mark the parameters
    std::string displayName;
    bool hasOptions = false;       // shows a choice list beside the indicator
    std::string defaultParameters; // blank-separated, possibly empty
};
IndicatorEntry Indicator(int index);

// A comparison's record, taken apart. `templates[0]` is the first template field: the form
// for both periods non-zero; then the current-bar form; then (comparisons 2 to 4 only) the
// forms for both periods 0 and for period 2 alone 0.
struct ComparisonEntry {
    std::string text;
    int kind = 0; // 0 indicator only, 1 indicator or value, 2 value only, 3 own extreme / value
    std::vector<std::string> templates;
};
ComparisonEntry Comparison(int index);

// What the second indicator list offers for indicator A, in list order.
std::vector<int> PairedIndicators(int indicatorA);
// The comparisons offered for indicator A, in list order.
std::vector<int> AvailableComparisons(int indicatorA);

// The option texts of an indicator, in table order, with their table positions.
struct OptionEntry {
    int position = 0;
    std::string text;
};
std::vector<OptionEntry> IndicatorOptions(int indicator);

// Look-ups by the texts a user sees; letter case is ignored.
std::optional<int> FindIndicatorByName(std::string_view displayName);
std::optional<int> FindComparisonByText(std::string_view text);

} // namespace marlindex
