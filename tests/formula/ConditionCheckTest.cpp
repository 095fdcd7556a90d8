// The checks that name what a row lacks: each unfinished form the editor can hold, values an
// oscillator never reaches, brackets across rows, and finding a row's line in the formula.
#include "formula/ConditionCheck.h"

#include "formula/ConditionEditor.h"
#include "settings/MemoryHive.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

EditorState RsiAgainstValue(double value) {
    EditorState s;
    s.indicator1 = 16, s.comparison = 3, s.comparisonType = kTargetValue, s.value1 = value;
    return s;
}

EditorState ShortCrossesLong() {
    EditorState s;
    s.indicator1 = 7, s.option1 = "Simple", s.comparison = 0, s.comparisonType = kTargetIndicator;
    s.indicator2 = 9, s.option2 = "Simple", s.tp1 = 3;
    return s;
}

TEST(ConditionGap, NamesTheFirstPartMissing) {
    EXPECT_EQ(ConditionGap(RsiAgainstValue(30)), "");
    EXPECT_EQ(ConditionGap(ShortCrossesLong()), "");

    EditorState s;
    EXPECT_EQ(ConditionGap(s), "no indicator is chosen");
    s.indicator1 = 12; // OBV, as the row "AND OBV of the current bar" was left
    EXPECT_EQ(ConditionGap(s), "no comparison is chosen");
    s.comparison = 3;
    EXPECT_EQ(ConditionGap(s),
              "it is not chosen whether it is compared with an indicator or a value");
    s.comparisonType = kTargetIndicator;
    EXPECT_EQ(ConditionGap(s), "no second indicator is chosen");
    s.indicator2 = 12;
    EXPECT_EQ(ConditionGap(s), "");
    s.modify2On = true;
    EXPECT_EQ(ConditionGap(s), "indicator 2 is to be modified, but not how");

    EditorState crossing = ShortCrossesLong();
    crossing.indicator2.reset(); // a crossing compares with an indicator without a list choice
    EXPECT_EQ(ConditionGap(crossing), "no second indicator is chosen");
    crossing = ShortCrossesLong();
    crossing.modify1On = true;
    EXPECT_EQ(ConditionGap(crossing), "indicator 1 is to be modified, but not how");

    EditorState value = RsiAgainstValue(30);
    value.tp2 = 0;
    EXPECT_EQ(ConditionGap(value), "the value drops out of the formula because its 2nd bar is 0");

    // Lowest/highest have no target list: over a period they need nothing more.
    EditorState lowest;
    lowest.indicator1 = 24, lowest.comparison = 10, lowest.tp1 = 20;
    EXPECT_EQ(ConditionGap(lowest), "");
}

TEST(ValueWarning, OnlyForAValueTheUnmodifiedIndicatorNeverReaches) {
    EXPECT_EQ(ValueWarning(RsiAgainstValue(251)),
              "RSI lies between 0 and 100, so comparing it with 251 gives the same answer on "
              "every bar");
    EXPECT_NE(ValueWarning(RsiAgainstValue(-5)), "");
    EXPECT_EQ(ValueWarning(RsiAgainstValue(100)), "");
    EXPECT_EQ(ValueWarning(RsiAgainstValue(0)), "");

    EditorState modified = RsiAgainstValue(251);
    modified.modify1On = true, modified.modify1Operation = kModifyIncrease, modified.modify1 = 200;
    EXPECT_EQ(ValueWarning(modified), "") << "RSI + 200 may well be above 251";
    EditorState cci = RsiAgainstValue(251);
    cci.indicator1 = 3;
    EXPECT_EQ(ValueWarning(cci), "") << "the CCI has no bounds";
    EditorState toIndicator = ShortCrossesLong();
    toIndicator.value1 = 1e9;
    EXPECT_EQ(ValueWarning(toIndicator), "") << "the value is not part of this comparison";

    // "Highest it has been" compares with the value on the current bar only.
    EditorState highest;
    highest.indicator1 = 24, highest.comparison = 11, highest.value1 = 120;
    EXPECT_NE(ValueWarning(highest), "");
    highest.tp1 = 20;
    EXPECT_EQ(ValueWarning(highest), "");
}

// Rows written as the editor writes them, with brackets set afterwards.
class CheckRowsTest : public ::testing::Test {
protected:
    void Write(const EditorState& state, const char* joiner = "AND") {
        editor.Condition() = state;
        const ConditionTranslation t = editor.Translate();
        ++rows;
        editor.Store(rows, false, 0, joiner, t, editor.RowText(rows - 1, joiner, t));
        editor.BuildCode(rows);
    }
    void Brackets(int row, int left, int right) {
        editor.SetBrackets(row, left, right);
        editor.BuildCode(rows);
    }
    std::vector<RowIssue> Check(int count = -1) const {
        return CheckRows(editor.Records(), count < 0 ? rows : count);
    }

    MemoryHive hive;
    CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    ConditionEditor editor{settings};
    int rows = 0;
};

TEST_F(CheckRowsTest, UnfinishedRowsAndValuesAreNamedByRow) {
    Write(RsiAgainstValue(30));
    EditorState obv;
    obv.indicator1 = 12;
    Write(obv);
    Write(RsiAgainstValue(251), "OR");
    const std::vector<RowIssue> expected{
        {1, RowIssueKind::Unfinished, "no comparison is chosen"},
        {2, RowIssueKind::Value,
         "RSI lies between 0 and 100, so comparing it with 251 gives the same answer on every "
         "bar"},
        {3, RowIssueKind::Unfinished, "no indicator is chosen"}};
    // Row 3 is a new row started with AND or OR that has no record yet.
    EXPECT_EQ(Check(4), expected);
    EXPECT_EQ(editor.ConditionCode().find("OBV"), std::string::npos)
        << "the unfinished row is in the grid but not in the formula";
}

TEST_F(CheckRowsTest, APlaceholderLeftInTheCodeIsUnfinished) {
    Write(RsiAgainstValue(30));
    ConditionRecordList records = editor.Records();
    records[0].codePart2 = "< Ref( Array2, -1 )"; // as an older release stored it
    const auto issues = CheckRows(records, 1);
    ASSERT_EQ(issues.size(), 1U);
    EXPECT_EQ(issues[0].text, "its formula still holds the placeholder Array2");
}

TEST_F(CheckRowsTest, BracketsAreMatchedAcrossTheRowsThatWriteCode) {
    for (int i = 0; i < 4; ++i) {
        Write(RsiAgainstValue(30 + i));
    }
    Brackets(0, 1, 0);
    Brackets(2, 0, 1);
    EXPECT_TRUE(Check().empty()) << "( on row 1 closed on row 3";

    Brackets(1, 2, 0);
    Brackets(3, 0, 2);
    EXPECT_TRUE(Check().empty()) << "nested";

    Brackets(3, 0, 3);
    const std::vector<RowIssue> oneTooMany{
        {3, RowIssueKind::Brackets, "it closes a bracket that no row before it opens"}};
    EXPECT_EQ(Check(), oneTooMany);

    Brackets(3, 0, 0);
    const std::vector<RowIssue> neverClosed{
        {0, RowIssueKind::Brackets, "it opens a bracket that no row after it closes"},
        {1, RowIssueKind::Brackets, "it opens a bracket that no row after it closes"}};
    EXPECT_EQ(Check(), neverClosed);
}

TEST_F(CheckRowsTest, BracketsOfALaterRowWithoutCodeAreNotInTheFormula) {
    Write(RsiAgainstValue(30));
    EditorState unfinished;
    unfinished.indicator1 = 12;
    Write(unfinished);
    Brackets(0, 1, 0);
    Brackets(1, 0, 1); // would close row 1's bracket, but the row writes nothing
    const std::vector<RowIssue> expected{
        {0, RowIssueKind::Brackets, "it opens a bracket that no row after it closes"},
        {1, RowIssueKind::Unfinished, "no comparison is chosen"}};
    EXPECT_EQ(Check(), expected);
}

TEST_F(CheckRowsTest, EachRowIsFoundOnItsLineOfTheFormula) {
    Write(RsiAgainstValue(30));
    EditorState obv;
    obv.indicator1 = 12;
    Write(obv); // writes no line
    Write(ShortCrossesLong(), "OR");
    const std::string filter = "( MarketID() == 1 )\r\nAND NOT InWatchList( 5 )";
    const std::string formula = editor.Assemble(filter, kApplyToFilter, AnalysisType::Exploration);
    ASSERT_TRUE(formula.starts_with(
        "Filter = ( MarketID() == 1 )\r\nAND NOT InWatchList( 5 )\r\nAND RSIa( Close, 14 ) < 30"))
        << formula;
    const auto rowOf = [&](int line) {
        return RowOfFormulaLine(formula, filter, editor.Records(), rows, line);
    };
    EXPECT_EQ(rowOf(1), std::nullopt);
    EXPECT_EQ(rowOf(2), std::nullopt) << "the filter's second line";
    EXPECT_EQ(rowOf(3), 0);
    EXPECT_EQ(rowOf(4), 2);
    EXPECT_EQ(rowOf(5), std::nullopt) << "the first AddColumn";

    // After a removal the code starts on a line of its own.
    editor.RemoveRow(1, 2, editor.Records()[0].rowText);
    const std::string rebuilt = editor.Assemble("", 0, AnalysisType::BuyScan);
    ASSERT_TRUE(rebuilt.starts_with("Buy = \r\n RSIa")) << rebuilt;
    EXPECT_EQ(RowOfFormulaLine(rebuilt, "", editor.Records(), 2, 2), 0);
    EXPECT_EQ(RowOfFormulaLine(rebuilt, "", editor.Records(), 2, 3), 1);
}

} // namespace
} // namespace marlindex
