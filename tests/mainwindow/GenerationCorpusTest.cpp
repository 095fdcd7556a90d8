// The generation corpus: a thousand random scans over every pair of indicator and comparison,
// with filters, modifiers, brackets and both joiners, each generated as a scan file is and
// entered into the main window control by control, then edited at random (rows selected,
// changed, bracketed, rejoined, removed). data/generation-corpus.txt records each scan's
// formula and row texts and the window's final formula, with digests of the records, of the
// scan file and of the whole window after every step (its row texts included); any change to
// what the program generates shows up here. The exploration's five AddColumn lines, the same
// in every exploration, are recorded as "$COLUMNS".
//
// After a deliberate change of the output, MARLINDEX_WRITE_CORPUS=1 rewrites the file.
#include "settings/MemoryHive.h"
#include "support/RandomScans.h"
#include "support/TempFolder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace marlindex {
namespace {

constexpr std::size_t kCases = 1000;
constexpr std::uint64_t kSeed = 0x4D61726C696E6400ULL; // "Marlind\0"

std::filesystem::path CorpusFile() {
    const char* source = std::getenv("MARLINDEX_SOURCE_DIR");
    return std::filesystem::path(source == nullptr ? "." : source) / "tests" / "mainwindow" /
           "data" / "generation-corpus.txt";
}

constexpr std::string_view kColumns = "\r\nAddColumn( Close, \"Close  \" );"
                                      "\r\nAddColumn( Open, \"Open  \" );"
                                      "\r\nAddColumn( High, \"High  \" );"
                                      "\r\nAddColumn( Low, \"Low  \" );"
                                      "\r\nAddColumn( Volume, \"Volume      \" );";

// One line per value: backslash, CR, LF and TAB escaped.
std::string Escaped(std::string_view text) {
    const bool exploration = text.ends_with(kColumns);
    if (exploration) {
        text.remove_suffix(kColumns.size());
    }
    std::string out;
    for (const char c : text) {
        switch (c) {
        case '\\':
            out += "\\\\";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            out += c;
        }
    }
    return exploration ? out + "$COLUMNS" : out;
}

// Stored preferences for a third of the cases, so that parameters from the settings are
// covered too: a changed period, an empty value (the default applies) and a decimal.
void StorePreferences(CProgramSettings& settings) {
    const std::pair<const char*, std::pair<const char*, const char*>> stored[] = {
        {"Settings\\Indicator\\16", {"2", "21"}}, {"Settings\\Indicator\\9", {"2", "200"}},
        {"Settings\\Indicator\\2", {"1", ""}},    {"Settings\\Indicator\\17", {"1", "0.02"}},
        {"Settings\\Indicator\\23", {"1", "50"}}, {"Settings\\Indicator\\6", {"3", "7"}}};
    for (const auto& [section, value] : stored) {
        settings.SetSection(section);
        settings.WriteEntry(value.first, value.second);
    }
    settings.SetSection("Settings");
}

// The recorded lines of one case.
std::vector<std::string> RunCase(std::size_t number) {
    test::Random rng(kSeed + number);
    MemoryHive hive;
    CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    if (number % 3 == 0) {
        StorePreferences(settings);
    }
    const Scan scan = test::RandomScan(rng, number);

    std::vector<std::string> lines{"case\t" + std::to_string(number)};
    const GeneratedScan generated = GenerateScan(scan, settings);
    lines.push_back("formula\t" + Escaped(generated.formula));
    for (const std::string& row : generated.rowTexts) {
        lines.push_back("row\t" + Escaped(row));
    }
    test::Digest records;
    test::AddRecords(records, generated.records);
    records.Text(generated.conditionCode);
    lines.push_back("records\t" + records.Hex());
    test::Digest json;
    json.Text(WriteScan(scan));
    lines.push_back("json\t" + json.Hex());

    MainWindowState window(settings);
    test::Digest steps;
    test::WindowDriver driver(window, rng, &steps);
    driver.EnterScan(scan);
    const int edits = 2 + rng.Below(7);
    for (int i = 0; i < edits; ++i) {
        driver.RandomEdit();
    }
    lines.push_back("window\t" + Escaped(window.txtForumlae.text));
    for (const std::string& row : window.RowTexts()) {
        steps.Text(row);
    }
    test::AddRecords(steps, window.Records());
    lines.push_back("steps\t" + steps.Hex());
    return lines;
}

std::vector<std::string> ReadLines(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST(GenerationCorpus, EveryFormulaAndRowTextAsRecorded) {
    const std::filesystem::path file = CorpusFile();
    if (std::getenv("MARLINDEX_WRITE_CORPUS") != nullptr) {
        std::ostringstream out;
        for (std::size_t number = 0; number < kCases; ++number) {
            for (const std::string& line : RunCase(number)) {
                out << line << '\n';
            }
        }
        test::WriteBytes(file, out.str());
        GTEST_SKIP() << "wrote " << file;
    }
    const std::vector<std::string> expected = ReadLines(file);
    ASSERT_FALSE(expected.empty()) << "no corpus at " << file;

    std::size_t at = 0;
    for (std::size_t number = 0; number < kCases; ++number) {
        for (const std::string& line : RunCase(number)) {
            ASSERT_LT(at, expected.size()) << "the corpus ends before case " << number;
            ASSERT_EQ(line, expected[at])
                << "case " << number << ", line " << at + 1 << " of " << file;
            ++at;
        }
    }
    EXPECT_EQ(at, expected.size()) << "the corpus holds more than " << kCases << " cases";
}

} // namespace
} // namespace marlindex
