// The Preferences dialog's wiring: real widgets, typed into and clicked, over a store in memory.
#include "preferences/frmPreferences.h"

#include "formula/Translation.h"
#include "settings/MemoryHive.h"
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
    static void Retype(QLineEdit* field, const char* keys) {
        field->setFocus();
        field->selectAll();
        QTest::keyClick(field, Qt::Key_Backspace);
        QTest::keyClicks(field, QString::fromLatin1(keys));
    }
    template <typename Widget> static Widget* Child(QWidget& parent, const char* name) {
        auto* child = parent.findChild<Widget*>(QString::fromLatin1(name));
        if (child == nullptr) {
            qFatal("no widget %s", name);
        }
        return child;
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
        auto* period = Child<QLineEdit>(dialog, "I162");
        QCOMPARE(period->text(), QStringLiteral("14"));
        Retype(period, "2x1");
        QCOMPARE(period->text(), QStringLiteral("21"));
        QTest::mouseClick(Child<QPushButton>(dialog, "btnOK"), Qt::LeftButton);
        QCOMPARE(dialog.result(), static_cast<int>(QDialog::Accepted));

        EditorState rsi;
        rsi.indicator1 = 16;
        rsi.comparison = 3;
        rsi.comparisonType = kTargetValue;
        rsi.value1 = 30;
        QCOMPARE(TranslateCondition(rsi, settings_).expression,
                 std::string("RSIa( Close, 21 ) < 30"));
    }

    // Keys reach the state's filter also through a combo box's edit line.
    void comboBoxKeysAreFilteredToo() {
        frmPreferences dialog(settings_);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        auto* array = Child<QComboBox>(dialog, "I161");
        array->setFocus();
        array->lineEdit()->selectAll();
        QTest::keyClicks(array, QStringLiteral("H-i,gh"));
        QCOMPARE(array->currentText(), QStringLiteral("High"));
        QCOMPARE(dialog.State().Find("I161")->text, std::string("High"));
    }

    void cancelAndEscapeLeaveTheStoreAsItWas() {
        for (const bool escape : {false, true}) {
            frmPreferences dialog(settings_);
            dialog.show();
            QVERIFY(QTest::qWaitForWindowExposed(&dialog));
            Retype(Child<QLineEdit>(dialog, "I21"), "30");
            if (escape) {
                QTest::keyClick(&dialog, Qt::Key_Escape);
            } else {
                QTest::mouseClick(Child<QPushButton>(dialog, "btnCancel"), Qt::LeftButton);
            }
            QCOMPARE(dialog.result(), static_cast<int>(QDialog::Rejected));
            QVERIFY(hive_.data().empty());
        }
    }

    // Each tab shows its own panel with its fields holding the stored values; a screenshot of
    // each tab, with a few preferences changed from their defaults.
    void eachTabShowsItsPanelWithItsFields() {
        PreferenceFields sample(settings_);
        sample.Form_Load();
        sample.Field_Change("I162", "21");
        sample.Field_Change("I71", "High");
        sample.Field_Change("I273", "2.5");
        sample.btnOK_Click();

        frmPreferences dialog(settings_);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        auto* tabs = Child<QTabWidget>(dialog, "TabStrip1");
        QCOMPARE(tabs->count(), PreferenceFields::kTabCount);
        for (int tab = 0; tab < tabs->count(); ++tab) {
            QTest::mouseClick(tabs->tabBar(), Qt::LeftButton, {},
                              tabs->tabBar()->tabRect(tab).center());
            QCOMPARE(dialog.State().SelectedTab(), tab + 1);
            QWidget* panel = tabs->widget(tab);
            QVERIFY(panel->isVisible());
            QCOMPARE(panel->property("Index").toInt(), tab);
            for (const auto& frame :
                 dialog.State().Panels()[static_cast<std::size_t>(tab)].frames) {
                for (const auto& row : frame.rows) {
                    for (const auto& name : row.fields) {
                        auto* field = panel->findChild<QWidget*>(QString::fromStdString(name));
                        QVERIFY2(field != nullptr && field->isVisible(), name.c_str());
                        const auto* combo = qobject_cast<QComboBox*>(field);
                        const QString shown =
                            combo ? combo->currentText() : qobject_cast<QLineEdit*>(field)->text();
                        QCOMPARE(shown.toStdString(), dialog.State().Find(name)->text);
                    }
                }
            }
            test::SaveScreenshot(dialog, QStringLiteral("preferences-%1").arg(tab + 1));
        }
        QCOMPARE(Child<QComboBox>(dialog, "I71")->currentText(), QStringLiteral("High"));
    }
};

} // namespace marlindex

QTEST_MAIN(marlindex::frmPreferencesTest)
#include "frmPreferencesTest.moc"
