// Oscillators and trend: RSIa, RMI, CCIa, the stochastics, ROC, TRIX, MACD and its signal,
// the price and volume oscillators, Ultimate, MFI, the parabolic SAR, the directional
// movement family (ADX, PDI, MDI), ATR and the random walk index.
#include "afl/Kernels.h"

#include <algorithm>
#include <cmath>

namespace marlindex::afl {

void TrueRange(const double* high, const double* low, const double* close, std::size_t size,
               double* out) {
    for (std::size_t i = 0; i < size; ++i) {
        double range = high[i] - low[i];
        if (i > 0) {
            range = std::max(
                {range, std::fabs(high[i] - close[i - 1]), std::fabs(low[i] - close[i - 1])});
        }
        out[i] = range;
    }
}

void AverageTrueRange(const double* high, const double* low, const double* close, std::size_t size,
                      std::size_t period, double* out) {
    TrueRange(high, low, close, size, out);
    if (period > size) {
        FillNull(out, size);
        return;
    }
    double atr = 0;
    for (std::size_t i = 0; i < period; ++i) {
        atr += out[i];
        out[i] = kNull; // the seed at bar period - 1 is not shown
    }
    atr /= static_cast<double>(period);
    const double n = static_cast<double>(period);
    for (std::size_t i = period; i < size; ++i) {
        atr = ((n - 1) * atr + out[i]) / n;
        out[i] = atr;
    }
}

namespace {

// The gain and loss of a bar's change over `lag` bars, without a branch: either would otherwise
// set the pace of the whole loop.
struct Move {
    double up;
    double down;
};

Move MoveOf(const double* x, std::size_t i, std::size_t lag) {
    const double change = x[i] - x[i - lag];
    const double up = 0.5 * (change + std::fabs(change)); // exactly max(change, 0)
    return {up, up - change};                             // and max(-change, 0)
}

MARLINDEX_DIVISION_LOOP void Oscillate(const double* gains, const double* losses, std::size_t size,
                                       double* out) {
    for (std::size_t i = 0; i < size; ++i) {
        out[i] = 100 * gains[i] / (gains[i] + losses[i]);
    }
}

// RSIa's loop on the change over `lag` bars: both averages start at zero and follow Wilder's
// smoothing, ((n - 1) * P + up) / n, as two multiplications; a value is shown from bar `first`
// on, once anything has changed at all.
//
// The smoothing is a chain in which every bar waits for the one before. Taking two bars a
// step (P'' = k^2 P + k t up' + t up'') halves its length, the bar in between is worked out
// beside the chain, and the divisions of the oscillator run afterwards, a block at a time, in
// a loop of their own that the compiler can vectorise.
void RelativeStrength(const double* x, std::size_t size, std::size_t period, std::size_t lag,
                      std::size_t first, double* out) {
    const double keep = (static_cast<double>(period) - 1) / static_cast<double>(period);
    const double take = 1 / static_cast<double>(period);
    const double keepTwice = keep * keep;
    const double keepTake = keep * take;
    std::size_t start = lag;
    // Nothing has changed yet: both averages stay 0 and there is no value.
    while (start < size && x[start] == x[start - lag]) {
        ++start;
    }
    constexpr std::size_t kBlock = 256;
    double gainBlock[kBlock];
    double lossBlock[kBlock];
    double gains = 0;
    double losses = 0;
    for (std::size_t begin = start; begin < size; begin += kBlock) {
        const std::size_t count = std::min(kBlock, size - begin);
        std::size_t k = 0;
        for (; k + 1 < count; k += 2) {
            const Move one = MoveOf(x, begin + k, lag);
            const Move two = MoveOf(x, begin + k + 1, lag);
            gainBlock[k] = keep * gains + take * one.up;
            lossBlock[k] = keep * losses + take * one.down;
            gains = keepTwice * gains + (keepTake * one.up + take * two.up);
            losses = keepTwice * losses + (keepTake * one.down + take * two.down);
            gainBlock[k + 1] = gains;
            lossBlock[k + 1] = losses;
        }
        if (k < count) {
            const Move one = MoveOf(x, begin + k, lag);
            gains = keep * gains + take * one.up;
            losses = keep * losses + take * one.down;
            gainBlock[k] = gains;
            lossBlock[k] = losses;
        }
        Oscillate(gainBlock, lossBlock, count, out + begin);
    }
    FillNull(out, std::min(std::max(start, first), size));
}

void FastStochastic(const KernelArgs& a, std::size_t period, double* out, double* scratch) {
    const double* high = a.inputs[0];
    const double* low = a.inputs[1];
    const double* close = a.inputs[2];
    Lowest(low, a.size, period, out);
    Highest(high, a.size, period, scratch);
    for (std::size_t i = period - 1; i < a.size; ++i) {
        out[i] = 100 * (close[i] - out[i]) / (scratch[i] - out[i]);
    }
}

void SlowStochastic(const KernelArgs& a, double* out, double* scratch0, double* scratch1) {
    const std::size_t period = Whole(a.options[0]);
    const std::size_t smoothing = Whole(a.options[1]);
    FastStochastic(a, period, scratch0, scratch1);
    AfterLead(scratch0, a.size, period - 1, out, [&](const double* x, std::size_t m, double* o) {
        SimpleAverage(x, m, smoothing, o);
    });
}

// The directional movement system with the seeding of TA-Lib: sums of the first period - 1
// one-bar values, Wilder's step from bar `period` on (the first DI), DX averaged over its first
// `period` values for the first ADX at bar 2 * period - 1. Flat bars that give no range make
// DI and DX 0 rather than a division by zero. Any output may be null.
void DirectionalMovement(const KernelArgs& a, double* plusOut, double* minusOut, double* adxOut) {
    const double* high = a.inputs[0];
    const double* low = a.inputs[1];
    const double* close = a.inputs[2];
    const std::size_t period = Whole(a.options[0]);
    const double n = static_cast<double>(period);
    for (double* out : {plusOut, minusOut, adxOut}) {
        if (out != nullptr) {
            FillNull(out, a.size);
        }
    }
    double plusSum = 0;
    double minusSum = 0;
    double rangeSum = 0;
    double dxSum = 0;
    double adx = 0;
    for (std::size_t i = 1; i < a.size; ++i) {
        const double up = high[i] - high[i - 1];
        const double down = low[i - 1] - low[i];
        const double plusMove = up > down && up > 0 ? up : 0;
        const double minusMove = down > up && down > 0 ? down : 0;
        const double range = std::max({high[i] - low[i], std::fabs(high[i] - close[i - 1]),
                                       std::fabs(low[i] - close[i - 1])});
        if (i < period) {
            plusSum += plusMove;
            minusSum += minusMove;
            rangeSum += range;
            continue;
        }
        plusSum += plusMove - plusSum / n;
        minusSum += minusMove - minusSum / n;
        rangeSum += range - rangeSum / n;
        const double plusDi = rangeSum != 0 ? 100 * plusSum / rangeSum : 0;
        const double minusDi = rangeSum != 0 ? 100 * minusSum / rangeSum : 0;
        const double total = plusDi + minusDi;
        const double dx = total != 0 ? 100 * std::fabs(plusDi - minusDi) / total : 0;
        if (plusOut != nullptr) {
            plusOut[i] = plusDi;
        }
        if (minusOut != nullptr) {
            minusOut[i] = minusDi;
        }
        if (i < 2 * period - 1) {
            dxSum += dx;
            continue;
        }
        adx = i == 2 * period - 1 ? (dxSum + dx) / n : ((n - 1) * adx + dx) / n;
        if (adxOut != nullptr) {
            adxOut[i] = adx;
        }
    }
}

double WindowSum(const double* x, std::size_t end, std::size_t period) {
    double sum = 0;
    for (std::size_t j = end + 1 - period; j <= end; ++j) {
        sum += x[j];
    }
    return sum;
}

} // namespace

namespace kernels {

void RsiA(const KernelArgs& a) {
    const std::size_t period = Whole(a.options[0]);
    RelativeStrength(a.inputs[0], a.size, period, 1, period, a.output);
}

void Rmi(const KernelArgs& a) {
    const std::size_t period = Whole(a.options[0]);
    const std::size_t momentum = Whole(a.options[1]);
    RelativeStrength(a.inputs[0], a.size, period, momentum, momentum + period - 1, a.output);
}

void CciA(const KernelArgs& a) {
    const double* x = a.inputs[0];
    const std::size_t period = Whole(a.options[0]);
    const double n = static_cast<double>(period);
    for (std::size_t i = 0; i < a.size; ++i) {
        if (i + 1 < period) {
            a.output[i] = kNull;
            continue;
        }
        const double mean = WindowSum(x, i, period) / n;
        double deviation = 0;
        for (std::size_t j = i + 1 - period; j <= i; ++j) {
            deviation += std::fabs(x[j] - mean);
        }
        a.output[i] = (x[i] - mean) / (0.015 * (deviation / n));
    }
}

void StochK(const KernelArgs& a) {
    SlowStochastic(a, a.output, a.scratch[0], a.scratch[1]);
}

void StochD(const KernelArgs& a) {
    SlowStochastic(a, a.scratch[2], a.scratch[0], a.scratch[1]);
    const std::size_t lead = Whole(a.options[0]) + Whole(a.options[1]) - 2;
    const std::size_t smoothing = Whole(a.options[2]);
    AfterLead(a.scratch[2], a.size, lead, a.output, [&](const double* x, std::size_t m, double* o) {
        SimpleAverage(x, m, smoothing, o);
    });
}

void Roc(const KernelArgs& a) {
    const double* x = a.inputs[0];
    const std::size_t period = Whole(a.options[0]);
    const bool absolute = a.options[1] != 0;
    for (std::size_t i = 0; i < a.size; ++i) {
        if (i < period) {
            a.output[i] = kNull;
            continue;
        }
        const double before = x[i - period];
        a.output[i] = 100 * (x[i] - before) / (absolute ? std::fabs(before) : before);
    }
}

void Trix(const KernelArgs& a) {
    const std::size_t period = Whole(a.options[0]);
    double* first = a.scratch[0];
    double* second = a.scratch[1];
    EmaAfter(a.inputs[0], a.size, 0, period, first);
    EmaAfter(first, a.size, period - 1, period, second);
    EmaAfter(second, a.size, 2 * (period - 1), period, first);
    const std::size_t start = 3 * (period - 1) + 1;
    for (std::size_t i = 0; i < a.size; ++i) {
        a.output[i] = i >= start ? 100 * (first[i] - first[i - 1]) / first[i - 1] : kNull;
    }
}

void Macd(const KernelArgs& a) {
    const std::size_t first = TwoAverages(a.inputs[0], a.size, Whole(a.options[0]),
                                          Whole(a.options[1]), a.scratch[0], a.scratch[1]);
    Difference(a.scratch[0], a.scratch[1], a.size, first, a.output);
}

void Signal(const KernelArgs& a) {
    const std::size_t first = TwoAverages(a.inputs[0], a.size, Whole(a.options[0]),
                                          Whole(a.options[1]), a.scratch[0], a.scratch[1]);
    Difference(a.scratch[0], a.scratch[1], a.size, first, a.scratch[2]);
    EmaAfter(a.scratch[2], a.size, first, Whole(a.options[2]), a.output);
}

void OscP(const KernelArgs& a) {
    Macd(a);
}

void OscV(const KernelArgs& a) {
    const double* fast = a.scratch[0];
    const double* slow = a.scratch[1];
    const std::size_t first = TwoAverages(a.inputs[0], a.size, Whole(a.options[0]),
                                          Whole(a.options[1]), a.scratch[0], a.scratch[1]);
    for (std::size_t i = 0; i < a.size; ++i) {
        a.output[i] = i >= first ? 100 * (fast[i] - slow[i]) / slow[i] : kNull;
    }
}

void Ultimate(const KernelArgs& a) {
    const double* high = a.inputs[0];
    const double* low = a.inputs[1];
    const double* close = a.inputs[2];
    double* buying = a.scratch[0];
    double* range = a.scratch[1];
    const std::size_t periods[3] = {Whole(a.options[0]), Whole(a.options[1]), Whole(a.options[2])};
    const std::size_t first = std::max({periods[0], periods[1], periods[2]});
    for (std::size_t i = 1; i < a.size; ++i) {
        const double trueLow = std::min(low[i], close[i - 1]);
        buying[i] = close[i] - trueLow;
        range[i] = std::max(high[i], close[i - 1]) - trueLow;
    }
    for (std::size_t i = 0; i < a.size; ++i) {
        if (i < first) {
            a.output[i] = kNull;
            continue;
        }
        double average[3];
        for (int k = 0; k < 3; ++k) {
            average[k] = WindowSum(buying, i, periods[k]) / WindowSum(range, i, periods[k]);
        }
        a.output[i] = 100 * (4 * average[0] + 2 * average[1] + average[2]) / 7;
    }
}

void Mfi(const KernelArgs& a) {
    const double* high = a.inputs[0];
    const double* low = a.inputs[1];
    const double* close = a.inputs[2];
    const double* volume = a.inputs[3];
    const std::size_t period = Whole(a.options[0]);
    double* typical = a.scratch[0];
    for (std::size_t i = 0; i < a.size; ++i) {
        typical[i] = (high[i] + low[i] + close[i]) / 3;
    }
    for (std::size_t i = 0; i < a.size; ++i) {
        if (i < period) {
            a.output[i] = kNull;
            continue;
        }
        double rising = 0;
        double falling = 0;
        for (std::size_t j = i + 1 - period; j <= i; ++j) {
            const double flow = typical[j] * volume[j];
            if (typical[j] > typical[j - 1]) {
                rising += flow;
            } else if (typical[j] < typical[j - 1]) {
                falling += flow;
            }
        }
        a.output[i] = 100 * rising / (rising + falling);
    }
}

void Sar(const KernelArgs& a) {
    const double* high = a.inputs[0];
    const double* low = a.inputs[1];
    const double step = a.options[0];
    const double limit = a.options[1];
    // The acceleration starts (and restarts at each reversal) at the step, capped by the
    // limit; so a step above the limit, such as 1.02 with 0.2, behaves as the limit.
    const double start = std::min(step, limit);
    if (a.size == 0) {
        return;
    }
    bool rising = true;
    double extreme = high[0];
    double factor = start;
    a.output[0] = low[0];
    for (std::size_t i = 1; i < a.size; ++i) {
        const double previous = a.output[i - 1];
        double sar = previous + factor * (extreme - previous);
        if (rising) {
            if (low[i] < sar) {
                rising = false;
                sar = extreme;
                extreme = low[i];
                factor = start;
            } else {
                if (high[i] > extreme) {
                    extreme = high[i];
                    factor = std::min(factor + step, limit);
                }
                sar = std::min(sar, low[i - 1]);
                if (i >= 2) {
                    sar = std::min(sar, low[i - 2]);
                }
            }
        } else {
            if (high[i] > sar) {
                rising = true;
                sar = extreme;
                extreme = high[i];
                factor = start;
            } else {
                if (low[i] < extreme) {
                    extreme = low[i];
                    factor = std::min(factor + step, limit);
                }
                sar = std::max(sar, high[i - 1]);
                if (i >= 2) {
                    sar = std::max(sar, high[i - 2]);
                }
            }
        }
        a.output[i] = sar;
    }
}

void Adx(const KernelArgs& a) {
    DirectionalMovement(a, nullptr, nullptr, a.output);
}
void Pdi(const KernelArgs& a) {
    DirectionalMovement(a, a.output, nullptr, nullptr);
}
void Mdi(const KernelArgs& a) {
    DirectionalMovement(a, nullptr, a.output, nullptr);
}

void Atr(const KernelArgs& a) {
    AverageTrueRange(a.inputs[0], a.inputs[1], a.inputs[2], a.size, Whole(a.options[0]), a.output);
}

void Rwi(const KernelArgs& a) {
    const double* high = a.inputs[0];
    const double* low = a.inputs[1];
    const std::size_t shortest = Whole(a.options[0]);
    const std::size_t longest = Whole(a.options[1]);
    double* atr = a.scratch[0];
    double* lows = a.scratch[1];
    double* highs = a.output;
    FillNull(highs, a.size);
    if (shortest > longest || longest >= a.size) {
        return;
    }
    // Each period's ratios, the largest kept per bar, from the first bar where every period
    // in the range has one.
    for (std::size_t period = shortest; period <= longest; ++period) {
        AverageTrueRange(a.inputs[0], a.inputs[1], a.inputs[2], a.size, period, atr);
        const double root = std::sqrt(static_cast<double>(period));
        for (std::size_t i = longest; i < a.size; ++i) {
            const double scale = atr[i] * root;
            const double up = (high[i] - low[i - period]) / scale;
            const double down = (high[i - period] - low[i]) / scale;
            if (period == shortest || up > highs[i]) {
                highs[i] = up;
            }
            if (period == shortest || down > lows[i]) {
                lows[i] = down;
            }
        }
    }
    for (std::size_t i = longest; i < a.size; ++i) {
        highs[i] -= lows[i];
    }
}

} // namespace kernels
} // namespace marlindex::afl
