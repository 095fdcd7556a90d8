// Settings exported by today's registry editor ("Windows Registry Editor Version 5.00",
// UTF-16LE) open as the settings file.
#include "settings/RegeditText.h"

#include "settings/FileHive.h"
#include "settings/ProgramSettings.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <string>

namespace marlindex {
namespace {

using namespace std::string_literals;

// UTF-16LE with a byte-order mark, as the registry editor writes it.
std::string Utf16(std::u16string_view text) {
    std::string bytes = "\xFF\xFE";
    for (const char16_t unit : text) {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8);
    }
    return bytes;
}

const std::u16string kExport = u"Windows Registry Editor Version 5.00\r\n\r\n"
                               u"[HKEY_CURRENT_USER\\SOFTWARE\\QRV\\Marlindex\\Settings]\r\n"
                               u"\"Path\"=\"C:\\\\Caf\u00e9 \u20ac\"\r\n"
                               u"\"MinOnScan\"=dword:00000001\r\n\r\n";

TEST(RegeditText, Version5BecomesCodePageRegedit4LineForLine) {
    const auto text = RegeditFileAsRegedit4(Utf16(kExport));
    ASSERT_TRUE(text) << text.problem().Message();
    EXPECT_EQ(*text, "REGEDIT4\r\n\r\n"
                     "[HKEY_CURRENT_USER\\SOFTWARE\\QRV\\Marlindex\\Settings]\r\n"
                     "\"Path\"=\"C:\\\\Caf\xe9 \x80\"\r\n"
                     "\"MinOnScan\"=dword:00000001\r\n\r\n");
    // Edited by hand and saved as UTF-8, with a comment before the header.
    const std::string utf8 = "; mine\r\nWindows Registry Editor Version 5.00\r\n"
                             "[HKEY_CURRENT_USER\\A]\r\n\"x\"=\"\u00e9\"\r\n";
    EXPECT_EQ(*RegeditFileAsRegedit4("\xEF\xBB\xBF" + utf8),
              "; mine\r\nREGEDIT4\r\n[HKEY_CURRENT_USER\\A]\r\n\"x\"=\"\xe9\"\r\n");
    // REGEDIT4 and anything else pass unchanged, for the parser to judge.
    for (const std::string& other : {"REGEDIT4\r\n\"x\"=\"\xe9\"\r\n"s, "\xEF\xBB\xBFREGEDIT4"s,
                                     ""s, "Windows Registry Editor Version 5.0\r\n"s}) {
        EXPECT_EQ(*RegeditFileAsRegedit4(other), other);
    }
}

TEST(RegeditText, WhatTheCodePageCannotHoldOrBrokenUtf16IsRefusedWithItsLine) {
    const struct {
        std::string bytes;
        std::size_t line;
        std::string what;
    } cases[] = {
        {Utf16(u"Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\\u65e5]\r\n"), 3,
         "U+65E5"},
        {Utf16(u"Windows Registry Editor Version 5.00\r\n\"x\"=\"\xD800\"\r\n"), 2, "surrogate"},
        {Utf16(u"Windows Registry Editor Version 5.00\r\n\xDC00"), 2, "surrogate"},
        {Utf16(u"Windows Registry Editor Version 5.00\r\n") + "x", 2, "half a character"},
    };
    for (const auto& c : cases) {
        const auto text = RegeditFileAsRegedit4(c.bytes);
        ASSERT_FALSE(text);
        EXPECT_EQ(text.problem().where.line, c.line) << text.problem().Message();
        EXPECT_NE(text.problem().what.find(c.what), std::string::npos) << text.problem().Message();
    }
    // An emoji (a surrogate pair) is whole UTF-16 but no Windows-1252 character.
    const auto emoji = RegeditFileAsRegedit4(
        Utf16(u"Windows Registry Editor Version 5.00\r\n\"x\"=\"\U0001F600\"\r\n"));
    ASSERT_FALSE(emoji);
    EXPECT_NE(emoji.problem().what.find("U+1F600"), std::string::npos);
}

TEST(RegeditText, TheSettingsFileReadsAnExportAndKeepsAnUnreadableOneAside) {
    test::TempFolder temp;
    const auto file = temp / "registry.reg";
    test::WriteBytes(file, Utf16(kExport));
    {
        FileHive hive(file);
        EXPECT_FALSE(hive.TakeLoadReport());
        CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
        EXPECT_EQ(settings.ReadEntry("Path", ""), "C:\\Caf\u00e9 \u20ac");
        EXPECT_EQ(settings.ReadEntry("MinOnScan", "0"), "1");
        // The first write stores the file as REGEDIT4, with every value it held.
        settings.WriteEntry("ApplyTo", "2");
    }
    const std::string rewritten = test::ReadBytes(file);
    EXPECT_EQ(rewritten.rfind("REGEDIT4\r\n", 0), 0u) << rewritten;
    EXPECT_NE(rewritten.find("\"Path\"=\"C:\\\\Caf\xe9 \x80\""), std::string::npos) << rewritten;

    const std::string unreadable =
        Utf16(u"Windows Registry Editor Version 5.00\r\n[HKEY_CURRENT_USER\\\u65e5]\r\n");
    test::WriteBytes(file, unreadable);
    FileHive hive(file);
    const auto report = hive.TakeLoadReport();
    ASSERT_TRUE(report);
    EXPECT_NE(report->find("line 2: "), std::string::npos) << *report;
    EXPECT_EQ(test::ReadBytes(temp / "registry.reg.bad"), unreadable);
}

} // namespace
} // namespace marlindex
