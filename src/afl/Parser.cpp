// A hand-written recursive-descent parser, one routine per level of AFL's precedence, lowest
// first:
//
//   statement   := ';' | expression ';'          an assignment is an expression: x = y = 0;
//   assignment  := name ('=' | '+=' | '-=' | '*=' | '/=') assignment | or
//   or          := and (OR and)*
//   and         := not (AND not)*
//   not         := NOT not | bitor                 NOT binds looser than comparisons
//   bitor       := bitand ('|' bitand)*
//   bitand      := equality ('&' equality)*
//   equality    := relation (('==' | '!=') relation)*
//   relation    := sum (('<' | '>' | '<=' | '>=') sum)*
//   sum         := product (('+' | '-') product)*
//   product     := negation (('*' | '/' | '%') negation)*
//   negation    := '-' negation | power            so -2^2 is -(2^2)
//   power       := postfix ('^' exponent)*         left to right: 2^3^2 is (2^3)^2
//   exponent    := '-' exponent | postfix
//   postfix     := primary ('[' expression ']')*
//   primary     := number | string | name | name '(' arguments ')' | '(' expression ')'
#include "afl/Syntax.h"
#include "startup/TextHelpers.h"

#include <algorithm>
#include <array>
#include <utility>

namespace marlindex::afl {
namespace {

// Deeper trees than this are refused: the evaluator walks them recursively, and no formula a
// person writes or the program generates comes near (a long chain of rows joined by OR is
// as deep as it has rows).
constexpr int kMaxDepth = 1000;
// Brackets, signs and NOTs inside one another: each costs the parser a score of nested calls,
// so these are bounded tighter, far beyond what anyone writes but well within a thread's stack.
constexpr int kMaxNesting = 200;

// Statements of full AFL that the built-in engine does not run; naming them beats a puzzling
// "expected ';'".
constexpr std::array<std::string_view, 13> kUnsupportedKeywords{
    "if",     "else",   "for",   "while", "do",       "switch",  "case",
    "return", "global", "local", "break", "continue", "function"};

class Parser {
public:
    explicit Parser(std::string_view text) : lexer_(text) { Advance(); }

    SyntaxTree ParseFormula() {
        while (token_.kind != TokenKind::End) {
            if (Accept(TokenKind::Semicolon)) {
                continue; // an empty statement
            }
            RefuseUnsupportedStatement();
            const NodeId statement = Assignment();
            if (token_.kind != TokenKind::Semicolon) {
                throw Error(token_.pos,
                            "expected ';' at the end of the statement, found " + Describe(token_));
            }
            Advance();
            tree_.statements.push_back(statement);
        }
        return std::move(tree_);
    }

private:
    void Advance() { token_ = lexer_.Next(); }

    bool Accept(TokenKind kind) {
        if (token_.kind != kind) {
            return false;
        }
        Advance();
        return true;
    }

    void RefuseUnsupportedStatement() const {
        if (token_.kind != TokenKind::Identifier) {
            return;
        }
        const std::string lower = ToLowerAscii(token_.spelling);
        if (lower == "procedure" || lower == "function") {
            throw Error(token_.pos, "functions and procedures of your own are not supported by "
                                    "the built-in engine");
        }
        if (std::find(kUnsupportedKeywords.begin(), kUnsupportedKeywords.end(), lower) !=
            kUnsupportedKeywords.end()) {
            throw Error(token_.pos, "'" + Shown(token_.spelling) +
                                        "' statements are not supported by the built-in engine");
        }
    }

    NodeId Add(Node node, const std::vector<NodeId>& children) {
        int depth = 1;
        for (const NodeId child : children) {
            depth = std::max(depth, depth_[static_cast<std::size_t>(child)] + 1);
        }
        if (depth > kMaxDepth) {
            throw Error(node.pos, "the expression is nested too deeply");
        }
        tree_.nodes.push_back(std::move(node));
        depth_.push_back(depth);
        return static_cast<NodeId>(tree_.nodes.size() - 1);
    }

    NodeId AddBinary(TokenKind op, SourcePos pos, NodeId left, NodeId right) {
        Node node;
        node.kind = NodeKind::Binary;
        node.op = op;
        node.pos = pos;
        node.left = left;
        node.right = right;
        return Add(std::move(node), {left, right});
    }

    NodeId AddUnary(TokenKind op, SourcePos pos, NodeId operand) {
        Node node;
        node.kind = NodeKind::Unary;
        node.op = op;
        node.pos = pos;
        node.left = operand;
        return Add(std::move(node), {operand});
    }

    static bool IsAssignment(TokenKind kind) {
        return kind == TokenKind::Assign || kind == TokenKind::PlusAssign ||
               kind == TokenKind::MinusAssign || kind == TokenKind::StarAssign ||
               kind == TokenKind::SlashAssign;
    }

    NodeId Assignment() {
        const SourcePos start = token_.pos;
        const NodeId target = Or();
        if (!IsAssignment(token_.kind)) {
            return target;
        }
        const Node& lhs = tree_.nodes[static_cast<std::size_t>(target)];
        if (lhs.kind != NodeKind::Name) {
            throw Error(token_.pos, "only a variable can be assigned to: the left of '" +
                                        std::string(Spelling(token_.kind)) +
                                        "' is not a variable name");
        }
        Node node;
        node.kind = NodeKind::Assign;
        node.op = token_.kind;
        node.pos = start;
        node.text = lhs.text;
        Advance();
        const NodeId value = Assignment();
        node.right = value;
        return Add(std::move(node), {value});
    }

    template <typename Next>
    NodeId LeftToRight(Next next, std::initializer_list<TokenKind> operators) {
        NodeId left = (this->*next)();
        for (;;) {
            const TokenKind op = token_.kind;
            if (std::find(operators.begin(), operators.end(), op) == operators.end()) {
                return left;
            }
            const SourcePos pos = token_.pos;
            Advance();
            left = AddBinary(op, pos, left, (this->*next)());
        }
    }

    NodeId Or() { return LeftToRight(&Parser::And, {TokenKind::Or}); }
    NodeId And() { return LeftToRight(&Parser::NotLevel, {TokenKind::And}); }

    NodeId NotLevel() {
        if (token_.kind != TokenKind::Not) {
            return BitOr();
        }
        const SourcePos pos = token_.pos;
        Advance();
        const NodeGuard guard(*this, pos);
        return AddUnary(TokenKind::Not, pos, NotLevel());
    }

    NodeId BitOr() { return LeftToRight(&Parser::BitAnd, {TokenKind::Pipe}); }
    NodeId BitAnd() { return LeftToRight(&Parser::Equality, {TokenKind::Ampersand}); }
    NodeId Equality() {
        return LeftToRight(&Parser::Relation, {TokenKind::EqualEqual, TokenKind::NotEqual});
    }
    NodeId Relation() {
        return LeftToRight(&Parser::Sum, {TokenKind::Less, TokenKind::Greater, TokenKind::LessEqual,
                                          TokenKind::GreaterEqual});
    }
    NodeId Sum() { return LeftToRight(&Parser::Product, {TokenKind::Plus, TokenKind::Minus}); }
    NodeId Product() {
        return LeftToRight(&Parser::Negation,
                           {TokenKind::Star, TokenKind::Slash, TokenKind::Percent});
    }

    NodeId Negation() {
        if (token_.kind != TokenKind::Minus) {
            return Power();
        }
        const SourcePos pos = token_.pos;
        Advance();
        const NodeGuard guard(*this, pos);
        return AddUnary(TokenKind::Minus, pos, Negation());
    }

    NodeId Power() { return LeftToRight(&Parser::Exponent, {TokenKind::Caret}); }

    // The right of '^' may carry its own sign (2 ^ -1) although '^' binds tighter than '-'.
    NodeId Exponent() {
        if (token_.kind != TokenKind::Minus) {
            return Postfix();
        }
        const SourcePos pos = token_.pos;
        Advance();
        const NodeGuard guard(*this, pos);
        return AddUnary(TokenKind::Minus, pos, Exponent());
    }

    NodeId Postfix() {
        NodeId value = Primary();
        while (token_.kind == TokenKind::LeftBracket) {
            const SourcePos open = token_.pos;
            Advance();
            const NodeGuard guard(*this, open);
            const NodeId index = Assignment();
            Expect(TokenKind::RightBracket, "expected ']' to close the '[' at " + Place(open) +
                                                ", found " + Describe(token_));
            Node node;
            node.kind = NodeKind::Subscript;
            node.pos = open;
            node.left = value;
            node.right = index;
            value = Add(std::move(node), {value, index});
        }
        return value;
    }

    NodeId Primary() {
        const NodeGuard guard(*this, token_.pos);
        Node node;
        node.pos = token_.pos;
        switch (token_.kind) {
        case TokenKind::Number:
            node.kind = NodeKind::Number;
            node.number = token_.number;
            Advance();
            return Add(std::move(node), {});
        case TokenKind::String:
            node.kind = NodeKind::String;
            node.text = token_.text;
            Advance();
            return Add(std::move(node), {});
        case TokenKind::Identifier:
            node.text = std::string(token_.spelling);
            Advance();
            if (token_.kind != TokenKind::LeftParen) {
                node.kind = NodeKind::Name;
                return Add(std::move(node), {});
            }
            return Call(std::move(node));
        case TokenKind::LeftParen: {
            const SourcePos open = token_.pos;
            Advance();
            const NodeId inner = Assignment();
            Expect(TokenKind::RightParen, "expected ')' to close the '(' at " + Place(open) +
                                              ", found " + Describe(token_));
            return inner;
        }
        default:
            throw Error(token_.pos, "expected a value, found " + Describe(token_));
        }
    }

    NodeId Call(Node node) {
        node.kind = NodeKind::Call;
        Advance(); // '('
        if (token_.kind != TokenKind::RightParen) {
            for (;;) {
                node.argStarts.push_back(token_.pos);
                node.args.push_back(Assignment());
                if (!Accept(TokenKind::Comma)) {
                    break;
                }
            }
        }
        Expect(TokenKind::RightParen, "expected ')' after the arguments of " + Shown(node.text) +
                                          ", found " + Describe(token_));
        const std::vector<NodeId> args = node.args;
        return Add(std::move(node), args);
    }

    void Expect(TokenKind kind, const std::string& message) {
        if (token_.kind != kind) {
            throw Error(token_.pos, message);
        }
        Advance();
    }

    static std::string Place(SourcePos pos) {
        return "line " + std::to_string(pos.line) + ", column " + std::to_string(pos.column);
    }

    // Bounds the parser's own recursion (brackets, NOT, signs) by the same depth as the tree,
    // so that "((((..." runs out of depth, not out of stack.
    class NodeGuard {
    public:
        NodeGuard(Parser& parser, SourcePos pos) : parser_(parser) {
            if (++parser_.nesting_ > kMaxNesting) {
                throw Error(pos, "the expression is nested too deeply");
            }
        }
        ~NodeGuard() { --parser_.nesting_; }
        NodeGuard(const NodeGuard&) = delete;
        NodeGuard& operator=(const NodeGuard&) = delete;

    private:
        Parser& parser_;
    };

    Lexer lexer_;
    Token token_;
    SyntaxTree tree_;
    std::vector<int> depth_; // per node: the height of its subtree
    int nesting_ = 0;
};

} // namespace

SyntaxTree Parse(std::string_view text) {
    return Parser(text).ParseFormula();
}

} // namespace marlindex::afl
