// Condition translation: each case is worked out by hand from the catalogue templates.
#include "formula/Translation.h"

#include "formula/Catalogues.h"
#include "settings/MemoryHive.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

class TranslationTest : public ::testing::Test {
protected:
    ConditionTranslation Translate(const EditorState& state) {
        return TranslateCondition(state, settings_);
    }
    std::string Afl(const EditorState& state) { return Translate(state).expression; }

    void StorePreference(int indicator, const char* position, const char* value) {
        settings_.SetSection("Settings\\Indicator\\" + std::to_string(indicator));
        settings_.WriteEntry(position, value);
    }

    MemoryHive hive_;
    CProgramSettings settings_ = CProgramSettings::ForMarlindex(hive_);
};

EditorState Versus(int a, std::string option1, int comparison, int b, std::string option2, int tp1,
                   int tp2) {
    EditorState s;
    s.indicator1 = a, s.option1 = std::move(option1), s.comparison = comparison;
    s.comparisonType = kTargetIndicator;
    s.indicator2 = b, s.option2 = std::move(option2), s.tp1 = tp1, s.tp2 = tp2;
    return s;
}

EditorState AgainstValue(int a, int comparison, double value, int tp1, int tp2 = 1) {
    EditorState s;
    s.indicator1 = a, s.comparison = comparison, s.comparisonType = kTargetValue;
    s.value1 = value, s.tp1 = tp1, s.tp2 = tp2;
    return s;
}

TEST_F(TranslationTest, WorkedExampleRows) {
    const auto rsi = Translate(AgainstValue(16, 3, 30, 0));
    EXPECT_EQ(rsi.expression, "RSIa( Close, 14 ) < 30");
    EXPECT_EQ(rsi.leftPart, "RSIa( Close, 14 )");
    EXPECT_EQ(rsi.rightPart, "< 30");

    const auto cross = Translate(Versus(7, "Simple", 0, 9, "Simple", 3, 1));
    EXPECT_EQ(cross.expression, "BarsSince( Cross( MA( Close, 5 ), MA( Close, 50 ) ) ) <= 3");
    EXPECT_EQ(cross.leftPart, "BarsSince( Cross( MA( Close, 5 ), MA( Close, 50 ) ) )");
    EXPECT_EQ(cross.rightPart, "<= 3");
    EXPECT_FALSE(cross.correctedTP1 || cross.correctedModify2);
}

TEST_F(TranslationTest, BarByBarFormsFollowTheTwoPeriods) {
    EXPECT_EQ(Afl(Versus(8, "Simple", 4, 9, "Simple", 2, 0)),
              "Ref( MA( Close, 30 ), -2 ) > MA( Close, 50 )");
    EXPECT_EQ(Afl(Versus(8, "Simple", 2, 9, "Simple", 0, 0)), "MA( Close, 30 ) == MA( Close, 50 )");
    EXPECT_EQ(Afl(Versus(8, "Simple", 2, 9, "Simple", 0, 1)),
              "MA( Close, 30 ) == Ref( MA( Close, 50 ), -1 )");
    EXPECT_EQ(Afl(Versus(8, "Simple", 3, 9, "Simple", 4, 2)),
              "Ref( MA( Close, 30 ), -4 ) < Ref( MA( Close, 50 ), -2 )");
}

TEST_F(TranslationTest, AValueIsNeverShiftedBackInTime) {
    EXPECT_EQ(Afl(AgainstValue(16, 4, 70, 2)), "Ref( RSIa( Close, 14 ), -2 ) > 70");
    EXPECT_EQ(Afl(AgainstValue(16, 4, 70, 0, 0)), "RSIa( Close, 14 ) > ")
        << "with both periods 0 the value's place is taken by the (empty) second indicator";
    EXPECT_EQ(Afl(AgainstValue(16, 3, -0.5, 0)), "RSIa( Close, 14 ) < -0.5");
    EXPECT_EQ(Afl(AgainstValue(22, 5, 1000000, 3)), "BarsSince( Volume <= 1000000 ) >= 3");
}

TEST_F(TranslationTest, HasBeenAboveOverNoBarsMeansOneBar) {
    const auto t = Translate(Versus(7, "Simple", 5, 9, "Simple", 0, 1));
    EXPECT_EQ(t.expression, "BarsSince( MA( Close, 5 ) <= MA( Close, 50 ) ) >= 1");
    EXPECT_EQ(t.correctedTP1, 1);
    EXPECT_EQ(t.state.tp1, 1);
    EXPECT_EQ(t.leftPart, "BarsSince( MA( Close, 5 ) <= MA( Close, 50 ) )");
    EXPECT_EQ(t.rightPart, ">= 1");
    EXPECT_EQ(Afl(AgainstValue(16, 6, 50, 0)), "BarsSince( RSIa( Close, 14 ) >= 50 ) >= 1");
}

TEST_F(TranslationTest, ModifiersOfEachSide) {
    EditorState s = AgainstValue(16, 3, 30, 0);
    s.modify1On = true, s.modify1Operation = kModifyIncrease, s.modify1 = 5;
    EXPECT_EQ(Afl(s), "RSIa( Close, 14 )+5 < 30");
    s.modify1Operation = kModifyDivide, s.modify1 = 2.5;
    EXPECT_EQ(Afl(s), "RSIa( Close, 14 )/2.5 < 30");
    s.modify1Operation = "Square";
    EXPECT_EQ(Afl(s), " < 30") << "an unknown modifier leaves the operand empty";

    EditorState b = Versus(7, "Simple", 0, 8, "Simple", 0, 1);
    b.modify2On = true, b.modify2Unit = kUnitPercent;
    const std::pair<const char*, const char*> percentForms[] = {
        {kModifyIncrease, "MA( Close, 30 ) * 1.1"},
        {kModifyDecrease, "MA( Close, 30 ) * 0.9"},
        {kModifyMultiply, "MA( Close, 30 )*0.1"},
        {kModifyDivide, "MA( Close, 30 )/0.1"},
    };
    for (const auto& [operation, code] : percentForms) {
        b.modify2Operation = operation, b.modify2 = 10;
        EXPECT_EQ(Afl(b), std::string("Cross( MA( Close, 5 ), ") + code + " )") << operation;
    }
    b.modify2Unit = kUnitValue, b.modify2Operation = kModifyDecrease, b.modify2 = 10;
    EXPECT_EQ(Afl(b), "Cross( MA( Close, 5 ), MA( Close, 30 )-10 )");
}

TEST_F(TranslationTest, APercentageOfZeroOrLessIsCorrectedToOne) {
    EditorState b = Versus(7, "Simple", 0, 8, "Simple", 0, 1);
    b.modify2On = true, b.modify2Unit = kUnitPercent, b.modify2Operation = kModifyMultiply;
    for (double m : {0.0, -4.0}) {
        b.modify2 = m;
        const auto t = Translate(b);
        EXPECT_EQ(t.expression, "Cross( MA( Close, 5 ), MA( Close, 30 )*0.01 )");
        EXPECT_EQ(t.correctedModify2, 1.0);
        EXPECT_EQ(t.state.modify2, 1.0);
    }
    b.modify2Unit = kUnitValue, b.modify2 = 0;
    EXPECT_FALSE(Translate(b).correctedModify2) << "only percentages are corrected";
}

TEST_F(TranslationTest, OptionsChooseTheMovingAverageAndThePriceField) {
    EXPECT_EQ(Afl(AgainstValue(14, 4, 10, 0)), " > 10") << "Price without a field has no operand";
    EditorState price = AgainstValue(14, 4, 10, 0);
    price.option1 = "Avg";
    EXPECT_EQ(Afl(price), "Avg > 10");
    EXPECT_EQ(Afl(Versus(9, "Weighted", 2, 8, "Exponential", 0, 0)),
              "WMA( Close, 50 ) == EMA( Close, 30 )");
}

TEST_F(TranslationTest, StoredPreferencesReplaceOnlyTheirOwnPositions) {
    StorePreference(16, "2", "21");
    EXPECT_EQ(Afl(AgainstValue(16, 3, 30, 0)), "RSIa( Close, 21 ) < 30");
    StorePreference(15, "3", "True");
    EXPECT_EQ(Afl(AgainstValue(15, 4, 0, 0)), "ROC( Close, 12, True ) > 0");
    StorePreference(9, "1", "High");
    EXPECT_EQ(Afl(Versus(7, "Simple", 0, 9, "Simple", 0, 1)),
              "Cross( MA( Close, 5 ), MA( High, 50 ) )")
        << "indicator 2's preferences apply too";
    EXPECT_EQ(Afl(Versus(8, "Simple", 4, 9, "Simple", 2, 0)),
              "Ref( MA( Close, 30 ), -2 ) > MA( High, 50 )")
        << "also when its code was placed before its parameters were filled";

    // Reading the parameters leaves the shared settings where their other users put them.
    settings_.SetSection("Settings\\");
    Translate(Versus(8, "Simple", 4, 9, "Simple", 2, 0));
    EXPECT_EQ(settings_.section(), "Settings\\");
}

TEST_F(TranslationTest, IndicatorTargetWithoutSecondIndicatorKeepsThePlaceholder) {
    EditorState s = AgainstValue(16, 3, 0, 0);
    s.comparisonType = kTargetIndicator;
    EXPECT_EQ(Afl(s), "RSIa( Close, 14 ) < Ref( Array2, -1 )");
    s.tp2 = 0;
    const auto t = Translate(s);
    EXPECT_EQ(t.expression, "RSIa( Close, 14 ) < ");
    EXPECT_EQ(t.leftPart, "RSIa( Close, 14 )");
    EXPECT_EQ(t.rightPart, "< ");
}

TEST_F(TranslationTest, CountsOfBarsSinceLlvAndHhvStayPositive) {
    EXPECT_EQ(Afl(AgainstValue(16, 9, 50, 5)), "Ref( HHV( RSIa( Close, 14 ), 5 ), 0 ) > 50");
    EXPECT_EQ(Afl(AgainstValue(16, 9, 50, 0)), "RSIa( Close, 14 ) > 50");
    EXPECT_EQ(Afl(AgainstValue(16, 7, 50, 4)), "BarsSince( RSIa( Close, 14 ) == 50 ) < 4");
    EditorState lowest = AgainstValue(24, 10, 20, 20);
    lowest.comparisonType.clear();
    EXPECT_EQ(Afl(lowest), "Ref( LLV( MFI( 14 ), 20 ), -1 ) > MFI( 14 )");
    lowest.tp1 = 0;
    EXPECT_EQ(Afl(lowest), "MFI( 14 ) < 20");
    EXPECT_EQ(Afl(Versus(7, "Simple", 1, 9, "Simple", 2, 1)),
              "BarsSince( Cross( MA( Close, 50 ), MA( Close, 5 ) ) ) <= 2");
}

TEST_F(TranslationTest, ASecondPeriodOfZeroReadsAsOneWhereNoFormHasIt) {
    EXPECT_EQ(Afl(Versus(7, "Simple", 0, 9, "Simple", 0, 0)),
              "Cross( MA( Close, 5 ), MA( Close, 50 ) )");
    EXPECT_EQ(Afl(Versus(7, "Simple", 0, 9, "Simple", 2, 0)),
              "BarsSince( Cross( MA( Close, 5 ), MA( Close, 50 ) ) ) <= 2");
    EXPECT_EQ(Afl(AgainstValue(16, 8, 30, 3, 0)), "Ref( LLV( RSIa( Close, 14 ), 3 ), 0 ) < 30");
}

TEST_F(TranslationTest, UnfinishedConditionsGiveNoCode) {
    EditorState s;
    EXPECT_EQ(Translate(s).expression, "");
    s.indicator1 = 16;
    const auto noComparison = Translate(s);
    EXPECT_EQ(noComparison.expression, "");
    EXPECT_EQ(noComparison.description, "RSI(14) of the current bar");
    s.comparison = 99;
    EXPECT_EQ(Translate(s).expression, "") << "an id outside the catalogue is not trusted";
}

TEST_F(TranslationTest, IndicatorsWithoutParametersNeverReadTheSettings) {
    // A stored value for an indicator without parameters must not leak into its code.
    StorePreference(12, "1", "junk");
    EXPECT_EQ(Afl(AgainstValue(12, 4, 0, 0)), "OBV() > 0");
    EXPECT_EQ(Afl(AgainstValue(1, 4, 0, 0)), "adline() > 0");
}

bool HasExponent(const std::string& e) {
    for (std::size_t i = 1; i + 1 < e.size(); ++i) {
        if ((e[i] == 'e' || e[i] == 'E') && std::isdigit(static_cast<unsigned char>(e[i - 1])) &&
            (e[i + 1] == '+' || e[i + 1] == '-')) {
            return true;
        }
    }
    return false;
}

// Every combination the catalogues allow: placeholders are all filled, brackets balance, and
// the two stored parts give the condition back.
TEST_F(TranslationTest, EveryCatalogueCombinationYieldsCompleteAfl) {
    int combinations = 0;
    for (int a = 0; a < kIndicatorCount; ++a) {
        const std::string option1 =
            IndicatorOptions(a).empty() ? "" : IndicatorOptions(a).back().text;
        for (const int c : AvailableComparisons(a)) {
            const ComparisonKind kind = Comparison(c).kind;
            std::vector<std::optional<int>> partners;
            if (TakesIndicator(kind)) {
                for (const int b : PairedIndicators(a)) {
                    partners.emplace_back(b);
                }
            }
            if (TakesValue(kind)) {
                partners.emplace_back(std::nullopt); // a value
            }
            for (const auto& b : partners) {
                for (const int tp1 : {0, 2}) {
                    for (const int tp2 : {0, 1, 3}) {
                        EditorState s;
                        s.indicator1 = a, s.option1 = option1, s.comparison = c;
                        s.tp1 = tp1, s.tp2 = tp2, s.value1 = 42.5;
                        s.comparisonType = !HasTargetList(kind) ? ""
                                           : b                  ? kTargetIndicator
                                                                : kTargetValue;
                        if (b) {
                            s.indicator2 = *b;
                            const auto options = IndicatorOptions(*b);
                            s.option2 = options.empty() ? "" : options.front().text;
                        }
                        const auto t = Translate(s);
                        const std::string& e = t.expression;
                        SCOPED_TRACE(t.description + " => " + e);
                        ++combinations;
                        ASSERT_FALSE(e.empty());
                        for (const char* placeholder : {"Array1", "Array2", "Period1", "Period2",
                                                        " Value", " A1", " A2", " A3"}) {
                            EXPECT_EQ(e.find(placeholder), std::string::npos) << placeholder;
                        }
                        EXPECT_EQ(std::count(e.begin(), e.end(), '('),
                                  std::count(e.begin(), e.end(), ')'));
                        EXPECT_FALSE(HasExponent(e));
                        EXPECT_EQ(t.leftPart.empty() ? t.rightPart : t.leftPart + " " + t.rightPart,
                                  e);
                    }
                }
            }
        }
    }
    EXPECT_GT(combinations, 3000);
}

TEST_F(TranslationTest, DescriptionsFollowTheComparisonFamily) {
    const auto describe = [this](const EditorState& s) { return Translate(s).description; };
    EXPECT_EQ(describe(AgainstValue(16, 3, 30, 0)), "RSI(14) of the current bar is less than 30");
    EXPECT_EQ(describe(Versus(8, "Simple", 4, 9, "Exponential", 1, 2)),
              "MA (Medium) Simple(30) of 1 bar ago is greater than MA (Long) Exponential(50) of "
              "2 bars ago");
    EXPECT_EQ(describe(Versus(7, "Simple", 5, 9, "Simple", 1, 1)),
              "MA (Short) Simple(5) has been above MA (Long) Simple(50) for the previous 1 bar");
    EXPECT_EQ(describe(AgainstValue(16, 7, 50, 6)),
              "RSI(14) has equalled 50 within the last 6 bars");
    EXPECT_EQ(describe(AgainstValue(16, 9, 50, 1)),
              "RSI(14) has been greater than 50 within the last 1 bar");
    EXPECT_EQ(describe(AgainstValue(24, 11, 80, 20)),
              "MFI(14) highest it has been for the previous 20 bars")
        << "over a period the extreme is the indicator's own, not the value";
    EXPECT_EQ(describe(AgainstValue(24, 11, 80, 0)),
              "MFI(14) highest it has been 80 on the current bar");
    EXPECT_EQ(describe(Versus(7, "Simple", 0, 9, "Simple", 1, 1)),
              "MA (Short) Simple(5) crosses above MA (Long) Simple(50) on or after the previous "
              "bar");
    EXPECT_EQ(describe(Versus(14, "Close", 1, 7, "Simple", 4, 1)),
              "Price Close crosses below MA (Short) Simple(5) on or after the previous 4 bars");

    EditorState modified = Versus(7, "Exponential", 0, 8, "Weighted", 0, 1);
    modified.modify1On = true, modified.modify1Operation = kModifyMultiply, modified.modify1 = 2;
    modified.modify2On = true, modified.modify2Operation = kModifyDecrease, modified.modify2 = 10;
    modified.modify2Unit = kUnitPercent;
    EXPECT_EQ(describe(modified),
              "MA (Short) Exponential(5) multiplied by 2 crosses above MA (Medium) Weighted(30) "
              "decreased by 10% on the current bar");
}

// The words name the parameters the formula is computed with: stored preferences, all but
// the usual Close, and nothing for an indicator without parameters.
TEST_F(TranslationTest, DescriptionsNameTheParametersInUse) {
    StorePreference(16, "2", "21");
    StorePreference(3, "1", "High");
    const auto rsi = Translate(AgainstValue(16, 3, 30, 0));
    EXPECT_EQ(rsi.expression, "RSIa( Close, 21 ) < 30");
    EXPECT_EQ(rsi.description, "RSI(21) of the current bar is less than 30");
    EXPECT_EQ(DescribeCondition(AgainstValue(16, 3, 30, 0), settings_), rsi.description);
    EXPECT_EQ(Translate(AgainstValue(3, 4, 100, 0)).description,
              "Commodity Channel Index(High, 14) of the current bar is greater than 100");
    EXPECT_EQ(Translate(AgainstValue(15, 4, 0, 0)).description,
              "Rate Of Change(12, False) of the current bar is greater than 0");
    EXPECT_EQ(Translate(AgainstValue(12, 4, 0, 0)).description,
              "OBV of the current bar is greater than 0");
}

} // namespace
} // namespace marlindex
