#include "cli/CliSupport.h"

#include "cli/CliCommands.h"
#include "settings/ProgramSettings.h"
#include "startup/AtomicFile.h"

#include <iostream>
#include <iterator>

namespace marlindex {

// A file named on the command line; "-" is standard input.
std::optional<std::string> ReadInput(const std::string& name, std::istream& in, std::ostream& err) {
    if (name == "-") {
        std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
        return text;
    }
    std::error_code error;
    auto bytes = ReadWholeFile(name, &error);
    if (!bytes) {
        err << name << ": cannot read the file: " << error.message() << "\n";
    }
    return bytes;
}

std::optional<ParsedScan> ReadScanFile(const std::string& name, std::istream& in,
                                       std::ostream& err) {
    const auto text = ReadInput(name, in, err);
    if (!text) {
        return std::nullopt;
    }
    const std::string shown = DisplayName(name);
    Result<ParsedScan> parsed = ParseScan(*text);
    if (!parsed) {
        parsed.problem().where.file = shown;
        Report(parsed.problem(), err);
        return std::nullopt;
    }
    for (const std::string& warning : parsed->warnings) {
        err << shown << ": warning: " << warning << "\n";
    }
    return std::move(parsed).value();
}

GeneratedScan GenerateWithSettings(const Scan& scan, const std::string& registryFile,
                                   std::ostream& err) {
    SettingsHive store = OpenSettings(registryFile, true, err);
    CProgramSettings settings = CProgramSettings::ForMarlindex(*store.hive);
    return GenerateScan(scan, settings);
}

std::string DisplayName(const std::string& name) {
    return name == "-" ? "stdin" : name;
}

SettingsHive OpenSettings(const std::string& file, bool readOnly, std::ostream& err) {
    SettingsHive store = OpenSettingsHive(
        file.empty() ? std::nullopt : std::optional<std::filesystem::path>(file), readOnly);
    if (store.loadReport) {
        err << "warning: " << *store.loadReport << "\n";
    }
    return store;
}

int Finish(std::ostream& out) {
    out.flush();
    return out ? kExitOk : kExitFailure;
}

int Report(const Problem& problem, std::ostream& err) {
    err << problem.Message() << "\n";
    return problem.kind == ProblemKind::BadInput ? kExitBadInput : kExitFailure;
}

} // namespace marlindex
