// The two text files an import reads: a symbol's daily bars (SYMBOL.csv, header
// Date,Open,High,Low,Close,Volume[,OpenInt]) and the symbols file (Symbol,Name,Market,Sector,
// Industry[,Group][,Watchlists]). Both are RFC 4180 CSV in UTF-8. Reading checks every row and
// repairs bars exactly as AmiBroker's ASCII importer does; the first row that cannot be read is
// the Problem of the reading, naming the file and the line. No database here: these are plain
// functions on text.
#pragma once

#include "quotes/QuoteData.h"
#include "startup/Problem.h"

#include <bitset>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marlindex {

// Reads RFC 4180 records: fields separated by commas, a field in double quotes may hold
// commas, line breaks and doubled quotes. Lines end in LF, CR LF or CR. A UTF-8 byte-order mark
// at the start is skipped, and so are blank lines.
class CsvReader {
public:
    CsvReader(std::string_view text, std::string fileName);

    // The next record into `fields` (reusing its strings); false at the end of the text.
    // Throws ProblemError for a quote that never closes or text after a closing quote.
    bool Next(std::vector<std::string>& fields);
    // The line the last record began on (1-based).
    int line() const { return recordLine_; }
    const std::string& fileName() const { return fileName_; }
    // Throws the ProblemError (bad input) `what` for the last record's line.
    [[noreturn]] void Fail(std::string what) const;

private:
    std::string_view text_;
    std::string fileName_;
    std::size_t pos_ = 0;
    int line_ = 1;
    int recordLine_ = 0;
};

// The repairs of one file or of a whole import, by kind. A row can have several.
struct BarRepairs {
    std::size_t openFromClose = 0; // an empty or zero Open took Close
    std::size_t highRaised = 0;    // an empty High, or one below max(Open, Close), became that max
    std::size_t lowFromOpenClose = 0; // an empty or zero Low became min(Open, Close)
    std::size_t rows = 0;             // rows with at least one repair

    BarRepairs& operator+=(const BarRepairs& other);
    bool operator==(const BarRepairs&) const = default;
};

// Where a repair was made and what it changed ("Open empty, took Close 69.0842").
struct RepairNote {
    std::string file;
    int line = 0;
    std::string what;
};

struct PriceFile {
    BarSeries bars; // ascending by date, whatever the file's order
    BarRepairs repairs;
    std::vector<RepairNote> notes; // the first kMaxRepairNotes repaired rows
};
inline constexpr std::size_t kMaxRepairNotes = 20;

// Reads one symbol's price file. The dates must all ascend or all descend (some vendors write
// the newest bar first); a repeated date or one against that order cannot be read. Empty or
// zero Open, empty or low High and empty or zero Low are repaired, in that order and nothing
// else: an empty Close or Volume, a text in a number field or a bad date stops the reading.
// An empty OpenInt reads as 0 (no open interest).
Result<PriceFile> ReadPriceFile(std::string_view text, const std::string& fileName);

// One row of the symbols file. Surrounding blanks of every field are dropped.
struct SymbolRow {
    int line = 0;
    std::string symbol;
    std::string name;
    std::string market;
    std::string sector;
    std::string industry;
    std::optional<std::string> group;                       // when the file has the column
    std::optional<std::bitset<kWatchListCount>> watchLists; // when the file has the column
};

// Reads the symbols file: its header names the columns (in any letter case), the first five
// in this order, then Group and Watchlists when present, in this order. Watchlists holds
// watch-list numbers 0 to 63 separated by ';'. A symbol listed twice cannot be read.
Result<std::vector<SymbolRow>> ReadSymbolsFile(std::string_view text, const std::string& fileName);

} // namespace marlindex
