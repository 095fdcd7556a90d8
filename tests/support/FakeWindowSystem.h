// A WindowSystem for tests: a window tree in memory (handle 1 is the desktop) that records
// every call that changes something, and every title read, as one line each.
#pragma once

#include "amibroker/WindowSystem.h"

#include <map>
#include <string>
#include <vector>

namespace marlindex::test {

class FakeWindowSystem : public WindowSystem {
public:
    static constexpr WindowHandle kDesktop = 1;

    struct Window {
        std::string title;
        bool visible = true;
        WindowHandle parent = kDesktop;
        std::vector<WindowHandle> children; // in the window manager's order
    };

    FakeWindowSystem() { windows[kDesktop] = {}; }

    // A new window, last among its parent's children.
    WindowHandle Add(const std::string& title, WindowHandle parent = kDesktop,
                     bool visible = true) {
        const WindowHandle handle = next_++;
        windows[handle] = {title, visible, parent, {}};
        windows[parent].children.push_back(handle);
        return handle;
    }
    void Remove(WindowHandle handle) {
        auto& siblings = windows[windows[handle].parent].children;
        std::erase(siblings, handle);
        windows.erase(handle);
    }

    WindowHandle DesktopWindow() override { return kDesktop; }
    WindowHandle FirstChild(WindowHandle parent) override {
        const auto found = windows.find(parent);
        return found == windows.end() || found->second.children.empty()
                   ? 0
                   : found->second.children.front();
    }
    WindowHandle NextSibling(WindowHandle window) override {
        const auto found = windows.find(window);
        if (found == windows.end()) {
            return 0;
        }
        const auto& siblings = windows[found->second.parent].children;
        for (std::size_t i = 0; i + 1 < siblings.size(); ++i) {
            if (siblings[i] == window) {
                return siblings[i + 1];
            }
        }
        return 0;
    }
    std::string WindowText(WindowHandle window) override {
        titlesRead.push_back(window);
        const auto found = windows.find(window);
        return found == windows.end() ? std::string() : found->second.title;
    }
    bool IsVisible(WindowHandle window) override {
        const auto found = windows.find(window);
        return found != windows.end() && window != kDesktop && found->second.visible;
    }
    void SetParent(WindowHandle child, WindowHandle parent) override {
        calls.push_back("SetParent " + std::to_string(child) + " " + std::to_string(parent));
    }
    void SetFocus(WindowHandle window) override {
        calls.push_back("SetFocus " + std::to_string(window));
    }
    void LockUpdate(WindowHandle window) override {
        calls.push_back("LockUpdate " + std::to_string(window));
    }

    std::map<WindowHandle, Window> windows;
    std::vector<std::string> calls;
    std::vector<WindowHandle> titlesRead;

private:
    WindowHandle next_ = 100;
};

} // namespace marlindex::test
