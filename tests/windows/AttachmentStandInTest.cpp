// The attachment to AmiBroker on Windows' own window manager and automation, against
// broker-standin.exe started through its registration: the load finds the stand-in's window
// and docks a window of ours onto it, a tick follows a database switch, and AmiBroker closing
// ends the program and lets the stand-in go. Without a shown window only the message comes.
#include "amibroker/BrokerAttachment.h"
#include "amibroker/DispatchBrokerWin32.h"
#include "amibroker/WindowSystemWin32.h"
#include "filter/FilterFile.h"
#include "startup/StartupArguments.h"
#include "support/ScriptedPrompts.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <objbase.h>
#include <windows.h>

namespace marlindex {
namespace {

using namespace std::chrono_literals;
using Strings = std::vector<std::string>;

class StandInHost : public AttachmentHost {
public:
    std::unique_ptr<Broker> AttachBroker() override {
        auto made = std::make_unique<DispatchBroker>();
        broker = made.get();
        const Variant id = made->Application().Get("ProcessId");
        process = OpenProcess(SYNCHRONIZE | PROCESS_TERMINATE, FALSE,
                              static_cast<DWORD>(std::get<std::int32_t>(id)));
        made->Application().Call("SetDatabasePath", {databasePath});
        if (hideAmiBroker) {
            made->Application().Call("HideWindow");
        }
        return made;
    }
    void LoadWindowSettings() override { log.push_back("LoadWindowSettings"); }
    bool WindowInTaskBar() override { return false; }
    WindowHandle MainWindow() override { return reinterpret_cast<WindowHandle>(window); }
    void SaveWindowSettings() override { log.push_back("SaveWindowSettings"); }
    void UnloadMainWindow() override {
        log.push_back("UnloadMainWindow");
        attachment->Close();
    }

    HWND window = nullptr;
    HANDLE process = nullptr;
    DispatchBroker* broker = nullptr;
    BrokerAttachment* attachment = nullptr;
    std::string databasePath;
    bool hideAmiBroker = false;
    Strings log;
};

class AttachmentStandInTest : public ::testing::Test {
protected:
    void SetUp() override {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        SetEnvironmentVariableA("BROKER_STANDIN_LOG", nullptr);
        const std::pair<std::filesystem::path, std::string> databases[] = {{first_, "Alpha"},
                                                                           {second_, "Beta"}};
        for (const auto& [folder, market] : databases) {
            std::filesystem::create_directories(folder);
            FilterFileContents contents;
            contents[0].push_back({kUnmarked, market});
            ASSERT_TRUE(WriteFilterFile(FilterFilePath(folder), contents));
        }
        host_.databasePath = first_.string();
        host_.attachment = &attachment_;
        host_.window = CreateWindowExA(0, "STATIC", "Marlindex", WS_OVERLAPPEDWINDOW, 0, 0, 200,
                                       100, nullptr, nullptr, GetModuleHandleA(nullptr), nullptr);
        ASSERT_NE(host_.window, nullptr);
    }
    void TearDown() override {
        attachment_.Close();
        if (host_.process != nullptr) {
            // The stand-in ends with its last client; one that does not is ended here.
            if (WaitForSingleObject(host_.process, 10000) != WAIT_OBJECT_0) {
                TerminateProcess(host_.process, 1);
                ADD_FAILURE() << "the stand-in outlived the attachment";
            }
            CloseHandle(host_.process);
        }
        DestroyWindow(host_.window);
        CoUninitialize();
    }

    std::string FirstMarket() {
        const auto& categories = attachment_.Filter().TreeView1.categories;
        return categories.empty() || categories[0].items.empty() ? "" : categories[0].items[0].text;
    }

    test::TempFolder folder_;
    std::filesystem::path first_ = folder_ / "first";
    std::filesystem::path second_ = folder_ / "second";
    StandInHost host_;
    Win32WindowSystem windows_;
    test::ScriptedPrompts prompts_;
    BrokerAttachment attachment_{host_, windows_, prompts_};
    BrokerAttachment::Clock::time_point start_{};
};

TEST_F(AttachmentStandInTest, DocksOntoAmiBrokerFollowsItsDatabaseAndEndsWithIt) {
    ASSERT_EQ(attachment_.Load(start_), LoadOutcome::Attached)
        << (prompts_.shown.empty() ? "" : prompts_.shown[0].text);
    const HWND amiBroker = FindWindowA(nullptr, "AmiBroker - [stand-in]");
    ASSERT_NE(amiBroker, nullptr);
    EXPECT_EQ(attachment_.AmiBrokerWindow(), reinterpret_cast<WindowHandle>(amiBroker));
    EXPECT_EQ(GetAncestor(host_.window, GA_PARENT), amiBroker);
    EXPECT_EQ(attachment_.DatabasePath(), first_.string());
    EXPECT_EQ(FirstMarket(), "Alpha");

    host_.broker->Application().Call("SetDatabasePath", {second_.string()});
    attachment_.Tick(start_ + 1000ms);
    EXPECT_EQ(attachment_.DatabasePath(), second_.string());
    EXPECT_EQ(FirstMarket(), "Beta");
    EXPECT_TRUE(attachment_.TimerEnabled());

    host_.broker->Application().Call("CloseWindow");
    attachment_.Tick(start_ + 2000ms);
    EXPECT_EQ(host_.log, (Strings{"LoadWindowSettings", "UnloadMainWindow", "SaveWindowSettings"}));
    EXPECT_FALSE(attachment_.TimerEnabled());
    EXPECT_EQ(attachment_.AttachedBroker(), nullptr);
    EXPECT_TRUE(prompts_.shown.empty());
}

TEST_F(AttachmentStandInTest, AHiddenAmiBrokerWindowGivesOnlyTheMessage) {
    host_.hideAmiBroker = true;
    EXPECT_EQ(attachment_.Load(start_), LoadOutcome::NotOpen);
    ASSERT_EQ(prompts_.shown.size(), 1u);
    EXPECT_EQ(prompts_.shown[0].text, kNoAnalysisApplicationText);
    EXPECT_EQ(GetAncestor(host_.window, GA_PARENT), GetDesktopWindow());
    EXPECT_EQ(attachment_.AttachedBroker(), nullptr);
}

} // namespace
} // namespace marlindex
