// Decides whether a remembered window rectangle still lies on a monitor. Pure
// geometry: the caller collects the monitors' work areas from the toolkit.
// Any thread may call.
#pragma once

#include <vector>

namespace window_placement {

struct Area {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

// The overlap of two spans along one axis: the smaller far edge minus the
// larger near edge (negative when they are apart).
int overlap(int a_start, int a_length, int b_start, int b_length);

// True when some work area overlaps the window by at least 60 pixels
// vertically and at least 120 horizontally: enough of the title bar to grab
// it and move the window. An empty list gives false.
bool on_some_work_area(const Area& window, const std::vector<Area>& work_areas);

} // namespace window_placement
