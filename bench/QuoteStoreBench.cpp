// The quote store against its targets: importing the whole shared data set (505 symbols,
// 619,040 bars, 27 MB of CSV) within 2 s, and loading all of it for one analysis run fast
// enough that a cold scan ends within 250 ms. Each is measured beside a peer in the same run,
// since the machine is shared: the sqlite3 shell's .import and pandas' read_csv for the
// import, a table of one row per bar for the load.
#include "BenchSupport.h"
#include "quotes/QuoteImport.h"
#include "quotes/QuoteStore.h"
#include "quotes/Sqlite.h"

#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <random>

namespace {

using namespace marlindex;
using namespace marlindex::bench;

bool HasProgram(const char* program) {
    return std::system(("command -v " + std::string(program) + " >/dev/null 2>&1").c_str()) == 0;
}

// The sqlite3 shell imports every price file into one table in one transaction; seconds.
double SqliteShellImport(const fs::path& data, const fs::path& work) {
    const fs::path script = work / "import.sql";
    {
        std::ofstream out(script);
        out << "CREATE TABLE bars(date TEXT, open REAL, high REAL, low REAL, close REAL, "
               "volume INTEGER);\nBEGIN;\n";
        for (const auto& entry : fs::directory_iterator(PricesFolder(data))) {
            out << ".import --csv --skip 1 '" << entry.path().string() << "' bars\n";
        }
        out << "COMMIT;\n";
    }
    const fs::path database = work / "shell.db";
    fs::remove(database);
    const auto start = Clock::now();
    const int status = std::system(
        ("sqlite3 '" + database.string() + "' < '" + script.string() + "' >/dev/null 2>&1")
            .c_str());
    const double seconds = SecondsSince(start);
    fs::remove(database);
    return status == 0 ? seconds : -1;
}

// pandas' read_csv of every price file, as timed by the script itself (pandas loaded); seconds.
double PandasRead(const fs::path& data) {
    const std::string command = std::string(kPython) +
                                " '" MARLINDEX_BENCH_DIR "/pandas_read_quotes.py' '" +
                                PricesFolder(data).string() + "' 2>/dev/null";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return -1;
    }
    double seconds = -1;
    long bars = 0;
    if (std::fscanf(pipe, "%lf %ld", &seconds, &bars) != 2 || bars != 619040) {
        seconds = -1;
    }
    return pclose(pipe) == 0 ? seconds : -1;
}

void BM_ImportWholeDataSet(benchmark::State& state) {
    const auto data = test::SharedDataFolder();
    if (!data) {
        state.SkipWithError(test::kNoSharedData);
        return;
    }
    const bool shell = HasProgram("sqlite3");
    const bool pandas = fs::exists(kPython);
    double ours = 0;
    double shellTotal = 0;
    double pandasTotal = 0;
    for (auto _ : state) {
        WorkFolder work;
        const auto start = Clock::now();
        const ImportOutcome outcome = ImportQuotes(work.path() / "db", WholeDataSet(*data));
        const double seconds = SecondsSince(start);
        if (outcome.status != ImportOutcome::Status::Imported) {
            state.SkipWithError(outcome.problem ? outcome.problem->Message().c_str() : "failed");
            return;
        }
        state.SetIterationTime(seconds);
        ours += seconds;
        shellTotal += shell ? SqliteShellImport(*data, work.path()) : 0;
        pandasTotal += pandas ? PandasRead(*data) : 0;
    }
    const double runs = static_cast<double>(state.iterations());
    state.counters["bars_per_s"] = 619040.0 * runs / ours;
    if (shell && shellTotal > 0) {
        state.counters["sqlite3_shell_ms"] = 1000 * shellTotal / runs;
        state.counters["sqlite3_shell/ours"] = shellTotal / ours;
    }
    if (pandas && pandasTotal > 0) {
        state.counters["pandas_read_csv_ms"] = 1000 * pandasTotal / runs;
        state.counters["pandas_read_csv/ours"] = pandasTotal / ours;
    }
}
BENCHMARK(BM_ImportWholeDataSet)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

std::size_t SnapshotBytes(const QuoteSnapshot& snapshot) {
    std::size_t bytes = 0;
    for (const BarSeries& bars : snapshot.series) {
        bytes += bars.size() * (sizeof(TradeDate) + 6 * sizeof(double));
    }
    return bytes;
}

void BM_LoadForAnalysis(benchmark::State& state) {
    const fs::path* store = ImportedStore();
    if (store == nullptr) {
        state.SkipWithError(test::kNoSharedData);
        return;
    }
    std::size_t bytes = 0;
    for (auto _ : state) {
        const auto snapshot = QuoteStore::Open(*store)->LoadForAnalysis();
        bytes = SnapshotBytes(*snapshot);
        benchmark::DoNotOptimize(snapshot->series.data());
    }
    const double bars = static_cast<double>(bytes / (sizeof(TradeDate) + 6 * sizeof(double)));
    state.counters["bars_per_s"] =
        benchmark::Counter(bars, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["bar_columns_MB"] = static_cast<double>(bytes) / 1e6;
}
BENCHMARK(BM_LoadForAnalysis)->Unit(benchmark::kMillisecond)->UseRealTime();

// The peer layout: one row per bar, keyed by symbol and date, read in key order.
void WriteRowPerBarTable(const fs::path& file, const QuoteSnapshot& snapshot) {
    sqlite::Connection db(file, sqlite::Connection::Mode::Create);
    db.Execute("CREATE TABLE bars(symbol TEXT, date INTEGER, open REAL, high REAL, low REAL, "
               "close REAL, volume REAL, open_int REAL, PRIMARY KEY (symbol, date)) WITHOUT ROWID");
    sqlite::Transaction transaction(db);
    sqlite::Statement insert =
        db.Prepare("INSERT INTO bars VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8)");
    for (std::size_t s = 0; s < snapshot.symbols.size(); ++s) {
        const BarSeries& bars = snapshot.series[s];
        for (std::size_t i = 0; i < bars.size(); ++i) {
            insert.Bind(1, snapshot.symbols[s].symbol).Bind(2, std::int64_t{bars.dates[i]});
            insert.BindReal(3, bars.open[i]).BindReal(4, bars.high[i]).BindReal(5, bars.low[i]);
            insert.BindReal(6, bars.close[i]).BindReal(7, bars.volume[i]);
            insert.BindReal(8, bars.openInt[i]).Run();
        }
    }
    transaction.Commit();
}

std::vector<BarSeries> ReadRowPerBarTable(const fs::path& file) {
    sqlite::Connection db(file, sqlite::Connection::Mode::ReadOnly);
    sqlite::Statement query = db.Prepare("SELECT symbol, date, open, high, low, close, volume, "
                                         "open_int FROM bars ORDER BY symbol, date");
    std::vector<BarSeries> series;
    std::string symbol;
    while (query.Step()) {
        std::string next = query.Text(0);
        if (series.empty() || next != symbol) {
            series.emplace_back();
            symbol = std::move(next);
        }
        BarSeries& bars = series.back();
        bars.dates.push_back(static_cast<TradeDate>(query.Int(1)));
        bars.open.push_back(query.Real(2));
        bars.high.push_back(query.Real(3));
        bars.low.push_back(query.Real(4));
        bars.close.push_back(query.Real(5));
        bars.volume.push_back(query.Real(6));
        bars.openInt.push_back(query.Real(7));
    }
    return series;
}

void BM_LoadVsRowPerBarTable(benchmark::State& state) {
    const fs::path* store = ImportedStore();
    if (store == nullptr) {
        state.SkipWithError(test::kNoSharedData);
        return;
    }
    static const fs::path peerFile = *store / "row-per-bar.db";
    if (!fs::exists(peerFile)) {
        WriteRowPerBarTable(peerFile, *QuoteStore::Open(*store)->LoadForAnalysis());
    }
    double ours = 0;
    double peer = 0;
    for (auto _ : state) {
        auto start = Clock::now();
        const auto snapshot = QuoteStore::Open(*store)->LoadForAnalysis();
        const double seconds = SecondsSince(start);
        benchmark::DoNotOptimize(snapshot->series.data());
        state.SetIterationTime(seconds);
        ours += seconds;

        start = Clock::now();
        const std::vector<BarSeries> rows = ReadRowPerBarTable(peerFile);
        peer += SecondsSince(start);
        if (rows.size() != snapshot->series.size()) {
            state.SkipWithError("the row-per-bar table does not hold every symbol");
            return;
        }
    }
    state.counters["row_per_bar_ms"] = 1000 * peer / static_cast<double>(state.iterations());
    state.counters["row_per_bar/ours"] = peer / ours;
}
BENCHMARK(BM_LoadVsRowPerBarTable)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace
