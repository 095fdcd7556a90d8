#include "scanfile/ScanFile.h"

#include "settings/MemoryHive.h"
#include "support/TempFolder.h"

#include <cstdlib>
#include <filesystem>
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
         "row 1, field \"modify1\".\"amout\": unknown field"},
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

// What a hostile file gets back: one line that names the place and says what was expected,
// quoting no more than a short excerpt of what it holds.
void ExpectRefusal(const std::string& json, const std::string& expected) {
    const std::string message = ErrorOf(json);
    EXPECT_NE(message.find(expected), std::string::npos)
        << json.substr(0, 200) << "\n  gave: " << message.substr(0, 400)
        << "\n  expected: " << expected;
    EXPECT_EQ(message.find('\n'), std::string::npos) << message.substr(0, 400);
    EXPECT_LT(message.size(), 300u) << message.substr(0, 400);
}

TEST(ParseScan, NumbersOutOfRangeAreBadInputAtTheirPlace) {
    const std::pair<std::string, std::string> cases[] = {
        // Beyond a double: the place of the number itself, in the reader's own words.
        {R"j({"rangeN": 1e400})j", "line 1, column 12: the number \"1e400\" is out of range"},
        {"{\n  \"rows\": [{\"value\":\n -1e400}]}",
         "line 3, column 2: the number \"-1e400\" is out of range"},
        // The column counts characters, not bytes.
        {"{\"name\": \"\u00e9\u00e9\", \"rangeN\": 2E+999}",
         "line 1, column 26: the number \"2E+999\" is out of range"},
        // Integers beyond 64 bits are read as doubles and then held to the field's range.
        {R"j({"rangeN": 123456789012345678901234567890})j",
         "field \"rangeN\": is out of range: must be a whole number from 0 to 2147483647"},
        {R"j({"rangeN": -9223372036854775809})j", "field \"rangeN\": is out of range"},
        {Rows(R"j({"indicator1": 18446744073709551615, "comparison": 3})j"),
         "row 1, field \"indicator1\": is out of range"},
        {Rows(R"j({"indicator1": "RSI", "comparison": 1e19})j"),
         "row 1, field \"comparison\": is out of range"},
        {Rows(R"j({"indicator1": "RSI", "comparison": 3, "bars2": 2147483648})j"),
         "row 1, field \"bars2\": is out of range"},
        {Rows(R"j({"close": -0.5})j"), "row 1, field \"close\": must be a whole number"},
        // Text that only looks like a number is no number.
        {R"j({"rangeN": NaN})j", "line 1, column 12: not valid JSON"},
        {Rows(R"j({"value": Infinity})j"), "not valid JSON"},
        {Rows(R"j({"value": "1e400"})j"), "row 1, field \"value\": must be a number"},
        {Rows(R"j({"value": 0x10})j"), "not valid JSON"},
        // Wrong types everywhere a number, a text, an object or a list belongs.
        {R"j({"rangeN": true})j", "field \"rangeN\": must be a whole number"},
        {R"j({"rangeN": null})j", "field \"rangeN\": must be a whole number"},
        {R"j({"name": 5})j", "field \"name\": must be a text"},
        {R"j({"filter": ["a"]})j", "field \"filter\": must be a text"},
        {R"j({"rows": {"indicator1": "RSI"}})j", "field \"rows\": must be a list of rows"},
        {Rows(R"j({"indicator1": "RSI", "comparison": 3, "modify1": 5})j"),
         "row 1, field \"modify1\": must be an object"},
        {Rows(R"j({"indicator1": "RSI", "comparison": 3,
                   "modify2": {"op": "Increase", "amount": [1]}})j"),
         "row 1, field \"modify2\".amount: must be a number"},
        {Rows(R"j({"indicator1": ["RSI"], "comparison": 3})j"),
         "row 1, field \"indicator1\": must be a text"},
        {"\"just text\"", "a scan file must hold one JSON object"},
    };
    for (const auto& [json, expected] : cases) {
        ExpectRefusal(json, expected);
        EXPECT_EQ(ParseScan(json).problem().kind, ProblemKind::BadInput);
    }
}

TEST(ParseScan, SyntaxErrorsSayWhatWasExpectedWithoutTheLibrarysWords) {
    ExpectRefusal("{\"rows\": [}", "line 1, column 11: not valid JSON: unexpected '}'");
    ExpectRefusal("", "line 1, column 1: not valid JSON: unexpected end of input");
    ExpectRefusal("{\"name\": \"a\"} x", "not valid JSON: invalid literal; expected end of input");
    ExpectRefusal("{\"name\": \"\xff\"}", "line 1, column 11: not valid JSON");
    for (const std::string& json : {std::string("{\"rows\": [}"), std::string("{\"a\": tru}"),
                                    std::string("{\"rangeN\": 1e400}")}) {
        const std::string message = ErrorOf(json);
        EXPECT_EQ(message.find("json.exception"), std::string::npos) << message;
        EXPECT_EQ(message.find("parse error at"), std::string::npos) << message;
    }
}

TEST(ParseScan, HugeValuesAreQuotedInPartOnly) {
    // A 10 MB value is refused with a short message, as the whole file's bound allows it.
    ExpectRefusal(R"j({"analysis": ")j" + std::string(10 << 20, 'x') + "\"}",
                  "field \"analysis\": \"" + std::string(60, 'x') + "...\" is not one of");
    // A key, a nested key, a text that never ends, a number of a million digits and a value
    // checked against a catalogue: each places the problem and quotes at most 60 characters.
    const std::string huge(1 << 20, 'x');
    ExpectRefusal("{\"" + huge + "\": 1}", "field \"xxxxxxxx");
    ExpectRefusal(
        Rows(R"j({"indicator1": "RSI", "comparison": 3, "modify1": {")j" + huge + "\": 1}}"),
        "row 1, field \"modify1\".\"xxxx");
    ExpectRefusal(R"j({"name": ")j" + huge, "line 1, column ");
    ExpectRefusal(R"j({"rangeN": 1)j" + std::string(1 << 20, '0') + "}", "the number \"1000");
    ExpectRefusal(Rows(R"j({"indicator1": ")j" + huge + "\"}"),
                  "row 1, field \"indicator1\": unknown indicator \"xxx");
}

TEST(ParseScan, DeepNestingIsRefusedBeforeItIsBuilt) {
    // Deeper than any scan file: refused where the nesting goes too deep, without recursion
    // (100,000 levels would overflow the stack of a recursive reader or destructor).
    ExpectRefusal(std::string(100000, '['),
                  "line 1, column 65: lists and objects nest deeper than 64 levels");
    ExpectRefusal("{\"rows\": " + std::string(100000, '[') + std::string(100000, ']') + "}",
                  "line 1, column 73: lists and objects nest deeper than 64 levels");
    ExpectRefusal(std::string(50000, '[') + std::string(50000, '{'), "nest deeper than 64");
    // Brackets inside texts do not count.
    ExpectRefusal("{\"name\": \"" + std::string(1000, '[') + "\", \"x\": 1}",
                  "field \"x\": unknown field");
    // 64 levels are read (and then checked as usual).
    const auto nested = [](std::size_t levels) {
        return "{\"x\": " + std::string(levels - 1, '[') + std::string(levels - 1, ']') + "}";
    };
    ExpectRefusal(nested(64), "field \"x\": unknown field");
    ExpectRefusal(nested(65), "nest deeper than 64 levels");
}

// Millions of tiny values fit in a file of a few megabytes and would each cost far more in
// memory: their number is bounded while the file is read, and so is the number of rows.
TEST(ParseScan, TheNumberOfValuesAndRowsIsBounded) {
    const auto repeated = [](std::string_view item, std::size_t count) {
        std::string text;
        for (std::size_t i = 0; i < count; ++i) {
            text += i == 0 ? "" : ",";
            text += item;
        }
        return text;
    };
    ExpectRefusal("{\"rows\": [{\"value\": 1}, {\"value\": [" + repeated("[]", 1000000) + "]}]}",
                  "row 2, field \"value\": the file holds more than 1000000 values");
    ExpectRefusal(Rows(repeated("{}", 10001)),
                  "field \"rows\": holds 10001 rows; a scan file holds at most 10000");
    EXPECT_EQ(Parse(Rows(repeated("{}", 10000))).scan.rows.size(), 10000u);
}

TEST(ParseScan, AFieldGivenTwiceIsRefusedNotOverwritten) {
    ExpectRefusal(R"j({"name": "a", "name": "b"})j", "field \"name\": is given twice");
    ExpectRefusal(Rows(R"j({"indicator1": "RSI"}, {"value": 1, "value": 2})j"),
                  "row 2, field \"value\": is given twice");
    ExpectRefusal(Rows(R"j({"modify1": {"op": "Increase", "op": "Decrease"}})j"),
                  "row 1, field \"modify1\".\"op\": is given twice");
    // The same key in two objects is no repetition.
    Parse(Rows(R"j({"value": 1}, {"value": 2})j"));
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

// The fuzzer's seeds, and the inputs on which it found the reader failing, each read cleanly
// and round-trip, or are refused in one short line.
TEST(ParseScan, FuzzSeedsAndFindingsReadOrAreRefused) {
    const char* source = std::getenv("MARLINDEX_SOURCE_DIR");
    ASSERT_NE(source, nullptr);
    MemoryHive hive;
    const CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    int seeds = 0;
    for (const char* folder : {"fuzz/scan-corpus", "tests/scanfile/fuzz-findings"}) {
        for (const auto& entry :
             std::filesystem::directory_iterator(std::filesystem::path(source) / folder)) {
            if (entry.path().extension() == ".md") {
                continue;
            }
            seeds += folder[0] == 'f' ? 1 : 0;
            const std::string bytes = test::ReadBytes(entry.path());
            const Result<ParsedScan> parsed = ParseScan(bytes);
            if (!parsed) {
                EXPECT_NE(folder[0], 'f') << "a seed reads: " << parsed.problem().Message();
                EXPECT_EQ(parsed.problem().Message().find('\n'), std::string::npos);
                EXPECT_LT(parsed.problem().Message().size(), 1000u);
                continue;
            }
            const std::string written = WriteScan(parsed->scan);
            const Result<ParsedScan> again = ParseScan(written);
            ASSERT_TRUE(again) << entry.path() << ": " << again.problem().Message();
            EXPECT_EQ(WriteScan(again->scan), written) << entry.path();
            EXPECT_EQ(GenerateScan(again->scan, settings).formula,
                      GenerateScan(parsed->scan, settings).formula)
                << entry.path();
        }
    }
    EXPECT_GE(seeds, 5);
}

} // namespace
} // namespace marlindex
