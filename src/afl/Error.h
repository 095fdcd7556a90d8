// Every problem with a formula names its place: line and column (both from 1) in the text.
// The command line prints it as FILE:LINE:COLUMN: what is wrong.
#pragma once

#include <stdexcept>
#include <string>

namespace marlindex::afl {

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
