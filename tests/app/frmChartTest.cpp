// The chart of a hit as a trader uses it: opened on a real symbol of the sample quotes with a
// realistic buy scan, its candles, indicators and marks are there, the hit is in view, and keys,
// the wheel and a drag move every pane together.
#include "results/frmChart.h"

#include "quotes/QuoteImport.h"
#include "scanfile/ScanFile.h"
#include "settings/MemoryHive.h"
#include "support/Screenshot.h"
#include "support/TempFolder.h"

#include <QCandlestickSeries>
#include <QCandlestickSet>
#include <QCategoryAxis>
#include <QChart>
#include <QChartView>
#include <QLabel>
#include <QLineSeries>
#include <QScatterSeries>
#include <QSignalSpy>
#include <QTest>
#include <QValueAxis>
#include <QWheelEvent>
#include <cstdlib>
#include <memory>

using namespace marlindex;

namespace {

// An oversold bounce: RSI below 35 within the last 10 bars, and the close crossing above its
// 30-bar average.
const char* const kBounce = R"j({"name": "Oversold bounce", "analysis": "buy", "rows": [
    {"indicator1": "RSI", "bars1": 10, "comparison": "has been less than", "target": "Value",
     "value": 35},
    {"joiner": "AND", "indicator1": "Price", "option1": "Close", "bars1": 0,
     "comparison": "crosses above", "target": "Indicator", "indicator2": "MA (Medium)",
     "option2": "Simple", "bars2": 1}]})j";

std::filesystem::path SampleQuotes() {
    const char* source = std::getenv("MARLINDEX_SOURCE_DIR");
    return std::filesystem::path(source != nullptr ? source : ".") / "examples" / "quotes";
}

} // namespace

class frmChartTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<test::TempFolder> folder_;
    std::shared_ptr<RunContext> run_;

    static QChartView* PaneView(frmChart& form, const char* name) {
        return form.findChild<QChartView*>(QString::fromLatin1(name));
    }
    template <typename Series> static Series* Find(QChartView* view, const char* name) {
        for (QAbstractSeries* series : view->chart()->series()) {
            if (series->objectName() == QLatin1String(name)) {
                return qobject_cast<Series*>(series);
            }
        }
        return nullptr;
    }
    static QStringList LineNames(QChartView* view) {
        QStringList names;
        for (QAbstractSeries* series : view->chart()->series()) {
            if (series->objectName() == QLatin1String("indicator") && !series->name().isEmpty()) {
                names << series->name();
            }
        }
        return names;
    }
    static std::pair<double, double> XRange(QChartView* view) {
        const auto* axis = qobject_cast<QValueAxis*>(view->chart()->axes(Qt::Horizontal).front());
        return {axis->min(), axis->max()};
    }
    // Every pane shows the bars of the view, and only them.
    static void CheckPanesShowTheView(frmChart& form) {
        const ChartViewport& view = *form.Viewport();
        const double first = static_cast<double>(view.first()) - 0.5;
        const double last = static_cast<double>(view.first() + view.count()) - 0.5;
        const QList<QChartView*> panes = form.findChildren<QChartView*>();
        QCOMPARE(panes.size(), 3);
        for (QChartView* pane : panes) {
            QCOMPARE(XRange(pane), std::make_pair(first, last));
        }
    }
    std::unique_ptr<frmChart> Open(const char* symbol, const char* date) {
        auto form = std::make_unique<frmChart>(run_, symbol, *ParseIsoDate(date));
        form->show();
        (void)QTest::qWaitForWindowExposed(form.get());
        return form;
    }

private slots:
    void initTestCase() {
        folder_ = std::make_unique<test::TempFolder>();
        const ImportOutcome imported = ImportQuotes(
            folder_->path(), {SampleQuotes() / "symbols.csv", {SampleQuotes() / "prices"}});
        QCOMPARE(imported.status, ImportOutcome::Status::Imported);
        // A symbol listed before its first bar came.
        std::filesystem::create_directories(*folder_ / "more");
        test::WriteBytes(*folder_ / "more" / "NEW.csv", "Date,Open,High,Low,Close,Volume\n");
        QCOMPARE(ImportQuotes(folder_->path(), {std::nullopt, {*folder_ / "more"}}).status,
                 ImportOutcome::Status::Imported);
        const Result<ParsedScan> scan = ParseScan(kBounce);
        QVERIFY(scan.ok());
        MemoryHive hive;
        const GeneratedScan generated =
            GenerateScan(scan->scan, CProgramSettings::ForMarlindex(hive));
        run_ = std::make_shared<RunContext>();
        run_->databaseFolder = folder_->path();
        run_->formulaText = generated.formula;
        run_->records = generated.records;
        run_->request.mode = AnalysisMode::Scan;
    }

    void showsCandlesIndicatorsAndMarksWithTheHitInView() {
        const std::unique_ptr<frmChart> form = Open("JPM", "2017-05-01");
        QVERIFY(form->Data() != nullptr);
        QVERIFY(
            form->windowTitle().startsWith(QStringLiteral("JPM (JPMorgan Chase & Co.): buy scan")));
        QVERIFY(form->windowTitle().contains(QStringLiteral("2017-05-01")));

        QChartView* price = PaneView(*form, "pricePane");
        QChartView* rsi = PaneView(*form, "indicatorPane0");
        QVERIFY(price != nullptr && PaneView(*form, "volumePane") != nullptr && rsi != nullptr);
        auto* candles = Find<QCandlestickSeries>(price, "candles");
        QVERIFY(candles != nullptr);
        // Candles for the bars in view and a view's width either side, not the whole history.
        const ChartViewport& view = *form->Viewport();
        QCOMPARE(static_cast<std::size_t>(candles->count()), 3 * view.count());
        QCOMPARE(candles->sets().front()->timestamp(),
                 static_cast<double>(view.first() - view.count()));
        // The average over the candles; the close itself is what the candles show.
        QCOMPARE(LineNames(price), QStringList{QStringLiteral("MA (Medium) Simple(30)")});
        QCOMPARE(LineNames(rsi), QStringList{QStringLiteral("RSI(14)")});
        QVERIFY(Find<QLineSeries>(rsi, "level") != nullptr);

        // The hit is in view, marked, with the line through it; the buys in view are marked
        // under their bars.
        const std::size_t hit = form->Data()->hitBar;
        QCOMPARE(form->Data()->bars.dates[hit], *ParseIsoDate("2017-05-01"));
        QVERIFY(view.Shows(hit));
        QCOMPARE(view.count(), ChartViewport::kOpeningBars);
        auto* marks = Find<QScatterSeries>(price, "marksBelow");
        QVERIFY(marks != nullptr);
        bool hitMarked = false;
        for (const QPointF& point : marks->points()) {
            const auto bar = static_cast<std::size_t>(point.x());
            QVERIFY(view.Shows(bar));
            QVERIFY(point.y() < form->Data()->bars.low[bar]);
            hitMarked = hitMarked || bar == hit;
        }
        QVERIFY(hitMarked);
        QVERIFY(marks->count() >= 3); // 2017-04-25, 05-01 and 06-09
        QCOMPARE(Find<QLineSeries>(price, "hitLine")->points().front().x(),
                 static_cast<double>(hit));
        CheckPanesShowTheView(*form);
        // Only the lowest pane writes dates.
        QVERIFY(!price->chart()->axes(Qt::Horizontal).front()->labelsVisible());
        QVERIFY(rsi->chart()->axes(Qt::Horizontal).front()->labelsVisible());

        // Turning to the chart makes its symbol the current one.
        QSignalSpy chosen(form.get(), &frmChart::SymbolChosen);
        QEvent activate(QEvent::WindowActivate);
        QApplication::sendEvent(form.get(), &activate);
        QCOMPARE(chosen.size(), 1);
        QCOMPARE(chosen.front().front().toString(), QStringLiteral("JPM"));

        form->resize(1200, 820);
        test::SaveScreenshot(*form, QStringLiteral("chart"));
    }

    void keysWheelAndDragMoveEveryPaneTogether() {
        const std::unique_ptr<frmChart> form = Open("MSFT", "2015-07-14");
        const ChartViewport& view = *form->Viewport();
        const std::size_t first = view.first();

        QTest::keyClick(form.get(), Qt::Key_Plus);
        QVERIFY(view.count() < ChartViewport::kOpeningBars);
        CheckPanesShowTheView(*form);
        QTest::keyClick(form.get(), Qt::Key_Minus);
        QCOMPARE(view.count(), ChartViewport::kOpeningBars);
        QCOMPARE(view.first(), first);

        QTest::keyClick(form.get(), Qt::Key_Left);
        QCOMPARE(view.first(), first - 12);
        QTest::keyClick(form.get(), Qt::Key_Right);
        QTest::keyClick(form.get(), Qt::Key_Right);
        QCOMPARE(view.first(), first + 12);
        QTest::keyClick(form.get(), Qt::Key_Home);
        QCOMPARE(view.first(), std::size_t{0});
        CheckPanesShowTheView(*form);
        QTest::keyClick(form.get(), Qt::Key_End);
        QCOMPARE(view.first() + view.count(), form->Data()->bars.size());
        CheckPanesShowTheView(*form);
        // The candles followed: the last bar has its candle.
        auto* candles = Find<QCandlestickSeries>(PaneView(*form, "pricePane"), "candles");
        QCOMPARE(candles->sets().back()->timestamp(),
                 static_cast<double>(form->Data()->bars.size() - 1));

        // The wheel zooms in around the pointer, on any pane.
        QChartView* rsi = PaneView(*form, "indicatorPane0");
        const QPointF centre = rsi->chart()->plotArea().center();
        const double pinned =
            static_cast<double>(view.first()) + static_cast<double>(view.count()) / 2;
        QWheelEvent wheel(centre, rsi->viewport()->mapToGlobal(centre), QPoint(), QPoint(0, 240),
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(rsi->viewport(), &wheel);
        QVERIFY(view.count() < ChartViewport::kOpeningBars);
        QVERIFY(std::abs(static_cast<double>(view.first()) + static_cast<double>(view.count()) / 2 -
                         pinned) <= 1);
        // A touchpad's small turns add up to a step.
        const std::size_t zoomed = view.count();
        QWheelEvent small(centre, rsi->viewport()->mapToGlobal(centre), QPoint(), QPoint(0, -60),
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(rsi->viewport(), &small);
        QCOMPARE(view.count(), zoomed);
        QApplication::sendEvent(rsi->viewport(), &small);
        QVERIFY(view.count() > zoomed);
        CheckPanesShowTheView(*form);

        // Dragging the price pane to the right by half its width shows earlier bars.
        QChartView* price = PaneView(*form, "pricePane");
        const QRectF plot = price->chart()->plotArea();
        const std::size_t before = view.first();
        const QPointF from = plot.center();
        const QPointF to = from + QPointF(plot.width() / 2, 0);
        QMouseEvent press(QEvent::MouseButtonPress, from, price->viewport()->mapToGlobal(from),
                          Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
        QMouseEvent move(QEvent::MouseMove, to, price->viewport()->mapToGlobal(to), Qt::NoButton,
                         Qt::LeftButton, Qt::NoModifier);
        QMouseEvent release(QEvent::MouseButtonRelease, to, price->viewport()->mapToGlobal(to),
                            Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(price->viewport(), &press);
        QApplication::sendEvent(price->viewport(), &move);
        QApplication::sendEvent(price->viewport(), &release);
        QVERIFY(std::abs(static_cast<double>(before - view.first()) -
                         static_cast<double>(view.count()) / 2) <= 1);
        CheckPanesShowTheView(*form);
        // The bar under the pointer is described.
        QVERIFY(form->findChild<QLabel*>(QStringLiteral("lblBar"))
                    ->text()
                    .contains(QStringLiteral(" O ")));
    }

    void saysWhyThereIsNoChart() {
        const std::unique_ptr<frmChart> form = Open("ZZZZ", "2017-05-01");
        QVERIFY(form->Data() == nullptr);
        auto* problem = form->findChild<QLabel*>(QStringLiteral("lblProblem"));
        QVERIFY(problem->isVisible());
        QVERIFY(problem->text().contains(QStringLiteral("ZZZZ")));
        // Keys do nothing harmful on an empty window.
        QTest::keyClick(form.get(), Qt::Key_Plus);

        // A symbol without bars yet has an empty chart, which zooms and pans without harm.
        const std::unique_ptr<frmChart> empty = Open("NEW", "2017-05-01");
        QVERIFY(empty->Data() != nullptr);
        QCOMPARE(empty->Viewport()->count(), std::size_t{0});
        for (const Qt::Key key : {Qt::Key_Plus, Qt::Key_Minus, Qt::Key_Left, Qt::Key_End}) {
            QTest::keyClick(empty.get(), key);
        }
        QVERIFY(!empty->findChild<QLabel*>(QStringLiteral("lblProblem"))->isVisible());
    }
};

QTEST_MAIN(frmChartTest)
#include "frmChartTest.moc"
