// The main window's library commands: New, Open, Save and Save As, from the File menu and
// the toolbar. Opening and a first save go through the library dialog; saving a formula that
// came from the library updates its record in place. The window remembers that record here.
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
    // name instead of overwriting the formula that was open.
    void mNew_Click();
    void mOpen_Click();
    void mSave_Click();
    void mSaveAs_Click();

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
    void ShowDialog(const char* mode, std::string caption, std::string okCaption);

    MainWindowState* window_;
    std::filesystem::path programFolder_;
    UserPrompts* prompts_;
    ShowLibraryDialog showDialog_;
    LibraryRecordRef record_;
};

} // namespace marlindex
