// Evaluating a parsed formula over quotes in memory: the reference scan of the built-in
// engine over 505 symbols x 1,259 bars, the evaluator alone on one thread and on two
// (AnalysisBench.cpp measures the whole analysis). Beside it, in the same run, a hand-fused C++
// loop that computes the same signals in one pass per symbol: the peer the evaluator's cost is
// read against, as a ratio, since the machine is shared and absolute times wander. The real-data
// case imports ../shared/data (or MARLINDEX_DATA_DIR) when it is there.
#include "BenchSupport.h"
#include "afl/Formula.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <thread>

namespace {

using namespace marlindex;

using bench::kReferenceScan;

struct Quotes {
    std::vector<SymbolInfo> infos;
    std::vector<BarSeries> bars;
    std::size_t barCount = 0;
};

// Random walks with the reach of daily stocks (BenchSupport.h).
Quotes Synthetic(std::size_t symbols, std::size_t bars) {
    Quotes quotes;
    for (std::size_t s = 0; s < symbols; ++s) {
        SymbolInfo info;
        info.symbol = "S" + std::to_string(s);
        quotes.infos.push_back(std::move(info));
        quotes.bars.push_back(bench::RandomWalk(s, bars));
        quotes.barCount += bars;
    }
    return quotes;
}

// The shared data set as the quote store holds it after an import, copied so that the
// evaluator reads the same arrays as a run would.
Quotes RealQuotes() {
    Quotes quotes;
    if (const QuoteSnapshot* snapshot = bench::SharedSnapshot()) {
        quotes.infos = snapshot->symbols;
        quotes.bars = snapshot->series;
        for (const BarSeries& bars : quotes.bars) {
            quotes.barCount += bars.size();
        }
    }
    return quotes;
}

const Quotes& SyntheticQuotes() {
    static const Quotes quotes = Synthetic(505, 1259);
    return quotes;
}

const Quotes& Real() {
    static const Quotes quotes = RealQuotes();
    return quotes;
}

std::size_t EvaluateAll(const afl::Formula& formula, const Quotes& quotes,
                        afl::Workspace& workspace) {
    std::size_t signals = 0;
    for (std::size_t s = 0; s < quotes.bars.size(); ++s) {
        const afl::Results& results =
            afl::Evaluate(formula, {quotes.infos[s], quotes.bars[s]}, workspace);
        for (const double value : *results.buy) {
            signals += afl::IsSignal(value);
        }
    }
    return signals;
}

// The same scan written by hand as one fused pass per symbol: the peer.
std::size_t FusedLoop(const Quotes& quotes) {
    std::size_t signals = 0;
    for (const BarSeries& bars : quotes.bars) {
        const std::vector<double>& c = bars.close;
        const std::vector<double>& v = bars.volume;
        const double keep = 13.0 / 14;
        const double take = 1.0 / 14;
        double gains = 0, losses = 0, sum5 = 0, sum50 = 0, sum15 = 0;
        double previousFast = 0, previousSlow = 0;
        bool moved = false;
        long since = -1;
        for (std::size_t i = 0; i < c.size(); ++i) {
            if (i > 0) {
                const double change = c[i] - c[i - 1];
                gains = keep * gains + take * std::max(change, 0.0);
                losses = keep * losses + take * std::max(-change, 0.0);
                moved = moved || change != 0;
            }
            sum5 += i >= 5 ? c[i] - c[i - 5] : c[i];
            sum50 += i >= 50 ? c[i] - c[i - 50] : c[i];
            sum15 += i >= 15 ? v[i] - v[i - 15] : v[i];
            const double fast = sum5 / 5;
            const double slow = sum50 / 50;
            const bool cross = i >= 50 && fast > slow && previousFast <= previousSlow;
            previousFast = fast;
            previousSlow = slow;
            since = cross ? 0 : since >= 0 ? since + 1 : -1;
            const bool oversold = i >= 14 && moved && 100 * gains / (gains + losses) < 30;
            signals += oversold && since >= 0 && since <= 3 && i >= 14 && v[i] > sum15 / 15;
        }
    }
    return signals;
}

void Report(benchmark::State& state, const Quotes& quotes, std::size_t signals) {
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(quotes.barCount));
    state.counters["symbols"] = static_cast<double>(quotes.bars.size());
    state.counters["signals"] = static_cast<double>(signals);
    state.counters["per_symbol"] = benchmark::Counter(
        static_cast<double>(quotes.bars.size()),
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void EvaluatorScan(benchmark::State& state, const Quotes& quotes) {
    if (quotes.bars.empty()) {
        state.SkipWithError("no quotes: ../shared/data is absent (set MARLINDEX_DATA_DIR)");
        return;
    }
    const afl::Formula formula = afl::Formula::Parse(kReferenceScan);
    afl::Workspace workspace;
    std::size_t signals = EvaluateAll(formula, quotes, workspace);
    if (signals != FusedLoop(quotes)) {
        state.SkipWithError("the evaluator and the fused loop find different signals");
        return;
    }
    for (auto _ : state) {
        signals = EvaluateAll(formula, quotes, workspace);
        benchmark::DoNotOptimize(signals);
    }
    Report(state, quotes, signals);
}

void FusedScan(benchmark::State& state, const Quotes& quotes) {
    if (quotes.bars.empty()) {
        state.SkipWithError("no quotes: ../shared/data is absent (set MARLINDEX_DATA_DIR)");
        return;
    }
    std::size_t signals = 0;
    for (auto _ : state) {
        signals = FusedLoop(quotes);
        benchmark::DoNotOptimize(signals);
    }
    Report(state, quotes, signals);
}

// Two threads, each with its own workspace, each taking every other symbol: what a parallel
// analysis can expect from the two cores of the target machine (the analysis itself brings
// its own scheduler).
void EvaluatorScanTwoThreads(benchmark::State& state, const Quotes& quotes) {
    if (quotes.bars.empty()) {
        state.SkipWithError("no quotes: ../shared/data is absent (set MARLINDEX_DATA_DIR)");
        return;
    }
    const afl::Formula formula = afl::Formula::Parse(kReferenceScan);
    afl::Workspace workspaces[2];
    std::size_t signals[2] = {};
    const auto half = [&](std::size_t first) {
        signals[first] = 0;
        for (std::size_t s = first; s < quotes.bars.size(); s += 2) {
            const afl::Results& results =
                afl::Evaluate(formula, {quotes.infos[s], quotes.bars[s]}, workspaces[first]);
            for (const double value : *results.buy) {
                signals[first] += afl::IsSignal(value);
            }
        }
    };
    for (auto _ : state) {
        std::thread other(half, 1);
        half(0);
        other.join();
    }
    Report(state, quotes, signals[0] + signals[1]);
}

void BM_ReferenceScanSynthetic(benchmark::State& state) {
    EvaluatorScan(state, SyntheticQuotes());
}
void BM_ReferenceScanSyntheticFusedPeer(benchmark::State& state) {
    FusedScan(state, SyntheticQuotes());
}
void BM_ReferenceScanRealData(benchmark::State& state) {
    EvaluatorScan(state, Real());
}
void BM_ReferenceScanRealDataFusedPeer(benchmark::State& state) {
    FusedScan(state, Real());
}

BENCHMARK(BM_ReferenceScanSynthetic)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReferenceScanSyntheticFusedPeer)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReferenceScanRealData)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReferenceScanRealDataFusedPeer)->Unit(benchmark::kMillisecond);

void BM_ReferenceScanRealDataTwoThreads(benchmark::State& state) {
    EvaluatorScanTwoThreads(state, Real());
}
BENCHMARK(BM_ReferenceScanRealDataTwoThreads)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ParseReferenceScan(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(afl::Formula::Parse(kReferenceScan));
    }
}
BENCHMARK(BM_ParseReferenceScan)->Unit(benchmark::kMicrosecond);

} // namespace
