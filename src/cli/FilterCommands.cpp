#include "cli/CliCommands.h"
#include "cli/CliSupport.h"
#include "filter/FilterExpression.h"
#include "filter/FilterFile.h"

#include <filesystem>
#include <iostream>
#include <memory>

namespace marlindex {

namespace fs = std::filesystem;

namespace {

struct FilterOptions {
    std::string databaseFolder;
    bool saved = false;
    bool recreate = false;
    bool backup = false;
};

// The folder's filter file, or a message on stderr. A damaged file is left as it is.
std::optional<FilterFileContents> ReadFolderFilter(const std::string& databaseFolder,
                                                   std::ostream& err) {
    std::error_code error;
    if (!fs::is_directory(databaseFolder, error)) {
        err << databaseFolder << ": no such database folder\n";
        return std::nullopt;
    }
    Result<FilterFileContents> read = ReadFilterFile(FilterFilePath(databaseFolder));
    if (!read) {
        err << read.problem().Message() << "\n";
        return std::nullopt;
    }
    return std::move(read).value();
}

int Filter(const FilterOptions& options, std::ostream& out, std::ostream& err) {
    std::optional<FilterFileContents> contents = ReadFolderFilter(options.databaseFolder, err);
    if (!contents) {
        std::error_code error;
        if (!fs::is_directory(options.databaseFolder, error)) {
            return kExitBadInput;
        }
        if (!options.recreate) {
            err << "The file is left as it is. Run with --recreate to write the default file "
                   "(with --backup the old one is kept first as "
                << kFilterBackupName << ", or as tempFilter.1.bak, ... when that is taken).\n";
            return kExitBadInput;
        }
        const Result<std::optional<fs::path>> written =
            RecreateFilterFile(options.databaseFolder, options.backup);
        if (!written) {
            return Report(written.problem(), err);
        }
        err << Utf8Path(FilterFilePath(options.databaseFolder)) << ": re-created"
            << (written->has_value() ? ", the old file kept as " + Utf8Path(**written)
                                     : std::string())
            << "\n";
        contents = DefaultFilterContents();
    }
    out << BuildFilterExpression(*contents,
                                 options.saved ? ExpressionForm::SaveData : ExpressionForm::Load);
    return Finish(out);
}

} // namespace

std::optional<std::string> ReadFilterExpression(const std::string& databaseFolder,
                                                std::ostream& err) {
    const std::optional<FilterFileContents> contents = ReadFolderFilter(databaseFolder, err);
    if (!contents) {
        return std::nullopt;
    }
    return BuildFilterExpression(*contents, ExpressionForm::Load);
}

void AddFilterCommands(CLI::App& app, CliStreams streams, CliCommands& commands) {
    auto filter = std::make_shared<FilterOptions>();
    CLI::App* command = app.add_subcommand(
        "filter", "Write the filter expression of a database folder's tempFilter.txt to stdout, as "
                  "the filter dialog builds it while loading: CR LF inside, nothing appended.");
    command->add_option("DATABASE_DIR", filter->databaseFolder, "The database folder")->required();
    command->add_flag("--saved", filter->saved,
                      "The expression as the dialog's OK builds it (its spacing differs)");
    CLI::Option* recreate = command->add_flag(
        "--recreate", filter->recreate,
        "When the file is missing or damaged, write the default file, as the dialog does after "
        "its question");
    command
        ->add_flag("--backup", filter->backup,
                   "With --recreate: first copy the old file to tempFilter.bak, or to "
                   "tempFilter.1.bak, tempFilter.2.bak, ... when that is taken")
        ->needs(recreate);
    commands.push_back(
        {command, [filter, streams] { return Filter(*filter, streams.out, streams.err); }});
}

} // namespace marlindex
