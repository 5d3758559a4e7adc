// Geometry and fixed values of the overlays, shared by their drawing and the
// tests: one function decides where a card goes, and both use it. Pure
// arithmetic apart from about_snap_line(), which reads the environment and
// the translator; interface thread only.
#pragma once

#include "app.h"
#include "app_render_shared.h"

#include <algorithm>
#include <cstddef>
#include <string>

namespace render {

// What the about card shows of the program and the people behind it.
constexpr const char* ABOUT_VERSION = QUILLET_VERSION;
constexpr const char* ABOUT_BUILD = QUILLET_BUILD;
constexpr const char* ABOUT_AUTHOR = "The Quillet developers";
constexpr const char* ABOUT_MAKER = "Quillet";
constexpr const char* ABOUT_COPYRIGHT = "\u00A9 2026 The Quillet developers";
constexpr const char* WEBSITE = App::WEBSITE;
constexpr const char* CONTACT = "support@quillet.app";

// The backdrop's black and how much of it lies over the window.
constexpr double BACKDROP_ALPHA = 0.35;

// Settings choices carry these indices: the appearance row stores "auto",
// "light" or "dark"; the language rows "auto" or the k-th built-in language.
constexpr int THEME_AUTO = 100;
constexpr int THEME_LIGHT = 101;
constexpr int THEME_DARK = 102;
constexpr int LANG_AUTO = 200;
constexpr int LANG_FIRST = 201;

// The dialog card: 460 wide with 412 for the text, or the window's width
// less 60 (text 48 narrower) when that is less.
struct DialogWidth {
    double card = 0;
    double text = 0;
};
inline DialogWidth dialog_width(double window_w) {
    const double w = window_w - 60;
    if (w < 460)
        return {w, w - 48};
    return {460, 412};
}
// Twenty pixels a message line, plus the title, the margins and the buttons.
inline double dialog_height(size_t lines) {
    return static_cast<double>(lines) * 20 + 150;
}

// The about card, centred; 20 taller when it has a Snap line.
inline RectF about_card(double window_w, double window_h, bool snap_line) {
    const double w = std::min(window_w - 60, 440.0);
    const double h = snap_line ? 360 : 340;
    return rect((window_w - w) * 0.5, (window_h - h) * 0.5, w, h);
}

// "Snap 1.0 (Revision 12)", "Snap 1.0", or empty outside a Snap package; read
// from SNAP_VERSION and SNAP_REVISION each time, translated.
std::string about_snap_line();

} // namespace render
