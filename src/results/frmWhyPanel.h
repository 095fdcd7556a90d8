// The why-panel of the results window: for the selected row (a symbol on a bar) each condition
// row of the main window by its description with its value on that bar (true, false, or no
// value yet), the joiners and brackets between them and the filter expression's result; for a
// symbol with no rows (typed in its symbol box), the same for its last bar in range. What it
// shows comes from WhyItPassed (plain data, tested without a display).
#pragma once

#include "results/RunContext.h"
#include "results/WhyPanelState.h"

#include <QWidget>
#include <functional>
#include <memory>
#include <string>

class QLabel;
class QLineEdit;
class QPushButton;
class QStringListModel;
class QTableWidget;

namespace marlindex {

class frmWhyPanel : public QWidget {
    Q_OBJECT

public:
    explicit frmWhyPanel(QWidget* parent = nullptr);
    ~frmWhyPanel() override;

    // The run the panel explains; clears what it showed.
    void SetRun(std::shared_ptr<const RunContext> run);
    // Explains `symbol` on `date` (a row of the results).
    void ShowRow(const std::string& symbol, TradeDate date);

    const WhyPanelState& State() const { return state_; }

private:
    // Every user event reaches the state through here, under the one guard, then the widgets
    // show the state.
    void Handle(const std::function<void()>& event);
    void Mirror();

    WhyPanelState state_;
    QLabel* lblHeading_ = nullptr;
    QTableWidget* lstWhy_ = nullptr;
    QLineEdit* txtSymbol_ = nullptr;
    QPushButton* btnExplain_ = nullptr;
    QStringListModel* symbols_ = nullptr; // the completion's list
    QMetaObject::Connection rowHeights_;
};

} // namespace marlindex
