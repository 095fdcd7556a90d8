// UserPrompts for tests: records every message and question, and answers questions and file
// requests from queues the test fills (Yes to a Yes/No question, No to a Yes/No/Cancel one, and
// no file, when a queue is empty).
#pragma once

#include "startup/UserPrompts.h"

#include <deque>
#include <string>
#include <vector>

namespace marlindex::test {

class ScriptedPrompts : public UserPrompts {
public:
    struct Shown {
        std::string kind; // "inform", "ask", "choose", "file"
        std::string title;
        std::string text;
        PromptIcon icon = PromptIcon::Information;
    };

    void Inform(const std::string& title, const std::string& text, PromptIcon icon) override {
        shown.push_back({"inform", title, text, icon});
    }
    bool AskYesNo(const std::string& title, const std::string& text, PromptIcon icon) override {
        shown.push_back({"ask", title, text, icon});
        if (answers.empty()) {
            return true;
        }
        const bool answer = answers.front();
        answers.pop_front();
        return answer;
    }
    PromptAnswer AskYesNoCancel(const std::string& title, const std::string& text,
                                PromptIcon icon) override {
        shown.push_back({"choose", title, text, icon});
        if (choices.empty()) {
            return PromptAnswer::No;
        }
        const PromptAnswer answer = choices.front();
        choices.pop_front();
        return answer;
    }
    std::optional<std::string> AskForFile(const std::string& title,
                                          const std::string& filter) override {
        shown.push_back({"file", title, filter, PromptIcon::Question});
        if (files.empty()) {
            return std::nullopt;
        }
        std::string file = files.front();
        files.pop_front();
        return file;
    }

    std::vector<Shown> shown;
    std::deque<bool> answers;
    std::deque<PromptAnswer> choices;
    std::deque<std::string> files;
};

} // namespace marlindex::test
