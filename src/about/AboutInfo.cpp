#include "about/AboutInfo.h"

#include "about/Version.h"

namespace marlindex {

namespace fs = std::filesystem;

std::string ProgramVersion() {
    return kMarlindexVersion;
}

const std::vector<std::string>& SystemInfoToolNames() {
#ifdef _WIN32
    static const std::vector<std::string> names{"msinfo32.exe"};
#else
    // KDE's and the GTK desktops' information centres, then the stand-alone ones.
    static const std::vector<std::string> names{"kinfocenter", "hardinfo2", "hardinfo",
                                                "gnome-system-monitor", "hwinfo-gui"};
#endif
    return names;
}

std::optional<fs::path> FindSystemInfoTool(std::string_view searchPath) {
#ifdef _WIN32
    constexpr char kSeparator = ';';
#else
    constexpr char kSeparator = ':';
#endif
    std::vector<fs::path> folders;
    std::size_t start = 0;
    while (start <= searchPath.size()) {
        std::size_t end = searchPath.find(kSeparator, start);
        if (end == std::string_view::npos) {
            end = searchPath.size();
        }
        if (end > start) {
            folders.emplace_back(std::string(searchPath.substr(start, end - start)));
        }
        start = end + 1;
    }
    for (const std::string& name : SystemInfoToolNames()) {
        if (auto tool = FindHelpFile(folders, name)) {
            return tool;
        }
    }
    return std::nullopt;
}

std::optional<fs::path> FindHelpFile(const std::vector<fs::path>& folders,
                                     std::string_view fileName) {
    for (const fs::path& folder : folders) {
        std::error_code error;
        const fs::path candidate = folder / fileName;
        if (fs::is_regular_file(candidate, error)) {
            return candidate;
        }
    }
    return std::nullopt;
}

} // namespace marlindex
