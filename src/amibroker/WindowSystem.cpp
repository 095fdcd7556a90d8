#include "amibroker/WindowSystem.h"

#include <cstddef>

namespace marlindex {

namespace {

bool IsContinuationByte(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// The byte length of the character at `at`: a lead byte and its continuation bytes.
std::size_t CharacterLength(std::string_view text, std::size_t at) {
    std::size_t length = 1;
    while (at + length < text.size() && IsContinuationByte(text[at + length])) {
        ++length;
    }
    return length;
}

std::string_view FirstCharacters(std::string_view text, std::size_t limit) {
    std::size_t at = 0;
    for (std::size_t count = 0; at < text.size() && count < limit; ++count) {
        at += CharacterLength(text, at);
    }
    return text.substr(0, at);
}

// Walks the children of `parent` in the window manager's order, each one's descendants before
// the window itself. Only at depth 0 does a match end the walk; deeper matches are passed over.
// A window tree that changes under the walk can link a window back to an earlier one, so the
// walk stops after a bound far above any real desktop instead of circling for ever.
class TitleWalk {
public:
    TitleWalk(WindowSystem& windows, std::string_view pattern)
        : windows_(windows), pattern_(pattern) {}

    WindowHandle Children(WindowHandle parent) {
        ++depth_;
        WindowHandle found = 0;
        for (WindowHandle window = windows_.FirstChild(parent); window != 0 && visited_ < kBound;
             window = windows_.NextSibling(window)) {
            ++visited_;
            Children(window);
            const std::string title = windows_.WindowText(window);
            if (depth_ == 1 &&
                MatchesWindowPattern(FirstCharacters(title, kWindowTitleLimit), pattern_)) {
                found = window;
                break;
            }
        }
        --depth_;
        return found;
    }

private:
    static constexpr std::size_t kBound = 1'000'000;
    WindowSystem& windows_;
    std::string_view pattern_;
    int depth_ = 0;
    std::size_t visited_ = 0;
};

} // namespace

bool MatchesWindowPattern(std::string_view text, std::string_view pattern) {
    // Greedy match with one point to come back to: the last '*' and where its run ended.
    std::size_t t = 0;
    std::size_t p = 0;
    std::size_t starAt = std::string_view::npos;
    std::size_t starText = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            starAt = p++;
            starText = t;
        } else if (p < pattern.size() && pattern[p] == '?') {
            ++p;
            t += CharacterLength(text, t);
        } else if (p < pattern.size() && pattern[p] == text[t]) {
            ++p;
            ++t;
        } else if (starAt != std::string_view::npos) {
            p = starAt + 1;
            starText += CharacterLength(text, starText);
            t = starText;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*') {
        ++p;
    }
    return p == pattern.size();
}

WindowHandle FindWindowByTitle(WindowSystem& windows, WindowHandle start,
                               std::string_view titlePattern, std::string_view /*classPattern*/) {
    if (start == 0) {
        start = windows.DesktopWindow();
    }
    return TitleWalk(windows, titlePattern).Children(start);
}

} // namespace marlindex
