// The main window driven as a user drives it: each control first gets the focus, then its
// event fires; the expected rows and formulas are worked out from the catalogue templates.
#include "mainwindow/MainWindowState.h"

#include "formula/Assembly.h"
#include "settings/MemoryHive.h"
#include "support/RecordingBroker.h"
#include "support/TempFolder.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>

namespace marlindex {
namespace {

const std::string kColumns = "\r\nAddColumn( Close, \"Close  \" );"
                             "\r\nAddColumn( Open, \"Open  \" );"
                             "\r\nAddColumn( High, \"High  \" );"
                             "\r\nAddColumn( Low, \"Low  \" );"
                             "\r\nAddColumn( Volume, \"Volume      \" );";

using Event = void (MainWindowState::*)();
using Change = void (MainWindowState::*)(std::string);

class MainWindowStateTest : public ::testing::Test {
protected:
    void Pick(ComboId combo, std::string_view text) {
        switch (combo) {
        case ComboId::cboIA1:
            w.cboIA1_GotFocus();
            break;
        case ComboId::cboED1:
            w.cboED1_GotFocus();
            break;
        case ComboId::cboModify1:
            w.cboModify1_GotFocus();
            break;
        case ComboId::cboCO:
            w.cboCO_GotFocus();
            break;
        case ComboId::cboCT:
            w.cboCT_GotFocus();
            break;
        case ComboId::cboIA2:
            w.cboIA2_GotFocus();
            break;
        case ComboId::cboED2:
            w.cboED2_GotFocus();
            break;
        case ComboId::cboModify2:
            w.cboModify2_GotFocus();
            break;
        case ComboId::cboModifyED2:
            w.cboModifyED2_GotFocus();
            break;
        }
        const int index = w.Combo(combo).FindText(text);
        ASSERT_GE(index, 0) << text;
        w.Choose(combo, index);
    }
    void Type(Event gotFocus, Change change, Event lostFocus, const std::string& text) {
        (w.*gotFocus)();
        (w.*change)(text);
        (w.*lostFocus)();
    }
    void TypeTP1(const std::string& text) {
        Type(&MainWindowState::txtTP1_GotFocus, &MainWindowState::txtTP1_Change,
             &MainWindowState::txtTP1_LostFocus, text);
    }
    void TypeValue(const std::string& text) {
        Type(&MainWindowState::txtVal1_GotFocus, &MainWindowState::txtVal1_Change,
             &MainWindowState::txtVal1_LostFocus, text);
    }
    void RsiBelow30() {
        Pick(ComboId::cboIA1, "RSI");
        Pick(ComboId::cboCO, "is less than");
        Pick(ComboId::cboCT, "Value");
        TypeValue("30");
    }
    void ShortCrossesLong(int bars) {
        Pick(ComboId::cboIA1, "MA (Short)");
        Pick(ComboId::cboCO, "crosses above");
        Pick(ComboId::cboIA2, "MA (Long)");
        TypeTP1(std::to_string(bars));
    }
    // The crossing, then OR Price Close > 10.
    void CrossingOrPriceAbove10() {
        ShortCrossesLong(3);
        w.btnOr_Click();
        Pick(ComboId::cboIA1, "Price");
        Pick(ComboId::cboCO, "is greater than");
        Pick(ComboId::cboCT, "Value");
        TypeValue("10");
    }
    // First RSI < 30, AND the crossing, OR Price Close > 10.
    void ThreeRows() {
        RsiBelow30();
        w.btnAnd_Click();
        CrossingOrPriceAbove10();
    }
    std::string Row(int row) const { return w.MSFlexGrid1.Text(row); }

    MemoryHive hive_;
    CProgramSettings settings_ = CProgramSettings::ForMarlindex(hive_);
    MainWindowState w{settings_};
};

const std::string kRsiRow = "RSI(14) of the current bar is less than 30";
const std::string kCrossRow =
    "MA (Short) Simple(5) crosses above MA (Long) Simple(50) on or after the previous 3 bars";

TEST_F(MainWindowStateTest, WorkedExampleBuiltThroughTheEditor) {
    Pick(ComboId::cboIA1, "RSI");
    EXPECT_EQ(Row(0), "RSI(14) of the current bar");
    EXPECT_EQ(w.GridCount(), 1);
    EXPECT_EQ(w.txtForumlae.text, ""); // no comparison yet: nothing to assemble
    EXPECT_FALSE(w.cboED1.enabled);
    EXPECT_TRUE(w.cboED1.visible) << "the list keeps its place, so the editor holds still";

    Pick(ComboId::cboCO, "is less than");
    EXPECT_EQ(w.cboCT.items.size(), 2U);
    EXPECT_EQ(w.cboCT.selected, -1);
    EXPECT_EQ(w.lblTP1.caption, "1st Bar");
    Pick(ComboId::cboCT, "Value");
    EXPECT_TRUE(w.txtVal1.enabled);
    EXPECT_FALSE(w.cboIA2.enabled);
    EXPECT_FALSE(w.txtTP2.enabled);
    EXPECT_EQ(w.txtTP2.text, "1");
    TypeValue("30");
    EXPECT_EQ(Row(0), kRsiRow);
    EXPECT_EQ(w.txtForumlae.text, "Filter = RSIa( Close, 14 ) < 30;" + kColumns);

    w.btnAnd_Click();
    EXPECT_EQ(Row(1), "AND ");
    Pick(ComboId::cboIA1, "MA (Short)");
    EXPECT_TRUE(w.cboED1.enabled);
    EXPECT_EQ(w.cboED1.Text(), "Simple");
    EXPECT_EQ(w.TP1(), 0);
    Pick(ComboId::cboCO, "crosses above");
    EXPECT_EQ(w.cboCT.Text(), "Indicator");
    EXPECT_EQ(w.lblTP1.caption, "Bars:");
    EXPECT_TRUE(w.cboIA2.enabled);
    EXPECT_FALSE(w.txtTP2.enabled); // a crossing has no second bar
    EXPECT_FALSE(w.txtVal1.enabled);
    // MA (Short) lists Parabolic SAR before Price.
    EXPECT_LT(w.cboIA2.FindText("Parabolic SAR"), w.cboIA2.FindText("Price"));
    Pick(ComboId::cboIA2, "MA (Long)");
    EXPECT_EQ(w.cboED2.Text(), "Simple");
    TypeTP1("3");

    EXPECT_EQ(Row(0), kRsiRow);
    EXPECT_EQ(Row(1), "AND " + kCrossRow);
    EXPECT_EQ(w.GridCount(), 2);
    ASSERT_EQ(w.Records().size(), 2U);
    EXPECT_EQ(w.Records()[0].joiner, "");
    EXPECT_EQ(w.Records()[1].joiner, "AND");
    EXPECT_EQ(w.Records()[1].rowText, Row(1));
    EXPECT_EQ(w.txtForumlae.text,
              "Filter = RSIa( Close, 14 ) < 30\r\n"
              "AND BarsSince( Cross( MA( Close, 5 ), MA( Close, 50 ) ) ) <= 3;" +
                  kColumns);
    EXPECT_FALSE(w.txtForumlae.runs.empty());
}

TEST_F(MainWindowStateTest, AndOrStartOnePendingRow) {
    w.btnAnd_Click();
    EXPECT_EQ(w.GridCount(), 0);
    EXPECT_EQ(Row(0), "");

    RsiBelow30();
    w.btnAnd_Click();
    w.btnOr_Click();
    EXPECT_EQ(w.GridCount(), 2);
    EXPECT_EQ(Row(1), "OR ");
    EXPECT_EQ(Row(2), "");
    EXPECT_EQ(w.GridOperator(), "OR");
    EXPECT_EQ(w.GridMode(), "ADD");

    ShortCrossesLong(3);
    EXPECT_EQ(Row(1), "OR " + kCrossRow);
    EXPECT_NE(w.txtForumlae.text.find("\r\nOR BarsSince"), std::string::npos);
}

TEST_F(MainWindowStateTest, SelectingARowLoadsItWithoutChangingTheFormula) {
    ThreeRows();
    const std::string formula = w.txtForumlae.text;

    EXPECT_FALSE(w.MSFlexGrid1_MouseDown(1, 1));
    w.MSFlexGrid1_Click(); // the click that follows the mouse-down does nothing more
    EXPECT_EQ(w.GridMode(), "EDIT");
    EXPECT_EQ(w.SelectedRow(), 1);
    EXPECT_EQ(w.CurrentControl(), "");
    EXPECT_EQ(w.cboIA1.Text(), "MA (Short)");
    EXPECT_EQ(w.cboCO.Text(), "crosses above");
    EXPECT_EQ(w.cboIA2.Text(), "MA (Long)");
    EXPECT_EQ(w.cboED2.Text(), "Simple");
    EXPECT_EQ(w.txtTP1.text, "3");
    EXPECT_EQ(w.GridOperator(), "AND");
    EXPECT_EQ(w.txtForumlae.text, formula);
    EXPECT_EQ(Row(1), "AND " + kCrossRow);

    // Editing now rewrites the selected row only.
    Pick(ComboId::cboED2, "Exponential");
    EXPECT_EQ(Row(1).substr(0, 4), "AND ");
    EXPECT_NE(w.txtForumlae.text.find("MA( Close, 5 ), EMA( Close, 50 )"), std::string::npos);
    EXPECT_EQ(Row(2), "OR Price Close of the current bar is greater than 10");

    // A keyboard move then a click selects too; a blank row goes back to adding.
    w.MSFlexGrid1_RowColChange(0);
    w.MSFlexGrid1_Click();
    EXPECT_EQ(w.cboCT.Text(), "Value");
    EXPECT_EQ(w.txtVal1.text, "30");
    EXPECT_EQ(w.GridOperator(), "");
    w.MSFlexGrid1_RowColChange(9);
    w.MSFlexGrid1_Click();
    EXPECT_EQ(w.GridMode(), "ADD");
    EXPECT_EQ(w.GridOperator(), "OR"); // the last row, rewritten in add mode, keeps its word
}

TEST_F(MainWindowStateTest, ProgramChangesDoNotRegenerate) {
    RsiBelow30();
    const std::string formula = w.txtForumlae.text;
    w.MSFlexGrid1_MouseDown(1, 0);
    w.txtTP1_Change("5"); // no focus: as when the program fills the box
    EXPECT_EQ(w.TP1(), 5);
    EXPECT_EQ(w.txtForumlae.text, formula);
}

TEST_F(MainWindowStateTest, ContextMenuBracketsAndJoiner) {
    RsiBelow30();
    w.btnAnd_Click();
    EXPECT_FALSE(w.MSFlexGrid1_MouseDown(2, 1)); // a pending row has no menu

    ShortCrossesLong(3);
    ASSERT_TRUE(w.MSFlexGrid1_MouseDown(2, 0));
    EXPECT_FALSE(w.mAND.enabled);
    EXPECT_FALSE(w.mOR.enabled);

    ASSERT_TRUE(w.MSFlexGrid1_MouseDown(2, 1));
    EXPECT_TRUE(w.mAND.enabled && w.mAND.checked);
    EXPECT_FALSE(w.mOR.checked);
    EXPECT_FALSE(w.mRemoveLeftBracket.enabled);
    w.mAddLeftBracket_Click();
    w.mAddLeftBracket_Click();
    w.mAddRightBracket_Click();
    EXPECT_EQ(Row(1), "AND ((" + kCrossRow + ")");
    EXPECT_NE(w.ConditionCode().find("AND ((BarsSince("), std::string::npos);

    ASSERT_TRUE(w.MSFlexGrid1_MouseDown(2, 1));
    EXPECT_TRUE(w.mRemoveLeftBracket.enabled);
    w.mRemoveLeftBracket_Click();
    w.mOR_Click();
    EXPECT_EQ(Row(1), "OR (" + kCrossRow + ")");
    EXPECT_EQ(w.Records()[1].joiner, "OR");
    EXPECT_EQ(w.ConditionCode(), "RSIa( Close, 14 ) < 30\r\n"
                                 "OR (BarsSince( Cross( MA( Close, 5 ), MA( Close, 50 ) ) ) <= 3)");
    ASSERT_TRUE(w.MSFlexGrid1_MouseDown(2, 1));
    EXPECT_TRUE(w.mOR.checked);
    EXPECT_FALSE(w.mAND.checked);
}

TEST_F(MainWindowStateTest, RemovingTheFirstRowDropsTheNextRowsJoiner) {
    ThreeRows();
    w.MSFlexGrid1_MouseDown(1, 0);
    w.btnRemove_Click();

    EXPECT_EQ(w.GridCount(), 2);
    EXPECT_EQ(Row(0), kCrossRow);
    EXPECT_EQ(Row(1), "OR Price Close of the current bar is greater than 10");
    EXPECT_EQ(w.MSFlexGrid1.Rows(), 17); // 15 + two started rows; removal keeps the size
    ASSERT_EQ(w.Records().size(), 2U);
    EXPECT_EQ(w.Records()[0].joiner, "");
    EXPECT_EQ(w.Records()[1].joiner, "OR");
    EXPECT_EQ(w.GridMode(), "ADD");
    const std::string code = "BarsSince( Cross( MA( Close, 5 ), MA( Close, 50 ) ) ) <= 3\r\n"
                             "OR Close > 10";
    EXPECT_NE(w.txtForumlae.text.find(code + ";"), std::string::npos);
    EXPECT_EQ(w.txtForumlae.text.find("RSI"), std::string::npos);

    // The next edit rebuilds the code from the first row on.
    w.MSFlexGrid1_MouseDown(1, 1);
    TypeValue("12");
    EXPECT_EQ(w.txtForumlae.text,
              "Filter = BarsSince( Cross( MA( Close, 5 ), MA( Close, 50 ) ) ) <= 3\r\n"
              "OR Close > 12;" +
                  kColumns);
}

TEST_F(MainWindowStateTest, RemovingPendingRows) {
    RsiBelow30();
    w.btnAnd_Click();
    w.MSFlexGrid1_RowColChange(1);
    w.btnRemove_Click(); // an unwritten pending row: only its line goes
    EXPECT_EQ(w.GridCount(), 1);
    EXPECT_EQ(Row(1), "");
    EXPECT_EQ(Row(0), kRsiRow);

    w.btnAnd_Click();
    w.MSFlexGrid1_RowColChange(0);
    w.btnRemove_Click(); // only the pending row would remain: everything is cleared
    EXPECT_EQ(w.GridCount(), 0);
    EXPECT_EQ(w.MSFlexGrid1.Rows(), 15);
    EXPECT_EQ(Row(0), "");
    EXPECT_EQ(Row(1), "");
    EXPECT_TRUE(w.Records().empty());
    EXPECT_EQ(w.txtForumlae.text, "");

    w.btnRemove_Click(); // an empty cell: nothing to remove
    EXPECT_EQ(w.GridCount(), 0);
}

TEST_F(MainWindowStateTest, ClearAllResetsEverything) {
    ThreeRows();
    w.SetScanName("Oversold");
    EXPECT_EQ(w.Caption(), "Marlindex - [Oversold]");
    w.btnClearAll_Click();
    EXPECT_EQ(w.Caption(), "Marlindex");
    EXPECT_EQ(w.MSFlexGrid1.Rows(), 15);
    EXPECT_EQ(w.MSFlexGrid1.row, 0);
    for (int row = 0; row < 15; ++row) {
        EXPECT_EQ(Row(row), "");
    }
    EXPECT_EQ(w.GridCount(), 0);
    EXPECT_EQ(w.txtForumlae.text, "");
    EXPECT_EQ(w.ConditionCode(), "");
    EXPECT_EQ(w.cboIA1.items.size(), 40U);
    EXPECT_EQ(w.cboIA1.selected, -1);
    EXPECT_TRUE(w.cboCO.items.empty());
    EXPECT_FALSE(w.cboCO.enabled);
    EXPECT_EQ(w.txtTP1.text, "0");
    EXPECT_EQ(w.txtTP2.text, "1");
    EXPECT_FALSE(w.ComparisonOperator().has_value());
}

TEST_F(MainWindowStateTest, ANewFirstIndicatorStartsTheConditionOver) {
    ShortCrossesLong(3);
    w.chkModify2_GotFocus();
    w.chkModify2_Click(true);
    Pick(ComboId::cboIA1, "MA (Medium)");
    EXPECT_EQ(w.TP1(), 0);
    EXPECT_EQ(w.TP2(), 1);
    EXPECT_EQ(w.cboCO.selected, -1);
    EXPECT_TRUE(w.cboIA2.items.empty());
    EXPECT_FALSE(w.chkModify2.checked);
    EXPECT_FALSE(w.cboED2.enabled);
    EXPECT_EQ(w.BarPhrase1(), "the current period");
    w.txtTP1_Change("1");
    EXPECT_EQ(w.BarPhrase1(), "1 period ago");
}

TEST_F(MainWindowStateTest, ComparisonGroupsOfferWhatTheirFormulaUses) {
    Pick(ComboId::cboIA1, "MA (Medium)");
    Pick(ComboId::cboCO, "has equalled"); // a value only
    EXPECT_EQ(w.cboCT.Text(), "Value");
    EXPECT_TRUE(w.txtVal1.enabled);
    EXPECT_FALSE(w.cboIA2.enabled);

    Pick(ComboId::cboCO, "lowest it has been"); // own extreme over bars, value on the bar
    EXPECT_FALSE(w.cboCT.enabled);
    EXPECT_TRUE(w.txtVal1.enabled);
    TypeTP1("5");
    EXPECT_FALSE(w.txtVal1.enabled);
    EXPECT_EQ(w.Records()[0].codePart1, "Ref( LLV( MA( Close, 30 ), 5 ), -1 )");

    Pick(ComboId::cboCO, "is greater than");
    Pick(ComboId::cboCT, "Indicator");
    EXPECT_TRUE(w.cboIA2.enabled);
    EXPECT_TRUE(w.txtTP2.enabled);
    EXPECT_FALSE(w.txtVal1.enabled);
    Pick(ComboId::cboIA2, "Price");
    EXPECT_EQ(w.cboED2.Text(), "Close");
    EXPECT_EQ(w.cboED2.items.size(), 5U);
    Type(&MainWindowState::txtTP2_GotFocus, &MainWindowState::txtTP2_Change,
         &MainWindowState::txtTP2_LostFocus, "0");
    EXPECT_EQ(w.ConditionCode(), "Ref( MA( Close, 30 ), -5 ) > Close");

    // Switching to a value drops indicator 2, so the value is what the formula compares with.
    Pick(ComboId::cboCT, "Value");
    EXPECT_EQ(w.cboIA2.selected, -1);
    EXPECT_EQ(w.TP2(), 1);
    TypeValue("20.5");
    EXPECT_EQ(w.ConditionCode(), "Ref( MA( Close, 30 ), -5 ) > 20.5");
}

TEST_F(MainWindowStateTest, ModifiersAndTheCorrectionsShown) {
    Pick(ComboId::cboIA1, "RSI");
    w.chkModify1_GotFocus();
    w.chkModify1_Click(true);
    EXPECT_TRUE(w.cboModify1.enabled && w.txtModify1.enabled);
    EXPECT_EQ(w.cboModify1.Text(), "Increase");
    Type(&MainWindowState::txtModify1_GotFocus, &MainWindowState::txtModify1_Change,
         &MainWindowState::txtModify1_LostFocus, "5");
    EXPECT_EQ(w.txtModify1.text, "5");
    Pick(ComboId::cboCO, "has been above");
    EXPECT_EQ(w.TP1(), 1); // over 0 bars means over 1
    EXPECT_EQ(w.txtTP1.text, "1");
    Pick(ComboId::cboCT, "Indicator");
    Pick(ComboId::cboIA2, "RSI");
    w.chkModify2_GotFocus();
    w.chkModify2_Click(true);
    Pick(ComboId::cboModify2, "Multiply");
    Pick(ComboId::cboModifyED2, "Percent");
    EXPECT_EQ(w.Modify2(), 1); // a percentage of 0 means 1
    EXPECT_EQ(w.txtModify2.text, "1");
    EXPECT_EQ(w.ConditionCode(), "BarsSince( RSIa( Close, 14 )+5 <= RSIa( Close, 14 )*0.01 ) >= 1");
}

TEST_F(MainWindowStateTest, BarFieldsTakeDigitsAndSlashOnly) {
    Pick(ComboId::cboIA1, "RSI");
    w.txtTP1_GotFocus();
    std::string text;
    for (const char key : std::string("3x/4")) {
        if (const int accepted = MainWindowState::txtTP1_KeyPress(key); accepted != 0) {
            text += static_cast<char>(accepted);
            w.txtTP1_Change(text);
        }
    }
    EXPECT_EQ(w.txtTP1.text, "3/4");
    EXPECT_EQ(w.TP1(), 3);
    w.txtTP1_LostFocus();
    EXPECT_EQ(w.txtTP1.text, "3");
    EXPECT_EQ(MainWindowState::txtTP2_KeyPress(8), 8);
    EXPECT_EQ(MainWindowState::txtTP2_KeyPress('-'), 0);
}

TEST_F(MainWindowStateTest, RunOptions) {
    RsiBelow30();
    w.optScanBuy_Click();
    EXPECT_TRUE(w.optScanBuy.value);
    EXPECT_FALSE(w.optExplore.value);
    EXPECT_EQ(w.txtForumlae.text, "Buy = RSIa( Close, 14 ) < 30;");
    w.SetFilterExpression("F");
    w.OptUseFilter_Click();
    EXPECT_EQ(w.txtForumlae.text, "Buy = F\r\nAND RSIa( Close, 14 ) < 30;");
    w.optAllTickers_Click();
    EXPECT_EQ(w.txtForumlae.text, "Buy = RSIa( Close, 14 ) < 30;");

    w.SetAnalysisType(7); // anything but 0 and 1 selects the third button
    EXPECT_TRUE(w.optScanSell.value);
    w.SetApplyTo(1);
    EXPECT_TRUE(w.OptCurrentTicker.value);
    w.optAllBars_Click();
    EXPECT_EQ(w.ScanRange(), 0);
    EXPECT_TRUE(w.optAllBars.value && !w.OptLastBars.value);

    for (const auto& [typed, shown] : {std::pair{"-5", "5"}, std::pair{"abc", "1"},
                                       std::pair{" 3.5 ", "4"}, std::pair{"", "1"}}) {
        w.txtRange_Change(typed);
        EXPECT_EQ(w.ScanRangeNumber(), typed);
        w.txtRange_LostFocus();
        EXPECT_EQ(w.txtRange.text, shown) << typed;
        EXPECT_EQ(w.ScanRangeNumber(), shown);
    }
}

TEST_F(MainWindowStateTest, ANewAnalysisTypeRewritesNoRow) {
    RsiBelow30();
    w.btnAnd_Click();
    // A pending row must stay pending.
    w.optScanBuy_Click();
    EXPECT_EQ(Row(1), "AND ");
    EXPECT_EQ(w.txtForumlae.text, "Buy = RSIa( Close, 14 ) < 30;");

    // After removing the middle row, the editor's condition must not land on the last row.
    CrossingOrPriceAbove10();
    w.MSFlexGrid1_MouseDown(1, 1);
    w.MSFlexGrid1_Click();
    w.btnRemove_Click();
    const std::string lastRow = Row(1);
    w.optScanSell_Click();
    EXPECT_EQ(Row(1), lastRow);
    // Code rebuilt after a removal starts each row, the first too, on a new line.
    EXPECT_EQ(w.txtForumlae.text, "Sell = \r\n RSIa( Close, 14 ) < 30\r\nOR Close > 10;");
}

TEST_F(MainWindowStateTest, RunSettingsLoadWithDefaultsAndSaveInOrder) {
    w.LoadRunSettings();
    EXPECT_EQ(w.ApplyTo(), 0);
    EXPECT_EQ(w.ScanRange(), 1);
    EXPECT_EQ(w.ScanRangeNumber(), "1");
    EXPECT_EQ(w.AnalysisType(), 0);
    EXPECT_TRUE(w.mMOS.checked);
    EXPECT_FALSE(w.mWITB.checked);
    EXPECT_TRUE(w.mICWC.checked);

    settings_.SetSection("Settings\\");
    settings_.WriteEntry("ApplyTo", "2");
    settings_.WriteEntry("Range", "2");
    settings_.WriteEntry("RangeNumber", "20");
    settings_.WriteEntry("AnalysisType", "1");
    settings_.WriteEntry("MinOnScan", "0");
    settings_.WriteEntry("WindowInTaskBar", "1");
    settings_.WriteEntry("IncludeCommentWithCode", "0");
    w.LoadRunSettings();
    EXPECT_TRUE(w.OptUseFilter.value);
    EXPECT_TRUE(w.OptLastDays.value);
    EXPECT_EQ(w.txtRange.text, "20");
    EXPECT_TRUE(w.optScanBuy.value);
    EXPECT_FALSE(w.mMOS.checked);
    EXPECT_TRUE(w.mWITB.checked);
    EXPECT_TRUE(w.mICWC.checked); // on at every start, whatever was stored

    // A hand-edited value that is no number falls back to its default.
    settings_.WriteEntry("AnalysisType", "sell");
    w.LoadRunSettings();
    EXPECT_EQ(w.AnalysisType(), 0);

    w.OptCurrentTicker_Click();
    w.optAllBars_Click();
    w.txtRange_Change("-7");
    w.txtRange_LostFocus();
    w.optScanSell_Click();
    w.SaveRunSettings();
    const std::vector<std::pair<std::string, std::string>> expected{
        {"ApplyTo", "1"}, {"Range", "0"}, {"RangeNumber", "7"}, {"AnalysisType", "2"}};
    for (const auto& [name, value] : expected) {
        EXPECT_EQ(settings_.ReadEntry(name, ""), value) << name;
    }

    w.mMOS_Click();
    EXPECT_EQ(settings_.ReadEntry("MinOnScan", ""), "1");
    w.mICWC_Click();
    EXPECT_EQ(settings_.ReadEntry("IncludeCommentWithCode", ""), "0");
    EXPECT_FALSE(w.mWITB_Click());
    EXPECT_EQ(settings_.ReadEntry("WindowInTaskBar", ""), "0");
}

// ---- the editor always shows what the next change writes ----

TEST_F(MainWindowStateTest, AfterAndOrTheEditorStartsAFreshConditionForTheNewRow) {
    Pick(ComboId::cboIA1, "RSI");
    Pick(ComboId::cboCO, "is less than");
    Pick(ComboId::cboCT, "Value");
    TypeValue("40");
    w.chkModify1_GotFocus();
    w.chkModify1_Click(true);
    w.btnOr_Click();
    EXPECT_EQ(w.MSFlexGrid1.row, 1) << "the highlight is on the new row";
    EXPECT_EQ(w.cboIA1.selected, -1);
    EXPECT_FALSE(w.chkModify1.checked) << "row 1's modifier stays with row 1";
    EXPECT_FALSE(w.txtVal1.enabled);
    EXPECT_EQ(w.StatusText(), "Adding row 2 (OR): choose its indicator in Indicator 1.");

    // The new row is written from what the editor shows, and row 1 keeps its value.
    Pick(ComboId::cboIA1, "RSI");
    Pick(ComboId::cboCO, "is greater than");
    Pick(ComboId::cboCT, "Value");
    TypeValue("70");
    EXPECT_EQ(Row(0), "RSI(14) increased by 0 of the current bar is less than 40");
    EXPECT_EQ(Row(1), "OR RSI(14) of the current bar is greater than 70");
    EXPECT_EQ(w.StatusText(), "Row 2 is finished. AND or OR adds another condition.");
}

TEST_F(MainWindowStateTest, AfterARemovalTheEditorShowsTheLastRowItNowWritesInto) {
    ThreeRows();
    w.MSFlexGrid1_MouseDown(1, 1);
    w.btnRemove_Click();
    EXPECT_EQ(w.GridMode(), "ADD");
    EXPECT_EQ(w.MSFlexGrid1.row, 1) << "the last row, which the next change rewrites";
    EXPECT_EQ(w.cboIA1.Text(), "Price");
    EXPECT_EQ(w.txtVal1.text, "10");
    EXPECT_EQ(w.GridOperator(), "OR");
    TypeValue("12");
    EXPECT_EQ(Row(0), kRsiRow);
    EXPECT_EQ(Row(1), "OR Price Close of the current bar is greater than 12");

    // A pending row left last: the editor is fresh for it.
    w.btnAnd_Click();
    w.MSFlexGrid1_MouseDown(1, 0);
    w.btnRemove_Click();
    EXPECT_EQ(Row(1), "AND ");
    EXPECT_EQ(w.MSFlexGrid1.row, 1);
    EXPECT_EQ(w.cboIA1.selected, -1);
}

TEST_F(MainWindowStateTest, SelectingABlankRowShowsTheLastRowAndAnUnfinishedRowLoads) {
    RsiBelow30();
    w.btnAnd_Click();
    Pick(ComboId::cboIA1, "OBV"); // left unfinished: "AND OBV of the current bar"
    w.MSFlexGrid1_MouseDown(1, 0);
    EXPECT_EQ(w.cboIA1.Text(), "RSI");

    w.MSFlexGrid1_MouseDown(1, 7); // below the rows
    EXPECT_EQ(w.GridMode(), "ADD");
    EXPECT_EQ(w.MSFlexGrid1.row, 1);
    EXPECT_EQ(w.cboIA1.Text(), "OBV") << "the row the next change goes to";

    w.MSFlexGrid1_MouseDown(1, 0);
    w.MSFlexGrid1_MouseDown(1, 1);
    EXPECT_EQ(w.GridMode(), "EDIT") << "an unfinished row is there to be finished";
    EXPECT_EQ(w.StatusText(), "Editing row 2: no comparison is chosen.");
    Pick(ComboId::cboCO, "is greater than");
    Pick(ComboId::cboIA2, "OBV");
    Pick(ComboId::cboCT, "Indicator");
    Pick(ComboId::cboIA2, "OBV");
    EXPECT_EQ(w.ConditionCode(), "RSIa( Close, 14 ) < 30\r\nAND OBV() > Ref( OBV(), -1 )");
}

TEST_F(MainWindowStateTest, ClearAllKeepsTheFocusedControlRegenerating) {
    RsiBelow30();
    w.cboIA1_GotFocus();
    w.btnClearAll_Click(); // Alt+C with the focus in the indicator list
    w.Choose(ComboId::cboIA1, w.cboIA1.FindText("RSI"));
    EXPECT_EQ(Row(0), "RSI(14) of the current bar");
}

// ---- fields that hold no number ----

TEST_F(MainWindowStateTest, ATextThatIsNoNumberIsMarkedAndNeverBecomesZero) {
    Pick(ComboId::cboIA1, "RSI");
    w.chkModify1_GotFocus();
    w.chkModify1_Click(true);
    Type(&MainWindowState::txtModify1_GotFocus, &MainWindowState::txtModify1_Change,
         &MainWindowState::txtModify1_LostFocus, "21");
    Pick(ComboId::cboCO, "is less than");
    Pick(ComboId::cboCT, "Value");
    TypeValue("30");
    const std::string formula = w.txtForumlae.text;
    ASSERT_NE(formula.find("RSIa( Close, 14 )+21 < 30"), std::string::npos);

    w.txtModify1_GotFocus();
    w.txtModify1_Change("abc");
    EXPECT_EQ(w.txtModify1.invalid,
              "\"abc\" is not a number; the condition keeps 21 until one is typed.");
    EXPECT_EQ(w.Modify1(), 21);
    EXPECT_EQ(w.txtForumlae.text, formula) << "no *0, no silent change";
    w.txtModify1_LostFocus();
    EXPECT_EQ(w.txtModify1.text, "21");
    EXPECT_EQ(w.txtModify1.invalid, "");

    const std::pair<const char*, const char*> values[] = {
        {"2,5", "\"2,5\" is not a number (decimals take a point: 2.5); the condition keeps 30 "
                "until one is typed."},
        {"", "The field is empty; the condition keeps 30 until one is typed."},
        {"1e3", "\"1e3\" is not a number; the condition keeps 30 until one is typed."},
        {"-", "\"-\" is not a number; the condition keeps 30 until one is typed."},
        {"3.5.1", "\"3.5.1\" is not a number; the condition keeps 30 until one is typed."}};
    w.txtVal1_GotFocus();
    for (const auto& [typed, why] : values) {
        w.txtVal1_Change(typed);
        EXPECT_EQ(w.txtVal1.invalid, why) << typed;
        EXPECT_EQ(w.Value1(), 30) << typed;
    }
    for (const auto& [typed, value] : {std::pair{"-4", -4.0}, std::pair{" .5", 0.5},
                                       std::pair{"+3", 3.0}, std::pair{"12.", 12.0}}) {
        w.txtVal1_Change(typed);
        EXPECT_EQ(w.txtVal1.invalid, "") << typed;
        EXPECT_EQ(w.Value1(), value) << typed;
    }

    // The bar fields take "/" from the keyboard, but a text holding one is no count of bars.
    w.txtTP1_GotFocus();
    w.txtTP1_Change("2");
    for (const char* typed : {"/2", "2/", "-1", "1.5", "99999999999"}) {
        w.txtTP1_Change(typed);
        EXPECT_NE(w.txtTP1.invalid, "") << typed;
        EXPECT_EQ(w.TP1(), 2) << typed;
    }
}

TEST_F(MainWindowStateTest, AValueTheIndicatorNeverReachesIsWarnedAbout) {
    Pick(ComboId::cboIA1, "RSI");
    Pick(ComboId::cboCO, "is less than");
    Pick(ComboId::cboCT, "Value");
    TypeValue("251");
    EXPECT_EQ(w.ValueWarningText(), "RSI lies between 0 and 100, so comparing it with 251 gives "
                                    "the same answer on every bar");
    ASSERT_EQ(w.RowIssues().size(), 1U);
    EXPECT_EQ(w.RowIssues()[0].kind, RowIssueKind::Value);
    TypeValue("25");
    EXPECT_EQ(w.ValueWarningText(), "");
    EXPECT_TRUE(w.RowIssues().empty());
}

// ---- rows that look finished but are not ----

TEST_F(MainWindowStateTest, UnfinishedRowsAndBracketsAreNamedBeforeTheFormulaIsUsed) {
    Pick(ComboId::cboIA1, "RSI");
    EXPECT_EQ(w.StatusText(), "Editing row 1: no comparison is chosen.");
    Pick(ComboId::cboCO, "is less than");
    EXPECT_EQ(w.txtForumlae.text, "Filter = RSIa( Close, 14 ) < Ref( Array2, -1 );" + kColumns)
        << "the formula is written as it stands";
    const std::vector<std::string> unfinished{
        "Row 1 \"RSI(14) of the current bar is less than\": it is not chosen whether it is "
        "compared with an indicator or a value."};
    EXPECT_EQ(w.FormulaProblems(false), unfinished);
    EXPECT_EQ(w.FormulaProblems(true), unfinished) << "the parser's complaint is the same row's";

    Pick(ComboId::cboCT, "Value");
    TypeValue("30");
    EXPECT_TRUE(w.FormulaProblems(true).empty());
    w.btnAnd_Click();
    Pick(ComboId::cboIA1, "OBV");
    ASSERT_TRUE(w.MSFlexGrid1_MouseDown(2, 0));
    w.mAddLeftBracket_Click();
    const std::vector<std::string> two{
        "Row 1 \"(RSI(14) of the current bar is less than 30\": it opens a bracket that no row "
        "after it closes.",
        "Row 2 \"AND OBV of the current bar\": no comparison is chosen."};
    EXPECT_EQ(w.FormulaProblems(true), two);
}

TEST_F(MainWindowStateTest, TheParsersComplaintIsNamedByTheRowItBelongsTo) {
    ThreeRows();
    // A record as an older release may have stored it: the second row lost its right side.
    LibraryFormula formula = w.FormulaRecord();
    formula.rows[1].codePart2 = "<=";
    formula.conditionCode = BuildConditionCode(formula.rows, 3);
    formula.formulaText =
        AssembleFormula(formula.conditionCode, "", kApplyToAll, AnalysisType::Exploration);
    w.RestoreRecord(formula);
    const std::vector<std::string> problems = w.FormulaProblems(true);
    ASSERT_EQ(problems.size(), 1U);
    EXPECT_TRUE(problems[0].starts_with("Row 2 \"AND MA (Short) Simple(5) crosses above MA "
                                        "(Long) S...\": the built-in engine cannot read its "
                                        "formula"))
        << problems[0];
    EXPECT_NE(problems[0].find("line 3, column 1 of the formula"), std::string::npos)
        << problems[0];
    EXPECT_TRUE(w.FormulaProblems(false).empty()) << "only the parser sees it";
}

// ---- undo ----

// What the window shows: the formula, the rows and the editor.
std::string Shown(const MainWindowState& w) {
    std::string text = w.txtForumlae.text + "|" + std::to_string(w.GridCount()) + "|" +
                       std::to_string(w.MSFlexGrid1.row) + "|" + w.cboIA1.Text() + "|" +
                       w.cboCO.Text() + "|" + w.txtVal1.text + "|" + w.FilterExpression() + "|" +
                       std::to_string(w.AnalysisType());
    for (int row = 0; row < w.CountConditionRows(); ++row) {
        text += "\n" + w.MSFlexGrid1.Text(row);
    }
    return text;
}

TEST_F(MainWindowStateTest, UndoAndRedoWalkEveryChangeBackAndForth) {
    std::vector<std::string> states{Shown(w)};
    const auto step = [&](const std::function<void()>& change) {
        change();
        states.push_back(Shown(w));
    };
    step([&] { Pick(ComboId::cboIA1, "RSI"); });
    step([&] { Pick(ComboId::cboCO, "is less than"); });
    step([&] { Pick(ComboId::cboCT, "Value"); });
    step([&] {
        // Typing in one field is one step, key by key.
        w.txtVal1_GotFocus();
        w.txtVal1_Change("3");
        w.txtVal1_Change("30");
        w.txtVal1_LostFocus();
    });
    step([&] { w.btnAnd_Click(); });
    step([&] { ShortCrossesLong(3); });
    step([&] { w.optScanBuy_Click(); });
    step([&] { w.FilterChosen("MarketID() == 1"); });
    // A selection is no step: Undo brings back the selection made before the next change.
    step([&] {
        w.OptUseFilter_Click();
        w.MSFlexGrid1_MouseDown(2, 1);
    });
    step([&] {
        w.mAddLeftBracket_Click();
        w.MSFlexGrid1_MouseDown(1, 0);
    });
    step([&] { w.btnRemove_Click(); });
    step([&] { w.btnClearAll_Click(); });
    // ShortCrossesLong is four changes; the other eleven one each.
    const std::size_t steps = 11 + 4;

    std::vector<std::string> undone{Shown(w)};
    while (w.CanUndo()) {
        w.Undo();
        undone.push_back(Shown(w));
    }
    ASSERT_EQ(undone.size(), steps + 1);
    EXPECT_EQ(undone.back(), states.front()) << "back to the empty window";
    for (std::size_t i = 0; i + 1 < states.size(); ++i) {
        // Every recorded state is among the ones Undo passes, in reverse order.
        EXPECT_NE(std::find(undone.begin(), undone.end(), states[i]), undone.end()) << i;
    }
    std::vector<std::string> redone;
    while (w.CanRedo()) {
        w.Redo();
        redone.push_back(Shown(w));
    }
    EXPECT_EQ(redone, std::vector<std::string>(undone.rbegin() + 1, undone.rend()));
    EXPECT_EQ(Shown(w), states.back());
}

TEST_F(MainWindowStateTest, SelectingIsNoStepAndANewChangeDropsTheRedo) {
    RsiBelow30();
    const std::string finished = Shown(w);
    w.btnAnd_Click();
    w.MSFlexGrid1_MouseDown(1, 0); // selecting: no step
    w.MSFlexGrid1_Click();
    w.Undo();
    EXPECT_EQ(Shown(w), finished) << "the AND is undone, not the selection";
    EXPECT_TRUE(w.CanRedo());
    w.optScanSell_Click();
    EXPECT_FALSE(w.CanRedo());
    // Choosing what is already chosen changes nothing.
    const bool before = w.CanUndo();
    w.Undo();
    w.optExplore_Click();
    w.optExplore_Click();
    w.Undo();
    EXPECT_EQ(w.CanUndo(), before);
}

TEST_F(MainWindowStateTest, UnsavedChangesFollowTheStepsAndAReloadedFilterIsNoChange) {
    EXPECT_FALSE(w.IsModified());
    w.FilterReloaded("MarketID() == 2"); // at start: the filter file of the database
    EXPECT_FALSE(w.IsModified());
    EXPECT_FALSE(w.CanUndo());
    RsiBelow30();
    EXPECT_TRUE(w.HasUnsavedWork());
    w.MarkSaved();
    EXPECT_FALSE(w.IsModified());
    TypeValue("25");
    EXPECT_TRUE(w.IsModified());
    w.Undo();
    EXPECT_FALSE(w.IsModified()) << "back where it was saved";
    w.Redo();
    EXPECT_TRUE(w.IsModified());

    w.btnClearAll_Click();
    EXPECT_TRUE(w.IsModified());
    EXPECT_FALSE(w.HasUnsavedWork()) << "an empty grid has nothing to lose";
    w.ForgetHistory();
    EXPECT_FALSE(w.CanUndo());
    EXPECT_FALSE(w.IsModified());
}

TEST_F(MainWindowStateTest, UndoKeepsTheLastHundredSteps) {
    RsiBelow30();
    for (int i = 0; i < 150; ++i) {
        i % 2 == 0 ? w.optScanBuy_Click() : w.optExplore_Click();
    }
    int undone = 0;
    while (w.CanUndo()) {
        w.Undo();
        ++undone;
    }
    EXPECT_EQ(undone, static_cast<int>(MainWindowState::kUndoSteps));
}

TEST(RunFile, FolderFollowsVersionAndProgramFolder) {
    EXPECT_EQ(RunFilePath("C:\\Tools\\AmiBroker\\Marlindex", "4.70"),
              "C:\\Tools\\AmiBroker\\Formulas\\Unnamed.afl");
    EXPECT_EQ(RunFilePath("C:\\Tools\\AmiBroker\\Marlindex", "4.60"),
              "C:\\Tools\\AmiBroker\\AFL\\Unnamed.afl");
    EXPECT_EQ(RunFilePath("/opt/amibroker/Marlindex", "5.00.2"),
              "/opt/amibroker/Formulas/Unnamed.afl");
    // The cut is by length, not by folder name.
    EXPECT_EQ(RunFilePath("/opt/ab/Tools1234", "4.80.1"), "/opt/ab/Formulas/Unnamed.afl");
    EXPECT_THROW(RunFilePath("Marlindex", "5.0"), BrokerError);
    EXPECT_THROW(RunFilePath("/opt/ab/Marlindex", "beta"), BrokerError);
}

class RunTest : public MainWindowStateTest {
protected:
    RunOutcome Run() {
        RunServices services;
        services.broker = &broker_;
        services.programFolder = (folder_.path() / "AmiBroker" / "Marlindex").string();
        services.today = "21 Nov 2026";
        services.minimiseWindow = [this] { broker_.analysis.calls.push_back("minimise"); };
        return w.btnRun_Click(services);
    }
    std::filesystem::path RunFile() const {
        return folder_.path() / "AmiBroker" / "Formulas" / "Unnamed.afl";
    }

    test::TempFolder folder_;
    test::RecordingBroker broker_;
};

TEST_F(RunTest, EmptyFormulaDoesNothing) {
    const RunOutcome outcome = Run();
    EXPECT_FALSE(outcome.started);
    EXPECT_TRUE(broker_.analysis.calls.empty());
    EXPECT_FALSE(std::filesystem::exists(RunFile()));
}

TEST_F(RunTest, WritesTheCommentedFileAndDrivesTheAnalysis) {
    ThreeRows();
    w.OptUseFilter_Click();
    w.OptLastDays_Click();
    w.txtRange_Change("-5");
    w.txtRange_LostFocus();
    const RunOutcome outcome = Run();
    EXPECT_TRUE(outcome.started);
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(test::ReadBytes(RunFile()), "/* Create date: 21 Nov 2026\r\n" + Row(0) + " " +
                                              Row(1) + " " + Row(2) + " */\r\n\r\n" +
                                              w.txtForumlae.text);
    // "Use filter" runs over all symbols: the filter is in the formula.
    const std::vector<std::string> expected{
        "Version",       "Analysis",  "LoadFormula " + RunFile().string(),
        "ClearFilters",  "ApplyTo 0", "RangeMode 2",
        "RangeN text 5", "minimise",  "Explore"};
    EXPECT_EQ(broker_.analysis.calls, expected);
}

TEST_F(RunTest, OptionsMapToTheAnalysisMembers) {
    RsiBelow30();
    w.mMOS_Click();  // no minimising
    w.mICWC_Click(); // the formula alone
    w.optScanSell_Click();
    w.OptCurrentTicker_Click();
    w.OptLastBars_Click();
    w.txtRange_Change("12");
    Run();
    EXPECT_EQ(test::ReadBytes(RunFile()), "Sell = RSIa( Close, 14 ) < 30;");
    std::vector<std::string> expected{
        "Version",        "Analysis",  "LoadFormula " + RunFile().string(),
        "ClearFilters",   "ApplyTo 1", "RangeMode 1",
        "RangeN text 12", "Scan"};
    EXPECT_EQ(broker_.analysis.calls, expected);

    // No range option selected at all: the last bar.
    broker_.analysis.calls.clear();
    w.OptLastBars.value = false;
    Run();
    expected[5] = "RangeMode 1";
    expected[6] = "RangeN int16 1";
    EXPECT_EQ(broker_.analysis.calls, expected);
}

TEST_F(RunTest, AFailureEndsTheRunAndKeepsTheFile) {
    RsiBelow30();
    broker_.analysis.failOn = "ClearFilters";
    const RunOutcome outcome = Run();
    EXPECT_FALSE(outcome.started);
    EXPECT_NE(outcome.error.find("ClearFilters"), std::string::npos);
    EXPECT_TRUE(std::filesystem::exists(RunFile()));
    EXPECT_EQ(broker_.analysis.calls.back(), "LoadFormula " + RunFile().string());

    broker_.analysis.failOn.clear();
    broker_.analysis.calls.clear();
    broker_.version = "4.60";
    Run();
    EXPECT_TRUE(std::filesystem::exists(folder_.path() / "AmiBroker" / "AFL" / "Unnamed.afl"));
}

} // namespace
} // namespace marlindex
