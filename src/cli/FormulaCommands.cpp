#include "cli/CliCommands.h"
#include "cli/CliSupport.h"
#include "formula/ColourRendering.h"
#include "formula/Colouring.h"
#include "scanfile/ScanFile.h"
#include "startup/Codepage.h"

#include <iostream>
#include <memory>

namespace marlindex {

namespace {

struct GenerateOptions {
    std::string scanFile;
    std::string registryFile;
    std::string databaseFolder;
    bool describe = false;
};

int Generate(const GenerateOptions& options, std::istream& in, std::ostream& out,
             std::ostream& err) {
    int status = kExitBadInput;
    const auto parsed = ReadScanFile(options.scanFile, in, err, &status);
    if (!parsed) {
        return status;
    }
    Scan scan = parsed->scan;
    if (!options.databaseFolder.empty()) {
        std::optional<std::string> filter = ReadFilterExpression(options.databaseFolder, err);
        if (!filter) {
            return kExitBadInput;
        }
        scan.filter = std::move(*filter);
    }
    const GeneratedScan generated = GenerateWithSettings(scan, options.registryFile, err);

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
    int status = kExitBadInput;
    const auto bytes = ReadInput(options.file, in, err, kFormulaFileKind, &status);
    if (!bytes) {
        return status;
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

void AddFormulaCommands(CLI::App& app, CliStreams streams, CliCommands& commands) {
    auto generate = std::make_shared<GenerateOptions>();
    CLI::App* generateCommand = app.add_subcommand(
        "generate", "Write the formula of a scan file (JSON) to stdout, as the formula box holds "
                    "it: CR LF line breaks, nothing appended.");
    generateCommand->add_option("SCAN", generate->scanFile, "The scan file; - reads stdin")
        ->required();
    generateCommand->add_option("--registry", generate->registryFile,
                                "Settings file (REGEDIT4) to read indicator defaults from");
    generateCommand->add_option("--database", generate->databaseFolder,
                                "Database folder whose tempFilter.txt gives the filter expression, "
                                "in place of the scan's \"filter\"");
    generateCommand->add_flag("--describe", generate->describe,
                              "Write the condition grid's row texts instead, one per line");
    commands.push_back({generateCommand, [generate, streams] {
                            return Generate(*generate, streams.in, streams.out, streams.err);
                        }});

    auto highlight = std::make_shared<HighlightOptions>();
    CLI::App* highlightCommand =
        app.add_subcommand("highlight", "Colour a formula text as the formula box does.");
    highlightCommand->add_option("FILE", highlight->file, "The formula text; - reads stdin")
        ->required();
    highlightCommand
        ->add_option("--format", highlight->format,
                     "runs: START LENGTH #rrggbb bold|regular per run; ansi: for a "
                     "terminal; html: a <pre> block")
        ->check(CLI::IsMember({"runs", "ansi", "html"}));
    commands.push_back({highlightCommand, [highlight, streams] {
                            return Highlight(*highlight, streams.in, streams.out, streams.err);
                        }});
}

} // namespace marlindex
