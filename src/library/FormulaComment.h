// A formula with a comment in front that says when it was made and what its conditions are,
// as the main window copies it to the clipboard and as the library exports it to AmiBroker.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace marlindex {

// "05 Mar 2024": day with two digits, the month's English three-letter name, the year.
std::string FormatCommentDate(int year, unsigned month, unsigned day);
// Today's local date in that form.
std::string TodayForComment();

// "/* Create date: DATE" CR LF, every condition text followed by one blank, all on one line,
// "*/" CR LF CR LF, then the formula text.
std::string CommentedFormula(std::string_view date, const std::vector<std::string>& conditions,
                             std::string_view formulaText);

} // namespace marlindex
