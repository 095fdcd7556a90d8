// The third step: running a resolved formula over one symbol's bars. The evaluator walks the
// parse tree; every value is a number, a text or an array from the workspace's pool. The
// function units see it through the services below.
#pragma once

#include "afl/Formula.h"
#include "afl/Functions.h"
#include "afl/Syntax.h"
#include "afl/Value.h"

#include <deque>
#include <string>
#include <vector>

namespace marlindex::afl {

// The names a formula can read without assigning them.
enum class Builtin : unsigned char {
    Open,
    High,
    Low,
    Close,
    Volume,
    OpenInt,
    Avg,
    True,
    False,
    Null,
    BarCount,
};

enum class BindingKind : unsigned char { None, Variable, Builtin, Function };

// What a Name, Call or Assign node refers to, decided once before evaluation.
struct Binding {
    BindingKind kind = BindingKind::None;
    int index = -1; // a variable's slot, a Builtin, or an index into Functions()
};

struct Program {
    SyntaxTree tree;
    std::vector<Binding> bindings; // one per node
    std::vector<std::string> variables;
    int filter = -1; // the slots of Filter, Buy and Sell; -1 when never assigned
    int buy = -1;
    int sell = -1;
};

struct WorkspaceState {
    BufferPool pool; // first, so that it outlives every value that refers to it
    std::vector<Value> variables;
    std::vector<Value> columnValues;
    Value average;
    Value zeros; // open interest of a symbol whose data has none
    std::deque<std::string> texts;
    Results results;
    std::size_t columnCount = 0;
};

class Evaluator {
public:
    Evaluator(const Program& program, const SymbolData& symbol, WorkspaceState& state);

    // Runs every statement and fills the state's results.
    void Run();

    // Services for the function units.
    std::size_t size() const { return size_; }
    const SymbolData& symbol() const { return symbol_; }
    Value NewArray(); // a buffer of size() values, to be filled and shaped by the caller
    Value AllNull();
    // The value as an array: a number stands for itself on every bar.
    Value ToArray(const Value& value);
    Value Price(char letter); // a letter of FunctionSpec::implicit
    // Runs an array unit: cuts off the leading Nulls of `inputs` (and everything from the
    // first gap on), fills the Nulls around the unit's result, shapes it.
    Value RunKernel(Kernel kernel, int scratch, std::span<const Value> inputs,
                    std::span<const double> options);
    std::string_view KeepText(std::string text);
    void AddColumn(const Value& values, std::string_view title, double format);
    [[noreturn]] static void Fail(SourcePos where, const std::string& message);

    // Element by element with AFL's Null rule: Null in any operand gives Null. A number
    // operand stands for itself on every bar; two numbers give a number.
    template <typename F> Value Map(Value a, F f);
    template <typename F> Value Map(Value a, Value b, F f);

private:
    Value Eval(NodeId id);
    Value EvalCall(const Node& node, const FunctionSpec& entry);
    Value BuiltinValue(Builtin builtin);
    Value Binary(TokenKind op, Value a, Value b, SourcePos where);
    Value Unary(TokenKind op, Value a, SourcePos where);
    Value TextBinary(TokenKind op, const Value& a, const Value& b, SourcePos where);
    Value Subscript(const Value& array, const Value& index, SourcePos where);
    // An array to write the result of an operation on `operand` into: the operand's own buffer
    // when nothing else uses it, else a new one.
    Value Reuse(Value& operand);
    void Publish();

    const Program& program_;
    const SymbolData& symbol_;
    WorkspaceState& state_;
    std::size_t size_;
};

template <typename F> Value Evaluator::Map(Value a, F f) {
    if (a.IsNumber()) {
        return Value::Number(IsNull(a.number()) ? kNull : f(a.number()));
    }
    const double* x = a.data();
    const std::size_t lead = std::min(a.lead(), size_);
    const bool gaps = a.gaps();
    Value result = Reuse(a);
    double* out = result.Writable();
    FillNull(out, lead);
    if (gaps) {
        for (std::size_t i = lead; i < size_; ++i) {
            out[i] = IsNull(x[i]) ? kNull : f(x[i]);
        }
    } else {
        for (std::size_t i = lead; i < size_; ++i) {
            out[i] = f(x[i]);
        }
    }
    result.SetShape(lead, gaps);
    return result;
}

template <typename F> Value Evaluator::Map(Value a, Value b, F f) {
    if (a.IsNumber() && b.IsNumber()) {
        const double x = a.number();
        const double y = b.number();
        return Value::Number(IsNull(x) || IsNull(y) ? kNull : f(x, y));
    }
    if (a.IsNumber()) {
        const double x = a.number();
        return IsNull(x) ? AllNull() : Map(std::move(b), [&](double y) { return f(x, y); });
    }
    if (b.IsNumber()) {
        const double y = b.number();
        return IsNull(y) ? AllNull() : Map(std::move(a), [&](double x) { return f(x, y); });
    }
    const double* x = a.data();
    const double* y = b.data();
    const std::size_t lead = std::min(std::max(a.lead(), b.lead()), size_);
    const bool gaps = a.gaps() || b.gaps();
    Value result = a.Writable() != nullptr ? Reuse(a) : Reuse(b);
    double* out = result.Writable();
    FillNull(out, lead);
    if (gaps) {
        for (std::size_t i = lead; i < size_; ++i) {
            out[i] = IsNull(x[i]) || IsNull(y[i]) ? kNull : f(x[i], y[i]);
        }
    } else {
        for (std::size_t i = lead; i < size_; ++i) {
            out[i] = f(x[i], y[i]);
        }
    }
    result.SetShape(lead, gaps);
    return result;
}

} // namespace marlindex::afl
