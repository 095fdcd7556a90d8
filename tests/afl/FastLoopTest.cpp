// The loops that the reference scan spends its time in are written for speed: window sums
// in four chains with a careful path for NaN and infinity, Wilder's smoothing two bars a
// step, and blocks of bars passed over when they hold no true value. Each is checked here
// against the plain bar-by-bar definition, on long random series whose lengths fall on
// either side of the block and chain boundaries, with NaN, infinities and Null in them.
#include "AflTestSupport.h"

#include <cmath>
#include <limits>
#include <random>

namespace marlindex::afl::test {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
const double kNaN = std::nan("");

// Equal as the engine means it: both Null, both NaN (not Null), the same infinity, or
// numbers within a relative 1e-9 (the fast loops round differently from the plain ones).
::testing::AssertionResult Same(double got, double want) {
    if (IsNull(got) || IsNull(want)) {
        return IsNull(got) == IsNull(want)
                   ? ::testing::AssertionSuccess()
                   : ::testing::AssertionFailure() << "Null against a value";
    }
    if (std::isnan(got) || std::isnan(want) || std::isinf(got) || std::isinf(want)) {
        if ((std::isnan(got) && std::isnan(want)) || got == want) {
            return ::testing::AssertionSuccess();
        }
        return ::testing::AssertionFailure() << got << " against " << want;
    }
    if (std::fabs(got - want) <= 1e-9 * std::max(1.0, std::fabs(want))) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << got << " against " << want;
}

void ExpectSeries(const std::vector<double>& got, const std::vector<double>& want,
                  const std::string& what) {
    ASSERT_EQ(got.size(), want.size()) << what;
    for (std::size_t i = 0; i < got.size(); ++i) {
        EXPECT_TRUE(Same(got[i], want[i])) << what << ", bar " << i;
    }
}

std::vector<double> RandomWalk(std::size_t size, std::mt19937& random) {
    std::normal_distribution<double> step(0, 1);
    std::vector<double> closes;
    double close = 100;
    for (std::size_t i = 0; i < size; ++i) {
        close = std::max(1.0, close + step(random));
        closes.push_back(close);
    }
    return closes;
}

// The window's values added in order: a NaN, or infinities of both signs, give NaN.
std::vector<double> PlainSums(const std::vector<double>& x, std::size_t period) {
    std::vector<double> out(x.size(), kNull);
    for (std::size_t i = period - 1; i < x.size(); ++i) {
        double sum = 0;
        for (std::size_t j = i + 1 - period; j <= i; ++j) {
            sum += x[j];
        }
        out[i] = sum;
    }
    return out;
}

TEST(FastLoops, WindowSumsAndAveragesMatchTheirDefinition) {
    std::mt19937 random(7);
    const double spoilers[] = {kNaN, kInf, -kInf};
    for (const std::size_t size : {1u, 9u, 60u, 401u, 1259u}) {
        for (const std::size_t period : {1u, 2u, 5u, 50u, 200u}) {
            if (period > size + 1) {
                continue;
            }
            std::vector<double> base = RandomWalk(size, random);
            // The clean series, then one with a spoiler at the start, in the middle, at the
            // end, and two of opposite signs: each spoils only the windows that hold it.
            std::vector<std::vector<double>> series = {base};
            for (const double spoiler : spoilers) {
                for (const std::size_t at : {std::size_t{0}, size / 2, size - 1}) {
                    series.push_back(base);
                    series.back()[at] = spoiler;
                }
            }
            series.push_back(base);
            series.back()[size / 3] = kInf;
            series.back()[size - 1 - size / 4] = -kInf;
            series.push_back(std::vector<double>(size, 1e308)); // sums that overflow
            for (const std::vector<double>& x : series) {
                const std::string what =
                    "size " + std::to_string(size) + ", period " + std::to_string(period);
                const std::vector<double> sums = PlainSums(x, period);
                ExpectSeries(Values("Sum( C, " + std::to_string(period) + " )", FromCloses(x)),
                             sums, "Sum, " + what);
                std::vector<double> averages = sums;
                for (double& value : averages) {
                    value = IsNull(value) ? kNull : value / static_cast<double>(period);
                }
                ExpectSeries(Values("MA( C, " + std::to_string(period) + " )", FromCloses(x)),
                             averages, "MA, " + what);
            }
        }
    }
}

TEST(FastLoops, RsiFollowsWildersSmoothingBarByBar) {
    std::mt19937 random(11);
    for (const std::size_t size : {3u, 16u, 257u, 258u, 1259u}) {
        for (const std::size_t period : {2u, 14u, 30u}) {
            std::vector<double> closes = RandomWalk(size, random);
            // A flat start: no value until something has changed.
            std::fill(closes.begin(), closes.begin() + static_cast<long>(size / 5), 50.0);
            std::vector<double> want(size, kNull);
            const double n = static_cast<double>(period);
            double gains = 0;
            double losses = 0;
            bool moved = false;
            for (std::size_t i = 1; i < size; ++i) {
                const double change = closes[i] - closes[i - 1];
                moved = moved || change != 0;
                if (!moved) {
                    continue;
                }
                gains = ((n - 1) * gains + std::max(change, 0.0)) / n;
                losses = ((n - 1) * losses + std::max(-change, 0.0)) / n;
                if (i >= period) {
                    want[i] = 100 * gains / (gains + losses);
                }
            }
            ExpectSeries(Values("RSIa( C, " + std::to_string(period) + " )", FromCloses(closes)),
                         want,
                         "size " + std::to_string(size) + ", period " + std::to_string(period));
        }
    }
}

// Conditions of every density, with NaN and Null among the values: none, rare, some, most.
std::vector<double> RandomCondition(std::size_t size, double density, std::mt19937& random) {
    std::uniform_real_distribution<double> draw(0, 1);
    std::vector<double> condition;
    for (std::size_t i = 0; i < size; ++i) {
        const double roll = draw(random);
        condition.push_back(roll < density ? 1 + roll
                            : roll > 0.99  ? kNull
                            : roll > 0.98  ? kNaN
                                           : 0.0);
    }
    return condition;
}

TEST(FastLoops, BarsSinceAndCrossMatchTheirDefinition) {
    std::mt19937 random(13);
    for (const std::size_t size : {1u, 15u, 16u, 17u, 33u, 1259u}) {
        for (const double density : {0.0, 0.002, 0.05, 0.5, 1.0}) {
            const std::string what =
                "size " + std::to_string(size) + ", density " + std::to_string(density);
            const std::vector<double> condition = RandomCondition(size, density, random);
            std::vector<double> since(size, kNull);
            bool seen = false;
            double count = 0;
            for (std::size_t i = 0; i < size; ++i) {
                const bool now = IsTrue(condition[i]);
                seen = seen || now;
                count = now ? 0 : count + 1;
                if (seen) {
                    since[i] = count;
                }
            }
            ExpectSeries(Values("BarsSince( C )", FromCloses(condition)), since,
                         "BarsSince, " + what);

            // Cross of two random series that tie now and then, with Null and NaN in both.
            TestSymbol symbol = FromCloses(RandomCondition(size, density, random));
            symbol.bars.open = RandomCondition(size, 1 - density, random);
            const std::vector<double>& x = symbol.bars.close;
            const std::vector<double>& y = symbol.bars.open;
            std::vector<double> crosses(size, 0.0);
            for (std::size_t i = 1; i < size; ++i) {
                const bool plain = !IsNull(x[i]) && !IsNull(y[i]) && !IsNull(x[i - 1]) &&
                                   !IsNull(y[i - 1]) && x[i] > y[i] && x[i - 1] <= y[i - 1];
                crosses[i] = plain ? 1 : 0;
            }
            ExpectSeries(Values("Cross( C, O )", symbol), crosses, "Cross, " + what);
        }
    }
}

} // namespace
} // namespace marlindex::afl::test
