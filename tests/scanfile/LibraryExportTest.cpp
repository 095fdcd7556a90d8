// Every formula the library holds can be exported, and generating the exported scan file
// gives its formula text back byte for byte. The formulas are made as a user makes them:
// scans entered into the main window and edited at random, saved as the Save dialog saves
// them, and scans imported from scan files; they go through the library file before export,
// as the command-line tool reads them.
#include "scanfile/LibraryScan.h"
#include "settings/MemoryHive.h"
#include "support/RandomScans.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

constexpr std::size_t kFormulas = 300;

class LibraryExportTest : public ::testing::Test {
protected:
    // The formula a random editing session leaves, ending with a change that rewrites a row
    // (a removal alone leaves the code in the form removals build, which no scan file gives).
    LibraryFormula EditedFormula(std::size_t number) {
        test::Random rng(0xE4B0 + number);
        const Scan scan = test::RandomScan(rng, number);
        MainWindowState window(settings_);
        test::WindowDriver driver(window, rng);
        driver.EnterScan(scan);
        for (int edits = rng.Below(6); edits > 0; --edits) {
            driver.RandomEdit();
        }
        const ConditionRecordList& records = window.Records();
        for (std::size_t row = 0; row < records.size(); ++row) {
            if (!records[row].IsEmptyRow()) {
                driver.LeftClick(static_cast<int>(row));
                // A copy: typing empties the field before the keys go in.
                const std::string bars = window.txtTP1.text;
                driver.Type(test::kTextControls[0], bars);
                break;
            }
        }
        return window.FormulaRecord();
    }

    MemoryHive hive_;
    CProgramSettings settings_ = CProgramSettings::ForMarlindex(hive_);
};

TEST_F(LibraryExportTest, EveryStoredFormulaExportsAndGeneratesItsTextAgain) {
    Library library = DefaultLibrary();
    for (std::size_t number = 0; number < kFormulas; ++number) {
        LibraryFormula formula;
        if (number % 3 == 0) {
            test::Random rng(0x1A9 + number);
            const Scan scan = test::RandomScan(rng, number);
            formula = FormulaFromScan(scan, GenerateScan(scan, settings_));
        } else {
            formula = EditedFormula(number);
        }
        formula.name = "Formula " + std::to_string(number);
        library.StoreFormula(std::move(formula), "1", 0);
    }
    // A row an older library holds: "is equal to" a value with 2nd bar 0 (the value vanishes).
    LibraryFormula older = library.formulas[1];
    EditorState equal;
    equal.indicator1 = 16, equal.option1 = "", equal.comparison = 2;
    equal.comparisonType = kTargetValue, equal.tp2 = 0, equal.value1 = 30;
    older.rows.resize(1);
    StoreEditorState(older.rows[0], equal);
    older.rows[0].codePart1 = "RSIa( Close, 14 )";
    older.rows[0].codePart2 = "== ";
    older.rowCount = 1;
    older.conditionCode = "RSIa( Close, 14 ) ==";
    older.analysisType = 1;
    older.applyTo = 0;
    older.formulaText = "Buy = RSIa( Close, 14 ) ==;";
    library.StoreFormula(std::move(older), "1", 0);

    const Result<std::string> bytes = WriteLibrary(library);
    ASSERT_TRUE(bytes) << bytes.problem().Message();
    const Result<Library> stored = ReadLibrary(*bytes);
    ASSERT_TRUE(stored) << stored.problem().Message();
    std::size_t withRows = 0;
    for (const LibraryFormula& formula : stored->formulas) {
        SCOPED_TRACE(formula.name + ": " + formula.formulaText);
        const Result<std::string> exported = ExportScan(formula);
        ASSERT_TRUE(exported) << exported.problem().Message();
        const Result<ParsedScan> parsed = ParseScan(*exported);
        ASSERT_TRUE(parsed) << parsed.problem().Message();
        EXPECT_EQ(GenerateScan(parsed->scan, settings_).formula, formula.formulaText);
        withRows += formula.UsedRows() > 0 ? 1U : 0U;
    }
    EXPECT_GT(withRows, kFormulas / 2) << "the sessions leave formulas to export";
}

} // namespace
} // namespace marlindex
