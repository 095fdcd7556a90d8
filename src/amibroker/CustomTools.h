// AmiBroker's Custom Tools list (its Tools menu), as AmiBroker keeps it in the registry under
// HKEY_CURRENT_USER\SOFTWARE\TJP\Broker\Custom Tools: a "Count" and, per entry n from 0,
// the values nName, nCommand, nArgs, nInitDir (text) and nPromptForArgs (a number). The
// installer adds the program there; the uninstall step ("marlindex U") takes it out.
#pragma once

#include "settings/ProgramSettings.h"

#include <optional>
#include <string>
#include <vector>

namespace marlindex {

struct CustomTool {
    int index = 0;
    std::string name;
    std::string command;
    std::string args;
    std::string initDir;
    std::string promptForArgs; // as stored: "0" or "1"
};

// A settings object on the Custom Tools key of `hive`.
CProgramSettings CustomToolsSettings(RegistryHive& hive);

// The entries 0 to Count - 1 as they read (missing values read empty, the prompt flag "0").
std::vector<CustomTool> ListCustomTools(const CProgramSettings& tools);

// Removes the first entry named "marlindex" or "marl index" (letter case aside): Count goes
// down by one and every later entry moves up one place, value by value, until an entry
// without a name. The last entry that moved keeps its old values beyond the new count, as
// AmiBroker ignores them; a match in the last place is overwritten with empty values. The
// index of the removed entry, or none when no entry matched (then nothing is written).
// Registry failures are swallowed, as by the settings object itself.
std::optional<int> RemoveCustomToolsEntry(CProgramSettings& tools);

} // namespace marlindex
