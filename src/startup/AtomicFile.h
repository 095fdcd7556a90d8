// Whole-file reads and crash-safe whole-file writes. Every file the program writes goes
// through WriteFileAtomically: the bytes go to a temporary file in the same folder, which is
// then renamed over the target, so a crash never leaves half a file behind.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace marlindex {

// The file's bytes, or nullopt (with `error` set) when it cannot be read.
std::optional<std::string> ReadWholeFile(const std::filesystem::path& path,
                                         std::error_code* error = nullptr);

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
