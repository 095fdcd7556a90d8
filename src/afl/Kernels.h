// The array units of the function table, in the manner of Tulip Indicators: every unit has
// the same signature, reads `size` bars of its inputs that hold no Null (the evaluator has cut
// off the leading Nulls of what it was given), reads its options already checked (a period is
// a whole number from 1 to size + 1), and writes `size` values, Null where it has none yet.
// Each unit's warm-up, the bars it leaves Null before its first value, is stated once in the
// function table beside it.
#pragma once

#include "afl/Null.h"

#include <algorithm>
#include <cstddef>

namespace marlindex::afl {

struct KernelArgs {
    std::size_t size;
    const double* const* inputs; // the price arrays the function reads implicitly, then its
                                 // array arguments, in the table's order
    const double* options;       // its number arguments, in order
    double* output;
    double* const* scratch; // as many bar buffers as the table asks for
};

using Kernel = void (*)(const KernelArgs&);

// For a loop that the processor's division unit paces: built twice, for the x86-64 baseline and
// for AVX2, whose vectors hold twice as many bars, and the program takes the one the processor
// can run when it loads. That choice is an ELF loader's service, so elsewhere (the Windows
// build) the loop is built once, for the baseline. Both give the same bits: a division is
// exact to the last one at any width.
#if defined(__GNUC__) && defined(__x86_64__) && defined(__ELF__)
#define MARLINDEX_DIVISION_LOOP __attribute__((target_clones("avx2", "default")))
#else
#define MARLINDEX_DIVISION_LOOP
#endif

// A period option as the count it is (the table has checked it is whole and positive).
inline std::size_t Whole(double option) {
    return static_cast<std::size_t>(option);
}

inline void FillNull(double* out, std::size_t count) {
    std::fill(out, out + count, kNull);
}

// The building blocks that several units share. Each writes `size` values, Null before its
// first; a period longer than the data leaves everything Null.
void SimpleAverage(const double* x, std::size_t size, std::size_t period, double* out);
void MovingSum(const double* x, std::size_t size, std::size_t period, double* out);
// Exponential smoothing with factor k, seeded with the simple average of the first `period`
// values at bar period - 1.
void SeededSmoothing(const double* x, std::size_t size, std::size_t period, double k, double* out);
void Highest(const double* x, std::size_t size, std::size_t period, double* out);
void Lowest(const double* x, std::size_t size, std::size_t period, double* out);
// Applies `smooth` to the part of `x` after its first `lead` bars (which are Null).
template <typename Smooth>
void AfterLead(const double* x, std::size_t size, std::size_t lead, double* out, Smooth smooth) {
    lead = std::min(lead, size);
    FillNull(out, lead);
    smooth(x + lead, size - lead, out + lead);
}
// EMA(x, period) of the part of `x` after its first `lead` bars.
void EmaAfter(const double* x, std::size_t size, std::size_t lead, std::size_t period, double* out);
// EMA(x, fast) and EMA(x, slow) into two buffers; returns the first bar where both have a value.
std::size_t TwoAverages(const double* x, std::size_t size, std::size_t fast, std::size_t slow,
                        double* fastOut, double* slowOut);
// a - b from bar `first` on, Null before.
void Difference(const double* a, const double* b, std::size_t size, std::size_t first, double* out);
// True range: H - L on the first bar, after it the largest of H - L, |H - C[-1]|, |L - C[-1]|.
void TrueRange(const double* high, const double* low, const double* close, std::size_t size,
               double* out);
// Wilder's average true range: seed at bar period - 1 (reported Null), first value at `period`.
void AverageTrueRange(const double* high, const double* low, const double* close, std::size_t size,
                      std::size_t period, double* out);

namespace kernels {

// Averages.
void Ma(const KernelArgs& a);
void Ema(const KernelArgs& a);
void Wma(const KernelArgs& a);
void Dema(const KernelArgs& a);
void Tema(const KernelArgs& a);
void Wilders(const KernelArgs& a);
void Ama(const KernelArgs& a);
void Ama2(const KernelArgs& a);
void StDev(const KernelArgs& a);
void BBandTop(const KernelArgs& a);
void BBandBot(const KernelArgs& a);

// Oscillators and trend.
void RsiA(const KernelArgs& a);
void Rmi(const KernelArgs& a);
void CciA(const KernelArgs& a);
void StochK(const KernelArgs& a);
void StochD(const KernelArgs& a);
void Roc(const KernelArgs& a);
void Trix(const KernelArgs& a);
void Macd(const KernelArgs& a);
void Signal(const KernelArgs& a);
void OscP(const KernelArgs& a);
void OscV(const KernelArgs& a);
void Ultimate(const KernelArgs& a);
void Mfi(const KernelArgs& a);
void Sar(const KernelArgs& a);
void Adx(const KernelArgs& a);
void Pdi(const KernelArgs& a);
void Mdi(const KernelArgs& a);
void Atr(const KernelArgs& a);
void Rwi(const KernelArgs& a);

// Volume and accumulation.
void AccDist(const KernelArgs& a);
void Chaikin(const KernelArgs& a);
void Obv(const KernelArgs& a);
void Nvi(const KernelArgs& a);

// Trading toolbox: windows and running totals.
void Hhv(const KernelArgs& a);
void Llv(const KernelArgs& a);
void Sum(const KernelArgs& a);
void Cum(const KernelArgs& a);

} // namespace kernels
} // namespace marlindex::afl
