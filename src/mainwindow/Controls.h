// The state of the main window's controls as plain data. The window's behaviour reads and
// writes these; the form only copies them onto its widgets after each event, so the whole
// behaviour can be driven and checked without a display.
#pragma once

#include "formula/Colouring.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace marlindex {

struct ComboItem {
    std::string text;
    int data = 0; // the item data: a catalogue id or a table position
};

struct ComboBox {
    std::vector<ComboItem> items;
    int selected = -1; // -1: nothing selected
    bool enabled = true;
    bool visible = true;

    // The selected item's text, "" when nothing is selected.
    std::string Text() const;
    // The selected item's data, none when nothing is selected.
    std::optional<int> SelectedData() const;
    // The first position whose data (or text) matches, -1 when there is none.
    int FindData(int data) const;
    int FindText(std::string_view text) const;

    void Clear() {
        items.clear();
        selected = -1;
    }
    void AddItem(std::string text, int data = 0) { items.push_back({std::move(text), data}); }
};

struct TextBox {
    std::string text;
    bool enabled = true;
    bool visible = true;
    // Why the text is not taken ("" when it is): it holds no number the field accepts, and the
    // condition keeps the last number until one is typed.
    std::string invalid;
};

struct CheckBox {
    bool checked = false;
    bool enabled = true;
};

struct Label {
    std::string caption;
    bool enabled = true;
};

struct OptionButton {
    bool value = false; // selected in its group
    bool enabled = true;
};

struct MenuItem {
    std::string caption;
    bool enabled = true;
    bool checked = false;
};

// The condition grid: one text column.
struct ConditionGrid {
    std::vector<std::string> rows;
    int row = 0; // the current row

    int Rows() const { return static_cast<int>(rows.size()); }
    // The text of a row, "" for a row outside the grid.
    std::string Text(int index) const;
};

// The formula box: its text and the colouring applied to it.
struct FormulaBox {
    std::string text;
    std::vector<FormatRun> runs;
};

} // namespace marlindex
