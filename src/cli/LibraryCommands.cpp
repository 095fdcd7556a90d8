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

std::string Quoted(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

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
        err << file.string() << ": no folder " << Quoted(folderName) << "\n";
        return nullptr;
    }
    const LibraryFormula* formula = library.Formula(library.FindFormula(folder->id, name));
    if (formula == nullptr) {
        err << file.string() << ": no formula " << Quoted(name) << " in folder "
            << Quoted(folderName) << "\n";
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
        problem.where.within = "formula " + Quoted(options.name) + " in folder " +
                               Quoted(options.folder) + ", " + problem.where.within;
        problem.what = "cannot be written as a scan file: " + problem.what;
        return Report(problem, err);
    }
    out << *exported;
    return Finish(out);
}

int Import(const LibraryOptions& options, std::istream& in, std::ostream& err) {
    const auto parsed = ReadScanFile(options.scanFile, in, err);
    if (!parsed) {
        return kExitBadInput;
    }

    int status = kExitOk;
    const fs::path file = options.File();
    auto library = Load(file, err, status);
    if (!library) {
        return status;
    }
    const LibraryFolder* folder = library->FindFolderByName(options.importFolder);
    if (folder == nullptr) {
        err << file.string() << ": no folder " << Quoted(options.importFolder)
            << "; the folders are:";
        for (const LibraryFolder& each : library->folders) {
            err << " " << Quoted(each.name);
        }
        err << "\n";
        return kExitBadInput;
    }
    const std::string name = options.importName.value_or(parsed->scan.name);
    if (!IsValidFileName(name)) {
        err << Quoted(name)
            << " is not a valid formula name: letters, digits, blanks and # $ % & ' ( ) ! - / "
               "@ _ { } ~, not starting with a digit\n";
        return kExitBadInput;
    }
    const std::int32_t existing = library->FindFormula(folder->id, name);
    if (existing > 0 && !options.overwrite) {
        err << file.string() << ": folder " << Quoted(folder->name) << " holds a formula "
            << Quoted(name) << " already; --overwrite replaces it\n";
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

// A folder or formula name as a file name: the characters file systems refuse become "_".
std::string FileNameOf(std::string_view name) {
    std::string result;
    for (const char c : name) {
        const bool refused = static_cast<unsigned char>(c) < 0x20 ||
                             std::string_view("/\\:*?\"<>|").find(c) != std::string_view::npos;
        result += refused ? '_' : c;
    }
    if (result.empty() || result == "." || result == "..") {
        result = "_";
    }
    return result;
}

int ExportAfl(const LibraryOptions& options, std::ostream& out, std::ostream& err) {
    int status = kExitOk;
    const fs::path file = options.File();
    const auto library = Load(file, err, status);
    if (!library) {
        return status;
    }
    // Everything is prepared first, so a formula that cannot be written stops the export
    // before any file is.
    struct AflFile {
        fs::path path;
        std::string bytes;
    };
    std::vector<AflFile> files;
    std::set<fs::path> taken;
    const std::string date = TodayForComment();
    for (const LibraryFormula& formula : library->formulas) {
        const fs::path folder =
            fs::path(options.aflFolder) / FileNameOf(FolderNameOf(*library, formula));
        const std::string base = FileNameOf(formula.name);
        fs::path path = folder / (base + ".afl");
        for (int n = 2; !taken.insert(path).second; ++n) {
            path = folder / (base + " (" + std::to_string(n) + ").afl");
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
            err << file.string() << ": formula " << Quoted(formula.name)
                << " cannot be written for AmiBroker: " << problem.what << "\n";
            return kExitBadInput;
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
            err << afl.path.string() << ": cannot write the formula: " << error.message() << "\n";
            return kExitFailure;
        }
        out << afl.path.string() << "\n";
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
