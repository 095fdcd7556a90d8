#include "cli/CliSupport.h"

#include "cli/CliCommands.h"
#include "formula/IndicatorParameters.h"
#include "settings/ProgramSettings.h"
#include "startup/AtomicFile.h"
#include "startup/Codepage.h"
#include "startup/TextHelpers.h"

#include <iostream>
#include <iterator>

namespace marlindex {

// A file named on the command line; "-" is standard input.
std::optional<std::string> ReadInput(const std::string& name, std::istream& in, std::ostream& err,
                                     const InputFileKind& kind, int* status) {
    Result<std::string> bytes =
        name == "-" ? ReadInputStream(in, DisplayName(name), kind) : ReadInputFile(name, kind);
    if (!bytes) {
        const int reported = Report(bytes.problem(), err);
        if (status != nullptr) {
            *status = reported;
        }
        return std::nullopt;
    }
    return std::move(bytes).value();
}

std::optional<ParsedScan> ReadScanFile(const std::string& name, std::istream& in, std::ostream& err,
                                       int* status) {
    const auto text = ReadInput(name, in, err, kScanFileKind, status);
    if (!text) {
        return std::nullopt;
    }
    const std::string shown = DisplayName(name);
    Result<ParsedScan> parsed = ParseScan(*text);
    if (!parsed) {
        parsed.problem().where.file = shown;
        const int reported = Report(parsed.problem(), err);
        if (status != nullptr) {
            *status = reported;
        }
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
    for (const std::string& warning : CheckStoredParameters(settings)) {
        err << "warning: " << store.place << ": " << warning << "\n";
    }
    return GenerateScan(scan, settings);
}

bool IsScanFile(const std::string& name) {
    return name.size() > 5 && EqualsIgnoreCase(name.substr(name.size() - 5), ".json");
}

std::optional<std::string> ReadFormulaFile(const std::string& name, std::istream& in,
                                           std::ostream& err, int* status) {
    const std::optional<std::string> bytes = ReadInput(name, in, err, kFormulaFileKind, status);
    if (!bytes) {
        return std::nullopt;
    }
    return EncodeUtf8(DecodeText(*bytes));
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

namespace {

int StatusOf(const Problem& problem) {
    return problem.kind == ProblemKind::BadInput ? kExitBadInput : kExitFailure;
}

} // namespace

int Report(const Problem& problem, std::ostream& err) {
    err << problem.Message() << "\n";
    return StatusOf(problem);
}

int ReportAtLine(const Problem& problem, std::ostream& err) {
    err << problem.FileLineMessage() << "\n";
    return StatusOf(problem);
}

} // namespace marlindex
