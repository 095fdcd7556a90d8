// The Windows registry as a hive, through the ANSI registry functions: key paths, value names
// and text values cross in the ANSI code page, exactly as the settings have always been
// stored, so values written by earlier releases read back unchanged.
//
// Keys are opened with the rights KEY_ALL_ACCESS grants on a key itself (0x3F: query, set,
// create and enumerate subkeys, notify, link), not the standard rights, so a user who may not
// change a key's security can still use it. Failures are answered as the interface says (no
// value, false); nothing throws. The ANSI functions take a key path of at most 260
// characters (Windows converts it in a buffer of that size): far beyond the settings' own.
#pragma once

#include "settings/RegistryHive.h"

namespace marlindex {

class Win32Hive final : public RegistryHive {
public:
    enum class Access { ReadWrite, ReadOnly };

    explicit Win32Hive(Access access = Access::ReadWrite) : access_(access) {}

    std::optional<RegistryValue> ReadValue(RegistryRoot root, std::string_view path,
                                           std::string_view name) override;
    bool WriteValue(RegistryRoot root, std::string_view path, std::string_view name,
                    const RegistryValue& value) override;
    bool DeleteValue(RegistryRoot root, std::string_view path, std::string_view name) override;

private:
    Access access_;
};

} // namespace marlindex
