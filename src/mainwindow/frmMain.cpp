#include "mainwindow/frmMain.h"

#include "about/AboutInfo.h"
#include "about/frmAbout.h"
#include "about/frmHelp.h"
#include "amibroker/LocalBroker.h"
#include "app/FormSupport.h"
#include "filter/FilterTree.h"
#include "filter/frmFilter.h"
#include "library/FormulaComment.h"
#include "library/frmOpenSave.h"
#include "mainwindow/MainWindowFiles.h"
#include "preferences/frmPreferences.h"
#include "quotes/QuoteStore.h"
#include "quotes/frmImportQuotes.h"
#include "startup/EventGuard.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QCloseEvent>
#include <QComboBox>
#include <QCompleter>
#include <QDate>
#include <QFontDatabase>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMouseEvent>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QSplitter>
#include <QStatusBar>
#include <QStringListModel>
#include <QStyle>
#include <QTableWidget>
#include <QTextCursor>
#include <QTextEdit>
#include <QToolBar>
#include <QVBoxLayout>
#include <filesystem>

namespace marlindex {

namespace {

std::string S(const QString& text) {
    return text.toStdString();
}

QComboBox* NewCombo(const char* name) {
    auto* combo = Named(new QComboBox, name);
    combo->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    combo->setMinimumContentsLength(12);
    return combo;
}

QLineEdit* NewField(const char* name, int width) {
    auto* field = Named(new QLineEdit, name);
    field->setMaximumWidth(width);
    return field;
}

// Copies one combo box's state onto its widget, touching the widget only where they differ
// so that an open list or the user's place in it is not disturbed.
void MirrorCombo(QComboBox* widget, const ComboBox& combo) {
    bool same = widget->count() == static_cast<int>(combo.items.size());
    for (int i = 0; same && i < widget->count(); ++i) {
        const ComboItem& item = combo.items[static_cast<std::size_t>(i)];
        same = widget->itemText(i) == Q(item.text) && widget->itemData(i).toInt() == item.data;
    }
    if (!same) {
        widget->clear();
        for (const ComboItem& item : combo.items) {
            widget->addItem(Q(item.text), item.data);
        }
    }
    if (widget->currentIndex() != combo.selected) {
        widget->setCurrentIndex(combo.selected);
    }
    // A box the condition does not use keeps its place, greyed, so the editor never changes
    // height and the grid below it never moves under the mouse.
    widget->setEnabled(combo.enabled && combo.visible);
}

void MirrorField(QLineEdit* widget, const TextBox& box) {
    if (widget->text() != Q(box.text)) {
        widget->setText(Q(box.text));
    }
    widget->setEnabled(box.enabled && box.visible);
}

void MirrorAction(QAction* action, const MenuItem& item) {
    action->setEnabled(item.enabled);
    action->setChecked(item.checked);
}

QColor ToColor(std::uint32_t rgb) {
    return QColor(static_cast<int>((rgb >> 16) & 0xFF), static_cast<int>((rgb >> 8) & 0xFF),
                  static_cast<int>(rgb & 0xFF));
}

} // namespace

frmMain::BoxText frmMain::ToBoxText(const std::string& utf8, const std::vector<FormatRun>& runs) {
    // Offsets of the model count characters (code points); the box counts UTF-16 units and
    // has no CR. Map each model character to its place in the box.
    const std::u32string model = QString::fromStdString(utf8).toStdU32String();
    std::vector<std::size_t> boxOffset(model.size() + 1, 0);
    std::u32string kept;
    std::size_t offset = 0;
    for (std::size_t i = 0; i < model.size(); ++i) {
        boxOffset[i] = offset;
        const bool crBeforeLf = model[i] == U'\r' && i + 1 < model.size() && model[i + 1] == U'\n';
        if (!crBeforeLf) {
            kept.push_back(model[i]);
            offset += model[i] > 0xFFFF ? 2U : 1U;
        }
    }
    boxOffset[model.size()] = offset;

    BoxText box;
    box.text = QString::fromStdU32String(kept);
    for (const FormatRun& run : runs) {
        const std::size_t start = std::min(run.start, model.size());
        const std::size_t end = std::min(run.start + run.length, model.size());
        if (boxOffset[end] > boxOffset[start]) {
            box.runs.push_back({boxOffset[start], boxOffset[end] - boxOffset[start], run.format});
        }
    }
    return box;
}

frmMain::frmMain(MainWindowState& state, Services services, QWidget* parent)
    : QMainWindow(parent), state_(&state), services_(std::move(services)) {
    setObjectName(QStringLiteral("frmMain"));
    if (services_.prompts != nullptr) {
        files_ = std::make_unique<MainWindowFiles>(
            *state_, services_.programFolder, *services_.prompts, [this](LibraryBrowser& browser) {
                frmOpenSave dialog(browser, *services_.prompts, this);
                dialog.exec();
            });
    }

    BuildMenus();
    BuildToolbar();

    auto* central = new QWidget;
    auto* layout = new QVBoxLayout(central);
    layout->addWidget(BuildEditor());

    // The grid and the formula share the height; the run options stand beside both.
    auto* splitter = Named(new QSplitter(Qt::Vertical), "splitter");
    splitter->addWidget(BuildGrid());
    txtForumlae_ = Named(new QTextEdit, "txtForumlae");
    // Regeneration rewrites the whole text, so editing by hand would be lost: the box shows
    // the formula and lets it be selected and copied.
    txtForumlae_->setReadOnly(true);
    txtForumlae_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    txtForumlae_->setLineWrapMode(QTextEdit::NoWrap);
    txtForumlae_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    txtForumlae_->setPlaceholderText(
        tr("The formula appears here as you choose an indicator and a comparison."));
    auto* formulaBox = Named(new QGroupBox(tr("Formula")), "fraFormula");
    auto* formulaLayout = new QVBoxLayout(formulaBox);
    formulaLayout->addWidget(txtForumlae_);
    splitter->addWidget(formulaBox);
    splitter->setChildrenCollapsible(false);
    splitter->setSizes({330, 270});

    auto* lower = new QHBoxLayout;
    lower->addWidget(splitter, 1);
    lower->addWidget(BuildRunOptions());
    layout->addLayout(lower, 1);
    setCentralWidget(central);

    ConnectEditor();
    SetTabOrder();
    // The row's status takes the width of the line and gives way first (its whole text is in
    // the tool tip); the short red summary of unfinished rows keeps its place on the right.
    rowStatus_ = Named(new QLabel, "lblRowStatus");
    rowStatus_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    statusBar()->addWidget(rowStatus_, 1);
    issues_ = Named(new QLabel, "lblIssues");
    issues_->setStyleSheet(QStringLiteral("color: #b71c1c;"));
    statusBar()->addPermanentWidget(issues_);
    if (services_.filter != nullptr) {
        // The filter dialog publishes its expression after every load (at start, after a
        // switch of database) and after OK; the formula follows each at once, and only OK is
        // a step of the user's.
        services_.filter->SetExpressionListener([this](const std::string& expression, bool chosen) {
            Handle([&](MainWindowState& w) {
                chosen ? w.FilterChosen(expression) : w.FilterReloaded(expression);
            });
            ShowFilterNote();
        });
        state_->FilterReloaded(services_.filter->FilterExpression());
        ShowFilterNote();
    }
    resize(1060, 720);
    ReloadSymbols();
    Mirror();
}

frmMain::~frmMain() {
    // The remembered library record and the dialog callback go before the window does.
    files_.reset();
    if (services_.filter != nullptr) {
        services_.filter->SetExpressionListener({});
    }
}

// ---- building ----

void frmMain::BuildMenus() {
    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->setObjectName(QStringLiteral("mFile"));
    mNew_ = Named(file->addAction(tr("&New")), "mNew");
    mNew_->setShortcut(QKeySequence::New);
    mNew_->setStatusTip(tr("Clear all conditions and start a new formula"));
    mOpen_ = Named(file->addAction(tr("&Open...")), "mOpen");
    mOpen_->setShortcut(QKeySequence::Open);
    mSave_ = Named(file->addAction(tr("&Save")), "mSave");
    mSave_->setShortcut(QKeySequence::Save);
    mSaveAs_ = Named(file->addAction(tr("Save &As...")), "mSaveAs");
    file->addSeparator();
    mCopy_ = Named(file->addAction(tr("&Copy")), "mCopy");
    mCopy_->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C));
    mCopy_->setStatusTip(tr("Copy the formula, with a comment listing the conditions"));
    file->addSeparator();
    mImportQuotes_ = Named(file->addAction(tr("&Import quotes...")), "mImportQuotes");
    mImportQuotes_->setStatusTip(tr("Import price files and a symbols file into the database"));
    // AmiBroker imports its own quotes; the local host's database is the program's to fill.
    mImportQuotes_->setEnabled(LocalHost() != nullptr);
    connect(mImportQuotes_, &QAction::triggered, this, [this] { ShowImportQuotes(); });
    mPreferences_ = Named(file->addAction(tr("&Preferences...")), "mPreferences");
    file->addSeparator();
    mExit_ = Named(file->addAction(tr("E&xit")), "mExit");
    mExit_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));

    for (QAction* library : {mOpen_, mSave_, mSaveAs_}) {
        library->setEnabled(files_ != nullptr);
    }
    mOpen_->setStatusTip(tr("Open a formula from the library"));
    mSave_->setStatusTip(tr("Save the formula in the library"));
    mSaveAs_->setStatusTip(tr("Save the formula in the library under a new name"));
    connect(mOpen_, &QAction::triggered, this,
            [this] { FileCommand([](MainWindowFiles& files) { files.mOpen_Click(); }); });
    connect(mSave_, &QAction::triggered, this,
            [this] { FileCommand([](MainWindowFiles& files) { files.mSave_Click(); }); });
    connect(mSaveAs_, &QAction::triggered, this,
            [this] { FileCommand([](MainWindowFiles& files) { files.mSaveAs_Click(); }); });
    mPreferences_->setEnabled(services_.settings != nullptr);
    mPreferences_->setStatusTip(tr("Set the default periods and arrays of the indicators"));
    connect(mPreferences_, &QAction::triggered, this, [this] { ShowPreferences(); });

    connect(mNew_, &QAction::triggered, this, [this] {
        if (files_ != nullptr) {
            FileCommand([](MainWindowFiles& files) { files.mNew_Click(); });
        } else {
            Handle([](MainWindowState& w) { w.btnClearAll_Click(); });
        }
    });
    connect(mCopy_, &QAction::triggered, this, [this] { CopyFormula(); });
    connect(mExit_, &QAction::triggered, this, &QWidget::close);

    QMenu* edit = menuBar()->addMenu(tr("&Edit"));
    edit->setObjectName(QStringLiteral("mEdit"));
    mUndo_ = Named(edit->addAction(tr("&Undo")), "mUndo");
    mUndo_->setShortcut(QKeySequence::Undo);
    mUndo_->setStatusTip(tr("Take back the last change of the conditions, options or filter"));
    mRedo_ = Named(edit->addAction(tr("&Redo")), "mRedo");
    // Ctrl+Y everywhere, and the platform's own redo key where that is another one (Ctrl+Y
    // twice would make the key ambiguous and do nothing).
    QList<QKeySequence> redoKeys{QKeySequence(Qt::CTRL | Qt::Key_Y)};
    for (const QKeySequence& key : QKeySequence::keyBindings(QKeySequence::Redo)) {
        if (!redoKeys.contains(key)) {
            redoKeys.append(key);
        }
    }
    mRedo_->setShortcuts(redoKeys);
    mRedo_->setStatusTip(tr("Make the change taken back again"));
    connect(mUndo_, &QAction::triggered, this,
            [this] { Handle([](MainWindowState& w) { w.Undo(); }); });
    connect(mRedo_, &QAction::triggered, this,
            [this] { Handle([](MainWindowState& w) { w.Redo(); }); });

    QMenu* view = menuBar()->addMenu(tr("&View"));
    view->setObjectName(QStringLiteral("mView"));
    mMOS_ = Named(view->addAction(Q(state_->mMOS.caption)), "mMOS");
    mICWC_ = Named(view->addAction(Q(state_->mICWC.caption)), "mICWC");
    mWITB_ = Named(view->addAction(Q(state_->mWITB.caption)), "mWITB");
    for (QAction* item : {mMOS_, mICWC_, mWITB_}) {
        item->setCheckable(true);
    }
    connect(mMOS_, &QAction::triggered, this,
            [this] { Handle([](MainWindowState& w) { w.mMOS_Click(); }); });
    connect(mICWC_, &QAction::triggered, this,
            [this] { Handle([](MainWindowState& w) { w.mICWC_Click(); }); });
    // With no analysis application to float over, the window keeps its own task bar button
    // either way; the switch is stored for when it has one.
    connect(mWITB_, &QAction::triggered, this,
            [this] { Handle([](MainWindowState& w) { w.mWITB_Click(); }); });

    QMenu* help = menuBar()->addMenu(tr("&Help"));
    help->setObjectName(QStringLiteral("mHelp"));
    mHelpContents_ = Named(help->addAction(tr("&User Guide")), "mHelpContents");
    mHelpContents_->setShortcut(QKeySequence::HelpContents);
    mReadMe_ = Named(help->addAction(tr("&Read Me")), "mReadMe");
    help->addSeparator();
    mAbout_ = Named(help->addAction(tr("&About Marlindex...")), "mAbout");
    connect(mHelpContents_, &QAction::triggered, this,
            [this] { OpenHelpFile(kUserGuideFile, tr("user guide")); });
    connect(mReadMe_, &QAction::triggered, this,
            [this] { OpenHelpFile(kReadMeFile, tr("read-me page")); });
    connect(mAbout_, &QAction::triggered, this, [this] { ShowAbout(); });

    // The grid's context menu is not on the menu bar; it pops up over the grid.
    mMSFlex_ = Named(new QMenu(tr("MSFlex"), this), "mMSFlex");
    mAND_ = Named(mMSFlex_->addAction(Q(state_->mAND.caption)), "mAND");
    mOR_ = Named(mMSFlex_->addAction(Q(state_->mOR.caption)), "mOR");
    mMSFlex_->addSeparator();
    mAddLeftBracket_ =
        Named(mMSFlex_->addAction(Q(state_->mAddLeftBracket.caption)), "mAddLeftBracket");
    mRemoveLeftBracket_ =
        Named(mMSFlex_->addAction(Q(state_->mRemoveLeftBracket.caption)), "mRemoveLeftBracket");
    mAddRightBracket_ =
        Named(mMSFlex_->addAction(Q(state_->mAddRightBracket.caption)), "mAddRightBracket");
    mRemoveRightBracket_ =
        Named(mMSFlex_->addAction(Q(state_->mRemoveRightBracket.caption)), "mRemoveRightBracket");
    mAND_->setCheckable(true);
    mOR_->setCheckable(true);
    connect(mAND_, &QAction::triggered, this,
            [this] { Handle([](MainWindowState& w) { w.mAND_Click(); }); });
    connect(mOR_, &QAction::triggered, this,
            [this] { Handle([](MainWindowState& w) { w.mOR_Click(); }); });
    connect(mAddLeftBracket_, &QAction::triggered, this,
            [this] { Handle([](MainWindowState& w) { w.mAddLeftBracket_Click(); }); });
    connect(mRemoveLeftBracket_, &QAction::triggered, this,
            [this] { Handle([](MainWindowState& w) { w.mRemoveLeftBracket_Click(); }); });
    connect(mAddRightBracket_, &QAction::triggered, this,
            [this] { Handle([](MainWindowState& w) { w.mAddRightBracket_Click(); }); });
    connect(mRemoveRightBracket_, &QAction::triggered, this,
            [this] { Handle([](MainWindowState& w) { w.mRemoveRightBracket_Click(); }); });
}

void frmMain::BuildToolbar() {
    Toolbar1_ = Named(addToolBar(tr("Toolbar")), "Toolbar1");
    Toolbar1_->setMovable(false);
    Toolbar1_->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    const auto add = [this](QAction* command, const QString& text, QStyle::StandardPixmap icon) {
        command->setIcon(style()->standardIcon(icon));
        command->setIconText(text);
        Toolbar1_->addAction(command);
    };
    add(mNew_, tr("New"), QStyle::SP_FileIcon);
    add(mOpen_, tr("Open"), QStyle::SP_DialogOpenButton);
    add(mSave_, tr("Save"), QStyle::SP_DialogSaveButton);
    add(mCopy_, tr("Copy"), QStyle::SP_FileDialogDetailedView);
    add(mPreferences_, tr("Preferences"), QStyle::SP_FileDialogInfoView);
}

QWidget* frmMain::BuildEditor() {
    cboIA1_ = NewCombo("cboIA1");
    cboED1_ = NewCombo("cboED1");
    txtTP1_ = NewField("txtTP1", 70);
    lblTP1_ = Named(new QLabel, "lblTP1");
    chkModify1_ = Named(new QCheckBox(tr("Modify Value:")), "chkModify1");
    cboModify1_ = NewCombo("cboModify1");
    txtModify1_ = NewField("txtModify1", 90);
    lblModify1_ = Named(new QLabel, "lblModify1");

    cboCO_ = NewCombo("cboCO");
    cboCT_ = NewCombo("cboCT");

    cboIA2_ = NewCombo("cboIA2");
    cboED2_ = NewCombo("cboED2");
    txtTP2_ = NewField("txtTP2", 70);
    lblTP2_ = Named(new QLabel, "lblTP2");
    chkModify2_ = Named(new QCheckBox(tr("Modify Value:")), "chkModify2");
    cboModify2_ = NewCombo("cboModify2");
    cboModifyED2_ = NewCombo("cboModifyED2");
    txtModify2_ = NewField("txtModify2", 90);
    lblModify2_ = Named(new QLabel, "lblModify2");
    txtVal1_ = NewField("txtVal1", 110);
    lblVal1_ = Named(new QLabel, "lblVal1");

    // The bar label's caption changes with the comparison ("1st Bar:", "Bars:"); its width
    // does not, so the field beside it stays where it is.
    lblTP1_->setMinimumWidth(lblTP1_->fontMetrics().horizontalAdvance(QStringLiteral("1st Bar:")) +
                             4);
    lblTP1_->setBuddy(txtTP1_);
    lblTP2_->setBuddy(txtTP2_);
    lblModify1_->setBuddy(txtModify1_);
    lblModify2_->setBuddy(txtModify2_);
    lblVal1_->setBuddy(txtVal1_);
    txtTP1_->setToolTip(tr("Bars ago: 0 is the current bar"));
    txtTP2_->setToolTip(tr("Bars ago of indicator 2"));
    txtVal1_->setToolTip(tr("The value indicator 1 is compared with"));

    // Alt+1, Alt+M and Alt+2 take the focus into the three frames.
    auto* frame1 = Named(new QGroupBox(tr("Indicator &1")), "fraIndicator1");
    auto* grid1 = new QGridLayout(frame1);
    grid1->addWidget(cboIA1_, 0, 0, 1, 3);
    grid1->addWidget(cboED1_, 1, 0, 1, 3);
    grid1->addWidget(lblTP1_, 2, 0);
    grid1->addWidget(txtTP1_, 2, 1);
    grid1->addWidget(chkModify1_, 3, 0);
    grid1->addWidget(cboModify1_, 3, 1, 1, 2);
    grid1->addWidget(lblModify1_, 4, 0);
    grid1->addWidget(txtModify1_, 4, 1);
    grid1->setColumnStretch(2, 1);
    grid1->setRowStretch(5, 1);

    auto* frameCO = Named(new QGroupBox(tr("Co&mparison operator/type")), "fraComparison");
    auto* gridCO = new QVBoxLayout(frameCO);
    gridCO->addWidget(cboCO_);
    gridCO->addWidget(cboCT_);
    gridCO->addStretch(1);

    auto* frame2 = Named(new QGroupBox(tr("Indicator &2")), "fraIndicator2");
    auto* grid2 = new QGridLayout(frame2);
    grid2->addWidget(cboIA2_, 0, 0, 1, 4);
    grid2->addWidget(cboED2_, 1, 0, 1, 4);
    grid2->addWidget(lblTP2_, 2, 0);
    grid2->addWidget(txtTP2_, 2, 1);
    grid2->addWidget(lblVal1_, 2, 2, Qt::AlignRight);
    grid2->addWidget(txtVal1_, 2, 3);
    grid2->addWidget(chkModify2_, 3, 0);
    grid2->addWidget(cboModify2_, 3, 1, 1, 2);
    grid2->addWidget(cboModifyED2_, 3, 3);
    grid2->addWidget(lblModify2_, 4, 0);
    grid2->addWidget(txtModify2_, 4, 1);
    grid2->setColumnStretch(3, 1);
    grid2->setRowStretch(5, 1);

    auto* editor = new QWidget;
    auto* row = new QHBoxLayout(editor);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(frame1, 4);
    row->addWidget(frameCO, 3);
    row->addWidget(frame2, 5);
    return editor;
}

QWidget* frmMain::BuildGrid() {
    MSFlexGrid1_ = Named(new QTableWidget(0, 1), "MSFlexGrid1");
    MSFlexGrid1_->horizontalHeader()->setVisible(false);
    MSFlexGrid1_->horizontalHeader()->setStretchLastSection(true);
    MSFlexGrid1_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    MSFlexGrid1_->verticalHeader()->setDefaultSectionSize(MSFlexGrid1_->fontMetrics().height() + 8);
    MSFlexGrid1_->setSelectionBehavior(QAbstractItemView::SelectRows);
    MSFlexGrid1_->setSelectionMode(QAbstractItemView::SingleSelection);
    MSFlexGrid1_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    MSFlexGrid1_->setWordWrap(false);
    // One tab stop: Tab leaves the grid, the arrow keys move inside it.
    MSFlexGrid1_->setTabKeyNavigation(false);
    MSFlexGrid1_->setToolTip(
        tr("Click a row, or move to it with the arrow keys, to edit it; right-click (or the "
           "menu key) for brackets and AND/OR"));
    MSFlexGrid1_->viewport()->installEventFilter(this);
    MSFlexGrid1_->installEventFilter(this);
    connect(MSFlexGrid1_, &QTableWidget::cellClicked, this,
            [this](int, int) { Handle([](MainWindowState& w) { w.MSFlexGrid1_Click(); }); });
    connect(MSFlexGrid1_, &QTableWidget::currentCellChanged, this, [this](int row, int, int, int) {
        Handle([row](MainWindowState& w) { w.MSFlexGrid1_RowColChange(row); });
    });

    btnAnd_ = Named(new QPushButton(tr("&AND")), "btnAnd");
    btnOr_ = Named(new QPushButton(tr("&OR")), "btnOr");
    btnRemove_ = Named(new QPushButton(tr("C&lear Row")), "btnRemove");
    btnClearAll_ = Named(new QPushButton(tr("&Clear All")), "btnClearAll");
    btnFilter_ = Named(new QPushButton(tr("F&ilter...")), "btnFilter");
    btnAnd_->setToolTip(tr("Start a new condition joined with AND"));
    btnOr_->setToolTip(tr("Start a new condition joined with OR"));
    btnRemove_->setToolTip(tr("Remove the selected condition row"));
    btnClearAll_->setToolTip(tr("Remove every condition and start again"));
    btnFilter_->setToolTip(tr("Choose the markets, groups, sectors, industries and watch lists "
                              "that \"Use filter\" includes or excludes"));
    btnFilter_->setEnabled(services_.filter != nullptr && services_.prompts != nullptr);
    connect(btnFilter_, &QPushButton::clicked, this, [this] { ShowFilter(); });
    connect(btnAnd_, &QPushButton::clicked, this,
            [this] { Handle([](MainWindowState& w) { w.btnAnd_Click(); }); });
    connect(btnOr_, &QPushButton::clicked, this,
            [this] { Handle([](MainWindowState& w) { w.btnOr_Click(); }); });
    connect(btnRemove_, &QPushButton::clicked, this,
            [this] { Handle([](MainWindowState& w) { w.btnRemove_Click(); }); });
    connect(btnClearAll_, &QPushButton::clicked, this, [this] {
        if (files_ != nullptr) {
            FileCommand([](MainWindowFiles& files) { files.btnClearAll_Click(); });
        } else {
            Handle([](MainWindowState& w) { w.btnClearAll_Click(); });
        }
    });

    auto* buttons = new QVBoxLayout;
    for (QPushButton* button : {btnAnd_, btnOr_, btnRemove_, btnClearAll_}) {
        buttons->addWidget(button);
    }
    buttons->addStretch(1);
    buttons->addWidget(btnFilter_);

    auto* frame = Named(new QGroupBox(tr("Conditions")), "fraConditions");
    auto* layout = new QHBoxLayout(frame);
    layout->addWidget(MSFlexGrid1_, 1);
    layout->addLayout(buttons);
    return frame;
}

QWidget* frmMain::BuildRunOptions() {
    const auto group = [](const QString& caption, const char* name,
                          std::initializer_list<QWidget*> widgets) {
        auto* box = Named(new QGroupBox(caption), name);
        auto* layout = new QVBoxLayout(box);
        for (QWidget* widget : widgets) {
            layout->addWidget(widget);
        }
        return box;
    };
    optExplore_ = Named(new QRadioButton(tr("E&xploration")), "optExplore");
    optScanBuy_ = Named(new QRadioButton(tr("&Buy scan")), "optScanBuy");
    optScanSell_ = Named(new QRadioButton(tr("&Sell scan")), "optScanSell");
    optAllTickers_ = Named(new QRadioButton(tr("All &tickers")), "optAllTickers");
    OptCurrentTicker_ = Named(new QRadioButton(tr("Current tic&ker")), "OptCurrentTicker");
    OptUseFilter_ = Named(new QRadioButton(tr("&Use filter")), "OptUseFilter");
    optAllBars_ = Named(new QRadioButton(tr("All ba&rs")), "optAllBars");
    OptLastBars_ = Named(new QRadioButton(tr("Last &n bars")), "OptLastBars");
    OptLastDays_ = Named(new QRadioButton(tr("Last n &days")), "OptLastDays");
    txtRange_ = NewField("txtRange", 80);
    txtRange_->setToolTip(tr("n: how many bars or days"));
    txtSymbol_ = NewField("txtSymbol", 80);
    txtSymbol_->setPlaceholderText(tr("Symbol"));
    txtSymbol_->setToolTip(tr("The symbol \"Current ticker\" runs over: type one, or choose a "
                              "row of the results"));
    // Completes from the database's symbols in any letter case; leaving the box takes the
    // database's spelling.
    symbolCompleter_ = new QCompleter(new QStringListModel(this), this);
    symbolCompleter_->setCaseSensitivity(Qt::CaseInsensitive);
    symbolCompleter_->setFilterMode(Qt::MatchStartsWith);
    txtSymbol_->setCompleter(symbolCompleter_);
    btnRun_ =
        Named(new QPushButton(style()->standardIcon(QStyle::SP_MediaPlay), tr("Run")), "btnRun");
    btnRun_->setShortcut(QKeySequence(Qt::Key_F5));
    btnRun_->setToolTip(tr("Save the formula and run it (F5)"));

    auto* range = group(tr("Range"), "fraRange", {optAllBars_, OptLastBars_, OptLastDays_});
    auto* rangeNumber = new QHBoxLayout;
    auto* rangeLabel = new QLabel(tr("n ="));
    rangeLabel->setBuddy(txtRange_);
    rangeNumber->addWidget(rangeLabel);
    rangeNumber->addWidget(txtRange_);
    rangeNumber->addStretch(1);
    static_cast<QVBoxLayout*>(range->layout())->addLayout(rangeNumber);

    auto* options = new QWidget;
    auto* layout = new QVBoxLayout(options);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(
        group(tr("Analysis"), "fraAnalysis", {optExplore_, optScanBuy_, optScanSell_}));
    auto* applyTo =
        group(tr("Apply to"), "fraApplyTo", {optAllTickers_, OptCurrentTicker_, OptUseFilter_});
    auto* symbolRow = new QHBoxLayout;
    symbolRow->setContentsMargins(20, 0, 0, 0); // under "Current ticker", which it belongs to
    symbolRow->addWidget(txtSymbol_);
    symbolRow->addStretch(1);
    static_cast<QVBoxLayout*>(applyTo->layout())->insertLayout(2, symbolRow);
    layout->addWidget(applyTo);
    layout->addWidget(range);
    layout->addStretch(1);
    layout->addWidget(btnRun_);

    const auto on = [this](QRadioButton* button, StateEvent click) {
        connect(button, &QRadioButton::clicked, this, [this, click] { Handle(click); });
    };
    on(optExplore_, [](MainWindowState& w) { w.optExplore_Click(); });
    on(optScanBuy_, [](MainWindowState& w) { w.optScanBuy_Click(); });
    on(optScanSell_, [](MainWindowState& w) { w.optScanSell_Click(); });
    on(optAllTickers_, [](MainWindowState& w) { w.optAllTickers_Click(); });
    on(OptCurrentTicker_, [](MainWindowState& w) { w.OptCurrentTicker_Click(); });
    on(OptUseFilter_, [](MainWindowState& w) { w.OptUseFilter_Click(); });
    on(optAllBars_, [](MainWindowState& w) { w.optAllBars_Click(); });
    on(OptLastBars_, [](MainWindowState& w) { w.OptLastBars_Click(); });
    on(OptLastDays_, [](MainWindowState& w) { w.OptLastDays_Click(); });
    connect(txtRange_, &QLineEdit::textEdited, this, [this](const QString& text) {
        Handle([text](MainWindowState& w) { w.txtRange_Change(S(text)); });
    });
    txtRange_->installEventFilter(this);
    connect(txtSymbol_, &QLineEdit::textEdited, this, [this](const QString& text) {
        Handle([text](MainWindowState& w) { w.currentSymbol.txtSymbol_Change(S(text)); });
    });
    connect(symbolCompleter_, qOverload<const QString&>(&QCompleter::activated), this,
            [this](const QString& text) { SetCurrentSymbol(S(text)); });
    connect(txtSymbol_, &QLineEdit::editingFinished, this,
            [this] { Handle([](MainWindowState& w) { w.currentSymbol.txtSymbol_LostFocus(); }); });
    connect(btnRun_, &QPushButton::clicked, this, [this] { Run(); });
    return options;
}

void frmMain::ConnectEditor() {
    const std::pair<QComboBox*, ComboId> combos[] = {{cboIA1_, ComboId::cboIA1},
                                                     {cboED1_, ComboId::cboED1},
                                                     {cboModify1_, ComboId::cboModify1},
                                                     {cboCO_, ComboId::cboCO},
                                                     {cboCT_, ComboId::cboCT},
                                                     {cboIA2_, ComboId::cboIA2},
                                                     {cboED2_, ComboId::cboED2},
                                                     {cboModify2_, ComboId::cboModify2},
                                                     {cboModifyED2_, ComboId::cboModifyED2}};
    for (const auto& combo : combos) {
        combo.first->installEventFilter(this);
        const ComboId id = combo.second;
        // activated: the user's choice (mouse or keyboard), never the program's own changes.
        connect(combo.first, &QComboBox::activated, this, [this, id](int index) {
            Handle([id, index](MainWindowState& w) { w.Choose(id, index); });
        });
    }

    const std::pair<QLineEdit*, TextChange> fields[] = {
        {txtTP1_, [](MainWindowState& w, std::string text) { w.txtTP1_Change(std::move(text)); }},
        {txtTP2_, [](MainWindowState& w, std::string text) { w.txtTP2_Change(std::move(text)); }},
        {txtModify1_,
         [](MainWindowState& w, std::string text) { w.txtModify1_Change(std::move(text)); }},
        {txtModify2_,
         [](MainWindowState& w, std::string text) { w.txtModify2_Change(std::move(text)); }},
        {txtVal1_,
         [](MainWindowState& w, std::string text) { w.txtVal1_Change(std::move(text)); }}};
    for (const auto& field : fields) {
        field.first->installEventFilter(this);
        const TextChange change = field.second;
        connect(field.first, &QLineEdit::textEdited, this,
                [this, change](const QString& text) { OnTextEdited(change, text); });
    }

    for (QCheckBox* box : {chkModify1_, chkModify2_}) {
        box->installEventFilter(this);
    }
    connect(chkModify1_, &QCheckBox::clicked, this, [this](bool checked) {
        Handle([checked](MainWindowState& w) { w.chkModify1_Click(checked); });
    });
    connect(chkModify2_, &QCheckBox::clicked, this, [this](bool checked) {
        Handle([checked](MainWindowState& w) { w.chkModify2_Click(checked); });
    });
}

void frmMain::OnTextEdited(TextChange change, const QString& text) {
    const std::string typed = S(text);
    Handle([change, &typed](MainWindowState& w) { change(w, typed); });
}

void frmMain::SetTabOrder() {
    const QWidget* order[] = {cboIA1_,      cboED1_,      txtTP1_,      chkModify1_, cboModify1_,
                              txtModify1_,  cboCO_,       cboCT_,       cboIA2_,     cboED2_,
                              txtTP2_,      txtVal1_,     chkModify2_,  cboModify2_, cboModifyED2_,
                              txtModify2_,  MSFlexGrid1_, btnAnd_,      btnOr_,      btnRemove_,
                              btnClearAll_, btnFilter_,   txtForumlae_, optExplore_, optAllTickers_,
                              optAllBars_,  txtRange_,    btnRun_};
    for (std::size_t i = 0; i + 1 < std::size(order); ++i) {
        setTabOrder(const_cast<QWidget*>(order[i]), const_cast<QWidget*>(order[i + 1]));
    }
    // The symbol box follows the "Apply to" options it belongs to.
    setTabOrder(optAllTickers_, txtSymbol_);
    setTabOrder(txtSymbol_, optAllBars_);
}

// ---- events ----

bool frmMain::eventFilter(QObject* watched, QEvent* event) {
    const QString name = watched->objectName();
    switch (event->type()) {
    case QEvent::ShortcutOverride: {
        // Ctrl+Z in a field undoes the window's last change, as everywhere else in it, not
        // the field's own typing: the field does not claim the key, so the menu's command
        // gets it.
        auto* key = static_cast<QKeyEvent*>(event);
        if (key->matches(QKeySequence::Undo) || key->matches(QKeySequence::Redo) ||
            key->keyCombination() == QKeyCombination(Qt::CTRL, Qt::Key_Y)) {
            return true;
        }
        break;
    }
    case QEvent::FocusIn:
        // The control the user works in is the one whose changes regenerate the formula.
        if (watched != MSFlexGrid1_ && watched != txtRange_ &&
            watched != MSFlexGrid1_->viewport()) {
            state_->SetCurrentControl(S(name));
        }
        break;
    case QEvent::FocusOut: {
        StateEvent lost = nullptr;
        if (watched == txtTP1_) {
            lost = [](MainWindowState& w) { w.txtTP1_LostFocus(); };
        } else if (watched == txtTP2_) {
            lost = [](MainWindowState& w) { w.txtTP2_LostFocus(); };
        } else if (watched == txtModify1_) {
            lost = [](MainWindowState& w) { w.txtModify1_LostFocus(); };
        } else if (watched == txtModify2_) {
            lost = [](MainWindowState& w) { w.txtModify2_LostFocus(); };
        } else if (watched == txtVal1_) {
            lost = [](MainWindowState& w) { w.txtVal1_LostFocus(); };
        } else if (watched == txtRange_) {
            lost = [](MainWindowState& w) { w.txtRange_LostFocus(); };
        }
        if (lost != nullptr) {
            Handle(lost);
        }
        break;
    }
    case QEvent::KeyPress: {
        auto* key = static_cast<QKeyEvent*>(event);
        if (watched == txtTP1_ || watched == txtTP2_) {
            // Bars take digits and "/"; editing and moving keys pass, any other character is
            // dropped.
            const QString text = key->text();
            if (text.size() == 1 && text[0].isPrint()) {
                const int code = text[0].unicode();
                if (MainWindowState::txtTP1_KeyPress(code) == 0) {
                    return true;
                }
            }
        } else if (watched == MSFlexGrid1_) {
            if (key->key() == Qt::Key_Space || key->key() == Qt::Key_Return ||
                key->key() == Qt::Key_Enter) {
                Handle([](MainWindowState& w) { w.MSFlexGrid1_Click(); });
                return true;
            }
            if (const std::optional<int> row = RowForKey(key->key())) {
                // Moving to a row selects it, so the editor always shows the highlighted row.
                Handle([row](MainWindowState& w) {
                    w.MSFlexGrid1_RowColChange(*row);
                    w.MSFlexGrid1_Click();
                });
                return true;
            }
            if (key->key() == Qt::Key_Menu ||
                (key->key() == Qt::Key_F10 && (key->modifiers() & Qt::ShiftModifier))) {
                const int row = std::max(MSFlexGrid1_->currentRow(), 0);
                bool popup = false;
                Handle([row, &popup](MainWindowState& w) {
                    popup = w.MSFlexGrid1_MouseDown(2, row);
                    w.MSFlexGrid1_Click(); // the click that follows a mouse-down
                });
                if (popup) {
                    const QRect cell =
                        MSFlexGrid1_->visualRect(MSFlexGrid1_->model()->index(row, 0));
                    ShowContextMenu(MSFlexGrid1_->viewport()->mapToGlobal(cell.bottomLeft()));
                }
                return true;
            }
        }
        break;
    }
    case QEvent::MouseButtonPress:
        if (watched == MSFlexGrid1_->viewport()) {
            auto* mouse = static_cast<QMouseEvent*>(event);
            const int button = mouse->button() == Qt::LeftButton    ? 1
                               : mouse->button() == Qt::RightButton ? 2
                                                                    : 0;
            const int row = MSFlexGrid1_->rowAt(static_cast<int>(mouse->position().y()));
            if (button == 0 || row < 0) {
                break;
            }
            bool popup = false;
            // The state selects the row (a blank row stands for the last one) and the grid
            // shows its choice: the grid does not move its own highlight, and the click that
            // follows a mouse-down is given here.
            Handle([button, row, &popup](MainWindowState& w) {
                popup = w.MSFlexGrid1_MouseDown(button, row);
                w.MSFlexGrid1_Click();
            });
            MSFlexGrid1_->setFocus(Qt::MouseFocusReason);
            if (popup) {
                ShowContextMenu(mouse->globalPosition().toPoint());
            }
            return true;
        }
        break;
    default:
        break;
    }
    return QMainWindow::eventFilter(watched, event);
}

std::optional<int> frmMain::RowForKey(int key) const {
    const int last = state_->GridCount() - 1;
    if (last < 0) {
        return std::nullopt;
    }
    const int page = std::max(MSFlexGrid1_->viewport()->height() /
                                  std::max(MSFlexGrid1_->verticalHeader()->defaultSectionSize(), 1),
                              1);
    const int current = std::clamp(state_->MSFlexGrid1.row, 0, last);
    switch (key) {
    case Qt::Key_Up:
        return std::max(current - 1, 0);
    case Qt::Key_Down:
        return std::min(current + 1, last);
    case Qt::Key_PageUp:
        return std::max(current - page, 0);
    case Qt::Key_PageDown:
        return std::min(current + page, last);
    case Qt::Key_Home:
        return 0;
    case Qt::Key_End:
        return last;
    default:
        return std::nullopt;
    }
}

void frmMain::closeEvent(QCloseEvent* event) {
    // Unsaved work is offered for saving first; Cancel keeps the window open.
    if (files_ != nullptr) {
        bool close = true;
        FileCommand([&close](MainWindowFiles& files) { close = files.QueryClose(); });
        if (!close) {
            event->ignore();
            return;
        }
    }
    state_->SaveRunSettings();
    QMainWindow::closeEvent(event);
}

void frmMain::Handle(const std::function<void(MainWindowState&)>& stateEvent) {
    if (const std::optional<std::string> failure = RunGuarded([&] { stateEvent(*state_); })) {
        statusBar()->showMessage(tr("Could not complete that: %1").arg(Q(*failure)));
    }
    Mirror();
}

void frmMain::ShowContextMenu(const QPoint& globalPosition) {
    mMSFlex_->exec(globalPosition);
}

void frmMain::Run() {
    // The window's events run while a run goes; another Run must wait for it.
    if (runGoing_) {
        return;
    }
    // Unfinished rows, and what the built-in engine's parser refuses, are named first.
    bool goOn = true;
    FileCommand([&goOn](MainWindowFiles& files) {
        goOn = files.ConfirmFormula(MainWindowFiles::FormulaUse::Run);
    });
    if (!goOn) {
        statusBar()->showMessage(tr("The formula was not run."));
        return;
    }
    const bool inResultsWindow = !state_->txtForumlae.text.empty() && BeginLocalRun();
    RunServices services;
    services.broker = services_.broker;
    services.programFolder = services_.programFolder;
    const QDate today = QDate::currentDate();
    services.today = FormatCommentDate(today.year(), static_cast<unsigned>(today.month()),
                                       static_cast<unsigned>(today.day()));
    services.letEventsRun = [] { QCoreApplication::processEvents(); };
    services.minimiseWindow = [this] { showMinimized(); };
    const bool rangeHasFocus = txtRange_->hasFocus();
    const bool symbolHasFocus = txtSymbol_->hasFocus();
    Handle([&](MainWindowState& w) {
        // Leaving the range box normalises it first, as moving the focus to the button would.
        if (rangeHasFocus) {
            w.txtRange_LostFocus();
        }
        if (symbolHasFocus) {
            w.currentSymbol.txtSymbol_LostFocus();
        }
        if (LocalBroker* local = LocalHost()) {
            local->Local().SetCurrentSymbol(w.currentSymbol.Symbol());
        }
        lastRun_ = w.btnRun_Click(services);
    });
    if (inResultsWindow) {
        EndLocalRun();
    }
    if (!lastRun_.error.empty()) {
        statusBar()->showMessage(tr("The run stopped: %1").arg(Q(lastRun_.error)));
    } else if (lastRun_.started) {
        statusBar()->showMessage(tr("Ran %1").arg(Q(lastRun_.runFile)));
    } else if (state_->txtForumlae.text.empty()) {
        statusBar()->showMessage(tr("There is no formula to run yet."));
    }
}

void frmMain::ShowImportQuotes() {
    LocalBroker* local = LocalHost();
    if (local == nullptr) {
        return;
    }
    // The run reads the store while its window's events run; an import would wait for it
    // inside those events, and the run for the import.
    if (runGoing_) {
        statusBar()->showMessage(tr("Quotes can be imported once the run has ended."));
        return;
    }
    ImportQuotesState state(local->DatabasePath());
    frmImportQuotes dialog(state, {}, this);
    dialog.exec();
    if (state.ChangedDatabase()) {
        ReloadSymbols();
        statusBar()->showMessage(tr("Quotes were imported into %1.").arg(Q(local->DatabasePath())));
    }
}

LocalBroker* frmMain::LocalHost() const {
    return dynamic_cast<LocalBroker*>(services_.broker);
}

void frmMain::SetCurrentSymbol(const std::string& symbol) {
    Handle([&symbol](MainWindowState& w) { w.currentSymbol.Choose(symbol); });
}

void frmMain::ReloadSymbols() {
    std::optional<std::vector<std::string>> symbols;
    if (LocalBroker* local = LocalHost()) {
        // A database without quotes has no symbols to offer; the box then says so.
        const Result<std::vector<std::string>> read =
            CatchProblem([&]() -> std::vector<std::string> {
                std::vector<std::string> names;
                for (const SymbolSummary& summary :
                     ValueOrThrow(QuoteStore::Open(local->DatabasePath())).List()) {
                    names.push_back(summary.symbol);
                }
                return names;
            });
        if (read) {
            symbols = *read;
        }
    }
    QStringList names;
    for (const std::string& symbol : symbols.value_or(std::vector<std::string>{})) {
        names.append(Q(symbol));
    }
    static_cast<QStringListModel*>(symbolCompleter_->model())->setStringList(names);
    Handle([&symbols](MainWindowState& w) { w.currentSymbol.SetDatabaseSymbols(symbols); });
}

void frmMain::CopyFormula() {
    bool goOn = true;
    FileCommand([&goOn](MainWindowFiles& files) {
        goOn = files.ConfirmFormula(MainWindowFiles::FormulaUse::Copy);
    });
    if (!goOn) {
        statusBar()->showMessage(tr("Nothing was copied."));
        return;
    }
    Handle([](MainWindowState& w) {
        w.mCopy_Click(
            [](const std::string& text) { QGuiApplication::clipboard()->setText(Q(text)); });
    });
    statusBar()->showMessage(tr("The formula is on the clipboard."));
}

void frmMain::FileCommand(const std::function<void(MainWindowFiles&)>& command) {
    if (files_ != nullptr) {
        Handle([&](MainWindowState&) { command(*files_); });
    }
}

void frmMain::OpenHelpFile(const char* fileName, const QString& what) {
    std::vector<std::filesystem::path> folders(services_.helpFolders.begin(),
                                               services_.helpFolders.end());
    const auto file = FindHelpFile(folders, fileName);
    if (!file) {
        std::string looked;
        for (const std::string& folder : services_.helpFolders) {
            looked += "\n" + folder;
        }
        if (services_.prompts != nullptr) {
            services_.prompts->Inform("Marlindex", "The " + S(what) + " (" + fileName +
                                                       ") is not installed with this copy of "
                                                       "Marlindex. Looked in:" +
                                                       looked);
        }
        return;
    }
    // The pages are shown by the program itself: no browser needs to be set up for them.
    if (help_ == nullptr) {
        help_ = new frmHelp(this);
    }
    help_->ShowPage(*file);
}

void frmMain::ShowFilter() {
    if (services_.filter == nullptr || services_.prompts == nullptr) {
        return;
    }
    frmFilter dialog(*services_.filter, *services_.prompts, this);
    dialog.exec();
    Mirror();
}

void frmMain::ShowFilterNote() {
    if (services_.filter != nullptr) {
        if (const std::string note = services_.filter->TakeLoadNote(); !note.empty()) {
            statusBar()->showMessage(Q(note));
        }
    }
}

void frmMain::ShowPreferences() {
    if (services_.settings == nullptr) {
        return;
    }
    // New and edited conditions read the stored values; rows already written keep theirs.
    frmPreferences dialog(*services_.settings, this);
    dialog.exec();
}

void frmMain::ShowAbout() {
    frmAbout about(services_.prompts, this);
    about.exec();
}

// ---- state to widgets ----

void frmMain::Mirror() {
    const MainWindowState& state = *state_;
    // "[*]" is where Qt puts the mark of unsaved changes.
    setWindowTitle(Q(state.Caption()) + QStringLiteral("[*]"));
    setWindowModified(state.HasUnsavedWork());
    mUndo_->setEnabled(state.CanUndo());
    mRedo_->setEnabled(state.CanRedo());

    const std::pair<QComboBox*, const ComboBox*> combos[] = {{cboIA1_, &state.cboIA1},
                                                             {cboED1_, &state.cboED1},
                                                             {cboModify1_, &state.cboModify1},
                                                             {cboCO_, &state.cboCO},
                                                             {cboCT_, &state.cboCT},
                                                             {cboIA2_, &state.cboIA2},
                                                             {cboED2_, &state.cboED2},
                                                             {cboModify2_, &state.cboModify2},
                                                             {cboModifyED2_, &state.cboModifyED2}};
    for (const auto& [widget, combo] : combos) {
        const QSignalBlocker quiet(widget);
        MirrorCombo(widget, *combo);
    }
    MirrorField(txtTP1_, state.txtTP1);
    MirrorField(txtTP2_, state.txtTP2);
    MirrorField(txtModify1_, state.txtModify1);
    MirrorField(txtModify2_, state.txtModify2);
    MirrorField(txtVal1_, state.txtVal1);
    MirrorField(txtRange_, state.txtRange);
    MarkField(txtTP1_, state.txtTP1.invalid, {});
    MarkField(txtTP2_, state.txtTP2.invalid, {});
    MarkField(txtModify1_, state.txtModify1.invalid, {});
    MarkField(txtModify2_, state.txtModify2.invalid, {});
    MarkField(txtVal1_, state.txtVal1.invalid, state.ValueWarningText());
    const std::pair<QLabel*, const Label*> labels[] = {{lblTP1_, &state.lblTP1},
                                                       {lblTP2_, &state.lblTP2},
                                                       {lblModify1_, &state.lblModify1},
                                                       {lblModify2_, &state.lblModify2},
                                                       {lblVal1_, &state.lblVal1}};
    for (const auto& [widget, label] : labels) {
        widget->setText(Q(label->caption));
        widget->setEnabled(label->enabled);
    }
    lblVal1_->setEnabled(state.lblVal1.enabled && state.txtVal1.visible);
    chkModify1_->setChecked(state.chkModify1.checked);
    chkModify1_->setEnabled(state.chkModify1.enabled);
    chkModify2_->setChecked(state.chkModify2.checked);
    chkModify2_->setEnabled(state.chkModify2.enabled);

    {
        const QSignalBlocker quiet(MSFlexGrid1_);
        const int rows = state.MSFlexGrid1.Rows();
        if (MSFlexGrid1_->rowCount() != rows) {
            MSFlexGrid1_->setRowCount(rows);
        }
        for (int row = 0; row < rows; ++row) {
            const QString text = Q(state.MSFlexGrid1.Text(row));
            QTableWidgetItem* item = MSFlexGrid1_->item(row, 0);
            if (item == nullptr) {
                MSFlexGrid1_->setItem(row, 0, new QTableWidgetItem(text));
            } else if (item->text() != text) {
                item->setText(text);
            }
        }
        if (rows > 0 && MSFlexGrid1_->currentRow() != state.MSFlexGrid1.row) {
            MSFlexGrid1_->setCurrentCell(state.MSFlexGrid1.row, 0);
        }
        MirrorRowMarks();
    }
    btnRemove_->setEnabled(!state.MSFlexGrid1.Text(state.MSFlexGrid1.row).empty());
    rowStatus_->setText(Q(state.StatusText()));
    rowStatus_->setToolTip(rowStatus_->text());
    issues_->setText(Q(state.IssueSummary()));
    btnAnd_->setEnabled(state.GridCount() > 0);
    btnOr_->setEnabled(state.GridCount() > 0);

    MirrorAction(mAND_, state.mAND);
    MirrorAction(mOR_, state.mOR);
    MirrorAction(mAddLeftBracket_, state.mAddLeftBracket);
    MirrorAction(mRemoveLeftBracket_, state.mRemoveLeftBracket);
    MirrorAction(mAddRightBracket_, state.mAddRightBracket);
    MirrorAction(mRemoveRightBracket_, state.mRemoveRightBracket);
    MirrorAction(mMOS_, state.mMOS);
    MirrorAction(mICWC_, state.mICWC);
    MirrorAction(mWITB_, state.mWITB);

    const std::pair<QRadioButton*, const OptionButton*> options[] = {
        {optExplore_, &state.optExplore},
        {optScanBuy_, &state.optScanBuy},
        {optScanSell_, &state.optScanSell},
        {optAllTickers_, &state.optAllTickers},
        {OptCurrentTicker_, &state.OptCurrentTicker},
        {OptUseFilter_, &state.OptUseFilter},
        {optAllBars_, &state.optAllBars},
        {OptLastBars_, &state.OptLastBars},
        {OptLastDays_, &state.OptLastDays}};
    for (const auto& [widget, option] : options) {
        if (widget->isChecked() != option->value) {
            widget->setChecked(option->value);
        }
        widget->setEnabled(option->enabled);
    }
    btnRun_->setEnabled(!state.txtForumlae.text.empty() && !runGoing_);
    // AmiBroker has a current symbol of its own; only the local host takes the box's.
    const TextBox& symbol = state_->currentSymbol.txtSymbol;
    if (txtSymbol_->text() != Q(symbol.text)) {
        txtSymbol_->setText(Q(symbol.text));
    }
    txtSymbol_->setEnabled(LocalHost() != nullptr);
    MarkField(txtSymbol_, LocalHost() != nullptr ? symbol.invalid : std::string(), {});
    mCopy_->setEnabled(!state.txtForumlae.text.empty());

    MirrorFormula();
}

void frmMain::MarkField(QLineEdit* field, const std::string& invalid, const std::string& warning) {
    // The field's own tip comes back once the mark goes.
    const char* kOwnTip = "marlindexOwnToolTip";
    if (!field->property(kOwnTip).isValid()) {
        field->setProperty(kOwnTip, field->toolTip());
    }
    const QString own = field->property(kOwnTip).toString();
    QString style;
    QString tip = own;
    if (!invalid.empty()) {
        style = QStringLiteral("QLineEdit { background: #fde0e0; border: 1px solid #c62828; }");
        tip = Q(invalid);
    } else if (!warning.empty()) {
        style = QStringLiteral("QLineEdit { background: #fff3d6; border: 1px solid #b26a00; }");
        tip = Q(warning) + QStringLiteral(".");
    }
    if (field->styleSheet() != style) {
        field->setStyleSheet(style);
    }
    field->setToolTip(tip);
    field->setProperty("marlindexMark", invalid.empty() ? (warning.empty() ? 0 : 2) : 1);
}

void frmMain::MirrorRowMarks() {
    const MainWindowState& state = *state_;
    std::vector<QString> tips(static_cast<std::size_t>(MSFlexGrid1_->rowCount()));
    std::vector<bool> serious(tips.size(), false);
    for (const RowIssue& issue : state.RowIssues()) {
        const auto row = static_cast<std::size_t>(issue.row);
        if (row >= tips.size()) {
            continue;
        }
        tips[row] += (tips[row].isEmpty() ? QString() : QStringLiteral("\n")) +
                     tr("Row %1: %2.").arg(issue.row + 1).arg(Q(issue.text));
        serious[row] = serious[row] || issue.kind != RowIssueKind::Value;
    }
    const QIcon warning = style()->standardIcon(QStyle::SP_MessageBoxWarning);
    const QIcon information = style()->standardIcon(QStyle::SP_MessageBoxInformation);
    const QBrush plain = MSFlexGrid1_->palette().brush(QPalette::Text);
    for (std::size_t row = 0; row < tips.size(); ++row) {
        QTableWidgetItem* item = MSFlexGrid1_->item(static_cast<int>(row), 0);
        if (item == nullptr) {
            continue;
        }
        const bool marked = !tips[row].isEmpty();
        item->setIcon(!marked ? QIcon() : serious[row] ? warning : information);
        item->setToolTip(tips[row]);
        item->setForeground(!marked        ? plain
                            : serious[row] ? QBrush(QColor(0xb7, 0x1c, 0x1c))
                                           : QBrush(QColor(0x8a, 0x5a, 0x00)));
        item->setData(Qt::UserRole, marked ? (serious[row] ? 1 : 2) : 0);
    }
}

void frmMain::MirrorFormula() {
    const FormulaBox& box = state_->txtForumlae;
    if (box.text == shownFormula_ && box.runs == shownRuns_) {
        return;
    }
    shownFormula_ = box.text;
    shownRuns_ = box.runs;

    // The text is written run by run through a cursor of its own, so the user's selection
    // and scroll position are not used for the colouring and nothing flickers.
    const BoxText shown = ToBoxText(box.text, box.runs);
    const int scroll = txtForumlae_->verticalScrollBar()->value();
    txtForumlae_->setUpdatesEnabled(false);
    txtForumlae_->clear();
    QTextCursor cursor(txtForumlae_->document());
    QTextCharFormat plain;
    plain.setForeground(ToColor(kDefaultFormat.rgb));
    std::size_t written = 0;
    const auto length = static_cast<std::size_t>(shown.text.size());
    for (const FormatRun& run : shown.runs) {
        if (run.start > written) {
            cursor.insertText(shown.text.mid(static_cast<qsizetype>(written),
                                             static_cast<qsizetype>(run.start - written)),
                              plain);
        }
        QTextCharFormat format;
        format.setForeground(ToColor(run.format.rgb));
        format.setFontWeight(run.format.bold ? QFont::Bold : QFont::Normal);
        cursor.insertText(
            shown.text.mid(static_cast<qsizetype>(run.start), static_cast<qsizetype>(run.length)),
            format);
        written = run.start + run.length;
    }
    if (written < length) {
        cursor.insertText(shown.text.mid(static_cast<qsizetype>(written)), plain);
    }
    txtForumlae_->verticalScrollBar()->setValue(scroll);
    txtForumlae_->setUpdatesEnabled(true);
}

} // namespace marlindex
