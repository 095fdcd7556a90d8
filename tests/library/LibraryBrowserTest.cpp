// The library dialog driven as a user drives it: its rules, messages and what reaches the
// library file and the main window.
#include "library/LibraryBrowser.h"

#include "LibraryBytes.h"
#include "support/FakeFormulaWindow.h"
#include "support/ScriptedPrompts.h"
#include "support/TempFolder.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace marlindex {
namespace {

class LibraryBrowserTest : public ::testing::Test {
protected:
    LibraryBrowserTest() {
        window.current.formulaText = "Filter = x;";
        window.current.rows.resize(2);
        window.current.rowCount = 2;
    }

    LibraryBrowser& Open(const char* mode) {
        browser = std::make_unique<LibraryBrowser>(file, mode, window, prompts);
        EXPECT_TRUE(browser->Form_Load());
        return *browser;
    }
    void UseSample() { test::WriteBytes(file, test::SampleLibraryBytes()); }
    Library OnDisk() const { return *ReadLibrary(test::ReadBytes(file)); }
    std::vector<std::string> Keys() const {
        std::vector<std::string> keys;
        for (const TreeNode& node : browser->TreeView1.nodes) {
            keys.push_back(node.key + ":" + node.parent + ":" + node.text);
        }
        return keys;
    }
    std::string LastMessage() const {
        return prompts.shown.empty()
                   ? ""
                   : prompts.shown.back().title + " | " + prompts.shown.back().text;
    }

    test::TempFolder folder;
    std::filesystem::path file = LibraryPath(folder.path());
    test::FakeFormulaWindow window;
    test::ScriptedPrompts prompts;
    std::unique_ptr<LibraryBrowser> browser;
};

TEST(IsValidFileName, AcceptsTheWindowsReleaseCharactersOnly) {
    for (const char* name : {"A", "z9", "Dip #1 (RSI) & $%'", "a!-/@_{}~", "x y"}) {
        EXPECT_TRUE(IsValidFileName(name)) << name;
    }
    for (const char* name :
         {"", "1st", "9", "a.b", "a*b", "a\\b", "a:b", "a\"b", "a+b", "a=b", "caf\u00e9", "a\tb"}) {
        EXPECT_FALSE(IsValidFileName(name)) << name;
    }
    // The rules in words, as the dialog shows them beside the name box.
    EXPECT_EQ(NameProblem("Dip #1"), "");
    EXPECT_EQ(NameProblem(""), "Type a name.");
    EXPECT_EQ(NameProblem("3 bars"), "A name does not start with a digit.");
    EXPECT_EQ(NameProblem("dip.afl"), "\".\" cannot be part of a name.");
    EXPECT_EQ(NameProblem("caf\u00e9"), "\"\u00e9\" cannot be part of a name.");
    EXPECT_EQ(NameProblem("a\tb"), "A name cannot hold a TAB.");
}

// A name becomes a file name when the formulas are written for AmiBroker, so it is held to a
// length every file system takes; the limit is counted in characters, as the user sees them.
TEST(IsValidFileName, ANameHasAtMostAHundredCharacters) {
    EXPECT_TRUE(IsValidFileName(std::string(kMaxNameLength, 'a')));
    EXPECT_FALSE(IsValidFileName(std::string(kMaxNameLength + 1, 'a')));
    EXPECT_EQ(NameProblem(std::string(65535, 'a')),
              "A name has at most 100 characters; this one has 65535.");
    EXPECT_NE(std::string(kNameRules).find("at most 100 characters"), std::string::npos);
    // Old names (any length, any Windows-1252 character) are measured the same way.
    EXPECT_EQ(NameLengthProblem(std::string(100, 'a')), "");
    EXPECT_EQ(NameLengthProblem(std::string(50, 'a') + std::string(20, '\xE9')), "")
        << "Windows-1252 bytes are one character each";
    std::string accented;
    for (int i = 0; i < 101; ++i) {
        accented += "\u00e9";
    }
    EXPECT_EQ(NameLengthProblem(accented), "A name has at most 100 characters; this one has 101.");
}

TEST_F(LibraryBrowserTest, WithoutAFileTheThreeDefaultFoldersShow) {
    Open(kModeSave);
    EXPECT_EQ(Keys(), (std::vector<std::string>{"R::Scans and Explorations", "1X:R:Explorations",
                                                "2X:R:Buy Signals", "3X:R:Sell Signals"}));
    EXPECT_FALSE(std::filesystem::exists(file)) << "written at the first save only";
}

TEST_F(LibraryBrowserTest, OkRulesAndMessages) {
    LibraryBrowser& b = Open(kModeSave);
    b.btnOK_Click();
    EXPECT_EQ(LastMessage(), "Save error | You must select a folder before saving file.");
    b.TreeView1_NodeClick(kRootKey);
    b.btnOK_Click();
    EXPECT_EQ(LastMessage(), "Save error | You must select a folder before saving file.");

    b.TreeView1_NodeClick("2X");
    for (const char* bad : {"", "3 bars", "dip.afl"}) {
        b.Text1_Change(bad);
        b.btnOK_Click();
        EXPECT_EQ(LastMessage(), "Valid file name error | You must enter a valid file name.");
    }
    // A name too long keeps the Windows release's words and adds the limit.
    b.Text1_Change(std::string(101, 'a'));
    b.btnOK_Click();
    EXPECT_EQ(LastMessage(), "Valid file name error | You must enter a valid file name.\r\n"
                             "A name has at most 100 characters; this one has 101.");
    EXPECT_FALSE(b.Closed());
    EXPECT_FALSE(std::filesystem::exists(file));

    for (const char* key : {"1X", "2X", "3X"}) {
        b.TreeView1_NodeClick(key);
        b.mDelete_Click();
    }
    b.btnOK_Click();
    EXPECT_EQ(LastMessage(), "Save error | You must create a folder before saving file.\r\n"
                             "Right-click the list on the right and select Create Folder option.");
}

TEST_F(LibraryBrowserTest, SaveStoresTheWindowsFormulaAndNamesTheWindow) {
    LibraryBrowser& b = Open(kModeSave);
    b.TreeView1_NodeClick("2X");
    b.Text1_Change("Dip");
    b.RichTextBox1_Change("RSI under 30");
    b.btnOK_Click();
    EXPECT_TRUE(b.Closed());
    EXPECT_TRUE(b.Accepted());

    const Library saved = OnDisk();
    ASSERT_EQ(saved.formulas.size(), 1u);
    const LibraryFormula& formula = saved.formulas[0];
    EXPECT_EQ(formula.number, 1);
    EXPECT_EQ(formula.folder, "2");
    EXPECT_EQ(formula.name, "Dip");
    EXPECT_EQ(formula.description, "RSI under 30");
    EXPECT_EQ(formula.formulaText, "Filter = x;");
    ASSERT_EQ(formula.rows.size(), 2u);
    EXPECT_EQ(formula.rows[1].storedValue, Variant(std::int32_t{1}));
    EXPECT_EQ(window.scanName, "Dip");
    EXPECT_EQ(window.record, (LibraryRecordRef{1, "2", "Dip"}));
    EXPECT_EQ(b.TreeView1.selected, "1Z");
}

TEST_F(LibraryBrowserTest, TheSameNameInTheSameFolderAsksBeforeOverwriting) {
    UseSample();
    const std::string before = test::ReadBytes(file);
    LibraryBrowser& b = Open(kModeSaveAs);
    b.TreeView1_NodeClick("1Z"); // a formula stands for its folder
    EXPECT_EQ(b.Text1, "Dip");
    prompts.answers = {false};
    b.btnOK_Click();
    EXPECT_EQ(LastMessage(),
              "File save | You are about to overwrite a file, do you wish to continue.");
    EXPECT_EQ(prompts.shown.back().icon, PromptIcon::Question);
    EXPECT_FALSE(b.Closed());
    EXPECT_EQ(test::ReadBytes(file), before);

    prompts.answers = {true};
    b.btnOK_Click();
    EXPECT_TRUE(b.Closed());
    const Library saved = OnDisk();
    ASSERT_EQ(saved.formulas.size(), 2u) << "replaced, not added";
    EXPECT_EQ(saved.formulas[0].formulaText, "Filter = x;");
    EXPECT_EQ(saved.formulas[0].number, 1);

    // The same name in another folder is another formula.
    LibraryBrowser& again = Open(kModeSaveAs);
    again.TreeView1_NodeClick("7X");
    again.Text1_Change("Dip");
    const auto questions = prompts.shown.size();
    again.btnOK_Click();
    EXPECT_EQ(prompts.shown.size(), questions);
    EXPECT_EQ(OnDisk().formulas.size(), 3u);
}

TEST_F(LibraryBrowserTest, AFolderWithFormulasIsKeptUntilItIsEmpty) {
    UseSample();
    LibraryBrowser& b = Open(kModeOpen);
    b.TreeView1_NodeClick("2X");
    b.mDelete_Click();
    EXPECT_EQ(LastMessage(), "File management | You cannot delete a folder that contains file. "
                             "Delete the files\r\nbefore continuing");

    b.TreeView1_NodeClick("1Z");
    b.mDelete_Click();
    EXPECT_EQ(LastMessage(), "File management | Delete the formula \"Dip\"?\r\nIt goes from "
                             "the library when you press Open; Cancel keeps it.");
    EXPECT_EQ(b.TreeView1.selected, "1Z") << "the next formula moved up into its place";
    b.mDelete_Click();
    EXPECT_EQ(b.TreeView1.selected, "2X") << "no sibling left: the folder";
    b.mDelete_Click();
    EXPECT_EQ(b.TreeView1.selected, "7X");
    EXPECT_EQ(OnDisk().formulas.size(), 2U) << "nothing is written before OK";

    b.TreeView1_NodeClick(kRootKey);
    EXPECT_FALSE(b.mDelete.enabled);
    b.mDelete_Click();
    EXPECT_EQ(b.TreeView1.nodes.size(), 2u);

    // Nothing left to open: OK offers to keep the changes and close.
    b.btnOK_Click();
    EXPECT_EQ(LastMessage(), " | No formula is selected to open.\r\nKeep the changes made to "
                             "the library and close?");
    EXPECT_TRUE(b.Closed());
    EXPECT_FALSE(b.Accepted());
    const Library saved = OnDisk();
    EXPECT_TRUE(saved.formulas.empty());
    EXPECT_EQ(saved.folders, (std::vector<LibraryFolder>{{"Empty", 7}}));
    EXPECT_TRUE(window.restored.empty());
}

TEST_F(LibraryBrowserTest, DeletionsWaitForOkAndCancelKeepsTheLibrary) {
    UseSample();
    const std::string before = test::ReadBytes(file);
    const std::string second = OnDisk().formulas[1].name;

    LibraryBrowser& b = Open(kModeOpen);
    b.TreeView1_NodeClick("1Z");
    prompts.answers = {false};
    b.mDelete_Click();
    EXPECT_EQ(b.TreeView1.nodes.size(), 5U) << "No keeps the formula";
    b.mDelete_Click();
    EXPECT_EQ(b.TreeView1.nodes.size(), 4U);
    EXPECT_TRUE(b.HasPendingChanges());
    b.btnCancel_Click();
    EXPECT_EQ(test::ReadBytes(file), before);

    // Deleted, then another formula opened: both reach the file and the window.
    LibraryBrowser& again = Open(kModeOpen);
    again.TreeView1_NodeClick("1Z");
    again.mDelete_Click();
    again.TreeView1_NodeClick("1Z");
    again.btnOK_Click();
    EXPECT_TRUE(again.Accepted());
    ASSERT_EQ(OnDisk().formulas.size(), 1U);
    ASSERT_EQ(window.restored.size(), 1U);
    EXPECT_EQ(window.restored[0].name, second);
    EXPECT_EQ(window.record, (LibraryRecordRef{1, "2", second}));
}

TEST_F(LibraryBrowserTest, OpenWithNothingSelectedAsksForAFormula) {
    Open(kModeOpen).Caption = "Open File";
    browser->btnOK_Click();
    EXPECT_EQ(LastMessage(), "Open File | The library holds no formulas to open yet.");
    UseSample();
    LibraryBrowser& b = Open(kModeOpen);
    b.Caption = "Open File";
    b.TreeView1_NodeClick("2X");
    b.btnOK_Click();
    EXPECT_EQ(LastMessage(),
              "Open File | Select the formula to open in the list, then press Open.");
    EXPECT_FALSE(b.Closed());
}

TEST_F(LibraryBrowserTest, FoldersAreAddedAndRenamedAndWrittenWithTheSave) {
    LibraryBrowser& b = Open(kModeSave);
    b.mAdd_Click();
    EXPECT_EQ(b.TreeView1.selected, "4X");
    EXPECT_EQ(b.EditingKey, "4X");
    EXPECT_EQ(b.TreeView1.nodes.back().text, "New Folder 4");
    b.EditingKey.clear();

    EXPECT_FALSE(b.TreeView1_AfterLabelEdit("4X", "2024.Q1"));
    EXPECT_EQ(LastMessage(), "Valid folder name error | You must enter a valid folder name.");
    EXPECT_EQ(b.EditingKey, "4X") << "the edit starts again";

    prompts.shown.clear();
    EXPECT_FALSE(b.TreeView1_AfterLabelEdit("4X", std::string(150, 'F')));
    EXPECT_EQ(LastMessage(), "Valid folder name error | You must enter a valid folder name.\r\n"
                             "A name has at most 100 characters; this one has 150.");
    EXPECT_EQ(b.TreeView1.nodes.back().text, "New Folder 4");

    EXPECT_TRUE(b.TreeView1_AfterLabelEdit("4X", "Swing"));
    EXPECT_EQ(b.TreeView1.nodes.back().text, "Swing");
    EXPECT_FALSE(std::filesystem::exists(file)) << "written with the save";
    EXPECT_FALSE(b.TreeView1_BeforeLabelEdit(kRootKey));

    b.Text1_Change("Plan");
    b.btnOK_Click();
    const Library saved = OnDisk();
    EXPECT_EQ(saved.folders.back(), (LibraryFolder{"Swing", 4}));
    ASSERT_EQ(saved.formulas.size(), 1U);
    EXPECT_EQ(saved.formulas[0].folder, "4");
}

TEST_F(LibraryBrowserTest, SelectingShowsAFormulasNameAndDescriptionOnly) {
    UseSample();
    LibraryBrowser& b = Open(kModeOpen);
    b.TreeView1_NodeClick("2Z");
    EXPECT_EQ(b.Text1, "Breakout");
    EXPECT_EQ(b.RichTextBox1.text, "d\u00e9j\u00e0 vu");
    b.TreeView1_NodeClick("7X");
    EXPECT_EQ(b.Text1, "Breakout");

    // Copy takes the selection (counted in characters); Paste replaces it and ends at the end.
    b.RichTextBox1_SelChange(1, 3);
    EXPECT_EQ(b.mCopy_Click(), "\u00e9j\u00e0");
    b.mPaste_Click("\u00fc");
    EXPECT_EQ(b.RichTextBox1.text, "d\u00fc vu");
    EXPECT_EQ(b.RichTextBox1.selStart, 5u);
}

TEST_F(LibraryBrowserTest, OpenRestoresTheSelectedFormulaOnly) {
    UseSample();
    LibraryBrowser& b = Open(kModeOpen);
    b.TreeView1_NodeClick("7X");
    b.btnOK_Click();
    EXPECT_FALSE(b.Closed()) << "a folder does not open";
    b.TreeView1_NodeClick("2Z");
    b.btnOK_Click();
    EXPECT_TRUE(b.Closed());
    ASSERT_EQ(window.restored.size(), 1u);
    EXPECT_EQ(window.restored[0], OnDisk().formulas[1]);
    EXPECT_EQ(window.record, (LibraryRecordRef{2, "2", "Breakout"}));
}

TEST_F(LibraryBrowserTest, ADamagedLibraryIsKeptAsideOnlyWhenTheUserStartsANewOne) {
    const std::string damaged = test::SampleLibraryBytes().substr(0, 100);
    test::WriteBytes(file, damaged);
    prompts.answers = {false};
    LibraryBrowser declined(file, kModeOpen, window, prompts);
    EXPECT_FALSE(declined.Form_Load());
    EXPECT_NE(LastMessage().find("at byte"), std::string::npos) << LastMessage();
    EXPECT_EQ(test::ReadBytes(file), damaged);

    prompts.answers = {true};
    LibraryBrowser& b = Open(kModeSave);
    EXPECT_EQ(b.Contents(), DefaultLibrary());
    EXPECT_EQ(test::ReadBytes(folder / "MARLXS.bad"), damaged);
    EXPECT_EQ(LastMessage(), "Formula library | The damaged library was kept as MARLXS.bad.");
}

TEST_F(LibraryBrowserTest, TextTheFileCannotHoldLeavesTheLibraryAsItWas) {
    UseSample();
    const std::string before = test::ReadBytes(file);
    LibraryBrowser& b = Open(kModeSave);
    b.TreeView1_NodeClick("7X");
    b.Text1_Change("Arrow");
    b.RichTextBox1_Change("up \u2191");
    b.btnOK_Click();
    EXPECT_FALSE(b.Closed());
    EXPECT_NE(LastMessage().find("field \"description\""), std::string::npos) << LastMessage();
    EXPECT_EQ(test::ReadBytes(file), before);
    EXPECT_EQ(b.Contents().formulas.size(), 2u);
}

TEST_F(LibraryBrowserTest, FoldersSharingAnIdAndFormulasWithoutAFolderStillShow) {
    test::Bytes bytes;
    bytes.I32(1).I32(2).Str("A").I32(1).Str("B").I32(1).Formula(1, "9", "Lost", 0);
    test::WriteBytes(file, bytes.str());
    Open(kModeOpen);
    EXPECT_EQ(Keys(), (std::vector<std::string>{"R::Scans and Explorations", "1X:R:A", "2X:R:B",
                                                "1Z:R:Lost"}));
}

// A library an older release wrote may hold names of any length: it opens, its formulas open,
// and only a new name is held to the limit.
TEST_F(LibraryBrowserTest, ALibraryWithOverlongNamesStillOpens) {
    Library library = DefaultLibrary();
    library.folders[1].name = std::string(300, 'F');
    LibraryFormula formula;
    formula.name = std::string(5000, 'n');
    formula.formulaText = "Buy = 1;";
    library.StoreFormula(formula, "2", 0);
    ASSERT_TRUE(SaveLibraryFile(file, library));

    LibraryBrowser& b = Open(kModeOpen);
    EXPECT_EQ(b.TreeView1.nodes.back().text, formula.name);
    b.TreeView1_NodeClick("1Z");
    b.btnOK_Click();
    EXPECT_TRUE(b.Accepted());
    ASSERT_EQ(window.restored.size(), 1u);
    EXPECT_EQ(window.restored[0].name, formula.name);
}

} // namespace
} // namespace marlindex
