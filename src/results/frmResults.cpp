#include "results/frmResults.h"

#include "app/FormSupport.h"
#include "app/ResultsTableModel.h"
#include "results/frmChart.h"
#include "results/frmWhyPanel.h"
#include "startup/EventGuard.h"

#include <QAction>
#include <QBarSeries>
#include <QBarSet>
#include <QCategoryAxis>
#include <QChart>
#include <QChartView>
#include <QCheckBox>
#include <QClipboard>
#include <QFileDialog>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QSplitter>
#include <QTableView>
#include <QVBoxLayout>
#include <QValueAxis>
#include <algorithm>

namespace marlindex {

namespace {

// More days than this and the chart labels months instead of days, which would overlap.
constexpr std::size_t kDayLabels = 31;

// The view owns the new chart but gives the old one back to its caller.
void ReplaceChart(QChartView* view, QChart* chart) {
    QChart* old = view->chart();
    view->setChart(chart);
    delete old;
}

} // namespace

frmResults::frmResults(QWidget* parent) : QWidget(parent, Qt::Window) {
    setObjectName(QStringLiteral("frmResults"));
    setWindowTitle(tr("Results"));
    resize(1100, 720);

    model_ = new ResultsTableModel(this);
    grdResults_ = Named(new QTableView, "grdResults");
    grdResults_->setModel(model_);
    grdResults_->setSortingEnabled(true);
    grdResults_->setSelectionBehavior(QAbstractItemView::SelectRows);
    grdResults_->setSelectionMode(QAbstractItemView::SingleSelection);
    grdResults_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    grdResults_->setAlternatingRowColors(true);
    grdResults_->verticalHeader()->setDefaultSectionSize(grdResults_->fontMetrics().height() + 6);
    // Unsorted until the user clicks a header: the run's own order, by symbol and date.
    grdResults_->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    grdResults_->horizontalHeader()->setStretchLastSection(true);

    whyPanel_ = Named(new frmWhyPanel, "whyPanel");

    lblCount_ = Named(new QLabel, "lblCount");
    lblStatus_ = Named(new QLabel, "lblStatus");
    prgRun_ = Named(new QProgressBar, "prgRun");
    prgRun_->setFormat(tr("%v of %m symbols"));
    btnCancel_ = Named(new QPushButton(tr("Cancel")), "btnCancel");
    btnExport_ = Named(new QPushButton(tr("&Export...")), "btnExport");
    btnCopy_ = Named(new QPushButton(tr("&Copy")), "btnCopy");
    btnAllDays_ = Named(new QPushButton(tr("Show &all days")), "btnAllDays");
    chkKeep_ = Named(new QCheckBox(tr("&Keep these results")), "chkKeep");
    chkKeep_->setToolTip(tr("The next run opens a window of its own instead of replacing these "
                            "rows"));

    chtHitsPerDay_ = Named(new QChartView, "chtHitsPerDay");
    chtHitsPerDay_->setRenderHint(QPainter::Antialiasing);
    chtHitsPerDay_->setMinimumHeight(200);
    chtHitsPerDay_->setToolTip(tr("Symbols that passed on each day; click a day (or use the "
                                  "arrow keys) to see its rows"));
    chtHitsPerDay_->setFocusPolicy(Qt::StrongFocus);
    chtHitsPerDay_->installEventFilter(this);

    auto* progressRow = new QHBoxLayout;
    progressRow->addWidget(prgRun_, 1);
    progressRow->addWidget(btnCancel_);

    auto* commands = new QHBoxLayout;
    commands->addWidget(lblCount_, 1);
    commands->addWidget(btnAllDays_);
    commands->addWidget(btnExport_);
    commands->addWidget(btnCopy_);
    commands->addWidget(chkKeep_);

    auto* tableAndWhy = Named(new QSplitter(Qt::Horizontal), "splResults");
    tableAndWhy->addWidget(grdResults_);
    tableAndWhy->addWidget(whyPanel_);
    tableAndWhy->setStretchFactor(0, 3);
    tableAndWhy->setStretchFactor(1, 2);

    auto* tableAndChart = new QSplitter(Qt::Vertical);
    tableAndChart->addWidget(tableAndWhy);
    tableAndChart->addWidget(chtHitsPerDay_);
    tableAndChart->setStretchFactor(0, 3);
    tableAndChart->setStretchFactor(1, 1);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(progressRow);
    layout->addLayout(commands);
    layout->addWidget(tableAndChart, 1);
    layout->addWidget(lblStatus_);

    connect(btnCancel_, &QPushButton::clicked, this, [this] {
        cancel_ = true;
        btnCancel_->setEnabled(false);
        lblStatus_->setText(tr("Cancelling after the symbols under way..."));
    });
    connect(btnExport_, &QPushButton::clicked, this, [this] { Export(); });
    connect(btnCopy_, &QPushButton::clicked, this, [this] { Copy(); });
    connect(btnAllDays_, &QPushButton::clicked, this, [this] { ShowAllDays(); });
    connect(grdResults_->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& current) { RowSelected(current); });
    connect(grdResults_, &QTableView::doubleClicked, this,
            [this](const QModelIndex& index) { OpenChart(index); });
    // The keyboard and the context menu reach the same commands as the mouse and the buttons.
    auto* openChart = new QAction(tr("Open the &chart"), grdResults_);
    openChart->setObjectName(QStringLiteral("mOpenChart"));
    openChart->setShortcuts({QKeySequence(Qt::Key_Return), QKeySequence(Qt::Key_Enter)});
    openChart->setShortcutContext(Qt::WidgetShortcut);
    connect(openChart, &QAction::triggered, this,
            [this] { OpenChart(grdResults_->currentIndex()); });
    auto* copyRows = new QAction(tr("Copy the rows shown"), grdResults_);
    copyRows->setShortcut(QKeySequence::Copy);
    copyRows->setShortcutContext(Qt::WidgetShortcut);
    connect(copyRows, &QAction::triggered, this, [this] { Copy(); });
    grdResults_->addAction(openChart);
    grdResults_->addAction(copyRows);
    grdResults_->setContextMenuPolicy(Qt::ActionsContextMenu);
    connect(model_, &QAbstractItemModel::layoutChanged, this, [this] { Mirror(); });

    BuildHitsPerDay();
    Mirror();
}

frmResults::~frmResults() = default;

bool frmResults::KeepResults() const {
    return chkKeep_->isChecked();
}

ResultsTable* frmResults::Table() const {
    return table_.get();
}

void frmResults::StartRun() {
    cancel_ = false;
    running_ = true;
    prgRun_->setRange(0, 0); // busy until the first symbol is counted
    lblStatus_->setText(tr("Running..."));
    Mirror();
}

void frmResults::ShowProgress(std::size_t done, std::size_t total) {
    prgRun_->setRange(0, static_cast<int>(total));
    prgRun_->setValue(static_cast<int>(done));
}

void frmResults::ShowRun(std::shared_ptr<const RunContext> run) {
    running_ = false;
    table_ = std::make_shared<ResultsTable>(run);
    chosenBar_.reset();
    model_->SetTable(table_);
    grdResults_->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    grdResults_->resizeColumnsToContents();
    whyPanel_->SetRun(run);
    setWindowTitle(Q(table_->Title()));
    lblStatus_->setText(run->results.cancelled
                            ? tr("Cancelled: the rows of the %1 symbols done before the cancel.")
                                  .arg(run->results.symbolsRun)
                            : tr("%1 symbols and %2 bars run.")
                                  .arg(run->results.symbolsRun)
                                  .arg(run->results.barsRun));
    BuildHitsPerDay();
    Mirror();
}

void frmResults::ShowFailure(const std::string& why) {
    running_ = false;
    lblStatus_->setText(tr("The run stopped: %1").arg(Q(why)));
    Mirror();
}

void frmResults::Mirror() {
    prgRun_->setVisible(running_);
    btnCancel_->setVisible(running_);
    btnCancel_->setEnabled(running_ && !cancel_);
    const bool rows = table_ != nullptr && table_->RowCount() > 0;
    btnExport_->setEnabled(rows && !running_);
    btnCopy_->setEnabled(rows && !running_);
    btnAllDays_->setEnabled(table_ != nullptr && table_->Day().has_value());
    lblCount_->setText(table_ == nullptr ? tr("No run yet") : Q(table_->CountText()));
}

void frmResults::BuildHitsPerDay() {
    auto* chart = new QChart;
    chart->legend()->hide();
    chart->setMargins(QMargins(4, 4, 4, 4));
    chart->setBackgroundRoundness(0);
    if (table_ == nullptr || table_->HitsPerDay().empty()) {
        chart->setTitle(table_ == nullptr ? tr("Hits per day") : tr("Hits per day: none"));
        ReplaceChart(chtHitsPerDay_, chart);
        return;
    }
    const std::vector<DayHits>& days = table_->HitsPerDay();
    chart->setTitle(tr("Symbols that passed, per day"));
    auto* hits = new QBarSet(tr("Symbols"));
    hits->setObjectName(QStringLiteral("hitsPerDay"));
    hits->setColor(QColor(0x3b, 0x6e, 0xa8));
    hits->setSelectedColor(QColor(0xe0, 0x8a, 0x1e));
    // Years of days leave a bar less than a pixel: an outline or smoothing would wash it out.
    hits->setPen(Qt::NoPen);
    chtHitsPerDay_->setRenderHint(QPainter::Antialiasing, days.size() <= 250);
    std::size_t most = 0;
    for (const DayHits& day : days) {
        hits->append(static_cast<qreal>(day.symbols));
        most = std::max(most, day.symbols);
    }
    auto* series = new QBarSeries;
    series->append(hits);
    series->setBarWidth(days.size() > 120 ? 1.0 : 0.8); // gaps only while they show
    chart->addSeries(series);

    // The days sit at 0, 1, 2 ... (trading days, no gaps for weekends); labels name the days,
    // or the first day of each month when there are too many days to name.
    auto* dates = new QCategoryAxis;
    dates->setLabelsPosition(QCategoryAxis::AxisLabelsPositionOnValue);
    dates->setRange(-0.5, static_cast<double>(days.size()) - 0.5);
    const bool byDay = days.size() <= kDayLabels;
    std::size_t months = 0;
    for (std::size_t i = 0; i < days.size(); ++i) {
        const std::string iso = FormatIsoDate(days[i].date);
        if (!byDay && i > 0 && FormatIsoDate(days[i - 1].date).substr(0, 7) == iso.substr(0, 7)) {
            continue;
        }
        ++months;
    }
    const std::size_t step = byDay ? 1 : std::max<std::size_t>(1, (months + 11) / 12);
    std::size_t month = 0;
    for (std::size_t i = 0; i < days.size(); ++i) {
        const std::string iso = FormatIsoDate(days[i].date);
        if (byDay) {
            dates->append(Q(days.size() <= 10 ? iso : iso.substr(5)), static_cast<qreal>(i));
            continue;
        }
        if (i > 0 && FormatIsoDate(days[i - 1].date).substr(0, 7) == iso.substr(0, 7)) {
            continue;
        }
        if (month++ % step == 0) {
            dates->append(Q(iso.substr(0, 7)), static_cast<qreal>(i));
        }
    }
    if (byDay && days.size() > 10) {
        dates->setLabelsAngle(-60);
    }
    chart->addAxis(dates, Qt::AlignBottom);
    series->attachAxis(dates);

    auto* count = new QValueAxis;
    count->setRange(0, static_cast<qreal>(most));
    count->setLabelFormat(QStringLiteral("%d"));
    count->setTickCount(static_cast<int>(std::min<std::size_t>(most, 4)) + 1);
    count->applyNiceNumbers(); // round steps: 0, 10, 20 rather than 0, 12, 25
    count->setTitleText(tr("symbols"));
    chart->addAxis(count, Qt::AlignLeft);
    series->attachAxis(count);

    connect(hits, &QBarSet::clicked, this, [this](int index) { ChooseDay(index); });
    connect(hits, &QBarSet::hovered, this, [this, hits](bool on, int index) {
        const std::vector<DayHits>& shown = table_->HitsPerDay();
        if (on && index >= 0 && static_cast<std::size_t>(index) < shown.size()) {
            const DayHits& day = shown[static_cast<std::size_t>(index)];
            chtHitsPerDay_->setToolTip(tr("%1: %2 symbols")
                                           .arg(Q(FormatIsoDate(day.date)))
                                           .arg(static_cast<qulonglong>(day.symbols)));
        }
        (void)hits;
    });
    ReplaceChart(chtHitsPerDay_, chart);
}

bool frmResults::eventFilter(QObject* watched, QEvent* event) {
    if (watched != chtHitsPerDay_ || event->type() != QEvent::KeyPress || table_ == nullptr ||
        table_->HitsPerDay().empty()) {
        return QWidget::eventFilter(watched, event);
    }
    const int last = static_cast<int>(table_->HitsPerDay().size()) - 1;
    switch (static_cast<QKeyEvent*>(event)->key()) {
    case Qt::Key_Left:
        ShowDayAt(chosenBar_ ? std::max(*chosenBar_ - 1, 0) : last);
        return true;
    case Qt::Key_Right:
        ShowDayAt(chosenBar_ ? std::min(*chosenBar_ + 1, last) : 0);
        return true;
    case Qt::Key_Escape:
        ShowAllDays();
        return true;
    default:
        return QWidget::eventFilter(watched, event);
    }
}

void frmResults::ChooseDay(int index) {
    if (table_ == nullptr || index < 0 ||
        static_cast<std::size_t>(index) >= table_->HitsPerDay().size()) {
        return;
    }
    // A second click on the day shown lets it go again.
    if (chosenBar_ == index) {
        ShowAllDays();
        return;
    }
    ShowDayAt(index);
}

void frmResults::ShowDayAt(int index) {
    RunGuarded(
        [&] { model_->ShowDay(table_->HitsPerDay()[static_cast<std::size_t>(index)].date); });
    chosenBar_ = index;
    const QList<QAbstractSeries*> series = chtHitsPerDay_->chart()->series();
    if (!series.isEmpty()) {
        if (auto* bars = qobject_cast<QBarSeries*>(series.front()); bars != nullptr) {
            bars->barSets().front()->deselectAllBars();
            bars->barSets().front()->selectBar(index);
        }
    }
    Mirror();
}

void frmResults::ShowAllDays() {
    model_->ShowDay(std::nullopt);
    chosenBar_.reset();
    const QList<QAbstractSeries*> series = chtHitsPerDay_->chart()->series();
    if (!series.isEmpty()) {
        if (auto* bars = qobject_cast<QBarSeries*>(series.front()); bars != nullptr) {
            bars->barSets().front()->deselectAllBars();
        }
    }
    Mirror();
}

void frmResults::RowSelected(const QModelIndex& current) {
    if (table_ == nullptr || !current.isValid()) {
        return;
    }
    const auto row = static_cast<std::size_t>(current.row());
    const std::string symbol = table_->SymbolAt(row);
    const TradeDate date = table_->DateAt(row);
    if (const std::optional<std::string> failure =
            RunGuarded([&] { whyPanel_->ShowRow(symbol, date); })) {
        lblStatus_->setText(tr("Could not explain that row: %1").arg(Q(*failure)));
    }
    emit SymbolChosen(Q(symbol));
}

void frmResults::OpenChart(const QModelIndex& index) {
    if (table_ == nullptr || !index.isValid()) {
        return;
    }
    const auto row = static_cast<std::size_t>(index.row());
    // Each chart is a window of its own that closes itself; it keeps the run it was opened
    // from, so a later run does not change it.
    if (const std::optional<std::string> failure = RunGuarded([&] {
            auto* chart =
                new frmChart(table_->SharedRun(), table_->SymbolAt(row), table_->DateAt(row), this);
            // Turning to a chart makes its symbol the current one, as selecting its row does.
            connect(chart, &frmChart::SymbolChosen, this, &frmResults::SymbolChosen);
            chart->show();
            chart->raise();
            chart->activateWindow();
        })) {
        lblStatus_->setText(tr("Could not open the chart: %1").arg(Q(*failure)));
    }
}

void frmResults::Export() {
    if (table_ == nullptr) {
        return;
    }
    std::optional<std::string> file;
    if (askExportFile) {
        file = askExportFile();
    } else {
        const QString chosen = QFileDialog::getSaveFileName(this, tr("Export the results"),
                                                            QStringLiteral("results.csv"),
                                                            tr("CSV files (*.csv);;All files (*)"));
        if (!chosen.isEmpty()) {
            file = chosen.toStdString();
        }
    }
    if (!file) {
        return;
    }
    const Result<void> written =
        table_->ExportCsv(std::filesystem::path(Q(*file).toStdU16String()));
    if (!written) {
        QMessageBox::warning(this, tr("Export the results"), Q(written.problem().Message()));
        return;
    }
    lblStatus_->setText(tr("%1 rows written to %2").arg(table_->RowCount()).arg(Q(*file)));
}

void frmResults::Copy() {
    if (table_ == nullptr) {
        return;
    }
    QGuiApplication::clipboard()->setText(Q(table_->CopyText()));
    lblStatus_->setText(tr("%1 rows are on the clipboard, tab-separated.").arg(table_->RowCount()));
}

} // namespace marlindex
