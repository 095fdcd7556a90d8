// What the process does, decided from its command line: the install step ("I"), the
// uninstall step ("U") or the main window. The two steps are recognised only when the whole
// argument text is exactly that one letter; anything else starts the window, whose own
// options choose the database, the settings file and the program folder.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace marlindex {

enum class StartupAction { ShowMainWindow, Install, Uninstall };

struct StartupArguments {
    StartupAction action = StartupAction::ShowMainWindow;
    std::optional<std::string> databaseFolder; // --database DIR: the local host
    std::optional<std::string> registryFile;   // --registry FILE
    std::optional<std::string> programFolder;  // --program-folder DIR
    std::vector<std::string> rest;             // arguments the window does not know
};

// `args` excludes the program name. Throws std::invalid_argument, with a message naming the
// option, when an option lacks its value.
StartupArguments ParseStartupArguments(const std::vector<std::string>& args);

// The program's folder when none is given. On Windows the folder of the running program,
// which the installer puts inside AmiBroker's folder. Elsewhere $XDG_DATA_HOME/marlindex/
// Marlindex, or ~/.local/share/marlindex/Marlindex: the last folder keeps the installed name,
// whose length places the run file in the analysis application's formula folder beside it.
std::filesystem::path DefaultProgramFolder();

#ifdef _WIN32
// The folder of the running program's .exe; empty if Windows cannot say.
std::filesystem::path ExecutableFolder();
#endif

// The message that ends a failed start: lines joined by CR LF, naming the step, the error's
// number and its description.
std::string InternalErrorText(const std::string& objectEvent, long number,
                              const std::string& description);

inline constexpr const char* kNoAnalysisApplicationText =
    "You must have Amibroker open to run this program.";

} // namespace marlindex
