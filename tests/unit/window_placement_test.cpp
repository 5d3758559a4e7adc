#include "window_placement.h"

#include <gtest/gtest.h>

using window_placement::Area;
using window_placement::on_some_work_area;
using window_placement::overlap;

namespace {
const Area SCREEN{0, 0, 1920, 1080};
}

TEST(WindowPlacement, OverlapIsSmallerFarEdgeMinusLargerNearEdge) {
    EXPECT_EQ(overlap(0, 100, 50, 100), 50);
    EXPECT_EQ(overlap(50, 100, 0, 100), 50);
    EXPECT_EQ(overlap(0, 100, 200, 100), -100);
    EXPECT_EQ(overlap(10, 20, 0, 100), 20);
}

TEST(WindowPlacement, WindowInsideTheWorkAreaIsOnIt) {
    EXPECT_TRUE(on_some_work_area({100, 100, 1100, 720}, {SCREEN}));
}

TEST(WindowPlacement, HorizontalOverlapOf119IsNotEnoughAnd120Is) {
    // The window sticks out to the right: its left edge 119 / 120 pixels before the right edge.
    EXPECT_FALSE(on_some_work_area({1920 - 119, 100, 1100, 720}, {SCREEN}));
    EXPECT_TRUE(on_some_work_area({1920 - 120, 100, 1100, 720}, {SCREEN}));
    // The same on the left side: only its right part lies on the screen.
    EXPECT_FALSE(on_some_work_area({-1100 + 119, 100, 1100, 720}, {SCREEN}));
    EXPECT_TRUE(on_some_work_area({-1100 + 120, 100, 1100, 720}, {SCREEN}));
}

TEST(WindowPlacement, VerticalOverlapOf59IsNotEnoughAnd60Is) {
    EXPECT_FALSE(on_some_work_area({100, 1080 - 59, 1100, 720}, {SCREEN}));
    EXPECT_TRUE(on_some_work_area({100, 1080 - 60, 1100, 720}, {SCREEN}));
    EXPECT_FALSE(on_some_work_area({100, -720 + 59, 1100, 720}, {SCREEN}));
    EXPECT_TRUE(on_some_work_area({100, -720 + 60, 1100, 720}, {SCREEN}));
}

TEST(WindowPlacement, BothAxesMustPassOnTheSameMonitor) {
    // 120 across on the first monitor only and 60 down on the second only.
    const Area left{0, 0, 1000, 1000};
    const Area below{3000, 2000, 1000, 1000};
    EXPECT_FALSE(on_some_work_area({1000 - 120, 2000 - 720 + 60, 1100, 720}, {left, below}));
}

TEST(WindowPlacement, RemovedMonitorMeansNotOnAny) {
    // Stored on a second monitor at the right that is no longer connected.
    EXPECT_FALSE(on_some_work_area({2200, 100, 1100, 720}, {SCREEN}));
    EXPECT_TRUE(on_some_work_area({2200, 100, 1100, 720}, {SCREEN, {1920, 0, 1920, 1080}}));
}

TEST(WindowPlacement, NoMonitorsMeansNotOnAny) {
    EXPECT_FALSE(on_some_work_area({0, 0, 1100, 720}, {}));
}

TEST(WindowPlacement, WorkAreaWithPanelOffsetIsRespected) {
    // A top panel of 32 pixels: the work area starts at y 32.
    const Area work{0, 32, 1920, 1048};
    EXPECT_FALSE(on_some_work_area({100, 32 - 720 + 59, 1100, 720}, {work}));
    EXPECT_TRUE(on_some_work_area({100, 32 - 720 + 60, 1100, 720}, {work}));
}

TEST(WindowPlacement, ExtremeCoordinatesDoNotOverflow) {
    EXPECT_FALSE(on_some_work_area({2147483000, 2147483000, 1100, 720}, {SCREEN}));
    EXPECT_FALSE(on_some_work_area({-2147483000, -2147483000, 1100, 720}, {SCREEN}));
}
