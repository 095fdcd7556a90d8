#include "cli/CliCommands.h"

#include "cli/CliSupport.h"

#include <iostream>

namespace marlindex {

int RunCli(const std::vector<std::string>& args, std::istream& in, std::ostream& out,
           std::ostream& err) {
    CLI::App app{"Marlindex: builds AmiBroker formulas (AFL) from point-and-click conditions.",
                 "marlindex-cli"};
    app.require_subcommand(1);
    // Options start with "-" on every system: on Windows "/" begins a path as often as not
    // ("/data/scan.json"), so it is never read as an option there either.
    app.allow_windows_style_options(false);

    const CliStreams streams{in, out, err};
    CliCommands commands;
    AddFormulaCommands(app, streams, commands);
    AddFilterCommands(app, streams, commands);
    AddPreferencesCommands(app, streams, commands);
    AddLibraryCommands(app, streams, commands);
    AddDatabaseCommands(app, streams, commands);
    AddScanCommand(app, streams, commands);
    AddCustomToolsCommands(app, streams, commands);
    AddRunCommand(app, streams, commands);

    std::vector<const char*> argv{"marlindex-cli"};
    for (const std::string& arg : args) {
        argv.push_back(arg.c_str());
    }
    try {
        app.parse(static_cast<int>(argv.size()), argv.data());
    } catch (const CLI::CallForHelp&) {
        out << app.help();
        return kExitOk;
    } catch (const CLI::CallForAllHelp&) {
        out << app.help("", CLI::AppFormatMode::All);
        return kExitOk;
    } catch (const CLI::ParseError& error) {
        err << "marlindex-cli: " << error.what() << "\n"
            << "Run 'marlindex-cli --help' for the commands and their options.\n";
        return kExitBadInput;
    }

    try {
        for (const CliCommand& command : commands) {
            if (command.command->parsed()) {
                return command.run();
            }
        }
        return kExitBadInput; // unreachable: exactly one subcommand is required
    } catch (const std::exception& error) {
        // Nothing expected reaches here; say what happened rather than abort.
        err << "marlindex-cli: " << error.what() << "\n";
        return kExitFailure;
    }
}

} // namespace marlindex
