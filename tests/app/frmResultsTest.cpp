// The results window as a trader uses it: Run in the main window on a database folder, then
// sort, export, copy, pick a day in the chart, open a chart, keep one run beside the next, and
// cancel a long run.
#include "results/frmResults.h"

#include "amibroker/LocalBroker.h"
#include "mainwindow/frmMain.h"
#include "results/frmChart.h"
#include "settings/MemoryHive.h"
#include "settings/ProgramSettings.h"
#include "support/QuoteFixtures.h"
#include "support/Screenshot.h"
#include "support/ScriptedPrompts.h"
#include "support/TempFolder.h"

#include <QApplication>
#include <QBarSeries>
#include <QBarSet>
#include <QChartView>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QTableView>
#include <QTest>
#include <QTimer>
#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>

using namespace marlindex;
namespace fs = std::filesystem;

class frmResultsTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<test::TempFolder> folder_;
    std::unique_ptr<MemoryHive> hive_;
    std::unique_ptr<CProgramSettings> settings_;
    std::unique_ptr<MainWindowState> state_;
    std::unique_ptr<test::ScriptedPrompts> prompts_;
    std::unique_ptr<LocalBroker> broker_;
    std::unique_ptr<frmMain> window_;

    fs::path Database() const { return folder_->path() / "database"; }

    void Import(const ImportRequest& request) {
        const ImportOutcome outcome = ImportQuotes(Database(), request);
        QVERIFY2(outcome.status == ImportOutcome::Status::Imported,
                 outcome.problem ? outcome.problem->Message().c_str() : "");
    }

    // `count` more symbols of `bars` bars each, all closing above 1000.
    void ImportGenerated(int count, int bars) {
        const fs::path prices = folder_->path() / "generated";
        fs::create_directories(prices);
        for (int s = 0; s < count; ++s) {
            test::WriteBytes(prices / ("G" + std::to_string(1000 + s) + ".csv"),
                             test::GeneratedPrices(*ParseIsoDate("2023-01-02"), bars, s));
        }
        Import({std::nullopt, {prices}});
    }

    // The main window over the database folder, as the program opens it.
    void Open() {
        hive_ = std::make_unique<MemoryHive>();
        settings_ = std::make_unique<CProgramSettings>(CProgramSettings::ForMarlindex(*hive_));
        state_ = std::make_unique<MainWindowState>(*settings_);
        state_->LoadRunSettings();
        prompts_ = std::make_unique<test::ScriptedPrompts>();
        broker_ = std::make_unique<LocalBroker>(Database(), *prompts_);
        frmMain::Services services;
        services.broker = broker_.get();
        services.prompts = prompts_.get();
        services.programFolder = (folder_->path() / "AmiBroker" / "Marlindex").string();
        services.settings = settings_.get();
        window_ = std::make_unique<frmMain>(*state_, services);
        window_->show();
        QVERIFY(QTest::qWaitForWindowExposed(window_.get()));
        QApplication::setActiveWindow(window_.get());
    }

    template <typename T> T* Widget(QWidget* in, const char* name) {
        T* widget = in->findChild<T*>(QString::fromLatin1(name));
        if (widget == nullptr) {
            qFatal("no widget named %s", name);
        }
        return widget;
    }

    void Choose(const char* name, const QString& text) {
        auto* combo = Widget<QComboBox>(window_.get(), name);
        const int index = combo->findText(text);
        QVERIFY2(index >= 0, qPrintable(text));
        combo->setFocus(Qt::TabFocusReason);
        QTest::keyClick(combo, Qt::Key_Home);
        for (int i = 0; i < index; ++i) {
            QTest::keyClick(combo, Qt::Key_Down);
        }
    }

    void Type(const char* name, const QString& text) {
        auto* field = Widget<QLineEdit>(window_.get(), name);
        field->setFocus(Qt::TabFocusReason);
        field->selectAll();
        QTest::keyClicks(field, text);
    }

    void Click(QWidget* in, const char* name) {
        QWidget* widget = Widget<QWidget>(in, name);
        QTest::mouseClick(widget, Qt::LeftButton, {}, widget->rect().center());
    }

    // One condition row, "<indicator> is <comparison> <value>", as an exploration.
    void Condition(const QString& indicator, const QString& comparison, const QString& value) {
        Choose("cboIA1", indicator);
        Choose("cboCO", comparison);
        Choose("cboCT", QStringLiteral("Value"));
        Type("txtVal1", value);
        Click(window_.get(), "optExplore");
        Click(window_.get(), "optAllTickers");
    }

    frmResults* Run() {
        Click(window_.get(), "btnRun");
        frmResults* results = window_->ResultsWindow();
        if (results == nullptr) {
            qFatal("Run opened no results window");
        }
        return results;
    }

    QTableView* Grid(frmResults* results) { return Widget<QTableView>(results, "grdResults"); }

    QStringList ColumnOf(frmResults* results, int column) {
        QStringList cells;
        const QAbstractItemModel* model = Grid(results)->model();
        for (int r = 0; r < model->rowCount(); ++r) {
            cells << model->index(r, column).data().toString();
        }
        return cells;
    }

    void ClickHeader(frmResults* results, int column) {
        QHeaderView* header = Grid(results)->horizontalHeader();
        const QPoint at(header->sectionViewportPosition(column) + header->sectionSize(column) / 2,
                        header->height() / 2);
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, at);
    }

    // Clicks the bar of the `index`th day in the hits-per-day chart, where a user would.
    void ClickDay(frmResults* results, int index) {
        auto* view = Widget<QChartView>(results, "chtHitsPerDay");
        auto* series = qobject_cast<QBarSeries*>(view->chart()->series().front());
        QVERIFY(series != nullptr);
        const qreal middle = series->barSets().front()->at(index) / 2;
        const QPointF scene = view->chart()->mapToPosition(QPointF(index, middle), series);
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->mapFromScene(scene));
    }

private slots:
    void init() {
        folder_ = std::make_unique<test::TempFolder>();
        Import(test::TinyDatabase());
    }

    void cleanup() {
        window_.reset();
        broker_.reset();
        state_.reset();
    }

    void runSortsExportsCopiesAndOpensAChart() {
        Open();
        Condition(QStringLiteral("Price"), QStringLiteral("is greater than"), QStringLiteral("10"));
        Click(window_.get(), "optAllBars");
        frmResults* results = Run();
        QVERIFY(results->isVisible());
        QVERIFY2(prompts_->shown.empty(), "the window shows the rows: no message box");
        QVERIFY(results->windowTitle().startsWith(
            QStringLiteral("Exploration: 6 rows, all bars, ran ")));
        QCOMPARE(Widget<QLabel>(results, "lblCount")->text(), QStringLiteral("6 rows"));
        QVERIFY(!Widget<QProgressBar>(results, "prgRun")->isVisible());

        // Volume sorts as numbers (as text, "1000.00" would come before "200.00"), and again
        // the other way; ties keep symbol and date order.
        ClickHeader(results, 6);
        QCOMPARE(ColumnOf(results, 6),
                 QStringList({"200.00", "300.00", "500.00", "1000.00", "2000.00", "3000.00"}));
        ClickHeader(results, 6);
        QCOMPARE(ColumnOf(results, 6).front(), QStringLiteral("3000.00"));
        ClickHeader(results, 2); // Close: AAA 11, 11, 12; BBB 20, 19, 21
        QCOMPARE(ColumnOf(results, 1), QStringList({"2024-01-03", "2024-01-04", "2024-01-08",
                                                    "2024-01-04", "2024-01-03", "2024-01-08"}));

        // Export writes the rows in the order shown, in the command-line tool's format.
        const fs::path file = folder_->path() / "export" / "rows.csv";
        fs::create_directories(file.parent_path());
        results->askExportFile = [&] { return std::optional<std::string>(file.string()); };
        Click(results, "btnExport");
        QCOMPARE(QString::fromStdString(test::ReadBytes(file)),
                 QStringLiteral("Symbol,Date,Close,Open,High,Low,Volume\n"
                                "AAA,2024-01-03,11.00,10.00,11.50,9.50,200.00\n"
                                "AAA,2024-01-04,11.00,11.00,11.50,10.50,300.00\n"
                                "AAA,2024-01-08,12.00,10.00,12.50,10.00,500.00\n"
                                "BBB,2024-01-04,19.00,20.00,20.00,18.00,2000.00\n"
                                "BBB,2024-01-03,20.00,20.00,21.00,19.00,1000.00\n"
                                "BBB,2024-01-08,21.00,19.00,22.00,19.00,3000.00\n"));
        Click(results, "btnCopy");
        const QStringList copied = QGuiApplication::clipboard()->text().split(u'\n');
        QCOMPARE(copied.front(), QStringLiteral("Symbol\tDate\tClose\tOpen\tHigh\tLow\tVolume"));
        QCOMPARE(copied[4], QStringLiteral("BBB\t2024-01-04\t19.00\t20.00\t20.00\t18.00\t2000.00"));

        // Selecting a row makes its symbol the current one; a double click opens its chart.
        QTableView* grid = Grid(results);
        const QPoint row4 = grid->visualRect(grid->model()->index(3, 0)).center();
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, row4);
        QCOMPARE(QString::fromStdString(state_->currentSymbol.Symbol()), QStringLiteral("BBB"));
        // The selection stays with its row when the table is sorted again.
        ClickHeader(results, 6);
        QCOMPARE(grid->currentIndex().row(), 4); // Volume 2000, ascending
        QCOMPARE(grid->currentIndex().siblingAtColumn(1).data().toString(),
                 QStringLiteral("2024-01-04"));
        ClickHeader(results, 2);
        QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {}, row4);
        QCOMPARE(results->findChildren<frmChart*>().size(), qsizetype(1));
        // Back in the results window, Enter on a row opens its chart too.
        QApplication::setActiveWindow(results);
        grid->setFocus(Qt::OtherFocusReason);
        QTest::keyClick(grid, Qt::Key_Return);
        const QList<frmChart*> charts = results->findChildren<frmChart*>();
        QCOMPARE(charts.size(), qsizetype(2));
        QVERIFY(charts.front()->isVisible());
        QVERIFY(charts.front()->windowTitle().startsWith(QStringLiteral("BBB")));

        // Another row makes its symbol current; turning back to a chart makes the chart's.
        const QModelIndex first = grid->model()->index(0, 0);
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, grid->visualRect(first).center());
        QCOMPARE(QString::fromStdString(state_->currentSymbol.Symbol()), first.data().toString());
        QApplication::setActiveWindow(charts.front());
        QTRY_COMPARE(QString::fromStdString(state_->currentSymbol.Symbol()), QStringLiteral("BBB"));
    }

    void aDayClickedInTheChartShowsItsRows() {
        Open();
        Condition(QStringLiteral("Price"), QStringLiteral("is greater than"), QStringLiteral("10"));
        Click(window_.get(), "optAllBars");
        frmResults* results = Run();
        // AAA and BBB pass on 01-03, 01-04 and 01-08.
        ClickDay(results, 1);
        QCOMPARE(ColumnOf(results, 1), QStringList({"2024-01-04", "2024-01-04"}));
        QCOMPARE(Widget<QLabel>(results, "lblCount")->text(),
                 QStringLiteral("2 of 6 rows, on 2024-01-04"));
        // A sort keeps the day.
        ClickHeader(results, 0);
        ClickHeader(results, 0);
        QCOMPARE(ColumnOf(results, 0), QStringList({"BBB", "AAA"}));
        auto* allDays = Widget<QPushButton>(results, "btnAllDays");
        QVERIFY(allDays->isEnabled());
        Click(results, "btnAllDays");
        QCOMPARE(Grid(results)->model()->rowCount(), 6);
        QVERIFY(!allDays->isEnabled());
        // Another day, then the same day again, which lets it go.
        ClickDay(results, 2);
        QCOMPARE(ColumnOf(results, 1), QStringList({"2024-01-08", "2024-01-08"}));
        ClickDay(results, 2);
        QCOMPARE(Widget<QLabel>(results, "lblCount")->text(), QStringLiteral("6 rows"));
        // The keyboard steps through the days and lets them go.
        auto* chart = Widget<QChartView>(results, "chtHitsPerDay");
        chart->setFocus(Qt::TabFocusReason);
        QTest::keyClick(chart, Qt::Key_Right);
        QTest::keyClick(chart, Qt::Key_Right);
        QCOMPARE(ColumnOf(results, 1), QStringList({"2024-01-04", "2024-01-04"}));
        QTest::keyClick(chart, Qt::Key_Left);
        QTest::keyClick(chart, Qt::Key_Left);
        QCOMPARE(ColumnOf(results, 1).front(), QStringLiteral("2024-01-03"));
        QTest::keyClick(chart, Qt::Key_Escape);
        QCOMPARE(Grid(results)->model()->rowCount(), 6);
    }

    void aSecondRunReplacesTheRowsUnlessTheyAreKept() {
        Open();
        Condition(QStringLiteral("Price"), QStringLiteral("is greater than"), QStringLiteral("10"));
        Click(window_.get(), "optAllBars");
        frmResults* first = Run();
        QCOMPARE(Run(), first);
        Widget<QCheckBox>(first, "chkKeep")->setChecked(true);
        Click(window_.get(), "OptLastDays");
        Type("txtRange", QStringLiteral("1"));
        frmResults* second = Run();
        QVERIFY(second != first);
        QCOMPARE(Grid(first)->model()->rowCount(), 6);
        QCOMPARE(Grid(second)->model()->rowCount(), 2);
        QVERIFY(second->windowTitle().startsWith(QStringLiteral("Exploration: 2 rows, last day")));

        // A run that fails says why in a message and in the window, which keeps its rows.
        Click(window_.get(), "OptCurrentTicker");
        Type("txtSymbol", QStringLiteral("ZZZ"));
        QCOMPARE(Run(), second);
        QCOMPARE(prompts_->shown.size(), std::size_t{1});
        QVERIFY(Widget<QLabel>(second, "lblStatus")
                    ->text()
                    .startsWith(QStringLiteral("The run stopped: ")));
        QCOMPARE(Grid(second)->model()->rowCount(), 2);
    }

    void cancelStopsALongRunWithTheRowsOfTheSymbolsDone() {
        ImportGenerated(300, 400);
        Open();
        Condition(QStringLiteral("Price"), QStringLiteral("is greater than"), QStringLiteral("10"));
        Click(window_.get(), "optAllBars");
        // Cancel is clicked as soon as the window's events run during the run.
        bool clicked = false;
        bool progressShown = false;
        std::function<void()> cancelWhenRunning = [&] {
            frmResults* results = window_->ResultsWindow();
            if (results != nullptr && results->Running()) {
                // The progress shows, and Run waits for the run under way.
                progressShown = Widget<QProgressBar>(results, "prgRun")->isVisible() &&
                                Widget<QPushButton>(results, "btnCancel")->isVisible() &&
                                !Widget<QPushButton>(window_.get(), "btnRun")->isEnabled();
                Widget<QPushButton>(results, "btnCancel")->click();
                clicked = true;
                return;
            }
            QTimer::singleShot(0, cancelWhenRunning);
        };
        QTimer::singleShot(0, cancelWhenRunning);
        frmResults* results = Run();
        QVERIFY(clicked);
        QVERIFY(progressShown);
        QVERIFY(results->Table() != nullptr);
        QVERIFY(results->Table()->Run().results.cancelled);
        QVERIFY(results->Table()->Run().results.symbolsRun < 303);
        QVERIFY(results->windowTitle().contains(QStringLiteral("cancelled")));
        QVERIFY(
            Widget<QLabel>(results, "lblStatus")->text().startsWith(QStringLiteral("Cancelled")));
        QVERIFY(!Widget<QPushButton>(results, "btnCancel")->isVisible());
    }

    // The sample database of real quotes: oversold stocks in the last 40 trading days.
    void sampleDatabaseScreenshots() {
        const char* source = std::getenv("MARLINDEX_SOURCE_DIR");
        const fs::path quotes = fs::path(source != nullptr ? source : ".") / "examples" / "quotes";
        if (!fs::is_directory(quotes / "prices")) {
            QSKIP("the sample quotes (examples/quotes) are not here");
        }
        folder_ = std::make_unique<test::TempFolder>();
        Import({quotes / "symbols.csv", {quotes / "prices"}});
        Open();
        Condition(QStringLiteral("RSI"), QStringLiteral("is less than"), QStringLiteral("35"));
        Click(window_.get(), "OptLastDays");
        Type("txtRange", QStringLiteral("40"));
        frmResults* results = Run();
        QVERIFY(Grid(results)->model()->rowCount() > 0);
        results->resize(1280, 800);
        // The busiest day, its heaviest volume first.
        const std::vector<DayHits>& days = results->Table()->HitsPerDay();
        const auto busiest =
            std::max_element(days.begin(), days.end(), [](const DayHits& a, const DayHits& b) {
                return a.symbols < b.symbols;
            });
        ClickDay(results, static_cast<int>(busiest - days.begin()));
        QCOMPARE(Grid(results)->model()->rowCount(), static_cast<int>(busiest->symbols));
        ClickHeader(results, 6);
        ClickHeader(results, 6);
        QTableView* grid = Grid(results);
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, {},
                          grid->visualRect(grid->model()->index(0, 0)).center());
        test::SaveScreenshot(*results, QStringLiteral("results-window"));
        test::SaveScreenshot(*Widget<QChartView>(results, "chtHitsPerDay"),
                             QStringLiteral("hits-per-day"));
    }
};

QTEST_MAIN(frmResultsTest)
#include "frmResultsTest.moc"
