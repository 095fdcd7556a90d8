#include "analysis/AnalysisRun.h"

#include "startup/TextHelpers.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <utility>

#if MARLINDEX_HAVE_TBB
#include <mutex>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_pipeline.h>
#include <tbb/task_arena.h>
#endif

namespace marlindex {

namespace {

// What every symbol of a run shares.
struct Job {
    const afl::Formula& formula;
    AnalysisMode mode;
    BarRange range;
    std::span<const TradeDate> tradingDates;
    std::span<const MarketBreadth> breadth; // empty when the formula reads none
};

// One symbol's rows before they join the results (their symbol index is set then).
struct SymbolOutput {
    std::vector<ResultRow> rows;
    std::vector<double> values;
    std::vector<ResultColumn> columns;
    std::size_t bars = 0;
    // The bars of Buy (of Filter in an exploration) and of Sell, kept from symbol to symbol
    // for their storage.
    std::vector<std::size_t> buyBars;
    std::vector<std::size_t> sellBars;
};

// The bars from `first` on where `values` holds a signal, appended to `bars`.
void FindSignals(std::span<const double> values, std::size_t first,
                 std::vector<std::size_t>& bars) {
    const std::size_t size = values.size();
    for (std::size_t i = afl::NextTrue(values.data(), first, size); i < size;
         i = afl::NextTrue(values.data(), i + 1, size)) {
        bars.push_back(i);
    }
}

// A symbol to evaluate and the room for its rows. A slot is reused from symbol to symbol, so
// a streaming run keeps its buffers instead of allocating a history per symbol.
struct Slot {
    SymbolInfo info; // storage for a symbol read from the store
    BarSeries bars;
    const SymbolInfo* symbol = nullptr; // what to evaluate: the storage above or quotes in memory
    const BarSeries* series = nullptr;
    SymbolOutput output;
};

// Fills the slot with the next symbol, in byte order of the symbols; false after the last.
using NextSymbol = std::function<bool(Slot&)>;

void EvaluateSymbol(const Job& job, const SymbolInfo& info, const BarSeries& bars,
                    afl::Workspace& workspace, SymbolOutput& output) {
    output.rows.clear();
    output.values.clear();
    output.columns.clear();
    output.bars = bars.size();
    const auto market = static_cast<std::size_t>(info.marketId);
    const MarketBreadth* breadth =
        info.marketId >= 0 && market < job.breadth.size() ? &job.breadth[market] : nullptr;
    const afl::Results& results = afl::Evaluate(job.formula, {info, bars, breadth}, workspace);
    const std::size_t first = FirstReportedBar(job.range, bars.dates, job.tradingDates);

    if (job.mode == AnalysisMode::Explore) {
        for (const afl::Column& column : results.columns) {
            output.columns.push_back({std::string(TrimBlanks(column.title)), column.format});
        }
        output.buyBars.clear();
        FindSignals(*results.filter, first, output.buyBars);
        for (const std::size_t i : output.buyBars) {
            output.rows.push_back({0, bars.dates[i], Trade::Buy, 0});
            for (const afl::Column& column : results.columns) {
                output.values.push_back(column.values[i]);
            }
        }
        return;
    }
    output.buyBars.clear();
    output.sellBars.clear();
    if (results.buy) {
        FindSignals(*results.buy, first, output.buyBars);
    }
    if (results.sell) {
        FindSignals(*results.sell, first, output.sellBars);
    }
    // Both lists in bar order, merged; a bar with both signals gives its Buy row first.
    auto buy = output.buyBars.begin();
    auto sell = output.sellBars.begin();
    while (buy != output.buyBars.end() || sell != output.sellBars.end()) {
        if (sell == output.sellBars.end() || (buy != output.buyBars.end() && *buy <= *sell)) {
            output.rows.push_back({0, bars.dates[*buy], Trade::Buy, bars.close[*buy]});
            ++buy;
        } else {
            output.rows.push_back({0, bars.dates[*sell], Trade::Sell, bars.close[*sell]});
            ++sell;
        }
    }
}

// Takes each symbol's rows into the results, in symbol order, and tells the progress.
class Collector {
public:
    Collector(AnalysisResults& results, std::size_t total, const RunControl& control)
        : results_(results), total_(total), control_(control) {}

    bool Stopped() const {
        return stopped_.load() || (control_.cancel != nullptr && control_.cancel->load());
    }

    void Take(const std::string& symbol, const SymbolOutput& output) {
        // Symbols already read or evaluated when the run was cancelled are let go: the run
        // keeps exactly the symbols taken before the cancel, however many threads were busy.
        if (Stopped()) {
            return;
        }
        if (results_.symbolsRun == 0) {
            results_.columns = output.columns;
        }
        if (output.columns.size() != results_.columns.size()) {
            // AddColumn only stands as a statement, so every symbol runs the same ones.
            throw std::logic_error("a symbol gave " + std::to_string(output.columns.size()) +
                                   " columns where the first gave " +
                                   std::to_string(results_.columns.size()));
        }
        if (!output.rows.empty()) {
            const auto index = static_cast<std::uint32_t>(results_.symbols.size());
            results_.symbols.push_back(symbol);
            for (ResultRow row : output.rows) {
                row.symbol = index;
                results_.rows.push_back(row);
            }
            results_.values.insert(results_.values.end(), output.values.begin(),
                                   output.values.end());
        }
        ++results_.symbolsRun;
        results_.barsRun += output.bars;
        if (control_.progress && !control_.progress(results_.symbolsRun, total_)) {
            stopped_.store(true);
        }
    }

private:
    AnalysisResults& results_;
    std::size_t total_;
    const RunControl& control_;
    std::atomic<bool> stopped_{false};
};

void RunOnThisThread(const Job& job, const NextSymbol& next, Collector& collector) {
    Slot slot;
    afl::Workspace workspace;
    while (!collector.Stopped() && next(slot)) {
        EvaluateSymbol(job, *slot.symbol, *slot.series, workspace, slot.output);
        collector.Take(slot.symbol->symbol, slot.output);
    }
}

#if MARLINDEX_HAVE_TBB
// Three stages: one thread reads symbol after symbol, every thread evaluates, one thread takes
// the rows in symbol order. At most two symbols per thread are in flight, which bounds the
// memory of a streaming run.
void RunInParallel(const Job& job, const NextSymbol& next, Collector& collector, unsigned threads) {
    tbb::task_arena arena(static_cast<int>(threads));
    arena.execute([&] {
        const auto tokens = static_cast<std::size_t>(2 * arena.max_concurrency());
        std::vector<std::unique_ptr<Slot>> slots;
        std::vector<Slot*> free;
        for (std::size_t i = 0; i < tokens; ++i) {
            free.push_back(slots.emplace_back(std::make_unique<Slot>()).get());
        }
        std::mutex freeLock;
        const auto giveBack = [&](Slot* slot) {
            const std::lock_guard lock(freeLock);
            free.push_back(slot);
        };
        tbb::enumerable_thread_specific<afl::Workspace> workspaces;

        tbb::parallel_pipeline(
            tokens,
            tbb::make_filter<void, Slot*>(tbb::filter_mode::serial_in_order,
                                          [&](tbb::flow_control& flow) -> Slot* {
                                              Slot* slot = nullptr;
                                              if (!collector.Stopped()) {
                                                  const std::lock_guard lock(freeLock);
                                                  slot = free.back();
                                                  free.pop_back();
                                              }
                                              if (slot == nullptr || !next(*slot)) {
                                                  if (slot != nullptr) {
                                                      giveBack(slot);
                                                  }
                                                  flow.stop();
                                                  return nullptr;
                                              }
                                              return slot;
                                          }) &
                tbb::make_filter<Slot*, Slot*>(tbb::filter_mode::parallel,
                                               [&](Slot* slot) {
                                                   EvaluateSymbol(job, *slot->symbol, *slot->series,
                                                                  workspaces.local(), slot->output);
                                                   return slot;
                                               }) &
                tbb::make_filter<Slot*, void>(tbb::filter_mode::serial_in_order, [&](Slot* slot) {
                    collector.Take(slot->symbol->symbol, slot->output);
                    giveBack(slot);
                }));
    });
}
#endif

void Drive(const Job& job, const NextSymbol& next, Collector& collector, unsigned threads) {
    const unsigned used = AnalysisThreads(threads);
#if MARLINDEX_HAVE_TBB
    if (used > 1) {
        RunInParallel(job, next, collector, used);
        return;
    }
#endif
    (void)used;
    RunOnThisThread(job, next, collector);
}

std::optional<Problem> CheckAssigned(const afl::Formula& formula, AnalysisMode mode) {
    if (mode == AnalysisMode::Explore && !formula.AssignsFilter()) {
        return Problem{ProblemKind::BadInput, Place{},
                       "the formula assigns no Filter: an exploration lists the bars where "
                       "Filter is true"};
    }
    if (mode == AnalysisMode::Scan && !formula.AssignsBuy() && !formula.AssignsSell()) {
        return Problem{ProblemKind::BadInput, Place{},
                       "the formula assigns neither Buy nor Sell: a scan lists their signals"};
    }
    return std::nullopt;
}

[[noreturn]] void NoSuchSymbol(const std::string& symbol) {
    throw ProblemError(ProblemKind::BadInput, Place{},
                       symbol.empty() ? "there is no current symbol to run over"
                                      : "the database has no symbol " + QuoteExcerpt(symbol));
}

// The run's one boundary: every problem on the way comes out as the Result.
template <class Work>
Result<AnalysisResults> Guarded(const afl::Formula& formula, const AnalysisRequest& request,
                                Work work) {
    if (const std::optional<Problem> missing = CheckAssigned(formula, request.mode)) {
        return *missing;
    }
    try {
        AnalysisResults results;
        results.mode = request.mode;
        work(results);
        return results;
    } catch (const afl::Error& error) {
        return Problem{ProblemKind::BadInput,
                       Place::AtLine(static_cast<std::size_t>(error.where().line),
                                     static_cast<std::size_t>(error.where().column)),
                       error.message()};
    } catch (const ProblemError& error) {
        return error.problem();
    } catch (const std::exception& error) {
        return Problem{ProblemKind::Failure, Place{},
                       std::string("the analysis failed: ") + error.what()};
    }
}

void Finish(AnalysisResults& results, const Collector& collector, std::size_t total) {
    results.cancelled = collector.Stopped() && results.symbolsRun < total;
}

} // namespace

std::size_t FirstReportedBar(const BarRange& range, std::span<const TradeDate> dates,
                             std::span<const TradeDate> tradingDates) {
    switch (range.mode) {
    case RangeMode::AllBars:
        return 0;
    case RangeMode::LastBars:
        return dates.size() - std::min(range.n, dates.size());
    case RangeMode::LastDays:
        if (range.n == 0) {
            return dates.size();
        }
        if (range.n >= tradingDates.size()) {
            return 0;
        }
        {
            const TradeDate first = tradingDates[tradingDates.size() - range.n];
            return static_cast<std::size_t>(std::lower_bound(dates.begin(), dates.end(), first) -
                                            dates.begin());
        }
    }
    return 0;
}

unsigned AnalysisThreads(unsigned threads) {
#if MARLINDEX_HAVE_TBB
    const auto cores = static_cast<unsigned>(tbb::this_task_arena::max_concurrency());
    return threads == 0 ? cores : std::min(threads, cores);
#else
    (void)threads;
    return 1;
#endif
}

Result<AnalysisResults> RunAnalysis(const afl::Formula& formula, const QuoteStore& store,
                                    const AnalysisRequest& request, const RunControl& control) {
    return Guarded(formula, request, [&](AnalysisResults& results) {
        // One state of the store for every pass: the dates, the breadth and the bars.
        const QuoteStore::ReadScope consistent = store.KeepConsistent();
        const std::vector<TradeDate> tradingDates = request.range.mode == RangeMode::LastDays
                                                        ? store.TradingDates()
                                                        : std::vector<TradeDate>();
        const std::vector<MarketBreadth> breadth =
            formula.ReadsBreadth() ? store.ComputeBreadth() : std::vector<MarketBreadth>();
        const Job job{formula, request.mode, request.range, tradingDates, breadth};

        if (request.symbol) {
            const std::vector<SymbolInfo> symbols = store.Symbols();
            const auto found =
                std::find_if(symbols.begin(), symbols.end(), [&](const SymbolInfo& info) {
                    return info.symbol == *request.symbol;
                });
            std::optional<BarSeries> bars = store.LoadSeries(*request.symbol);
            if (found == symbols.end() || !bars) {
                NoSuchSymbol(*request.symbol);
            }
            bool given = false;
            Collector collector(results, 1, control);
            Drive(
                job,
                [&](Slot& slot) {
                    slot.symbol = &*found;
                    slot.series = &*bars;
                    return !std::exchange(given, true);
                },
                collector, 1);
            Finish(results, collector, 1);
            return;
        }

        QuoteStore::Cursor cursor = store.Series();
        const std::size_t total = cursor.total();
        Collector collector(results, total, control);
        Drive(
            job,
            [&](Slot& slot) {
                slot.symbol = &slot.info;
                slot.series = &slot.bars;
                return cursor.Next(slot.info, slot.bars);
            },
            collector, request.threads);
        Finish(results, collector, total);
    });
}

Result<AnalysisResults> RunAnalysis(const afl::Formula& formula, const QuoteSnapshot& quotes,
                                    const AnalysisRequest& request, const RunControl& control) {
    return Guarded(formula, request, [&](AnalysisResults& results) {
        const Job job{formula, request.mode, request.range, quotes.tradingDates, quotes.breadth};
        // Symbols in byte order, whatever order the snapshot was built in.
        std::vector<std::size_t> order;
        if (request.symbol) {
            const auto index = std::find_if(
                quotes.symbols.begin(), quotes.symbols.end(),
                [&](const SymbolInfo& info) { return info.symbol == *request.symbol; });
            if (index == quotes.symbols.end()) {
                NoSuchSymbol(*request.symbol);
            }
            order.push_back(static_cast<std::size_t>(index - quotes.symbols.begin()));
        } else {
            order.resize(quotes.symbols.size());
            std::iota(order.begin(), order.end(), std::size_t{0});
            std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
                return quotes.symbols[a].symbol < quotes.symbols[b].symbol;
            });
        }
        std::size_t next = 0;
        Collector collector(results, order.size(), control);
        Drive(
            job,
            [&](Slot& slot) {
                if (next == order.size()) {
                    return false;
                }
                slot.symbol = &quotes.symbols[order[next]];
                slot.series = &quotes.series[order[next]];
                ++next;
                return true;
            },
            collector, request.threads);
        Finish(results, collector, order.size());
    });
}

} // namespace marlindex
