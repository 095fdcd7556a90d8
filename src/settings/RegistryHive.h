// The key/value store under the settings: a tree of keys under predefined roots, each key
// holding named values of a type and raw bytes. Windows has its registry; elsewhere a
// REGEDIT4 text file plays the same part (FileHive).
//
// Key paths and value names are Windows-1252 bytes, as the registry's ANSI functions take
// them; callers in the program convert from UTF-8 first (CProgramSettings does).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace marlindex {

enum class RegistryRoot : std::uint32_t {
    ClassesRoot = 0x80000000u,
    CurrentUser = 0x80000001u,
    LocalMachine = 0x80000002u,
    Users = 0x80000003u,
    CurrentConfig = 0x80000005u,
};

// Value type codes, as the registry numbers them. Other codes are kept as they come.
inline constexpr std::uint32_t kRegString = 1; // REG_SZ
inline constexpr std::uint32_t kRegDWord = 4;  // REG_DWORD, 4 bytes little-endian

struct RegistryValue {
    std::uint32_t type = kRegString;
    std::string data; // the bytes exactly as stored; a REG_SZ written by the program ends in NUL

    bool operator==(const RegistryValue&) const = default;
};

class RegistryHive {
public:
    virtual ~RegistryHive() = default;

    // The value `name` of the key `path` under `root`. Key paths are backslash-separated;
    // letter case does not matter and empty segments are ignored ("Settings\" is
    // "Settings"). nullopt when the key or the value does not exist or cannot be read.
    virtual std::optional<RegistryValue> ReadValue(RegistryRoot root, std::string_view path,
                                                   std::string_view name) = 0;

    // Creates the key and every missing key above it, then stores the value, replacing one
    // of the same name (whatever its letter case). false when it could not be stored.
    virtual bool WriteValue(RegistryRoot root, std::string_view path, std::string_view name,
                            const RegistryValue& value) = 0;

    // Removes the value `name` of the key `path`; the key itself stays. true when the value
    // is gone afterwards, also when it never existed; false when it could not be removed.
    virtual bool DeleteValue(RegistryRoot root, std::string_view path, std::string_view name) = 0;
};

} // namespace marlindex
