#include "settings/MemoryHive.h"

namespace marlindex {

std::optional<RegistryValue> MemoryHive::ReadValue(RegistryRoot root, std::string_view path,
                                                   std::string_view name) {
    return data_.Read(root, path, name);
}

bool MemoryHive::WriteValue(RegistryRoot root, std::string_view path, std::string_view name,
                            const RegistryValue& value) {
    return data_.Write(root, path, name, value);
}

bool MemoryHive::DeleteValue(RegistryRoot root, std::string_view path, std::string_view name) {
    data_.Remove(root, path, name);
    return true;
}

} // namespace marlindex
