// What the About box shows and starts: the program's name and version, the operating system's
// system-information tool, and the help pages that ship in the docs folder.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marlindex {

inline constexpr const char* kProgramName = "Marlindex";

// "0.1.0", from the project's version.
std::string ProgramVersion();

// The system-information tools looked for, in order of preference.
const std::vector<std::string>& SystemInfoToolNames();

// The first system-information tool found in the folders of `searchPath` (the PATH variable:
// folders separated by ':' or, on Windows, ';'); none when no tool is installed.
std::optional<std::filesystem::path> FindSystemInfoTool(std::string_view searchPath);

// The first of `folders` that holds a file named `fileName`; none when none does.
std::optional<std::filesystem::path> FindHelpFile(const std::vector<std::filesystem::path>& folders,
                                                  std::string_view fileName);

inline constexpr const char* kUserGuideFile = "user-guide.html";
inline constexpr const char* kReadMeFile = "readme.html";

} // namespace marlindex
