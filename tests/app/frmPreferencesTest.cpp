// The Preferences dialog's wiring: real widgets, typed into and clicked, over a store in memory.
#include "preferences/frmPreferences.h"

#include "formula/Translation.h"
#include "settings/MemoryHive.h"
#include "support/IndicatorSettings.h"
#include "support/Screenshot.h"

#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QtTest>

namespace marlindex {

class frmPreferencesTest : public QObject {
    Q_OBJECT

private:
    std::string Stored(int indicator, int position) {
        return test::StoredParameter(settings_, indicator, position);
    }
    void Store(int indicator, int position, const std::string& value) {
        test::StoreParameter(settings_, indicator, position, value);
    }
    static void Retype(QLineEdit* field, const char* keys) {
        field->setFocus();
        field->selectAll();
        QTest::keyClick(field, Qt::Key_Backspace);
        QTest::keyClicks(field, QString::fromLatin1(keys));
    }

    MemoryHive hive_;
    CProgramSettings settings_ = CProgramSettings::ForMarlindex(hive_);

private slots:
    void init() { hive_ = MemoryHive(); }

    // The whole way: the RSI period typed as 21, OK, and the next RSI condition reads 21.
    void typedPeriodIsStoredOnOkAndUsedByTheNextCondition() {
        frmPreferences dialog(settings_);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        auto* period = dialog.findChild<QLineEdit*>(QStringLiteral("I162"));
        QVERIFY(period != nullptr);
        QCOMPARE(period->text(), QStringLiteral("14"));
        Retype(period, "2x1");
        QCOMPARE(period->text(), QStringLiteral("21"));
        QTest::mouseClick(dialog.findChild<QPushButton*>(QStringLiteral("btnOK")), Qt::LeftButton);
        QCOMPARE(dialog.result(), static_cast<int>(QDialog::Accepted));
        QCOMPARE(Stored(16, 2), std::string("21"));
        QCOMPARE(Stored(2, 1), std::string("14")); // every field is written

        EditorState rsi;
        rsi.indicator1 = 16;
        rsi.comparison = 3;
        rsi.comparisonType = kTargetValue;
        rsi.value1 = 30;
        QCOMPARE(TranslateCondition(rsi, settings_).expression,
                 std::string("RSIa( Close, 21 ) < 30"));
    }

    void keysAreFilteredByTheFieldTheyGoTo() {
        frmPreferences dialog(settings_);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        auto* array = dialog.findChild<QComboBox*>(QStringLiteral("I161"));
        QVERIFY(array != nullptr && array->isEditable());
        array->setFocus();
        array->lineEdit()->selectAll();
        QTest::keyClicks(array, QStringLiteral("H-i,gh"));
        QCOMPARE(array->currentText(), QStringLiteral("High"));
        QCOMPARE(dialog.State().Find("I161")->text, std::string("High"));

        auto* acceleration = dialog.findChild<QLineEdit*>(QStringLiteral("I171"));
        auto* maximum = dialog.findChild<QLineEdit*>(QStringLiteral("I172"));
        Retype(acceleration, "0.0.5");
        QCOMPARE(acceleration->text(), QStringLiteral("0.05"));
        Retype(maximum, "0.5"); // judged against "0.05": the point is dropped
        QCOMPARE(maximum->text(), QStringLiteral("05"));
        Retype(dialog.findChild<QLineEdit*>(QStringLiteral("I342")), "C/2");
        QCOMPARE(dialog.findChild<QLineEdit*>(QStringLiteral("I342"))->text(),
                 QStringLiteral("C/2"));
    }

    void cancelAndEscapeLeaveTheStoreAsItWas() {
        for (const bool escape : {false, true}) {
            frmPreferences dialog(settings_);
            dialog.show();
            QVERIFY(QTest::qWaitForWindowExposed(&dialog));
            Retype(dialog.findChild<QLineEdit*>(QStringLiteral("I21")), "30");
            if (escape) {
                QTest::keyClick(&dialog, Qt::Key_Escape);
            } else {
                QTest::mouseClick(dialog.findChild<QPushButton*>(QStringLiteral("btnCancel")),
                                  Qt::LeftButton);
            }
            QCOMPARE(dialog.result(), static_cast<int>(QDialog::Rejected));
            QVERIFY(hive_.data().empty());
        }
    }

    // Every field shows its stored value or default on its own tab; a screenshot of each tab.
    void eachTabShowsItsPanelWithItsFields() {
        Store(16, 2, "21");
        Store(7, 1, "High");
        Store(27, 3, "2.5");
        frmPreferences dialog(settings_);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        auto* tabs = dialog.findChild<QTabWidget*>(QStringLiteral("TabStrip1"));
        QCOMPARE(tabs->count(), 4);
        QCOMPARE(tabs->currentIndex(), 0);
        for (int tab = 0; tab < tabs->count(); ++tab) {
            QTest::mouseClick(tabs->tabBar(), Qt::LeftButton, {},
                              tabs->tabBar()->tabRect(tab).center());
            QCOMPARE(dialog.State().SelectedTab(), tab + 1);
            QCOMPARE(tabs->tabText(tab), QStringLiteral("Indicators %1").arg(tab + 1));
            QWidget* panel = tabs->widget(tab);
            QCOMPARE(panel->objectName(), QStringLiteral("pnl0"));
            QCOMPARE(panel->property("Index").toInt(), tab);
            QVERIFY(panel->isVisible());
            for (const auto& frame :
                 dialog.State().Panels()[static_cast<std::size_t>(tab)].frames) {
                for (const auto& row : frame.rows) {
                    for (const auto& name : row.fields) {
                        auto* field = panel->findChild<QWidget*>(QString::fromStdString(name));
                        QVERIFY2(field != nullptr && field->isVisible(), name.c_str());
                        const auto* combo = qobject_cast<QComboBox*>(field);
                        const auto* edit = qobject_cast<QLineEdit*>(field);
                        const QString shown = combo ? combo->currentText() : edit->text();
                        QCOMPARE(shown.toStdString(), dialog.State().Find(name)->text);
                    }
                }
            }
            test::SaveScreenshot(dialog, QStringLiteral("preferences-%1").arg(tab + 1));
        }
        QCOMPARE(dialog.findChild<QLineEdit*>(QStringLiteral("I162"))->text(),
                 QStringLiteral("21"));
        QCOMPARE(dialog.findChild<QComboBox*>(QStringLiteral("I71"))->currentText(),
                 QStringLiteral("High"));
    }
};

} // namespace marlindex

QTEST_MAIN(marlindex::frmPreferencesTest)
#include "frmPreferencesTest.moc"
