#include "filter/frmFilter.h"

#include "startup/EventGuard.h"

#include <QAction>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QPushButton>
#include <QSignalBlocker>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>
#include <QVBoxLayout>
#include <optional>

namespace marlindex {

namespace {

constexpr int kKeyRole = Qt::UserRole;
constexpr int kImageSize = 16;

QString ToQt(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

std::string KeyOf(const QTreeWidgetItem* item) {
    return item == nullptr ? std::string() : item->data(0, kKeyRole).toString().toStdString();
}

// A transparent square to draw one picture of the image list on.
QPixmap Canvas() {
    QPixmap pixmap(kImageSize, kImageSize);
    pixmap.fill(Qt::transparent);
    return pixmap;
}

QIcon DrawFolder(bool open) {
    QPixmap pixmap = Canvas();
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(0x9a, 0x6a, 0x10), 1));
    painter.setBrush(QColor(0xe8, 0xb0, 0x3c));
    QPainterPath back;
    back.moveTo(1.5, 3.5);
    back.lineTo(6, 3.5);
    back.lineTo(7.5, 5);
    back.lineTo(14.5, 5);
    back.lineTo(14.5, 13.5);
    back.lineTo(1.5, 13.5);
    back.closeSubpath();
    painter.drawPath(back);
    painter.setBrush(QColor(0xf8, 0xd4, 0x78));
    if (open) {
        // The front flap tilts forward.
        painter.drawPolygon(QPolygonF(
            {QPointF(3.5, 7.5), QPointF(15.5, 7.5), QPointF(13.5, 13.5), QPointF(1.5, 13.5)}));
    } else {
        painter.drawRect(QRectF(1.5, 6.5, 13, 7));
    }
    return QIcon(pixmap);
}

QIcon DrawFunnel() {
    QPixmap pixmap = Canvas();
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(0x1f, 0x4e, 0x8c), 1));
    painter.setBrush(QColor(0x5b, 0x8f, 0xd6));
    painter.drawPolygon(QPolygonF({QPointF(1.5, 2.5), QPointF(14.5, 2.5), QPointF(9.5, 8.5),
                                   QPointF(9.5, 14), QPointF(6.5, 12.5), QPointF(6.5, 8.5)}));
    return QIcon(pixmap);
}

} // namespace

// Reports the text of a finished in-place edit instead of writing it into the item: the state
// decides whether the new name is taken.
class LabelEditDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void setModelData(QWidget* editor, QAbstractItemModel*, const QModelIndex&) const override {
        if (const auto* line = qobject_cast<QLineEdit*>(editor)) {
            committed_ = line->text();
        }
    }
    // The committed text, none when the edit was cancelled.
    std::optional<QString> TakeCommitted() {
        std::optional<QString> text;
        text.swap(committed_);
        return text;
    }

private:
    mutable std::optional<QString> committed_;
};

QIcon frmFilter::MarkImage(int mark) {
    QPixmap pixmap = Canvas();
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor tint = mark == kIncluded   ? QColor(0xe3, 0xf6, 0xe5)
                        : mark == kExcluded ? QColor(0xfb, 0xe4, 0xe4)
                                            : QColor(Qt::white);
    painter.setPen(QPen(QColor(0x6e, 0x6e, 0x6e), 1));
    painter.setBrush(tint);
    painter.drawRoundedRect(QRectF(1.5, 1.5, 13, 13), 2, 2);
    if (mark == kIncluded) {
        painter.setPen(
            QPen(QColor(0x1b, 0x8a, 0x2f), 2.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawPolyline(QPolygonF({QPointF(4.2, 8.3), QPointF(7, 11.2), QPointF(12, 4.8)}));
    } else if (mark == kExcluded) {
        painter.setPen(QPen(QColor(0xc6, 0x28, 0x28), 2.2, Qt::SolidLine, Qt::RoundCap));
        painter.drawLine(QPointF(4.8, 4.8), QPointF(11.2, 11.2));
        painter.drawLine(QPointF(11.2, 4.8), QPointF(4.8, 11.2));
    }
    return QIcon(pixmap);
}

frmFilter::frmFilter(FilterTree& state, UserPrompts& prompts, QWidget* parent)
    : QDialog(parent), state_(state), prompts_(prompts) {
    markImages_ = {MarkImage(kUnmarked), MarkImage(kIncluded), MarkImage(kExcluded)};
    rootImage_ = DrawFunnel();
    categoryImage_ = DrawFolder(false);
    openCategoryImage_ = DrawFolder(true);
    CreateControls();
    if (!state_.IsLoaded()) {
        state_.Form_Load(prompts_);
    }
    Mirror();
}

void frmFilter::CreateControls() {
    setObjectName(QStringLiteral("frmFilter"));
    setWindowTitle(ToQt(FilterTree::kCaption));

    TreeView1 = new QTreeWidget(this);
    TreeView1->setObjectName(QStringLiteral("TreeView1"));
    TreeView1->setHeaderHidden(true);
    TreeView1->setColumnCount(1);
    TreeView1->setIconSize(QSize(kImageSize, kImageSize));
    TreeView1->setEditTriggers(QAbstractItemView::NoEditTriggers); // editing starts from the menu
    TreeView1->setContextMenuPolicy(Qt::PreventContextMenu);       // the menu opens on release
    labelEdit_ = new LabelEditDelegate(TreeView1);
    TreeView1->setItemDelegate(labelEdit_);
    TreeView1->viewport()->installEventFilter(this);

    btnOK = new QPushButton(QStringLiteral("OK"), this);
    btnOK->setObjectName(QStringLiteral("btnOK"));
    btnCancel = new QPushButton(QStringLiteral("&Cancel"), this);
    btnCancel->setObjectName(QStringLiteral("btnCancel"));
    btnImport = new QPushButton(QStringLiteral("Import..."), this);
    btnImport->setObjectName(QStringLiteral("btnImport"));
    btnImport->setToolTip(ToQt(FilterTree::kImportToolTip));
    for (QPushButton* button : {btnOK, btnCancel, btnImport}) {
        button->setAutoDefault(false); // Enter belongs to the label editor
        button->setMinimumWidth(96);
    }

    fraHint = new QGroupBox(this);
    fraHint->setObjectName(QStringLiteral("fraHint"));
    auto* hint = new QLabel(ToQt(FilterTree::kHint), fraHint);
    hint->setObjectName(QStringLiteral("lblHint"));
    auto* hintLayout = new QVBoxLayout(fraHint);
    hintLayout->setContentsMargins(8, 4, 8, 4);
    hintLayout->addWidget(hint);

    auto* buttons = new QVBoxLayout;
    buttons->addWidget(btnOK);
    buttons->addWidget(btnCancel);
    buttons->addStretch(1);
    buttons->addWidget(btnImport);
    auto* top = new QHBoxLayout;
    top->addWidget(TreeView1, 1);
    top->addLayout(buttons);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top, 1);
    layout->addWidget(fraHint);
    resize(440, 480);

    mFile = new QMenu(this);
    mFile->setObjectName(QStringLiteral("mFile"));
    const auto addMenuItem = [this](const char* name, const FilterMenuItem& item) {
        QAction* action = mFile->addAction(ToQt(item.caption));
        action->setObjectName(QString::fromLatin1(name));
        return action;
    };
    mAdd = addMenuItem("mAdd", state_.mAdd);
    mDelete = addMenuItem("mDelete", state_.mDelete);
    mUncheckAll = addMenuItem("mUncheckAll", state_.mUncheckAll);
    mEdit = addMenuItem("mEdit", state_.mEdit);

    connect(mAdd, &QAction::triggered, this, [this] { Handle([this] { state_.mAdd_Click(); }); });
    connect(mDelete, &QAction::triggered, this,
            [this] { Handle([this] { state_.mDelete_Click(prompts_); }); });
    connect(mUncheckAll, &QAction::triggered, this,
            [this] { Handle([this] { state_.mUncheckAll_Click(); }); });
    connect(mEdit, &QAction::triggered, this, [this] { Handle([this] { state_.mEdit_Click(); }); });

    connect(btnOK, &QPushButton::clicked, this, &frmFilter::btnOK_Click);
    connect(btnCancel, &QPushButton::clicked, this, &frmFilter::reject);
    connect(btnImport, &QPushButton::clicked, this,
            [this] { Handle([this] { state_.btnImport_Click(prompts_); }); });

    // The left button's release has been seen by the event filter before the click arrives.
    connect(TreeView1, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem* item) {
        Handle([this, item] { state_.TreeView1_NodeClick(KeyOf(item)); });
    });
    connect(TreeView1, &QTreeWidget::itemExpanded, this, [this](QTreeWidgetItem* item) {
        Handle([this, item] { state_.TreeView1_Expand(KeyOf(item)); });
    });
    connect(TreeView1, &QTreeWidget::itemCollapsed, this, [this](QTreeWidgetItem* item) {
        Handle([this, item] { state_.TreeView1_Collapse(KeyOf(item)); });
    });
    connect(TreeView1, &QTreeWidget::currentItemChanged, this,
            [this](QTreeWidgetItem* current) { state_.TreeView1.selectedKey = KeyOf(current); });
    connect(labelEdit_, &QAbstractItemDelegate::closeEditor, this, [this] {
        // After the view has closed its editor, so that a message box finds a quiet tree.
        QTimer::singleShot(0, this, &frmFilter::LabelEditFinished);
    });
}

bool frmFilter::eventFilter(QObject* watched, QEvent* event) {
    if (watched == TreeView1->viewport() && event->type() == QEvent::MouseButtonRelease) {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        const int button = mouse->button() == Qt::LeftButton    ? 1
                           : mouse->button() == Qt::RightButton ? 2
                                                                : 4;
        const QPoint at = mouse->position().toPoint();
        bool popup = false;
        const std::string key = KeyOf(TreeView1->itemAt(at));
        // After the left button the click that follows shows the state.
        Handle([this, button, &key, &popup] { popup = state_.TreeView1_MouseUp(button, key); },
               false);
        if (popup || button != 1) {
            Mirror();
        }
        if (popup) {
            mFile->popup(TreeView1->viewport()->mapToGlobal(at));
        }
    }
    return QDialog::eventFilter(watched, event);
}

void frmFilter::Handle(const std::function<void()>& event, bool mirror) {
    if (const std::optional<std::string> failure = RunGuarded(event)) {
        prompts_.Inform(std::string(FilterTree::kCaption), "Could not complete that: " + *failure,
                        PromptIcon::Exclamation);
    }
    if (mirror) {
        Mirror();
    }
}

void frmFilter::btnOK_Click() {
    bool closes = false;
    Handle([this, &closes] { closes = state_.btnOK_Click(prompts_); });
    if (closes) {
        accept();
    }
}

void frmFilter::reject() {
    state_.btnCancel_Click();
    QDialog::reject();
}

void frmFilter::LabelEditFinished() {
    editorOpen_ = false;
    const std::optional<QString> text = labelEdit_->TakeCommitted();
    Handle([this, &text] {
        state_.TreeView1_AfterLabelEdit(!text, text ? text->toStdString() : std::string(),
                                        prompts_);
    });
}

QTreeWidgetItem* frmFilter::FindNode(const std::string& key) const {
    if (key.empty()) {
        return nullptr;
    }
    for (QTreeWidgetItemIterator it(TreeView1); *it != nullptr; ++it) {
        if (KeyOf(*it) == key) {
            return *it;
        }
    }
    return nullptr;
}

namespace {

// Gives `parent` exactly the children `keys`, in order. Children are made again only when the
// keys differ (after Add or Delete), so the view keeps its scroll position on a mark change.
void SyncChildren(QTreeWidgetItem* parent, const std::vector<std::string>& keys) {
    bool same = parent->childCount() == static_cast<int>(keys.size());
    for (int i = 0; same && i < parent->childCount(); ++i) {
        same = KeyOf(parent->child(i)) == keys[static_cast<std::size_t>(i)];
    }
    if (same) {
        return;
    }
    qDeleteAll(parent->takeChildren());
    for (const std::string& key : keys) {
        auto* child = new QTreeWidgetItem(parent);
        child->setData(0, kKeyRole, QString::fromStdString(key));
    }
}

} // namespace

void frmFilter::MirrorTree() {
    const FilterTreeView& tree = state_.TreeView1;
    if (!tree.hasRoot) {
        TreeView1->clear();
        return;
    }
    if (TreeView1->topLevelItemCount() == 0) {
        auto* root = new QTreeWidgetItem(TreeView1);
        root->setData(0, kKeyRole, ToQt(FilterTree::kRootKey));
    }
    QTreeWidgetItem* root = TreeView1->topLevelItem(0);
    root->setText(0, ToQt(FilterTree::kRootText));
    root->setIcon(0, rootImage_);

    std::vector<std::string> categoryKeys;
    for (const FilterTreeCategory& category : tree.categories) {
        categoryKeys.push_back(category.key);
    }
    SyncChildren(root, categoryKeys);
    root->setExpanded(tree.rootExpanded);

    for (int c = 0; c < root->childCount(); ++c) {
        const FilterTreeCategory& category = tree.categories[static_cast<std::size_t>(c)];
        QTreeWidgetItem* node = root->child(c);
        node->setText(0, ToQt(category.text));
        node->setIcon(0, category.expanded ? openCategoryImage_ : categoryImage_);
        std::vector<std::string> itemKeys;
        for (const FilterTreeItem& item : category.items) {
            itemKeys.push_back(item.key);
        }
        SyncChildren(node, itemKeys);
        for (int i = 0; i < node->childCount(); ++i) {
            const FilterTreeItem& item = category.items[static_cast<std::size_t>(i)];
            QTreeWidgetItem* child = node->child(i);
            child->setText(0, ToQt(item.text));
            const auto image = static_cast<std::size_t>(item.image);
            child->setIcon(0, markImages_[image < markImages_.size() ? image : 0]);
            child->setFlags(child->flags() | Qt::ItemIsEditable);
        }
        node->setExpanded(category.expanded);
    }
}

void frmFilter::Mirror() {
    {
        const QSignalBlocker blocker(TreeView1);
        MirrorTree();
        if (QTreeWidgetItem* selected = FindNode(state_.TreeView1.selectedKey)) {
            TreeView1->setCurrentItem(selected);
        } else {
            TreeView1->setCurrentItem(nullptr);
        }
    }
    mAdd->setEnabled(state_.mAdd.enabled);
    mDelete->setEnabled(state_.mDelete.enabled);
    mUncheckAll->setEnabled(state_.mUncheckAll.enabled);
    mEdit->setEnabled(state_.mEdit.enabled);

    if (!editorOpen_ && !state_.TreeView1.editingKey.empty()) {
        if (QTreeWidgetItem* item = FindNode(state_.TreeView1.editingKey)) {
            editorOpen_ = true;
            TreeView1->scrollToItem(item);
            TreeView1->editItem(item, 0);
        }
    }
}

} // namespace marlindex
