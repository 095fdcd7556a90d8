// The main window's file commands: a formula saved through the library dialog and opened again
// brings the window back exactly; Save updates it in place; Copy and the captions.
#include "mainwindow/MainWindowFiles.h"

#include "settings/MemoryHive.h"
#include "support/ScriptedPrompts.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

// Everything Open is to bring back, in one comparable text.
std::string Snapshot(const MainWindowState& w) {
    std::string text =
        w.Caption() + "|" + std::to_string(w.AnalysisType()) + std::to_string(w.ApplyTo()) +
        std::to_string(w.ScanRange()) + "|" + w.ScanRangeNumber() + "|" + w.txtRange.text + "|" +
        std::to_string(w.GridCount()) + "|" + w.GridMode() + "|" + std::to_string(w.SelectedRow()) +
        "|" + w.ConditionCode() + "|" + w.FilterExpression() + "|" + w.txtForumlae.text + "|" +
        std::to_string(w.txtForumlae.runs.size()) + "\n";
    // Blank rows past the last condition do not show; how many there are does not matter.
    for (int row = 0; row < w.CountConditionRows(); ++row) {
        text += w.MSFlexGrid1.Text(row) + "\n";
    }
    text += w.cboIA1.Text() + "|" + w.cboCO.Text() + "|" + w.cboCT.Text() + "|" + w.txtVal1.text;
    return text;
}

class MainWindowFilesTest : public ::testing::Test {
protected:
    void Pick(ComboId combo, const char* control, std::string_view text) {
        w.SetCurrentControl(control);
        w.Choose(combo, w.Combo(combo).FindText(text));
    }
    // RSI < 30 AND (MA (Short) crossing MA (Long) within 3 bars), a buy scan over the filter.
    void BuildFormula() {
        Pick(ComboId::cboIA1, "cboIA1", "RSI");
        Pick(ComboId::cboCO, "cboCO", "is less than");
        Pick(ComboId::cboCT, "cboCT", "Value");
        w.SetCurrentControl("txtVal1");
        w.txtVal1_Change("30");
        w.btnAnd_Click();
        Pick(ComboId::cboIA1, "cboIA1", "MA (Short)");
        Pick(ComboId::cboCO, "cboCO", "crosses above");
        Pick(ComboId::cboIA2, "cboIA2", "MA (Long)");
        w.SetCurrentControl("txtTP1");
        w.txtTP1_Change("3");
        w.mAddLeftBracket_Click();
        w.mAddRightBracket_Click();
        w.SetFilterExpression("(MarketID() == 1)");
        w.optScanBuy_Click();
        w.OptUseFilter_Click();
        w.OptLastDays_Click();
        w.txtRange_Change("20");
    }
    // Answers the next dialog: select `key`, type `name`, press OK.
    void Answer(std::string key, std::string name = "") {
        script = [key, name](LibraryBrowser& b) {
            b.TreeView1_NodeClick(key);
            if (!name.empty()) {
                b.Text1_Change(name);
            }
            b.btnOK_Click();
        };
    }
    Library OnDisk() const { return *ReadLibrary(test::ReadBytes(LibraryPath(folder.path()))); }

    test::TempFolder folder;
    MemoryHive hive;
    CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    MainWindowState w{settings};
    test::ScriptedPrompts prompts;
    std::vector<std::string> shown; // each dialog as "mode|caption|OK caption"
    std::function<void(LibraryBrowser&)> script;
    MainWindowFiles files{w, folder.path(), prompts, [this](LibraryBrowser& browser) {
                              shown.push_back(browser.Mode() + "|" + browser.Caption + "|" +
                                              browser.btnOK);
                              if (script) {
                                  script(browser);
                              }
                          }};
};

TEST_F(MainWindowFilesTest, ASavedFormulaOpensExactlyAsItWas) {
    BuildFormula();
    Answer("2X", "Crossing");
    files.mSave_Click();
    ASSERT_EQ(shown, std::vector<std::string>{"SAVE|Save scan as|&Save"});
    EXPECT_EQ(w.Caption(), "Marlindex - [Crossing]");
    // What Open brings back is the window as it stands after its first row is clicked.
    w.MSFlexGrid1_RowColChange(0);
    w.MSFlexGrid1_Click();
    const std::string saved = Snapshot(w);

    files.mNew_Click();
    EXPECT_EQ(w.GridCount(), 0);
    EXPECT_EQ(w.Caption(), "Marlindex");
    Answer("1Z");
    files.mOpen_Click();
    EXPECT_EQ(shown.back(), "OPEN|Open File|&Open");
    EXPECT_EQ(Snapshot(w), saved);
    EXPECT_EQ(w.Records(), OnDisk().formulas[0].rows);
    EXPECT_EQ(w.GridMode(), "EDIT") << "the first row is loaded into the editor";
    EXPECT_EQ(w.cboIA1.Text(), "RSI");
    EXPECT_EQ(prompts.shown.size(), 0u);
}

TEST_F(MainWindowFilesTest, SavingAnOpenedFormulaUpdatesItsRecordInPlace) {
    BuildFormula();
    Answer("2X", "Crossing");
    files.mSave_Click();
    Answer("3X", "Other");
    files.mSaveAs_Click();
    ASSERT_EQ(OnDisk().formulas.size(), 2u);
    EXPECT_EQ(files.LibraryRecord(), (LibraryRecordRef{2, "3", "Other"}));

    Answer("1Z");
    files.mOpen_Click();
    w.optExplore_Click();
    script = nullptr;
    const auto dialogs = shown.size();
    files.mSave_Click();
    EXPECT_EQ(shown.size(), dialogs) << "no dialog";
    const Library library = OnDisk();
    ASSERT_EQ(library.formulas.size(), 2u) << "no new record";
    EXPECT_EQ(library.formulas[0].analysisType, 0);
    EXPECT_EQ(library.formulas[0].formulaText, w.txtForumlae.text);
    EXPECT_EQ(library.formulas[0].name, "Crossing");
    EXPECT_EQ(library.formulas[1].analysisType, 1);

    // Once another program has removed the record, Save asks for a name again.
    Library changed = library;
    changed.DeleteFormula(1);
    ASSERT_TRUE(SaveLibraryFile(LibraryPath(folder.path()), changed));
    files.mSave_Click();
    EXPECT_EQ(shown.back(), "SAVE|Save exploration as|&Save");
    EXPECT_EQ(OnDisk().formulas.size(), 1u);
}

TEST_F(MainWindowFilesTest, AnEmptyLastRowIsNotSaved) {
    BuildFormula();
    w.SetGridCount(3); // a blank third row counted
    Answer("1X", "Two");
    files.mSave_Click();
    EXPECT_EQ(w.GridCount(), 2);
    EXPECT_EQ(OnDisk().formulas[0].rowCount, 2);
    EXPECT_EQ(OnDisk().formulas[0].rows.size(), 2u);
}

TEST_F(MainWindowFilesTest, NewForgetsTheRecordSoSaveAsksForAName) {
    BuildFormula();
    Answer("2X", "Crossing");
    files.mSave_Click();
    files.mNew_Click();
    EXPECT_EQ(files.LibraryRecord(), LibraryRecordRef{});
    BuildFormula();
    script = nullptr;
    files.mSave_Click();
    EXPECT_EQ(shown.size(), 2u);
}

TEST_F(MainWindowFilesTest, UnsavedWorkIsOfferedForSavingBeforeItIsDiscarded) {
    BuildFormula();
    const std::string built = Snapshot(w);
    prompts.choices = {PromptAnswer::Cancel};
    files.mNew_Click();
    EXPECT_EQ(Snapshot(w), built) << "Cancel keeps everything";
    ASSERT_EQ(prompts.shown.size(), 1U);
    EXPECT_EQ(prompts.shown[0].kind, "choose");
    EXPECT_EQ(prompts.shown[0].text, "The formula has changes that are not saved in the "
                                     "library.\r\nSave them before starting a new formula?");
    prompts.choices = {PromptAnswer::Cancel};
    EXPECT_FALSE(files.QueryClose()) << "closing asks too";

    // Yes saves through the dialog; a dialog left with Cancel discards nothing.
    prompts.choices = {PromptAnswer::Yes};
    script = [](LibraryBrowser& browser) { browser.btnCancel_Click(); };
    files.mOpen_Click();
    EXPECT_EQ(shown, std::vector<std::string>{"SAVE|Save scan as|&Save"});
    EXPECT_EQ(Snapshot(w), built);
    EXPECT_TRUE(w.HasUnsavedWork());

    prompts.choices = {PromptAnswer::Yes};
    Answer("2X", "Crossing");
    files.btnClearAll_Click();
    EXPECT_EQ(OnDisk().formulas.size(), 1U);
    EXPECT_EQ(w.GridCount(), 0);
    w.Undo();
    EXPECT_EQ(w.GridCount(), 2) << "Clear All can be undone";

    // Saved: nothing to ask about, and New starts a history of its own.
    script = nullptr;
    files.mSave_Click();
    const std::size_t asked = prompts.shown.size();
    EXPECT_TRUE(files.QueryClose());
    files.mNew_Click();
    EXPECT_EQ(prompts.shown.size(), asked);
    EXPECT_EQ(w.GridCount(), 0);
    EXPECT_FALSE(w.CanUndo());
}

TEST_F(MainWindowFilesTest, SaveAndCopyNameTheUnfinishedRowAndAsk) {
    BuildFormula();
    w.btnOr_Click();
    prompts.answers = {false};
    files.mSave_Click();
    EXPECT_TRUE(shown.empty()) << "No: nothing is saved";
    ASSERT_EQ(prompts.shown.size(), 1U);
    EXPECT_EQ(prompts.shown[0].title, "Unfinished formula");
    EXPECT_EQ(prompts.shown[0].text,
              "Row 3 \"OR \": no indicator is chosen.\r\n\r\nSave the formula anyway?");
    prompts.answers = {false};
    EXPECT_FALSE(files.ConfirmFormula(MainWindowFiles::FormulaUse::Copy));
    EXPECT_TRUE(prompts.shown.back().text.ends_with("\r\n\r\nCopy the formula anyway?"));

    // Yes goes on with what there is.
    prompts.answers = {true};
    Answer("1X", "Unfinished");
    files.mSave_Click();
    EXPECT_EQ(OnDisk().formulas.size(), 1U);
}

TEST_F(MainWindowFilesTest, CopyPutsTheConditionsInACommentAheadOfTheFormula) {
    BuildFormula();
    EXPECT_EQ(
        w.CommentedFormulaText("05 Mar 2024"),
        "/* Create date: 05 Mar 2024\r\n"
        "RSI(14) of the current bar is less than 30 AND (MA (Short) Simple(5) crosses above MA "
        "(Long) Simple(50) on or after the previous 3 bars) */\r\n\r\n" +
            w.txtForumlae.text);
    std::string clipboard;
    w.mCopy_Click([&](const std::string& text) { clipboard = text; });
    EXPECT_EQ(clipboard.rfind("/* Create date: ", 0), 0u);
}

} // namespace
} // namespace marlindex
