// The chart of one symbol from a run (a window of its own): candlesticks with volume below, the
// indicators the formula's rows use (price-scale ones on the price pane, oscillators in panes
// of their own), the bars where the formula is true marked, and the hit bar in view. Zoom and
// pan with the mouse and the keyboard. What it draws comes from ChartData (plain data, tested
// without a display).
#pragma once

#include "results/ChartData.h"
#include "results/ChartViewport.h"
#include "results/RunContext.h"

#include <QWidget>
#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QChart;
class QChartView;
class QAbstractSeries;
class QCandlestickSeries;
class QCategoryAxis;
class QLabel;
class QLineSeries;
class QPen;
class QScatterSeries;
class QValueAxis;

namespace marlindex {

class frmChart : public QWidget {
    Q_OBJECT

public:
    frmChart(std::shared_ptr<const RunContext> run, const std::string& symbol, TradeDate hit,
             QWidget* parent = nullptr);
    ~frmChart() override;

    // What the window draws and which bars it shows; null when the chart could not be made
    // (the window then says why).
    const ChartData* Data() const { return data_ ? &*data_ : nullptr; }
    const ChartViewport* Viewport() const { return viewport_ ? &*viewport_ : nullptr; }

    // Copies the view onto the panes: the bars shown, each pane's value range, the marks.
    void Mirror();

signals:
    // The user turned to this chart: its symbol becomes the program's current symbol.
    void SymbolChosen(const QString& symbol);

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    struct Pane {
        ChartPane kind = ChartPane::Price;
        int own = -1;
        QWidget* frame = nullptr; // the pane's legend above its chart
        QLabel* legend = nullptr;
        QChartView* view = nullptr;
        QChart* chart = nullptr;
        QCategoryAxis* x = nullptr; // the dates and their grid lines
        QValueAxis* bars = nullptr; // the same bars, unseen, for the candles
        QValueAxis* y = nullptr;
        QStringList names; // the legend's entries, coloured
    };

    void CreatePanes();
    Pane& AddPane(ChartPane kind, int own, const QString& name);
    void AddCandles(Pane& pane);
    void AddVolume(Pane& pane);
    void AddLines();
    void AddLine(Pane& pane, const ChartLine& line, const QPen& pen, double scale);
    void Attach(Pane& pane, QAbstractSeries* series, bool candles = false);
    static void Name(Pane& pane, const QString& name, const QColor& colour, const QString& sign);
    void AddMarks(Pane& pane);
    void LayOutPlots();
    void MirrorCandles();
    void MirrorDates();
    void MirrorMarks(double low, double high);
    void ShowBarUnder(const Pane& pane, double x);
    // Every user event reaches the view through here: an unexpected failure is shown in the
    // window rather than escaping into the event loop, and the panes then show the view.
    void Handle(const std::function<void()>& event);
    bool HandleKey(int key);

    std::shared_ptr<const RunContext> run_;
    std::optional<ChartData> data_;
    std::optional<ChartViewport> viewport_;
    std::vector<Pane> panes_;
    double volumeScale_ = 1;
    QCandlestickSeries* candles_ = nullptr;
    std::array<QCandlestickSeries*, 2> volume_{}; // up days, down days
    std::size_t loadedFrom_ = 0; // the bars that have candles: [loadedFrom_, loadedTo_)
    std::size_t loadedTo_ = 0;
    QScatterSeries* below_ = nullptr; // Filter or Buy marks, under the bar's low
    QScatterSeries* above_ = nullptr; // Sell marks, over the bar's high
    QLineSeries* hitLine_ = nullptr;
    QLabel* lblBar = nullptr;
    QLabel* lblProblem = nullptr;
    std::optional<double> dragFrom_;
    std::size_t dragFirst_ = 0;
    int wheelAngle_ = 0; // eighths of a degree not yet zoomed by
};

} // namespace marlindex
