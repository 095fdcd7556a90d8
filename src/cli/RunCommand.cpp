#include "cli/RunCommand.h"

#include "amibroker/LocalBroker.h"
#include "cli/CliCommands.h"
#include "library/FormulaComment.h"
#include "mainwindow/MainWindowState.h"
#include "startup/StartupArguments.h"

#include <iostream>
#include <memory>

#ifdef _WIN32
#include "amibroker/DispatchBrokerWin32.h"
#endif

namespace marlindex {

namespace {

// The local host's messages, for a tool without windows: said on stderr, every question
// answered no.
class StreamPrompts final : public UserPrompts {
public:
    explicit StreamPrompts(std::ostream& err) : err_(&err) {}
    void Inform(const std::string& title, const std::string& text, PromptIcon) override {
        *err_ << title << ": " << text << "\n";
    }
    bool AskYesNo(const std::string&, const std::string&, PromptIcon) override { return false; }
    PromptAnswer AskYesNoCancel(const std::string&, const std::string&, PromptIcon) override {
        return PromptAnswer::Cancel;
    }
    std::optional<std::string> AskForFile(const std::string&, const std::string&) override {
        return std::nullopt;
    }

private:
    std::ostream* err_;
};

int RangeValue(const std::string& range) {
    return range == "bars" ? kRangeLastBars : range == "days" ? kRangeLastDays : kRangeAllBars;
}

int ApplyToValue(const std::string& applyTo) {
    return applyTo == "current"  ? kApplyToCurrent
           : applyTo == "filter" ? kApplyToFilter
                                 : kApplyToAll;
}

// The run as the main window would hold it after the options were chosen: a scan file takes
// the options over its own (the analysis type and "use filter" change the formula text, as
// their option buttons do), a formula file runs as it is. None, said on stderr, when the
// formula cannot be read.
std::optional<RunRequest> Request(const RunCommandOptions& options, std::istream& in,
                                  std::ostream& err, int& status) {
    RunRequest request;
    int applyTo = kApplyToAll;
    int range = kRangeAllBars;
    std::int32_t n = 1;
    if (IsScanFile(options.formula)) {
        std::optional<ParsedScan> parsed = ReadScanFile(options.formula, in, err, &status);
        if (!parsed) {
            return std::nullopt;
        }
        Scan& scan = parsed->scan;
        if (options.explore) {
            scan.analysis = AnalysisType::Exploration;
        } else if (scan.analysis == AnalysisType::Exploration) {
            scan.analysis = AnalysisType::BuyScan; // a sell scan stays one
        }
        if (!options.applyTo.empty()) {
            scan.applyTo = ApplyToValue(options.applyTo);
        }
        if (!options.range.empty()) {
            scan.range = RangeValue(options.range);
        }
        if (options.n) {
            scan.rangeN = *options.n;
        }
        GeneratedScan generated = GenerateWithSettings(scan, options.registryFile, err);
        request.formula = std::move(generated.formula);
        request.commentRows = std::move(generated.rowTexts);
        applyTo = scan.applyTo;
        range = scan.range;
        n = scan.rangeN;
    } else {
        std::optional<std::string> text = ReadFormulaFile(options.formula, in, err, &status);
        if (!text) {
            return std::nullopt;
        }
        request.formula = std::move(*text);
        request.commentRows = std::vector<std::string>{};
        applyTo = ApplyToValue(options.applyTo);
        range = RangeValue(options.range);
        n = options.n.value_or(1);
    }
    if (request.formula.empty()) {
        err << "run: " << DisplayName(options.formula) << " gives no formula to run\n";
        status = kExitBadInput;
        return std::nullopt;
    }
    request.currentTicker = applyTo == kApplyToCurrent;
    request.range = range;
    request.rangeNumber = std::to_string(n);
    request.explore = options.explore;
    return request;
}

} // namespace

int RunThroughBroker(const RunCommandOptions& options, CliStreams streams) {
    int status = kExitBadInput;
    const std::optional<RunRequest> request = Request(options, streams.in, streams.err, status);
    if (!request) {
        return status;
    }

    StreamPrompts prompts(streams.err);
    std::unique_ptr<Broker> owned;
    Broker* broker = options.broker;
    LocalBroker* local = nullptr;
    if (broker == nullptr && !options.database.empty()) {
        auto host = std::make_unique<LocalBroker>(options.database, prompts);
        local = host.get();
        owned = std::move(host);
    } else if (broker == nullptr) {
#ifdef _WIN32
        try {
            owned = std::make_unique<DispatchBroker>();
        } catch (const BrokerError& error) {
            streams.err << "run: AmiBroker does not answer (" << error.what()
                        << "): it must be open, or name a database folder with --database\n";
            return kExitFailure;
        }
#else
        streams.err << "run: AmiBroker is reached only on Windows; name a database folder with "
                       "--database to run on the built-in engine\n";
        return kExitBadInput;
#endif
    }
    if (owned) {
        broker = owned.get();
    }
    if (local != nullptr && !options.symbol.empty()) {
        local->Local().SetCurrentSymbol(options.symbol);
    }

    RunServices services;
    services.broker = broker;
    services.programFolder =
        options.programFolder.empty() ? DefaultProgramFolder().string() : options.programFolder;
    services.today = options.today.empty() ? TodayForComment() : options.today;
    const RunOutcome outcome = RunFormula(*request, services);
    if (!outcome.error.empty()) {
        streams.err << "run: the run stopped: " << outcome.error << "\n";
        if (!outcome.runFile.empty()) {
            streams.err << "run: " << outcome.runFile << " was written\n";
        }
        return kExitFailure;
    }
    streams.out << outcome.runFile << "\n";
    return Finish(streams.out);
}

void AddRunCommand(CLI::App& app, CliStreams streams, CliCommands& commands) {
    auto options = std::make_shared<RunCommandOptions>();
    CLI::App* run = app.add_subcommand(
        "run", "Do what the main window's Run does: write the formula to Unnamed.afl in the "
               "analysis application's formula folder and have its analysis explore or scan "
               "it. On Windows that is the running AmiBroker; with --database, the built-in "
               "engine on that database folder. The run file's path goes to stdout.");
    run->add_option("SCAN_OR_AFL", options->formula,
                    "A scan file (.json), generated as `generate` does and run with its own "
                    "options where none are given here, or a formula file; - reads AFL from "
                    "stdin")
        ->required();
    CLI::Option* explore =
        run->add_flag("--explore", options->explore, "Explore (a scan file becomes one)");
    CLI::Option* scan =
        run->add_flag("--scan", options->scan,
                      "Scan (a scan file that explores becomes a buy scan; a sell scan stays one)");
    explore->excludes(scan);
    run->add_option("--apply-to", options->applyTo,
                    "all: every symbol; current: the current symbol; filter: the formula's "
                    "filter (AmiBroker runs it over every symbol)")
        ->check(CLI::IsMember({"all", "current", "filter"}));
    run->add_option("--range", options->range,
                    "all: every bar; bars: the n last bars; days: the n last days")
        ->check(CLI::IsMember({"all", "bars", "days"}));
    run->add_option("--n", options->n, "n for --range bars and days")
        ->check(CLI::NonNegativeNumber);
    run->add_option("--symbol", options->symbol,
                    "The current symbol of the built-in engine (--database)");
    run->add_option("--registry", options->registryFile, kRegistryOptionHelp);
    run->add_option("--program-folder", options->programFolder,
                    "The program folder inside the analysis application's folder; the run "
                    "file goes beside it");
    run->add_option("--database", options->database,
                    "Run on the built-in engine over this database folder's quotes");
    commands.push_back({run, [options, streams] {
                            if (!options->explore && !options->scan) {
                                streams.err << "run: say --explore or --scan\n";
                                return kExitBadInput;
                            }
                            return RunThroughBroker(*options, streams);
                        }});
}

} // namespace marlindex
