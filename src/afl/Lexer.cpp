#include "afl/Lexer.h"

#include "startup/TextHelpers.h"

#include <array>
#include <charconv>
#include <utility>

namespace marlindex::afl {
namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}
bool IsLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

struct Punctuator {
    std::string_view text;
    TokenKind kind;
};

// Longest first, so that "<=" is not read as "<" then "=".
constexpr std::array<Punctuator, 25> kPunctuators{{
    {"<=", TokenKind::LessEqual},  {">=", TokenKind::GreaterEqual}, {"==", TokenKind::EqualEqual},
    {"!=", TokenKind::NotEqual},   {"+=", TokenKind::PlusAssign},   {"-=", TokenKind::MinusAssign},
    {"*=", TokenKind::StarAssign}, {"/=", TokenKind::SlashAssign},  {"+", TokenKind::Plus},
    {"-", TokenKind::Minus},       {"*", TokenKind::Star},          {"/", TokenKind::Slash},
    {"%", TokenKind::Percent},     {"^", TokenKind::Caret},         {"<", TokenKind::Less},
    {">", TokenKind::Greater},     {"&", TokenKind::Ampersand},     {"|", TokenKind::Pipe},
    {"=", TokenKind::Assign},      {"(", TokenKind::LeftParen},     {")", TokenKind::RightParen},
    {"[", TokenKind::LeftBracket}, {"]", TokenKind::RightBracket},  {",", TokenKind::Comma},
    {";", TokenKind::Semicolon},
}};

} // namespace

std::string_view Spelling(TokenKind kind) {
    switch (kind) {
    case TokenKind::End:
        return "the end of the formula";
    case TokenKind::Number:
        return "a number";
    case TokenKind::String:
        return "a string";
    case TokenKind::Identifier:
        return "a name";
    case TokenKind::And:
        return "AND";
    case TokenKind::Or:
        return "OR";
    case TokenKind::Not:
        return "NOT";
    default:
        break;
    }
    for (const Punctuator& p : kPunctuators) {
        if (p.kind == kind) {
            return p.text;
        }
    }
    return "?";
}

std::string Describe(const Token& token) {
    switch (token.kind) {
    case TokenKind::End:
        return "the end of the formula";
    case TokenKind::Number:
        return "the number " + Shown(token.spelling);
    case TokenKind::String:
        return "the string \"" + Shown(token.text) + "\"";
    case TokenKind::Identifier:
        return "'" + Shown(token.spelling) + "'";
    default:
        return "'" + std::string(Spelling(token.kind)) + "'";
    }
}

char Lexer::Peek(std::size_t ahead) const {
    return offset_ + ahead < text_.size() ? text_[offset_ + ahead] : '\0';
}

void Lexer::Advance(std::size_t count) {
    for (; count > 0 && offset_ < text_.size(); --count) {
        const auto byte = static_cast<unsigned char>(text_[offset_++]);
        if (byte == '\n') {
            ++pos_.line;
            pos_.column = 1;
        } else if ((byte & 0xC0) != 0x80) { // UTF-8 continuation bytes add no column
            ++pos_.column;
        }
    }
}

void Lexer::SkipBlanksAndComments() {
    while (offset_ < text_.size()) {
        const char c = Peek();
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v') {
            Advance();
        } else if (c == '/' && Peek(1) == '/') {
            while (offset_ < text_.size() && Peek() != '\n') {
                Advance();
            }
        } else if (c == '/' && Peek(1) == '*') {
            const SourcePos start = pos_;
            Advance(2);
            while (!(Peek() == '*' && Peek(1) == '/')) {
                if (offset_ >= text_.size()) {
                    throw Error(start, "the comment '/*' is not closed with '*/'");
                }
                Advance();
            }
            Advance(2);
        } else {
            return;
        }
    }
}

Token Lexer::Make(TokenKind kind, SourcePos pos, std::size_t start, std::size_t length) {
    Token token;
    token.kind = kind;
    token.pos = pos;
    token.spelling = text_.substr(start, length);
    return token;
}

Token Lexer::LexNumber(SourcePos pos) {
    const std::size_t start = offset_;
    while (IsDigit(Peek())) {
        Advance();
    }
    if (Peek() == '.') {
        Advance();
        while (IsDigit(Peek())) {
            Advance();
        }
    }
    if ((Peek() == 'e' || Peek() == 'E') &&
        (IsDigit(Peek(1)) || ((Peek(1) == '+' || Peek(1) == '-') && IsDigit(Peek(2))))) {
        Advance(2);
        while (IsDigit(Peek())) {
            Advance();
        }
    }
    if (IsLetter(Peek())) {
        throw Error(pos_, "a number may not run into a name: '" +
                              Shown(text_.substr(start, offset_ - start + 1)) + "'");
    }
    Token token = Make(TokenKind::Number, pos, start, offset_ - start);
    const char* first = token.spelling.data();
    const char* last = first + token.spelling.size();
    const auto [end, status] = std::from_chars(first, last, token.number);
    if (status != std::errc() || end != last) {
        throw Error(pos, "the number " + Shown(token.spelling) + " is out of range");
    }
    return token;
}

Token Lexer::LexString(SourcePos pos) {
    Advance(); // the opening quote
    const std::size_t start = offset_;
    std::string value;
    for (;;) {
        const char c = Peek();
        if (offset_ >= text_.size() || c == '\n' || c == '\r') {
            throw Error(pos, "the string is not closed with '\"' on its line");
        }
        if (c == '"') {
            break;
        }
        if (c == '\\') {
            const char next = Peek(1);
            switch (next) {
            case 'n':
                value += '\n';
                break;
            case 't':
                value += '\t';
                break;
            case '"':
            case '\\':
                value += next;
                break;
            default: // not an escape: the backslash stands for itself
                value += '\\';
                Advance();
                continue;
            }
            Advance(2);
            continue;
        }
        value += c;
        Advance();
    }
    Token token = Make(TokenKind::String, pos, start, offset_ - start);
    token.text = std::move(value);
    Advance(); // the closing quote
    return token;
}

Token Lexer::Next() {
    SkipBlanksAndComments();
    const SourcePos pos = pos_;
    if (offset_ >= text_.size()) {
        return Make(TokenKind::End, pos, text_.size(), 0);
    }
    const char c = Peek();
    if (IsDigit(c) || (c == '.' && IsDigit(Peek(1)))) {
        return LexNumber(pos);
    }
    if (c == '"') {
        return LexString(pos);
    }
    if (IsLetter(c)) {
        const std::size_t start = offset_;
        while (IsLetter(Peek()) || IsDigit(Peek())) {
            Advance();
        }
        Token token = Make(TokenKind::Identifier, pos, start, offset_ - start);
        if (EqualsIgnoreCase(token.spelling, "and")) {
            token.kind = TokenKind::And;
        } else if (EqualsIgnoreCase(token.spelling, "or")) {
            token.kind = TokenKind::Or;
        } else if (EqualsIgnoreCase(token.spelling, "not")) {
            token.kind = TokenKind::Not;
        }
        return token;
    }
    const std::string_view rest = text_.substr(offset_);
    for (const Punctuator& p : kPunctuators) {
        if (rest.starts_with(p.text)) {
            Token token = Make(p.kind, pos, offset_, p.text.size());
            Advance(p.text.size());
            return token;
        }
    }
    // One whole character in the message, also when it takes several bytes.
    std::size_t length = 1;
    while (length < rest.size() && (static_cast<unsigned char>(rest[length]) & 0xC0) == 0x80) {
        ++length;
    }
    throw Error(pos, "unexpected character '" + std::string(rest.substr(0, length)) + "'");
}

} // namespace marlindex::afl
