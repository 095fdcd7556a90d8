// Quotes as the analysis engine reads them: one symbol's whole daily history in columns, the
// symbol's categories and watch lists, and the breadth of its market that adline() and TRIN()
// need. Plain data: the quote store fills it, the AFL evaluator reads it, tests build it by hand.
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marlindex {

// A trading date as days since 1970-01-01 (the count of std::chrono::sys_days), so that dates
// sort and compare as plain numbers.
using TradeDate = std::int32_t;

// "YYYY-MM-DD" to a date; nullopt for anything else, an impossible date (2014-02-30) included.
std::optional<TradeDate> ParseIsoDate(std::string_view text);
// The date as "YYYY-MM-DD".
std::string FormatIsoDate(TradeDate date);

// The watch lists a symbol can belong to, numbered 0 to 63.
inline constexpr std::size_t kWatchListCount = 64;

struct SymbolInfo {
    std::string symbol;
    std::string name;
    // Category names; "" where the symbol has none.
    std::string market;
    std::string group;
    std::string sector;
    std::string industry;
    // Category numbers, as MarketID(0), GroupID(0), SectorID(0) and IndustryID(0) return them.
    int marketId = 0;
    int groupId = 0;
    int sectorId = 0;
    int industryId = 0;
    std::bitset<kWatchListCount> watchLists;
};

// One symbol's bars, oldest first; every column has one value per bar.
struct BarSeries {
    std::vector<TradeDate> dates;
    std::vector<double> open;
    std::vector<double> high;
    std::vector<double> low;
    std::vector<double> close;
    std::vector<double> volume;
    std::vector<double> openInt; // 0 where the data has no open interest

    std::size_t size() const { return dates.size(); }
};

// One trading date of one market: how many of its issues rose, fell or stayed unchanged
// against their previous quote, and the volume of the rising and falling ones.
struct BreadthDay {
    double advancing = 0;
    double declining = 0;
    double unchanged = 0;
    double advancingVolume = 0;
    double decliningVolume = 0;
};

// A market's breadth by date, dates ascending. A date missing here has no breadth (Null).
struct MarketBreadth {
    std::vector<TradeDate> dates;
    std::vector<BreadthDay> days;
};

} // namespace marlindex
