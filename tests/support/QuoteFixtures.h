// Quote files for tests: the frozen fixtures of tests/quotes/data and generated price files.
#pragma once

#include "quotes/QuoteData.h"
#include "quotes/QuoteImport.h"
#include "support/TempFolder.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
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

// The hand-made database of tests/quotes/data/tiny (its README works it out): AAA and BBB in
// NYSE, CCC in NASDAQ, five trading dates from 2024-01-02 to 2024-01-08; BBB starts late and
// misses 2024-01-05, CCC ends on 2024-01-04.
inline ImportRequest TinyDatabase() {
    return {QuoteFixture("tiny/symbols.csv"), {QuoteFixture("tiny/prices")}};
}

inline ImportReport ImportOrFail(const std::filesystem::path& folder,
                                 const ImportRequest& request) {
    const ImportOutcome outcome = ImportQuotes(folder, request);
    EXPECT_EQ(outcome.status, ImportOutcome::Status::Imported)
        << (outcome.problem ? outcome.problem->Message() : "");
    return outcome.report;
}

// A store of `symbols` generated symbols (S000, S001 ...) of `bars` weekday bars each.
inline void ImportGeneratedStore(const std::filesystem::path& folder, int symbols, int bars) {
    const std::filesystem::path prices = folder / "generated-prices";
    std::filesystem::create_directories(prices);
    for (int s = 0; s < symbols; ++s) {
        std::string name = std::to_string(s);
        name.insert(0, 3 - std::min<std::size_t>(name.size(), 3), '0');
        WriteBytes(prices / ("S" + name + ".csv"),
                   GeneratedPrices(*ParseIsoDate("2020-01-01"), bars, s));
    }
    ImportOrFail(folder, {std::nullopt, {prices}});
}

} // namespace marlindex::test
