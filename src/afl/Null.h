// AFL's Null ("no value") as the engine stores it in an array of doubles.
//
// Null is one quiet NaN with its own payload. IEEE arithmetic makes NaN of its own (0/0,
// INF - INF) with the processor's default payload, which never equals this one, so a value is
// Null exactly when its bits are these bits: Null and NaN stay apart, as AFL requires, and
// testing for Null is one integer comparison. The evaluator never does arithmetic on a Null
// (it propagates Null by rule, not through the hardware), so no operation can turn a NaN into
// a Null or the other way round.
#pragma once

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace marlindex::afl {

inline constexpr std::uint64_t kNullBits = 0x7FF8'0000'4E55'4C4CULL; // "NULL" in the payload
inline constexpr double kNull = std::bit_cast<double>(kNullBits);

inline bool IsNull(double value) {
    return std::bit_cast<std::uint64_t>(value) == kNullBits;
}

// AFL's truth: non-zero counts as true; Null and NaN do not (a NaN condition is not true).
// Comparing with itself rules out both NaNs, Null among them.
inline bool IsTrue(double value) {
    return value != 0 && value == value;
}

// The first bar from `from` on whose value is true, or `size`.
std::size_t NextTrue(const double* values, std::size_t from, std::size_t size);

// What Filter, Buy and Sell count: a bar whose value is true in the sense above.
inline bool IsSignal(double value) {
    return IsTrue(value);
}

} // namespace marlindex::afl
