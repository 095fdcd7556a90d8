#include "cli/CliCommands.h"

#include "formula/ColourRendering.h"
#include "formula/Colouring.h"
#include "formula/ScanFile.h"
#include "settings/FileHive.h"
#include "settings/ProgramSettings.h"
#include "startup/AtomicFile.h"
#include "startup/Codepage.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <iterator>
#include <optional>

namespace marlindex {

namespace {

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

std::string DisplayName(const std::string& name) {
    return name == "-" ? "stdin" : name;
}

int Finish(std::ostream& out) {
    out.flush();
    return out ? kExitOk : kExitFailure;
}

struct GenerateOptions {
    std::string scanFile;
    std::string registryFile;
    bool describe = false;
};

int Generate(const GenerateOptions& options, std::istream& in, std::ostream& out,
             std::ostream& err) {
    const auto text = ReadInput(options.scanFile, in, err);
    if (!text) {
        return kExitBadInput;
    }
    const std::string shown = DisplayName(options.scanFile);
    ParsedScan parsed;
    try {
        parsed = ParseScan(*text);
    } catch (const ScanError& error) {
        err << shown << ": " << error.what() << "\n";
        return kExitBadInput;
    }
    for (const std::string& warning : parsed.warnings) {
        err << shown << ": warning: " << warning << "\n";
    }

    // generate only reads the settings: a damaged file is reported and left where it is.
    FileHive hive(options.registryFile.empty() ? FileHive::DefaultPath()
                                               : std::filesystem::path(options.registryFile),
                  FileHive::Access::ReadOnly);
    if (const auto report = hive.TakeLoadReport()) {
        err << "warning: " << *report << "\n";
    }
    CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    const GeneratedScan generated = GenerateScan(parsed.scan, settings);

    if (options.describe) {
        for (const std::string& row : generated.rowTexts) {
            out << row << "\n";
        }
    } else {
        out << generated.formula;
    }
    return Finish(out);
}

struct HighlightOptions {
    std::string file;
    std::string format = "runs";
};

int Highlight(const HighlightOptions& options, std::istream& in, std::ostream& out,
              std::ostream& err) {
    const auto bytes = ReadInput(options.file, in, err);
    if (!bytes) {
        return kExitBadInput;
    }
    // A formula file written for AmiBroker is Windows-1252; DecodeText takes such bytes as
    // they were meant.
    const std::u32string text = DecodeText(*bytes);
    const std::vector<FormatRun> runs = ColourRuns(text);
    if (options.format == "ansi") {
        out << RenderAnsi(text, runs);
    } else if (options.format == "html") {
        out << RenderHtml(text, runs);
    } else {
        out << RenderRuns(runs);
    }
    return Finish(out);
}

} // namespace

int RunCli(const std::vector<std::string>& args, std::istream& in, std::ostream& out,
           std::ostream& err) {
    CLI::App app{"Marlindex: builds AmiBroker formulas (AFL) from point-and-click conditions.",
                 "marlindex-cli"};
    app.require_subcommand(1);

    GenerateOptions generate;
    CLI::App* generateCommand = app.add_subcommand(
        "generate", "Write the formula of a scan file (JSON) to stdout, as the formula box holds "
                    "it: CR LF line breaks, nothing appended.");
    generateCommand->add_option("SCAN", generate.scanFile, "The scan file; - reads stdin")
        ->required();
    generateCommand->add_option("--registry", generate.registryFile,
                                "Settings file (REGEDIT4) to read indicator defaults from");
    generateCommand->add_flag("--describe", generate.describe,
                              "Write the condition grid's row texts instead, one per line");

    HighlightOptions highlight;
    CLI::App* highlightCommand =
        app.add_subcommand("highlight", "Colour a formula text as the formula box does.");
    highlightCommand->add_option("FILE", highlight.file, "The formula text; - reads stdin")
        ->required();
    highlightCommand
        ->add_option("--format", highlight.format,
                     "runs: START LENGTH #rrggbb bold|regular per run; ansi: for a "
                     "terminal; html: a <pre> block")
        ->check(CLI::IsMember({"runs", "ansi", "html"}));

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
        if (generateCommand->parsed()) {
            return Generate(generate, in, out, err);
        }
        return Highlight(highlight, in, out, err);
    } catch (const std::exception& error) {
        // Nothing expected reaches here; say what happened rather than abort.
        err << "marlindex-cli: " << error.what() << "\n";
        return kExitFailure;
    }
}

} // namespace marlindex
