// The rules a stored indicator parameter must meet before it goes into a formula. The
// preferences dialog stores its fields' text as typed (or as another program wrote it), and the
// translation puts a parameter into the AFL as it stands, so a stored "abc" or
// "14 ); Buy = 1; //" would otherwise reach every formula that uses the indicator. The rules are
// the dialog's own: a period is a number, an array is one of its list, ROC's absmode is False or
// True, and the adaptive averages' smoothing and feedback factors, which may be any AFL, must be
// one expression and nothing more.
#pragma once

#include "settings/ProgramSettings.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marlindex {

enum class ParameterKind {
    Number,     // periods, widths, the SAR's steps
    Choice,     // one of a list: a price array, or False/True
    Expression, // the adaptive averages' factors: any one AFL expression
};

// The kind of parameter `position` (1 to 3) of indicator `indicator`.
ParameterKind KindOfParameter(int indicator, int position);
// The list a Choice parameter takes, in the dialog's order; empty for other kinds.
std::vector<std::string> ParameterChoices(int indicator, int position);

// Whether a text counts as a number: blanks around, an optional sign, digits with at most one
// decimal point. A number goes into AFL as it stands, so only what AFL reads as a plain number
// qualifies (no exponent, no thousands separator).
bool IsNumeric(std::string_view text);

// Whether `text` is one AFL expression that can stand as a function's argument: it parses,
// its brackets close within it, and it holds no statement end, comment, string or line break.
bool IsSingleAflExpression(std::string_view text);

// Why a stored value cannot be used for the parameter; nullopt when it can. Blanks around the
// value do not count.
std::optional<std::string> ParameterProblem(int indicator, int position, std::string_view value);

// The registry section that holds an indicator's parameters: "Settings\Indicator\16".
std::string ParameterSection(int indicator);

// The parameter an indicator is computed with: the stored value, trimmed, when it meets the
// rules, else the catalogue default (`fallback`).
std::string ParameterInUse(int indicator, int position, const std::string& fallback,
                           const CProgramSettings& settings);

// One warning for each stored parameter that is refused, naming its key, its value (quoted, at
// most 60 characters) and what is used instead; empty when every stored value is usable.
std::vector<std::string> CheckStoredParameters(const CProgramSettings& settings);

} // namespace marlindex
