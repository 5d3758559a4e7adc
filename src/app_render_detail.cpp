// A category's page (header, selection buttons and one row per found entry)
// and the "Remove manually" page of entries the program cannot delete itself.
//
// Only rows that reach into the visible part of the content area are copied
// (under m_mutex) and drawn; the others only count towards the page height,
// so a category of 50,000 entries scrolls like one of five. Interface thread
// only.

#include "app.h"
#include "app_render_shared.h"

#include "activity.h"
#include "format.h"
#include "i18n.h"

#include <algorithm>
#include <cmath>

using render::MARGIN;
using render::rect;

namespace {

// Item rows: the last line of a row ends 82 below its top. Rows of project
// folders and of versions in use have one more line, saying why they may or
// may not go.
constexpr double ITEM_ROW_H = 90;
constexpr double REASON_LINE_H = 18;
constexpr double ITEM_ROW_GAP = 8;
// The header: chip and titles, the line of buttons, the line of the age
// control.
constexpr double DETAIL_HEADER_H = 142;
constexpr double AGE_LINE_Y = 98;
constexpr double HEADER_CHIP = 48;

constexpr double MANUAL_CARD_H = 64;
constexpr double MANUAL_CARD_GAP = 8;

const char* tr(const char* text) {
    return I18n::instance().tr(text);
}

// The rows [first, last) of a list whose row i starts at top + i × step and
// is h high, that reach into the band [band_top, band_bottom).
// What a row needs of an entry: everything but the records of its linked
// files, which can run to many thousands and are summed up in frees.
Item row_copy(const Item& it) {
    Item r;
    r.path = it.path;
    r.name = it.name;
    r.detail = it.detail;
    r.modified = it.modified;
    r.size = it.size;
    r.size_known = it.size_known;
    r.shared_bytes = it.shared_bytes;
    r.frees = it.frees;
    r.safety = it.safety;
    r.keep_hint = it.keep_hint;
    r.in_use = it.in_use;
    r.selected = it.selected;
    r.reasons = it.reasons;
    r.active = it.active;
    r.of_project = it.of_project;
    return r;
}

std::pair<size_t, size_t> visible_rows(double top, double step, double h, size_t n, double band_top,
                                       double band_bottom) {
    if (n == 0 || step <= 0)
        return {0, 0};
    const double first = std::floor((band_top - top - h) / step) + 1;
    const double last = std::ceil((band_bottom - top) / step);
    const size_t f = first <= 0 ? 0 : std::min(n, static_cast<size_t>(first));
    const size_t l = last <= 0 ? 0 : std::min(n, static_cast<size_t>(last));
    return {f, std::max(f, l)};
}

// Whether the category's rows have the reason line: project folders always
// do, versioned rows when an entry is in use. The caller holds m_mutex.
bool has_reason_lines(const CatState& c) {
    if (c.def.listing == ListingKind::Recursive)
        return true;
    return std::any_of(c.items.begin(), c.items.end(),
                       [](const Item& it) { return !it.reasons.empty(); });
}

} // namespace

// ---------------------------------------------------------------------------
// Category page
// ---------------------------------------------------------------------------

void App::draw_category_detail() {
    const RectF c = m_r_content;
    const double x = c.x + MARGIN;
    const double w = c.w - 2 * MARGIN - render::SCROLLBAR;
    const double y0 = c.y + MARGIN - m_scroll;
    const double rows_top = y0 + DETAIL_HEADER_H;
    double row_h = ITEM_ROW_H;
    double step = row_h + ITEM_ROW_GAP;

    render::CatView cat;
    bool found = false;
    std::vector<Item> rows;
    size_t first = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (size_t i = 0; i < m_cats.size(); ++i)
            if (m_cats[i].def.id == m_selection) {
                cat = render::view_of(m_cats[i], static_cast<int>(i));
                if (has_reason_lines(m_cats[i])) {
                    row_h = ITEM_ROW_H + REASON_LINE_H;
                    step = row_h + ITEM_ROW_GAP;
                }
                const auto [f, l] = visible_rows(rows_top, step, row_h, cat.count, c.y, c.y + c.h);
                first = f;
                rows.reserve(l - f);
                for (size_t k = f; k < l; ++k)
                    rows.push_back(row_copy(m_cats[i].items[k]));
                found = true;
                break;
            }
    }
    if (!found) {
        // The category is gone (a rescan no longer finds its folder).
        m_content_height = c.h;
        return;
    }
    const std::string accent = catalog::group_color(cat.group);

    // Header: chip, name and description, then the totals and the buttons.
    if (y0 + DETAIL_HEADER_H > c.y) {
        draw_icon_chip(cat.glyph, rect(x, y0, HEADER_CHIP, HEADER_CHIP), accent);
        const double tx = x + HEADER_CHIP + 14;
        const double tw = x + w - tx;
        draw_label(truncate_to_width(tr(cat.title.c_str()), Font::Title, tw), Font::Title,
                   rect(tx, y0 + 1, tw, 24), m_palette.text);
        draw_label(truncate_to_width(tr(cat.subtitle.c_str()), Font::Body, tw), Font::Body,
                   rect(tx, y0 + 28, tw, 18), m_palette.secondary);

        // Buttons at the right, 8 apart, measured first so the summary knows
        // its room.
        const std::string open = tr("Open folder"), safe = tr("Safe ones"), none = tr("None");
        const double bw_open = measure_text(open, Font::Body) + 26;
        const double bw_safe = measure_text(safe, Font::Body) + 26;
        const double bw_none = measure_text(none, Font::Body) + 26;
        double bx = x + w - (bw_open + 8 + bw_safe + 8 + bw_none);
        const double by = y0 + 60;
        RectF b = draw_button(bx, by, open, false, true);
        add_target(b, Act::RevealCategory, cat.index);
        bx = b.x + b.w + 8;
        b = draw_button(bx, by, safe, false, cat.count > 0);
        add_target(b, Act::SelectAllSafe, 0);
        bx = b.x + b.w + 8;
        b = draw_button(bx, by, none, false, cat.count > 0);
        add_target(b, Act::SelectNone, 0);

        const std::string summary = I18n::instance().trf(
            "%s entries · %s in total", fmt::count(static_cast<int64_t>(cat.count)).c_str(),
            ltr(fmt::bytes(cat.total)).c_str());
        const double sw = x + w - (bw_open + 8 + bw_safe + 8 + bw_none) - 16 - x;
        draw_label(truncate_to_width(summary, Font::BodyBold, sw), Font::BodyBold,
                   rect(x, by, sw, 30), m_palette.text);

        draw_age_control(x, y0 + AGE_LINE_Y, w, cat.count > 0);
    }

    if (cat.count == 0) {
        const RectF card = rect(x, rows_top, w, 96);
        fill_round_rect(card, 12, m_palette.bar, 1.0);
        stroke_round_rect(card, 12, m_palette.divider, 1.0, 1.0);
        if (cat.scanning || !cat.did_scan) {
            draw_label_center(tr("scanning …"), Font::BodyBold, rect(x, rows_top, w, 96),
                              m_palette.secondary);
        } else {
            draw_label_center(truncate_to_width(tr("Nothing found"), Font::BodyBold, w - 32),
                              Font::BodyBold, rect(x, rows_top + 26, w, 20), m_palette.text);
            draw_label_center(truncate_to_width(tr("This folder is empty or does not exist."),
                                                Font::Body, w - 32),
                              Font::Body, rect(x, rows_top + 50, w, 20), m_palette.secondary);
        }
        m_content_height = rows_top + 96 + MARGIN + m_scroll - c.y;
        return;
    }

    m_rows = {Act::ToggleItem, rows_top - c.y + m_scroll, step, row_h};
    for (size_t k = 0; k < rows.size(); ++k) {
        const size_t i = first + k;
        draw_item_row(rows[k], static_cast<int>(i),
                      rect(x, rows_top + static_cast<double>(i) * step, w, row_h), cat.listed,
                      accent);
    }
    m_content_height =
        rows_top + static_cast<double>(cat.count) * step - ITEM_ROW_GAP + MARGIN + m_scroll - c.y;
}

// ---------------------------------------------------------------------------
// Age control
// ---------------------------------------------------------------------------

std::string App::age_button_label(int months) {
    return I18n::instance().trf("%s mo", fmt::count(months).c_str());
}

void App::draw_age_control(double x, double y, double w, bool enabled) {
    // One press ticks: a button per span rather than a span to choose and
    // then a button to press. The label reads as the start of a sentence
    // each button ends, and gives up its room first when the line is short.
    std::vector<std::string> labels;
    double buttons_w = 0;
    for (int months : activity::SPANS) {
        labels.push_back(age_button_label(months));
        buttons_w += measure_text(labels.back(), Font::Body) + 26 + 6;
    }
    buttons_w -= 6;
    const double room = std::max(0.0, w - buttons_w - 10);
    const std::string text = truncate_to_width(tr("Safe ones older than"), Font::Body, room);
    const double drawn =
        draw_label(text, Font::Body, rect(x, y + 5, room, 20), m_palette.secondary);
    double bx = x + (drawn > 0 ? drawn + 10 : 0);
    for (size_t k = 0; k < labels.size(); ++k) {
        const RectF b = draw_button(bx, y, labels[k], false, enabled);
        add_target(b, Act::SelectOlder, activity::SPANS[k]);
        bx = b.x + b.w + 6;
    }
}

// ---------------------------------------------------------------------------
// Item row
// ---------------------------------------------------------------------------

void App::draw_item_row(const Item& item, int index, RectF r, int64_t cat_total,
                        const std::string& accent) {
    const std::string safety_colour = catalog::safety_color(item.safety);

    // Card, tinted and outlined in the accent when ticked.
    fill_round_rect(r, 12, m_palette.bar, 1.0);
    if (item.selected) {
        fill_round_rect(r, 12, accent, 0.1);
        stroke_round_rect(r, 12, accent, 1.5, 0.75);
    } else {
        const bool hovered = m_hover_act == Act::ToggleItem && m_hover_index == index;
        stroke_round_rect(r, 12, hovered ? m_palette.control_edge : m_palette.divider, 1.0, 1.0);
    }
    fill_round_rect(rect(r.x + 1, r.y + 10, 4, r.h - 20), 2, safety_colour, 1.0);

    // Check box; the tick is drawn directly, so its x is mirrored here.
    const RectF box = rect(r.x + 16, r.y + r.h / 2 - 9, 18, 18);
    if (item.selected) {
        fill_round_rect(box, 5, accent, 1.0);
        const double bx = m_rtl ? m_width - box.x - 18 : box.x;
        cairo_new_path(m_cr);
        cairo_set_source_rgba(m_cr, 1, 1, 1, 1);
        cairo_set_line_width(m_cr, 2.2);
        cairo_set_line_cap(m_cr, CAIRO_LINE_CAP_ROUND);
        cairo_set_line_join(m_cr, CAIRO_LINE_JOIN_ROUND);
        cairo_move_to(m_cr, bx + 4.5, box.y + 9.5);
        cairo_line_to(m_cr, bx + 7.5, box.y + 12.5);
        cairo_line_to(m_cr, bx + 13.5, box.y + 5.5);
        cairo_stroke(m_cr);
    } else {
        fill_round_rect(box, 5, m_palette.control, 1.0);
        stroke_round_rect(box, 5, m_palette.control_edge, 1.2, 1.0);
    }
    add_target(r, Act::ToggleItem, index);

    const double x = r.x + 46;
    const double w = r.w - 46 - 16;

    // First line: name, the keep mark (in use, else newest), size.
    const std::string size = item.size_known ? ltr(fmt::bytes(item.size)) : "\u2026";
    const double size_w = measure_text(size, Font::MonoBold);
    double name_w = w - (size_w + 8);
    // Files linked from elsewhere too stay when it goes: say what it frees,
    // beside the size, in at most a third of the line.
    if (item.frees_less()) {
        const std::string frees = frees_text(item);
        const double frees_w = std::min(measure_text(frees, Font::Caption), w / 3);
        name_w -= frees_w + 8;
        draw_label_right(truncate_to_width(frees, Font::Caption, frees_w), Font::Caption,
                         rect(x + w - size_w - 8 - frees_w, r.y + 11, frees_w, 16),
                         m_palette.secondary);
    }
    if (item.in_use || item.keep_hint) {
        const std::string keep = tr(item.in_use ? "in use — keep" : "newest — keep");
        name_w -= measure_text(keep, Font::CaptionBold) + 14 + 8;
        draw_pill(x + name_w + 8, r.y + 10, keep, Font::CaptionBold, render::DANGER, 0.16);
    }
    draw_label(truncate_to_width(item.name, Font::BodyBold, name_w), Font::BodyBold,
               rect(x, r.y + 8, std::max(0.0, name_w), 20), m_palette.text);
    draw_label_right(size, Font::MonoBold, rect(x, r.y + 8, w, 20), m_palette.text);

    // Second line: where it is.
    const std::string& where = item.detail.empty() ? item.path : item.detail;
    draw_label(ltr(truncate_path_middle(where, Font::Mono, w)), Font::Mono,
               rect(x, r.y + 28, w, 16), m_palette.secondary);

    // Third line: share of the category and safety.
    const std::string safety = tr(catalog::safety_title(item.safety));
    const double pill_w = measure_text(safety, Font::CaptionBold) + 14;
    const double bar_w = w - pill_w - 12;
    const double fraction = (item.size > 0 && cat_total > 0)
                                ? static_cast<double>(item.size) / static_cast<double>(cat_total)
                                : 0.0;
    draw_bar(rect(x, r.y + 50, bar_w, 7), fraction, safety_colour);
    draw_pill(x + bar_w + 12, r.y + 44, safety, Font::CaptionBold, safety_colour, 0.16);

    // Last line: when it last changed, and the way to the file manager.
    const std::string reveal = tr("Show in file manager");
    const double reveal_w = measure_text(reveal, Font::Caption) + 15;
    const RectF link = rect(x + w - reveal_w, r.y + 64, reveal_w, 20);
    const bool link_hovered = m_hover_act == Act::RevealItem && m_hover_index == index;
    const std::string& link_colour = link_hovered ? m_palette.accent : m_palette.secondary;
    Rgb lc;
    if (hex_to_rgb(link_colour, lc))
        draw_glyph(Glyph::Folder, rect(link.x, r.y + 68.5, 11, 11), lc);
    draw_label(reveal, Font::Caption, rect(link.x + 15, r.y + 66, reveal_w - 15, 16), link_colour);
    add_target(link, Act::RevealItem, index);

    // For build output its project's last activity: its own times say
    // nothing of use (npm dates installed files to 1985), and it is what the
    // age buttons go by.
    const std::string age = age_line(item);
    if (!age.empty()) {
        Rgb sc;
        if (hex_to_rgb(m_palette.secondary, sc))
            draw_glyph(item.of_project && item.active > 0 ? Glyph::Clock : Glyph::Pencil,
                       rect(x, r.y + 70, 11, 11), sc);
        const double rest = link.x - 16 - (x + 15);
        draw_label(truncate_to_width(age, Font::Caption, rest), Font::Caption,
                   rect(x + 15, r.y + 66, std::max(0.0, rest), 16), m_palette.secondary);
    }

    // Project folders and versions in use: why they may or may not go, led
    // by a dot in the colour of the weightiest reason.
    if (!item.reasons.empty()) {
        const evidence::Reason& first = item.reasons.front();
        const std::string dot_colour = catalog::safety_color(first.weight);
        fill_round_rect(rect(x + 2, r.y + 89, 7, 7), 3.5, dot_colour, 1.0);
        const std::string line = reasons_line(item.reasons);
        const double lw = std::max(0.0, w - 15);
        draw_label(truncate_to_width(line, Font::Caption, lw), Font::Caption,
                   rect(x + 15, r.y + 84, lw, 16),
                   first.weight == SafetyLevel::Risky ? m_palette.text : m_palette.secondary);
    }
}

std::string App::age_line(const Item& item) {
    if (item.of_project && item.active > 0)
        return I18n::instance().trf("project active %s", fmt::relative(item.active).c_str());
    if (item.modified > 0)
        return I18n::instance().trf("last changed %s", fmt::relative(item.modified).c_str());
    return {};
}

std::string App::frees_text(const Item& item) const {
    return I18n::instance().trf("frees %s",
                                ltr(fmt::bytes(std::max<int64_t>(item.frees, 0))).c_str());
}

std::string App::reasons_line(const std::vector<evidence::Reason>& reasons) const {
    // What speaks against deleting is what the user must see; the evidence
    // for it is shown only when nothing does.
    const bool concerns = std::any_of(reasons.begin(), reasons.end(),
                                      [](const evidence::Reason& r) { return r.concern(); });
    const I18n& i18n = I18n::instance();
    std::string out;
    for (const evidence::Reason& r : reasons) {
        if (!r.key || (concerns && !r.concern()))
            continue;
        if (!out.empty())
            out += " · ";
        if (r.count >= 0)
            out += i18n.trf(r.key, ltr(fmt::count(r.count)).c_str());
        else if (!r.arg.empty())
            out += i18n.trf(r.key, ltr(r.arg).c_str());
        else
            out += i18n.tr(r.key);
    }
    return out;
}

// ---------------------------------------------------------------------------
// "Remove manually" page
// ---------------------------------------------------------------------------

void App::draw_manual_list() {
    const RectF c = m_r_content;
    const double x = c.x + MARGIN;
    const double w = c.w - 2 * MARGIN - render::SCROLLBAR;
    const double y0 = c.y + MARGIN - m_scroll;

    // Header: chip, title and the explanation wrapped under the title.
    const double tx = x + HEADER_CHIP + 14;
    const double tw = x + w - tx;
    const std::vector<std::string> lines = wrap_text(
        tr("These are outside this app's reach — usually because it runs in a sandbox. Your file "
           "manager has full access: one click opens the location with the item selected."),
        Font::Body, tw);
    const double header_h = std::max(HEADER_CHIP, 30 + 19.0 * lines.size()) + 22;
    if (y0 + header_h > c.y) {
        draw_icon_chip(Glyph::Folder, rect(x, y0, HEADER_CHIP, HEADER_CHIP), render::DANGER);
        draw_label(truncate_to_width(tr("Remove manually"), Font::Title, tw), Font::Title,
                   rect(tx, y0 + 1, tw, 24), m_palette.text);
        double ly = y0 + 30;
        for (const std::string& line : lines) {
            draw_label(line, Font::Body, rect(tx, ly, tw, 19), m_palette.secondary);
            ly += 19;
        }
    }

    const double cards_top = y0 + header_h;
    const double step = MANUAL_CARD_H + MANUAL_CARD_GAP;
    m_rows = {Act::OpenManualItem, cards_top - c.y + m_scroll, step, MANUAL_CARD_H};
    std::vector<Item> items;
    size_t first = 0, n = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        n = m_manual.size();
        const auto [f, l] = visible_rows(cards_top, step, MANUAL_CARD_H, n, c.y, c.y + c.h);
        first = f;
        items.assign(m_manual.begin() + static_cast<long>(f),
                     m_manual.begin() + static_cast<long>(l));
    }
    if (n == 0) {
        const RectF card = rect(x, cards_top, w, 72);
        fill_round_rect(card, 12, m_palette.bar, 1.0);
        stroke_round_rect(card, 12, m_palette.divider, 1.0, 1.0);
        draw_label_center(truncate_to_width(tr("None found"), Font::BodyBold, w - 32),
                          Font::BodyBold, card, m_palette.secondary);
        m_content_height = cards_top + 72 + MARGIN + m_scroll - c.y;
        return;
    }

    const std::string show = tr("Show in file manager");
    const double button_w = measure_text(show, Font::Body) + 26;
    for (size_t k = 0; k < items.size(); ++k) {
        const Item& it = items[k];
        const size_t i = first + k;
        const RectF card = rect(x, cards_top + static_cast<double>(i) * step, w, MANUAL_CARD_H);
        fill_round_rect(card, 12, m_palette.bar, 1.0);
        stroke_round_rect(card, 12, m_palette.divider, 1.0, 1.0);
        fill_round_rect(rect(card.x + 1, card.y + 10, 4, card.h - 20), 2, render::DANGER, 1.0);

        const RectF b = draw_button(card.x + card.w - 16 - button_w, card.y + (card.h - 30) / 2,
                                    show, false, true);
        add_target(b, Act::OpenManualItem, static_cast<int>(i));

        const double text_x = card.x + 18;
        const double text_w = b.x - 16 - text_x;
        // The reason the deletion gave, as a pill after the name.
        const std::string reason =
            it.detail.empty() ? tr("No access from inside this app") : tr(it.detail.c_str());
        const double pill_w = measure_text(reason, Font::CaptionBold) + 14;
        const std::string name = it.name.empty() ? it.path : it.name;
        const double name_w = std::max(0.0, text_w - pill_w - 10);
        const std::string shown = truncate_to_width(name, Font::BodyBold, name_w);
        const double drawn = draw_label(shown, Font::BodyBold,
                                        rect(text_x, card.y + 11, name_w, 20), m_palette.text);
        if (text_w - drawn - 10 >= pill_w)
            draw_pill(text_x + drawn + 10, card.y + 12, reason, Font::CaptionBold, render::DANGER,
                      0.16);
        draw_label(ltr(truncate_path_middle(it.path, Font::Mono, text_w)), Font::Mono,
                   rect(text_x, card.y + 36, text_w, 16), m_palette.secondary);
    }
    m_content_height =
        cards_top + static_cast<double>(n) * step - MANUAL_CARD_GAP + MARGIN + m_scroll - c.y;
}
