// The main window's behaviour without a window: the condition editor, the condition grid with
// its context menu, and the run options. Every control is a public member the form mirrors
// onto its widget; every user action is a method named after the control and its event.
//
// A user's change reaches the state as the form sees it: first the control gets the focus
// (X_GotFocus, which makes it the current control), then its event fires. Only the control
// that has the focus regenerates the formula, so the program can fill controls through the
// same events (loading a row, resetting the editor) without rewriting any row.
#pragma once

#include "amibroker/Broker.h"
#include "formula/ConditionCheck.h"
#include "formula/ConditionEditor.h"
#include "formula/ConditionRecord.h"
#include "library/LibraryFile.h"
#include "mainwindow/Controls.h"
#include "mainwindow/CurrentSymbol.h"
#include "settings/ProgramSettings.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace marlindex {

// What a run needs from outside the window: the analysis application, where the program
// lives, today's date, and the window's own doings (let events run, minimise).
struct RunServices {
    Broker* broker = nullptr;
    // The program's folder, a subfolder of the analysis application's folder.
    std::string programFolder;
    // Today as "dd MMM yyyy" (see FormatCommentDate).
    std::string today;
    std::function<void()> letEventsRun;
    std::function<void()> minimiseWindow;
};

// How a run ended. A run that fails ends where it failed, silently: the window stays as it
// was, and the reason is kept here for a status line.
struct RunOutcome {
    bool started = false; // the analysis was asked to explore or scan
    std::string runFile;  // the formula file written, "" when none was
    std::string error;    // why the run stopped early, "" when it did not
};

// What Run hands the analysis application, as the window's controls chose it; the command-line
// tool fills it from a scan file so that both run a formula the same way.
struct RunRequest {
    std::string formula; // the formula box's text; nothing runs when it is empty
    // The condition rows' texts for the header comment; none: the formula alone is written.
    std::optional<std::vector<std::string>> commentRows;
    bool currentTicker = false; // else all symbols ("use filter" too: the filter is in the text)
    // 0 all bars, 1 the n last bars, 2 the n last days; none when no range option is selected.
    std::optional<int> range;
    std::string rangeNumber; // n as the user typed it
    bool explore = true;     // else Scan (buy and sell scans differ only in the text)
    bool minimise = false;
};

// Writes the run file and has the analysis explore or scan it. A failure ends the run where it
// happened, keeping a file already written; the outcome says why.
RunOutcome RunFormula(const RunRequest& request, const RunServices& services);

// Where the run file goes: the program folder's last 9 characters (the folder name
// "Marlindex") are cut, leaving the analysis application's folder; version 4.7 and later keep
// formulas in "Formulas", older ones in "AFL". Throws BrokerError for a folder shorter than
// that or a version that is not a number.
std::string RunFilePath(const std::string& programFolder, const std::string& version);

// The combo boxes, for choosing an entry as a user does (in the order the editor lists them).
enum class ComboId {
    cboIA1,
    cboED1,
    cboModify1,
    cboCO,
    cboCT,
    cboIA2,
    cboED2,
    cboModify2,
    cboModifyED2
};

// The controls of the main window that make up what the user builds: the condition editor,
// the condition grid with its context menu, the formula box and the run options. An undo step
// brings all of them back at once.
struct MainWindowControls {
    // ---- controls of the condition editor ----
    ComboBox cboIA1, cboED1, cboModify1, cboCO, cboCT, cboIA2, cboED2, cboModify2, cboModifyED2;
    TextBox txtTP1, txtModify1, txtTP2, txtModify2, txtVal1;
    Label lblTP1, lblModify1, lblTP2, lblModify2, lblVal1;
    CheckBox chkModify1, chkModify2;

    // ---- the condition grid, its context menu and the formula box ----
    ConditionGrid MSFlexGrid1;
    MenuItem mAND, mOR, mAddLeftBracket, mRemoveLeftBracket, mAddRightBracket, mRemoveRightBracket;
    FormulaBox txtForumlae;

    // ---- run options ----
    OptionButton optExplore, optScanBuy, optScanSell;
    OptionButton optAllTickers, OptCurrentTicker, OptUseFilter;
    OptionButton optAllBars, OptLastBars, OptLastDays;
    TextBox txtRange;
};

class MainWindowState : public MainWindowControls {
public:
    // `settings` supplies the indicators' stored parameters; it must outlive the state.
    explicit MainWindowState(CProgramSettings& settings);

    // ---- View menu switches ----
    MenuItem mMOS, mICWC, mWITB;

    // The symbol "Current ticker" runs over on the local host; no part of the formula, so no
    // undo step either. Kept with the run settings.
    CurrentSymbol currentSymbol;

    // ---- public properties ----
    const std::string& ScanName() const { return scanName_; }
    void SetScanName(std::string name) { scanName_ = std::move(name); }
    // The window caption follows the scan name.
    std::string Caption() const;

    // Setting one of these three also selects its option button: 0 the first of the group,
    // 1 the second, any other value the third.
    int AnalysisType() const { return analysisType_; }
    void SetAnalysisType(int value);
    int ApplyTo() const { return applyTo_; }
    void SetApplyTo(int value);
    int ScanRange() const { return scanRange_; }
    void SetScanRange(int value);
    // n of "last n bars" / "last n days", as typed.
    const std::string& ScanRangeNumber() const { return scanRangeNumber_; }
    void SetScanRangeNumber(std::string value) { scanRangeNumber_ = std::move(value); }

    int GridCount() const { return gridCount_; }
    void SetGridCount(int value) { gridCount_ = value; }
    const std::string& GridOperator() const { return gridOperator_; }
    void SetGridOperator(std::string value) { gridOperator_ = std::move(value); }
    const std::string& GridMode() const { return gridMode_; }
    void SetGridMode(std::string value) { gridMode_ = std::move(value); }
    int SelectedRow() const { return selectedRow_; }
    void SetSelectedRow(int value) { selectedRow_ = value; }
    const std::string& CurrentControl() const { return currentControl_; }
    void SetCurrentControl(std::string value) { currentControl_ = std::move(value); }

    // The text fields' numbers and the comparison are the condition's, held by the editor.
    std::int32_t TP1() const { return Condition().tp1; }
    void SetTP1(std::int32_t value) { editor_.Condition().tp1 = value; }
    std::int32_t TP2() const { return Condition().tp2; }
    void SetTP2(std::int32_t value) { editor_.Condition().tp2 = value; }
    double Modify1() const { return Condition().modify1; }
    void SetModify1(double value) { editor_.Condition().modify1 = value; }
    double Modify2() const { return Condition().modify2; }
    void SetModify2(double value) { editor_.Condition().modify2 = value; }
    double Value1() const { return Condition().value1; }
    void SetValue1(double value) { editor_.Condition().value1 = value; }
    std::optional<int> ComparisonOperator() const { return Condition().comparison; }
    void SetComparisonOperator(std::optional<int> value) { editor_.Condition().comparison = value; }

    // The condition the editor's controls show: what the next change writes into the row.
    const EditorState& Condition() const { return editor_.Condition(); }

    // ---- state shared with the rest of the program ----
    const ConditionRecordList& Records() const { return editor_.Records(); }
    const std::string& ConditionCode() const { return editor_.ConditionCode(); }
    const std::string& FilterExpression() const { return filterExpression_; }
    // Sets the expression without assembling the formula (a restored formula brings its own).
    void SetFilterExpression(std::string value) { filterExpression_ = std::move(value); }
    // The filter dialog's OK: the formula takes the filter the user chose, as a step of its own.
    void FilterChosen(std::string expression);
    // The filter was read again (at start, after a switch of database): the formula takes it.
    // This is no step of the user's, and leaves nothing unsaved.
    void FilterReloaded(std::string expression);

    // ---- what the rows still lack (MainWindowChecks.cpp) ----
    // Unfinished rows, brackets that do not balance and values an indicator never reaches, of
    // the rows in use.
    std::vector<RowIssue> RowIssues() const;
    // The value field's warning: a value indicator 1 never reaches; "" for none.
    std::string ValueWarningText() const;
    // The status line: the row the next change goes to and what that row still lacks.
    std::string StatusText() const;
    // Which rows the grid marks, in a few words for the status line; "" for none.
    std::string IssueSummary() const;
    // One line per problem of the formula, naming its row, for Run, Save and Copy to put to the
    // user; none when there is nothing to say. With `parse` the formula text is also read by
    // the built-in engine's parser, whose first complaint is named by the row it is in.
    std::vector<std::string> FormulaProblems(bool parse) const;

    // ---- undo and unsaved changes (MainWindowHistory.cpp) ----
    // Undo goes back one step at a time over every change of the rows, the run options and the
    // filter, at most kUndoSteps; the formula comes back with them as it was.
    static constexpr std::size_t kUndoSteps = 100;
    bool CanUndo() const { return !undo_.empty(); }
    bool CanRedo() const { return !redo_.empty(); }
    void Undo();
    void Redo();
    // Changes since the formula was last saved, opened or started anew.
    bool IsModified() const { return stateId_ != savedId_; }
    // Unsaved changes worth asking about before they are discarded: an empty grid holds none.
    bool HasUnsavedWork() const { return IsModified() && GridCount() > 0; }
    // The formula as it stands is in the library.
    void MarkSaved();
    // A new or opened formula: nothing to undo, nothing unsaved.
    void ForgetHistory();

    // How side 1's bar count reads: "the current period", "1 period ago", "n periods ago".
    std::string BarPhrase1() const;

    // ---- the formula pipeline ----
    // Writes the editor's condition into the current row, stores its record, rebuilds the
    // condition code and assembles the formula.
    void UpdateFormula();
    // The formula box from the condition code, the filter and the run options.
    void AssembleFormula();
    // Rows 0.. up to the last row with text: how many grid rows are in use.
    int CountConditionRows() const;

    // ---- editor events ----
    // A user's choice in a combo box: selects the entry (-1 for none) and fires its click.
    void Choose(ComboId combo, int index);
    ComboBox& Combo(ComboId combo);

    void cboIA1_GotFocus() { currentControl_ = "cboIA1"; }
    void cboED1_GotFocus() { currentControl_ = "cboED1"; }
    void txtTP1_GotFocus() { currentControl_ = "txtTP1"; }
    void chkModify1_GotFocus() { currentControl_ = "chkModify1"; }
    void cboModify1_GotFocus() { currentControl_ = "cboModify1"; }
    void txtModify1_GotFocus() { currentControl_ = "txtModify1"; }
    void cboCO_GotFocus() { currentControl_ = "cboCO"; }
    void cboCT_GotFocus() { currentControl_ = "cboCT"; }
    void cboIA2_GotFocus() { currentControl_ = "cboIA2"; }
    void cboED2_GotFocus() { currentControl_ = "cboED2"; }
    void txtTP2_GotFocus() { currentControl_ = "txtTP2"; }
    void chkModify2_GotFocus() { currentControl_ = "chkModify2"; }
    void cboModify2_GotFocus() { currentControl_ = "cboModify2"; }
    void cboModifyED2_GotFocus() { currentControl_ = "cboModifyED2"; }
    void txtModify2_GotFocus() { currentControl_ = "txtModify2"; }
    void txtVal1_GotFocus() { currentControl_ = "txtVal1"; }

    void cboIA1_Click();
    void cboED1_Click();
    void cboModify1_Click();
    void cboCO_Click();
    void cboCT_Click();
    void cboIA2_Click();
    void cboED2_Click();
    void cboModify2_Click();
    void cboModifyED2_Click();
    // The box has taken the new check state.
    void chkModify1_Click(bool checked);
    void chkModify2_Click(bool checked);

    // The box holds `text` now.
    void txtTP1_Change(std::string text);
    void txtTP2_Change(std::string text);
    void txtModify1_Change(std::string text);
    void txtModify2_Change(std::string text);
    void txtVal1_Change(std::string text);

    // The bar fields take digits, "/" and Backspace; the accepted key, or 0 to drop it.
    static int txtTP1_KeyPress(int keyAscii);
    static int txtTP2_KeyPress(int keyAscii) { return txtTP1_KeyPress(keyAscii); }

    // Leaving a text field shows the value it was read as.
    void txtTP1_LostFocus();
    void txtTP2_LostFocus();
    void txtModify1_LostFocus();
    void txtModify2_LostFocus();
    void txtVal1_LostFocus();

    // ---- grid events ----
    void btnAnd_Click() { StartRow("AND"); }
    void btnOr_Click() { StartRow("OR"); }
    // `button` 1 left, 2 right; `row` the grid row under the mouse. True when the context
    // menu is to pop up (its items' states are set).
    bool MSFlexGrid1_MouseDown(int button, int row);
    void MSFlexGrid1_Click();
    // The grid's current row moved (keyboard or mouse).
    void MSFlexGrid1_RowColChange(int row);
    void mAND_Click() { SetJoinerOfTarget("AND"); }
    void mOR_Click() { SetJoinerOfTarget("OR"); }
    void mAddLeftBracket_Click() { ChangeBrackets(true, +1); }
    void mRemoveLeftBracket_Click() { ChangeBrackets(true, -1); }
    void mAddRightBracket_Click() { ChangeBrackets(false, +1); }
    void mRemoveRightBracket_Click() { ChangeBrackets(false, -1); }
    void btnRemove_Click();
    void btnClearAll_Click();

    // ---- run option events ----
    void optExplore_Click();
    void optScanBuy_Click();
    void optScanSell_Click();
    void optAllTickers_Click();
    void OptCurrentTicker_Click();
    void OptUseFilter_Click();
    void optAllBars_Click() { ChooseRange(0); }
    void OptLastBars_Click() { ChooseRange(1); }
    void OptLastDays_Click() { ChooseRange(2); }
    void txtRange_Change(std::string text);
    void txtRange_LostFocus();

    // ---- running a formula (MainWindowRun.cpp): View menu, run settings, Run, Copy ----
    // Each flips its check and stores it.
    void mMOS_Click();
    void mICWC_Click();
    // True when the window is now to have its own task bar button (the form re-parents it).
    bool mWITB_Click();
    // The stored run options and switches; a value that is not a number reads as its default.
    void LoadRunSettings();
    void SaveRunSettings();
    // Writes the formula box to the run file and has the analysis load and run it.
    RunOutcome btnRun_Click(const RunServices& services);
    // The grid texts of the rows in use, 0 to GridCount - 1.
    std::vector<std::string> RowTexts() const;
    // The formula box's text behind a comment with `date` and the grid's condition rows: what
    // Copy puts on the clipboard, and Run in the run file while comments are on.
    std::string CommentedFormulaText(std::string_view date) const;
    // Puts the commented formula, dated today, on the clipboard.
    void mCopy_Click(const std::function<void(const std::string&)>& setClipboard) const;

    // ---- the formula as a library record (MainWindowRecord.cpp) ----
    // The run options, formula text, condition code, filter and rows in use; number, folder,
    // name and description are the library's to fill. The range box is normalised first, as
    // leaving it would.
    LibraryFormula FormulaRecord();
    // Brings the window back to a saved formula exactly as it was saved: Clear All, the run
    // options, the formula text, the rows and their code, the filter and the name; then the
    // first row is selected, so that grid and editor agree.
    void RestoreRecord(const LibraryFormula& formula);

private:
    // Only the control the user is working in regenerates the formula; changes the program
    // makes to controls (loading a row, resets) pass without it.
    void UpdateFormulaFrom(const char* control) {
        if (currentControl_ == control) {
            UpdateFormula();
        }
    }
    // A list whose selection is one of the condition's choices: every change of its items or
    // selection goes through these, so the condition always holds what the lists show.
    void ClearList(ComboId combo);
    void SelectItem(ComboId combo, int index);
    void TakeChoice(ComboId combo);
    void StartRow(const char* joiner);
    void SelectRow(int row, bool counts);
    void LoadRow(const ConditionRecord& record);
    // The row that edits, brackets and joiner changes go to.
    int TargetRow() const;
    ConditionRecord* TargetRecord();
    void SetJoinerOfTarget(const char* joiner);
    void ChangeBrackets(bool left, int step);
    // In add mode the last row is rewritten: keep the joiner it already has.
    void TakeJoinerOfLastRow();
    bool ContextMenu();
    void DeleteGridRow(int row);
    void FillOptions(ComboId combo, std::optional<int> indicator);
    void FillPairedIndicators();
    void FillModifyList(ComboId combo);
    // Which side-2 inputs the chosen comparison and target use, and the modifiers' states.
    void ArrangeControls();
    void ResetEditor();
    // Clear All's work, as removing the last row and opening a formula do it too.
    void ClearAll();
    // A user's choice of a run option held in `option`; `set` also selects its button.
    void ChooseRunOption(int& option, void (MainWindowState::*set)(int), int value);
    void ChooseRange(int value);
    void WriteSwitch(MenuItem& item, const char* name);

    // ---- undo (MainWindowHistory.cpp) ----
    // The window's own values beside its controls (its private members of the same names), as
    // an undo step brings them back.
    struct Document {
        std::string scanName;
        int analysisType = 0;
        int applyTo = 0;
        int scanRange = 1;
        std::string scanRangeNumber = "1";
        int gridCount = 0;
        std::string gridOperator = "AND";
        std::string gridMode = "ADD";
        int selectedRow = 0;
        std::string filterExpression;
    };
    // Everything an undo step brings back; `id` names the state for the unsaved-changes mark.
    struct Snapshot {
        MainWindowControls controls;
        ConditionEditor editor;
        Document document;
        std::uint64_t id = 0;
    };
    // Brackets one user event. The outermost one keeps the state the event started from and,
    // when the event changed the formula, the rows, the run options or the filter, makes it an
    // undo step. Typing in one field is one step: the state before the first key is kept, and
    // the keys that follow add to the same step until the field is left or something else is
    // done. Events that only select (a row, the focus) keep nothing.
    class Event {
    public:
        enum Kind { Change, Typing, Selection };
        Event(MainWindowState& window, Kind kind, const char* field = nullptr);
        ~Event();
        Event(const Event&) = delete;
        Event& operator=(const Event&) = delete;

    private:
        MainWindowState& window_;
        bool outermost_;
    };
    // The event under way changed what the user builds.
    void MarkChanged();
    Snapshot Capture() const;
    void Restore(Snapshot snapshot);
    // Typing in `field` ends: the next key there starts a new step.
    void EndTyping() { typingField_ = nullptr; }
    // The editor shows the row the next change writes into: the last row's condition, or a
    // fresh one for a row started with AND or OR; the grid highlights that row.
    void ShowTargetRow();

    CProgramSettings* settings_;
    ConditionEditor editor_;

    std::string scanName_;
    int analysisType_ = 0;
    int applyTo_ = 0;
    int scanRange_ = 1;
    std::string scanRangeNumber_ = "1";
    int gridCount_ = 0;
    std::string gridOperator_ = "AND";
    std::string gridMode_ = "ADD";
    int selectedRow_ = 0;
    std::string currentControl_;
    std::string filterExpression_;

    bool mouseDownHandled_ = false; // the Click that follows a handled MouseDown does nothing

    std::vector<Snapshot> undo_;
    std::vector<Snapshot> redo_;
    std::optional<Snapshot> before_; // the state the event under way started from
    int eventDepth_ = 0;
    bool eventChanged_ = false;
    const char* eventField_ = nullptr;  // the field the event under way types in
    const char* typingField_ = nullptr; // the field whose typing the last step holds
    std::uint64_t stateId_ = 0;
    std::uint64_t lastId_ = 0;
    std::uint64_t savedId_ = 0;
};

} // namespace marlindex
