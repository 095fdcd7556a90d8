// The formula library dialog: a tree of folders and formulas on the right, the formula's name
// and description on the left. Its behaviour is LibraryBrowser's; the form mirrors the
// browser's state onto the widgets and forwards the user's actions to it.
#pragma once

#include "library/LibraryBrowser.h"
#include "startup/UserPrompts.h"

#include <QDialog>
#include <functional>
#include <map>
#include <string>

class QAction;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace marlindex {

class frmOpenSave : public QDialog {
public:
    // The browser has loaded the library (Form_Load); it and `prompts` must outlive the form.
    // Messages of the dialog go through `prompts`.
    frmOpenSave(LibraryBrowser& browser, UserPrompts& prompts, QWidget* parent = nullptr);

    // Escape and the window's close button are Cancel.
    void reject() override;

private:
    void BuildWidgets();
    void Connect();
    // Every user event reaches the browser through here: an unexpected failure is reported
    // rather than escaping into the event loop, and the widgets then show the state (not
    // after typing, which the widgets show already).
    void Handle(const std::function<void()>& event, bool mirror = true);
    // Copies the browser's state onto the widgets.
    void Mirror();
    void MirrorTree();
    QTreeWidgetItem* Item(const std::string& key) const;
    static std::string KeyOf(const QTreeWidgetItem* item);
    void ShowTreeMenu(const QPoint& at);
    void ShowDescriptionMenu(const QPoint& at);
    void DescriptionSelectionChanged();
    // The name rules beside the name box, and what the typed name breaks, when saving.
    void MirrorNameRules();
    void OK();

    LibraryBrowser* browser_;
    UserPrompts* prompts_;
    QTreeWidget* TreeView1 = nullptr;
    QLineEdit* Text1 = nullptr;
    QLabel* lblNameRules = nullptr;
    QLabel* lblNameProblem = nullptr;
    QPlainTextEdit* RichTextBox1 = nullptr;
    QPushButton* btnOK = nullptr;
    QPushButton* btnCancel = nullptr;
    QAction* mAdd = nullptr;
    QAction* mRename = nullptr;
    QAction* mDelete = nullptr;
    QAction* mCopy = nullptr;
    QAction* mPaste = nullptr;

    std::map<std::string, QTreeWidgetItem*> items_;
    int shownRevision_ = -1;
    bool syncing_ = false; // widget signals caused by Mirror are not user actions
};

} // namespace marlindex
