// What the window tells the user about the rows: the marks on unfinished rows and unbalanced
// brackets, the status line, and the problems Run, Save and Copy put to the user before they
// go on. Nothing here changes the formula.
#include "afl/Formula.h"
#include "formula/Assembly.h"
#include "mainwindow/MainWindowState.h"
#include "startup/Problem.h"

#include <algorithm>

namespace marlindex {

namespace {

// How a message names a row: its number as the grid shows it, and its words.
std::string RowName(const MainWindowState& window, int row) {
    return "Row " + std::to_string(row + 1) + " " + QuoteExcerpt(window.MSFlexGrid1.Text(row), 50);
}

// The line `line` (from 1) of `text`, without its line break.
std::string_view LineOf(std::string_view text, int line) {
    std::size_t start = 0;
    for (int i = 1; i < line; ++i) {
        start = text.find('\n', start);
        if (start == std::string_view::npos) {
            return {};
        }
        ++start;
    }
    std::string_view rest = text.substr(start);
    rest = rest.substr(0, rest.find('\n'));
    if (!rest.empty() && rest.back() == '\r') {
        rest.remove_suffix(1);
    }
    return rest;
}

} // namespace

std::vector<RowIssue> MainWindowState::RowIssues() const {
    return CheckRows(Records(), gridCount_);
}

std::string MainWindowState::ValueWarningText() const {
    return txtVal1.enabled ? ValueWarning(Condition()) : std::string();
}

std::string MainWindowState::StatusText() const {
    if (gridCount_ <= 0) {
        return "Choose an indicator in Indicator 1 to start the first condition.";
    }
    const int row = TargetRow();
    const std::string number = std::to_string(row + 1);
    const std::string text = MSFlexGrid1.Text(row);
    if (gridMode_ != "EDIT" && text.size() <= 4 && !text.empty() &&
        editor_.Record(row) == nullptr) {
        return "Adding row " + number + " (" + gridOperator_ +
               "): choose its indicator in Indicator 1.";
    }
    const std::string gap = ConditionGap(Condition());
    if (!gap.empty()) {
        return "Editing row " + number + ": " + gap + ".";
    }
    if (row == gridCount_ - 1) {
        return "Row " + number + " is finished. AND or OR adds another condition.";
    }
    return "Editing row " + number + ".";
}

std::string MainWindowState::IssueSummary() const {
    std::vector<int> rows;
    for (const RowIssue& issue : RowIssues()) {
        if (rows.empty() || rows.back() != issue.row) {
            rows.push_back(issue.row);
        }
    }
    if (rows.empty()) {
        return {};
    }
    std::string list;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        list += (i == 0 ? "" : i + 1 == rows.size() ? " and " : ", ") + std::to_string(rows[i] + 1);
    }
    return (rows.size() == 1 ? "Row " + list + " needs" : "Rows " + list + " need") +
           " a look: point at the marked row to see why.";
}

std::vector<std::string> MainWindowState::FormulaProblems(bool parse) const {
    std::vector<std::string> problems;
    // Rows whose formula is known to be broken: the parser would only say so again.
    std::vector<int> broken;
    for (const RowIssue& issue : RowIssues()) {
        problems.push_back(RowName(*this, issue.row) + ": " + issue.text + ".");
        if (issue.kind != RowIssueKind::Value) {
            broken.push_back(issue.row);
        }
    }
    const std::string& formula = txtForumlae.text;
    if (!parse || formula.empty()) {
        return problems;
    }
    try {
        afl::Formula::Parse(formula);
    } catch (const afl::Error& error) {
        int line = error.where().line;
        // An operand missing at the end of a row shows only at the next row's joiner: a
        // complaint about the first word of a line belongs to the line before.
        const std::string_view text = LineOf(formula, line);
        const std::size_t first = text.find_first_not_of(' ');
        if (line > 1 && first != std::string_view::npos &&
            static_cast<std::size_t>(error.where().column) <= first + 1) {
            --line;
        }
        const std::string_view filter =
            applyTo_ == kApplyToFilter ? std::string_view(filterExpression_) : "";
        const std::optional<int> row =
            RowOfFormulaLine(formula, filter, Records(), gridCount_, line);
        const std::string where = "line " + std::to_string(error.where().line) + ", column " +
                                  std::to_string(error.where().column) + " of the formula";
        if (!row) {
            if (broken.empty()) {
                problems.push_back("The formula cannot be read at " + where + ": " +
                                   error.message() + ".");
            }
        } else if (std::find(broken.begin(), broken.end(), *row) == broken.end()) {
            problems.push_back(RowName(*this, *row) +
                               ": the built-in engine cannot read its formula (" + where +
                               "): " + error.message() + ".");
        }
    }
    return problems;
}

} // namespace marlindex
