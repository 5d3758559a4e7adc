// One frame: the four regions, the toolbar, the sidebar of groups and
// categories, the content area with its scroll indicator, the footer, and the
// hit targets through which clicks and hovering are resolved.
//
// Every clickable thing follows one recipe: compute its rectangle, draw it,
// register the target with that same rectangle. Interface thread only.

#include "app.h"
#include "app_access.h"
#include "app_render_shared.h"

#include "format.h"
#include "i18n.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>

using render::rect;

namespace {

constexpr double TOOLBAR_H = 46;
constexpr double FOOTER_H = 74;

// Sidebar rows: 46 high, one every 50 pixels.
constexpr double SIDE_ROW_H = 46;
constexpr double SIDE_ROW_STEP = 50;
constexpr double SIDE_CHIP = 28;
constexpr double GROUP_HEADER_STEP = 26;

const char* tr(const char* text) {
    return I18n::instance().tr(text);
}

} // namespace

// ---------------------------------------------------------------------------
// Frame
// ---------------------------------------------------------------------------

void App::render_offscreen(cairo_t* cr, double width, double height) {
    m_width = width;
    m_height = height;
    draw_all(cr);
    m_cr = nullptr;
}

void App::draw_all(cairo_t* cr) {
    m_cr = cr;
    if (!m_pango)
        m_pango = pango_font_map_create_context(pango_cairo_font_map_get_default());
    // A change of language takes effect with the next frame.
    m_rtl = I18n::instance().is_rtl();
    std::fill(std::begin(m_font_h), std::end(m_font_h), -1.0);
    m_targets.clear();
    m_rows = {};
    focus_follow_overlay();
    compute_layout();
    fill_rect(rect(0, 0, m_width, m_height), m_palette.window, 1.0);
    m_fit_overlay = false;
    m_fit_region = m_r_toolbar;
    draw_toolbar();
    m_fit_region = m_r_sidebar;
    draw_sidebar();
    m_fit_region = m_r_content;
    draw_content();
    m_fit_region = m_r_footer;
    draw_footer();
    if (m_overlay != Overlay::None) {
        m_fit_overlay = true;
        m_fit_region = rect(0, 0, m_width, m_height);
        draw_overlay();
    }
    draw_focus_ring();
    // The accessible objects follow what was just drawn (only once an
    // assistive technology or a test asked for them).
    if (m_access)
        m_access->sync();
}

void App::compute_layout() {
    const double w = m_width, h = m_height;
    m_r_toolbar = rect(0, 0, w, TOOLBAR_H);
    m_r_footer = rect(0, h - FOOTER_H, w, FOOTER_H);
    const double middle = std::max(0.0, h - TOOLBAR_H - FOOTER_H);
    const double side = 0.34 * w > 0 ? std::min(0.34 * w, 268.0) : 0.0;
    m_r_sidebar = rect(0, TOOLBAR_H, side, middle);
    m_r_content = rect(side, TOOLBAR_H, w - side, middle);
}

void App::add_target(RectF r, Act act, int index) {
    // Inside a scrolled pane only the visible part of a row can be clicked: a
    // row cut off by the footer must not catch clicks meant for the footer.
    const RectF full = mirror(r);
    if (m_target_clip) {
        const RectF& c = *m_target_clip;
        const float x0 = std::max(r.x, c.x), y0 = std::max(r.y, c.y);
        const float x1 = std::min(r.x + r.w, c.x + c.w), y1 = std::min(r.y + r.h, c.y + c.h);
        r = RectF{x0, y0, x1 - x0, y1 - y0};
        if (r.empty())
            return;
    }
    m_targets.push_back({mirror(r), act, index, full});
}

// ---------------------------------------------------------------------------
// Toolbar
// ---------------------------------------------------------------------------

void App::draw_toolbar() {
    const RectF& t = m_r_toolbar;
    fill_rect(t, m_palette.bar, 1.0);
    draw_hairline(t.y + t.h - 1, t.x, t.x + t.w);

    draw_icon_chip(Glyph::Gear, rect(13.2, t.y + 10, 26, 26), render::BRAND);
    draw_label("Quillet", Font::Title, rect(47.2, t.y, 200, t.h), m_palette.text);

    // Buttons from the right edge leftwards.
    double right = m_width - 13.2;
    auto button = [&](const std::string& text, bool primary, bool enabled, Act act) {
        const double w = measure_text(text, Font::Body) + 26;
        const RectF r = draw_button(right - w, t.y + 8, text, primary, enabled);
        draw_access_underline(r, text, Font::Body, primary ? "#FFFFFF" : m_palette.text);
        add_target(r, act, 0);
        right = r.x - 8;
    };
    button(tr("About"), false, true, Act::About);
    button(tr("Settings"), m_overlay == Overlay::Settings, true, Act::AppMenu);
    if (m_scanning)
        button(tr("Cancel"), false, !m_cleaning, Act::CancelScan);
    else
        button(tr("Rescan"), false, !m_cleaning, Act::Rescan);
}

// ---------------------------------------------------------------------------
// Sidebar
// ---------------------------------------------------------------------------

void App::draw_sidebar() {
    const RectF s = m_r_sidebar;
    if (!(s.w > 0 && s.h > 0))
        return;

    std::vector<VisibleGroup> groups;
    std::vector<render::CatView> cats;
    int64_t total = 0;
    size_t manual_count = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        groups = visible_groups();
        cats.reserve(m_cats.size());
        for (size_t i = 0; i < m_cats.size(); ++i) {
            cats.push_back(render::view_of(m_cats[i], static_cast<int>(i)));
            total += cats.back().total; // what total_reclaimable() adds up, read once
        }
        manual_count = m_manual.size();
    }

    fill_rect(s, m_palette.bar, 1.0);
    fill_rect(rect(s.x + s.w - 1, s.y, 1, s.h), m_palette.divider, 1.0);

    cairo_save(m_cr);
    const RectF clip = mirror(s);
    cairo_rectangle(m_cr, clip.x, clip.y, clip.w, clip.h);
    cairo_clip(m_cr);
    m_target_clip = s;

    const double row_x = s.x + 8;
    const double row_w = s.w - 20;
    const double top = s.y + 8 - m_sidebar_scroll;
    double y = top;
    // Rows wholly outside the pane are counted, not drawn.
    auto visible = [&](double ry, double rh) { return ry + rh > s.y && ry < s.y + s.h; };

    m_sidebar_rows.clear();
    auto record = [&](Act act, int index) {
        m_sidebar_rows.push_back({{act, index}, y - top + 8});
    };

    // One row: background, chip, title and second line; returns its rectangle.
    auto row = [&](Act act, int index, bool selected, const std::string& tint, double tint_alpha,
                   Glyph glyph, const std::string& chip_colour, const std::string& title,
                   Font title_font, const std::string& second, double badge_w) {
        const RectF r = rect(row_x, y, row_w, SIDE_ROW_H);
        if (selected)
            fill_round_rect(r, 9, tint, tint_alpha);
        else if (m_hover_act == act && m_hover_index == index)
            fill_round_rect(r, 9, m_palette.text, 0.05);
        draw_icon_chip(glyph, rect(r.x + 9, r.y + 9, SIDE_CHIP, SIDE_CHIP), chip_colour);
        // A badge at the right takes room from both lines, not only the title.
        const double text_w = row_w - (badge_w > 0 ? 90 : 55);
        draw_label(truncate_to_width(title, title_font, text_w), title_font,
                   rect(r.x + 47, r.y + 6, text_w, 18), m_palette.text);
        draw_label(truncate_to_width(second, Font::Caption, text_w), Font::Caption,
                   rect(r.x + 47, r.y + 29, text_w, 14), m_palette.secondary);
        add_target(r, act, index);
        return r;
    };

    record(Act::SelectOverview, 0);
    if (visible(y, SIDE_ROW_H))
        row(Act::SelectOverview, 0, m_selection.empty(), m_palette.accent, 0.14, Glyph::Gear,
            render::BRAND, tr("Overview"), Font::BodyBold,
            m_scanning ? std::string(tr("scanning …")) : ltr(fmt::bytes(total)), 0);
    y += SIDE_ROW_STEP;

    // The manual list fills only when a deletion leaves something behind;
    // until then its row would only be noise.
    if (manual_count > 0 || m_selection == "__manual__") {
        record(Act::SelectManual, 0);
        if (visible(y, SIDE_ROW_H)) {
            const std::string badge = fmt::count(static_cast<int64_t>(manual_count));
            const double bw = manual_count > 0 ? measure_text(badge, Font::CaptionBold) + 12 : 0;
            const RectF r = row(Act::SelectManual, 0, m_selection == "__manual__", render::DANGER,
                                0.14, Glyph::Folder, render::DANGER, tr("Remove manually"),
                                Font::BodyBold, tr("your file manager can do it"), bw);
            if (bw > 0) {
                const RectF b = rect(r.x + r.w - 8 - bw, r.y + 15, bw, 17);
                fill_round_rect(b, 8.5, render::DANGER, 1.0);
                draw_label_center(badge, Font::CaptionBold, b, "#FFFFFF");
            }
        }
        y += SIDE_ROW_STEP;
    }

    for (const VisibleGroup& g : groups) {
        const double hy = y + 6;
        if (visible(hy, 20)) {
            Rgb gc;
            if (hex_to_rgb(catalog::group_color(g.group), gc))
                draw_glyph(catalog::group_glyph(g.group), rect(s.x + 16, hy + 3.5, 13, 13), gc);
            const double avail = s.w - 35;
            draw_label(
                truncate_to_width(tr(catalog::group_title(g.group)), Font::CaptionBold, avail - 80),
                Font::CaptionBold, rect(s.x + 35, hy, avail - 80, 20), m_palette.secondary);
            if (g.total > 0)
                draw_label_right(ltr(fmt::bytes(g.total)), Font::Caption,
                                 rect(s.x + s.w - 21 - 80, hy, 80, 20), m_palette.secondary);
        }
        y += GROUP_HEADER_STEP;
        for (int idx : g.cats) {
            if (idx < 0 || idx >= static_cast<int>(cats.size()))
                continue;
            record(Act::SelectCategory, idx);
            if (visible(y, SIDE_ROW_H)) {
                const render::CatView& c = cats[idx];
                const std::string second =
                    category_state_line(c.scanning, c.did_scan, c.count, c.total);
                row(Act::SelectCategory, idx, m_selection == c.id, catalog::group_color(c.group),
                    0.16, c.glyph, catalog::group_color(c.group), tr(c.title.c_str()), Font::Body,
                    second, 0);
            }
            y += SIDE_ROW_STEP;
        }
    }
    cairo_restore(m_cr);
    m_target_clip.reset();
    m_sidebar_height = y - top + 8;
}

std::string App::category_state_line(bool scanning, bool did_scan, size_t count,
                                     int64_t total) const {
    if (scanning)
        return tr("scanning …");
    if (did_scan && count == 0)
        return tr("empty");
    if (did_scan)
        return ltr(fmt::bytes(total));
    return "\u2026"; // waiting for its turn
}

// ---------------------------------------------------------------------------
// Content
// ---------------------------------------------------------------------------

void App::draw_content() {
    const RectF c = m_r_content;
    if (!(c.w > 0 && c.h > 0))
        return;
    cairo_save(m_cr);
    const RectF clip = mirror(c);
    cairo_rectangle(m_cr, clip.x, clip.y, clip.w, clip.h);
    cairo_clip(m_cr);
    m_target_clip = c;
    if (m_selection.empty())
        draw_overview();
    else if (m_selection == "__manual__")
        draw_manual_list();
    else
        draw_category_detail();
    m_target_clip.reset();
    cairo_restore(m_cr);

    // Results can shrink under a scrolled page (a rescan, a deletion); bring
    // the offset back into range and let the next frame show it.
    const double limit = std::max(0.0, m_content_height - c.h);
    if (m_scroll > limit) {
        m_scroll = limit;
        m_dirty = true;
    }
    draw_scroll_indicator();
}

void App::draw_scroll_indicator() {
    const RectF c = m_r_content;
    const render::Thumb t = render::scroll_thumb(c.y, c.h, m_content_height, m_scroll);
    if (t.shown)
        fill_round_rect(rect(c.x + c.w - 8, t.top, 4, t.length), 2, m_palette.text, 0.22);
}

// ---------------------------------------------------------------------------
// Footer
// ---------------------------------------------------------------------------

void App::draw_footer() {
    const RectF f = m_r_footer;
    fill_rect(f, m_palette.bar, 1.0);
    draw_hairline(f.y, f.x, f.x + f.w);

    int count = 0;
    int64_t size = 0;
    int64_t total = 0;
    std::string status;
    bool status_failed = false;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        // A file linked from several entries counts once in the total, and
        // in the selection only when all its links are ticked.
        count = selected_count();
        size = selected_size();
        total = total_reclaimable();
        status_failed = m_status_failed;
        m_footer_count = count;
        m_footer_size = size;
        status = status_text();
    }

    // Left column: what the selection would free.
    draw_label(tr("TO BE FREED"), Font::CaptionBold, rect(22, f.y + 12, 200, 14),
               m_palette.secondary);
    double size_w = 0;
    const double hero_h = font_height(Font::Hero);
    if (count > 0) {
        const std::string text = ltr(fmt::bytes(size));
        size_w = measure_text(text, Font::Hero);
        draw_label(text, Font::Hero, rect(22, f.y + 26, size_w, hero_h), m_palette.text);
    } else {
        draw_label("\u2014", Font::Hero, rect(22, f.y + 26, 60, hero_h), m_palette.text, 0.5);
    }
    const double column = (size_w + 30 > 200) ? size_w + 30 + 22 : 222;
    fill_rect(rect(column, f.y + 16, 1, f.h - 32), m_palette.divider, 1.0);

    // The button at the right; the middle column gets what is left between.
    const std::string label = tr("Delete permanently");
    const double bw = measure_text(label, Font::Body) + 40;
    const RectF b = rect(m_width - 22 - bw, f.y + (f.h - 36) / 2, bw, 36);
    const bool enabled = count > 0 && !m_cleaning;
    if (enabled) {
        fill_round_rect_gradient(b, 9, render::BRAND, render::BRAND_END, 1.0);
        if (mirror(b).contains(m_mouse_x, m_mouse_y))
            fill_round_rect(b, 9, "#FFFFFF", 0.12);
        draw_label_center(label, Font::Body, b, "#FFFFFF");
    } else {
        fill_round_rect(b, 9, m_palette.control, 0.55);
        stroke_round_rect(b, 9, m_palette.control_edge, 1.0, 0.5);
        draw_label_center(label, Font::Body, b, m_palette.text, 0.6);
    }
    note_box(FitNote::Kind::Button, label, b);
    add_target(b, Act::Clean, 0);

    const double mid_x = column + 18;
    double mid_right = b.x - 18;
    // The warning stands just left of the button, when the middle column
    // leaves room for it.
    const std::string warn = tr("deletes immediately");
    const double warn_w = measure_text(warn, Font::Caption);
    if (mid_right - warn_w - mid_x >= 200) {
        draw_label_right(warn, Font::Caption, rect(mid_right - warn_w, f.y, warn_w, f.h),
                         enabled ? m_palette.danger_fg : m_palette.secondary);
        mid_right -= warn_w + 18;
    }
    const double mid_w = mid_right - mid_x;
    if (mid_w <= 0)
        return;
    const std::string selected =
        I18n::instance().trf("%s item(s) selected", fmt::count(count).c_str());
    draw_label(truncate_to_width(selected, Font::Body, mid_w), Font::Body,
               rect(mid_x, f.y + 18, mid_w, 18), m_palette.text);
    if (!status.empty()) {
        draw_label(truncate_to_width(status, Font::Caption, std::min(340.0, mid_w)), Font::Caption,
                   rect(mid_x, f.y + 38, mid_w, 16),
                   status_failed ? m_palette.danger_fg : m_palette.ok_fg);
    } else {
        const std::string found =
            I18n::instance().trf("found in total: %s", ltr(fmt::bytes(total)).c_str());
        draw_label(truncate_to_width(found, Font::Caption, mid_w), Font::Caption,
                   rect(mid_x, f.y + 38, mid_w, 16), m_palette.secondary);
    }
}
