// The results window's table as plain data: the columns of a run, its cells typed for sorting,
// the order the user sorted them in, the one day the hits-per-day chart narrowed them to, the
// window's title and count, and the rows shown as CSV (Export) or as tab-separated text (Copy).
//
// Rows are never copied: the table keeps the run's results and a vector of row numbers in the
// order shown, so sorting or narrowing 100,000 rows moves only integers.
#pragma once

#include "results/HitsPerDay.h"
#include "results/RunContext.h"
#include "startup/Problem.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace marlindex {

// How a column's cells compare: symbols and trades as text in byte order, dates by date,
// values by number (a Null value sorts last and shows empty).
enum class CellKind { Text, Date, Number };

struct TableColumn {
    std::string title;
    CellKind kind = CellKind::Text;
    double format = 1.2; // a number column's decimals, as AddColumn gives them
};

class ResultsTable {
public:
    explicit ResultsTable(std::shared_ptr<const RunContext> run);

    const RunContext& Run() const { return *run_; }
    const std::shared_ptr<const RunContext>& SharedRun() const { return run_; }

    // exploration: Symbol, Date, then each AddColumn; scan: Symbol, Date, Trade, Close.
    const std::vector<TableColumn>& Columns() const { return columns_; }

    // The rows shown (all of them, or those of the chosen day), in the order shown.
    std::size_t RowCount() const { return shown_.size(); }
    std::size_t TotalRows() const { return run_->results.rows.size(); }
    // The run's row behind a shown row.
    std::size_t ResultRowAt(std::size_t shown) const { return shown_[shown]; }
    const std::string& SymbolAt(std::size_t shown) const;
    TradeDate DateAt(std::size_t shown) const;
    // A cell as the table shows it: a date as YYYY-MM-DD, a value with its column's decimals,
    // a Null value empty.
    std::string CellText(std::size_t shown, std::size_t column) const;
    // A number cell's value (afl's Null for none); a date column gives the date's day number.
    double CellNumber(std::size_t shown, std::size_t column) const;

    // Sorts every row by a column, ties by symbol and then date (and Buy before Sell), so the
    // same sort always gives the same order. A Null value comes last either way.
    void SortBy(std::size_t column, bool descending);
    std::optional<std::size_t> SortColumn() const { return sortColumn_; }
    bool SortDescending() const { return descending_; }

    // The symbols that passed on each day of the run, for the chart.
    const std::vector<DayHits>& HitsPerDay() const { return days_; }
    // Shows only the rows of `date` (a day clicked in the chart), in the current order.
    void ShowDay(TradeDate date);
    void ShowAllDays();
    std::optional<TradeDate> Day() const { return day_; }

    // "Exploration: 123 rows, last 5 days, ran 2026-11-25 14:03".
    std::string Title() const;
    // "123 rows", or "4 of 123 rows, on 2026-11-20" while a day is chosen.
    std::string CountText() const;

    // The rows shown, in the order shown, in marlindex-cli's CSV format.
    std::string Csv() const;
    Result<void> ExportCsv(const std::filesystem::path& file) const;
    // The rows shown as tab-separated lines, the header first, cells as the table shows them.
    std::string CopyText() const;

private:
    void Narrow();

    std::shared_ptr<const RunContext> run_;
    std::vector<TableColumn> columns_;
    std::vector<DayHits> days_;
    std::vector<std::uint32_t> order_; // every row, in the order sorted
    std::vector<std::uint32_t> shown_; // order_, narrowed to the chosen day
    std::optional<std::size_t> sortColumn_;
    bool descending_ = false;
    std::optional<TradeDate> day_;
};

// The range of a request as the title says it: "all bars", "last 5 bars", "last day".
std::string RangeText(const BarRange& range);

} // namespace marlindex
