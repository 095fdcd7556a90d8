// What the commands of marlindex-cli share: their streams, input reading, and the way each
// command group adds its subcommands to the one command line.
#pragma once

#include "scanfile/ScanFile.h"
#include "settings/SettingsHive.h"
#include "startup/AtomicFile.h"
#include "startup/Problem.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace marlindex {

struct CliStreams {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
};

// A subcommand and what runs when the command line chose it. The runner owns the options the
// subcommand parsed into (capture them by shared pointer).
struct CliCommand {
    CLI::App* command = nullptr;
    std::function<int()> run;
};
using CliCommands = std::vector<CliCommand>;

// The command groups. Each adds its subcommands to `app`.
void AddFormulaCommands(CLI::App& app, CliStreams streams, CliCommands& commands);
void AddFilterCommands(CLI::App& app, CliStreams streams, CliCommands& commands);

// The filter expression of a database folder's filter file (as loaded); a missing or damaged
// file is reported on stderr and left as it is.
std::optional<std::string> ReadFilterExpression(const std::string& databaseFolder,
                                                std::ostream& err);
void AddPreferencesCommands(CLI::App& app, CliStreams streams, CliCommands& commands);
void AddLibraryCommands(CLI::App& app, CliStreams streams, CliCommands& commands);
void AddDatabaseCommands(CLI::App& app, CliStreams streams, CliCommands& commands);
void AddScanCommand(CLI::App& app, CliStreams streams, CliCommands& commands);
void AddCustomToolsCommands(CLI::App& app, CliStreams streams, CliCommands& commands);
void AddRunCommand(CLI::App& app, CliStreams streams, CliCommands& commands);

// What the tool reads from the command line, with the most bytes each may hold: a file
// beyond that is refused before it is read, and so are pipes and devices (standard input,
// "-", is read up to the same bound).
inline constexpr InputFileKind kInputFileKind{"input file", 16u << 20};
inline constexpr InputFileKind kScanFileKind{"scan file", 16u << 20};
inline constexpr InputFileKind kFormulaFileKind{"formula file", 16u << 20};

// A file named on the command line; "-" is standard input. None, with the reason on stderr
// (and in `status`, when given, the exit status its kind calls for), when it cannot be read
// or is no file of that kind.
std::optional<std::string> ReadInput(const std::string& name, std::istream& in, std::ostream& err,
                                     const InputFileKind& kind = kInputFileKind,
                                     int* status = nullptr);
// A scan file named on the command line ("-" is stdin), read and checked; its warnings go to
// stderr. None, with the reason on stderr (and the exit status in `status`, when given), when
// it cannot be read or is not a scan file.
std::optional<ParsedScan> ReadScanFile(const std::string& name, std::istream& in, std::ostream& err,
                                       int* status = nullptr);
// The scan generated with the indicator defaults of the settings file `registryFile` (the
// default store when empty: the registry on Windows, the default file elsewhere). The
// settings are only read: a damaged file is reported on stderr and left where it is.
GeneratedScan GenerateWithSettings(const Scan& scan, const std::string& registryFile,
                                   std::ostream& err);
// Whether a file named on the command line is a scan file (by its ".json" ending) rather than
// a formula.
bool IsScanFile(const std::string& name);
// A formula file named on the command line ("-" is stdin) as UTF-8 text: AmiBroker writes
// Windows-1252, an editor UTF-8, and each character is read as it was meant. None, with the
// reason on stderr and the exit status in `status`, when it cannot be read.
std::optional<std::string> ReadFormulaFile(const std::string& name, std::istream& in,
                                           std::ostream& err, int* status = nullptr);
// How a file name appears in messages: "-" is "stdin".
std::string DisplayName(const std::string& name);
// The settings of --registry (`file`; the default store when empty). What went wrong while
// loading a file is said on `err` as a warning; the settings then read as their defaults.
SettingsHive OpenSettings(const std::string& file, bool readOnly, std::ostream& err);
// The help text of every --registry option.
inline constexpr const char* kRegistryOptionHelp =
    "Settings file (REGEDIT4); without it the registry on Windows, "
    "~/.config/marlindex/registry.reg elsewhere";
// Flushes the result; a failed write to stdout is a failure of the command.
int Finish(std::ostream& out);
// Says the problem on `err` in one line and returns the exit status for its kind: bad input
// 2, a failure 1.
int Report(const Problem& problem, std::ostream& err);
// The same with the place as compilers write it (FILE:LINE:COLUMN: what), for the commands that
// read quote files and formulas.
int ReportAtLine(const Problem& problem, std::ostream& err);

} // namespace marlindex
