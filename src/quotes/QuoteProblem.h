// How the quote store and its import say what went wrong: a problem that names its place (a
// file and a line) and whether the input was at fault or the work itself failed.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

namespace marlindex {

struct QuoteProblem {
    enum class Kind {
        BadInput, // a file, a row, a name or a number given by the user is wrong
        Failure,  // the store could not be read or written (disk, permissions, damage)
    };
    Kind kind = Kind::Failure;
    std::string file; // "" when the problem is not in one file
    int line = 0;     // 1-based; 0 for the file as a whole
    std::string what;

    // "FILE:LINE: what", "FILE: what" or "what".
    std::string Message() const;
};

class QuoteError : public std::runtime_error {
public:
    explicit QuoteError(QuoteProblem problem);
    // A problem without a place.
    QuoteError(QuoteProblem::Kind kind, std::string what);
    // A problem of a whole file or folder.
    QuoteError(QuoteProblem::Kind kind, const std::filesystem::path& file, std::string what);

    const QuoteProblem& problem() const { return problem_; }

private:
    QuoteProblem problem_;
};

// A path as messages and SQLite take it: UTF-8 on every platform.
std::string Utf8Path(const std::filesystem::path& path);

// A text from the user's input as messages quote it: in double quotes, cut to 60 characters
// (then ending in "...") so that a runaway field never floods the message.
std::string QuoteText(std::string_view text);

} // namespace marlindex
