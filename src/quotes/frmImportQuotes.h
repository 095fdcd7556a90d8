// The "Import Quotes" dialog: price files and folders, a symbols file, a progress bar with
// Cancel while the import runs, and the report of what it did. Behaviour lives in
// ImportQuotesState; the form mirrors it and forwards the user's events.
#pragma once

#include "quotes/ImportQuotesState.h"

#include <QDialog>
#include <QString>
#include <QStringList>
#include <functional>

class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;

namespace marlindex {

class frmImportQuotes : public QDialog {
    Q_OBJECT

public:
    // How the user picks files; the file dialogs by default, a script in tests. An empty
    // answer is a cancelled choice.
    struct Choosers {
        std::function<QStringList(QWidget*)> priceFiles;
        std::function<QString(QWidget*)> folder;
        std::function<QString(QWidget*)> symbolsFile;
    };

    // `state` must outlive the dialog.
    frmImportQuotes(ImportQuotesState& state, Choosers choosers = {}, QWidget* parent = nullptr);

    ImportQuotesState& State() { return state_; }
    void Mirror();
    // Closing the window while the import runs cancels it; the dialog closes once it has
    // ended.
    void reject() override;

private:
    void Handle(const std::function<void()>& event);
    void Import();

    ImportQuotesState& state_;
    Choosers choosers_;
    bool closeWhenDone_ = false;

    QListWidget* lstPaths = nullptr;
    QPushButton* btnAddFiles = nullptr;
    QPushButton* btnAddFolder = nullptr;
    QPushButton* btnRemove = nullptr;
    QLineEdit* txtSymbols = nullptr;
    QPushButton* btnSymbols = nullptr;
    QPushButton* btnNoSymbols = nullptr;
    QProgressBar* prgImport = nullptr;
    QLabel* lblProgress = nullptr;
    QPlainTextEdit* txtReport = nullptr;
    QPushButton* btnImport = nullptr;
    QPushButton* btnClose = nullptr;
};

} // namespace marlindex
