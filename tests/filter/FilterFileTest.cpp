// Reading, writing and re-creating the filter file: the bytes on disk, the encodings and line
// ends another tool may leave, what a damaged or hostile file reports, and that nothing is
// lost on the way.
#include "filter/FilterFile.h"

#include "support/TempFolder.h"

#include <chrono>
#include <gtest/gtest.h>

#ifndef _WIN32
#include <sys/stat.h>
#endif

namespace marlindex {
namespace {

namespace fs = std::filesystem;

enum : std::size_t { Markets, Groups, Sectors, Industries, Watchlists };

TEST(FilterFileTest, RecreatingWritesTheDefaultFileAndKeepsEveryEarlierBackup) {
    std::string defaults = "[Markets]\r\n0\tMarket 1\r\n0\tMarket 2\r\n"
                           "[Groups]\r\n0\tGroup 1\r\n0\tGroup 2\r\n"
                           "[Sectors]\r\n0\tSector 1\r\n0\tSector 2\r\n"
                           "[Industries]\r\n0\tIndustry 1\r\n0\tIndustry 2\r\n[Watchlists]\r\n";
    for (int n = 0; n < 64; ++n) {
        defaults += "0\tWatchlist " + std::to_string(n) + "\r\n";
    }
    test::TempFolder folder;
    const auto file = folder / "tempFilter.txt";

    Result<std::optional<fs::path>> recreated = RecreateFilterFile(folder.path(), true);
    ASSERT_TRUE(recreated);
    EXPECT_EQ(*recreated, std::nullopt) << "nothing to back up yet";
    EXPECT_EQ(test::ReadBytes(file), defaults);
    EXPECT_FALSE(fs::exists(folder / "tempFilter.bak"));

    // Each backup takes the next free name; none is written over.
    for (const std::string backup : {"tempFilter.bak", "tempFilter.1.bak", "tempFilter.2.bak"}) {
        test::WriteBytes(file, "damaged before " + backup);
        recreated = RecreateFilterFile(folder.path(), true);
        ASSERT_TRUE(recreated) << recreated.problem().Message();
        EXPECT_EQ(*recreated, folder / backup);
        EXPECT_EQ(test::ReadBytes(file), defaults);
    }
    EXPECT_EQ(test::ReadBytes(folder / "tempFilter.bak"), "damaged before tempFilter.bak");
    EXPECT_EQ(test::ReadBytes(folder / "tempFilter.1.bak"), "damaged before tempFilter.1.bak");

    test::WriteBytes(file, "damaged, no backup asked");
    recreated = RecreateFilterFile(folder.path(), false);
    ASSERT_TRUE(recreated);
    EXPECT_EQ(*recreated, std::nullopt);
    EXPECT_FALSE(fs::exists(folder / "tempFilter.3.bak"));
    EXPECT_EQ(test::ReadBytes(file), defaults);

    // What cannot be backed up (here a folder in the file's place) stays as it is.
    fs::remove(file);
    fs::create_directory(file);
    test::WriteBytes(file / "inside", "kept");
    const auto refused = RecreateFilterFile(folder.path(), true);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.problem().where.file, file.string());
    EXPECT_NE(refused.problem().what.find("nothing to back up"), std::string::npos);
    EXPECT_EQ(test::ReadBytes(file / "inside"), "kept");
}

TEST(FilterFileTest, ReadingKeepsEmptySectionsAndTakesUnknownMarksAsExcluded) {
    const FilterFileContents contents =
        *ParseFilterFile("[Markets]\r\n"
                         "[Groups]\tthe heading is the first field\r\n"
                         "1\tFunds\r\n7\tBonds\r\n\tNo mark\r\n"
                         "[Sectors]\r\n[Industries]\r\n"
                         "0\t O'Neil & Co. \r\n"
                         "[Watchlists]"); // no line break after the last line
    EXPECT_TRUE(contents[Markets].empty());
    EXPECT_EQ(contents[Groups],
              (std::vector<FilterFileItem>{
                  {kIncluded, "Funds"}, {kExcluded, "Bonds"}, {kExcluded, "No mark"}}));
    EXPECT_TRUE(contents[Sectors].empty());
    EXPECT_EQ(contents[Industries], (std::vector<FilterFileItem>{{kUnmarked, " O'Neil & Co. "}}));
    EXPECT_TRUE(contents[Watchlists].empty());
}

TEST(FilterFileTest, EveryLineEndAndAByteOrderMarkReadAlike) {
    const std::string lines[] = {"[Markets]",    "1\tNYSE",        "[Groups]",
                                 "[Sectors]",    "2\tEnergy",      "[Industries]",
                                 "[Watchlists]", "0\tWatchlist 0", "1\tWatchlist 1"};
    const auto join = [&](const std::vector<std::string>& ends) {
        std::string text;
        for (std::size_t i = 0; i < std::size(lines); ++i) {
            text += lines[i] + ends[i % ends.size()];
        }
        return text;
    };
    const FilterFileContents expected = *ParseFilterFile(join({"\r\n"}));
    EXPECT_EQ(expected[Sectors], (std::vector<FilterFileItem>{{kExcluded, "Energy"}}));
    EXPECT_EQ(expected[Watchlists].size(), 2u);
    const std::vector<std::string> ends[] = {{"\n"}, {"\r"}, {"\r\n", "\n", "\r"}};
    for (const auto& end : ends) {
        for (const std::string prefix : {"", "\xEF\xBB\xBF"}) {
            const std::string bytes = prefix + join(end);
            const Result<FilterFileContents> read = ParseFilterFile(bytes);
            ASSERT_TRUE(read) << read.problem().Message();
            EXPECT_EQ(*read, expected) << QuoteExcerpt(bytes, 200);
        }
    }
    // A line end counts once: CR CR LF leaves an empty line, which is no item.
    const Result<FilterFileContents> blank = ParseFilterFile("[Markets]\r\r\n0\tNYSE\r\n");
    ASSERT_FALSE(blank);
    EXPECT_EQ(blank.problem().where.line, 2u);
}

TEST(FilterFileTest, NamesAreWindows1252OnDiskAndUtf8InsideAndAUtf8FileReadsAsUtf8) {
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

    // Another tool's UTF-8, with or without a byte-order mark, gives the same names, and is
    // written back the program's way.
    for (const std::string prefix : {"", "\xEF\xBB\xBF"}) {
        test::WriteBytes(file, prefix + "[Markets]\r\n1\tSoci\u00e9t\u00e9\r\n[Groups]\r\n"
                                        "[Sectors]\r\n[Industries]\r\n[Watchlists]\r\n"
                                        "2\tWatchlist \u20ac\r\n");
        const Result<FilterFileContents> utf8 = ReadFilterFile(file);
        ASSERT_TRUE(utf8) << utf8.problem().Message();
        EXPECT_EQ(*utf8, contents);
        ASSERT_TRUE(WriteFilterFile(file, *utf8));
        EXPECT_EQ(test::ReadBytes(file), written);
    }

    // A name the code page cannot hold, or that would not read back, is refused, and the file
    // stays as it was.
    for (const std::string name : {"\u03a9mega", "Say \"Cheese\""}) {
        FilterFileContents refusedContents = contents;
        refusedContents[Groups].push_back({kIncluded, name});
        const Result<void> refused = WriteFilterFile(file, refusedContents);
        ASSERT_FALSE(refused) << name;
        EXPECT_EQ(refused.problem().kind, ProblemKind::BadInput);
        EXPECT_EQ(refused.problem().where.within, "[Groups] item 1");
        EXPECT_EQ(test::ReadBytes(file), written);
    }
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
        // A byte-order mark promises UTF-8; a Windows-1252 byte breaks the promise.
        {"\xEF\xBB\xBF[Markets]\r\n1\tNYSE\r\n0\tSoci\xE9t\xE9\r\n", 3,
         "The file begins with a UTF-8 byte-order mark, but this line is not UTF-8: "
         "\"0\\tSoci\u00e9t\u00e9\""},
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
    fs::remove(file);
    EXPECT_EQ(ReadFilterFile(file).problem().Message(),
              file.string() + ": there is no such filter file");
    EXPECT_EQ(ReadFilterFile(file).problem().kind, ProblemKind::BadInput);
}

// A name goes between double quotes into the AFL filter expression and onto one line of the
// file: what would break either is reported at its line and column, never passed on.
TEST(FilterFileTest, NamesThatWouldBreakTheExpressionOrTheFileAreReportedWhereTheyStand) {
    const struct {
        std::string name; // on the third line, after "1\t"
        std::size_t column;
        const char* holds;
    } cases[] = {
        {"Say \"Cheese\"", 7, "a double quote"},
        {"C:\\Funds", 5, "a backslash"},
        {"Oil\tand gas", 6, "a TAB"},
        {std::string("Oil\0Gas", 7), 6, "the control character U+0000"},
        {"Oil\x01", 6, "the control character U+0001"},
        {"Oil\x7F", 6, "the control character U+007F"},
        // A byte Windows-1252 leaves undefined reads as a C1 control.
        {"Oil\x81", 6, "the control character U+0081"},
        {"\xCE\xA9mega", 3,
         "the character U+03A9, which the filter file (Windows-1252) cannot "
         "hold"},
    };
    for (const auto& bad : cases) {
        const std::string bytes = "[Markets]\r\n0\tNYSE\r\n1\t" + bad.name +
                                  "\r\n[Groups]\r\n[Sectors]\r\n[Industries]\r\n[Watchlists]\r\n";
        const Result<FilterFileContents> read = ParseFilterFile(bytes);
        ASSERT_FALSE(read) << "accepted: " << QuoteExcerpt(bad.name, 200);
        EXPECT_EQ(read.problem().kind, ProblemKind::BadInput);
        EXPECT_EQ(read.problem().where.line, 3u) << QuoteExcerpt(bad.name, 200);
        EXPECT_EQ(read.problem().where.column, bad.column) << QuoteExcerpt(bad.name, 200);
        EXPECT_TRUE(read.problem().what.starts_with("The name \""));
        EXPECT_NE(read.problem().what.find(" under [Markets] holds " + std::string(bad.holds)),
                  std::string::npos)
            << read.problem().what;
    }

    // The message quotes at most 60 characters of a long name, with control characters shown.
    const std::string longName = std::string(5000, 'x') + "\"";
    const Result<FilterFileContents> read =
        ParseFilterFile("[Markets]\r\n1\t\x02" + longName + "\r\n");
    ASSERT_FALSE(read);
    EXPECT_EQ(read.problem().where.column, 3u);
    EXPECT_LT(read.problem().what.size(), 200u);
    EXPECT_NE(read.problem().what.find("\"\\x02xxx"), std::string::npos) << read.problem().what;

    // The edit takes the same rules.
    EXPECT_EQ(CheckFilterName("  Soci\u00e9t\u00e9 O'Neil \u20ac "), std::nullopt);
    EXPECT_EQ(CheckFilterName("Two\r\nlines")->position, 3u);
    EXPECT_TRUE(CheckFilterName("Two\nlines")->what.starts_with("a line break"));
}

TEST(FilterFileTest, OnlyARegularFileOfSaneSizeIsRead) {
    test::TempFolder folder;
    const auto file = folder / "tempFilter.txt";
    test::WriteBytes(file, "");
    fs::resize_file(file, 3 * 1024 * 1024); // sparse: nothing is written
    const Result<FilterFileContents> large = ReadFilterFile(file);
    ASSERT_FALSE(large);
    EXPECT_EQ(large.problem().kind, ProblemKind::BadInput);
    EXPECT_NE(large.problem().what.find("larger than a filter file can be"), std::string::npos)
        << large.problem().what;

    fs::remove(file);
    fs::create_directory(file);
    EXPECT_EQ(ReadFilterFile(file).problem().kind, ProblemKind::BadInput);
#ifndef _WIN32
    // A pipe would keep a reader waiting for ever: it is refused without being opened.
    fs::remove(file);
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    const auto start = std::chrono::steady_clock::now();
    const Result<FilterFileContents> pipe = ReadFilterFile(file);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    ASSERT_FALSE(pipe);
    EXPECT_EQ(pipe.problem().Message(),
              file.string() + ": is a pipe, not a regular file; a filter file must be one");
    // Nor is it taken for a file to back up.
    EXPECT_FALSE(RecreateFilterFile(folder.path(), true));
    EXPECT_TRUE(fs::is_fifo(file));
#endif
}

} // namespace
} // namespace marlindex
