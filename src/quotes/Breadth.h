// Market breadth as adline() and TRIN() read it: per market and trading date, how many issues
// rose, fell or stayed unchanged against their own previous quote, and the volume of the
// risers and fallers. Built one symbol at a time, so a streaming run never holds every series.
#pragma once

#include "quotes/QuoteData.h"

#include <cstddef>
#include <vector>

namespace marlindex {

class BreadthBuilder {
public:
    // `tradingDates`: every date of the database, ascending.
    explicit BreadthBuilder(std::vector<TradeDate> tradingDates);

    // Counts a symbol's bars in its market. Its first bar has no previous quote and counts as
    // none of the three. Throws ProblemError when a date of `bars` is not a trading date.
    void Add(int marketId, const BarSeries& bars);

    // The breadth by market number (markets without symbols are empty). A date where no
    // symbol of the market has a counted bar is absent: the database's first date always is.
    std::vector<MarketBreadth> Finish() &&;

private:
    std::vector<TradeDate> dates_;
    // Per market, one day per trading date; a day where nothing counted stays all zero.
    std::vector<std::vector<BreadthDay>> markets_;
};

} // namespace marlindex
