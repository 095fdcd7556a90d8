// The one way the file formats report what went wrong. A reader or writer returns a Result:
// its value, or a Problem that names the place (the file; a line and column, or a path
// through the records, or a byte offset) and says what was wrong or expected there. Callers
// decide what to do with it: a state class puts it to the user, the command-line tool prints
// Message() and exits with the status its kind calls for. Exceptions are left for the
// unexpected, which the forms' one guard catches (EventGuard.h).
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

namespace marlindex {

enum class ProblemKind {
    BadInput, // the input is not what the format allows, or holds what it cannot: the user's
              // to fix (the command-line tool exits with status 2)
    Failure,  // the system failed: a file could not be read or written (status 1)
};

// Where a problem lies. Every part may be missing; Describe() names those that are set.
struct Place {
    std::string file;                // as the user knows it: a path, "stdin"
    std::size_t line = 0;            // counted from 1; 0 when the place has no line
    std::size_t column = 0;          // counted from 1, in characters; 0 when not known
    std::string within;              // inside the structure: "row 2, field \"bars1\""
    std::optional<std::size_t> byte; // offset from the start, for binary formats

    // The usual places: a whole file, a line (and column) of a text, a field inside the
    // records (at a byte offset of a binary file).
    static Place InFile(std::string file) {
        Place place;
        place.file = std::move(file);
        return place;
    }
    static Place AtLine(std::size_t line, std::size_t column = 0) {
        Place place;
        place.line = line;
        place.column = column;
        return place;
    }
    static Place AtLine(std::string file, std::size_t line, std::size_t column = 0) {
        Place place = AtLine(line, column);
        place.file = std::move(file);
        return place;
    }
    static Place Within(std::string within, std::optional<std::size_t> byte = std::nullopt) {
        Place place;
        place.within = std::move(within);
        place.byte = byte;
        return place;
    }

    // "tempFilter.txt, line 3", "stdin, row 2, field \"bars1\"",
    // "MARLXS, formula 3 (\"Dip\"), row 2, field \"row text\" at byte 120"; "" when empty.
    std::string Describe() const;
};

struct Problem {
    ProblemKind kind = ProblemKind::BadInput;
    Place where;
    std::string what; // what is wrong there, and what was expected

    // One line for a message or stderr: the place, ": ", what.
    std::string Message() const;
    // The same as compilers write it, "FILE:LINE: what" or "FILE:LINE:COLUMN: what", so that
    // an editor jumps to the place: for the command-line tools that read text files line by
    // line (quote files, formulas). A place without a file and line gives Message().
    std::string FileLineMessage() const;
};

// Carries a Problem from deep inside a reader, or from the quote store, to the boundary that
// returns it as a Result or reports it.
class ProblemError : public std::runtime_error {
public:
    explicit ProblemError(Problem problem)
        : std::runtime_error(problem.Message()), problem_(std::move(problem)) {}
    ProblemError(ProblemKind kind, Place where, std::string what)
        : ProblemError(Problem{kind, std::move(where), std::move(what)}) {}

    const Problem& problem() const { return problem_; }

private:
    Problem problem_;
};

// A path as messages and SQLite take it: UTF-8 on every platform.
std::string Utf8Path(const std::filesystem::path& path);

// A piece of the user's input quoted in a message: in double quotes, at most `limit`
// characters (cut with "..."), line breaks and other control characters shown as \r, \n,
// \t or \xNN, so that a hostile input cannot flood or break the message.
std::string QuoteExcerpt(std::string_view text, std::size_t limit = 60);

// A value, or the Problem that kept it from being made.
template <class T> class [[nodiscard]] Result {
public:
    Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}
    Result(Problem problem) : state_(std::in_place_index<1>, std::move(problem)) {}

    bool ok() const { return state_.index() == 0; }
    explicit operator bool() const { return ok(); }

    T& value() & { return std::get<0>(state_); }
    const T& value() const& { return std::get<0>(state_); }
    T&& value() && { return std::get<0>(std::move(state_)); }
    T& operator*() & { return value(); }
    const T& operator*() const& { return value(); }
    T* operator->() { return &value(); }
    const T* operator->() const { return &value(); }

    const Problem& problem() const { return std::get<1>(state_); }
    Problem& problem() { return std::get<1>(state_); }

private:
    std::variant<T, Problem> state_;
};

// Done, or the Problem that stopped it: for writers.
template <> class [[nodiscard]] Result<void> {
public:
    Result() = default;
    Result(Problem problem) : problem_(std::move(problem)) {}

    bool ok() const { return !problem_; }
    explicit operator bool() const { return ok(); }
    const Problem& problem() const { return *problem_; }
    Problem& problem() { return *problem_; }

private:
    std::optional<Problem> problem_;
};

// The boundary of a reader that lets its problems travel as ProblemError inside: runs `work`
// and gives its value, or the problem it threw.
template <class Work> auto CatchProblem(Work&& work) -> Result<std::invoke_result_t<Work&>> {
    try {
        if constexpr (std::is_void_v<std::invoke_result_t<Work&>>) {
            work();
            return {};
        } else {
            return work();
        }
    } catch (const ProblemError& error) {
        return error.problem();
    }
}

// The other way round, for code that lets problems travel: the value, or the ProblemError.
template <class T> T ValueOrThrow(Result<T> result) {
    if (!result) {
        throw ProblemError(std::move(result.problem()));
    }
    return std::move(result).value();
}
inline void ValueOrThrow(Result<void> result) {
    if (!result) {
        throw ProblemError(std::move(result.problem()));
    }
}

} // namespace marlindex
