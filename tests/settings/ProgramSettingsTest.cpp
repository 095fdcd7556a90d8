#include "settings/ProgramSettings.h"

#include "settings/MemoryHive.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

namespace marlindex {
namespace {

using namespace std::string_literals;

constexpr auto kUser = RegistryRoot::CurrentUser;
constexpr std::string_view kSettingsKey = "SOFTWARE\\QRV\\Marlindex\\Settings";

TEST(ProgramSettings, SectionsAddressKeysUnderThePathAsItStands) {
    MemoryHive hive;
    EXPECT_EQ(CProgramSettings(hive).KeyPath(), "SOFTWARE\\\\\\Settings");
    EXPECT_EQ(CProgramSettings(hive).RootKey(), RegistryRoot::LocalMachine);

    CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    EXPECT_EQ(settings.KeyPath(), kSettingsKey);
    settings.SetSection("Settings\\");
    settings.WriteEntry("ApplyTo", "2");
    settings.SetSection("Settings\\Indicator\\16");
    settings.WriteEntry("ApplyTo", "deeper");
    EXPECT_TRUE(hive.data().HasKey(kUser, "SOFTWARE\\QRV\\Marlindex\\Settings\\Indicator"));

    settings.SetSection("settings");
    EXPECT_EQ(settings.ReadEntry("APPLYTO", "0"), "2");
    settings.SetSection("SETTINGS\\indicator\\16\\");
    EXPECT_EQ(settings.ReadEntry("applyto", "0"), "deeper");
    settings.SetSection("Settings\\Indicator");
    EXPECT_EQ(settings.ReadEntry("ApplyTo", "0"), "0");
}

TEST(ProgramSettings, ReadsNonEmptyTextAndNumbersAndOtherwiseTheDefault) {
    MemoryHive hive;
    const CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    EXPECT_EQ(settings.ReadEntry("Never", " 0 "), " 0 "); // not even the key exists

    const struct {
        const char* name;
        RegistryValue stored;
        std::string reads; // with the default "dflt"
    } cases[] = {
        {"WithNul", {kRegString, "abc\0"s}, "abc"},
        {"WithoutNul", {kRegString, "abc"}, "abc"}, // stored by another tool
        {"TwoNuls", {kRegString, "abc\0\0"s}, "abc\0"s},
        {"CodePage", {kRegString, "Caf\xe9 \x80\0"s}, "Caf\u00e9 \u20ac"},
        {"EmptyText", {kRegString, "\0"s}, "dflt"},
        {"NoBytes", {kRegString, ""}, "dflt"},
        {"One", {kRegDWord, "\x01\0\0\0"s}, "1"},
        {"MinusOne", {kRegDWord, "\xff\xff\xff\xff"s}, "-1"},
        {"Largest", {kRegDWord, "\xff\xff\xff\x7f"s}, "2147483647"},
        {"ShortNumber", {kRegDWord, "\x01\0"s}, "dflt"},
        {"Binary", {3, "abc"}, "dflt"},
        {"Expand", {2, "%TEMP%\0"s}, "dflt"},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(hive.WriteValue(kUser, kSettingsKey, c.name, c.stored));
    }
    for (const auto& c : cases) {
        EXPECT_EQ(settings.ReadEntry(c.name, "dflt"), c.reads) << c.name;
    }
    EXPECT_EQ(settings.ReadEntry("Never", ""), "");
}

TEST(ProgramSettings, WritesCodePageTextWithANulAndLittleEndianNumbers) {
    MemoryHive hive;
    CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    const auto stored = [&](std::string_view name) {
        return hive.data().Read(kUser, kSettingsKey, name);
    };
    settings.WriteEntry("Name", "Caf\u00e9 \u20ac");
    settings.WriteEntry("Empty", "");
    settings.WriteDWordEntry("Minus", -2);
    settings.WriteDWordEntry("Count", 0x01020304);
    EXPECT_EQ(stored("Name"), (RegistryValue{kRegString, "Caf\xe9 \x80\0"s}));
    EXPECT_EQ(stored("Empty"), (RegistryValue{kRegString, "\0"s}));
    EXPECT_EQ(stored("Minus"), (RegistryValue{kRegDWord, "\xfe\xff\xff\xff"s}));
    EXPECT_EQ(stored("Count"), (RegistryValue{kRegDWord, "\x04\x03\x02\x01"s}));

    // Text the code page cannot hold, as value or name, is not written; the old value stays.
    settings.WriteEntry("Name", "\u65e5\u672c");
    settings.WriteEntry("\u65e5", "x");
    settings.WriteEntry("Bad", "\xff\xfe");
    EXPECT_EQ(stored("Name"), (RegistryValue{kRegString, "Caf\xe9 \x80\0"s}));
    EXPECT_EQ(hive.data().ValueNames(kUser, kSettingsKey).size(), 4u);
}

TEST(ProgramSettings, SwallowsStoreFailures) {
    class BrokenHive final : public RegistryHive {
    public:
        std::optional<RegistryValue> ReadValue(RegistryRoot, std::string_view,
                                               std::string_view) override {
            throw std::runtime_error("registry gone");
        }
        bool WriteValue(RegistryRoot, std::string_view, std::string_view,
                        const RegistryValue&) override {
            ++writes;
            throw std::runtime_error("registry gone");
        }
        bool DeleteValue(RegistryRoot, std::string_view, std::string_view) override {
            throw std::runtime_error("registry gone");
        }
        int writes = 0;
    } hive;
    CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    EXPECT_EQ(settings.ReadEntry("ApplyTo", "0"), "0");
    EXPECT_NO_THROW(settings.WriteEntry("ApplyTo", "1"));
    EXPECT_NO_THROW(settings.WriteDWordEntry("Count", 1));
    EXPECT_EQ(hive.writes, 2);
    EXPECT_FALSE(settings.DeleteEntry("ApplyTo"));
}

} // namespace
} // namespace marlindex
