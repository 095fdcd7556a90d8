// What the chart of one symbol from a run draws, as plain data: the symbol's bars, the bars
// where the run's formula is true, and one line per indicator that the run's condition rows
// use, each on the pane whose scale it shares. The chart window only draws this.
#pragma once

#include "formula/ConditionRecord.h"
#include "quotes/QuoteData.h"
#include "results/RunContext.h"
#include "startup/Problem.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace marlindex {

enum class ChartPane {
    Price,  // over the candles: moving averages, bands, SAR, a price field
    Volume, // over the volume bars: volume and its average
    Own,    // an oscillator (or any other scale) in a pane of its own
};

// An indicator as a condition row computes it.
struct RowIndicator {
    int indicator = 0; // catalogue index
    std::string afl;   // exactly as the row's code has it: "RSIa( Close, 14 )"
    std::string name;  // as the row's words name it: "RSI(14)"
    ChartPane pane = ChartPane::Own;
    std::size_t row = 0; // the first record that uses it
    int ownPane = -1;    // for ChartPane::Own: which of the own panes, from 0
};

// A value a row compares an indicator with ("RSI is less than 30"): a level across its pane.
struct RowLevel {
    std::string afl; // the indicator's, as in RowIndicator
    double value = 0;
};

struct RowIndicators {
    std::vector<RowIndicator> indicators; // each AFL text once, in row order
    std::vector<RowLevel> levels;
    int ownPanes = 0;
};

// The indicators of the condition rows, read from each row's own code so that they carry the
// parameters the formula was written with, whatever the settings say now. Indicators of one
// row that share a scale share an own pane (ADX and DI+, MACD and its Signal). A row whose code
// does not hold its indicator (a record edited by hand) gives nothing for it.
RowIndicators IndicatorsOfRows(const ConditionRecordList& records);

enum class ChartMarkKind { Filter, Buy, Sell };

struct ChartMark {
    std::size_t bar = 0;
    ChartMarkKind kind = ChartMarkKind::Filter;
};

struct ChartPoint {
    std::size_t bar = 0;
    double value = 0;
};

struct ChartLine {
    RowIndicator indicator;
    std::vector<ChartPoint> points; // ascending bars; bars without a value (Null) left out
};

struct ChartData {
    std::string symbol;
    std::string kind;  // "exploration", "buy scan", "sell scan" or "scan" (Buy and Sell)
    std::string title; // "AAPL (Apple Inc.): exploration"
    BarSeries bars;
    std::vector<ChartMark> marks; // ascending bars; a bar with Buy and Sell has both
    std::vector<ChartLine> lines;
    std::vector<RowLevel> levels;
    int ownPanes = 0;
    std::size_t hitBar = 0; // the bar of the hit: the last bar on or before its date
};

// Computes the chart of one symbol whose bars are given. Bad input: the run's formula or an
// indicator does not evaluate on these bars (a value of the wrong kind).
Result<ChartData> ComputeChartData(const RunContext& run, const SymbolInfo& info, BarSeries bars,
                                   const MarketBreadth* breadth, TradeDate hit);

// The same with the symbol's bars read from the run's database folder. Bad input: the folder
// holds no quote store or not the symbol.
Result<ChartData> LoadChartData(const RunContext& run, const std::string& symbol, TradeDate hit);

// The lowest and highest value a pane shows over bars [first, last]: the candles' lows and
// highs with the price lines, the volumes from 0, or an own pane's lines and levels (an
// oscillator that keeps to a range shows all of it). None when nothing there has a value.
struct PaneRange {
    double low = 0;
    double high = 0;
};
std::optional<PaneRange> VisibleRange(const ChartData& chart, ChartPane pane, int ownPane,
                                      std::size_t first, std::size_t last);

} // namespace marlindex
