#include "formula/ConditionCheck.h"

#include "formula/AflNumber.h"
#include "formula/Catalogues.h"
#include "startup/TextHelpers.h"

#include <algorithm>

namespace marlindex {

namespace {

bool IsModifyOperation(std::string_view operation) {
    return operation == kModifyIncrease || operation == kModifyDecrease ||
           operation == kModifyMultiply || operation == kModifyDivide;
}

// A row the translation wrote with a placeholder left in (a record from an older release, or
// a scan file, may hold one the editor would not make).
std::string PlaceholderLeft(const ConditionRecord& record) {
    for (const char* placeholder : {"Array1", "Array2", "Period1", "Period2"}) {
        if (ContainsIgnoreCase(record.codePart1, placeholder) ||
            ContainsIgnoreCase(record.codePart2, placeholder)) {
            return std::string("its formula still holds the placeholder ") + placeholder;
        }
    }
    return {};
}

} // namespace

std::string ConditionGap(const EditorState& s) {
    if (!s.indicator1 || !IsIndicatorIndex(*s.indicator1)) {
        return "no indicator is chosen";
    }
    if (s.modify1On && !IsModifyOperation(s.modify1Operation)) {
        return "indicator 1 is to be modified, but not how";
    }
    if (!s.comparison || !IsComparisonIndex(*s.comparison)) {
        return "no comparison is chosen";
    }
    const ComparisonEntry entry = Comparison(*s.comparison);
    const bool toIndicator = ComparesWithIndicator(entry.kind, s.comparisonType);
    const bool toValue = ComparesWithValue(entry.kind, s.comparisonType, s.tp1);
    if (HasTargetList(entry.kind) && !toIndicator && !toValue) {
        return "it is not chosen whether it is compared with an indicator or a value";
    }
    if (toIndicator && (!s.indicator2 || !IsIndicatorIndex(*s.indicator2))) {
        return "no second indicator is chosen";
    }
    if (toIndicator && s.modify2On && !IsModifyOperation(s.modify2Operation)) {
        return "indicator 2 is to be modified, but not how";
    }
    // A value is never taken bars ago: with a 2nd bar of 0 the bar-by-bar forms have no
    // place for it and the formula loses its right side.
    if (toValue && TakesBars2(entry.group) && s.tp2 == 0) {
        return "the value drops out of the formula because its 2nd bar is 0";
    }
    return {};
}

std::string ValueWarning(const EditorState& s) {
    if (!s.indicator1 || !IsIndicatorIndex(*s.indicator1) || s.modify1On || !s.comparison ||
        !IsComparisonIndex(*s.comparison)) {
        return {};
    }
    const ComparisonEntry entry = Comparison(*s.comparison);
    const std::optional<ValueRange> range = IndicatorRange(*s.indicator1);
    if (!range || !ComparesWithValue(entry.kind, s.comparisonType, s.tp1) ||
        (s.value1 >= range->low && s.value1 <= range->high)) {
        return {};
    }
    return Indicator(*s.indicator1).displayName + " lies between " + FormatAflNumber(range->low) +
           " and " + FormatAflNumber(range->high) + ", so comparing it with " +
           FormatAflNumber(s.value1) + " gives the same answer on every bar";
}

std::vector<RowIssue> CheckRows(const ConditionRecordList& records, int rowCount) {
    std::vector<RowIssue> issues;
    // Rows whose opening brackets are still open, one entry per bracket.
    std::vector<int> open;
    std::vector<RowIssue> closing; // closing brackets without an opening one, in row order
    for (int row = 0; row < rowCount; ++row) {
        const auto at = static_cast<std::size_t>(row);
        if (at >= records.size()) {
            issues.push_back({row, RowIssueKind::Unfinished, "no indicator is chosen"});
            continue;
        }
        const ConditionRecord& record = records[at];
        const EditorState state = EditorStateOf(record);
        std::string gap = ConditionGap(state);
        if (gap.empty()) {
            gap = PlaceholderLeft(record);
        }
        if (!gap.empty()) {
            issues.push_back({row, RowIssueKind::Unfinished, std::move(gap)});
        }
        if (std::string warning = ValueWarning(state); !warning.empty()) {
            issues.push_back({row, RowIssueKind::Value, std::move(warning)});
        }
        // A later row without code is left out of the condition code, brackets and all.
        if (row > 0 && record.IsEmptyRow()) {
            continue;
        }
        open.insert(open.end(), static_cast<std::size_t>(std::max<int>(record.leftBrackets, 0)),
                    row);
        int unmatched = 0;
        for (int i = 0; i < record.rightBrackets; ++i) {
            if (open.empty()) {
                ++unmatched;
            } else {
                open.pop_back();
            }
        }
        if (unmatched > 0) {
            closing.push_back({row, RowIssueKind::Brackets,
                               unmatched == 1 ? "it closes a bracket that no row before it opens"
                                              : "it closes " + std::to_string(unmatched) +
                                                    " brackets that no row before it opens"});
        }
    }
    issues.insert(issues.end(), closing.begin(), closing.end());
    open.erase(std::unique(open.begin(), open.end()), open.end());
    for (const int row : open) {
        issues.push_back(
            {row, RowIssueKind::Brackets, "it opens a bracket that no row after it closes"});
    }
    std::stable_sort(issues.begin(), issues.end(),
                     [](const RowIssue& a, const RowIssue& b) { return a.row < b.row; });
    return issues;
}

std::optional<int> RowOfFormulaLine(std::string_view formula, std::string_view filterExpression,
                                    const ConditionRecordList& records, int rowCount, int line) {
    std::size_t from = 0;
    if (!filterExpression.empty()) {
        const std::size_t filter = formula.find(filterExpression);
        from = filter == std::string_view::npos ? 0 : filter + filterExpression.size();
    }
    const std::size_t used =
        std::min(records.size(), static_cast<std::size_t>(std::max(rowCount, 0)));
    for (std::size_t row = 0; row < used; ++row) {
        if (records[row].IsEmptyRow()) {
            continue;
        }
        const std::string text = Contribution(records[row]);
        const std::size_t found = formula.find(text, from);
        if (found == std::string_view::npos) {
            continue;
        }
        const auto first = static_cast<int>(std::count(
            formula.begin(), formula.begin() + static_cast<std::ptrdiff_t>(found), '\n'));
        if (first + 1 == line) {
            return static_cast<int>(row);
        }
        from = found + text.size();
    }
    return std::nullopt;
}

} // namespace marlindex
