#include "settings/FileHive.h"

#include "settings/ProgramSettings.h"
#include "support/HostileFiles.h"
#include "support/TempFolder.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace marlindex {
namespace {

using namespace std::string_literals;
using test::ReadBytes;
using test::TempFolder;
using test::WriteBytes;
namespace fs = std::filesystem;

constexpr auto kUser = RegistryRoot::CurrentUser;
const RegistryValue kY{kRegString, "y\0"s};

std::vector<std::string> FolderContents(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST(FileHive, WritesCreateTheFileAndAFreshHiveReadsThemBack) {
    TempFolder temp;
    const fs::path file = temp / "config/marlindex/registry.reg";
    {
        FileHive hive(file);
        EXPECT_FALSE(hive.TakeLoadReport()); // no file yet is the first run, not a problem
        CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
        EXPECT_EQ(settings.ReadEntry("ApplyTo", "0"), "0");
        EXPECT_FALSE(fs::exists(file));

        settings.SetSection("Settings\\");
        settings.WriteEntry("Path", "C:\\AmiBroker\\ \"x\" Caf\u00e9");
        settings.WriteDWordEntry("Count", -1);
        settings.SetSection("Settings\\Indicator\\16");
        settings.WriteEntry("Bars", "14");
    }
    // Only the file: each rewrite's temporary file was renamed over it.
    EXPECT_EQ(FolderContents(file.parent_path()), std::vector<std::string>{"registry.reg"});
    const std::string text = ReadBytes(file);
    EXPECT_EQ(text.rfind("REGEDIT4\r\n\r\n[HKEY_CURRENT_USER\\SOFTWARE]\r\n", 0), 0u) << text;
    EXPECT_NE(text.find("\"Count\"=dword:ffffffff\r\n"), std::string::npos) << text;
    EXPECT_NE(text.find("Caf\xe9\"\r\n"), std::string::npos) << text; // code page on disk

    FileHive again(file);
    EXPECT_FALSE(again.TakeLoadReport());
    CProgramSettings settings = CProgramSettings::ForMarlindex(again);
    EXPECT_EQ(settings.ReadEntry("path", ""), "C:\\AmiBroker\\ \"x\" Caf\u00e9");
    EXPECT_EQ(settings.ReadEntry("Count", ""), "-1");
    settings.SetSection("settings\\indicator\\16\\");
    EXPECT_EQ(settings.ReadEntry("Bars", ""), "14");
}

const std::string kDamaged = "REGEDIT4\r\n"
                             "[HKEY_CURRENT_USER\\SOFTWARE\\QRV\\Marlindex\\Settings]\r\n"
                             "\"ApplyTo\"=\"1\"\r\n"
                             "\"Count\"=dword:0000001\r\n"
                             "\"Path\"=\"C:\\temp\"\r\n";

TEST(FileHive, ReadWriteHiveMovesADamagedFileAsideAndStartsEmpty) {
    TempFolder temp;
    const fs::path file = temp / "registry.reg";
    WriteBytes(file, kDamaged);

    FileHive hive(file);
    const auto report = hive.TakeLoadReport();
    ASSERT_TRUE(report);
    for (const std::string& part : {file.string(), "line 4: "s, "registry.reg.bad"s}) {
        EXPECT_NE(report->find(part), std::string::npos) << *report;
    }
    EXPECT_EQ(report->find('\n'), std::string::npos) << *report;
    EXPECT_FALSE(hive.TakeLoadReport()); // once
    EXPECT_EQ(FolderContents(temp.path()), std::vector<std::string>{"registry.reg.bad"});
    EXPECT_EQ(ReadBytes(temp / "registry.reg.bad"), kDamaged);
    // Nothing of a damaged file is believed, not even the lines before the damage.
    EXPECT_FALSE(hive.ReadValue(kUser, "SOFTWARE\\QRV\\Marlindex\\Settings", "ApplyTo"));

    ASSERT_TRUE(hive.WriteValue(kUser, "A", "x", kY));
    EXPECT_EQ(ReadBytes(temp / "registry.reg.bad"), kDamaged);
    EXPECT_FALSE(FileHive(file).TakeLoadReport());
}

TEST(FileHive, ReadOnlyHiveLeavesADamagedFileWhereItIsAndNeverWrites) {
    TempFolder temp;
    const fs::path file = temp / "registry.reg";
    WriteBytes(file, kDamaged);

    FileHive hive(file, FileHive::Access::ReadOnly);
    const auto report = hive.TakeLoadReport();
    ASSERT_TRUE(report);
    // Where, what, that it was left, and how to repair it.
    for (const std::string& part :
         {"line 4: "s, "eight hex digits"s, "left"s, "preferences --registry"s, " reset"s}) {
        EXPECT_NE(report->find(part), std::string::npos) << *report;
    }
    EXPECT_FALSE(hive.TakeLoadReport());
    EXPECT_FALSE(hive.ReadValue(kUser, "SOFTWARE\\QRV\\Marlindex\\Settings", "ApplyTo"));
    EXPECT_FALSE(hive.WriteValue(kUser, "A", "x", kY));
    EXPECT_FALSE(hive.ReadValue(kUser, "A", "x"));
    EXPECT_EQ(ReadBytes(file), kDamaged);

    // Reading commands say it once for this damage, not on every run; other damage is news.
    EXPECT_FALSE(FileHive(file, FileHive::Access::ReadOnly).TakeLoadReport());
    const std::string otherDamage = kDamaged + "\"Broken\"=\"cut\r\n";
    WriteBytes(file, otherDamage);
    EXPECT_TRUE(FileHive(file, FileHive::Access::ReadOnly).TakeLoadReport());
    EXPECT_FALSE(FileHive(file, FileHive::Access::ReadOnly).TakeLoadReport());
    EXPECT_EQ(ReadBytes(file), otherDamage);

    // A sound file reads, but still takes no writes.
    const std::string sound = "REGEDIT4\r\n[HKEY_CURRENT_USER\\A]\r\n\"x\"=\"1\"\r\n";
    WriteBytes(file, sound);
    FileHive readOnly(file, FileHive::Access::ReadOnly);
    EXPECT_FALSE(readOnly.TakeLoadReport());
    EXPECT_FALSE(readOnly.WriteValue(kUser, "A", "x", kY));
    EXPECT_EQ(readOnly.ReadValue(kUser, "a", "X"), (RegistryValue{kRegString, "1\0"s}));
    EXPECT_EQ(ReadBytes(file), sound);
    // The note of the earlier damage goes with it, so the same damage later is news again.
    EXPECT_EQ(FolderContents(temp.path()), std::vector<std::string>{"registry.reg"});
}

TEST(FileHive, AFileThatCannotBeReadIsReportedAndNeverReplaced) {
    TempFolder temp;
    const fs::path folder = temp / "registry.reg"; // a folder where the file should be
    fs::create_directory(folder);
    FileHive hive(folder);
    const auto report = hive.TakeLoadReport();
    ASSERT_TRUE(report);
    EXPECT_NE(report->find(folder.string()), std::string::npos) << *report;
    EXPECT_FALSE(hive.WriteValue(kUser, "A", "x", kY));
    EXPECT_TRUE(fs::is_directory(folder));
}

TEST(FileHive, APipeADeviceOrARunawayFileIsRefusedAtOnceAndKept) {
    TempFolder temp;
    const fs::path pipe = temp / "pipe.reg";
    if (!test::MakeFifo(pipe)) {
        GTEST_SKIP() << "no named pipes on this system";
    }
    FileHive fromPipe(pipe); // would wait for a writer for ever if it were opened
    const auto pipeReport = fromPipe.TakeLoadReport();
    ASSERT_TRUE(pipeReport);
    EXPECT_NE(pipeReport->find("a pipe, not a regular file"), std::string::npos) << *pipeReport;
    EXPECT_FALSE(fromPipe.WriteValue(kUser, "A", "x", kY));
    EXPECT_EQ(fs::status(pipe).type(), fs::file_type::fifo);

    FileHive fromDevice(*test::EndlessDevice());
    const auto deviceReport = fromDevice.TakeLoadReport();
    ASSERT_TRUE(deviceReport);
    EXPECT_NE(deviceReport->find("a device"), std::string::npos) << *deviceReport;

    // Larger than any settings file: refused by its size, before a byte is read.
    const fs::path runaway = temp / "runaway.reg";
    {
        std::ofstream out(runaway, std::ios::binary);
        out << "REGEDIT4\r\n";
    }
    fs::resize_file(runaway, 40u << 20);
    FileHive fromRunaway(runaway);
    const auto runawayReport = fromRunaway.TakeLoadReport();
    ASSERT_TRUE(runawayReport);
    EXPECT_NE(runawayReport->find("40 MB, larger than a settings file can be (at most 32 MB)"),
              std::string::npos)
        << *runawayReport;
    EXPECT_FALSE(fromRunaway.WriteValue(kUser, "A", "x", kY));
    EXPECT_EQ(fs::file_size(runaway), 40u << 20);
}

TEST(FileHive, AWriteThatCannotBeSavedIsNotSeenByLaterReads) {
    TempFolder temp;
    WriteBytes(temp / "blocker", "a file where a folder should be");
    FileHive hive(temp / "blocker" / "registry.reg");
    EXPECT_FALSE(hive.WriteValue(kUser, "A", "x", kY));
    EXPECT_FALSE(hive.ReadValue(kUser, "A", "x"));
}

TEST(FileHive, DeletingAValueRewritesTheFileWithoutItWhenItMayWrite) {
    TempFolder temp;
    const fs::path file = temp / "registry.reg";
    FileHive hive(file);
    ASSERT_TRUE(hive.WriteValue(kUser, "A", "x", kY));
    ASSERT_TRUE(hive.WriteValue(kUser, "A", "z", kY));
    EXPECT_TRUE(hive.DeleteValue(kUser, "a", "X"));
    EXPECT_FALSE(hive.ReadValue(kUser, "A", "x"));
    EXPECT_EQ(ReadBytes(file), "REGEDIT4\r\n\r\n[HKEY_CURRENT_USER\\A]\r\n\"z\"=\"y\"\r\n\r\n");

    // What is not there is deleted already; what is there stays where nothing may be written.
    FileHive reader(file, FileHive::Access::ReadOnly);
    EXPECT_TRUE(reader.DeleteValue(kUser, "A", "x"));
    EXPECT_FALSE(reader.DeleteValue(kUser, "A", "z"));
    EXPECT_TRUE(reader.ReadValue(kUser, "A", "z"));
}

#ifndef _WIN32
TEST(FileHive, DefaultPathFollowsTheConfigFolderRules) {
    // Sets a variable for one scope and puts the old value back.
    struct ScopedEnv {
        ScopedEnv(const char* n, const char* value) : name(n) {
            if (const char* old = std::getenv(n)) {
                saved = old;
            }
            value != nullptr ? setenv(n, value, 1) : unsetenv(n);
        }
        ~ScopedEnv() { saved ? setenv(name, saved->c_str(), 1) : unsetenv(name); }
        const char* name;
        std::optional<std::string> saved;
    };
    ScopedEnv home("HOME", "/home/trader");
    {
        ScopedEnv config("XDG_CONFIG_HOME", "/etc/trader");
        EXPECT_EQ(FileHive::DefaultPath(), fs::path("/etc/trader/marlindex/registry.reg"));
    }
    for (const char* unusable : {static_cast<const char*>(nullptr), "", "relative/config"}) {
        ScopedEnv config("XDG_CONFIG_HOME", unusable);
        EXPECT_EQ(FileHive::DefaultPath(), fs::path("/home/trader/.config/marlindex/registry.reg"));
    }
}
#endif

} // namespace
} // namespace marlindex
