#include "quotes/frmImportQuotes.h"

#include "app/FormSupport.h"
#include "startup/EventGuard.h"

#include <QApplication>
#include <QFileDialog>
#include <QFontDatabase>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace marlindex {

namespace {

frmImportQuotes::Choosers WithFileDialogs(frmImportQuotes::Choosers choosers) {
    const QString csv = QObject::tr("Price files (*.csv);;All files (*)");
    if (!choosers.priceFiles) {
        choosers.priceFiles = [csv](QWidget* parent) {
            return QFileDialog::getOpenFileNames(parent, QObject::tr("Price files SYMBOL.csv"),
                                                 QString(), csv);
        };
    }
    if (!choosers.folder) {
        choosers.folder = [](QWidget* parent) {
            return QFileDialog::getExistingDirectory(parent,
                                                     QObject::tr("A folder of price files"));
        };
    }
    if (!choosers.symbolsFile) {
        choosers.symbolsFile = [](QWidget* parent) {
            return QFileDialog::getOpenFileName(
                parent, QObject::tr("Symbols file"), QString(),
                QObject::tr("Symbols files (*.csv);;All files (*)"));
        };
    }
    return choosers;
}

} // namespace

frmImportQuotes::frmImportQuotes(ImportQuotesState& state, Choosers choosers, QWidget* parent)
    : QDialog(parent), state_(state), choosers_(WithFileDialogs(std::move(choosers))) {
    setObjectName(QStringLiteral("frmImportQuotes"));
    setWindowTitle(tr(ImportQuotesState::kCaption));

    lstPaths = Named(new QListWidget, "lstPaths");
    lstPaths->setToolTip(tr("Price files SYMBOL.csv (Date,Open,High,Low,Close,Volume) and "
                            "folders of them; the symbol is the file name"));
    btnAddFiles = Named(new QPushButton(tr("Add &files...")), "btnAddFiles");
    btnAddFolder = Named(new QPushButton(tr("Add f&older...")), "btnAddFolder");
    btnRemove = Named(new QPushButton(tr("&Remove")), "btnRemove");
    auto* pathButtons = new QVBoxLayout;
    for (QPushButton* button : {btnAddFiles, btnAddFolder, btnRemove}) {
        pathButtons->addWidget(button);
    }
    pathButtons->addStretch(1);
    auto* prices = Named(new QGroupBox(tr("Price files and folders")), "fraPrices");
    auto* pricesLayout = new QHBoxLayout(prices);
    pricesLayout->addWidget(lstPaths, 1);
    pricesLayout->addLayout(pathButtons);

    txtSymbols = Named(new QLineEdit, "txtSymbols");
    txtSymbols->setReadOnly(true);
    txtSymbols->setPlaceholderText(tr("None: names, markets and sectors stay as they are"));
    btnSymbols = Named(new QPushButton(tr("&Choose...")), "btnSymbols");
    btnNoSymbols = Named(new QPushButton(tr("&None")), "btnNoSymbols");
    auto* symbols =
        Named(new QGroupBox(tr("Symbols file (Symbol,Name,Market,Sector,Industry)")), "fraSymbols");
    auto* symbolsLayout = new QHBoxLayout(symbols);
    symbolsLayout->addWidget(txtSymbols, 1);
    symbolsLayout->addWidget(btnSymbols);
    symbolsLayout->addWidget(btnNoSymbols);

    prgImport = Named(new QProgressBar, "prgImport");
    prgImport->setRange(0, ImportQuotesState::kProgressMaximum);
    prgImport->setTextVisible(false);
    lblProgress = Named(new QLabel, "lblProgress");
    txtReport = Named(new QPlainTextEdit, "txtReport");
    txtReport->setReadOnly(true);
    txtReport->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    txtReport->setWordWrapMode(QTextOption::WordWrap);
    txtReport->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    txtReport->setPlaceholderText(tr("What the import did shows here."));

    btnImport = Named(new QPushButton(tr("&Import")), "btnImport");
    btnImport->setDefault(true);
    btnClose = Named(new QPushButton, "btnClose");
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(lblProgress, 1);
    buttons->addWidget(btnImport);
    buttons->addWidget(btnClose);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(prices, 2);
    layout->addWidget(symbols);
    layout->addWidget(txtReport, 3);
    layout->addWidget(prgImport);
    layout->addLayout(buttons);
    resize(720, 520);

    connect(btnAddFiles, &QPushButton::clicked, this, [this] {
        const QStringList files = choosers_.priceFiles(this);
        std::vector<std::string> paths;
        for (const QString& file : files) {
            paths.push_back(file.toStdString());
        }
        Handle([&] { state_.AddPaths(paths); });
    });
    connect(btnAddFolder, &QPushButton::clicked, this, [this] {
        const QString folder = choosers_.folder(this);
        Handle([&] { state_.AddPaths({folder.toStdString()}); });
    });
    connect(btnRemove, &QPushButton::clicked, this,
            [this] { Handle([this] { state_.btnRemove_Click(); }); });
    connect(lstPaths, &QListWidget::currentRowChanged, this,
            [this](int row) { Handle([this, row] { state_.lstPaths_Click(row); }); });
    connect(btnSymbols, &QPushButton::clicked, this, [this] {
        const QString file = choosers_.symbolsFile(this);
        if (!file.isEmpty()) {
            Handle([&] { state_.SetSymbolsFile(file.toStdString()); });
        }
    });
    connect(btnNoSymbols, &QPushButton::clicked, this,
            [this] { Handle([this] { state_.SetSymbolsFile({}); }); });
    connect(btnImport, &QPushButton::clicked, this, &frmImportQuotes::Import);
    // While the import runs the button cancels it and the dialog stays to report; otherwise
    // it closes the dialog.
    connect(btnClose, &QPushButton::clicked, this, [this] {
        if (state_.Running()) {
            Handle([this] { state_.btnClose_Click(); });
        } else {
            reject();
        }
    });
    Mirror();
}

void frmImportQuotes::Handle(const std::function<void()>& event) {
    if (const std::optional<std::string> failure = RunGuarded(event)) {
        state_.txtReport = "Could not complete that: " + *failure;
    }
    Mirror();
}

void frmImportQuotes::Import() {
    Handle([this] {
        // Each step of the import lets the window paint and Cancel be pressed; the import
        // itself reads one file between steps.
        state_.btnImport_Click([this] {
            Mirror();
            QApplication::processEvents();
        });
    });
    if (closeWhenDone_) {
        QDialog::reject();
    }
}

void frmImportQuotes::reject() {
    if (state_.Running()) {
        closeWhenDone_ = true;
        Handle([this] { state_.btnClose_Click(); });
        return;
    }
    QDialog::reject();
}

void frmImportQuotes::Mirror() {
    const QStringList paths = [this] {
        QStringList list;
        for (const std::string& path : state_.lstPaths) {
            list.append(Q(path));
        }
        return list;
    }();
    bool same = lstPaths->count() == paths.size();
    for (int i = 0; same && i < lstPaths->count(); ++i) {
        same = lstPaths->item(i)->text() == paths[i];
    }
    {
        const QSignalBlocker blocker(lstPaths);
        if (!same) {
            lstPaths->clear();
            lstPaths->addItems(paths);
        }
        lstPaths->setCurrentRow(state_.lstPathsIndex);
    }
    txtSymbols->setText(Q(state_.txtSymbols));
    for (QWidget* widget : {static_cast<QWidget*>(lstPaths), static_cast<QWidget*>(btnAddFiles),
                            static_cast<QWidget*>(btnAddFolder), static_cast<QWidget*>(btnSymbols),
                            static_cast<QWidget*>(btnNoSymbols)}) {
        widget->setEnabled(state_.choosingEnabled);
    }
    btnNoSymbols->setEnabled(state_.choosingEnabled && !state_.txtSymbols.empty());
    btnRemove->setEnabled(state_.btnRemoveEnabled);
    btnImport->setEnabled(state_.btnImportEnabled);
    btnClose->setText(Q(state_.btnCloseCaption));
    prgImport->setVisible(state_.progressVisible);
    prgImport->setValue(state_.progressValue);
    lblProgress->setText(Q(state_.lblProgress));
    if (txtReport->toPlainText() != Q(state_.txtReport)) {
        txtReport->setPlainText(Q(state_.txtReport));
    }
}

} // namespace marlindex
