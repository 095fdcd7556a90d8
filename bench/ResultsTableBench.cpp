// The results window's table against its target, beside a peer in the same run (the machine is
// shared and noisy, so read the ratios): a header click over 100,000 rows of an exploration
// (500 symbols x 200 days, a Close and a Volume column) sorts them in at most 100 ms, by a
// number column and by symbol. The peer is pandas' stable `sort_values` over the same rows
// (bench/pandas_sort_rows.py), which must put the same row first.
#include "BenchSupport.h"
#include "results/ResultsTable.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <fstream>

namespace {

using namespace marlindex;
using namespace marlindex::bench;

constexpr std::size_t kSymbols = 500;
constexpr std::size_t kDays = 200;

// Rows as a run gives them, by symbol then date, with closes and volumes from a fixed random
// walk; closes repeat now and then (two decimals), so ties are sorted too.
std::shared_ptr<const RunContext> HundredThousandRows() {
    static const std::shared_ptr<const RunContext> run = [] {
        auto made = std::make_shared<RunContext>();
        AnalysisResults& results = made->results;
        results.mode = AnalysisMode::Explore;
        results.columns = {{"Close", 1.2}, {"Volume", 1.0}};
        std::uint64_t state = 42;
        const auto next = [&state] {
            state = state * 6364136223846793005ULL + 1442695040888963407ULL;
            return static_cast<double>(state >> 11) / 9007199254740992.0;
        };
        const TradeDate first = *ParseIsoDate("2017-01-02");
        for (std::size_t s = 0; s < kSymbols; ++s) {
            std::string name = std::to_string(s);
            name.insert(0, 3 - name.size(), '0');
            results.symbols.push_back("S" + name);
            for (std::size_t d = 0; d < kDays; ++d) {
                results.rows.push_back(
                    {static_cast<std::uint32_t>(s), first + static_cast<TradeDate>(d)});
                results.values.push_back(std::round(1000 + 9000 * next()) / 100);
                results.values.push_back(std::floor(1e5 + 1e7 * next()));
            }
        }
        made->request.mode = AnalysisMode::Explore;
        return std::shared_ptr<const RunContext>(made);
    }();
    return run;
}

struct PandasPeer {
    double byNumber = -1;
    double bySymbol = -1;
    std::string firstByNumber, firstBySymbol; // "SYMBOL,YYYY-MM-DD"
};

PandasPeer RunPandas(const ResultsTable& table, const fs::path& work) {
    const fs::path rows = work / "rows.csv";
    {
        std::ofstream out(rows);
        out << table.Csv();
    }
    const std::string command = std::string(kPython) +
                                " '" MARLINDEX_BENCH_DIR "/pandas_sort_rows.py' '" + rows.string() +
                                "' 7 2>/dev/null";
    PandasPeer peer;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return peer;
    }
    char first[64] = {};
    char second[64] = {};
    if (std::fscanf(pipe, "%lf %lf %63s %63s", &peer.byNumber, &peer.bySymbol, first, second) ==
        4) {
        peer.firstByNumber = first;
        peer.firstBySymbol = second;
    } else {
        peer = {};
    }
    pclose(pipe);
    return peer;
}

std::string FirstRow(const ResultsTable& table) {
    return table.SymbolAt(0) + "," + FormatIsoDate(table.DateAt(0));
}

// A header click: the column sorted descending (Close, column 2, or Symbol, column 0).
void SortRows(benchmark::State& state, std::size_t column, bool withPeer) {
    ResultsTable table(HundredThousandRows());
    double ours = 0;
    for (auto _ : state) {
        const auto start = Clock::now();
        table.SortBy(column, true);
        const double seconds = SecondsSince(start);
        benchmark::DoNotOptimize(table.ResultRowAt(0));
        state.SetIterationTime(seconds);
        ours += seconds;
    }
    ours /= static_cast<double>(state.iterations());
    state.counters["rows"] = static_cast<double>(table.RowCount());
    if (!withPeer || !fs::exists(kPython)) {
        return;
    }
    const WorkFolder work;
    table.SortBy(2, true);
    const std::string oursByNumber = FirstRow(table);
    table.SortBy(0, true);
    const std::string oursBySymbol = FirstRow(table);
    const PandasPeer pandas = RunPandas(ResultsTable(HundredThousandRows()), work.path());
    if (pandas.byNumber < 0) {
        state.SkipWithError("the pandas peer did not run (python3-pandas missing?)");
        return;
    }
    const double peer = column == 0 ? pandas.bySymbol : pandas.byNumber;
    state.counters["pandas_ms"] = 1000 * peer;
    state.counters["pandas/ours"] = peer / ours;
    if (pandas.firstByNumber != oursByNumber || pandas.firstBySymbol != oursBySymbol) {
        state.SkipWithError("pandas and the table put different rows first");
    }
}
BENCHMARK_CAPTURE(SortRows, ByCloseVsPandas, 2u, true)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SortRows, BySymbolVsPandas, 0u, true)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
