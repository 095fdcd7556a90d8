// Which bars a chart shows: a window of consecutive bars that the user zooms (wheel, + and -)
// and pans (drag, Left and Right, Home and End). Every pane of the chart shows the same bars.
#pragma once

#include <cstddef>
#include <cstdint>

namespace marlindex {

class ChartViewport {
public:
    static constexpr std::size_t kOpeningBars = 120; // about half a year of daily bars
    static constexpr std::size_t kFewestBars = 10;
    static constexpr double kZoomStep = 1.25;

    // Shows about kOpeningBars bars with `focus` (the hit) in the middle, or as near to it as
    // the first and last bars allow.
    ChartViewport(std::size_t barCount, std::size_t focus);

    std::size_t first() const { return first_; }
    std::size_t count() const { return count_; }
    std::size_t barCount() const { return bars_; }
    bool Shows(std::size_t bar) const { return bar >= first_ && bar < first_ + count_; }

    // Shows fewer (in) or more (out) bars by one step. `anchor` is where the pointer is across
    // the view (0 the left edge, 1 the right one): the bar under it stays under it.
    void ZoomIn(double anchor = 0.5);
    void ZoomOut(double anchor = 0.5);
    // Moves the view by `bars` (positive: to later bars), or to start at `first`.
    void Pan(std::int64_t bars);
    void ScrollTo(std::int64_t first);
    // Left and Right move by a tenth of the view, at least a bar.
    void StepLeft();
    void StepRight();
    void Home(); // the first bars
    void End();  // the last bars

private:
    void Zoom(double factor, double anchor);

    std::size_t bars_ = 0;
    std::size_t first_ = 0;
    std::size_t count_ = 0;
};

} // namespace marlindex
