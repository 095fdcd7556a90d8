// A registry hive kept in a REGEDIT4 text file (the format the Windows registry editor
// exports), so the settings can be read, edited by hand and imported on Windows:
//
//   REGEDIT4
//
//   [HKEY_CURRENT_USER\SOFTWARE\QRV\Marlindex\Settings]
//   "ApplyTo"="0"
//   "Count"=dword:00000001
//
// The file is read once when the hive is made. Every write rewrites the whole file through a
// temporary file and a rename. A damaged file is never overwritten: a read-write hive moves
// it aside (".bad") and starts empty; either way the problem is reported once.
#pragma once

#include "settings/RegistryData.h"
#include "settings/RegistryHive.h"

#include <filesystem>
#include <optional>
#include <string>

namespace marlindex {

class FileHive final : public RegistryHive {
public:
    enum class Access { ReadWrite, ReadOnly };

    explicit FileHive(std::filesystem::path file, Access access = Access::ReadWrite);

    // $XDG_CONFIG_HOME/marlindex/registry.reg, or ~/.config/marlindex/registry.reg.
    static std::filesystem::path DefaultPath();

    std::optional<RegistryValue> ReadValue(RegistryRoot root, std::string_view path,
                                           std::string_view name) override;
    bool WriteValue(RegistryRoot root, std::string_view path, std::string_view name,
                    const RegistryValue& value) override;
    bool DeleteValue(RegistryRoot root, std::string_view path, std::string_view name) override;

    // What went wrong while loading (which file, which line, what was done with it), once:
    // the first call returns it and later calls return nullopt. nullopt when all was well.
    std::optional<std::string> TakeLoadReport();

    const std::filesystem::path& file() const { return file_; }

private:
    // Saves `next` as the file and, once it is saved, as the hive's contents.
    bool Commit(RegistryData next);

    std::filesystem::path file_;
    Access access_;
    bool writable_ = true; // false after a load failure that writing would make worse
    RegistryData data_;
    std::optional<std::string> loadReport_;
};

} // namespace marlindex
