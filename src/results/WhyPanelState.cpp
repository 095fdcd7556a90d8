#include "results/WhyPanelState.h"

#include "quotes/QuoteStore.h"
#include "startup/TextHelpers.h"

#include <algorithm>
#include <exception>

namespace marlindex {

void WhyPanelState::SetRun(std::shared_ptr<const RunContext> run) {
    run_ = std::move(run);
    report_.reset();
    symbols_.clear();
    if (!run_) {
        return;
    }
    try {
        if (const Result<QuoteStore> store = QuoteStore::Open(run_->databaseFolder)) {
            for (const SymbolSummary& summary : store->List()) {
                symbols_.push_back(summary.symbol);
            }
        }
    } catch (const std::exception&) {
        // Completion is a help only; Explain says what is wrong with the quotes.
        symbols_.clear();
    }
}

void WhyPanelState::ShowRow(const std::string& symbol, TradeDate date) {
    if (!run_) {
        return;
    }
    txtSymbol_ = symbol;
    report_ = ExplainBar(*run_, symbol, date);
}

void WhyPanelState::txtSymbol_Change(const std::string& text) {
    txtSymbol_ = text;
}

bool WhyPanelState::btnExplainEnabled() const {
    return run_ != nullptr && !TrimBlanks(txtSymbol_).empty();
}

void WhyPanelState::btnExplain_Click() {
    if (!btnExplainEnabled()) {
        return;
    }
    std::string symbol(TrimBlanks(txtSymbol_));
    if (!std::binary_search(symbols_.begin(), symbols_.end(), symbol)) {
        std::vector<std::string> matches;
        std::copy_if(symbols_.begin(), symbols_.end(), std::back_inserter(matches),
                     [&](const std::string& known) { return EqualsIgnoreCase(known, symbol); });
        if (matches.size() == 1) {
            symbol = matches.front();
        }
    }
    txtSymbol_ = symbol;
    report_ = ExplainSymbol(*run_, symbol);
}

std::string WhyPanelState::Heading() const {
    if (report_) {
        return report_->Heading();
    }
    if (!run_) {
        return "Run a formula to see why a symbol passed";
    }
    return "Choose a row of the results, or type a symbol and Explain";
}

} // namespace marlindex
