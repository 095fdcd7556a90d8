#include "afl/Null.h"

#include <cstring>

namespace marlindex::afl {

namespace {

constexpr std::size_t kBlock = 16;

// Two bars in one register, and the all-ones or all-zeros a comparison of them gives: the
// vector types of GCC and Clang, so that the test of a block is vector code on every target,
// not whatever the optimiser makes of a loop.
using BarPair = double __attribute__((vector_size(16)));
using PairMask = long long __attribute__((vector_size(16)));

// Whether a block holds a true value (neither 0 nor a NaN), tested without a branch.
bool BlockHoldsTrue(const double* values) {
    PairMask any = {0, 0};
    for (std::size_t k = 0; k < kBlock; k += 2) {
        BarPair pair;
        std::memcpy(&pair, values + k, sizeof pair);
        any |= (pair != 0) & (pair == pair);
    }
    return (any[0] | any[1]) != 0;
}

} // namespace

// Conditions that fire now and then are mostly false: whole blocks of bars are passed over by
// the test above, and only the block that holds a true value is looked at bar by bar.
std::size_t NextTrue(const double* values, std::size_t from, std::size_t size) {
    std::size_t i = from;
    while (i + kBlock <= size && !BlockHoldsTrue(values + i)) {
        i += kBlock;
    }
    while (i < size && !IsTrue(values[i])) {
        ++i;
    }
    return i;
}

} // namespace marlindex::afl
