// Where the program's settings live: the settings file named with --registry when there is
// one; otherwise the registry on Windows and the default settings file elsewhere.
#pragma once

#include "settings/RegistryHive.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace marlindex {

struct SettingsHive {
    std::unique_ptr<RegistryHive> hive;
    // For messages: the settings file's path, or "the registry".
    std::string place;
    // What went wrong while loading a settings file (see FileHive::TakeLoadReport).
    std::optional<std::string> loadReport;
};

// A read-only hive takes no writes: reading commands can never change the settings.
SettingsHive OpenSettingsHive(const std::optional<std::filesystem::path>& file, bool readOnly);

} // namespace marlindex
