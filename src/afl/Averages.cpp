// Averages: MA, EMA, WMA, DEMA, TEMA, Wilders, AMA, AMA2, and the standard deviation with the
// Bollinger bands built on it.
#include "afl/Kernels.h"

#include <array>
#include <cmath>
#include <limits>

namespace marlindex::afl {

namespace {

// The sum of a sliding window, kept as a running total of its finite values plus a count of
// the NaN and infinite ones, so that one such bar spoils only the windows that hold it (a plain
// running total would stay NaN from there on, as INF - INF is NaN).
class WindowTotal {
public:
    void Add(double value) { Count(value, 1); }
    void Remove(double value) { Count(value, -1); }
    double Value() const {
        if (nan_ > 0 || (plusInf_ > 0 && minusInf_ > 0)) {
            return std::numeric_limits<double>::quiet_NaN();
        }
        if (plusInf_ > 0) {
            return std::numeric_limits<double>::infinity();
        }
        if (minusInf_ > 0) {
            return -std::numeric_limits<double>::infinity();
        }
        return sum_;
    }
    bool Finite() const { return nan_ + plusInf_ + minusInf_ == 0; }
    // Adds the difference of a finite value entering and a finite value leaving.
    void Shift(double step) { sum_ += step; }
    double Sum() const { return sum_; } // the value while the window is finite

private:
    void Count(double value, int sign) {
        if (std::isfinite(value)) {
            sum_ += sign * value;
        } else if (std::isnan(value)) {
            nan_ += sign;
        } else if (value > 0) {
            plusInf_ += sign;
        } else {
            minusInf_ += sign;
        }
    }

    double sum_ = 0; // its rounding error stays near the last digit of the total
    int nan_ = 0;
    int plusInf_ = 0;
    int minusInf_ = 0;
};

// The sums of the windows ending at bars [from, to): one direct sum, then one step a bar.
// Returns the last sum.
double RollWindow(const double* x, std::size_t period, std::size_t from, std::size_t to,
                  double* out) {
    double sum = 0;
    for (std::size_t j = from + 1 - period; j <= from; ++j) {
        sum += x[j];
    }
    out[from] = sum;
    for (std::size_t i = from + 1; i < to; ++i) {
        sum += x[i] - x[i - period];
        out[i] = sum;
    }
    return sum;
}

// The window sums with no test a bar, right when every value is finite: false when they are
// not (or a sum overflowed), which a NaN or an infinity shows in the last sum of the chain it
// entered, as neither ever turns finite again.
//
// A running total is one long chain of additions, each waiting for the one before; four
// stretches, each started by a direct sum of its first window, are four chains the processor
// runs side by side. A fresh direct sum also drops the rounding the chain before it gathered.
bool FastSlidingTotal(const double* x, std::size_t size, std::size_t period, double* out) {
    constexpr std::size_t kLanes = 4;
    const std::size_t first = period - 1;
    const std::size_t stretch = (size - first) / kLanes;
    if (stretch < 2 * period) { // too short to pay for the extra direct sums
        return std::isfinite(RollWindow(x, period, first, size, out));
    }
    std::size_t start[kLanes];
    double sum[kLanes];
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
        start[lane] = first + lane * stretch;
        sum[lane] = 0;
        for (std::size_t j = start[lane] + 1 - period; j <= start[lane]; ++j) {
            sum[lane] += x[j];
        }
        out[start[lane]] = sum[lane];
    }
    for (std::size_t k = 1; k < stretch; ++k) {
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            const std::size_t i = start[lane] + k;
            sum[lane] += x[i] - x[i - period];
            out[i] = sum[lane];
        }
    }
    // The bars the even split left over continue the last stretch.
    double last = sum[kLanes - 1];
    for (std::size_t i = first + kLanes * stretch; i < size; ++i) {
        last += x[i] - x[i - period];
        out[i] = last;
    }
    bool finite = std::isfinite(last);
    for (std::size_t lane = 0; lane + 1 < kLanes; ++lane) {
        finite = finite && std::isfinite(sum[lane]);
    }
    return finite;
}

// The sum of each window of `period` bars, Null before the first.
void SlidingTotal(const double* x, std::size_t size, std::size_t period, double* out) {
    FillNull(out, std::min(period - 1, size));
    if (period > size || FastSlidingTotal(x, size, period, out)) {
        return;
    }
    // One NaN or infinity spoils only the windows that hold it.
    WindowTotal total;
    for (std::size_t i = 0; i < size; ++i) {
        total.Add(x[i]);
        if (i >= period) {
            total.Remove(x[i - period]);
        }
        if (i + 1 >= period) {
            out[i] = total.Value();
        }
    }
}

MARLINDEX_DIVISION_LOOP void DivideAll(double* x, std::size_t size, double divisor) {
    for (std::size_t i = 0; i < size; ++i) {
        x[i] /= divisor;
    }
}

} // namespace

void MovingSum(const double* x, std::size_t size, std::size_t period, double* out) {
    SlidingTotal(x, size, period, out);
}

void SimpleAverage(const double* x, std::size_t size, std::size_t period, double* out) {
    SlidingTotal(x, size, period, out);
    // Divided in a loop of its own, which the compiler can vectorise.
    if (period <= size) {
        DivideAll(out + period - 1, size - period + 1, static_cast<double>(period));
    }
}

void SeededSmoothing(const double* x, std::size_t size, std::size_t period, double k, double* out) {
    if (period > size) {
        FillNull(out, size);
        return;
    }
    double seed = 0;
    for (std::size_t i = 0; i < period; ++i) {
        seed += x[i];
        out[i] = kNull;
    }
    double value = seed / static_cast<double>(period);
    out[period - 1] = value;
    for (std::size_t i = period; i < size; ++i) {
        value += k * (x[i] - value);
        out[i] = value;
    }
}

namespace {

double EmaFactor(std::size_t period) {
    return 2.0 / (static_cast<double>(period) + 1.0);
}

// Population (or sample) standard deviation of each window, from its own mean: two passes
// over the window keep a flat stretch at exactly 0, where a running sum of squares would not.
void WindowDeviation(const double* x, std::size_t size, std::size_t period, bool population,
                     double* mean, double* out) {
    SimpleAverage(x, size, period, mean);
    const double divisor = static_cast<double>(population ? period : period - 1);
    for (std::size_t i = 0; i < size; ++i) {
        if (i + 1 < period) {
            out[i] = kNull;
            continue;
        }
        double squares = 0;
        for (std::size_t j = i + 1 - period; j <= i; ++j) {
            const double d = x[j] - mean[i];
            squares += d * d;
        }
        out[i] = std::sqrt(squares / divisor);
    }
}

void Band(const KernelArgs& a, double sign) {
    const std::size_t period = Whole(a.options[0]);
    double* mean = a.scratch[0];
    WindowDeviation(a.inputs[0], a.size, period, true, mean, a.output);
    for (std::size_t i = period - 1; i < a.size; ++i) {
        a.output[i] = mean[i] + sign * a.options[1] * a.output[i];
    }
}

// EMAs of EMAs, all seeded with the first value (so defined from bar 0), mixed with the given
// weights: 2 E1 - E2 is DEMA, 3 E1 - 3 E2 + E3 is TEMA.
void ChainedFromFirst(const KernelArgs& a, const std::array<double, 3>& weights) {
    const double* x = a.inputs[0];
    const double k = EmaFactor(Whole(a.options[0]));
    if (a.size == 0) {
        return;
    }
    double e1 = x[0];
    double e2 = x[0];
    double e3 = x[0];
    a.output[0] = x[0];
    for (std::size_t i = 1; i < a.size; ++i) {
        e1 += k * (x[i] - e1);
        e2 += k * (e1 - e2);
        e3 += k * (e2 - e3);
        a.output[i] = weights[0] * e1 + weights[1] * e2 + weights[2] * e3;
    }
}

} // namespace

void EmaAfter(const double* x, std::size_t size, std::size_t lead, std::size_t period,
              double* out) {
    AfterLead(x, size, lead, out, [&](const double* in, std::size_t m, double* o) {
        SeededSmoothing(in, m, period, EmaFactor(period), o);
    });
}

std::size_t TwoAverages(const double* x, std::size_t size, std::size_t fast, std::size_t slow,
                        double* fastOut, double* slowOut) {
    EmaAfter(x, size, 0, fast, fastOut);
    EmaAfter(x, size, 0, slow, slowOut);
    return std::max(fast, slow) - 1;
}

void Difference(const double* a, const double* b, std::size_t size, std::size_t first,
                double* out) {
    for (std::size_t i = 0; i < size; ++i) {
        out[i] = i >= first ? a[i] - b[i] : kNull;
    }
}

namespace kernels {

void Ma(const KernelArgs& a) {
    SimpleAverage(a.inputs[0], a.size, Whole(a.options[0]), a.output);
}

void Ema(const KernelArgs& a) {
    const std::size_t period = Whole(a.options[0]);
    SeededSmoothing(a.inputs[0], a.size, period, EmaFactor(period), a.output);
}

void Wilders(const KernelArgs& a) {
    const std::size_t period = Whole(a.options[0]);
    SeededSmoothing(a.inputs[0], a.size, period, 1.0 / static_cast<double>(period), a.output);
}

void Wma(const KernelArgs& a) {
    const double* x = a.inputs[0];
    const std::size_t period = Whole(a.options[0]);
    const double p = static_cast<double>(period);
    const double weights = p * (p + 1) / 2;
    // The weighted sum of a window directly; then one step a bar while the window holds only
    // finite values: the new bar enters with weight p and every other bar's weight drops by
    // one, which takes off the plain sum of the previous window.
    const auto direct = [&](std::size_t end, double& plain) {
        double weighted = 0;
        plain = 0;
        for (std::size_t j = end + 1 - period; j <= end; ++j) {
            weighted += static_cast<double>(j + period - end) * x[j];
            plain += x[j];
        }
        return weighted;
    };
    WindowTotal window;
    double weighted = 0;
    double plain = 0;
    bool stepping = false;
    for (std::size_t i = 0; i < a.size; ++i) {
        window.Add(x[i]);
        if (i >= period) {
            window.Remove(x[i - period]);
        }
        if (i + 1 < period) {
            a.output[i] = kNull;
            continue;
        }
        if (stepping && window.Finite()) {
            weighted += p * x[i] - plain;
            plain += x[i] - x[i - period];
        } else {
            weighted = direct(i, plain);
            stepping = window.Finite();
        }
        a.output[i] = weighted / weights;
    }
}

void Dema(const KernelArgs& a) {
    ChainedFromFirst(a, {2, -1, 0});
}
void Tema(const KernelArgs& a) {
    ChainedFromFirst(a, {3, -3, 1});
}

void Ama(const KernelArgs& a) {
    const double* x = a.inputs[0];
    const double* factor = a.inputs[1];
    if (a.size == 0) {
        return;
    }
    double value = x[0];
    a.output[0] = value;
    for (std::size_t i = 1; i < a.size; ++i) {
        value = factor[i] * x[i] + (1 - factor[i]) * value;
        a.output[i] = value;
    }
}

void Ama2(const KernelArgs& a) {
    const double* x = a.inputs[0];
    const double* smoothing = a.inputs[1];
    const double* feedback = a.inputs[2];
    if (a.size == 0) {
        return;
    }
    double value = x[0];
    a.output[0] = value;
    for (std::size_t i = 1; i < a.size; ++i) {
        value = smoothing[i] * x[i] + feedback[i] * value;
        a.output[i] = value;
    }
}

void StDev(const KernelArgs& a) {
    const std::size_t period = Whole(a.options[0]);
    const bool population = a.options[1] != 0;
    if (!population && period < 2) {
        FillNull(a.output, a.size); // a sample of one bar has no deviation
        return;
    }
    WindowDeviation(a.inputs[0], a.size, period, population, a.scratch[0], a.output);
}

void BBandTop(const KernelArgs& a) {
    Band(a, 1);
}
void BBandBot(const KernelArgs& a) {
    Band(a, -1);
}

} // namespace kernels
} // namespace marlindex::afl
