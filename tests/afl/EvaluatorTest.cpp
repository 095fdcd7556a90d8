// Evaluation: AFL's Null rules, hand-checked values of the functions whose start is subtle,
// what a symbol's results hold, and the workspace reused across symbols and threads.
#include "AflTestSupport.h"

#include <algorithm>
#include <cmath>
#include <thread>

namespace marlindex::afl {
namespace {

using test::FromCloses;
using test::Scalar;
using test::Values;

constexpr double N = kNull;

// Compares arrays written by hand, Null included, to 1e-9.
void ExpectValues(const std::vector<double>& got, const std::vector<double>& want,
                  const std::string& what) {
    ASSERT_EQ(got.size(), want.size()) << what;
    for (std::size_t i = 0; i < got.size(); ++i) {
        if (IsNull(want[i])) {
            EXPECT_TRUE(IsNull(got[i])) << what << ", bar " << i << ": " << got[i];
        } else {
            EXPECT_NEAR(got[i], want[i], 1e-9) << what << ", bar " << i;
        }
    }
}

TEST(AflNull, PropagatesThroughArithmeticComparisonsAndLogic) {
    for (const char* text : {"Null + 1", "1 - Null", "Null * 0", "Null / 0", "Null ^ 0", "Null < 1",
                             "Null == Null", "Null != 1", "Null AND 0", "0 AND Null", "Null OR 1",
                             "NOT Null", "-Null", "Null & 1", "Abs( Null )", "Max( Null, 1 )"}) {
        EXPECT_TRUE(IsNull(Scalar(text))) << text;
    }
    // Arrays too: the bars without a value stay without one, whatever the other operand.
    const test::TestSymbol symbol = FromCloses({1, 2, 3, 4});
    ExpectValues(Values("Ref( C, -2 ) > 0 OR 1", symbol), {N, N, 1, 1}, "OR");
    ExpectValues(Values("NOT Ref( C, -1 )", symbol), {N, 0, 0, 0}, "NOT");
    ExpectValues(Values("Ref( C, 1 ) AND 1", symbol), {1, 1, 1, N}, "AND, Null at the end");
    ExpectValues(Values("IIf( Ref( C, -1 ) > 1, 5, Null ) + 1", symbol), {N, N, 6, 6}, "IIf");
}

TEST(AflNull, IsDistinctFromIeeeResults) {
    EXPECT_TRUE(std::isnan(Scalar("0 / 0")));
    EXPECT_FALSE(IsNull(Scalar("0 / 0")));
    EXPECT_EQ(Scalar("IsNan( 0 / 0 ) * 10 + IsNull( 0 / 0 ) * 100 + IsNull( Null )"), 11);
    EXPECT_EQ(Scalar("1 / 0"), HUGE_VAL);
    EXPECT_EQ(Scalar("IsTrue( 0 / 0 ) + IsTrue( Null ) + IsTrue( -2 )"), 1);
    EXPECT_EQ(Scalar("Nz( Null ) + Nz( 0 / 0, 2 ) + Nz( 1 / 0, 3 )"), 5);
    EXPECT_EQ(Scalar("LastValue( Null ) + LastValue( 7 )"), 7) << "a Null last value reads as 0";
}

TEST(AflNull, SignalsAreTheBarsThatAreTrue) {
    const test::TestSymbol symbol = FromCloses({1, 2, 3, 4, 5});
    Workspace workspace;
    const Results& results = Evaluate(
        Formula::Parse("Buy = Ref( C, -1 ) > 1 OR 0 / 0; Sell = IIf( C == 3, 0 / 0, C - 4 );"),
        symbol.Data(), workspace);
    ASSERT_TRUE(results.buy && results.sell);
    std::vector<bool> buy;
    std::vector<bool> sell;
    for (std::size_t i = 0; i < 5; ++i) {
        buy.push_back(IsSignal((*results.buy)[i]));
        sell.push_back(IsSignal((*results.sell)[i]));
    }
    // Buy: Null, then NaN OR-ed in is not true, 0 OR NaN is 0, then 1.
    EXPECT_EQ(buy, (std::vector<bool>{false, false, true, true, true}));
    // Sell: -3, -2 are true; NaN is not; 0 is not; 1 is.
    EXPECT_EQ(sell, (std::vector<bool>{true, true, false, false, true}));
}

TEST(AflNull, TextComparesExactlyAndOnlyWithText) {
    test::TestSymbol symbol = FromCloses({1});
    symbol.info.market = "NYSE";
    symbol.info.sector = "O'Neil";
    EXPECT_EQ(Values("MarketID( 1 ) == \"NYSE\"", symbol)[0], 1);
    EXPECT_EQ(Values("MarketID( 1 ) == \"nyse\"", symbol)[0], 0) << "case-sensitive";
    EXPECT_EQ(Values("GroupID( 1 ) == \"\"", symbol)[0], 1) << "no group compares with \"\"";
    EXPECT_EQ(Values("SectorID(1) == \"O'Neil\"", symbol)[0], 1);
    EXPECT_EQ(Values("SectorID(1)  != \"O''Neil\"", symbol)[0], 1) << "no quote is undone";
    EXPECT_EQ(test::RunError("Buy = MarketID( 1 ) == 0;", symbol),
              "line 1, column 21: cannot use '==' on a text and a number");
    EXPECT_EQ(test::RunError("Buy = MarketID( 1 ) AND 1;", symbol),
              "line 1, column 21: cannot use 'AND' on a text and a number");
    EXPECT_EQ(test::RunError("Buy = NOT \"x\";", symbol),
              "line 1, column 7: cannot use 'NOT' on a text");
    EXPECT_EQ(test::RunError("Buy = \"a\" * \"b\";", symbol),
              "line 1, column 11: cannot use '*' on texts");
    EXPECT_EQ(test::RunError("Buy = MarketID( 1 );", symbol),
              "line 1, column 1: Buy must be a number or an array, not a text");
}

TEST(AflEvaluator, KindsOfArgumentsAreCheckedWhereTheyStand) {
    const test::TestSymbol symbol = FromCloses({1, 2, 3});
    EXPECT_EQ(test::RunError("x = MA( C,\n  C * 2 );", symbol),
              "line 2, column 3: MA's 'periods' must be a single number, not an array");
    EXPECT_EQ(test::RunError("x = RSIa( \"C\" );", symbol),
              "line 1, column 11: RSIa's 'array' must be a number or an array, not a text");
    EXPECT_EQ(test::RunError("AddColumn( C, 5 );", symbol),
              "line 1, column 15: AddColumn's 'name' must be a text, not a number");
    EXPECT_EQ(test::RunError("x = HHV( C, \"5\" );", symbol),
              "line 1, column 13: HHV's 'periods' must be a number or an array, not a text");
    EXPECT_EQ(test::RunError("x = C[ C ];", symbol),
              "line 1, column 6: a subscript must be a single number, not an array");
    EXPECT_EQ(test::RunError("x = Ref( \"a\", 1 );", symbol),
              "line 1, column 10: Ref cannot take a text");
}

// The starts that are easy to get wrong, computed by hand from the definitions.
TEST(AflFunctions, HandCheckedStarts) {
    const test::TestSymbol rising = FromCloses({10, 11, 10, 12, 12});
    // RSIa: zero-seeded averages, first value at bar n. n = 2: P, N after each bar:
    // (0.5, 0), (0.25, 0.5), (1.125, 0.25), (0.5625, 0.125).
    ExpectValues(Values("RSIa( C, 2 )", rising),
                 {N, N, 100 * 0.25 / 0.75, 100 * 1.125 / 1.375, 100 * 0.5625 / 0.6875}, "RSIa");
    // A flat start has no RSI until something changes.
    const test::TestSymbol flat = FromCloses({5, 5, 5, 5, 6, 6});
    ExpectValues(Values("RSIa( C, 2 )", flat), {N, N, N, N, 100, 100}, "RSIa flat");
    // EMA and Wilders: the simple average of the first n values at bar n - 1.
    const test::TestSymbol ramp = FromCloses({1, 2, 3, 4, 8});
    ExpectValues(Values("EMA( C, 3 )", ramp), {N, N, 2, 3, 5.5}, "EMA");
    ExpectValues(Values("Wilders( C, 3 )", ramp), {N, N, 2, 8.0 / 3, 40.0 / 9}, "Wilders");
    // DEMA and TEMA start from the first value, on bar 0.
    EXPECT_EQ(Values("DEMA( C, 3 )", ramp)[0], 1);
    EXPECT_EQ(Values("TEMA( C, 3 )", ramp)[0], 1);
    EXPECT_NEAR(Values("DEMA( C, 3 )", ramp)[1], 2 * 1.5 - 1.25, 1e-12);
    // ATR: the seed (mean of the first n true ranges) is not shown; Wilder's step from bar n.
    // True ranges here: 2, 2, 2, 2, 5 (the last from High 9 against the previous Close 4).
    ExpectValues(Values("ATR( 3 )", ramp), {N, N, N, 2, (2 * 2 + 5) / 3.0}, "ATR");
    // OBV starts at 0, NVI at 1000; AccDist adds 0 on a bar with High = Low.
    ExpectValues(Values("OBV()", rising), {0, 1000, 0, 1000, 1000}, "OBV");
    ExpectValues(Values("NVI()", rising), {1000, 1000, 1000, 1000, 1000}, "NVI");
    test::TestSymbol still = FromCloses({4, 4});
    still.bars.high = {4, 6};
    still.bars.low = {4, 2};
    still.bars.close = {4, 5};
    ExpectValues(Values("AccDist()", still), {0, 1000 * ((5 - 2) - (6 - 5)) / 4.0}, "AccDist");
}

TEST(AflFunctions, HandCheckedFirstValues) {
    std::vector<double> closes;
    for (int i = 0; i < 40; ++i) {
        closes.push_back(20 + 3 * std::sin(i * 0.7) + i * 0.1);
    }
    const test::TestSymbol symbol = FromCloses(closes);
    const auto first = [&](const std::string& expression) {
        const std::vector<double> values = Values(expression, symbol);
        std::size_t i = 0;
        while (i < values.size() && IsNull(values[i])) {
            ++i;
        }
        return i;
    };
    EXPECT_EQ(first("ADX( 5 )"), 9u) << "2n - 1";
    EXPECT_EQ(first("PDI( 5 )"), 5u) << "n";
    EXPECT_EQ(first("RMI( 4, 3 )"), 6u) << "m + n - 1";
    EXPECT_EQ(first("RWI( 2, 7 )"), 7u) << "max";
    EXPECT_EQ(first("MA( RSIa( C, 14 ), 10 )"), 23u) << "functions skip the leading Nulls";
    EXPECT_EQ(first("Signal( 3, 5, 2 )"), 5u);
    EXPECT_EQ(first("TRIX( 3 )"), 7u);
    EXPECT_EQ(first("StochD( 5, 2, 3 )"), 7u);
    EXPECT_EQ(first("Ultimate( 2, 3, 5 )"), 5u);
    EXPECT_EQ(first("BarsSince( C > 30 )"), 40u) << "Null before the first true bar";
}

TEST(AflFunctions, SarStartsLongAndCapsItsAcceleration) {
    test::TestSymbol symbol = FromCloses({10, 11, 12, 13, 12, 10, 9, 11, 13});
    // 1.02 starts and steps above the cap, so it behaves as 0.2 throughout.
    EXPECT_EQ(Values("SAR( 1.02, 0.2 )", symbol), Values("SAR( 0.2, 0.2 )", symbol));
    const std::vector<double> sar = Values("SAR( 0.02, 0.2 )", symbol);
    EXPECT_EQ(sar[0], 9) << "long on bar 0 with SAR = Low[0]";
    // Bar 1: 9 + 0.02 * (11 - 9) = 9.04, clamped to the only earlier low, 9. Bar 2 likewise
    // to Low[0]. Bar 3: 9 + 0.06 * (13 - 9) = 9.24 (EP 13 after two new highs), below both
    // earlier lows, so it stands.
    EXPECT_EQ(sar[1], 9);
    EXPECT_EQ(sar[2], 9);
    EXPECT_NEAR(sar[3], 9.24, 1e-12);
}

TEST(AflFunctions, CrossIsStrictAndNeverNull) {
    const test::TestSymbol symbol = FromCloses({9, 10, 11, 10, 10, 12});
    // A tie is no cross; a tie followed by a rise is.
    ExpectValues(Values("Cross( C, 10 )", symbol), {0, 0, 1, 0, 0, 1}, "Cross");
    ExpectValues(Values("Cross( C, Ref( C, -2 ) )", symbol), {0, 0, 0, 0, 0, 1}, "with Nulls");
}

TEST(AflEvaluator, ResultsHoldWhatTheFormulaAssigned) {
    const test::TestSymbol symbol = FromCloses({1, 2, 3});
    Workspace workspace;
    const Formula scan = Formula::Parse("Buy = 1; Sell = C > 2;");
    const Results& results = Evaluate(scan, symbol.Data(), workspace);
    EXPECT_FALSE(results.filter.has_value());
    ASSERT_TRUE(results.buy && results.sell);
    EXPECT_EQ(std::vector<double>(results.buy->begin(), results.buy->end()),
              (std::vector<double>{1, 1, 1}))
        << "a number assigned to Buy stands for every bar";
    EXPECT_EQ((*results.sell)[2], 1);
    EXPECT_TRUE(results.columns.empty());

    const Formula exploration = Formula::Parse(
        "Filter = C > 1;\r\nAddColumn( Close, \"Close  \" );\r\nAddColumn( 7, \"Seven\", 1.0 );");
    const Results& explored = Evaluate(exploration, symbol.Data(), workspace);
    ASSERT_EQ(explored.columns.size(), 2u);
    EXPECT_EQ(explored.columns[0].title, "Close  ");
    EXPECT_EQ(explored.columns[0].format, 1.2) << "the default format";
    EXPECT_EQ(explored.columns[1].values[2], 7);
    EXPECT_FALSE(explored.buy.has_value()) << "nothing is left over from the previous formula";

    // Fewer columns, then more again: each run has its own.
    EXPECT_EQ(Evaluate(Formula::Parse("AddColumn( 1, \"One\" );"), symbol.Data(), workspace)
                  .columns.size(),
              1u);
    const Results& again = Evaluate(exploration, symbol.Data(), workspace);
    ASSERT_EQ(again.columns.size(), 2u);
    EXPECT_EQ(again.columns[1].title, "Seven");
}

TEST(AflEvaluator, WorkspaceServesSymbolsOfAnyLengthWithoutGrowing) {
    const Formula formula = Formula::Parse(
        "Buy = RSIa( Close, 14 ) < 30 AND BarsSince( Cross( MA( Close, 5 ), MA( Close, 50 ) ) ) "
        "<= 3 AND Volume > MA( Volume, 15 ); AddColumn( ATR( 14 ), \"ATR\" );");
    std::vector<test::TestSymbol> symbols;
    for (const std::size_t size : {300u, 0u, 44u, 1u, 300u}) {
        std::vector<double> closes;
        for (std::size_t i = 0; i < size; ++i) {
            closes.push_back(50 + 10 * std::sin(static_cast<double>(i) * 0.3));
        }
        symbols.push_back(FromCloses(closes));
    }
    Workspace shared;
    std::size_t buffers = 0;
    for (int round = 0; round < 3; ++round) {
        for (const test::TestSymbol& symbol : symbols) {
            Workspace fresh;
            const Results& once = Evaluate(formula, symbol.Data(), fresh);
            const Results& reused = Evaluate(formula, symbol.Data(), shared);
            ASSERT_EQ(reused.buy->size(), symbol.bars.size());
            for (std::size_t i = 0; i < symbol.bars.size(); ++i) {
                EXPECT_EQ(std::bit_cast<std::uint64_t>((*reused.buy)[i]),
                          std::bit_cast<std::uint64_t>((*once.buy)[i]));
                EXPECT_EQ(std::bit_cast<std::uint64_t>(reused.columns[0].values[i]),
                          std::bit_cast<std::uint64_t>(once.columns[0].values[i]));
            }
        }
        if (round == 0) {
            buffers = shared.BufferCount();
        }
        EXPECT_EQ(shared.BufferCount(), buffers) << "round " << round;
    }
    EXPECT_LE(buffers, 8u) << "operators write into the buffers of their spent operands";
}

TEST(AflEvaluator, OneFormulaRunsOnManyThreads) {
    const Formula formula = Formula::Parse(
        "Buy = Cross( EMA( C, 3 ), MA( C, 9 ) ) AND InWatchList( 2 ); AddColumn( ADX(), \"a\" );");
    std::vector<test::TestSymbol> symbols;
    for (int s = 0; s < 8; ++s) {
        std::vector<double> closes;
        for (int i = 0; i < 500; ++i) {
            closes.push_back(30 + 5 * std::sin(i * (0.05 + 0.01 * s)));
        }
        symbols.push_back(FromCloses(closes));
        symbols.back().info.watchLists.set(2, s % 2 == 0);
    }
    std::vector<std::vector<double>> expected;
    Workspace workspace;
    for (const test::TestSymbol& symbol : symbols) {
        const Results& r = Evaluate(formula, symbol.Data(), workspace);
        expected.emplace_back(r.buy->begin(), r.buy->end());
    }
    std::vector<int> mismatches(2, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&, t] {
            Workspace own;
            for (int round = 0; round < 20; ++round) {
                for (std::size_t s = 0; s < symbols.size(); ++s) {
                    const Results& r = Evaluate(formula, symbols[s].Data(), own);
                    if (!std::equal(r.buy->begin(), r.buy->end(), expected[s].begin(),
                                    expected[s].end())) {
                        ++mismatches[static_cast<std::size_t>(t)];
                    }
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(mismatches, (std::vector<int>{0, 0}));
}

TEST(AflEvaluator, MalformedBarsAreRefusedNotRead) {
    test::TestSymbol symbol = FromCloses({1, 2, 3});
    symbol.bars.volume.pop_back();
    Workspace workspace;
    EXPECT_THROW(Evaluate(Formula::Parse("Buy = V > 1;"), symbol.Data(), workspace),
                 std::invalid_argument);
    symbol = FromCloses({1, 2, 3});
    symbol.bars.openInt.clear(); // no open interest at all reads as 0
    EXPECT_EQ(Values("OpenInt + OI", symbol), (std::vector<double>{0, 0, 0}));
}

} // namespace
} // namespace marlindex::afl
