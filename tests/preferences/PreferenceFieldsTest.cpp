#include "preferences/PreferenceFields.h"

#include "formula/Catalogues.h"
#include "formula/Translation.h"
#include "settings/MemoryHive.h"
#include "startup/TextHelpers.h"
#include "support/IndicatorSettings.h"

#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>

namespace marlindex {
namespace {

class PreferenceFieldsTest : public ::testing::Test {
protected:
    // What the store holds for a field, "" when nothing.
    std::string Stored(int indicator, int position) {
        return test::StoredParameter(settings_, indicator, position);
    }
    void Store(int indicator, int position, const std::string& value) {
        test::StoreParameter(settings_, indicator, position, value);
    }
    const std::string& Text(const char* name) const { return form_.Find(name)->text; }
    // Types each character of `keys` into a field as the form forwards them: the key filter
    // first, then the field takes what passed. Returns the field's text.
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
    ASSERT_EQ(form_.Panels().size(), static_cast<std::size_t>(PreferenceFields::kTabCount));
    for (const PreferencePanel& panel : form_.Panels()) {
        for (const PreferenceFrame& frame : panel.frames) {
            for (const FrameRow& row : frame.rows) {
                EXPECT_TRUE(frame.columns.empty() || row.fields.size() == frame.columns.size())
                    << frame.caption << " / " << row.label;
                for (const std::string& name : row.fields) {
                    ++placed[name];
                }
            }
        }
    }
    std::set<std::string> expected;
    for (int i = 0; i < kIndicatorCount; ++i) {
        const auto defaults = SplitAtBlanks(Indicator(i).defaultParameters);
        for (std::size_t p = 1; !Indicator(i).defaultParameters.empty() && p <= defaults.size();
             ++p) {
            expected.insert("I" + std::to_string(i) + std::to_string(p));
        }
    }
    std::set<std::string> fields;
    for (const PreferenceField& field : form_.Fields()) {
        fields.insert(field.name);
        EXPECT_EQ(placed[field.name], 1) << field.name;
        EXPECT_EQ(field.tag.size(), 3u) << field.name;
        EXPECT_EQ("I" + std::to_string(field.Indicator()) + std::to_string(field.Position()),
                  field.name);
    }
    EXPECT_EQ(fields, expected);
    EXPECT_EQ(placed.size(), expected.size());
    EXPECT_EQ(form_.Find("I91")->tag, "9 1");
    EXPECT_EQ(form_.Find("i162"), form_.Find("I162"));
    EXPECT_EQ(form_.Find("cmdOK"), nullptr);
}

TEST_F(PreferenceFieldsTest, ComboBoxesListArraysWithVolumeOnlyWhereItBelongs) {
    const std::vector<std::string> prices{"Close", "Open", "High", "Low", "Average"};
    std::vector<std::string> withVolume = prices;
    withVolume.push_back("Volume");
    EXPECT_EQ(form_.Find("I71")->list, prices);
    EXPECT_EQ(form_.Find("I271")->list, prices);
    EXPECT_EQ(form_.Find("I161")->list, withVolume);
    EXPECT_EQ(form_.Find("I351")->list, withVolume);
    EXPECT_EQ(form_.Find("I153")->list, (std::vector<std::string>{"False", "True"}));
    int combos = 0;
    for (const PreferenceField& field : form_.Fields()) {
        EXPECT_EQ(field.kind == FieldKind::Combo, !field.list.empty()) << field.name;
        combos += field.kind == FieldKind::Combo ? 1 : 0;
    }
    EXPECT_EQ(combos, 15);
}

TEST_F(PreferenceFieldsTest, LoadingShowsTheDefaultsWhereNothingIsStored) {
    form_.Form_Load();
    EXPECT_EQ(Text("I92"), "50");
    EXPECT_EQ(Text("I272"), "10");
    EXPECT_EQ(Text("I282"), "5"); // the two bands' defaults differ on purpose
    EXPECT_EQ(Text("I171"), "1.02");
    EXPECT_EQ(Text("I153"), "False");
    EXPECT_EQ(Text("I161"), "Close");

    // A stored value replaces only its own position; an empty one reads as the default.
    Store(16, 2, "21");
    Store(9, 1, "High");
    Store(27, 3, "");
    form_.Form_Load();
    EXPECT_EQ(Text("I161"), "Close");
    EXPECT_EQ(Text("I162"), "21");
    EXPECT_EQ(Text("I91"), "High");
    EXPECT_EQ(Text("I92"), "50");
    EXPECT_EQ(Text("I273"), "2");
}

TEST_F(PreferenceFieldsTest, NumbersAreWhatAflReadsAsAPlainNumber) {
    for (const char* text : {"14", " 21 ", "1.02", "0.5", ".5", "1.", "-3", "+2"}) {
        EXPECT_TRUE(IsNumeric(text)) << text;
    }
    for (const char* text : {"", " ", ".", "-", "1.2.3", "1e3", "1,5", "12a", "&H10", "1 2"}) {
        EXPECT_FALSE(IsNumeric(text)) << text;
    }
}

TEST_F(PreferenceFieldsTest, OkStoresTrimmedTextAndPutsDefaultsBackWhereTheRulesSay) {
    form_.Form_Load();
    form_.Field_Change("I21", "");        // cleared
    form_.Field_Change("I32", "14 days"); // not a number
    form_.Field_Change("I162", " 21 ");
    form_.Field_Change("I342", "0.5");
    form_.Field_Change("I352", "Close/2"); // factors take any text
    form_.Field_Change("I353", " ");
    form_.Field_Change("I161", "");        // an empty combo box
    form_.Field_Change("I91", " High ");   // typed, with blanks
    form_.Field_Change("I151", "Typical"); // not in the list: stored as typed
    form_.btnOK_Click();
    EXPECT_TRUE(form_.Closed());

    EXPECT_EQ(Stored(2, 1), "14");
    EXPECT_EQ(Text("I21"), "14"); // the field shows its default again
    EXPECT_EQ(Stored(3, 2), "14");
    EXPECT_EQ(Stored(16, 2), "21");
    EXPECT_EQ(Stored(34, 2), "0.5");
    EXPECT_EQ(Stored(35, 2), "Close/2");
    EXPECT_EQ(hive_.data().Read(RegistryRoot::CurrentUser,
                                "SOFTWARE\\QRV\\Marlindex\\Settings\\Indicator\\35", "3"),
              (RegistryValue{kRegString, std::string(1, '\0')}))
        << "trimmed to nothing, and read back as the default";
    EXPECT_EQ(Stored(16, 1), "Close");
    EXPECT_EQ(Stored(9, 1), "High");
    EXPECT_EQ(Stored(15, 1), "Typical");
    // Every field is written, the untouched ones with what they showed.
    EXPECT_EQ(Stored(28, 2), "5");
    EXPECT_EQ(Stored(17, 1), "1.02");
}

TEST_F(PreferenceFieldsTest, CancelClosesWithoutWriting) {
    form_.Form_Load();
    form_.Field_Change("I162", "21");
    form_.btnCancel_Click();
    EXPECT_TRUE(form_.Closed());
    EXPECT_TRUE(hive_.data().empty());
}

TEST_F(PreferenceFieldsTest, KeyFilterGoesByTheFieldThatHasTheFocus) {
    form_.Form_Load();
    form_.Field_Change("I21", "");
    EXPECT_EQ(Type("I21", "1a.-4 "), "14");
    form_.Control_GotFocus("I21");
    EXPECT_EQ(form_.Form_KeyPress(PreferenceFields::kBackspace), PreferenceFields::kBackspace);

    form_.Field_Change("I161", "");
    EXPECT_EQ(Type("I161", "Ref(C,-1).x "), "Ref(C1).x");

    form_.Field_Change("I342", "");
    EXPECT_EQ(Type("I342", "C/2, -x"), "C/2, -x");

    // Not a field: nothing is filtered.
    form_.Control_GotFocus("btnOK");
    EXPECT_EQ(form_.Form_KeyPress('x'), 'x');
}

TEST_F(PreferenceFieldsTest, SarFieldsJudgeEveryKeyAgainstTheAccelerationText) {
    form_.Form_Load();
    // Into the acceleration itself: 1.5 goes in key by key, a second point does not.
    form_.Field_Change("I171", "");
    EXPECT_EQ(Type("I171", "1.5./a"), "1.5");

    // The maximum follows the acceleration's text, not its own: with "1.5" there, "." makes
    // "1.5." and is dropped, while the digits pass.
    form_.Field_Change("I172", "");
    EXPECT_EQ(Type("I172", "1.5"), "15");
    // With an empty acceleration, a point alone is no number either; a digit then is.
    form_.Field_Change("I171", "");
    form_.Field_Change("I172", "");
    EXPECT_EQ(Type("I172", ".2"), "2");
    form_.Field_Change("I171", "0");
    form_.Field_Change("I172", "");
    EXPECT_EQ(Type("I172", "0.2"), "0.2");
    form_.Control_GotFocus("I172");
    EXPECT_EQ(form_.Form_KeyPress(PreferenceFields::kBackspace), PreferenceFields::kBackspace);
}

TEST_F(PreferenceFieldsTest, EachTabShowsItsOwnPanel) {
    form_.Form_Load();
    EXPECT_EQ(form_.SelectedTab(), 1);
    form_.TabStrip1_Click(3);
    for (int panel = 0; panel < PreferenceFields::kTabCount; ++panel) {
        EXPECT_EQ(form_.PanelVisible(panel), panel == 2) << panel;
    }
    form_.TabStrip1_Click(5);
    EXPECT_EQ(form_.SelectedTab(), 3);
    EXPECT_EQ(PreferenceFields::TabCaption(4), "Indicators 4");
}

TEST_F(PreferenceFieldsTest, ResetRemovesTheStoredValuesAndKeepsOtherSettings) {
    settings_.SetSection("Settings\\");
    settings_.WriteEntry("ApplyTo", "2");
    Store(16, 2, "21");
    Store(16, 4, "not a field");
    form_.Form_Load();
    EXPECT_TRUE(form_.ResetAll());
    EXPECT_EQ(Text("I162"), "14");
    EXPECT_EQ(Stored(16, 2), "");
    EXPECT_EQ(Stored(16, 4), "not a field");
    settings_.SetSection("Settings\\");
    EXPECT_EQ(settings_.ReadEntry("ApplyTo", ""), "2");
}

// The preference reaches the formula: the translation reads the store on every call.
TEST_F(PreferenceFieldsTest, TheNextConditionUsesTheSavedPreference) {
    EditorState rsi;
    rsi.indicator1 = 16; // RSI
    rsi.comparison = 3;  // is less than
    rsi.comparisonType = kTargetValue;
    rsi.value1 = 30;
    EditorState bands;
    bands.indicator1 = 7; // MA (Short), crossing above the top band
    bands.option1 = "Exponential";
    bands.comparison = 0;
    bands.comparisonType = kTargetIndicator;
    bands.indicator2 = 28;
    EXPECT_EQ(TranslateCondition(rsi, settings_).expression, "RSIa( Close, 14 ) < 30");

    form_.Form_Load();
    form_.Field_Change("I162", "21");
    form_.Field_Change("I71", "High");
    form_.Field_Change("I283", "2.5");
    form_.btnOK_Click();
    EXPECT_EQ(TranslateCondition(rsi, settings_).expression, "RSIa( Close, 21 ) < 30");
    EXPECT_EQ(TranslateCondition(bands, settings_).expression,
              "Cross( EMA( High, 5 ), BBANDTOP( Close, 5, 2.5 ) )");

    form_.ResetAll();
    EXPECT_EQ(TranslateCondition(rsi, settings_).expression, "RSIa( Close, 14 ) < 30");
}

} // namespace
} // namespace marlindex
