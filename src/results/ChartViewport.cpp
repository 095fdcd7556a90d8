#include "results/ChartViewport.h"

#include <algorithm>
#include <cmath>

namespace marlindex {

ChartViewport::ChartViewport(std::size_t barCount, std::size_t focus)
    : bars_(barCount), count_(std::min(kOpeningBars, barCount)) {
    ScrollTo(static_cast<std::int64_t>(focus) - static_cast<std::int64_t>(count_ / 2));
}

void ChartViewport::ScrollTo(std::int64_t first) {
    const auto last = static_cast<std::int64_t>(bars_ - count_);
    first_ = static_cast<std::size_t>(std::clamp<std::int64_t>(first, 0, last));
}

void ChartViewport::Pan(std::int64_t bars) {
    ScrollTo(static_cast<std::int64_t>(first_) + bars);
}

void ChartViewport::StepLeft() {
    Pan(-static_cast<std::int64_t>(std::max<std::size_t>(count_ / 10, 1)));
}

void ChartViewport::StepRight() {
    Pan(static_cast<std::int64_t>(std::max<std::size_t>(count_ / 10, 1)));
}

void ChartViewport::Home() {
    ScrollTo(0);
}

void ChartViewport::End() {
    ScrollTo(static_cast<std::int64_t>(bars_));
}

void ChartViewport::ZoomIn(double anchor) {
    Zoom(1 / kZoomStep, anchor);
}

void ChartViewport::ZoomOut(double anchor) {
    Zoom(kZoomStep, anchor);
}

void ChartViewport::Zoom(double factor, double anchor) {
    if (bars_ == 0) {
        return;
    }
    anchor = std::clamp(std::isfinite(anchor) ? anchor : 0.5, 0.0, 1.0);
    const double pinned = static_cast<double>(first_) + anchor * static_cast<double>(count_);
    const auto wanted =
        static_cast<std::size_t>(std::llround(static_cast<double>(count_) * factor));
    const std::size_t fewest = std::min(kFewestBars, bars_);
    std::size_t count = std::clamp(wanted, fewest, bars_);
    // A step that rounds back to the same count still moves by a bar, so that holding a key
    // never gets stuck on a short view.
    if (count == count_ && factor > 1 && count_ < bars_) {
        ++count;
    } else if (count == count_ && factor < 1 && count_ > fewest) {
        --count;
    }
    count_ = count;
    ScrollTo(std::llround(pinned - anchor * static_cast<double>(count_)));
}

} // namespace marlindex
