// libFuzzer target for the AFL reader and evaluator. Whatever the bytes, reading either gives a
// formula or refuses with afl::Error naming a line and column inside the text; a formula that
// reads then runs on a small symbol (with categories, watch lists and breadth) to its results
// or to an afl::Error, without crashing, hanging or reading outside its arrays.
#include "afl/Formula.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace {

using namespace marlindex;

struct Tiny {
    SymbolInfo info;
    BarSeries bars;
    MarketBreadth breadth;

    Tiny() {
        info.symbol = "FUZZ";
        info.market = "NYSE";
        info.sector = "O'Neil";
        info.watchLists.set(3);
        const double closes[] = {10, 10, 11, 9.5, 9.5, 12, 0, 12};
        for (std::size_t i = 0; i < std::size(closes); ++i) {
            bars.dates.push_back(static_cast<TradeDate>(17000 + i));
            bars.open.push_back(closes[i]);
            bars.high.push_back(closes[i] + (i % 3));
            bars.low.push_back(closes[i] - (i % 2));
            bars.close.push_back(closes[i]);
            bars.volume.push_back(i % 4 == 0 ? 0 : 100.0 * static_cast<double>(i));
            bars.openInt.push_back(0);
            if (i > 0 && i != 4) {
                breadth.dates.push_back(bars.dates.back());
                breadth.days.push_back({static_cast<double>(i), 3, 0, 50, i % 2 ? 0.0 : 20.0});
            }
        }
    }
};

// The line and column of an error lie within the text (or just past its end).
void CheckPlace(const afl::Error& error, std::string_view text) {
    int lines = 1;
    for (const char c : text) {
        lines += c == '\n';
    }
    if (error.where().line < 1 || error.where().line > lines || error.where().column < 1 ||
        static_cast<std::size_t>(error.where().column) > text.size() + 1) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Tiny symbol;
    static afl::Workspace workspace;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        const afl::Formula formula = afl::Formula::Parse(text);
        const afl::Results& results =
            afl::Evaluate(formula, {symbol.info, symbol.bars, &symbol.breadth}, workspace);
        for (const auto& column : results.columns) {
            if (column.values.size() != symbol.bars.size()) {
                std::abort();
            }
        }
    } catch (const afl::Error& error) {
        CheckPlace(error, text);
    }
    return 0;
}
