// Things that sit where a reader expects a file and must never hang or exhaust it: a pipe
// (opening it for reading waits for a writer that never comes) and a device that never ends.
// Both exist only on POSIX systems; on Windows the helpers say so and the tests skip.
#pragma once

#include <filesystem>
#include <optional>

#ifndef _WIN32
#include <sys/stat.h>
#endif

namespace marlindex::test {

// Makes a named pipe at `path`; false where there are none.
inline bool MakeFifo(const std::filesystem::path& path) {
#ifdef _WIN32
    (void)path;
    return false;
#else
    return ::mkfifo(path.c_str(), 0600) == 0;
#endif
}

// A device that reads as endless zero bytes; nullopt where there is none.
inline std::optional<std::filesystem::path> EndlessDevice() {
#ifdef _WIN32
    return std::nullopt;
#else
    return std::filesystem::path("/dev/zero");
#endif
}

} // namespace marlindex::test
