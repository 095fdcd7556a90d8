// The Windows side, against Windows' own registry and tools as Wine provides them: the
// registry hive's code page, settings files moving to and from the registry editor, and
// marlindex-cli as an installer or a user runs it.
#include "settings/FileHive.h"
#include "settings/Win32Hive.h"
#include "startup/StartupArguments.h"
#include "support/TempFolder.h"
#include "support/TestHives.h"
#include "windows/WindowsPrograms.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace marlindex {
namespace {

using namespace std::string_literals;
using test::Quoted;
using test::RunProgram;

constexpr auto kUser = RegistryRoot::CurrentUser;

std::string Cli() {
    return Quoted(test::WindowsPath(MARLINDEX_CLI_EXE));
}

TEST(Win32Hive, TextCrossesInTheAnsiCodePageAndOtherToolsValuesReadWhole) {
    ASSERT_EQ(GetACP(), 1252u) << "the tests expect a Western Windows";
    test::Win32TestHive store;
    CProgramSettings settings = store.Settings();
    settings.WriteEntry("Path", "C:\\Caf\u00e9 \u20ac");

    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, store.Key().c_str(), 0, KEY_ALL_ACCESS, &key),
              ERROR_SUCCESS);
    wchar_t text[32] = {};
    DWORD size = sizeof text;
    DWORD type = 0;
    ASSERT_EQ(RegQueryValueExW(key, L"Path", nullptr, &type, reinterpret_cast<BYTE*>(text), &size),
              ERROR_SUCCESS);
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(std::wstring(text), L"C:\\Caf\u00e9 \u20ac");
    EXPECT_EQ(size, 10 * sizeof(wchar_t)); // with the closing NUL

    // Stored by another program through the wide functions, without a closing NUL.
    const std::wstring bare = L"Caf\u00e9";
    ASSERT_EQ(RegSetValueExW(key, L"Bare", 0, REG_SZ, reinterpret_cast<const BYTE*>(bare.data()),
                             static_cast<DWORD>(bare.size() * sizeof(wchar_t))),
              ERROR_SUCCESS);
    RegCloseKey(key);
    EXPECT_EQ(settings.ReadEntry("Bare", ""), "Caf\u00e9");
}

// One value of a settings file: where it lies and what it holds.
struct Stored {
    std::string section;
    std::string name;
    RegistryValue value;
};

TEST(RegeditRoundTrip, ASettingsFileImportsIntoTheRegistryAndAnExportOpensAsOne) {
    test::TempFolder temp;
    const auto file = temp / "from-linux.reg";
    test::Win32TestHive registry;
    const std::string key = registry.Key(); // SOFTWARE\MarlindexTests\<test>\Settings
    const std::vector<Stored> values{
        {"", "ApplyTo", {kRegString, "2\0"s}},
        {"", "RangeNumber", {kRegString, "25\0"s}},
        {"", "Path", {kRegString, "C:\\Program Files\\AmiBroker\\ \"x\" Caf\xe9 \x80\0"s}},
        {"", "Empty", {kRegString, "\0"s}},
        {"", "", {kRegString, "the default value\0"s}},
        {"", "MinOnScan", {kRegDWord, "\x01\0\0\0"s}},
        {"", "Minus", {kRegDWord, "\xff\xff\xff\xff"s}},
        {"", "Bytes", {3, "\x00\x01\xfe\xff"s}},
        {"\\Indicator\\16", "2", {kRegString, "21\0"s}},
        {"\\Indicator\\16", "1", {kRegString, "Close\0"s}},
    };
    {
        FileHive hive(file);
        for (const Stored& v : values) {
            ASSERT_TRUE(hive.WriteValue(kUser, key + v.section, v.name, v.value)) << v.name;
        }
    }

    const auto imported = RunProgram("regedit.exe /S " + Quoted(file.string()));
    ASSERT_EQ(imported.status, 0u) << imported.output;
    for (const Stored& v : values) {
        EXPECT_EQ(registry.hive().ReadValue(kUser, key + v.section, v.name), v.value)
            << v.section << " " << v.name;
    }

    // What the registry editor of today exports (version 5, UTF-16) opens as the settings.
    const auto exported = temp / "from-windows.reg";
    const auto run = RunProgram("regedit.exe /E " + Quoted(exported.string()) + " " +
                                Quoted("HKEY_CURRENT_USER\\" + key));
    ASSERT_EQ(run.status, 0u) << run.output;
    ASSERT_EQ(test::ReadBytes(exported).substr(0, 2), "\xFF\xFE");
    FileHive reread(exported, FileHive::Access::ReadOnly);
    EXPECT_FALSE(reread.TakeLoadReport());
    for (const Stored& v : values) {
        EXPECT_EQ(reread.ReadValue(kUser, key + v.section, v.name), v.value)
            << v.section << " " << v.name;
    }
}

TEST(CliUnderWine, PreferencesGoToTheRegistryAndGenerateUsesThem) {
    auto set = RunProgram(Cli() + " preferences set I162 21");
    ASSERT_EQ(set.status, 0u) << set.output;
    EXPECT_EQ(set.output, "I162\t16\t2\t21\t14\n");

    const auto query = RunProgram(
        "reg.exe query \"HKEY_CURRENT_USER\\SOFTWARE\\QRV\\Marlindex\\Settings\\Indicator\\16\" "
        "/v 2");
    ASSERT_EQ(query.status, 0u) << query.output;
    EXPECT_NE(query.output.find("    2    REG_SZ    21"), std::string::npos) << query.output;

    test::TempFolder temp;
    const auto scan = temp / "rsi.json";
    test::WriteBytes(scan, R"({"rows": [{"indicator1": "RSI", "comparison": 3,
                               "target": "Value", "value": 30}]})");
    const auto generated = RunProgram(Cli() + " generate " + Quoted(scan.string()));
    ASSERT_EQ(generated.status, 0u) << generated.output;
    EXPECT_EQ(generated.output.rfind("Filter = RSIa( Close, 21 ) < 30;\r\n", 0), 0u)
        << generated.output;
}

TEST(CliUnderWine, CustomToolsRemoveTakesTheProgramOutOfAmiBrokersList) {
    const std::string tools = "\"HKEY_CURRENT_USER\\SOFTWARE\\TJP\\Broker\\Custom Tools\"";
    for (const std::string value :
         {"/v Count /t REG_DWORD /d 2", "/v 0Name /d Marlindex", "/v 0Command /d m.exe",
          "/v 0PromptForArgs /t REG_DWORD /d 0", "/v 1Name /d Notes", "/v 1Command /d notepad.exe",
          "/v 1Args /d %f", "/v 1PromptForArgs /t REG_DWORD /d 1"}) {
        const auto added = RunProgram("reg.exe add " + tools + " " + value + " /f");
        ASSERT_EQ(added.status, 0u) << value << ": " << added.output;
    }
    const auto removed = RunProgram(Cli() + " custom-tools remove");
    ASSERT_EQ(removed.status, 0u) << removed.output;
    EXPECT_EQ(removed.output, "Removed Custom Tools entry 0.\n");

    const auto query = RunProgram("reg.exe query " + tools);
    ASSERT_EQ(query.status, 0u) << query.output;
    for (const char* line : {"    Count    REG_DWORD    0x1", "    0Name    REG_SZ    Notes",
                             "    0Args    REG_SZ    %f", "    0PromptForArgs    REG_DWORD    0x1",
                             "    1Name    REG_SZ    Notes"}) {
        EXPECT_NE(query.output.find(line), std::string::npos) << line << "\n" << query.output;
    }
    EXPECT_EQ(RunProgram(Cli() + " custom-tools list").output, "0\tNotes\tnotepad.exe\t%f\t\t1\n");
}

TEST(WindowsPaths, TheProgramFolderIsTheFolderOfTheProgram) {
    EXPECT_EQ(DefaultProgramFolder(), ExecutableFolder());
    EXPECT_TRUE(std::filesystem::exists(ExecutableFolder() / "marlindex_windows_tests.exe"));

    // Installed inside AmiBroker's folder, the tool keeps the library beside itself.
    test::TempFolder temp;
    const auto folder = temp / "AmiBroker" / "Marlindex";
    std::filesystem::create_directories(folder);
    std::filesystem::copy_file(test::WindowsPath(MARLINDEX_CLI_EXE), folder / "marlindex-cli.exe");
    const auto scan = temp / "rsi.json";
    test::WriteBytes(scan, R"({"name": "Low RSI", "rows": [{"indicator1": "RSI",
                               "comparison": 3, "target": "Value", "value": 30}]})");
    const std::string cli = Quoted((folder / "marlindex-cli.exe").string());
    const auto imported =
        RunProgram(cli + " library import " + Quoted(scan.string()) + " --folder Explorations");
    ASSERT_EQ(imported.status, 0u) << imported.output;
    EXPECT_TRUE(std::filesystem::exists(folder / "MARLXS"));
    EXPECT_EQ(RunProgram(cli + " library list").output, "Explorations\tLow RSI\texploration\n");
}

} // namespace
} // namespace marlindex
