// Pieces the rendering files share: the fixed colours of the brand, the page
// margins, and a copy of what a frame shows of each category.
//
// The scan worker replaces category results under m_mutex, so the pages copy
// what they need under the lock and draw from the copy without it.
#pragma once

#include "app.h"

#include <algorithm>
#include <string>
#include <vector>

namespace render {

// The light accent and its partner: primary buttons, the application mark
// and the hero card keep them in both palettes.
constexpr const char* BRAND = "#FF599E";
constexpr const char* BRAND_END = "#FF9C6B";
// The fixed red of the "Remove manually" page and the keep-newest mark.
constexpr const char* DANGER = "#E5484D";

// Pages keep this distance from the content area's edges.
constexpr double MARGIN = 22;
// Kept free at the content area's right edge for the scroll indicator.
constexpr double SCROLLBAR = 6;

// One category as a frame shows it.
struct CatView {
    int index = 0; // position in m_cats
    std::string id;
    std::string title; // English; translate where shown
    std::string subtitle;
    std::string path;
    Glyph glyph = Glyph::Box;
    GroupKind group = GroupKind::Ides;
    SafetyLevel safety = SafetyLevel::Safe;
    bool scanning = false;
    bool did_scan = false;
    size_t count = 0;
    int64_t total = 0; // positive sizes only, every linked file counted once
    // The plain sum of the entries' positive sizes: what each row's share bar
    // is a part of, so that entries sharing files never fill more than the bar.
    int64_t listed = 0;
};

// The caller holds m_mutex.
inline CatView view_of(const CatState& c, int index) {
    CatView v;
    v.index = index;
    v.id = c.def.id;
    v.title = c.def.title;
    v.subtitle = c.def.subtitle;
    v.path = c.def.path;
    v.glyph = c.def.glyph;
    v.group = c.def.group;
    v.safety = c.def.safety;
    v.scanning = c.scanning;
    v.did_scan = c.did_scan;
    v.count = c.items.size();
    v.total = c.total_size();
    for (const Item& it : c.items)
        if (it.size > 0)
            v.listed += it.size;
    return v;
}

inline RectF rect(double x, double y, double w, double h) {
    return {static_cast<float>(x), static_cast<float>(y), static_cast<float>(w),
            static_cast<float>(h)};
}

// ---------------------------------------------------------------------------
// Geometry shared by drawing and tests: one function decides, both use it.
// ---------------------------------------------------------------------------

// Symbols are stroked thick enough to read at 10 pixels and in proportion
// above that.
inline double glyph_line_width(double w) {
    return std::max(0.085 * w, 1.3);
}

// An icon chip's corner radius and the square its white symbol fills.
inline double chip_radius(double w) {
    return 0.26 * w;
}
inline RectF chip_glyph_area(RectF r) {
    return {r.x + 0.16f * r.w, r.y + 0.16f * r.h, 0.68f * r.w, 0.68f * r.h};
}

// The donut's ring for a card of the given height: at most 220 across, with a
// hole of 58% of its diameter.
struct Ring {
    double outer;
    double inner;
};
inline Ring donut_radii(double card_h) {
    const double d = card_h - 48;
    if (d < 220)
        return {d * 0.5, d * 0.5 * 0.58};
    return {110, 63.8};
}

// Gaps are taken inside each slice, so slices keep their true proportions;
// a thin slice gives up at most a third of itself on each side.
inline double slice_gap(double sweep) {
    return std::min(0.022, sweep / 3);
}
// Only slices wide enough to hold it get their size written on the ring.
inline bool slice_shows_size(double sweep) {
    return sweep > 0.38;
}

// The content area's scroll indicator: shown only when the page is taller
// than the pane; its thumb never shrinks below 28 pixels.
struct Thumb {
    bool shown = false;
    double top = 0;
    double length = 0;
};
inline Thumb scroll_thumb(double pane_y, double pane_h, double page_h, double scroll) {
    Thumb t;
    if (!(page_h > pane_h) || !(pane_h > 0))
        return t;
    const double track = pane_h - 12;
    t.shown = true;
    t.length = std::max(track * pane_h / page_h, 28.0);
    t.top = pane_y + 6 + (track - t.length) * scroll / std::max(page_h - pane_h, 1.0);
    return t;
}

} // namespace render
