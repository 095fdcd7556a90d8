#include "scanfile/ScanFile.h"

#include "settings/MemoryHive.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

std::string ErrorOf(const std::string& json) {
    const Result<ParsedScan> parsed = ParseScan(json);
    return parsed ? "(accepted)" : parsed.problem().Message();
}

// A scan file that must read.
ParsedScan Parse(const std::string& json) {
    Result<ParsedScan> parsed = ParseScan(json);
    EXPECT_TRUE(parsed) << parsed.problem().Message();
    return parsed ? std::move(parsed).value() : ParsedScan{};
}

std::string Rows(const std::string& rows) {
    return R"j({"rows": [)j" + rows + "]}";
}

TEST(ParseScan, FillsDefaultsAsTheEditorWould) {
    const ParsedScan parsed = Parse(Rows(R"j(
        {"indicator1": "ma (short)", "comparison": "crosses above", "indicator2": 9},
        {"indicator1": 16, "comparison": 10, "joiner": "or"})j"));
    const Scan& scan = parsed.scan;
    EXPECT_EQ(scan.analysis, AnalysisType::Exploration);
    EXPECT_EQ(scan.applyTo, kApplyToAll);
    EXPECT_EQ(scan.range, kRangeLastBars);
    EXPECT_EQ(scan.rangeN, 1);
    ASSERT_EQ(scan.rows.size(), 2u);
    const EditorState& first = scan.rows[0].state;
    EXPECT_EQ(first.indicator1, 7);
    EXPECT_EQ(first.option1, "Simple") << "the first option, as the editor selects it";
    EXPECT_EQ(first.comparisonType, kTargetIndicator);
    EXPECT_EQ(first.option2, "Simple");
    EXPECT_EQ(first.tp1, 0);
    EXPECT_EQ(first.tp2, 1);
    EXPECT_FALSE(first.modify1On || first.modify2On);
    EXPECT_EQ(scan.rows[1].joiner, "OR");
    EXPECT_EQ(scan.rows[1].state.comparisonType, "") << "lowest/highest have no target list";
    EXPECT_TRUE(parsed.warnings.empty());
}

TEST(ParseScan, FilterKeepsCrLfLineBreaks) {
    const Scan scan = Parse(R"j({"applyTo": "filter", "filter": "( a\n OR b\r\n)"})j").scan;
    EXPECT_EQ(scan.filter, "( a\r\n OR b\r\n)");
    EXPECT_EQ(scan.applyTo, kApplyToFilter);
}

TEST(ParseScan, BadInputIsNamedByRowAndField) {
    const std::pair<std::string, std::string> cases[] = {
        {R"j({"rows": [], "nmae": "x"})j", "field \"nmae\": unknown field"},
        {Rows(R"j({"indicator1": "RSI", "comparison": 3, "target": "Value", "vlaue": 3})j"),
         "row 1, field \"vlaue\": unknown field"},
        {Rows(R"j({"indicator1": "RSI", "comparison": 3, "target": "Value",
                  "modify1": {"op": "Increase", "amout": 1}})j"),
         "row 1, field \"modify1\".amout: unknown field"},
        {Rows(R"j({"indicator1": "RSI", "comparison": 3, "target": "Value", "bars1": "3"})j"),
         "row 1, field \"bars1\": must be a whole number"},
        {Rows(R"j({"indicator1": "RSI", "comparison": 3, "target": "Value", "bars1": 1.5})j"),
         "row 1, field \"bars1\": must be a whole number"},
        {Rows(R"j({"indicator1": "RSI", "comparison": 3, "target": "Value", "bars1": -1})j"),
         "row 1, field \"bars1\": is out of range"},
        {Rows(R"j({"indicator1": "RSX", "comparison": 3})j"),
         "row 1, field \"indicator1\": unknown indicator \"RSX\""},
        {Rows(R"j({"indicator1": 40, "comparison": 3})j"),
         "row 1, field \"indicator1\": is out of range"},
        {Rows(R"j({"indicator1": "RSI", "comparison": "is above"})j"),
         "row 1, field \"comparison\": unknown comparison"},
        {Rows(R"j({"indicator1": "RSI", "comparison": "crosses above"})j"),
         "row 1, field \"comparison\": \"crosses above\" is not offered for RSI"},
        {Rows(
             R"j({"indicator1": "RSI", "comparison": 3, "target": "Indicator", "indicator2": "MACD"})j"),
         "row 1, field \"indicator2\": MACD cannot be compared with RSI"},
        {Rows(
             R"j({"indicator1": "RSI", "option1": "Simple", "comparison": 3, "target": "Value"})j"),
         "row 1, field \"option1\": RSI has no options"},
        {Rows(
             R"j({"indicator1": "MA (Long)", "option1": "Close", "comparison": 3, "target": "Value"})j"),
         "row 1, field \"option1\": \"Close\" is not an option of MA (Long)"},
        {Rows(R"j({"indicator1": "RSI", "comparison": 3, "target": "Value", "open": 32768})j"),
         "row 1, field \"open\": is out of range"},
        {Rows(R"j({"indicator1": "RSI", "comparison": "has equalled", "target": "Indicator"})j"),
         "row 1, field \"target\": \"has equalled\" compares with a value only"},
        {Rows(R"j({"indicator1": "MACD", "comparison": 0, "target": "Value"})j"),
         "row 1, field \"target\": \"crosses above\" compares with an indicator only"},
        {Rows(R"j({"comparison": 3})j"), "row 1, field \"comparison\": needs \"indicator1\""},
        {Rows(R"j({"indicator1": "RSI", "target": "Value"})j"),
         "row 1, field \"target\": needs \"comparison\""},
        {Rows(R"j({"indicator1": "RSI", "comparison": 3, "target": "Value",
                  "modify2": {"op": "Double", "amount": 1}})j"),
         "row 1, field \"modify2\".op: \"Double\" is not one of"},
        {Rows(R"j({"indicator1": "RSI", "comparison": 3, "target": "Value", "value": "30"})j"),
         "row 1, field \"value\": must be a number"},
        {Rows(R"j({"indicator1": "RSI", "comparison": 3, "target": "Value"}, 7)j"),
         "row 2: must be an object"},
        {R"j({"analysis": "scan"})j", "field \"analysis\": \"scan\" is not one of"},
        {"[1, 2]", "a scan file must hold one JSON object"},
        {"{\n  \"rows\": [\n    {\"indicator1\": \"RSI\",,}\n  ]\n}", "line 3, column"},
    };
    for (const auto& [json, expected] : cases) {
        EXPECT_NE(ErrorOf(json).find(expected), std::string::npos)
            << json << "\n  gave: " << ErrorOf(json) << "\n  expected: " << expected;
    }
}

// What the editor can hold is read, with a warning where the formula comes out odd, so that
// every formula the library holds can be written as a scan file and generated again.
TEST(ParseScan, ReadsOddConditionsTheEditorCanHoldWithAWarning) {
    const ParsedScan parsed = Parse(Rows(
        R"j({"indicator1": "RSI", "comparison": 3, "target": "Indicator"},
           {"indicator1": "RSI", "comparison": 3, "target": "Value", "indicator2": "RSI"},
           {"indicator1": "RSI", "comparison": "is equal to", "target": "Value", "bars2": 0,
            "value": 30},
           {"indicator1": "RSI", "comparison": "is less than", "value": 30},
           {"indicator1": "MFI", "bars2": 1},
           {"joiner": "OR", "value": 3})j"));
    const std::string expected[] = {
        "row 1: the target is \"Indicator\" but no \"indicator2\"",
        "row 2: \"indicator2\" is given while the target is",
        "row 3: \"bars2\" is 0 while the target is \"Value\"",
        "row 4: no \"target\" is given for \"is less than\"",
        "row 5: no \"comparison\" is given; the row is unfinished",
        "row 6: no \"indicator1\" is given; the row is unfinished",
    };
    ASSERT_EQ(parsed.warnings.size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(parsed.warnings[i].rfind(expected[i], 0), 0u) << parsed.warnings[i];
    }
    EXPECT_EQ(parsed.scan.rows[3].state.comparisonType, "") << "nothing chosen in the list";
    EXPECT_FALSE(parsed.scan.rows[4].state.comparison);

    // They generate what the editor shows for them: the value of "bars2" 0 vanishes, no
    // target keeps the placeholder, and the unfinished row adds nothing.
    MemoryHive hive;
    const CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    Scan scan = parsed.scan;
    scan.analysis = AnalysisType::BuyScan;
    scan.rows.erase(scan.rows.begin(), scan.rows.begin() + 2);
    const GeneratedScan generated = GenerateScan(scan, settings);
    EXPECT_EQ(generated.formula, "Buy = RSIa( Close, 14 ) == \r\n"
                                 "AND RSIa( Close, 14 ) < Ref( Array2, -1 );");
    EXPECT_EQ(generated.rowTexts[2], "AND MFI(14) of the current bar");
    EXPECT_EQ(generated.rowTexts[3], "OR ") << "as a pending row reads";
}

TEST(GenerateScan, WorkedExampleThroughTheScanFile) {
    MemoryHive hive;
    CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    const Scan scan = Parse(R"j({"analysis": "buy", "rows": [
        {"indicator1": "RSI", "comparison": "is less than", "target": "Value", "value": 30},
        {"joiner": "AND", "open": 1, "close": 2, "indicator1": "MA (Short)", "bars1": 3,
         "comparison": "crosses above", "indicator2": "MA (Long)"},
        {"joiner": "OR", "indicator1": "MFI", "comparison": "has been above", "target": "Value",
         "value": 80}]})j")
                          .scan;
    const GeneratedScan generated = GenerateScan(scan, settings);
    EXPECT_EQ(generated.formula,
              "Buy = RSIa( Close, 14 ) < 30\r\n"
              "AND (BarsSince( Cross( MA( Close, 5 ), MA( Close, 50 ) ) ) <= 3))\r\n"
              "OR BarsSince( MFI( 14 ) <= 80 ) >= 1;");
    ASSERT_EQ(generated.rowTexts.size(), 3u);
    EXPECT_EQ(generated.rowTexts[0], "RSI(14) of the current bar is less than 30");
    EXPECT_EQ(generated.rowTexts[1],
              "AND (MA (Short) Simple(5) crosses above MA (Long) Simple(50) on or "
              "after the previous 3 bars))");
    EXPECT_EQ(generated.rowTexts[2], "OR MFI(14) has been above 80 for the previous 1 bar");

    ASSERT_EQ(generated.records.size(), 3u);
    EXPECT_EQ(generated.records[0].joiner, "");
    EXPECT_EQ(generated.records[1].joiner, "AND");
    EXPECT_EQ(generated.records[1].rowNumber, 2) << "a row written in add mode takes the count";
    EXPECT_EQ(generated.records[1].leftBrackets, 1);
    EXPECT_EQ(generated.records[1].rowText, generated.rowTexts[1]);
    EXPECT_EQ(generated.records[2].timePeriod1, 1) << "the correction is kept in the record";
}

TEST(GenerateScan, NoRowsGiveNoFormula) {
    MemoryHive hive;
    CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    const GeneratedScan generated = GenerateScan(Parse("{}").scan, settings);
    EXPECT_EQ(generated.formula, "");
    EXPECT_TRUE(generated.rowTexts.empty());
}

} // namespace
} // namespace marlindex
