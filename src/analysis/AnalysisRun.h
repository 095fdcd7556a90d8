// The built-in analysis: runs a parsed formula over every symbol of a quote store (or over one
// symbol) and collects an exploration's or a scan's rows.
//
// Symbols are evaluated in parallel on every core (oneTBB, when the build has it; otherwise
// the same steps on the calling thread). A run over a store streams: the store's cursor reads
// symbol after symbol on one thread while the others evaluate, and a symbol's bars are let go
// once its rows are taken, so memory stays bounded by a few series per core whatever the size
// of the store. The formula is computed on each symbol's whole history; the range only chooses
// the bars that report (docs/engine.md, "The analysis").
#pragma once

#include "afl/Formula.h"
#include "analysis/AnalysisResults.h"
#include "quotes/QuoteStore.h"
#include "startup/Problem.h"

#include <atomic>
#include <cstddef>
#include <optional>
#include <string>

namespace marlindex {

// The bars that report, by the numbers of the analysis application's RangeMode.
enum class RangeMode {
    AllBars = 0,  // every bar of each symbol
    LastBars = 1, // the n last bars of each symbol
    LastDays = 2, // the bars dated within the n most recent trading dates of the whole database
};

struct BarRange {
    RangeMode mode = RangeMode::AllBars;
    std::size_t n = 1;
};

// The first bar of `dates` (a symbol's, ascending) that reports; dates.size() when none does.
// `tradingDates` (the database's, ascending) is read only for the n last days.
std::size_t FirstReportedBar(const BarRange& range, std::span<const TradeDate> dates,
                             std::span<const TradeDate> tradingDates);

struct AnalysisRequest {
    AnalysisMode mode = AnalysisMode::Scan;
    BarRange range;
    // Run over this symbol alone (apply to the current symbol); none: over every symbol.
    std::optional<std::string> symbol;
    // 0: every core; 1: the calling thread alone; n: at most n threads.
    unsigned threads = 0;
};

struct RunControl {
    // Hears after each symbol: symbols done and in all. Returning false cancels the run. It is
    // called for one symbol at a time, in symbol order, but not always on the caller's thread.
    ProgressFunction progress;
    // Set from any thread to cancel; checked before each symbol starts.
    const std::atomic<bool>* cancel = nullptr;
};

// Runs `formula` over the store. Bad input: the formula assigns nothing to run (Filter to
// explore, Buy or Sell to scan), a value of the wrong kind while it runs (with the line and
// column in the formula; the caller names the file), an unknown symbol. A failure: the store
// could not be read. A cancelled run gives the rows of the symbols done, marked cancelled.
Result<AnalysisResults> RunAnalysis(const afl::Formula& formula, const QuoteStore& store,
                                    const AnalysisRequest& request, const RunControl& control = {});
// The same over quotes already in memory.
Result<AnalysisResults> RunAnalysis(const afl::Formula& formula, const QuoteSnapshot& quotes,
                                    const AnalysisRequest& request, const RunControl& control = {});

// The number of threads a run with `threads` uses (a build without oneTBB always uses one).
unsigned AnalysisThreads(unsigned threads);

} // namespace marlindex
