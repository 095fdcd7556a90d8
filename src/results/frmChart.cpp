#include "results/frmChart.h"

#include "formula/Catalogues.h"
#include "startup/EventGuard.h"

#include <QCandlestickSeries>
#include <QCandlestickSet>
#include <QCategoryAxis>
#include <QChart>
#include <QChartView>
#include <QDate>
#include <QKeyEvent>
#include <QLabel>
#include <QLegendMarker>
#include <QLineSeries>
#include <QMouseEvent>
#include <QScatterSeries>
#include <QSplitter>
#include <QVBoxLayout>
#include <QValueAxis>
#include <QWheelEvent>
#include <algorithm>
#include <array>
#include <cmath>

namespace marlindex {

namespace {

// Room beside and under each plot, the same for every pane so that their bars line up.
constexpr int kLeftMargin = 8;
constexpr int kRightMargin = 78; // the value labels
constexpr int kDateHeight = 26;

const QColor kUp(0x26, 0xa6, 0x9a);
const QColor kDown(0xef, 0x53, 0x50);
const QColor kUpVolume(0x9f, 0xd8, 0xd2);
const QColor kDownVolume(0xf6, 0xb3, 0xb1);
const QColor kBuy(0x15, 0x65, 0xc0);
const QColor kSell(0xe6, 0x5c, 0x00);
const QColor kHit(0xff, 0xa0, 0x00);
const std::array<QColor, 6> kLineColours{QColor(0x1e, 0x88, 0xe5), QColor(0x8e, 0x24, 0xaa),
                                         QColor(0xf5, 0x7c, 0x00), QColor(0x43, 0xa0, 0x47),
                                         QColor(0x6d, 0x4c, 0x41), QColor(0xd8, 0x1b, 0x60)};

QString ToQt(const std::string& text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QDate DateOf(TradeDate date) {
    return QDate(1970, 1, 1).addDays(date);
}

// A step between value labels of 1, 2, 2.5 or 5 times a power of ten, the one nearest to
// giving `count` labels over `span`.
double NiceStep(double span, int count) {
    const double rough = span / std::max(count, 1);
    if (!(rough > 0) || !std::isfinite(rough)) {
        return 1;
    }
    const double power = std::pow(10.0, std::floor(std::log10(rough)));
    double best = power;
    for (const double nice : {1.0, 2.0, 2.5, 5.0, 10.0}) {
        if (std::abs(std::log(nice * power / rough)) < std::abs(std::log(best / rough))) {
            best = nice * power;
        }
    }
    return best;
}

// The decimals a label needs to show multiples of `step` exactly: 2.5 needs one.
int Decimals(double step) {
    int decimals = 0;
    for (double scaled = step;
         decimals < 6 && std::abs(scaled - std::round(scaled)) > 1e-9 * scaled; scaled *= 10) {
        ++decimals;
    }
    return decimals;
}

// A pane's values with some room above and below, never an empty range.
std::pair<double, double> Padded(PaneRange range, bool fromZero) {
    double span = range.high - range.low;
    if (span <= 0) {
        span = std::max(std::abs(range.high) * 0.02, 1.0);
    }
    const double low = fromZero && range.low >= 0 ? range.low : range.low - span * 0.08;
    return {low, range.high + span * 0.08};
}

} // namespace

frmChart::frmChart(std::shared_ptr<const RunContext> run, const std::string& symbol, TradeDate hit,
                   QWidget* parent)
    : QWidget(parent, Qt::Window), run_(std::move(run)) {
    setObjectName(QStringLiteral("frmChart"));
    setAttribute(Qt::WA_DeleteOnClose);
    setFocusPolicy(Qt::StrongFocus);
    resize(1100, 760);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->setSpacing(2);

    lblProblem = new QLabel(this);
    lblProblem->setObjectName(QStringLiteral("lblProblem"));
    lblProblem->setWordWrap(true);
    lblProblem->setVisible(false);
    layout->addWidget(lblProblem);

    Result<ChartData> loaded = LoadChartData(*run_, symbol, hit);
    if (!loaded) {
        setWindowTitle(ToQt(symbol) + QStringLiteral(" - Chart"));
        lblProblem->setText(QStringLiteral("The chart of %1 could not be made: %2")
                                .arg(ToQt(symbol), ToQt(loaded.problem().Message())));
        lblProblem->setVisible(true);
        layout->addStretch();
        return;
    }
    data_ = std::move(*loaded);
    viewport_.emplace(data_->bars.size(), data_->hitBar);
    QString title = ToQt(data_->title);
    if (!data_->bars.dates.empty()) {
        title +=
            QStringLiteral(", hit on ") + ToQt(FormatIsoDate(data_->bars.dates[data_->hitBar]));
    }
    setWindowTitle(title + QStringLiteral(" - Chart"));

    CreatePanes();
    auto* splitter = new QSplitter(Qt::Vertical, this);
    splitter->setObjectName(QStringLiteral("panes"));
    splitter->setChildrenCollapsible(false);
    QList<int> sizes;
    for (const Pane& pane : panes_) {
        splitter->addWidget(pane.frame);
        const int stretch = pane.kind == ChartPane::Price    ? 7
                            : pane.kind == ChartPane::Volume ? 2
                                                             : 3;
        splitter->setStretchFactor(splitter->count() - 1, stretch);
        sizes << 100 * stretch;
    }
    // The splitter shares out the height in these proportions.
    splitter->setSizes(sizes);
    layout->addWidget(splitter, 1);

    lblBar = new QLabel(this);
    lblBar->setObjectName(QStringLiteral("lblBar"));
    lblBar->setText(
        QStringLiteral("Wheel or + and - zoom; drag, Left and Right, Home and End move"));
    layout->addWidget(lblBar);
    // Keys work from the start: no control of the window takes the focus.
    setFocus();
    Mirror();
}

frmChart::~frmChart() = default;

frmChart::Pane& frmChart::AddPane(ChartPane kind, int own, const QString& name) {
    Pane pane;
    pane.kind = kind;
    pane.own = own;
    pane.frame = new QWidget(this);
    auto* layout = new QVBoxLayout(pane.frame);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    pane.legend = new QLabel(pane.frame);
    pane.legend->setObjectName(name + QStringLiteral("Legend"));
    pane.legend->setTextFormat(Qt::RichText);
    pane.legend->setContentsMargins(kLeftMargin, 2, 0, 0);
    layout->addWidget(pane.legend);

    pane.chart = new QChart();
    pane.chart->setBackgroundRoundness(0);
    pane.chart->setMargins(QMargins(0, 0, 0, 0));
    pane.chart->legend()->hide();
    QFont small = pane.legend->font();
    small.setPointSizeF(small.pointSizeF() * 0.9);
    pane.x = new QCategoryAxis();
    pane.x->setLabelsPosition(QCategoryAxis::AxisLabelsPositionOnValue);
    pane.x->setLabelsFont(small);
    pane.x->setGridLineColor(QColor(0xe4, 0xe4, 0xe4));
    pane.bars = new QValueAxis();
    pane.bars->setVisible(false);
    pane.y = new QValueAxis();
    pane.y->setLabelsFont(small);
    pane.y->setGridLineColor(QColor(0xee, 0xee, 0xee));
    pane.y->setTickType(QValueAxis::TicksDynamic);
    pane.y->setTickAnchor(0);
    pane.chart->addAxis(pane.x, Qt::AlignBottom);
    pane.chart->addAxis(pane.bars, Qt::AlignBottom);
    pane.chart->addAxis(pane.y, Qt::AlignRight);
    // The date axis needs a series of its own to be laid out in a pane of candles alone.
    auto* grid = new QLineSeries();
    grid->setObjectName(QStringLiteral("grid"));
    pane.chart->addSeries(grid);
    grid->attachAxis(pane.x);
    grid->attachAxis(pane.y);

    pane.view = new QChartView(pane.chart, pane.frame);
    pane.view->setObjectName(name);
    pane.view->setRenderHint(QPainter::Antialiasing);
    pane.view->setFocusPolicy(Qt::NoFocus);
    pane.view->setMinimumHeight(kind == ChartPane::Price ? 220 : 80);
    pane.view->installEventFilter(this);
    pane.view->viewport()->installEventFilter(this);
    pane.view->viewport()->setMouseTracking(true);
    layout->addWidget(pane.view, 1);
    panes_.push_back(pane);
    return panes_.back();
}

void frmChart::Attach(Pane& pane, QAbstractSeries* series, bool candles) {
    // Candlesticks keep to a plain value axis; every other series takes the date axis. Both
    // always show the same bars.
    pane.chart->addSeries(series);
    series->attachAxis(candles ? static_cast<QAbstractAxis*>(pane.bars) : pane.x);
    series->attachAxis(pane.y);
}

void frmChart::Name(Pane& pane, const QString& name, const QColor& colour, const QString& sign) {
    pane.names << QStringLiteral("<span style=\"color:%1\">%2</span>&nbsp;%3")
                      .arg(colour.name(), sign, name.toHtmlEscaped());
    pane.legend->setText(pane.names.join(QStringLiteral("&nbsp;&nbsp;&nbsp;&nbsp;")));
}

void frmChart::CreatePanes() {
    panes_.reserve(static_cast<std::size_t>(2 + data_->ownPanes));
    AddCandles(AddPane(ChartPane::Price, -1, QStringLiteral("pricePane")));
    AddVolume(AddPane(ChartPane::Volume, -1, QStringLiteral("volumePane")));
    for (int own = 0; own < data_->ownPanes; ++own) {
        AddPane(ChartPane::Own, own, QStringLiteral("indicatorPane%1").arg(own));
    }
    AddLines();
    AddMarks(panes_.front());
    // Only the lowest pane writes the dates; the others keep its grid lines.
    for (std::size_t k = 0; k + 1 < panes_.size(); ++k) {
        panes_[k].x->setLabelsVisible(false);
    }
}

void frmChart::AddCandles(Pane& pane) {
    auto* candles = new QCandlestickSeries();
    candles->setObjectName(QStringLiteral("candles"));
    candles->setName(ToQt(data_->symbol));
    candles->setIncreasingColor(kUp);
    candles->setDecreasingColor(kDown);
    candles->setBodyOutlineVisible(false);
    candles->setCapsVisible(false);
    candles->setBodyWidth(0.7);
    candles->setMinimumColumnWidth(-1);
    candles->setPen(QPen(QColor(0x55, 0x55, 0x55), 1));
    candles_ = candles;
    // The hit's line goes first, so the candles stand in front of it.
    hitLine_ = new QLineSeries();
    hitLine_->setObjectName(QStringLiteral("hitLine"));
    hitLine_->setName(QStringLiteral("The hit"));
    QColor behind = kHit;
    behind.setAlpha(170);
    hitLine_->setPen(QPen(behind, 2, Qt::DashLine));
    Attach(pane, hitLine_);
    Attach(pane, candles, true);
    Name(pane, ToQt(data_->symbol), kUp, QStringLiteral("&#9646;"));
}

void frmChart::AddVolume(Pane& pane) {
    // Volume bars are candles from 0 to the volume, so they line up with the price candles at
    // any zoom; up and down days in two series keep their colours apart.
    const BarSeries& bars = data_->bars;
    const double highest =
        bars.volume.empty() ? 0 : *std::max_element(bars.volume.begin(), bars.volume.end());
    QString unit;
    if (highest >= 1e7) {
        volumeScale_ = 1e6;
        unit = QStringLiteral(" (millions)");
    } else if (highest >= 1e4) {
        volumeScale_ = 1e3;
        unit = QStringLiteral(" (thousands)");
    }
    std::array<QCandlestickSeries*, 2>& series = volume_;
    for (std::size_t k = 0; k < 2; ++k) {
        series[k] = new QCandlestickSeries();
        series[k]->setObjectName(QStringLiteral("volume"));
        series[k]->setIncreasingColor(k == 0 ? kUpVolume : kDownVolume);
        series[k]->setBodyOutlineVisible(false);
        series[k]->setCapsVisible(false);
        series[k]->setBodyWidth(0.7);
        series[k]->setMinimumColumnWidth(-1);
        series[k]->setPen(Qt::NoPen);
    }
    series[0]->setName(QStringLiteral("Volume") + unit);
    for (std::size_t k = 0; k < 2; ++k) {
        Attach(pane, series[k], true);
    }
    Name(pane, series[0]->name(), kUp, QStringLiteral("&#9646;"));
}

void frmChart::AddLines() {
    int colour = 0;
    for (const ChartLine& line : data_->lines) {
        const auto pane = std::find_if(panes_.begin(), panes_.end(), [&](const Pane& p) {
            return p.kind == line.indicator.pane &&
                   (p.kind != ChartPane::Own || p.own == line.indicator.ownPane);
        });
        if (pane == panes_.end()) {
            continue;
        }
        const double scale = pane->kind == ChartPane::Volume ? volumeScale_ : 1;
        const QPen pen(kLineColours[static_cast<std::size_t>(colour) % kLineColours.size()], 1.6);
        // A price field the candles show (a row on the close) would only hide them; its levels
        // still show.
        const bool candlesShowIt =
            line.indicator.indicator == kIndicatorPrice && line.indicator.afl != "Avg";
        if (!candlesShowIt) {
            ++colour;
            AddLine(*pane, line, pen, scale);
        }
        for (const RowLevel& level : data_->levels) {
            if (level.afl != line.indicator.afl || data_->bars.size() == 0) {
                continue;
            }
            auto* across = new QLineSeries();
            across->setObjectName(QStringLiteral("level"));
            across->setPen(QPen(pen.color().lighter(130), 1, Qt::DashLine));
            const double value = level.value / scale;
            across->append(0, value);
            across->append(static_cast<qreal>(data_->bars.size() - 1), value);
            Attach(*pane, across);
            Name(*pane, QString::number(value), across->pen().color(), QStringLiteral("- - -"));
        }
    }
}

void frmChart::AddLine(Pane& pane, const ChartLine& line, const QPen& pen, double scale) {
    // A bar without a value breaks the line: each stretch of values is a series of its
    // own, and only the first names the indicator in the legend.
    QLineSeries* series = nullptr;
    QList<QPointF> points;
    const auto flush = [&] {
        if (series == nullptr) {
            return;
        }
        series->replace(points);
        Attach(pane, series);
    };
    for (std::size_t k = 0; k < line.points.size(); ++k) {
        const ChartPoint& point = line.points[k];
        if (series == nullptr || point.bar != line.points[k - 1].bar + 1) {
            flush();
            series = new QLineSeries();
            series->setObjectName(QStringLiteral("indicator"));
            series->setPen(pen);
            if (k == 0) {
                series->setName(ToQt(line.indicator.name));
            }
            points.clear();
        }
        points.append(QPointF(static_cast<qreal>(point.bar), point.value / scale));
    }
    flush();
    Name(pane, ToQt(line.indicator.name), pen.color(), QStringLiteral("&#9472;&#9472;"));
}

void frmChart::AddMarks(Pane& pane) {
    const bool scan = run_->request.mode == AnalysisMode::Scan;
    below_ = new QScatterSeries();
    below_->setObjectName(QStringLiteral("marksBelow"));
    below_->setName(scan ? QStringLiteral("Buy") : QStringLiteral("Filter true"));
    below_->setMarkerShape(QScatterSeries::MarkerShapeTriangle);
    below_->setMarkerSize(11);
    below_->setColor(kBuy);
    below_->setBorderColor(kBuy.darker(130));
    above_ = new QScatterSeries();
    above_->setObjectName(QStringLiteral("marksAbove"));
    above_->setName(QStringLiteral("Sell"));
    above_->setMarkerShape(QScatterSeries::MarkerShapeRotatedRectangle);
    above_->setMarkerSize(11);
    above_->setColor(kSell);
    above_->setBorderColor(kSell.darker(130));
    for (QAbstractSeries* series : std::initializer_list<QAbstractSeries*>{below_, above_}) {
        Attach(pane, series);
    }
    // The legend names the marks the formula can give: a sell scan has no Buy.
    if (data_->kind != "sell scan") {
        Name(pane, below_->name(), kBuy, QStringLiteral("&#9650;"));
    }
    if (scan && data_->kind != "buy scan") {
        Name(pane, above_->name(), kSell, QStringLiteral("&#9670;"));
    }
    if (!data_->bars.dates.empty()) {
        Name(pane,
             QStringLiteral("The hit, ") + ToQt(FormatIsoDate(data_->bars.dates[data_->hitBar])),
             kHit, QStringLiteral("&#9474;"));
    }
}

void frmChart::Mirror() {
    if (!data_) {
        return;
    }
    const std::size_t first = viewport_->first();
    const std::size_t count = viewport_->count();
    const std::size_t last = count == 0 ? first : first + count - 1;
    for (Pane& pane : panes_) {
        pane.x->setRange(static_cast<double>(first) - 0.5, static_cast<double>(last) + 0.5);
        pane.bars->setRange(static_cast<double>(first) - 0.5, static_cast<double>(last) + 0.5);
        std::optional<PaneRange> range = VisibleRange(*data_, pane.kind, pane.own, first, last);
        if (!range) {
            range = PaneRange{0, 1};
        }
        const double scale = pane.kind == ChartPane::Volume ? volumeScale_ : 1;
        auto [low, high] =
            Padded({range->low / scale, range->high / scale}, pane.kind == ChartPane::Volume);
        if (pane.kind == ChartPane::Price) {
            // Room for the marks under the lows and over the highs.
            const double room = (high - low) * 0.06;
            low -= room;
            high += room;
            MirrorMarks(low, high);
        }
        // A value label every 40 pixels or so, so that a low pane is not crowded.
        const int labels = std::clamp((pane.view->viewport()->height() - 32) / 40, 2, 8);
        const double step = NiceStep(high - low, labels);
        pane.y->setTickInterval(step);
        pane.y->setLabelFormat(QStringLiteral("%.") + QString::number(Decimals(step)) +
                               QStringLiteral("f"));
        pane.y->setRange(low, high);
    }
    MirrorCandles();
    MirrorDates();
    LayOutPlots();
}

void frmChart::MirrorCandles() {
    // The candles of the bars in view and of a view's width on either side, so that a chart
    // of a long history opens as fast as a short one and a small pan needs no new candles.
    const std::size_t first = viewport_->first();
    const std::size_t end = first + viewport_->count();
    if (first >= loadedFrom_ && end <= loadedTo_ && loadedTo_ > loadedFrom_) {
        return;
    }
    const BarSeries& bars = data_->bars;
    loadedFrom_ = first - std::min(first, viewport_->count());
    loadedTo_ = std::min(bars.size(), end + viewport_->count());
    QList<QCandlestickSet*> candles;
    std::array<QList<QCandlestickSet*>, 2> volume;
    for (std::size_t i = loadedFrom_; i < loadedTo_; ++i) {
        const auto x = static_cast<qreal>(i);
        candles.append(
            new QCandlestickSet(bars.open[i], bars.high[i], bars.low[i], bars.close[i], x));
        const double v = bars.volume[i] / volumeScale_;
        const bool down = i > 0 && bars.close[i] < bars.close[i - 1];
        volume[down ? 1 : 0].append(new QCandlestickSet(0, v, 0, v, x));
    }
    candles_->clear();
    candles_->append(candles);
    for (std::size_t k = 0; k < 2; ++k) {
        volume_[k]->clear();
        volume_[k]->append(volume[k]);
    }
}

void frmChart::MirrorMarks(double low, double high) {
    const BarSeries& bars = data_->bars;
    const double gap = (high - low) * 0.03;
    QList<QPointF> below;
    QList<QPointF> above;
    for (const ChartMark& mark : data_->marks) {
        if (!viewport_->Shows(mark.bar)) {
            continue;
        }
        const auto x = static_cast<qreal>(mark.bar);
        if (mark.kind == ChartMarkKind::Sell) {
            above.append(QPointF(x, bars.high[mark.bar] + gap));
        } else {
            below.append(QPointF(x, bars.low[mark.bar] - gap));
        }
    }
    below_->replace(below);
    above_->replace(above);
    QList<QPointF> hit;
    if (!bars.dates.empty()) {
        const auto x = static_cast<qreal>(data_->hitBar);
        hit = {QPointF(x, low), QPointF(x, high)};
    }
    hitLine_->replace(hit);
}

void frmChart::MirrorDates() {
    // A label at the first bar of each month (of each day when few bars show), thinned to
    // about eight, so that the dates stay readable at any zoom.
    const BarSeries& bars = data_->bars;
    const std::size_t first = viewport_->first();
    const std::size_t end = first + viewport_->count();
    const bool days = viewport_->count() <= 45;
    std::vector<std::size_t> starts;
    for (std::size_t i = first; i < end; ++i) {
        const QDate date = DateOf(bars.dates[i]);
        if (days || i == 0 || DateOf(bars.dates[i - 1]).month() != date.month()) {
            starts.push_back(i);
        }
    }
    const std::size_t step = std::max<std::size_t>(1, (starts.size() + 7) / 8);
    for (Pane& pane : panes_) {
        for (const QString& label : pane.x->categoriesLabels()) {
            pane.x->remove(label);
        }
        pane.x->setStartValue(static_cast<double>(first) - 0.5);
        for (std::size_t k = 0; k < starts.size(); k += step) {
            const QDate date = DateOf(bars.dates[starts[k]]);
            const QString label = days ? date.toString(QStringLiteral("d MMM yyyy"))
                                       : date.toString(QStringLiteral("MMM yyyy"));
            pane.x->append(label, static_cast<double>(starts[k]));
        }
    }
}

void frmChart::LayOutPlots() {
    // Every plot takes the same left and right margins, so a bar stands at the same place in
    // every pane.
    for (std::size_t k = 0; k < panes_.size(); ++k) {
        const Pane& pane = panes_[k];
        const QSize size = pane.view->viewport()->size();
        const int top = 6;
        const int bottom = k + 1 == panes_.size() ? kDateHeight : 6;
        const QRectF area(kLeftMargin, top, std::max(size.width() - kLeftMargin - kRightMargin, 10),
                          std::max(size.height() - top - bottom, 10));
        pane.chart->setPlotArea(area);
    }
}

void frmChart::ShowBarUnder(const Pane& pane, double x) {
    const QPointF value = pane.chart->mapToValue(QPointF(x, pane.chart->plotArea().center().y()));
    const double bar = std::round(value.x());
    const BarSeries& bars = data_->bars;
    if (bar < 0 || bar >= static_cast<double>(bars.size())) {
        return;
    }
    const auto i = static_cast<std::size_t>(bar);
    QString text =
        ToQt(FormatIsoDate(bars.dates[i])) + QStringLiteral("   O %1  H %2  L %3  C %4  V %5")
                                                 .arg(bars.open[i], 0, 'f', 2)
                                                 .arg(bars.high[i], 0, 'f', 2)
                                                 .arg(bars.low[i], 0, 'f', 2)
                                                 .arg(bars.close[i], 0, 'f', 2)
                                                 .arg(bars.volume[i], 0, 'f', 0);
    for (const ChartLine& line : data_->lines) {
        const auto point =
            std::lower_bound(line.points.begin(), line.points.end(), i,
                             [](const ChartPoint& p, std::size_t b) { return p.bar < b; });
        if (point != line.points.end() && point->bar == i) {
            text += QStringLiteral("   ") + ToQt(line.indicator.name) + QStringLiteral(" ") +
                    QString::number(point->value, 'f', 2);
        }
    }
    lblBar->setText(text);
}

void frmChart::Handle(const std::function<void()>& event) {
    if (const std::optional<std::string> failure = RunGuarded(event)) {
        lblProblem->setText(QStringLiteral("Could not complete that: ") + ToQt(*failure));
        lblProblem->setVisible(true);
    }
    Mirror();
}

bool frmChart::HandleKey(int key) {
    if (!viewport_) {
        return false;
    }
    std::function<void()> step;
    switch (key) {
    case Qt::Key_Plus:
    case Qt::Key_Equal:
        step = [this] { viewport_->ZoomIn(); };
        break;
    case Qt::Key_Minus:
        step = [this] { viewport_->ZoomOut(); };
        break;
    case Qt::Key_Left:
        step = [this] { viewport_->StepLeft(); };
        break;
    case Qt::Key_Right:
        step = [this] { viewport_->StepRight(); };
        break;
    case Qt::Key_Home:
        step = [this] { viewport_->Home(); };
        break;
    case Qt::Key_End:
        step = [this] { viewport_->End(); };
        break;
    default:
        return false;
    }
    Handle(step);
    return true;
}

bool frmChart::event(QEvent* event) {
    if (event->type() == QEvent::WindowActivate && data_) {
        emit SymbolChosen(ToQt(data_->symbol));
    }
    return QWidget::event(event);
}

void frmChart::keyPressEvent(QKeyEvent* event) {
    if (!HandleKey(event->key())) {
        QWidget::keyPressEvent(event);
    }
}

bool frmChart::eventFilter(QObject* watched, QEvent* event) {
    const auto pane = std::find_if(panes_.begin(), panes_.end(), [&](const Pane& p) {
        return watched == p.view || watched == p.view->viewport();
    });
    if (pane == panes_.end() || !viewport_) {
        return QWidget::eventFilter(watched, event);
    }
    const QRectF plot = pane->chart->plotArea();
    const auto across = [&](double x) { return (x - plot.left()) / std::max(plot.width(), 1.0); };
    switch (event->type()) {
    case QEvent::Resize:
        if (watched == pane->view->viewport()) {
            // The number of value labels follows the pane's height.
            Mirror();
        }
        break;
    case QEvent::KeyPress:
        if (HandleKey(static_cast<QKeyEvent*>(event)->key())) {
            return true;
        }
        break;
    case QEvent::Wheel: {
        const auto* wheel = static_cast<QWheelEvent*>(event);
        // A touchpad turns in small steps: they add up to whole ones.
        wheelAngle_ += wheel->angleDelta().y();
        const int steps = wheelAngle_ / 120;
        wheelAngle_ -= steps * 120;
        const double anchor = across(wheel->position().x());
        Handle([&] {
            for (int k = 0; k < std::abs(steps); ++k) {
                if (steps > 0) {
                    viewport_->ZoomIn(anchor);
                } else {
                    viewport_->ZoomOut(anchor);
                }
            }
        });
        return true;
    }
    case QEvent::MouseButtonPress: {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        if (mouse->button() == Qt::LeftButton) {
            dragFrom_ = mouse->position().x();
            dragFirst_ = viewport_->first();
            setFocus();
            return true;
        }
        break;
    }
    case QEvent::MouseMove: {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        if (dragFrom_ && (mouse->buttons() & Qt::LeftButton) != 0) {
            const double bars = (mouse->position().x() - *dragFrom_) *
                                static_cast<double>(viewport_->count()) /
                                std::max(plot.width(), 1.0);
            Handle([&] {
                viewport_->ScrollTo(static_cast<std::int64_t>(dragFirst_) - std::llround(bars));
            });
        }
        ShowBarUnder(*pane, mouse->position().x());
        return true;
    }
    case QEvent::MouseButtonRelease:
        dragFrom_.reset();
        return true;
    default:
        break;
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace marlindex
