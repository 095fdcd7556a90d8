#include "formula/Assembly.h"

#include "formula/ConditionRecord.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

const std::string kColumns = "AddColumn( Close, \"Close  \" );\r\n"
                             "AddColumn( Open, \"Open  \" );\r\n"
                             "AddColumn( High, \"High  \" );\r\n"
                             "AddColumn( Low, \"Low  \" );\r\n"
                             "AddColumn( Volume, \"Volume      \" );";
const std::string kCode = "RSIa( Close, 14 ) < 30";
const std::string kFilter = "( MarketID( 1 ) == 0 )";

TEST(AssembleFormula, EachAnalysisTypeWithAndWithoutFilter) {
    EXPECT_EQ(AssembleFormula(kCode, "", kApplyToAll, AnalysisType::Exploration),
              "Filter = " + kCode + ";\r\n" + kColumns);
    EXPECT_EQ(AssembleFormula(kCode, kFilter, kApplyToFilter, AnalysisType::Exploration),
              "Filter = " + kFilter + "\r\nAND " + kCode + ";\r\n" + kColumns);
    EXPECT_EQ(AssembleFormula(kCode, kFilter, kApplyToFilter, AnalysisType::BuyScan),
              "Buy = " + kFilter + "\r\nAND " + kCode + ";");
    EXPECT_EQ(AssembleFormula(kCode, "", kApplyToFilter, AnalysisType::SellScan),
              "Sell = " + kCode + ";")
        << "an empty filter is left out even when the filter is chosen";
    EXPECT_EQ(AssembleFormula(kCode, kFilter, kApplyToCurrent, AnalysisType::BuyScan),
              "Buy = " + kCode + ";")
        << "the filter counts only when the run applies to it";
}

TEST(AssembleFormula, EmptyOrBlankCodeGivesAnEmptyFormula) {
    for (const AnalysisType type :
         {AnalysisType::Exploration, AnalysisType::BuyScan, AnalysisType::SellScan}) {
        EXPECT_EQ(AssembleFormula("", kFilter, kApplyToFilter, type), "");
        EXPECT_EQ(AssembleFormula("   ", kFilter, kApplyToFilter, type), "");
    }
    EXPECT_EQ(AssembleFormula("  " + kCode + "  ", "", kApplyToAll, AnalysisType::BuyScan),
              "Buy = " + kCode + ";");
}

TEST(AssembleFormula, SeveralRowsKeepTheirLines) {
    ConditionRecordList records(2);
    records[0].codePart1 = "RSIa( Close, 14 )", records[0].codePart2 = "< 30";
    records[1].joiner = "OR", records[1].codePart1 = "MFI( 14 )", records[1].codePart2 = "> 80";
    EXPECT_EQ(AssembleFormula(BuildConditionCode(records, 2), kFilter, kApplyToFilter,
                              AnalysisType::BuyScan),
              "Buy = " + kFilter + "\r\nAND RSIa( Close, 14 ) < 30\r\nOR MFI( 14 ) > 80;");
}

ConditionRecord Row(std::string joiner, std::string part1, std::string part2, int left = 0,
                    int right = 0) {
    ConditionRecord record;
    record.joiner = std::move(joiner);
    record.codePart1 = std::move(part1);
    record.codePart2 = std::move(part2);
    record.leftBrackets = static_cast<std::int16_t>(left);
    record.rightBrackets = static_cast<std::int16_t>(right);
    return record;
}

TEST(ConditionCode, BracketsJoinersAndEmptyRows) {
    EXPECT_EQ(BracketText(3, 'L'), "(((");
    EXPECT_EQ(BracketText(2, 'R'), "))");
    EXPECT_EQ(BracketText(0, 'L'), "");

    const ConditionRecordList records = {
        Row("", "A", "> 1", 1),
        Row("AND", "", "", 2, 2), // an empty row: nothing, not even its brackets
        Row("OR", "B", "< 2", 0, 1),
        Row("AND", "", "Cross( X, Y )"),
    };
    EXPECT_EQ(BuildConditionCode(records, 4), "(A > 1\r\nOR B < 2)\r\nAND Cross( X, Y )");
    EXPECT_EQ(BuildConditionCode(records, 1), "(A > 1") << "only the rows in use count";
    EXPECT_EQ(BuildConditionCode({Row("", "", "", 1, 1), Row("AND", "B", "< 2")}, 2),
              "()\r\nAND B < 2")
        << "the first row's brackets are written even when it is empty";
    EXPECT_EQ(BuildConditionCode(records, 9), BuildConditionCode(records, 4))
        << "a count beyond the records is safe";
}

TEST(ConditionCode, RebuildAfterRemovalLeadsWithALineBreak) {
    const ConditionRecordList records = {Row("", "A", "> 1"), Row("AND", "", ""),
                                         Row("OR", "B", "< 2")};
    const std::string code = RebuildConditionCode(records, 3);
    EXPECT_EQ(code, "\r\n A > 1\r\nOR B < 2");
    EXPECT_EQ(AssembleFormula(code, "", kApplyToAll, AnalysisType::BuyScan),
              "Buy = \r\n A > 1\r\nOR B < 2;")
        << "only blanks are trimmed, so the line break stays";
    EXPECT_EQ(RebuildConditionCode({Row("", "", "", 1, 1)}, 1), "");
}

TEST(ConditionRecord, KeepsTheEditorStateForReloading) {
    EditorState state;
    state.indicator1 = 7, state.option1 = "Weighted", state.tp1 = 3;
    state.modify1On = true, state.modify1Operation = kModifyDivide, state.modify1 = 2;
    state.comparison = 4, state.comparisonType = kTargetIndicator;
    state.indicator2 = 14, state.option2 = "Low", state.tp2 = 0;
    state.modify2On = true, state.modify2Operation = kModifyIncrease, state.modify2 = 1.5;
    state.modify2Unit = kUnitPercent, state.value1 = -2;
    ConditionRecord record;
    StoreEditorState(record, state);
    EXPECT_EQ(EditorStateOf(record), state);
    EXPECT_EQ(record.modify1On, 1);
    EXPECT_EQ(record.comparisonId, 4);
    EXPECT_EQ(RowDisplayText("OR", false, 2, "words", 1), "OR ((words)");
    EXPECT_EQ(RowDisplayText("AND", true, 0, "words", 0), "words");
}

} // namespace
} // namespace marlindex
