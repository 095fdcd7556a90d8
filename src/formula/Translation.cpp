#include "formula/Translation.h"

#include "formula/AflNumber.h"
#include "formula/Catalogues.h"
#include "startup/TextHelpers.h"

#include <algorithm>
#include <vector>

namespace marlindex {

namespace {

bool IsOneOf(int value, std::initializer_list<int> set) {
    return std::find(set.begin(), set.end(), value) != set.end();
}

// Comparisons 2 to 4 compare the two sides bar by bar and have forms for a period 2 of 0.
bool ComparesBarByBar(int comparison) {
    return IsOneOf(comparison, {2, 3, 4});
}

bool IsModifyOperation(std::string_view operation) {
    return operation == kModifyIncrease || operation == kModifyDecrease ||
           operation == kModifyMultiply || operation == kModifyDivide;
}

// The indicator's template with its option applied: the moving-average type's first letter
// in front of MA (not for Simple), or the price field in place of Price.
std::string OptionTemplate(const IndicatorEntry& indicator, const std::string& option) {
    if (indicator.index == kIndicatorPrice) {
        return option;
    }
    if (IsOneOf(indicator.index, {kIndicatorMaShort, kIndicatorMaMedium, kIndicatorMaLong}) &&
        !option.empty() && option.front() != 'S') {
        return option.substr(0, 1) + indicator.aflTemplate;
    }
    return indicator.aflTemplate;
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

// Replaces " A1", " A2", ... in `text` by the indicator's parameters: the stored preference
// where there is one, else the catalogue default. An indicator without parameters never
// touches the settings.
std::string FillParameters(std::string text, const IndicatorEntry& indicator,
                           CProgramSettings& settings) {
    settings.SetSection("Settings\\Indicator\\" + std::to_string(indicator.index));
    if (indicator.defaultParameters.empty()) {
        return text;
    }
    const std::vector<std::string> defaults = SplitAtBlanks(indicator.defaultParameters);
    for (std::size_t k = 1; k <= defaults.size(); ++k) {
        const std::string value = settings.ReadEntry(std::to_string(k), defaults[k - 1]);
        text = ReplaceAll(text, " A" + std::to_string(k), " " + value);
    }
    return text;
}

// Applies the corrections the translation writes back into the editor. "Has been above" or
// "below" over 0 bars means over 1 bar, and the period form is then the one used. A
// percentage modifier of 0 or less means 1.
EditorState Corrected(const EditorState& state, ConditionTranslation& result) {
    EditorState s = state;
    if (s.comparison && IsOneOf(*s.comparison, {5, 6}) && s.tp1 == 0) {
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

std::string Expression(const EditorState& s, CProgramSettings& settings) {
    const ComparisonEntry c = Comparison(*s.comparison);
    const IndicatorEntry a = Indicator(*s.indicator1);
    const std::optional<IndicatorEntry> b =
        s.indicator2 ? std::optional(Indicator(*s.indicator2)) : std::nullopt;
    const int comparison = *s.comparison;
    const std::int32_t tp1 = s.tp1;
    // Only the bar-by-bar comparisons have forms for a period 2 of 0; the others read it as 1.
    const std::int32_t tp2 = (s.tp2 == 0 && !ComparesBarByBar(comparison)) ? 1 : s.tp2;

    std::string code1 =
        a.aflTemplate.empty() ? std::string() : ModifiedSide1(OptionTemplate(a, s.option1), s);
    std::string code2 = (b && !b->aflTemplate.empty())
                            ? ModifiedSide2(OptionTemplate(*b, s.option2), s)
                            : std::string();
    code1 = FillParameters(code1, a, settings);

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
            e = ReplaceAll(e, "Array2", FillParameters(code2, *b, settings));
        } else {
            e = FillParameters(e, *b, settings);
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
    if (ComparesBarByBar(comparison)) {
        e = ReplaceAll(e, "Period1", std::to_string(-static_cast<std::int64_t>(tp1)));
        e = ReplaceAll(e, "Period2", std::to_string(-static_cast<std::int64_t>(tp2)));
    } else {
        e = ReplaceAll(e, "Period1", std::to_string(tp1));
        if (IsOneOf(comparison, {0, 1})) {
            e = ReplaceAll(e, "Period2", std::to_string(tp2));
        }
    }
    return e;
}

// ---- the row's words ----

std::string Plural(std::int32_t n, const char* one, const char* many) {
    return n == 1 ? one : std::to_string(n) + many;
}

// The time phrase of a period for a comparison (or for none chosen yet).
std::string TimePhrase(std::optional<int> comparison, std::int32_t n) {
    const int c = comparison.value_or(-1);
    if (c < 0 || ComparesBarByBar(c)) {
        if (n == 0) {
            return "of the current bar";
        }
        return n == 1 ? "of 1 bar ago" : "of " + std::to_string(n) + " bars ago";
    }
    if (n == 0) {
        return "on the current bar";
    }
    if (IsOneOf(c, {7, 8, 9})) {
        return "within the last " + Plural(n, "1 bar", " bars");
    }
    if (IsOneOf(c, {0, 1})) {
        return n == 1 ? "on or after the previous bar"
                      : "on or after the previous " + std::to_string(n) + " bars";
    }
    return "for the previous " + Plural(n, "1 bar", " bars");
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

std::string IndicatorWords(int index, const std::string& option) {
    std::string words = Indicator(index).displayName;
    Append(words, option);
    return words;
}

} // namespace

std::string DescribeCondition(const EditorState& s) {
    std::string text;
    if (!s.indicator1 || !IsIndicatorIndex(*s.indicator1)) {
        return text;
    }
    Append(text, IndicatorWords(*s.indicator1, s.option1));
    Append(text, ModifierWords(s.modify1On, s.modify1Operation, s.modify1, false));
    if (!s.comparison || !IsComparisonIndex(*s.comparison)) {
        Append(text, TimePhrase(std::nullopt, s.tp1));
        return text;
    }
    const int c = *s.comparison;
    const ComparisonEntry entry = Comparison(c);
    const bool barByBar = ComparesBarByBar(c);
    if (barByBar) {
        Append(text, TimePhrase(c, s.tp1));
    }
    Append(text, entry.text);

    // Lowest/highest over a period compare with the indicator's own extreme; only their
    // current-bar form compares with the value.
    const bool showValue =
        entry.kind == 3 ? s.tp1 == 0 : entry.kind == 2 || s.comparisonType == kTargetValue;
    if (showValue) {
        Append(text, FormatAflNumber(s.value1));
    } else if (s.indicator2 && IsIndicatorIndex(*s.indicator2)) {
        Append(text, IndicatorWords(*s.indicator2, s.option2));
        Append(text, ModifierWords(s.modify2On, s.modify2Operation, s.modify2,
                                   s.modify2Unit == kUnitPercent));
        if (barByBar) {
            Append(text, TimePhrase(c, s.tp2));
        }
    }
    if (!barByBar) {
        Append(text, TimePhrase(c, s.tp1));
    }
    return text;
}

ConditionTranslation TranslateCondition(const EditorState& state, CProgramSettings& settings) {
    ConditionTranslation result;
    result.state = Corrected(state, result);
    const EditorState& s = result.state;
    result.description = DescribeCondition(s);
    const bool complete = s.indicator1 && IsIndicatorIndex(*s.indicator1) && s.comparison &&
                          IsComparisonIndex(*s.comparison) &&
                          (!s.indicator2 || IsIndicatorIndex(*s.indicator2));
    if (!complete) {
        return result;
    }
    result.expression = Expression(s, settings);
    SplitForStorage(result.expression, result);
    return result;
}

void StoreCondition(ConditionRecordList& records, int gridCount, bool editMode, int selectedRow,
                    std::string_view gridOperator, const ConditionTranslation& translation,
                    std::string rowText) {
    if (gridCount <= 0) {
        return;
    }
    records.resize(static_cast<std::size_t>(gridCount));
    const int target = editMode ? selectedRow : gridCount - 1;
    if (target < 0 || target >= gridCount) {
        return;
    }
    ConditionRecord& record = records[static_cast<std::size_t>(target)];
    StoreEditorState(record, translation.state);
    record.codePart1 = translation.leftPart;
    record.codePart2 = translation.rightPart;
    record.rowText = std::move(rowText);
    if (!editMode) {
        record.joiner = target == 0 ? std::string() : std::string(gridOperator);
        record.rowNumber = static_cast<std::int16_t>(std::min(gridCount, 32767));
    }
}

} // namespace marlindex
