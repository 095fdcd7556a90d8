// Reading, writing and re-creating the filter file: the bytes on disk, what a damaged file
// reports, and that nothing is lost on the way.
#include "filter/FilterFile.h"

#include "support/TempFolder.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

enum : std::size_t { Markets, Groups, Sectors, Industries, Watchlists };

std::string DefaultFileBytes() {
    std::string bytes = "[Markets]\r\n0\tMarket 1\r\n0\tMarket 2\r\n"
                        "[Groups]\r\n0\tGroup 1\r\n0\tGroup 2\r\n"
                        "[Sectors]\r\n0\tSector 1\r\n0\tSector 2\r\n"
                        "[Industries]\r\n0\tIndustry 1\r\n0\tIndustry 2\r\n"
                        "[Watchlists]\r\n";
    for (int n = 0; n < 64; ++n) {
        bytes += "0\tWatchlist " + std::to_string(n) + "\r\n";
    }
    return bytes;
}

TEST(FilterFileTest, RecreatingWritesTheDefaultFileAndBacksUpOnlyWhenAsked) {
    test::TempFolder folder;
    const auto file = folder / "tempFilter.txt";
    const auto backup = folder / "tempFilter.bak";

    RecreateFilterFile(folder.path(), true); // nothing to back up yet
    EXPECT_EQ(test::ReadBytes(file), DefaultFileBytes());
    EXPECT_FALSE(std::filesystem::exists(backup));

    test::WriteBytes(file, "damaged one");
    test::WriteBytes(backup, "an older backup");
    RecreateFilterFile(folder.path(), true);
    EXPECT_EQ(test::ReadBytes(backup), "damaged one");
    EXPECT_EQ(test::ReadBytes(file), DefaultFileBytes());

    test::WriteBytes(file, "damaged two");
    RecreateFilterFile(folder.path(), false);
    EXPECT_EQ(test::ReadBytes(backup), "damaged one");
    EXPECT_EQ(test::ReadBytes(file), DefaultFileBytes());
}

TEST(FilterFileTest, AFailedBackupLeavesTheOldFileInPlace) {
    test::TempFolder folder;
    test::WriteBytes(folder / "tempFilter.txt", "damaged");
    std::filesystem::create_directory(folder / "tempFilter.bak"); // cannot be replaced
    EXPECT_THROW(RecreateFilterFile(folder.path(), true), FilterWriteError);
    EXPECT_EQ(test::ReadBytes(folder / "tempFilter.txt"), "damaged");
}

TEST(FilterFileTest, ReadingKeepsEmptySectionsAndTakesUnknownMarksAsExcluded) {
    const FilterFileContents contents =
        ParseFilterFile("[Markets]\r\n"
                        "[Groups]\tthe heading is the first field\r\n"
                        "1\tFunds\r\n7\tBonds\r\nx\tETF\r\n\tNo mark\r\n"
                        "[Sectors]\r\n[Industries]\r\n"
                        "0\tOil\tthe name is the second field\r\n1\t\r\n"
                        "[Watchlists]"); // no line break after the last line
    EXPECT_TRUE(contents[Markets].empty());
    EXPECT_EQ(contents[Groups], (std::vector<FilterFileItem>{{kIncluded, "Funds"},
                                                             {kExcluded, "Bonds"},
                                                             {kExcluded, "ETF"},
                                                             {kExcluded, "No mark"}}));
    EXPECT_TRUE(contents[Sectors].empty());
    EXPECT_EQ(contents[Industries],
              (std::vector<FilterFileItem>{{kUnmarked, "Oil"}, {kIncluded, ""}}));
    EXPECT_TRUE(contents[Watchlists].empty());
}

TEST(FilterFileTest, NamesAreWindows1252OnDiskAndUtf8Inside) {
    test::TempFolder folder;
    const auto file = folder / "tempFilter.txt";
    // A file edited on Linux may end its lines in LF alone.
    test::WriteBytes(file, "[Markets]\n1\tSoci\xE9t\xE9 G\xE9n\xE9rale\n[Groups]\n[Sectors]\n"
                           "[Industries]\n[Watchlists]\n2\tWatchlist \x80\n");
    FilterFileContents contents = ReadFilterFile(file);
    EXPECT_EQ(contents[Markets][0].name, "Soci\u00e9t\u00e9 G\u00e9n\u00e9rale");
    EXPECT_EQ(contents[Watchlists][0].name, "Watchlist \u20ac");

    WriteFilterFile(file, contents);
    EXPECT_EQ(test::ReadBytes(file), "[Markets]\r\n1\tSoci\xE9t\xE9 G\xE9n\xE9rale\r\n[Groups]\r\n"
                                     "[Sectors]\r\n[Industries]\r\n[Watchlists]\r\n"
                                     "2\tWatchlist \x80\r\n");

    // A name the code page cannot hold is refused, and the file stays as it was.
    const std::string before = test::ReadBytes(file);
    contents[Groups].push_back({kIncluded, "\u03a9mega"});
    EXPECT_THROW(WriteFilterFile(file, contents), FilterWriteError);
    EXPECT_EQ(test::ReadBytes(file), before);
}

struct Damage {
    const char* bytes;
    int line;
    const char* description;
};

TEST(FilterFileTest, DamageIsReportedWithItsLine) {
    const Damage cases[] = {
        {"", 1, "The file is empty: no [Market] heading"},
        {"[markets]\r\n[Groups]\r\n[Sectors]\r\n[Industries]\r\n[Watchlists]\r\n", 1,
         "No [Market] heading"},
        {"0\tNYSE\r\n[Groups]\r\n", 1, "No [Market] heading"},
        // Truncated: the sections after [Sectors] never come.
        {"[Markets]\r\n0\tNYSE\r\n[Groups]\r\n[Sectors]\r\n1\tEnergy\r\n", 6,
         "The file ends before the [Industries] heading"},
        // A heading out of order is read as an item, and has no TAB.
        {"[Markets]\r\n[Sectors]\r\n[Groups]\r\n", 2,
         "No TAB between the mark and the name in \"[Sectors]\" under [Markets]"},
        {"[Markets]\r\n[Groups]\r\n[Sectors]\r\n[Industries]\r\n[Watchlists]\r\n0\tW 0\r\n\r\n", 7,
         "No TAB between the mark and the name in \"\" under [Watchlists]"},
    };
    for (const Damage& damage : cases) {
        try {
            ParseFilterFile(damage.bytes);
            ADD_FAILURE() << "accepted: " << damage.bytes;
        } catch (const FilterFileError& error) {
            EXPECT_EQ(error.line(), damage.line) << damage.bytes;
            EXPECT_STREQ(error.what(), damage.description);
        }
    }

    test::TempFolder folder;
    EXPECT_THROW(ReadFilterFile(folder / "tempFilter.txt"), FilterFileError);
    EXPECT_THROW(ReadFilterFile(folder.path()), FilterFileError); // a folder, not a file
}

} // namespace
} // namespace marlindex
