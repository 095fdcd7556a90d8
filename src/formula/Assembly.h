// The whole formula text from the condition code: an exploration (a Filter assignment and
// five AddColumn lines), a buy scan or a sell scan, with the filter expression in front when
// the run applies to the filter.
#pragma once

#include <string>
#include <string_view>

namespace marlindex {

enum class AnalysisType { Exploration = 0, BuyScan = 1, SellScan = 2 };

inline constexpr int kApplyToAll = 0;
inline constexpr int kApplyToCurrent = 1;
inline constexpr int kApplyToFilter = 2;

// The formula box's text. `conditionCode` is trimmed of blanks first (the caller stores the
// trimmed code back: TrimBlanks). An empty condition code gives an empty text, whatever the
// analysis type and filter. The filter is used only when it is non-empty and `applyTo` is 2.
std::string AssembleFormula(std::string_view conditionCode, std::string_view filterExpression,
                            int applyTo, AnalysisType analysis);

} // namespace marlindex
