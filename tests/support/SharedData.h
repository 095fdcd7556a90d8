// Where the real quotes of the shared data folder are: MARLINDEX_DATA_DIR when set, else
// <source dir>/../shared/data, the source dir coming from MARLINDEX_SOURCE_DIR (set by ctest)
// or from the build (MARLINDEX_DEFAULT_SOURCE_DIR). Tests and benchmarks skip without it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <optional>

namespace marlindex::test {

inline std::optional<std::filesystem::path> SharedDataFolder() {
    namespace fs = std::filesystem;
    fs::path folder;
    if (const char* data = std::getenv("MARLINDEX_DATA_DIR"); data != nullptr && *data != 0) {
        folder = data;
    } else if (const char* source = std::getenv("MARLINDEX_SOURCE_DIR"); source != nullptr) {
        folder = fs::path(source) / ".." / "shared" / "data";
    } else {
#ifdef MARLINDEX_DEFAULT_SOURCE_DIR
        folder = fs::path(MARLINDEX_DEFAULT_SOURCE_DIR) / ".." / "shared" / "data";
#else
        return std::nullopt;
#endif
    }
    std::error_code error;
    if (!fs::is_directory(folder / "sp500_daily_2013-2018", error)) {
        return std::nullopt;
    }
    return folder;
}

inline constexpr const char* kNoSharedData =
    "the shared quotes (../shared/data, or MARLINDEX_DATA_DIR) are not here";

} // namespace marlindex::test
