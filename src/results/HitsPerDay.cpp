#include "results/HitsPerDay.h"

#include <algorithm>
#include <utility>

namespace marlindex {

std::vector<DayHits> CountHitsPerDay(const AnalysisResults& results) {
    // (date, symbol) once each, then counted by date: rows come sorted by symbol, not by date.
    std::vector<std::pair<TradeDate, std::uint32_t>> hits;
    hits.reserve(results.rows.size());
    for (const ResultRow& row : results.rows) {
        hits.emplace_back(row.date, row.symbol);
    }
    std::sort(hits.begin(), hits.end());
    hits.erase(std::unique(hits.begin(), hits.end()), hits.end());
    std::vector<DayHits> days;
    for (const auto& [date, symbol] : hits) {
        if (days.empty() || days.back().date != date) {
            days.push_back({date, 0});
        }
        ++days.back().symbols;
    }
    return days;
}

} // namespace marlindex
