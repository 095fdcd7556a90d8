#include "settings/RegistryData.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace marlindex {
namespace {

using namespace std::string_literals;

constexpr auto kUser = RegistryRoot::CurrentUser;

RegistryValue Text(std::string data) {
    return {kRegString, std::move(data)};
}

RegistryData Parse(std::string_view text) {
    auto data = RegistryData::FromRegedit4(text);
    EXPECT_TRUE(data.ok()) << data.problem().Message();
    return data ? std::move(data).value() : RegistryData{};
}

TEST(RegistryData, KeyPathsAndValueNamesIgnoreCaseAndEmptySegments) {
    RegistryData data;
    ASSERT_TRUE(data.Write(kUser, "SOFTWARE\\QRV\\Settings\\", "ApplyTo", Text("0\0"s)));
    EXPECT_EQ(data.Read(kUser, "\\software\\\\qrv\\SETTINGS", "APPLYTO"), Text("0\0"s));
    EXPECT_FALSE(data.Read(RegistryRoot::LocalMachine, "SOFTWARE\\QRV\\Settings", "ApplyTo"));
    EXPECT_FALSE(data.Read(kUser, "SOFTWARE\\QRV", "ApplyTo"));
    EXPECT_TRUE(data.HasKey(kUser, "Software\\Qrv")); // ancestors are made too

    // Another spelling replaces the value; the first spelling stays.
    ASSERT_TRUE(data.Write(kUser, "software\\qrv\\settings", "APPLYTO", Text("1\0"s)));
    EXPECT_EQ(data.ValueNames(kUser, "SOFTWARE\\QRV\\Settings"),
              std::vector<std::string>{"ApplyTo"});
    EXPECT_EQ(data.Read(kUser, "SOFTWARE\\QRV\\Settings", "ApplyTo"), Text("1\0"s));
    EXPECT_NE(data.ToRegedit4().find("[HKEY_CURRENT_USER\\SOFTWARE\\QRV\\Settings]\r\n"),
              std::string::npos);
}

TEST(RegistryData, RefusesWhatTheRegistryCannotHoldAndChangesNothing) {
    RegistryData data;
    EXPECT_FALSE(data.Write(kUser, "A", "two\nlines", Text("x\0"s)));
    EXPECT_FALSE(data.Write(kUser, "A", "nul\0name"s, Text("x\0"s)));
    EXPECT_FALSE(data.Write(kUser, "A\\" + std::string(256, 'k'), "n", Text("x\0"s)));
    std::string deep;
    for (std::size_t i = 0; i <= kMaxKeyDepth; ++i) {
        deep += "k\\";
    }
    EXPECT_FALSE(data.Write(kUser, deep, "n", Text("x\0"s)));
    EXPECT_FALSE(data.Write(static_cast<RegistryRoot>(0x80000004u), "A", "n", Text("x\0"s)));
    EXPECT_TRUE(data.empty());
    EXPECT_TRUE(data.Write(kUser, "A\\" + std::string(255, 'k'), "n", Text("x\0"s)));
}

TEST(RegistryData, WritesTheFileInRegistryEditorLayout) {
    RegistryData data;
    // Written out of order and in mixed case: keys sort case-insensitively, each before its
    // subkeys, and values keep the order they were written in.
    ASSERT_TRUE(data.Write(kUser, "Software\\b", "Zeta", Text("z\0"s)));
    ASSERT_TRUE(data.Write(kUser, "Software\\b", "", Text("default\0"s)));
    ASSERT_TRUE(data.Write(kUser, "Software\\A\\Sub", "Count", {kRegDWord, "\x0a\0\0\0"s}));
    ASSERT_TRUE(data.Write(kUser, "Software\\a", "Path", Text("C:\\Say \"hi\"\0"s)));
    ASSERT_TRUE(data.Write(RegistryRoot::LocalMachine, "X", "Raw", {3, "\x01\xff"s}));
    ASSERT_TRUE(data.Write(RegistryRoot::ClassesRoot, "", "OnRoot", {0x12345678u, ""}));

    EXPECT_EQ(data.ToRegedit4(), "REGEDIT4\r\n\r\n"
                                 "[HKEY_CLASSES_ROOT]\r\n"
                                 "\"OnRoot\"=hex(12345678):\r\n\r\n"
                                 "[HKEY_CURRENT_USER\\Software]\r\n\r\n"
                                 "[HKEY_CURRENT_USER\\Software\\A]\r\n"
                                 "\"Path\"=\"C:\\\\Say \\\"hi\\\"\"\r\n\r\n"
                                 "[HKEY_CURRENT_USER\\Software\\A\\Sub]\r\n"
                                 "\"Count\"=dword:0000000a\r\n\r\n"
                                 "[HKEY_CURRENT_USER\\Software\\b]\r\n"
                                 "\"Zeta\"=\"z\"\r\n"
                                 "@=\"default\"\r\n\r\n"
                                 "[HKEY_LOCAL_MACHINE\\X]\r\n"
                                 "\"Raw\"=hex:01,ff\r\n\r\n");
}

TEST(RegistryData, EveryValueSurvivesTheFileByteForByte) {
    const std::vector<std::pair<std::string, RegistryValue>> values = {
        {"plain", Text("Hello\0"s)},
        {"no closing NUL", Text("Hello")},
        {"zero bytes", Text("")},
        {"only NUL", Text("\0"s)},
        {"two closing NULs", Text("ab\0\0"s)},
        {"line breaks", Text("one\r\ntwo\0"s)},
        {"tab", Text("a\tb\0"s)},
        {"code page", Text("Caf\xe9 \x80 \xff\0"s)},
        {"escapes \\ \"", Text("\\\\server\\\"share\"\\\0"s)},
        {"", Text("the default value\0"s)},
        {"@", Text("a value named @\0"s)},
        {"dword", {kRegDWord, "\xff\xff\xff\xff"s}},
        {"short dword", {kRegDWord, "\x01\x02\x03"s}},
        {"long binary", {3, std::string(300, '\xa5')}},
        {"odd type", {0xfffffffeu, "\x00\x10"s}},
        {"\x01 control in name", Text("x\0"s)},
    };
    RegistryData data;
    std::vector<std::string> names;
    for (const auto& [name, value] : values) {
        ASSERT_TRUE(data.Write(kUser, "Round\\Trip", name, value)) << name;
        names.push_back(name);
    }
    const std::string text = data.ToRegedit4();
    const RegistryData reread = Parse(text);
    for (const auto& [name, value] : values) {
        EXPECT_EQ(reread.Read(kUser, "Round\\Trip", name), value) << name;
    }
    EXPECT_EQ(reread.ValueNames(kUser, "Round\\Trip"), names);
    EXPECT_EQ(reread.ToRegedit4(), text);
    // Long data is wrapped onto continuation lines of the editor's width.
    for (std::size_t start = 0, end; (end = text.find("\r\n", start)) != std::string::npos;
         start = end + 2) {
        EXPECT_LE(end - start, 80u) << text.substr(start, end - start);
    }
}

TEST(RegistryData, ReadsAHandWrittenFile) {
    const RegistryData data = Parse("\xef\xbb\xbf; written by hand\n"
                                    "\n"
                                    "REGEDIT4\n"
                                    "  ; an indented comment\n"
                                    "[hkey_current_user\\Software\\QRV\\]   \n"
                                    "\"Folder\"=\"C:\\\\Program Files\\\\\"\r\n"
                                    "\"Quote\" = \"say \\\"hi\\\"\"\n"
                                    "@=\"root default\"\n"
                                    "\"Count\"=DWORD:FFFFFFFE\n"
                                    "\"Blob\"=hex:\\\n"
                                    "  01,02,\\\n"
                                    "  03 , 0A\n"
                                    "\"Expand\"=hex(2):25,00\n"
                                    "\"Empty\"=hex(0):\n"
                                    "[HKEY_CURRENT_USER\\SOFTWARE\\qrv]\n"
                                    "\"count\"=dword:0000000a\n");
    const auto read = [&](std::string_view name) {
        return data.Read(kUser, "Software\\QRV", name);
    };
    EXPECT_EQ(read("Folder"), Text("C:\\Program Files\\\0"s));
    EXPECT_EQ(read("Quote"), Text("say \"hi\"\0"s));
    EXPECT_EQ(read(""), Text("root default\0"s));
    // A section named twice is one key; the later value wins.
    EXPECT_EQ(read("Count"), (RegistryValue{kRegDWord, "\x0a\0\0\0"s}));
    EXPECT_EQ(read("Blob"), (RegistryValue{3, "\x01\x02\x03\x0a"s}));
    EXPECT_EQ(read("Expand"), (RegistryValue{2, "%\0"s}));
    EXPECT_EQ(read("Empty"), (RegistryValue{0, ""}));

    EXPECT_TRUE(Parse("").empty());
    EXPECT_TRUE(Parse("\r\n; nothing yet\r\n").empty());
}

TEST(RegistryData, ReportsDamageWithItsLineAndNeverSkipsIt) {
    struct Damaged {
        std::string text;
        std::size_t line;
        const char* says;
    };
    const std::string head = "REGEDIT4\n\n[HKEY_CURRENT_USER\\A]\n"; // lines 1 to 3
    const std::vector<Damaged> cases = {
        {"Windows Registry Editor Version 5.00\n", 1, "REGEDIT4"},
        {"\xff\xfeR\0E\0G\0"s, 1, "NUL"}, // a UTF-16 export
        {"REGEDIT4\n\"a\"=\"b\"\n", 2, "before any"},
        {head + "[-HKEY_CURRENT_USER\\A]\n", 4, "deletion"},
        {head + "[HKCU\\A]\n", 4, "\"HKCU\""},
        {head + "[HKEY_CURRENT_USER\\B\n", 4, "closing"},
        {head + "\n\n\"x\"=\"C:\\temp\"\n", 6, "escape"},
        {head + "\"x\"=\"cut off\n", 4, "closing quote"},
        {head + "\"x\"=\"\"" + std::string(100'000, '"') + "\n", 4, "after the closing quote"},
        {head + "\"x\" \"a\"\n", 4, "\"=\""},
        {head + "\"x\"=qword:1\n", 4, "neither"},
        {head + "hello\n", 4, "expected a section"},
        {head + "\"x\"=dword:000000001\n", 4, "dword"},
        // A dword cut short would otherwise read as another number without a word.
        {head + "\"x\"=dword:0000001\n", 4, "eight hex digits"},
        {head + "\"x\"=dword:\n", 4, "eight hex digits"},
        {head + "\"x\"=dword:0000000g\n", 4, "eight hex digits"},
        {head + "\"x\"=hex:01,2,03\n", 4, "two hex digits"},
        {head + "\"x\"=hex:01,02,\n", 4, "cut short"},
        {head + "\"x\"=hex:01,\\\n", 4, "end of the file"},
        {head + "\"x\"=hex:01,\\\n  02,\\\n[HKEY_USERS\\B]\n", 6, "\"[\""},
        {head + "\"x\"=\"a\0b\"\n"s, 4, "NUL"},
    };
    for (const auto& c : cases) {
        const auto parsed = RegistryData::FromRegedit4(c.text);
        ASSERT_FALSE(parsed) << c.text.substr(0, 80);
        const Problem& error = parsed.problem();
        EXPECT_EQ(error.kind, ProblemKind::BadInput);
        EXPECT_EQ(error.Message().rfind("line " + std::to_string(c.line) + ": ", 0), 0u)
            << error.Message();
        EXPECT_NE(error.what.find(c.says), std::string::npos) << error.what;
        EXPECT_LT(error.what.size(), 200u); // quotes of the file are cut short
    }
}

TEST(RegistryData, ManyKeysAndValuesKeepTheirOrderAndLookups) {
    // Keys come out sorted whatever order they were written in; values keep theirs, and
    // lookups stay right after a removal shifts the values behind it.
    RegistryData data;
    for (int i = 300; i-- > 0;) {
        ASSERT_TRUE(data.Write(kUser, "K\\k" + std::to_string(1000 + i), "v", Text("x\0"s)));
    }
    for (int i = 0; i < 300; ++i) {
        ASSERT_TRUE(
            data.Write(kUser, "V", "n" + std::to_string(i), Text(std::to_string(i) + '\0')));
    }
    ASSERT_TRUE(data.Remove(kUser, "v", "N10"));
    EXPECT_FALSE(data.Remove(kUser, "V", "n10"));
    EXPECT_FALSE(data.Read(kUser, "V", "n10"));
    EXPECT_EQ(data.Read(kUser, "V", "N11"), Text("11\0"s));
    EXPECT_EQ(data.Read(kUser, "V", "n299"), Text("299\0"s));
    ASSERT_TRUE(data.Write(kUser, "V", "N10", Text("back\0"s)));
    const std::vector<std::string> names = data.ValueNames(kUser, "V");
    ASSERT_EQ(names.size(), 300u);
    EXPECT_EQ(names[10], "n11");
    EXPECT_EQ(names.back(), "N10"); // a value written again after removal is a new one

    const std::string text = data.ToRegedit4();
    EXPECT_LT(text.find("\\K\\k1000]"), text.find("\\K\\k1001]"));
    EXPECT_LT(text.find("\\K\\k1298]"), text.find("\\K\\k1299]"));
    const auto again = RegistryData::FromRegedit4(text);
    ASSERT_TRUE(again) << again.problem().Message();
    EXPECT_EQ(again->ToRegedit4(), text);
}

TEST(RegistryData, SurvivesHostileInput) {
    const std::string huge(4'000'000, 'x');
    EXPECT_EQ(Parse("REGEDIT4\n[HKEY_USERS\\A]\n\"v\"=\"" + huge + "\"\n")
                  .Read(RegistryRoot::Users, "A", "v"),
              Text(huge + '\0'));
    // Paths too deep or too long for the registry are refused, not followed.
    std::string deep = "REGEDIT4\n[HKEY_USERS";
    for (int i = 0; i < 200'000; ++i) {
        deep += "\\k";
    }
    EXPECT_FALSE(RegistryData::FromRegedit4(deep + "]\n"));
    EXPECT_FALSE(RegistryData::FromRegedit4("REGEDIT4\n[HKEY_USERS\\" + huge + "]\n"));

    // Cut a valid file at every length, and change one byte of it at a time: whatever
    // parses must write back to text that parses to the same thing.
    RegistryData sample;
    sample.Write(kUser, "S\\T", "text", Text("a \"quoted\" \\ text\0"s));
    sample.Write(kUser, "S\\T", "", {kRegDWord, "\x10\x20\x30\x40"s});
    sample.Write(kUser, "S\\U", "blob", {3, std::string(60, '\x7f')});
    sample.Write(kUser, "S\\U", "odd", {9, "\x00\x01"s});
    const std::string valid = sample.ToRegedit4();
    const std::string noise = "\\\"[]=,:;@-\r\n\0 x0hex(dword"s;
    std::uint32_t seed = 12345;
    const auto next = [&seed] { return seed = seed * 1664525u + 1013904223u; };
    for (std::size_t i = 0; i < valid.size() + 2000; ++i) {
        std::string text = valid.substr(0, i);
        if (i >= valid.size()) {
            text[next() % text.size()] = noise[next() % noise.size()];
        }
        if (const auto parsed = RegistryData::FromRegedit4(text)) {
            const std::string written = parsed->ToRegedit4();
            const auto again = RegistryData::FromRegedit4(written);
            ASSERT_TRUE(again) << text;
            EXPECT_EQ(again->ToRegedit4(), written);
        }
    }
}

} // namespace
} // namespace marlindex
