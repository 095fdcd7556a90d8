// The current symbol of the local host: what the box takes, how it says a symbol is not in the
// database, the spelling it corrects, and its place in the settings.
#include "mainwindow/MainWindowState.h"

#include "settings/MemoryHive.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

using Symbols = std::vector<std::string>;

TEST(CurrentSymbolTest, TheBoxMarksWhatNoRunCouldFind) {
    CurrentSymbol current;
    current.SetDatabaseSymbols(Symbols{"MSFT", "AAPL", "ab", "AB", "BRK.B"});
    EXPECT_EQ(current.DatabaseSymbols(), (Symbols{"AAPL", "AB", "BRK.B", "MSFT", "ab"}));

    current.txtSymbol_Change(" BRK.B ");
    EXPECT_EQ(current.Symbol(), "BRK.B");
    EXPECT_EQ(current.txtSymbol.invalid, "");

    current.txtSymbol_Change("XYZ");
    EXPECT_EQ(current.txtSymbol.invalid, "The database has no symbol \"XYZ\".");
    current.txtSymbol_Change("");
    EXPECT_EQ(current.txtSymbol.invalid, "") << "no symbol yet is no mistake in the box";

    // Leaving the box takes the database's spelling when only one symbol matches.
    current.txtSymbol_Change("aapl ");
    EXPECT_NE(current.txtSymbol.invalid, "");
    current.txtSymbol_LostFocus();
    EXPECT_EQ(current.txtSymbol.text, "AAPL");
    EXPECT_EQ(current.txtSymbol.invalid, "");
    current.txtSymbol_Change("Ab");
    current.txtSymbol_LostFocus();
    EXPECT_EQ(current.txtSymbol.text, "Ab") << "AB or ab: the box does not guess";
    EXPECT_NE(current.txtSymbol.invalid, "");

    // A symbol chosen in the results is checked against the database as it is now: after an
    // import that removed nothing it stays valid, in a database without quotes it cannot run.
    current.Choose("MSFT");
    EXPECT_EQ(current.txtSymbol.invalid, "");
    current.SetDatabaseSymbols(std::nullopt);
    EXPECT_NE(current.txtSymbol.invalid.find("Import quotes"), std::string::npos);
    current.txtSymbol_LostFocus();
    EXPECT_EQ(current.Symbol(), "MSFT");
}

TEST(CurrentSymbolTest, TheSymbolIsKeptWithTheRunSettings) {
    MemoryHive hive;
    CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    {
        MainWindowState window(settings);
        window.LoadRunSettings();
        EXPECT_EQ(window.currentSymbol.Symbol(), "");
        window.currentSymbol.Choose("AAPL");
        window.SaveRunSettings();
    }
    settings.SetSection("Settings\\");
    EXPECT_EQ(settings.ReadEntry("CurrentSymbol", ""), "AAPL");

    MainWindowState window(settings);
    window.LoadRunSettings();
    EXPECT_EQ(window.currentSymbol.txtSymbol.text, "AAPL");
    // No undo step: the symbol is no part of the formula.
    EXPECT_FALSE(window.CanUndo());

    window.currentSymbol.Choose("  ");
    window.SaveRunSettings();
    settings.SetSection("Settings\\");
    EXPECT_EQ(settings.ReadEntry("CurrentSymbol", "none"), "none");
}

} // namespace
} // namespace marlindex
