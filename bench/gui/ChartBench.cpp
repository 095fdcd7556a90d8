// How soon the chart of a hit is ready: a symbol of 1,259 daily bars (AAPL of the shared data,
// or as many synthetic bars without it) with the three indicators of a realistic scan (RSI
// below 30, the short average crossing above the long one): its chart data read and computed
// from the store, and the window built and drawn once on the offscreen platform. The target is
// under 100 ms.
//
// The peer, in the same run: pandas computing the same three indicators over the same closes
// (bench/gui/pandas_chart_indicators.py). It draws nothing, so `chart/pandas` says how many
// times the arithmetic alone the whole chart costs.
#include "quotes/QuoteImport.h"
#include "quotes/QuoteStore.h"
#include "results/ChartData.h"
#include "results/frmChart.h"
#include "scanfile/ScanFile.h"
#include "settings/MemoryHive.h"
#include "support/SharedData.h"

#include <QApplication>
#include <QPixmap>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <random>
#include <sstream>
#include <string>

namespace marlindex {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kBars = 1259;

const char* const kScan = R"j({"name": "Oversold cross", "analysis": "exploration", "rows": [
    {"indicator1": "RSI", "bars1": 0, "comparison": "is less than", "target": "Value",
     "value": 30},
    {"joiner": "AND", "indicator1": "MA (Short)", "option1": "Simple", "bars1": 3,
     "comparison": "crosses above", "target": "Indicator", "indicator2": "MA (Long)",
     "option2": "Simple", "bars2": 1}]})j";

// 1,259 weekday bars of a random walk, as a price file.
std::string SyntheticPrices() {
    std::mt19937_64 random(1259);
    std::normal_distribution<double> step(0, 0.015);
    std::string text = "Date,Open,High,Low,Close,Volume\n";
    TradeDate date = *ParseIsoDate("2014-01-01");
    double close = 100;
    for (int i = 0; i < kBars; ++i, ++date) {
        while ((date + 3) % 7 >= 5) {
            ++date;
        }
        const double open = close;
        close = open * std::exp(step(random));
        const double high = std::max(open, close) * 1.005;
        const double low = std::min(open, close) * 0.995;
        std::ostringstream row;
        row.precision(10);
        row << FormatIsoDate(date) << ',' << open << ',' << high << ',' << low << ',' << close
            << ',' << 1e6 + 1e3 * i << '\n';
        text += row.str();
    }
    return text;
}

struct Fixture {
    fs::path folder;
    fs::path prices; // the symbol's price file, which the peer reads too
    std::string symbol;
    TradeDate hit = 0;
    std::shared_ptr<RunContext> run;

    ~Fixture() {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }
};

const Fixture* Prepared() {
    static const std::unique_ptr<Fixture> fixture = []() -> std::unique_ptr<Fixture> {
        auto made = std::make_unique<Fixture>();
        made->folder = fs::temp_directory_path() /
                       ("marlindex-chart-bench-" + std::to_string(std::random_device{}()));
        fs::create_directories(made->folder / "prices");
        if (const auto data = test::SharedDataFolder()) {
            made->symbol = "AAPL";
            fs::copy_file(*data / "sp500_daily_2013-2018" / "AAPL.csv",
                          made->folder / "prices" / "AAPL.csv");
        } else {
            made->symbol = "SYNTH";
            std::ofstream(made->folder / "prices" / "SYNTH.csv") << SyntheticPrices();
        }
        made->prices = made->folder / "prices" / (made->symbol + ".csv");
        if (ImportQuotes(made->folder, {std::nullopt, {made->folder / "prices"}}).status !=
            ImportOutcome::Status::Imported) {
            return nullptr;
        }
        MemoryHive hive;
        const Result<ParsedScan> scan = ParseScan(kScan);
        if (!scan) {
            return nullptr;
        }
        const GeneratedScan generated =
            GenerateScan(scan->scan, CProgramSettings::ForMarlindex(hive));
        made->run = std::make_shared<RunContext>();
        made->run->databaseFolder = made->folder;
        made->run->formulaText = generated.formula;
        made->run->records = generated.records;
        made->run->request.mode = AnalysisMode::Explore;
        const std::optional<BarSeries> bars =
            QuoteStore::Open(made->folder)->LoadSeries(made->symbol);
        if (!bars || bars->size() != static_cast<std::size_t>(kBars)) {
            return nullptr;
        }
        // A scan over the last day: the hit is the last bar.
        made->hit = bars->dates.back();
        return made;
    }();
    return fixture.get();
}

// The peer's median seconds for one computation; negative when it did not run.
double PandasSeconds(const fs::path& prices) {
    const std::string command = "/usr/bin/python3 '" MARLINDEX_BENCH_DIR
                                "/gui/pandas_chart_indicators.py' '" +
                                prices.string() + "' 200 2>/dev/null";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return -1;
    }
    double seconds = -1;
    int bars = 0;
    if (std::fscanf(pipe, "%lf %d", &seconds, &bars) != 2 || bars != kBars) {
        seconds = -1;
    }
    pclose(pipe);
    return seconds;
}

void BM_ChartOfAHit(benchmark::State& state) {
    const Fixture* fixture = Prepared();
    if (fixture == nullptr) {
        state.SkipWithError("the symbol could not be imported");
        return;
    }
    double seconds = 0;
    for (auto _ : state) {
        const Clock::time_point start = Clock::now();
        frmChart form(fixture->run, fixture->symbol, fixture->hit);
        form.resize(1200, 800);
        form.show();
        QPixmap picture = form.grab();
        benchmark::DoNotOptimize(picture);
        seconds += std::chrono::duration<double>(Clock::now() - start).count();
        if (form.Data() == nullptr || form.Data()->lines.size() != 3) {
            state.SkipWithError("the chart lacks its three indicators");
            return;
        }
    }
    const double ours = seconds / static_cast<double>(state.iterations());
    state.counters["chart_ms"] = 1000 * ours;
    const double pandas = PandasSeconds(fixture->prices);
    if (pandas < 0) {
        state.SkipWithError("the pandas peer did not run (python3-pandas missing?)");
        return;
    }
    state.counters["pandas_ms"] = 1000 * pandas;
    state.counters["chart/pandas"] = ours / pandas;
}
BENCHMARK(BM_ChartOfAHit)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// The chart data alone (the store read and the formula and indicators computed), to tell it
// from the drawing.
void BM_ChartDataOfAHit(benchmark::State& state) {
    const Fixture* fixture = Prepared();
    if (fixture == nullptr) {
        state.SkipWithError("the symbol could not be imported");
        return;
    }
    for (auto _ : state) {
        Result<ChartData> chart = LoadChartData(*fixture->run, fixture->symbol, fixture->hit);
        benchmark::DoNotOptimize(chart);
    }
}
BENCHMARK(BM_ChartDataOfAHit)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace marlindex

// The benchmarks build windows, so the application comes first, on the offscreen platform
// unless the caller chose one.
int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
