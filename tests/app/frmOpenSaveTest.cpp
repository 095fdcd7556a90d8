// The library dialog's wiring: the tree and boxes mirror the browser, and what the user does in
// the widgets reaches the library file.
#include "library/frmOpenSave.h"

#include "support/FakeFormulaWindow.h"
#include "support/Screenshot.h"
#include "support/ScriptedPrompts.h"
#include "support/TempFolder.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

namespace marlindex {

class frmOpenSaveTest : public QObject {
    Q_OBJECT

private:
    // Three folders with a few formulas, as a trader's library might look.
    void WriteSampleLibrary() {
        Library library = DefaultLibrary();
        const auto add = [&](const char* folderId, const char* name, const char* description) {
            LibraryFormula formula;
            formula.name = name;
            formula.description = description;
            formula.formulaText = "Filter = RSIa( Close, 14 ) < 30;";
            library.StoreFormula(formula, folderId, 0);
        };
        add("1", "Oversold RSI", "RSI below 30 on liquid stocks.\r\nRun daily after the close.");
        add("1", "Volume spike", "Volume at least twice its 20-day average.");
        add("2", "MA crossover",
            "Short average crosses above the long one; price above "
            "the 200-day average.");
        add("3", "Overbought exit", "Sell when RSI climbs above 70.");
        QVERIFY(SaveLibraryFile(file, library).ok());
    }

    std::unique_ptr<LibraryBrowser> Load(const char* mode, const char* caption, const char* ok) {
        auto browser = std::make_unique<LibraryBrowser>(file, mode, window, prompts);
        browser->Caption = caption;
        browser->btnOK = ok;
        [&] { QVERIFY(browser->Form_Load()); }();
        return browser;
    }

    template <class Widget> static Widget* Child(const QWidget& form, const char* name) {
        return form.findChild<Widget*>(QString::fromLatin1(name));
    }

    static QTreeWidgetItem* Find(QTreeWidget* tree, const QString& text) {
        const auto found = tree->findItems(text, Qt::MatchExactly | Qt::MatchRecursive);
        return found.isEmpty() ? nullptr : found.front();
    }

    test::TempFolder folder;
    std::filesystem::path file = LibraryPath(folder.path());
    test::FakeFormulaWindow window;
    test::ScriptedPrompts prompts;

private slots:
    void init() {
        std::filesystem::remove(file);
        prompts.shown.clear();
        window = {};
    }

    void treeAndBoxesMirrorTheLibrary() {
        WriteSampleLibrary();
        auto browser = Load(kModeOpen, "Open File", "&Open");
        frmOpenSave form(*browser, prompts);
        auto* tree = Child<QTreeWidget>(form, "TreeView1");
        QVERIFY(tree != nullptr);
        QCOMPARE(form.windowTitle(), QStringLiteral("Open File"));
        QCOMPARE(Child<QPushButton>(form, "btnOK")->text(), QStringLiteral("&Open"));
        QCOMPARE(tree->topLevelItemCount(), 1);
        QTreeWidgetItem* root = tree->topLevelItem(0);
        QCOMPARE(root->text(0), QStringLiteral("Scans and Explorations"));
        QCOMPARE(root->childCount(), 3);
        QCOMPARE(root->child(0)->childCount(), 2);

        tree->setCurrentItem(Find(tree, QStringLiteral("Volume spike")));
        QCOMPARE(Child<QLineEdit>(form, "Text1")->text(), QStringLiteral("Volume spike"));
        QCOMPARE(Child<QPlainTextEdit>(form, "RichTextBox1")->toPlainText(),
                 QStringLiteral("Volume at least twice its 20-day average."));

        QTest::mouseClick(Child<QPushButton>(form, "btnOK"), Qt::LeftButton);
        QCOMPARE(form.result(), int(QDialog::Accepted));
        QCOMPARE(window.restored.size(), std::size_t{1});
        QCOMPARE(window.restored[0].name, std::string("Volume spike"));
    }

    void savingTypedNameAndDescription() {
        auto browser = Load(kModeSave, "Save exploration as", "&Save");
        frmOpenSave form(*browser, prompts);
        auto* tree = Child<QTreeWidget>(form, "TreeView1");
        tree->setCurrentItem(Find(tree, QStringLiteral("Buy Signals")));
        QTest::keyClicks(Child<QLineEdit>(form, "Text1"), "Swing");
        auto* description = Child<QPlainTextEdit>(form, "RichTextBox1");
        QTest::keyClicks(description, "two lines");
        QTest::keyClick(description, Qt::Key_Return);
        QTest::keyClicks(description, "of text");
        QTest::mouseClick(Child<QPushButton>(form, "btnOK"), Qt::LeftButton);

        QCOMPARE(form.result(), int(QDialog::Accepted));
        const Library saved = *ReadLibrary(test::ReadBytes(file));
        QCOMPARE(saved.formulas.size(), std::size_t{1});
        QCOMPARE(saved.formulas[0].name, std::string("Swing"));
        QCOMPARE(saved.formulas[0].folder, std::string("2"));
        QCOMPARE(saved.formulas[0].description, std::string("two lines\r\nof text"));
    }

    void folderRenameAndPaste() {
        auto browser = Load(kModeSave, "Save scan as", "&Save");
        frmOpenSave form(*browser, prompts);
        auto* tree = Child<QTreeWidget>(form, "TreeView1");
        QTreeWidgetItem* item = Find(tree, QStringLiteral("Sell Signals"));
        QVERIFY(item->flags().testFlag(Qt::ItemIsEditable));
        QVERIFY(!tree->topLevelItem(0)->flags().testFlag(Qt::ItemIsEditable));

        item->setText(0, QStringLiteral("1st exits")); // what a finished in-place edit does
        QCOMPARE(item->text(0), QStringLiteral("Sell Signals"));
        QCOMPARE(prompts.shown.back().text, std::string("You must enter a valid folder name."));
        item->setText(0, QStringLiteral("Exits"));
        QVERIFY2(!std::filesystem::exists(file), "written with the save");

        QApplication::clipboard()->setText(QStringLiteral("pasted"));
        Child<QAction>(form, "mPaste")->trigger();
        QCOMPARE(Child<QPlainTextEdit>(form, "RichTextBox1")->toPlainText(),
                 QStringLiteral("pasted"));
        QCOMPARE(browser->RichTextBox1.text, std::string("pasted"));

        tree->setCurrentItem(Find(tree, QStringLiteral("Exits")));
        QTest::keyClicks(Child<QLineEdit>(form, "Text1"), "Trail");
        QTest::mouseClick(Child<QPushButton>(form, "btnOK"), Qt::LeftButton);
        const Library saved = *ReadLibrary(test::ReadBytes(file));
        QCOMPARE(saved.folders[2].name, std::string("Exits"));
        QCOMPARE(saved.formulas.size(), std::size_t{1});
    }

    // Deleting asks, and nothing is written until Open; Escape leaves the library as it was.
    void deletingWaitsForOkAndEscapeKeepsTheLibrary() {
        WriteSampleLibrary();
        const std::string before = test::ReadBytes(file);
        auto browser = Load(kModeOpen, "Open File", "&Open");
        frmOpenSave form(*browser, prompts);
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        auto* tree = Child<QTreeWidget>(form, "TreeView1");
        tree->setCurrentItem(Find(tree, QStringLiteral("Volume spike")));
        Child<QAction>(form, "mDelete")->trigger();
        QCOMPARE(prompts.shown.back().kind, std::string("ask"));
        QCOMPARE(prompts.shown.back().text,
                 std::string("Delete the formula \"Volume spike\"?\r\nIt goes from the library "
                             "when you press Open; Cancel keeps it."));
        QVERIFY(Find(tree, QStringLiteral("Volume spike")) == nullptr);
        QCOMPARE(test::ReadBytes(file), before);
        QTest::keyClick(&form, Qt::Key_Escape);
        QCOMPARE(form.result(), int(QDialog::Rejected));
        QCOMPARE(test::ReadBytes(file), before);
        QVERIFY(window.restored.empty());
    }

    // Open with a folder selected asks for a formula, in words that fit opening.
    void openWithoutAFormulaAsksForOne() {
        WriteSampleLibrary();
        auto browser = Load(kModeOpen, "Open File", "&Open");
        frmOpenSave form(*browser, prompts);
        auto* tree = Child<QTreeWidget>(form, "TreeView1");
        tree->setCurrentItem(Find(tree, QStringLiteral("Explorations")));
        QTest::mouseClick(Child<QPushButton>(form, "btnOK"), Qt::LeftButton);
        QCOMPARE(prompts.shown.back().title, std::string("Open File"));
        QCOMPARE(prompts.shown.back().text,
                 std::string("Select the formula to open in the list, then press Open."));
        QVERIFY(form.result() != int(QDialog::Accepted));
        QVERIFY(!Child<QLabel>(form, "lblNameRules")->isVisibleTo(&form));
    }

    // The name rules stand beside the name box, and a name that breaks them says how.
    void theNameRulesShowBesideTheName() {
        auto browser = Load(kModeSave, "Save scan as", "&Save");
        frmOpenSave form(*browser, prompts);
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        auto* rules = Child<QLabel>(form, "lblNameRules");
        auto* problem = Child<QLabel>(form, "lblNameProblem");
        QVERIFY(rules->isVisible());
        QCOMPARE(rules->text(), QString::fromLatin1(kNameRules));
        QVERIFY(!problem->isVisible());
        QTest::keyClicks(Child<QLineEdit>(form, "Text1"), "3 day.dip");
        QVERIFY(problem->isVisible());
        QCOMPARE(problem->text(), QStringLiteral("A name does not start with a digit."));
        auto* name = Child<QLineEdit>(form, "Text1");
        name->selectAll();
        QTest::keyClicks(name, "Dip.2");
        QCOMPARE(problem->text(), QStringLiteral("\".\" cannot be part of a name."));
        name->selectAll();
        QTest::keyClicks(name, "Dip 2");
        QVERIFY(!problem->isVisible());
    }

    void screenshot() {
        WriteSampleLibrary();
        window.record = {1, "1", "Oversold RSI"};
        auto browser = Load(kModeSaveAs, "Save exploration as", "&Save");
        frmOpenSave form(*browser, prompts);
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        QCOMPARE(Child<QLineEdit>(form, "Text1")->text(), QStringLiteral("Oversold RSI"));
        test::SaveScreenshot(form, QStringLiteral("library-dialog"));
    }
};

} // namespace marlindex

QTEST_MAIN(marlindex::frmOpenSaveTest)
#include "frmOpenSaveTest.moc"
