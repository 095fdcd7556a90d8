// The AFL evaluator's interface: read a formula once, then run it on one symbol at a time.
//
//   const afl::Formula formula = afl::Formula::Parse(text);   // throws afl::Error
//   afl::Workspace workspace;                                  // one per thread
//   for (each symbol) {
//       const afl::Results& results = afl::Evaluate(formula, {info, bars, &breadth}, workspace);
//       ... results.buy, results.columns ...
//   }
//
// A Formula is immutable and may be shared by threads; a Workspace serves one thread and keeps
// its buffers from one symbol to the next, so that steady-state evaluation allocates nothing.
#pragma once

#include "afl/Error.h"
#include "afl/Null.h"
#include "quotes/QuoteData.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace marlindex::afl {

struct Program;
struct WorkspaceState;

class Formula {
public:
    // Reads and checks the whole text: its syntax, that every name is a known function,
    // built-in array or variable assigned before it is read, and every call's number of
    // arguments. Throws Error with the line and column of the first problem.
    static Formula Parse(std::string_view text);

    const Program& program() const { return *program_; }

    // What the analysis needs to know before it runs: which of Filter, Buy and Sell the
    // formula assigns, and whether it reads the database's breadth (adline(), TRIN()).
    bool AssignsFilter() const;
    bool AssignsBuy() const;
    bool AssignsSell() const;
    bool ReadsBreadth() const;

private:
    explicit Formula(std::shared_ptr<const Program> program) : program_(std::move(program)) {}
    std::shared_ptr<const Program> program_;
};

struct SymbolData {
    const SymbolInfo& info;
    const BarSeries& bars;
    const MarketBreadth* breadth = nullptr; // of the symbol's market; without it adline() and
                                            // TRIN() are Null
};

struct Column {
    std::string title;
    double format = 1.2; // AddColumn's format: 1.2 is two decimals
    std::span<const double> values;
};

// What one symbol gave, one value per bar. A Null is kNull (test it with IsNull); a bar counts
// as a signal when IsSignal holds.
struct Results {
    std::optional<std::span<const double>> filter; // absent when the formula does not assign it
    std::optional<std::span<const double>> buy;
    std::optional<std::span<const double>> sell;
    std::vector<Column> columns; // in the order the formula's AddColumn calls ran
};

class Workspace {
public:
    Workspace();
    ~Workspace();
    Workspace(Workspace&&) noexcept;
    Workspace& operator=(Workspace&&) noexcept;
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;

    // The number of bar buffers it holds (for measuring).
    std::size_t BufferCount() const;

private:
    friend const Results& Evaluate(const Formula&, const SymbolData&, Workspace&);
    std::unique_ptr<WorkspaceState> state_;
};

// Runs `formula` on one symbol. The results live in `workspace` until its next use. Throws
// Error, with the place in the formula, for a value of the wrong kind (a text where a number
// is needed, an array where a single number is needed, arithmetic on texts).
const Results& Evaluate(const Formula& formula, const SymbolData& symbol, Workspace& workspace);

} // namespace marlindex::afl
