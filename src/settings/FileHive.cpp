#include "settings/FileHive.h"

#include "settings/RegeditText.h"
#include "startup/AtomicFile.h"

#include <cstdlib>
#include <exception>
#include <system_error>
#include <utility>

namespace marlindex {

namespace fs = std::filesystem;

namespace {

std::string Quoted(const fs::path& path) {
    return "\"" + path.string() + "\"";
}

} // namespace

FileHive::FileHive(fs::path file, Access access) : file_(std::move(file)), access_(access) {
    std::error_code ec;
    const auto status = fs::status(file_, ec);
    if (status.type() == fs::file_type::not_found) {
        return; // the first run: no settings yet
    }
    // Anything we cannot read must not be replaced by a file written from an empty store.
    if (ec || status.type() != fs::file_type::regular) {
        writable_ = false;
        loadReport_ = "The settings file " + Quoted(file_) + " is not a file that can be read" +
                      (ec ? " (" + ec.message() + ")" : std::string()) +
                      ". The settings start from their defaults and changes are not saved.";
        return;
    }
    std::optional<std::string> bytes;
    try {
        bytes = ReadWholeFile(file_, &ec);
    } catch (const std::exception&) {
        // A read error inside the stream surfaces as an exception rather than as nullopt.
        ec = std::make_error_code(std::errc::io_error);
    }
    if (!bytes) {
        writable_ = false;
        loadReport_ = "The settings file " + Quoted(file_) + " cannot be read (" + ec.message() +
                      "). The settings start from their defaults and changes are not saved, "
                      "so that the file is not lost.";
        return;
    }
    Result<std::string> text = RegeditFileAsRegedit4(*bytes);
    Result<RegistryData> parsed =
        text ? RegistryData::FromRegedit4(*text) : Result<RegistryData>(std::move(text.problem()));
    if (parsed) {
        data_ = std::move(parsed).value();
        return;
    }
    Problem problem = std::move(parsed.problem());
    problem.where.file = file_.string();
    const std::string damage = "The settings file is damaged: " + problem.Message() + ". ";
    if (access_ == Access::ReadOnly) {
        writable_ = false;
        loadReport_ = damage + "It was left as it is; the settings read as their defaults.";
        return;
    }
    if (const auto keptAt = KeepAside(file_, ".bad")) {
        loadReport_ = damage + "It was moved to " + Quoted(*keptAt) +
                      " and the settings start from their defaults.";
    } else {
        writable_ = false;
        loadReport_ = damage + "It could not be moved aside, so it was left as it is; the settings "
                               "start from their defaults and changes are not saved.";
    }
}

fs::path FileHive::DefaultPath() {
    // Relative values are ignored, as the XDG base directory rules ask.
    const char* config = std::getenv("XDG_CONFIG_HOME");
    fs::path base;
    if (config != nullptr && fs::path(config).is_absolute()) {
        base = config;
    } else if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
        base = fs::path(home) / ".config";
    } else {
        base = ".config";
    }
    return base / "marlindex" / "registry.reg";
}

std::optional<RegistryValue> FileHive::ReadValue(RegistryRoot root, std::string_view path,
                                                 std::string_view name) {
    return data_.Read(root, path, name);
}

bool FileHive::WriteValue(RegistryRoot root, std::string_view path, std::string_view name,
                          const RegistryValue& value) {
    if (access_ == Access::ReadOnly || !writable_) {
        return false;
    }
    // Change a copy, so that a write that cannot be saved is not seen by later reads either.
    RegistryData next = data_;
    if (!next.Write(root, path, name, value)) {
        return false;
    }
    return Commit(std::move(next));
}

bool FileHive::DeleteValue(RegistryRoot root, std::string_view path, std::string_view name) {
    if (!data_.Read(root, path, name)) {
        return true; // nothing to remove, so nothing to save
    }
    if (access_ == Access::ReadOnly || !writable_) {
        return false;
    }
    RegistryData next = data_;
    next.Remove(root, path, name);
    return Commit(std::move(next));
}

bool FileHive::Commit(RegistryData next) {
    std::error_code ec;
    if (file_.has_parent_path()) {
        fs::create_directories(file_.parent_path(), ec);
        if (ec) {
            return false;
        }
    }
    if (WriteFileAtomically(file_, next.ToRegedit4())) {
        return false;
    }
    data_ = std::move(next);
    return true;
}

std::optional<std::string> FileHive::TakeLoadReport() {
    return std::exchange(loadReport_, {});
}

} // namespace marlindex
