#include "app/QtPrompts.h"

#include <QFileDialog>
#include <QMessageBox>
#include <QString>

namespace marlindex {

namespace {

QMessageBox::Icon ToQt(PromptIcon icon) {
    switch (icon) {
    case PromptIcon::Information:
        return QMessageBox::Information;
    case PromptIcon::Exclamation:
        return QMessageBox::Warning;
    case PromptIcon::Question:
        return QMessageBox::Question;
    case PromptIcon::Critical:
        return QMessageBox::Critical;
    }
    return QMessageBox::NoIcon;
}

// The program's texts break lines with CR LF; a message box wants LF.
QString ToText(const std::string& text) {
    return QString::fromStdString(text).replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
}

} // namespace

void QtPrompts::Inform(const std::string& title, const std::string& text, PromptIcon icon) {
    QMessageBox box(ToQt(icon), ToText(title), ToText(text), QMessageBox::Ok, parent_);
    box.exec();
}

bool QtPrompts::AskYesNo(const std::string& title, const std::string& text, PromptIcon icon) {
    QMessageBox box(ToQt(icon), ToText(title), ToText(text), QMessageBox::Yes | QMessageBox::No,
                    parent_);
    box.setDefaultButton(QMessageBox::Yes);
    return box.exec() == QMessageBox::Yes;
}

PromptAnswer QtPrompts::AskYesNoCancel(const std::string& title, const std::string& text,
                                       PromptIcon icon) {
    QMessageBox box(ToQt(icon), ToText(title), ToText(text),
                    QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel, parent_);
    box.setDefaultButton(QMessageBox::Yes);
    box.setEscapeButton(QMessageBox::Cancel);
    switch (box.exec()) {
    case QMessageBox::Yes:
        return PromptAnswer::Yes;
    case QMessageBox::No:
        return PromptAnswer::No;
    default:
        return PromptAnswer::Cancel;
    }
}

PromptAnswer QtPrompts::AskSaveDiscardCancel(const std::string& title, const std::string& text) {
    QMessageBox box(QMessageBox::Warning, ToText(title), ToText(text),
                    QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, parent_);
    box.setDefaultButton(QMessageBox::Save);
    box.setEscapeButton(QMessageBox::Cancel);
    switch (box.exec()) {
    case QMessageBox::Save:
        return PromptAnswer::Yes;
    case QMessageBox::Discard:
        return PromptAnswer::No;
    default:
        return PromptAnswer::Cancel;
    }
}

std::optional<std::string> QtPrompts::AskForFile(const std::string& title,
                                                 const std::string& filter) {
    const QString file = QFileDialog::getOpenFileName(parent_, ToText(title), QString(),
                                                      QString::fromStdString(filter));
    if (file.isEmpty()) {
        return std::nullopt;
    }
    return file.toStdString();
}

} // namespace marlindex
