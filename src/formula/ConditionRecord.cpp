#include "formula/ConditionRecord.h"

#include <algorithm>

namespace marlindex {

namespace {

std::size_t UsedRows(const ConditionRecordList& records, int gridCount) {
    return std::min(records.size(), static_cast<std::size_t>(std::max(gridCount, 0)));
}

} // namespace

std::string BracketText(int count, char side) {
    return count > 0 ? std::string(static_cast<std::size_t>(count), side == 'L' ? '(' : ')')
                     : std::string();
}

std::string Contribution(const ConditionRecord& record) {
    std::string text = BracketText(record.leftBrackets, 'L');
    text += record.codePart1;
    if (!record.codePart1.empty()) {
        text += ' ';
    }
    text += record.codePart2;
    text += BracketText(record.rightBrackets, 'R');
    return text;
}

EditorState EditorStateOf(const ConditionRecord& record) {
    EditorState state;
    state.indicator1 = record.indicator1Id;
    state.option1 = record.indicator1Option;
    state.tp1 = record.timePeriod1;
    state.modify1On = record.modify1On != 0;
    state.modify1Operation = record.modify1Operation;
    state.modify1 = record.modify1Amount;
    state.comparison = record.comparisonId;
    state.comparisonType = record.comparisonType;
    state.indicator2 = record.indicator2Id;
    state.option2 = record.indicator2Option;
    state.tp2 = record.timePeriod2;
    state.modify2On = record.modify2On != 0;
    state.modify2Operation = record.modify2Operation;
    state.modify2 = record.modify2Amount;
    state.modify2Unit = record.modify2Unit;
    state.value1 = record.value;
    return state;
}

void StoreEditorState(ConditionRecord& record, const EditorState& state) {
    record.comparisonId = state.comparison;
    record.indicator1Id = state.indicator1;
    record.indicator1Option = state.option1;
    record.timePeriod1 = state.tp1;
    record.modify1On = state.modify1On ? 1 : 0;
    record.modify1Amount = state.modify1;
    record.modify1Operation = state.modify1Operation;
    record.comparisonType = state.comparisonType;
    record.indicator2Id = state.indicator2;
    record.indicator2Option = state.option2;
    record.timePeriod2 = state.tp2;
    record.modify2On = state.modify2On ? 1 : 0;
    record.modify2Amount = state.modify2;
    record.modify2Operation = state.modify2Operation;
    record.modify2Unit = state.modify2Unit;
    record.value = state.value1;
}

std::string BuildConditionCode(const ConditionRecordList& records, int gridCount) {
    std::string code;
    const std::size_t used = UsedRows(records, gridCount);
    for (std::size_t row = 0; row < used; ++row) {
        const ConditionRecord& record = records[row];
        if (row == 0) {
            code += Contribution(record);
        } else if (!record.IsEmptyRow()) {
            code += "\r\n" + record.joiner + " " + Contribution(record);
        }
    }
    return code;
}

std::string RebuildConditionCode(const ConditionRecordList& records, int gridCount) {
    std::string code;
    const std::size_t used = UsedRows(records, gridCount);
    for (std::size_t row = 0; row < used; ++row) {
        const ConditionRecord& record = records[row];
        if (!record.IsEmptyRow()) {
            code += "\r\n" + record.joiner + " " + Contribution(record);
        }
    }
    return code;
}

std::string RowDisplayText(std::string_view joiner, bool firstRow, int leftBrackets,
                           std::string_view description, int rightBrackets) {
    std::string text;
    if (!firstRow) {
        text.append(joiner);
        text += ' ';
    }
    text += BracketText(leftBrackets, 'L');
    text.append(description);
    text += BracketText(rightBrackets, 'R');
    return text;
}

} // namespace marlindex
