// The step between parsing and evaluation: every name is bound to a variable, a built-in array
// or constant, or a function of the table, and every call's number of arguments is checked,
// so that a formula that passes never meets an unknown name while it runs.
#include "afl/Evaluator.h"
#include "startup/TextHelpers.h"

#include <unordered_map>

namespace marlindex::afl {
namespace {

const std::unordered_map<std::string, Builtin>& Builtins() {
    static const std::unordered_map<std::string, Builtin> names{
        {"open", Builtin::Open},         {"o", Builtin::Open},
        {"high", Builtin::High},         {"h", Builtin::High},
        {"low", Builtin::Low},           {"l", Builtin::Low},
        {"close", Builtin::Close},       {"c", Builtin::Close},
        {"volume", Builtin::Volume},     {"v", Builtin::Volume},
        {"openint", Builtin::OpenInt},   {"oi", Builtin::OpenInt},
        {"avg", Builtin::Avg},           {"true", Builtin::True},
        {"false", Builtin::False},       {"null", Builtin::Null},
        {"barcount", Builtin::BarCount},
    };
    return names;
}

std::string Arguments(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " argument" : " arguments");
}

class Resolver {
public:
    explicit Resolver(SyntaxTree tree) {
        program_.tree = std::move(tree);
        program_.bindings.resize(program_.tree.nodes.size());
        // Every name assigned anywhere, to tell "read before it is assigned" from "unknown".
        for (const Node& node : program_.tree.nodes) {
            if (node.kind == NodeKind::Assign) {
                assignedSomewhere_.emplace(ToLowerAscii(node.text), node.pos);
            }
        }
    }

    Program Resolve() {
        for (const NodeId statement : program_.tree.statements) {
            Visit(statement, true);
        }
        program_.filter = Slot("filter");
        program_.buy = Slot("buy");
        program_.sell = Slot("sell");
        return std::move(program_);
    }

private:
    const Node& NodeAt(NodeId id) const {
        return program_.tree.nodes[static_cast<std::size_t>(id)];
    }
    Binding& BindingAt(NodeId id) { return program_.bindings[static_cast<std::size_t>(id)]; }

    int Slot(const std::string& lower) const {
        const auto found = variables_.find(lower);
        return found == variables_.end() ? -1 : found->second;
    }

    void Visit(NodeId id, bool statement) {
        const Node& node = NodeAt(id);
        switch (node.kind) {
        case NodeKind::Number:
        case NodeKind::String:
            return;
        case NodeKind::Name:
            BindName(id, node);
            return;
        case NodeKind::Unary:
            Visit(node.left, false);
            return;
        case NodeKind::Binary:
        case NodeKind::Subscript:
            Visit(node.left, false);
            Visit(node.right, false);
            return;
        case NodeKind::Call:
            BindCall(id, node, statement);
            return;
        case NodeKind::Assign:
            BindAssign(id, node);
            return;
        }
    }

    void BindName(NodeId id, const Node& node) {
        const std::string lower = ToLowerAscii(node.text);
        if (const int slot = Slot(lower); slot >= 0) {
            BindingAt(id) = {BindingKind::Variable, slot};
            return;
        }
        if (const auto builtin = Builtins().find(lower); builtin != Builtins().end()) {
            BindingAt(id) = {BindingKind::Builtin, static_cast<int>(builtin->second)};
            return;
        }
        if (const FunctionSpec* entry = FindFunction(node.text); entry != nullptr) {
            throw Error(node.pos, "'" + Shown(node.text) + "' is a function: write " +
                                      std::string(entry->name) + "( ... )");
        }
        if (assignedSomewhere_.contains(lower)) {
            throw Error(node.pos,
                        "the variable '" + Shown(node.text) + "' is read before it is assigned");
        }
        throw Error(node.pos, "unknown name '" + Shown(node.text) + "'");
    }

    void BindCall(NodeId id, const Node& node, bool statement) {
        const FunctionSpec* entry = FindFunction(node.text);
        if (entry == nullptr) {
            throw Error(node.pos, "unknown function '" + Shown(node.text) + "'");
        }
        const std::size_t given = node.args.size();
        const std::size_t most = entry->params.size();
        const std::size_t least = entry->Required();
        if (given < least || given > most) {
            const std::string takes = least == most ? Arguments(most)
                                      : least + 1 == most
                                          ? std::to_string(least) + " or " + Arguments(most)
                                          : std::to_string(least) + " to " + Arguments(most);
            throw Error(node.pos, std::string(entry->name) + " takes " + takes + ", not " +
                                      std::to_string(given));
        }
        if (entry->statement && !statement) {
            throw Error(node.pos, std::string(entry->name) +
                                      " gives no value: it can only stand as a statement of "
                                      "its own");
        }
        for (const NodeId arg : node.args) {
            Visit(arg, false);
        }
        BindingAt(id) = {BindingKind::Function, static_cast<int>(entry - Functions().data())};
        program_.readsBreadth = program_.readsBreadth || entry->family == Family::Breadth;
    }

    void BindAssign(NodeId id, const Node& node) {
        const std::string lower = ToLowerAscii(node.text);
        if (Builtins().contains(lower)) {
            throw Error(node.pos, "'" + Shown(node.text) + "' is built in and cannot be assigned");
        }
        if (FindFunction(node.text) != nullptr) {
            throw Error(node.pos,
                        "'" + Shown(node.text) + "' is a function and cannot be assigned");
        }
        if (node.op != TokenKind::Assign && Slot(lower) < 0) {
            throw Error(node.pos,
                        "the variable '" + Shown(node.text) + "' is read before it is assigned");
        }
        Visit(node.right, false); // x = x + 1 reads the x assigned before
        int slot = Slot(lower);
        if (slot < 0) {
            slot = static_cast<int>(program_.variables.size());
            program_.variables.push_back(node.text);
            variables_.emplace(lower, slot);
        }
        BindingAt(id) = {BindingKind::Variable, slot};
    }

    Program program_;
    std::unordered_map<std::string, int> variables_; // those assigned so far
    std::unordered_map<std::string, SourcePos> assignedSomewhere_;
};

} // namespace

Formula Formula::Parse(std::string_view text) {
    return Formula(std::make_shared<const Program>(Resolver(afl::Parse(text)).Resolve()));
}

bool Formula::AssignsFilter() const {
    return program_->filter >= 0;
}

bool Formula::AssignsBuy() const {
    return program_->buy >= 0;
}

bool Formula::AssignsSell() const {
    return program_->sell >= 0;
}

bool Formula::ReadsBreadth() const {
    return program_->readsBreadth;
}

Workspace::Workspace() : state_(std::make_unique<WorkspaceState>()) {}
Workspace::~Workspace() = default;
Workspace::Workspace(Workspace&&) noexcept = default;
Workspace& Workspace::operator=(Workspace&&) noexcept = default;

std::size_t Workspace::BufferCount() const {
    return state_->pool.BufferCount();
}

const Results& Evaluate(const Formula& formula, const SymbolData& symbol, Workspace& workspace) {
    Evaluator(formula.program(), symbol, *workspace.state_).Run();
    return workspace.state_->results;
}

} // namespace marlindex::afl
