// What a run of a formula over the quotes gave, as plain data that a table can sit on: one row
// per symbol and bar that an exploration's Filter passed (with the AddColumn values) or per Buy
// or Sell signal of a scan (with the bar's close). Rows are sorted by symbol in byte order,
// then by date; a scan's bar with both signals gives Buy first.
#pragma once

#include "quotes/QuoteData.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace marlindex {

enum class AnalysisMode { Explore, Scan };

enum class Trade : unsigned char { Buy, Sell };

// An exploration's AddColumn: its title, blanks around it trimmed, and its format (1.2: two
// decimals; ResultsCsv.h states the rule).
struct ResultColumn {
    std::string title;
    double format = 1.2;
};

struct ResultRow {
    std::uint32_t symbol = 0; // an index into AnalysisResults::symbols
    TradeDate date = 0;
    Trade trade = Trade::Buy; // a scan's signal
    double close = 0;         // a scan: the close of the signal's bar
};

struct AnalysisResults {
    AnalysisMode mode = AnalysisMode::Explore;
    std::vector<std::string> symbols;  // the symbols that gave rows, in byte order
    std::vector<ResultColumn> columns; // an exploration's columns, in the formula's order
    std::vector<ResultRow> rows;
    // An exploration's values: columns.size() per row, row after row; a Null is afl's kNull.
    std::vector<double> values;

    std::size_t symbolsRun = 0; // symbols evaluated
    std::size_t barsRun = 0;    // their bars (the whole history, whatever the range)
    bool cancelled = false;     // stopped early: the rows are those of the symbols done

    const std::string& SymbolOf(const ResultRow& row) const { return symbols[row.symbol]; }
    std::span<const double> ValuesOf(std::size_t row) const {
        return std::span<const double>(values).subspan(row * columns.size(), columns.size());
    }
};

} // namespace marlindex
