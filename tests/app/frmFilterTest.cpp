// The filter dialog's wiring: real clicks on the tree, its menu, the label editor and the
// buttons reach FilterTree, and what the state holds shows on the widgets.
#include "filter/frmFilter.h"

#include "quotes/QuoteImport.h"
#include "support/Screenshot.h"
#include "support/ScriptedPrompts.h"
#include "support/TempFolder.h"

#include <QAction>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>
#include <QtTest>
#include <cstdlib>
#include <memory>

using namespace marlindex;

namespace {

const std::string kSample = "[Markets]\r\n1\tNYSE\r\n2\tNASDAQ\r\n0\tAMEX\r\n"
                            "[Groups]\r\n0\tStocks\r\n2\tFunds\r\n0\tETFs\r\n"
                            "[Sectors]\r\n0\tEnergy\r\n1\tTechnology\r\n0\tHealth Care\r\n"
                            "[Industries]\r\n0\tOil & Gas Drilling\r\n0\tSemiconductors\r\n"
                            "[Watchlists]\r\n0\tWatchlist 0\r\n0\tWatchlist 1\r\n"
                            "0\tWatchlist 2\r\n1\tWatchlist 3\r\n";

QImage Picture(const QIcon& icon) {
    return icon.pixmap(16, 16).toImage();
}

} // namespace

class frmFilterTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<test::TempFolder> folder_;
    std::unique_ptr<FilterTree> state_;
    test::ScriptedPrompts prompts_;
    std::unique_ptr<frmFilter> form_;

    QTreeWidget* Tree() { return form_->findChild<QTreeWidget*>(QStringLiteral("TreeView1")); }
    template <typename Widget> Widget* Control(const char* name) {
        return form_->findChild<Widget*>(QString::fromLatin1(name));
    }
    QTreeWidgetItem* Node(const char* key) {
        for (QTreeWidgetItemIterator it(Tree()); *it != nullptr; ++it) {
            if ((*it)->data(0, Qt::UserRole).toString() == QLatin1String(key)) {
                return *it;
            }
        }
        return nullptr;
    }
    void Click(const char* key, Qt::MouseButton button) {
        QTreeWidgetItem* node = Node(key);
        QVERIFY(node != nullptr);
        Tree()->scrollToItem(node);
        QTest::mouseClick(Tree()->viewport(), button, {}, Tree()->visualItemRect(node).center());
    }
    void Choose(const char* name) {
        auto* menu = Control<QMenu>("mFile");
        QTRY_VERIFY(menu->isVisible());
        QTest::mouseClick(menu, Qt::LeftButton, {},
                          menu->actionGeometry(Control<QAction>(name)).center());
        QTRY_VERIFY(!menu->isVisible());
    }
    void TypeName(const QString& name) {
        QLineEdit* editor = nullptr;
        QTRY_VERIFY((editor = Tree()->viewport()->findChild<QLineEdit*>()) != nullptr);
        editor->clear();
        QTest::keyClicks(editor, name);
        QTest::keyClick(editor, Qt::Key_Return);
        QTRY_VERIFY(state_->TreeView1.editingKey.empty());
    }
    std::string FileBytes() { return test::ReadBytes(*folder_ / "tempFilter.txt"); }

private slots:
    void init() {
        folder_ = std::make_unique<test::TempFolder>();
        test::WriteBytes(*folder_ / "tempFilter.txt", kSample);
        state_ = std::make_unique<FilterTree>(folder_->path());
        // Shown unloaded, the dialog loads itself from the file.
        form_ = std::make_unique<frmFilter>(*state_, prompts_);
        form_->show();
        QVERIFY(QTest::qWaitForWindowExposed(form_.get()));
    }
    void cleanup() { form_.reset(); }

    void marksShowAndCycleOnLeftClicks() {
        QCOMPARE(form_->windowTitle(), QStringLiteral("Filter Settings"));
        QCOMPARE(Tree()->topLevelItem(0)->text(0), QStringLiteral("Filter Selections"));
        QCOMPARE(Node("M1")->text(0), QStringLiteral("NASDAQ"));
        const QImage unmarked = Picture(frmFilter::MarkImage(kUnmarked));
        const QImage included = Picture(frmFilter::MarkImage(kIncluded));
        const QImage excluded = Picture(frmFilter::MarkImage(kExcluded));
        QVERIFY(unmarked != included && included != excluded && unmarked != excluded);
        QCOMPARE(Picture(Node("M0")->icon(0)), included);
        QCOMPARE(Picture(Node("M1")->icon(0)), excluded);

        Tree()->expandItem(Node("M"));
        QVERIFY(state_->TreeView1.categories[0].expanded);
        for (const QImage& expected : {included, excluded, unmarked}) {
            Click("M2", Qt::LeftButton);
            QCOMPARE(Picture(Node("M2")->icon(0)), expected);
        }
        QCOMPARE(state_->TreeView1.FindItem("M2")->image, kUnmarked);

        // A database without quotes has no lists to import: Import says so and changes nothing.
        auto* import = Control<QPushButton>("btnImport");
        QCOMPARE(import->toolTip().toStdString(), std::string(FilterTree::kImportToolTip));
        QTest::mouseClick(import, Qt::LeftButton);
        QVERIFY(form_->isVisible());
        QCOMPARE(QString::fromStdString(prompts_.shown.back().kind), QStringLiteral("inform"));
        QVERIFY(prompts_.shown.back().text.find("Import quotes") != std::string::npos);
        QCOMPARE(Node("M1")->text(0), QStringLiteral("NASDAQ"));
    }

    void contextMenuAddsEditsAndDeletes() {
        Tree()->expandItem(Node("W"));
        Click("W3", Qt::RightButton);
        QTRY_VERIFY(Control<QMenu>("mFile")->isVisible());
        QVERIFY(!Control<QAction>("mAdd")->isEnabled());
        QVERIFY(!Control<QAction>("mDelete")->isEnabled());
        QCOMPARE(Tree()->currentItem(), Node("W3"));
        Choose("mUncheckAll");
        QCOMPARE(Picture(Node("W3")->icon(0)), Picture(frmFilter::MarkImage(kUnmarked)));

        Tree()->expandItem(Node("M"));
        Click("M1", Qt::RightButton);
        QVERIFY(Control<QAction>("mDelete")->isEnabled());
        Choose("mDelete");
        QVERIFY(Node("M1") == nullptr);
        QCOMPARE(Tree()->currentItem(), Node("M2"));

        Click("M", Qt::RightButton);
        Choose("mAdd");
        QCOMPARE(Node("M3")->text(0), QStringLiteral("New Markets"));
        TypeName(QStringLiteral("Pink Sheets"));
        QCOMPARE(Node("M3")->text(0), QStringLiteral("Pink Sheets"));

        Click("M3", Qt::RightButton);
        Choose("mEdit");
        TypeName(QString()); // an emptied name keeps the old one
        QCOMPARE(Node("M3")->text(0), QStringLiteral("Pink Sheets"));
    }

    void okSavesAndCancelDoesNot() {
        Tree()->expandItem(Node("S"));
        Click("S0", Qt::LeftButton);
        QTest::mouseClick(Control<QPushButton>("btnCancel"), Qt::LeftButton);
        QCOMPARE(form_->result(), int(QDialog::Rejected));
        QCOMPARE(FileBytes(), kSample);

        form_ = std::make_unique<frmFilter>(*state_, prompts_); // loads the file again
        form_->show();
        QCOMPARE(state_->TreeView1.FindItem("S0")->image, kUnmarked);
        Tree()->expandItem(Node("S"));
        Click("S0", Qt::LeftButton);
        QTest::mouseClick(Control<QPushButton>("btnOK"), Qt::LeftButton);
        QCOMPARE(form_->result(), int(QDialog::Accepted));
        QVERIFY(!form_->isVisible());
        QVERIFY(FileBytes().find("[Sectors]\r\n1\tEnergy\r\n1\tTechnology\r\n") !=
                std::string::npos);
    }

    void importTakesTheListsOfTheSampleDatabase() {
        const char* source = std::getenv("MARLINDEX_SOURCE_DIR");
        const auto examples =
            std::filesystem::path(source != nullptr ? source : ".") / "examples" / "quotes";
        const ImportOutcome imported =
            ImportQuotes(folder_->path(), {examples / "symbols.csv", {examples / "prices"}});
        QVERIFY(imported.status == ImportOutcome::Status::Imported);

        // The question comes first; No leaves the lists.
        prompts_.answers = {false};
        QTest::mouseClick(Control<QPushButton>("btnImport"), Qt::LeftButton);
        const std::string question = prompts_.shown.back().text;
        QVERIFY2(question.find("Markets: 2 items, 1 gone (AMEX)") != std::string::npos,
                 question.c_str());
        QVERIFY2(question.find("Sectors: 11 items") != std::string::npos, question.c_str());
        QVERIFY2(question.find("Sectors: Technology") != std::string::npos, question.c_str());
        QCOMPARE(Node("M2")->text(0), QStringLiteral("AMEX"));

        prompts_.answers = {true};
        QTest::mouseClick(Control<QPushButton>("btnImport"), Qt::LeftButton);
        // The marks stay with their names, in the places the new lists give them.
        QCOMPARE(Node("M0")->text(0), QStringLiteral("NASDAQ"));
        QCOMPARE(Picture(Node("M0")->icon(0)), Picture(frmFilter::MarkImage(kExcluded)));
        QCOMPARE(Picture(Node("M1")->icon(0)), Picture(frmFilter::MarkImage(kIncluded)));
        QVERIFY(Node("M2") == nullptr);
        QCOMPARE(Node("W0")->text(0), QStringLiteral("Watchlist 0"));
        QVERIFY(Node("W63") != nullptr);
        QCOMPARE(FileBytes(), kSample);

        form_->resize(460, 560);
        for (const char* category : {"M", "S"}) {
            Tree()->expandItem(Node(category));
        }
        Tree()->setCurrentItem(Node("S0"));
        test::SaveScreenshot(*form_, QStringLiteral("filter-import"));

        QTest::mouseClick(Control<QPushButton>("btnOK"), Qt::LeftButton);
        QVERIFY(FileBytes().rfind("[Markets]\r\n2\tNASDAQ\r\n1\tNYSE\r\n[Groups]\r\n[Sectors]\r\n",
                                  0) == 0);
    }

    void screenshot() {
        form_->resize(460, 520);
        for (const char* category : {"M", "G", "S"}) {
            Tree()->expandItem(Node(category));
        }
        Tree()->setCurrentItem(Node("G0"));
        QVERIFY(Node("G1") != nullptr);
        test::SaveScreenshot(*form_, QStringLiteral("filter-dialog"));
    }
};

QTEST_MAIN(frmFilterTest)
#include "frmFilterTest.moc"
