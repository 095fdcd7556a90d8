#include "quotes/QuoteImport.h"

#include "quotes/QuoteStore.h"
#include "startup/TextHelpers.h"

#include <algorithm>
#include <fstream>
#include <map>

namespace marlindex {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void Stop(ProblemKind kind, const fs::path& path, std::string what) {
    throw ProblemError(kind, Place::InFile(Utf8Path(path)), std::move(what));
}

[[noreturn]] void Refuse(const fs::path& path, std::string what) {
    Stop(ProblemKind::BadInput, path, std::move(what));
}

// The size of a file an import may read; refuses anything else.
std::uintmax_t CheckedFileSize(const fs::path& file, const fs::file_status& status) {
    if (!fs::is_regular_file(status)) {
        Refuse(file, "not a regular file (a device, a pipe or a socket); it is not read");
    }
    std::error_code error;
    const std::uintmax_t bytes = fs::file_size(file, error);
    if (error) {
        Stop(ProblemKind::Failure, file, "cannot read the size: " + error.message());
    }
    if (bytes > kMaxImportFileBytes) {
        Refuse(file, "the file has " + std::to_string(bytes) +
                         " bytes, more than the 256 MiB an import reads from one file");
    }
    return bytes;
}

std::string ReadCheckedFile(const fs::path& file, std::uintmax_t bytes) {
    std::ifstream in(file, std::ios::binary);
    std::string text(static_cast<std::size_t>(bytes), '\0');
    in.read(text.data(), static_cast<std::streamsize>(bytes));
    if (!in && !in.eof()) {
        Stop(ProblemKind::Failure, file, "cannot read the file");
    }
    // A file that shrank since it was listed is read as it now is.
    text.resize(static_cast<std::size_t>(in.gcount()));
    return text;
}

bool EndsWithCsv(std::string_view name) {
    return name.size() >= 4 && EqualsIgnoreCase(name.substr(name.size() - 4), ".csv");
}

fs::file_status StatusOf(const fs::path& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found) {
        Refuse(path, "no such file or folder");
    }
    if (error) {
        Stop(ProblemKind::Failure, path, "cannot look at it: " + error.message());
    }
    return status;
}

struct Cancelled {};

} // namespace

namespace {

std::vector<PriceFileEntry> ListPriceFilesOrThrow(const ImportRequest& request) {
    std::vector<PriceFileEntry> entries;
    const auto add = [&entries](const fs::path& file, const fs::file_status& status) {
        const std::string name = Utf8Path(file.filename());
        if (!EndsWithCsv(name)) {
            Refuse(file, "a price file is named SYMBOL.csv");
        }
        std::string symbol = name.substr(0, name.size() - 4);
        if (symbol.empty()) {
            Refuse(file, "the file name gives no symbol");
        }
        entries.push_back({file, std::move(symbol), CheckedFileSize(file, status)});
    };
    for (const fs::path& path : request.paths) {
        const fs::file_status status = StatusOf(path);
        if (!fs::is_directory(status)) {
            add(path, status);
            continue;
        }
        std::vector<fs::path> files;
        std::error_code error;
        for (const fs::directory_entry& entry : fs::directory_iterator(path, error)) {
            if (EndsWithCsv(Utf8Path(entry.path().filename()))) {
                files.push_back(entry.path());
            }
        }
        if (error) {
            Stop(ProblemKind::Failure, path, "cannot list the folder: " + error.message());
        }
        std::sort(files.begin(), files.end());
        for (const fs::path& file : files) {
            // The symbols file may sit among the price files.
            std::error_code ignored;
            if (request.symbolsFile && fs::equivalent(file, *request.symbolsFile, ignored)) {
                continue;
            }
            add(file, StatusOf(file));
        }
    }
    std::map<std::string, const PriceFileEntry*> seen;
    for (const PriceFileEntry& entry : entries) {
        const auto [first, added] = seen.emplace(entry.symbol, &entry);
        if (!added) {
            Refuse(entry.file, "the symbol " + QuoteExcerpt(entry.symbol) + " comes twice; " +
                                   Utf8Path(first->second->file) + " holds it too");
        }
    }
    return entries;
}

void Import(const fs::path& databaseFolder, const ImportRequest& request,
            const ImportProgressFunction& progress, ImportReport& report) {
    const std::vector<PriceFileEntry> entries = ListPriceFilesOrThrow(request);
    std::vector<SymbolRow> rows;
    if (request.symbolsFile) {
        const fs::path& file = *request.symbolsFile;
        const std::uintmax_t bytes = CheckedFileSize(file, StatusOf(file));
        rows = ValueOrThrow(ReadSymbolsFile(ReadCheckedFile(file, bytes), Utf8Path(file)));
    }
    ImportProgress done;
    done.filesTotal = entries.size();
    for (const PriceFileEntry& entry : entries) {
        done.bytesTotal += entry.bytes;
    }
    if (progress && !progress(done)) {
        throw Cancelled{};
    }

    std::error_code made;
    fs::create_directories(databaseFolder, made); // a new database
    if (made) {
        Stop(ProblemKind::Failure, databaseFolder,
             "cannot make the database folder: " + made.message());
    }
    QuoteStore store = ValueOrThrow(QuoteStore::OpenOrCreate(databaseFolder));
    QuoteStore::Writer writer = store.BeginChanges();
    for (const SymbolRow& row : rows) {
        try {
            report.newSymbols += writer.SetSymbol(row) ? 1U : 0U;
        } catch (const ProblemError& error) {
            Problem problem = error.problem();
            if (problem.where.file.empty()) {
                problem.where = Place::AtLine(Utf8Path(*request.symbolsFile),
                                              static_cast<std::size_t>(row.line));
            }
            throw ProblemError(std::move(problem));
        }
    }
    report.symbolRows = rows.size();

    for (const PriceFileEntry& entry : entries) {
        const PriceFile prices = ValueOrThrow(
            ReadPriceFile(ReadCheckedFile(entry.file, entry.bytes), Utf8Path(entry.file)));
        const QuoteStore::Writer::Merge merge = writer.MergeBars(entry.symbol, prices.bars);
        ++report.files;
        report.newSymbols += merge.newSymbol ? 1U : 0U;
        report.bars += prices.bars.size();
        report.addedBars += merge.added;
        report.replacedBars += merge.replaced;
        report.repairs += prices.repairs;
        for (const RepairNote& note : prices.notes) {
            if (report.notes.size() < kMaxRepairNotes) {
                report.notes.push_back(note);
            }
        }
        if (prices.bars.size() > 0) {
            const TradeDate first = prices.bars.dates.front();
            const TradeDate last = prices.bars.dates.back();
            report.firstDate = std::min(report.firstDate.value_or(first), first);
            report.lastDate = std::max(report.lastDate.value_or(last), last);
        }
        ++done.filesDone;
        done.bytesDone += entry.bytes;
        if (progress && !progress(done)) {
            throw Cancelled{};
        }
    }
    writer.Commit();
}

} // namespace

Result<std::vector<PriceFileEntry>> ListPriceFiles(const ImportRequest& request) {
    return CatchProblem([&] { return ListPriceFilesOrThrow(request); });
}

ImportOutcome ImportQuotes(const fs::path& databaseFolder, const ImportRequest& request,
                           const ImportProgressFunction& progress) {
    const fs::path storeFile = QuoteStore::FileIn(databaseFolder);
    std::error_code ignored;
    const bool existed = fs::exists(storeFile, ignored);
    // The folders a first import may make, innermost first.
    std::vector<fs::path> newFolders;
    for (fs::path folder = databaseFolder; !folder.empty() && !fs::exists(folder, ignored);
         folder = folder.parent_path()) {
        newFolders.push_back(folder);
        if (folder == folder.parent_path()) {
            break;
        }
    }

    ImportOutcome outcome;
    try {
        Import(databaseFolder, request, progress, outcome.report);
        outcome.status = ImportOutcome::Status::Imported;
        return outcome;
    } catch (const Cancelled&) {
        outcome.status = ImportOutcome::Status::Cancelled;
    } catch (const ProblemError& error) {
        outcome.problem = error.problem();
        outcome.status = error.problem().kind == ProblemKind::BadInput
                             ? ImportOutcome::Status::Refused
                             : ImportOutcome::Status::Failed;
    } catch (const std::exception& error) {
        // Out of memory, a file-system error: the store is rolled back all the same.
        outcome.problem = Problem{ProblemKind::Failure, Place::InFile(Utf8Path(storeFile)),
                                  std::string("the import failed: ") + error.what()};
        outcome.status = ImportOutcome::Status::Failed;
    }
    outcome.report = {};
    if (!existed) {
        // The store was made for this import, so the folder goes back to having none.
        fs::remove(storeFile, ignored);
        fs::path journal = storeFile;
        fs::remove(journal += "-journal", ignored);
    }
    for (const fs::path& folder : newFolders) {
        fs::remove(folder, ignored); // only while empty
    }
    return outcome;
}

} // namespace marlindex
