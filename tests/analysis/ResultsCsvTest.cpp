// Results as CSV: AddColumn's format rule, Null and the IEEE values, and RFC 4180 quoting.
#include "analysis/ResultsCsv.h"

#include "afl/Null.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace marlindex {
namespace {

TEST(ResultsCsv, FormatsValuesAsAddColumnsFormatSays) {
    struct Case {
        double value;
        double format;
        const char* shown;
    };
    const double inf = std::numeric_limits<double>::infinity();
    for (const Case& c : std::vector<Case>{
             {1.2345, 1.2, "1.23"},
             {5, 1.4, "5.0000"},
             {1234567.891, 1.0, "1234568"}, // no decimals, no thousands separators
             {0.5, 1.0, "0"},               // to nearest, ties to even
             {2.675, 1.2, "2.67"},          // from the exact binary value (2.67499...)
             {-3.14159, 8.3, "-3.142"},     // the whole part is a width: no padding in CSV
             {-0.001, 1.2, "0.00"},         // no minus sign on a zero
             {12.5, 1.25, "12.50"},         // the first digit after the point counts
             {1e20, 1.2, "100000000000000000000.00"}, // fixed notation, never 1e+20
             {7.125, afl::kNull, "7.12"},             // a Null format is the default 1.2
             {7.125, -1, "7.12"},
             {afl::kNull, 1.2, ""},
             {std::nan(""), 1.2, "NaN"},
             {inf, 1.2, "inf"},
             {-inf, 1.2, "-inf"},
         }) {
        EXPECT_EQ(FormatColumnValue(c.value, c.format), c.shown) << c.value << " " << c.format;
    }
    EXPECT_EQ(FormatDecimals(1.2), 2);
    EXPECT_EQ(FormatDecimals(1.0), 0);
    EXPECT_EQ(FormatDecimals(1.9), 9);
}

TEST(ResultsCsv, QuotesFieldsThatNeedItAndWritesEveryRow) {
    AnalysisResults explored;
    explored.mode = AnalysisMode::Explore;
    explored.symbols = {"A,B", "Q\"Q"};
    explored.columns = {{"Close, last", 1.2}, {"Vol\"ume", 1.0}, {"Plain", 1.1}};
    explored.rows = {{0, *ParseIsoDate("2024-01-02"), Trade::Buy, 0},
                     {1, *ParseIsoDate("2024-01-03"), Trade::Buy, 0}};
    explored.values = {1, 2, 3, afl::kNull, 5.55, -6};
    EXPECT_EQ(ResultsCsv(explored), "Symbol,Date,\"Close, last\",\"Vol\"\"ume\",Plain\n"
                                    "\"A,B\",2024-01-02,1.00,2,3.0\n"
                                    "\"Q\"\"Q\",2024-01-03,,6,-6.0\n");

    AnalysisResults scanned;
    scanned.mode = AnalysisMode::Scan;
    scanned.symbols = {"AAA"};
    scanned.rows = {{0, *ParseIsoDate("2024-01-02"), Trade::Buy, 10.005},
                    {0, *ParseIsoDate("2024-01-02"), Trade::Sell, 10.005}};
    EXPECT_EQ(ResultsCsv(scanned), "Symbol,Date,Trade,Close\n"
                                   "AAA,2024-01-02,Buy,10.01\n"
                                   "AAA,2024-01-02,Sell,10.01\n");

    EXPECT_EQ(ResultsCsv(AnalysisResults{}), "Symbol,Date\n") << "no AddColumn, no rows";
}

} // namespace
} // namespace marlindex
