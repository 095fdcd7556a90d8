// marlindex-cli library: listing, showing, importing and exporting formulas, and the refusals
// that leave the library as it was.
#include "cli/CliCommands.h"
#include "cli/RunTool.h"
#include "library/LibraryFile.h"
#include "scanfile/ScanFile.h"
#include "startup/Codepage.h"
#include "support/HostileFiles.h"
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

TEST_F(LibraryCliTest, ImportHoldsANameToTheLengthAFileNameCanHave) {
    const Result longName = Import({"--folder", "Buy Signals", "--name", std::string(65535, 'n')});
    EXPECT_EQ(longName.status, kExitBadInput);
    EXPECT_EQ(longName.err.rfind("--name: \"" + std::string(60, 'n') +
                                     "...\" is not a valid formula name: A name has at most 100 "
                                     "characters; this one has 65535.",
                                 0),
              0u)
        << longName.err.substr(0, 300);
    EXPECT_LT(longName.err.size(), 400u);

    // The scan's own name is held to the same rules, and the message says where it came from.
    const Result scanName =
        Import({"--folder", "Buy Signals"}, R"j({"name": ")j" + std::string(101, 'n') + "\"}");
    EXPECT_EQ(scanName.status, kExitBadInput);
    EXPECT_EQ(scanName.err.rfind("stdin, field \"name\": ", 0), 0u) << scanName.err;
    EXPECT_NE(scanName.err.find("this one has 101."), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(LibraryPath(folder_.path())));

    ASSERT_EQ(Import({"--folder", "Buy Signals", "--name", std::string(100, 'n')}).status, kExitOk);
}

// The export checks every name before it writes a file: a library from an older release may
// hold names of any length, and the formulas before such a name must not be written alone.
class ExportAflTest : public LibraryCliTest {
protected:
    // Stores formulas named `names` in the library's "Buy Signals" folder.
    void Store(const std::vector<std::string>& names, std::string folderName = "Buy Signals") {
        marlindex::Library library = LoadLibraryFile(LibraryPath(folder_.path()))->library;
        library.folders[1].name = std::move(folderName);
        for (const std::string& name : names) {
            LibraryFormula formula;
            formula.name = name;
            formula.formulaText = "Buy = 1;";
            library.StoreFormula(formula, "2", 0);
        }
        ASSERT_TRUE(SaveLibraryFile(LibraryPath(folder_.path()), library));
    }
    Result Export() { return Run({"export-afl", target_.string()}); }

    std::filesystem::path target_ = folder_ / "afl";
};

TEST_F(ExportAflTest, OneNameTooLongStopsItBeforeAnyFileIsWritten) {
    Store({"Good", std::string(150, 'L'), "Later"});
    EXPECT_EQ(Run({"list"}).status, kExitOk) << "the library itself reads";
    const Result result = Export();
    EXPECT_EQ(result.status, kExitBadInput);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, LibraryPath(folder_.path()).string() + ", formula 2 (\"" +
                              std::string(60, 'L') +
                              "...\"): the name cannot be a file name: A name has at most 100 "
                              "characters; this one has 150.; nothing was exported\n");
    EXPECT_FALSE(std::filesystem::exists(target_));
}

TEST_F(ExportAflTest, AFolderNameTooLongOrTooManyBytesStopsItToo) {
    Store({"Good"}, std::string(101, 'F'));
    Result result = Export();
    EXPECT_EQ(result.status, kExitBadInput);
    EXPECT_NE(result.err.find("formula 1 (\"Good\"): its folder's name \"FFF"), std::string::npos)
        << result.err;
    EXPECT_FALSE(std::filesystem::exists(target_));

    // 70 euro signs are 70 characters, but 210 bytes as a file name.
    std::string euros;
    for (int i = 0; i < 70; ++i) {
        euros += "\u20ac";
    }
    Store({euros}, "Buy Signals");
    result = Export();
    EXPECT_EQ(result.status, kExitBadInput);
    EXPECT_NE(result.err.find("As a file name it takes 210 bytes, more than the 200"),
              std::string::npos)
        << result.err;
    EXPECT_FALSE(std::filesystem::exists(target_));
}

// Names that one file system or another would take as the same file, or as a device, get
// file names of their own.
TEST_F(ExportAflTest, NamesThatWouldShareAFileAreKeptApart) {
    Store({"Dip", "dip", "NUL", "com1", "Dip ", "a/b"});
    const Result result = Export();
    ASSERT_EQ(result.status, kExitOk) << result.err;
    const auto folder = target_ / "Buy Signals";
    std::string expected;
    for (const char* name :
         {"Dip.afl", "dip (2).afl", "NUL_.afl", "com1_.afl", "Dip_.afl", "a_b.afl"}) {
        expected += (folder / name).string() + "\n";
        EXPECT_TRUE(std::filesystem::is_regular_file(folder / name)) << name;
    }
    EXPECT_EQ(result.out, expected);
}

TEST_F(ExportAflTest, WhatStandsInTheWayIsFoundBeforeAnyFileIsWritten) {
    Store({"Good", "Blocked"});
    std::filesystem::create_directories(target_ / "Buy Signals" / "Blocked.afl");
    const Result result = Export();
    EXPECT_EQ(result.status, kExitBadInput);
    EXPECT_NE(result.err.find("formula 2 (\"Blocked\"): "), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("is a folder, in the way of the file"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(target_ / "Buy Signals" / "Good.afl"));
}

TEST_F(LibraryCliTest, OnlyARegularLibraryFileIsRead) {
    const auto file = LibraryPath(folder_.path());
    test::WriteBytes(file, *WriteLibrary(DefaultLibrary()));
    std::filesystem::resize_file(file, (std::uintmax_t{256} << 20) + 1);
    const Result big = Run({"folders"});
    EXPECT_EQ(big.status, kExitBadInput);
    EXPECT_EQ(big.err, file.string() + ": is 256 MB, larger than a formula library can be (at "
                                       "most 256 MB), so it was not read\n");
#ifndef _WIN32
    std::filesystem::remove(file);
    ASSERT_TRUE(test::MakeFifo(file));
    const Result pipe = Run({"list"});
    EXPECT_EQ(pipe.status, kExitBadInput);
    EXPECT_EQ(pipe.err,
              file.string() + ": is a pipe, not a regular file; a formula library must be one\n");
    const Result device =
        test::RunTool({"library", "--library", "/dev/zero", "import", "-", "--folder", "x"}, kScan);
    EXPECT_EQ(device.status, kExitBadInput);
    EXPECT_EQ(device.err,
              "/dev/zero: is a device, not a regular file; a formula library must be one\n");
#endif
}

} // namespace
} // namespace marlindex
