// The filter dialog's wiring: real clicks on the tree, its menu, the label editor and the
// buttons reach FilterTree, and what the state holds shows on the widgets.
#include "filter/frmFilter.h"

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
    void Open() {
        form_ = std::make_unique<frmFilter>(*state_, prompts_);
        form_->show();
        QVERIFY(QTest::qWaitForWindowExposed(form_.get()));
    }
    QMenu* Menu() { return form_->findChild<QMenu*>(QStringLiteral("mFile")); }
    QAction* MenuItem(const char* name) {
        return form_->findChild<QAction*>(QString::fromLatin1(name));
    }
    void Choose(const char* name) {
        QMenu* menu = Menu();
        QTRY_VERIFY(menu->isVisible());
        QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(MenuItem(name)).center());
        QTRY_VERIFY(!menu->isVisible());
    }
    QString FileText() {
        return QString::fromStdString(test::ReadBytes(*folder_ / "tempFilter.txt"));
    }

private slots:
    void init() {
        folder_ = std::make_unique<test::TempFolder>();
        test::WriteBytes(*folder_ / "tempFilter.txt", kSample);
        state_ = std::make_unique<FilterTree>(folder_->path());
        prompts_ = {};
        Open();
    }
    void cleanup() { form_.reset(); }

    void showsTheFileWithItsControlsNamed() {
        QCOMPARE(form_->windowTitle(), QStringLiteral("Filter Settings"));
        QTreeWidgetItem* root = Tree()->topLevelItem(0);
        QCOMPARE(root->text(0), QStringLiteral("Filter Selections"));
        QVERIFY(root->isExpanded());
        QCOMPARE(root->childCount(), 5);
        QCOMPARE(root->child(3)->text(0), QStringLiteral("Industries"));
        QCOMPARE(Node("M1")->text(0), QStringLiteral("NASDAQ"));
        for (const char* name : {"btnOK", "btnCancel", "btnImport"}) {
            QVERIFY(form_->findChild<QPushButton*>(QString::fromLatin1(name)) != nullptr);
        }
        QVERIFY(form_->findChild<QWidget*>(QStringLiteral("fraHint")) != nullptr);

        // Three clearly different pictures, and each item shows the one of its mark.
        const QImage unmarked = Picture(frmFilter::MarkImage(kUnmarked));
        const QImage included = Picture(frmFilter::MarkImage(kIncluded));
        const QImage excluded = Picture(frmFilter::MarkImage(kExcluded));
        QVERIFY(unmarked != included && included != excluded && unmarked != excluded);
        QCOMPARE(Picture(Node("M0")->icon(0)), included);
        QCOMPARE(Picture(Node("M1")->icon(0)), excluded);
        QCOMPARE(Picture(Node("M2")->icon(0)), unmarked);

        // Import waits for names to import: it has its tool tip and does nothing.
        auto* import = form_->findChild<QPushButton*>(QStringLiteral("btnImport"));
        QCOMPARE(import->toolTip(), QString::fromUtf8(FilterTree::kImportToolTip.data()));
        QTest::mouseClick(import, Qt::LeftButton);
        QVERIFY(form_->isVisible());
        QCOMPARE(FileText().toStdString(), kSample);
    }

    void leftClicksCycleTheMark() {
        Tree()->expandItem(Node("M"));
        QVERIFY(state_->TreeView1.categories[0].expanded);
        for (const int expected : {kIncluded, kExcluded, kUnmarked}) {
            Click("M2", Qt::LeftButton);
            QCOMPARE(state_->TreeView1.FindItem("M2")->image, expected);
            QCOMPARE(Picture(Node("M2")->icon(0)), Picture(frmFilter::MarkImage(expected)));
        }
        Click("M", Qt::LeftButton);
        QCOMPARE(state_->TreeView1.categories[0].items[0].image, kIncluded);
    }

    void rightClickOpensTheMenuWithWatchlistsFixed() {
        Tree()->expandItem(Node("W"));
        Click("W3", Qt::RightButton);
        QTRY_VERIFY(Menu()->isVisible());
        QVERIFY(!MenuItem("mAdd")->isEnabled());
        QVERIFY(!MenuItem("mDelete")->isEnabled());
        QVERIFY(MenuItem("mEdit")->isEnabled());
        QCOMPARE(Tree()->currentItem(), Node("W3"));
        Menu()->hide();

        Click("G", Qt::RightButton);
        QTRY_VERIFY(Menu()->isVisible());
        QVERIFY(MenuItem("mAdd")->isEnabled());
        Choose("mUncheckAll");
        QCOMPARE(Picture(Node("W3")->icon(0)), Picture(frmFilter::MarkImage(kUnmarked)));
    }

    void addAndDeleteWorkInPlace() {
        Tree()->expandItem(Node("M"));
        Click("M1", Qt::RightButton);
        Choose("mDelete");
        QVERIFY(Node("M1") == nullptr);
        QCOMPARE(Tree()->currentItem(), Node("M2"));

        Click("M", Qt::RightButton);
        Choose("mAdd");
        QTreeWidgetItem* added = Node("M3");
        QVERIFY(added != nullptr);
        QCOMPARE(added->text(0), QStringLiteral("New Markets"));
        QLineEdit* editor = nullptr;
        QTRY_VERIFY((editor = Tree()->viewport()->findChild<QLineEdit*>()) != nullptr);
        editor->selectAll();
        QTest::keyClicks(editor, QStringLiteral("Pink Sheets"));
        QTest::keyClick(editor, Qt::Key_Return);
        QTRY_COMPARE(state_->TreeView1.FindItem("M3")->text, std::string("Pink Sheets"));
        QCOMPARE(Node("M3")->text(0), QStringLiteral("Pink Sheets"));

        // An emptied name keeps the old one.
        Click("M3", Qt::RightButton);
        Choose("mEdit");
        QTRY_VERIFY((editor = Tree()->viewport()->findChild<QLineEdit*>()) != nullptr);
        editor->clear();
        QTest::keyClick(editor, Qt::Key_Return);
        QTRY_VERIFY(state_->TreeView1.editingKey.empty());
        QCOMPARE(Node("M3")->text(0), QStringLiteral("Pink Sheets"));
    }

    void okSavesAndCloses() {
        Tree()->expandItem(Node("S"));
        Click("S0", Qt::LeftButton);
        QTest::mouseClick(form_->findChild<QPushButton*>(QStringLiteral("btnOK")), Qt::LeftButton);
        QCOMPARE(form_->result(), int(QDialog::Accepted));
        QVERIFY(!form_->isVisible());
        QVERIFY(FileText().contains(QStringLiteral("[Sectors]\r\n1\tEnergy\r\n1\tTechnology\r\n")));
        QVERIFY(QString::fromStdString(state_->FilterExpression())
                    .contains(QStringLiteral("OR SectorID(1)  == \"Energy\"")));
    }

    void cancelLeavesTheFile() {
        Tree()->expandItem(Node("S"));
        Click("S0", Qt::LeftButton);
        QTest::mouseClick(form_->findChild<QPushButton*>(QStringLiteral("btnCancel")),
                          Qt::LeftButton);
        QCOMPARE(form_->result(), int(QDialog::Rejected));
        QVERIFY(!state_->IsLoaded());
        QCOMPARE(FileText().toStdString(), kSample);
    }

    void aMissingFileIsAskedAboutBeforeTheDialogShows() {
        form_.reset();
        std::filesystem::remove(*folder_ / "tempFilter.txt");
        state_ = std::make_unique<FilterTree>(folder_->path());
        prompts_.answers = {false};
        Open();
        QCOMPARE(prompts_.shown.size(), std::size_t{1});
        QCOMPARE(prompts_.shown[0].title, std::string("Configuration File Error"));
        QCOMPARE(Node("W")->childCount(), 64);
        QCOMPARE(Node("M")->child(1)->text(0), QStringLiteral("Market 2"));
    }

    void screenshot() {
        form_->resize(460, 520);
        for (const char* category : {"M", "G", "S"}) {
            Tree()->expandItem(Node(category));
        }
        Tree()->setCurrentItem(Node("G1"));
        test::SaveScreenshot(*form_, QStringLiteral("filter-dialog"));
        QVERIFY(form_->isVisible());
    }
};

QTEST_MAIN(frmFilterTest)
#include "frmFilterTest.moc"
