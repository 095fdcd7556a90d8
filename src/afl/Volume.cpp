// Volume and accumulation: AccDist, Chaikin, OBV and NVI.
#include "afl/Kernels.h"

namespace marlindex::afl {
namespace {

void Accumulation(const KernelArgs& a, double* out) {
    const double* high = a.inputs[0];
    const double* low = a.inputs[1];
    const double* close = a.inputs[2];
    const double* volume = a.inputs[3];
    double total = 0;
    for (std::size_t i = 0; i < a.size; ++i) {
        const double range = high[i] - low[i];
        // A bar without range adds nothing (rather than a division by zero that would spoil
        // every later value of the running total).
        if (range != 0) {
            total += volume[i] * ((close[i] - low[i]) - (high[i] - close[i])) / range;
        }
        out[i] = total;
    }
}

} // namespace

namespace kernels {

void AccDist(const KernelArgs& a) {
    Accumulation(a, a.output);
}

void Chaikin(const KernelArgs& a) {
    const std::size_t fast = Whole(a.options[0]);
    const std::size_t slow = Whole(a.options[1]);
    double* line = a.scratch[2];
    Accumulation(a, line);
    const std::size_t first = TwoAverages(line, a.size, fast, slow, a.scratch[0], a.scratch[1]);
    Difference(a.scratch[0], a.scratch[1], a.size, first, a.output);
}

void Obv(const KernelArgs& a) {
    const double* close = a.inputs[0];
    const double* volume = a.inputs[1];
    double total = 0;
    for (std::size_t i = 0; i < a.size; ++i) {
        if (i > 0 && close[i] > close[i - 1]) {
            total += volume[i];
        } else if (i > 0 && close[i] < close[i - 1]) {
            total -= volume[i];
        }
        a.output[i] = total;
    }
}

void Nvi(const KernelArgs& a) {
    const double* close = a.inputs[0];
    const double* volume = a.inputs[1];
    double index = 1000;
    for (std::size_t i = 0; i < a.size; ++i) {
        if (i > 0 && volume[i] < volume[i - 1]) {
            index *= 1 + (close[i] - close[i - 1]) / close[i - 1];
        }
        a.output[i] = index;
    }
}

} // namespace kernels
} // namespace marlindex::afl
