#include "scanfile/LibraryScan.h"

namespace marlindex {

LibraryFormula FormulaFromScan(const Scan& scan, const GeneratedScan& generated) {
    LibraryFormula formula;
    formula.rowCount = static_cast<std::int32_t>(generated.records.size());
    formula.applyTo = static_cast<std::int16_t>(scan.applyTo);
    formula.rangeMode = static_cast<std::int16_t>(scan.range);
    formula.rangeCount = scan.rangeN;
    formula.analysisType = static_cast<std::int16_t>(scan.analysis);
    formula.name = scan.name;
    formula.description = scan.description;
    formula.formulaText = generated.formula;
    formula.conditionCode = generated.conditionCode;
    formula.filter = scan.filter;
    formula.rows = generated.records;
    return formula;
}

Result<std::string> ExportScan(const LibraryFormula& formula) {
    Scan scan;
    scan.name = formula.name;
    scan.description = formula.description;
    // Any value other than the first two means the third choice, as in the option groups.
    scan.analysis = formula.analysisType == 0   ? AnalysisType::Exploration
                    : formula.analysisType == 1 ? AnalysisType::BuyScan
                                                : AnalysisType::SellScan;
    scan.applyTo = formula.applyTo;
    scan.range = formula.rangeMode;
    scan.rangeN = formula.rangeCount;
    scan.filter = formula.filter;
    const std::size_t used = formula.UsedRows();
    for (std::size_t i = 0; i < used; ++i) {
        const ConditionRecord& record = formula.rows[i];
        ScanRow row;
        row.joiner = record.joiner.empty() ? "AND" : record.joiner;
        row.openBrackets = record.leftBrackets;
        row.closeBrackets = record.rightBrackets;
        row.state = EditorStateOf(record);
        scan.rows.push_back(std::move(row));
    }
    std::string text = WriteScan(scan);
    // Refused here, import would refuse it too.
    if (Result<ParsedScan> check = ParseScan(text); !check) {
        return std::move(check.problem());
    }
    return text;
}

} // namespace marlindex
