#include "mainwindow/CurrentSymbol.h"

#include "startup/Problem.h"
#include "startup/TextHelpers.h"

#include <algorithm>

namespace marlindex {

namespace {

constexpr const char* kSection = "Settings\\";
constexpr const char* kValueName = "CurrentSymbol";

char AsciiUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool SameIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return AsciiUpper(x) == AsciiUpper(y);
           });
}

} // namespace

void CurrentSymbol::SetDatabaseSymbols(std::optional<std::vector<std::string>> symbols) {
    known_ = symbols.has_value();
    symbols_ = symbols ? std::move(*symbols) : std::vector<std::string>{};
    std::sort(symbols_.begin(), symbols_.end());
    Check();
}

void CurrentSymbol::txtSymbol_Change(std::string text) {
    txtSymbol.text = std::move(text);
    Check();
}

void CurrentSymbol::txtSymbol_LostFocus() {
    std::string text(TrimBlanks(txtSymbol.text));
    if (known_ && !std::binary_search(symbols_.begin(), symbols_.end(), text)) {
        // Only a spelling that names one symbol is taken; "Ab" with both AB and ab stays.
        const auto matches =
            std::count_if(symbols_.begin(), symbols_.end(),
                          [&](const std::string& s) { return SameIgnoringCase(s, text); });
        if (matches == 1) {
            text = *std::find_if(symbols_.begin(), symbols_.end(),
                                 [&](const std::string& s) { return SameIgnoringCase(s, text); });
        }
    }
    txtSymbol_Change(std::move(text));
}

void CurrentSymbol::Choose(std::string symbol) {
    txtSymbol_Change(std::move(symbol));
}

std::string CurrentSymbol::Symbol() const {
    return std::string(TrimBlanks(txtSymbol.text));
}

void CurrentSymbol::Load(CProgramSettings& settings) {
    settings.SetSection(kSection);
    txtSymbol_Change(settings.ReadEntry(kValueName, ""));
}

void CurrentSymbol::Save(CProgramSettings& settings) const {
    settings.SetSection(kSection);
    // An empty text cannot be stored as a value that reads back empty, so it is removed.
    if (Symbol().empty()) {
        settings.DeleteEntry(kValueName);
    } else {
        settings.WriteEntry(kValueName, Symbol());
    }
}

void CurrentSymbol::Check() {
    const std::string symbol = Symbol();
    txtSymbol.invalid.clear();
    if (symbol.empty()) {
        return;
    }
    if (!known_) {
        txtSymbol.invalid = "The database holds no quotes yet: import them with File, Import "
                            "quotes... before running over a symbol.";
    } else if (!std::binary_search(symbols_.begin(), symbols_.end(), symbol)) {
        txtSymbol.invalid = "The database has no symbol " + QuoteExcerpt(symbol) + ".";
    }
}

} // namespace marlindex
