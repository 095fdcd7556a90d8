#include "library/FormulaComment.h"

#include <array>
#include <ctime>

namespace marlindex {

std::string FormatCommentDate(int year, unsigned month, unsigned day) {
    static constexpr std::array<const char*, 12> kMonths = {
        "Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    std::string text = day < 10 ? "0" : "";
    text += std::to_string(day) + " ";
    text += month >= 1 && month <= 12 ? kMonths[month - 1] : "???";
    return text + " " + std::to_string(year);
}

std::string TodayForComment() {
    const std::time_t now = std::time(nullptr);
    // The program's events all run on the one user-interface thread.
    const std::tm* local = std::localtime(&now);
    if (local == nullptr) {
        return {};
    }
    return FormatCommentDate(local->tm_year + 1900, static_cast<unsigned>(local->tm_mon + 1),
                             static_cast<unsigned>(local->tm_mday));
}

std::string CommentedFormula(std::string_view date, const std::vector<std::string>& conditions,
                             std::string_view formulaText) {
    std::string text = "/* Create date: " + std::string(date) + "\r\n";
    for (const std::string& condition : conditions) {
        text += condition + " ";
    }
    text += "*/\r\n\r\n";
    text += formulaText;
    return text;
}

} // namespace marlindex
