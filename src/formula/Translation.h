// Turns the editor's choices for one condition into AFL and into the words of its grid row.
// All AFL comes from the catalogue templates by plain text substitution; the indicator
// parameters come from the settings store, with the catalogue defaults as fall-back.
#pragma once

#include "formula/EditorState.h"
#include "settings/ProgramSettings.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace marlindex {

struct ConditionTranslation {
    std::string expression;  // the row's AFL condition
    std::string leftPart;    // stored as code part 1: up to the comparison operator, trimmed
    std::string rightPart;   // stored as code part 2: from the operator on
    std::string description; // the row's words, without joiner and brackets

    // Values the translation corrected; the editor shows them and the record keeps them.
    std::optional<std::int32_t> correctedTP1; // "has been above/below" over 0 bars means 1
    std::optional<double> correctedModify2;   // a percentage of 0 or less means 1
    EditorState state;                        // the editor state with the corrections applied
};

// Translates the editor state. A state without indicator 1 or without a comparison is an
// unfinished row: its expression and parts are empty, and it contributes nothing to the code.
// Reads the indicator parameters under Settings\Indicator\<index>; the settings are only read.
ConditionTranslation TranslateCondition(const EditorState& state, const CProgramSettings& settings);

// The row's words for an editor state (with corrections already applied). Each indicator is
// named with the parameters it is computed with, read from `settings` as the formula reads
// them: "RSI(21) of the current bar is less than 30".
std::string DescribeCondition(const EditorState& state, const CProgramSettings& settings);

// An indicator's AFL template with its option applied: the moving-average type's first letter
// in front of MA ("EMA( A1, A2 )"), the price field in place of Price ("High"). The
// parameters are still marked " A1", " A2" ...
std::string IndicatorTemplate(int index, const std::string& option);

// How a row's words name an indicator computed with `parameters` (in template order):
// "RSI(21)", "MA (Short) Simple(5)", "Price Close".
std::string IndicatorWords(int index, const std::string& option,
                           const std::vector<std::string>& parameters);

} // namespace marlindex
