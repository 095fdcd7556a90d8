#include "quotes/QuoteData.h"

#include <chrono>

namespace marlindex {

namespace {

// The value of `count` decimal digits at `text`, or -1 when one of them is not a digit.
int Digits(std::string_view text, std::size_t from, std::size_t count) {
    int value = 0;
    for (std::size_t i = from; i < from + count; ++i) {
        const char c = text[i];
        if (c < '0' || c > '9') {
            return -1;
        }
        value = value * 10 + (c - '0');
    }
    return value;
}

} // namespace

std::optional<TradeDate> ParseIsoDate(std::string_view text) {
    if (text.size() != 10 || text[4] != '-' || text[7] != '-') {
        return std::nullopt;
    }
    const int year = Digits(text, 0, 4);
    const int month = Digits(text, 5, 2);
    const int day = Digits(text, 8, 2);
    if (year < 0 || month < 0 || day < 0) {
        return std::nullopt;
    }
    const std::chrono::year_month_day date{std::chrono::year{year},
                                           std::chrono::month{static_cast<unsigned>(month)},
                                           std::chrono::day{static_cast<unsigned>(day)}};
    if (!date.ok()) {
        return std::nullopt;
    }
    return static_cast<TradeDate>(std::chrono::sys_days{date}.time_since_epoch().count());
}

std::string FormatIsoDate(TradeDate date) {
    const std::chrono::year_month_day ymd{std::chrono::sys_days{std::chrono::days{date}}};
    const int year = static_cast<int>(ymd.year());
    const auto month = static_cast<unsigned>(ymd.month());
    const auto day = static_cast<unsigned>(ymd.day());
    // Years outside 0..9999 cannot come from ParseIsoDate; they still print whole, with a sign.
    std::string text = year < 0 ? "-" : "";
    std::string digits = std::to_string(year < 0 ? -year : year);
    if (digits.size() < 4) {
        digits.insert(0, 4 - digits.size(), '0');
    }
    text += digits;
    text += month < 10 ? "-0" : "-";
    text += std::to_string(month);
    text += day < 10 ? "-0" : "-";
    text += std::to_string(day);
    return text;
}

} // namespace marlindex
