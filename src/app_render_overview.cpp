// The overview page: the hero card with the total to reclaim, the donut
// chart by area with its legend, and the biggest consumers; or, while nothing
// has been found, the scanning or the empty state.
//
// Sizes are read under m_mutex into local copies; drawing happens without the
// lock. Interface thread only.

#include "app.h"
#include "app_render_shared.h"

#include "format.h"
#include "i18n.h"

#include <algorithm>
#include <cmath>

using render::MARGIN;
using render::rect;

namespace {

constexpr double HERO_H = 128;
constexpr double CARD_GAP = 20;
constexpr double AGE_LINE_H = 30;
// The donut card: the biggest consumers start 288 below its top.
constexpr double DONUT_CARD_H = 268;
constexpr double CONSUMER_ROW_H = 52;
constexpr double LEGEND_ROW_H = 26;
constexpr int MAX_CONSUMERS = 8;

struct Slice {
    GroupKind group;
    int64_t size;
    std::string color;
};

const char* tr(const char* text) {
    return I18n::instance().tr(text);
}

// Dark text on light slice colours (the yellow of logs), white on the rest.
const char* text_on(const std::string& colour) {
    Rgb c;
    if (!hex_to_rgb(colour, c))
        return "#FFFFFF";
    return 0.2126 * c.r + 0.7152 * c.g + 0.0722 * c.b > 0.6 ? "#1E1E1E" : "#FFFFFF";
}

} // namespace

// ---------------------------------------------------------------------------
// Page
// ---------------------------------------------------------------------------

void App::draw_overview() {
    const RectF c = m_r_content;
    int64_t total = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        total = total_reclaimable();
    }
    if (total <= 0) {
        if (m_scanning)
            draw_scanning_state(c);
        else
            draw_empty_state(c);
        m_content_height = c.h;
        return;
    }
    const double x = c.x + MARGIN;
    const double w = c.w - 2 * MARGIN - render::SCROLLBAR;
    double y = c.y + MARGIN - m_scroll;
    auto visible = [&](double top, double h) { return top + h > c.y && top < c.y + c.h; };

    if (visible(y, HERO_H))
        draw_hero_card(rect(x, y, w, HERO_H));
    y += HERO_H + CARD_GAP;

    // Ticks the Safe entries of every category that have lain unused.
    if (visible(y, AGE_LINE_H))
        draw_age_control(x, y, w, true);
    y += AGE_LINE_H + CARD_GAP;

    const RectF donut = rect(x, y, w, DONUT_CARD_H);
    if (visible(donut.y, donut.h)) {
        fill_round_rect(donut, 16, m_palette.bar, 1.0);
        draw_donut(donut);
    }
    y += 288;

    draw_top_consumers(rect(x, y, w, 0), &y);
    m_content_height = (y + m_scroll) - c.y + MARGIN;
}

// ---------------------------------------------------------------------------
// Hero card
// ---------------------------------------------------------------------------

void App::draw_hero_card(RectF r) {
    int64_t total = 0, safe = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        total = total_reclaimable();
        safe = safe_reclaimable();
    }
    fill_round_rect_gradient(r, 16, render::BRAND, render::BRAND_END, 1.0);

    // The right panel: how much of it is safe, as a bar against the total.
    const double pad = 24;
    const double panel_w = std::min(300.0, r.w * 0.42);
    const RectF panel = rect(r.x + r.w - pad - panel_w, r.y + 18, panel_w, r.h - 36);
    const double left_w = panel.x - r.x - 2 * pad;

    draw_label(truncate_to_width(tr("Storage to reclaim"), Font::CaptionBold, left_w),
               Font::CaptionBold, rect(r.x + pad, r.y + 22, left_w, 14), "#FFFFFF", 0.85);
    const std::string big = ltr(fmt::bytes(total));
    draw_label(big, Font::Hero, rect(r.x + pad, r.y + 38, left_w, font_height(Font::Hero)),
               "#FFFFFF");
    draw_label(
        truncate_to_width(tr("of developer leftovers found on this machine"), Font::Body, left_w),
        Font::Body, rect(r.x + pad, r.y + 88, left_w, 18), "#FFFFFF", 0.9);

    fill_round_rect(panel, 12, "#FFFFFF", 0.18);
    const double ix = panel.x + 16, iw = panel.w - 32;
    const std::string safe_text = ltr(fmt::bytes(safe));
    const double sw = draw_label(safe_text, Font::Title, rect(ix, panel.y + 12, iw, 24), "#FFFFFF");
    const double rest = iw - sw - 8;
    if (rest > 0)
        draw_label(truncate_to_width(tr("safe to delete"), Font::Body, rest), Font::Body,
                   rect(ix + sw + 8, panel.y + 15, rest, 20), "#FFFFFF", 0.9);
    const double fraction = total > 0 ? static_cast<double>(safe) / static_cast<double>(total) : 0;
    draw_bar(rect(ix, panel.y + 45, iw, 8), fraction, "#FFFFFF");
    const std::string found =
        I18n::instance().trf("found in total: %s", ltr(fmt::bytes(total)).c_str());
    draw_label(truncate_to_width(found, Font::Caption, iw), Font::Caption,
               rect(ix, panel.y + 62, iw, 16), "#FFFFFF", 0.9);
}

// ---------------------------------------------------------------------------
// Donut chart and legend
// ---------------------------------------------------------------------------

void App::draw_donut(RectF r) {
    std::vector<Slice> slices;
    int64_t total = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        int64_t sums[static_cast<int>(GroupKind::_Count)] = {};
        for (const CatState& c : m_cats) {
            const int g = static_cast<int>(c.def.group);
            if (g >= 0 && g < static_cast<int>(GroupKind::_Count))
                sums[g] += c.total_size();
        }
        for (int g = 0; g < static_cast<int>(GroupKind::_Count); ++g)
            if (sums[g] > 0)
                slices.push_back({static_cast<GroupKind>(g), sums[g],
                                  catalog::group_color(static_cast<GroupKind>(g))});
        total = total_reclaimable();
    }
    if (total < 1 || slices.empty())
        return;
    std::sort(slices.begin(), slices.end(),
              [](const Slice& a, const Slice& b) { return a.size > b.size; });

    const render::Ring ring = render::donut_radii(r.h);
    const double outer = ring.outer;
    const double inner = ring.inner;
    const double cx_layout = r.x + 24 + outer;
    const double cx = m_rtl ? m_width - cx_layout : cx_layout;
    const double cy = r.y + r.h * 0.5;
    // Texts on the ring are placed in canvas coordinates; the labels mirror
    // what they are given, so hand them the mirror image of the point.
    auto to_layout_x = [&](double canvas_x) { return m_rtl ? m_width - canvas_x : canvas_x; };

    double start = -M_PI / 2;
    for (const Slice& s : slices) {
        const double sweep = static_cast<double>(s.size) / static_cast<double>(total) * 2 * M_PI;
        const double gap = render::slice_gap(sweep);
        Rgb col;
        if (hex_to_rgb(s.color, col)) {
            const bool lit =
                m_highlight_group < 0 || m_highlight_group == static_cast<int>(s.group);
            cairo_new_path(m_cr);
            cairo_arc(m_cr, cx, cy, outer, start + gap, start + sweep - gap);
            cairo_arc_negative(m_cr, cx, cy, inner, start + sweep - gap, start + gap);
            cairo_close_path(m_cr);
            cairo_set_source_rgba(m_cr, col.r, col.g, col.b, lit ? 1.0 : 0.3);
            cairo_fill(m_cr);
            if (render::slice_shows_size(sweep)) {
                const double mid = start + sweep / 2;
                const double rm = (outer + inner) / 2;
                const double px = cx + std::cos(mid) * rm, py = cy + std::sin(mid) * rm;
                draw_label_center(ltr(fmt::bytes_short(s.size)), Font::CaptionBold,
                                  rect(to_layout_x(px) - 40, py - 8, 80, 16), text_on(s.color),
                                  lit ? 1.0 : 0.5);
            }
        }
        start += sweep;
    }

    // The hole: the total and its caption.
    const double hole = 2 * inner - 16;
    const std::string total_text = ltr(fmt::bytes(total));
    const Font total_font =
        measure_text(total_text, Font::Title) <= hole ? Font::Title : Font::BodyBold;
    draw_label_center(total_text, total_font, rect(cx_layout - hole / 2, cy - 20, hole, 24),
                      m_palette.text);
    draw_label_center(tr("total"), Font::Caption, rect(cx_layout - hole / 2, cy + 5, hole, 14),
                      m_palette.secondary);

    // The legend beside the ring, vertically centred in the card.
    const double lx = r.x + 24 + 2 * outer + 40;
    // A legend wider than this only pushes the sizes away from their names.
    const double lw = std::min(static_cast<double>(r.x + r.w - 24 - lx), 400.0);
    if (lw < 60)
        return;
    // Every group fits the card: with many groups the rows close up a little.
    const double row_h =
        std::min(LEGEND_ROW_H, (r.h - 16 - 8 - 30) / static_cast<double>(slices.size()));
    const double block = 30 + slices.size() * row_h;
    double ly = std::max(static_cast<double>(r.y) + 16, r.y + (r.h - block) / 2);
    draw_label(truncate_to_width(tr("Usage by area"), Font::BodyBold, lw), Font::BodyBold,
               rect(lx, ly, lw, 20), m_palette.text);
    ly += 30;
    for (const Slice& s : slices) {
        const int g = static_cast<int>(s.group);
        const RectF row = rect(lx - 8, ly, lw + 8, row_h);
        const bool hovered = m_hover_act == Act::LegendEntry && m_hover_index == g;
        if (m_highlight_group == g || hovered)
            fill_round_rect(row, 8, m_palette.text, 0.06);
        const double a = (m_highlight_group < 0 || m_highlight_group == g) ? 1.0 : 0.45;
        fill_round_rect(rect(lx, ly + (row_h - 10) / 2, 10, 10), 3, s.color, a);
        const std::string size = ltr(fmt::bytes(s.size));
        const double size_w = measure_text(size, Font::BodyBold);
        draw_label_right(size, Font::BodyBold, rect(lx, ly, lw - 8, row_h), m_palette.text, a);
        const double title_w = lw - 8 - size_w - 18 - 16;
        draw_label(truncate_to_width(tr(catalog::group_title(s.group)), Font::Body, title_w),
                   Font::Body, rect(lx + 18, ly, title_w, row_h), m_palette.text, a);
        add_target(row, Act::LegendEntry, g);
        ly += row_h;
    }
}

// ---------------------------------------------------------------------------
// Biggest consumers
// ---------------------------------------------------------------------------

void App::draw_top_consumers(RectF block, double* y) {
    std::vector<render::CatView> top;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (size_t i = 0; i < m_cats.size(); ++i)
            if (m_cats[i].total_size() > 0)
                top.push_back(render::view_of(m_cats[i], static_cast<int>(i)));
    }
    std::sort(top.begin(), top.end(),
              [](const render::CatView& a, const render::CatView& b) { return a.total > b.total; });
    if (top.size() > static_cast<size_t>(MAX_CONSUMERS))
        top.resize(MAX_CONSUMERS);

    const double n = static_cast<double>(top.size());
    const RectF card = rect(block.x, *y, block.w, n * CONSUMER_ROW_H + 52 + 12);
    *y += card.h;
    const RectF& c = m_r_content;
    if (card.y + card.h <= c.y || card.y >= c.y + c.h)
        return;

    fill_round_rect(card, 16, m_palette.bar, 1.0);
    draw_label(truncate_to_width(tr("Biggest consumers"), Font::BodyBold, card.w - 40),
               Font::BodyBold, rect(card.x + 20, card.y + 14, card.w - 40, 20), m_palette.text);

    const int64_t largest = top.empty() ? 1 : std::max<int64_t>(top.front().total, 1);
    const double size_col = 96;
    const double bar_w = std::min(200.0, card.w * 0.26);
    double ry = card.y + 46;
    for (size_t i = 0; i < top.size(); ++i, ry += CONSUMER_ROW_H) {
        const render::CatView& v = top[i];
        if (ry + CONSUMER_ROW_H <= c.y || ry >= c.y + c.h)
            continue;
        const RectF row = rect(card.x + 8, ry, card.w - 16, CONSUMER_ROW_H);
        if (m_hover_act == Act::TopConsumer && m_hover_index == v.index)
            fill_round_rect(rect(row.x, row.y + 2, row.w, row.h - 4), 10, m_palette.text, 0.05);
        if (i > 0)
            draw_hairline(ry, card.x + 64, card.x + card.w - 20);
        const std::string colour = catalog::group_color(v.group);
        draw_icon_chip(v.glyph, rect(card.x + 20, ry + 10, 32, 32), colour);

        const double size_x = card.x + card.w - 20 - size_col;
        draw_label_right(ltr(fmt::bytes(v.total)), Font::BodyBold,
                         rect(size_x, ry, size_col, CONSUMER_ROW_H), m_palette.text);
        const double bar_x = size_x - 16 - bar_w;
        const double text_x = card.x + 64;
        double text_w = bar_x - 20 - text_x;
        if (text_w < 120) {
            // Narrow cards give the bar's room to the names.
            text_w = size_x - 16 - text_x;
        } else {
            draw_bar(rect(bar_x, ry + 22.5, bar_w, 7),
                     static_cast<double>(v.total) / static_cast<double>(largest), colour);
        }
        draw_label(truncate_to_width(tr(v.title.c_str()), Font::BodyBold, text_w), Font::BodyBold,
                   rect(text_x, ry + 8, text_w, 18), m_palette.text);
        draw_label(truncate_to_width(tr(catalog::group_title(v.group)), Font::Caption, text_w),
                   Font::Caption, rect(text_x, ry + 27, text_w, 16), m_palette.secondary);
        add_target(row, Act::TopConsumer, v.index);
    }
}

// ---------------------------------------------------------------------------
// Scanning and empty states
// ---------------------------------------------------------------------------

void App::draw_scanning_state(RectF r) {
    size_t done = 0, all = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        all = m_cats.size();
        for (const CatState& c : m_cats)
            if (c.did_scan)
                ++done;
    }
    const double w = r.w - 2 * MARGIN;
    const double top = r.y + std::max(MARGIN, r.h * 0.5 - 90);
    draw_icon_chip(Glyph::Gear, rect(r.x + (r.w - 56) / 2, top, 56, 56), render::BRAND);
    draw_label_center(truncate_to_width(tr("Scanning your system …"), Font::Title, w), Font::Title,
                      rect(r.x + MARGIN, top + 76, w, 26), m_palette.text);
    draw_label_center(
        truncate_to_width(tr("Measuring caches, SDKs and dependency folders …"), Font::Body, w),
        Font::Body, rect(r.x + MARGIN, top + 106, w, 20), m_palette.secondary);
    // Progress by categories finished: honest, if uneven.
    const double bw = std::min(260.0, w);
    const double fraction = all > 0 ? static_cast<double>(done) / static_cast<double>(all) : 0;
    draw_bar(rect(r.x + (r.w - bw) / 2, top + 142, bw, 6), fraction, m_palette.accent);
}

void App::draw_empty_state(RectF r) {
    const double w = r.w - 2 * MARGIN;
    const double top = r.y + std::max(MARGIN, r.h * 0.5 - 90);
    draw_icon_chip(Glyph::Box, rect(r.x + (r.w - 56) / 2, top, 56, 56), m_palette.ok_fg);
    draw_label_center(truncate_to_width(tr("Nothing found"), Font::Title, w), Font::Title,
                      rect(r.x + MARGIN, top + 76, w, 26), m_palette.text);
    double y = top + 106;
    for (const std::string& line :
         wrap_text(tr("No developer leftovers were found on this machine."), Font::Body, w)) {
        draw_label_center(line, Font::Body, rect(r.x + MARGIN, y, w, 20), m_palette.secondary);
        y += 20;
    }
}
