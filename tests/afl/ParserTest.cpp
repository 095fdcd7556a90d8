// Reading formulas: AFL's precedence, letter case, comments and statements, and the place and
// wording of every error.
#include "AflTestSupport.h"

#include <string>

namespace marlindex::afl {
namespace {

using test::ParseError;
using test::Scalar;

TEST(AflParser, PrecedenceIsAfl) {
    const std::pair<const char*, double> cases[] = {
        {"-2 ^ 2", -4},          // '^' binds tighter than the sign
        {"2 ^ -1", 0.5},         // yet its right side may carry one
        {"2 ^ 3 ^ 2", 64},       // left to right
        {"1 + 2 * 3", 7},        // products before sums
        {"10 - 2 - 3", 5},       // left to right
        {"8 / 2 / 2", 2},        // left to right
        {"7 % 4 * 2", 6},        // % is a product
        {"1 < 2 == 1", 1},       // relations before equality
        {"2 == 2 > 1", 0},       // 2 == (2 > 1)
        {"NOT 1 > 2", 1},        // NOT (1 > 2): NOT is below the comparisons
        {"NOT 0 AND 0", 0},      // (NOT 0) AND 0: and above AND
        {"1 OR 0 AND 0", 1},     // AND before OR
        {"( 1 OR 0 ) AND 0", 0}, // brackets first
        {"- - 3", 3},            // signs repeat
        {"6 & 3 | 8", 10},       // bit-wise, below the comparisons
        {"3 == 3 & 1", 1},       // (3 == 3) & 1
    };
    for (const auto& [text, want] : cases) {
        EXPECT_EQ(Scalar(text), want) << text;
    }
}

TEST(AflParser, NamesIgnoreCaseAndStatementsRunInOrder) {
    const test::TestSymbol symbol = test::FromCloses({10, 11, 12});
    const std::string formula =
        "/* a comment\r\n over lines */ x = y = 2; // to the end\r\n"
        "X += CLOSE * 1; y *= 3;\r\n"
        "Total = x + Y;\r\n"
        "filter = c > o And NOT false;\r\n"
        "AddColumn( total, \"Total\" ); addcolumn( rsia( C, 2 ), \"R\", 1.4 );";
    Workspace workspace;
    const Results& results = Evaluate(Formula::Parse(formula), symbol.Data(), workspace);
    ASSERT_EQ(results.columns.size(), 2u);
    EXPECT_EQ(results.columns[0].title, "Total");
    EXPECT_EQ(results.columns[0].values[2], 2 + 12 + 6);
    EXPECT_EQ(results.columns[1].title, "R");
    EXPECT_EQ(results.columns[1].format, 1.4);
    ASSERT_TRUE(results.filter.has_value());
    EXPECT_FALSE(results.buy.has_value());
    EXPECT_FALSE(results.sell.has_value());
}

TEST(AflParser, StringsKeepTheirEscapesAndNumbersTheirForms) {
    EXPECT_EQ(Scalar("\"a\\\"b\" == \"a\" + \"\\\"\" + \"b\""), 1);
    EXPECT_EQ(Scalar("\"\\\\n\" != \"\\n\""), 1);
    EXPECT_EQ(Scalar(".5 + 5. + 1e2 + 2.5E-1"), 105.75);
    EXPECT_EQ(Scalar("\"Banks\" < \"banks\""), 1) << "texts compare byte by byte";
}

TEST(AflParser, ErrorsNameLineColumnAndWhat) {
    const std::pair<std::string, std::string> cases[] = {
        {"Buy = RSIa( Close, 14 < 30;",
         "line 1, column 27: expected ')' after the arguments of RSIa, found ';'"},
        {"Filter = 1;\r\nx = 2;\r\nBuy = MA( Close, 5 ) > RSIb( Close );",
         "line 3, column 24: unknown function 'RSIb'"},
        {"Buy = MA( Close );", "line 1, column 7: MA takes 2 arguments, not 1"},
        {"Buy = RSIa( Close, 14, 3 );", "line 1, column 7: RSIa takes 1 or 2 arguments, not 3"},
        {"Buy = Signal( 1, 2, 3, 4 );", "line 1, column 7: Signal takes 0 to 3 arguments, not 4"},
        {"Buy = NVI( 3 );", "line 1, column 7: NVI takes 0 arguments, not 1"},
        {"Buy = C > O", "line 1, column 12: expected ';' at the end of the statement, found the "
                        "end of the formula"},
        {"Buy = C > O\nSell = 1;",
         "line 2, column 1: expected ';' at the end of the statement, found 'Sell'"},
        {"Buy = ( C > O;", "line 1, column 14: expected ')' to close the '(' at line 1, column 7, "
                           "found ';'"},
        {"x = C[ 3;", "line 1, column 9: expected ']' to close the '[' at line 1, column 6, "
                      "found ';'"},
        {"Buy = ;", "line 1, column 7: expected a value, found ';'"},
        {"Buy = C > O AND;", "line 1, column 16: expected a value, found ';'"},
        {"Buy = C @ O;", "line 1, column 9: unexpected character '@'"},
        {"Buy = C > \u00e9;", "line 1, column 11: unexpected character '\u00e9'"},
        {"x = \"open;", "line 1, column 5: the string is not closed with '\"' on its line"},
        {"x = 1; /* never\n closed", "line 1, column 8: the comment '/*' is not closed with '*/'"},
        {"x = 3abc;", "line 1, column 6: a number may not run into a name: '3a'"},
        {"x = 1e999;", "line 1, column 5: the number 1e999 is out of range"},
        {"Buy = Foo > 1;", "line 1, column 7: unknown name 'Foo'"},
        {"Buy = x > 1; x = 2;", "line 1, column 7: the variable 'x' is read before it is assigned"},
        {"x += 1;", "line 1, column 1: the variable 'x' is read before it is assigned"},
        {"Buy = NVI > 1000;", "line 1, column 7: 'NVI' is a function: write NVI( ... )"},
        {"C + 1 = 2;", "line 1, column 7: only a variable can be assigned to: the left of '=' is "
                       "not a variable name"},
        {"Close = 1;", "line 1, column 1: 'Close' is built in and cannot be assigned"},
        {"MA = 1;", "line 1, column 1: 'MA' is a function and cannot be assigned"},
        {"x = AddColumn( C, \"c\" );",
         "line 1, column 5: AddColumn gives no value: it can only stand as a statement of its own"},
        {"  if( C > O ) Buy = 1;",
         "line 1, column 3: 'if' statements are not supported by the built-in engine"},
        {"function f( x ) { return x; }",
         "line 1, column 1: functions and procedures of your own are not supported by the "
         "built-in engine"},
    };
    for (const auto& [text, want] : cases) {
        EXPECT_EQ(ParseError(text), want) << text;
    }
    // What the formula holds is quoted at most 60 characters, whatever its size.
    const std::string name(100'000, 'n');
    const std::string sixty(60, 'n');
    EXPECT_EQ(ParseError("Buy = " + name + ";"),
              "line 1, column 7: unknown name '" + sixty + "...'");
    EXPECT_EQ(ParseError("Buy = 1 " + name + ";"),
              "line 1, column 9: expected ';' at the end of the statement, found '" + sixty +
                  "...'");
    EXPECT_EQ(ParseError("x = 1" + std::string(400, '0') + "e999;"),
              "line 1, column 5: the number 1" + std::string(59, '0') + "... is out of range");
    std::string accents;
    for (int i = 0; i < 70; ++i) {
        accents += "\u00e9";
    }
    EXPECT_EQ(Shown(accents), accents.substr(0, 120) + "...") << "never cut inside a character";
}

TEST(AflParser, DepthIsBoundedNotTheStack) {
    const std::string deep = "x = " + std::string(5000, '(') + "1" + std::string(5000, ')') + ";";
    EXPECT_EQ(ParseError(deep), "line 1, column 205: the expression is nested too deeply");
    std::string chain = "x = 1";
    for (int i = 0; i < 2000; ++i) {
        chain += " + 1";
    }
    EXPECT_NE(ParseError(chain + ";").find("nested too deeply"), std::string::npos);
    EXPECT_EQ(ParseError("x = " + std::string(3000, '-') + "1;"),
              "line 1, column 205: the expression is nested too deeply");
    std::string subscripts = "x = C";
    for (int i = 0; i < 300; ++i) {
        subscripts += "[ C";
    }
    EXPECT_NE(ParseError(subscripts + ";").find("nested too deeply"), std::string::npos);
    // A long formula the generator could write (rows joined by OR) stays well within the bound.
    std::string rows = "Buy = C > 1";
    for (int i = 0; i < 300; ++i) {
        rows += "\r\nOR C > " + std::to_string(i);
    }
    EXPECT_EQ(ParseError(rows + ";"), "(accepted)");
}

} // namespace
} // namespace marlindex::afl
