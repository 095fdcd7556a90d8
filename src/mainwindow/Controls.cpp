#include "mainwindow/Controls.h"

namespace marlindex {

std::string ComboBox::Text() const {
    return selected >= 0 && selected < static_cast<int>(items.size())
               ? items[static_cast<std::size_t>(selected)].text
               : std::string();
}

std::optional<int> ComboBox::SelectedData() const {
    if (selected < 0 || selected >= static_cast<int>(items.size())) {
        return std::nullopt;
    }
    return items[static_cast<std::size_t>(selected)].data;
}

int ComboBox::FindData(int data) const {
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (items[i].data == data) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

int ComboBox::FindText(std::string_view text) const {
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (items[i].text == text) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

std::string ConditionGrid::Text(int index) const {
    return index >= 0 && index < Rows() ? rows[static_cast<std::size_t>(index)] : std::string();
}

} // namespace marlindex
