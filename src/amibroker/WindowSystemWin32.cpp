#include "amibroker/WindowSystemWin32.h"

#include <string>
#include <windows.h>

namespace marlindex {

namespace {

HWND Hwnd(WindowHandle window) {
    return reinterpret_cast<HWND>(window);
}

WindowHandle Handle(HWND window) {
    return reinterpret_cast<WindowHandle>(window);
}

} // namespace

WindowHandle Win32WindowSystem::DesktopWindow() {
    return Handle(GetDesktopWindow());
}

WindowHandle Win32WindowSystem::FirstChild(WindowHandle parent) {
    return Handle(GetWindow(parent == 0 ? GetDesktopWindow() : Hwnd(parent), GW_CHILD));
}

WindowHandle Win32WindowSystem::NextSibling(WindowHandle window) {
    return window == 0 ? 0 : Handle(GetWindow(Hwnd(window), GW_HWNDNEXT));
}

std::string Win32WindowSystem::WindowText(WindowHandle window) {
    if (window == 0) {
        return {};
    }
    const int length = GetWindowTextLengthW(Hwnd(window));
    if (length <= 0) {
        return {};
    }
    std::wstring wide(static_cast<std::size_t>(length) + 1, L'\0');
    const int got = GetWindowTextW(Hwnd(window), wide.data(), length + 1);
    if (got <= 0) {
        return {};
    }
    const int bytes =
        WideCharToMultiByte(CP_UTF8, 0, wide.data(), got, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), got, text.data(), bytes, nullptr, nullptr);
    return text;
}

bool Win32WindowSystem::IsVisible(WindowHandle window) {
    return window != 0 && IsWindowVisible(Hwnd(window)) != FALSE;
}

void Win32WindowSystem::SetParent(WindowHandle child, WindowHandle parent) {
    ::SetParent(Hwnd(child), Hwnd(parent));
}

void Win32WindowSystem::SetFocus(WindowHandle window) {
    ::SetFocus(Hwnd(window));
}

void Win32WindowSystem::LockUpdate(WindowHandle window) {
    LockWindowUpdate(Hwnd(window));
}

} // namespace marlindex
