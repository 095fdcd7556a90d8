// Why a symbol passed on a bar, or why it is missing from a run's results: each condition row
// of the main window evaluated on its own on the symbol's bars (a row is self-contained AFL),
// with its joiner and brackets, then the filter expression and the whole formula. A trader
// reads the rows to see which one held the symbol back; the joiners and brackets tell how the
// rows combine into the formula's verdict.
#pragma once

#include "results/RunContext.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marlindex {

// A condition's value on one bar.
enum class WhyValue {
    True,
    False,
    NoValue,    // Null: the history is too short for the indicator yet
    Unfinished, // a row the editor left without a condition: it adds nothing to the formula
    Failed,     // its code could not be evaluated (the message says why)
};

struct WhyLine {
    std::string description; // the row's words, without its joiner and brackets
    std::string joiner;      // "", "AND" or "OR"
    int leftBrackets = 0;
    int rightBrackets = 0;
    WhyValue value = WhyValue::NoValue;
    std::string message; // why it could not be evaluated
};

// The filter expression's or the formula's value: `name` is "Filter expression", "Filter",
// "Buy" or "Sell".
struct WhyVerdict {
    std::string name;
    WhyValue value = WhyValue::NoValue;
    std::string message;
};

// What was explained. Only Passed, DidNotPass and Missing come with rows and verdicts.
enum class WhySubject {
    Passed,       // the results hold the symbol on the bar
    DidNotPass,   // a bar asked for by date that the results do not hold
    Missing,      // no rows at all: its last bar in the run's range
    NoSuchSymbol, // not in the database
    NoBars,       // in the database without a single bar
    NoBarOnDate,  // the symbol has no bar on the date asked for
    NotInRun,     // the run applied to another symbol alone
    NotReached,   // the run was cancelled before it came to the symbol
    NoQuotes,     // the database's quotes cannot be read
};

struct WhyReport {
    std::string symbol;
    WhySubject subject = WhySubject::NoQuotes;
    std::optional<TradeDate> date; // the bar explained (or asked for)
    // False when the bar lies before the run's range, where nothing reports whatever the
    // formula says (for Missing: the symbol had no bar that could report).
    bool inRange = true;
    std::vector<WhyLine> rows; // one per condition row, in the grid's order
    std::optional<WhyVerdict> filter;
    std::vector<WhyVerdict> formula; // Filter for an exploration, Buy and/or Sell for a scan
    std::string message; // NoQuotes: what went wrong; NotInRun: the symbol the run was on

    // "Why AAPL passed on 2018-03-02", "Why AAPL is missing (last bar 2018-12-31)" ...
    std::string Heading() const;
};

// Explains `symbol` on `date`: Passed when the run's results hold it there, else DidNotPass.
WhyReport ExplainBar(const RunContext& run, std::string_view symbol, TradeDate date);

// Explains a symbol as a whole: its latest row when the results hold any (why it passed),
// otherwise its last bar in the run's range (why it is missing).
WhyReport ExplainSymbol(const RunContext& run, std::string_view symbol);

// The words a panel shows for a value: "true", "false", "no value yet" ...
std::string_view WhyValueText(WhyValue value);

} // namespace marlindex
