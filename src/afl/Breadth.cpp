// Breadth of the symbol's market: ADLine and TRIN, from the advancing, declining and unchanged
// issues of each trading date that the quote store has counted.
#include "afl/Evaluator.h"

#include <cmath>

namespace marlindex::afl {
namespace {

// Calls `use(i, day)` for each bar that has the market's breadth of its date, `none(i)` for
// the others. A date on which no issue could be compared with a previous quote (the first date
// of the database) has no breadth.
template <typename Use, typename None>
void EachBarsBreadth(const SymbolData& symbol, Use use, None none) {
    const std::vector<TradeDate>& dates = symbol.bars.dates;
    const MarketBreadth* breadth = symbol.breadth;
    std::size_t j = 0;
    for (std::size_t i = 0; i < dates.size(); ++i) {
        if (breadth != nullptr) {
            while (j < breadth->dates.size() && breadth->dates[j] < dates[i]) {
                ++j;
            }
        }
        if (breadth != nullptr && j < breadth->dates.size() && j < breadth->days.size() &&
            breadth->dates[j] == dates[i]) {
            const BreadthDay& day = breadth->days[j];
            if (day.advancing + day.declining + day.unchanged > 0) {
                use(i, day);
                continue;
            }
        }
        none(i);
    }
}

} // namespace

namespace natives {

Value ADLine(Evaluator& ev, const CallSite&) {
    Value result = ev.NewArray();
    double* out = result.Writable();
    // AmiBroker's line: the running sum, over the symbol's own bars, of the signed square root
    // of (advancing - declining) / (unchanged + 1). A date without breadth is Null and adds
    // nothing.
    double total = 0;
    EachBarsBreadth(
        ev.symbol(),
        [&](std::size_t i, const BreadthDay& day) {
            const double diff = (day.advancing - day.declining) / (day.unchanged + 1);
            total += diff > 0 ? std::sqrt(diff) : -std::sqrt(-diff);
            out[i] = total;
        },
        [&](std::size_t i) { out[i] = kNull; });
    result.ShapeFromValues(ev.size());
    return result;
}

Value Trin(Evaluator& ev, const CallSite&) {
    Value result = ev.NewArray();
    double* out = result.Writable();
    EachBarsBreadth(
        ev.symbol(),
        [&](std::size_t i, const BreadthDay& day) {
            out[i] = (day.advancing / day.declining) / (day.advancingVolume / day.decliningVolume);
        },
        [&](std::size_t i) { out[i] = kNull; });
    result.ShapeFromValues(ev.size());
    return result;
}

} // namespace natives
} // namespace marlindex::afl
