// The window finder over a window tree in memory: the title patterns, which windows count, the
// order the tree is walked in and the title's length limit.
#include "amibroker/WindowSystem.h"
#include "support/FakeWindowSystem.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

using test::FakeWindowSystem;

TEST(MatchesWindowPattern, StarAndQuestionMarkOverWholeCaseSensitiveTitles) {
    struct Case {
        std::string_view text, pattern;
        bool matches;
    };
    const Case cases[] = {
        {"AmiBroker - [Default]", "AmiBroker*", true},
        {"AmiBroker", "AmiBroker*", true},
        {"amibroker - [Default]", "AmiBroker*", false},
        {"AmiBroke", "AmiBroker*", false},
        {"My AmiBroker", "AmiBroker*", false},
        {"abc", "a?c", true},
        {"ac", "a?c", false},
        {"a\xC3\xA9"
         "c",
         "a?c", true}, // one accented letter is one character
        {"axbxcy", "*x*y", true},
        {"axbxc", "*x*y", false},
        {"aXb", "a*b*", true},
        {"", "*", true},
        {"", "?", false},
        {"[a]", "[a]", true},
        {"a", "[a]", false},
        {"#1", "#1", true},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(MatchesWindowPattern(c.text, c.pattern), c.matches)
            << '"' << c.text << "\" against \"" << c.pattern << '"';
    }
}

TEST(FindWindowByTitle, TheFirstMatchingTopLevelWindowInOrderShownOrNot) {
    FakeWindowSystem windows;
    const WindowHandle notepad = windows.Add("Notepad");
    windows.Add("AmiBroker - [inside]", notepad);
    const WindowHandle hidden =
        windows.Add("AmiBroker - [hidden]", FakeWindowSystem::kDesktop, false);
    const WindowHandle shown = windows.Add("AmiBroker - [shown]");

    EXPECT_EQ(FindWindowByTitle(windows, 0, kAmiBrokerTitlePattern, kAmiBrokerClassPattern),
              hidden);
    windows.Remove(hidden);
    EXPECT_EQ(FindWindowByTitle(windows, 0, kAmiBrokerTitlePattern, kAmiBrokerClassPattern), shown);
    // The class pattern is not examined.
    EXPECT_EQ(FindWindowByTitle(windows, 0, kAmiBrokerTitlePattern, "Nothing like it"), shown);
}

TEST(FindWindowByTitle, MatchesAmongDescendantsDoNotCountButAreWalkedFirst) {
    FakeWindowSystem windows;
    const WindowHandle tools = windows.Add("Tools");
    const WindowHandle panel = windows.Add("Panel", tools);
    const WindowHandle deep = windows.Add("AmiBroker - [deep]", panel);
    const WindowHandle editor = windows.Add("Editor");

    EXPECT_EQ(FindWindowByTitle(windows, 0, kAmiBrokerTitlePattern, kAmiBrokerClassPattern), 0u);
    // Each window's descendants are read before the window itself, then its next sibling.
    EXPECT_EQ(windows.titlesRead, (std::vector<WindowHandle>{deep, panel, tools, editor}));

    // From a start window, only its own children count.
    EXPECT_EQ(FindWindowByTitle(windows, panel, kAmiBrokerTitlePattern, kAmiBrokerClassPattern),
              deep);
    EXPECT_EQ(FindWindowByTitle(windows, tools, kAmiBrokerTitlePattern, kAmiBrokerClassPattern),
              0u);
}

TEST(FindWindowByTitle, ReadsAtMost254CharactersOfATitle) {
    FakeWindowSystem windows;
    const WindowHandle longer = windows.Add(std::string(254, 'x') + "Z");
    const WindowHandle fits = windows.Add(std::string(253, 'x') + "Z");
    EXPECT_EQ(FindWindowByTitle(windows, 0, "*Z", ""), fits);
    windows.Remove(fits);
    EXPECT_EQ(FindWindowByTitle(windows, 0, "*Z", ""), 0u);
    EXPECT_EQ(FindWindowByTitle(windows, 0, std::string(254, '?'), ""), longer);
}

} // namespace
} // namespace marlindex
