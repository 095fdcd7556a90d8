// The window services on Windows' own window manager: windows made here stand in for
// AmiBroker's main window, a hidden one, and windows nested inside another whose titles match
// but must not count; the main window docks onto one and leaves it again.
#include "amibroker/WindowSystemWin32.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>
#include <windows.h>

namespace marlindex {
namespace {

// Titles carry the process id: tests of other programs may have windows on the same desktop.
std::string Unique(const std::string& title) {
    return title + " " + std::to_string(GetCurrentProcessId());
}

class Win32WindowSystemTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        WNDCLASSA windowClass{};
        windowClass.lpfnWndProc = DefWindowProcA;
        windowClass.hInstance = GetModuleHandleA(nullptr);
        windowClass.lpszClassName = "Afx:test";
        RegisterClassA(&windowClass);
    }
    void TearDown() override {
        // Children go with their parents; destroy the last made first.
        for (auto window = made_.rbegin(); window != made_.rend(); ++window) {
            if (IsWindow(*window)) {
                DestroyWindow(*window);
            }
        }
    }

    HWND Make(const std::string& title, HWND parent = nullptr, bool visible = true) {
        const DWORD style =
            (parent != nullptr ? WS_CHILD : WS_OVERLAPPEDWINDOW) | (visible ? WS_VISIBLE : 0);
        HWND window = CreateWindowExA(0, "Afx:test", title.c_str(), style, 10, 10, 200, 100, parent,
                                      nullptr, GetModuleHandleA(nullptr), nullptr);
        EXPECT_NE(window, nullptr) << "cannot make the window \"" << title << "\"";
        made_.push_back(window);
        return window;
    }
    WindowHandle Find(HWND start, const std::string& pattern) {
        return FindWindowByTitle(windows_, reinterpret_cast<WindowHandle>(start), pattern,
                                 kAmiBrokerClassPattern);
    }
    static WindowHandle H(HWND window) { return reinterpret_cast<WindowHandle>(window); }

    Win32WindowSystem windows_;
    std::vector<HWND> made_;
};

TEST_F(Win32WindowSystemTest, FindsTopLevelWindowsByTitleAndPassesOverNestedOnes) {
    const std::string nestedTitle = Unique("AmiBroker - [nested]");
    HWND holder = Make(Unique("Holder"));
    HWND nested = Make(nestedTitle, holder);
    Make(nestedTitle, nested);
    HWND hidden = Make(Unique("AmiBroker - [test]") + " hidden", nullptr, false);
    HWND shown = Make(Unique("AmiBroker - [test]"));
    HWND accented = Make(Unique("AmiBroker - [caf\xe9]"));

    // Matching titles inside another window do not count from the desktop, only from their
    // own parent.
    EXPECT_EQ(Find(nullptr, nestedTitle), 0u);
    EXPECT_EQ(Find(holder, nestedTitle), H(nested));
    EXPECT_EQ(Find(holder, "*"), H(nested));

    EXPECT_EQ(Find(nullptr, Unique("AmiBroker - [test]")), H(shown));
    EXPECT_EQ(Find(nullptr, Unique("AmiBroker - [test]") + "?hidden"), H(hidden));
    EXPECT_EQ(Find(nullptr, Unique("AmiBroker - [T*")), 0u); // case matters
    // The title reaches the finder as UTF-8, so '?' stands for the accented letter.
    EXPECT_EQ(windows_.WindowText(H(accented)), Unique("AmiBroker - [caf\u00e9]"));
    EXPECT_EQ(Find(nullptr, Unique("AmiBroker - [caf?]")), H(accented));

    // Start window 0 is the desktop.
    EXPECT_EQ(windows_.FirstChild(0), H(GetWindow(GetDesktopWindow(), GW_CHILD)));
    EXPECT_TRUE(windows_.IsVisible(H(shown)));
    EXPECT_FALSE(windows_.IsVisible(H(hidden)));
    EXPECT_FALSE(windows_.IsVisible(0));
    DestroyWindow(shown);
    EXPECT_FALSE(windows_.IsVisible(H(shown))); // gone
    EXPECT_EQ(windows_.WindowText(H(shown)), "");
}

TEST_F(Win32WindowSystemTest, DocksOntoAmiBrokersWindowAndLeavesIt) {
    HWND amibroker = Make(Unique("AmiBroker - [dock]"));
    HWND main = Make(Unique("Marlindex"));

    windows_.SetParent(H(main), H(amibroker));
    EXPECT_EQ(GetAncestor(main, GA_PARENT), amibroker);
    EXPECT_EQ(GetAncestor(main, GA_ROOT), amibroker);
    // Docked, it is no longer a top-level window for the finder.
    EXPECT_EQ(Find(nullptr, Unique("Marlindex")), 0u);
    EXPECT_EQ(Find(amibroker, Unique("Marlindex")), H(main));

    windows_.SetParent(H(main), 0);
    EXPECT_EQ(GetAncestor(main, GA_PARENT), GetDesktopWindow());
    EXPECT_EQ(Find(nullptr, Unique("Marlindex")), H(main));
}

TEST_F(Win32WindowSystemTest, OneWindowAtATimeIsFrozenAndFocusGoesWhereItIsSent) {
    HWND main = Make(Unique("Marlindex"));
    HWND other = Make(Unique("Other"));
    windows_.LockUpdate(windows_.DesktopWindow());
    // Windows freezes one window at a time: while the desktop is frozen no other can be.
    EXPECT_FALSE(LockWindowUpdate(other));
    windows_.LockUpdate(0);
    EXPECT_TRUE(LockWindowUpdate(other));
    LockWindowUpdate(nullptr);

    windows_.SetFocus(H(main));
    if (GetFocus() != main) {
        char display[8] = {};
        if (GetEnvironmentVariableA("DISPLAY", display, sizeof display) == 0) {
            GTEST_SKIP() << "the focus needs a display, and there is none";
        }
    }
    EXPECT_EQ(GetFocus(), main);
    windows_.SetFocus(H(other));
    EXPECT_EQ(GetFocus(), other);
}

} // namespace
} // namespace marlindex
