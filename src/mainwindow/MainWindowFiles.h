// The main window's commands that may ask the user first: New, Open, Save and Save As from the
// File menu and the toolbar, Clear All, closing the window, and the checks before Run, Save and
// Copy. Opening and a first save go through the library dialog; saving a formula that came
// from the library updates its record in place. The window remembers that record here.
#pragma once

#include "library/LibraryBrowser.h"
#include "mainwindow/MainWindowState.h"
#include "startup/UserPrompts.h"

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace marlindex {

// Shows the library dialog over a browser that has loaded the library, and returns when the
// dialog has closed. The GUI runs a frmOpenSave modally; tests drive the browser directly.
using ShowLibraryDialog = std::function<void(LibraryBrowser&)>;

class MainWindowFiles : public FormulaWindow {
public:
    // `window` and `prompts` must outlive this object.
    MainWindowFiles(MainWindowState& window, std::filesystem::path programFolder,
                    UserPrompts& prompts, ShowLibraryDialog showDialog);

    // ---- menu items and their toolbar buttons ----
    // Clears the conditions and forgets the library record, so that the next Save asks for a
    // name instead of overwriting the formula that was open. Unsaved changes are offered for
    // saving first (as for Open, Clear All and closing).
    void mNew_Click();
    void mOpen_Click();
    void mSave_Click();
    void mSaveAs_Click();
    // Clear All, after the question about unsaved changes; it can be undone.
    void btnClearAll_Click();
    // Whether the window may close: true when nothing unsaved is lost.
    bool QueryClose();

    // What a formula is about to be used for; the checks before it name unfinished rows.
    enum class FormulaUse { Run, Save, Copy };
    // True when the formula may go on: it has no problems, or the user goes on anyway. Before
    // Run the built-in engine's parser reads it too.
    bool ConfirmFormula(FormulaUse use);

    // "Save exploration as" or "Save scan as".
    std::string SaveCaption() const;
    std::filesystem::path LibraryFile() const;

    // ---- the window as the library dialog sees it ----
    std::string ScanName() const override { return window_->ScanName(); }
    void SetScanName(std::string name) override { window_->SetScanName(std::move(name)); }
    LibraryFormula CurrentFormula() override;
    void RestoreFormula(const LibraryFormula& formula) override;
    const LibraryRecordRef& LibraryRecord() const override { return record_; }
    void SetLibraryRecord(LibraryRecordRef record) override { record_ = std::move(record); }

private:
    // False when the remembered record is no longer the same formula in the file: the
    // record is forgotten and the caller asks for a name.
    bool SaveInPlace();
    // Shows the dialog; true when it was left with OK.
    bool ShowDialog(const char* mode, std::string caption, std::string okCaption);
    // True when the window's work may be replaced: nothing is unsaved, or the user saved it
    // or chose to discard it. `before` ends the question "Save the changes before ...?".
    bool ConfirmDiscard(const std::string& before);

    MainWindowState* window_;
    std::filesystem::path programFolder_;
    UserPrompts* prompts_;
    ShowLibraryDialog showDialog_;
    LibraryRecordRef record_;
};

} // namespace marlindex
