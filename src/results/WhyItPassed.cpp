#include "results/WhyItPassed.h"

#include "afl/Formula.h"
#include "quotes/QuoteStore.h"

#include <algorithm>
#include <exception>
#include <span>

namespace marlindex {

namespace {

// The row's words as the grid shows them, less the joiner and brackets the panel shows on
// their own. A text edited by hand that does not have them is kept whole.
std::string Description(const ConditionRecord& record, bool firstRow) {
    std::string_view text = record.rowText;
    if (!firstRow && !record.joiner.empty() && text.starts_with(record.joiner + ' ')) {
        text.remove_prefix(record.joiner.size() + 1);
    }
    const std::string left = BracketText(record.leftBrackets, 'L');
    const std::string right = BracketText(record.rightBrackets, 'R');
    if (text.size() >= left.size() + right.size() && text.starts_with(left) &&
        text.ends_with(right)) {
        text.remove_prefix(left.size());
        text.remove_suffix(right.size());
    }
    return std::string(text);
}

WhyValue ValueOn(std::span<const double> values, std::size_t bar) {
    const double value = values[bar];
    if (afl::IsNull(value)) {
        return WhyValue::NoValue;
    }
    return afl::IsTrue(value) ? WhyValue::True : WhyValue::False;
}

// Evaluates formulas on one symbol and reads their values on one bar. The market's breadth
// is computed only when a formula reads it, since that means a pass over the whole store.
class BarJudge {
public:
    BarJudge(const QuoteStore& store, const SymbolInfo& info, const BarSeries& bars,
             std::size_t bar)
        : store_(store), info_(info), bars_(bars), bar_(bar) {}

    // A condition's code on its own, as the value of Filter. The line break keeps a trailing
    // line comment from swallowing the closing bracket.
    WhyVerdict Condition(std::string name, std::string_view code) {
        WhyVerdict verdict{std::move(name), WhyValue::Failed, {}};
        try {
            const afl::Formula formula =
                afl::Formula::Parse("Filter = (" + std::string(code) + "\n);");
            verdict.value = ValueOn(*Run(formula).filter, bar_);
        } catch (const afl::Error& error) {
            // The place would point into the wrapped text, not the row's own.
            verdict.message = error.message();
        } catch (const std::exception& error) {
            verdict.message = error.what();
        }
        return verdict;
    }

    // The whole formula: what it assigns for the run's mode.
    std::vector<WhyVerdict> Formula(std::string_view text, AnalysisMode mode) {
        std::vector<WhyVerdict> verdicts;
        try {
            const afl::Formula formula = afl::Formula::Parse(text);
            const afl::Results& results = Run(formula);
            const auto add = [&](const char* name,
                                 const std::optional<std::span<const double>>& values) {
                if (values) {
                    verdicts.push_back({name, ValueOn(*values, bar_), {}});
                }
            };
            if (mode == AnalysisMode::Explore) {
                add("Filter", results.filter);
            } else {
                add("Buy", results.buy);
                add("Sell", results.sell);
            }
        } catch (const std::exception& error) {
            verdicts = {
                {mode == AnalysisMode::Explore ? "Filter" : "Buy", WhyValue::Failed, error.what()}};
        }
        return verdicts;
    }

private:
    const afl::Results& Run(const afl::Formula& formula) {
        const MarketBreadth* breadth = nullptr;
        if (formula.ReadsBreadth()) {
            if (!breadth_) {
                breadth_ = store_.ComputeBreadth();
            }
            const auto market = static_cast<std::size_t>(info_.marketId);
            if (info_.marketId >= 0 && market < breadth_->size()) {
                breadth = &(*breadth_)[market];
            }
        }
        return afl::Evaluate(formula, {info_, bars_, breadth}, workspace_);
    }

    const QuoteStore& store_;
    const SymbolInfo& info_;
    const BarSeries& bars_;
    std::size_t bar_;
    afl::Workspace workspace_;
    std::optional<std::vector<MarketBreadth>> breadth_;
};

// The symbol's rows in the results, which are sorted by symbol, then date.
std::span<const ResultRow> RowsOf(const AnalysisResults& results, std::string_view symbol) {
    const auto found = std::lower_bound(results.symbols.begin(), results.symbols.end(), symbol);
    if (found == results.symbols.end() || *found != symbol) {
        return {};
    }
    const auto index = static_cast<std::uint32_t>(found - results.symbols.begin());
    const auto [first, last] = std::equal_range(
        results.rows.begin(), results.rows.end(), ResultRow{index, 0, {}, 0},
        [](const ResultRow& a, const ResultRow& b) { return a.symbol < b.symbol; });
    return {first, last};
}

void Judge(const RunContext& run, const QuoteStore& store, const SymbolInfo& info,
           const BarSeries& bars, std::size_t bar, WhyReport& report) {
    report.date = bars.dates[bar];
    BarJudge judge(store, info, bars, bar);
    for (std::size_t row = 0; row < run.records.size(); ++row) {
        const ConditionRecord& record = run.records[row];
        WhyLine line{Description(record, row == 0), record.joiner,        record.leftBrackets,
                     record.rightBrackets,          WhyValue::Unfinished, {}};
        if (!record.IsEmptyRow()) {
            std::string code = record.codePart1;
            if (!code.empty()) {
                code += ' ';
            }
            code += record.codePart2;
            WhyVerdict verdict = judge.Condition({}, code);
            line.value = verdict.value;
            line.message = std::move(verdict.message);
        }
        report.rows.push_back(std::move(line));
    }
    if (run.filterApplies && !run.filterExpression.empty()) {
        report.filter = judge.Condition("Filter expression", run.filterExpression);
    }
    report.formula = judge.Formula(run.formulaText, run.request.mode);
}

WhyReport Explain(const RunContext& run, std::string_view symbol, std::optional<TradeDate> date) {
    WhyReport report;
    report.symbol = std::string(symbol);
    report.date = date;
    if (run.request.symbol && *run.request.symbol != symbol) {
        report.subject = WhySubject::NotInRun;
        report.message = *run.request.symbol;
        return report;
    }
    try {
        Result<QuoteStore> store = QuoteStore::Open(run.databaseFolder);
        if (!store) {
            report.subject = WhySubject::NoQuotes;
            report.message = store.problem().Message();
            return report;
        }
        const std::vector<SymbolInfo> symbols = store->Symbols();
        const auto info =
            std::lower_bound(symbols.begin(), symbols.end(), symbol,
                             [](const SymbolInfo& a, std::string_view b) { return a.symbol < b; });
        if (info == symbols.end() || info->symbol != symbol) {
            report.subject = WhySubject::NoSuchSymbol;
            return report;
        }
        const std::optional<BarSeries> bars = store->LoadSeries(symbol);
        if (!bars || bars->size() == 0) {
            report.subject = WhySubject::NoBars;
            return report;
        }
        const std::span<const ResultRow> rows = RowsOf(run.results, symbol);
        if (!date && !rows.empty()) {
            date = rows.back().date;
        }
        // A cancelled run took the symbols in byte order, so those after the ones it ran were
        // never evaluated: they are missing for that reason alone.
        if (!date && run.results.cancelled && !run.request.symbol &&
            static_cast<std::size_t>(info - symbols.begin()) >= run.results.symbolsRun) {
            report.subject = WhySubject::NotReached;
            return report;
        }
        const std::vector<TradeDate> tradingDates = run.request.range.mode == RangeMode::LastDays
                                                        ? store->TradingDates()
                                                        : std::vector<TradeDate>();
        const std::size_t firstReported =
            FirstReportedBar(run.request.range, bars->dates, tradingDates);
        std::size_t bar = bars->size() - 1;
        report.subject = WhySubject::Missing;
        if (date) {
            const auto at = std::lower_bound(bars->dates.begin(), bars->dates.end(), *date);
            if (at == bars->dates.end() || *at != *date) {
                report.subject = WhySubject::NoBarOnDate;
                return report;
            }
            bar = static_cast<std::size_t>(at - bars->dates.begin());
            const bool passed = std::any_of(
                rows.begin(), rows.end(), [&](const ResultRow& row) { return row.date == *date; });
            report.subject = passed ? WhySubject::Passed : WhySubject::DidNotPass;
        }
        report.inRange = bar >= firstReported;
        Judge(run, *store, *info, *bars, bar, report);
    } catch (const std::exception& error) {
        report =
            WhyReport{report.symbol, WhySubject::NoQuotes, date, true, {}, {}, {}, error.what()};
    }
    return report;
}

} // namespace

std::string WhyReport::Heading() const {
    const std::string day = date ? FormatIsoDate(*date) : std::string();
    switch (subject) {
    case WhySubject::Passed:
        return "Why " + symbol + " passed on " + day;
    case WhySubject::DidNotPass:
        return "Why " + symbol + " did not pass on " + day +
               (inRange ? "" : " (before the run's range)");
    case WhySubject::Missing:
        return "Why " + symbol + " is missing (last bar " + day +
               (inRange ? ")" : ", before the run's range)");
    case WhySubject::NoSuchSymbol:
        return symbol + " is not in the database";
    case WhySubject::NoBars:
        return symbol + " has no bars in the database";
    case WhySubject::NoBarOnDate:
        return symbol + " has no bar on " + day;
    case WhySubject::NotInRun:
        return symbol + " was not in the run: it ran on " + message + " alone";
    case WhySubject::NotReached:
        return symbol + " was not reached: the run was cancelled before it";
    case WhySubject::NoQuotes:
        break;
    }
    return "The quotes of " + symbol + " cannot be read: " + message;
}

WhyReport ExplainBar(const RunContext& run, std::string_view symbol, TradeDate date) {
    return Explain(run, symbol, date);
}

WhyReport ExplainSymbol(const RunContext& run, std::string_view symbol) {
    return Explain(run, symbol, std::nullopt);
}

std::string_view WhyValueText(WhyValue value) {
    switch (value) {
    case WhyValue::True:
        return "true";
    case WhyValue::False:
        return "false";
    case WhyValue::NoValue:
        return "no value yet";
    case WhyValue::Unfinished:
        return "adds nothing (unfinished row)";
    case WhyValue::Failed:
        break;
    }
    return "cannot be evaluated";
}

} // namespace marlindex
