// The window services the program needs to live beside AmiBroker: walk the window tree to find
// AmiBroker's main window by its title, ask whether it is still shown, dock the main window
// onto it or give it a task bar button of its own, focus it, and freeze drawing while it moves.
//
// It sits with the analysis application's layer rather than with start-up because it exists
// only to attach to that application's window; start-up stays free of it. Windows answers with
// USER32 (Win32WindowSystem); tests answer with a window tree in memory. The finder itself is
// plain logic over the tree walk below, so its rules hold the same on every platform.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace marlindex {

// A window as the platform names it (an HWND on Windows); 0 is no window.
using WindowHandle = std::uintptr_t;

class WindowSystem {
public:
    virtual ~WindowSystem() = default;

    // The desktop, whose children are the top-level windows (GetDesktopWindow).
    virtual WindowHandle DesktopWindow() = 0;
    // The first child in the window manager's order, 0 for none (GetWindow GW_CHILD).
    virtual WindowHandle FirstChild(WindowHandle parent) = 0;
    // The next window at the same level, 0 after the last (GetWindow GW_HWNDNEXT).
    virtual WindowHandle NextSibling(WindowHandle window) = 0;
    // The window's title as UTF-8, "" for none or for a window that has gone.
    virtual std::string WindowText(WindowHandle window) = 0;
    // Shown on screen (IsWindowVisible); false for 0 or a window that has gone.
    virtual bool IsVisible(WindowHandle window) = 0;
    // Makes `child` a child of `parent`, or a top-level window with a task bar button of its
    // own when `parent` is 0 (SetParent).
    virtual void SetParent(WindowHandle child, WindowHandle parent) = 0;
    // Gives `window` the keyboard focus (SetFocus).
    virtual void SetFocus(WindowHandle window) = 0;
    // Freezes drawing of `window`; 0 lets drawing go on (LockWindowUpdate).
    virtual void LockUpdate(WindowHandle window) = 0;
};

// The title pattern of AmiBroker's main window, as the load step looks for it.
inline constexpr std::string_view kAmiBrokerTitlePattern = "AmiBroker*";
inline constexpr std::string_view kAmiBrokerClassPattern = "Afx:*";

// The longest title the finder reads: a title is read into a buffer of 255 characters, the
// last of which ends the text.
inline constexpr std::size_t kWindowTitleLimit = 254;

// Case-sensitive wildcard match of the whole text: '*' stands for any run of characters, '?'
// for exactly one character (a UTF-8 sequence counts as one). No other character is special.
bool MatchesWindowPattern(std::string_view text, std::string_view pattern);

// The first direct child of `start` (0: the desktop), first child then each next sibling,
// whose title (at most kWindowTitleLimit characters) matches `titlePattern`; 0 when none
// does. Before testing a window the finder walks that window's own descendants the same way,
// depth first, but a match found among them is not returned: only the start window's direct
// children count. `classPattern` is accepted and not examined.
WindowHandle FindWindowByTitle(WindowSystem& windows, WindowHandle start,
                               std::string_view titlePattern, std::string_view classPattern);

} // namespace marlindex
