// The scan file: a whole formula as the main window holds it (run options, filter expression
// and condition rows), in JSON. It is what `marlindex-cli generate` reads, and the library's
// import and export format.
#pragma once

#include "formula/Assembly.h"
#include "formula/ConditionRecord.h"
#include "formula/EditorState.h"
#include "settings/ProgramSettings.h"
#include "startup/Problem.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace marlindex {

inline constexpr int kRangeAllBars = 0;
inline constexpr int kRangeLastBars = 1;
inline constexpr int kRangeLastDays = 2;

struct ScanRow {
    std::string joiner = "AND"; // ignored on the first row
    int openBrackets = 0;
    int closeBrackets = 0;
    EditorState state;
};

struct Scan {
    std::string name;
    std::string description;
    AnalysisType analysis = AnalysisType::Exploration;
    int applyTo = kApplyToAll;
    int range = kRangeLastBars;
    std::int32_t rangeN = 1;
    std::string filter; // the filter expression, line breaks as CR LF
    std::vector<ScanRow> rows;
};

struct ParsedScan {
    Scan scan;
    std::vector<std::string> warnings; // input that is allowed but probably not meant
};

// Reads and checks a scan file. Bad input, placed by line and column (JSON syntax) or by row
// and field, for anything the editor could not produce: unknown fields, wrong types, unknown
// indicators, comparisons or options, combinations the catalogues do not offer, negative bar
// counts, bracket counts outside 0..32767.
Result<ParsedScan> ParseScan(std::string_view json);

// The scan file of `scan`, laid out for people to read (two-space indents, fields in the
// order ParseScan documents). Indicators and comparisons are written by name. ParseScan reads
// it back to the same scan when the rows hold conditions the editor can make.
std::string WriteScan(const Scan& scan);

struct GeneratedScan {
    ConditionRecordList records;
    std::vector<std::string> rowTexts; // the condition grid's rows
    std::string conditionCode;         // trimmed, as the main window keeps it
    std::string formula;               // the formula box's text
};

// Writes the rows one after another as the editor does, then assembles the formula.
GeneratedScan GenerateScan(const Scan& scan, const CProgramSettings& settings);

} // namespace marlindex
