#include "results/ChartData.h"

#include "formula/Catalogues.h"
#include "scanfile/ScanFile.h"
#include "settings/MemoryHive.h"
#include "support/QuoteFixtures.h"
#include "support/TempFolder.h"

#include <cmath>
#include <gtest/gtest.h>

namespace marlindex {
namespace {

// A run as the main window makes it: the rows of a scan file, generated with `settings`.
RunContext RunOf(const std::string& rows, const CProgramSettings& settings,
                 const std::string& analysis = "exploration") {
    const Result<ParsedScan> parsed = ParseScan(R"j({"name": "t", "analysis": ")j" + analysis +
                                                R"j(", "rows": [)j" + rows + "]}");
    EXPECT_TRUE(parsed.ok()) << (parsed ? "" : parsed.problem().Message());
    const GeneratedScan generated = GenerateScan(parsed->scan, settings);
    RunContext run;
    run.formulaText = generated.formula;
    run.records = generated.records;
    run.request.mode = analysis == "exploration" ? AnalysisMode::Explore : AnalysisMode::Scan;
    return run;
}

const char* const kCloseOverMa =
    R"j({"indicator1": "Price", "option1": "Close", "bars1": 0, "comparison": "is greater than",
        "target": "Indicator", "indicator2": "MA (Short)", "option2": "Simple", "bars2": 0})j";

// Seven weekday bars; 2024-01-06 and 07 are a weekend. MA(Close, 3) from the third bar on:
// 11, 11.333, 12, 12.667, 13, so Close > MA(Close, 3) on bars 2, 4 and 5.
const char* const kHandPrices = "Date,Open,High,Low,Close,Volume\n"
                                "2024-01-01,10,10.5,9.5,10,100\n"
                                "2024-01-02,10,11.5,9.8,11,200\n"
                                "2024-01-03,11,12.5,10.8,12,300\n"
                                "2024-01-04,12,12.2,10.5,11,400\n"
                                "2024-01-05,11,13.5,10.9,13,500\n"
                                "2024-01-08,13,14.2,12.8,14,600\n"
                                "2024-01-09,14,14.1,11.5,12,700\n";

class ChartDataTest : public ::testing::Test {
protected:
    void SetUp() override {
        // The short moving average over 3 bars, as the Preferences dialog stores it.
        ShortAverageOver("3");
        std::filesystem::create_directories(folder_ / "prices");
        test::WriteBytes(folder_ / "prices" / "HAND.csv", kHandPrices);
        test::ImportOrFail(folder_.path(), {std::nullopt, {folder_ / "prices"}});
    }
    void ShortAverageOver(const char* bars) {
        settings_.SetSection("Settings\\Indicator\\7");
        settings_.WriteEntry("2", bars);
        settings_.SetSection("Settings");
    }
    TradeDate Day(const char* iso) { return *ParseIsoDate(iso); }

    test::TempFolder folder_;
    MemoryHive hive_;
    CProgramSettings settings_ = CProgramSettings::ForMarlindex(hive_);
};

const RowIndicator* Named(const RowIndicators& rows, const std::string& name) {
    for (const RowIndicator& indicator : rows.indicators) {
        if (indicator.name == name) {
            return &indicator;
        }
    }
    return nullptr;
}

TEST_F(ChartDataTest, TakesEachRowsIndicatorsFromItsCodeWithTheirParametersAndScale) {
    const RunContext run =
        RunOf(std::string(kCloseOverMa) + "," +
                  R"j({"joiner": "AND", "indicator1": "MA (Short)", "option1": "Simple", "bars1": 3,
                "modify1": {"op": "Increase", "amount": 5}, "comparison": "crosses below",
                "target": "Indicator", "indicator2": "MA (Long)", "option2": "Weighted",
                "bars2": 1},
               {"joiner": "OR", "indicator1": "ADX", "bars1": 0, "comparison": "is greater than",
                "target": "Indicator", "indicator2": "DI+", "bars2": 0},
               {"joiner": "OR", "indicator1": "RSI", "bars1": 0, "comparison": "is less than",
                "target": "Value", "value": 30},
               {"joiner": "AND", "indicator1": "Volume", "bars1": 0,
                "comparison": "is greater than", "target": "Indicator",
                "indicator2": "Volume (Average)", "bars2": 0})j",
              settings_);
    // The parameters now stored no longer matter: the rows were written with these.
    ShortAverageOver("8");
    const RowIndicators rows = IndicatorsOfRows(run.records);

    std::vector<std::string> afl;
    for (const RowIndicator& indicator : rows.indicators) {
        afl.push_back(indicator.afl);
    }
    // Each text once: the short average of rows 1 and 2 is one line. "crosses below" writes
    // the long average first; it is still named as the long one.
    EXPECT_EQ(afl, (std::vector<std::string>{"Close", "MA( Close, 3 )", "WMA( Close, 50 )",
                                             "ADX( 14 )", "PDI()", "RSIa( Close, 14 )", "Volume",
                                             "MA( Volume, 15 )"}));
    const RowIndicator* shortMa = Named(rows, "MA (Short) Simple(3)");
    const RowIndicator* longMa = Named(rows, "MA (Long) Weighted(50)");
    ASSERT_TRUE(shortMa != nullptr && longMa != nullptr);
    EXPECT_EQ(shortMa->afl, "MA( Close, 3 )");
    EXPECT_EQ(longMa->afl, "WMA( Close, 50 )");
    EXPECT_EQ(shortMa->pane, ChartPane::Price);
    EXPECT_EQ(Named(rows, "Price Close")->pane, ChartPane::Price);

    // ADX and DI+ of one row share a pane; RSI has its own; volume joins the volume bars.
    const RowIndicator* adx = Named(rows, "ADX(14)");
    const RowIndicator* pdi = Named(rows, "DI+");
    const RowIndicator* rsi = Named(rows, "RSI(14)");
    ASSERT_TRUE(adx != nullptr && pdi != nullptr && rsi != nullptr);
    EXPECT_EQ(adx->pane, ChartPane::Own);
    EXPECT_EQ(adx->ownPane, pdi->ownPane);
    EXPECT_NE(rsi->ownPane, adx->ownPane);
    EXPECT_EQ(rows.ownPanes, 2);
    EXPECT_EQ(Named(rows, "Volume (Average)(15)")->pane, ChartPane::Volume);
    EXPECT_EQ(Named(rows, "Volume")->pane, ChartPane::Volume);

    // Only the row that compares with a value draws a level.
    ASSERT_EQ(rows.levels.size(), 1u);
    EXPECT_EQ(rows.levels[0].afl, "RSIa( Close, 14 )");
    EXPECT_EQ(rows.levels[0].value, 30);
}

// Every indicator of the catalogue, with every option, beside every partner it offers: the
// row's code holds both, and each is named as the row's words name it.
TEST_F(ChartDataTest, FindsEveryIndicatorAndPartnerInItsRowsCodeByTheRowsWords) {
    const int greaterThan = *FindComparisonByText("is greater than");
    const auto options = [](int indicator) {
        std::vector<std::string> texts;
        for (const OptionEntry& option : IndicatorOptions(indicator)) {
            texts.push_back(option.text);
        }
        return texts.empty() ? std::vector<std::string>{""} : texts;
    };
    int rows = 0;
    for (int a = 0; a < kIndicatorCount; ++a) {
        for (const int b : PairedIndicators(a)) {
            for (const std::string& optionA : options(a)) {
                for (const std::string& optionB : options(b)) {
                    Scan scan;
                    ScanRow row;
                    row.state.indicator1 = a;
                    row.state.option1 = optionA;
                    row.state.comparison = greaterThan;
                    row.state.comparisonType = kTargetIndicator;
                    row.state.indicator2 = b;
                    row.state.option2 = optionB;
                    row.state.tp2 = 0;
                    scan.rows.push_back(row);
                    const GeneratedScan generated = GenerateScan(scan, settings_);
                    const std::string& words = generated.rowTexts.at(0);
                    const RowIndicators found = IndicatorsOfRows(generated.records);
                    const std::string where = words + "\n" + generated.conditionCode;
                    ++rows;
                    // "A of the current bar is greater than B of the current bar".
                    const std::string middle = " of the current bar is greater than ";
                    const std::size_t cut = words.find(middle);
                    ASSERT_NE(cut, std::string::npos) << where;
                    const std::string nameA = words.substr(0, cut);
                    const std::string nameB = words.substr(
                        cut + middle.size(), words.size() - cut - middle.size() -
                                                 std::string(" of the current bar").size());
                    // The same indicator on both sides is one line.
                    ASSERT_EQ(found.indicators.size(), nameA == nameB ? 1u : 2u) << where;
                    EXPECT_EQ(found.indicators[0].name, nameA) << where;
                    EXPECT_EQ(found.indicators.back().name, nameB) << where;
                    for (const RowIndicator& indicator : found.indicators) {
                        EXPECT_NE(generated.conditionCode.find(indicator.afl), std::string::npos)
                            << where;
                    }
                }
            }
        }
    }
    EXPECT_GT(rows, 300);
}

TEST_F(ChartDataTest, ARowWhoseCodeDoesNotHoldItsIndicatorGivesNoLineForIt) {
    RunContext run = RunOf(kCloseOverMa, settings_);
    ASSERT_EQ(run.records.size(), 1u);
    ConditionRecord edited = run.records[0];
    // A library record edited by hand: indicator 2 says MA, the code computes something else.
    edited.codePart2 = "> EMA( Close, 3 )";
    const RowIndicators rows = IndicatorsOfRows({edited});
    ASSERT_EQ(rows.indicators.size(), 1u);
    EXPECT_EQ(rows.indicators[0].afl, "Close");
    // Unfinished and empty rows give nothing at all.
    ConditionRecord empty;
    empty.indicator1Id = 16;
    EXPECT_TRUE(IndicatorsOfRows({empty}).indicators.empty());
}

TEST_F(ChartDataTest, MarksTheBarsWhereTheFormulaIsTrueAndDrawsIndicatorsWithoutTheirNullBars) {
    RunContext run = RunOf(kCloseOverMa, settings_);
    run.databaseFolder = folder_.path();
    // A weekend date finds the Friday before it.
    const Result<ChartData> chart = LoadChartData(run, "HAND", Day("2024-01-07"));
    ASSERT_TRUE(chart.ok()) << chart.problem().Message();
    EXPECT_EQ(chart->symbol, "HAND");
    EXPECT_EQ(chart->title, "HAND: exploration");
    EXPECT_EQ(chart->bars.size(), 7u);
    EXPECT_EQ(chart->hitBar, 4u);

    std::vector<std::size_t> marked;
    for (const ChartMark& mark : chart->marks) {
        EXPECT_EQ(mark.kind, ChartMarkKind::Filter);
        marked.push_back(mark.bar);
    }
    EXPECT_EQ(marked, (std::vector<std::size_t>{2, 4, 5}));

    ASSERT_EQ(chart->lines.size(), 2u);
    const ChartLine& ma = chart->lines[1];
    EXPECT_EQ(ma.indicator.name, "MA (Short) Simple(3)");
    const std::vector<double> expected{11, 34.0 / 3, 12, 38.0 / 3, 13};
    ASSERT_EQ(ma.points.size(), expected.size());
    for (std::size_t k = 0; k < expected.size(); ++k) {
        EXPECT_EQ(ma.points[k].bar, k + 2);
        EXPECT_NEAR(ma.points[k].value, expected[k], 1e-12);
    }

    // Before the first bar the hit is the first bar; after the last, the last.
    EXPECT_EQ(LoadChartData(run, "HAND", Day("2023-06-01"))->hitBar, 0u);
    EXPECT_EQ(LoadChartData(run, "HAND", Day("2025-06-01"))->hitBar, 6u);
}

TEST_F(ChartDataTest, AScanMarksItsBuyAndSellBarsInBarOrder) {
    RunContext run = RunOf(kCloseOverMa, settings_, "buy");
    // Sell where the close is below its average (bars 3 and 6) and on bar 5, which also buys.
    run.formulaText += "\r\nSell = Close < MA( Close, 3 ) OR Close == 14;";
    run.databaseFolder = folder_.path();
    const Result<ChartData> chart = LoadChartData(run, "HAND", Day("2024-01-09"));
    ASSERT_TRUE(chart.ok()) << chart.problem().Message();
    EXPECT_EQ(chart->title, "HAND: scan");
    run.formulaText = "Sell = Close < 11;";
    EXPECT_EQ(LoadChartData(run, "HAND", 0)->kind, "sell scan");
    std::vector<std::pair<std::size_t, ChartMarkKind>> marks;
    for (const ChartMark& mark : chart->marks) {
        marks.emplace_back(mark.bar, mark.kind);
    }
    using enum ChartMarkKind;
    EXPECT_EQ(marks, (std::vector<std::pair<std::size_t, ChartMarkKind>>{
                         {2, Buy}, {3, Sell}, {4, Buy}, {5, Buy}, {5, Sell}, {6, Sell}}));
}

TEST_F(ChartDataTest, SaysWhyAChartCannotBeMade) {
    RunContext run = RunOf(kCloseOverMa, settings_);
    run.databaseFolder = folder_.path();
    const Result<ChartData> missing = LoadChartData(run, "NOPE", 0);
    ASSERT_FALSE(missing.ok());
    EXPECT_EQ(missing.problem().kind, ProblemKind::BadInput);
    EXPECT_NE(missing.problem().what.find("NOPE"), std::string::npos);

    test::TempFolder empty;
    run.databaseFolder = empty.path();
    EXPECT_FALSE(LoadChartData(run, "HAND", 0).ok());

    run.databaseFolder = folder_.path();
    run.formulaText = "Filter = Close >\r\n;";
    const Result<ChartData> unread = LoadChartData(run, "HAND", 0);
    ASSERT_FALSE(unread.ok());
    EXPECT_EQ(unread.problem().where.line, 2u);
}

TEST_F(ChartDataTest, APaneShowsTheValuesOfItsVisibleBars) {
    RunContext run = RunOf(std::string(kCloseOverMa) + "," +
                               R"j({"joiner": "AND", "indicator1": "RSI", "bars1": 0,
                                   "comparison": "is less than", "target": "Value",
                                   "value": 130})j",
                           settings_);
    run.databaseFolder = folder_.path();
    Result<ChartData> chart = LoadChartData(run, "HAND", 0);
    ASSERT_TRUE(chart.ok()) << chart.problem().Message();
    // Bars 0 and 1: the candles' 9.5 to 11.5. The average starts on bar 2.
    const std::optional<PaneRange> early = VisibleRange(*chart, ChartPane::Price, -1, 0, 1);
    ASSERT_TRUE(early);
    EXPECT_EQ(early->low, 9.5);
    EXPECT_EQ(early->high, 11.5);
    // A line outside the candles widens the range: move the average's value on bar 3 away.
    chart->lines[1].points[1].value = 20;
    EXPECT_EQ(VisibleRange(*chart, ChartPane::Price, -1, 3, 4)->high, 20);
    EXPECT_EQ(VisibleRange(*chart, ChartPane::Price, -1, 5, 6)->high, 14.2);
    // Volume from 0; a last bar beyond the series is cut to it.
    const std::optional<PaneRange> volume = VisibleRange(*chart, ChartPane::Volume, -1, 5, 99);
    EXPECT_EQ(volume->low, 0);
    EXPECT_EQ(volume->high, 700);
    // RSI shows its whole 0 to 100 and the level of 130 the row compares with.
    const std::optional<PaneRange> rsi = VisibleRange(*chart, ChartPane::Own, 0, 0, 6);
    EXPECT_EQ(rsi->low, 0);
    EXPECT_EQ(rsi->high, 130);
    EXPECT_FALSE(VisibleRange(*chart, ChartPane::Own, 1, 0, 6));
    EXPECT_FALSE(VisibleRange(ChartData{}, ChartPane::Price, -1, 0, 6));
}

} // namespace
} // namespace marlindex
