#include "window_placement.h"

#include <algorithm>

namespace window_placement {

int overlap(int a_start, int a_length, int b_start, int b_length) {
    // 64-bit so that stored positions far off screen cannot overflow.
    const long long far = std::min<long long>(static_cast<long long>(a_start) + a_length,
                                              static_cast<long long>(b_start) + b_length);
    const long long near = std::max(a_start, b_start);
    return static_cast<int>(std::clamp<long long>(far - near, -2147483647LL, 2147483647LL));
}

bool on_some_work_area(const Area& window, const std::vector<Area>& work_areas) {
    for (const Area& a : work_areas) {
        const int vertical = overlap(window.y, window.height, a.y, a.height);
        const int horizontal = overlap(window.x, window.width, a.x, a.width);
        if (vertical > 59 && horizontal > 119)
            return true;
    }
    return false;
}

} // namespace window_placement
