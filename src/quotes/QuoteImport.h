// Import of quotes into a database folder's quote store: price files (SYMBOL.csv, or folders
// of them) and a symbols file, all in one transaction. Every file is checked before it is
// read; the first row that cannot be read stops the import and nothing of it stays, nor does
// a cancelled or failed one. The store (and the database folder) is created on the first
// import, and removed again when that first import does not complete.
#pragma once

#include "quotes/QuoteCsv.h"
#include "startup/Problem.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace marlindex {

// A file bigger than this is refused unread: 256 MiB is over a century of daily bars.
inline constexpr std::uintmax_t kMaxImportFileBytes = std::uintmax_t{256} << 20;

struct ImportRequest {
    std::optional<std::filesystem::path> symbolsFile;
    // Price files SYMBOL.csv and folders, whose *.csv files (not those of subfolders) are
    // price files.
    std::vector<std::filesystem::path> paths;
};

// A price file to import and the symbol its name gives: the name without its final ".csv",
// so BRK.B.csv holds BRK.B.
struct PriceFileEntry {
    std::filesystem::path file;
    std::string symbol;
    std::uintmax_t bytes = 0;
};

// The price files of the request's paths: a folder's in name order, each checked to be a
// regular file of sensible size. Bad input: a missing path, a device, an oversized file, a file
// not named *.csv or a symbol that comes twice.
Result<std::vector<PriceFileEntry>> ListPriceFiles(const ImportRequest& request);

struct ImportReport {
    std::size_t files = 0;      // price files read
    std::size_t symbolRows = 0; // rows of the symbols file
    std::size_t newSymbols = 0; // symbols the store did not hold before
    std::size_t bars = 0;       // bars read from the price files
    std::size_t addedBars = 0;  // of them, bars of dates their symbol had no bar on
    std::size_t replacedBars = 0;
    std::optional<TradeDate> firstDate; // the span of the bars read
    std::optional<TradeDate> lastDate;
    BarRepairs repairs;
    std::vector<RepairNote> notes; // the first kMaxRepairNotes repaired rows
};

struct ImportProgress {
    std::size_t filesDone = 0;
    std::size_t filesTotal = 0;
    std::uintmax_t bytesDone = 0;
    std::uintmax_t bytesTotal = 0;
};
// Hears before the first price file and after each; returning false cancels the import.
using ImportProgressFunction = std::function<bool(const ImportProgress&)>;

struct ImportOutcome {
    enum class Status { Imported, Refused, Failed, Cancelled };
    Status status = Status::Failed;
    ImportReport report;            // what the import did (Imported only)
    std::optional<Problem> problem; // what stopped it (Refused: the input, Failed: other)
};

ImportOutcome ImportQuotes(const std::filesystem::path& databaseFolder,
                           const ImportRequest& request,
                           const ImportProgressFunction& progress = {});

} // namespace marlindex
