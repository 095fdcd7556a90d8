// UserPrompts answered with the platform's message boxes and file dialog.
#pragma once

#include "startup/UserPrompts.h"

class QWidget;

namespace marlindex {

class QtPrompts : public UserPrompts {
public:
    // `parent` owns the boxes (centres them); it may be null.
    explicit QtPrompts(QWidget* parent = nullptr) : parent_(parent) {}
    void SetParent(QWidget* parent) { parent_ = parent; }

    void Inform(const std::string& title, const std::string& text, PromptIcon icon) override;
    bool AskYesNo(const std::string& title, const std::string& text, PromptIcon icon) override;
    PromptAnswer AskYesNoCancel(const std::string& title, const std::string& text,
                                PromptIcon icon) override;
    PromptAnswer AskSaveDiscardCancel(const std::string& title, const std::string& text) override;
    std::optional<std::string> AskForFile(const std::string& title,
                                          const std::string& filter) override;

private:
    QWidget* parent_;
};

} // namespace marlindex
