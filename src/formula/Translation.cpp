#include "formula/Translation.h"

#include "formula/AflNumber.h"
#include "formula/Catalogues.h"
#include "formula/IndicatorParameters.h"
#include "startup/TextHelpers.h"

#include <algorithm>
#include <vector>

namespace marlindex {

namespace {

bool IsOneOf(int value, std::initializer_list<int> set) {
    return std::find(set.begin(), set.end(), value) != set.end();
}

bool IsModifyOperation(std::string_view operation) {
    return operation == kModifyIncrease || operation == kModifyDecrease ||
           operation == kModifyMultiply || operation == kModifyDivide;
}

std::string ModifiedSide1(const std::string& t, const EditorState& s) {
    if (!s.modify1On) {
        return t;
    }
    const std::string amount = FormatAflNumber(s.modify1);
    if (s.modify1Operation == kModifyIncrease) {
        return t + "+" + amount;
    }
    if (s.modify1Operation == kModifyDecrease) {
        return t + "-" + amount;
    }
    if (s.modify1Operation == kModifyMultiply) {
        return t + "*" + amount;
    }
    if (s.modify1Operation == kModifyDivide) {
        return t + "/" + amount;
    }
    return {};
}

// Side 2 may be modified by a percentage. Only increase and decrease put blanks around "*".
std::string ModifiedSide2(const std::string& t, const EditorState& s) {
    if (!s.modify2On) {
        return t;
    }
    const double m = s.modify2;
    const bool percent = s.modify2Unit == kUnitPercent;
    if (s.modify2Operation == kModifyIncrease) {
        return percent ? t + " * " + FormatAflNumber(1 + m / 100) : t + "+" + FormatAflNumber(m);
    }
    if (s.modify2Operation == kModifyDecrease) {
        return percent ? t + " * " + FormatAflNumber((100 - m) / 100)
                       : t + "-" + FormatAflNumber(m);
    }
    if (s.modify2Operation == kModifyMultiply) {
        return t + "*" + FormatAflNumber(percent ? m / 100 : m);
    }
    if (s.modify2Operation == kModifyDivide) {
        return t + "/" + FormatAflNumber(percent ? m / 100 : m);
    }
    return {};
}

// The parameters an indicator is computed with, in template order: the stored preference
// where it meets the dialog's rules, else the catalogue default. An indicator without
// parameters never touches the settings.
std::vector<std::string> ParametersInUse(const IndicatorEntry& indicator,
                                         const CProgramSettings& settings) {
    std::vector<std::string> values;
    const std::vector<std::string> defaults = SplitAtBlanks(indicator.defaultParameters);
    for (std::size_t k = 1; k <= defaults.size(); ++k) {
        values.push_back(
            ParameterInUse(indicator.index, static_cast<int>(k), defaults[k - 1], settings));
    }
    return values;
}

// Replaces " A1", " A2", ... in `text` by the parameters in use.
std::string FillParameters(std::string text, const std::vector<std::string>& parameters) {
    for (std::size_t k = 1; k <= parameters.size(); ++k) {
        text = ReplaceAll(text, " A" + std::to_string(k), " " + parameters[k - 1]);
    }
    return text;
}

// Applies the corrections the translation writes back into the editor. "Has been above" or
// "below" over 0 bars means over 1 bar, and the period form is then the one used. A
// percentage modifier of 0 or less means 1.
EditorState Corrected(const EditorState& state, ConditionTranslation& result) {
    EditorState s = state;
    if (GroupOf(s.comparison) == ComparisonGroup::HasBeen && s.tp1 == 0) {
        s.tp1 = 1;
        result.correctedTP1 = 1;
    }
    if (s.indicator2 && s.modify2On && s.modify2Unit == kUnitPercent &&
        IsModifyOperation(s.modify2Operation) && s.modify2 <= 0) {
        s.modify2 = 1;
        result.correctedModify2 = 1.0;
    }
    return s;
}

// Splits the condition at its comparison operator for storage: the left part trimmed, the
// right part from the operator on. Without an operator the whole condition is the right part.
void SplitForStorage(const std::string& e, ConditionTranslation& result) {
    std::size_t found = std::string::npos;
    for (const char* op : {" >=", " >", " <", " =="}) {
        found = e.find(op);
        if (found != std::string::npos) {
            break;
        }
    }
    const std::size_t p = found == std::string::npos ? 0 : found + 1;
    result.leftPart = std::string(TrimBlanks(std::string_view(e).substr(0, p)));
    result.rightPart = e.substr(p);
}

// The parameters of the two indicators, read once for the formula and the words.
struct Parameters {
    std::vector<std::string> a;
    std::vector<std::string> b;
};

std::string Expression(const EditorState& s, const Parameters& parameters) {
    const ComparisonEntry c = Comparison(*s.comparison);
    const IndicatorEntry a = Indicator(*s.indicator1);
    const std::optional<IndicatorEntry> b =
        s.indicator2 ? std::optional(Indicator(*s.indicator2)) : std::nullopt;
    const std::int32_t tp1 = s.tp1;
    const std::int32_t tp2 = (s.tp2 == 0 && !TakesBars2(c.group)) ? 1 : s.tp2;

    std::string code1 = a.aflTemplate.empty()
                            ? std::string()
                            : ModifiedSide1(IndicatorTemplate(a.index, s.option1), s);
    std::string code2 = (b && !b->aflTemplate.empty())
                            ? ModifiedSide2(IndicatorTemplate(b->index, s.option2), s)
                            : std::string();
    code1 = FillParameters(code1, parameters.a);

    std::size_t field = 0;
    if (tp1 == 0) {
        field = tp2 != 0 ? 1 : 2;
    } else {
        field = tp2 != 0 ? 0 : 3;
    }
    std::string e = field < c.templates.size() ? c.templates[field] : std::string();
    e = ReplaceAll(e, "Array1", code1);
    if (tp2 == 0) {
        e = ReplaceAll(e, "Array2", code2);
    }

    if (b) {
        if (tp2 != 0) {
            e = ReplaceAll(e, "Array2", FillParameters(code2, parameters.b));
        } else {
            e = FillParameters(e, parameters.b);
        }
    }

    const std::string value = FormatAflNumber(s.value1);
    e = ReplaceAll(e, " Value", " " + value);
    if (s.comparisonType == kTargetValue) {
        // A value is never shifted back in time.
        if (ContainsIgnoreCase(e, "Ref( Array2, Period2 )")) {
            e = ReplaceAll(e, "Ref( Array2, Period2 )", value);
        } else if (ContainsIgnoreCase(e, "Array2")) {
            e = ReplaceAll(e, "Array2", value);
        }
    }

    // Bars ago become negative Ref offsets; the counts of BarsSince, LLV and HHV stay positive.
    switch (c.group) {
    case ComparisonGroup::BarByBar:
        e = ReplaceAll(e, "Period1", std::to_string(-static_cast<std::int64_t>(tp1)));
        return ReplaceAll(e, "Period2", std::to_string(-static_cast<std::int64_t>(tp2)));
    case ComparisonGroup::Crossing:
        e = ReplaceAll(e, "Period1", std::to_string(tp1));
        return ReplaceAll(e, "Period2", std::to_string(tp2));
    case ComparisonGroup::HasBeen:
    case ComparisonGroup::WithinLast:
    case ComparisonGroup::LowestHighest:
        break;
    }
    return ReplaceAll(e, "Period1", std::to_string(tp1));
}

// ---- the row's words ----

// The time phrase of a period of n bars for a comparison group (or for none chosen yet, when
// it describes the bar of indicator A).
std::string TimePhrase(std::optional<ComparisonGroup> group, std::int32_t n) {
    struct Words {
        const char* zero;
        const char* one;
        const char* before; // before n, for n other than 0 and 1
        const char* after;  // after n
    };
    static constexpr Words kAgo{"of the current bar", "of 1 bar ago", "of ", " bars ago"};
    static constexpr Words kPrevious{"on the current bar", "for the previous 1 bar",
                                     "for the previous ", " bars"};
    static constexpr Words kWithin{"on the current bar", "within the last 1 bar",
                                   "within the last ", " bars"};
    static constexpr Words kOnOrAfter{"on the current bar", "on or after the previous bar",
                                      "on or after the previous ", " bars"};
    const Words* words = &kAgo;
    if (group) {
        switch (*group) {
        case ComparisonGroup::BarByBar:
            break;
        case ComparisonGroup::HasBeen:
        case ComparisonGroup::LowestHighest:
            words = &kPrevious;
            break;
        case ComparisonGroup::WithinLast:
            words = &kWithin;
            break;
        case ComparisonGroup::Crossing:
            words = &kOnOrAfter;
            break;
        }
    }
    if (n == 0) {
        return words->zero;
    }
    if (n == 1) {
        return words->one;
    }
    return words->before + std::to_string(n) + words->after;
}

std::string ModifierWords(bool on, const std::string& operation, double amount, bool percent) {
    if (!on) {
        return {};
    }
    std::string verb;
    if (operation == kModifyIncrease) {
        verb = "increased by ";
    } else if (operation == kModifyDecrease) {
        verb = "decreased by ";
    } else if (operation == kModifyMultiply) {
        verb = "multiplied by ";
    } else if (operation == kModifyDivide) {
        verb = "divided by ";
    } else {
        return {};
    }
    return verb + FormatAflNumber(amount) + (percent ? "%" : "");
}

void Append(std::string& text, const std::string& words) {
    if (words.empty()) {
        return;
    }
    if (!text.empty()) {
        text += ' ';
    }
    text += words;
}

// The parameters a row's words show: every one in use but the price array Close, which
// nearly every indicator reads and which would only lengthen each row.
std::string ParameterWords(const std::vector<std::string>& parameters) {
    std::string shown;
    for (const std::string& value : parameters) {
        if (value.empty() || value == "Close") {
            continue;
        }
        shown += (shown.empty() ? "(" : ", ") + value;
    }
    return shown.empty() ? shown : shown + ")";
}

Parameters ReadParameters(const EditorState& s, const CProgramSettings& settings) {
    Parameters parameters;
    if (s.indicator1 && IsIndicatorIndex(*s.indicator1)) {
        parameters.a = ParametersInUse(Indicator(*s.indicator1), settings);
    }
    if (s.indicator2 && IsIndicatorIndex(*s.indicator2)) {
        parameters.b = ParametersInUse(Indicator(*s.indicator2), settings);
    }
    return parameters;
}

std::string Describe(const EditorState& s, const Parameters& parameters) {
    std::string text;
    if (!s.indicator1 || !IsIndicatorIndex(*s.indicator1)) {
        return text;
    }
    Append(text, IndicatorWords(*s.indicator1, s.option1, parameters.a));
    Append(text, ModifierWords(s.modify1On, s.modify1Operation, s.modify1, false));
    if (!s.comparison || !IsComparisonIndex(*s.comparison)) {
        Append(text, TimePhrase(std::nullopt, s.tp1));
        return text;
    }
    const ComparisonEntry entry = Comparison(*s.comparison);
    // The bar-by-bar comparisons say which bar of each side they take; the others say over
    // which bars the comparison holds.
    const bool barByBar = entry.group == ComparisonGroup::BarByBar;
    if (barByBar) {
        Append(text, TimePhrase(entry.group, s.tp1));
    }
    Append(text, entry.text);

    if (ComparesWithValue(entry.kind, s.comparisonType, s.tp1)) {
        Append(text, FormatAflNumber(s.value1));
    } else if (s.indicator2 && IsIndicatorIndex(*s.indicator2)) {
        Append(text, IndicatorWords(*s.indicator2, s.option2, parameters.b));
        Append(text, ModifierWords(s.modify2On, s.modify2Operation, s.modify2,
                                   s.modify2Unit == kUnitPercent));
        if (barByBar) {
            Append(text, TimePhrase(entry.group, s.tp2));
        }
    }
    if (!barByBar) {
        Append(text, TimePhrase(entry.group, s.tp1));
    }
    return text;
}

} // namespace

std::string IndicatorTemplate(int index, const std::string& option) {
    const IndicatorEntry indicator = Indicator(index);
    if (index == kIndicatorPrice) {
        return option;
    }
    if (IsOneOf(index, {kIndicatorMaShort, kIndicatorMaMedium, kIndicatorMaLong}) &&
        !option.empty() && option.front() != 'S') {
        return option.substr(0, 1) + indicator.aflTemplate;
    }
    return indicator.aflTemplate;
}

std::string IndicatorWords(int index, const std::string& option,
                           const std::vector<std::string>& parameters) {
    std::string words = Indicator(index).displayName;
    Append(words, option);
    return words + ParameterWords(parameters);
}

std::string DescribeCondition(const EditorState& state, const CProgramSettings& settings) {
    return Describe(state, ReadParameters(state, settings));
}

ConditionTranslation TranslateCondition(const EditorState& state,
                                        const CProgramSettings& settings) {
    ConditionTranslation result;
    result.state = Corrected(state, result);
    const EditorState& s = result.state;
    const Parameters parameters = ReadParameters(s, settings);
    result.description = Describe(s, parameters);
    const bool complete = s.indicator1 && IsIndicatorIndex(*s.indicator1) && s.comparison &&
                          IsComparisonIndex(*s.comparison) &&
                          (!s.indicator2 || IsIndicatorIndex(*s.indicator2));
    if (!complete) {
        return result;
    }
    result.expression = Expression(s, parameters);
    SplitForStorage(result.expression, result);
    return result;
}

} // namespace marlindex
