// Shared by the AFL tests: a symbol built by hand, and short ways to run a formula on it.
#pragma once

#include "afl/Formula.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace marlindex::afl::test {

// A symbol that owns its data. Dates are consecutive days from 2018-01-01.
struct TestSymbol {
    SymbolInfo info;
    BarSeries bars;
    MarketBreadth breadth;
    bool hasBreadth = false;

    SymbolData Data() const { return {info, bars, hasBreadth ? &breadth : nullptr}; }
};

// Bars from closes: Open = Close, High = Close + 1, Low = Close - 1, Volume 1000.
inline TestSymbol FromCloses(const std::vector<double>& closes) {
    TestSymbol s;
    s.info.symbol = "TEST";
    for (std::size_t i = 0; i < closes.size(); ++i) {
        s.bars.dates.push_back(17532 + static_cast<TradeDate>(i));
        s.bars.open.push_back(closes[i]);
        s.bars.high.push_back(closes[i] + 1);
        s.bars.low.push_back(closes[i] - 1);
        s.bars.close.push_back(closes[i]);
        s.bars.volume.push_back(1000);
        s.bars.openInt.push_back(0);
    }
    return s;
}

// The first AddColumn's values after running `formula` on `symbol`.
inline std::vector<double> FirstColumn(const std::string& formula, const TestSymbol& symbol) {
    Workspace workspace;
    const Results& results = Evaluate(Formula::Parse(formula), symbol.Data(), workspace);
    if (results.columns.empty()) {
        ADD_FAILURE() << "no column from " << formula;
        return {};
    }
    return {results.columns[0].values.begin(), results.columns[0].values.end()};
}

// The value of `expression` on every bar.
inline std::vector<double> Values(const std::string& expression, const TestSymbol& symbol) {
    return FirstColumn("AddColumn( " + expression + ", \"value\" );", symbol);
}

// The value of `expression` on a one-bar symbol (its scalar value, broadcast).
inline double Scalar(const std::string& expression) {
    return Values(expression, FromCloses({10}))[0];
}

// The error `formula` gives when read, or "(accepted)".
inline std::string ParseError(const std::string& formula) {
    try {
        Formula::Parse(formula);
    } catch (const Error& error) {
        return error.what();
    }
    return "(accepted)";
}

// The error `formula` gives when read or run on `symbol`, or "(accepted)".
inline std::string RunError(const std::string& formula, const TestSymbol& symbol) {
    try {
        Workspace workspace;
        Evaluate(Formula::Parse(formula), symbol.Data(), workspace);
    } catch (const Error& error) {
        return error.what();
    }
    return "(accepted)";
}

// Null, NaN and numbers compared as the vectors write them.
inline std::string Show(double value) {
    if (IsNull(value)) {
        return "null";
    }
    return std::to_string(value);
}

} // namespace marlindex::afl::test
