// The formula library: folders and saved formulas, kept in one binary file "MARLXS" in the
// program folder. The layout is the one the Windows release writes, so the same file moves
// between the two programs: little-endian, fields back to back, strings as a 16-bit byte
// count and Windows-1252 bytes, variants as a 16-bit type code and the value.
#pragma once

#include "formula/ConditionRecord.h"
#include "startup/AtomicFile.h"
#include "startup/Problem.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marlindex {

inline constexpr const char* kLibraryFileName = "MARLXS";
// Every write goes to this file beside the library first and is then renamed over it.
inline constexpr const char* kLibraryTemporaryName = "~tmpsf";
// The largest library file that is read: far beyond what years of saved formulas fill, and
// small enough that a runaway file is refused before it exhausts the program.
inline constexpr InputFileKind kLibraryFileKind{"formula library", std::uintmax_t{256} << 20};

struct LibraryFolder {
    std::string name;
    std::int32_t id = 0; // the formulas name their folder by this number, as decimal text

    bool operator==(const LibraryFolder&) const = default;
};

// Everything needed to bring the main window back to the formula it saved.
struct LibraryFormula {
    std::int32_t number = 0;   // its position in the formula list, counted from 1
    std::int32_t rowCount = 0; // the main window's GridCount
    std::int16_t applyTo = 0;
    std::int16_t rangeMode = 0;
    std::int32_t rangeCount = 0;
    std::int16_t analysisType = 0;
    std::string folder; // the owning folder's id as decimal text
    std::string name;
    std::string description;
    std::string formulaText;
    std::string conditionCode;
    std::string filter;
    ConditionRecordList rows;
    // The lower bound the rows array was stored with; none for an array without dimensions,
    // which is how an empty array is stored.
    std::optional<std::int32_t> rowsLowerBound;

    bool operator==(const LibraryFormula&) const = default;

    // The rows in use: the row count, as far as the rows array backs it (a file may count a
    // pending row that was never written).
    std::size_t UsedRows() const {
        return rowCount <= 0 ? 0 : std::min(static_cast<std::size_t>(rowCount), rows.size());
    }
};

struct Library {
    std::vector<LibraryFolder> folders;
    std::vector<LibraryFormula> formulas; // formula number n is formulas[n - 1]

    bool operator==(const Library&) const = default;

    const LibraryFolder* FindFolder(std::int32_t id) const;
    // The folder a formula's folder field names; null when no folder has that id.
    const LibraryFolder* FolderOf(const LibraryFormula& formula) const;
    // The first folder of that name; null when there is none.
    const LibraryFolder* FindFolderByName(std::string_view name) const;
    // The number of the formula of that name in that folder (names compare exactly); 0 when
    // there is none.
    std::int32_t FindFormula(std::int32_t folderId, std::string_view name) const;
    const LibraryFormula* Formula(std::int32_t number) const;
    bool FolderHasFormulas(std::int32_t folderId) const;

    // The highest id in use + 1, so ids stay unique after a delete (the lowest free one above
    // 0 when the highest is the largest 32-bit number).
    std::int32_t UnusedFolderId() const;
    // A new folder "New Folder n" (n the new folder count) with an id no folder uses yet.
    const LibraryFolder& AddFolder();
    void DeleteFolder(std::int32_t folderId);
    // Stores `formula` in the folder whose id `folder` holds as decimal text: in place of
    // formula `replacing` (its number kept), or appended when `replacing` is 0. Sets the
    // number, the folder field and every row's owner field. Returns the formula's number.
    std::int32_t StoreFormula(LibraryFormula formula, std::string folder, std::int32_t replacing);
    // Removes a formula; the ones after it move up one place and are renumbered (number and
    // owner fields), so that every number stays the formula's position.
    void DeleteFormula(std::int32_t number);
};

// What the program starts with when there is no library file: three folders, no formulas.
Library DefaultLibrary();

// Reads a whole library file. Every count and length is checked against the bytes that remain
// before anything is sized from it. Bytes after the last formula are ignored (an in-place
// save of the Windows release can leave a longer old tail behind). Damage is bad input,
// placed by formula, row, field and byte offset.
Result<Library> ReadLibrary(std::string_view bytes);

// The library file's bytes. Bad input, before anything is written, for a text that
// Windows-1252 cannot hold or that is longer than 65,535 bytes (placed by formula, row and
// field).
Result<std::string> WriteLibrary(const Library& library);

std::filesystem::path LibraryPath(const std::filesystem::path& programFolder);

// The library the program works on: its file as read, or the default library when there is
// no file yet (which is not a problem: the first save writes it).
struct LoadedLibrary {
    Library library;
    bool fromFile = false;
};
// Bad input when the file is damaged, is no regular file (a pipe, a device) or is larger than
// kLibraryFileKind allows; a failure when it cannot be read at all.
Result<LoadedLibrary> LoadLibraryFile(const std::filesystem::path& file);

// Writes the whole library through "~tmpsf" beside `file`, creating its folder when needed.
// Bad input when the library holds a text the file cannot; a failure when the write failed.
// Either way nothing was written, and the old file is untouched.
Result<void> SaveLibraryFile(const std::filesystem::path& file, const Library& library);

} // namespace marlindex
