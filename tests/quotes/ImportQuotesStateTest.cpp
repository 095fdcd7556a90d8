// The Import Quotes dialog driven as a user drives it, without a window: choosing files, the
// import with its progress, and the report of an import that repaired rows, that was refused
// and that was cancelled, the last two leaving the database exactly as it was.
#include "quotes/ImportQuotesState.h"

#include "quotes/QuoteStore.h"
#include "support/QuoteFixtures.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

using Status = ImportOutcome::Status;

std::string Listing(const std::filesystem::path& folder) {
    std::string text;
    for (const SymbolSummary& summary : QuoteStore::Open(folder)->List()) {
        text += summary.symbol + ":" + std::to_string(summary.bars) + " ";
    }
    return text;
}

class ImportQuotesStateTest : public ::testing::Test {
protected:
    std::string Path(std::string_view name) const { return Utf8Path(folder / name); }

    test::TempFolder folder;
    std::filesystem::path database = folder / "database";
    ImportQuotesState dialog{database};
};

TEST_F(ImportQuotesStateTest, APathIsListedOnceAndRemovingMovesToItsNeighbour) {
    dialog.SetSymbolsFile(Path("symbols.csv"));
    EXPECT_TRUE(dialog.btnImportEnabled) << "a symbols file alone imports too";
    dialog.AddPaths({Path("A.csv"), Path("B.csv")});
    dialog.AddPaths({Path("A.csv"), "", Path("prices")});
    EXPECT_EQ(dialog.lstPaths,
              (std::vector<std::string>{Path("A.csv"), Path("B.csv"), Path("prices")}));
    dialog.lstPaths_Click(2);
    dialog.btnRemove_Click();
    EXPECT_EQ(dialog.lstPathsIndex, 1) << "the one before the last takes its place";
}

TEST_F(ImportQuotesStateTest, AnImportReportsWhatItReadAndEveryRepairedRow) {
    const auto prices = folder / "prices";
    std::filesystem::create_directories(prices);
    std::filesystem::copy(test::QuoteFixture("tiny/prices"), prices);
    std::filesystem::copy(test::QuoteFixture("repairs/REP.csv"), prices / "REP.csv");
    dialog.AddPaths({Utf8Path(prices)});
    dialog.SetSymbolsFile(Utf8Path(test::QuoteFixture("tiny/symbols.csv")));

    std::vector<std::string> seen;
    EXPECT_EQ(dialog.btnImport_Click([&] {
        // While it runs: Cancel in place of Close, nothing to choose, the progress shown.
        EXPECT_TRUE(dialog.Running());
        EXPECT_EQ(dialog.btnCloseCaption, "Cancel");
        EXPECT_FALSE(dialog.choosingEnabled || dialog.btnImportEnabled);
        EXPECT_TRUE(dialog.progressVisible);
        seen.push_back(dialog.lblProgress + " " + std::to_string(dialog.progressValue));
    }),
              Status::Imported);
    ASSERT_EQ(seen.size(), 5u) << "before the first file and after each of four";
    EXPECT_EQ(seen.front().rfind("0 price files of 4 read (0.0 MB of 0.0 MB) 0", 0), 0u)
        << seen.front();
    EXPECT_EQ(seen.back().rfind("4 price files of 4 read", 0), 0u) << seen.back();
    EXPECT_EQ(seen.back().substr(seen.back().size() - 5), " 1000");

    EXPECT_FALSE(dialog.Running());
    EXPECT_FALSE(dialog.progressVisible);
    EXPECT_TRUE(dialog.btnImportEnabled) << "the same files can be imported again";
    EXPECT_TRUE(dialog.ChangedDatabase());
    const std::string& report = dialog.txtReport;
    for (const char* part :
         {"4 price files, ", " new, 0 replaced) from 2020-01-01 to 2024-01-08.\n",
          "Symbols file: 3 rows.\n4 new symbols.\n", "Repaired ", "REP.csv:3: repaired: "}) {
        EXPECT_NE(report.find(part), std::string::npos) << part << "\n" << report;
    }
    EXPECT_EQ(Listing(database).substr(0, 18), "AAA:5 BBB:3 CCC:3 ");
}

TEST_F(ImportQuotesStateTest, ARefusedOrCancelledImportKeepsNothing) {
    test::ImportOrFail(database, test::TinyDatabase());
    const std::string before = Listing(database);
    const auto prices = folder / "prices";
    std::filesystem::create_directories(prices);
    for (int s = 0; s < 6; ++s) {
        test::WriteBytes(prices / ("N" + std::to_string(s) + ".csv"),
                         test::GeneratedPrices(*ParseIsoDate("2024-01-01"), 30, s));
    }
    dialog.AddPaths({Utf8Path(prices)});

    // Cancel pressed after the second file: the import ends at its next step.
    int steps = 0;
    EXPECT_EQ(dialog.btnImport_Click([&] {
        if (++steps == 3) {
            dialog.btnClose_Click();
            EXPECT_EQ(dialog.lblProgress, "Cancelling...");
        }
    }),
              Status::Cancelled);
    EXPECT_EQ(steps, 3);
    EXPECT_EQ(dialog.txtReport,
              "The import was cancelled. Nothing of this import was kept: the database is as it "
              "was.");
    EXPECT_EQ(Listing(database), before);
    EXPECT_FALSE(dialog.ChangedDatabase());

    // A row that cannot be read, in the last file: refused with its place.
    test::WriteBytes(prices / "N9.csv", "Date,Open,High,Low,Close,Volume\n2024-01-02,1,2,1,x,5\n");
    EXPECT_EQ(dialog.btnImport_Click(), Status::Refused);
    EXPECT_EQ(dialog.txtReport.rfind("The import was refused:\n", 0), 0u);
    EXPECT_NE(dialog.txtReport.find("N9.csv:2: "), std::string::npos) << dialog.txtReport;
    EXPECT_EQ(Listing(database), before);
    EXPECT_FALSE(dialog.ChangedDatabase());
    // Close while nothing runs cancels nothing; the next import starts afresh.
    dialog.btnClose_Click();
    std::filesystem::remove(prices / "N9.csv");
    EXPECT_EQ(dialog.btnImport_Click(), Status::Imported);
    EXPECT_TRUE(dialog.ChangedDatabase());
}

} // namespace
} // namespace marlindex
