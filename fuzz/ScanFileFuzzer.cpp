// libFuzzer target for the scan file reader. Whatever the bytes, the reader either returns a
// scan or a problem in one short line; it never crashes, hangs or recurses through a hostile
// depth. A scan it returns generates a formula, and writing it gives a file that reads back
// to the same scan and writes to the same text.
#include "scanfile/ScanFile.h"
#include "settings/MemoryHive.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using namespace marlindex;

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

// One line, short whatever the input: quotes are cut at 60 characters.
bool IsShortLine(const std::string& text) {
    return !text.empty() && text.size() < 1000 && text.find('\n') == std::string::npos &&
           text.find('\r') == std::string::npos;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const Result<ParsedScan> parsed = ParseScan(bytes);
    if (!parsed) {
        Require(parsed.problem().kind == ProblemKind::BadInput);
        Require(IsShortLine(parsed.problem().Message()));
        return 0;
    }
    for (const std::string& warning : parsed->warnings) {
        Require(IsShortLine(warning));
    }
    MemoryHive hive;
    const CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    const GeneratedScan generated = GenerateScan(parsed->scan, settings);
    Require(generated.rowTexts.size() == parsed->scan.rows.size());

    const std::string written = WriteScan(parsed->scan);
    const Result<ParsedScan> again = ParseScan(written);
    Require(again.ok());
    Require(WriteScan(again->scan) == written);
    Require(GenerateScan(again->scan, settings).formula == generated.formula);
    return 0;
}
