// The condition builder without a window: the one copy of the condition being edited, the
// records of the condition rows, and the condition code built from them. The main window
// drives it from its controls' events, a scan file row by row; both make the formula by the
// same four steps:
//   1. Translate: the condition's AFL and words;
//   2. RowText: the grid text of the row being written (joiner word, brackets, words);
//   3. Store: the translation into that row's record (with the corrections it made kept in
//      the condition too), then BuildCode: the condition code rebuilt from all records;
//   4. Assemble: the formula text from the condition code, the filter and the run options.
#pragma once

#include "formula/Assembly.h"
#include "formula/ConditionRecord.h"
#include "formula/EditorState.h"
#include "formula/Translation.h"
#include "settings/ProgramSettings.h"

#include <string>
#include <string_view>

namespace marlindex {

class ConditionEditor {
public:
    // The indicator parameters are read from `settings`, which must outlive the editor.
    explicit ConditionEditor(const CProgramSettings& settings) : settings_(&settings) {}

    // The choices of the condition being edited. The main window's properties (TP1, Modify1,
    // ComparisonOperator ...) and the selections of its lists are kept here, and only here.
    EditorState& Condition() { return condition_; }
    const EditorState& Condition() const { return condition_; }

    // ---- writing the condition into a row ----
    ConditionTranslation Translate() const { return TranslateCondition(condition_, *settings_); }
    // The grid text of `row` with `joiner` (no joiner word on the first row) and the brackets
    // its record holds (none before it has one).
    std::string RowText(int row, std::string_view joiner,
                        const ConditionTranslation& translation) const;
    // Keeps the translation's corrections in the condition and writes the translation into
    // the record of the row being written. The records are sized to `rowCount`; the target is
    // `selectedRow` in edit mode, else the last row, which in add mode also takes `joiner` as
    // its joiner (the first row never has one) and `rowCount` as its row number.
    void Store(int rowCount, bool editMode, int selectedRow, std::string_view joiner,
               const ConditionTranslation& translation, std::string rowText);
    // The condition code of the first `rowCount` records, as a written row rebuilds it.
    void BuildCode(int rowCount);
    // Trims the condition code (and keeps it trimmed), then builds the formula text.
    std::string Assemble(std::string_view filterExpression, int applyTo, AnalysisType analysis);

    // ---- the rows ----
    const ConditionRecordList& Records() const { return records_; }
    const std::string& ConditionCode() const { return conditionCode_; }
    // The record of `row`; null when the row has none (yet).
    ConditionRecord* Record(int row);
    const ConditionRecord* Record(int row) const;
    // Gives `row` its brackets before its condition is written, creating its record (and any
    // before it) when needed.
    void SetBrackets(int row, int left, int right);
    // Removes the record of `row` when it has one. When that was the first row, the new first
    // record loses its joiner and takes `firstRowText`. The records are then cut to
    // `rowCount`, and the condition code rebuilt as a removal rebuilds it (each row on a line
    // of its own, the first included).
    void RemoveRow(int row, int rowCount, const std::string& firstRowText);
    // No rows and no condition code; the condition stays as it is.
    void ClearRows();
    // The rows and condition code exactly as a saved formula holds them.
    void RestoreRows(ConditionRecordList records, std::string conditionCode);

private:
    const CProgramSettings* settings_;
    EditorState condition_;
    ConditionRecordList records_;
    std::string conditionCode_;
};

} // namespace marlindex
