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
