#include "startup/StartupArguments.h"

#include <string>
#include <windows.h>

namespace marlindex {

std::filesystem::path ExecutableFolder() {
    std::wstring file(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length =
            GetModuleFileNameW(nullptr, file.data(), static_cast<DWORD>(file.size()));
        if (length == 0) {
            return {};
        }
        if (length < file.size()) {
            file.resize(length);
            return std::filesystem::path(file).parent_path();
        }
        file.resize(file.size() * 2); // cut short: a longer path than MAX_PATH
    }
}

} // namespace marlindex
