// Stored indicator parameters reach a formula only when they meet the preferences' rules.
#include "formula/IndicatorParameters.h"

#include "formula/Translation.h"
#include "settings/MemoryHive.h"

#include <gtest/gtest.h>
#include <string>

namespace marlindex {
namespace {

class StoredParameters : public ::testing::Test {
protected:
    void Store(int indicator, int position, const std::string& value) {
        settings_.SetSection(ParameterSection(indicator));
        settings_.WriteEntry(std::to_string(position), value);
    }
    // The RSI against 30, and the AMA above the close: the formulas of two rows.
    std::string RsiRow() {
        EditorState s;
        s.indicator1 = 16, s.comparison = 3, s.comparisonType = kTargetValue, s.value1 = 30;
        return TranslateCondition(s, settings_).expression;
    }
    std::string AmaRow() {
        EditorState s;
        s.indicator1 = 34, s.comparison = 3, s.comparisonType = kTargetValue, s.value1 = 30;
        return TranslateCondition(s, settings_).expression;
    }

    MemoryHive hive_;
    CProgramSettings settings_ = CProgramSettings::ForMarlindex(hive_);
};

TEST_F(StoredParameters, UsableValuesGoIntoTheFormulaTrimmed) {
    Store(16, 1, "high");
    Store(16, 2, " 21 ");
    Store(34, 2, "0.5 * Ref( C, -1 ) / (H - L)");
    EXPECT_EQ(RsiRow(), "RSIa( high, 21 ) < 30");
    EXPECT_EQ(AmaRow(), "AMA( Close, 0.5 * Ref( C, -1 ) / (H - L) ) < 30");
    EXPECT_TRUE(CheckStoredParameters(settings_).empty());
}

TEST_F(StoredParameters, RefusedValuesFallBackToTheDefaultWithOneWarningEach) {
    Store(16, 1, "Closes");
    Store(16, 2, "14 ); Buy = 1; //");
    Store(15, 3, "Maybe");
    Store(34, 2, "1 ); Buy = 1; //");
    EXPECT_EQ(RsiRow(), "RSIa( Close, 14 ) < 30");
    EXPECT_EQ(AmaRow(), "AMA( Close, 1 ) < 30");

    const std::vector<std::string> warnings = CheckStoredParameters(settings_);
    ASSERT_EQ(warnings.size(), 4u);
    EXPECT_EQ(warnings[0], "Settings\\Indicator\\15\\3 holds \"Maybe\", which is not one of "
                           "False, True; the default False is used instead");
    EXPECT_EQ(warnings[1], "Settings\\Indicator\\16\\1 holds \"Closes\", which is not one of "
                           "Close, Open, High, Low, Average, Volume; the default Close is used "
                           "instead");
    EXPECT_NE(warnings[2].find("\\16\\2 holds \"14 ); Buy = 1; //\", which is not a number"),
              std::string::npos)
        << warnings[2];
    EXPECT_NE(warnings[3].find("not one AFL expression"), std::string::npos) << warnings[3];

    // A flood is quoted short.
    Store(16, 2, std::string(100'000, '9') + "x");
    EXPECT_LT(CheckStoredParameters(settings_)[2].size(), 200u);
}

TEST(IndicatorParameters, AFactorMustBeOneExpressionThatStaysInsideItsCall) {
    for (const char* good : {"1", "0.5", "C / Ref( C, -1 )", "abs( ROC( C, 5 ) ) / 100",
                             "IIf( C > O, 0.2, 0.1 )", "-1"}) {
        EXPECT_TRUE(IsSingleAflExpression(good)) << good;
    }
    for (const char* bad : {
             "",
             "  ",
             "1;",
             "1 ); Buy = 1; //", // a statement of its own
             "1 ) + ( 2",        // closes the call it stands in
             "(1",
             "1]",
             "1 // note",
             "1 /* note */",
             "\"text\"",
             "1\r\nBuy = 1",
             "1, 2",  // a second argument
             "x = 2", // an assignment
             "1 +",
         }) {
        EXPECT_FALSE(IsSingleAflExpression(bad)) << bad;
    }
}

TEST(IndicatorParameters, KindsFollowTheDialogsFields) {
    EXPECT_EQ(KindOfParameter(16, 2), ParameterKind::Number);
    EXPECT_EQ(KindOfParameter(17, 1), ParameterKind::Number);
    EXPECT_EQ(KindOfParameter(16, 1), ParameterKind::Choice);
    EXPECT_EQ(KindOfParameter(35, 3), ParameterKind::Expression);
    EXPECT_EQ(ParameterChoices(7, 1).size(), 5u) << "no Volume for a price average";
    EXPECT_FALSE(ParameterProblem(16, 1, "volume")) << "AFL ignores letter case";
    EXPECT_TRUE(ParameterProblem(2, 1, "1e3")) << "no exponent in a period";
    EXPECT_FALSE(ParameterProblem(17, 1, "0.02"));
}

} // namespace
} // namespace marlindex
