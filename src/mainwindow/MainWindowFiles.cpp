#include "mainwindow/MainWindowFiles.h"

namespace marlindex {

namespace {

constexpr const char* kFileSaveTitle = "File save";
constexpr const char* kUnsavedTitle = "Unsaved changes";
constexpr const char* kProblemsTitle = "Unfinished formula";

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

bool MainWindowFiles::ConfirmDiscard(const std::string& before) {
    if (!window_->HasUnsavedWork()) {
        return true;
    }
    const std::string name = window_->ScanName().empty()
                                 ? std::string("The formula")
                                 : "The formula \"" + window_->ScanName() + "\"";
    switch (prompts_->AskSaveDiscardCancel(kUnsavedTitle,
                                     name +
                                         " has changes that are not saved in the library.\r\n"
                                         "Save them before " +
                                         before + "?")) {
    case PromptAnswer::Yes:
        mSave_Click();
        // Saving may have been cancelled, refused or failed: then nothing is discarded.
        return !window_->HasUnsavedWork();
    case PromptAnswer::No:
        return true;
    case PromptAnswer::Cancel:
        break;
    }
    return false;
}

bool MainWindowFiles::ConfirmFormula(FormulaUse use) {
    const std::vector<std::string> problems = window_->FormulaProblems(use == FormulaUse::Run);
    if (problems.empty()) {
        return true;
    }
    std::string text;
    for (const std::string& problem : problems) {
        text += problem + "\r\n";
    }
    const char* question = use == FormulaUse::Run    ? "Run the formula anyway?"
                           : use == FormulaUse::Save ? "Save the formula anyway?"
                                                     : "Copy the formula anyway?";
    return prompts_->AskYesNo(kProblemsTitle, text + "\r\n" + question, PromptIcon::Exclamation);
}

void MainWindowFiles::mNew_Click() {
    if (!ConfirmDiscard("starting a new formula")) {
        return;
    }
    window_->btnClearAll_Click();
    window_->ForgetHistory();
    record_ = {};
}

void MainWindowFiles::btnClearAll_Click() {
    if (ConfirmDiscard("clearing all conditions")) {
        window_->btnClearAll_Click();
    }
}

bool MainWindowFiles::QueryClose() {
    return ConfirmDiscard("closing Marlindex");
}

void MainWindowFiles::mOpen_Click() {
    if (ConfirmDiscard("opening another formula")) {
        ShowDialog(kModeOpen, "Open File", "&Open");
    }
}

void MainWindowFiles::mSaveAs_Click() {
    if (ConfirmFormula(FormulaUse::Save) && ShowDialog(kModeSaveAs, SaveCaption(), "&Save")) {
        window_->MarkSaved();
    }
}

void MainWindowFiles::mSave_Click() {
    if (!ConfirmFormula(FormulaUse::Save)) {
        return;
    }
    // An empty last row is not part of the formula.
    const int count = window_->GridCount();
    if (count > 0 && window_->MSFlexGrid1.Text(count - 1).empty()) {
        window_->SetGridCount(count - 1);
    }
    if (record_.number > 0 && SaveInPlace()) {
        return;
    }
    if (ShowDialog(kModeSave, SaveCaption(), "&Save")) {
        window_->MarkSaved();
    }
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
    } else {
        window_->MarkSaved();
    }
    return true;
}

bool MainWindowFiles::ShowDialog(const char* mode, std::string caption, std::string okCaption) {
    LibraryBrowser browser(LibraryFile(), mode, *this, *prompts_);
    browser.Caption = std::move(caption);
    browser.btnOK = std::move(okCaption);
    if (!browser.Form_Load()) {
        return false;
    }
    showDialog_(browser);
    return browser.Accepted();
}

LibraryFormula MainWindowFiles::CurrentFormula() {
    return window_->FormulaRecord();
}

void MainWindowFiles::RestoreFormula(const LibraryFormula& formula) {
    // An opened formula starts a history of its own, with nothing unsaved.
    window_->RestoreRecord(formula);
    window_->ForgetHistory();
}

} // namespace marlindex
