// The parse tree of a formula: what the parser builds and the evaluator walks. Nodes live in
// one vector and refer to each other by index, so a tree is one allocation and copies cheaply.
// Names are resolved after parsing (Formula.h): the parser only reads the shape.
#pragma once

#include "afl/Error.h"
#include "afl/Lexer.h"

#include <cstdint>
#include <string>
#include <vector>

namespace marlindex::afl {

using NodeId = std::int32_t;
inline constexpr NodeId kNoNode = -1;

enum class NodeKind : std::uint8_t {
    Number,    // a literal; `number`
    String,    // a literal; `text`
    Name,      // an identifier read as a value; `text` is its spelling
    Unary,     // `op` is Minus or Not; `left` the operand
    Binary,    // `op` the operator; `left` and `right`
    Call,      // `text` the function's spelling; `args` the arguments
    Subscript, // `left`[`right`]
    Assign,    // `text` the variable; `op` is Assign or a compound one; `right` the value
};

struct Node {
    NodeKind kind = NodeKind::Number;
    TokenKind op = TokenKind::End;
    SourcePos pos; // where the node's own token stands (an operator, a name)
    double number = 0;
    std::string text;
    NodeId left = kNoNode;
    NodeId right = kNoNode;
    std::vector<NodeId> args;
    std::vector<SourcePos> argStarts; // where each argument begins, to blame it
};

struct SyntaxTree {
    std::vector<Node> nodes;
    std::vector<NodeId> statements; // one expression per statement, in order
};

// Reads a whole formula; throws Error at the first problem, naming its line and column.
SyntaxTree Parse(std::string_view text);

} // namespace marlindex::afl
