// The trading toolbox: Ref, Cross, BarsSince, HHV, LLV, Sum, Cum, LastValue, IIf, ExRem,
// BarIndex, the Null tests and the everyday arithmetic (Max, Min, Abs, sqrt ...).
#include "afl/Evaluator.h"

#include <array>
#include <cmath>
#include <limits>

namespace marlindex::afl {
namespace {

// 0, 1, 2, ... into `count` values: whole blocks add a fixed ramp to their first number, which
// the compiler vectorises (a number converted or incremented bar by bar would not be).
void CountUp(double* out, std::size_t count) {
    constexpr std::size_t kBlock = 16;
    static constexpr auto kRamp = [] {
        std::array<double, kBlock> ramp{};
        for (std::size_t k = 0; k < kBlock; ++k) {
            ramp[k] = static_cast<double>(k);
        }
        return ramp;
    }();
    std::size_t begin = 0;
    for (; begin + kBlock <= count; begin += kBlock) {
        const auto base = static_cast<double>(begin);
        for (std::size_t k = 0; k < kBlock; ++k) {
            out[begin + k] = base + kRamp[k];
        }
    }
    for (; begin < count; ++begin) {
        out[begin] = static_cast<double>(begin);
    }
}

// The extreme of each window, keeping the position of the current one and looking through the
// window again only when that position leaves it. A window that holds a NaN has a NaN extreme.
template <typename Better>
void Extreme(const double* x, std::size_t size, std::size_t period, double* out, Better better) {
    std::size_t best = 0;
    std::size_t nan = size; // the last NaN so far; `size` for none
    for (std::size_t i = 0; i < size; ++i) {
        const std::size_t start = i + 1 >= period ? i + 1 - period : 0;
        if (std::isnan(x[i])) {
            nan = i;
        }
        if (i == 0 || best < start) {
            best = start;
            for (std::size_t j = start + 1; j <= i; ++j) {
                if (!better(x[best], x[j])) {
                    best = j;
                }
            }
        } else if (!better(x[best], x[i])) {
            best = i;
        }
        if (i + 1 < period) {
            out[i] = kNull;
        } else {
            out[i] =
                nan < size && nan >= start ? std::numeric_limits<double>::quiet_NaN() : x[best];
        }
    }
}

// HHV, LLV and Sum with a period that is an array: each bar takes its own window, Null where
// the period is Null or below one bar, or the window reaches before the first value.
template <typename Reduce>
Value VariableWindow(Evaluator& ev, const Value& x, const Value& periods, Reduce reduce) {
    const std::size_t size = ev.size();
    Value result = ev.NewArray();
    double* out = result.Writable();
    for (std::size_t i = 0; i < size; ++i) {
        const double p = std::trunc(periods.data()[i]);
        if (IsNull(periods.data()[i]) || !(p >= 1) || p > static_cast<double>(i + 1) ||
            i + 1 - static_cast<std::size_t>(p) < x.lead()) {
            out[i] = kNull;
            continue;
        }
        const std::size_t first = i + 1 - static_cast<std::size_t>(p);
        double value = x.data()[first];
        bool null = IsNull(value);
        for (std::size_t j = first + 1; j <= i && !null; ++j) {
            null = IsNull(x.data()[j]);
            value = reduce(value, x.data()[j]);
        }
        out[i] = null ? kNull : value;
    }
    result.ShapeFromValues(size);
    return result;
}

template <typename Reduce>
Value Window(Evaluator& ev, const CallSite& call, Kernel kernel, Reduce reduce) {
    const Value x = ev.ToArray(call.args[0]);
    const Value& periods = call.args[1];
    if (periods.IsText()) {
        Evaluator::Fail(call.argWhere[1], std::string(call.name) +
                                              "'s 'periods' must be a number or an array, "
                                              "not a text");
    }
    if (periods.IsArray()) {
        return VariableWindow(ev, x, periods, reduce);
    }
    double p = periods.number();
    if (IsNull(p) || !(std::trunc(p) >= 1)) {
        return ev.AllNull();
    }
    p = std::min(std::trunc(p), static_cast<double>(ev.size()) + 1);
    return ev.RunKernel(kernel, 0, std::span<const Value>(&x, 1), std::span<const double>(&p, 1));
}

void CheckNotText(const CallSite& call) {
    for (std::size_t k = 0; k < call.args.size(); ++k) {
        if (call.args[k].IsText()) {
            Evaluator::Fail(call.argWhere[k], std::string(call.name) + " cannot take a text");
        }
    }
}

template <typename F> Value Pointwise(Evaluator& ev, const CallSite& call, F f) {
    CheckNotText(call);
    return ev.Map(std::move(call.args[0]), f);
}

} // namespace

void Highest(const double* x, std::size_t size, std::size_t period, double* out) {
    Extreme(x, size, period, out, [](double kept, double other) { return kept > other; });
}

void Lowest(const double* x, std::size_t size, std::size_t period, double* out) {
    Extreme(x, size, period, out, [](double kept, double other) { return kept < other; });
}

namespace kernels {

void Hhv(const KernelArgs& a) {
    Highest(a.inputs[0], a.size, Whole(a.options[0]), a.output);
}
void Llv(const KernelArgs& a) {
    Lowest(a.inputs[0], a.size, Whole(a.options[0]), a.output);
}
void Sum(const KernelArgs& a) {
    MovingSum(a.inputs[0], a.size, Whole(a.options[0]), a.output);
}

void Cum(const KernelArgs& a) {
    double total = 0;
    for (std::size_t i = 0; i < a.size; ++i) {
        total += a.inputs[0][i];
        a.output[i] = total;
    }
}

} // namespace kernels

namespace natives {

Value Ref(Evaluator& ev, const CallSite& call) {
    CheckNotText(call);
    const Value& x = call.args[0];
    const Value& shift = call.args[1];
    if (x.IsNumber()) {
        return x; // a single number is the same on every bar
    }
    const std::size_t size = ev.size();
    Value result = ev.NewArray();
    double* out = result.Writable();
    if (shift.IsArray()) {
        for (std::size_t i = 0; i < size; ++i) {
            const double k = std::trunc(shift.data()[i]);
            const double j = static_cast<double>(i) + k;
            out[i] = IsNull(shift.data()[i]) || !(j >= 0 && j < static_cast<double>(size))
                         ? kNull
                         : x.data()[static_cast<std::size_t>(j)];
        }
        result.ShapeFromValues(size);
        return result;
    }
    const double k = std::trunc(shift.number());
    if (IsNull(shift.number()) || !(std::fabs(k) < static_cast<double>(size))) {
        return ev.AllNull();
    }
    if (k == 0) {
        return x;
    }
    const std::size_t by = static_cast<std::size_t>(std::fabs(k));
    if (k < 0) { // the past: the first bars have none
        FillNull(out, by);
        std::copy(x.data(), x.data() + (size - by), out + by);
        result.SetShape(std::min(size, x.lead() + by), x.gaps());
    } else { // the future: the last bars have none
        std::copy(x.data() + by, x.data() + size, out);
        FillNull(out + (size - by), by);
        result.SetShape(x.lead() > by ? x.lead() - by : 0, true);
    }
    return result;
}

Value Cross(Evaluator& ev, const CallSite& call) {
    CheckNotText(call);
    const Value a = ev.ToArray(call.args[0]);
    const Value b = ev.ToArray(call.args[1]);
    const std::size_t size = ev.size();
    Value result = ev.NewArray();
    double* out = result.Writable();
    const double* x = a.data();
    const double* y = b.data();
    // Strict on both sides: above now and not above on the bar before, so an exact tie is
    // no cross. Every comparison with a NaN is false, so a Null anywhere in the four values
    // gives 0, the answer "no cross", without a test of its own. Written as a product of two
    // selects, the loop has no branch and the compiler vectorises it.
    const std::size_t first = std::max<std::size_t>(std::max(a.lead(), b.lead()) + 1, 1);
    std::fill(out, out + std::min(first, size), 0.0);
    for (std::size_t i = first; i < size; ++i) {
        const double above = x[i] > y[i] ? 1.0 : 0.0;
        const double notBefore = x[i - 1] <= y[i - 1] ? 1.0 : 0.0;
        out[i] = above * notBefore;
    }
    result.SetShape(0, false);
    return result;
}

Value BarsSince(Evaluator& ev, const CallSite& call) {
    CheckNotText(call);
    const Value condition = ev.ToArray(call.args[0]);
    const std::size_t size = ev.size();
    Value result = ev.NewArray();
    double* out = result.Writable();
    const double* c = condition.data();
    // Null before the first true bar; a Null or NaN condition later is simply not true.
    std::size_t i = NextTrue(c, std::min(condition.lead(), size), size);
    FillNull(out, i);
    result.SetShape(i, false);
    // From each true bar to the next: 0, 1, 2, ...
    while (i < size) {
        const std::size_t next = NextTrue(c, i + 1, size);
        CountUp(out + i, next - i);
        i = next;
    }
    return result;
}

Value Hhv(Evaluator& ev, const CallSite& call) {
    return Window(ev, call, kernels::Hhv, [](double a, double b) { return b > a ? b : a; });
}

Value Llv(Evaluator& ev, const CallSite& call) {
    return Window(ev, call, kernels::Llv, [](double a, double b) { return b < a ? b : a; });
}

Value Sum(Evaluator& ev, const CallSite& call) {
    return Window(ev, call, kernels::Sum, [](double a, double b) { return a + b; });
}

Value LastValue(Evaluator& ev, const CallSite& call) {
    CheckNotText(call);
    const Value& x = call.args[0];
    double last = x.IsNumber() ? x.number() : ev.size() > 0 ? x.data()[ev.size() - 1] : kNull;
    return Value::Number(IsNull(last) ? 0 : last); // a Null last value reads as 0
}

Value IIf(Evaluator& ev, const CallSite& call) {
    CheckNotText(call);
    const Value& condition = call.args[0];
    if (condition.IsNumber()) {
        if (IsNull(condition.number())) {
            return Value::Number(kNull);
        }
        return IsTrue(condition.number()) ? call.args[1] : call.args[2];
    }
    const Value yes = ev.ToArray(call.args[1]);
    const Value no = ev.ToArray(call.args[2]);
    const std::size_t size = ev.size();
    Value result = ev.NewArray();
    double* out = result.Writable();
    // A Null condition chooses neither side.
    for (std::size_t i = 0; i < size; ++i) {
        const double c = condition.data()[i];
        out[i] = IsNull(c) ? kNull : IsTrue(c) ? yes.data()[i] : no.data()[i];
    }
    result.ShapeFromValues(size);
    return result;
}

// The larger (smaller) of two values; NaN when either is NaN.
Value Max(Evaluator& ev, const CallSite& call) {
    CheckNotText(call);
    return ev.Map(std::move(call.args[0]), std::move(call.args[1]),
                  [](double a, double b) { return a > b || a != a ? a : b; });
}

Value Min(Evaluator& ev, const CallSite& call) {
    CheckNotText(call);
    return ev.Map(std::move(call.args[0]), std::move(call.args[1]),
                  [](double a, double b) { return a < b || a != a ? a : b; });
}

Value Abs(Evaluator& ev, const CallSite& c) {
    return Pointwise(ev, c, [](double x) { return std::fabs(x); });
}
Value Sqrt(Evaluator& ev, const CallSite& c) {
    return Pointwise(ev, c, [](double x) { return std::sqrt(x); });
}
Value Log(Evaluator& ev, const CallSite& c) {
    return Pointwise(ev, c, [](double x) { return std::log(x); });
}
Value Exp(Evaluator& ev, const CallSite& c) {
    return Pointwise(ev, c, [](double x) { return std::exp(x); });
}
Value Floor(Evaluator& ev, const CallSite& c) {
    return Pointwise(ev, c, [](double x) { return std::floor(x); });
}
Value Ceil(Evaluator& ev, const CallSite& c) {
    return Pointwise(ev, c, [](double x) { return std::ceil(x); });
}
Value Round(Evaluator& ev, const CallSite& c) {
    return Pointwise(ev, c, [](double x) { return std::round(x); });
}
Value Int(Evaluator& ev, const CallSite& c) {
    return Pointwise(ev, c, [](double x) { return std::trunc(x); });
}

// The tests of a value: never Null themselves.
template <typename Test> Value Classify(Evaluator& ev, const CallSite& call, Test test) {
    CheckNotText(call);
    const Value& x = call.args[0];
    if (x.IsNumber()) {
        return Value::Number(test(x.number()) ? 1 : 0);
    }
    Value result = ev.NewArray();
    double* out = result.Writable();
    for (std::size_t i = 0; i < ev.size(); ++i) {
        out[i] = test(x.data()[i]) ? 1 : 0;
    }
    return result;
}

Value IsEmpty(Evaluator& ev, const CallSite& c) {
    return Classify(ev, c, [](double x) { return afl::IsNull(x); });
}
Value IsNan(Evaluator& ev, const CallSite& c) {
    return Classify(ev, c, [](double x) { return std::isnan(x) && !afl::IsNull(x); });
}
Value IsTrueValue(Evaluator& ev, const CallSite& c) {
    return Classify(ev, c, [](double x) { return afl::IsTrue(x); });
}

Value Nz(Evaluator& ev, const CallSite& call) {
    CheckNotText(call);
    const Value& x = call.args[0];
    const double fallback = call.args[1].number();
    // Null, NaN and the infinities all become the fallback.
    const auto replace = [fallback](double v) { return std::isfinite(v) ? v : fallback; };
    if (x.IsNumber()) {
        return Value::Number(replace(x.number()));
    }
    Value result = ev.NewArray();
    double* out = result.Writable();
    for (std::size_t i = 0; i < ev.size(); ++i) {
        out[i] = replace(x.data()[i]);
    }
    if (afl::IsNull(fallback)) {
        result.ShapeFromValues(ev.size());
    }
    return result;
}

Value BarIndex(Evaluator& ev, const CallSite&) {
    Value result = ev.NewArray();
    double* out = result.Writable();
    for (std::size_t i = 0; i < ev.size(); ++i) {
        out[i] = static_cast<double>(i);
    }
    return result;
}

Value ExRem(Evaluator& ev, const CallSite& call) {
    CheckNotText(call);
    const Value a = ev.ToArray(call.args[0]);
    const Value b = ev.ToArray(call.args[1]);
    Value result = ev.NewArray();
    double* out = result.Writable();
    // Keeps a signal of the first array only after the second has been true since the last
    // one kept (the first signal is always kept).
    bool armed = true;
    for (std::size_t i = 0; i < ev.size(); ++i) {
        const bool first = IsTrue(a.data()[i]);
        out[i] = armed && first ? 1 : 0;
        if (armed && first) {
            armed = false;
        } else if (!armed && IsTrue(b.data()[i])) {
            armed = true;
        }
    }
    return result;
}

} // namespace natives
} // namespace marlindex::afl
