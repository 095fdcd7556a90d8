// The main window's formula as a library record: what Save stores and what Open restores.
#include "formula/Colouring.h"
#include "mainwindow/MainWindowState.h"

#include <algorithm>
#include <charconv>

namespace marlindex {

LibraryFormula MainWindowState::FormulaRecord() {
    // The number stored is the number the range box shows once it is left.
    txtRange_LostFocus();
    const std::string& range = ScanRangeNumber();
    std::int32_t rangeCount = 0;
    std::from_chars(range.data(), range.data() + range.size(), rangeCount);

    LibraryFormula formula;
    formula.rowCount = GridCount();
    formula.applyTo = static_cast<std::int16_t>(ApplyTo());
    formula.rangeMode = static_cast<std::int16_t>(ScanRange());
    formula.rangeCount = rangeCount;
    formula.analysisType = static_cast<std::int16_t>(AnalysisType());
    formula.formulaText = txtForumlae.text;
    formula.conditionCode = ConditionCode();
    formula.filter = FilterExpression();
    const ConditionRecordList& records = Records();
    const std::size_t rows =
        std::min(records.size(), static_cast<std::size_t>(std::max(GridCount(), 0)));
    formula.rows.assign(records.begin(), records.begin() + static_cast<std::ptrdiff_t>(rows));
    return formula;
}

void MainWindowState::RestoreRecord(const LibraryFormula& formula) {
    ClearAll();
    SetApplyTo(formula.applyTo);
    txtRange_Change(std::to_string(formula.rangeCount));
    SetScanRange(formula.rangeMode);
    SetAnalysisType(formula.analysisType);
    txtForumlae.text = formula.formulaText;
    txtForumlae.runs = ColourRuns(std::string_view(formula.formulaText));

    const std::size_t count = formula.UsedRows();
    ConditionRecordList records(formula.rows.begin(),
                                formula.rows.begin() + static_cast<std::ptrdiff_t>(count));
    // Clear All has left the grid blank; a long formula needs more rows than it has.
    if (MSFlexGrid1.rows.size() < count) {
        MSFlexGrid1.rows.resize(count);
    }
    for (std::size_t row = 0; row < count; ++row) {
        MSFlexGrid1.rows[row] = records[row].rowText;
    }
    editor_.RestoreRows(std::move(records), formula.conditionCode);
    SetFilterExpression(formula.filter);
    SetGridCount(static_cast<int>(count));
    SetScanName(formula.name);
    // Selecting the first row loads it into the editor, so grid and editor agree.
    MSFlexGrid1_RowColChange(0);
    MSFlexGrid1_Click();
}

} // namespace marlindex
