// The choices of the condition editor that make up one condition: what the translation reads
// and what a condition record keeps, so that the row can be loaded back for editing.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace marlindex {

// Texts of the modifier and target lists, as the editor offers them.
inline constexpr const char* kModifyIncrease = "Increase";
inline constexpr const char* kModifyDecrease = "Decrease";
inline constexpr const char* kModifyMultiply = "Multiply";
inline constexpr const char* kModifyDivide = "Divide";
inline constexpr const char* kUnitValue = "Value";
inline constexpr const char* kUnitPercent = "Percent";
inline constexpr const char* kTargetIndicator = "Indicator";
inline constexpr const char* kTargetValue = "Value";

struct EditorState {
    std::optional<int> indicator1; // cboIA1's item data: an indicator index
    std::string option1;           // cboED1's text: moving-average type or price field
    std::int32_t tp1 = 0;          // TP1: bars ago of side 1 (a bar count for most comparisons)
    bool modify1On = false;        // chkModify1
    std::string modify1Operation;  // cboModify1's text
    double modify1 = 0;            // Modify1
    std::optional<int> comparison; // ComparisonOperator: a comparison index
    std::string comparisonType;    // cboCT's text: "Indicator", "Value" or empty
    std::optional<int> indicator2; // cboIA2's item data; none when its text is empty
    std::string option2;           // cboED2's text
    std::int32_t tp2 = 1;          // TP2: bars ago of side 2
    bool modify2On = false;        // chkModify2
    std::string modify2Operation;  // cboModify2's text
    double modify2 = 0;            // Modify2
    std::string modify2Unit;       // cboModifyED2's text: "Value" or "Percent"
    double value1 = 0;             // Value1: the constant compared with

    bool operator==(const EditorState&) const = default;
};

} // namespace marlindex
