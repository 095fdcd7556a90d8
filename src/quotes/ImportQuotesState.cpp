#include "quotes/ImportQuotesState.h"

#include "startup/Problem.h"

#include <algorithm>

namespace marlindex {

namespace {

std::string Count(std::size_t count, const char* one, const char* many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

// Paths are UTF-8 inside the program; on Windows a path is wide characters.
std::filesystem::path PathFromUtf8(const std::string& text) {
    return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

std::string Megabytes(std::uintmax_t bytes) {
    const std::uintmax_t tenths = (bytes * 10 + (1u << 19)) >> 20;
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " MB";
}

} // namespace

ImportQuotesState::ImportQuotesState(std::filesystem::path databaseFolder)
    : databaseFolder_(std::move(databaseFolder)) {
    Arrange();
}

void ImportQuotesState::AddPaths(const std::vector<std::string>& paths) {
    if (running_) {
        return;
    }
    for (const std::string& path : paths) {
        if (!path.empty() && std::find(lstPaths.begin(), lstPaths.end(), path) == lstPaths.end()) {
            lstPaths.push_back(path);
        }
    }
    Arrange();
}

void ImportQuotesState::lstPaths_Click(int index) {
    lstPathsIndex = index >= 0 && index < static_cast<int>(lstPaths.size()) ? index : -1;
    Arrange();
}

void ImportQuotesState::btnRemove_Click() {
    if (running_ || lstPathsIndex < 0) {
        return;
    }
    lstPaths.erase(lstPaths.begin() + lstPathsIndex);
    // The path that took its place, else the one before it.
    lstPathsIndex = std::min(lstPathsIndex, static_cast<int>(lstPaths.size()) - 1);
    Arrange();
}

void ImportQuotesState::SetSymbolsFile(std::string path) {
    if (!running_) {
        txtSymbols = std::move(path);
        Arrange();
    }
}

void ImportQuotesState::Arrange() {
    choosingEnabled = !running_;
    btnRemoveEnabled = !running_ && lstPathsIndex >= 0;
    btnImportEnabled = !running_ && (!lstPaths.empty() || !txtSymbols.empty());
    btnCloseCaption = running_ ? "Cancel" : "Close";
    progressVisible = running_;
}

ImportOutcome::Status ImportQuotesState::btnImport_Click(const std::function<void()>& between) {
    if (!btnImportEnabled) {
        return ImportOutcome::Status::Failed;
    }
    ImportRequest request;
    if (!txtSymbols.empty()) {
        request.symbolsFile = PathFromUtf8(txtSymbols);
    }
    for (const std::string& path : lstPaths) {
        request.paths.push_back(PathFromUtf8(path));
    }

    running_ = true;
    cancelRequested_ = false;
    progressValue = 0;
    lblProgress = "Checking the files...";
    txtReport.clear();
    Arrange();
    // However the import ends, even by an exception, the dialog can be used and closed again.
    struct EndOfRun {
        ImportQuotesState& state;
        ~EndOfRun() {
            state.running_ = false;
            state.lblProgress.clear();
            state.Arrange();
        }
    };
    ImportOutcome outcome;
    {
        const EndOfRun end{*this};
        outcome = ImportQuotes(databaseFolder_, request, [&](const ImportProgress& progress) {
            return Progress(progress, between);
        });
    }
    Report(outcome);
    return outcome.status;
}

bool ImportQuotesState::Progress(const ImportProgress& progress,
                                 const std::function<void()>& between) {
    progressValue =
        progress.bytesTotal == 0
            ? kProgressMaximum
            : static_cast<int>(progress.bytesDone * kProgressMaximum / progress.bytesTotal);
    lblProgress = Count(progress.filesDone, "price file", "price files") + " of " +
                  std::to_string(progress.filesTotal) + " read (" + Megabytes(progress.bytesDone) +
                  " of " + Megabytes(progress.bytesTotal) + ")";
    if (between) {
        between();
    }
    return !cancelRequested_;
}

void ImportQuotesState::btnClose_Click() {
    if (running_) {
        cancelRequested_ = true;
        lblProgress = "Cancelling...";
    }
}

void ImportQuotesState::Report(const ImportOutcome& outcome) {
    const std::string unchanged = "Nothing of this import was kept: the database is as it was.";
    switch (outcome.status) {
    case ImportOutcome::Status::Cancelled:
        txtReport = "The import was cancelled. " + unchanged;
        return;
    case ImportOutcome::Status::Refused:
    case ImportOutcome::Status::Failed:
        txtReport =
            std::string(outcome.status == ImportOutcome::Status::Refused ? "The import was refused:"
                                                                         : "The import failed:") +
            "\n" + (outcome.problem ? outcome.problem->FileLineMessage() : "no reason was given") +
            "\n" + unchanged;
        return;
    case ImportOutcome::Status::Imported:
        break;
    }
    changed_ = true;
    const ImportReport& report = outcome.report;
    std::string text = "Imported into " + Utf8Path(databaseFolder_) + ":\n" +
                       Count(report.files, "price file", "price files") + ", " +
                       Count(report.bars, "bar", "bars") + " (" + std::to_string(report.addedBars) +
                       " new, " + std::to_string(report.replacedBars) + " replaced)";
    if (report.firstDate) {
        text +=
            " from " + FormatIsoDate(*report.firstDate) + " to " + FormatIsoDate(*report.lastDate);
    }
    text += ".\n";
    if (!txtSymbols.empty()) {
        text += "Symbols file: " + Count(report.symbolRows, "row", "rows") + ".\n";
    }
    text += Count(report.newSymbols, "new symbol", "new symbols") + ".\n";
    const BarRepairs& repairs = report.repairs;
    if (repairs.rows == 0) {
        text += "No row needed a repair.";
    } else {
        text += "Repaired " + Count(repairs.rows, "row", "rows") +
                " as AmiBroker's importer does.\nOpen from Close: " +
                std::to_string(repairs.openFromClose) +
                ", High raised: " + std::to_string(repairs.highRaised) +
                ", Low from min(Open, Close): " + std::to_string(repairs.lowFromOpenClose) + ".";
        // A symbol comes from one file only, so the file's name says which it was.
        for (const RepairNote& note : report.notes) {
            text += "\n" + Utf8Path(PathFromUtf8(note.file).filename()) + ":" +
                    std::to_string(note.line) + ": repaired: " + note.what;
        }
        if (repairs.rows > report.notes.size()) {
            text += "\n... and " + std::to_string(repairs.rows - report.notes.size()) +
                    " more repaired rows";
        }
    }
    txtReport = text;
}

} // namespace marlindex
