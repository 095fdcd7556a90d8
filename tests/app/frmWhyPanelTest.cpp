// The why-panel as a trader uses it on the sample database of real quotes: a row of the
// results chosen, and a symbol with no rows typed in the symbol box.
#include "results/frmWhyPanel.h"

#include "afl/Formula.h"
#include "quotes/QuoteImport.h"
#include "quotes/QuoteStore.h"
#include "scanfile/ScanFile.h"
#include "settings/MemoryHive.h"
#include "support/Screenshot.h"
#include "support/TempFolder.h"

#include <QAbstractItemView>
#include <QCompleter>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>
#include <cstdlib>

namespace marlindex {

namespace {

// A pullback in an uptrend: RSI below 45 while the close stays above its 50-day average,
// over the last 20 trading days.
constexpr std::string_view kScan = R"json({
  "name": "Pullback in an uptrend",
  "analysis": "exploration",
  "range": "lastDays",
  "rangeN": 20,
  "rows": [
    { "indicator1": "RSI", "comparison": "is less than", "target": "Value", "value": 45 },
    { "joiner": "AND", "indicator1": "Price", "option1": "Close",
      "comparison": "is greater than", "target": "Indicator",
      "indicator2": "MA (Long)", "option2": "Simple", "bars2": 0 }
  ]
})json";

std::filesystem::path SourceDir() {
    const char* source = std::getenv("MARLINDEX_SOURCE_DIR");
    return source != nullptr ? source : ".";
}

QColor ValueColour(const QTableWidget& list, int row) {
    return list.item(row, 2)->foreground().color();
}

} // namespace

class frmWhyPanelTest : public QObject {
    Q_OBJECT

private:
    template <typename Widget> static Widget* Child(QWidget& parent, const char* name) {
        auto* child = parent.findChild<Widget*>(QString::fromLatin1(name));
        if (child == nullptr) {
            qFatal("no widget %s", name);
        }
        return child;
    }

    test::TempFolder database_;
    std::shared_ptr<const RunContext> run_;

private slots:
    void initTestCase() {
        const std::filesystem::path quotes = SourceDir() / "examples" / "quotes";
        const ImportOutcome imported =
            ImportQuotes(database_.path(), {quotes / "symbols.csv", {quotes / "prices"}});
        QVERIFY2(imported.status == ImportOutcome::Status::Imported,
                 imported.problem ? imported.problem->Message().c_str() : "");

        Result<ParsedScan> scan = ParseScan(kScan);
        QVERIFY(scan.ok());
        MemoryHive hive;
        const GeneratedScan generated =
            GenerateScan(scan->scan, CProgramSettings::ForMarlindex(hive));
        auto run = std::make_shared<RunContext>();
        run->databaseFolder = database_.path();
        run->formulaText = generated.formula;
        run->records = generated.records;
        run->request = {AnalysisMode::Explore, {RangeMode::LastDays, 20}, {}, 1};
        Result<QuoteStore> store = QuoteStore::Open(database_.path());
        QVERIFY(store.ok());
        Result<AnalysisResults> results =
            RunAnalysis(afl::Formula::Parse(generated.formula), *store, run->request);
        QVERIFY(results.ok());
        run->results = std::move(*results);
        run->ranAt = "2026-11-25 14:03";
        run_ = run;
    }

    // HD passed on 2018-02-06: both rows true, and so the formula.
    void aPassingRowShowsEveryConditionTrue() {
        frmWhyPanel panel;
        panel.SetRun(run_);
        panel.show();
        QVERIFY(QTest::qWaitForWindowExposed(&panel));
        panel.ShowRow("HD", *ParseIsoDate("2018-02-06"));

        QCOMPARE(Child<QLabel>(panel, "lblHeading")->text(),
                 QStringLiteral("Why HD passed on 2018-02-06"));
        auto* list = Child<QTableWidget>(panel, "lstWhy");
        QCOMPARE(list->rowCount(), 3); // two rows, then the formula
        QCOMPARE(list->item(0, 1)->text(),
                 QStringLiteral("RSI(14) of the current bar is less than 45"));
        QCOMPARE(list->item(1, 0)->text(), QStringLiteral("AND"));
        for (int row = 0; row < 3; ++row) {
            QCOMPARE(list->item(row, 2)->text(), QStringLiteral("true"));
        }
        QCOMPARE(list->horizontalHeaderItem(2)->text(), QStringLiteral("Value on 2018-02-06"));
        // The box holds the row's symbol, so Explain at once asks about it as a whole.
        QCOMPARE(Child<QLineEdit>(panel, "txtSymbol")->text(), QStringLiteral("HD"));
    }

    // AAPL has no rows: typed in lower case from the completion and explained with the
    // keyboard alone, its last bar shows the average it fell below in red.
    void aMissingSymbolTypedInTheBoxShowsTheRowThatFailed() {
        frmWhyPanel panel;
        panel.SetRun(run_);
        panel.resize(720, 260);
        panel.show();
        // The completion completes only into a box that has the keyboard.
        panel.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&panel));
        auto* symbol = Child<QLineEdit>(panel, "txtSymbol");
        auto* explain = Child<QPushButton>(panel, "btnExplain");
        QVERIFY(!explain->isEnabled());

        symbol->setFocus();
        QTest::keyClicks(symbol, QStringLiteral("aap"));
        QCOMPARE(symbol->completer()->currentCompletion(), QStringLiteral("AAPL"));
        QTRY_VERIFY(symbol->completer()->popup()->isVisible());
        QTest::keyClick(symbol->completer()->popup(), Qt::Key_Down);
        // Enter picks the symbol and explains it at once.
        QTest::keyClick(symbol->completer()->popup(), Qt::Key_Return);
        QCOMPARE(symbol->text(), QStringLiteral("AAPL"));
        QVERIFY(explain->isEnabled());

        QCOMPARE(Child<QLabel>(panel, "lblHeading")->text(),
                 QStringLiteral("Why AAPL is missing (last bar 2018-02-07)"));
        auto* list = Child<QTableWidget>(panel, "lstWhy");
        QCOMPARE(list->rowCount(), 3);
        QCOMPARE(list->item(0, 2)->text(), QStringLiteral("true"));
        QCOMPARE(list->item(1, 2)->text(), QStringLiteral("false"));
        QCOMPARE(list->item(2, 2)->text(), QStringLiteral("false"));
        QVERIFY(ValueColour(*list, 1).red() > ValueColour(*list, 1).green());
        QVERIFY(ValueColour(*list, 0).green() > ValueColour(*list, 0).red());
        test::SaveScreenshot(panel, QStringLiteral("why-panel"));

        // A name the database does not have says so instead of explaining.
        symbol->selectAll();
        QTest::keyClicks(symbol, QStringLiteral("NOPE"));
        QTest::mouseClick(explain, Qt::LeftButton);
        QCOMPARE(Child<QLabel>(panel, "lblHeading")->text(),
                 QStringLiteral("NOPE is not in the database"));
        QCOMPARE(list->rowCount(), 0);
    }
};

} // namespace marlindex

QTEST_MAIN(marlindex::frmWhyPanelTest)
#include "frmWhyPanelTest.moc"
