// The results of a run as CSV (RFC 4180, LF line ends), as marlindex-cli scan prints them and
// the local host's Run writes them beside Unnamed.afl.
//
//   exploration: Symbol,Date,<one column per AddColumn, titled as the formula titles it>
//   scan:        Symbol,Date,Trade,Close
//
// Dates are YYYY-MM-DD; a field holding a comma, a double quote or a line break is quoted.
#pragma once

#include "analysis/AnalysisResults.h"

#include <string>

namespace marlindex {

// A value as AddColumn's `format` shows it. AFL's format is a number whose first digit after
// the point is the count of decimals (1.2: two, 1.4: four, 1.0: none) and whose whole part is a
// minimum width. Here: that many decimals (rounded to nearest, from the exact binary value), in
// fixed notation with "." as the point, no thousands separators and no padding, since CSV has
// no columns to align. A format that is Null, not finite or negative shows two decimals, as
// the default 1.2 does. A Null value is "" (an empty field); NaN is "NaN", infinities "inf"
// and "-inf"; a value that rounds to zero has no minus sign.
std::string FormatColumnValue(double value, double format);

// The number of decimals a format asks for (0 to 9).
int FormatDecimals(double format);

std::string ResultsCsv(const AnalysisResults& results);

} // namespace marlindex
