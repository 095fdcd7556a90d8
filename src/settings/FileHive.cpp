#include "settings/FileHive.h"

#include "settings/RegeditText.h"
#include "startup/AtomicFile.h"

#include <cstdint>
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

// A settings file holds a few hundred values; a hundred thousand take a few megabytes.
constexpr InputFileKind kSettingsFileKind{"settings file", 32u << 20};

// Beside the settings file, the fingerprint of the damage last reported, so that reading
// commands report a damaged file once and not on every run.
fs::path DamageNotePath(const fs::path& file) {
    return fs::path(file.string() + ".damage-reported");
}

std::string Fingerprint(std::string_view bytes) {
    std::uint64_t hash = 1469598103934665603ull; // FNV-1a
    for (const char c : bytes) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211ull;
    }
    return std::to_string(bytes.size()) + " " + std::to_string(hash) + "\n";
}

// True when this damage has not been reported before (and is now noted as reported). Where
// the note cannot be kept the damage is reported every time: better twice than never.
bool NoteDamageOnce(const fs::path& file, std::string_view bytes) {
    const fs::path note = DamageNotePath(file);
    const std::string fingerprint = Fingerprint(bytes);
    if (ReadWholeFile(note) == fingerprint) {
        return false;
    }
    (void)WriteFileAtomically(note, fingerprint);
    return true;
}

void ForgetDamageNote(const fs::path& file) {
    std::error_code ec;
    const fs::path note = DamageNotePath(file);
    if (fs::exists(note, ec)) {
        fs::remove(note, ec);
    }
}

} // namespace

FileHive::FileHive(fs::path file, Access access) : file_(std::move(file)), access_(access) {
    std::error_code ec;
    if (fs::status(file_, ec).type() == fs::file_type::not_found) {
        return; // the first run: no settings yet
    }
    Result<std::string> bytes = ReadInputFile(file_, kSettingsFileKind);
    if (!bytes) {
        // Anything we cannot read must not be replaced by a file written from an empty store.
        writable_ = false;
        loadReport_ = bytes.problem().Message() +
                      ". The settings start from their defaults and changes are not saved, "
                      "so that the file is not lost.";
        return;
    }
    Result<std::string> text = RegeditFileAsRegedit4(*bytes);
    Result<RegistryData> parsed =
        text ? RegistryData::FromRegedit4(*text) : Result<RegistryData>(std::move(text.problem()));
    if (parsed) {
        data_ = std::move(parsed).value();
        ForgetDamageNote(file_);
        return;
    }
    Problem problem = std::move(parsed.problem());
    problem.where.file = file_.string();
    const std::string damage = "The settings file is damaged: " + problem.Message() + ". ";
    if (access_ == Access::ReadOnly) {
        // A reading command leaves the file alone, and says so once for this damage rather than
        // on every run, with the way out.
        writable_ = false;
        if (NoteDamageOnce(file_, *bytes)) {
            loadReport_ = damage +
                          "It was left as it is and the settings read as their defaults. To "
                          "repair it, correct that line, or run \"marlindex-cli preferences "
                          "--registry " +
                          Quoted(file_) +
                          " reset\", which keeps the damaged file beside it as .bad and starts "
                          "from the defaults. This is said once for this damage.";
        }
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
