// The symbol "Current ticker" runs over on the local host: the one last chosen in the results
// window or a chart, or typed in the main window's symbol box, which completes from the
// database's symbols. It is kept in the settings beside the run options, so the next start
// runs over the same symbol. AmiBroker has a current symbol of its own: there the box is off.
#pragma once

#include "mainwindow/Controls.h"
#include "settings/ProgramSettings.h"

#include <optional>
#include <string>
#include <vector>

namespace marlindex {

class CurrentSymbol {
public:
    // The symbol box. Its `invalid` says why a run over the text would find no symbol.
    TextBox txtSymbol;

    // The database's symbols in byte order, as the box completes them; none when the database
    // has no quote store (then every text is taken as typed).
    void SetDatabaseSymbols(std::optional<std::vector<std::string>> symbols);
    const std::vector<std::string>& DatabaseSymbols() const { return symbols_; }

    // The user typed in the box.
    void txtSymbol_Change(std::string text);
    // Leaving the box: blanks go, and a symbol the database spells in other letter case takes
    // the database's spelling, so that "aapl" runs over AAPL.
    void txtSymbol_LostFocus();
    // A symbol chosen elsewhere (a row of the results, a chart).
    void Choose(std::string symbol);

    // What a run over the current symbol runs over: the box's text without blanks.
    std::string Symbol() const;

    // The settings value "CurrentSymbol" under the run settings' section.
    void Load(CProgramSettings& settings);
    void Save(CProgramSettings& settings) const;

private:
    void Check();

    std::vector<std::string> symbols_;
    bool known_ = false; // the database's symbols are known
};

} // namespace marlindex
