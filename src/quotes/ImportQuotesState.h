// The "Import quotes" dialog's behaviour without a window: the price files and folders to
// read and the symbols file, the import itself with its progress and Cancel, and the report of
// what it did. The import is the command-line tool's: one transaction, so a cancelled, refused
// or failed import leaves the database as it was, and the report says so.
#pragma once

#include "quotes/QuoteImport.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace marlindex {

class ImportQuotesState {
public:
    static constexpr const char* kCaption = "Import Quotes";

    explicit ImportQuotesState(std::filesystem::path databaseFolder);

    const std::filesystem::path& DatabaseFolder() const { return databaseFolder_; }

    // ---- controls ----
    std::vector<std::string> lstPaths; // price files SYMBOL.csv and folders of them
    int lstPathsIndex = -1;            // the selected path, -1 for none
    std::string txtSymbols;            // the symbols file, "" for none
    bool btnRemoveEnabled = false;
    bool btnImportEnabled = false;
    bool choosingEnabled = true; // adding and removing paths, choosing the symbols file
    std::string btnCloseCaption = "Close";
    // The progress while the import runs: the share of the price files' bytes read.
    bool progressVisible = false;
    int progressValue = 0;
    static constexpr int kProgressMaximum = 1000;
    std::string lblProgress;
    // What the last import did; the repaired rows are listed as the command-line tool lists
    // them, FILE:LINE: repaired: what.
    std::string txtReport;

    // ---- events ----
    // Paths the user picked (files, or a folder); a path already listed is not listed again.
    void AddPaths(const std::vector<std::string>& paths);
    void lstPaths_Click(int index);
    void btnRemove_Click();
    // The symbols file the user picked; "" takes it away.
    void SetSymbolsFile(std::string path);
    // Imports what is listed. `between` runs after each step of progress has been shown; the
    // form lets the window paint there, and Cancel be pressed. Gives how the import ended.
    ImportOutcome::Status btnImport_Click(const std::function<void()>& between = {});
    // While the import runs: cancel it (it ends at its next step). Otherwise nothing: the form
    // closes the dialog.
    void btnClose_Click();

    bool Running() const { return running_; }
    // An import has changed the database since the dialog opened.
    bool ChangedDatabase() const { return changed_; }

private:
    void Arrange();
    bool Progress(const ImportProgress& progress, const std::function<void()>& between);
    void Report(const ImportOutcome& outcome);

    std::filesystem::path databaseFolder_;
    bool running_ = false;
    bool cancelRequested_ = false;
    bool changed_ = false;
};

} // namespace marlindex
