#include "settings/ProgramSettings.h"

#include "startup/Codepage.h"

#include <exception>
#include <utility>

namespace marlindex {

CProgramSettings::CProgramSettings(RegistryHive& hive) : hive_(&hive) {}

CProgramSettings CProgramSettings::ForUserKey(RegistryHive& hive, std::string regBase,
                                              std::string program, std::string section) {
    CProgramSettings settings(hive);
    settings.SetRootKey(RegistryRoot::CurrentUser);
    settings.SetMainBranch("SOFTWARE");
    settings.SetRegBase(std::move(regBase));
    settings.SetProgram(std::move(program));
    settings.SetSection(std::move(section));
    return settings;
}

CProgramSettings CProgramSettings::ForMarlindex(RegistryHive& hive) {
    return ForUserKey(hive, "QRV", "Marlindex", "Settings");
}

std::string CProgramSettings::KeyPath(std::string_view section) const {
    return mainBranch_ + "\\" + regBase_ + "\\" + program_ + "\\" + std::string(section);
}

std::string CProgramSettings::ReadEntry(std::string_view name,
                                        std::string_view defaultValue) const {
    return ReadEntry(section_, name, defaultValue);
}

std::string CProgramSettings::ReadEntry(std::string_view section, std::string_view name,
                                        std::string_view defaultValue) const {
    try {
        auto text = ReadValue(section, name);
        if (text && !text->empty()) {
            return std::move(*text);
        }
    } catch (const std::exception&) {
        // A failed read is a missing value: the caller's default stands.
    }
    return std::string(defaultValue);
}

void CProgramSettings::WriteEntry(std::string_view name, std::string_view value) {
    try {
        auto bytes = Utf8ToCp1252(value);
        if (!bytes) {
            return;
        }
        bytes->push_back('\0');
        WriteValue(name, RegistryValue{kRegString, std::move(*bytes)});
    } catch (const std::exception&) {
        // Settings are a convenience: a failed write leaves the store as it was.
    }
}

void CProgramSettings::WriteDWordEntry(std::string_view name, std::int32_t value) {
    try {
        const auto bits = static_cast<std::uint32_t>(value);
        std::string bytes;
        for (int shift = 0; shift < 32; shift += 8) {
            bytes.push_back(static_cast<char>((bits >> shift) & 0xFFu));
        }
        WriteValue(name, RegistryValue{kRegDWord, std::move(bytes)});
    } catch (const std::exception&) {
        // As WriteEntry.
    }
}

bool CProgramSettings::DeleteEntry(std::string_view name) {
    try {
        const auto cpName = Utf8ToCp1252(name);
        const auto cpPath = Utf8ToCp1252(KeyPath());
        // A name the code page cannot hold was never stored.
        return !cpName || !cpPath || hive_->DeleteValue(rootKey_, *cpPath, *cpName);
    } catch (const std::exception&) {
        return false;
    }
}

// The value as text: REG_SZ without its one closing NUL, REG_DWORD as signed decimal.
// nullopt for anything else, including a name or path the code page cannot hold.
std::optional<std::string> CProgramSettings::ReadValue(std::string_view section,
                                                       std::string_view name) const {
    const auto cpName = Utf8ToCp1252(name);
    const auto cpPath = Utf8ToCp1252(KeyPath(section));
    if (!cpName || !cpPath) {
        return std::nullopt;
    }
    auto value = hive_->ReadValue(rootKey_, *cpPath, *cpName);
    if (!value) {
        return std::nullopt;
    }
    if (value->type == kRegString) {
        std::string& data = value->data;
        // Only one NUL goes: a value another tool stored without it reads back whole.
        if (!data.empty() && data.back() == '\0') {
            data.pop_back();
        }
        return Cp1252ToUtf8(data);
    }
    if (value->type == kRegDWord && value->data.size() == 4) {
        std::uint32_t bits = 0;
        for (std::size_t i = 4; i-- > 0;) {
            bits = (bits << 8) | static_cast<unsigned char>(value->data[i]);
        }
        return std::to_string(static_cast<std::int32_t>(bits));
    }
    return std::nullopt;
}

bool CProgramSettings::WriteValue(std::string_view name, const RegistryValue& value) {
    const auto cpName = Utf8ToCp1252(name);
    const auto cpPath = Utf8ToCp1252(KeyPath());
    if (!cpName || !cpPath) {
        return false;
    }
    return hive_->WriteValue(rootKey_, *cpPath, *cpName, value);
}

} // namespace marlindex
