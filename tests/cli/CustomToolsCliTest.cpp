// marlindex-cli custom-tools: list and remove against a settings file, as an install script
// uses them.
#include "cli/RunTool.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

using test::Result;
using test::RunTool;

class CustomToolsCliTest : public ::testing::Test {
protected:
    Result Tools(const std::string& command) {
        return RunTool({"custom-tools", command, "--registry", registry_.string()});
    }

    test::TempFolder folder_;
    std::filesystem::path registry_ = folder_ / "registry.reg";
};

TEST_F(CustomToolsCliTest, ListsTheEntriesAndRemovesMarlindexOnce) {
    test::WriteBytes(registry_, "REGEDIT4\r\n\r\n"
                                "[HKEY_CURRENT_USER\\SOFTWARE\\TJP\\Broker\\Custom Tools]\r\n"
                                "\"Count\"=dword:00000002\r\n"
                                "\"0Name\"=\"Marl Index\"\r\n"
                                "\"0Command\"=\"C:\\\\AmiBroker\\\\Marlindex\\\\Marlindex.exe\"\r\n"
                                "\"0PromptForArgs\"=dword:00000000\r\n"
                                "\"1Name\"=\"Notes\"\r\n"
                                "\"1Command\"=\"notepad.exe\"\r\n"
                                "\"1Args\"=\"%f\"\r\n"
                                "\"1PromptForArgs\"=dword:00000001\r\n");
    Result result = Tools("list");
    EXPECT_EQ(result.status, kExitOk) << result.err;
    EXPECT_EQ(result.out, "0\tMarl Index\tC:\\AmiBroker\\Marlindex\\Marlindex.exe\t\t\t0\n"
                          "1\tNotes\tnotepad.exe\t%f\t\t1\n");

    result = Tools("remove");
    EXPECT_EQ(result.status, kExitOk) << result.err;
    EXPECT_EQ(result.out, "Removed Custom Tools entry 0.\n");
    EXPECT_EQ(Tools("list").out, "0\tNotes\tnotepad.exe\t%f\t\t1\n");

    const std::string after = test::ReadBytes(registry_);
    result = Tools("remove");
    EXPECT_EQ(result.status, kExitOk) << result.err;
    EXPECT_NE(result.out.find("nothing was changed"), std::string::npos) << result.out;
    EXPECT_EQ(test::ReadBytes(registry_), after);

    std::filesystem::remove(registry_);
    EXPECT_EQ(Tools("list").out, ""); // no settings, no list; nothing is made
    EXPECT_EQ(Tools("remove").status, kExitOk);
    EXPECT_FALSE(std::filesystem::exists(registry_));
}

} // namespace
} // namespace marlindex
