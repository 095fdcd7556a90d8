#include "cli/CliSupport.h"

#include "cli/CliCommands.h"
#include "settings/FileHive.h"
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
    FileHive hive(registryFile.empty() ? FileHive::DefaultPath()
                                       : std::filesystem::path(registryFile),
                  FileHive::Access::ReadOnly);
    if (const auto report = hive.TakeLoadReport()) {
        err << "warning: " << *report << "\n";
    }
    CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    return GenerateScan(scan, settings);
}

std::string DisplayName(const std::string& name) {
    return name == "-" ? "stdin" : name;
}

FileHive OpenSettingsFile(const std::string& file, FileHive::Access access, std::ostream& err) {
    FileHive hive(file.empty() ? FileHive::DefaultPath() : std::filesystem::path(file), access);
    if (const auto report = hive.TakeLoadReport()) {
        err << "warning: " << *report << "\n";
    }
    return hive;
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
