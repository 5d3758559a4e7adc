// The settings card: appearance, language, projects folder and the
// file-manager command, each a section with a heading, its controls and, where
// it helps, a hint. What a click on a control does is decided by the input
// code; this file only draws the controls and registers their targets.
//
// The card's height is worked out by running the same section functions
// without drawing first, so the measuring and the drawing cannot disagree.
// Interface thread only, while a frame is drawn.

#include "app.h"
#include "app_render_overlay.h"
#include "app_render_shared.h"

#include "catalog.h"
#include "i18n.h"
#include "paths.h"
#include "settings.h"
#include "shell_ops.h"

#include <algorithm>
#include <cmath>

using render::rect;

namespace {

constexpr double PAD = 24;          // card edge to its contents
constexpr double HEADER = 66;       // card top to the first section
constexpr double HEADING_STEP = 26; // a section's heading to its controls
constexpr double SECTION_GAP = 20;
constexpr double CONTROL_H = 30; // choices, fields and buttons alike
constexpr double CHOICE_H = 32;
constexpr double GRID_ROW = 30;
constexpr double GRID_GAP_X = 8;
constexpr double GRID_GAP_Y = 6;
constexpr double HINT_LINE = 16;

const char* tr(const char* text) {
    return I18n::instance().tr(text);
}

// A selectable choice: the current one is tinted and outlined in the accent
// colour, the others look like ordinary controls.
void draw_choice(App& app, RectF r, const std::string& label, bool selected, bool hovered) {
    const Palette& p = app.m_palette;
    const App::Font font = selected ? App::Font::BodyBold : App::Font::Body;
    if (selected) {
        app.fill_round_rect(r, 8, p.bar, 1.0);
        app.fill_round_rect(r, 8, p.accent, 0.14);
        app.stroke_round_rect(r, 8, p.accent, 1.0, 1.0);
    } else {
        app.fill_round_rect(r, 8, p.control, 1.0);
        if (hovered)
            app.fill_round_rect(r, 8, p.text, 0.05);
        app.stroke_round_rect(r, 8, p.control_edge, 1.0, 1.0);
    }
    const std::string fitted = app.truncate_to_width(label, font, r.w - 16);
    app.draw_label_center(fitted, font, r, p.text);
}

// A text field's frame; the accent outline says the field has the keyboard.
void draw_field(App& app, RectF r, bool focused) {
    const Palette& p = app.m_palette;
    app.fill_round_rect(r, 8, p.window, 1.0);
    if (focused)
        app.stroke_round_rect(r, 8, p.accent, 2.0, 1.0);
    else
        app.stroke_round_rect(r, 8, p.control_edge, 1.0, 1.0);
}

// Lines of a hint wrapped to the width, drawn from y; returns their height.
double hint(App& app, const std::string& text, RectF inner, double y, const std::string& colour,
            bool draw) {
    const std::vector<std::string> lines = app.wrap_text(text, App::Font::Caption, inner.w);
    if (draw)
        for (size_t i = 0; i < lines.size(); ++i)
            app.draw_label(lines[i], App::Font::Caption,
                           rect(inner.x, y + i * HINT_LINE, inner.w, HINT_LINE), colour);
    return static_cast<double>(lines.size()) * HINT_LINE;
}

} // namespace

// ---------------------------------------------------------------------------
// Card
// ---------------------------------------------------------------------------

void App::draw_settings() {
    const double w = std::min(m_width - 60, 640.0);
    const double x = (m_width - w) / 2;
    const RectF inner0 = rect(x + PAD, 0, w - 2 * PAD, 0);

    // One pass to measure, one to draw.
    auto sections = [&](double top, bool draw) {
        RectF inner = inner0;
        double y = top + HEADER;
        double (App::*const parts[])(RectF, double, bool) = {
            &App::draw_settings_appearance, &App::draw_settings_language,
            &App::draw_settings_projects, &App::draw_settings_file_manager};
        bool first = true;
        for (auto part : parts) {
            if (!first) {
                if (draw)
                    draw_hairline(y + SECTION_GAP / 2, inner.x, inner.x + inner.w);
                y += SECTION_GAP;
            }
            first = false;
            inner.y = static_cast<float>(y);
            y += (this->*part)(inner, y, draw);
        }
        return y - top + PAD;
    };
    const double h = sections(0, false);
    const double y = std::max(10.0, (m_height - h) / 2);
    const RectF card = rect(x, y, w, h);
    note_box(FitNote::Kind::Card, tr("Settings"), card);
    m_fit_region = rect(x + PAD, y, w - 2 * PAD, h);
    fill_round_rect(card, 16, m_palette.bar, 1.0);
    stroke_round_rect(card, 16, m_palette.divider, 1.0, 1.0);

    const std::string close = tr("Close");
    const double cw = measure_text(close, Font::Body) + 26;
    const RectF cb = draw_button(x + w - PAD - cw, y + 20, close, false, true);
    draw_access_underline(cb, close, Font::Body, m_palette.text);
    add_target(cb, Act::CloseOverlay, 0);
    const std::string title = tr("Settings");
    draw_label(truncate_to_width(title, Font::Title, w - 2 * PAD - cw - 16), Font::Title,
               rect(x + PAD, y + 22, w - 2 * PAD - cw - 16, 26), m_palette.text);

    sections(y, true);
}

// ---------------------------------------------------------------------------
// Sections
// ---------------------------------------------------------------------------

double App::draw_settings_appearance(RectF inner, double y, bool draw) {
    if (!draw)
        return HEADING_STEP + CHOICE_H;
    draw_label(tr("Appearance"), Font::BodyBold, rect(inner.x, y, inner.w, 20), m_palette.text);
    struct Choice {
        const char* label;
        const char* value;
        int index;
    };
    const Choice choices[] = {{tr_noop("Automatic"), "auto", render::THEME_AUTO},
                              {tr_noop("Light"), "light", render::THEME_LIGHT},
                              {tr_noop("Dark"), "dark", render::THEME_DARK}};
    // Three equal choices, as wide as the widest label needs.
    double cw = 96;
    for (const Choice& c : choices)
        cw = std::max(cw, measure_text(tr(c.label), Font::BodyBold) + 36);
    cw = std::min(cw, (inner.w - 2 * GRID_GAP_X) / 3);
    const std::string& theme = SettingsStore::instance().get().theme;
    double cx = inner.x;
    for (const Choice& c : choices) {
        const RectF r = rect(cx, y + HEADING_STEP, cw, CHOICE_H);
        draw_choice(*this, r, tr(c.label), theme == c.value,
                    m_hover_act == Act::SettingsTheme && m_hover_index == c.index);
        add_target(r, Act::SettingsTheme, c.index);
        cx += cw + GRID_GAP_X;
    }
    return HEADING_STEP + CHOICE_H;
}

double App::draw_settings_language(RectF inner, double y, bool draw) {
    const std::vector<LanguageInfo> langs = I18n::available();
    // The automatic choice takes two cells, so its longer label has room.
    const int cols = inner.w >= 560 ? 4 : (inner.w >= 400 ? 3 : 2);
    const int cells = static_cast<int>(langs.size()) + 2;
    const int rows = (cells + cols - 1) / cols;
    const double height = HEADING_STEP + rows * GRID_ROW + (rows - 1) * GRID_GAP_Y;
    if (!draw)
        return height;

    draw_label(tr("Language"), Font::BodyBold, rect(inner.x, y, inner.w, 20), m_palette.text);
    const double cell_w = (inner.w - (cols - 1) * GRID_GAP_X) / cols;
    const std::string& setting = SettingsStore::instance().get().language;
    std::string system_name = "English";
    const std::string system_code = I18n::detect_system_language();
    for (const LanguageInfo& l : langs)
        if (l.code == system_code)
            system_name = l.native_name;

    int cell = 0;
    auto place = [&](int span) {
        const int row = cell / cols;
        const int col = cell % cols;
        cell += span;
        return rect(inner.x + col * (cell_w + GRID_GAP_X),
                    y + HEADING_STEP + row * (GRID_ROW + GRID_GAP_Y),
                    span * cell_w + (span - 1) * GRID_GAP_X, GRID_ROW);
    };
    auto hovered = [&](int index) {
        return m_hover_act == Act::SettingsLang && m_hover_index == index;
    };

    const RectF auto_r = place(2);
    // The language's own name keeps its own direction inside the sentence
    // (first-strong isolate); in a right-to-left interface a leading mark
    // makes the sentence right to left even when the name comes first.
    const std::string isolated = "\u2068" + system_name + "\u2069";
    std::string auto_label = I18n::instance().trf("%s (system default)", isolated.c_str());
    if (m_rtl)
        auto_label = "\u200F" + auto_label;
    draw_choice(*this, auto_r, auto_label, setting == "auto", hovered(render::LANG_AUTO));
    add_target(auto_r, Act::SettingsLang, render::LANG_AUTO);
    for (size_t k = 0; k < langs.size(); ++k) {
        const int index = render::LANG_FIRST + static_cast<int>(k);
        const RectF r = place(1);
        draw_choice(*this, r, langs[k].native_name, setting == langs[k].code, hovered(index));
        add_target(r, Act::SettingsLang, index);
    }
    return height;
}

double App::draw_settings_projects(RectF inner, double y, bool draw) {
    const std::string hint_text = tr("Where node_modules, venv and build folders are looked for.");
    const double hint_y = y + HEADING_STEP + CONTROL_H + 6;
    const double used = HEADING_STEP + CONTROL_H + 6 +
                        hint(*this, hint_text, inner, hint_y, m_palette.secondary, draw);
    if (!draw)
        return used;

    draw_label(tr("Projects folder"), Font::BodyBold, rect(inner.x, y, inner.w, 20),
               m_palette.text);
    const double row_y = y + HEADING_STEP;
    const std::string choose = tr("Choose …");
    const double choose_w = measure_text(choose, Font::Body) + 26;
    const double field_w = inner.w - choose_w - GRID_GAP_X - CONTROL_H - GRID_GAP_X;

    const std::string& stored = SettingsStore::instance().get().projects_root;
    const std::string folder = stored.empty() ? catalog::projects_root() : stored;
    const RectF field = rect(inner.x, row_y, field_w, CONTROL_H);
    draw_field(*this, field, false);
    draw_label(ltr(truncate_path_middle(folder, Font::Mono, field_w - 20)), Font::Mono,
               rect(field.x + 10, row_y, field_w - 20, CONTROL_H),
               stored.empty() ? m_palette.secondary : m_palette.text);

    const RectF cb = draw_button(field.x + field_w + GRID_GAP_X, row_y, choose, false, true);
    add_target(cb, Act::ChooseProjects, 0);

    // Reset: a square button with an arrow turning back.
    const RectF rb = rect(cb.x + cb.w + GRID_GAP_X, row_y, CONTROL_H, CONTROL_H);
    fill_round_rect(rb, 8, m_palette.control, 1.0);
    if (m_hover_act == Act::ResetProjects)
        fill_round_rect(rb, 8, m_palette.text, 0.05);
    stroke_round_rect(rb, 8, m_palette.control_edge, 1.0, 1.0);
    Rgb c;
    if (hex_to_rgb(stored.empty() ? m_palette.secondary : m_palette.text, c)) {
        const RectF m = mirror(rb);
        cairo_save(m_cr);
        cairo_translate(m_cr, m.x + m.w / 2, m.y + m.h / 2);
        if (m_rtl)
            cairo_scale(m_cr, -1, 1);
        cairo_new_path(m_cr);
        cairo_arc(m_cr, 0, 0, 7, -M_PI * 0.95, M_PI * 0.55);
        cairo_set_source_rgba(m_cr, c.r, c.g, c.b, 1.0);
        cairo_set_line_width(m_cr, 1.6);
        cairo_set_line_cap(m_cr, CAIRO_LINE_CAP_ROUND);
        cairo_stroke(m_cr);
        // The arrow head at the start of the arc, pointing against the turn.
        const double ax = 7 * std::cos(-M_PI * 0.95), ay = 7 * std::sin(-M_PI * 0.95);
        cairo_move_to(m_cr, ax - 3.5, ay - 3.5);
        cairo_line_to(m_cr, ax, ay);
        cairo_line_to(m_cr, ax + 3.8, ay - 2.2);
        cairo_set_line_join(m_cr, CAIRO_LINE_JOIN_ROUND);
        cairo_stroke(m_cr);
        cairo_restore(m_cr);
    }
    add_target(rb, Act::ResetProjects, 0);
    return used;
}

double App::draw_settings_file_manager(RectF inner, double y, bool draw) {
    // The hint shows "%s" itself: it is what the user types for the path.
    const std::string hint_text =
        I18n::instance().trf("Empty uses the system default. %s becomes the path.", "%s");
    const double hint_y = y + HEADING_STEP + CONTROL_H + 6;
    double used = HEADING_STEP + CONTROL_H + 6 +
                  hint(*this, hint_text, inner, hint_y, m_palette.secondary, draw);
    // Inside a Snap the command cannot start anything; say so under the hint.
    if (running_in_snap())
        used += 4 + hint(*this,
                         tr("Has no effect in the Snap — the sandbox cannot start other "
                            "programs."),
                         inner, y + used + 4, m_palette.warn_fg, draw);
    if (!draw)
        return used;

    draw_label(tr("File manager"), Font::BodyBold, rect(inner.x, y, inner.w, 20), m_palette.text);
    const double row_y = y + HEADING_STEP;
    const std::string test = tr("Test");
    const double test_w = measure_text(test, Font::Body) + 26;
    const double field_w = inner.w - test_w - GRID_GAP_X;
    const RectF field = rect(inner.x, row_y, field_w, CONTROL_H);
    draw_field(*this, field, m_fm_editing);
    add_target(field, Act::EditFileManager, 0);

    // The clear control sits inside the field's far end whenever there is
    // something to clear, in the field or in the settings.
    const bool clearable =
        !m_fm_text.empty() || !SettingsStore::instance().get().file_manager_command.empty();
    const double text_w = field_w - 20 - (clearable ? 24 : 0);
    const RectF text_r = rect(field.x + 10, row_y, text_w, CONTROL_H);

    if (m_fm_editing) {
        // The command keeps its left-to-right order in every language; when it
        // is wider than the field it slides so the caret stays in view.
        const size_t caret = std::min(m_fm_caret, m_fm_text.size());
        const double full_w = measure_text(m_fm_text, Font::Mono);
        const double caret_off = measure_text(m_fm_text.substr(0, caret), Font::Mono);
        const RectF box = mirror(text_r); // canvas coordinates
        double start;
        if (full_w <= text_w)
            start = m_rtl ? box.x + box.w - full_w : box.x;
        else
            start = box.x - std::max(0.0, caret_off - (text_w - 2));
        // Back to layout coordinates, where the primitives expect them.
        auto layout_x = [&](double canvas_x, double width) {
            return m_rtl ? m_width - canvas_x - width : canvas_x;
        };
        cairo_save(m_cr);
        cairo_rectangle(m_cr, box.x - 1, box.y, box.w + 2, box.h);
        cairo_clip(m_cr);
        draw_label(ltr(m_fm_text), Font::Mono,
                   rect(layout_x(start, full_w), row_y, full_w, CONTROL_H), m_palette.text);
        const double ch = font_height(Font::Mono) + 2;
        fill_rect(rect(layout_x(start + caret_off, 1.5), row_y + (CONTROL_H - ch) / 2, 1.5, ch),
                  m_palette.text, 1.0);
        cairo_restore(m_cr);
    } else if (!m_fm_text.empty()) {
        draw_label(ltr(truncate_to_width(m_fm_text, Font::Mono, text_w)), Font::Mono, text_r,
                   m_palette.text);
    } else {
        // An empty field stands for the file manager found on this desktop.
        if (!m_fm_detected_valid) {
            m_fm_detected = shell_ops::detect_file_manager();
            m_fm_detected_valid = true;
        }
        if (!m_fm_detected.empty())
            draw_label(ltr(truncate_to_width(m_fm_detected, Font::Mono, text_w)), Font::Mono,
                       text_r, m_palette.secondary);
    }

    if (clearable) {
        const RectF xb = rect(field.x + field_w - 28, row_y + 4, 22, 22);
        if (m_hover_act == Act::ClearFileManager)
            fill_round_rect(xb, 11, m_palette.text, 0.08);
        Rgb c;
        if (hex_to_rgb(m_palette.secondary, c)) {
            const RectF m = mirror(xb);
            const double cx = m.x + m.w / 2, cy = m.y + m.h / 2;
            cairo_new_path(m_cr);
            cairo_move_to(m_cr, cx - 4, cy - 4);
            cairo_line_to(m_cr, cx + 4, cy + 4);
            cairo_move_to(m_cr, cx + 4, cy - 4);
            cairo_line_to(m_cr, cx - 4, cy + 4);
            cairo_set_source_rgba(m_cr, c.r, c.g, c.b, 1.0);
            cairo_set_line_width(m_cr, 1.6);
            cairo_set_line_cap(m_cr, CAIRO_LINE_CAP_ROUND);
            cairo_stroke(m_cr);
        }
        add_target(xb, Act::ClearFileManager, 0);
    }

    const RectF tb = draw_button(field.x + field_w + GRID_GAP_X, row_y, test, false, true);
    add_target(tb, Act::TestFileManager, 0);
    return used;
}
