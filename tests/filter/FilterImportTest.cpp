// Import... in the filter dialog: the lists come from the quote store's symbols, marks stay with
// the names that remain, the user sees what changes before anything does, and only OK writes.
#include "filter/FilterImport.h"

#include "filter/FilterTree.h"
#include "quotes/QuoteStore.h"
#include "support/QuoteFixtures.h"
#include "support/ScriptedPrompts.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

SymbolInfo Symbol(std::string market, int marketId, std::string sector, int sectorId) {
    SymbolInfo info;
    info.market = std::move(market);
    info.marketId = marketId;
    info.sector = std::move(sector);
    info.sectorId = sectorId;
    return info;
}

std::vector<std::string> Names(const std::vector<FilterFileItem>& items) {
    std::vector<std::string> names;
    for (const FilterFileItem& item : items) {
        names.push_back(item.name + "=" + std::to_string(item.mark));
    }
    return names;
}

using Strings = std::vector<std::string>;

TEST(FilterImportTest, CategoriesTakeTheNamesInUseAndMarksStayWithNames) {
    FilterFileContents current;
    current[0] = {
        {kIncluded, "NYSE"}, {kExcluded, "AMEX"}, {kUnmarked, "OTC"}, {kExcluded, "NYSE"}};
    current[2] = {{kIncluded, "Tech"}};
    // Names come in alphabetical order whatever their numbers; a symbol without a sector adds
    // no empty item, and a name a filter cannot quote is left out and said so.
    const std::vector<SymbolInfo> symbols{Symbol("NASDAQ", 2, "Energy", 1),
                                          Symbol("NYSE", 0, "", 0), Symbol("NYSE", 0, "Tech", 3),
                                          Symbol("Pink \"Sheets\"", 1, "Tech", 3)};
    const FilterImport import = ImportFilterLists(current, symbols, {});

    EXPECT_EQ(Names(import.contents[0]), (Strings{"NASDAQ=0", "NYSE=1"}));
    EXPECT_EQ(import.changes[0].gained, Strings{"NASDAQ"});
    EXPECT_EQ(import.changes[0].lost, (Strings{"AMEX", "OTC"}));
    EXPECT_EQ(import.changes[0].lostMarked, Strings{"AMEX"});
    EXPECT_EQ(import.changes[0].refused, Strings{"Pink \"Sheets\""});
    EXPECT_EQ(Names(import.contents[2]), (Strings{"Energy=0", "Tech=1"}));
    // A category the symbols do not use ends up empty.
    EXPECT_TRUE(import.contents[1].empty());
    EXPECT_FALSE(import.Unchanged());

    const std::string question = FilterImportQuestion(import);
    for (const char* part :
         {"Markets: 2 items, 1 new; 2 gone (AMEX, OTC)", "Groups: 0 items, as before",
          "Sectors: 2 items, 1 new", "Watchlists: 64 items, 64 new", "marked items go",
          "Markets: AMEX", "Pink \"Sheets\"", "until you press OK"}) {
        EXPECT_NE(question.find(part), std::string::npos) << part << "\n" << question;
    }

    // Importing again changes nothing.
    EXPECT_TRUE(ImportFilterLists(import.contents, symbols, {}).Unchanged());
}

TEST(FilterImportTest, WatchListsKeepTheirNumbersAndMarks) {
    FilterFileContents current;
    for (int n = 0; n < 66; ++n) {
        current[kWatchlistCategory].push_back(
            {n % 3 == 1 ? kIncluded : kUnmarked,
             n == 2 ? "Swing picks" : "Watchlist " + std::to_string(n)});
    }
    std::array<std::string, kWatchListCount> names{};
    names[1] = "Tech leaders";
    names[2] = "";            // the store names none: the user's own label stays
    names[3] = "Back\\slash"; // a label the filter cannot hold: the old one stays
    const FilterImport import = ImportFilterLists(current, {}, names);

    const auto& lists = import.contents[kWatchlistCategory];
    ASSERT_EQ(lists.size(), kWatchListCount);
    EXPECT_EQ(Names({lists.begin(), lists.begin() + 5}),
              (Strings{"Watchlist 0=0", "Tech leaders=1", "Swing picks=0", "Watchlist 3=0",
                       "Watchlist 4=1"}));
    const FilterImportChange& change = import.changes[kWatchlistCategory];
    EXPECT_EQ(change.renamed, 1u);
    EXPECT_EQ(change.refused, Strings{"Back\\slash"});
    // A hand-made file's lists past the 64th go, marked one included.
    EXPECT_EQ(change.lost, (Strings{"Watchlist 64", "Watchlist 65"}));
    EXPECT_EQ(change.lostMarked, Strings{"Watchlist 64"});

    // Too few lists: the missing numbers come with default names.
    current[kWatchlistCategory].resize(2);
    const FilterImport filled = ImportFilterLists(current, {}, {});
    EXPECT_EQ(filled.contents[kWatchlistCategory][63].name, "Watchlist 63");
    EXPECT_EQ(filled.changes[kWatchlistCategory].gained.size(), 62u);
}

class FilterTreeImportTest : public ::testing::Test {
protected:
    void SetUp() override {
        test::WriteBytes(folder / "tempFilter.txt",
                         "[Markets]\r\n0\tNASDAQ\r\n1\tAMEX\r\n[Groups]\r\n[Sectors]\r\n2\tTech\r\n"
                         "[Industries]\r\n[Watchlists]\r\n0\tWatchlist 0\r\n0\tWatchlist 1\r\n"
                         "0\tWatchlist 2\r\n1\tMy list\r\n");
        ASSERT_EQ(tree.Form_Load(prompts), FilterLoadResult::Loaded);
    }
    std::string Keys(std::size_t category) const {
        std::string keys;
        for (const FilterTreeItem& item : tree.TreeView1.categories[category].items) {
            keys += item.key + ":" + item.text + "=" + std::to_string(item.image) + " ";
        }
        return keys;
    }

    test::TempFolder folder;
    test::ScriptedPrompts prompts;
    FilterTree tree{folder.path()};
};

TEST_F(FilterTreeImportTest, ADatabaseWithoutQuotesIsSaidSo) {
    EXPECT_FALSE(tree.btnImport_Click(prompts));
    ASSERT_EQ(prompts.shown.size(), 1u);
    EXPECT_NE(prompts.shown[0].text.find("Import quotes"), std::string::npos);
    EXPECT_EQ(Keys(0), "M0:NASDAQ=0 M1:AMEX=1 ");
}

TEST_F(FilterTreeImportTest, TheTreeTakesTheListsOnYesAndOnlyOkWrites) {
    test::ImportOrFail(folder.path(), test::TinyDatabase());
    ASSERT_TRUE(QuoteStore::Open(folder.path())->NameWatchList(3, "Energy watch"));
    const std::string before = test::ReadBytes(folder / "tempFilter.txt");

    prompts.answers = {false};
    EXPECT_FALSE(tree.btnImport_Click(prompts));
    EXPECT_EQ(prompts.shown.back().kind, "ask");
    EXPECT_NE(prompts.shown.back().text.find("Markets: 2 items, 1 new; 1 gone (AMEX)"),
              std::string::npos)
        << prompts.shown.back().text;
    EXPECT_EQ(Keys(0), "M0:NASDAQ=0 M1:AMEX=1 ") << "No leaves the tree as it was";

    prompts.answers = {true};
    ASSERT_TRUE(tree.btnImport_Click(prompts));
    // Keys are positions, as a load of the written file will give them.
    EXPECT_EQ(Keys(0), "M0:NASDAQ=0 M1:NYSE=0 ");
    EXPECT_EQ(Keys(1), "G0:Large=0 ");
    EXPECT_EQ(Keys(2), "S0:Energy=0 S1:Tech=2 ");
    EXPECT_EQ(Keys(3), "I0:Chips=0 I1:Oil=0 I2:Software=0 ");
    EXPECT_EQ(tree.TreeView1.categories[4].items.size(), kWatchListCount);
    EXPECT_EQ(tree.TreeView1.FindItem("W3")->text, "Energy watch");
    EXPECT_EQ(tree.TreeView1.FindItem("W3")->image, kIncluded);
    EXPECT_EQ(test::ReadBytes(folder / "tempFilter.txt"), before);

    ASSERT_TRUE(tree.btnOK_Click(prompts));
    FilterTree reread(folder.path());
    reread.Form_Load(prompts);
    EXPECT_EQ(reread.FilterExpression(),
              "(( InWatchList(3) == 1  )\r\nAND ( SectorID(1) != \"Tech\" ))");

    // The same import again has nothing to ask.
    const std::size_t shown = prompts.shown.size();
    EXPECT_FALSE(tree.btnImport_Click(prompts));
    ASSERT_EQ(prompts.shown.size(), shown + 1);
    EXPECT_EQ(prompts.shown.back().kind, "inform");
}

} // namespace
} // namespace marlindex
