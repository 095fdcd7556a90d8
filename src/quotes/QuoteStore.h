// The quote store: one SQLite file in the database folder (beside tempFilter.txt) holding the
// symbols with their categories and watch lists and every symbol's daily bars. Reads are
// built for the analysis engine, which reads every symbol's whole history on each run: the
// bars of a symbol and calendar year are one row of column blobs, so a full load is a few
// thousand row reads and memcpys (docs/engine.md gives the reasoning and the figures).
// Every change runs in one transaction; a change that fails or is cancelled leaves the store
// exactly as it was, and so does a process killed half-way (SQLite's journal).
//
// Errors: the members a user's input can make fail (opening a folder, changing a watch list)
// give a Result. Reads fail only when the system does (a damaged file, a disk error); they
// throw ProblemError (a failure), which the caller's boundary (the command, the analysis run)
// turns into its own Result or message.
#pragma once

#include "quotes/QuoteCsv.h"
#include "quotes/QuoteData.h"
#include "startup/Problem.h"

#include <array>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marlindex {

inline constexpr std::string_view kQuoteStoreFileName = "quotes.db";

// The four kinds of category. A symbol's category is a name; each name has a number, which
// MarketID(0), GroupID(0), SectorID(0) and IndustryID(0) return: the names of a kind are
// numbered 0, 1, 2 ... in the order the store first met them, and keep their number for good.
// "" (no category) is a name like any other. AmiBroker's limits hold: 256 markets, groups and
// industries, 64 sectors.
enum class CategoryKind { Market = 0, Group = 1, Sector = 2, Industry = 3 };
inline constexpr std::size_t kCategoryKindCount = 4;
int CategoryLimit(CategoryKind kind);
std::string_view CategoryWord(CategoryKind kind); // "market", "group" ...

// One line of `marlindex-cli database list`.
struct SymbolSummary {
    std::string symbol;
    std::size_t bars = 0;
    std::optional<TradeDate> first; // none without bars
    std::optional<TradeDate> last;
};

// Everything one analysis run reads, in memory.
struct QuoteSnapshot {
    std::vector<SymbolInfo> symbols; // in byte order of the symbol
    std::vector<BarSeries> series;   // series[i] holds the bars of symbols[i]
    // Every date on which any symbol has a bar, ascending ("the n last days" counts these).
    std::vector<TradeDate> tradingDates;
    // Indexed by market number; a market without symbols is empty.
    std::vector<MarketBreadth> breadth;

    // The index of `symbol` in `symbols`, none when absent.
    std::optional<std::size_t> Find(std::string_view symbol) const;
};

// Told how much of a long piece of work is done; returning false cancels it.
using ProgressFunction = std::function<bool(std::size_t done, std::size_t total)>;

class QuoteStore {
public:
    static std::filesystem::path FileIn(const std::filesystem::path& databaseFolder);
    // Opens the store of a database folder: bad input when the folder has no store, a failure
    // when the file is damaged or belongs to another program.
    static Result<QuoteStore> Open(const std::filesystem::path& databaseFolder);
    // Opens the store for changes, making an empty one when the folder has none.
    static Result<QuoteStore> OpenOrCreate(const std::filesystem::path& databaseFolder);

    QuoteStore(QuoteStore&&) noexcept;
    QuoteStore& operator=(QuoteStore&&) noexcept;
    ~QuoteStore();

    // Every symbol in byte order with its bar count and first and last date.
    std::vector<SymbolSummary> List() const;
    // Every symbol's categories and watch lists, in byte order.
    std::vector<SymbolInfo> Symbols() const;
    // One symbol's whole history; none when the store has no such symbol.
    std::optional<BarSeries> LoadSeries(std::string_view symbol) const;
    std::vector<TradeDate> TradingDates() const;
    // The names of a kind of category, indexed by number.
    std::vector<std::string> CategoryNames(CategoryKind kind) const;
    // The watch lists' names ("" for a list without one).
    std::array<std::string, kWatchListCount> WatchListNames() const;

    // Everything at once, for a run over all symbols: symbols, series, trading dates and
    // breadth. `progress` hears after each symbol; none when it cancelled.
    std::optional<QuoteSnapshot> LoadForAnalysis(const ProgressFunction& progress = {}) const;

    // Symbol after symbol, in byte order, for runs that must not hold every series at once.
    class Cursor {
    public:
        ~Cursor();
        Cursor(Cursor&&) noexcept;
        Cursor& operator=(Cursor&&) = delete;
        // The next symbol into `info` and its bars into `bars` (reusing their memory); false
        // after the last.
        bool Next(SymbolInfo& info, BarSeries& bars);
        std::size_t total() const; // how many symbols the cursor walks

    private:
        friend class QuoteStore;
        struct State;
        explicit Cursor(std::unique_ptr<State> state);
        std::unique_ptr<State> state_;
    };
    Cursor Series() const;
    // The breadth by market number, computed in one pass that holds one series at a time.
    std::vector<MarketBreadth> ComputeBreadth() const;

    // Watch-list changes, each in its own transaction. An unknown symbol changes nothing and
    // is bad input naming it; so is a number outside 0..63. Gives how many memberships
    // changed.
    Result<std::size_t> AddToWatchList(int number, const std::vector<std::string>& symbols);
    Result<std::size_t> RemoveFromWatchList(int number, const std::vector<std::string>& symbols);
    Result<void> NameWatchList(int number, std::string_view name);

    // While it lives, everything read through the store sees one state of it: an import that
    // commits meanwhile waits until it ends. For a run that reads in several passes.
    class ReadScope {
    public:
        ~ReadScope();
        ReadScope(ReadScope&&) noexcept;
        ReadScope& operator=(ReadScope&&) = delete;

    private:
        friend class QuoteStore;
        struct State;
        explicit ReadScope(std::unique_ptr<State> state);
        std::unique_ptr<State> state_;
    };
    [[nodiscard]] ReadScope KeepConsistent() const;

    // The changes of one import, in one transaction: rolled back unless Commit() runs.
    class Writer {
    public:
        ~Writer();
        Writer(Writer&&) noexcept;
        Writer& operator=(Writer&&) = delete;

        // Sets a symbol's name and categories, and its group and watch lists when the row has
        // them; true when the symbol is new. Throws ProblemError (bad input, without a place)
        // when a category would pass its limit.
        bool SetSymbol(const SymbolRow& row);

        struct Merge {
            bool newSymbol = false;
            std::size_t added = 0;    // bars of dates the symbol had no bar on
            std::size_t replaced = 0; // bars that replaced the symbol's bar of the same date
        };
        // Adds `bars` (ascending) to the symbol's history, creating the symbol when new; a bar
        // of a date the symbol already has replaces it.
        Merge MergeBars(std::string_view symbol, const BarSeries& bars);

        void Commit();

    private:
        friend class QuoteStore;
        struct State;
        explicit Writer(std::unique_ptr<State> state);
        std::unique_ptr<State> state_;
    };
    Writer BeginChanges();

private:
    struct Impl;
    explicit QuoteStore(std::unique_ptr<Impl> impl);
    static QuoteStore Create(const std::filesystem::path& databaseFolder);
    std::size_t ChangeWatchListOrThrow(int number, const std::vector<std::string>& symbols,
                                       bool add);
    void NameWatchListOrThrow(int number, std::string_view name);
    std::unique_ptr<Impl> impl_;
};

} // namespace marlindex
