#include "quotes/Breadth.h"

#include "startup/Problem.h"

#include <algorithm>

namespace marlindex {

BreadthBuilder::BreadthBuilder(std::vector<TradeDate> tradingDates)
    : dates_(std::move(tradingDates)) {}

void BreadthBuilder::Add(int marketId, const BarSeries& bars) {
    if (bars.size() < 2) {
        return;
    }
    const auto market = static_cast<std::size_t>(marketId);
    if (market >= markets_.size()) {
        markets_.resize(market + 1);
    }
    std::vector<BreadthDay>& days = markets_[market];
    days.resize(dates_.size());
    // Both date lists ascend, so one walk finds every bar's trading date.
    auto date = std::lower_bound(dates_.begin(), dates_.end(), bars.dates[1]);
    for (std::size_t i = 1; i < bars.size(); ++i) {
        while (date != dates_.end() && *date < bars.dates[i]) {
            ++date;
        }
        if (date == dates_.end() || *date != bars.dates[i]) {
            throw ProblemError(ProblemKind::Failure, Place{},
                               "the quote store is damaged: the bar of " +
                                   FormatIsoDate(bars.dates[i]) + " has no trading date");
        }
        BreadthDay& day = days[static_cast<std::size_t>(date - dates_.begin())];
        // Without branches: rises and falls come in no predictable order.
        const double up = bars.close[i] > bars.close[i - 1] ? 1.0 : 0.0;
        const double down = bars.close[i] < bars.close[i - 1] ? 1.0 : 0.0;
        day.advancing += up;
        day.declining += down;
        day.unchanged += 1.0 - up - down;
        day.advancingVolume += up * bars.volume[i];
        day.decliningVolume += down * bars.volume[i];
    }
}

std::vector<MarketBreadth> BreadthBuilder::Finish() && {
    std::vector<MarketBreadth> breadth(markets_.size());
    for (std::size_t m = 0; m < markets_.size(); ++m) {
        const std::vector<BreadthDay>& days = markets_[m];
        for (std::size_t k = 0; k < days.size(); ++k) {
            // Every counted bar is one of the three, so a day with none had no counted bar.
            if (days[k].advancing + days[k].declining + days[k].unchanged > 0) {
                breadth[m].dates.push_back(dates_[k]);
                breadth[m].days.push_back(days[k]);
            }
        }
    }
    return breadth;
}

} // namespace marlindex
