#include "results/ChartData.h"

#include "afl/Formula.h"
#include "formula/Catalogues.h"
#include "formula/Translation.h"
#include "quotes/QuoteStore.h"
#include "startup/TextHelpers.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <span>
#include <utility>

namespace marlindex {

namespace {

// The indicators drawn over the candles because they move with the price: the moving averages,
// the price itself, Parabolic SAR, the Bollinger bands, AMA, AMA2, EMA, TEMA, Wilders, DEMA.
// The Price Oscillator pairs with these in the catalogue but is a percentage, so it is not one.
constexpr std::array<int, 13> kPriceScaled{kIndicatorMaShort,
                                           kIndicatorMaMedium,
                                           kIndicatorMaLong,
                                           kIndicatorPrice,
                                           17,
                                           27,
                                           28,
                                           34,
                                           35,
                                           36,
                                           37,
                                           38,
                                           39};
// Volume and its average share the volume bars' scale.
constexpr std::array<int, 2> kVolumeScaled{22, 23};

ChartPane PaneOf(int indicator) {
    if (std::find(kPriceScaled.begin(), kPriceScaled.end(), indicator) != kPriceScaled.end()) {
        return ChartPane::Price;
    }
    if (std::find(kVolumeScaled.begin(), kVolumeScaled.end(), indicator) != kVolumeScaled.end()) {
        return ChartPane::Volume;
    }
    return ChartPane::Own;
}

bool IsNameCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

// The end of the bracket opened at `open` (just past its ")"); npos when it never closes.
std::size_t MatchingClose(std::string_view code, std::size_t open) {
    int depth = 0;
    for (std::size_t i = open; i < code.size(); ++i) {
        if (code[i] == '(') {
            ++depth;
        } else if (code[i] == ')' && --depth == 0) {
            return i + 1;
        }
    }
    return std::string_view::npos;
}

// The arguments between a call's brackets, split at the commas outside inner brackets and
// trimmed; none for "()".
std::vector<std::string> Arguments(std::string_view inside) {
    std::vector<std::string> arguments;
    if (TrimBlanks(inside).empty()) {
        return arguments;
    }
    int depth = 0;
    std::size_t start = 0;
    for (std::size_t i = 0; i <= inside.size(); ++i) {
        if (i == inside.size() || (inside[i] == ',' && depth == 0)) {
            arguments.emplace_back(TrimBlanks(inside.substr(start, i - start)));
            start = i + 1;
        } else if (inside[i] == '(') {
            ++depth;
        } else if (inside[i] == ')') {
            --depth;
        }
    }
    return arguments;
}

// " A3" in a template: parameter 3; none for a fixed argument.
std::optional<std::size_t> ParameterNumber(std::string_view argument) {
    if (argument.size() == 2 && argument[0] == 'A' && argument[1] >= '1' && argument[1] <= '9') {
        return static_cast<std::size_t>(argument[1] - '0');
    }
    return std::nullopt;
}

struct Found {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::string afl;
    std::vector<std::string> parameters; // in template order
};

// The first place from `from` on where `code` computes the indicator of `pattern` (its template
// with the option applied): the same function with the same fixed arguments, any parameters;
// or, for a template that is a plain name (Volume, High), that name standing alone.
std::optional<Found> FindIndicator(std::string_view code, std::string_view pattern,
                                   std::size_t from) {
    const std::size_t bracket = pattern.find('(');
    const std::string_view name = TrimBlanks(pattern.substr(0, bracket));
    if (name.empty()) {
        return std::nullopt;
    }
    std::vector<std::string> fixed;
    if (bracket != std::string_view::npos) {
        const std::size_t close = pattern.rfind(')');
        fixed = Arguments(pattern.substr(bracket + 1, close - bracket - 1));
    }
    const std::string lowerCode = ToLowerAscii(code);
    const std::string lowerName = ToLowerAscii(name);
    for (std::size_t at = lowerCode.find(lowerName, from); at != std::string::npos;
         at = lowerCode.find(lowerName, at + 1)) {
        std::size_t end = at + name.size();
        if ((at > 0 && IsNameCharacter(code[at - 1])) ||
            (end < code.size() && IsNameCharacter(code[end]))) {
            continue;
        }
        Found found;
        found.begin = at;
        if (bracket == std::string_view::npos) {
            found.end = end;
            found.afl = std::string(code.substr(at, end - at));
            return found;
        }
        while (end < code.size() && code[end] == ' ') {
            ++end;
        }
        if (end == code.size() || code[end] != '(') {
            continue;
        }
        const std::size_t close = MatchingClose(code, end);
        if (close == std::string_view::npos) {
            continue;
        }
        const std::vector<std::string> given = Arguments(code.substr(end + 1, close - end - 2));
        if (given.size() != fixed.size()) {
            continue;
        }
        bool matches = true;
        found.parameters.clear();
        for (std::size_t k = 0; k < fixed.size() && matches; ++k) {
            if (const std::optional<std::size_t> number = ParameterNumber(fixed[k])) {
                found.parameters.resize(std::max(found.parameters.size(), *number));
                found.parameters[*number - 1] = given[k];
            } else {
                matches = EqualsIgnoreCase(fixed[k], given[k]);
            }
        }
        if (!matches) {
            continue;
        }
        found.end = close;
        found.afl = std::string(code.substr(at, close - at));
        return found;
    }
    return std::nullopt;
}

// An indicator's AFL must read on its own: a record edited by hand may hold anything.
bool Reads(const std::string& afl) {
    try {
        (void)afl::Formula::Parse("AddColumn( " + afl + ", \"\" );");
        return true;
    } catch (const afl::Error&) {
        return false;
    }
}

struct Side {
    int indicator = 0;
    std::string option;
    std::optional<Found> found;
};

std::size_t FindInOrder(std::string_view code, std::vector<Side>& sides, bool reversed) {
    std::size_t from = 0;
    std::size_t count = 0;
    for (std::size_t k = 0; k < sides.size(); ++k) {
        Side& side = sides[reversed ? sides.size() - 1 - k : k];
        side.found = FindIndicator(code, IndicatorTemplate(side.indicator, side.option), from);
        if (side.found) {
            from = side.found->end;
            ++count;
        }
    }
    return count;
}

// Finds the row's indicators in its code, in the order its comparison writes them ("crosses
// below" writes indicator 2 first); the other order when that finds more of them.
void FindSides(std::string_view code, std::vector<Side>& sides, bool secondFirst) {
    const std::size_t found = FindInOrder(code, sides, secondFirst);
    if (found == sides.size()) {
        return;
    }
    std::vector<Side> other = sides;
    if (FindInOrder(code, other, !secondFirst) > found) {
        sides = std::move(other);
    }
}

std::string RunKind(AnalysisMode mode, const afl::Formula& formula) {
    if (mode == AnalysisMode::Explore) {
        return "exploration";
    }
    if (formula.AssignsBuy() && !formula.AssignsSell()) {
        return "buy scan";
    }
    if (formula.AssignsSell() && !formula.AssignsBuy()) {
        return "sell scan";
    }
    return "scan";
}

void AddMarks(std::optional<std::span<const double>> values, ChartMarkKind kind,
              std::vector<ChartMark>& marks) {
    if (!values) {
        return;
    }
    const std::size_t size = values->size();
    for (std::size_t i = afl::NextTrue(values->data(), 0, size); i < size;
         i = afl::NextTrue(values->data(), i + 1, size)) {
        marks.push_back({i, kind});
    }
}

// The text that computes every indicator at once, one AddColumn each in their order.
std::string IndicatorFormulaText(const RowIndicators& rows) {
    std::string text;
    for (const RowIndicator& indicator : rows.indicators) {
        text += "AddColumn( " + indicator.afl + ", \"\" );\n";
    }
    return text;
}

Problem FormulaProblem(const afl::Error& error, const std::string& what) {
    return Problem{ProblemKind::BadInput,
                   Place::AtLine(static_cast<std::size_t>(error.where().line),
                                 static_cast<std::size_t>(error.where().column)),
                   what + error.message()};
}

struct Parsed {
    afl::Formula run;
    afl::Formula indicators;
    RowIndicators rows;
};

Result<Parsed> ParseBoth(const RunContext& run) {
    std::optional<afl::Formula> formula;
    try {
        formula = afl::Formula::Parse(run.formulaText);
    } catch (const afl::Error& error) {
        return FormulaProblem(error, "the formula: ");
    }
    RowIndicators rows = IndicatorsOfRows(run.records);
    try {
        afl::Formula indicators = afl::Formula::Parse(IndicatorFormulaText(rows));
        return Parsed{std::move(*formula), std::move(indicators), std::move(rows)};
    } catch (const afl::Error& error) {
        // Each indicator reads on its own (IndicatorsOfRows checks), so this is not expected.
        return FormulaProblem(error, "the indicators of the rows: ");
    }
}

Result<ChartData> Compute(const RunContext& run, const Parsed& parsed, const SymbolInfo& info,
                          BarSeries bars, const MarketBreadth* breadth, TradeDate hit) {
    ChartData chart;
    chart.symbol = info.symbol;
    chart.kind = RunKind(run.request.mode, parsed.run);
    chart.title =
        info.symbol + (info.name.empty() ? "" : " (" + info.name + ")") + ": " + chart.kind;
    chart.bars = std::move(bars);
    chart.levels = parsed.rows.levels;
    chart.ownPanes = parsed.rows.ownPanes;
    const std::vector<TradeDate>& dates = chart.bars.dates;
    const auto after = std::upper_bound(dates.begin(), dates.end(), hit);
    chart.hitBar = after == dates.begin() ? 0 : static_cast<std::size_t>(after - dates.begin()) - 1;

    const afl::SymbolData symbol{info, chart.bars, breadth};
    afl::Workspace workspace;
    try {
        const afl::Results& results = afl::Evaluate(parsed.run, symbol, workspace);
        if (run.request.mode == AnalysisMode::Explore) {
            AddMarks(results.filter, ChartMarkKind::Filter, chart.marks);
        } else {
            AddMarks(results.buy, ChartMarkKind::Buy, chart.marks);
            AddMarks(results.sell, ChartMarkKind::Sell, chart.marks);
            std::stable_sort(chart.marks.begin(), chart.marks.end(),
                             [](const ChartMark& a, const ChartMark& b) { return a.bar < b.bar; });
        }
    } catch (const afl::Error& error) {
        return FormulaProblem(error, "the formula: ");
    }
    try {
        const afl::Results& results = afl::Evaluate(parsed.indicators, symbol, workspace);
        for (std::size_t k = 0; k < parsed.rows.indicators.size(); ++k) {
            ChartLine line{parsed.rows.indicators[k], {}};
            const std::span<const double> values = results.columns[k].values;
            for (std::size_t i = 0; i < values.size(); ++i) {
                if (!afl::IsNull(values[i]) && std::isfinite(values[i])) {
                    line.points.push_back({i, values[i]});
                }
            }
            chart.lines.push_back(std::move(line));
        }
    } catch (const afl::Error& error) {
        return FormulaProblem(error, "an indicator of the rows: ");
    }
    return chart;
}

void Widen(std::optional<PaneRange>& range, double value) {
    if (!std::isfinite(value)) {
        return;
    }
    if (!range) {
        range = PaneRange{value, value};
    } else {
        range->low = std::min(range->low, value);
        range->high = std::max(range->high, value);
    }
}

} // namespace

RowIndicators IndicatorsOfRows(const ConditionRecordList& records) {
    RowIndicators result;
    const auto known = [&](const std::string& afl) -> RowIndicator* {
        for (RowIndicator& indicator : result.indicators) {
            if (indicator.afl == afl) {
                return &indicator;
            }
        }
        return nullptr;
    };
    for (std::size_t row = 0; row < records.size(); ++row) {
        const ConditionRecord& record = records[row];
        if (record.IsEmptyRow() || !record.indicator1Id ||
            !IsIndicatorIndex(*record.indicator1Id) || !record.comparisonId ||
            !IsComparisonIndex(*record.comparisonId)) {
            continue;
        }
        const ComparisonEntry comparison = Comparison(*record.comparisonId);
        std::vector<Side> sides{{*record.indicator1Id, record.indicator1Option, std::nullopt}};
        if (record.indicator2Id && IsIndicatorIndex(*record.indicator2Id) &&
            ComparesWithIndicator(comparison.kind, record.comparisonType)) {
            sides.push_back({*record.indicator2Id, record.indicator2Option, std::nullopt});
        }
        const std::string& form = comparison.templates.front();
        const bool secondFirst = form.find("Array2") < form.find("Array1");
        FindSides(record.codePart1 + " " + record.codePart2, sides, secondFirst);

        // Indicators of one row that have no pane yet join the own pane of one that has.
        int rowPane = -1;
        for (const Side& side : sides) {
            if (side.found) {
                if (const RowIndicator* placed = known(side.found->afl);
                    placed != nullptr && placed->pane == ChartPane::Own) {
                    rowPane = placed->ownPane;
                }
            }
        }
        for (const Side& side : sides) {
            if (!side.found || known(side.found->afl) != nullptr || !Reads(side.found->afl)) {
                continue;
            }
            RowIndicator indicator;
            indicator.indicator = side.indicator;
            indicator.afl = side.found->afl;
            indicator.name = IndicatorWords(side.indicator, side.option, side.found->parameters);
            indicator.pane = PaneOf(side.indicator);
            indicator.row = row;
            if (indicator.pane == ChartPane::Own) {
                if (rowPane < 0) {
                    rowPane = result.ownPanes++;
                }
                indicator.ownPane = rowPane;
            }
            result.indicators.push_back(std::move(indicator));
        }
        // A level only where the row compares the indicator itself, unmodified, with a value.
        const Side& first = sides.front();
        if (first.found && record.modify1On == 0 && known(first.found->afl) != nullptr &&
            ComparesWithValue(comparison.kind, record.comparisonType, record.timePeriod1)) {
            const RowLevel level{first.found->afl, record.value};
            const bool repeated =
                std::any_of(result.levels.begin(), result.levels.end(), [&](const RowLevel& l) {
                    return l.afl == level.afl && l.value == level.value;
                });
            if (!repeated) {
                result.levels.push_back(level);
            }
        }
    }
    return result;
}

Result<ChartData> ComputeChartData(const RunContext& run, const SymbolInfo& info, BarSeries bars,
                                   const MarketBreadth* breadth, TradeDate hit) {
    Result<Parsed> parsed = ParseBoth(run);
    if (!parsed) {
        return parsed.problem();
    }
    return Compute(run, *parsed, info, std::move(bars), breadth, hit);
}

Result<ChartData> LoadChartData(const RunContext& run, const std::string& symbol, TradeDate hit) {
    Result<Parsed> parsed = ParseBoth(run);
    if (!parsed) {
        return parsed.problem();
    }
    Result<QuoteStore> store = QuoteStore::Open(run.databaseFolder);
    if (!store) {
        return store.problem();
    }
    try {
        const std::vector<SymbolInfo> symbols = store->Symbols();
        const auto info = std::find_if(symbols.begin(), symbols.end(),
                                       [&](const SymbolInfo& s) { return s.symbol == symbol; });
        std::optional<BarSeries> bars = store->LoadSeries(symbol);
        if (info == symbols.end() || !bars) {
            return Problem{ProblemKind::BadInput, Place{},
                           "the database has no symbol " + QuoteExcerpt(symbol)};
        }
        // The breadth takes a pass over every symbol, so only a formula that reads it pays.
        std::vector<MarketBreadth> breadth;
        if (parsed->run.ReadsBreadth() || parsed->indicators.ReadsBreadth()) {
            breadth = store->ComputeBreadth();
        }
        const auto market = static_cast<std::size_t>(info->marketId);
        const MarketBreadth* own =
            info->marketId >= 0 && market < breadth.size() ? &breadth[market] : nullptr;
        return Compute(run, *parsed, *info, std::move(*bars), own, hit);
    } catch (const ProblemError& error) {
        return error.problem();
    }
}

std::optional<PaneRange> VisibleRange(const ChartData& chart, ChartPane pane, int ownPane,
                                      std::size_t first, std::size_t last) {
    std::optional<PaneRange> range;
    const BarSeries& bars = chart.bars;
    last = std::min(last, bars.size() == 0 ? 0 : bars.size() - 1);
    if (bars.size() == 0 || first > last) {
        return range;
    }
    if (pane == ChartPane::Price) {
        for (std::size_t i = first; i <= last; ++i) {
            Widen(range, bars.low[i]);
            Widen(range, bars.high[i]);
        }
    } else if (pane == ChartPane::Volume) {
        Widen(range, 0);
        for (std::size_t i = first; i <= last; ++i) {
            Widen(range, bars.volume[i]);
        }
    }
    for (const ChartLine& line : chart.lines) {
        if (line.indicator.pane != pane ||
            (pane == ChartPane::Own && line.indicator.ownPane != ownPane)) {
            continue;
        }
        const auto from = std::lower_bound(
            line.points.begin(), line.points.end(), first,
            [](const ChartPoint& point, std::size_t bar) { return point.bar < bar; });
        for (auto point = from; point != line.points.end() && point->bar <= last; ++point) {
            Widen(range, point->value);
        }
        if (pane != ChartPane::Own) {
            continue;
        }
        if (const std::optional<ValueRange> bounds = IndicatorRange(line.indicator.indicator)) {
            Widen(range, bounds->low);
            Widen(range, bounds->high);
        }
        for (const RowLevel& level : chart.levels) {
            if (level.afl == line.indicator.afl) {
                Widen(range, level.value);
            }
        }
    }
    return range;
}

} // namespace marlindex
