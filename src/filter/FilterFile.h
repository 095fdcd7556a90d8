// The filter file "tempFilter.txt" in the database folder: five sections (markets, groups,
// sectors, industries, watch lists), each a heading line and then one line per item, a mark
// digit, a TAB and the item's name. Windows-1252 with CR LF on disk, as the Windows release
// wrote it; UTF-8 inside the program. A file another tool saved in UTF-8 (with or without a
// byte-order mark) or with LF or CR line ends reads too; it is written back the program's way.
#pragma once

#include "startup/AtomicFile.h"
#include "startup/Problem.h"

#include <array>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marlindex {

inline constexpr std::string_view kFilterFileName = "tempFilter.txt";
// The first backup; later ones are numbered, "tempFilter.1.bak", "tempFilter.2.bak", ...
inline constexpr std::string_view kFilterBackupName = "tempFilter.bak";

// 64 watch lists and a few hundred names take a few kilobytes: a larger file is no filter file.
inline constexpr InputFileKind kFilterFileKind{"filter file", 1024 * 1024};

inline constexpr std::size_t kFilterCategoryCount = 5;
inline constexpr std::size_t kWatchlistCategory = 4;
inline constexpr int kWatchlistCount = 64; // AmiBroker's watch lists, numbered from 0

// An item's mark, which is also its image in the tree.
inline constexpr int kUnmarked = 0;
inline constexpr int kIncluded = 1;
inline constexpr int kExcluded = 2;

struct FilterCategoryInfo {
    std::string_view heading; // the section's heading line, "[Markets]"
    std::string_view text;    // the category node's text, "Markets"
    char key;                 // the category node's key and its items' key prefix
};

// The sections in file and tree order.
inline constexpr std::array<FilterCategoryInfo, kFilterCategoryCount> kFilterCategories{{
    {"[Markets]", "Markets", 'M'},
    {"[Groups]", "Groups", 'G'},
    {"[Sectors]", "Sectors", 'S'},
    {"[Industries]", "Industries", 'I'},
    {"[Watchlists]", "Watchlists", 'W'},
}};

struct FilterFileItem {
    int mark = kUnmarked;
    std::string name;

    bool operator==(const FilterFileItem&) const = default;
};

// The items of each section, in category order.
using FilterFileContents = std::array<std::vector<FilterFileItem>, kFilterCategoryCount>;

std::filesystem::path FilterFilePath(const std::filesystem::path& databaseFolder);

// Why a text cannot be an item's name: the name goes between double quotes into the filter
// expression (an AFL string, where `"` ends it and `\` starts an escape) and onto one line of
// the file after a TAB, and the file holds only what Windows-1252 can.
struct FilterNameFault {
    std::size_t position; // characters before the refused one
    std::string what;     // "a double quote (\"), which would end ..."
};
// The first reason `name` (UTF-8) cannot be a name, none when it can.
std::optional<FilterNameFault> CheckFilterName(std::string_view name);

// Reads the file's bytes: Windows-1252, or UTF-8 when they are valid UTF-8 (a UTF-8
// byte-order mark is skipped, and then the rest must be UTF-8); lines end at CR LF, LF or CR.
// A mark other than "0" or "1" counts as excluded; a heading is recognised by the text before
// the first TAB; the name is all of the line after the first TAB and must pass
// CheckFilterName. Damage is bad input placed by its line (and column, for a name).
Result<FilterFileContents> ParseFilterFile(std::string_view bytes);
// As ParseFilterFile, with the file named in a problem. Only a regular file of at most
// kFilterFileKind's bound is read; one that is missing or cannot be read is a failure.
Result<FilterFileContents> ReadFilterFile(const std::filesystem::path& file);

// The file's text in UTF-8, every line ended by CR LF.
std::string FormatFilterFile(const FilterFileContents& contents);
// The file's bytes as they go on disk: FormatFilterFile in Windows-1252. Bad input for a name
// the code page cannot hold.
Result<std::string> EncodeFilterFile(const FilterFileContents& contents);
// Writes the file in Windows-1252 through a temporary file. Bad input for a name the code page
// cannot hold, a failure when the file could not be written; the old file is then untouched.
Result<void> WriteFilterFile(const std::filesystem::path& file, const FilterFileContents& contents);

// Two numbered items in each named section, 64 watch lists, nothing marked.
FilterFileContents DefaultFilterContents();

// Copies the filter file in `databaseFolder` to the first free backup name ("tempFilter.bak",
// "tempFilter.1.bak", ...), never over an earlier backup, and gives the backup's path.
Result<std::filesystem::path> BackUpFilterFile(const std::filesystem::path& databaseFolder);

// Writes the default file into the folder, first backing up the old file (BackUpFilterFile)
// when `backup` is set and there is an old file; gives where the old file was kept, none when
// no backup was made. When the backup cannot be made the old file stays as it is. Other
// problems as WriteFilterFile's.
Result<std::optional<std::filesystem::path>>
RecreateFilterFile(const std::filesystem::path& databaseFolder, bool backup);

} // namespace marlindex
