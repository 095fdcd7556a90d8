// The built-in analysis against its targets, each beside a peer in the same run (the machine
// is shared and noisy, so read the ratios):
//   warm:  the reference scan over the shared data set in memory (505 symbols x 1,259 bars),
//          formula parsed, on every core; at most 10 ms and at least 50 times faster than the
//          same scan in pandas (bench/pandas_reference_scan.py), which must find the same
//          signals;
//   cold:  marlindex-cli scan on the imported store, from the spawn to the end of the process,
//          at most 250 ms with a peak resident set of at most 100 MB; the peer is the sqlite3
//          shell reading every bar column of the same store;
//   growth: the same scan, streamed, over a synthetic store of 5,000 symbols x 5,000 bars
//          built once per run, at three sizes: bars per second and peak memory.
#include "BenchSupport.h"
#include "analysis/AnalysisRun.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <fstream>
#include <optional>

namespace {

using namespace marlindex;
using namespace marlindex::bench;

const fs::path kCli = MARLINDEX_CLI;

AnalysisRequest ReferenceRequest(unsigned threads) {
    return {AnalysisMode::Scan, {}, std::nullopt, threads};
}

struct PandasPeer {
    double seconds = -1;
    long signals = -1;
    long differ = -1; // signals only one of the two found
};

// The pandas scan over the same price files, given our signals to compare with.
PandasPeer RunPandas(const AnalysisResults& ours, const fs::path& work) {
    const auto data = test::SharedDataFolder();
    const fs::path signals = work / "signals.txt";
    {
        std::ofstream out(signals);
        for (const ResultRow& row : ours.rows) {
            out << ours.SymbolOf(row) << "," << FormatIsoDate(row.date) << "\n";
        }
    }
    const std::string command =
        std::string(kPython) + " '" MARLINDEX_BENCH_DIR "/pandas_reference_scan.py' '" +
        PricesFolder(*data).string() + "' '" + signals.string() + "' 7 2>/dev/null";
    PandasPeer peer;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return peer;
    }
    if (std::fscanf(pipe, "%lf %ld %ld", &peer.seconds, &peer.signals, &peer.differ) != 3) {
        peer = {};
    }
    pclose(pipe);
    return peer;
}

void WarmScan(benchmark::State& state, unsigned threads, bool withPeer) {
    const QuoteSnapshot* quotes = SharedSnapshot();
    if (quotes == nullptr) {
        state.SkipWithError(test::kNoSharedData);
        return;
    }
    const afl::Formula formula = afl::Formula::Parse(kReferenceScan);
    const AnalysisRequest request = ReferenceRequest(threads);
    AnalysisResults results;
    double ours = 0;
    for (auto _ : state) {
        const auto start = Clock::now();
        results = RunAnalysis(formula, *quotes, request).value();
        const double seconds = SecondsSince(start);
        benchmark::DoNotOptimize(results.rows.data());
        state.SetIterationTime(seconds);
        ours += seconds;
    }
    ours /= static_cast<double>(state.iterations());
    state.counters["threads"] = AnalysisThreads(threads);
    state.counters["signals"] = static_cast<double>(results.rows.size());
    state.counters["bars_per_s"] = static_cast<double>(results.barsRun) / ours;
    if (!withPeer || !fs::exists(kPython)) {
        return;
    }
    const WorkFolder work;
    const PandasPeer pandas = RunPandas(results, work.path());
    if (pandas.seconds < 0) {
        state.SkipWithError("the pandas peer did not run (python3-pandas missing?)");
        return;
    }
    state.counters["pandas_ms"] = 1000 * pandas.seconds;
    state.counters["pandas/ours"] = pandas.seconds / ours;
    state.counters["pandas_signals"] = static_cast<double>(pandas.signals);
    if (pandas.differ != 0) {
        state.SkipWithError("pandas and the engine find different signals");
    }
}
BENCHMARK_CAPTURE(WarmScan, AllCoresVsPandas, 0u, true)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(WarmScan, OneThread, 1u, false)->UseManualTime()->Unit(benchmark::kMillisecond);

// The reference scan as an .afl file in `folder`.
fs::path ReferenceScanFile(const fs::path& folder) {
    const fs::path file = folder / "reference-scan.afl";
    std::ofstream(file) << kReferenceScan << "\n";
    return file;
}

std::string FirstLine(const fs::path& file) {
    std::ifstream in(file);
    std::string line;
    std::getline(in, line);
    return line;
}

std::size_t Lines(const fs::path& file) {
    std::ifstream in(file);
    std::size_t lines = 0;
    for (std::string line; std::getline(in, line);) {
        ++lines;
    }
    return lines;
}

// Scans `store` with the real binary, once per iteration: the mean seconds of a scan, none (and
// the benchmark skipped) when a scan fails.
std::optional<double> ColdScans(benchmark::State& state, const fs::path& store) {
    const WorkFolder work;
    const fs::path formula = ReferenceScanFile(work.path());
    const fs::path out = work.path() / "out.csv";
    const fs::path err = work.path() / "err.txt";
    double total = 0;
    double peakRssMb = 0;
    for (auto _ : state) {
        const ChildRun run =
            RunChild(kCli, {"scan", "--database", store.string(), formula.string()}, out, err);
        if (run.status != 0) {
            state.SkipWithError(("marlindex-cli scan failed: " + FirstLine(err)).c_str());
            return std::nullopt;
        }
        state.SetIterationTime(run.seconds);
        total += run.seconds;
        peakRssMb = std::max(peakRssMb, run.peakRssMb);
    }
    state.counters["rows"] = static_cast<double>(Lines(out) - 1);
    state.counters["peak_rss_MB"] = peakRssMb;
    return total / static_cast<double>(state.iterations());
}

void BM_ColdScanProcess(benchmark::State& state) {
    const fs::path* store = ImportedStore();
    if (store == nullptr) {
        state.SkipWithError(test::kNoSharedData);
        return;
    }
    const std::optional<double> ours = ColdScans(state, *store);
    if (!ours) {
        return;
    }
    // The peer: a process that only reads every bar column of the same store.
    const WorkFolder work;
    double shell = 0;
    constexpr int kShellRuns = 5;
    for (int i = 0; i < kShellRuns; ++i) {
        const ChildRun run =
            RunChild("/usr/bin/sqlite3",
                     {(*store / "quotes.db").string(),
                      "SELECT sum(length(dates) + length(open) + length(high) + length(low) + "
                      "length(close) + length(volume)) FROM bars"},
                     work.path() / "out.txt", work.path() / "err.txt");
        if (run.status != 0) {
            return; // no shell: the scan's own figures stand
        }
        shell += run.seconds / kShellRuns;
    }
    state.counters["sqlite3_read_all_ms"] = 1000 * shell;
    state.counters["ours/sqlite3_read_all"] = *ours / shell;
}
BENCHMARK(BM_ColdScanProcess)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

// A store of 5,000 synthetic symbols of 5,000 daily bars (about 20 years), written through the
// store's writer, grown on demand so that the three sizes share one build.
constexpr std::size_t kGrowthBars = 5000;

struct GrowingStore {
    WorkFolder work;
    int symbols = 0;
    double buildSeconds = 0;
};

GrowingStore& Growing() {
    static GrowingStore store;
    return store;
}

// Grows the store to `symbols` symbols in one transaction; the seconds it took.
double GrowTo(int symbols) {
    GrowingStore& store = Growing();
    if (store.symbols >= symbols) {
        return 0;
    }
    const auto start = Clock::now();
    QuoteStore quotes = QuoteStore::OpenOrCreate(store.work.path()).value();
    QuoteStore::Writer writer = quotes.BeginChanges();
    for (int s = store.symbols; s < symbols; ++s) {
        char name[16];
        std::snprintf(name, sizeof name, "Y%04d", s);
        writer.MergeBars(name, RandomWalk(static_cast<std::uint64_t>(s), kGrowthBars));
    }
    writer.Commit();
    const double seconds = SecondsSince(start);
    store.symbols = symbols;
    store.buildSeconds += seconds;
    return seconds;
}

void BM_StreamedScanGrowth(benchmark::State& state) {
    const auto symbols = static_cast<int>(state.range(0));
    const double grown = GrowTo(symbols);
    const std::optional<double> seconds = ColdScans(state, Growing().work.path());
    if (!seconds) {
        return;
    }
    const double bars = static_cast<double>(symbols) * kGrowthBars;
    state.counters["bars"] = bars;
    state.counters["bars_per_s"] = bars / *seconds;
    state.counters["store_built_s"] = Growing().buildSeconds;
    state.counters["grown_now_s"] = grown;
}
BENCHMARK(BM_StreamedScanGrowth)
    ->Arg(1250)
    ->Arg(2500)
    ->Arg(5000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(2);

} // namespace
