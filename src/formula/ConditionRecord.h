// One condition record per row of the condition grid: the row's AFL in two parts, its joiner
// and brackets, and the whole editor state that produced it. The fields stand in the order
// and with the types the library file stores them.
#pragma once

#include "formula/EditorState.h"
#include "formula/Variant.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marlindex {

// The item data of a catalogue list entry (an indicator or comparison index); none when
// nothing is chosen. The library file stores it as text.
using CatalogueId = std::optional<int>;

struct ConditionRecord {
    CatalogueId comparisonId;
    std::string codePart1; // the condition's AFL up to its comparison operator
    std::string codePart2; // the rest, from the operator on
    std::string joiner;    // "", "AND" or "OR"; "" for the first row
    CatalogueId indicator1Id;
    std::string indicator1Option;
    std::int32_t timePeriod1 = 0;
    std::int16_t modify1On = 0;
    double modify1Amount = 0;
    std::string modify1Operation;
    std::string comparisonType;
    CatalogueId indicator2Id;
    std::string indicator2Option;
    std::int32_t timePeriod2 = 0;
    std::int16_t modify2On = 0;
    double modify2Amount = 0;
    std::string modify2Operation;
    std::string modify2Unit;
    double value = 0;
    std::int16_t rowNumber = 0;
    Variant storedValue; // the owning formula's number, set by the library
    std::string rowText; // copy of the row's grid text
    std::int16_t leftBrackets = 0;
    std::int16_t rightBrackets = 0;

    // A row whose translation gave nothing contributes nothing to the condition code.
    bool IsEmptyRow() const { return codePart1.empty() && codePart2.empty(); }

    bool operator==(const ConditionRecord&) const = default;
};

using ConditionRecordList = std::vector<ConditionRecord>;

// `count` opening brackets for side 'L', closing ones for any other side; "" for 0 or less.
std::string BracketText(int count, char side);

// What a row puts into the condition code after its joiner: its opening brackets, code part
// 1, a blank (only after a non-empty part 1), code part 2, its closing brackets.
std::string Contribution(const ConditionRecord& record);

// The editor state kept in a record, and the record fields that keep it.
EditorState EditorStateOf(const ConditionRecord& record);
void StoreEditorState(ConditionRecord& record, const EditorState& state);

// The condition code as the translation builds it after writing a row: the first row's part
// as it stands (brackets included even when its condition is empty); every later non-empty
// row on a new line, led by its joiner and a blank.
std::string BuildConditionCode(const ConditionRecordList& records, int gridCount);

// The condition code as it is rebuilt after a row is removed: every non-empty row, the first
// included, on a new line led by its joiner and a blank. The first row's joiner is "", so the
// code starts with a line break and a blank; the formula keeps that line break until the next
// edit rebuilds the code with BuildConditionCode.
std::string RebuildConditionCode(const ConditionRecordList& records, int gridCount);

// The grid text of a row: joiner word and blank (not on the first row), opening brackets,
// the description, closing brackets.
std::string RowDisplayText(std::string_view joiner, bool firstRow, int leftBrackets,
                           std::string_view description, int rightBrackets);

} // namespace marlindex
