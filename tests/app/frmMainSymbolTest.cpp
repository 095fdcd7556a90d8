// The main window on the local host: the symbol box under "Current ticker" completes, marks
// a symbol the database lacks, takes a symbol chosen elsewhere and is what a run over the
// current ticker uses; File, Import quotes... teaches it new symbols.
#include "amibroker/LocalBroker.h"
#include "mainwindow/frmMain.h"
#include "quotes/frmImportQuotes.h"
#include "settings/MemoryHive.h"
#include "settings/ProgramSettings.h"
#include "support/QuoteFixtures.h"
#include "support/ScriptedPrompts.h"
#include "support/TempFolder.h"

#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QCompleter>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QStatusBar>
#include <QTimer>
#include <QtTest>
#include <memory>

using namespace marlindex;

class frmMainSymbolTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<test::TempFolder> folder_;
    std::unique_ptr<MemoryHive> hive_;
    std::unique_ptr<CProgramSettings> settings_;
    std::unique_ptr<MainWindowState> state_;
    std::unique_ptr<test::ScriptedPrompts> prompts_;
    std::unique_ptr<LocalBroker> broker_;
    std::unique_ptr<frmMain> window_;

    template <typename T> T* Widget(const char* name) {
        T* widget = window_->findChild<T*>(QString::fromLatin1(name));
        if (widget == nullptr) {
            qFatal("no widget named %s", name);
        }
        return widget;
    }
    std::filesystem::path Database() const { return folder_->path() / "database"; }
    void Open() {
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
    void TypeSymbol(const QString& text) {
        auto* box = Widget<QLineEdit>("txtSymbol");
        box->setFocus(Qt::TabFocusReason);
        box->selectAll();
        QTest::keyClicks(box, text);
    }
    // The box's mark: 0 none, 1 invalid.
    int Mark() { return Widget<QLineEdit>("txtSymbol")->property("marlindexMark").toInt(); }
    // Chooses an entry as a keyboard user does: focus the list, then arrow down to it.
    void Choose(const char* name, const QString& text) {
        auto* combo = Widget<QComboBox>(name);
        const int index = combo->findText(text);
        QVERIFY2(index >= 0, qPrintable(text));
        combo->setFocus(Qt::TabFocusReason);
        QTest::keyClick(combo, Qt::Key_Home);
        for (int i = 0; i < index; ++i) {
            QTest::keyClick(combo, Qt::Key_Down);
        }
    }
    void RunRsiBelow30OverTheCurrentTicker() {
        Choose("cboIA1", QStringLiteral("RSI"));
        Choose("cboCO", QStringLiteral("is less than"));
        Choose("cboCT", QStringLiteral("Value"));
        auto* value = Widget<QLineEdit>("txtVal1");
        value->setFocus(Qt::TabFocusReason);
        QTest::keyClicks(value, QStringLiteral("30"));
        QTest::mouseClick(Widget<QRadioButton>("OptCurrentTicker"), Qt::LeftButton);
        QTest::mouseClick(Widget<QRadioButton>("optAllBars"), Qt::LeftButton);
        state_->mMOS.checked = false; // no minimising in a test run
        QTest::mouseClick(Widget<QPushButton>("btnRun"), Qt::LeftButton);
    }

private slots:
    void init() {
        folder_ = std::make_unique<test::TempFolder>();
        hive_ = std::make_unique<MemoryHive>();
        settings_ = std::make_unique<CProgramSettings>(CProgramSettings::ForMarlindex(*hive_));
        state_ = std::make_unique<MainWindowState>(*settings_);
        state_->LoadRunSettings();
        prompts_ = std::make_unique<test::ScriptedPrompts>();
    }
    void cleanup() {
        window_.reset();
        state_.reset();
    }

    void theBoxCompletesMarksAndIsWhatTheRunUses() {
        QVERIFY(ImportQuotes(Database(), test::TinyDatabase()).status ==
                ImportOutcome::Status::Imported);
        Open();
        auto* box = Widget<QLineEdit>("txtSymbol");
        QVERIFY(box->isEnabled());
        QCOMPARE(box->completer()->model()->rowCount(), 3);

        TypeSymbol(QStringLiteral("bb"));
        QCOMPARE(box->completer()->currentCompletion(), QStringLiteral("BBB"));
        QCOMPARE(Mark(), 1);
        // Picking the completion makes it the symbol.
        QAbstractItemView* popup = box->completer()->popup();
        QTRY_VERIFY(popup->isVisible());
        QTest::keyClick(popup, Qt::Key_Down);
        QTest::keyClick(popup, Qt::Key_Return);
        QCOMPARE(box->text(), QStringLiteral("BBB"));
        QCOMPARE(Mark(), 0);
        // Leaving the box takes the database's spelling.
        TypeSymbol(QStringLiteral("aaa"));
        popup->hide();
        Widget<QLineEdit>("txtRange")->setFocus(Qt::TabFocusReason);
        QCOMPARE(box->text(), QStringLiteral("AAA"));
        QCOMPARE(Mark(), 0);

        TypeSymbol(QStringLiteral("ZZZ"));
        QCOMPARE(Mark(), 1);
        QCOMPARE(box->toolTip(), QStringLiteral("The database has no symbol \"ZZZ\"."));
        RunRsiBelow30OverTheCurrentTicker();
        QVERIFY(!window_->LastRun().started);
        QVERIFY2(window_->statusBar()->currentMessage().contains(QStringLiteral("\"ZZZ\"")),
                 qPrintable(window_->statusBar()->currentMessage()));

        // A row chosen in the results makes its symbol current.
        window_->SetCurrentSymbol("CCC");
        QCOMPARE(box->text(), QStringLiteral("CCC"));
        QCOMPARE(Mark(), 0);
        QTest::mouseClick(Widget<QPushButton>("btnRun"), Qt::LeftButton);
        QVERIFY2(window_->LastRun().error.empty(), window_->LastRun().error.c_str());
        QCOMPARE(QString::fromStdString(broker_->Local().Request().symbol.value_or("")),
                 QStringLiteral("CCC"));
        QCOMPARE(broker_->Local().LastResults()->symbolsRun, std::size_t{1});
    }

    void importingQuotesTeachesTheBoxTheNewSymbols() {
        std::filesystem::create_directories(Database());
        Open();
        TypeSymbol(QStringLiteral("AAA"));
        QCOMPARE(Mark(), 1);
        QVERIFY(
            Widget<QLineEdit>("txtSymbol")->toolTip().contains(QStringLiteral("Import quotes")));

        auto* import = Widget<QAction>("mImportQuotes");
        QVERIFY(import->isEnabled());
        QTimer::singleShot(0, this, [] {
            auto* dialog = qobject_cast<frmImportQuotes*>(QApplication::activeModalWidget());
            QVERIFY(dialog != nullptr);
            dialog->State().AddPaths({test::QuoteFixture("tiny/prices").string()});
            dialog->Mirror();
            QTest::mouseClick(dialog->findChild<QPushButton*>(QStringLiteral("btnImport")),
                              Qt::LeftButton);
            QTest::mouseClick(dialog->findChild<QPushButton*>(QStringLiteral("btnClose")),
                              Qt::LeftButton);
        });
        import->trigger();
        QCOMPARE(Widget<QLineEdit>("txtSymbol")->completer()->model()->rowCount(), 3);
        QCOMPARE(Mark(), 0);
    }
};

QTEST_MAIN(frmMainSymbolTest)
#include "frmMainSymbolTest.moc"
