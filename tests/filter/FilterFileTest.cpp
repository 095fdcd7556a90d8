// Reading, writing and re-creating the filter file: the bytes on disk, what a damaged file
// reports, and that nothing is lost on the way.
#include "filter/FilterFile.h"

#include "support/TempFolder.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

enum : std::size_t { Markets, Groups, Sectors, Industries, Watchlists };

TEST(FilterFileTest, RecreatingWritesTheDefaultFileAndBacksUpOnlyWhenAsked) {
    std::string defaults = "[Markets]\r\n0\tMarket 1\r\n0\tMarket 2\r\n"
                           "[Groups]\r\n0\tGroup 1\r\n0\tGroup 2\r\n"
                           "[Sectors]\r\n0\tSector 1\r\n0\tSector 2\r\n"
                           "[Industries]\r\n0\tIndustry 1\r\n0\tIndustry 2\r\n[Watchlists]\r\n";
    for (int n = 0; n < 64; ++n) {
        defaults += "0\tWatchlist " + std::to_string(n) + "\r\n";
    }
    test::TempFolder folder;
    const auto file = folder / "tempFilter.txt";
    const auto backup = folder / "tempFilter.bak";

    ASSERT_TRUE(RecreateFilterFile(folder.path(), true)); // nothing to back up yet
    EXPECT_EQ(test::ReadBytes(file), defaults);
    EXPECT_FALSE(std::filesystem::exists(backup));

    test::WriteBytes(file, "damaged one");
    test::WriteBytes(backup, "an older backup");
    ASSERT_TRUE(RecreateFilterFile(folder.path(), true));
    EXPECT_EQ(test::ReadBytes(backup), "damaged one");
    EXPECT_EQ(test::ReadBytes(file), defaults);

    test::WriteBytes(file, "damaged two");
    ASSERT_TRUE(RecreateFilterFile(folder.path(), false));
    EXPECT_EQ(test::ReadBytes(backup), "damaged one");
    EXPECT_EQ(test::ReadBytes(file), defaults);

    // When the backup cannot be written the old file stays.
    std::filesystem::remove(backup);
    std::filesystem::create_directory(backup);
    test::WriteBytes(file, "damaged three");
    const Result<void> refused = RecreateFilterFile(folder.path(), true);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.problem().kind, ProblemKind::Failure);
    EXPECT_EQ(refused.problem().where.file, backup.string());
    EXPECT_EQ(test::ReadBytes(file), "damaged three");
}

TEST(FilterFileTest, ReadingKeepsEmptySectionsAndTakesUnknownMarksAsExcluded) {
    const FilterFileContents contents =
        *ParseFilterFile("[Markets]\r\n"
                         "[Groups]\tthe heading is the first field\r\n"
                         "1\tFunds\r\n7\tBonds\r\n\tNo mark\r\n"
                         "[Sectors]\r\n[Industries]\r\n"
                         "0\tOil\tthe name is the second field\r\n"
                         "[Watchlists]"); // no line break after the last line
    EXPECT_TRUE(contents[Markets].empty());
    EXPECT_EQ(contents[Groups],
              (std::vector<FilterFileItem>{
                  {kIncluded, "Funds"}, {kExcluded, "Bonds"}, {kExcluded, "No mark"}}));
    EXPECT_TRUE(contents[Sectors].empty());
    EXPECT_EQ(contents[Industries], (std::vector<FilterFileItem>{{kUnmarked, "Oil"}}));
    EXPECT_TRUE(contents[Watchlists].empty());
}

TEST(FilterFileTest, NamesAreWindows1252OnDiskAndUtf8Inside) {
    test::TempFolder folder;
    const auto file = folder / "tempFilter.txt";
    // A file edited on Linux may end its lines in LF alone.
    test::WriteBytes(file, "[Markets]\n1\tSoci\xE9t\xE9\n[Groups]\n[Sectors]\n"
                           "[Industries]\n[Watchlists]\n2\tWatchlist \x80\n");
    FilterFileContents contents = *ReadFilterFile(file);
    EXPECT_EQ(contents[Markets][0].name, "Soci\u00e9t\u00e9");
    EXPECT_EQ(contents[Watchlists][0].name, "Watchlist \u20ac");

    ASSERT_TRUE(WriteFilterFile(file, contents));
    const std::string written = "[Markets]\r\n1\tSoci\xE9t\xE9\r\n[Groups]\r\n[Sectors]\r\n"
                                "[Industries]\r\n[Watchlists]\r\n2\tWatchlist \x80\r\n";
    EXPECT_EQ(test::ReadBytes(file), written);

    // A name the code page cannot hold is refused, and the file stays as it was.
    contents[Groups].push_back({kIncluded, "\u03a9mega"});
    const Result<void> refused = WriteFilterFile(file, contents);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.problem().kind, ProblemKind::BadInput);
    EXPECT_EQ(test::ReadBytes(file), written);
}

TEST(FilterFileTest, DamageIsReportedWithItsLine) {
    const struct {
        const char* bytes;
        std::size_t line;
        const char* description;
    } cases[] = {
        {"", 1, "The file is empty: no [Market] heading"},
        {"[markets]\r\n[Groups]\r\n[Sectors]\r\n[Industries]\r\n[Watchlists]\r\n", 1,
         "No [Market] heading"},
        // Truncated: the sections after [Sectors] never come.
        {"[Markets]\r\n0\tNYSE\r\n[Groups]\r\n[Sectors]\r\n1\tEnergy\r\n", 6,
         "The file ends before the [Industries] heading"},
        // A heading out of order is read as an item, and has no TAB.
        {"[Markets]\r\n[Sectors]\r\n[Groups]\r\n", 2,
         "No TAB between the mark and the name in \"[Sectors]\" under [Markets]"},
    };
    for (const auto& damage : cases) {
        const Result<FilterFileContents> read = ParseFilterFile(damage.bytes);
        ASSERT_FALSE(read) << "accepted: " << damage.bytes;
        EXPECT_EQ(read.problem().kind, ProblemKind::BadInput);
        EXPECT_EQ(read.problem().where.line, damage.line) << damage.bytes;
        EXPECT_EQ(read.problem().what, damage.description);
    }
    // Read from a file, the problem names it; a file that is not there is a failure.
    test::TempFolder folder;
    const auto file = folder / "tempFilter.txt";
    test::WriteBytes(file, cases[2].bytes);
    EXPECT_EQ(ReadFilterFile(file).problem().Message(),
              file.string() + ", line 6: The file ends before the [Industries] heading");
    std::filesystem::remove(file);
    EXPECT_EQ(ReadFilterFile(file).problem().kind, ProblemKind::Failure);
}

} // namespace
} // namespace marlindex
