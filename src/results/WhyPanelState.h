// The why-panel's behaviour without a display: the run it explains, the symbol box with the
// database's symbols for completion, the Explain button, and the report it shows. frmWhyPanel
// mirrors it.
#pragma once

#include "results/WhyItPassed.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace marlindex {

class WhyPanelState {
public:
    // A new run: what the panel showed is cleared, the symbol box keeps its text, and the
    // completion offers the run's database's symbols (none when its quotes cannot be read).
    void SetRun(std::shared_ptr<const RunContext> run);
    // A row of the results chosen: `symbol` on `date`.
    void ShowRow(const std::string& symbol, TradeDate date);

    void txtSymbol_Change(const std::string& text);
    // Explains the typed symbol. A symbol typed in the wrong letter case is taken as the
    // database's symbol when only one matches it.
    void btnExplain_Click();

    std::string Heading() const;
    const std::optional<WhyReport>& Report() const { return report_; }
    const std::vector<std::string>& Symbols() const { return symbols_; }
    const std::string& txtSymbol() const { return txtSymbol_; }
    bool btnExplainEnabled() const;

private:
    std::shared_ptr<const RunContext> run_;
    std::vector<std::string> symbols_;
    std::string txtSymbol_;
    std::optional<WhyReport> report_;
};

} // namespace marlindex
