// The window services as Windows gives them: USER32's window tree, visibility, parents, focus
// and the drawing freeze, for finding AmiBroker's main window and docking onto it.
#pragma once

#include "amibroker/WindowSystem.h"

namespace marlindex {

class Win32WindowSystem final : public WindowSystem {
public:
    WindowHandle DesktopWindow() override;
    WindowHandle FirstChild(WindowHandle parent) override;
    WindowHandle NextSibling(WindowHandle window) override;
    // Read through the wide call: the title is handed on as UTF-8, and the ANSI call would
    // turn every character outside the code page into a question mark.
    std::string WindowText(WindowHandle window) override;
    bool IsVisible(WindowHandle window) override;
    void SetParent(WindowHandle child, WindowHandle parent) override;
    void SetFocus(WindowHandle window) override;
    void LockUpdate(WindowHandle window) override;
};

} // namespace marlindex
