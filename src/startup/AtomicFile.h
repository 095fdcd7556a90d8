// Whole-file reads and crash-safe whole-file writes. Every file the program writes goes
// through WriteFileAtomically: the bytes go to a temporary file in the same folder, which is
// then renamed over the target, so a crash never leaves half a file behind.
#pragma once

#include "startup/Problem.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace marlindex {

// The file's bytes, or nullopt (with `error` set) when it cannot be read. Only a regular
// file is opened: a pipe would wait for ever and a device may never end.
std::optional<std::string> ReadWholeFile(const std::filesystem::path& path,
                                         std::error_code* error = nullptr);

// What a reader expects of the file it is given: what the user calls it in a message and the
// most bytes such a file can sensibly hold, so that a runaway or hostile file is refused before
// it is read rather than exhausting the program.
struct InputFileKind {
    std::string_view name; // "filter file", "formula library"
    std::uintmax_t maxBytes;
};

// The whole of a file the user gave us, or the Problem that names the file and says why it was
// not read: unreadable (Failure); missing, not a regular file or larger than the kind allows
// (BadInput, the bound stated).
Result<std::string> ReadInputFile(const std::filesystem::path& path, const InputFileKind& kind);
// The same for bytes that arrive on a stream (standard input), named `name` in messages.
Result<std::string> ReadInputStream(std::istream& in, const std::string& name,
                                    const InputFileKind& kind);

// "1.5 MB", "600 bytes": a size as a message shows it.
std::string DescribeSize(std::uintmax_t bytes);

// Writes `bytes` to `temporaryName` (default: a unique name) beside `path`,
// then renames it over `path`. Returns an empty error code on success; on failure the
// target is untouched and the temporary file removed.
std::error_code WriteFileAtomically(const std::filesystem::path& path, std::string_view bytes,
                                    const std::filesystem::path& temporaryName = {});

// Moves a damaged file out of the way under `path` + suffix (+ a number when that is taken)
// and returns where it went, so that nothing is lost when a fresh file replaces it.
std::optional<std::filesystem::path> KeepAside(const std::filesystem::path& path,
                                               std::string_view suffix);

} // namespace marlindex
