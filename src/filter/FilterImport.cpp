#include "filter/FilterImport.h"

#include <algorithm>
#include <map>
#include <set>

namespace marlindex {

namespace {

// The names a category's symbols use (a name can have more than one symbol).
std::vector<std::string> NamesInUse(const std::vector<SymbolInfo>& symbols, std::size_t category) {
    std::map<int, std::string> byNumber;
    for (const SymbolInfo& symbol : symbols) {
        switch (category) {
        case 0:
            byNumber.emplace(symbol.marketId, symbol.market);
            break;
        case 1:
            byNumber.emplace(symbol.groupId, symbol.group);
            break;
        case 2:
            byNumber.emplace(symbol.sectorId, symbol.sector);
            break;
        default:
            byNumber.emplace(symbol.industryId, symbol.industry);
            break;
        }
    }
    std::vector<std::string> names;
    for (auto& [number, name] : byNumber) {
        names.push_back(std::move(name));
    }
    // In alphabetical order, as a trader looks for a sector or an industry among a hundred.
    std::sort(names.begin(), names.end());
    return names;
}

// A list of names for a sentence: at most a few, then how many more.
std::string NameList(const std::vector<std::string>& names) {
    constexpr std::size_t kShown = 4;
    std::string text;
    for (std::size_t i = 0; i < names.size() && i < kShown; ++i) {
        text += (i == 0 ? "" : ", ") + names[i];
    }
    if (names.size() > kShown) {
        text += " and " + std::to_string(names.size() - kShown) + " more";
    }
    return text;
}

std::string Items(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " item" : " items");
}

} // namespace

bool FilterImport::Unchanged() const {
    return std::all_of(changes.begin(), changes.end(), [](const FilterImportChange& change) {
        return change.gained.empty() && change.lost.empty() && change.renamed == 0;
    });
}

FilterImport ImportFilterLists(const FilterFileContents& current,
                               const std::vector<SymbolInfo>& symbols,
                               const std::array<std::string, kWatchListCount>& watchListNames) {
    FilterImport import;
    for (std::size_t category = 0; category < kWatchlistCategory; ++category) {
        FilterImportChange& change = import.changes[category];
        // The first item of a name decides its mark, as the expression would meet it first.
        std::map<std::string, int> marks;
        for (const FilterFileItem& item : current[category]) {
            marks.emplace(item.name, item.mark);
        }
        std::set<std::string> kept;
        for (std::string& name : NamesInUse(symbols, category)) {
            // No category is no name: an empty item would be a line the tree cannot show.
            if (name.empty()) {
                continue;
            }
            if (CheckFilterName(name)) {
                change.refused.push_back(std::move(name));
                continue;
            }
            const auto found = marks.find(name);
            if (found == marks.end()) {
                change.gained.push_back(name);
            } else {
                kept.insert(name);
            }
            import.contents[category].push_back(
                {found == marks.end() ? kUnmarked : found->second, std::move(name)});
        }
        for (const FilterFileItem& item : current[category]) {
            if (kept.count(item.name) == 0) {
                change.lost.push_back(item.name);
                if (item.mark != kUnmarked) {
                    change.lostMarked.push_back(item.name);
                }
                // A name listed twice goes once.
                kept.insert(item.name);
            }
        }
    }

    // Watch lists are the application's 64, known by their number: each keeps its mark.
    const std::vector<FilterFileItem>& lists = current[kWatchlistCategory];
    FilterImportChange& change = import.changes[kWatchlistCategory];
    for (std::size_t number = 0; number < kWatchListCount; ++number) {
        const FilterFileItem* old = number < lists.size() ? &lists[number] : nullptr;
        std::string name = watchListNames[number];
        if (name.empty() || CheckFilterName(name)) {
            if (!name.empty()) {
                change.refused.push_back(name);
            }
            name = old != nullptr ? old->name : "Watchlist " + std::to_string(number);
        }
        if (old == nullptr) {
            change.gained.push_back(name);
        } else if (old->name != name) {
            ++change.renamed;
        }
        import.contents[kWatchlistCategory].push_back(
            {old != nullptr ? old->mark : kUnmarked, std::move(name)});
    }
    for (std::size_t number = kWatchListCount; number < lists.size(); ++number) {
        change.lost.push_back(lists[number].name);
        if (lists[number].mark != kUnmarked) {
            change.lostMarked.push_back(lists[number].name);
        }
    }
    return import;
}

std::string FilterImportQuestion(const FilterImport& import) {
    std::string text = "Replace the filter's lists with those of the database?\r\n";
    std::string marked;
    std::string refused;
    for (std::size_t category = 0; category < kFilterCategoryCount; ++category) {
        const FilterImportChange& change = import.changes[category];
        const std::string_view name = kFilterCategories[category].text;
        std::string line =
            "\r\n" + std::string(name) + ": " + Items(import.contents[category].size());
        std::vector<std::string> parts;
        if (!change.gained.empty()) {
            parts.push_back(std::to_string(change.gained.size()) + " new");
        }
        if (!change.lost.empty()) {
            parts.push_back(std::to_string(change.lost.size()) + " gone (" + NameList(change.lost) +
                            ")");
        }
        if (change.renamed > 0) {
            parts.push_back(std::to_string(change.renamed) + " renamed");
        }
        if (parts.empty()) {
            line += ", as before";
        }
        for (std::size_t i = 0; i < parts.size(); ++i) {
            line += (i == 0 ? ", " : "; ") + parts[i];
        }
        text += line;
        if (!change.lostMarked.empty()) {
            marked += "\r\n" + std::string(name) + ": " + NameList(change.lostMarked);
        }
        if (!change.refused.empty()) {
            refused += "\r\n" + std::string(name) + ": " + NameList(change.refused);
        }
    }
    if (!marked.empty()) {
        text += "\r\n\r\nThese marked items go, and the filter no longer uses them:" + marked;
    }
    if (!refused.empty()) {
        text += "\r\n\r\nLeft out, since a filter cannot name them (a quote, a backslash or a "
                "character the filter file cannot hold):" +
                refused;
    }
    return text + "\r\n\r\nMarks stay with the names that remain. Nothing is written until you "
                  "press OK.";
}

} // namespace marlindex
