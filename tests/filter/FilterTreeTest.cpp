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
                            "[Groups]\r\n2\tFunds\r\n"
                            "[Sectors]\r\n"
                            "[Industries]\r\n0\tO'Neil Mining\r\n"
                            "[Watchlists]\r\n0\tWatchlist 0\r\n0\tWatchlist 1\r\n"
                            "0\tWatchlist 2\r\n1\tWatchlist 3\r\n";

const std::string kSampleLoaded = "(( MarketID(1) == \"NYSE\"\r\n"
                                  "OR InWatchList(3) == 1  )\r\n"
                                  "AND ( GroupID(1) != \"Funds\" ))";

struct Published {
    std::string expression;
    bool regenerate = false;
    bool operator==(const Published&) const = default;
};

class FilterTreeTest : public ::testing::Test {
protected:
    FilterTreeTest() {
        tree.SetExpressionListener([this](const std::string& expression, bool regenerate) {
            published.push_back({expression, regenerate});
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
    std::vector<std::string> Keys(std::size_t category) const {
        std::vector<std::string> keys;
        for (const FilterTreeItem& item : tree.TreeView1.categories.at(category).items) {
            keys.push_back(item.key);
        }
        return keys;
    }
    int Mark(const std::string& key) const { return tree.TreeView1.FindItem(key)->image; }
    const std::string& Text(const std::string& key) const {
        return tree.TreeView1.FindItem(key)->text;
    }

    test::TempFolder folder;
    test::ScriptedPrompts prompts;
    FilterTree tree{folder.path()};
    std::vector<Published> published;
};

TEST_F(FilterTreeTest, LoadBuildsTheTreeAndTheExpressionFromTheFile) {
    LoadSample();
    EXPECT_TRUE(tree.IsLoaded());
    EXPECT_TRUE(tree.TreeView1.hasRoot);
    EXPECT_TRUE(tree.TreeView1.rootExpanded);
    ASSERT_EQ(tree.TreeView1.categories.size(), 5u);
    const char* texts[] = {"Markets", "Groups", "Sectors", "Industries", "Watchlists"};
    const char* keys[] = {"M", "G", "S", "I", "W"};
    for (std::size_t c = 0; c < 5; ++c) {
        EXPECT_EQ(tree.TreeView1.categories[c].text, texts[c]);
        EXPECT_EQ(tree.TreeView1.categories[c].key, keys[c]);
    }
    EXPECT_EQ(Keys(0), (std::vector<std::string>{"M0", "M1", "M2"}));
    EXPECT_TRUE(Keys(2).empty());
    EXPECT_EQ(Keys(4), (std::vector<std::string>{"W0", "W1", "W2", "W3"}));
    EXPECT_EQ(Text("I0"), "O'Neil Mining");
    EXPECT_EQ(Mark("M0"), kIncluded);
    EXPECT_EQ(Mark("G0"), kExcluded);
    EXPECT_EQ(Mark("W3"), kIncluded);

    EXPECT_EQ(tree.FilterExpression(), kSampleLoaded);
    EXPECT_EQ(published, (std::vector<Published>{{kSampleLoaded, false}}));
    EXPECT_TRUE(prompts.shown.empty());
}

TEST_F(FilterTreeTest, AMissingFileIsRecreatedAfterTheQuestion) {
    prompts.answers = {true};
    EXPECT_EQ(tree.Form_Load(prompts), FilterLoadResult::Recreated);
    ASSERT_EQ(prompts.shown.size(), 1u);
    EXPECT_EQ(prompts.shown[0].kind, "ask");
    EXPECT_EQ(prompts.shown[0].title, "Configuration File Error");
    EXPECT_EQ(prompts.shown[0].text,
              "There was an error with the configuration file. It will be re-created.\r\n"
              "Would you like to backup your old file?");
    EXPECT_EQ(prompts.shown[0].icon, PromptIcon::Critical);

    EXPECT_TRUE(fs::exists(File()));
    EXPECT_FALSE(fs::exists(folder / "tempFilter.bak"));
    for (std::size_t c = 0; c < 4; ++c) {
        EXPECT_EQ(tree.TreeView1.categories[c].items.size(), 2u);
    }
    EXPECT_EQ(Keys(4).size(), 64u);
    EXPECT_EQ(Text("W63"), "Watchlist 63");
    EXPECT_EQ(Text("I1"), "Industry 2");
    EXPECT_EQ(tree.FilterExpression(), "");
}

TEST_F(FilterTreeTest, ADamagedFileIsBackedUpOnlyWhenTheUserSaysYes) {
    const std::string damaged = "[Markets]\r\n1\tNYSE\r\n[Groups]\r\n"; // truncated
    for (const bool yes : {true, false}) {
        test::TempFolder database;
        test::WriteBytes(database / "tempFilter.txt", damaged);
        FilterTree other(database.path());
        prompts.answers = {yes};
        EXPECT_EQ(other.Form_Load(prompts), FilterLoadResult::Recreated);
        EXPECT_EQ(fs::exists(database / "tempFilter.bak"), yes);
        if (yes) {
            EXPECT_EQ(test::ReadBytes(database / "tempFilter.bak"), damaged);
        }
        EXPECT_EQ(other.TreeView1.categories[0].items.at(0).text, "Market 1");
    }
}

TEST_F(FilterTreeTest, AFileThatCannotBeRecreatedIsKeptAndReported) {
    test::WriteBytes(File(), "damaged");
    fs::create_directory(folder / "tempFilter.bak"); // the backup cannot be written
    prompts.answers = {true};
    EXPECT_EQ(tree.Form_Load(prompts), FilterLoadResult::NotRecreated);
    ASSERT_EQ(prompts.shown.size(), 2u);
    EXPECT_EQ(prompts.shown[1].kind, "inform");
    EXPECT_EQ(test::ReadBytes(File()), "damaged");
    EXPECT_FALSE(tree.IsLoaded());
    EXPECT_EQ(tree.FilterExpression(), "");

    // OK on the empty dialog writes nothing over the damaged file.
    EXPECT_TRUE(tree.btnOK_Click(prompts));
    EXPECT_EQ(test::ReadBytes(File()), "damaged");
}

TEST_F(FilterTreeTest, WithoutADatabaseFolderTheLoadEndsQuietly) {
    for (const fs::path& database : {fs::path(), folder / "gone"}) {
        FilterTree other(database);
        EXPECT_EQ(other.Form_Load(prompts), FilterLoadResult::NoDatabase);
        EXPECT_FALSE(other.TreeView1.hasRoot);
        EXPECT_EQ(other.FilterExpression(), "");
    }
    EXPECT_TRUE(prompts.shown.empty());
    EXPECT_FALSE(fs::exists(folder / "gone"));
}

TEST_F(FilterTreeTest, LeftClicksCycleTheMarksOfItemsOnly) {
    LoadSample();
    LeftClick("M1");
    EXPECT_EQ(Mark("M1"), kIncluded);
    LeftClick("M1");
    EXPECT_EQ(Mark("M1"), kExcluded);
    LeftClick("M1");
    EXPECT_EQ(Mark("M1"), kUnmarked);

    const FilterTreeView before = tree.TreeView1;
    LeftClick("R");
    LeftClick("M");
    LeftClick("W");
    for (std::size_t c = 0; c < 5; ++c) {
        for (std::size_t i = 0; i < before.categories[c].items.size(); ++i) {
            EXPECT_EQ(tree.TreeView1.categories[c].items[i].image,
                      before.categories[c].items[i].image);
        }
    }

    // A node click that follows the right button's release changes nothing.
    RightClick("M1");
    tree.TreeView1_NodeClick("M1");
    EXPECT_EQ(Mark("M1"), kUnmarked);
    EXPECT_EQ(test::ReadBytes(File()), kSample) << "nothing is written before OK";
}

TEST_F(FilterTreeTest, TheContextMenuKeepsWatchlistsFixed) {
    LoadSample();
    for (const std::string key : {"W3", "W"}) {
        EXPECT_TRUE(RightClick(key)) << key;
        EXPECT_FALSE(tree.mAdd.enabled) << key;
        EXPECT_FALSE(tree.mDelete.enabled) << key;
        EXPECT_TRUE(tree.mEdit.enabled) << key;
        EXPECT_EQ(tree.CurrentNode(), key);
        EXPECT_EQ(tree.TreeView1.selectedKey, key);
    }
    tree.mAdd_Click();
    tree.mDelete_Click();
    EXPECT_EQ(Keys(4).size(), 4u);

    EXPECT_TRUE(RightClick("G0"));
    EXPECT_TRUE(tree.mAdd.enabled);
    EXPECT_TRUE(tree.mDelete.enabled);

    EXPECT_FALSE(RightClick("R")) << "the root has no menu";
    EXPECT_EQ(tree.CurrentNode(), "R");
    EXPECT_FALSE(RightClick("")) << "nothing under the pointer";
    EXPECT_EQ(tree.CurrentNode(), "R");
}

TEST_F(FilterTreeTest, KeysAreNotRenumberedAfterDeleteAndAdd) {
    LoadSample();
    RightClick("M1");
    tree.mDelete_Click();
    EXPECT_EQ(Keys(0), (std::vector<std::string>{"M0", "M2"}));
    EXPECT_EQ(tree.TreeView1.selectedKey, "M2") << "the item that took its place";

    RightClick("M");
    tree.mAdd_Click();
    EXPECT_EQ(Keys(0), (std::vector<std::string>{"M0", "M2", "M3"}));
    EXPECT_EQ(Text("M3"), "New Markets");
    EXPECT_EQ(Mark("M3"), kUnmarked);
    EXPECT_EQ(tree.TreeView1.selectedKey, "M3");
    EXPECT_EQ(tree.TreeView1.editingKey, "M3");
    EXPECT_TRUE(tree.TreeView1.categories[0].expanded);

    // Deleting the last item selects the one before it; the emptied category starts at 0.
    RightClick("M3");
    tree.mDelete_Click();
    EXPECT_EQ(tree.TreeView1.selectedKey, "M2");
    RightClick("G0");
    tree.mDelete_Click();
    EXPECT_EQ(tree.TreeView1.selectedKey, "G");
    tree.mAdd_Click();
    EXPECT_EQ(Keys(1), (std::vector<std::string>{"G0"}));
    EXPECT_EQ(Text("G0"), "New Groups");
}

TEST_F(FilterTreeTest, RenamingTakesAnyTextTheFileCanHold) {
    LoadSample();
    const auto rename = [this](const std::string& key, bool cancel, const std::string& text) {
        RightClick(key);
        tree.mEdit_Click();
        EXPECT_EQ(tree.TreeView1.editingKey, key);
        tree.TreeView1_AfterLabelEdit(cancel, text, prompts);
        EXPECT_EQ(tree.TreeView1.editingKey, "");
    };
    rename("M0", false, "");
    rename("M0", true, "Cancelled");
    EXPECT_EQ(Text("M0"), "NYSE");
    EXPECT_TRUE(prompts.shown.empty());

    rename("W2", false, "  Longs \u00e9 ");
    EXPECT_EQ(Text("W2"), "  Longs \u00e9 ") << "taken as it stands";

    rename("M0", false, "NY\tSE");
    rename("M0", false, "\u03a9mega");
    EXPECT_EQ(Text("M0"), "NYSE");
    EXPECT_EQ(prompts.shown.size(), 2u);

    RightClick("M");
    tree.mEdit_Click();
    EXPECT_EQ(tree.TreeView1.editingKey, "") << "categories keep their names";
}

TEST_F(FilterTreeTest, OkWritesTheFileAndRebuildsTheExpressionInItsOwnForm) {
    LoadSample();
    LeftClick("M1");
    RightClick("I0");
    tree.mEdit_Click();
    tree.TreeView1_AfterLabelEdit(false, "Soci\u00e9t\u00e9", prompts);
    LeftClick("I0");
    LeftClick("I0");
    ASSERT_TRUE(tree.btnOK_Click(prompts));

    EXPECT_EQ(test::ReadBytes(File()), "[Markets]\r\n1\tNYSE\r\n1\tNASDAQ\r\n0\tAMEX\r\n"
                                       "[Groups]\r\n2\tFunds\r\n[Sectors]\r\n"
                                       "[Industries]\r\n2\tSoci\xE9t\xE9\r\n"
                                       "[Watchlists]\r\n0\tWatchlist 0\r\n0\tWatchlist 1\r\n"
                                       "0\tWatchlist 2\r\n1\tWatchlist 3\r\n");
    const std::string saved = "(( MarketID(1) == \"NYSE\"\r\n"
                              "OR MarketID(1) == \"NASDAQ\"\r\n"
                              "OR InWatchList(3) == 1 )\r\n"
                              "AND ( GroupID(1)  != \"Funds\"\r\n"
                              "AND IndustryID(1)  != \"Soci\u00e9t\u00e9\" ))";
    EXPECT_EQ(tree.FilterExpression(), saved);
    EXPECT_EQ(published.back(), (Published{saved, true}));
    EXPECT_TRUE(tree.IsLoaded()) << "OK closes the dialog but keeps it loaded";

    tree.mUncheckAll_Click();
    ASSERT_TRUE(tree.btnOK_Click(prompts));
    EXPECT_EQ(tree.FilterExpression(), "");
    EXPECT_EQ(test::ReadBytes(File()).find("\r\n1\t"), std::string::npos);
    EXPECT_EQ(test::ReadBytes(File()).find("\r\n2\t"), std::string::npos);
}

TEST_F(FilterTreeTest, CancelLeavesTheFileAndTheExpression) {
    LoadSample();
    LeftClick("M2");
    RightClick("M0");
    tree.mDelete_Click();
    tree.btnCancel_Click();
    EXPECT_FALSE(tree.IsLoaded());
    EXPECT_FALSE(tree.TreeView1.hasRoot);
    EXPECT_EQ(test::ReadBytes(File()), kSample);
    EXPECT_EQ(tree.FilterExpression(), kSampleLoaded);
    EXPECT_EQ(published.size(), 1u);
}

TEST_F(FilterTreeTest, ASaveThatCannotBeWrittenKeepsTheDialogOpen) {
    LoadSample();
    LeftClick("M1");
    fs::remove_all(folder.path());
    EXPECT_FALSE(tree.btnOK_Click(prompts));
    ASSERT_EQ(prompts.shown.size(), 1u);
    EXPECT_EQ(prompts.shown[0].title, "File save");
    EXPECT_EQ(tree.FilterExpression(), kSampleLoaded);
    EXPECT_EQ(published.size(), 1u);
    EXPECT_EQ(Mark("M1"), kIncluded) << "the user's marks are still there";
}

TEST_F(FilterTreeTest, ADatabaseSwitchSavesTheOldFolderThenLoadsTheNewOne) {
    LoadSample();
    LeftClick("M1");
    test::TempFolder other;
    RecreateFilterFile(other.path(), false);

    EXPECT_EQ(tree.ChangeDatabase(other.path(), prompts), FilterLoadResult::Loaded);
    EXPECT_NE(test::ReadBytes(File()).find("\r\n1\tNASDAQ\r\n"), std::string::npos);
    EXPECT_EQ(tree.DatabaseFolder(), other.path());
    EXPECT_EQ(Text("M0"), "Market 1");
    ASSERT_EQ(published.size(), 3u);
    EXPECT_TRUE(published[1].regenerate);
    EXPECT_EQ(published[2], (Published{"", false}));
    EXPECT_EQ(tree.FilterExpression(), "");

    // An unloaded dialog has nothing to save: the old file is not touched.
    tree.btnCancel_Click();
    test::TempFolder third;
    test::WriteBytes(third / "tempFilter.txt", kSample);
    const std::string before = test::ReadBytes(other / "tempFilter.txt");
    EXPECT_EQ(tree.ChangeDatabase(third.path(), prompts), FilterLoadResult::Loaded);
    EXPECT_EQ(test::ReadBytes(other / "tempFilter.txt"), before);
    EXPECT_EQ(tree.FilterExpression(), kSampleLoaded);
}

TEST_F(FilterTreeTest, TheMainWindowFormulaTakesTheFilterOnlyWhenUsingIt) {
    MemoryHive hive;
    CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    MainWindowState w(settings);
    // The wiring the main window uses: a load only updates the expression, OK regenerates.
    tree.SetExpressionListener([&w](const std::string& expression, bool regenerate) {
        w.SetFilterExpression(expression);
        if (regenerate) {
            w.AssembleFormula();
        }
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
    w.txtVal1_LostFocus();
    w.optScanBuy_Click();
    EXPECT_EQ(w.txtForumlae.text, "Buy = RSIa( Close, 14 ) < 30;");

    w.OptUseFilter_Click();
    EXPECT_EQ(w.txtForumlae.text, "Buy = " + kSampleLoaded + "\r\nAND RSIa( Close, 14 ) < 30;");

    LeftClick("W3"); // excluded now
    ASSERT_TRUE(tree.btnOK_Click(prompts));
    EXPECT_EQ(w.txtForumlae.text, "Buy = (( MarketID(1) == \"NYSE\" )\r\n"
                                  "AND ( GroupID(1)  != \"Funds\"\r\n"
                                  "AND InWatchList(3) == 0 ))\r\n"
                                  "AND RSIa( Close, 14 ) < 30;");

    w.optAllTickers_Click();
    EXPECT_EQ(w.txtForumlae.text, "Buy = RSIa( Close, 14 ) < 30;");
}

} // namespace
} // namespace marlindex
