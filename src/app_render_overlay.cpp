// The overlays' frame and two of their cards: the dimmed backdrop that makes
// an overlay modal, the message card of show_dialog() with its buttons, and
// the about card with the application icon. The settings card is in
// app_render_settings.cpp.
//
// Interface thread only, while a frame is drawn; rectangles are in
// left-to-right coordinates and the primitives mirror them.

#include "app_render_overlay.h"
#include "app.h"
#include "app_render_shared.h"

#include "i18n.h"
#include "icon_data.h"

#include <cairo.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

using render::rect;

namespace {

const char* tr(const char* text) {
    return I18n::instance().tr(text);
}

// A set environment variable with something in it, else empty.
std::string env_value(const char* name) {
    const char* v = std::getenv(name);
    return v ? std::string(v) : std::string();
}

// Feeds the embedded PNG to cairo's reader piece by piece.
struct PngReader {
    const unsigned char* data;
    size_t size;
    size_t pos;
};

cairo_status_t read_png(void* closure, unsigned char* out, unsigned int length) {
    PngReader* r = static_cast<PngReader*>(closure);
    if (r->size - r->pos < length)
        return CAIRO_STATUS_READ_ERROR;
    std::memcpy(out, r->data + r->pos, length);
    r->pos += length;
    return CAIRO_STATUS_SUCCESS;
}

// The application icon, decoded once and kept for the life of the process;
// null if the embedded bytes do not decode.
cairo_surface_t* app_icon() {
    static cairo_surface_t* icon = [] {
        PngReader reader{icon_data::PNG, icon_data::PNG_SIZE, 0};
        cairo_surface_t* s = cairo_image_surface_create_from_png_stream(read_png, &reader);
        if (cairo_surface_status(s) != CAIRO_STATUS_SUCCESS) {
            cairo_surface_destroy(s);
            return static_cast<cairo_surface_t*>(nullptr);
        }
        return s;
    }();
    return icon;
}

} // namespace

std::string render::about_snap_line() {
    const std::string version = env_value("SNAP_VERSION");
    if (version.empty())
        return "";
    const std::string revision = env_value("SNAP_REVISION");
    const I18n& i18n = I18n::instance();
    if (revision.empty())
        return i18n.trf("Snap %s", version.c_str());
    return i18n.trf("Snap %s (Revision %s)", version.c_str(), revision.c_str());
}

// ---------------------------------------------------------------------------
// Backdrop
// ---------------------------------------------------------------------------

void App::draw_overlay() {
    // Only the overlay's own targets exist while it is open: clicks on the
    // window behind it land on the backdrop and close it.
    m_targets.clear();
    const RectF all = rect(0, 0, m_width, m_height);
    fill_rect(all, "#000000", render::BACKDROP_ALPHA);
    add_target(all, Act::CloseOverlay, 0);
    switch (m_overlay) {
    case Overlay::About:
        draw_about();
        break;
    case Overlay::Settings:
        draw_settings();
        break;
    case Overlay::Dialog:
        draw_dialog();
        break;
    case Overlay::None:
        break;
    }
}

// ---------------------------------------------------------------------------
// Dialog
// ---------------------------------------------------------------------------

void App::draw_dialog() {
    const render::DialogWidth dw = render::dialog_width(m_width);
    const std::vector<std::string> lines = wrap_text(m_dialog_message, Font::Body, dw.text);
    const double card_h = render::dialog_height(lines.size());
    const double x = (m_width - dw.card) / 2;
    const double y = (m_height - card_h) / 2;
    const RectF card = rect(x, y, dw.card, card_h);
    note_box(FitNote::Kind::Card, m_dialog_title, card);
    // Everything in the card keeps its 24-pixel margin.
    m_fit_region = rect(x + 24, y, dw.text, card_h);
    fill_round_rect(card, 16, m_palette.bar, 1.0);
    stroke_round_rect(card, 16, m_palette.divider, 1.0, 1.0);

    draw_label(truncate_to_width(m_dialog_title, Font::Title, dw.text), Font::Title,
               rect(x + 24, y + 22, dw.text, 26), m_palette.text);
    double ly = y + 58;
    for (const std::string& line : lines) {
        draw_label(line, Font::Body, rect(x + 24, ly, dw.text, 20), m_palette.secondary);
        ly += 20;
    }

    // From the right: the last button stands rightmost.
    double right = x + dw.card - 24;
    for (auto it = m_dialog_buttons.rbegin(); it != m_dialog_buttons.rend(); ++it) {
        const double bw = measure_text(it->label, Font::Body) + 34;
        const RectF b = rect(right - bw, y + card_h - 48, bw, 34);
        note_box(FitNote::Kind::Button, it->label, b);
        const bool hovered = mirror(b).contains(m_mouse_x, m_mouse_y);
        if (it->destructive) {
            fill_round_rect_gradient(b, 9, render::BRAND, render::BRAND_END, 1.0);
            if (hovered)
                fill_round_rect(b, 9, "#FFFFFF", 0.12);
            draw_label_center(it->label, Font::Body, b, "#FFFFFF");
        } else {
            fill_round_rect(b, 9, m_palette.control, 1.0);
            if (hovered)
                fill_round_rect(b, 9, m_palette.text, 0.05);
            stroke_round_rect(b, 9, m_palette.control_edge, 1.0, 1.0);
            draw_label_center(it->label, Font::Body, b, m_palette.text);
        }
        draw_access_underline(b, it->label, Font::Body,
                              it->destructive ? "#FFFFFF" : m_palette.text);
        add_target(b, Act::DialogButton, it->id);
        right = b.x - 10;
    }
}

// ---------------------------------------------------------------------------
// About
// ---------------------------------------------------------------------------

void App::draw_about() {
    const std::string snap = render::about_snap_line();
    const RectF card = render::about_card(m_width, m_height, !snap.empty());
    note_box(FitNote::Kind::Card, "Quillet", card);
    m_fit_region = rect(card.x + 24, card.y, card.w - 48, card.h);
    fill_round_rect(card, 16, m_palette.bar, 1.0);
    stroke_round_rect(card, 16, m_palette.divider, 1.0, 1.0);

    // The icon, 72 by 72 in a rounded square.
    const RectF icon_r = mirror(rect(card.x + (card.w - 72) * 0.5, card.y + 26, 72, 72));
    if (cairo_surface_t* icon = app_icon()) {
        const int iw = cairo_image_surface_get_width(icon);
        const int ih = cairo_image_surface_get_height(icon);
        if (iw > 0 && ih > 0) {
            cairo_save(m_cr);
            cairo_new_path(m_cr);
            round_rect_path(icon_r, 16);
            cairo_clip(m_cr);
            cairo_translate(m_cr, icon_r.x, icon_r.y);
            cairo_scale(m_cr, 72.0 / iw, 72.0 / ih);
            cairo_set_source_surface(m_cr, icon, 0, 0);
            cairo_pattern_set_filter(cairo_get_source(m_cr), CAIRO_FILTER_GOOD);
            cairo_paint(m_cr);
            cairo_restore(m_cr);
        }
    }

    const double x = card.x, w = card.w;
    double y = card.y + 26 + 72 + 16;
    draw_label_center("Quillet", Font::Title, rect(x, y, w, 26), m_palette.text);
    y += 30;
    const std::string version =
        I18n::instance().trf("Version %s (Build %s)", render::ABOUT_VERSION, render::ABOUT_BUILD);
    draw_label_center(truncate_to_width(version, Font::Caption, w - 48), Font::Caption,
                      rect(x, y, w, 20), m_palette.secondary);
    if (!snap.empty()) {
        y += 20;
        draw_label_center(truncate_to_width(snap, Font::Caption, w - 48), Font::Caption,
                          rect(x, y, w, 20), m_palette.secondary);
    }
    y += 26;
    draw_label_center(render::ABOUT_AUTHOR, Font::Body, rect(x, y, w, 20), m_palette.text);
    y += 22;
    draw_label_center(render::ABOUT_MAKER, Font::Body, rect(x, y, w, 20), m_palette.text);
    y += 22;
    draw_label_center(render::ABOUT_COPYRIGHT, Font::Caption, rect(x, y, w, 20),
                      m_palette.secondary);
    y += 24;

    // The web address is a link: its own text's rectangle is the target.
    const std::string site = ltr(render::WEBSITE);
    const double sw = measure_text(site, Font::Body);
    const RectF link = rect(x + (w - sw) * 0.5, y, sw, 20);
    const bool link_hovered = m_hover_act == Act::LinkWebsite;
    const std::string link_colour = mix_hex(m_palette.accent, m_palette.text, 0.75);
    draw_label(site, Font::Body, link, link_colour);
    if (link_hovered)
        fill_rect(rect(link.x, link.y + 17, link.w, 1), link_colour, 1.0);
    add_target(link, Act::LinkWebsite, 0);
    y += 24;
    draw_label_center(ltr(render::CONTACT), Font::Caption, rect(x, y, w, 20), m_palette.secondary);

    const std::string close = tr("Close");
    const double bw = measure_text(close, Font::Body) + 34;
    const RectF b = rect(x + (w - bw) * 0.5, card.y + card.h - 46, bw, 34);
    note_box(FitNote::Kind::Button, close, b);
    fill_round_rect_gradient(b, 9, render::BRAND, render::BRAND_END, 1.0);
    if (mirror(b).contains(m_mouse_x, m_mouse_y))
        fill_round_rect(b, 9, "#FFFFFF", 0.12);
    draw_label_center(close, Font::Body, b, "#FFFFFF");
    draw_access_underline(b, close, Font::Body, "#FFFFFF");
    add_target(b, Act::CloseOverlay, 0);
}
