// The five fixed tables that are the whole vocabulary of the condition builder: indicators
// with their AFL templates, which indicators pair with which, comparisons with their
// templates, which comparisons each indicator offers, and the option lists (moving-average
// type, price field). Every entry is a ";"-separated record, read with SplitEntry; the
// accessors below read the fields by position so that no caller repeats the layout.
#pragma once

#include <array>
#include <cstdint>
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

// What a comparison compares indicator A with: field 1 of its record.
enum class ComparisonKind {
    IndicatorOnly = 0,    // another indicator
    IndicatorOrValue = 1, // another indicator or the typed value, as the user chooses
    ValueOnly = 2,        // the typed value
    OwnExtreme = 3,       // over a period its own lowest or highest level; on the current bar
                          // the typed value
};

// The families of comparisons that share the shape of their formula, their time phrases and
// the inputs the editor offers. The catalogue's comparison indices map onto these in one
// table; everything else asks for a comparison's group.
enum class ComparisonGroup {
    Crossing,      // "crosses above", "crosses below"
    BarByBar,      // "is equal to", "is less than", "is greater than"
    HasBeen,       // "has been above", "has been below"
    WithinLast,    // "has equalled", "has been less than", "has been greater than"
    LowestHighest, // "lowest it has been", "highest it has been"
};

// A comparison's record, taken apart. `templates[0]` is the first template field: the form
// for both periods non-zero; then the current-bar form; then (the bar-by-bar group only) the
// forms for both periods 0 and for period 2 alone 0.
struct ComparisonEntry {
    int index = 0;
    std::string text;
    ComparisonKind kind = ComparisonKind::IndicatorOnly;
    ComparisonGroup group = ComparisonGroup::Crossing;
    std::vector<std::string> templates;
};
ComparisonEntry Comparison(int index);
// The group of a comparison index; none for an index outside the catalogue.
std::optional<ComparisonGroup> GroupOf(std::optional<int> comparison);

// ---- what a comparison's kind and group decide ----

// Whether a comparison of this kind can take indicator B, and the typed value, as its
// second side. The editor's target list offers exactly these ("Indicator" before "Value"),
// and a scan file may name only these.
bool TakesIndicator(ComparisonKind kind);
bool TakesValue(ComparisonKind kind);
// The editor lets the user choose the target from a list; lowest/highest decide it by the
// bars instead, so they have no list.
bool HasTargetList(ComparisonKind kind);
// The target texts the list offers, in list order.
std::vector<std::string> OfferedTargets(ComparisonKind kind);

// What side 2 is, given the chosen target text and bars of side 1: indicator B, or the
// typed value (lowest/highest over a period compare with their own extreme, neither).
bool ComparesWithIndicator(ComparisonKind kind, std::string_view target);
bool ComparesWithValue(ComparisonKind kind, std::string_view target, std::int32_t bars1);

// Only the bar-by-bar comparisons take bars ago for side 2 (and have forms for 0 of them);
// every other comparison reads a second period of 0 as 1.
bool TakesBars2(ComparisonGroup group);

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

// The values an oscillator keeps to (RSI, MFI, the stochastics ... lie between 0 and 100);
// none for an indicator without such bounds.
struct ValueRange {
    double low = 0;
    double high = 0;
};
std::optional<ValueRange> IndicatorRange(int indicator);

// Look-ups by the texts a user sees; letter case is ignored.
std::optional<int> FindIndicatorByName(std::string_view displayName);
std::optional<int> FindComparisonByText(std::string_view text);

} // namespace marlindex
