// Why a symbol passed or is missing, on the hand-made database of tests/quotes/data/tiny:
//   AAA closes 10 11 11 10 12 (2024-01-02 .. 01-08), BBB 20 19 21 (01-03, 01-04, 01-08),
//   CCC 5 4 6 (01-02 .. 01-04); AAA and BBB are NYSE, CCC NASDAQ.
#include "results/WhyItPassed.h"

#include "afl/Formula.h"
#include "quotes/QuoteStore.h"
#include "results/WhyPanelState.h"
#include "support/QuoteFixtures.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

TradeDate Day(const char* iso) {
    return *ParseIsoDate(iso);
}

ConditionRecord Row(std::string joiner, int left, std::string code1, std::string code2, int right,
                    std::string_view description) {
    ConditionRecord record;
    record.rowText = RowDisplayText(joiner, joiner.empty(), left, description, right);
    record.joiner = std::move(joiner);
    record.leftBrackets = static_cast<std::int16_t>(left);
    record.rightBrackets = static_cast<std::int16_t>(right);
    record.codePart1 = std::move(code1);
    record.codePart2 = std::move(code2);
    return record;
}

std::vector<WhyValue> Values(const WhyReport& report) {
    std::vector<WhyValue> values;
    for (const WhyLine& line : report.rows) {
        values.push_back(line.value);
    }
    return values;
}

class WhyItPassedTest : public ::testing::Test {
protected:
    void SetUp() override {
        // The tiny database and DDD, a symbol of the symbols file without a single bar.
        const std::string symbols =
            test::ReadBytes(test::QuoteFixture("tiny/symbols.csv")) + "DDD,Delta,NYSE,,,,\n";
        test::WriteBytes(folder_ / "symbols.csv", symbols);
        test::ImportOrFail(folder_.path(),
                           {folder_ / "symbols.csv", {test::QuoteFixture("tiny/prices")}});
    }

    // The run as the results window would keep it: the formula really run over the store.
    RunContext Run(ConditionRecordList records, const std::string& formula,
                   AnalysisRequest request = {AnalysisMode::Explore, {}, {}, 1},
                   std::string filter = {}) {
        RunContext run;
        run.databaseFolder = folder_.path();
        run.formulaText = formula;
        run.records = std::move(records);
        run.filterApplies = !filter.empty();
        run.filterExpression = std::move(filter);
        run.request = request;
        Result<QuoteStore> store = QuoteStore::Open(folder_.path());
        EXPECT_TRUE(store.ok());
        Result<AnalysisResults> results =
            RunAnalysis(afl::Formula::Parse(formula), *store, request);
        EXPECT_TRUE(results.ok()) << (results.ok() ? "" : results.problem().Message());
        run.results = std::move(*results);
        return run;
    }

    // Close above 10 and its three-day average above 10: AAA passes on 01-04 and 01-08, BBB
    // on 01-08, CCC never.
    RunContext TwoRows(AnalysisRequest request = {AnalysisMode::Explore, {}, {}, 1}) {
        return Run({Row("", 0, "Close", "> 10", 0, "Close is greater than 10"),
                    Row("AND", 0, "MA( Close, 3 )", "> 10", 0, "MA (3) is greater than 10")},
                   "Filter = Close > 10\r\nAND MA( Close, 3 ) > 10;\r\nAddColumn( Close, "
                   "\"Close  \" );",
                   request);
    }

    test::TempFolder folder_;
};

TEST_F(WhyItPassedTest, APassingBarHasEveryRowTrue) {
    const RunContext run = TwoRows();
    ASSERT_EQ(run.results.rows.size(), 3u);
    const WhyReport report = ExplainBar(run, "AAA", Day("2024-01-04"));
    EXPECT_EQ(report.subject, WhySubject::Passed);
    EXPECT_EQ(report.Heading(), "Why AAA passed on 2024-01-04");
    EXPECT_EQ(report.rows[1].description, "MA (3) is greater than 10");
    EXPECT_EQ(Values(report), (std::vector{WhyValue::True, WhyValue::True}));
    EXPECT_FALSE(report.filter);
    ASSERT_EQ(report.formula.size(), 1u);
    EXPECT_EQ(report.formula[0].name, "Filter");
    EXPECT_EQ(report.formula[0].value, WhyValue::True);
}

TEST_F(WhyItPassedTest, AFailingBarMarksTheRowThatFailedAndNullBeforeTheIndicatorHasHistory) {
    const RunContext run = TwoRows();
    // 01-05: the close fell to 10 while the average stayed above.
    WhyReport report = ExplainBar(run, "AAA", Day("2024-01-05"));
    EXPECT_EQ(report.subject, WhySubject::DidNotPass);
    EXPECT_EQ(report.Heading(), "Why AAA did not pass on 2024-01-05");
    EXPECT_EQ(Values(report), (std::vector{WhyValue::False, WhyValue::True}));
    EXPECT_EQ(report.formula[0].value, WhyValue::False);
    // 01-03: two bars are too few for a three-day average.
    report = ExplainBar(run, "AAA", Day("2024-01-03"));
    EXPECT_EQ(Values(report), (std::vector{WhyValue::True, WhyValue::NoValue}));
    EXPECT_EQ(report.formula[0].value, WhyValue::NoValue);
    // BBB's history starts later, so its average has no value on its second bar either.
    report = ExplainBar(run, "BBB", Day("2024-01-04"));
    EXPECT_EQ(Values(report), (std::vector{WhyValue::True, WhyValue::NoValue}));
}

TEST_F(WhyItPassedTest, BracketsAndOrAreShownApartFromTheWordsInAScan) {
    const RunContext run = Run({Row("", 1, "Close", "> 11", 0, "Close is greater than 11"),
                                Row("OR", 0, "Close", "< 5", 1, "Close is less than 5"),
                                Row("AND", 0, "Volume", "> 150", 0, "Volume is greater than 150")},
                               "Buy = (Close > 11\r\nOR Close < 5)\r\nAND Volume > 150;",
                               {AnalysisMode::Scan, {}, {}, 1});
    WhyReport report = ExplainBar(run, "AAA", Day("2024-01-08"));
    EXPECT_EQ(report.subject, WhySubject::Passed);
    ASSERT_EQ(report.rows.size(), 3u);
    EXPECT_EQ(report.rows[0].description, "Close is greater than 11");
    EXPECT_EQ(report.rows[0].leftBrackets, 1);
    EXPECT_EQ(report.rows[1].description, "Close is less than 5");
    EXPECT_EQ(report.rows[1].joiner, "OR");
    EXPECT_EQ(report.rows[1].rightBrackets, 1);
    EXPECT_EQ(Values(report), (std::vector{WhyValue::True, WhyValue::False, WhyValue::True}));
    ASSERT_EQ(report.formula.size(), 1u);
    EXPECT_EQ(report.formula[0].name, "Buy");
    EXPECT_EQ(report.formula[0].value, WhyValue::True);
    // CCC on 01-03 passes through the other side of the OR.
    report = ExplainBar(run, "CCC", Day("2024-01-03"));
    EXPECT_EQ(report.subject, WhySubject::DidNotPass); // volume 20
    EXPECT_EQ(Values(report), (std::vector{WhyValue::False, WhyValue::True, WhyValue::False}));
}

TEST_F(WhyItPassedTest, TheFilterExpressionAndTheMarketsBreadthAreJudgedForTheSymbol) {
    const std::string filter = "( MarketID(1) == \"NYSE\" )";
    const RunContext run = Run({Row("", 0, "Close", "> 5", 0, "Close is greater than 5"),
                                Row("AND", 0, "ADLine()", "> 0", 0, "A/D line is above 0")},
                               "Filter = " + filter + "\r\nAND Close > 5\r\nAND ADLine() > 0;",
                               {AnalysisMode::Explore, {}, {}, 1}, filter);
    // CCC is NASDAQ: its rows hold on its last bar, the filter keeps it out.
    WhyReport report = ExplainSymbol(run, "CCC");
    EXPECT_EQ(report.subject, WhySubject::Missing);
    ASSERT_TRUE(report.filter);
    EXPECT_EQ(report.filter->value, WhyValue::False);
    EXPECT_EQ(report.rows[0].value, WhyValue::True);
    EXPECT_EQ(report.formula[0].value, WhyValue::False);
    // AAA is NYSE, whose advances lead its declines by one on 01-08.
    report = ExplainBar(run, "AAA", Day("2024-01-08"));
    EXPECT_EQ(report.subject, WhySubject::Passed);
    EXPECT_EQ(report.filter->value, WhyValue::True);
    EXPECT_EQ(Values(report), (std::vector{WhyValue::True, WhyValue::True}));
    // A run that did not apply to the filter has no filter to explain.
    RunContext unfiltered = run;
    unfiltered.filterApplies = false;
    EXPECT_FALSE(ExplainBar(unfiltered, "AAA", Day("2024-01-08")).filter);
}

TEST_F(WhyItPassedTest, ARowThatCannotBeEvaluatedIsShownWithItsMessageAndUnfinishedRowsAddNothing) {
    const RunContext run = Run({Row("", 0, "Close", "> 10", 0, "Close is greater than 10"),
                                Row("AND", 0, "", "", 0, ""),
                                Row("AND", 0, "Close", "> Nowhere( 3 )", 0, "Close is above it")},
                               "Filter = Close > 10;");
    const WhyReport report = ExplainBar(run, "AAA", Day("2024-01-08"));
    EXPECT_EQ(Values(report),
              (std::vector{WhyValue::True, WhyValue::Unfinished, WhyValue::Failed}));
    EXPECT_NE(report.rows[2].message.find("Nowhere"), std::string::npos) << report.rows[2].message;
    EXPECT_EQ(report.formula[0].value, WhyValue::True);
}

TEST_F(WhyItPassedTest, SaysWhyASymbolHasNoRows) {
    RunContext run = TwoRows();
    // CCC never passed: its last bar, where both rows fail.
    WhyReport report = ExplainSymbol(run, "CCC");
    EXPECT_EQ(report.subject, WhySubject::Missing);
    EXPECT_EQ(report.Heading(), "Why CCC is missing (last bar 2024-01-04)");
    EXPECT_EQ(Values(report), (std::vector{WhyValue::False, WhyValue::False}));
    // A symbol with rows is explained on its latest one.
    report = ExplainSymbol(run, "AAA");
    EXPECT_EQ(report.subject, WhySubject::Passed);
    EXPECT_EQ(report.date, Day("2024-01-08"));

    EXPECT_EQ(ExplainSymbol(run, "ZZZ").Heading(), "ZZZ is not in the database");
    EXPECT_EQ(ExplainSymbol(run, "DDD").subject, WhySubject::NoBars);
    EXPECT_EQ(ExplainBar(run, "BBB", Day("2024-01-05")).Heading(), "BBB has no bar on 2024-01-05");

    // On the last trading day alone, CCC, whose data ends two days earlier, could not report.
    run = TwoRows({AnalysisMode::Explore, {RangeMode::LastDays, 1}, {}, 1});
    report = ExplainSymbol(run, "CCC");
    EXPECT_FALSE(report.inRange);
    EXPECT_EQ(report.Heading(), "Why CCC is missing (last bar 2024-01-04, before the run's range)");
    EXPECT_EQ(ExplainSymbol(run, "AAA").subject, WhySubject::Passed);
    EXPECT_EQ(ExplainBar(run, "AAA", Day("2024-01-04")).Heading(),
              "Why AAA did not pass on 2024-01-04 (before the run's range)");

    run = TwoRows({AnalysisMode::Explore, {}, std::string("AAA"), 1});
    EXPECT_EQ(ExplainSymbol(run, "BBB").Heading(), "BBB was not in the run: it ran on AAA alone");

    // A run cancelled after AAA never came to the symbols after it.
    run = TwoRows();
    run.results.cancelled = true;
    run.results.symbolsRun = 1;
    EXPECT_EQ(ExplainSymbol(run, "CCC").subject, WhySubject::NotReached);

    run.databaseFolder = folder_ / "elsewhere";
    EXPECT_EQ(ExplainSymbol(run, "AAA").subject, WhySubject::NoQuotes);
}

TEST_F(WhyItPassedTest, ThePanelExplainsATypedSymbolInAnyLetterCase) {
    WhyPanelState panel;
    EXPECT_FALSE(panel.btnExplainEnabled());
    panel.SetRun(std::make_shared<const RunContext>(TwoRows()));
    EXPECT_EQ(panel.Symbols(), (std::vector<std::string>{"AAA", "BBB", "CCC", "DDD"}));
    panel.txtSymbol_Change("  ");
    EXPECT_FALSE(panel.btnExplainEnabled());
    panel.txtSymbol_Change(" ccc ");
    panel.btnExplain_Click();
    EXPECT_EQ(panel.txtSymbol(), "CCC");
    EXPECT_EQ(panel.Heading(), "Why CCC is missing (last bar 2024-01-04)");
    panel.ShowRow("AAA", Day("2024-01-04"));
    EXPECT_EQ(panel.Heading(), "Why AAA passed on 2024-01-04");
    // A new run clears what the panel explained about the old one.
    panel.SetRun(std::make_shared<const RunContext>(TwoRows()));
    EXPECT_FALSE(panel.Report());
}

} // namespace
} // namespace marlindex
