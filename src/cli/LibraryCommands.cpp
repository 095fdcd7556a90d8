#include "cli/CliCommands.h"
#include "cli/CliSupport.h"
#include "library/FormulaComment.h"
#include "library/LibraryBrowser.h"
#include "library/LibraryFile.h"
#include "scanfile/LibraryScan.h"
#include "scanfile/ScanFile.h"
#include "startup/AtomicFile.h"
#include "startup/Codepage.h"
#include "startup/StartupArguments.h"
#include "startup/TextHelpers.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <set>

namespace marlindex {

namespace {

namespace fs = std::filesystem;

struct LibraryOptions {
    std::string programFolder;
    std::string libraryFile;
    std::string folder; // show, export
    std::string name;   // show, export
    std::string scanFile;
    std::string importFolder;
    std::optional<std::string> importName;
    std::optional<std::string> importDescription;
    bool overwrite = false;
    std::string registryFile;
    std::string aflFolder;

    fs::path File() const {
        if (!libraryFile.empty()) {
            return libraryFile;
        }
        return LibraryPath(programFolder.empty() ? DefaultProgramFolder()
                                                 : fs::path(programFolder));
    }
};

// The library as the dialog would show it; none (with the message and exit status given)
// when it cannot be read. A missing file is the default library.
std::optional<Library> Load(const fs::path& file, std::ostream& err, int& status) {
    Result<LoadedLibrary> load = LoadLibraryFile(file);
    if (!load) {
        status = Report(load.problem(), err);
        return std::nullopt;
    }
    return std::move(load->library);
}

const LibraryFormula* FindFormula(const Library& library, const fs::path& file,
                                  const std::string& folderName, const std::string& name,
                                  std::ostream& err) {
    const LibraryFolder* folder = library.FindFolderByName(folderName);
    if (folder == nullptr) {
        err << file.string() << ": no folder " << QuoteExcerpt(folderName) << "\n";
        return nullptr;
    }
    const LibraryFormula* formula = library.Formula(library.FindFormula(folder->id, name));
    if (formula == nullptr) {
        err << file.string() << ": no formula " << QuoteExcerpt(name) << " in folder "
            << QuoteExcerpt(folderName) << "\n";
    }
    return formula;
}

std::string KindOf(const LibraryFormula& formula) {
    return formula.analysisType == 0 ? "exploration" : formula.analysisType == 1 ? "buy" : "sell";
}

std::string FolderNameOf(const Library& library, const LibraryFormula& formula) {
    const LibraryFolder* folder = library.FolderOf(formula);
    return folder != nullptr ? folder->name : "(folder " + formula.folder + " missing)";
}

int Folders(const LibraryOptions& options, std::ostream& out, std::ostream& err) {
    int status = kExitOk;
    const auto library = Load(options.File(), err, status);
    if (!library) {
        return status;
    }
    for (const LibraryFolder& folder : library->folders) {
        out << folder.name << "\n";
    }
    return Finish(out);
}

int List(const LibraryOptions& options, std::ostream& out, std::ostream& err) {
    int status = kExitOk;
    const auto library = Load(options.File(), err, status);
    if (!library) {
        return status;
    }
    for (const LibraryFormula& formula : library->formulas) {
        out << FolderNameOf(*library, formula) << "\t" << formula.name << "\t" << KindOf(formula)
            << "\n";
    }
    return Finish(out);
}

int Show(const LibraryOptions& options, bool asScan, std::ostream& out, std::ostream& err) {
    int status = kExitOk;
    const fs::path file = options.File();
    const auto library = Load(file, err, status);
    if (!library) {
        return status;
    }
    const LibraryFormula* formula = FindFormula(*library, file, options.folder, options.name, err);
    if (formula == nullptr) {
        return kExitBadInput;
    }
    if (!asScan) {
        out << formula->formulaText;
        return Finish(out);
    }
    Result<std::string> exported = ExportScan(*formula);
    if (!exported) {
        Problem& problem = exported.problem();
        problem.where.file = file.string();
        problem.where.within = "formula " + QuoteExcerpt(options.name) + " in folder " +
                               QuoteExcerpt(options.folder) + ", " + problem.where.within;
        problem.what = "cannot be written as a scan file: " + problem.what;
        return Report(problem, err);
    }
    out << *exported;
    return Finish(out);
}

int Import(const LibraryOptions& options, std::istream& in, std::ostream& err) {
    int status = kExitBadInput;
    const auto parsed = ReadScanFile(options.scanFile, in, err, &status);
    if (!parsed) {
        return status;
    }

    status = kExitOk;
    const fs::path file = options.File();
    auto library = Load(file, err, status);
    if (!library) {
        return status;
    }
    const LibraryFolder* folder = library->FindFolderByName(options.importFolder);
    if (folder == nullptr) {
        err << file.string() << ": no folder " << QuoteExcerpt(options.importFolder)
            << "; the folders are:";
        for (const LibraryFolder& each : library->folders) {
            err << " " << QuoteExcerpt(each.name);
        }
        err << "\n";
        return kExitBadInput;
    }
    // The name comes from the command line or the scan file: it keeps the rules the Save
    // dialog sets, length among them, so that it can become a file name on export.
    const std::string name = options.importName.value_or(parsed->scan.name);
    if (const std::string problem = NameProblem(name); !problem.empty()) {
        err << (options.importName ? std::string("--name")
                                   : DisplayName(options.scanFile) + ", field \"name\"")
            << ": " << QuoteExcerpt(name) << " is not a valid formula name: " << problem << " "
            << kNameRules << "\n";
        return kExitBadInput;
    }
    const std::int32_t existing = library->FindFormula(folder->id, name);
    if (existing > 0 && !options.overwrite) {
        err << file.string() << ": folder " << QuoteExcerpt(folder->name) << " holds a formula "
            << QuoteExcerpt(name) << " already; --overwrite replaces it\n";
        return kExitBadInput;
    }

    LibraryFormula formula = FormulaFromScan(
        parsed->scan, GenerateWithSettings(parsed->scan, options.registryFile, err));
    formula.name = name;
    formula.description = options.importDescription.value_or(parsed->scan.description);
    library->StoreFormula(std::move(formula), std::to_string(folder->id), existing);
    if (const Result<void> saved = SaveLibraryFile(file, *library); !saved) {
        return Report(saved.problem(), err);
    }
    return kExitOk;
}

// A folder or formula name as a file name that every file system here takes as it is: the
// characters they refuse become "_", and so do a trailing blank or dot (which Windows drops)
// and a Windows device name such as "NUL" (which would name the device, not a file).
std::string FileNameOf(std::string_view name) {
    std::string result;
    for (const char c : name) {
        const bool refused = static_cast<unsigned char>(c) < 0x20 ||
                             std::string_view("/\\:*?\"<>|").find(c) != std::string_view::npos;
        result += refused ? '_' : c;
    }
    if (!result.empty() && (result.back() == ' ' || result.back() == '.')) {
        result.back() = '_';
    }
    const std::string lower = ToLowerAscii(result);
    const bool device =
        lower == "con" || lower == "prn" || lower == "aux" || lower == "nul" ||
        (lower.size() == 4 && (lower.rfind("com", 0) == 0 || lower.rfind("lpt", 0) == 0) &&
         lower[3] >= '1' && lower[3] <= '9');
    if (result.empty() || result == "." || result == ".." || device) {
        result += "_";
    }
    return result;
}

// The most bytes (UTF-8) or UTF-16 units a folder's or formula's file name may take before
// its number and extension: below the 255 that every file system here allows, with room
// for " (12345).afl".
constexpr std::size_t kMaxFileNameUnits = 200;

// Why `name` cannot become a file name on every file system the formulas may go to; "" when
// it can. A library written by an older release may hold a name of any length.
std::string FileNameProblem(std::string_view name, std::string_view fileName) {
    if (std::string length = NameLengthProblem(name); !length.empty()) {
        return length;
    }
    const std::u32string characters = DecodeText(fileName);
    const auto utf16 =
        static_cast<std::size_t>(std::count_if(characters.begin(), characters.end(),
                                               [](char32_t c) { return c > 0xFFFF; })) +
        characters.size();
    if (fileName.size() > kMaxFileNameUnits || utf16 > kMaxFileNameUnits) {
        return "As a file name it takes " + std::to_string(fileName.size()) +
               " bytes, more than the " + std::to_string(kMaxFileNameUnits) +
               " every file system holds.";
    }
    return {};
}

// A path from UTF-8 text, on every platform.
fs::path PathOf(const std::string& text) {
    return fs::path(std::u8string(text.begin(), text.end()));
}

// What lowers to the same text names the same file where letter case does not count
// (Windows, macOS), so such names are told apart too.
std::string SameFileKey(const fs::path& path) {
    return ToLowerAscii(Utf8Path(path));
}

int ExportAfl(const LibraryOptions& options, std::ostream& out, std::ostream& err) {
    int status = kExitOk;
    const fs::path file = options.File();
    const auto library = Load(file, err, status);
    if (!library) {
        return status;
    }
    // Everything is prepared and every name checked first, so a formula that cannot be
    // written stops the export before any file is.
    struct AflFile {
        fs::path path;
        std::string bytes;
    };
    std::vector<AflFile> files;
    std::set<std::string> taken;
    const std::string date = TodayForComment();
    const auto refuse = [&](std::size_t index, const LibraryFormula& formula, std::string what) {
        Problem problem{ProblemKind::BadInput,
                        Place::Within("formula " + std::to_string(index + 1) + " (" +
                                      QuoteExcerpt(formula.name) + ")"),
                        std::move(what) + "; nothing was exported"};
        problem.where.file = file.string();
        return Report(problem, err);
    };
    for (std::size_t index = 0; index < library->formulas.size(); ++index) {
        const LibraryFormula& formula = library->formulas[index];
        const std::string folderName = FolderNameOf(*library, formula);
        const std::string folderFile = FileNameOf(folderName);
        if (const std::string problem = FileNameProblem(folderName, folderFile); !problem.empty()) {
            return refuse(index, formula,
                          "its folder's name " + QuoteExcerpt(folderName) +
                              " cannot be a folder name: " + problem);
        }
        const std::string base = FileNameOf(formula.name);
        if (const std::string problem = FileNameProblem(formula.name, base); !problem.empty()) {
            return refuse(index, formula, "the name cannot be a file name: " + problem);
        }
        const fs::path folder = fs::path(options.aflFolder) / PathOf(folderFile);
        fs::path path = folder / PathOf(base + ".afl");
        for (int n = 2; !taken.insert(SameFileKey(path)).second; ++n) {
            path = folder / PathOf(base + " (" + std::to_string(n) + ").afl");
        }
        // What is in the way of a file or its folder stops the export before it starts.
        std::error_code ignored;
        if (fs::exists(folder, ignored) && !fs::is_directory(folder, ignored)) {
            return refuse(index, formula,
                          Utf8Path(folder) + " is in the way of the formula's folder");
        }
        if (fs::is_directory(path, ignored)) {
            return refuse(index, formula, Utf8Path(path) + " is a folder, in the way of the file");
        }
        std::vector<std::string> conditions;
        const std::size_t used = formula.UsedRows();
        for (std::size_t row = 0; row < used; ++row) {
            conditions.push_back(formula.rows[row].rowText);
        }
        CodepageError problem;
        auto bytes =
            Utf8ToCp1252(CommentedFormula(date, conditions, formula.formulaText), &problem);
        if (!bytes) {
            return refuse(index, formula, "cannot be written for AmiBroker: " + problem.what);
        }
        files.push_back({std::move(path), std::move(*bytes)});
    }
    for (const AflFile& afl : files) {
        std::error_code error;
        fs::create_directories(afl.path.parent_path(), error);
        if (!error) {
            error = WriteFileAtomically(afl.path, afl.bytes);
        }
        if (error) {
            err << Utf8Path(afl.path) << ": cannot write the formula: " << error.message() << "\n";
            return kExitFailure;
        }
        out << Utf8Path(afl.path) << "\n";
    }
    return Finish(out);
}

} // namespace

void AddLibraryCommands(CLI::App& app, CliStreams streams, CliCommands& commands) {
    auto options = std::make_shared<LibraryOptions>();
    CLI::App* library = app.add_subcommand(
        "library", "Read and change the formula library (the file MARLXS in the program folder).");
    library->require_subcommand(1);
    library->fallthrough();
    CLI::Option* folderOption = library->add_option(
        "--program-folder", options->programFolder,
        "Folder that holds MARLXS (default ~/.local/share/marlindex/Marlindex)");
    library->add_option("--library", options->libraryFile, "The library file itself")
        ->excludes(folderOption);

    const auto add = [&](CLI::App* command, std::function<int()> run) {
        commands.push_back({command, std::move(run)});
    };
    add(library->add_subcommand("folders", "Folder names, one per line, in file order."),
        [options, streams] { return Folders(*options, streams.out, streams.err); });
    add(library->add_subcommand("list", "One line per formula: folder, TAB, name, TAB, "
                                        "exploration|buy|sell."),
        [options, streams] { return List(*options, streams.out, streams.err); });

    CLI::App* show =
        library->add_subcommand("show", "The stored formula text, exactly, nothing appended.");
    show->add_option("FOLDER", options->folder, "Folder name")->required();
    show->add_option("NAME", options->name, "Formula name")->required();
    add(show, [options, streams] { return Show(*options, false, streams.out, streams.err); });

    CLI::App* exportScan = library->add_subcommand(
        "export", "The formula as a scan file (JSON) that generate and import read.");
    exportScan->add_option("FOLDER", options->folder, "Folder name")->required();
    exportScan->add_option("NAME", options->name, "Formula name")->required();
    add(exportScan, [options, streams] { return Show(*options, true, streams.out, streams.err); });

    CLI::App* import = library->add_subcommand(
        "import", "Store a scan file in the library as the Save dialog stores a formula.");
    import->add_option("SCAN", options->scanFile, "The scan file; - reads stdin")->required();
    import->add_option("--folder", options->importFolder, "Folder to store it in")->required();
    import->add_option("--name", options->importName, "Formula name (default: the scan's)");
    import->add_option("--description", options->importDescription,
                       "Description (default: the scan's)");
    import->add_flag("--overwrite", options->overwrite, "Replace a formula of the same name");
    import->add_option("--registry", options->registryFile,
                       "Settings file (REGEDIT4) to read indicator defaults from");
    add(import, [options, streams] { return Import(*options, streams.in, streams.err); });

    CLI::App* exportAfl = library->add_subcommand(
        "export-afl", "Write every formula to DIR/<folder>/<name>.afl for AmiBroker's formula "
                      "folder; the written paths go to stdout.");
    exportAfl->add_option("DIR", options->aflFolder, "Target folder")->required();
    add(exportAfl, [options, streams] { return ExportAfl(*options, streams.out, streams.err); });
}

} // namespace marlindex
