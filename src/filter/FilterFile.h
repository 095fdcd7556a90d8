// The filter file "tempFilter.txt" in the database folder: five sections (markets, groups,
// sectors, industries, watch lists), each a heading line and then one line per item, a mark
// digit, a TAB and the item's name. Windows-1252 with CR LF on disk, as the Windows release
// wrote it; UTF-8 inside the program.
#pragma once

#include "startup/Problem.h"

#include <array>
#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace marlindex {

inline constexpr std::string_view kFilterFileName = "tempFilter.txt";
inline constexpr std::string_view kFilterBackupName = "tempFilter.bak";

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

// Reads the file's bytes. A mark other than "0" or "1" counts as excluded; a heading is
// recognised by the text before the first TAB. Damage is bad input placed by its line.
Result<FilterFileContents> ParseFilterFile(std::string_view cp1252Bytes);
// As ParseFilterFile, with the file named in a problem; a file that cannot be read (or is
// missing) is a failure.
Result<FilterFileContents> ReadFilterFile(const std::filesystem::path& file);

// The file's text in UTF-8, every line ended by CR LF.
std::string FormatFilterFile(const FilterFileContents& contents);
// Writes the file in Windows-1252 through a temporary file. Bad input for a name the code page
// cannot hold, a failure when the file could not be written; the old file is then untouched.
Result<void> WriteFilterFile(const std::filesystem::path& file, const FilterFileContents& contents);

// Two numbered items in each named section, 64 watch lists, nothing marked.
FilterFileContents DefaultFilterContents();

// Writes the default file into the folder, first copying the old file to "tempFilter.bak"
// (over an earlier backup) when `backup` is set and there is an old file. When the backup
// cannot be made the old file stays as it is. Problems as WriteFilterFile's.
Result<void> RecreateFilterFile(const std::filesystem::path& databaseFolder, bool backup);

} // namespace marlindex
