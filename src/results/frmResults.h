// The results window of runs on the local host: a window of its own beside the main window.
// While a run goes it shows how many symbols are done, with Cancel; then the run's rows in a
// table that sorts by any column (ResultsTable holds the rows, their order and the chosen
// day), the number of rows, the hits-per-day chart (a click on a day shows that day's rows),
// Export..., Copy, and the why-panel of the selected row. A double click opens the row's
// chart. "Keep these results" makes the next run open a window of its own.
#pragma once

#include "results/ResultsTable.h"
#include "results/RunContext.h"

#include <QWidget>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

class QCheckBox;
class QChartView;
class QLabel;
class QModelIndex;
class QProgressBar;
class QPushButton;
class QTableView;

namespace marlindex {

class ResultsTableModel;
class frmWhyPanel;

class frmResults : public QWidget {
    Q_OBJECT

public:
    explicit frmResults(QWidget* parent = nullptr);
    ~frmResults() override;

    // A run starts: the progress bar and Cancel show, the cancel flag is cleared.
    void StartRun();
    // Symbols done of all; called on the window's thread.
    void ShowProgress(std::size_t done, std::size_t total);
    // Set by Cancel; the run reads it from its own threads.
    const std::atomic<bool>& CancelFlag() const { return cancel_; }
    // The run ended: its rows replace what the window showed.
    void ShowRun(std::shared_ptr<const RunContext> run);
    // The run ended without rows to show; the window says why and keeps what it showed.
    void ShowFailure(const std::string& why);
    bool Running() const { return running_; }

    // Whether the user wants this window's rows kept when the next run comes.
    bool KeepResults() const;
    // The table shown; none before the first run.
    ResultsTable* Table() const;

    // Where Export... writes; by default a file dialog asks. Tests answer it.
    std::function<std::optional<std::string>()> askExportFile;

protected:
    // Left and Right step through the days in the chart, Escape shows all days again.
    bool eventFilter(QObject* watched, QEvent* event) override;

signals:
    // The user selected a row: its symbol becomes the program's current symbol.
    void SymbolChosen(const QString& symbol);

private:
    void BuildHitsPerDay();
    // A click on a day's bar: shows its rows, or all rows again when it is the day shown.
    void ChooseDay(int index);
    void ShowDayAt(int index);
    void ShowAllDays();
    void RowSelected(const QModelIndex& current);
    void OpenChart(const QModelIndex& index);
    void Export();
    void Copy();
    void Mirror();

    std::shared_ptr<ResultsTable> table_;
    std::atomic<bool> cancel_{false};
    bool running_ = false;
    std::optional<int> chosenBar_;

    ResultsTableModel* model_;
    QTableView* grdResults_;
    QLabel* lblCount_;
    QLabel* lblStatus_;
    QProgressBar* prgRun_;
    QPushButton* btnCancel_;
    QPushButton* btnExport_;
    QPushButton* btnCopy_;
    QPushButton* btnAllDays_;
    QCheckBox* chkKeep_;
    QChartView* chtHitsPerDay_;
    frmWhyPanel* whyPanel_;
};

} // namespace marlindex
