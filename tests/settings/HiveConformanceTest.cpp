// What every hive must do alike, checked through the settings object where the program uses
// it that way: a settings file moved between Linux and Windows must mean the same on both.
#include "support/TestHives.h"

#include <gtest/gtest.h>
#include <string>

namespace marlindex {
namespace {

using namespace std::string_literals;

constexpr auto kUser = RegistryRoot::CurrentUser;

class HiveConformance : public ::testing::TestWithParam<test::HiveKind> {
protected:
    // The hive as it is now: Reopened() replaces it.
    RegistryHive& hive() { return store_->hive(); }

    std::unique_ptr<test::TestHive> store_ = GetParam().make();
    const std::string key_ = store_->Key();
};

TEST_P(HiveConformance, ReadsNonEmptyTextAndNumbersAndOtherwiseTheDefault) {
    EXPECT_EQ(store_->Settings().ReadEntry("Never", " 0 "), " 0 "); // not even the key exists
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
        ASSERT_TRUE(hive().WriteValue(kUser, key_, c.name, c.stored)) << c.name;
    }
    store_->Reopened();
    const CProgramSettings settings = store_->Settings();
    for (const auto& c : cases) {
        EXPECT_EQ(settings.ReadEntry(c.name, "dflt"), c.reads) << c.name;
        // Type and bytes are kept, except that the registry's ANSI writer counts the NUL
        // that follows a text, as Windows does.
        if (c.name != "WithoutNul"s) {
            EXPECT_EQ(hive().ReadValue(kUser, key_, c.name), c.stored) << c.name;
        }
    }
}

TEST_P(HiveConformance, WritesCreateTheWholePathAndLastBeyondTheHive) {
    CProgramSettings settings = store_->Settings();
    settings.SetSection("Settings\\");
    settings.WriteEntry("ApplyTo", "2");
    settings.SetSection("Settings\\Indicator\\16");
    settings.WriteEntry("2", "21");
    settings.WriteDWordEntry("Count", -3);

    store_->Reopened();
    CProgramSettings reread = store_->Settings();
    // Key paths and value names ignore letter case and empty segments.
    reread.SetSection("SETTINGS");
    EXPECT_EQ(reread.ReadEntry("applyto", "0"), "2");
    reread.SetSection("\\settings\\\\indicator\\16\\");
    EXPECT_EQ(reread.ReadEntry("2", "14"), "21");
    EXPECT_EQ(reread.ReadEntry("COUNT", "0"), "-3");
    reread.SetSection("Settings\\Indicator");
    EXPECT_EQ(reread.ReadEntry("2", "14"), "14");
}

TEST_P(HiveConformance, WritesCodePageTextWithANulAndLittleEndianNumbers) {
    CProgramSettings settings = store_->Settings();
    const auto stored = [&](std::string_view name) { return hive().ReadValue(kUser, key_, name); };
    settings.WriteEntry("Name", "Caf\u00e9 \u20ac");
    settings.WriteEntry("Empty", "");
    settings.WriteDWordEntry("Minus", -2);
    settings.WriteDWordEntry("Count", 0x01020304);
    EXPECT_EQ(stored("Name"), (RegistryValue{kRegString, "Caf\xe9 \x80\0"s}));
    EXPECT_EQ(stored("Empty"), (RegistryValue{kRegString, "\0"s}));
    EXPECT_EQ(stored("Minus"), (RegistryValue{kRegDWord, "\xfe\xff\xff\xff"s}));
    EXPECT_EQ(stored("Count"), (RegistryValue{kRegDWord, "\x04\x03\x02\x01"s}));
    EXPECT_EQ(settings.ReadEntry("Empty", "default"), "default");

    // Text the code page cannot hold, as value or name, is not written; the old value stays.
    settings.WriteEntry("Name", "\u65e5\u672c");
    settings.WriteEntry("\u65e5", "x");
    settings.WriteEntry("Bad", "\xff\xfe");
    EXPECT_EQ(stored("Name"), (RegistryValue{kRegString, "Caf\xe9 \x80\0"s}));
    EXPECT_FALSE(stored("Bad"));
}

TEST_P(HiveConformance, RefusesWhatTheRegistryCannotHoldAndChangesNothing) {
    const RegistryValue x{kRegString, "x\0"s};
    EXPECT_FALSE(hive().WriteValue(kUser, key_ + "\\" + std::string(256, 'k'), "n", x));
    EXPECT_FALSE(hive().ReadValue(kUser, key_ + "\\" + std::string(256, 'k'), "n"));
    EXPECT_FALSE(hive().WriteValue(kUser, key_, "nul\0name"s, x));
    EXPECT_FALSE(hive().ReadValue(kUser, key_, "nul"));
    EXPECT_FALSE(hive().WriteValue(static_cast<RegistryRoot>(0x80000004u), key_, "n", x));
    EXPECT_TRUE(hive().WriteValue(kUser, key_ + "\\" + std::string(100, 'k'), "n", x));
    EXPECT_EQ(store_->Reopened().ReadValue(kUser, key_ + "\\" + std::string(100, 'K'), "N"), x);
}

TEST_P(HiveConformance, DeletedValuesReadAsTheDefaultAndTheirKeyStays) {
    CProgramSettings settings = store_->Settings();
    settings.WriteEntry("ApplyTo", "2");
    settings.WriteEntry("Range", "1");
    EXPECT_TRUE(settings.DeleteEntry("APPLYTO"));
    EXPECT_EQ(settings.ReadEntry("ApplyTo", "0"), "0");
    EXPECT_TRUE(settings.DeleteEntry("ApplyTo")); // gone already
    settings.SetSection("Nowhere");
    EXPECT_TRUE(settings.DeleteEntry("ApplyTo")); // no such key

    store_->Reopened();
    const CProgramSettings reread = store_->Settings();
    EXPECT_EQ(reread.ReadEntry("ApplyTo", "0"), "0");
    EXPECT_EQ(reread.ReadEntry("Range", "0"), "1");
}

INSTANTIATE_TEST_SUITE_P(Hives, HiveConformance, ::testing::ValuesIn(test::AllHiveKinds()),
                         test::HiveKindName);

} // namespace
} // namespace marlindex
