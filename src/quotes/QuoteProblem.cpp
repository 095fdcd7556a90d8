#include "quotes/QuoteProblem.h"

namespace marlindex {

std::string QuoteProblem::Message() const {
    std::string message;
    if (!file.empty()) {
        message = file;
        if (line > 0) {
            message += ":" + std::to_string(line);
        }
        message += ": ";
    }
    return message + what;
}

QuoteError::QuoteError(QuoteProblem problem)
    : std::runtime_error(problem.Message()), problem_(std::move(problem)) {}

QuoteError::QuoteError(QuoteProblem::Kind kind, std::string what)
    : QuoteError(QuoteProblem{kind, "", 0, std::move(what)}) {}

QuoteError::QuoteError(QuoteProblem::Kind kind, const std::filesystem::path& file, std::string what)
    : QuoteError(QuoteProblem{kind, Utf8Path(file), 0, std::move(what)}) {}

std::string Utf8Path(const std::filesystem::path& path) {
    const std::u8string utf8 = path.u8string();
    return {utf8.begin(), utf8.end()};
}

std::string QuoteText(std::string_view text) {
    constexpr std::size_t kShown = 60;
    if (text.size() <= kShown) {
        return "\"" + std::string(text) + "\"";
    }
    // Cut on a character boundary so that a UTF-8 name is never split inside a character.
    std::size_t cut = kShown;
    while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) {
        --cut;
    }
    return "\"" + std::string(text.substr(0, cut)) + "...\"";
}

} // namespace marlindex
