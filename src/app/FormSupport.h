// Small helpers every form uses: text from the core (UTF-8 std::string) as Qt text, and a widget
// given its control name as objectName, which is how tests and CurrentControl find it.
#pragma once

#include <QString>
#include <string>

namespace marlindex {

inline QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

template <typename Widget> Widget* Named(Widget* widget, const char* name) {
    widget->setObjectName(QString::fromLatin1(name));
    return widget;
}

} // namespace marlindex
