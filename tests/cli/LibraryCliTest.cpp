// marlindex-cli library: listing, showing, importing and exporting formulas, and the refusals
// that leave the library as it was.
#include "cli/CliCommands.h"
#include "cli/RunTool.h"
#include "library/LibraryFile.h"
#include "scanfile/ScanFile.h"
#include "startup/Codepage.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <sstream>

namespace marlindex {
namespace {

using Result = test::Result;

const std::string kScan = R"j({"name": "Oversold", "description": "RSI \u00e0 30",
  "analysis": "buy", "applyTo": "filter", "range": "lastDays", "rangeN": 12,
  "filter": "(MarketID() == 1)",
  "rows": [
    {"indicator1": "RSI", "comparison": "is less than", "target": "Value", "value": 30},
    {"joiner": "OR", "open": 1, "close": 1, "indicator1": "MA (Short)", "option1": "Exponential",
     "modify1": {"op": "Increase", "amount": 5}, "comparison": "crosses above",
     "indicator2": "MA (Long)", "bars1": 3,
     "modify2": {"op": "Decrease", "amount": 10, "unit": "Percent"}}]})j";

class LibraryCliTest : public ::testing::Test {
protected:
    Result Run(std::vector<std::string> args, const std::string& input = "") {
        args.insert(args.begin(), {"library", "--program-folder", folder_.path().string()});
        return test::RunTool(args, input);
    }
    Result Import(std::vector<std::string> extra, const std::string& scan = kScan) {
        std::vector<std::string> args{"import", "-", "--registry", registry_};
        args.insert(args.end(), extra.begin(), extra.end());
        return Run(args, scan);
    }
    std::string Library() const { return test::ReadBytes(LibraryPath(folder_.path())); }

    test::TempFolder folder_;
    std::string registry_ = (folder_ / "none.reg").string();
};

TEST_F(LibraryCliTest, ImportedScansAreListedShownAndExportedAsTheyWereGiven) {
    EXPECT_EQ(Run({"folders"}).out, "Explorations\nBuy Signals\nSell Signals\n");
    const Result imported = Import({"--folder", "Buy Signals"});
    ASSERT_EQ(imported.status, kExitOk) << imported.err;
    ASSERT_EQ(Import({"--folder", "Explorations", "--name", "Copy #2"}).status, kExitOk);
    EXPECT_EQ(Run({"list"}).out, "Buy Signals\tOversold\tbuy\nExplorations\tCopy #2\tbuy\n");

    // show gives the stored formula exactly: the one generate writes for the same scan.
    const Result shown = Run({"show", "Buy Signals", "Oversold"});
    EXPECT_EQ(shown.out, test::RunTool({"generate", "--registry", registry_, "-"}, kScan).out);

    // export writes the scan back: read again, it is the scan that was imported.
    const Result exported = Run({"export", "Buy Signals", "Oversold"});
    ASSERT_EQ(exported.status, kExitOk) << exported.err;
    EXPECT_EQ(exported.out, WriteScan(ParseScan(kScan)->scan));

    // The record is what the dialog's save stores: rows with code parts, texts and owner.
    const marlindex::Library library = *ReadLibrary(Library());
    const LibraryFormula& formula = library.formulas[0];
    EXPECT_EQ(formula.folder, "2");
    EXPECT_EQ(formula.rowCount, 2);
    EXPECT_EQ(formula.rangeMode, 2);
    EXPECT_EQ(formula.rangeCount, 12);
    EXPECT_EQ(formula.description, "RSI \u00e0 30");
    EXPECT_EQ(formula.rows[1].storedValue, Variant(std::int32_t{1}));
    EXPECT_EQ(formula.rows[1].joiner, "OR");
    EXPECT_EQ(formula.rows[1].rowText.substr(0, 4), "OR (");
    EXPECT_EQ(library.formulas[1].rows[0].storedValue, Variant(std::int32_t{2}));
}

// A row the editor can hold although its formula is odd ("is equal to" a value of the
// current bar: the value vanishes) is stored, exported and generated back as it was.
TEST_F(LibraryCliTest, AFormulaWithAVanishingValueIsExportedAsStored) {
    const std::string scan = R"j({"name": "Equal", "rows": [{"indicator1": "RSI",
        "comparison": "is equal to", "target": "Value", "bars2": 0, "value": 30}]})j";
    const Result imported = Import({"--folder", "Buy Signals"}, scan);
    ASSERT_EQ(imported.status, kExitOk) << imported.err;
    EXPECT_NE(imported.err.find("warning: row 1: \"bars2\" is 0"), std::string::npos);

    const Result exported = Run({"export", "Buy Signals", "Equal"});
    ASSERT_EQ(exported.status, kExitOk) << exported.err;
    const Result shown = Run({"show", "Buy Signals", "Equal"});
    EXPECT_EQ(shown.out.substr(0, 30), "Filter = RSIa( Close, 14 ) ==;");
    EXPECT_EQ(test::RunTool({"generate", "--registry", registry_, "-"}, exported.out).out,
              shown.out);
}

TEST_F(LibraryCliTest, ImportRefusalsLeaveTheLibraryAsItWas) {
    ASSERT_EQ(Import({"--folder", "Buy Signals"}).status, kExitOk);
    const std::string before = Library();

    const Result existing = Import({"--folder", "Buy Signals"});
    EXPECT_EQ(existing.status, kExitBadInput);
    EXPECT_NE(existing.err.find("holds a formula \"Oversold\" already; --overwrite replaces it"),
              std::string::npos);
    const Result nowhere = Import({"--folder", "Nowhere"});
    EXPECT_EQ(nowhere.status, kExitBadInput);
    EXPECT_NE(nowhere.err.find("no folder \"Nowhere\"; the folders are: \"Explorations\" "
                               "\"Buy Signals\" \"Sell Signals\""),
              std::string::npos)
        << nowhere.err;
    EXPECT_EQ(Import({"--folder", "Buy Signals", "--name", "2nd.try"}).status, kExitBadInput);
    EXPECT_EQ(
        Import({"--folder", "Buy Signals", "--name", "Arrow", "--description", "\u2191"}).status,
        kExitBadInput);
    EXPECT_EQ(Import({"--folder", "Buy Signals"}, R"({"rows": [{"indicator1": "Nope"}]})").status,
              kExitBadInput);
    EXPECT_EQ(Library(), before);

    const Result replaced =
        Import({"--folder", "Buy Signals", "--overwrite", "--description", "x"});
    EXPECT_EQ(replaced.status, kExitOk) << replaced.err;
    const marlindex::Library library = *ReadLibrary(Library());
    ASSERT_EQ(library.formulas.size(), 1u);
    EXPECT_EQ(library.formulas[0].description, "x");
}

TEST_F(LibraryCliTest, ADamagedLibraryIsReportedAndNeverWritten) {
    ASSERT_EQ(Import({"--folder", "Buy Signals"}).status, kExitOk);
    const std::string damaged = Library().substr(0, 200);
    test::WriteBytes(LibraryPath(folder_.path()), damaged);
    for (const std::vector<std::string>& command :
         std::vector<std::vector<std::string>>{{"folders"},
                                               {"list"},
                                               {"show", "Buy Signals", "Oversold"},
                                               {"export-afl", (folder_ / "afl").string()}}) {
        const Result result = Run(command);
        EXPECT_EQ(result.status, kExitBadInput) << command[0];
        EXPECT_EQ(result.out, "");
        EXPECT_NE(
            result.err.find("MARLXS, formula 1 (\"Oversold\"), field \"formula text\" at byte "),
            std::string::npos)
            << result.err;
    }
    EXPECT_EQ(Import({"--folder", "Buy Signals", "--name", "Other"}).status, kExitBadInput);
    EXPECT_EQ(Library(), damaged);
    EXPECT_FALSE(std::filesystem::exists(folder_ / "afl"));
}

TEST_F(LibraryCliTest, ExportAflWritesEveryFormulaWithItsCommentForAmiBroker) {
    ASSERT_EQ(Import({"--folder", "Buy Signals"}).status, kExitOk);
    ASSERT_EQ(Import({"--folder", "Sell Signals", "--name", "a/b"}).status, kExitOk);
    const auto target = folder_ / "Formulas";
    const Result result = Run({"export-afl", target.string()});
    ASSERT_EQ(result.status, kExitOk) << result.err;
    const auto first = target / "Buy Signals" / "Oversold.afl";
    const auto second = target / "Sell Signals" / "a_b.afl";
    EXPECT_EQ(result.out, first.string() + "\n" + second.string() + "\n");

    const std::string afl = test::ReadBytes(first);
    EXPECT_EQ(afl.rfind("/* Create date: ", 0), 0u);
    EXPECT_NE(afl.find("\r\nRSI(14) of the current bar is less than 30 OR ("), std::string::npos);
    const std::string formula =
        test::RunTool({"library", "--library", LibraryPath(folder_.path()).string(), "show",
                       "Buy Signals", "Oversold"})
            .out;
    EXPECT_EQ(afl.substr(afl.size() - formula.size()), formula);
    EXPECT_EQ(afl.substr(afl.find("*/\r\n\r\n") + 6), formula);
    EXPECT_TRUE(std::filesystem::exists(second));
}

} // namespace
} // namespace marlindex
