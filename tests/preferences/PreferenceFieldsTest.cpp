#include "preferences/PreferenceFields.h"

#include "formula/Catalogues.h"
#include "formula/Translation.h"
#include "settings/MemoryHive.h"
#include "startup/TextHelpers.h"

#include <gtest/gtest.h>
#include <map>
#include <string>

namespace marlindex {
namespace {

class PreferenceFieldsTest : public ::testing::Test {
protected:
    // What the store holds for a parameter, "" when nothing.
    std::string Stored(int indicator, int position) {
        settings_.SetSection("Settings\\Indicator\\" + std::to_string(indicator));
        return settings_.ReadEntry(std::to_string(position), "");
    }
    const std::string& Text(const char* name) const { return form_.Find(name)->text; }
    // Types `keys` into a field as the form forwards them: the key filter first, then the
    // field takes what passed. Returns the field's text.
    std::string Type(const char* name, std::string_view keys) {
        form_.Control_GotFocus(name);
        for (const char key : keys) {
            if (form_.Form_KeyPress(key) != 0) {
                form_.Field_Change(name, Text(name) + key);
            }
        }
        return Text(name);
    }

    MemoryHive hive_;
    CProgramSettings settings_ = CProgramSettings::ForMarlindex(hive_);
    PreferenceFields form_{settings_};
};

// Every parameter of every indicator has exactly one field, placed once on one panel, and the
// field's name, tag and store position agree.
TEST_F(PreferenceFieldsTest, EveryIndicatorParameterHasOneFieldOnOnePanel) {
    std::map<std::string, int> placed;
    for (const PreferencePanel& panel : form_.Panels()) {
        for (const PreferenceFrame& frame : panel.frames) {
            for (const FrameRow& row : frame.rows) {
                for (const std::string& name : row.fields) {
                    ++placed[name];
                }
            }
        }
    }
    std::map<std::string, int> expected;
    for (int i = 0; i < kIndicatorCount; ++i) {
        const std::string& defaults = Indicator(i).defaultParameters;
        for (std::size_t p = 1; !defaults.empty() && p <= SplitAtBlanks(defaults).size(); ++p) {
            expected["I" + std::to_string(i) + std::to_string(p)] = 1;
        }
    }
    EXPECT_EQ(placed, expected);
    ASSERT_EQ(form_.Fields().size(), expected.size());
    for (const PreferenceField& field : form_.Fields()) {
        EXPECT_EQ("I" + std::to_string(field.Indicator()) + std::to_string(field.Position()),
                  field.name);
    }
    EXPECT_EQ(form_.Find("I91")->tag, "9 1");
    EXPECT_EQ(form_.Find("I161")->list.back(), "Volume");
    EXPECT_EQ(form_.Find("I71")->list.back(), "Average");
}

TEST_F(PreferenceFieldsTest, StoredValuesOverrideOnlyTheirOwnPositions) {
    form_.Form_Load();
    EXPECT_EQ(Text("I92"), "50");
    EXPECT_EQ(Text("I272"), "10");
    EXPECT_EQ(Text("I282"), "5"); // the two bands' defaults differ on purpose
    EXPECT_EQ(Text("I153"), "False");

    settings_.SetSection("Settings\\Indicator\\16");
    settings_.WriteEntry("2", "21");
    settings_.WriteEntry("1", ""); // an empty value reads as the default
    form_.Form_Load();
    EXPECT_EQ(Text("I161"), "Close");
    EXPECT_EQ(Text("I162"), "21");

    // A stored value the rules refuse shows as the default the formulas use instead, so OK
    // puts the default in its place.
    settings_.WriteEntry("1", "Typical");
    settings_.WriteEntry("2", "14 ); Buy = 1; //");
    form_.Form_Load();
    EXPECT_EQ(Text("I161"), "Close");
    EXPECT_EQ(Text("I162"), "14");
    form_.btnOK_Click();
    EXPECT_EQ(Stored(16, 2), "14");
}

TEST_F(PreferenceFieldsTest, NumbersAreWhatAflReadsAsAPlainNumber) {
    for (const char* text : {"14", " 21 ", "0.5", ".5", "1.", "-3"}) {
        EXPECT_TRUE(IsNumeric(text)) << text;
    }
    for (const char* text : {"", ".", "-", "1.2.3", "1e3", "1,5", "12a", "1 2"}) {
        EXPECT_FALSE(IsNumeric(text)) << text;
    }
}

TEST_F(PreferenceFieldsTest, OkStoresTrimmedTextAndPutsDefaultsBackWhereTheRulesSay) {
    form_.Form_Load();
    form_.Field_Change("I21", "");        // cleared
    form_.Field_Change("I32", "14 days"); // not a number
    form_.Field_Change("I162", " 21 ");
    form_.Field_Change("I342", "fast"); // the factors take any text
    form_.Field_Change("I352", "0.5");
    form_.Field_Change("I161", "");          // an empty combo box
    form_.Field_Change("I151", " Typical "); // not in the list: stored as typed
    form_.btnOK_Click();
    EXPECT_TRUE(form_.Closed());

    EXPECT_EQ(Stored(2, 1), "14");
    EXPECT_EQ(Text("I21"), "14"); // the field shows its default again
    EXPECT_EQ(Stored(3, 2), "14");
    EXPECT_EQ(Stored(16, 2), "21");
    EXPECT_EQ(Stored(34, 2), "fast");
    EXPECT_EQ(Stored(35, 2), "0.5");
    EXPECT_EQ(Stored(16, 1), "Close");
    EXPECT_EQ(Stored(15, 1), "Typical");
    EXPECT_EQ(Stored(28, 2), "5"); // untouched fields are written as they showed
}

TEST_F(PreferenceFieldsTest, KeyFilterGoesByTheFieldThatHasTheFocus) {
    form_.Form_Load();
    const struct {
        const char* field;
        const char* acceleration; // the text of I171 while typing
        const char* keys;
        const char* typed;
    } cases[] = {
        {"I21", "1.02", "1a.-4 ", "14"},               // digits only
        {"I161", "1.02", "Ref(C,-1).x ", "Ref(C1).x"}, // letters, digits, brackets, point
        {"I342", "1.02", "C/2, -x", "C/2, -x"},        // anything
        {"I171", "", "1.5./a", "1.5"},                 // a decimal number
        // The maximum is judged against the acceleration's text, not its own.
        {"I172", "1.5", "1.5", "15"},
        {"I172", "0", "0.2", "0.2"},
    };
    for (const auto& c : cases) {
        form_.Field_Change("I171", c.acceleration);
        form_.Field_Change(c.field, "");
        EXPECT_EQ(Type(c.field, c.keys), c.typed) << c.field << " typed " << c.keys;
    }
    form_.Control_GotFocus("I172");
    EXPECT_EQ(form_.Form_KeyPress(PreferenceFields::kBackspace), PreferenceFields::kBackspace);
    form_.Control_GotFocus("btnOK"); // not a field: nothing is filtered
    EXPECT_EQ(form_.Form_KeyPress('x'), 'x');
}

// The preference reaches the formula: the translation reads the store on every call.
TEST_F(PreferenceFieldsTest, TheNextConditionUsesTheSavedPreference) {
    EditorState rsi;
    rsi.indicator1 = 16; // RSI
    rsi.comparison = 3;  // is less than
    rsi.comparisonType = kTargetValue;
    rsi.value1 = 30;
    EXPECT_EQ(TranslateCondition(rsi, settings_).expression, "RSIa( Close, 14 ) < 30");

    form_.Form_Load();
    form_.Field_Change("I161", "High");
    form_.Field_Change("I162", "21");
    form_.btnOK_Click();
    EXPECT_EQ(TranslateCondition(rsi, settings_).expression, "RSIa( High, 21 ) < 30");

    EXPECT_TRUE(form_.ResetAll());
    EXPECT_EQ(Text("I162"), "14");
    EXPECT_EQ(TranslateCondition(rsi, settings_).expression, "RSIa( Close, 14 ) < 30");
}

} // namespace
} // namespace marlindex
