#include "startup/AtomicFile.h"
#include "startup/Codepage.h"
#include "startup/TextHelpers.h"
#include "support/HostileFiles.h"
#include "support/TempFolder.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>

namespace marlindex {
namespace {

using Fields = std::vector<std::string>;

TEST(SplitEntry, KeepsEveryFieldIncludingEmptyOnes) {
    EXPECT_EQ(SplitEntry("0;AccDist();Acc/Dist;0;"),
              (Fields{"0", "AccDist()", "Acc/Dist", "0", ""}));
    EXPECT_EQ(SplitEntry("14;Price;Price;1;"), (Fields{"14", "Price", "Price", "1", ""}));
    EXPECT_EQ(SplitEntry(""), (Fields{""}));
    EXPECT_EQ(SplitEntry(";;"), (Fields{"", "", ""}));
    EXPECT_EQ(SplitAtBlanks("Close 12 False"), (Fields{"Close", "12", "False"}));
}

TEST(QuoteApostrophes, DoublesEachApostropheOnly) {
    EXPECT_EQ(QuoteApostrophes("O'Reilly's"), "O''Reilly''s");
    EXPECT_EQ(QuoteApostrophes("''"), "''''");
    EXPECT_EQ(QuoteApostrophes("Energy"), "Energy");
}

TEST(TextRoutines, TrimReplaceAndCaseFolding) {
    EXPECT_EQ(TrimBlanks("  a b  "), "a b");
    EXPECT_EQ(TrimBlanks("\r\n a "), "\r\n a") << "only blanks are trimmed";
    EXPECT_EQ(TrimBlanks("   "), "");
    EXPECT_EQ(ReplaceAll("Array2 + Array2", "Array2", "X"), "X + X");
    EXPECT_EQ(ReplaceAll("aaa", "aa", "b"), "ba") << "left to right, no overlap";
    EXPECT_EQ(ReplaceAll("abc", "", "x"), "abc");
    EXPECT_TRUE(EqualsIgnoreCase("Crosses Above", "crosses above"));
    EXPECT_FALSE(EqualsIgnoreCase("RSI", "RSI "));
    EXPECT_TRUE(ContainsIgnoreCase("x REF( array2, PERIOD2 ) y", "Ref( Array2, Period2 )"));
}

TEST(Codepage, RoundTripsEveryWindows1252Character) {
    std::string all;
    for (int byte = 1; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    const std::string utf8 = Cp1252ToUtf8(all);
    EXPECT_TRUE(IsValidUtf8(utf8));
    EXPECT_EQ(Utf8ToCp1252(utf8), all);
    EXPECT_EQ(Cp1252ToUtf8("\x80"), "\xE2\x82\xAC") << "0x80 is the euro sign";
    EXPECT_EQ(Utf8ToCp1252("caf\xC3\xA9"), "caf\xE9");
}

TEST(Codepage, RefusesWhatTheCodePageCannotHoldAndSaysWhere) {
    CodepageError error;
    EXPECT_FALSE(Utf8ToCp1252("ab\xE2\x86\x92", &error)) << "an arrow has no Windows-1252 form";
    EXPECT_EQ(error.offset, 2u);
    EXPECT_NE(error.what.find("U+2192"), std::string::npos);
    EXPECT_FALSE(Utf8ToCp1252("a\xC3", &error)) << "truncated sequence";
    EXPECT_EQ(error.offset, 1u);
    EXPECT_FALSE(Utf8ToCp1252("\xC0\x80", &error)) << "overlong encoding";
    EXPECT_FALSE(IsValidUtf8("\xED\xA0\x80")) << "surrogates are not characters";
}

TEST(Codepage, DecodeTextTakesStrayBytesAsWindows1252) {
    EXPECT_EQ(DecodeText("caf\xC3\xA9"), U"caf\u00E9");
    EXPECT_EQ(DecodeText("caf\xE9"), U"caf\u00E9") << "a legacy byte is one character";
    EXPECT_EQ(EncodeUtf8(U"\u20AC1"), "\xE2\x82\xAC"
                                      "1");
}

class AtomicFileTest : public ::testing::Test {
protected:
    test::TempFolder temp_;
    const std::filesystem::path& folder_ = temp_.path();
};

TEST_F(AtomicFileTest, ReplacesTheFileWholeAndLeavesNoTemporary) {
    const auto file = folder_ / "MARLXS";
    ASSERT_FALSE(WriteFileAtomically(file, "old"));
    ASSERT_FALSE(WriteFileAtomically(file, std::string("new\0bytes", 9), "~tmpsf"));
    EXPECT_EQ(ReadWholeFile(file), std::string("new\0bytes", 9));
    EXPECT_FALSE(std::filesystem::exists(folder_ / "~tmpsf"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_),
                            std::filesystem::directory_iterator()),
              1);
}

TEST_F(AtomicFileTest, FailedWriteLeavesTargetUntouched) {
    const auto file = folder_ / "settings.reg";
    ASSERT_FALSE(WriteFileAtomically(file, "keep me"));
    EXPECT_TRUE(WriteFileAtomically(folder_ / "missing-folder" / "x", "data"));
    EXPECT_EQ(ReadWholeFile(file), "keep me");
    std::error_code error;
    EXPECT_FALSE(ReadWholeFile(folder_ / "absent", &error));
    EXPECT_EQ(error, std::errc::no_such_file_or_directory);
    EXPECT_FALSE(ReadWholeFile(folder_, &error)) << "a folder is not read as a file";
    EXPECT_EQ(error, std::errc::is_a_directory);
}

TEST_F(AtomicFileTest, KeepAsideNeverOverwritesAnEarlierCopy) {
    const auto file = folder_ / "registry.reg";
    ASSERT_FALSE(WriteFileAtomically(file, "first"));
    const auto first = KeepAside(file, ".bad");
    ASSERT_FALSE(WriteFileAtomically(file, "second"));
    const auto second = KeepAside(file, ".bad");
    ASSERT_TRUE(first && second);
    EXPECT_NE(*first, *second);
    EXPECT_EQ(ReadWholeFile(*first), "first");
    EXPECT_EQ(ReadWholeFile(*second), "second");
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(AtomicFileTest, AnInputFileIsReadOnlyWhenItIsARegularFileWithinItsBound) {
    constexpr InputFileKind kKind{"test file", 1000};
    const auto file = folder_ / "input.txt";
    ASSERT_FALSE(WriteFileAtomically(file, std::string(1000, 'x')));
    ASSERT_TRUE(ReadInputFile(file, kKind));
    EXPECT_EQ(ReadInputFile(file, kKind)->size(), 1000u);

    ASSERT_FALSE(WriteFileAtomically(file, std::string(5000, 'x')));
    const auto tooLarge = ReadInputFile(file, kKind);
    ASSERT_FALSE(tooLarge);
    EXPECT_EQ(tooLarge.problem().kind, ProblemKind::BadInput);
    EXPECT_EQ(tooLarge.problem().Message(),
              Utf8Path(file) +
                  ": is 4.9 KB, larger than a test file can be (at most 1000 bytes), so it was "
                  "not read");

    const auto missing = ReadInputFile(folder_ / "absent", kKind);
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.problem().kind, ProblemKind::BadInput);
    EXPECT_NE(missing.problem().what.find("there is no such test file"), std::string::npos);

    const auto folder = ReadInputFile(folder_, kKind);
    ASSERT_FALSE(folder);
    EXPECT_NE(folder.problem().what.find("is a folder, not a regular file"), std::string::npos);

    const auto pipe = folder_ / "pipe";
    if (test::MakeFifo(pipe)) { // opening a pipe would wait for a writer for ever
        const auto fromPipe = ReadInputFile(pipe, kKind);
        ASSERT_FALSE(fromPipe);
        EXPECT_EQ(fromPipe.problem().kind, ProblemKind::BadInput);
        EXPECT_NE(fromPipe.problem().what.find("is a pipe"), std::string::npos);
        EXPECT_FALSE(ReadWholeFile(pipe));
    }
    if (const auto device = test::EndlessDevice()) { // it would never end
        const auto fromDevice = ReadInputFile(*device, kKind);
        ASSERT_FALSE(fromDevice);
        EXPECT_NE(fromDevice.problem().what.find("is a device"), std::string::npos);
        EXPECT_FALSE(ReadWholeFile(*device));
    }
}

TEST(InputStream, AStreamIsReadUpToItsBoundAndNoFurther) {
    constexpr InputFileKind kKind{"scan file", 100'000};
    std::istringstream small(std::string(100'000, 'a'));
    const auto read = ReadInputStream(small, "stdin", kKind);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->size(), 100'000u);
    std::istringstream flood(std::string(300'000, 'a'));
    const auto refused = ReadInputStream(flood, "stdin", kKind);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.problem().Message(),
              "stdin: holds more than 98 KB, more than a scan file can be, so it was not read");
    EXPECT_EQ(DescribeSize(1), "1 byte");
    EXPECT_EQ(DescribeSize(32u << 20), "32 MB");
    EXPECT_EQ(DescribeSize(3u << 30), "3.0 GB");
}

} // namespace
} // namespace marlindex
