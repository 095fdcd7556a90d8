// The filter's lists as the quote store has them: the markets, groups, sectors and industries
// its symbols belong to, and its 64 watch lists. The dialog's Import puts them in place of the
// lists the file holds, keeping the mark of every item whose name stays.
#pragma once

#include "filter/FilterFile.h"
#include "quotes/QuoteData.h"

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace marlindex {

// What an import does to one category's list.
struct FilterImportChange {
    std::vector<std::string> gained;     // names the list did not hold
    std::vector<std::string> lost;       // names that go
    std::vector<std::string> lostMarked; // of them, the marked ones: the filter changes
    std::size_t renamed = 0;             // watch lists whose label changes
    // Names no filter item can hold (a double quote, a backslash ...), left out.
    std::vector<std::string> refused;
};

struct FilterImport {
    FilterFileContents contents;
    std::array<FilterImportChange, kFilterCategoryCount> changes;

    // The lists are the same as before, names and marks.
    bool Unchanged() const;
};

// The lists of `symbols` beside the current ones. A category's names are those at least one
// symbol has, in alphabetical (byte) order; a symbol without one adds nothing. A watch list keeps
// its place: its name comes from the store
// (`watchListNames`, "" for none), else the label the list already has, else "Watchlist N".
// Marks stay with names (a watch list's with its number); new items are unmarked.
FilterImport ImportFilterLists(const FilterFileContents& current,
                               const std::vector<SymbolInfo>& symbols,
                               const std::array<std::string, kWatchListCount>& watchListNames);

// The question put before the lists are replaced: what each category gains and loses, and
// which marked items go.
std::string FilterImportQuestion(const FilterImport& import);

} // namespace marlindex
