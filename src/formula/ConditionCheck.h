// What the condition rows still lack before the formula means what their words say. The
// translation writes whatever the editor holds (a row without a comparison writes nothing, a
// row without its second indicator keeps the placeholder Array2); these checks say so, row by
// row, so that the grid can mark the row and Run, Save and Copy can name it. They never
// change what is generated.
#pragma once

#include "formula/ConditionRecord.h"
#include "formula/EditorState.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marlindex {

// What keeps the condition from being finished, as the words a user reads after "Row 2: "
// ("no comparison is chosen"); "" for a finished condition.
std::string ConditionGap(const EditorState& state);

// A value indicator 1 can never reach, which makes the comparison come out the same on every
// bar ("RSI lies between 0 and 100, so ..."); "" otherwise. A modified indicator 1 may reach
// any value and is never warned about.
std::string ValueWarning(const EditorState& state);

enum class RowIssueKind {
    Unfinished, // the row's formula is missing a part, or the row has none
    Brackets,   // a bracket the other rows never close, or a closing one with no opening
    Value,      // a value the indicator never reaches
};

struct RowIssue {
    int row = 0; // from 0
    RowIssueKind kind = RowIssueKind::Unfinished;
    std::string text;

    bool operator==(const RowIssue&) const = default;
};

// Every issue of rows 0 to rowCount - 1, in row order. A row without a record (a new row the
// editor has not written yet) is unfinished. Brackets are counted as the condition code
// writes them: a later row that contributes no code contributes no brackets either.
std::vector<RowIssue> CheckRows(const ConditionRecordList& records, int rowCount);

// The row whose code stands on `line` (from 1) of `formula`, a formula assembled from the
// first `rowCount` records behind `filterExpression`; none for a line that holds no row's
// code (the assignment alone, the filter, the exploration's columns).
std::optional<int> RowOfFormulaLine(std::string_view formula, std::string_view filterExpression,
                                    const ConditionRecordList& records, int rowCount, int line);

} // namespace marlindex
