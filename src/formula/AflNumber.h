// Numbers as they are written into AFL: plain decimal with "." as separator, at most 15
// significant digits, no exponent, no trailing zeros or point (1.1, 0.9, 0.0000001, -3).
#pragma once

#include <string>

namespace marlindex {

// A value that is not finite cannot stand in AFL; it is written as 0.
std::string FormatAflNumber(double value);

} // namespace marlindex
