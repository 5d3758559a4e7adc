// The fourteen category symbols, drawn as strokes in proportions of their
// rectangle so one description serves every size from 10 to 40 pixels, and
// the small pieces built on them: icon chips, pills and push buttons.
//
// Interface thread only, while a frame is drawn.

#include "app.h"
#include "app_render_shared.h"

#include <algorithm>
#include <cmath>

namespace {

// Fractions of the symbol's square to canvas coordinates.
struct Pen {
    cairo_t* cr;
    double x, y, w, h;

    double px(double f) const { return x + f * w; }
    double py(double f) const { return y + f * h; }
    double len(double f) const { return f * std::min(w, h); }

    void move(double fx, double fy) const { cairo_move_to(cr, px(fx), py(fy)); }
    void line(double fx, double fy) const { cairo_line_to(cr, px(fx), py(fy)); }
    void polyline(std::initializer_list<std::pair<double, double>> pts, bool close) const {
        bool first = true;
        for (const auto& [fx, fy] : pts) {
            if (first)
                cairo_move_to(cr, px(fx), py(fy));
            else
                cairo_line_to(cr, px(fx), py(fy));
            first = false;
        }
        if (close)
            cairo_close_path(cr);
        cairo_stroke(cr);
    }
    void segment(double x1, double y1, double x2, double y2) const {
        move(x1, y1);
        line(x2, y2);
        cairo_stroke(cr);
    }
    void circle(double fx, double fy, double fr, bool fill) const {
        cairo_new_sub_path(cr);
        cairo_arc(cr, px(fx), py(fy), len(fr), 0, 2 * M_PI);
        if (fill)
            cairo_fill(cr);
        else
            cairo_stroke(cr);
    }
    void rounded(double fx, double fy, double fw, double fh, double fr) const {
        const double rx = px(fx), ry = py(fy), rw = fw * w, rh = fh * h;
        const double r = std::min(len(fr), std::min(rw, rh) * 0.5);
        cairo_new_sub_path(cr);
        cairo_arc(cr, rx + rw - r, ry + r, r, -M_PI / 2, 0);
        cairo_arc(cr, rx + rw - r, ry + rh - r, r, 0, M_PI / 2);
        cairo_arc(cr, rx + r, ry + rh - r, r, M_PI / 2, M_PI);
        cairo_arc(cr, rx + r, ry + r, r, M_PI, 3 * M_PI / 2);
        cairo_close_path(cr);
        cairo_stroke(cr);
    }
};

// An archive box: lid, body and the slot of its handle.
void glyph_box(const Pen& p) {
    p.rounded(0.10, 0.16, 0.80, 0.20, 0.04);
    p.polyline({{0.17, 0.36}, {0.17, 0.84}, {0.83, 0.84}, {0.83, 0.36}}, false);
    p.segment(0.40, 0.54, 0.60, 0.54);
}

// An isometric cube seen from above one corner.
void glyph_cube(const Pen& p) {
    p.polyline({{0.50, 0.10}, {0.86, 0.30}, {0.86, 0.70}, {0.50, 0.90}, {0.14, 0.70}, {0.14, 0.30}},
               true);
    p.polyline({{0.14, 0.30}, {0.50, 0.50}, {0.86, 0.30}}, false);
    p.segment(0.50, 0.50, 0.50, 0.90);
}

// A phone: rounded body, speaker slit, home dot.
void glyph_phone(const Pen& p) {
    p.rounded(0.27, 0.08, 0.46, 0.84, 0.12);
    p.segment(0.43, 0.19, 0.57, 0.19);
    p.circle(0.50, 0.78, 0.045, true);
}

// A page with a folded corner and three lines of text.
void glyph_doc(const Pen& p) {
    p.polyline({{0.22, 0.08}, {0.58, 0.08}, {0.78, 0.28}, {0.78, 0.92}, {0.22, 0.92}}, true);
    p.polyline({{0.58, 0.08}, {0.58, 0.28}, {0.78, 0.28}}, false);
    p.segment(0.35, 0.50, 0.65, 0.50);
    p.segment(0.35, 0.64, 0.65, 0.64);
    p.segment(0.35, 0.78, 0.55, 0.78);
}

// An open-ended wrench: a jaw open to the upper right on a diagonal handle.
void glyph_wrench(const Pen& p) {
    const double cx = p.px(0.64), cy = p.py(0.36), r = p.len(0.21);
    const double open = -M_PI / 4;
    cairo_new_sub_path(p.cr);
    cairo_arc(p.cr, cx, cy, r, open + 0.85, open - 0.85 + 2 * M_PI);
    cairo_stroke(p.cr);
    const double a = 3 * M_PI / 4;
    cairo_move_to(p.cr, cx + r * std::cos(a), cy + r * std::sin(a));
    p.line(0.16, 0.84);
    cairo_stroke(p.cr);
}

// Code brackets with a slash between them.
void glyph_code(const Pen& p) {
    p.polyline({{0.34, 0.26}, {0.10, 0.50}, {0.34, 0.74}}, false);
    p.polyline({{0.66, 0.26}, {0.90, 0.50}, {0.66, 0.74}}, false);
    p.segment(0.57, 0.18, 0.43, 0.82);
}

// Three stacked sheets.
void glyph_layers(const Pen& p) {
    p.polyline({{0.50, 0.12}, {0.88, 0.32}, {0.50, 0.52}, {0.12, 0.32}}, true);
    p.polyline({{0.12, 0.51}, {0.50, 0.71}, {0.88, 0.51}}, false);
    p.polyline({{0.12, 0.69}, {0.50, 0.89}, {0.88, 0.69}}, false);
}

// A puzzle piece with knobs on its top and right sides.
void glyph_puzzle(const Pen& p) {
    cairo_t* cr = p.cr;
    const double r = p.len(0.10);
    p.move(0.16, 0.30);
    p.line(0.40, 0.30);
    cairo_arc(cr, p.px(0.50), p.py(0.30), r, M_PI, 2 * M_PI);
    p.line(0.80, 0.30);
    p.line(0.80, 0.48);
    cairo_arc(cr, p.px(0.80), p.py(0.58), r, -M_PI / 2, M_PI / 2);
    p.line(0.80, 0.86);
    p.line(0.16, 0.86);
    cairo_close_path(cr);
    cairo_stroke(cr);
}

// A snake: an S-shaped body rising to a round head with a forked tongue.
void glyph_snake(const Pen& p) {
    cairo_t* cr = p.cr;
    p.move(0.14, 0.80);
    cairo_curve_to(cr, p.px(0.34), p.py(0.98), p.px(0.64), p.py(0.80), p.px(0.50), p.py(0.60));
    cairo_curve_to(cr, p.px(0.38), p.py(0.42), p.px(0.50), p.py(0.18), p.px(0.70), p.py(0.22));
    cairo_stroke(cr);
    p.circle(0.72, 0.22, 0.10, true);
    p.polyline({{0.92, 0.14}, {0.84, 0.22}, {0.92, 0.28}}, false);
}

// A gear: the outline of eight square teeth around a hole.
void glyph_gear(const Pen& p) {
    cairo_t* cr = p.cr;
    const double cx = p.px(0.5), cy = p.py(0.5);
    const double outer = p.len(0.43), inner = p.len(0.31);
    const int teeth = 8;
    const double pitch = 2 * M_PI / teeth;
    for (int k = 0; k < teeth; ++k) {
        const double a = k * pitch - M_PI / 2;
        // Up the flank, across the top, down the other flank.
        const double radius[4] = {inner, outer, outer, inner};
        const double angle[4] = {a - pitch * 0.30, a - pitch * 0.17, a + pitch * 0.17,
                                 a + pitch * 0.30};
        for (int i = 0; i < 4; ++i) {
            const double x = cx + radius[i] * std::cos(angle[i]);
            const double y = cy + radius[i] * std::sin(angle[i]);
            if (k == 0 && i == 0)
                cairo_move_to(cr, x, y);
            else
                cairo_line_to(cr, x, y);
        }
    }
    cairo_close_path(cr);
    cairo_stroke(cr);
    p.circle(0.5, 0.5, 0.12, false);
}

// A folder with a tab.
void glyph_folder(const Pen& p) {
    p.polyline({{0.10, 0.24}, {0.38, 0.24}, {0.47, 0.34}, {0.90, 0.34}, {0.90, 0.80}, {0.10, 0.80}},
               true);
    p.segment(0.10, 0.44, 0.90, 0.44);
}

// A pencil lying on the diagonal, tip at the lower left.
void glyph_pencil(const Pen& p) {
    p.polyline({{0.14, 0.86}, {0.20, 0.64}, {0.64, 0.20}, {0.80, 0.36}, {0.36, 0.80}}, true);
    p.segment(0.55, 0.29, 0.71, 0.45);
}

// A clock face with two hands.
void glyph_clock(const Pen& p) {
    p.circle(0.5, 0.5, 0.38, false);
    p.polyline({{0.50, 0.27}, {0.50, 0.50}, {0.66, 0.60}}, false);
}

// A processor chip: a body with a die inside and three pins on each side,
// for the trained models the AI group holds.
void glyph_chip(const Pen& p) {
    p.rounded(0.24, 0.24, 0.52, 0.52, 0.06);
    p.rounded(0.39, 0.39, 0.22, 0.22, 0.02);
    for (double f : {0.36, 0.50, 0.64}) {
        p.segment(f, 0.08, f, 0.24);
        p.segment(f, 0.76, f, 0.92);
        p.segment(0.08, f, 0.24, f);
        p.segment(0.76, f, 0.92, f);
    }
}

} // namespace

// ---------------------------------------------------------------------------
// Glyphs and chips
// ---------------------------------------------------------------------------

void App::draw_glyph(Glyph glyph, RectF r, const Rgb& colour) {
    cairo_new_path(m_cr);
    r = mirror(r);
    cairo_save(m_cr);
    cairo_set_source_rgba(m_cr, colour.r, colour.g, colour.b, 1.0);
    cairo_set_line_width(m_cr, render::glyph_line_width(r.w));
    cairo_set_line_cap(m_cr, CAIRO_LINE_CAP_ROUND);
    cairo_set_line_join(m_cr, CAIRO_LINE_JOIN_ROUND);
    const Pen p{m_cr, r.x, r.y, r.w, r.h};
    switch (glyph) {
    case Glyph::Box:
        glyph_box(p);
        break;
    case Glyph::Cube:
        glyph_cube(p);
        break;
    case Glyph::Phone:
        glyph_phone(p);
        break;
    case Glyph::Doc:
        glyph_doc(p);
        break;
    case Glyph::Wrench:
        glyph_wrench(p);
        break;
    case Glyph::Code:
        glyph_code(p);
        break;
    case Glyph::Layers:
        glyph_layers(p);
        break;
    case Glyph::Puzzle:
        glyph_puzzle(p);
        break;
    case Glyph::Snake:
        glyph_snake(p);
        break;
    case Glyph::Gear:
        glyph_gear(p);
        break;
    case Glyph::Folder:
        glyph_folder(p);
        break;
    case Glyph::Pencil:
        glyph_pencil(p);
        break;
    case Glyph::Clock:
        glyph_clock(p);
        break;
    case Glyph::Chip:
        glyph_chip(p);
        break;
    }
    cairo_restore(m_cr);
}

void App::draw_icon_chip(Glyph glyph, RectF r, const std::string& colour) {
    const std::string second = mix_hex(colour, "#FFFFFF", 0.72);
    fill_round_rect_gradient(r, render::chip_radius(r.w), colour, second, 1.0);
    draw_glyph(glyph, render::chip_glyph_area(r), Rgb{1, 1, 1});
}

// ---------------------------------------------------------------------------
// Pills and buttons
// ---------------------------------------------------------------------------

RectF App::draw_pill(double x, double y, const std::string& label, Font font,
                     const std::string& colour, double bg_alpha) {
    const double h = font_height(font) + 5;
    const RectF r{static_cast<float>(x), static_cast<float>(y),
                  static_cast<float>(measure_text(label, font) + 14), static_cast<float>(h)};
    note_box(FitNote::Kind::Pill, label, r);
    fill_round_rect(r, h / 2, colour, bg_alpha);
    draw_label_center(label, font, r, colour, 1.0);
    return r;
}

RectF App::draw_button(double x, double y, const std::string& label, bool primary, bool enabled) {
    const RectF r{static_cast<float>(x), static_cast<float>(y),
                  static_cast<float>(measure_text(label, Font::Body) + 26), 30};
    note_box(FitNote::Kind::Button, label, r);
    const bool hovered = enabled && mirror(r).contains(m_mouse_x, m_mouse_y);
    const double alpha = enabled ? 1.0 : 0.45;
    if (primary) {
        fill_round_rect_gradient(r, 8, "#FF599E", "#FF9C6B", enabled ? 1.0 : 0.4);
        if (hovered)
            fill_round_rect(r, 8, "#FFFFFF", 0.12);
        draw_label_center(label, Font::Body, r, "#FFFFFF", alpha);
    } else {
        fill_round_rect(r, 8, m_palette.control, 1.0);
        if (hovered)
            fill_round_rect(r, 8, m_palette.text, 0.05);
        stroke_round_rect(r, 8, m_palette.control_edge, 1.0, 1.0);
        draw_label_center(label, Font::Body, r, m_palette.text, alpha);
    }
    return r;
}
