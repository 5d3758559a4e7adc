// The drawing layer every page uses: the eight fonts, text measurement and
// fitting (end and middle ellipsis, word wrap), rectangles, rounded
// rectangles, hairlines, bars and labels. Right-to-left mirroring happens here
// and in add_target() only, so pages are written in left-to-right coordinates.
//
// Everything here draws with m_cr and runs on the interface thread while a
// frame is drawn. The frame itself is in app_render_frame.cpp.

#include "app.h"

#include "i18n.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <mutex>

namespace {

constexpr const char* ELLIPSIS = "\u2026";
constexpr const char* LRI = "\u2066"; // left-to-right isolate
constexpr const char* PDI = "\u2069"; // pop directional isolate

// Built once: the families are the same for every language, and the text
// layout picks per-script fallbacks itself.
PangoFontDescription* font_description(App::Font font) {
    static PangoFontDescription* fonts[8] = {};
    static std::once_flag once;
    std::call_once(once, [] {
        struct FontShape {
            bool mono;
            double px;
            bool bold;
        };
        const FontShape shapes[8] = {{false, 13, false},  {false, 13, true}, {false, 11, false},
                                     {false, 11, true},   {false, 19, true}, {false, 34, true},
                                     {true, 11.5, false}, {true, 13, true}};
        for (int i = 0; i < 8; ++i) {
            PangoFontDescription* d = pango_font_description_new();
            pango_font_description_set_family(
                d, shapes[i].mono ? I18n::mono_font_family() : I18n::instance().ui_font_family());
            // Pixels, not points: the interface does not follow text scaling.
            pango_font_description_set_absolute_size(d, shapes[i].px * PANGO_SCALE);
            pango_font_description_set_weight(d, shapes[i].bold ? PANGO_WEIGHT_BOLD
                                                                : PANGO_WEIGHT_NORMAL);
            fonts[i] = d;
        }
    });
    const int i = static_cast<int>(font);
    return fonts[(i >= 0 && i < 8) ? i : 0];
}

// Byte offsets of the code points of a UTF-8 text, plus its length at the end.
std::vector<size_t> char_starts(const std::string& text) {
    std::vector<size_t> starts;
    starts.reserve(text.size() + 1);
    for (size_t i = 0; i < text.size(); ++i)
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80)
            starts.push_back(i);
    starts.push_back(text.size());
    return starts;
}

} // namespace

// ---------------------------------------------------------------------------
// Layout cache
// ---------------------------------------------------------------------------

TextLayoutCache::~TextLayoutCache() {
    clear();
}

PangoLayout* TextLayoutCache::find(const std::string& key) const {
    const auto it = m_map.find(key);
    return it == m_map.end() ? nullptr : it->second;
}

void TextLayoutCache::put(const std::string& key, PangoLayout* layout) {
    // A few screens' worth of texts; scrolling through a long list replaces
    // them wholesale rather than growing without bound.
    if (m_map.size() >= 4096)
        clear();
    auto [it, inserted] = m_map.emplace(key, layout);
    if (!inserted) {
        g_object_unref(it->second);
        it->second = layout;
    }
}

void TextLayoutCache::clear() {
    for (auto& [key, layout] : m_map)
        g_object_unref(layout);
    m_map.clear();
}

// ---------------------------------------------------------------------------
// Text
// ---------------------------------------------------------------------------

PangoLayout* App::layout_for(const std::string& text, Font font) {
    if (!m_pango)
        m_pango = pango_font_map_create_context(pango_cairo_font_map_get_default());
    PangoLayout* layout = pango_layout_new(m_pango);
    pango_layout_set_font_description(layout, font_description(font));
    pango_layout_set_text(layout, text.data(), static_cast<int>(text.size()));
    return layout;
}

PangoLayout* App::shared_layout(const std::string& text, Font font) {
    std::string key;
    key.reserve(text.size() + 1);
    key += static_cast<char>('0' + static_cast<int>(font));
    key += text;
    if (PangoLayout* found = m_layouts.find(key))
        return found;
    PangoLayout* layout = layout_for(text, font);
    m_layouts.put(key, layout);
    return layout;
}

double App::measure_text(const std::string& text, Font font) {
    if (text.empty())
        return 0;
    PangoRectangle logical;
    pango_layout_get_pixel_extents(shared_layout(text, font), nullptr, &logical);
    return logical.width;
}

double App::font_height(Font font) {
    const int i = static_cast<int>(font);
    if (i < 0 || i > 7)
        return 0;
    if (m_font_h[i] < 0) {
        PangoLayout* layout = layout_for("Ag", font);
        PangoRectangle logical;
        pango_layout_get_pixel_extents(layout, nullptr, &logical);
        g_object_unref(layout);
        m_font_h[i] = logical.height;
    }
    return m_font_h[i];
}

std::string App::ltr(const std::string& text) const {
    if (!m_rtl)
        return text;
    return std::string(LRI) + text + PDI;
}

namespace {

// The width of a trial text that is measured once and thrown away, so that
// the candidates of a truncation do not crowd the kept layouts out.
double measure_once(App& app, const std::string& text, App::Font font) {
    PangoLayout* layout = app.layout_for(text, font);
    PangoRectangle logical;
    pango_layout_get_pixel_extents(layout, nullptr, &logical);
    g_object_unref(layout);
    return logical.width;
}

std::string fit_key(char kind, const std::string& text, App::Font font, double max_w) {
    char head[48];
    std::snprintf(head, sizeof head, "%c%d:%.3f:", kind, static_cast<int>(font), max_w);
    return head + text;
}

} // namespace

std::string App::truncate_to_width(const std::string& text, Font font, double max_w) {
    if (max_w <= 0) {
        if (m_fit_log)
            note_fit(FitNote::Kind::Cut, text, font, measure_text(text, font),
                     {0, 0, static_cast<float>(max_w), 0}, {});
        return ELLIPSIS;
    }
    if (measure_text(text, font) <= max_w)
        return text;
    if (m_fit_log)
        note_fit(FitNote::Kind::Cut, text, font, measure_text(text, font),
                 {0, 0, static_cast<float>(max_w), 0}, {});
    // The same text in the same room was cut the same way last frame.
    const std::string key = fit_key('e', text, font, max_w);
    if (const auto it = m_fitted.find(key); it != m_fitted.end())
        return it->second;
    std::string result = ELLIPSIS;
    const std::vector<size_t> starts = char_starts(text);
    const size_t n = starts.size() - 1;
    for (size_t k = n; k-- > 1;) {
        std::string candidate = text.substr(0, starts[k]) + ELLIPSIS;
        if (measure_once(*this, candidate, font) <= max_w) {
            result = std::move(candidate);
            break;
        }
    }
    remember_fit(key, result);
    return result;
}

std::string App::truncate_path_middle(const std::string& text, Font font, double max_w) {
    if (max_w > 0 && measure_text(text, font) <= max_w)
        return text;
    const std::string key = fit_key('m', text, font, max_w);
    if (const auto it = m_fitted.find(key); it != m_fitted.end())
        return it->second;
    const std::vector<size_t> starts = char_starts(text);
    const size_t n = starts.size() - 1;
    if (n > 3) {
        // The first candidate keeps only half of the characters even when more
        // would fit, so the cuts of neighbouring rows look alike.
        for (size_t k = n / 2; k >= 2; --k) {
            const size_t tail = k / 2;
            const size_t head = k - tail;
            std::string candidate =
                text.substr(0, starts[head]) + ELLIPSIS + text.substr(starts[n - tail]);
            if (measure_once(*this, candidate, font) <= max_w) {
                remember_fit(key, candidate);
                return candidate;
            }
        }
    }
    std::string result = truncate_to_width(text, font, max_w);
    remember_fit(key, result);
    return result;
}

void App::remember_fit(const std::string& key, const std::string& result) {
    if (m_fitted.size() >= 4096)
        m_fitted.clear();
    m_fitted[key] = result;
}

std::vector<std::string> App::wrap_text(const std::string& text, Font font, double max_w) {
    std::vector<std::string> lines;
    if (text.empty())
        return lines;
    PangoLayout* layout = layout_for(text, font);
    pango_layout_set_width(layout, static_cast<int>(std::max(0.0, max_w) * PANGO_SCALE));
    pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
    for (GSList* l = pango_layout_get_lines_readonly(layout); l; l = l->next) {
        const PangoLayoutLine* line = static_cast<const PangoLayoutLine*>(l->data);
        const size_t start = static_cast<size_t>(line->start_index);
        const size_t len = static_cast<size_t>(line->length);
        if (start <= text.size())
            lines.push_back(text.substr(start, std::min(len, text.size() - start)));
    }
    g_object_unref(layout);
    return lines;
}

// ---------------------------------------------------------------------------
// Shapes
// ---------------------------------------------------------------------------

RectF App::mirror(RectF r) const {
    if (m_rtl)
        r.x = static_cast<float>(m_width - r.x - r.w);
    return r;
}

void App::round_rect_path(RectF r, double radius) {
    const double rad = std::min(radius, std::min(r.w, r.h) * 0.5);
    if (rad <= 0.5) {
        cairo_rectangle(m_cr, r.x, r.y, r.w, r.h);
        return;
    }
    const double x = r.x, y = r.y, w = r.w, h = r.h;
    cairo_new_sub_path(m_cr);
    cairo_arc(m_cr, x + w - rad, y + rad, rad, -M_PI / 2, 0);
    cairo_arc(m_cr, x + w - rad, y + h - rad, rad, 0, M_PI / 2);
    cairo_arc(m_cr, x + rad, y + h - rad, rad, M_PI / 2, M_PI);
    cairo_arc(m_cr, x + rad, y + rad, rad, M_PI, 3 * M_PI / 2);
    cairo_close_path(m_cr);
}

void App::fill_rgb(RectF r, const Rgb& colour, double alpha) {
    r = mirror(r);
    cairo_set_source_rgba(m_cr, colour.r, colour.g, colour.b, alpha);
    cairo_rectangle(m_cr, r.x, r.y, r.w, r.h);
    cairo_fill(m_cr);
}

void App::fill_rect(RectF r, const std::string& colour, double alpha) {
    Rgb c;
    if (hex_to_rgb(colour, c))
        fill_rgb(r, c, alpha);
}

void App::fill_round_rect(RectF r, double radius, const std::string& colour, double alpha) {
    Rgb c;
    if (!hex_to_rgb(colour, c))
        return;
    r = mirror(r);
    cairo_new_path(m_cr);
    round_rect_path(r, radius);
    cairo_set_source_rgba(m_cr, c.r, c.g, c.b, alpha);
    cairo_fill(m_cr);
}

void App::fill_round_rect_gradient(RectF r, double radius, const std::string& first,
                                   const std::string& second, double alpha) {
    Rgb a, b;
    if (!hex_to_rgb(first, a) || !hex_to_rgb(second, b))
        return;
    r = mirror(r);
    cairo_pattern_t* pattern = cairo_pattern_create_linear(r.x, r.y, r.x + r.w, r.y + r.h);
    cairo_pattern_add_color_stop_rgba(pattern, 0, a.r, a.g, a.b, alpha);
    cairo_pattern_add_color_stop_rgba(pattern, 1, b.r, b.g, b.b, alpha);
    cairo_new_path(m_cr);
    round_rect_path(r, radius);
    cairo_set_source(m_cr, pattern);
    cairo_fill(m_cr);
    cairo_pattern_destroy(pattern);
}

void App::stroke_round_rect(RectF r, double radius, const std::string& colour, double line_width,
                            double alpha) {
    Rgb c;
    if (!hex_to_rgb(colour, c))
        return;
    r = mirror(r);
    // Thin lines centred on a pixel boundary would smear over two rows.
    if (line_width <= 1.5)
        r = {r.x + 0.5f, r.y + 0.5f, r.w - 1, r.h - 1};
    cairo_new_path(m_cr);
    round_rect_path(r, radius);
    cairo_set_source_rgba(m_cr, c.r, c.g, c.b, alpha);
    cairo_set_line_width(m_cr, line_width);
    cairo_stroke(m_cr);
}

void App::draw_hairline(double y, double x1, double x2) {
    Rgb c;
    if (!hex_to_rgb(m_palette.divider, c))
        return;
    if (m_rtl) {
        x1 = m_width - x1;
        x2 = m_width - x2;
    }
    const double yy = std::floor(y) + 0.5;
    cairo_new_path(m_cr);
    cairo_move_to(m_cr, x1, yy);
    cairo_line_to(m_cr, x2, yy);
    cairo_set_source_rgba(m_cr, c.r, c.g, c.b, 1.0);
    cairo_set_line_width(m_cr, 1.0);
    cairo_stroke(m_cr);
}

void App::draw_bar(RectF r, double fraction, const std::string& colour) {
    fill_round_rect(r, r.h / 2, m_palette.text, 0.09);
    double filled = r.w * std::min(fraction, 1.0);
    if (!(filled > 0))
        return;
    // Any share above nothing stays visible.
    filled = std::max(filled, 5.0);
    fill_round_rect({r.x, r.y, static_cast<float>(filled), r.h}, r.h / 2, colour, 1.0);
}

// ---------------------------------------------------------------------------
// Labels
// ---------------------------------------------------------------------------

double App::draw_label_rgb(const std::string& text, Font font, RectF r, const Rgb& colour,
                           double alpha) {
    if (text.empty())
        return 0;
    if (m_fit_log) {
        // A wrapped line keeps the space it was broken at, which shows nothing.
        const double tw = measure_text(text.substr(0, text.find_last_not_of(' ') + 1), font);
        note_fit(FitNote::Kind::Label, text, font, tw, r, {r.x, r.y, static_cast<float>(tw), r.h});
    }
    return paint_label(text, font, r, colour, alpha);
}

double App::paint_label(const std::string& text, Font font, RectF r, const Rgb& colour,
                        double alpha) {
    if (text.empty())
        return 0;
    PangoLayout* layout = shared_layout(text, font);
    PangoRectangle logical;
    pango_layout_get_pixel_extents(layout, nullptr, &logical);
    const double tw = logical.width;
    // In a mirrored rectangle the text starts at its right edge.
    const RectF m = mirror(r);
    const double left = m_rtl ? m.x + m.w - tw : m.x;
    const double top = r.y + (r.h - logical.height) * 0.5;
    cairo_set_source_rgba(m_cr, colour.r, colour.g, colour.b, alpha);
    cairo_move_to(m_cr, left - logical.x, top - logical.y);
    pango_cairo_show_layout(m_cr, layout);
    cairo_new_path(m_cr);
    return tw;
}

double App::draw_label(const std::string& text, Font font, RectF r, const std::string& colour,
                       double alpha) {
    Rgb c;
    if (text.empty() || !hex_to_rgb(colour, c))
        return 0;
    return draw_label_rgb(text, font, r, c, alpha);
}

double App::draw_label_right(const std::string& text, Font font, RectF r, const std::string& colour,
                             double alpha) {
    Rgb c;
    if (text.empty() || !hex_to_rgb(colour, c))
        return 0;
    const double tw = measure_text(text, font);
    const RectF at{static_cast<float>(r.x + r.w - tw), r.y, static_cast<float>(tw), r.h};
    note_fit(FitNote::Kind::Label, text, font, tw, r, at);
    return paint_label(text, font, at, c, alpha);
}

double App::draw_label_center(const std::string& text, Font font, RectF r,
                              const std::string& colour, double alpha) {
    Rgb c;
    if (text.empty() || !hex_to_rgb(colour, c))
        return 0;
    const double tw = measure_text(text, font);
    const RectF at{static_cast<float>(r.x + (r.w - tw) * 0.5), r.y, static_cast<float>(tw), r.h};
    note_fit(FitNote::Kind::Label, text, font, tw, r, at);
    return paint_label(text, font, at, c, alpha);
}

// ---------------------------------------------------------------------------
// Fitting notes
// ---------------------------------------------------------------------------

void App::note_fit(FitNote::Kind kind, const std::string& text, Font font, double width, RectF room,
                   RectF drawn) {
    if (!m_fit_log)
        return;
    FitNote n;
    n.kind = kind;
    n.text = text;
    n.font = static_cast<int>(font);
    n.width = width;
    n.room = room;
    n.drawn = drawn;
    n.region = m_fit_region;
    n.overlay = m_fit_overlay;
    m_fit_log->notes.push_back(std::move(n));
}

void App::note_box(FitNote::Kind kind, const std::string& label, RectF box) {
    if (m_fit_log)
        note_fit(kind, label, Font::Body, box.w, box, box);
}
