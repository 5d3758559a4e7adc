// Feeds arbitrary text to the window geometry reader and checks what must
// hold for every file: the size is never below the window's minimum, the
// position counts only when both numbers were found, reading is stable and
// what was read survives the writer and the reader. Numbers are checked
// against a plain reference reading, and any four numbers and flag survive
// the writer and the reader. Text only: no file is read or written.
#include "fuzz_support.h"
#include "window_manager.h"

#include <charconv>
#include <climits>
#include <cstring>
#include <string>

namespace {

using fuzz::require;

constexpr int NO_POSITION = -1000000;

bool same(const WindowGeometry& a, const WindowGeometry& b) {
    return a.width == b.width && a.height == b.height && a.x == b.x && a.y == b.y &&
           a.has_position == b.has_position && a.maximized == b.maximized && a.valid == b.valid;
}

// What a number after the colon should give: white space skipped, one sign,
// decimal digits up to the first other byte; the fallback when there are no
// digits or the number does not fit an int.
int reference_int(const std::string& tail, int fallback) {
    std::size_t i = 0;
    while (i < tail.size() && std::strchr(" \t\n\r\v\f", tail[i]) && tail[i] != '\0')
        ++i;
    bool negative = false;
    if (i < tail.size() && (tail[i] == '+' || tail[i] == '-'))
        negative = tail[i++] == '-';
    std::size_t end = i;
    while (end < tail.size() && tail[end] >= '0' && tail[end] <= '9')
        ++end;
    if (end == i)
        return fallback;
    const std::string digits = (negative ? "-" : "") + tail.substr(i, end - i);
    long long v = 0;
    const auto r = std::from_chars(digits.data(), digits.data() + digits.size(), v);
    if (r.ec != std::errc() || v < INT_MIN || v > INT_MAX)
        return fallback;
    return static_cast<int>(v);
}

int int_at(const std::uint8_t* p) {
    unsigned v = 0;
    for (int k = 0; k < 4; ++k)
        v = (v << 8) | p[k];
    return static_cast<int>(v);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::text_of(data, size);

    const WindowGeometry g = window_geometry::parse(text);
    require(g.valid);
    require(g.width >= WINDOW_MIN_WIDTH && g.height >= WINDOW_MIN_HEIGHT);
    require(g.has_position == (g.x != NO_POSITION && g.y != NO_POSITION));
    require(same(window_geometry::parse(text), g));
    require(same(
        window_geometry::parse(window_geometry::to_text(g.x, g.y, g.width, g.height, g.maximized)),
        g));

    // The number after a key, against the reference reading.
    const int x = window_geometry::parse("\"x\":" + text).x;
    require(x == reference_int(text, NO_POSITION));
    const int width = window_geometry::parse("{\"width\" :" + text).width;
    const int expected_width = reference_int(text, WINDOW_MIN_WIDTH);
    require(width == (expected_width < WINDOW_MIN_WIDTH ? WINDOW_MIN_WIDTH : expected_width));

    // Any values survive the writer and the reader, the size raised to the minimum.
    if (size >= 17) {
        const int wx = int_at(data), wy = int_at(data + 4), ww = int_at(data + 8),
                  wh = int_at(data + 12);
        const bool maximized = data[16] & 1;
        const WindowGeometry r =
            window_geometry::parse(window_geometry::to_text(wx, wy, ww, wh, maximized));
        require(r.x == wx && r.y == wy && r.maximized == maximized);
        require(r.width == (ww < WINDOW_MIN_WIDTH ? WINDOW_MIN_WIDTH : ww));
        require(r.height == (wh < WINDOW_MIN_HEIGHT ? WINDOW_MIN_HEIGHT : wh));
        require(r.has_position == (wx != NO_POSITION && wy != NO_POSITION));
    }
    return 0;
}
