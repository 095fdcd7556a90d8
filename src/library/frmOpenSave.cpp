#include "library/frmOpenSave.h"

#include "startup/Codepage.h"
#include "startup/EventGuard.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStyle>
#include <QTextCursor>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace marlindex {

namespace {

QString ToQt(const std::string& text) {
    return QString::fromStdString(text);
}

// The dialog shows line breaks as Qt does (LF); the program keeps CR LF.
QString ToDisplay(const std::string& text) {
    return ToQt(text).replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
}

std::string FromDisplay(const QString& text) {
    return QString(text).replace(QLatin1Char('\n'), QStringLiteral("\r\n")).toStdString();
}

// The browser counts characters of the stored text, CR LF as two; Qt counts UTF-16 units of
// the shown text.
std::size_t StoredPosition(const QString& shown, int position) {
    const QString before = shown.left(position);
    return static_cast<std::size_t>(before.toUcs4().size() + before.count(QLatin1Char('\n')));
}

int ShownPosition(const std::string& stored, std::size_t position) {
    const std::u32string characters = DecodeText(stored);
    const std::u32string before = characters.substr(0, std::min(position, characters.size()));
    return static_cast<int>(ToDisplay(EncodeUtf8(before)).size());
}

} // namespace

frmOpenSave::frmOpenSave(LibraryBrowser& browser, UserPrompts& prompts, QWidget* parent)
    : QDialog(parent), browser_(&browser), prompts_(&prompts) {
    browser_->SetPrompts(prompts);
    setObjectName(QStringLiteral("frmOpenSave"));
    BuildWidgets();
    Connect();
    Mirror();
}

void frmOpenSave::BuildWidgets() {
    auto* nameLabel = new QLabel(QStringLiteral("&Name:"), this);
    Text1 = new QLineEdit(this);
    Text1->setObjectName(QStringLiteral("Text1"));
    nameLabel->setBuddy(Text1);
    lblNameRules = new QLabel(ToQt(kNameRules), this);
    lblNameRules->setObjectName(QStringLiteral("lblNameRules"));
    lblNameRules->setWordWrap(true);
    lblNameRules->setForegroundRole(QPalette::PlaceholderText);
    lblNameProblem = new QLabel(this);
    lblNameProblem->setObjectName(QStringLiteral("lblNameProblem"));
    lblNameProblem->setStyleSheet(QStringLiteral("color: #b71c1c;"));

    auto* descriptionLabel = new QLabel(QStringLiteral("&Description:"), this);
    RichTextBox1 = new QPlainTextEdit(this);
    RichTextBox1->setObjectName(QStringLiteral("RichTextBox1"));
    RichTextBox1->setContextMenuPolicy(Qt::CustomContextMenu);
    descriptionLabel->setBuddy(RichTextBox1);

    TreeView1 = new QTreeWidget(this);
    TreeView1->setObjectName(QStringLiteral("TreeView1"));
    TreeView1->setHeaderHidden(true);
    TreeView1->setContextMenuPolicy(Qt::CustomContextMenu);
    TreeView1->setEditTriggers(QAbstractItemView::EditKeyPressed |
                               QAbstractItemView::SelectedClicked);
    TreeView1->setMinimumWidth(260);

    btnOK = new QPushButton(this);
    btnOK->setObjectName(QStringLiteral("btnOK"));
    btnOK->setDefault(true);
    btnCancel = new QPushButton(this);
    btnCancel->setObjectName(QStringLiteral("btnCancel"));

    const auto action = [this](const std::string& caption, const char* name) {
        auto* item = new QAction(ToQt(caption), this);
        item->setObjectName(QString::fromLatin1(name));
        return item;
    };
    mAdd = action(browser_->mAdd.caption, "mAdd");
    mRename = action(browser_->mRename.caption, "mRename");
    mDelete = action(browser_->mDelete.caption, "mDelete");
    mCopy = action(browser_->mCopy.caption, "mCopy");
    mPaste = action(browser_->mPaste.caption, "mPaste");

    auto* left = new QVBoxLayout;
    left->addWidget(nameLabel);
    left->addWidget(Text1);
    left->addWidget(lblNameRules);
    left->addWidget(lblNameProblem);
    left->addSpacing(6);
    left->addWidget(descriptionLabel);
    left->addWidget(RichTextBox1, 1);

    auto* columns = new QHBoxLayout;
    columns->addLayout(left, 1);
    columns->addSpacing(8);
    columns->addWidget(TreeView1, 1);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(btnOK);
    buttons->addWidget(btnCancel);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(columns, 1);
    layout->addLayout(buttons);
    resize(620, 380);
}

void frmOpenSave::Connect() {
    connect(TreeView1, &QTreeWidget::currentItemChanged, this, [this](QTreeWidgetItem* item) {
        if (!syncing_ && item != nullptr) {
            Handle([this, item] { browser_->TreeView1_NodeClick(KeyOf(item)); });
        }
    });
    connect(TreeView1, &QTreeWidget::itemExpanded, this, [this](QTreeWidgetItem* item) {
        if (!syncing_) {
            Handle([this, item] { browser_->TreeView1_Expand(KeyOf(item), true); }, false);
        }
    });
    connect(TreeView1, &QTreeWidget::itemCollapsed, this, [this](QTreeWidgetItem* item) {
        if (!syncing_) {
            Handle([this, item] { browser_->TreeView1_Expand(KeyOf(item), false); }, false);
        }
    });
    // A finished in-place edit of a folder's name.
    connect(TreeView1, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem* item) {
        if (!syncing_) {
            Handle([this, item] {
                browser_->TreeView1_AfterLabelEdit(KeyOf(item), item->text(0).toStdString());
            });
        }
    });
    connect(TreeView1, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* item) {
        if (browser_->Mode() == kModeOpen && KeyOf(item).ends_with('Z')) {
            OK();
        }
    });
    connect(TreeView1, &QWidget::customContextMenuRequested, this, &frmOpenSave::ShowTreeMenu);

    connect(Text1, &QLineEdit::textEdited, this, [this](const QString& text) {
        Handle([this, &text] { browser_->Text1_Change(text.toStdString()); }, false);
        MirrorNameRules();
    });
    connect(RichTextBox1, &QPlainTextEdit::textChanged, this, [this] {
        if (!syncing_) {
            Handle(
                [this] { browser_->RichTextBox1_Change(FromDisplay(RichTextBox1->toPlainText())); },
                false);
        }
    });
    connect(RichTextBox1, &QPlainTextEdit::selectionChanged, this,
            &frmOpenSave::DescriptionSelectionChanged);
    connect(RichTextBox1, &QPlainTextEdit::cursorPositionChanged, this,
            &frmOpenSave::DescriptionSelectionChanged);
    connect(RichTextBox1, &QWidget::customContextMenuRequested, this,
            &frmOpenSave::ShowDescriptionMenu);

    connect(mAdd, &QAction::triggered, this,
            [this] { Handle([this] { browser_->mAdd_Click(); }); });
    connect(mRename, &QAction::triggered, this,
            [this] { Handle([this] { browser_->mRename_Click(); }); });
    connect(mDelete, &QAction::triggered, this,
            [this] { Handle([this] { browser_->mDelete_Click(); }); });
    connect(mCopy, &QAction::triggered, this, [this] {
        Handle([this] { QApplication::clipboard()->setText(ToQt(browser_->mCopy_Click())); });
    });
    connect(mPaste, &QAction::triggered, this, [this] {
        Handle([this] { browser_->mPaste_Click(QApplication::clipboard()->text().toStdString()); });
    });

    connect(btnOK, &QPushButton::clicked, this, &frmOpenSave::OK);
    connect(btnCancel, &QPushButton::clicked, this, &frmOpenSave::reject);
}

void frmOpenSave::Handle(const std::function<void()>& event, bool mirror) {
    if (const std::optional<std::string> failure = RunGuarded(event)) {
        prompts_->Inform(browser_->Caption, "Could not complete that: " + *failure,
                         PromptIcon::Exclamation);
    }
    if (mirror) {
        Mirror();
    }
}

void frmOpenSave::OK() {
    Handle([this] { browser_->btnOK_Click(); });
    if (browser_->Closed()) {
        accept();
    }
}

void frmOpenSave::reject() {
    browser_->btnCancel_Click();
    QDialog::reject();
}

void frmOpenSave::DescriptionSelectionChanged() {
    if (syncing_) {
        return;
    }
    const QTextCursor cursor = RichTextBox1->textCursor();
    const QString text = RichTextBox1->toPlainText();
    const std::size_t start = StoredPosition(text, cursor.selectionStart());
    const std::size_t end = StoredPosition(text, cursor.selectionEnd());
    Handle([this, start, end] { browser_->RichTextBox1_SelChange(start, end - start); }, false);
    mCopy->setEnabled(browser_->mCopy.enabled);
}

void frmOpenSave::MirrorNameRules() {
    const bool saving = browser_->Mode() != kModeOpen;
    lblNameRules->setVisible(saving);
    // An empty box is no mistake yet: the problem shows once something is typed.
    const std::string problem =
        saving && !browser_->Text1.empty() ? NameProblem(browser_->Text1) : std::string();
    lblNameProblem->setText(ToQt(problem));
    lblNameProblem->setVisible(!problem.empty());
}

void frmOpenSave::ShowTreeMenu(const QPoint& at) {
    // A right-click selects the node under the mouse first, so the menu acts on it.
    if (QTreeWidgetItem* item = TreeView1->itemAt(at)) {
        Handle([this, item] { browser_->TreeView1_NodeClick(KeyOf(item)); });
    }
    QMenu menu(this);
    menu.addAction(mAdd);
    menu.addAction(mRename);
    menu.addAction(mDelete);
    menu.exec(TreeView1->viewport()->mapToGlobal(at));
}

void frmOpenSave::ShowDescriptionMenu(const QPoint& at) {
    mPaste->setEnabled(!QApplication::clipboard()->text().isEmpty());
    QMenu menu(this);
    menu.addAction(mCopy);
    menu.addAction(mPaste);
    menu.exec(RichTextBox1->viewport()->mapToGlobal(at));
}

std::string frmOpenSave::KeyOf(const QTreeWidgetItem* item) {
    return item->data(0, Qt::UserRole).toString().toStdString();
}

QTreeWidgetItem* frmOpenSave::Item(const std::string& key) const {
    const auto it = items_.find(key);
    return it == items_.end() ? nullptr : it->second;
}

void frmOpenSave::MirrorTree() {
    TreeView1->clear();
    items_.clear();
    QStyle* style = this->style();
    const QIcon root = style->standardIcon(QStyle::SP_DriveHDIcon);
    const QIcon folder = style->standardIcon(QStyle::SP_DirIcon);
    const QIcon formula = style->standardIcon(QStyle::SP_FileIcon);
    for (const TreeNode& node : browser_->TreeView1.nodes) {
        QTreeWidgetItem* parent = Item(node.parent);
        auto* item =
            parent != nullptr ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(TreeView1);
        item->setText(0, ToQt(node.text));
        item->setData(0, Qt::UserRole, ToQt(node.key));
        item->setIcon(0, node.image == TreeImage::Root     ? root
                         : node.image == TreeImage::Folder ? folder
                                                           : formula);
        Qt::ItemFlags flags = Qt::ItemIsSelectable | Qt::ItemIsEnabled;
        if (browser_->TreeView1_BeforeLabelEdit(node.key)) {
            flags |= Qt::ItemIsEditable;
        }
        item->setFlags(flags);
        items_[node.key] = item;
    }
    shownRevision_ = browser_->TreeView1.revision;
}

void frmOpenSave::Mirror() {
    syncing_ = true;
    setWindowTitle(ToQt(browser_->Caption));
    btnOK->setText(ToQt(browser_->btnOK));
    btnCancel->setText(ToQt(browser_->btnCancel));

    if (shownRevision_ != browser_->TreeView1.revision) {
        MirrorTree();
    }
    for (const TreeNode& node : browser_->TreeView1.nodes) {
        if (QTreeWidgetItem* item = Item(node.key)) {
            item->setText(0, ToQt(node.text)); // a refused rename shows the old name again
            item->setExpanded(node.expanded);
        }
    }
    QTreeWidgetItem* selected = Item(browser_->TreeView1.selected);
    TreeView1->setCurrentItem(selected);
    if (selected == nullptr) {
        TreeView1->clearSelection();
    }

    if (Text1->text().toStdString() != browser_->Text1) {
        Text1->setText(ToQt(browser_->Text1));
    }
    const DescriptionBox& box = browser_->RichTextBox1;
    if (RichTextBox1->toPlainText() != ToDisplay(box.text)) {
        RichTextBox1->setPlainText(ToDisplay(box.text));
        QTextCursor cursor = RichTextBox1->textCursor();
        cursor.setPosition(ShownPosition(box.text, box.selStart));
        cursor.setPosition(ShownPosition(box.text, box.selStart + box.selLength),
                           QTextCursor::KeepAnchor);
        RichTextBox1->setTextCursor(cursor);
    }

    mAdd->setEnabled(browser_->mAdd.enabled);
    mRename->setEnabled(browser_->mRename.enabled);
    mDelete->setEnabled(browser_->mDelete.enabled);
    mCopy->setEnabled(browser_->mCopy.enabled);
    MirrorNameRules();
    syncing_ = false;

    if (!browser_->EditingKey.empty()) {
        const std::string key = browser_->EditingKey;
        browser_->EditingKey.clear();
        // The edit starts once the current event (maybe the end of the last edit) is over.
        QTimer::singleShot(0, this, [this, key] {
            if (QTreeWidgetItem* item = Item(key)) {
                TreeView1->scrollToItem(item);
                TreeView1->setCurrentItem(item);
                TreeView1->editItem(item);
            }
        });
    }
}

} // namespace marlindex
