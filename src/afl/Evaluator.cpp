#include "afl/Evaluator.h"

#include <cmath>
#include <cstdint>
#include <stdexcept>

namespace marlindex::afl {
namespace {

constexpr std::size_t kMaxTextLength = 65536;

// A double as a whole number for the bit-wise operators; NaN, Null and values beyond 2^63
// have none.
bool ToInteger(double value, std::int64_t& out) {
    if (!(std::fabs(value) < 9.2e18)) {
        return false;
    }
    out = static_cast<std::int64_t>(value);
    return true;
}

double BitAnd(double x, double y) {
    std::int64_t a = 0;
    std::int64_t b = 0;
    return ToInteger(x, a) && ToInteger(y, b) ? static_cast<double>(a & b) : std::nan("");
}

double BitOr(double x, double y) {
    std::int64_t a = 0;
    std::int64_t b = 0;
    return ToInteger(x, a) && ToInteger(y, b) ? static_cast<double>(a | b) : std::nan("");
}

std::string KindName(const Value& value) {
    switch (value.kind()) {
    case ValueKind::Number:
        return "a number";
    case ValueKind::Text:
        return "a text";
    case ValueKind::Array:
        return "an array";
    case ValueKind::Nothing:
        break;
    }
    return "nothing";
}

void CheckColumns(const BarSeries& bars) {
    const std::size_t size = bars.dates.size();
    if (bars.open.size() != size || bars.high.size() != size || bars.low.size() != size ||
        bars.close.size() != size || bars.volume.size() != size ||
        (bars.openInt.size() != size && !bars.openInt.empty())) {
        throw std::invalid_argument("the bar columns of a symbol differ in length");
    }
}

} // namespace

Evaluator::Evaluator(const Program& program, const SymbolData& symbol, WorkspaceState& state)
    : program_(program), symbol_(symbol), state_(state), size_(symbol.bars.size()) {
    CheckColumns(symbol.bars);
}

void Evaluator::Fail(SourcePos where, const std::string& message) {
    throw Error(where, message);
}

Value Evaluator::NewArray() {
    return Value::Owned(state_.pool, state_.pool.Acquire());
}

Value Evaluator::AllNull() {
    Value result = NewArray();
    FillNull(result.Writable(), size_);
    result.SetShape(size_, false);
    return result;
}

Value Evaluator::ToArray(const Value& value) {
    if (value.IsArray()) {
        return value;
    }
    if (IsNull(value.number())) {
        return AllNull();
    }
    Value result = NewArray();
    std::fill(result.Writable(), result.Writable() + size_, value.number());
    return result;
}

Value Evaluator::Reuse(Value& operand) {
    if (operand.Writable() != nullptr) {
        return std::move(operand);
    }
    return NewArray();
}

std::string_view Evaluator::KeepText(std::string text) {
    return state_.texts.emplace_back(std::move(text));
}

Value Evaluator::Price(char letter) {
    const BarSeries& bars = symbol_.bars;
    switch (letter) {
    case 'O':
        return Value::Borrowed(bars.open.data(), 0, false);
    case 'H':
        return Value::Borrowed(bars.high.data(), 0, false);
    case 'L':
        return Value::Borrowed(bars.low.data(), 0, false);
    case 'C':
        return Value::Borrowed(bars.close.data(), 0, false);
    case 'V':
        return Value::Borrowed(bars.volume.data(), 0, false);
    case 'I':
        if (bars.openInt.size() == size_) {
            return Value::Borrowed(bars.openInt.data(), 0, false);
        }
        if (!state_.zeros.IsArray()) {
            state_.zeros = ToArray(Value::Number(0));
        }
        return state_.zeros;
    default: // 'A': the typical price, once per symbol
        if (!state_.average.IsArray()) {
            Value average = NewArray();
            double* out = average.Writable();
            for (std::size_t i = 0; i < size_; ++i) {
                out[i] = (bars.high[i] + bars.low[i] + bars.close[i]) / 3;
            }
            state_.average = std::move(average);
        }
        return state_.average;
    }
}

Value Evaluator::RunKernel(Kernel kernel, int scratch, std::span<const Value> inputs,
                           std::span<const double> options) {
    for (const double option : options) {
        if (IsNull(option)) {
            return AllNull();
        }
    }
    std::size_t from = 0;
    std::size_t to = size_;
    const double* pointers[8];
    for (std::size_t k = 0; k < inputs.size(); ++k) {
        const Value& input = inputs[k];
        from = std::max(from, input.lead());
        if (input.gaps()) {
            // A Null after the leading ones ends what the unit can use: a running total or a
            // recursion cannot step over a bar without a value.
            std::size_t i = std::min(input.lead(), size_);
            while (i < to && !IsNull(input.data()[i])) {
                ++i;
            }
            to = i;
        }
    }
    from = std::min(from, to);
    for (std::size_t k = 0; k < inputs.size(); ++k) {
        pointers[k] = inputs[k].data() + from;
    }
    Value result = NewArray();
    double* out = result.Writable();
    Value spare[3];
    double* spareData[3] = {};
    for (int k = 0; k < scratch; ++k) {
        spare[k] = NewArray();
        spareData[k] = spare[k].Writable();
    }
    FillNull(out, from);
    kernel({to - from, pointers, options.data(), out + from, spareData});
    FillNull(out + to, size_ - to);
    std::size_t lead = from;
    while (lead < to && IsNull(out[lead])) {
        ++lead;
    }
    result.SetShape(lead == to ? size_ : lead, to < size_ && lead < to);
    return result;
}

void Evaluator::AddColumn(const Value& values, std::string_view title, double format) {
    const std::size_t index = state_.columnCount++;
    // Both lists keep what earlier symbols left in them, to reuse the title's storage; the
    // results hold exactly this symbol's columns once it is done.
    if (state_.columnValues.size() <= index) {
        state_.columnValues.resize(index + 1);
    }
    if (state_.results.columns.size() <= index) {
        state_.results.columns.resize(index + 1);
    }
    state_.columnValues[index] = values;
    Column& column = state_.results.columns[index];
    column.title.assign(title);
    column.format = format;
    column.values = {values.data(), size_};
}

Value Evaluator::BuiltinValue(Builtin builtin) {
    switch (builtin) {
    case Builtin::Open:
        return Price('O');
    case Builtin::High:
        return Price('H');
    case Builtin::Low:
        return Price('L');
    case Builtin::Close:
        return Price('C');
    case Builtin::Volume:
        return Price('V');
    case Builtin::OpenInt:
        return Price('I');
    case Builtin::Avg:
        return Price('A');
    case Builtin::True:
        return Value::Number(1);
    case Builtin::False:
        return Value::Number(0);
    case Builtin::Null:
        return Value::Number(kNull);
    case Builtin::BarCount:
        break;
    }
    return Value::Number(static_cast<double>(size_));
}

Value Evaluator::TextBinary(TokenKind op, const Value& a, const Value& b, SourcePos where) {
    if (!a.IsText() || !b.IsText()) {
        Fail(where, "cannot use '" + std::string(Spelling(op)) + "' on " + KindName(a) + " and " +
                        KindName(b));
    }
    const int order = a.text().compare(b.text());
    switch (op) {
    case TokenKind::Plus:
        // A formula that doubles a text statement after statement must not take all memory.
        if (a.text().size() + b.text().size() > kMaxTextLength) {
            Fail(where,
                 "the text would be longer than " + std::to_string(kMaxTextLength) + " characters");
        }
        return Value::Text(KeepText(std::string(a.text()) + std::string(b.text())));
    case TokenKind::EqualEqual:
        return Value::Number(order == 0);
    case TokenKind::NotEqual:
        return Value::Number(order != 0);
    case TokenKind::Less:
        return Value::Number(order < 0);
    case TokenKind::Greater:
        return Value::Number(order > 0);
    case TokenKind::LessEqual:
        return Value::Number(order <= 0);
    case TokenKind::GreaterEqual:
        return Value::Number(order >= 0);
    default:
        Fail(where, "cannot use '" + std::string(Spelling(op)) + "' on texts");
    }
}

Value Evaluator::Binary(TokenKind op, Value a, Value b, SourcePos where) {
    if (a.IsText() || b.IsText()) {
        return TextBinary(op, a, b, where);
    }
    using T = TokenKind;
    switch (op) {
    case T::Plus:
        return Map(std::move(a), std::move(b), [](double x, double y) { return x + y; });
    case T::Minus:
        return Map(std::move(a), std::move(b), [](double x, double y) { return x - y; });
    case T::Star:
        return Map(std::move(a), std::move(b), [](double x, double y) { return x * y; });
    case T::Slash:
        return Map(std::move(a), std::move(b), [](double x, double y) { return x / y; });
    case T::Percent:
        return Map(std::move(a), std::move(b), [](double x, double y) { return std::fmod(x, y); });
    case T::Caret:
        return Map(std::move(a), std::move(b), [](double x, double y) { return std::pow(x, y); });
    case T::Less:
        return Map(std::move(a), std::move(b),
                   [](double x, double y) { return x < y ? 1.0 : 0.0; });
    case T::Greater:
        return Map(std::move(a), std::move(b),
                   [](double x, double y) { return x > y ? 1.0 : 0.0; });
    case T::LessEqual:
        return Map(std::move(a), std::move(b),
                   [](double x, double y) { return x <= y ? 1.0 : 0.0; });
    case T::GreaterEqual:
        return Map(std::move(a), std::move(b),
                   [](double x, double y) { return x >= y ? 1.0 : 0.0; });
    case T::EqualEqual:
        return Map(std::move(a), std::move(b),
                   [](double x, double y) { return x == y ? 1.0 : 0.0; });
    case T::NotEqual:
        return Map(std::move(a), std::move(b),
                   [](double x, double y) { return x != y ? 1.0 : 0.0; });
    case T::And:
        return Map(std::move(a), std::move(b),
                   [](double x, double y) { return IsTrue(x) && IsTrue(y) ? 1.0 : 0.0; });
    case T::Or:
        return Map(std::move(a), std::move(b),
                   [](double x, double y) { return IsTrue(x) || IsTrue(y) ? 1.0 : 0.0; });
    case T::Ampersand:
        return Map(std::move(a), std::move(b), BitAnd);
    case T::Pipe:
        return Map(std::move(a), std::move(b), BitOr);
    default:
        break;
    }
    Fail(where, "cannot use '" + std::string(Spelling(op)) + "' here");
}

Value Evaluator::Unary(TokenKind op, Value a, SourcePos where) {
    if (a.IsText()) {
        Fail(where, "cannot use '" + std::string(Spelling(op)) + "' on a text");
    }
    if (op == TokenKind::Minus) {
        return Map(std::move(a), [](double x) { return -x; });
    }
    return Map(std::move(a), [](double x) { return IsTrue(x) ? 0.0 : 1.0; });
}

Value Evaluator::Subscript(const Value& array, const Value& index, SourcePos where) {
    if (!index.IsNumber()) {
        Fail(where, "a subscript must be a single number, not " + KindName(index));
    }
    if (!array.IsArray()) {
        Fail(where, "only an array can take a subscript, not " + KindName(array));
    }
    const double i = index.number();
    if (!(i >= 0 && i < static_cast<double>(size_))) {
        return Value::Number(kNull); // also a Null or NaN subscript
    }
    return Value::Number(array.data()[static_cast<std::size_t>(i)]);
}

Value Evaluator::EvalCall(const Node& node, const FunctionSpec& entry) {
    // At most four parameters (AddColumn's three, AMA2's three, Signal's three): no allocation.
    Value args[4];
    SourcePos argWhere[4];
    const std::size_t count = entry.params.size();
    for (std::size_t k = 0; k < count; ++k) {
        if (k < node.args.size()) {
            args[k] = Eval(node.args[k]);
            argWhere[k] = node.argStarts[k];
        } else {
            args[k] = Value::Number(entry.params[k].fallback);
            argWhere[k] = node.pos;
        }
        const Param& param = entry.params[k];
        const Value& arg = args[k];
        const auto fail = [&](const std::string& problem) {
            Fail(argWhere[k],
                 std::string(entry.name) + "'s '" + std::string(param.name) + "' " + problem);
        };
        switch (param.kind) {
        case ParamKind::Array:
            if (arg.IsText()) {
                fail("must be a number or an array, not a text");
            }
            break;
        case ParamKind::Period:
        case ParamKind::Number:
            if (!arg.IsNumber()) {
                fail("must be a single number, not " + KindName(arg));
            }
            break;
        case ParamKind::Text:
            if (!arg.IsText()) {
                fail("must be a text, not " + KindName(arg));
            }
            break;
        case ParamKind::Any:
            break;
        }
    }
    if (entry.native != nullptr) {
        return entry.native(*this, CallSite{entry.name, node.pos, std::span<Value>(args, count),
                                            std::span<const SourcePos>(argWhere, count)});
    }
    Value inputs[8];
    std::size_t inputCount = 0;
    for (const char letter : entry.implicit) {
        inputs[inputCount++] = Price(letter);
    }
    double options[4];
    std::size_t optionCount = 0;
    bool periodsValid = true;
    for (std::size_t k = 0; k < count; ++k) {
        if (entry.params[k].kind == ParamKind::Array) {
            inputs[inputCount++] = ToArray(args[k]);
            continue;
        }
        double option = args[k].number();
        if (entry.params[k].kind == ParamKind::Period && !IsNull(option)) {
            // Whole bars; a period longer than the data is as good as one bar longer.
            option = std::trunc(option);
            periodsValid = periodsValid && option >= 1;
            option = std::min(option, static_cast<double>(size_) + 1);
        }
        options[optionCount++] = option;
    }
    if (!periodsValid) {
        return AllNull();
    }
    return RunKernel(entry.kernel, entry.scratch, std::span<const Value>(inputs, inputCount),
                     std::span<const double>(options, optionCount));
}

Value Evaluator::Eval(NodeId id) {
    const Node& node = program_.tree.nodes[static_cast<std::size_t>(id)];
    const Binding& binding = program_.bindings[static_cast<std::size_t>(id)];
    switch (node.kind) {
    case NodeKind::Number:
        return Value::Number(node.number);
    case NodeKind::String:
        return Value::Text(node.text);
    case NodeKind::Name:
        if (binding.kind == BindingKind::Variable) {
            return state_.variables[static_cast<std::size_t>(binding.index)];
        }
        return BuiltinValue(static_cast<Builtin>(binding.index));
    case NodeKind::Unary:
        return Unary(node.op, Eval(node.left), node.pos);
    case NodeKind::Binary: {
        Value left = Eval(node.left);
        return Binary(node.op, std::move(left), Eval(node.right), node.pos);
    }
    case NodeKind::Call:
        return EvalCall(node, Functions()[static_cast<std::size_t>(binding.index)]);
    case NodeKind::Subscript: {
        const Value array = Eval(node.left);
        return Subscript(array, Eval(node.right), node.pos);
    }
    case NodeKind::Assign: {
        Value& variable = state_.variables[static_cast<std::size_t>(binding.index)];
        Value value = Eval(node.right);
        switch (node.op) {
        case TokenKind::PlusAssign:
            value = Binary(TokenKind::Plus, variable, std::move(value), node.pos);
            break;
        case TokenKind::MinusAssign:
            value = Binary(TokenKind::Minus, variable, std::move(value), node.pos);
            break;
        case TokenKind::StarAssign:
            value = Binary(TokenKind::Star, variable, std::move(value), node.pos);
            break;
        case TokenKind::SlashAssign:
            value = Binary(TokenKind::Slash, variable, std::move(value), node.pos);
            break;
        default:
            break;
        }
        if (value.IsText() && (binding.index == program_.filter || binding.index == program_.buy ||
                               binding.index == program_.sell)) {
            Fail(node.pos, Shown(node.text) + " must be a number or an array, not a text");
        }
        variable = value;
        return value;
    }
    }
    return Value();
}

void Evaluator::Run() {
    state_.variables.clear();
    state_.average = Value();
    state_.zeros = Value();
    state_.columnCount = 0;
    state_.texts.clear();
    for (Value& value : state_.columnValues) {
        value = Value();
    }
    state_.pool.Reset(size_);
    state_.variables.resize(program_.variables.size());
    for (const NodeId statement : program_.tree.statements) {
        Eval(statement);
    }
    Publish();
}

void Evaluator::Publish() {
    Results& results = state_.results;
    results.columns.resize(state_.columnCount);
    const auto publish = [&](int slot, std::optional<std::span<const double>>& out) {
        out.reset();
        if (slot < 0) {
            return;
        }
        Value& value = state_.variables[static_cast<std::size_t>(slot)];
        if (value.IsNumber()) {
            value = ToArray(value);
        }
        out = std::span<const double>(value.data(), size_);
    };
    publish(program_.filter, results.filter);
    publish(program_.buy, results.buy);
    publish(program_.sell, results.sell);
}

} // namespace marlindex::afl
