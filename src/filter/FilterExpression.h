// The filter expression: the AFL condition that restricts a formula to the marked markets,
// groups, sectors, industries and watch lists. Included items are alternatives joined by OR,
// excluded items each must be avoided, joined by AND; nothing marked gives the empty text.
//
// It is built in two places with two spacings: while the filter file is read, and when the
// dialog's OK writes the tree back. Formulas saved in the library hold one or the other text,
// so both are kept exactly, blank for blank.
#pragma once

#include "filter/FilterFile.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace marlindex {

enum class ExpressionForm {
    Load,     // built while reading the file
    SaveData, // built while writing the tree back
};

class FilterExpressionBuilder {
public:
    explicit FilterExpressionBuilder(ExpressionForm form) : form_(form) {}

    // One item in tree order. `name` is the display name of a market, group, sector or
    // industry; `watchlistNumber` the number of a watch list (unused for the others).
    // Unmarked items add nothing.
    void Add(std::size_t category, int mark, std::string_view name,
             std::string_view watchlistNumber);

    // The whole expression, CR LF between its lines.
    std::string Build() const;

private:
    std::string Clause(std::size_t category, bool included, std::string_view name,
                       std::string_view watchlistNumber) const;

    ExpressionForm form_;
    std::string included_;
    std::string excluded_;
};

// The expression of a file's contents as they stand: a watch list's number is its position
// in its section.
std::string BuildFilterExpression(const FilterFileContents& contents, ExpressionForm form);

} // namespace marlindex
