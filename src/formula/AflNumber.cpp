#include "formula/AflNumber.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace marlindex {

std::string FormatAflNumber(double value) {
    if (!std::isfinite(value) || value == 0.0) {
        return "0";
    }
    // Round to 15 significant digits first; "%.14e" gives d.dddddddddddddde±XX.
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.14e", std::fabs(value));
    std::string digits;
    const char* p = buffer;
    for (; *p != 'e'; ++p) {
        if (*p != '.') {
            digits += *p;
        }
    }
    const long exponent = std::strtol(p + 1, nullptr, 10);
    while (digits.size() > 1 && digits.back() == '0') {
        digits.pop_back();
    }

    std::string text = value < 0 ? "-" : "";
    if (exponent < 0) {
        text += "0.";
        text.append(static_cast<std::size_t>(-exponent - 1), '0');
        text += digits;
        return text;
    }
    const auto integerDigits = static_cast<std::size_t>(exponent) + 1;
    if (digits.size() <= integerDigits) {
        text += digits;
        text.append(integerDigits - digits.size(), '0');
    } else {
        text += digits.substr(0, integerDigits);
        text += '.';
        text += digits.substr(integerDigits);
    }
    return text;
}

} // namespace marlindex
