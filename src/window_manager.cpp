// The geometry file: a fixed seven-line layout on write; on read, each number
// is found by its key, so a file edited by hand or cut short still gives what
// it holds.

#include "window_manager.h"

#include "paths.h"
#include "settings.h"

#include <climits>
#include <cstdint>

namespace {

// Marks "no position stored"; far outside any desktop a person could have.
constexpr int NO_POSITION = -1000000;

// The integer after `"key"` and the next ":": white space skipped, an optional
// sign, then decimal digits up to the first other byte. A missing key or
// colon, no digits at all, or a number that does not fit an int gives
// `fallback`. Written out rather than strtol so that the locale plays no part.
int read_int_value(const std::string& text, const std::string& key, int fallback) {
    size_t i = settings_util::value_start(text, key);
    if (i == std::string::npos)
        return fallback;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\n' ||
                               text[i] == '\r' || text[i] == '\v' || text[i] == '\f'))
        ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
        negative = text[i] == '-';
        ++i;
    }
    // Accumulate as a negative number: its range reaches INT_MIN, which the
    // positive side cannot hold.
    int64_t value = 0;
    size_t digits = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i, ++digits) {
        value = value * 10 - (text[i] - '0');
        if (value < INT_MIN)
            return fallback;
    }
    if (digits == 0)
        return fallback;
    if (!negative) {
        value = -value;
        if (value > INT_MAX)
            return fallback;
    }
    return static_cast<int>(value);
}

} // namespace

WindowManager& WindowManager::instance() {
    static WindowManager manager;
    return manager;
}

std::string WindowManager::path() const {
    return config_dir() + "/geometry.json";
}

void WindowManager::save(int x, int y, int width, int height, bool maximized) {
    settings_util::replace_file(path(), window_geometry::to_text(x, y, width, height, maximized));
}

WindowGeometry WindowManager::load() const {
    std::string text;
    if (!settings_util::read_whole_file(path(), text))
        return WindowGeometry{};
    return window_geometry::parse(text);
}

namespace window_geometry {

std::string to_text(int x, int y, int width, int height, bool maximized) {
    std::string text = "{\n";
    text += "  \"width\": " + std::to_string(width) + ",\n";
    text += "  \"height\": " + std::to_string(height) + ",\n";
    text += "  \"x\": " + std::to_string(x) + ",\n";
    text += "  \"y\": " + std::to_string(y) + ",\n";
    text += std::string("  \"maximized\": ") + (maximized ? "true" : "false") + "\n";
    text += "}\n";
    return text;
}

WindowGeometry parse(const std::string& text) {
    WindowGeometry g;
    g.width = read_int_value(text, "width", WINDOW_MIN_WIDTH);
    g.height = read_int_value(text, "height", WINDOW_MIN_HEIGHT);
    g.x = read_int_value(text, "x", NO_POSITION);
    g.y = read_int_value(text, "y", NO_POSITION);
    g.has_position = g.x != NO_POSITION && g.y != NO_POSITION;
    // Only the exact form we write counts; anything else is "not maximized",
    // the harmless choice.
    g.maximized = text.find("\"maximized\": true") != std::string::npos;
    // The layout is designed for no smaller window.
    if (g.width < WINDOW_MIN_WIDTH)
        g.width = WINDOW_MIN_WIDTH;
    if (g.height < WINDOW_MIN_HEIGHT)
        g.height = WINDOW_MIN_HEIGHT;
    g.valid = true;
    return g;
}

} // namespace window_geometry
