// The first step of reading a formula: the text as a sequence of tokens, comments and
// blanks dropped. Identifiers keep their spelling; AFL ignores letter case, so the keywords
// AND, OR and NOT are recognised in any case.
#pragma once

#include "afl/Error.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace marlindex::afl {

enum class TokenKind {
    End,
    Number,
    String,
    Identifier,
    And,
    Or,
    Not,
    Plus,
    Minus,
    Star,
    Slash,
    Percent,
    Caret,
    Less,
    Greater,
    LessEqual,
    GreaterEqual,
    EqualEqual,
    NotEqual,
    Ampersand,
    Pipe,
    Assign,
    PlusAssign,
    MinusAssign,
    StarAssign,
    SlashAssign,
    LeftParen,
    RightParen,
    LeftBracket,
    RightBracket,
    Comma,
    Semicolon,
};

struct Token {
    TokenKind kind = TokenKind::End;
    SourcePos pos;
    std::string_view spelling; // the token's text in the formula (a string without its quotes)
    double number = 0;         // a Number's value
    std::string text;          // a String's value, escapes resolved
};

// How a token reads in a message: "')'", "the identifier 'RSIa'", "the end of the formula".
std::string Describe(const Token& token);
std::string_view Spelling(TokenKind kind);

class Lexer {
public:
    explicit Lexer(std::string_view text) : text_(text) {}

    // The next token; throws Error for a character that starts no token, a string or a
    // comment left open.
    Token Next();

private:
    void SkipBlanksAndComments();
    char Peek(std::size_t ahead = 0) const;
    void Advance(std::size_t count = 1);
    Token Make(TokenKind kind, SourcePos pos, std::size_t start, std::size_t length);
    Token LexNumber(SourcePos pos);
    Token LexString(SourcePos pos);

    std::string_view text_;
    std::size_t offset_ = 0;
    SourcePos pos_;
};

} // namespace marlindex::afl
