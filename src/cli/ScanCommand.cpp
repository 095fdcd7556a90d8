// marlindex-cli scan: runs a formula over a database folder's quote store with the built-in
// engine and prints the rows as CSV.
#include "analysis/AnalysisRun.h"
#include "analysis/ResultsCsv.h"
#include "cli/CliCommands.h"
#include "cli/CliSupport.h"

#include <chrono>
#include <iostream>
#include <memory>

namespace marlindex {

namespace {

struct ScanOptions {
    std::string database;
    std::string range = "all";
    std::size_t n = 1;
    std::string applyTo;
    std::string symbol;
    std::string registryFile;
    std::string formula;
};

// The formula's text: an .afl file as it is (UTF-8, or Windows-1252 as AmiBroker writes it),
// a scan file generated exactly as `generate` does. None, with the reason on stderr and the
// exit status its kind calls for in `status`.
std::optional<std::string> FormulaText(const ScanOptions& options, std::istream& in,
                                       std::ostream& err, int& status) {
    if (IsScanFile(options.formula)) {
        const std::optional<ParsedScan> parsed = ReadScanFile(options.formula, in, err, &status);
        if (!parsed) {
            return std::nullopt;
        }
        return GenerateWithSettings(parsed->scan, options.registryFile, err).formula;
    }
    return ReadFormulaFile(options.formula, in, err, &status);
}

AnalysisRequest Request(const ScanOptions& options, const afl::Formula& formula) {
    AnalysisRequest request;
    // What the formula assigns decides: Filter is explored, Buy and Sell are scanned.
    request.mode = formula.AssignsFilter() ? AnalysisMode::Explore : AnalysisMode::Scan;
    request.range.mode = options.range == "bars"   ? RangeMode::LastBars
                         : options.range == "days" ? RangeMode::LastDays
                                                   : RangeMode::AllBars;
    request.range.n = options.n;
    // A symbol named alone means that symbol; --apply-to all overrides it.
    const bool current =
        options.applyTo == "current" || (options.applyTo.empty() && !options.symbol.empty());
    if (current) {
        request.symbol = options.symbol;
    }
    return request;
}

int RunScan(const ScanOptions& options, std::istream& in, std::ostream& out, std::ostream& err) {
    const auto start = std::chrono::steady_clock::now();
    const std::string shown = DisplayName(options.formula);
    int readStatus = kExitBadInput;
    const std::optional<std::string> text = FormulaText(options, in, err, readStatus);
    if (!text) {
        return readStatus;
    }
    std::optional<afl::Formula> formula;
    try {
        formula = afl::Formula::Parse(*text);
    } catch (const afl::Error& error) {
        return ReportAtLine(
            Problem{ProblemKind::BadInput,
                    Place::AtLine(shown, static_cast<std::size_t>(error.where().line),
                                  static_cast<std::size_t>(error.where().column)),
                    error.message()},
            err);
    }
    const AnalysisRequest request = Request(options, *formula);
    if (request.symbol && request.symbol->empty()) {
        err << "scan: --apply-to current runs over one symbol: name it with --symbol\n";
        return kExitBadInput;
    }

    const Result<QuoteStore> store = QuoteStore::Open(options.database);
    if (!store) {
        return ReportAtLine(store.problem(), err);
    }
    Result<AnalysisResults> results = RunAnalysis(*formula, *store, request);
    if (!results) {
        Problem& problem = results.problem();
        if (problem.where.line > 0) {
            problem.where.file = shown; // the place is in the formula
        }
        return ReportAtLine(problem, err);
    }
    out << ResultsCsv(*results);
    const int status = Finish(out);
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - start);
    err << results->symbolsRun << " symbols, " << results->barsRun << " bars, "
        << results->rows.size() << " rows, " << elapsed.count() << " ms\n";
    return status;
}

} // namespace

void AddScanCommand(CLI::App& app, CliStreams streams, CliCommands& commands) {
    auto options = std::make_shared<ScanOptions>();
    CLI::App* scan = app.add_subcommand(
        "scan", "Run a formula over a database folder's quotes with the built-in engine. A "
                "formula that assigns Filter is explored (Symbol,Date and its AddColumn "
                "columns), one that assigns Buy or Sell is scanned (Symbol,Date,Trade,Close). "
                "CSV rows go to stdout, sorted by symbol and date; a summary line to stderr.");
    scan->add_option("FORMULA", options->formula,
                     "An .afl file, or a scan file (.json) generated as `generate` does; - "
                     "reads AFL from stdin")
        ->required();
    scan->add_option("--database", options->database,
                     "The database folder whose quote store (quotes.db) is read")
        ->required();
    scan->add_option("--range", options->range,
                     "all: every bar (the default); bars: the n last bars of each symbol; "
                     "days: the bars of the n last trading dates of the database")
        ->check(CLI::IsMember({"all", "bars", "days"}));
    scan->add_option("--n", options->n, "n for --range bars and days (default 1)")
        ->check(CLI::NonNegativeNumber);
    scan->add_option("--apply-to", options->applyTo,
                     "all: every symbol (the default); current: the symbol of --symbol")
        ->check(CLI::IsMember({"all", "current"}));
    scan->add_option("--symbol", options->symbol,
                     "The current symbol; named without --apply-to, the scan runs over it alone");
    scan->add_option("--registry", options->registryFile,
                     "Settings file (REGEDIT4) whose indicator defaults generate a scan file");
    commands.push_back({scan, [options, streams] {
                            return RunScan(*options, streams.in, streams.out, streams.err);
                        }});
}

} // namespace marlindex
