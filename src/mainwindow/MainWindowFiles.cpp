#include "mainwindow/MainWindowFiles.h"

namespace marlindex {

namespace {

constexpr const char* kFileSaveTitle = "File save";

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
    Result<LoadedLibrary> load = LoadLibraryFile(file);
    if (!load) {
        prompts_->Inform(kFileSaveTitle,
                         "The formula was not saved.\r\n" + load.problem().Message(),
                         PromptIcon::Exclamation);
        return true;
    }
    // Another program may have changed the library since: only the same formula is updated.
    const LibraryFormula* stored = load->library.Formula(record_.number);
    if (!load->fromFile || stored == nullptr || stored->name != record_.name ||
        stored->folder != record_.folder) {
        record_ = {};
        return false;
    }
    LibraryFormula formula = CurrentFormula();
    formula.name = stored->name;
    formula.description = stored->description;
    std::string folder = stored->folder;
    load->library.StoreFormula(std::move(formula), std::move(folder), record_.number);
    if (const Result<void> saved = SaveLibraryFile(file, load->library); !saved) {
        prompts_->Inform(kFileSaveTitle,
                         "The formula was not saved.\r\n" + saved.problem().Message(),
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

LibraryFormula MainWindowFiles::CurrentFormula() {
    return window_->FormulaRecord();
}

void MainWindowFiles::RestoreFormula(const LibraryFormula& formula) {
    window_->RestoreRecord(formula);
}

} // namespace marlindex
