// The filter dialog driven as a user drives it, without a window: loading (and the question a
// damaged file brings), marks, the context menu, OK and Cancel, a database switch, and the
// main window's formula that takes the filter.
#include "filter/FilterTree.h"

#include "mainwindow/MainWindowState.h"
#include "settings/MemoryHive.h"
#include "support/ScriptedPrompts.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

namespace fs = std::filesystem;

const std::string kSample = "[Markets]\r\n1\tNYSE\r\n0\tNASDAQ\r\n0\tAMEX\r\n"
                            "[Groups]\r\n2\tFunds\r\n[Sectors]\r\n[Industries]\r\n"
                            "[Watchlists]\r\n0\tWatchlist 0\r\n0\tWatchlist 1\r\n"
                            "0\tWatchlist 2\r\n1\tWatchlist 3\r\n";

const std::string kSampleLoaded = "(( MarketID(1) == \"NYSE\"\r\n"
                                  "OR InWatchList(3) == 1  )\r\n"
                                  "AND ( GroupID(1) != \"Funds\" ))";

class FilterTreeTest : public ::testing::Test {
protected:
    FilterTreeTest() {
        tree.SetExpressionListener([this](const std::string& expression, bool chosen) {
            published.emplace_back(expression, chosen);
        });
    }
    fs::path File() const { return folder / "tempFilter.txt"; }
    void LoadSample() {
        test::WriteBytes(File(), kSample);
        ASSERT_EQ(tree.Form_Load(prompts), FilterLoadResult::Loaded);
    }
    void LeftClick(const std::string& key) {
        tree.TreeView1_MouseUp(1, key);
        tree.TreeView1_NodeClick(key);
    }
    bool RightClick(const std::string& key) { return tree.TreeView1_MouseUp(2, key); }
    // Every item as key=mark, category by category.
    std::string Items() const {
        std::string items;
        for (const FilterTreeCategory& category : tree.TreeView1.categories) {
            items += category.key + ":";
            for (const FilterTreeItem& item : category.items) {
                items += " " + item.key + "=" + std::to_string(item.image);
            }
            items += ";";
        }
        return items;
    }
    const std::string& Text(const std::string& key) const {
        return tree.TreeView1.FindItem(key)->text;
    }

    test::TempFolder folder;
    test::ScriptedPrompts prompts;
    FilterTree tree{folder.path()};
    std::vector<std::pair<std::string, bool>> published;
};

TEST_F(FilterTreeTest, LoadBuildsTheTreeAndTheExpressionFromTheFile) {
    LoadSample();
    EXPECT_TRUE(tree.TreeView1.rootExpanded);
    EXPECT_EQ(Items(), "M: M0=1 M1=0 M2=0;G: G0=2;S:;I:;W: W0=0 W1=0 W2=0 W3=1;");
    EXPECT_EQ(tree.TreeView1.categories[3].text, "Industries");
    EXPECT_EQ(Text("M1"), "NASDAQ");
    EXPECT_EQ(tree.FilterExpression(), kSampleLoaded);
    EXPECT_EQ(published, (decltype(published){{kSampleLoaded, false}}));
    EXPECT_TRUE(prompts.shown.empty());
}

TEST_F(FilterTreeTest, AMissingFileIsCreatedUnaskedAndSaidSo) {
    EXPECT_EQ(tree.Form_Load(prompts), FilterLoadResult::Created);
    EXPECT_TRUE(prompts.shown.empty()) << "a new database simply has no filter file yet";
    EXPECT_EQ(tree.TakeLoadNote(), "There was no filter file in " + folder.path().string() +
                                       "; one with the default lists was created.");
    EXPECT_EQ(tree.TakeLoadNote(), "");
    EXPECT_FALSE(fs::exists(folder / "tempFilter.bak")) << "there was nothing to back up";
    EXPECT_EQ(test::ReadBytes(File()), FormatFilterFile(DefaultFilterContents()));
    EXPECT_EQ(tree.TreeView1.categories[4].items.size(), 64u);
    EXPECT_EQ(Text("W63"), "Watchlist 63");
    EXPECT_EQ(Text("I1"), "Industry 2");
    EXPECT_EQ(tree.FilterExpression(), "");
    EXPECT_EQ(published, (decltype(published){{"", false}}));
}

TEST_F(FilterTreeTest, ADamagedFileIsRecreatedAfterTheQuestionThatNamesIt) {
    const std::string truncated = "[Markets]\r\n1\tNYSE\r\n[Groups]\r\n";
    for (const bool yes : {false, true}) {
        test::WriteBytes(File(), truncated);
        prompts.answers = {yes};
        EXPECT_EQ(tree.Form_Load(prompts), FilterLoadResult::Recreated);
        EXPECT_EQ(fs::exists(folder / "tempFilter.bak"), yes);
    }
    EXPECT_EQ(test::ReadBytes(folder / "tempFilter.bak"), truncated);
    ASSERT_EQ(prompts.shown.size(), 2u);
    EXPECT_EQ(prompts.shown[0].title, "Configuration File Error");
    EXPECT_EQ(prompts.shown[0].icon, PromptIcon::Critical);
    const std::string& text = prompts.shown[0].text;
    EXPECT_TRUE(text.starts_with("There was an error with the configuration file "
                                 "\"tempFilter.txt\" in the folder " +
                                 folder.path().string() +
                                 ". It will be re-created.\r\nWould you like to backup your "
                                 "old file?\r\n\r\nWhat is wrong: "))
        << text;
    EXPECT_NE(text.find("[Sectors]"), std::string::npos) << "what was missing: " << text;
    EXPECT_EQ(Text("M0"), "Market 1");
}

TEST_F(FilterTreeTest, NoDamagedFileIsLostWithoutTheUsersSay) {
    // A folder in the file's place is damage, and cannot be backed up.
    fs::create_directory(File());
    test::WriteBytes(File() / "inside", "damaged");
    prompts.answers = {true};
    EXPECT_EQ(tree.Form_Load(prompts), FilterLoadResult::NotRecreated);
    ASSERT_EQ(prompts.shown.size(), 2u);
    EXPECT_NE(prompts.shown[0].text.find("is a folder, not a regular file"), std::string::npos)
        << prompts.shown[0].text;
    EXPECT_EQ(prompts.shown[1].kind, "inform");
    EXPECT_NE(prompts.shown[1].text.find("nothing to back up"), std::string::npos)
        << prompts.shown[1].text;
    EXPECT_EQ(tree.FilterExpression(), "");
    // OK on the empty dialog writes nothing over the damaged file.
    EXPECT_TRUE(tree.btnOK_Click(prompts));
    EXPECT_EQ(test::ReadBytes(File() / "inside"), "damaged");

    // Without a database folder there is nothing to ask about: the load ends quietly.
    for (const fs::path& database : {fs::path(), folder / "gone"}) {
        FilterTree other(database);
        EXPECT_EQ(other.Form_Load(prompts), FilterLoadResult::NoDatabase);
        EXPECT_FALSE(other.TreeView1.hasRoot);
    }
    EXPECT_EQ(prompts.shown.size(), 2u);
}

TEST_F(FilterTreeTest, AFileTooLargeToReadIsStillKeptWholeBeforeItIsReplaced) {
    test::WriteBytes(File(), "");
    fs::resize_file(File(), 3 * 1024 * 1024); // sparse: nothing is written
    prompts.answers = {true};
    EXPECT_EQ(tree.Form_Load(prompts), FilterLoadResult::Recreated);
    ASSERT_EQ(prompts.shown.size(), 1u);
    EXPECT_NE(prompts.shown[0].text.find("larger than a filter file can be"), std::string::npos)
        << prompts.shown[0].text;
    EXPECT_EQ(fs::file_size(folder / "tempFilter.bak"), 3u * 1024 * 1024);
    EXPECT_EQ(Text("M0"), "Market 1");
}

TEST_F(FilterTreeTest, LeftClicksCycleTheMarksOfItemsOnly) {
    LoadSample();
    for (const int mark : {kIncluded, kExcluded, kUnmarked}) {
        LeftClick("M1");
        EXPECT_EQ(tree.TreeView1.FindItem("M1")->image, mark);
    }
    const std::string before = Items();
    LeftClick("R");
    LeftClick("M");
    // A node click that follows another button's release changes nothing.
    RightClick("M2");
    tree.TreeView1_NodeClick("M2");
    EXPECT_EQ(Items(), before);
    EXPECT_EQ(test::ReadBytes(File()), kSample) << "nothing is written before OK";
}

TEST_F(FilterTreeTest, TheContextMenuKeepsWatchlistsFixed) {
    LoadSample();
    for (const std::string key : {"W3", "W"}) {
        EXPECT_TRUE(RightClick(key)) << key;
        EXPECT_FALSE(tree.mAdd.enabled || tree.mDelete.enabled) << key;
        EXPECT_EQ(tree.TreeView1.selectedKey, key);
        tree.mAdd_Click();
        tree.mDelete_Click(prompts);
    }
    EXPECT_EQ(tree.TreeView1.categories[4].items.size(), 4u);
    EXPECT_TRUE(RightClick("G0"));
    EXPECT_TRUE(tree.mAdd.enabled && tree.mDelete.enabled);
    EXPECT_FALSE(RightClick("R")) << "the root has no menu";
    EXPECT_FALSE(RightClick("")) << "nothing under the pointer";
    EXPECT_EQ(tree.CurrentNode(), "R");
}

TEST_F(FilterTreeTest, DeletingAsksFirstAndKeysAreNotRenumberedAfterDeleteAndAdd) {
    LoadSample();
    RightClick("M1");
    prompts.answers = {false};
    tree.mDelete_Click(prompts);
    EXPECT_EQ(Text("M1"), "NASDAQ") << "No keeps the item";
    ASSERT_EQ(prompts.shown.size(), 1U);
    EXPECT_EQ(prompts.shown[0].text, "Delete \"NASDAQ\" from Markets?\r\nThe filter file changes "
                                     "when you press OK; Cancel keeps it.");
    tree.mDelete_Click(prompts);
    EXPECT_EQ(tree.TreeView1.FindItem("M1"), nullptr);
    EXPECT_EQ(tree.TreeView1.selectedKey, "M2") << "the item that took its place";
    RightClick("M");
    tree.mAdd_Click();
    EXPECT_EQ(Items().substr(0, 21), "M: M0=1 M2=0 M3=0;G: ");
    EXPECT_EQ(Text("M3"), "New Markets");
    EXPECT_EQ(tree.TreeView1.editingKey, "M3");

    // Deleting the last item selects the category; the emptied category starts at 0 again.
    RightClick("G0");
    tree.mDelete_Click(prompts);
    EXPECT_EQ(tree.TreeView1.selectedKey, "G");
    tree.mAdd_Click();
    EXPECT_EQ(Text("G0"), "New Groups");
}

TEST_F(FilterTreeTest, RenamingTakesAnyTextTheFileAndTheExpressionCanHold) {
    LoadSample();
    const auto rename = [this](bool cancel, const std::string& text) {
        RightClick("M0");
        tree.mEdit_Click();
        tree.TreeView1_AfterLabelEdit(cancel, text, prompts);
        return Text("M0");
    };
    EXPECT_EQ(rename(false, ""), "NYSE");
    EXPECT_EQ(rename(true, "Cancelled"), "NYSE");
    EXPECT_TRUE(prompts.shown.empty());
    // Each refusal says what the name holds and why it cannot.
    const std::pair<std::string, std::string> refused[] = {
        {"NY\tSE", "a TAB"},
        {"NY\nSE", "a line break"},
        {"Say \"NY\"", "a double quote (\"), which would end the quoted name in the filter "
                       "expression"},
        {"NY\\SE", "a backslash"},
        {"NY\x01SE", "the control character U+0001"},
        {"\u03a9mega", "the character U+03A9, which the filter file (Windows-1252) cannot hold"},
    };
    for (const auto& [text, reason] : refused) {
        prompts.shown.clear();
        EXPECT_EQ(rename(false, text), "NYSE") << text;
        ASSERT_EQ(prompts.shown.size(), 1u) << text;
        EXPECT_EQ(prompts.shown[0].title, "Filter Settings");
        EXPECT_TRUE(prompts.shown[0].text.starts_with("The name " + QuoteExcerpt(text) +
                                                      " cannot be used: it holds " + reason))
            << prompts.shown[0].text;
        EXPECT_TRUE(prompts.shown[0].text.ends_with(". \"NYSE\" keeps its name."));
    }
    EXPECT_EQ(rename(false, "  Soci\u00e9t\u00e9 O'Neil "), "  Soci\u00e9t\u00e9 O'Neil ")
        << "as it stands";
}

// A name the expression cannot take is damage of the file: the question names the line, and
// the answer Yes keeps the file beside every earlier backup.
TEST_F(FilterTreeTest, ANameThatWouldBreakTheExpressionIsPutToTheUserAndNothingIsLost) {
    const std::string hostile = "[Markets]\r\n1\tNYSE\r\n1\tSay \"Cheese\"\r\n[Groups]\r\n"
                                "[Sectors]\r\n[Industries]\r\n[Watchlists]\r\n";
    test::WriteBytes(File(), hostile);
    test::WriteBytes(folder / "tempFilter.bak", "an earlier backup");
    prompts.answers = {true};
    EXPECT_EQ(tree.Form_Load(prompts), FilterLoadResult::Recreated);
    ASSERT_EQ(prompts.shown.size(), 1u);
    EXPECT_EQ(prompts.shown[0].title, "Configuration File Error");
    EXPECT_NE(prompts.shown[0].text.find(
                  "What is wrong: " + File().string() +
                  ", line 3, column 7: The name \"Say \"Cheese\"\" under [Markets] holds a "
                  "double quote"),
              std::string::npos)
        << prompts.shown[0].text;
    EXPECT_EQ(tree.FilterExpression(), "") << "the default file marks nothing";
    EXPECT_EQ(test::ReadBytes(folder / "tempFilter.bak"), "an earlier backup");
    EXPECT_EQ(test::ReadBytes(folder / "tempFilter.1.bak"), hostile);
    EXPECT_EQ(tree.TakeLoadNote(), "The damaged filter file was kept as " +
                                       (folder / "tempFilter.1.bak").string() + ".");
}

TEST_F(FilterTreeTest, OkWritesTheFileAndRebuildsTheExpressionInItsOwnForm) {
    LoadSample();
    LeftClick("M1");
    LeftClick("W3");
    ASSERT_TRUE(tree.btnOK_Click(prompts));
    EXPECT_EQ(test::ReadBytes(File()), "[Markets]\r\n1\tNYSE\r\n1\tNASDAQ\r\n0\tAMEX\r\n"
                                       "[Groups]\r\n2\tFunds\r\n[Sectors]\r\n[Industries]\r\n"
                                       "[Watchlists]\r\n0\tWatchlist 0\r\n0\tWatchlist 1\r\n"
                                       "0\tWatchlist 2\r\n2\tWatchlist 3\r\n");
    const std::string saved = "(( MarketID(1) == \"NYSE\"\r\nOR MarketID(1) == \"NASDAQ\" )\r\n"
                              "AND ( GroupID(1)  != \"Funds\"\r\nAND InWatchList(3) == 0 ))";
    EXPECT_EQ(published.back(), std::make_pair(saved, true));

    tree.mUncheckAll_Click();
    ASSERT_TRUE(tree.btnOK_Click(prompts));
    EXPECT_EQ(tree.FilterExpression(), "");

    // A file that cannot be written keeps the dialog open, the marks and the expression.
    LeftClick("M2");
    fs::remove_all(folder.path());
    EXPECT_FALSE(tree.btnOK_Click(prompts));
    EXPECT_EQ(prompts.shown.at(0).title, "File save");
    EXPECT_EQ(tree.TreeView1.FindItem("M2")->image, kIncluded);
    EXPECT_EQ(tree.FilterExpression(), "");
}

TEST_F(FilterTreeTest, CancelLeavesTheFileAndTheExpression) {
    LoadSample();
    LeftClick("M2");
    tree.btnCancel_Click();
    EXPECT_FALSE(tree.IsLoaded());
    EXPECT_EQ(test::ReadBytes(File()), kSample);
    EXPECT_EQ(tree.FilterExpression(), kSampleLoaded);
    EXPECT_EQ(published.size(), 1u);
}

TEST_F(FilterTreeTest, ADatabaseSwitchSavesTheOldFolderThenLoadsTheNewOne) {
    LoadSample();
    LeftClick("M1");
    test::TempFolder other;
    ASSERT_TRUE(RecreateFilterFile(other.path(), false).ok());
    EXPECT_EQ(tree.ChangeDatabase(other.path(), prompts), FilterLoadResult::Loaded);
    EXPECT_NE(test::ReadBytes(File()).find("\r\n1\tNASDAQ\r\n"), std::string::npos);
    EXPECT_EQ(Text("M0"), "Market 1");
    ASSERT_EQ(published.size(), 3u);
    EXPECT_TRUE(published[1].second) << "the save is the user's choice";
    EXPECT_EQ(published[2], std::make_pair(std::string(), false));
}

TEST_F(FilterTreeTest, TheMainWindowFormulaTakesTheFilterOnlyWhenUsingIt) {
    MemoryHive hive;
    CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    MainWindowState w(settings);
    // The main window's wiring: the formula follows every load and every OK; only OK is a
    // step the user can undo.
    tree.SetExpressionListener([&w](const std::string& expression, bool chosen) {
        chosen ? w.FilterChosen(expression) : w.FilterReloaded(expression);
    });
    LoadSample();
    w.cboIA1_GotFocus();
    w.Choose(ComboId::cboIA1, w.cboIA1.FindText("RSI"));
    w.cboCO_GotFocus();
    w.Choose(ComboId::cboCO, w.cboCO.FindText("is less than"));
    w.cboCT_GotFocus();
    w.Choose(ComboId::cboCT, w.cboCT.FindText("Value"));
    w.txtVal1_GotFocus();
    w.txtVal1_Change("30");
    w.optScanBuy_Click();
    EXPECT_EQ(w.txtForumlae.text, "Buy = RSIa( Close, 14 ) < 30;");

    w.OptUseFilter_Click();
    EXPECT_EQ(w.txtForumlae.text, "Buy = " + kSampleLoaded + "\r\nAND RSIa( Close, 14 ) < 30;");

    LeftClick("M0");
    LeftClick("W3"); // NYSE and watch list 3 excluded now
    ASSERT_TRUE(tree.btnOK_Click(prompts));
    EXPECT_EQ(w.txtForumlae.text, "Buy = ( MarketID(1) != \"NYSE\"\r\n"
                                  "AND GroupID(1)  != \"Funds\"\r\n"
                                  "AND InWatchList(3) == 0 )\r\n"
                                  "AND RSIa( Close, 14 ) < 30;");

    const std::string chosen = w.txtForumlae.text;
    w.Undo();
    EXPECT_EQ(w.txtForumlae.text, "Buy = " + kSampleLoaded + "\r\nAND RSIa( Close, 14 ) < 30;");
    w.Redo();
    EXPECT_EQ(w.txtForumlae.text, chosen);

    // A switch of database reads the new folder's filter, and the formula follows at once.
    test::TempFolder other;
    test::WriteBytes(other.path() / "tempFilter.txt",
                     "[Markets]\r\n1\tLSE\r\n[Groups]\r\n[Sectors]\r\n[Industries]\r\n"
                     "[Watchlists]\r\n");
    tree.ChangeDatabase(other.path(), prompts);
    EXPECT_EQ(w.txtForumlae.text,
              "Buy = ( MarketID(1) == \"LSE\" )\r\nAND RSIa( Close, 14 ) < 30;");

    w.optAllTickers_Click();
    EXPECT_EQ(w.txtForumlae.text, "Buy = RSIa( Close, 14 ) < 30;");
}

} // namespace
} // namespace marlindex
