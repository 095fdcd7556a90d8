#include "amibroker/BrokerAttachment.h"

#include "startup/StartupArguments.h"

#include <system_error>
#include <utility>

namespace marlindex {

namespace {

constexpr const char* kLoadStep = "frmMain Load";
// The tick's step name ends in two blanks in the report, as users' bug reports quote it.
constexpr const char* kTickStep = "Timer1 Timer  ";

} // namespace

long ErrorNumberOf(const std::exception& failure) {
    if (const auto* notice = dynamic_cast<const LoadNotice*>(&failure)) {
        return notice->Number();
    }
    if (const auto* system = dynamic_cast<const std::system_error*>(&failure)) {
        return system->code().value();
    }
    return 0;
}

std::string LoadingErrorText(const std::string& objectEvent, long number,
                             const std::string& description) {
    return "An error has occured while Marlindex was loading.\r\n"
           "Please lodge a bug report noting the following details:\r\n"
           "Object/Event: " +
           objectEvent + "\r\nError Number: " + std::to_string(number) +
           "\r\nError Description: " + description;
}

BrokerAttachment::BrokerAttachment(AttachmentHost& host, WindowSystem& windows,
                                   UserPrompts& prompts)
    : host_(host), windows_(windows), prompts_(prompts) {}

LoadOutcome BrokerAttachment::Load(Clock::time_point now) {
    bool frozen = false;
    // A step whose optional part failed is reported and the load goes on with the next step;
    // any other failure leaves the load for the one handler below.
    const auto step = [this](auto&& action) {
        try {
            action();
        } catch (const LoadNotice& notice) {
            prompts_.Inform("Marlindex - Form Load",
                            LoadingErrorText(kLoadStep, notice.Number(), notice.what()),
                            PromptIcon::Exclamation);
        }
    };
    try {
        try {
            broker_ = host_.AttachBroker();
        } catch (const BrokerError&) {
            // No AmiBroker answers: nothing was loaded, so there is nothing to save either.
            closed_ = true;
            prompts_.Inform("Marlindex", kNoAnalysisApplicationText, PromptIcon::Exclamation);
            return LoadOutcome::NotOpen;
        }
        step([&] { host_.SetHelpFile(); });
        step([&] { databasePath_ = broker_->DatabasePath(); });
        step([&] { host_.LoadWindowSettings(); });
        // The tree is not loaded yet, so changing to the database only loads its lists.
        step([&] { filter_.ChangeDatabase(databasePath_, prompts_); });
        step([&] {
            windows_.LockUpdate(windows_.DesktopWindow());
            frozen = true;
        });
        step([&] {
            amiBrokerWindow_ =
                FindWindowByTitle(windows_, 0, kAmiBrokerTitlePattern, kAmiBrokerClassPattern);
        });
        if (amiBrokerWindow_ != 0 && windows_.IsVisible(amiBrokerWindow_)) {
            const WindowHandle main = host_.MainWindow();
            windows_.SetParent(main, host_.WindowInTaskBar() ? 0 : amiBrokerWindow_);
            windows_.SetFocus(main);
            windows_.LockUpdate(0);
            frozen = false;
            StartTimer(now);
            return LoadOutcome::Attached;
        }
        windows_.LockUpdate(0);
        frozen = false;
        prompts_.Inform("Marlindex", kNoAnalysisApplicationText, PromptIcon::Exclamation);
        host_.UnloadMainWindow();
        Close();
        return LoadOutcome::NotOpen;
    } catch (const std::exception& failure) {
        // A frozen desktop would not even draw the box.
        if (frozen) {
            windows_.LockUpdate(0);
        }
        timerEnabled_ = false;
        closed_ = true;
        prompts_.Inform("Marlindex - frmMain Load",
                        InternalErrorText(kLoadStep, ErrorNumberOf(failure), failure.what()),
                        PromptIcon::Exclamation);
        return LoadOutcome::Failed;
    }
}

void BrokerAttachment::StartTimer(Clock::time_point now) {
    timerEnabled_ = true;
    nextTick_ = now + kTimerInterval;
}

void BrokerAttachment::Tick(Clock::time_point now) {
    if (!timerEnabled_ || now < nextTick_) {
        return;
    }
    timerEnabled_ = false;
    try {
        RunTick(now);
    } catch (const std::exception& failure) {
        timerEnabled_ = false;
        prompts_.Inform("Marlindex - Timer1 Timer",
                        InternalErrorText(kTickStep, ErrorNumberOf(failure), failure.what()),
                        PromptIcon::Exclamation);
        host_.UnloadMainWindow();
        Close();
    }
}

void BrokerAttachment::RunTick(Clock::time_point now) {
    if (!windows_.IsVisible(amiBrokerWindow_)) {
        // AmiBroker has closed: so does the program, and the timer stays off.
        host_.UnloadMainWindow();
        Close();
        return;
    }
    // An exact comparison: a path that differs only in letter case is another database.
    // Changing the filter's database saves the current filter where it came from first.
    if (std::string path = broker_->DatabasePath(); path != databasePath_) {
        databasePath_ = std::move(path);
        filter_.ChangeDatabase(databasePath_, prompts_);
    }
    StartTimer(now);
}

void BrokerAttachment::WindowInTaskBarChanged(bool inTaskBar) {
    if (amiBrokerWindow_ == 0) {
        return;
    }
    windows_.SetParent(host_.MainWindow(), inTaskBar ? 0 : amiBrokerWindow_);
}

void BrokerAttachment::Close() {
    timerEnabled_ = false;
    if (std::exchange(closed_, true)) {
        return;
    }
    filter_.Form_Unload();
    host_.SaveWindowSettings();
    broker_.reset();
}

} // namespace marlindex
