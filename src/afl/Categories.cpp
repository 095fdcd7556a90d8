// The symbol's categories and watch lists (MarketID, GroupID, SectorID, IndustryID,
// InWatchList), and AddColumn, the exploration's output.
#include "afl/Evaluator.h"

#include <cmath>

namespace marlindex::afl {
namespace {

// Mode 1 (any mode but 0) gives the category's name, mode 0 its number.
Value Category(const CallSite& call, const std::string& name, int number) {
    const double mode = call.args[0].number();
    if (IsNull(mode)) {
        return Value::Number(kNull);
    }
    if (mode != 0) {
        return Value::Text(name);
    }
    return Value::Number(number);
}

} // namespace

namespace natives {

Value MarketId(Evaluator& ev, const CallSite& call) {
    return Category(call, ev.symbol().info.market, ev.symbol().info.marketId);
}
Value GroupId(Evaluator& ev, const CallSite& call) {
    return Category(call, ev.symbol().info.group, ev.symbol().info.groupId);
}
Value SectorId(Evaluator& ev, const CallSite& call) {
    return Category(call, ev.symbol().info.sector, ev.symbol().info.sectorId);
}
Value IndustryId(Evaluator& ev, const CallSite& call) {
    return Category(call, ev.symbol().info.industry, ev.symbol().info.industryId);
}

Value InWatchList(Evaluator& ev, const CallSite& call) {
    const double list = std::trunc(call.args[0].number());
    if (IsNull(call.args[0].number())) {
        return Value::Number(kNull);
    }
    // Lists are numbered from 0; a number outside 0 to 63 names no list.
    if (!(list >= 0 && list < static_cast<double>(kWatchListCount))) {
        return Value::Number(0);
    }
    return Value::Number(ev.symbol().info.watchLists.test(static_cast<std::size_t>(list)) ? 1 : 0);
}

Value AddColumn(Evaluator& ev, const CallSite& call) {
    ev.AddColumn(ev.ToArray(call.args[0]), call.args[1].text(), call.args[2].number());
    return Value();
}

} // namespace natives
} // namespace marlindex::afl
