#include "library/LibraryInstall.h"

#include "library/LibraryFile.h"
#include "startup/AtomicFile.h"

#include <ctime>
#include <ostream>

namespace marlindex {

namespace fs = std::filesystem;

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kDamaged = 2;

} // namespace

std::string CurrentTimeHhmmss() {
    const std::time_t now = std::time(nullptr);
    const std::tm* local = std::localtime(&now);
    char text[8] = {};
    if (local == nullptr || std::strftime(text, sizeof text, "%H%M%S", local) == 0) {
        return "000000";
    }
    return text;
}

int RunInstallStep(const fs::path& programFolder, std::string_view hhmmss, std::ostream& err) {
    const fs::path library = LibraryPath(programFolder);
    std::error_code error;
    if (!fs::exists(library, error)) {
        return kDone;
    }
    const fs::path backup = programFolder / ("MARLX." + std::string(hhmmss));
    if (fs::exists(backup, error) || error) {
        err << backup.string()
            << ": a file of that name exists already; the library was neither backed up nor "
               "converted\n";
        return kFailed;
    }
    const Result<std::string> bytes = ReadInputFile(library, kLibraryFileKind);
    if (!bytes) {
        err << bytes.problem().Message() << "; the library was neither backed up nor converted\n";
        return bytes.problem().kind == ProblemKind::BadInput ? kDamaged : kFailed;
    }
    error = WriteFileAtomically(backup, *bytes);
    if (error) {
        err << backup.string() << ": cannot write the backup: " << error.message()
            << "; the library was not converted\n";
        return kFailed;
    }
    Result<Library> contents = ReadLibrary(*bytes);
    if (!contents) {
        Problem damage = std::move(contents.problem());
        damage.where.file = library.string();
        err << damage.Message()
            << "; the library was left as it is (backup: " << backup.filename().string() << ")\n";
        return kDamaged;
    }
    if (contents->formulas.empty()) {
        return kDone;
    }
    if (const Result<void> saved = SaveLibraryFile(library, *contents); !saved) {
        err << saved.problem().Message() << "\n";
        return kFailed;
    }
    return kDone;
}

} // namespace marlindex
