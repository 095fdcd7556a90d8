// The filter dialog "Filter Settings": the tree of markets, groups, sectors, industries and
// watch lists with a three-state mark on every item, its context menu and in-place editing.
// Behaviour lives in FilterTree; the form mirrors its controls and forwards the user's events.
#pragma once

#include "filter/FilterTree.h"
#include "startup/UserPrompts.h"

#include <QDialog>
#include <QIcon>
#include <array>
#include <functional>
#include <string>

class QAction;
class QGroupBox;
class QMenu;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace marlindex {

class LabelEditDelegate;

class frmFilter : public QDialog {
    Q_OBJECT

public:
    // Loads the state from its database folder first when it is not loaded yet, as showing
    // an unloaded dialog does. `state` and `prompts` must outlive the dialog.
    frmFilter(FilterTree& state, UserPrompts& prompts, QWidget* parent = nullptr);

    // Copies the state onto the widgets; call it after changing the state from outside the
    // dialog (a database switch while the dialog is open).
    void Mirror();

    // The pictures of the marks: 0 an empty box, 1 a green tick, 2 a red cross.
    static QIcon MarkImage(int mark);

    // Escape and the window's close button cancel, as btnCancel does.
    void reject() override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void CreateControls();
    // Every user event reaches the state through here: an unexpected failure is reported
    // rather than escaping into the event loop, and the widgets then show the state (unless
    // an event that follows shows it).
    void Handle(const std::function<void()>& event, bool mirror = true);
    void btnOK_Click();
    void LabelEditFinished();
    QTreeWidgetItem* FindNode(const std::string& key) const;
    void MirrorTree();

    FilterTree& state_;
    UserPrompts& prompts_;

    QTreeWidget* TreeView1 = nullptr;
    QPushButton* btnOK = nullptr;
    QPushButton* btnCancel = nullptr;
    QPushButton* btnImport = nullptr;
    QGroupBox* fraHint = nullptr;
    QMenu* mFile = nullptr;
    QAction* mAdd = nullptr;
    QAction* mDelete = nullptr;
    QAction* mUncheckAll = nullptr;
    QAction* mEdit = nullptr;
    LabelEditDelegate* labelEdit_ = nullptr;

    // ImageList1: the three marks, the root, and a category closed and open.
    std::array<QIcon, 3> markImages_;
    QIcon rootImage_;
    QIcon categoryImage_;
    QIcon openCategoryImage_;
    bool editorOpen_ = false;
};

} // namespace marlindex
