// Remembers the main window's size, position and maximized state between runs
// in "geometry.json" beside the settings file. Written when the window closes,
// read when it is built. Knows nothing of the toolkit or of monitors: deciding
// whether a stored position is still on screen is the window's business.
//
// Owns only "geometry.json" (and its ".tmp" twin). Main thread only.
#pragma once

#include <string>

// The layout is designed for no smaller window: the first start opens at this
// size, it is the window's minimum, and stored sizes are raised to it.
constexpr int WINDOW_MIN_WIDTH = 1100;
constexpr int WINDOW_MIN_HEIGHT = 720;

struct WindowGeometry {
    int width = WINDOW_MIN_WIDTH;
    int height = WINDOW_MIN_HEIGHT;
    int x = -1000000;
    int y = -1000000;
    bool has_position = false; // both x and y were found in the file
    bool maximized = false;
    bool valid = false; // the file could be read
};

class WindowManager {
public:
    static WindowManager& instance();

    // The configuration folder plus "/geometry.json".
    std::string path() const;
    // Replaces the file as a whole; on any failure the old file stays.
    void save(int x, int y, int width, int height, bool maximized);
    // What the file says, each unreadable value replaced by its default and
    // the size raised to at least 1100 by 720. `valid` is false only when the
    // file could not be opened.
    WindowGeometry load() const;

    WindowManager(const WindowManager&) = delete;
    WindowManager& operator=(const WindowManager&) = delete;

private:
    WindowManager() = default;
};

// The file's text on its own, for the tests and the fuzzers: load() and
// save() are these around the file's bytes.
namespace window_geometry {

// What a geometry file's text gives, as load() gives it for that file.
WindowGeometry parse(const std::string& text);

// The file's text for these values, exactly as save() writes it.
std::string to_text(int x, int y, int width, int height, bool maximized);

} // namespace window_geometry
