#include "formula/ConditionEditor.h"

#include "startup/TextHelpers.h"

#include <algorithm>

namespace marlindex {

namespace {

std::size_t Index(int i) {
    return static_cast<std::size_t>(i);
}

} // namespace

std::string ConditionEditor::RowText(int row, std::string_view joiner,
                                     const ConditionTranslation& translation) const {
    const ConditionRecord* record = Record(row);
    return RowDisplayText(joiner, row == 0, record != nullptr ? record->leftBrackets : 0,
                          translation.description, record != nullptr ? record->rightBrackets : 0);
}

void ConditionEditor::Store(int rowCount, bool editMode, int selectedRow, std::string_view joiner,
                            const ConditionTranslation& translation, std::string rowText) {
    condition_ = translation.state;
    if (rowCount > 0) {
        records_.resize(Index(rowCount));
        const int target = editMode ? selectedRow : rowCount - 1;
        if (target >= 0 && target < rowCount) {
            ConditionRecord& record = records_[Index(target)];
            StoreEditorState(record, translation.state);
            record.codePart1 = translation.leftPart;
            record.codePart2 = translation.rightPart;
            record.rowText = std::move(rowText);
            if (!editMode) {
                record.joiner = target == 0 ? std::string() : std::string(joiner);
                record.rowNumber = static_cast<std::int16_t>(std::min(rowCount, 32767));
            }
        }
    }
}

void ConditionEditor::BuildCode(int rowCount) {
    conditionCode_ = BuildConditionCode(records_, rowCount);
}

std::string ConditionEditor::Assemble(std::string_view filterExpression, int applyTo,
                                      AnalysisType analysis) {
    conditionCode_ = std::string(TrimBlanks(conditionCode_));
    return AssembleFormula(conditionCode_, filterExpression, applyTo, analysis);
}

ConditionRecord* ConditionEditor::Record(int row) {
    return row >= 0 && Index(row) < records_.size() ? &records_[Index(row)] : nullptr;
}

const ConditionRecord* ConditionEditor::Record(int row) const {
    return row >= 0 && Index(row) < records_.size() ? &records_[Index(row)] : nullptr;
}

void ConditionEditor::SetBrackets(int row, int left, int right) {
    if (row < 0) {
        return;
    }
    if (records_.size() <= Index(row)) {
        records_.resize(Index(row) + 1);
    }
    records_[Index(row)].leftBrackets = static_cast<std::int16_t>(left);
    records_[Index(row)].rightBrackets = static_cast<std::int16_t>(right);
}

void ConditionEditor::RemoveRow(int row, int rowCount, const std::string& firstRowText) {
    if (row >= 0 && Index(row) < records_.size()) {
        records_.erase(records_.begin() + row);
    }
    if (row == 0 && !records_.empty()) {
        records_[0].joiner.clear();
        records_[0].rowText = firstRowText;
    }
    if (records_.size() > Index(std::max(rowCount, 0))) {
        records_.resize(Index(std::max(rowCount, 0)));
    }
    conditionCode_ = RebuildConditionCode(records_, rowCount);
}

void ConditionEditor::ClearRows() {
    records_.clear();
    conditionCode_.clear();
}

void ConditionEditor::RestoreRows(ConditionRecordList records, std::string conditionCode) {
    records_ = std::move(records);
    conditionCode_ = std::move(conditionCode);
}

} // namespace marlindex
