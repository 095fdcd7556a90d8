// A registry hive held in memory only: for tests, and for runs that must not touch any file.
#pragma once

#include "settings/RegistryData.h"
#include "settings/RegistryHive.h"

namespace marlindex {

class MemoryHive final : public RegistryHive {
public:
    std::optional<RegistryValue> ReadValue(RegistryRoot root, std::string_view path,
                                           std::string_view name) override;
    bool WriteValue(RegistryRoot root, std::string_view path, std::string_view name,
                    const RegistryValue& value) override;
    bool DeleteValue(RegistryRoot root, std::string_view path, std::string_view name) override;

    const RegistryData& data() const { return data_; }

private:
    RegistryData data_;
};

} // namespace marlindex
