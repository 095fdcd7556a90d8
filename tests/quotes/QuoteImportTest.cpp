// Imports as a whole: which files are read, and that an import which stops (a bad row in its
// last file, a cancel, a category too many, a killed process) leaves the store as it was.
#include "quotes/QuoteImport.h"

#include "quotes/QuoteStore.h"
#include "support/QuoteFixtures.h"

#include <csignal>
#include <gtest/gtest.h>

#ifndef _WIN32
#include <sys/stat.h>
#endif

namespace marlindex {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> Symbols(const std::vector<PriceFileEntry>& entries) {
    std::vector<std::string> symbols;
    for (const PriceFileEntry& entry : entries) {
        symbols.push_back(entry.symbol);
    }
    return symbols;
}

std::string Refusal(const ImportRequest& request) {
    const auto listed = ListPriceFiles(request);
    if (listed) {
        return "listed";
    }
    EXPECT_EQ(listed.problem().kind, ProblemKind::BadInput);
    return listed.problem().what;
}

TEST(ListPriceFiles, TakesTheSymbolFromTheNameAndEveryCsvOfAFolder) {
    test::TempFolder folder;
    fs::create_directories(folder / "prices" / "sub");
    for (const char* name :
         {"MSFT.csv", "BRK.B.csv", "a.CSV", "symbols.csv", "notes.txt", "sub/IGNORED.csv"}) {
        test::WriteBytes(folder / "prices" / name, "x");
    }
    test::WriteBytes(folder / "ONE.csv", "x");
    const ImportRequest request{folder / "prices" / "symbols.csv",
                                {folder / "prices", folder / "ONE.csv"}};
    EXPECT_EQ(Symbols(ListPriceFiles(request).value()),
              (std::vector<std::string>{"BRK.B", "MSFT", "a", "ONE"}))
        << "name order; the symbols file, other files and subfolders are not price files";

    EXPECT_EQ(Refusal({std::nullopt, {folder / "prices", folder / "prices" / "MSFT.csv"}}),
              "the symbol \"MSFT\" comes twice; " + (folder / "prices" / "MSFT.csv").string() +
                  " holds it too");
    EXPECT_EQ(Refusal({std::nullopt, {folder / "missing"}}), "no such file or folder");
    EXPECT_EQ(Refusal({std::nullopt, {folder / "prices" / "notes.txt"}}),
              "a price file is named SYMBOL.csv");
}

TEST(ListPriceFiles, RefusesUnreadWhatIsNoRegularFileOrTooBig) {
    test::TempFolder folder;
    fs::create_directories(folder / "prices" / "DIR.csv");
    EXPECT_EQ(Refusal({std::nullopt, {folder / "prices"}}),
              "not a regular file (a device, a pipe or a socket); it is not read");

    test::WriteBytes(folder / "BIG.csv", "");
    fs::resize_file(folder / "BIG.csv", kMaxImportFileBytes + 1); // sparse: nothing is written
    EXPECT_EQ(Refusal({std::nullopt, {folder / "BIG.csv"}}),
              "the file has 268435457 bytes, more than the 256 MiB an import reads from one file");
#ifndef _WIN32
    // A pipe would block a reader for ever.
    ASSERT_EQ(mkfifo((folder / "PIPE.csv").c_str(), 0600), 0);
    EXPECT_EQ(Refusal({std::nullopt, {folder / "PIPE.csv"}}),
              "not a regular file (a device, a pipe or a socket); it is not read");
#endif
}

// A store of the tiny database plus a folder of generated price files, enough bars (about
// 8 MB of columns) that SQLite must write pages to the store before the import commits.
class FailedImportTest : public ::testing::Test {
protected:
    void SetUp() override {
        const ImportRequest tiny{test::QuoteFixture("tiny/symbols.csv"),
                                 {test::QuoteFixture("tiny/prices")}};
        ASSERT_EQ(ImportQuotes(folder_.path(), tiny).status, ImportOutcome::Status::Imported);
        fs::create_directories(more_);
        for (int i = 0; i < 40; ++i) {
            test::WriteBytes(more_ / ("S" + std::to_string(100 + i) + ".csv"),
                             test::GeneratedPrices(*ParseIsoDate("2000-01-03"), 4000, i));
        }
        before_ = test::ReadBytes(Store());
    }
    fs::path Store() const { return folder_ / "quotes.db"; }
    // Opens the store first: after a crash that is what rolls its journal back.
    void ExpectStoreAsBefore() const {
        EXPECT_EQ(QuoteStore::Open(folder_.path())->List().size(), 3u);
        EXPECT_TRUE(test::ReadBytes(Store()) == before_) << "the store's bytes changed";
        EXPECT_FALSE(fs::exists(folder_ / "quotes.db-journal"));
    }

    test::TempFolder folder_;
    fs::path more_ = folder_ / "more";
    std::string before_;
};

TEST_F(FailedImportTest, ABadRowInTheLastFileLeavesTheStoreByteForByte) {
    test::WriteBytes(more_ / "ZZZ.csv", "Date,Open,High,Low,Close,Volume\n"
                                        "2020-01-02,1,2,0.5,1.5,10\n"
                                        "2020-01-03,1,2,0.5,1.5,ten\n");
    const ImportOutcome outcome = ImportQuotes(folder_.path(), {std::nullopt, {more_}});
    EXPECT_EQ(outcome.status, ImportOutcome::Status::Refused);
    ASSERT_TRUE(outcome.problem.has_value());
    EXPECT_EQ(outcome.problem->FileLineMessage(),
              (more_ / "ZZZ.csv").string() + ":3: Volume \"ten\" is not a number");
    ExpectStoreAsBefore();
}

TEST_F(FailedImportTest, ACancelOrACategoryTooManyLeavesItToo) {
    std::vector<ImportProgress> heard;
    const ImportOutcome cancelled =
        ImportQuotes(folder_.path(), {std::nullopt, {more_}}, [&](const ImportProgress& now) {
            heard.push_back(now);
            return now.filesDone < 39;
        });
    EXPECT_EQ(cancelled.status, ImportOutcome::Status::Cancelled);
    ASSERT_EQ(heard.size(), 40u) << "once before the first file, then after each";
    EXPECT_EQ(heard[0].filesDone, 0u);
    EXPECT_EQ(heard[0].filesTotal, 40u);
    EXPECT_EQ(heard[0].bytesTotal, 40 * fs::file_size(more_ / "S100.csv"));
    EXPECT_EQ(heard[39].bytesDone, 39 * heard[0].bytesTotal / 40);
    ExpectStoreAsBefore();

    std::string symbols = "Symbol,Name,Market,Sector,Industry\n";
    for (int i = 0; i < 70; ++i) {
        symbols += "T" + std::to_string(i) + ",n,NYSE,Sector " + std::to_string(i) + ",i\n";
    }
    test::WriteBytes(folder_ / "symbols.csv", symbols);
    const ImportOutcome tooMany = ImportQuotes(folder_.path(), {folder_ / "symbols.csv", {more_}});
    EXPECT_EQ(tooMany.status, ImportOutcome::Status::Refused);
    EXPECT_EQ(tooMany.problem->FileLineMessage(),
              (folder_ / "symbols.csv").string() +
                  ":64: the sector \"Sector 62\" would be one too many: a quote store holds at "
                  "most 64 sectors")
        << "Tech and Energy of the store are sectors 0 and 1";
    ExpectStoreAsBefore();
}

#if GTEST_HAS_DEATH_TEST && !defined(_WIN32) // a POSIX signal ends the child
TEST_F(FailedImportTest, AProcessKilledHalfWayLeavesAJournalThatRestoresTheStore) {
    GTEST_FLAG_SET(death_test_style, "fast"); // the child must work on this test's folder
    const auto killHalfWay = [this] {
        ImportQuotes(folder_.path(), {std::nullopt, {more_}}, [](const ImportProgress& now) {
            if (now.filesDone == 30) {
                std::raise(SIGKILL);
            }
            return true;
        });
    };
    EXPECT_EXIT(killHalfWay(), ::testing::KilledBySignal(SIGKILL), "");
    ASSERT_TRUE(fs::exists(folder_ / "quotes.db-journal")) << "killed inside the transaction";
    EXPECT_FALSE(test::ReadBytes(Store()) == before_)
        << "pages of the unfinished import reached the store file, so the journal has work";
    ExpectStoreAsBefore(); // the next opening rolls the journal back
}
#endif

TEST(FirstImport, ThatFailsLeavesNoStoreAndNoFolder) {
    test::TempFolder folder;
    test::WriteBytes(folder / "A.csv", "Date,Open,High,Low,Close,Volume\n2020-01-02,1,2,3\n");
    const ImportOutcome outcome =
        ImportQuotes(folder / "new" / "db", {std::nullopt, {folder / "A.csv"}});
    EXPECT_EQ(outcome.status, ImportOutcome::Status::Refused);
    EXPECT_EQ(outcome.problem->where.line, 2u);
    EXPECT_FALSE(fs::exists(folder / "new")) << "the folders the import made are gone again";
}

} // namespace
} // namespace marlindex
