// The Import Quotes dialog's wiring: files chosen through its buttons, the import started and
// cancelled with real clicks, and the report shown, on the sample quotes of examples/quotes.
#include "quotes/frmImportQuotes.h"

#include "quotes/QuoteStore.h"
#include "support/Screenshot.h"
#include "support/TempFolder.h"

#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QtTest>
#include <cstdlib>
#include <memory>

using namespace marlindex;

namespace {

QString Examples(const char* name) {
    const char* source = std::getenv("MARLINDEX_SOURCE_DIR");
    return QString::fromStdString(
        (std::filesystem::path(source != nullptr ? source : ".") / "examples" / "quotes" / name)
            .string());
}

} // namespace

class frmImportQuotesTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<test::TempFolder> folder_;
    std::unique_ptr<ImportQuotesState> state_;
    std::unique_ptr<frmImportQuotes> form_;
    QStringList files_;

    template <typename Widget> Widget* Control(const char* name) {
        auto* widget = form_->findChild<Widget*>(QString::fromLatin1(name));
        if (widget == nullptr) {
            qFatal("no widget named %s", name);
        }
        return widget;
    }
    std::filesystem::path Database() const { return folder_->path() / "database"; }

private slots:
    void init() {
        folder_ = std::make_unique<test::TempFolder>();
        state_ = std::make_unique<ImportQuotesState>(Database());
        frmImportQuotes::Choosers choosers;
        choosers.priceFiles = [this](QWidget*) { return files_; };
        choosers.folder = [](QWidget*) { return Examples("prices"); };
        choosers.symbolsFile = [](QWidget*) { return Examples("symbols.csv"); };
        form_ = std::make_unique<frmImportQuotes>(*state_, choosers);
        form_->show();
        QVERIFY(QTest::qWaitForWindowExposed(form_.get()));
    }
    void cleanup() { form_.reset(); }

    void importsTheSampleAndListsTheRepairedRows() {
        auto* import = Control<QPushButton>("btnImport");
        QVERIFY(!import->isEnabled());
        // Files and a folder: a file the folder holds too would give its symbol twice, so the
        // user takes it out again.
        files_ = {Examples("prices/AAPL.csv")};
        QTest::mouseClick(Control<QPushButton>("btnAddFiles"), Qt::LeftButton);
        QTest::mouseClick(Control<QPushButton>("btnAddFolder"), Qt::LeftButton);
        QCOMPARE(Control<QListWidget>("lstPaths")->count(), 2);
        Control<QListWidget>("lstPaths")->setCurrentRow(0);
        QTest::mouseClick(Control<QPushButton>("btnRemove"), Qt::LeftButton);
        QCOMPARE(Control<QListWidget>("lstPaths")->item(0)->text(), Examples("prices"));
        QTest::mouseClick(Control<QPushButton>("btnSymbols"), Qt::LeftButton);
        QCOMPARE(Control<QLineEdit>("txtSymbols")->text(), Examples("symbols.csv"));

        QVERIFY(import->isEnabled());
        QTest::mouseClick(import, Qt::LeftButton);
        const QString report = Control<QPlainTextEdit>("txtReport")->toPlainText();
        QVERIFY2(report.contains(QStringLiteral("53 price files")), qPrintable(report));
        QVERIFY2(report.contains(QStringLiteral("53 new symbols")), qPrintable(report));
        QVERIFY2(report.contains(QStringLiteral("O.csv:")) &&
                     report.contains(QStringLiteral(": repaired: ")),
                 qPrintable(report));
        QVERIFY(!Control<QProgressBar>("prgImport")->isVisible());
        QCOMPARE(Control<QPushButton>("btnClose")->text(), QStringLiteral("Close"));
        QVERIFY(state_->ChangedDatabase());
        QCOMPARE(QuoteStore::Open(Database())->List().size(), std::size_t{53});
        test::SaveScreenshot(*form_, QStringLiteral("import-quotes"));

        QTest::mouseClick(Control<QPushButton>("btnClose"), Qt::LeftButton);
        QVERIFY(!form_->isVisible());
    }

    void cancelStopsTheImportAndKeepsNothing() {
        QTest::mouseClick(Control<QPushButton>("btnAddFolder"), Qt::LeftButton);
        auto* close = Control<QPushButton>("btnClose");
        bool sawCancel = false;
        // Pressed while the import runs: the first step of its progress lets the click in.
        QTimer::singleShot(0, this, [&] {
            sawCancel = close->text() == QStringLiteral("Cancel") &&
                        Control<QProgressBar>("prgImport")->isVisible() &&
                        !Control<QPushButton>("btnAddFolder")->isEnabled();
            QTest::mouseClick(close, Qt::LeftButton);
        });
        QTest::mouseClick(Control<QPushButton>("btnImport"), Qt::LeftButton);
        QVERIFY(sawCancel);
        // Cancel stops the import; the dialog stays to say so.
        QVERIFY(form_->isVisible());
        QVERIFY(Control<QPlainTextEdit>("txtReport")
                    ->toPlainText()
                    .startsWith(QStringLiteral("The import was cancelled.")));
        QVERIFY(!state_->ChangedDatabase());
        QVERIFY(!std::filesystem::exists(Database() / "quotes.db"));

        // Closing the window while it runs cancels it too, and then closes.
        QTimer::singleShot(0, this, [&] { form_->reject(); });
        QTest::mouseClick(Control<QPushButton>("btnImport"), Qt::LeftButton);
        QVERIFY(!form_->isVisible());
        QVERIFY(!std::filesystem::exists(Database() / "quotes.db"));
    }
};

QTEST_MAIN(frmImportQuotesTest)
#include "frmImportQuotesTest.moc"
