#include "formula/Catalogues.h"

#include "formula/EditorState.h"
#include "startup/TextHelpers.h"

#include <charconv>

namespace marlindex {

namespace {

constexpr Catalogues kCatalogues{
    .indicators =
        {
            "0;AccDist();Acc/Dist;0;",
            "1;adline();Advance/Decline Line;0;",
            "2;ADX( A1 );ADX;0;14",
            "3;CCIa( A1, A2 );Commodity Channel Index;0;Close 14",
            "4;Chaikin( A1, A2 );Chaikin;0;9 14",
            "5;MACD( A1, A2 );MACD;0;12 26",
            "6;Signal( A1, A2, A3 );Signal;0;12 26 9",
            "7;MA( A1, A2 );MA (Short);1;Close 5",
            "8;MA( A1, A2 );MA (Medium);1;Close 30",
            "9;MA( A1, A2 );MA (Long);1;Close 50",
            "10;MDI();DI-;0;",
            "11;NVI();Negative Volume Index;0;",
            "12;OBV();OBV;0;",
            "13;PDI();DI+;0;",
            "14;Price;Price;1;",
            "15;ROC( A1, A2, A3 );Rate Of Change;0;Close 12 False",
            "16;RSIa( A1, A2 );RSI;0;Close 14",
            "17;SAR( A1, A2 );Parabolic SAR;0;1.02 0.2",
            "18;StochD( A1, A2, A3 );Stochastic %D(Slow);0;14 3 3",
            "19;TRIN();TRIN;0;",
            "20;TRIX( A1 );TRIX;0;9",
            "21;Ultimate( A1, A2, A3 );Ultimate;0;7 14 28",
            "22;Volume;Volume;0;",
            "23;MA( Volume, A1 );Volume (Average);0;15",
            "24;MFI( A1 );MFI;0;14",
            "25;OSCP( A1, A2 );Price Oscillator;0;9 18",
            "26;OSCV( A1, A2 );Volume Oscillator;0;9 18",
            "27;BBANDBOT( A1, A2, A3 );Bolinger Band (Bottom);0;Close 10 2",
            "28;BBANDTOP( A1, A2, A3 );Bolinger Band (Top);0;Close 5 2",
            "29;RMI( A1, A2 );RMI;0;20 5",
            "30;RWI( A1, A2 );Random Walk Index;0;9 40",
            "31;StochK( A1, A2 );Stochastic %K(Slow);0;14 3",
            "32;ATR( A1 );Average True Range;0;14",
            "33;OpenInt;Open Interest;0;",
            "34;AMA( A1, A2 );AMA;0;Close 1",
            "35;AMA2( A1, A2, A3 );AMA2;0;Close 1 1",
            "36;EMA( A1, A2 );EMA;0;Close 5",
            "37;TEMA( A1, A2 );TEMA;0;Close 5",
            "38;Wilders( A1, A2 );Wilders Smoothing;0;Close 10",
            "39;DEMA( A1, A2 );DEMA;0;Close 5",
        },
    // Price-scale indicators pair with each other; MA (Short) lists Parabolic SAR before
    // Price on purpose.
    .pairings =
        {
            "0",
            "1",
            "2;10;13",
            "3",
            "4",
            "5;6",
            "5;6",
            "7;8;9;17;14;25;27;28;34;35;36;37;38;39",
            "7;8;9;14;17;25;27;28;34;35;36;37;38;39",
            "7;8;9;14;17;25;27;28;34;35;36;37;38;39",
            "2;10;13",
            "11",
            "12",
            "2;10;13",
            "7;8;9;14;17;25;27;28;34;35;36;37;38;39",
            "15",
            "16",
            "7;8;9;14;17;25;27;28;34;35;36;37;38;39",
            "18;31",
            "19",
            "20",
            "21",
            "22;23;26",
            "22;23;26",
            "24",
            "7;8;9;14;17;25;27;28;34;35;36;37;38;39",
            "22;23;26",
            "7;8;9;14;17;25;27;28;34;35;36;37;38;39",
            "7;8;9;14;17;25;27;28;34;35;36;37;38;39",
            "29",
            "30",
            "18;31",
            "32",
            "33",
            "7;8;9;14;17;25;27;28;34;35;36;37;38;39",
            "7;8;9;14;17;25;27;28;34;35;36;37;38;39",
            "7;8;9;14;17;25;27;28;34;35;36;37;38;39",
            "7;8;9;14;17;25;27;28;34;35;36;37;38;39",
            "7;8;9;14;17;25;27;28;34;35;36;37;38;39",
            "7;8;9;14;17;25;27;28;34;35;36;37;38;39",
        },
    .comparisons =
        {
            "crosses above;0;BarsSince( Cross( Array1, Array2 ) ) <= Period1;Cross( Array1, Array2 "
            ")",
            "crosses below;0;BarsSince( Cross( Array2, Array1 ) ) <= Period1;Cross( Array2, Array1 "
            ")",
            "is equal to;1;Ref( Array1, Period1 ) == Ref( Array2, Period2 );"
            "Array1 == Ref( Array2, Period2 );Array1 == Array2;Ref( Array1, Period1 ) == Array2",
            "is less than;1;Ref( Array1, Period1 ) < Ref( Array2, Period2 );"
            "Array1 < Ref( Array2, Period2 );Array1 < Array2;Ref( Array1, Period1 ) < Array2",
            "is greater than;1;Ref( Array1, Period1 ) > Ref( Array2, Period2 );"
            "Array1 > Ref( Array2, Period2 );Array1 > Array2;Ref( Array1, Period1 ) > Array2",
            "has been above;1;BarsSince( Array1 <= Array2 ) >= Period1;Array1 > Array2",
            "has been below;1;BarsSince( Array1 >= Array2 ) >= Period1;Array1 < Array2",
            "has equalled;2;BarsSince( Array1 == Value ) < Period1;Array1 == Value",
            "has been less than;2;Ref( LLV( Array1, Period1 ), 0 ) < Value;Array1 < Value",
            "has been greater than;2;Ref( HHV( Array1, Period1 ), 0 ) > Value;Array1 > Value",
            "lowest it has been;3;Ref( LLV( Array1, Period1 ), -1 ) > Array1;Array1 < Value",
            "highest it has been;3;Ref( HHV( Array1, Period1 ), -1 ) < Array1;Array1 > Value",
        },
    // Parabolic SAR, Price Oscillator and Volume Oscillator offer no crossings although
    // they have partners.
    .availability =
        {
            "2;3;4;5;6;7;8;9;10;11",     "2;3;4;5;6;7;8;9;10;11",     "0;1;2;3;4;5;6;7;8;9;10;11",
            "2;3;4;5;6;7;8;9;10;11",     "2;3;4;5;6;7;8;9;10;11",     "0;1;2;3;4;5;6;7;8;9;10;11",
            "0;1;2;3;4;5;6;7;8;9;10;11", "0;1;2;3;4;5;6;7;8;9;10;11", "0;1;2;3;4;5;6;7;8;9;10;11",
            "0;1;2;3;4;5;6;7;8;9;10;11", "0;1;2;3;4;5;6;7;8;9;10;11", "2;3;4;5;6;7;8;9;10;11",
            "2;3;4;5;6;7;8;9;10;11",     "0;1;2;3;4;5;6;7;8;9;10;11", "0;1;2;3;4;5;6;7;8;9;10;11",
            "2;3;4;5;6;7;8;9;10;11",     "2;3;4;5;6;7;8;9;10;11",     "2;3;4;5;6;7;8;9;10;11",
            "0;1;2;3;4;5;6;7;8;9;10;11", "2;3;4;5;6;7;8;9;10;11",     "2;3;4;5;6;7;8;9;10;11",
            "2;3;4;5;6;7;8;9;10;11",     "0;1;2;3;4;5;6;7;8;9;10;11", "0;1;2;3;4;5;6;7;8;9;10;11",
            "2;3;4;5;6;7;8;9;10;11",     "2;3;4;5;6;7;8;9;10;11",     "2;3;4;5;6;7;8;9;10;11",
            "0;1;2;3;4;5;6;7;8;9;10;11", "0;1;2;3;4;5;6;7;8;9;10;11", "2;3;4;5;6;7;8;9;10;11",
            "2;3;4;5;6;7;8;9;10;11",     "0;1;2;3;4;5;6;7;8;9;10;11", "2;3;4;5;6;7;8;9;10;11",
            "2;3;4;5;6;7;8;9;10;11",     "0;1;2;3;4;5;6;7;8;9;10;11", "0;1;2;3;4;5;6;7;8;9;10;11",
            "0;1;2;3;4;5;6;7;8;9;10;11", "0;1;2;3;4;5;6;7;8;9;10;11", "0;1;2;3;4;5;6;7;8;9;10;11",
            "0;1;2;3;4;5;6;7;8;9;10;11",
        },
    .options =
        {
            "7;Simple",
            "7;Exponential",
            "7;Weighted",
            "14;Close",
            "14;High",
            "14;Low",
            "14;Open",
            "14;Avg",
            "8;Simple",
            "8;Exponential",
            "8;Weighted",
            "9;Simple",
            "9;Exponential",
            "9;Weighted",
        },
};

// The group of each comparison index, in catalogue order.
constexpr std::array<ComparisonGroup, kComparisonCount> kComparisonGroups{
    ComparisonGroup::Crossing,   ComparisonGroup::Crossing,      ComparisonGroup::BarByBar,
    ComparisonGroup::BarByBar,   ComparisonGroup::BarByBar,      ComparisonGroup::HasBeen,
    ComparisonGroup::HasBeen,    ComparisonGroup::WithinLast,    ComparisonGroup::WithinLast,
    ComparisonGroup::WithinLast, ComparisonGroup::LowestHighest, ComparisonGroup::LowestHighest,
};

int ToInt(std::string_view text) {
    int value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

std::vector<int> ToIndexList(std::string_view list) {
    std::vector<int> indices;
    for (const std::string& field : SplitEntry(list)) {
        indices.push_back(ToInt(field));
    }
    return indices;
}

} // namespace

const Catalogues& BuildCatalogues() {
    return kCatalogues;
}

bool IsIndicatorIndex(int index) {
    return index >= 0 && index < kIndicatorCount;
}
bool IsComparisonIndex(int index) {
    return index >= 0 && index < kComparisonCount;
}

IndicatorEntry Indicator(int index) {
    const auto fields = SplitEntry(kCatalogues.indicators.at(static_cast<std::size_t>(index)));
    return {ToInt(fields[0]), fields[1], fields[2], fields[3] == "1", fields[4]};
}

ComparisonEntry Comparison(int index) {
    const auto position = static_cast<std::size_t>(index);
    auto fields = SplitEntry(kCatalogues.comparisons.at(position));
    ComparisonEntry entry;
    entry.index = index;
    entry.text = std::move(fields[0]);
    entry.kind = static_cast<ComparisonKind>(ToInt(fields[1]));
    entry.group = kComparisonGroups[position];
    entry.templates.assign(std::make_move_iterator(fields.begin() + 2),
                           std::make_move_iterator(fields.end()));
    return entry;
}

std::optional<ComparisonGroup> GroupOf(std::optional<int> comparison) {
    if (!comparison || !IsComparisonIndex(*comparison)) {
        return std::nullopt;
    }
    return kComparisonGroups[static_cast<std::size_t>(*comparison)];
}

bool TakesIndicator(ComparisonKind kind) {
    return kind == ComparisonKind::IndicatorOnly || kind == ComparisonKind::IndicatorOrValue;
}

bool TakesValue(ComparisonKind kind) {
    return kind != ComparisonKind::IndicatorOnly;
}

bool HasTargetList(ComparisonKind kind) {
    return kind != ComparisonKind::OwnExtreme;
}

std::vector<std::string> OfferedTargets(ComparisonKind kind) {
    std::vector<std::string> targets;
    if (!HasTargetList(kind)) {
        return targets;
    }
    if (TakesIndicator(kind)) {
        targets.emplace_back(kTargetIndicator);
    }
    if (TakesValue(kind)) {
        targets.emplace_back(kTargetValue);
    }
    return targets;
}

bool ComparesWithIndicator(ComparisonKind kind, std::string_view target) {
    return TakesIndicator(kind) && (!TakesValue(kind) || target == kTargetIndicator);
}

bool ComparesWithValue(ComparisonKind kind, std::string_view target, std::int32_t bars1) {
    if (kind == ComparisonKind::OwnExtreme) {
        return bars1 == 0;
    }
    return TakesValue(kind) && (!TakesIndicator(kind) || target == kTargetValue);
}

bool TakesBars2(ComparisonGroup group) {
    return group == ComparisonGroup::BarByBar;
}

std::vector<int> PairedIndicators(int indicatorA) {
    return ToIndexList(kCatalogues.pairings.at(static_cast<std::size_t>(indicatorA)));
}

std::vector<int> AvailableComparisons(int indicatorA) {
    return ToIndexList(kCatalogues.availability.at(static_cast<std::size_t>(indicatorA)));
}

std::vector<OptionEntry> IndicatorOptions(int indicator) {
    std::vector<OptionEntry> options;
    for (std::size_t position = 0; position < kCatalogues.options.size(); ++position) {
        const auto fields = SplitEntry(kCatalogues.options[position]);
        if (ToInt(fields[0]) == indicator) {
            options.push_back({static_cast<int>(position), fields[1]});
        }
    }
    return options;
}

std::optional<ValueRange> IndicatorRange(int indicator) {
    // ADX, DI-, DI+, RSI, Stochastic %D, Ultimate, MFI, RMI, Stochastic %K.
    static constexpr std::array<int, 9> kPercentScaled{2, 10, 13, 16, 18, 21, 24, 29, 31};
    for (const int index : kPercentScaled) {
        if (index == indicator) {
            return ValueRange{0, 100};
        }
    }
    return std::nullopt;
}

std::optional<int> FindIndicatorByName(std::string_view displayName) {
    for (int index = 0; index < kIndicatorCount; ++index) {
        if (EqualsIgnoreCase(Indicator(index).displayName, displayName)) {
            return index;
        }
    }
    return std::nullopt;
}

std::optional<int> FindComparisonByText(std::string_view text) {
    for (int index = 0; index < kComparisonCount; ++index) {
        if (EqualsIgnoreCase(Comparison(index).text, text)) {
            return index;
        }
    }
    return std::nullopt;
}

} // namespace marlindex
