// The attachment to AmiBroker with a fake host, broker and window tree: the load's steps and
// their order, the two ways the load refuses, both error boxes, the watch timer's ticks on a
// fake clock, and the closing steps.
#include "amibroker/BrokerAttachment.h"

#include "filter/FilterFile.h"
#include "startup/StartupArguments.h"
#include "support/FakeWindowSystem.h"
#include "support/RecordingBroker.h"
#include "support/ScriptedPrompts.h"
#include "support/TempFolder.h"

#include <functional>
#include <gtest/gtest.h>
#include <system_error>

namespace marlindex {
namespace {

using namespace std::chrono_literals;
using Strings = std::vector<std::string>;

// The broker reports its database reads into the shared log, and may run something inside
// one (a timer firing while AmiBroker is being asked).
class WatchedBroker : public test::RecordingBroker {
public:
    explicit WatchedBroker(Strings& log) : log_(log) {}
    std::string DatabasePath() override {
        log_.push_back("DatabasePath");
        if (failPath) {
            throw BrokerError("DatabasePath: AmiBroker is busy");
        }
        if (inside) {
            inside();
        }
        return databasePath;
    }
    bool failPath = false;
    std::function<void()> inside;

private:
    Strings& log_;
};

class FakeHost : public AttachmentHost {
public:
    explicit FakeHost(Strings& log) : log_(log) {}

    std::unique_ptr<Broker> AttachBroker() override {
        log_.push_back("Attach");
        if (noAmiBroker) {
            throw BrokerError("Broker.Application: no running instance");
        }
        auto made = std::make_unique<WatchedBroker>(log_);
        made->databasePath = databasePath;
        broker = made.get();
        return made;
    }
    void SetHelpFile() override {
        log_.push_back("SetHelpFile");
        if (helpMissing) {
            throw LoadNotice(53, "File not found: ML.chm");
        }
    }
    void LoadWindowSettings() override {
        log_.push_back("LoadWindowSettings");
        if (settingsFail) {
            throw std::runtime_error("Settings cannot be read");
        }
    }
    bool WindowInTaskBar() override { return inTaskBar; }
    WindowHandle MainWindow() override { return kMainWindow; }
    void SaveWindowSettings() override { log_.push_back("SaveWindowSettings"); }
    void UnloadMainWindow() override {
        log_.push_back("UnloadMainWindow");
        if (attachment != nullptr) {
            attachment->Close();
        }
    }

    static constexpr WindowHandle kMainWindow = 7;
    bool noAmiBroker = false;
    bool helpMissing = false;
    bool settingsFail = false;
    bool inTaskBar = false;
    std::string databasePath;
    WatchedBroker* broker = nullptr;
    BrokerAttachment* attachment = nullptr;

private:
    Strings& log_;
};

FilterFileContents OneMarket(const std::string& name) {
    FilterFileContents contents;
    contents[0].push_back({kUnmarked, name});
    return contents;
}

class BrokerAttachmentTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::filesystem::create_directories(first_);
        std::filesystem::create_directories(second_);
        ASSERT_TRUE(WriteFilterFile(FilterFilePath(first_), OneMarket("Alpha")));
        ASSERT_TRUE(WriteFilterFile(FilterFilePath(second_), OneMarket("Beta")));
        host.databasePath = first_.string();
        host.attachment = &attachment;
    }

    std::string FirstMarket() {
        const auto& categories = attachment.Filter().TreeView1.categories;
        return categories.empty() || categories[0].items.empty() ? "" : categories[0].items[0].text;
    }
    LoadOutcome Attach() {
        amiBroker = windows.Add("AmiBroker - [Default]");
        return attachment.Load(start);
    }

    test::TempFolder folder_;
    std::filesystem::path first_ = folder_ / "first";
    std::filesystem::path second_ = folder_ / "second";
    test::FakeWindowSystem windows;
    // The host logs into the window calls, so the order of all steps shows in one list.
    FakeHost host{windows.calls};
    test::ScriptedPrompts prompts;
    BrokerAttachment attachment{host, windows, prompts};
    WindowHandle amiBroker = 0;
    BrokerAttachment::Clock::time_point start{};
};

TEST_F(BrokerAttachmentTest, LoadRunsItsStepsInOrderAndDocksOntoAmiBroker) {
    windows.Add("Notepad");
    ASSERT_EQ(Attach(), LoadOutcome::Attached);
    const std::string main = std::to_string(FakeHost::kMainWindow);
    EXPECT_EQ(windows.calls,
              (Strings{"Attach", "SetHelpFile", "DatabasePath", "LoadWindowSettings",
                       "LockUpdate 1", "SetParent " + main + " " + std::to_string(amiBroker),
                       "SetFocus " + main, "LockUpdate 0"}));
    EXPECT_TRUE(prompts.shown.empty());
    EXPECT_EQ(attachment.AmiBrokerWindow(), amiBroker);
    EXPECT_EQ(attachment.DatabasePath(), first_.string());
    EXPECT_EQ(FirstMarket(), "Alpha") << "the filter's lists come from AmiBroker's database";
    EXPECT_TRUE(attachment.TimerEnabled());

    // "Window in taskbar" switched on and off again: its own task bar button, then docked.
    windows.calls.clear();
    attachment.WindowInTaskBarChanged(true);
    attachment.WindowInTaskBarChanged(false);
    EXPECT_EQ(windows.calls, (Strings{"SetParent " + main + " 0",
                                      "SetParent " + main + " " + std::to_string(amiBroker)}));
}

TEST_F(BrokerAttachmentTest, AHiddenAmiBrokerWindowGivesOnlyTheMessageAndTheWindowUnloads) {
    windows.Add("AmiBroker - [Default]", test::FakeWindowSystem::kDesktop, false);
    EXPECT_EQ(attachment.Load(start), LoadOutcome::NotOpen);
    ASSERT_EQ(prompts.shown.size(), 1u);
    EXPECT_EQ(prompts.shown[0].text, kNoAnalysisApplicationText);
    EXPECT_EQ(prompts.shown[0].icon, PromptIcon::Exclamation);
    // Drawing thaws before the message; the unload saves the settings the load read.
    EXPECT_EQ(Strings(windows.calls.begin() + 4, windows.calls.end()),
              (Strings{"LockUpdate 1", "LockUpdate 0", "UnloadMainWindow", "SaveWindowSettings"}));
    EXPECT_FALSE(attachment.TimerEnabled());
}

TEST_F(BrokerAttachmentTest, NoAmiBrokerToAttachToGivesOnlyTheMessageAndSavesNothing) {
    host.noAmiBroker = true;
    EXPECT_EQ(Attach(), LoadOutcome::NotOpen);
    ASSERT_EQ(prompts.shown.size(), 1u);
    EXPECT_EQ(prompts.shown[0].text, kNoAnalysisApplicationText);
    EXPECT_EQ(windows.calls, Strings{"Attach"});
    attachment.Close();
    EXPECT_EQ(windows.calls, Strings{"Attach"});
}

TEST_F(BrokerAttachmentTest, AFailedStepEndsTheLoadWithTheInternalErrorBox) {
    host.settingsFail = true;
    EXPECT_EQ(Attach(), LoadOutcome::Failed);
    ASSERT_EQ(prompts.shown.size(), 1u);
    EXPECT_EQ(prompts.shown[0].title, "Marlindex - frmMain Load");
    EXPECT_EQ(prompts.shown[0].icon, PromptIcon::Exclamation);
    EXPECT_EQ(prompts.shown[0].text,
              "An internal application error occured. This could be the result of some\r\n"
              "instability within AmiBroker. Please lodge a bug report noting the following "
              "details:\r\n"
              "Object/Event: frmMain Load\r\n"
              "Error Number: 0\r\n"
              "Error Description: Settings cannot be read");
    // The program ends at once: no docking, no timer, and closing saves nothing.
    EXPECT_EQ(windows.calls.back(), "LoadWindowSettings");
    EXPECT_FALSE(attachment.TimerEnabled());
    attachment.Close();
    EXPECT_EQ(windows.calls.back(), "LoadWindowSettings");
}

TEST_F(BrokerAttachmentTest, AFailureWhileDrawingIsFrozenThawsItBeforeTheBox) {
    // The window tree breaks while it is walked: the desktop has gone.
    class BrokenTree : public test::FakeWindowSystem {
    public:
        WindowHandle FirstChild(WindowHandle) override {
            throw std::system_error(std::make_error_code(std::errc::io_error), "no desktop");
        }
    } broken;
    Strings calls;
    FakeHost away{calls};
    BrokerAttachment attaching(away, broken, prompts);
    EXPECT_EQ(attaching.Load(start), LoadOutcome::Failed);
    EXPECT_EQ(broken.calls, (Strings{"LockUpdate 1", "LockUpdate 0"}));
    ASSERT_EQ(prompts.shown.size(), 1u);
    EXPECT_NE(
        prompts.shown[0].text.find(
            "Error Number: " + std::to_string(std::make_error_code(std::errc::io_error).value()) +
            "\r\nError Description: no desktop"),
        std::string::npos);
}

TEST_F(BrokerAttachmentTest, AMissingOptionalPartIsReportedAndTheLoadGoesOn) {
    host.helpMissing = true;
    EXPECT_EQ(Attach(), LoadOutcome::Attached);
    ASSERT_EQ(prompts.shown.size(), 1u);
    EXPECT_EQ(prompts.shown[0].title, "Marlindex - Form Load");
    EXPECT_EQ(prompts.shown[0].icon, PromptIcon::Exclamation);
    EXPECT_EQ(prompts.shown[0].text, "An error has occured while Marlindex was loading.\r\n"
                                     "Please lodge a bug report noting the following details:\r\n"
                                     "Object/Event: frmMain Load\r\n"
                                     "Error Number: 53\r\n"
                                     "Error Description: File not found: ML.chm");
    EXPECT_TRUE(attachment.TimerEnabled());
}

TEST_F(BrokerAttachmentTest, TicksComeOncePerIntervalAndFollowAChangedDatabase) {
    ASSERT_EQ(Attach(), LoadOutcome::Attached);
    // The user edits the lists; a tick with the same path saves and reloads nothing.
    attachment.Filter().TreeView1.categories[0].items[0].text = "Edited";
    windows.calls.clear();
    attachment.Tick(start + 999ms);
    EXPECT_TRUE(windows.calls.empty()) << "not a second yet";
    attachment.Tick(start + 1000ms);
    EXPECT_EQ(windows.calls, Strings{"DatabasePath"});
    EXPECT_EQ(FirstMarket(), "Edited");
    ASSERT_TRUE(ReadFilterFile(FilterFilePath(first_)));
    EXPECT_EQ((*ReadFilterFile(FilterFilePath(first_)))[0][0].name, "Alpha");
    attachment.Tick(start + 1500ms);
    EXPECT_EQ(windows.calls.size(), 1u) << "the interval starts again after each tick";

    host.broker->databasePath = second_.string();
    attachment.Tick(start + 2000ms);
    EXPECT_EQ(attachment.DatabasePath(), second_.string());
    EXPECT_EQ((*ReadFilterFile(FilterFilePath(first_)))[0][0].name, "Edited")
        << "the old database keeps the user's lists";
    EXPECT_EQ(FirstMarket(), "Beta");
    EXPECT_TRUE(attachment.TimerEnabled());
    EXPECT_TRUE(prompts.shown.empty());
}

TEST_F(BrokerAttachmentTest, ATickNeverRunsInsideAnother) {
    ASSERT_EQ(Attach(), LoadOutcome::Attached);
    int nested = 0;
    host.broker->inside = [&] {
        ++nested;
        attachment.Tick(start + 5000ms);
    };
    attachment.Tick(start + 1000ms);
    EXPECT_EQ(nested, 1);
    EXPECT_TRUE(attachment.TimerEnabled());
}

TEST_F(BrokerAttachmentTest, AmiBrokerClosingEndsTheProgramInOrder) {
    ASSERT_EQ(Attach(), LoadOutcome::Attached);
    windows.Remove(amiBroker);
    windows.calls.clear();
    attachment.Tick(start + 1000ms);
    EXPECT_EQ(windows.calls, (Strings{"UnloadMainWindow", "SaveWindowSettings"}));
    EXPECT_FALSE(attachment.TimerEnabled());
    EXPECT_FALSE(attachment.Filter().IsLoaded());
    EXPECT_EQ(attachment.AttachedBroker(), nullptr);
    attachment.Tick(start + 5000ms);
    attachment.Close();
    EXPECT_EQ(windows.calls.size(), 2u) << "the timer stays off and the program closes once";
}

TEST_F(BrokerAttachmentTest, AFailedTickShowsItsBoxAndEndsTheProgram) {
    ASSERT_EQ(Attach(), LoadOutcome::Attached);
    host.broker->failPath = true;
    windows.calls.clear();
    attachment.Tick(start + 1000ms);
    ASSERT_EQ(prompts.shown.size(), 1u);
    EXPECT_EQ(prompts.shown[0].title, "Marlindex - Timer1 Timer");
    EXPECT_EQ(prompts.shown[0].icon, PromptIcon::Exclamation);
    EXPECT_EQ(prompts.shown[0].text,
              "An internal application error occured. This could be the result of some\r\n"
              "instability within AmiBroker. Please lodge a bug report noting the following "
              "details:\r\n"
              "Object/Event: Timer1 Timer  \r\n"
              "Error Number: 0\r\n"
              "Error Description: DatabasePath: AmiBroker is busy");
    EXPECT_EQ(windows.calls, (Strings{"DatabasePath", "UnloadMainWindow", "SaveWindowSettings"}));
    EXPECT_FALSE(attachment.TimerEnabled());
}

} // namespace
} // namespace marlindex
