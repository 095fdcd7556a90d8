// Every problem with a formula names its place: line and column (both from 1) in the text.
// The command line prints it as FILE:LINE:COLUMN: what is wrong.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace marlindex::afl {

// A piece of the formula as a message shows it: at most 60 characters, cut with "..." and
// never inside a character, so that a name or number of ten million characters cannot flood
// the message.
inline std::string Shown(std::string_view text) {
    constexpr std::size_t kMaxCharacters = 60;
    std::size_t characters = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool starts = (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80;
        if (starts && characters++ == kMaxCharacters) {
            return std::string(text.substr(0, i)) + "...";
        }
    }
    return std::string(text);
}

struct SourcePos {
    int line = 1;
    int column = 1; // in characters, not bytes, so an editor's cursor finds it
};

class Error : public std::runtime_error {
public:
    Error(SourcePos where, const std::string& message)
        : std::runtime_error("line " + std::to_string(where.line) + ", column " +
                             std::to_string(where.column) + ": " + message),
          where_(where), message_(message) {}

    SourcePos where() const { return where_; }
    // The problem without its place.
    const std::string& message() const { return message_; }

private:
    SourcePos where_;
    std::string message_;
};

} // namespace marlindex::afl
