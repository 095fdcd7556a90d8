#include "mainwindow/MainWindowFiles.h"

#include "formula/Colouring.h"
#include "library/FormulaComment.h"

#include <algorithm>
#include <charconv>

namespace marlindex {

namespace {

constexpr const char* kFileSaveTitle = "File save";

std::size_t Index(int i) {
    return static_cast<std::size_t>(std::max(i, 0));
}

} // namespace

MainWindowFiles::MainWindowFiles(MainWindowState& window, std::filesystem::path programFolder,
                                 UserPrompts& prompts, ShowLibraryDialog showDialog)
    : window_(&window), programFolder_(std::move(programFolder)), prompts_(&prompts),
      showDialog_(std::move(showDialog)) {}

std::filesystem::path MainWindowFiles::LibraryFile() const {
    return LibraryPath(programFolder_);
}

std::string MainWindowFiles::SaveCaption() const {
    return window_->AnalysisType() == 0 ? "Save exploration as" : "Save scan as";
}

void MainWindowFiles::mNew_Click() {
    window_->btnClearAll_Click();
    record_ = {};
}

void MainWindowFiles::mOpen_Click() {
    ShowDialog(kModeOpen, "Open File", "&Open");
}

void MainWindowFiles::mSaveAs_Click() {
    ShowDialog(kModeSaveAs, SaveCaption(), "&Save");
}

void MainWindowFiles::mSave_Click() {
    // An empty last row is not part of the formula.
    const int count = window_->GridCount();
    if (count > 0 && window_->MSFlexGrid1.Text(count - 1).empty()) {
        window_->SetGridCount(count - 1);
    }
    if (record_.number > 0 && SaveInPlace()) {
        return;
    }
    ShowDialog(kModeSave, SaveCaption(), "&Save");
}

bool MainWindowFiles::SaveInPlace() {
    const std::filesystem::path file = LibraryFile();
    LibraryLoad load = LoadLibraryFile(file);
    if (load.status == LibraryLoad::Status::Damaged ||
        load.status == LibraryLoad::Status::Unreadable) {
        prompts_->Inform(kFileSaveTitle, "The formula was not saved.\r\n" + load.problem,
                         PromptIcon::Exclamation);
        return true;
    }
    // Another program may have changed the library since: only the same formula is updated.
    const LibraryFormula* stored = load.library.Formula(record_.number);
    if (load.status == LibraryLoad::Status::Missing || stored == nullptr ||
        stored->name != record_.name || stored->folder != record_.folder) {
        record_ = {};
        return false;
    }
    LibraryFormula formula = CurrentFormula();
    formula.name = stored->name;
    formula.description = stored->description;
    std::string folder = stored->folder;
    load.library.StoreFormula(std::move(formula), std::move(folder), record_.number);
    if (const auto problem = SaveLibraryFile(file, load.library)) {
        prompts_->Inform(kFileSaveTitle, "The formula was not saved.\r\n" + problem->message,
                         PromptIcon::Exclamation);
    }
    return true;
}

void MainWindowFiles::ShowDialog(const char* mode, std::string caption, std::string okCaption) {
    LibraryBrowser browser(LibraryFile(), mode, *this, *prompts_);
    browser.Caption = std::move(caption);
    browser.btnOK = std::move(okCaption);
    if (!browser.Form_Load()) {
        return;
    }
    showDialog_(browser);
}

std::string MainWindowFiles::CommentedFormulaText(std::string_view date) const {
    return CommentedFormula(date, window_->RowTexts(), window_->txtForumlae.text);
}

void MainWindowFiles::mCopy_Click(const std::function<void(const std::string&)>& setClipboard) {
    setClipboard(CommentedFormulaText(TodayForComment()));
}

LibraryFormula MainWindowFiles::CurrentFormula() {
    // The number stored is the number the range box shows once it is left.
    window_->txtRange_LostFocus();
    const std::string& range = window_->ScanRangeNumber();
    std::int32_t rangeCount = 0;
    std::from_chars(range.data(), range.data() + range.size(), rangeCount);

    LibraryFormula formula;
    formula.rowCount = window_->GridCount();
    formula.applyTo = static_cast<std::int16_t>(window_->ApplyTo());
    formula.rangeMode = static_cast<std::int16_t>(window_->ScanRange());
    formula.rangeCount = rangeCount;
    formula.analysisType = static_cast<std::int16_t>(window_->AnalysisType());
    formula.formulaText = window_->txtForumlae.text;
    formula.conditionCode = window_->ConditionCode();
    formula.filter = window_->FilterExpression();
    const ConditionRecordList& records = window_->Records();
    const std::size_t rows = std::min(records.size(), Index(window_->GridCount()));
    formula.rows.assign(records.begin(), records.begin() + static_cast<std::ptrdiff_t>(rows));
    return formula;
}

void MainWindowFiles::RestoreFormula(const LibraryFormula& formula) {
    MainWindowState& w = *window_;
    w.btnClearAll_Click();
    w.SetApplyTo(formula.applyTo);
    w.txtRange_Change(std::to_string(formula.rangeCount));
    w.SetScanRange(formula.rangeMode);
    w.SetAnalysisType(formula.analysisType);
    w.txtForumlae.text = formula.formulaText;
    w.txtForumlae.runs = ColourRuns(std::string_view(formula.formulaText));

    const std::size_t count = formula.UsedRows();
    ConditionRecordList records(formula.rows.begin(),
                                formula.rows.begin() + static_cast<std::ptrdiff_t>(count));
    // Clear All has left the grid blank; a long formula needs more rows than it has.
    if (w.MSFlexGrid1.rows.size() < count) {
        w.MSFlexGrid1.rows.resize(count);
    }
    for (std::size_t row = 0; row < count; ++row) {
        w.MSFlexGrid1.rows[row] = records[row].rowText;
    }
    w.RestoreConditions(std::move(records), formula.conditionCode);
    w.SetFilterExpression(formula.filter);
    w.SetGridCount(static_cast<int>(count));
    w.SetScanName(formula.name);
    // Selecting the first row loads it into the editor, so grid and editor agree.
    w.MSFlexGrid1_RowColChange(0);
    w.MSFlexGrid1_Click();
}

} // namespace marlindex
