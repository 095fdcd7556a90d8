// Quote files for tests: the frozen fixtures of tests/quotes/data and generated price files.
#pragma once

#include "quotes/QuoteData.h"
#include "support/TempFolder.h"

#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

namespace marlindex::test {

inline std::filesystem::path QuoteFixture(std::string_view name) {
    const char* source = std::getenv("MARLINDEX_SOURCE_DIR");
    return std::filesystem::path(source != nullptr ? source : ".") / "tests" / "quotes" / "data" /
           name;
}

// A price file of `count` weekday bars from `first` on, with prices that wander by the day
// number so that every symbol and bar differs.
inline std::string GeneratedPrices(TradeDate first, int count, int seed) {
    std::string text = "Date,Open,High,Low,Close,Volume\n";
    TradeDate date = first;
    for (int i = 0; i < count; ++i, ++date) {
        while ((date + 3) % 7 >= 5) { // Monday is 0; 1970-01-01 was a Thursday
            ++date;
        }
        const int close = 1000 + (i * 37 + seed * 11) % 200;
        text += FormatIsoDate(date) + "," + std::to_string(close - 3) + "," +
                std::to_string(close + 5) + "," + std::to_string(close - 6) + "," +
                std::to_string(close) + "," + std::to_string(1000 + seed + i) + "\n";
    }
    return text;
}

} // namespace marlindex::test
