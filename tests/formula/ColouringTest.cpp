#include "formula/Colouring.h"

#include "formula/ColourRendering.h"

#include <gtest/gtest.h>
#include <string>

namespace marlindex {
namespace {

// One letter per character, so that a whole line's colouring reads at a glance:
// '.' uncoloured (black, regular), 'K' black bold, 'b' blue, 'm' magenta, '?' anything else.
std::string Classes(std::u32string_view text) {
    std::string out;
    for (const CharFormat& f : ColourCharacters(text)) {
        if (f == kDefaultFormat) {
            out += '.';
        } else if (f == CharFormat{kBlack, true}) {
            out += 'K';
        } else if (f == CharFormat{kBlue, false}) {
            out += 'b';
        } else if (f == CharFormat{kMagenta, false}) {
            out += 'm';
        } else {
            out += '?';
        }
    }
    return out;
}

TEST(Colouring, ColoursEachTokenClass) {
    // Buy = Cross(MA(Close,15), MA(Close,30));
    EXPECT_EQ(Classes(U"Buy = Cross(MA(Close,15), MA(Close,30));"),
              "KKK...bbbbb.bb.KKKKK.mm...bb.KKKKK.mm...");
    EXPECT_EQ(Classes(U"close AND or"), "KKKKK.KKK.KK");
    EXPECT_EQ(Classes(U"x > -1.5 * 2"), ".....mmm...m");
}

TEST(Colouring, MatchesInsideWordsAndRunsOnOverTheWordsOwnLetters) {
    EXPECT_EQ(Classes(U"Sandy"), ".KKK."); // AND inside a word, found regardless of case
    EXPECT_EQ(Classes(U"MAX"), "bb.");     // MA stops at a letter not its own
    EXPECT_EQ(Classes(U"MAMAX"), "bbbb."); // ... and runs on over M and A
    EXPECT_EQ(Classes(U"Mam"), "bb.");     // the run-on compares case exactly
    EXPECT_EQ(Classes(U"MACD MAMA"), "bbbb.bbbb");
}

TEST(Colouring, LaterPassesOverwriteEarlierOnes) {
    EXPECT_EQ(Classes(U"Array1"), "KKKKKK");   // digit inside a keyword
    EXPECT_EQ(Classes(U"Array12"), "KKKKKKm"); // the 2 is not a letter of Array1
    EXPECT_EQ(Classes(U"AMA2 EMA"), "bbbb.bbb");
    EXPECT_EQ(Classes(U"\"Close > 15\""), "mmmmmmmmmmmm"); // strings drop bold too
}

TEST(Colouring, RepeatedAndOverlappingOccurrences) {
    // The search after a match restarts two characters on, skipping an occurrence one place
    // later; the run-on over the word's own characters has coloured that one already.
    EXPECT_EQ(Classes(U"111"), "mmm");
    EXPECT_EQ(Classes(U"1111 x 0.00"), "mmmm...mmmm");
    EXPECT_EQ(Classes(U"MAMAmama"), "bbbbbbbb");
}

TEST(Colouring, QuotedStrings) {
    EXPECT_EQ(Classes(U"x \"ab"), "..mmm"); // unclosed: to the end
    EXPECT_EQ(Classes(U"a \""), "..m");     // quote as the last character
    EXPECT_EQ(Classes(U"\"\"\""), "mmm");
    EXPECT_EQ(Classes(U"\"\" x \"y\""), "mm...mmm");
    // After a closing quote the search skips one character, so a quote standing right there
    // opens nothing: the next string starts at the quote after it.
    EXPECT_EQ(Classes(U"\"a\"\"b\""), "mmm..m");
}

TEST(Colouring, EmptyText) {
    EXPECT_TRUE(ColourCharacters(U"").empty());
    EXPECT_TRUE(ColourRuns(std::u32string_view{}).empty());
    EXPECT_TRUE(ColourRuns(std::string_view{}).empty());
}

TEST(Colouring, GeneratedExploration) {
    const std::u32string text = U"Filter = RSIa( Close, 14 ) < 30;\r\n"
                                U"AddColumn( Close, \"Close  \" );\r\n"
                                U"AddColumn( Open, \"Open  \" );\r\n"
                                U"AddColumn( High, \"High  \" );\r\n"
                                U"AddColumn( Low, \"Low  \" );\r\n"
                                U"AddColumn( Volume, \"Volume      \" );";
    std::string expected = "KKKKKK...bbbb..KKKKK..mm.....mm...";
    expected += "bbbbbbbbb..KKKKK..mmmmmmmmm.....";
    expected += "bbbbbbbbb..KKKK..mmmmmmmm.....";
    expected += "bbbbbbbbb..KKKK..mmmmmmmm.....";
    expected += "bbbbbbbbb..KKK..mmmmmmm.....";
    expected += "bbbbbbbbb..KKKKKK..mmmmmmmmmmmmmm...";
    EXPECT_EQ(Classes(text), expected);
}

TEST(Colouring, RunsCountCharactersNotBytes) {
    // "Sélection" 15 -- é is two bytes in UTF-8, one character
    const std::vector<FormatRun> expected = {
        {0, 11, {kMagenta, false}}, {11, 1, kDefaultFormat}, {12, 2, {kMagenta, false}}};
    EXPECT_EQ(ColourRuns(std::string_view("\"S\xC3\xA9lection\" 15")), expected);
    // A byte that is not UTF-8 is one Windows-1252 character.
    EXPECT_EQ(ColourRuns(std::string_view("\"S\xE9lection\" 15")), expected);
}

TEST(ColourRendering, RendersRunsAnsiAndHtml) {
    const std::u32string text = U"Buy = MA(1);\r\n\"a<b&c>\"";
    const std::vector<FormatRun> runs = ColourRuns(text);

    EXPECT_EQ(RenderRuns(runs), "0 3 #000000 bold\n"
                                "3 3 #000000 regular\n"
                                "6 2 #0000ff regular\n"
                                "8 1 #000000 regular\n"
                                "9 1 #ff00ff regular\n"
                                "10 4 #000000 regular\n"
                                "14 8 #ff00ff regular\n");

    EXPECT_EQ(RenderAnsi(text, runs), "\x1b[1mBuy\x1b[0m = \x1b[38;2;0;0;255mMA\x1b[0m("
                                      "\x1b[38;2;255;0;255m1\x1b[0m);\n"
                                      "\x1b[38;2;255;0;255m\"a<b&c>\"\x1b[0m");

    EXPECT_EQ(RenderHtml(text, runs),
              "<pre><span style=\"font-weight:bold\">Buy</span> = "
              "<span style=\"color:#0000ff\">MA</span>(<span style=\"color:#ff00ff\">1</span>);\n"
              "<span style=\"color:#ff00ff\">&quot;a&lt;b&amp;c&gt;&quot;</span></pre>\n");
}

TEST(ColourRendering, ColouredBoldAndNonAsciiText) {
    const std::u32string text = U"é\r\r\n";
    const std::vector<FormatRun> runs = {{0, 2, {0x123456, true}}, {2, 2, kDefaultFormat}};
    EXPECT_EQ(RenderAnsi(text, runs), "\x1b[1m\x1b[38;2;18;52;86m\xC3\xA9\r\x1b[0m\n");
    EXPECT_EQ(RenderHtml(text, runs),
              "<pre><span style=\"color:#123456;font-weight:bold\">\xC3\xA9\r</span>\n</pre>\n");
}

} // namespace
} // namespace marlindex
