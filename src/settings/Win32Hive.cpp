#include "settings/Win32Hive.h"

#include <limits>
#include <string>
#include <windows.h>

namespace marlindex {

namespace {

constexpr REGSAM kKeyRights = 0x3F;

HKEY RootHandle(RegistryRoot root) {
    switch (root) {
    case RegistryRoot::ClassesRoot:
        return HKEY_CLASSES_ROOT;
    case RegistryRoot::CurrentUser:
        return HKEY_CURRENT_USER;
    case RegistryRoot::LocalMachine:
        return HKEY_LOCAL_MACHINE;
    case RegistryRoot::Users:
        return HKEY_USERS;
    case RegistryRoot::CurrentConfig:
        return HKEY_CURRENT_CONFIG;
    }
    return nullptr;
}

// A key path as the registry functions take it: the hive interface ignores empty segments
// ("Settings\" is "Settings"), the registry would refuse a leading backslash. None when the
// text cannot pass through a C string.
std::optional<std::string> KeyPath(std::string_view path) {
    if (path.find('\0') != std::string_view::npos) {
        return std::nullopt;
    }
    std::string joined;
    std::size_t start = 0;
    while (start <= path.size()) {
        const std::size_t end = std::min(path.find('\\', start), path.size());
        if (end > start) {
            joined += (joined.empty() ? "" : "\\") + std::string(path.substr(start, end - start));
        }
        start = end + 1;
    }
    return joined;
}

std::optional<std::string> ValueName(std::string_view name) {
    if (name.find('\0') != std::string_view::npos) {
        return std::nullopt;
    }
    return std::string(name);
}

// An open key, closed when it goes.
class Key {
public:
    Key() = default;
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;
    ~Key() {
        if (handle != nullptr) {
            RegCloseKey(handle);
        }
    }
    HKEY handle = nullptr;
};

} // namespace

std::optional<RegistryValue> Win32Hive::ReadValue(RegistryRoot root, std::string_view path,
                                                  std::string_view name) {
    const HKEY base = RootHandle(root);
    const auto keyPath = KeyPath(path);
    const auto valueName = ValueName(name);
    if (base == nullptr || !keyPath || !valueName) {
        return std::nullopt;
    }
    Key key;
    if (RegOpenKeyExA(base, keyPath->c_str(), 0, kKeyRights, &key.handle) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    // The size first, then the bytes; another program may change the value in between, so
    // a value that grew is asked for again.
    for (int attempt = 0; attempt < 4; ++attempt) {
        DWORD type = 0;
        DWORD size = 0;
        if (RegQueryValueExA(key.handle, valueName->c_str(), nullptr, &type, nullptr, &size) !=
            ERROR_SUCCESS) {
            return std::nullopt;
        }
        std::string data(size, '\0');
        const LONG status = RegQueryValueExA(key.handle, valueName->c_str(), nullptr, &type,
                                             reinterpret_cast<BYTE*>(data.data()), &size);
        if (status == ERROR_MORE_DATA) {
            continue;
        }
        if (status != ERROR_SUCCESS) {
            return std::nullopt;
        }
        // Text in the ANSI code page can be shorter than the size first given.
        data.resize(size);
        return RegistryValue{type, std::move(data)};
    }
    return std::nullopt;
}

bool Win32Hive::WriteValue(RegistryRoot root, std::string_view path, std::string_view name,
                           const RegistryValue& value) {
    const HKEY base = RootHandle(root);
    const auto keyPath = KeyPath(path);
    const auto valueName = ValueName(name);
    if (access_ == Access::ReadOnly || base == nullptr || !keyPath || !valueName ||
        value.data.size() > std::numeric_limits<DWORD>::max()) {
        return false;
    }
    Key key;
    if (RegCreateKeyExA(base, keyPath->c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, kKeyRights,
                        nullptr, &key.handle, nullptr) != ERROR_SUCCESS) {
        return false;
    }
    return RegSetValueExA(key.handle, valueName->c_str(), 0, value.type,
                          reinterpret_cast<const BYTE*>(value.data.data()),
                          static_cast<DWORD>(value.data.size())) == ERROR_SUCCESS;
}

bool Win32Hive::DeleteValue(RegistryRoot root, std::string_view path, std::string_view name) {
    const HKEY base = RootHandle(root);
    const auto keyPath = KeyPath(path);
    const auto valueName = ValueName(name);
    if (base == nullptr || !keyPath || !valueName) {
        return true; // such a value cannot exist
    }
    Key key;
    const LONG opened = RegOpenKeyExA(base, keyPath->c_str(), 0, kKeyRights, &key.handle);
    if (opened == ERROR_FILE_NOT_FOUND) {
        return true; // no key, so no value
    }
    if (opened != ERROR_SUCCESS) {
        return false;
    }
    if (RegQueryValueExA(key.handle, valueName->c_str(), nullptr, nullptr, nullptr, nullptr) ==
        ERROR_FILE_NOT_FOUND) {
        return true;
    }
    if (access_ == Access::ReadOnly) {
        return false;
    }
    const LONG deleted = RegDeleteValueA(key.handle, valueName->c_str());
    return deleted == ERROR_SUCCESS || deleted == ERROR_FILE_NOT_FOUND;
}

} // namespace marlindex
