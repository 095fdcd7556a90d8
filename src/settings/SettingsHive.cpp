#include "settings/SettingsHive.h"

#include "settings/FileHive.h"

#ifdef _WIN32
#include "settings/Win32Hive.h"
#endif

namespace marlindex {

SettingsHive OpenSettingsHive(const std::optional<std::filesystem::path>& file, bool readOnly) {
    SettingsHive result;
#ifdef _WIN32
    if (!file) {
        result.hive = std::make_unique<Win32Hive>(readOnly ? Win32Hive::Access::ReadOnly
                                                           : Win32Hive::Access::ReadWrite);
        result.place = "the registry";
        return result;
    }
#endif
    auto fileHive = std::make_unique<FileHive>(file ? *file : FileHive::DefaultPath(),
                                               readOnly ? FileHive::Access::ReadOnly
                                                        : FileHive::Access::ReadWrite);
    result.place = fileHive->file().string();
    result.loadReport = fileHive->TakeLoadReport();
    result.hive = std::move(fileHive);
    return result;
}

} // namespace marlindex
