// The questions and messages a window's behaviour puts to the user. State classes ask through
// this interface; the GUI answers with message boxes and file dialogs, tests with a script.
#pragma once

#include <optional>
#include <string>

namespace marlindex {

enum class PromptIcon { Information, Exclamation, Question, Critical };
enum class PromptAnswer { Yes, No, Cancel };

class UserPrompts {
public:
    virtual ~UserPrompts() = default;

    // A message with an OK button.
    virtual void Inform(const std::string& title, const std::string& text,
                        PromptIcon icon = PromptIcon::Information) = 0;
    // A question with Yes and No buttons: true for Yes.
    virtual bool AskYesNo(const std::string& title, const std::string& text,
                          PromptIcon icon = PromptIcon::Question) = 0;
    // A question with Yes, No and Cancel buttons, as "Save the changes before ...?" asks it.
    virtual PromptAnswer AskYesNoCancel(const std::string& title, const std::string& text,
                                        PromptIcon icon = PromptIcon::Question) = 0;
    // Whether unsaved work is saved (Yes), discarded (No) or kept as it is (Cancel). The
    // buttons say Save, Discard and Cancel where the prompts can label them.
    virtual PromptAnswer AskSaveDiscardCancel(const std::string& title, const std::string& text) {
        return AskYesNoCancel(title, text, PromptIcon::Exclamation);
    }
    // A file to open; none when the user cancels. `filter` as "Description (*.ext)".
    virtual std::optional<std::string> AskForFile(const std::string& title,
                                                  const std::string& filter) = 0;
};

} // namespace marlindex
