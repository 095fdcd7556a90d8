// The one way every file format reports a problem: where, and what.
#include "startup/Problem.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

TEST(Problem, ThePlaceNamesWhatIsKnownInOneLine) {
    Place text = Place::AtLine(3, 7);
    EXPECT_EQ(text.Describe(), "line 3, column 7");
    text.file = "scan.json";
    EXPECT_EQ(text.Describe(), "scan.json, line 3, column 7");

    Place binary = Place::Within("formula 2 (\"Dip\"), row 1, field \"row text\"", 120);
    EXPECT_EQ(binary.Describe(), "formula 2 (\"Dip\"), row 1, field \"row text\" at byte 120");
    binary.within.clear();
    binary.file = "MARLXS";
    EXPECT_EQ(binary.Describe(), "MARLXS, at byte 120");

    const Problem whole{ProblemKind::Failure, Place::InFile("tempFilter.txt"), "cannot read it"};
    EXPECT_EQ(whole.Message(), "tempFilter.txt: cannot read it");
    EXPECT_EQ((Problem{ProblemKind::BadInput, Place{}, "no object"}).Message(), "no object");
}

TEST(Problem, QuotedInputIsShortAndShowsNoControlCharacters) {
    EXPECT_EQ(QuoteExcerpt("RSI"), "\"RSI\"");
    EXPECT_EQ(QuoteExcerpt("a\r\nb\tc\x01"), "\"a\\r\\nb\\tc\\x01\"");
    EXPECT_EQ(QuoteExcerpt("\x7f\u0081\u009b"), "\"\\x7F\\x81\\x9B\"") << "DEL and C1 controls";
    const std::string flood(5000, 'x');
    EXPECT_EQ(QuoteExcerpt(flood), "\"" + std::string(60, 'x') + "...\"");
    // Characters, not bytes, are counted: a cut never splits one.
    const std::string accents = std::string(59, 'a') + "\u00e9\u00e9";
    EXPECT_EQ(QuoteExcerpt(accents), "\"" + std::string(59, 'a') + "\u00e9...\"");
    EXPECT_EQ(QuoteExcerpt("Soci\xE9t\xE9", 10), "\"Soci\u00e9t\u00e9\"")
        << "Windows-1252 bytes read as the characters they stand for";
}

TEST(Problem, AResultHoldsTheValueOrTheProblem) {
    Result<std::string> read = std::string("bytes");
    ASSERT_TRUE(read);
    EXPECT_EQ(read->size(), 5u);
    EXPECT_EQ(std::move(read).value(), "bytes");

    const Result<int> damaged = Problem{ProblemKind::BadInput, Place::AtLine(4), "no TAB"};
    ASSERT_FALSE(damaged);
    EXPECT_EQ(damaged.problem().Message(), "line 4: no TAB");

    const Result<void> written;
    EXPECT_TRUE(written.ok());
    const Result<void> refused = Problem{ProblemKind::Failure, Place::InFile("f"), "disk full"};
    EXPECT_EQ(refused.problem().kind, ProblemKind::Failure);
}

TEST(Problem, ToolsReadingTextFilesWriteThePlaceAsCompilersDo) {
    const auto at = [](Place where) {
        return Problem{ProblemKind::BadInput, std::move(where), "what"}.FileLineMessage();
    };
    EXPECT_EQ(at(Place::AtLine("scan.afl", 3, 14)), "scan.afl:3:14: what");
    EXPECT_EQ(at(Place::AtLine("AAA.csv", 2)), "AAA.csv:2: what");
    // Without a file and a line, or with a place inside records, the usual message.
    EXPECT_EQ(at(Place::InFile("quotes.db")), "quotes.db: what");
    EXPECT_EQ(at(Place::AtLine(3)), "line 3: what");
    Place record = Place::AtLine("MARLXS", 2);
    record.within = "formula 1";
    EXPECT_EQ(at(record), "MARLXS, line 2, formula 1: what");
}

TEST(Problem, TravelsAsAnExceptionInsideAReaderAndLeavesItAsAResult) {
    const Result<int> stopped = CatchProblem(
        []() -> int { throw ProblemError(ProblemKind::Failure, Place::InFile("f"), "disk full"); });
    ASSERT_FALSE(stopped);
    EXPECT_EQ(stopped.problem().Message(), "f: disk full");
    EXPECT_EQ(CatchProblem([] { return 7; }).value(), 7);
    EXPECT_TRUE(CatchProblem([] {}));

    try {
        ValueOrThrow(Result<void>(Problem{ProblemKind::BadInput, Place{}, "no"}));
        ADD_FAILURE() << "went on";
    } catch (const ProblemError& error) {
        EXPECT_EQ(error.problem().kind, ProblemKind::BadInput);
        EXPECT_STREQ(error.what(), "no");
    }
    EXPECT_EQ(ValueOrThrow(Result<std::string>(std::string("kept"))), "kept");
}

} // namespace
} // namespace marlindex
