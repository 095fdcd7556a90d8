#include "results/ResultsTable.h"

#include "afl/Null.h"
#include "analysis/ResultsCsv.h"
#include "startup/AtomicFile.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace marlindex {

namespace {

// The close of a scan's row shows as its CSV does: two decimals.
constexpr double kCloseFormat = 1.2;

std::string Count(std::size_t n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

} // namespace

std::string RangeText(const BarRange& range) {
    switch (range.mode) {
    case RangeMode::AllBars:
        break;
    case RangeMode::LastBars:
        return range.n == 1 ? "last bar" : "last " + std::to_string(range.n) + " bars";
    case RangeMode::LastDays:
        return range.n == 1 ? "last day" : "last " + std::to_string(range.n) + " days";
    }
    return "all bars";
}

ResultsTable::ResultsTable(std::shared_ptr<const RunContext> run) : run_(std::move(run)) {
    const AnalysisResults& results = run_->results;
    columns_.push_back({"Symbol", CellKind::Text});
    columns_.push_back({"Date", CellKind::Date});
    if (results.mode == AnalysisMode::Scan) {
        columns_.push_back({"Trade", CellKind::Text});
        columns_.push_back({"Close", CellKind::Number, kCloseFormat});
    } else {
        for (const ResultColumn& column : results.columns) {
            columns_.push_back({column.title, CellKind::Number, column.format});
        }
    }
    days_ = CountHitsPerDay(results);
    // The run gives its rows by symbol, then date, then Buy before Sell: the order every tie
    // falls back to.
    order_.resize(results.rows.size());
    for (std::size_t i = 0; i < order_.size(); ++i) {
        order_[i] = static_cast<std::uint32_t>(i);
    }
    shown_ = order_;
}

const std::string& ResultsTable::SymbolAt(std::size_t shown) const {
    return run_->results.SymbolOf(run_->results.rows[shown_[shown]]);
}

TradeDate ResultsTable::DateAt(std::size_t shown) const {
    return run_->results.rows[shown_[shown]].date;
}

double ResultsTable::CellNumber(std::size_t shown, std::size_t column) const {
    const AnalysisResults& results = run_->results;
    const std::size_t r = shown_[shown];
    const ResultRow& row = results.rows[r];
    if (column == 1) {
        return row.date;
    }
    if (results.mode == AnalysisMode::Scan) {
        return column == 3 ? row.close : afl::kNull;
    }
    return column >= 2 ? results.values[r * results.columns.size() + (column - 2)] : afl::kNull;
}

std::string ResultsTable::CellText(std::size_t shown, std::size_t column) const {
    const ResultRow& row = run_->results.rows[shown_[shown]];
    switch (column) {
    case 0:
        return run_->results.SymbolOf(row);
    case 1:
        return FormatIsoDate(row.date);
    case 2:
        if (run_->results.mode == AnalysisMode::Scan) {
            return row.trade == Trade::Buy ? "Buy" : "Sell";
        }
        break;
    default:
        break;
    }
    return FormatColumnValue(CellNumber(shown, column), columns_[column].format);
}

void ResultsTable::SortBy(std::size_t column, bool descending) {
    const AnalysisResults& results = run_->results;
    sortColumn_ = column;
    descending_ = descending;
    if (column == 0) {
        // The run gives its rows grouped by symbol in byte order: by symbol is the run's own
        // order, or its groups from the last, each still by date.
        const std::size_t n = results.rows.size();
        order_.resize(n);
        if (!descending) {
            std::iota(order_.begin(), order_.end(), std::uint32_t{0});
        } else {
            auto next = order_.begin();
            for (std::size_t end = n; end > 0;) {
                std::size_t begin = end - 1;
                while (begin > 0 && results.rows[begin - 1].symbol == results.rows[begin].symbol) {
                    --begin;
                }
                for (std::size_t r = begin; r < end; ++r) {
                    *next++ = static_cast<std::uint32_t>(r);
                }
                end = begin;
            }
        }
        Narrow();
        return;
    }
    const std::size_t width = results.columns.size();
    // One key per row, then a sort of (key, row) pairs: the row number breaks ties in the
    // run's own order, and the pairs sit together in memory, which keeps 100,000 rows quick.
    const auto key = [&](std::uint32_t r) -> double {
        const ResultRow& row = results.rows[r];
        if (column == 1) {
            return row.date;
        }
        if (results.mode == AnalysisMode::Scan) {
            return column == 2 ? static_cast<double>(row.trade) : row.close;
        }
        return results.values[r * width + (column - 2)];
    };
    std::vector<std::pair<double, std::uint32_t>> keyed;
    std::vector<std::uint32_t> empty;
    keyed.reserve(results.rows.size());
    for (std::uint32_t r = 0; r < results.rows.size(); ++r) {
        const double value = key(r);
        // Null, and NaN with it, has no place among numbers: such rows go last either way.
        if (std::isnan(value)) {
            empty.push_back(r);
        } else {
            keyed.emplace_back(descending ? -value : value, r);
        }
    }
    std::sort(keyed.begin(), keyed.end());
    order_.clear();
    for (const auto& [value, r] : keyed) {
        order_.push_back(r);
    }
    order_.insert(order_.end(), empty.begin(), empty.end());
    Narrow();
}

void ResultsTable::ShowDay(TradeDate date) {
    day_ = date;
    Narrow();
}

void ResultsTable::ShowAllDays() {
    day_.reset();
    Narrow();
}

void ResultsTable::Narrow() {
    if (!day_) {
        shown_ = order_;
        return;
    }
    shown_.clear();
    for (const std::uint32_t r : order_) {
        if (run_->results.rows[r].date == *day_) {
            shown_.push_back(r);
        }
    }
}

std::string ResultsTable::Title() const {
    const AnalysisRequest& request = run_->request;
    std::string title = request.mode == AnalysisMode::Scan ? "Scan" : "Exploration";
    if (request.symbol) {
        title += " of " + *request.symbol;
    }
    title += ": " + Count(TotalRows(), "row", "rows") + ", " + RangeText(request.range);
    if (run_->results.cancelled) {
        title += ", cancelled";
    }
    if (!run_->ranAt.empty()) {
        title += ", ran " + run_->ranAt;
    }
    return title;
}

std::string ResultsTable::CountText() const {
    if (!day_) {
        return Count(TotalRows(), "row", "rows");
    }
    return std::to_string(RowCount()) + " of " + Count(TotalRows(), "row", "rows") + ", on " +
           FormatIsoDate(*day_);
}

std::string ResultsTable::Csv() const {
    const AnalysisResults& all = run_->results;
    AnalysisResults shown;
    shown.mode = all.mode;
    shown.symbols = all.symbols;
    shown.columns = all.columns;
    shown.rows.reserve(shown_.size());
    shown.values.reserve(shown_.size() * all.columns.size());
    for (const std::uint32_t r : shown_) {
        shown.rows.push_back(all.rows[r]);
        const std::span<const double> values = all.ValuesOf(r);
        shown.values.insert(shown.values.end(), values.begin(), values.end());
    }
    return ResultsCsv(shown);
}

Result<void> ResultsTable::ExportCsv(const std::filesystem::path& file) const {
    if (const std::error_code error = WriteFileAtomically(file, Csv())) {
        return Problem{ProblemKind::Failure, Place::InFile(Utf8Path(file)),
                       "cannot write the results: " + error.message()};
    }
    return {};
}

std::string ResultsTable::CopyText() const {
    std::string text;
    for (std::size_t c = 0; c < columns_.size(); ++c) {
        text += (c == 0 ? "" : "\t") + columns_[c].title;
    }
    text += '\n';
    for (std::size_t r = 0; r < shown_.size(); ++r) {
        for (std::size_t c = 0; c < columns_.size(); ++c) {
            if (c > 0) {
                text += '\t';
            }
            text += CellText(r, c);
        }
        text += '\n';
    }
    return text;
}

} // namespace marlindex
