// The chart of one symbol from a run (a window of its own): candlesticks with volume below, the
// indicators the formula's rows use (price-scale ones on the price pane, oscillators in panes
// of their own), the bars where the formula is true marked, and the hit bar in view. Zoom and
// pan with the mouse and the keyboard. What it draws comes from ChartData (plain data, tested
// without a display).
#pragma once

#include "results/RunContext.h"

#include <QWidget>
#include <memory>
#include <string>

namespace marlindex {

class frmChart : public QWidget {
    Q_OBJECT

public:
    frmChart(std::shared_ptr<const RunContext> run, const std::string& symbol, TradeDate hit,
             QWidget* parent = nullptr);
    ~frmChart() override;
};

} // namespace marlindex
