// Undo and redo, and the mark of unsaved changes. A step is a copy of everything the window
// shows and keeps for the formula, taken before a change: at 50 rows that is a few hundred
// short strings, copied once per step (never per key while typing in one field), and
// bringing it back restores the rows, their records, the editor, the run options, the filter
// and the formula text exactly as they were, with no chance of a rebuild differing from what
// was shown. Keeping differences instead would save memory the window does not miss and make
// every event's undo its own code.
#include "mainwindow/MainWindowState.h"

#include <cstring>

namespace marlindex {

MainWindowState::Event::Event(MainWindowState& window, Kind kind, const char* field)
    : window_(window), outermost_(window.eventDepth_ == 0) {
    ++window_.eventDepth_;
    if (!outermost_) {
        return;
    }
    window_.eventChanged_ = false;
    window_.eventField_ = kind == Typing ? field : nullptr;
    const bool sameTyping = kind == Typing && window_.typingField_ != nullptr &&
                            std::strcmp(window_.typingField_, field) == 0;
    if (!sameTyping) {
        window_.typingField_ = nullptr;
    }
    if (kind != Selection && !sameTyping) {
        window_.before_ = window_.Capture();
    }
}

MainWindowState::Event::~Event() {
    --window_.eventDepth_;
    if (!outermost_) {
        return;
    }
    MainWindowState& w = window_;
    if (w.eventChanged_) {
        if (w.before_) {
            w.undo_.push_back(std::move(*w.before_));
            if (w.undo_.size() > kUndoSteps) {
                w.undo_.erase(w.undo_.begin());
            }
        }
        w.redo_.clear();
        w.stateId_ = ++w.lastId_;
        w.typingField_ = w.eventField_;
    }
    w.before_.reset();
    w.eventChanged_ = false;
}

void MainWindowState::MarkChanged() {
    if (eventDepth_ > 0) {
        eventChanged_ = true;
    } else {
        // A change made outside any event (the program's own) cannot be undone, but it is
        // unsaved all the same.
        stateId_ = ++lastId_;
    }
}

MainWindowState::Snapshot MainWindowState::Capture() const {
    const Document document{scanName_,  analysisType_, applyTo_,  scanRange_,   scanRangeNumber_,
                            gridCount_, gridOperator_, gridMode_, selectedRow_, filterExpression_};
    return {static_cast<const MainWindowControls&>(*this), editor_, document, stateId_};
}

void MainWindowState::Restore(Snapshot snapshot) {
    static_cast<MainWindowControls&>(*this) = std::move(snapshot.controls);
    editor_ = std::move(snapshot.editor);
    Document& d = snapshot.document;
    scanName_ = std::move(d.scanName);
    analysisType_ = d.analysisType;
    applyTo_ = d.applyTo;
    scanRange_ = d.scanRange;
    scanRangeNumber_ = std::move(d.scanRangeNumber);
    gridCount_ = d.gridCount;
    gridOperator_ = std::move(d.gridOperator);
    gridMode_ = std::move(d.gridMode);
    selectedRow_ = d.selectedRow;
    filterExpression_ = std::move(d.filterExpression);
    stateId_ = snapshot.id;
    mouseDownHandled_ = false;
    typingField_ = nullptr;
}

void MainWindowState::Undo() {
    if (undo_.empty() || eventDepth_ > 0) {
        return;
    }
    redo_.push_back(Capture());
    Snapshot previous = std::move(undo_.back());
    undo_.pop_back();
    Restore(std::move(previous));
}

void MainWindowState::Redo() {
    if (redo_.empty() || eventDepth_ > 0) {
        return;
    }
    undo_.push_back(Capture());
    Snapshot next = std::move(redo_.back());
    redo_.pop_back();
    Restore(std::move(next));
}

void MainWindowState::MarkSaved() {
    savedId_ = stateId_;
    typingField_ = nullptr;
}

void MainWindowState::ForgetHistory() {
    undo_.clear();
    redo_.clear();
    MarkSaved();
}

} // namespace marlindex
