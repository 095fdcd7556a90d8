// The main window's life beside a running AmiBroker: the load that attaches to it and docks
// the window onto AmiBroker's, the watch timer that follows AmiBroker's database and ends the
// program when AmiBroker has gone, and the closing steps. Plain logic: the form calls Load()
// from its load, Tick() from a repeating one-second timer and Close() from its close, and the
// attachment decides what each does, so every step runs under tests with fakes.
#pragma once

#include "amibroker/Broker.h"
#include "amibroker/WindowSystem.h"
#include "filter/FilterTree.h"
#include "startup/UserPrompts.h"

#include <chrono>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>

namespace marlindex {

// A failure of an optional part of the load (the help file): the user is told with the
// loading-error box and the load goes on. Any other failure of the load ends the program.
class LoadNotice : public std::runtime_error {
public:
    LoadNotice(long number, const std::string& description)
        : std::runtime_error(description), number_(number) {}
    long Number() const { return number_; }

private:
    long number_;
};

// The number a failure's report gives: the system's error code where the failure carries
// one, else 0.
long ErrorNumberOf(const std::exception& failure);

// The loading-error box's text: lines joined by CR LF, naming the step, the error's number and
// its description.
std::string LoadingErrorText(const std::string& objectEvent, long number,
                             const std::string& description);

// What the attachment needs of the program around it: the main window and its settings.
class AttachmentHost {
public:
    virtual ~AttachmentHost() = default;

    // Attaches to the running analysis application; throws BrokerError when none answers.
    virtual std::unique_ptr<Broker> AttachBroker() = 0;
    // Finds the help pages; throws LoadNotice when they are missing (the load goes on).
    virtual void SetHelpFile() {}
    // Opens the settings and loads the main window's run options and switches from them.
    virtual void LoadWindowSettings() = 0;
    // The "Window in taskbar" switch as loaded.
    virtual bool WindowInTaskBar() = 0;
    // The main window; the host may make it here, after the filter has loaded.
    virtual WindowHandle MainWindow() = 0;
    // Writes the main window's run options back to the settings.
    virtual void SaveWindowSettings() = 0;
    // Unloads the main window, which ends the program: the host closes its window and its
    // close calls Close(). May come before MainWindow() when the load refuses.
    virtual void UnloadMainWindow() = 0;
};

enum class LoadOutcome {
    Attached, // docked beside AmiBroker's window, the watch timer running: show the window
    NotOpen,  // AmiBroker's window is not shown: the user was told and the window unloaded
    Failed,   // a step failed: the user was told and the program ends at once, unsaved
};

class BrokerAttachment {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds kTimerInterval{1000};

    BrokerAttachment(AttachmentHost& host, WindowSystem& windows, UserPrompts& prompts);
    BrokerAttachment(const BrokerAttachment&) = delete;
    BrokerAttachment& operator=(const BrokerAttachment&) = delete;

    // The load, in order: attach, help file, AmiBroker's database path, settings, the filter
    // (loaded without showing it), freeze drawing, find AmiBroker's window, and when it is
    // shown dock onto it (or stand apart with "Window in taskbar"), focus, thaw and start the
    // timer at `now`. Without AmiBroker only "You must have Amibroker open to run this
    // program." is shown.
    LoadOutcome Load(Clock::time_point now = Clock::now());

    // How often the form's own timer should call Tick. A form timer of the full interval may
    // fire a hair before each tick is due and so tick only every other time; polling finer keeps
    // each tick within this much of its second.
    static constexpr std::chrono::milliseconds kPollInterval{100};

    // The timer's call: a tick runs when the timer is on and its interval has passed since it
    // was started. A tick turns the timer off while it works, so a tick never runs inside
    // another (a message box's own events may call here).
    void Tick(Clock::time_point now);
    bool TimerEnabled() const { return timerEnabled_; }

    // "Window in taskbar" was switched: the main window stands apart or docks again.
    void WindowInTaskBarChanged(bool inTaskBar);

    // The closing steps, whoever closes: the timer stops, the filter dialog unloads, the run
    // options are saved and AmiBroker is let go. Only the first call does anything.
    void Close();

    // Valid from the load's attach step until Close().
    Broker* AttachedBroker() { return broker_.get(); }
    FilterTree& Filter() { return filter_; }
    const std::string& DatabasePath() const { return databasePath_; }
    WindowHandle AmiBrokerWindow() const { return amiBrokerWindow_; }

private:
    void RunTick(Clock::time_point now);
    void StartTimer(Clock::time_point now);

    AttachmentHost& host_;
    WindowSystem& windows_;
    UserPrompts& prompts_;
    std::unique_ptr<Broker> broker_;
    FilterTree filter_;
    std::string databasePath_;
    WindowHandle amiBrokerWindow_ = 0;
    bool timerEnabled_ = false;
    Clock::time_point nextTick_{};
    bool closed_ = false;
};

} // namespace marlindex
