// An indicator parameter as the settings keep it: value "<position>" under
// Settings\Indicator\<index>, the place the preferences write and the translation reads.
#pragma once

#include "settings/ProgramSettings.h"

#include <string>

namespace marlindex::test {

// What is stored for the parameter, "" when nothing is.
inline std::string StoredParameter(CProgramSettings& settings, int indicator, int position) {
    settings.SetSection("Settings\\Indicator\\" + std::to_string(indicator));
    return settings.ReadEntry(std::to_string(position), "");
}

inline void StoreParameter(CProgramSettings& settings, int indicator, int position,
                           const std::string& value) {
    settings.SetSection("Settings\\Indicator\\" + std::to_string(indicator));
    settings.WriteEntry(std::to_string(position), value);
}

} // namespace marlindex::test
