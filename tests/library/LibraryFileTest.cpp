// The library file: the layout byte for byte, round trips, and damaged files, which must give
// a message naming the place and never a crash or a huge allocation.
#include "library/LibraryFile.h"

#include "LibraryBytes.h"
#include "support/HostileFiles.h"
#include "support/TempFolder.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>

namespace marlindex {
namespace {

using test::Bytes;

std::string ReadError(std::string_view bytes) {
    const Result<Library> read = ReadLibrary(bytes);
    return read ? "(read without error)" : read.problem().Message();
}

std::string WriteError(const Library& library) {
    const Result<std::string> written = WriteLibrary(library);
    return written ? "(written without error)" : written.problem().Message();
}

// The library of bytes that must read; the bytes of a library that must write.
Library Read(std::string_view bytes) {
    Result<Library> read = ReadLibrary(bytes);
    EXPECT_TRUE(read) << read.problem().Message();
    return read ? std::move(read).value() : Library{};
}
std::string Write(const Library& library) {
    Result<std::string> written = WriteLibrary(library);
    EXPECT_TRUE(written) << written.problem().Message();
    return written ? std::move(written).value() : std::string();
}

TEST(LibraryFile, ReadsTheLayoutFieldByFieldAndWritesTheSameBytes) {
    const std::string bytes = test::SampleLibraryBytes();
    const Library library = Read(bytes);

    ASSERT_EQ(library.folders.size(), 2u);
    EXPECT_EQ(library.folders[0], (LibraryFolder{"Buy Signals", 2}));
    EXPECT_EQ(library.folders[1], (LibraryFolder{"Empty", 7}));
    ASSERT_EQ(library.formulas.size(), 2u);
    const LibraryFormula& f = library.formulas[1];
    EXPECT_EQ(f.number, 2);
    EXPECT_EQ(f.rowCount, 2);
    EXPECT_EQ(f.applyTo, 2);
    EXPECT_EQ(f.rangeMode, 1);
    EXPECT_EQ(f.rangeCount, 5);
    EXPECT_EQ(f.analysisType, 1);
    EXPECT_EQ(f.folder, "2");
    EXPECT_EQ(f.name, "Breakout");
    EXPECT_EQ(f.description, "d\u00e9j\u00e0 vu") << "Windows-1252 becomes UTF-8";
    EXPECT_EQ(f.formulaText, "Buy = x;");
    EXPECT_EQ(f.rowsLowerBound, 0);
    ASSERT_EQ(f.rows.size(), 2u);
    const ConditionRecord& row = f.rows[1];
    EXPECT_EQ(row.comparisonId, 3);
    EXPECT_EQ(row.codePart1, "RSIa( Close, 14 )");
    EXPECT_EQ(row.codePart2, "< 30");
    EXPECT_EQ(row.indicator1Id, 16);
    EXPECT_EQ(row.timePeriod1, 2);
    EXPECT_EQ(row.modify1On, -1);
    EXPECT_EQ(row.modify1Amount, 2.5);
    EXPECT_EQ(row.modify1Operation, "Increase");
    EXPECT_EQ(row.comparisonType, "Value");
    EXPECT_FALSE(row.indicator2Id.has_value());
    EXPECT_EQ(row.timePeriod2, 1);
    EXPECT_EQ(row.value, 30);
    EXPECT_EQ(row.rowNumber, 1);
    EXPECT_EQ(row.storedValue, Variant(std::int32_t{2}));
    EXPECT_EQ(row.rowText, "row 1");
    EXPECT_EQ(row.leftBrackets, 1);
    EXPECT_EQ(row.rightBrackets, 2);

    EXPECT_EQ(Write(library), bytes);
}

TEST(LibraryFile, EveryVariantTypeAndArrayShapeSurvivesARoundTrip) {
    // The owner field may hold any variant a file can carry.
    const std::vector<std::pair<Variant, std::string>> values = {
        {VariantEmpty{}, Bytes().I16(0).str()},
        {VariantNull{}, Bytes().I16(1).str()},
        {std::int16_t{-2}, Bytes().I16(2).I16(-2).str()},
        {std::int32_t{70000}, Bytes().I16(3).I32(70000).str()},
        {1.5f, Bytes().I16(4).F32(1.5f).str()},
        {-0.25, Bytes().I16(5).F64(-0.25).str()},
        {std::string("\u20ac5"), Bytes()
                                     .I16(8)
                                     .Str("\x80"
                                          "5")
                                     .str()},
        {true, Bytes().I16(11).I16(-1).str()},
        {false, Bytes().I16(11).I16(0).str()},
    };
    for (const auto& [value, stored] : values) {
        Library library;
        LibraryFormula formula;
        formula.rows.resize(1);
        formula.rows[0].storedValue = value;
        formula.rowsLowerBound = 0;
        library.formulas.push_back(formula);
        const std::string bytes = Write(library);
        EXPECT_NE(bytes.find(stored), std::string::npos) << stored.size();
        EXPECT_EQ(Read(bytes), library);
    }

    // No formulas, folders without formulas; an empty rows array has no dimensions; a
    // one-dimensional array keeps its count and lower bound even when empty.
    Library shapes;
    shapes.folders = {{"", 1}, {"Empty", 2}};
    shapes.formulas.resize(3);
    shapes.formulas[1].rowsLowerBound = 1;
    shapes.formulas[2].rows.resize(2);
    shapes.formulas[2].rowsLowerBound = -3;
    const std::string bytes = Write(shapes);
    EXPECT_EQ(Read(bytes), shapes);
    EXPECT_EQ(Write(Read(bytes)), bytes);
    EXPECT_EQ(Write(Library{}), Bytes().I32(0).I32(0).str());
}

TEST(LibraryFile, CatalogueIdsAreDecimalTextAndAcceptedAsNumbersToo) {
    Library library;
    library.formulas.resize(1);
    library.formulas[0].rows.resize(1);
    library.formulas[0].rowsLowerBound = 0;
    library.formulas[0].rows[0].indicator1Id = 39;
    const std::string bytes = Write(library);
    EXPECT_NE(bytes.find(Bytes().TextValue("39").str()), std::string::npos);

    // A file holding an id as a 16-bit number or as empty text reads the same.
    std::string numeric = bytes;
    const std::string text = Bytes().TextValue("39").str();
    numeric.replace(numeric.find(text), text.size(), Bytes().I16(2).I16(39).str());
    EXPECT_EQ(Read(numeric).formulas[0].rows[0].indicator1Id, 39);
}

TEST(LibraryFile, BytesAfterTheLastFormulaAreIgnored) {
    const std::string bytes = test::SampleLibraryBytes();
    EXPECT_EQ(Read(bytes + "old tail"), Read(bytes));
}

TEST(LibraryFile, EveryTruncationIsReportedWithItsPlace) {
    const std::string bytes = test::SampleLibraryBytes();
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        const std::string message = ReadError(std::string_view(bytes).substr(0, length));
        ASSERT_NE(message.find(" at byte "), std::string::npos) << length << ": " << message;
    }
    // The last field of the last row of the last formula.
    EXPECT_EQ(ReadError(std::string_view(bytes).substr(0, bytes.size() - 1)),
              "formula 2 (\"Breakout\"), row 2, field \"right brackets\" at byte " +
                  std::to_string(bytes.size() - 2) +
                  ": the file ends here: 2 bytes needed, 1 left");
}

TEST(LibraryFile, DamagedCountsLengthsAndTypesAreRefusedBeforeAnythingIsSized) {
    const std::string sample = test::SampleLibraryBytes();
    const auto patched = [&](std::size_t at, const std::string& with) {
        std::string bytes = sample;
        bytes.replace(at, with.size(), with);
        return bytes;
    };
    // Offsets in the sample: counts at 0 and 4; "Buy Signals" at 8; formula 1's rows at 86.
    const std::size_t rows = 86;
    ASSERT_EQ(sample.substr(rows, 10), Bytes().I16(1).I32(1).I32(0).str());

    const std::vector<std::pair<std::string, std::string>> cases = {
        {Bytes().I32(-1).I32(0).str(),
         "field \"formula count\" at byte 0: the count -1 is negative"},
        {patched(4, Bytes().I32(0x7FFFFFFF).str()),
         "field \"folder count\" at byte 4: the count 2147483647 needs at least"},
        {patched(0, Bytes().I32(0x10000).str()),
         "field \"formula count\" at byte 0: the count 65536 needs at least"},
        {patched(8, Bytes().I16(0xFFFF).str()),
         "folder 1, field \"name\" at byte 8: the text is 65535 bytes long but only"},
        {patched(rows, Bytes().I16(2).str()),
         "formula 1 (\"Dip\"), field \"rows\" at byte 86: an array of 2 dimensions"},
        {patched(rows, Bytes().I16(-1).str()), "an array of -1 dimensions"},
        {patched(rows + 2, Bytes().I32(-5).str()), "field \"rows\" at byte 88: the count -5"},
        {patched(rows + 2, Bytes().I32(0x7FFFFFFF).str()),
         "field \"rows\" at byte 88: the count 2147483647 needs at least"},
        {patched(rows + 10, Bytes().I16(9).str()),
         "formula 1 (\"Dip\"), row 1, field \"comparison id\" at byte 96: unknown value type 9"},
        {patched(rows + 10, Bytes().I16(5).str()), "a catalogue id must be a whole number"},
        {patched(rows + 10, Bytes().TextValue("x").str()), "\"x\" is not a catalogue id"},
    };
    for (const auto& [bytes, expected] : cases) {
        EXPECT_NE(ReadError(bytes).find(expected), std::string::npos)
            << "expected: " << expected << "\n     got: " << ReadError(bytes);
    }
}

TEST(LibraryFile, TextTheFileCannotHoldIsRefusedNamingTheField) {
    Library library = Read(test::SampleLibraryBytes());
    library.formulas[1].description = "up \u2191";
    EXPECT_EQ(WriteError(library), "formula 2 (\"Breakout\"), field \"description\": the character "
                                   "U+2191 has no Windows-1252 form (character 4); the library "
                                   "file holds Windows-1252 text only");

    library = Read(test::SampleLibraryBytes());
    library.formulas[0].rows[0].rowText = std::string(65535, 'x');
    EXPECT_EQ(WriteError(library), "(written without error)");
    library.formulas[0].rows[0].rowText += "\u00e9";
    EXPECT_EQ(WriteError(library),
              "formula 1 (\"Dip\"), row 1, field \"row text\": the text is 65536 bytes long; "
              "the library file holds at most 65,535 bytes per text");
}

TEST(LibraryFile, DeletingAFormulaRenumbersTheOnesAfterIt) {
    Library library = Read(test::SampleLibraryBytes());
    LibraryFormula extra = library.formulas[1];
    extra.name = "Third";
    EXPECT_EQ(library.StoreFormula(extra, "7", 0), 3);

    library.DeleteFormula(1);
    ASSERT_EQ(library.formulas.size(), 2u);
    for (std::size_t i = 0; i < library.formulas.size(); ++i) {
        const auto number = static_cast<std::int32_t>(i + 1);
        EXPECT_EQ(library.formulas[i].number, number);
        for (const ConditionRecord& row : library.formulas[i].rows) {
            EXPECT_EQ(row.storedValue, Variant(number));
        }
    }
    EXPECT_EQ(library.FindFormula(7, "Third"), 2);
}

TEST(LibraryFile, NewFolderIdsStayUniqueAfterADelete) {
    Library library = DefaultLibrary();
    library.DeleteFolder(2);
    const LibraryFolder& added = library.AddFolder();
    EXPECT_EQ(added.name, "New Folder 3");
    EXPECT_EQ(added.id, 4);
    library.folders.push_back({"Last", 0x7FFFFFFF});
    EXPECT_EQ(library.AddFolder().id, 2);
}

TEST(LibraryFile, SavingGoesThroughTheTemporaryFileAndADamagedFileIsNeverOverwritten) {
    test::TempFolder folder;
    const auto file = LibraryPath(folder / "Marlindex");
    Result<LoadedLibrary> load = LoadLibraryFile(file);
    ASSERT_TRUE(load);
    EXPECT_FALSE(load->fromFile);
    EXPECT_EQ(load->library, DefaultLibrary());

    EXPECT_TRUE(SaveLibraryFile(file, load->library)) << "the program folder is created";
    EXPECT_EQ(test::ReadBytes(file), Write(DefaultLibrary()));
    EXPECT_FALSE(std::filesystem::exists(folder / "Marlindex" / kLibraryTemporaryName));

    Library refused = DefaultLibrary();
    refused.folders[0].name = "\xF0\x9F\x93\x88";
    const Result<void> saved = SaveLibraryFile(file, refused);
    ASSERT_FALSE(saved);
    EXPECT_EQ(saved.problem().kind, ProblemKind::BadInput);
    EXPECT_EQ(saved.problem().Message(),
              file.string() + ", folder 1, field \"name\": the character "
                              "U+1F4C8 has no Windows-1252 form (character 1); the library file "
                              "holds Windows-1252 text only, so nothing was saved");
    EXPECT_EQ(test::ReadBytes(file), Write(DefaultLibrary()));

    const std::string damaged = test::SampleLibraryBytes().substr(0, 120);
    test::WriteBytes(file, damaged);
    load = LoadLibraryFile(file);
    ASSERT_FALSE(load);
    EXPECT_EQ(load.problem().kind, ProblemKind::BadInput);
    EXPECT_EQ(load.problem().Message().rfind(file.string() + ", formula 1", 0), 0u)
        << load.problem().Message();
    EXPECT_EQ(test::ReadBytes(file), damaged);
}

// What is no library file is refused before it is read, as bad input the user can see and
// fix, while a missing file still starts the default library: a pipe would wait for ever, a
// device never ends, and a file beyond the bound would exhaust the program.
TEST(LibraryFile, OnlyARegularFileWithinTheBoundIsRead) {
    test::TempFolder folder;
    const auto file = LibraryPath(folder.path());
    test::WriteBytes(file, Write(DefaultLibrary()));
    std::filesystem::resize_file(file, kLibraryFileKind.maxBytes + 1);
    Result<LoadedLibrary> load = LoadLibraryFile(file);
    ASSERT_FALSE(load);
    EXPECT_EQ(load.problem().kind, ProblemKind::BadInput);
    EXPECT_EQ(load.problem().Message(),
              file.string() + ": is 256 MB, larger than a formula library can be (at most "
                              "256 MB), so it was not read");

    std::filesystem::remove(file);
    load = LoadLibraryFile(file);
    ASSERT_TRUE(load);
    EXPECT_FALSE(load->fromFile);
#ifndef _WIN32
    ASSERT_TRUE(test::MakeFifo(file));
    load = LoadLibraryFile(file);
    ASSERT_FALSE(load);
    EXPECT_EQ(load.problem().Message(),
              file.string() + ": is a pipe, not a regular file; a formula library must be one");
    EXPECT_TRUE(std::filesystem::is_fifo(file)) << "left where it was";

    load = LoadLibraryFile(*test::EndlessDevice());
    ASSERT_FALSE(load);
    EXPECT_EQ(load.problem().kind, ProblemKind::BadInput);
    EXPECT_NE(load.problem().Message().find("is a device"), std::string::npos);
#endif
}

// Inputs on which scripts/fuzz found the reader failing stay here as cases: each must now read
// cleanly or be refused, and what it reads must write the same bytes again.
TEST(LibraryFile, FuzzFindingsReadOrAreRefused) {
    const char* source = std::getenv("MARLINDEX_SOURCE_DIR");
    ASSERT_NE(source, nullptr);
    const std::filesystem::path findings =
        std::filesystem::path(source) / "tests" / "library" / "fuzz-findings";
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(findings)) {
        if (entry.path().extension() == ".md") {
            continue;
        }
        ++count;
        const std::string bytes = test::ReadBytes(entry.path());
        const Result<Library> read = ReadLibrary(bytes);
        if (read) {
            const std::string written = Write(*read);
            EXPECT_EQ(Write(Read(written)), written) << entry.path();
        } else {
            EXPECT_TRUE(read.problem().where.byte) << read.problem().Message();
        }
    }
    if (count == 0) {
        GTEST_SKIP() << "the fuzzer has found nothing to keep";
    }
}

} // namespace
} // namespace marlindex
