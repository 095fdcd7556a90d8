// The main window's side of a run on the local host: the results window opens before the run,
// shows its progress and takes Cancel while the run goes on a thread of its own, and then shows
// the rows with what produced them.
#include "amibroker/LocalBroker.h"
#include "mainwindow/frmMain.h"
#include "results/frmResults.h"

#include <QApplication>
#include <QDateTime>
#include <QGuiApplication>
#include <QPushButton>
#include <QScreen>
#include <algorithm>

namespace marlindex {

frmResults* frmMain::ResultsWindow() const {
    return results_;
}

bool frmMain::BeginLocalRun() {
    auto* host = dynamic_cast<LocalBroker*>(services_.broker);
    if (host == nullptr) {
        return false;
    }
    if (results_ == nullptr || results_->KeepResults()) {
        auto* window = new frmResults(this);
        // Beside the main window, or a little below the window whose rows are kept, so that
        // both stay in sight.
        QPoint place = results_ != nullptr ? results_->pos() + QPoint(40, 40)
                                           : frameGeometry().topRight() + QPoint(8, 0);
        if (const QScreen* screen = this->screen(); screen != nullptr) {
            const QRect room = screen->availableGeometry();
            place.setX(std::clamp(place.x(), room.left(),
                                  std::max(room.left(), room.right() - window->width())));
            place.setY(std::clamp(place.y(), room.top(),
                                  std::max(room.top(), room.bottom() - window->height())));
        }
        window->move(place);
        connect(window, &frmResults::SymbolChosen, this,
                [this](const QString& symbol) { SetCurrentSymbol(symbol.toStdString()); });
        results_ = window;
    }
    results_->show();
    results_->raise();
    results_->StartRun();

    LocalAnalysis& analysis = host->Local();
    analysis.SetReportInMessage(false);
    runDone_ = 0;
    runTotal_ = 0;
    // Progress is heard on the run's threads: it only counts, and the window reads the counts
    // while its events run.
    analysis.SetRunControl({[this](std::size_t done, std::size_t total) {
                                runDone_ = done;
                                runTotal_ = total;
                                return true;
                            },
                            &results_->CancelFlag()});
    QPointer<frmResults> window = results_;
    analysis.SetWhileRunning([this, window] {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        if (window != nullptr && runTotal_ > 0) {
            window->ShowProgress(runDone_, runTotal_);
        }
    });
    runStarted_ = std::make_shared<RunContext>();
    runStarted_->databaseFolder = host->DatabasePath();
    runStarted_->formulaText = state_->txtForumlae.text;
    runStarted_->records = state_->Records();
    runStarted_->filterExpression = state_->FilterExpression();
    runStarted_->filterApplies = state_->OptUseFilter.value;
    runGoing_ = true;
    btnRun_->setEnabled(false);
    return true;
}

void frmMain::EndLocalRun() {
    runGoing_ = false;
    btnRun_->setEnabled(!state_->txtForumlae.text.empty());
    auto* host = dynamic_cast<LocalBroker*>(services_.broker);
    if (host == nullptr) {
        return;
    }
    LocalAnalysis& analysis = host->Local();
    analysis.SetWhileRunning({});
    analysis.SetRunControl({});
    if (results_ == nullptr || runStarted_ == nullptr) {
        return;
    }
    if (!lastRun_.error.empty() || !lastRun_.started || !analysis.LastResults()) {
        results_->ShowFailure(lastRun_.error.empty() ? "the formula was not run" : lastRun_.error);
        return;
    }
    std::shared_ptr<RunContext> run = std::move(runStarted_);
    run->request = analysis.Request();
    run->results = *analysis.LastResults();
    run->ranAt =
        QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm")).toStdString();
    results_->ShowRun(std::move(run));
    results_->raise();
}

} // namespace marlindex
