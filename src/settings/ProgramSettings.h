// CProgramSettings: named text and number values under one registry key, the key being made
// of five properties. The program's own values live under
// HKEY_CURRENT_USER\SOFTWARE\QRV\Marlindex\Settings; the indicator defaults one level deeper,
// under Settings\Indicator\<index>.
#pragma once

#include "settings/RegistryHive.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace marlindex {

class CProgramSettings {
public:
    // Defaults as constructed: HKEY_LOCAL_MACHINE, "SOFTWARE", "", "", "Settings".
    explicit CProgramSettings(RegistryHive& hive);

    // A settings object on HKEY_CURRENT_USER\SOFTWARE\<regBase>\<program>\<section>.
    static CProgramSettings ForUserKey(RegistryHive& hive, std::string regBase, std::string program,
                                       std::string section);
    // The shared settings object of the program: HKEY_CURRENT_USER\SOFTWARE\QRV\Marlindex,
    // section "Settings".
    static CProgramSettings ForMarlindex(RegistryHive& hive);

    const std::string& MainBranch() const { return mainBranch_; }
    void SetMainBranch(std::string value) { mainBranch_ = std::move(value); }
    const std::string& Program() const { return program_; }
    void SetProgram(std::string value) { program_ = std::move(value); }
    const std::string& RegBase() const { return regBase_; }
    void SetRegBase(std::string value) { regBase_ = std::move(value); }
    RegistryRoot RootKey() const { return rootKey_; }
    void SetRootKey(RegistryRoot value) { rootKey_ = value; }
    const std::string& section() const { return section_; }
    void SetSection(std::string value) { section_ = std::move(value); }

    // MainBranch\RegBase\Program\section, joined as the parts stand.
    std::string KeyPath() const { return KeyPath(section_); }
    std::string KeyPath(std::string_view section) const;

    // The stored text of `name` (UTF-8), or `defaultValue` when the value is missing, empty,
    // not text or number, or cannot be read. A REG_DWORD reads as its signed decimal text.
    std::string ReadEntry(std::string_view name, std::string_view defaultValue) const;
    // As above, for the value in `section` instead of the current section. Readers that share
    // the program's settings object read through a const reference this way (the condition
    // translation, for the indicator parameters), so reading moves nothing that others set.
    std::string ReadEntry(std::string_view section, std::string_view name,
                          std::string_view defaultValue) const;

    // Store text (REG_SZ) or a number (REG_DWORD), creating the key as needed. Failures,
    // including text that Windows-1252 cannot hold, are swallowed: the store is unchanged.
    void WriteEntry(std::string_view name, std::string_view value);
    void WriteDWordEntry(std::string_view name, std::int32_t value);

    // Removes the value `name`, so that reads return their default again. Unlike the writers
    // it says whether it worked: true when no such value is stored afterwards.
    bool DeleteEntry(std::string_view name);

private:
    std::optional<std::string> ReadValue(std::string_view section, std::string_view name) const;
    bool WriteValue(std::string_view name, const RegistryValue& value);

    RegistryHive* hive_;
    std::string mainBranch_ = "SOFTWARE";
    std::string program_;
    std::string regBase_;
    RegistryRoot rootKey_ = RegistryRoot::LocalMachine;
    std::string section_ = "Settings";
};

} // namespace marlindex
