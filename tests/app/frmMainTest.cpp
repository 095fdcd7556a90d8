// The main window's wiring: real widgets, driven by keyboard and mouse, must reach the state
// and show what it holds.
#include "mainwindow/frmMain.h"

#include "filter/FilterTree.h"
#include "settings/MemoryHive.h"
#include "settings/ProgramSettings.h"
#include "support/RecordingBroker.h"
#include "support/Screenshot.h"
#include "support/ScriptedPrompts.h"
#include "support/TempFolder.h"

#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QGroupBox>
#include <QLabel>
#include <QComboBox>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QRadioButton>
#include <QStatusBar>
#include <QTableWidget>
#include <QTest>
#include <QTextBlock>
#include <QTextBrowser>
#include <QTextEdit>
#include <QTimer>
#include <QToolBar>
#include <QUrl>
#include <filesystem>
#include <memory>

using namespace marlindex;

namespace {

const QString kColumns =
    QStringLiteral("\nAddColumn( Close, \"Close  \" );\nAddColumn( Open, \"Open  \" );\n"
                   "AddColumn( High, \"High  \" );\nAddColumn( Low, \"Low  \" );\n"
                   "AddColumn( Volume, \"Volume      \" );");

// The format of the box's character at `position`.
QTextCharFormat FormatAt(QTextEdit* box, int position) {
    QTextCursor cursor(box->document());
    cursor.setPosition(position + 1);
    return cursor.charFormat();
}

} // namespace

class frmMainTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<test::TempFolder> folder_;
    std::unique_ptr<MemoryHive> hive_;
    std::unique_ptr<CProgramSettings> settings_;
    std::unique_ptr<MainWindowState> state_;
    std::unique_ptr<test::RecordingBroker> broker_;
    std::unique_ptr<test::ScriptedPrompts> prompts_;
    std::unique_ptr<FilterTree> filter_;
    std::unique_ptr<frmMain> window_;

    template <typename T> T* Widget(const char* name) {
        T* widget = window_->findChild<T*>(QString::fromLatin1(name));
        if (widget == nullptr) {
            qFatal("no widget named %s", name);
        }
        return widget;
    }

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
        QCOMPARE(combo->currentText(), text);
    }

    void Type(const char* name, const QString& text) {
        auto* field = Widget<QLineEdit>(name);
        field->setFocus(Qt::TabFocusReason);
        field->selectAll();
        QTest::keyClicks(field, text);
    }

    void BuildWorkedExample() {
        Choose("cboIA1", "RSI");
        Choose("cboCO", "is less than");
        Choose("cboCT", "Value");
        Type("txtVal1", "30");
        // The AND button answers to Alt+A; a keyboard user presses it with Space.
        auto* andButton = Widget<QPushButton>("btnAnd");
        QCOMPARE(andButton->shortcut(), QKeySequence(QStringLiteral("Alt+A")));
        andButton->setFocus(Qt::TabFocusReason);
        QTest::keyClick(andButton, Qt::Key_Space);
        Choose("cboIA1", "MA (Short)");
        Choose("cboCO", "crosses above");
        Choose("cboIA2", "MA (Long)");
        Type("txtTP1", "3");
    }

private slots:
    void init() {
        folder_ = std::make_unique<test::TempFolder>();
        hive_ = std::make_unique<MemoryHive>();
        settings_ = std::make_unique<CProgramSettings>(CProgramSettings::ForMarlindex(*hive_));
        state_ = std::make_unique<MainWindowState>(*settings_);
        state_->LoadRunSettings();
        broker_ = std::make_unique<test::RecordingBroker>();
        prompts_ = std::make_unique<test::ScriptedPrompts>();
        frmMain::Services services;
        services.broker = broker_.get();
        services.prompts = prompts_.get();
        services.programFolder = (folder_->path() / "AmiBroker" / "Marlindex").string();
        services.settings = settings_.get();
        // A database folder whose filter includes NYSE, loaded hidden as at start-up.
        test::WriteBytes(folder_->path() / "tempFilter.txt",
                         "[Markets]\r\n1\tNYSE\r\n[Groups]\r\n[Sectors]\r\n[Industries]\r\n"
                         "[Watchlists]\r\n0\tWatchlist 0\r\n");
        filter_ = std::make_unique<FilterTree>(folder_->path());
        QVERIFY(filter_->Form_Load(*prompts_) == FilterLoadResult::Loaded);
        services.filter = filter_.get();
        window_ = std::make_unique<frmMain>(*state_, services);
        window_->show();
        QVERIFY(QTest::qWaitForWindowExposed(window_.get()));
        // Under Xvfb (the screenshots) no window manager activates windows: make it the
        // active window for Qt's focus handling directly.
        QApplication::setActiveWindow(window_.get());
    }

    void cleanup() {
        window_.reset();
        filter_.reset();
        state_.reset();
    }

    void workedExampleByKeyboardShowsTheColouredFormula() {
        BuildWorkedExample();

        auto* grid = Widget<QTableWidget>("MSFlexGrid1");
        QCOMPARE(grid->item(0, 0)->text(), QString::fromStdString(state_->MSFlexGrid1.Text(0)));
        QVERIFY(grid->item(1, 0)->text().startsWith(QStringLiteral("AND MA (Short)")));

        auto* box = Widget<QTextEdit>("txtForumlae");
        QCOMPARE(box->toPlainText(),
                 QStringLiteral("Filter = RSIa( Close, 14 ) < 30\nAND BarsSince( Cross( MA( "
                                "Close, 5 ), MA( Close, 50 ) ) ) <= 3;") +
                     kColumns);
        // The box shows exactly the core's text, colours included.
        QCOMPARE(box->toPlainText().replace(QStringLiteral("\n"), QStringLiteral("\r\n")),
                 QString::fromStdString(state_->txtForumlae.text));
        const QString text = box->toPlainText();
        QCOMPARE(
            FormatAt(box, static_cast<int>(text.indexOf(QStringLiteral("Filter")))).fontWeight(),
            int(QFont::Bold));
        QCOMPARE(FormatAt(box, static_cast<int>(text.indexOf(QStringLiteral("RSIa"))))
                     .foreground()
                     .color(),
                 QColor(0, 0, 255));
        QCOMPARE(FormatAt(box, static_cast<int>(text.indexOf(QStringLiteral("30"))))
                     .foreground()
                     .color(),
                 QColor(255, 0, 255));

        test::SaveScreenshot(*window_, QStringLiteral("main-window"));
    }

    void barFieldsTakeOnlyDigitsAndSlash() {
        Choose("cboIA1", "RSI");
        Type("txtTP1", "a2/b");
        QCOMPARE(Widget<QLineEdit>("txtTP1")->text(), QStringLiteral("2/"));
        // Leaving the field shows the number it was read as.
        Widget<QComboBox>("cboCO")->setFocus(Qt::TabFocusReason);
        QCOMPARE(Widget<QLineEdit>("txtTP1")->text(), QStringLiteral("2"));
    }

    void selectingARowLoadsTheEditorWithoutRewritingTheFormula() {
        BuildWorkedExample();
        const QString before = Widget<QTextEdit>("txtForumlae")->toPlainText();
        auto* grid = Widget<QTableWidget>("MSFlexGrid1");
        const QRect first = grid->visualRect(grid->model()->index(0, 0));
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, first.center());
        QCOMPARE(Widget<QComboBox>("cboIA1")->currentText(), QStringLiteral("RSI"));
        QCOMPARE(Widget<QLineEdit>("txtVal1")->text(), QStringLiteral("30"));
        QCOMPARE(QString::fromStdString(state_->GridMode()), QStringLiteral("EDIT"));
        QCOMPARE(Widget<QTextEdit>("txtForumlae")->toPlainText(), before);

        // Now editing the loaded row rewrites row 0 only.
        Type("txtVal1", "25");
        QVERIFY(Widget<QTextEdit>("txtForumlae")
                    ->toPlainText()
                    .startsWith(QStringLiteral("Filter = RSIa( Close, 14 ) < 25\nAND BarsSince")));
    }

    void rightClickOffersBracketsAndAddsThem() {
        BuildWorkedExample();
        auto* grid = Widget<QTableWidget>("MSFlexGrid1");
        bool andEnabled = true;
        bool removeLeftEnabled = true;
        // The menu runs its own loop: inspect and choose "+ (" from inside it.
        QTimer::singleShot(0, this, [&] {
            auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
            QVERIFY(menu != nullptr);
            QCOMPARE(menu->objectName(), QStringLiteral("mMSFlex"));
            for (QAction* action : menu->actions()) {
                if (action->objectName() == QStringLiteral("mAND")) {
                    andEnabled = action->isEnabled();
                } else if (action->objectName() == QStringLiteral("mRemoveLeftBracket")) {
                    removeLeftEnabled = action->isEnabled();
                } else if (action->objectName() == QStringLiteral("mAddLeftBracket")) {
                    action->trigger();
                }
            }
            menu->close();
        });
        const QRect first = grid->visualRect(grid->model()->index(0, 0));
        QTest::mouseClick(grid->viewport(), Qt::RightButton, {}, first.center());
        QVERIFY(!andEnabled);        // the first row has no joiner to change
        QVERIFY(!removeLeftEnabled); // nothing to remove yet
        QVERIFY(grid->item(0, 0)->text().startsWith(QStringLiteral("(")));
        QVERIFY(Widget<QTextEdit>("txtForumlae")
                    ->toPlainText()
                    .startsWith(QStringLiteral("Filter = (RSIa( Close, 14 ) < 30\nAND")));
    }

    void clearAllEmptiesGridAndFormula() {
        BuildWorkedExample();
        QTest::mouseClick(Widget<QPushButton>("btnClearAll"), Qt::LeftButton);
        auto* grid = Widget<QTableWidget>("MSFlexGrid1");
        QCOMPARE(grid->rowCount(), 15);
        QCOMPARE(grid->item(0, 0)->text(), QString());
        QCOMPARE(Widget<QTextEdit>("txtForumlae")->toPlainText(), QString());
        QVERIFY(!Widget<QPushButton>("btnRun")->isEnabled());
    }

    void runWritesTheFileAndDrivesTheAnalysis() {
        BuildWorkedExample();
        QTest::mouseClick(Widget<QRadioButton>("optScanBuy"), Qt::LeftButton);
        QTest::mouseClick(Widget<QRadioButton>("optAllBars"), Qt::LeftButton);
        // No minimising in a test run.
        state_->mMOS.checked = false;
        QTest::mouseClick(Widget<QPushButton>("btnRun"), Qt::LeftButton);

        const auto file = folder_->path() / "AmiBroker" / "Formulas" / "Unnamed.afl";
        QCOMPARE(QString::fromStdString(window_->LastRun().runFile),
                 QString::fromStdString(file.string()));
        const std::string written = test::ReadBytes(file);
        QVERIFY(written.rfind("/* Create date: ", 0) == 0);
        QVERIFY(written.find("*/\r\n\r\nBuy = RSIa( Close, 14 ) < 30\r\nAND BarsSince") !=
                std::string::npos);
        const std::vector<std::string> expected{
            "Version",     "Analysis", "LoadFormula " + file.string(), "ClearFilters", "ApplyTo 0",
            "RangeMode 0", "Scan"};
        QCOMPARE(broker_->analysis.calls, expected);
    }

    void useFilterTakesTheFilterLoadedAtStart() {
        QVERIFY(Widget<QPushButton>("btnFilter")->isEnabled());
        BuildWorkedExample();
        QTest::mouseClick(Widget<QRadioButton>("OptUseFilter"), Qt::LeftButton);
        QVERIFY(Widget<QTextEdit>("txtForumlae")
                    ->toPlainText()
                    .startsWith(QStringLiteral("Filter = ( MarketID(1) == \"NYSE\" )\nAND RSIa")));
    }

    void fileCommandsAndToolbarAreAvailable() {
        QVERIFY(!Widget<QAction>("mCopy")->isEnabled()); // nothing to copy yet
        BuildWorkedExample();
        for (const char* name : {"mNew", "mOpen", "mSave", "mSaveAs", "mCopy", "mPreferences"}) {
            QVERIFY2(Widget<QAction>(name)->isEnabled(), name);
        }
        QStringList buttons;
        for (QAction* action : Widget<QToolBar>("Toolbar1")->actions()) {
            buttons << action->iconText();
        }
        QCOMPARE(buttons, QStringList({"New", "Open", "Save", "Copy", "Preferences"}));
    }

    void closingStoresTheRunOptions() {
        QTest::mouseClick(Widget<QRadioButton>("optScanSell"), Qt::LeftButton);
        QTest::mouseClick(Widget<QRadioButton>("OptLastDays"), Qt::LeftButton);
        Type("txtRange", "-5");
        Widget<QRadioButton>("optAllTickers")->setFocus(Qt::TabFocusReason);
        QCOMPARE(Widget<QLineEdit>("txtRange")->text(), QStringLiteral("5"));
        window_->close();
        settings_->SetSection("Settings\\");
        QCOMPARE(settings_->ReadEntry("AnalysisType", ""), std::string("2"));
        QCOMPARE(settings_->ReadEntry("Range", ""), std::string("2"));
        QCOMPARE(settings_->ReadEntry("RangeNumber", ""), std::string("5"));
    }

    // ---- traps that lost or spoiled work ----

    void afterOrTheEditorShowsTheNewRowAndTheOldRowKeepsItsValue() {
        Choose("cboIA1", "RSI");
        Choose("cboCO", "is less than");
        Choose("cboCT", "Value");
        Type("txtVal1", "40");
        auto* orButton = Widget<QPushButton>("btnOr");
        orButton->setFocus(Qt::TabFocusReason);
        QTest::keyClick(orButton, Qt::Key_Space);

        // The highlight, the editor and the status line all name row 2, and the value field
        // (which belongs to row 1's condition) takes no digit for it.
        QCOMPARE(Widget<QTableWidget>("MSFlexGrid1")->currentRow(), 1);
        QCOMPARE(Widget<QComboBox>("cboIA1")->currentIndex(), -1);
        QVERIFY(!Widget<QLineEdit>("txtVal1")->isEnabled());
        QCOMPARE(Widget<QLabel>("lblRowStatus")->text(),
                 QStringLiteral("Adding row 2 (OR): choose its indicator in Indicator 1."));
        Choose("cboIA1", "RSI");
        QCOMPARE(Widget<QTableWidget>("MSFlexGrid1")->item(0, 0)->text(),
                 QStringLiteral("RSI(14) of the current bar is less than 40"));
        QVERIFY(Widget<QLabel>("lblRowStatus")->text().startsWith(QStringLiteral("Editing row 2")));
    }

    void aFieldWithNoNumberIsMarkedAndTheFormulaStaysAsItWas() {
        Choose("cboIA1", "RSI");
        Choose("cboCO", "is less than");
        Choose("cboCT", "Value");
        Type("txtVal1", "30");
        const QString before = Widget<QTextEdit>("txtForumlae")->toPlainText();
        // Every keystroke of "abc" leaves no number: the formula keeps 30 throughout.
        Type("txtVal1", "abc");
        auto* value = Widget<QLineEdit>("txtVal1");
        QCOMPARE(value->property("marlindexMark").toInt(), 1);
        QVERIFY(value->toolTip().contains(QStringLiteral("is not a number")));
        QCOMPARE(Widget<QTextEdit>("txtForumlae")->toPlainText(), before);

        // A value RSI never reaches is accepted, with an amber mark and a marked row.
        Type("txtVal1", "251");
        QCOMPARE(value->property("marlindexMark").toInt(), 2);
        QVERIFY(value->toolTip().contains(QStringLiteral("between 0 and 100")));
        QCOMPARE(Widget<QTableWidget>("MSFlexGrid1")->item(0, 0)->data(Qt::UserRole).toInt(), 2);
        Type("txtVal1", "25");
        QCOMPARE(value->property("marlindexMark").toInt(), 0);
        QCOMPARE(value->toolTip(), QStringLiteral("The value indicator 1 is compared with"));
    }

    void anUnfinishedRowIsMarkedAndRunAsksBeforeGoingOn() {
        Choose("cboIA1", "RSI");
        Choose("cboCO", "is less than");
        auto* grid = Widget<QTableWidget>("MSFlexGrid1");
        QCOMPARE(grid->item(0, 0)->data(Qt::UserRole).toInt(), 1);
        QVERIFY(grid->item(0, 0)->toolTip().startsWith(QStringLiteral("Row 1: ")));
        QCOMPARE(Widget<QLabel>("lblIssues")->text(),
                 QStringLiteral("Row 1 needs a look: point at the marked row to see why."));
        test::SaveScreenshot(*window_, QStringLiteral("main-window-unfinished-row"));

        state_->mMOS.checked = false;
        prompts_->answers.push_back(false);
        QTest::mouseClick(Widget<QPushButton>("btnRun"), Qt::LeftButton);
        QCOMPARE(prompts_->shown.size(), std::size_t{1});
        QCOMPARE(QString::fromStdString(prompts_->shown[0].title),
                 QStringLiteral("Unfinished formula"));
        QVERIFY(prompts_->shown[0].text.starts_with("Row 1 \"RSI(14) of the current bar is less "
                                                    "than\""));
        QVERIFY(broker_->analysis.calls.empty());
        QCOMPARE(window_->statusBar()->currentMessage(), QStringLiteral("The formula was not run."));

        Choose("cboCT", "Value");
        Type("txtVal1", "30");
        QCOMPARE(grid->item(0, 0)->data(Qt::UserRole).toInt(), 0);
        QCOMPARE(Widget<QLabel>("lblIssues")->text(), QString());
    }

    void clearAllNewAndCloseAskBeforeDiscardingWork() {
        QVERIFY(!window_->isWindowModified());
        BuildWorkedExample();
        QVERIFY(window_->isWindowModified()); // the title's mark
        auto* grid = Widget<QTableWidget>("MSFlexGrid1");

        prompts_->choices.push_back(PromptAnswer::Cancel);
        QTest::mouseClick(Widget<QPushButton>("btnClearAll"), Qt::LeftButton);
        QCOMPARE(QString::fromStdString(prompts_->shown.back().text),
                 QStringLiteral("The formula has changes that are not saved in the library.\r\n"
                                "Save them before clearing all conditions?"));
        QVERIFY(grid->item(1, 0)->text().startsWith(QStringLiteral("AND MA (Short)")));

        prompts_->choices.push_back(PromptAnswer::Cancel);
        Widget<QAction>("mNew")->trigger();
        QVERIFY(grid->item(1, 0)->text().startsWith(QStringLiteral("AND MA (Short)")));

        prompts_->choices.push_back(PromptAnswer::Cancel);
        QVERIFY(!window_->close());
        QVERIFY(window_->isVisible());

        // Discarding clears, and Clear All itself can be undone.
        prompts_->choices.push_back(PromptAnswer::No);
        QTest::mouseClick(Widget<QPushButton>("btnClearAll"), Qt::LeftButton);
        QCOMPARE(grid->item(0, 0)->text(), QString());
        Widget<QAction>("mUndo")->trigger();
        QVERIFY(grid->item(1, 0)->text().startsWith(QStringLiteral("AND MA (Short)")));
        QCOMPARE(prompts_->shown.size(), std::size_t{4});
    }

    void ctrlZInAFieldUndoesTheWindowsLastChangeAndCtrlYRedoesIt() {
        BuildWorkedExample();
        auto* box = Widget<QTextEdit>("txtForumlae");
        const QString built = box->toPlainText();
        QVERIFY(!Widget<QAction>("mRedo")->isEnabled());
        auto* bars = Widget<QLineEdit>("txtTP1");
        QTest::keyClick(bars, Qt::Key_Z, Qt::ControlModifier);
        QVERIFY(box->toPlainText() != built);
        QVERIFY(Widget<QAction>("mRedo")->isEnabled());
        QTest::keyClick(bars, Qt::Key_Y, Qt::ControlModifier);
        QCOMPARE(box->toPlainText(), built);
    }

    // ---- layout and keyboard ----

    void theEditorHoldsStillWhenAnIndicatorWithOptionsIsChosen() {
        auto* grid = Widget<QTableWidget>("MSFlexGrid1");
        const QRect before(grid->mapTo(window_.get(), QPoint(0, 0)), grid->size());
        QVERIFY(!Widget<QComboBox>("cboED1")->isEnabled());
        QVERIFY(Widget<QComboBox>("cboED1")->isVisible());
        Choose("cboIA1", "MA (Short)");
        QVERIFY(Widget<QComboBox>("cboED1")->isEnabled());
        QTest::mouseClick(Widget<QCheckBox>("chkModify1"), Qt::LeftButton);
        QApplication::processEvents();
        QCOMPARE(QRect(grid->mapTo(window_.get(), QPoint(0, 0)), grid->size()), before);
    }

    void theGridIsOneTabStopWithArrowKeysInside() {
        BuildWorkedExample();
        auto* grid = Widget<QTableWidget>("MSFlexGrid1");
        grid->setFocus(Qt::TabFocusReason);
        QTest::keyClick(grid, Qt::Key_Home);
        QCOMPARE(grid->currentRow(), 0);
        QCOMPARE(Widget<QComboBox>("cboIA1")->currentText(), QStringLiteral("RSI"));
        QTest::keyClick(grid, Qt::Key_Down);
        QCOMPARE(grid->currentRow(), 1);
        QCOMPARE(Widget<QComboBox>("cboIA1")->currentText(), QStringLiteral("MA (Short)"));
        QTest::keyClick(grid, Qt::Key_Down); // no further than the last row
        QCOMPARE(grid->currentRow(), 1);
        QTest::keyClick(grid, Qt::Key_Tab);
        QVERIFY(QApplication::focusWidget() != grid);
    }

    void altShortcutsReachTheThreeEditorFrames() {
        const std::pair<Qt::Key, const char*> frames[] = {
            {Qt::Key_1, "fraIndicator1"}, {Qt::Key_M, "fraComparison"}, {Qt::Key_2, "fraIndicator2"}};
        Choose("cboIA1", "RSI"); // so that the third frame has something to take the focus
        Choose("cboCO", "is less than");
        Choose("cboCT", "Indicator");
        for (const auto& [key, name] : frames) {
            Widget<QTableWidget>("MSFlexGrid1")->setFocus(Qt::TabFocusReason);
            QTest::keyClick(window_.get(), key, Qt::AltModifier);
            QVERIFY2(Widget<QGroupBox>(name)->isAncestorOf(QApplication::focusWidget()), name);
        }
    }

    // ---- the filter and help ----

    void aReloadedFilterReachesTheFormulaAtOnceAndTheQuestionNamesTheFile() {
        BuildWorkedExample();
        QTest::mouseClick(Widget<QRadioButton>("OptUseFilter"), Qt::LeftButton);
        auto* box = Widget<QTextEdit>("txtForumlae");
        QVERIFY(box->toPlainText().startsWith(QStringLiteral("Filter = ( MarketID(1)")));
        test::WriteBytes(folder_->path() / "tempFilter.txt", "damaged");
        prompts_->answers.push_back(false); // no backup
        QVERIFY(filter_->Form_Load(*prompts_) == FilterLoadResult::Recreated);
        QVERIFY(prompts_->shown.back().text.find("\"tempFilter.txt\" in the folder " +
                                                 folder_->path().string()) != std::string::npos);
        QVERIFY(box->toPlainText().startsWith(QStringLiteral("Filter = RSIa")));
        QVERIFY(!window_->isWindowModified() || state_->HasUnsavedWork());
    }

    void helpOpensInTheProgramsOwnViewer() {
        const auto docs = folder_->path() / "doc";
        std::filesystem::create_directories(docs);
        test::WriteBytes(docs / "user-guide.html",
                         "<html><head><title>Marlindex user guide</title></head>"
                         "<body><p>Building a condition</p></body></html>");
        window_.reset();
        frmMain::Services services;
        services.prompts = prompts_.get();
        services.helpFolders = {(folder_->path() / "nowhere").string(), docs.string()};
        window_ = std::make_unique<frmMain>(*state_, services);
        window_->show();
        QVERIFY(QTest::qWaitForWindowExposed(window_.get()));
        QApplication::setActiveWindow(window_.get());

        QTest::keyClick(window_.get(), Qt::Key_F1);
        auto* help = window_->findChild<QDialog*>(QStringLiteral("frmHelp"));
        QVERIFY(help != nullptr);
        QVERIFY(help->isVisible());
        QCOMPARE(help->windowTitle(), QStringLiteral("Marlindex user guide"));
        QVERIFY(help->findChild<QTextBrowser*>()->toPlainText().contains(
            QStringLiteral("Building a condition")));
        QVERIFY(prompts_->shown.empty());
        // The screenshot shows the project's own guide (beside the screenshots' folder).
        if (const QByteArray shots = qgetenv("MARLINDEX_SCREENSHOT_DIR"); !shots.isEmpty()) {
            help->findChild<QTextBrowser*>()->setSource(QUrl::fromLocalFile(
                QString::fromLocal8Bit(shots) + QStringLiteral("/../user-guide.html")));
            test::SaveScreenshot(*help, QStringLiteral("help-viewer"));
        }

        // The read-me is not there: the message says so instead of blaming a browser.
        Widget<QAction>("mReadMe")->trigger();
        QCOMPARE(prompts_->shown.size(), std::size_t{1});
        QVERIFY(prompts_->shown[0].text.find("is not installed") != std::string::npos);
    }
};

QTEST_MAIN(frmMainTest)
#include "frmMainTest.moc"
