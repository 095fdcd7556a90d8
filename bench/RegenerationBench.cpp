// Regenerating the formula is what happens on every keystroke in the condition editor: the
// current row is translated, the condition code rebuilt from all rows, the formula assembled
// and coloured. Target: well under 1 ms for a 50-row formula, so typing stays instant.
#include "formula/Assembly.h"
#include "formula/Colouring.h"
#include "formula/ConditionEditor.h"
#include "formula/Translation.h"
#include "mainwindow/MainWindowState.h"
#include "scanfile/ScanFile.h"
#include "settings/MemoryHive.h"
#include "settings/ProgramSettings.h"
#include "startup/Codepage.h"
#include "support/RandomScans.h"

#include <benchmark/benchmark.h>
#include <chrono>

namespace {

using namespace marlindex;

// Fifty rows of mixed kinds: crossings, bar-by-bar comparisons with modifiers, values,
// lowest/highest, brackets and both joiners.
Scan FiftyRowScan() {
    Scan scan;
    scan.filter = "( MarketID( 1 ) == 0 OR GroupID( 1 ) == 3 )";
    scan.applyTo = kApplyToFilter;
    for (int i = 0; i < 50; ++i) {
        ScanRow row;
        row.joiner = i % 3 == 0 ? "OR" : "AND";
        row.openBrackets = i % 7 == 0 ? 1 : 0;
        row.closeBrackets = i % 7 == 6 ? 1 : 0;
        EditorState& s = row.state;
        switch (i % 4) {
        case 0:
            s.indicator1 = 7, s.option1 = "Exponential", s.comparison = 0;
            s.comparisonType = kTargetIndicator, s.indicator2 = 9, s.option2 = "Simple";
            s.tp1 = 3;
            break;
        case 1:
            s.indicator1 = 16, s.comparison = 3, s.comparisonType = kTargetValue;
            s.value1 = 30 + i;
            break;
        case 2:
            s.indicator1 = 8, s.option1 = "Weighted", s.comparison = 4, s.tp1 = 2, s.tp2 = 0;
            s.comparisonType = kTargetIndicator, s.indicator2 = 14, s.option2 = "Close";
            s.modify2On = true, s.modify2Operation = kModifyDecrease, s.modify2 = 10;
            s.modify2Unit = kUnitPercent;
            break;
        default:
            s.indicator1 = 24, s.comparison = 11, s.tp1 = 20;
            break;
        }
        scan.rows.push_back(row);
    }
    return scan;
}

void BM_RegenerateFiftyRowFormula(benchmark::State& state) {
    MemoryHive hive;
    CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    const Scan scan = FiftyRowScan();
    const GeneratedScan generated = GenerateScan(scan, settings);
    ConditionEditor editor(settings);
    editor.RestoreRows(generated.records, generated.conditionCode);
    const int rowCount = static_cast<int>(scan.rows.size());
    const int editedRow = 25;
    for (auto _ : state) {
        editor.Condition() = scan.rows[editedRow].state;
        const ConditionTranslation t = editor.Translate();
        std::string rowText = editor.RowText(editedRow, "AND", t);
        editor.Store(rowCount, true, editedRow, "AND", t, std::move(rowText));
        editor.BuildCode(rowCount);
        const std::string formula = editor.Assemble(scan.filter, scan.applyTo, scan.analysis);
        const std::vector<FormatRun> runs = ColourRuns(DecodeText(formula));
        benchmark::DoNotOptimize(runs.data());
    }
    state.counters["formula_chars"] = static_cast<double>(generated.formula.size());
}
BENCHMARK(BM_RegenerateFiftyRowFormula)->Unit(benchmark::kMicrosecond);

void BM_ColourFiftyRowFormula(benchmark::State& state) {
    MemoryHive hive;
    CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    const std::u32string text = DecodeText(GenerateScan(FiftyRowScan(), settings).formula);
    for (auto _ : state) {
        benchmark::DoNotOptimize(ColourRuns(text).data());
    }
}
BENCHMARK(BM_ColourFiftyRowFormula)->Unit(benchmark::kMicrosecond);

void BM_GenerateFiftyRowScan(benchmark::State& state) {
    MemoryHive hive;
    CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    const Scan scan = FiftyRowScan();
    for (auto _ : state) {
        benchmark::DoNotOptimize(GenerateScan(scan, settings).formula.data());
    }
}
BENCHMARK(BM_GenerateFiftyRowScan)->Unit(benchmark::kMicrosecond);

// Seconds per call of `work`, over `calls` calls.
template <class Work> double SecondsPerCall(int calls, Work work) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < calls; ++i) {
        work();
    }
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
    return spent.count() / calls;
}

// A keystroke in the value box of row 26 of a fifty-row formula, through the main window as
// the form forwards it. "x_colouring" is its time over that of colouring the same formula
// alone, measured in the same run, so that figures from a busy machine compare.
void BM_KeystrokeInFiftyRowWindow(benchmark::State& state) {
    MemoryHive hive;
    CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    MainWindowState window(settings);
    test::Random rng(1);
    test::WindowDriver driver(window, rng);
    driver.EnterScan(FiftyRowScan());
    driver.LeftClick(25);
    const std::u32string formula = DecodeText(window.txtForumlae.text);
    const double colouring =
        SecondsPerCall(200, [&] { benchmark::DoNotOptimize(ColourRuns(formula).data()); });

    int keystroke = 0;
    const auto start = std::chrono::steady_clock::now();
    for (auto _ : state) {
        window.SetCurrentControl("txtVal1");
        window.txtVal1_Change(++keystroke % 2 == 0 ? "31" : "3");
        benchmark::DoNotOptimize(window.txtForumlae.text.data());
    }
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
    const double perKeystroke = spent.count() / static_cast<double>(state.iterations());
    state.counters["x_colouring"] = perKeystroke / colouring;
    state.counters["rows"] = static_cast<double>(window.GridCount());
}
BENCHMARK(BM_KeystrokeInFiftyRowWindow)->Unit(benchmark::kMicrosecond);

} // namespace
