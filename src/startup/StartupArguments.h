// What the process does, decided from its command line: the install step ("I"), the
// uninstall step ("U") or the main window. The two steps are recognised only when the whole
// argument text is exactly that one letter; anything else starts the window, whose own
// options choose the database, the settings file and the program folder.
#pragma once

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

} // namespace marlindex
