// How many symbols passed on each day of a run: the bars of the hits-per-day chart. A day with
// a symbol's Buy and Sell counts the symbol once.
#pragma once

#include "analysis/AnalysisResults.h"

#include <cstddef>
#include <vector>

namespace marlindex {

struct DayHits {
    TradeDate date = 0;
    std::size_t symbols = 0;
};

// Every date that has at least one row, ascending, with the number of symbols on it.
std::vector<DayHits> CountHitsPerDay(const AnalysisResults& results);

} // namespace marlindex
