// The main window. All behaviour lives in MainWindowState; this form builds the widgets
// (named as the state's controls), forwards each user event to the state with the focus
// bookkeeping the state expects, and copies the state back onto the widgets afterwards.
#pragma once

#include "mainwindow/MainWindowState.h"
#include "startup/UserPrompts.h"

#include <QMainWindow>
#include <QPointer>
#include <QString>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QAction;
class QCheckBox;
class QComboBox;
class QCompleter;
class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;
class QRadioButton;
class QTableWidget;
class QTextEdit;
class QToolBar;

namespace marlindex {

class FilterTree;
class frmHelp;
class frmResults;
struct RunContext;
class LocalBroker;
class MainWindowFiles;

class frmMain : public QMainWindow {
    Q_OBJECT

public:
    struct Services {
        Broker* broker = nullptr; // the analysis application; Run does nothing without one
        UserPrompts* prompts = nullptr;
        std::string programFolder;            // where the run file's folder is found
        std::vector<std::string> helpFolders; // where the user guide and read-me are looked for
        FilterTree* filter = nullptr;         // the filter dialog's state; no filter without one
        CProgramSettings* settings = nullptr; // the shared settings, for the preferences dialog
    };

    frmMain(MainWindowState& state, Services services, QWidget* parent = nullptr);
    ~frmMain() override;

    MainWindowState& State() { return *state_; }
    // The outcome of the last Run, as the status line shows it.
    const RunOutcome& LastRun() const { return lastRun_; }

    // A symbol the user chose elsewhere (a row of the results, a chart) becomes the current
    // symbol: the symbol box shows it and "Current ticker" runs over it.
    void SetCurrentSymbol(const std::string& symbol);
    // Reads the database's symbols again for the symbol box (after an import of quotes).
    void ReloadSymbols();
    // The window that shows the runs on the local host; null before the first one.
    frmResults* ResultsWindow() const;

    // The formula box's text for the given model text: the box breaks lines with LF only, so
    // CR LF become LF and the colour runs shift with them. Exposed for tests.
    struct BoxText {
        QString text;
        std::vector<FormatRun> runs; // in UTF-16 units of `text`
    };
    static BoxText ToBoxText(const std::string& utf8, const std::vector<FormatRun>& runs);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void BuildMenus();
    void BuildToolbar();
    QWidget* BuildEditor();
    QWidget* BuildGrid();
    QWidget* BuildRunOptions();
    void ConnectEditor();
    using TextChange = void (*)(MainWindowState&, std::string);
    using StateEvent = void (*)(MainWindowState&);
    void OnTextEdited(TextChange change, const QString& text);
    void SetTabOrder();

    // Runs a state event, then shows the state. An unexpected failure leaves the window as it
    // was and says so on the status line rather than ending the program.
    void Handle(const std::function<void(MainWindowState&)>& stateEvent);
    void Mirror();
    void MirrorFormula();
    // Marks a field that holds no number (red) or a value its indicator never reaches
    // (amber), with the reason as its tool tip; its own tip comes back without a mark.
    void MarkField(QLineEdit* field, const std::string& invalid, const std::string& warning);
    // Unfinished rows and unbalanced brackets (warning sign, red) and values an indicator
    // never reaches (information sign, amber), each with its reasons as the row's tip.
    void MirrorRowMarks();
    // The row an arrow or paging key moves the grid to; none for another key.
    std::optional<int> RowForKey(int key) const;
    // The status line says what the last load of the filter did unasked.
    void ShowFilterNote();
    void ShowContextMenu(const QPoint& globalPosition);
    void Run();
    // The local host, whose current symbol the symbol box sets; null for another host.
    LocalBroker* LocalHost() const;
    // On the local host a run shows in the results window, opened before the run, which runs
    // beside it (frmMainResults.cpp). False for another host.
    bool BeginLocalRun();
    void EndLocalRun();
    void CopyFormula();
    // Runs a library command, then shows the state (the caption follows the formula's name).
    void FileCommand(const std::function<void(MainWindowFiles&)>& command);
    void OpenHelpFile(const char* fileName, const QString& what);
    void ShowAbout();
    void ShowFilter();
    void ShowPreferences();
    // File, Import quotes...: price files into the local host's database.
    void ShowImportQuotes();

    MainWindowState* state_;
    Services services_;
    RunOutcome lastRun_;

    // Editor
    QComboBox *cboIA1_, *cboED1_, *cboModify1_, *cboCO_, *cboCT_, *cboIA2_, *cboED2_, *cboModify2_,
        *cboModifyED2_;
    QLineEdit *txtTP1_, *txtModify1_, *txtTP2_, *txtModify2_, *txtVal1_;
    QLabel *lblTP1_, *lblModify1_, *lblTP2_, *lblModify2_, *lblVal1_;
    QCheckBox *chkModify1_, *chkModify2_;

    // Grid, its buttons, the formula box
    QTableWidget* MSFlexGrid1_;
    QPushButton *btnAnd_, *btnOr_, *btnRemove_, *btnClearAll_, *btnFilter_;
    QMenu* mMSFlex_;
    QAction *mAND_, *mOR_, *mAddLeftBracket_, *mRemoveLeftBracket_, *mAddRightBracket_,
        *mRemoveRightBracket_;
    QTextEdit* txtForumlae_;
    std::string shownFormula_;
    std::vector<FormatRun> shownRuns_;

    // Run options
    QRadioButton *optExplore_, *optScanBuy_, *optScanSell_;
    QRadioButton *optAllTickers_, *OptCurrentTicker_, *OptUseFilter_;
    QRadioButton *optAllBars_, *OptLastBars_, *OptLastDays_;
    QLineEdit* txtRange_;
    QLineEdit* txtSymbol_;
    QCompleter* symbolCompleter_;
    QPushButton* btnRun_;

    // Menus and toolbar
    QAction *mNew_, *mOpen_, *mSave_, *mSaveAs_, *mCopy_, *mPreferences_, *mExit_;
    QAction* mImportQuotes_;
    QAction *mUndo_, *mRedo_;
    QAction *mMOS_, *mICWC_, *mWITB_;
    QAction *mHelpContents_, *mReadMe_, *mAbout_;
    QToolBar* Toolbar1_;
    QLabel* rowStatus_;
    QLabel* issues_;
    QPointer<frmHelp> help_;
    QPointer<frmResults> results_;
    bool runGoing_ = false; // a run is under way: Run waits for it
    // What the run under way was started with: the rows may be edited while it goes.
    std::shared_ptr<RunContext> runStarted_;
    std::atomic<std::size_t> runDone_{0}, runTotal_{0};

    // The library commands (New, Open, Save, Save As, Copy); none without prompts to ask with.
    std::unique_ptr<MainWindowFiles> files_;
};

} // namespace marlindex
