// marlindex-cli database: import quotes into a database folder's quote store, list what it
// holds, and change its watch lists.
#include "cli/CliCommands.h"
#include "cli/CliSupport.h"
#include "quotes/QuoteImport.h"
#include "quotes/QuoteStore.h"

#include <iostream>
#include <memory>

namespace marlindex {

namespace {

namespace fs = std::filesystem;

struct DatabaseOptions {
    std::string database;
    std::string symbolsFile;
    std::vector<std::string> paths;
    int watchList = 0;
    std::vector<std::string> symbols;
    std::string watchListName;
};

std::string Repairs(const BarRepairs& repairs) {
    return std::to_string(repairs.rows) +
           " (Open from Close: " + std::to_string(repairs.openFromClose) +
           ", High raised: " + std::to_string(repairs.highRaised) +
           ", Low from min(Open, Close): " + std::to_string(repairs.lowFromOpenClose) + ")";
}

int Import(const DatabaseOptions& options, std::ostream& out, std::ostream& err) {
    if (options.paths.empty() && options.symbolsFile.empty()) {
        err << "database import: name price files or folders, or a symbols file with --symbols\n";
        return kExitBadInput;
    }
    ImportRequest request;
    if (!options.symbolsFile.empty()) {
        request.symbolsFile = fs::path(options.symbolsFile);
    }
    request.paths.assign(options.paths.begin(), options.paths.end());
    const ImportOutcome outcome = ImportQuotes(options.database, request);
    if (outcome.status != ImportOutcome::Status::Imported) {
        const int status = outcome.problem ? ReportAtLine(*outcome.problem, err) : kExitFailure;
        if (!outcome.problem) {
            err << "the import was cancelled\n";
        }
        err << "Nothing was imported.\n";
        return status;
    }

    const ImportReport& report = outcome.report;
    for (const RepairNote& note : report.notes) {
        err << note.file << ":" << note.line << ": repaired: " << note.what << "\n";
    }
    if (report.repairs.rows > report.notes.size()) {
        err << "... and " << report.repairs.rows - report.notes.size() << " more repaired rows\n";
    }
    out << "price files: " << report.files << "\n"
        << "bars: " << report.bars << " (" << report.addedBars << " new, " << report.replacedBars
        << " replaced)\n";
    if (report.firstDate) {
        out << "dates: " << FormatIsoDate(*report.firstDate) << " to "
            << FormatIsoDate(*report.lastDate) << "\n";
    }
    out << "symbols file rows: " << report.symbolRows << "\n"
        << "new symbols: " << report.newSymbols << "\n"
        << "repaired rows: " << Repairs(report.repairs) << "\n";
    return Finish(out);
}

// Runs a command on the database folder's store; a store that cannot be opened, or that
// fails while it is read, is reported on stderr.
int WithStore(const DatabaseOptions& options, std::ostream& err,
              const std::function<Result<void>(QuoteStore&)>& command) {
    const Result<void> done = CatchProblem([&] {
        QuoteStore store = ValueOrThrow(QuoteStore::Open(options.database));
        ValueOrThrow(command(store));
    });
    return done ? kExitOk : ReportAtLine(done.problem(), err);
}

template <class T> Result<void> Done(const Result<T>& result) {
    return result ? Result<void>() : Result<void>(result.problem());
}

int List(const DatabaseOptions& options, std::ostream& out, std::ostream& err) {
    const int status = WithStore(options, err, [&](QuoteStore& store) -> Result<void> {
        for (const SymbolSummary& symbol : store.List()) {
            out << symbol.symbol << "\t" << symbol.bars << "\t"
                << (symbol.first ? FormatIsoDate(*symbol.first) : "") << "\t"
                << (symbol.last ? FormatIsoDate(*symbol.last) : "") << "\n";
        }
        return {};
    });
    return status == kExitOk ? Finish(out) : status;
}

int ChangeWatchList(const DatabaseOptions& options, bool add, std::ostream& err) {
    return WithStore(options, err, [&](QuoteStore& store) {
        return Done(add ? store.AddToWatchList(options.watchList, options.symbols)
                        : store.RemoveFromWatchList(options.watchList, options.symbols));
    });
}

int NameWatchList(const DatabaseOptions& options, std::ostream& err) {
    return WithStore(options, err, [&](QuoteStore& store) {
        return store.NameWatchList(options.watchList, options.watchListName);
    });
}

} // namespace

void AddDatabaseCommands(CLI::App& app, CliStreams streams, CliCommands& commands) {
    auto options = std::make_shared<DatabaseOptions>();
    CLI::App* database = app.add_subcommand(
        "database", "Import quotes into a database folder's quote store (quotes.db) and read it.");
    database->require_subcommand(1);
    database->fallthrough();
    database
        ->add_option("--database", options->database,
                     "The database folder (where tempFilter.txt lives)")
        ->required();
    const auto add = [&](CLI::App* command, std::function<int()> run) {
        commands.push_back({command, std::move(run)});
    };

    CLI::App* import = database->add_subcommand(
        "import", "Import price files SYMBOL.csv (Date,Open,High,Low,Close,Volume[,OpenInt]) "
                  "and folders of them, in one transaction; a report goes to stdout.");
    import->add_option("--symbols", options->symbolsFile,
                       "Symbols file: Symbol,Name,Market,Sector,Industry[,Group][,Watchlists]");
    import->add_option("PATH", options->paths, "Price files and folders of them");
    add(import, [options, streams] { return Import(*options, streams.out, streams.err); });

    add(database->add_subcommand("list", "One line per symbol: symbol, TAB, bar count, TAB, "
                                         "first date, TAB, last date."),
        [options, streams] { return List(*options, streams.out, streams.err); });

    CLI::App* watchList = database->add_subcommand("watchlist", "Change a watch list (0 to 63).");
    watchList->require_subcommand(1);
    watchList->fallthrough();
    for (const bool adding : {true, false}) {
        CLI::App* change = watchList->add_subcommand(adding ? "add" : "remove",
                                                     adding ? "Add symbols to watch list N."
                                                            : "Remove symbols from watch list N.");
        change->add_option("N", options->watchList, "Watch list number, 0 to 63")->required();
        change->add_option("SYMBOL", options->symbols, "Symbols of the store")->required();
        add(change,
            [options, streams, adding] { return ChangeWatchList(*options, adding, streams.err); });
    }
    CLI::App* name = watchList->add_subcommand("name", "Name watch list N (an empty name "
                                                       "removes the name).");
    name->add_option("N", options->watchList, "Watch list number, 0 to 63")->required();
    name->add_option("NAME", options->watchListName, "The name")->required();
    add(name, [options, streams] { return NameWatchList(*options, streams.err); });
}

} // namespace marlindex
