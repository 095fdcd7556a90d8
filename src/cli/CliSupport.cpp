#include "cli/CliSupport.h"

#include "cli/CliCommands.h"
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

} // namespace marlindex
