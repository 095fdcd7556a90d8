#include "results/ChartViewport.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

TEST(ChartViewport, OpensWithTheHitInTheMiddleOrAsNearAsTheEndsAllow) {
    const ChartViewport middle(1259, 600);
    EXPECT_EQ(middle.count(), 120u);
    EXPECT_EQ(middle.first(), 540u);
    // The hit on the last bar: the last 120 bars, the hit still shown.
    const ChartViewport last(1259, 1258);
    EXPECT_EQ(last.first(), 1139u);
    EXPECT_TRUE(last.Shows(1258));
    EXPECT_FALSE(last.Shows(1259));
    EXPECT_EQ(ChartViewport(1259, 3).first(), 0u);
    // Fewer bars than a view: all of them.
    const ChartViewport few(30, 29);
    EXPECT_EQ(few.first(), 0u);
    EXPECT_EQ(few.count(), 30u);
    EXPECT_EQ(ChartViewport(0, 0).count(), 0u);
}

TEST(ChartViewport, ZoomKeepsTheBarUnderThePointerAndStaysWithinTheBars) {
    ChartViewport view(1000, 500);
    ASSERT_EQ(view.first(), 440u);
    // The pointer at a quarter of the view is over bar 470; it stays there.
    view.ZoomIn(0.25);
    EXPECT_EQ(view.count(), 96u);
    EXPECT_EQ(view.first(), 446u);
    view.ZoomOut(0.25);
    EXPECT_EQ(view.count(), 120u);
    EXPECT_EQ(view.first(), 440u);

    // Zooming in stops at the fewest bars, every step moving until then.
    std::size_t before = view.count();
    for (int k = 0; k < 40; ++k) {
        view.ZoomIn();
        EXPECT_TRUE(view.count() < before || view.count() == ChartViewport::kFewestBars);
        before = view.count();
    }
    EXPECT_EQ(view.count(), ChartViewport::kFewestBars);
    // Out to every bar, never past the ends.
    for (int k = 0; k < 60; ++k) {
        view.ZoomOut(1.0);
        EXPECT_LE(view.first() + view.count(), 1000u);
    }
    EXPECT_EQ(view.count(), 1000u);
    EXPECT_EQ(view.first(), 0u);

    // A short series zooms in no further than it has bars.
    ChartViewport tiny(4, 0);
    tiny.ZoomIn();
    EXPECT_EQ(tiny.count(), 4u);
}

TEST(ChartViewport, PansByStepsAndToEitherEndWithoutLeavingTheBars) {
    ChartViewport view(1000, 500);
    view.StepRight();
    EXPECT_EQ(view.first(), 452u);
    view.StepLeft();
    view.StepLeft();
    EXPECT_EQ(view.first(), 428u);
    view.Pan(-10000);
    EXPECT_EQ(view.first(), 0u);
    view.End();
    EXPECT_EQ(view.first(), 880u);
    view.Pan(5);
    EXPECT_EQ(view.first(), 880u);
    view.Home();
    EXPECT_EQ(view.first(), 0u);
    view.ScrollTo(300);
    EXPECT_EQ(view.first(), 300u);
    EXPECT_EQ(view.count(), 120u);
    // A view of 10 bars still steps by one.
    for (int k = 0; k < 20; ++k) {
        view.ZoomIn();
    }
    const std::size_t first = view.first();
    view.StepRight();
    EXPECT_EQ(view.first(), first + 1);
}

} // namespace
} // namespace marlindex
