// The keyboard focus: which controls the keyboard can reach, in which
// groups and order, how Tab, arrows, Space and Enter move and act, where
// focus goes when an overlay opens and closes, scrolling the focused
// control into view, and the ring that shows it.
//
// Interface thread only. What each control does when activated is
// App::activate's; this file only decides which control that is. Where a
// control is comes from the frame that drew it (its hit target, the row
// geometry the page recorded), never from a second copy of the layout.
//
// Sections: groups · moving · keys · overlays · scrolling · the ring.

#include "app.h"

#include "activity.h"
#include "app_render_overlay.h"
#include "app_render_shared.h"
#include "i18n.h"
#include "settings.h"

#include <gdk/gdkkeysyms.h>

#include <algorithm>

bool App::focusable(Act act) {
    switch (act) {
    case Act::None:
    case Act::MenuItem:
    case Act::LegendEntry:
        return false;
    default:
        return true;
    }
}

namespace {

const char* tr(const char* text) {
    return I18n::instance().tr(text);
}

using Focus = App::Focus;
using Act = App::Act;

// Where in the groups a control is: group and position, or -1.
struct Place {
    int group = -1;
    int pos = -1;
    bool found() const { return group >= 0; }
};

// A row's "Show in file manager" control belongs to the row: it is found
// where the row's check box is.
Focus row_of(Focus f) {
    if (f.act == Act::RevealItem)
        return {Act::ToggleItem, f.index};
    return f;
}

// Rescan and Cancel take turns in one place of the toolbar: a focus on one
// stays there when a scan starts or ends.
bool same_place(Focus a, Focus b) {
    auto scan_button = [](Act act) { return act == Act::Rescan || act == Act::CancelScan; };
    return a == b || (scan_button(a.act) && scan_button(b.act));
}

Place place_of(const std::vector<App::FocusGroup>& groups, Focus f) {
    const Focus key = row_of(f);
    for (size_t g = 0; g < groups.size(); ++g)
        for (size_t c = 0; c < groups[g].controls.size(); ++c)
            if (same_place(groups[g].controls[c], key))
                return {static_cast<int>(g), static_cast<int>(c)};
    return {};
}

bool is_row(Act act) {
    return act == Act::ToggleItem || act == Act::RevealItem || act == Act::OpenManualItem;
}

bool in_sidebar(Act act) {
    return act == Act::SelectOverview || act == Act::SelectManual || act == Act::SelectCategory;
}

bool in_content(Act act) {
    switch (act) {
    case Act::ToggleItem:
    case Act::RevealItem:
    case Act::OpenManualItem:
    case Act::RevealCategory:
    case Act::SelectAllSafe:
    case Act::SelectNone:
    case Act::SelectOlder:
    case Act::TopConsumer:
        return true;
    default:
        return false;
    }
}

} // namespace

// ---------------------------------------------------------------------------
// Groups
// ---------------------------------------------------------------------------

std::vector<App::FocusGroup> App::focus_groups() {
    std::vector<FocusGroup> out;
    auto group = [&](bool horizontal) -> std::vector<Focus>& {
        out.push_back({{}, horizontal});
        return out.back().controls;
    };

    switch (m_overlay) {
    case Overlay::Dialog: {
        // One row of buttons, in the order they stand left to right.
        std::vector<Focus>& g = group(true);
        for (const DialogButton& b : m_dialog_buttons)
            g.push_back({Act::DialogButton, b.id});
        return out;
    }
    case Overlay::About:
        group(true).push_back({Act::LinkWebsite, 0});
        group(true).push_back({Act::CloseOverlay, 0});
        return out;
    case Overlay::Settings: {
        std::vector<Focus>& theme = group(true);
        for (int t : {render::THEME_AUTO, render::THEME_LIGHT, render::THEME_DARK})
            theme.push_back({Act::SettingsTheme, t});
        std::vector<Focus>& langs = group(true);
        langs.push_back({Act::SettingsLang, render::LANG_AUTO});
        const int n = static_cast<int>(I18n::available().size());
        for (int k = 0; k < n; ++k)
            langs.push_back({Act::SettingsLang, render::LANG_FIRST + k});
        std::vector<Focus>& projects = group(true);
        projects.push_back({Act::ChooseProjects, 0});
        if (!SettingsStore::instance().get().projects_root.empty())
            projects.push_back({Act::ResetProjects, 0});
        std::vector<Focus>& fm = group(true);
        fm.push_back({Act::EditFileManager, 0});
        if (!m_fm_text.empty())
            fm.push_back({Act::ClearFileManager, 0});
        fm.push_back({Act::TestFileManager, 0});
        group(true).push_back({Act::CloseOverlay, 0});
        return out;
    }
    case Overlay::None:
        break;
    }

    std::lock_guard<std::mutex> lock(m_mutex);
    // The toolbar, in the order its buttons read.
    std::vector<Focus>& toolbar = group(true);
    if (m_scanning) {
        if (!m_cleaning)
            toolbar.push_back({Act::CancelScan, 0});
    } else if (!m_cleaning) {
        toolbar.push_back({Act::Rescan, 0});
    }
    toolbar.push_back({Act::AppMenu, 0});
    toolbar.push_back({Act::About, 0});

    std::vector<Focus>& side = group(false);
    side.push_back({Act::SelectOverview, 0});
    if (!m_manual.empty() || m_selection == "__manual__")
        side.push_back({Act::SelectManual, 0});
    for (const VisibleGroup& g : visible_groups())
        for (int idx : g.cats)
            side.push_back({Act::SelectCategory, idx});

    if (m_selection == "__manual__") {
        if (!m_manual.empty()) {
            std::vector<Focus>& rows = group(false);
            for (size_t i = 0; i < m_manual.size(); ++i)
                rows.push_back({Act::OpenManualItem, static_cast<int>(i)});
        }
    } else if (const CatState* cat = current_category()) {
        const int index = static_cast<int>(cat - m_cats.data());
        std::vector<Focus>& buttons = group(true);
        buttons.push_back({Act::RevealCategory, index});
        if (!cat->items.empty()) {
            buttons.push_back({Act::SelectAllSafe, 0});
            buttons.push_back({Act::SelectNone, 0});
            std::vector<Focus>& ages = group(true);
            for (int months : activity::SPANS)
                ages.push_back({Act::SelectOlder, months});
            std::vector<Focus>& rows = group(false);
            for (size_t i = 0; i < cat->items.size(); ++i)
                rows.push_back({Act::ToggleItem, static_cast<int>(i)});
        }
    } else if (m_selection.empty()) {
        // The age buttons, which the overview draws once something was found.
        if (total_reclaimable() > 0) {
            std::vector<Focus>& ages = group(true);
            for (int months : activity::SPANS)
                ages.push_back({Act::SelectOlder, months});
        }
        // The overview's biggest consumers, in the order the last frame drew
        // them (the overview decides which and how many).
        std::vector<Focus> top;
        for (const HitTarget& t : m_targets)
            if (t.act == Act::TopConsumer)
                top.push_back({t.act, t.index});
        if (!top.empty())
            group(false) = std::move(top);
    }

    if (selected_count() > 0 && !m_cleaning)
        group(true).push_back({Act::Clean, 0});
    return out;
}

// ---------------------------------------------------------------------------
// Moving
// ---------------------------------------------------------------------------

void App::focus_on(Focus f) {
    m_focus = f;
    m_focus_visible = true;
    scroll_into_view(f);
    request_redraw();
}

namespace {

// The control a group is entered at: where the user left it, else the one
// that stands for the current state (the page shown, the theme and the
// language chosen), else its first.
// A group is remembered by its first control's act; a page's list of rows
// also by the page, so that another page's list starts at its top.
std::string memory_key(const App::FocusGroup& g, const std::string& selection) {
    const Act act = g.controls.front().act;
    std::string key = std::to_string(static_cast<int>(act));
    if (is_row(act))
        key += "@" + selection;
    return key;
}

Focus entry_of(const App::FocusGroup& g, const std::unordered_map<std::string, Focus>& memory,
               const std::string& selection, const std::vector<CatState>& cats) {
    if (g.controls.empty())
        return {};
    const auto m = memory.find(memory_key(g, selection));
    if (m != memory.end()) {
        const Focus key = row_of(m->second);
        if (std::find(g.controls.begin(), g.controls.end(), key) != g.controls.end())
            return m->second;
    }
    const Settings& s = SettingsStore::instance().get();
    for (const Focus& f : g.controls) {
        switch (f.act) {
        case Act::SelectOverview:
            if (selection.empty())
                return f;
            break;
        case Act::SelectManual:
            if (selection == "__manual__")
                return f;
            break;
        case Act::SelectCategory:
            if (f.index >= 0 && f.index < static_cast<int>(cats.size()) &&
                cats[f.index].def.id == selection)
                return f;
            break;
        case Act::SettingsTheme:
            if ((f.index == render::THEME_LIGHT && s.theme == "light") ||
                (f.index == render::THEME_DARK && s.theme == "dark") ||
                (f.index == render::THEME_AUTO && s.theme != "light" && s.theme != "dark"))
                return f;
            break;
        case Act::SettingsLang: {
            const std::vector<LanguageInfo> langs = I18n::available();
            const int k = f.index - render::LANG_FIRST;
            if ((f.index == render::LANG_AUTO && (s.language.empty() || s.language == "auto")) ||
                (k >= 0 && k < static_cast<int>(langs.size()) && langs[k].code == s.language))
                return f;
            break;
        }
        default:
            break;
        }
    }
    return g.controls.front();
}

} // namespace

// ---------------------------------------------------------------------------
// Keys
// ---------------------------------------------------------------------------

bool App::focus_key(unsigned keyval, GdkModifierType state) {
    focus_follow_overlay();
    const bool ctrl = (state & GDK_CONTROL_MASK) != 0;
    const bool shift = (state & GDK_SHIFT_MASK) != 0;

    // Keys that act on the page whatever has the focus.
    if (ctrl && (keyval == GDK_KEY_a || keyval == GDK_KEY_A)) {
        if (m_overlay != Overlay::None)
            return false;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            CatState* cat = current_category();
            if (!cat)
                return false;
            select_all(*cat);
        }
        request_redraw();
        return true;
    }
    if (keyval == GDK_KEY_Delete || keyval == GDK_KEY_KP_Delete) {
        if (m_overlay != Overlay::None)
            return false;
        confirm_clean();
        request_redraw();
        return true;
    }

    const std::vector<FocusGroup> groups = focus_groups();
    if (groups.empty())
        return false;
    // A focus whose control is gone (a row deleted, a page left) stays on
    // the nearest row of its list, or starts over.
    Place at = place_of(groups, m_focus);
    if (!at.found() && is_row(m_focus.act)) {
        for (size_t g = 0; g < groups.size() && !at.found(); ++g) {
            const std::vector<Focus>& c = groups[g].controls;
            if (!c.empty() && c.front().act == row_of(m_focus).act)
                at = {static_cast<int>(g), static_cast<int>(c.size()) - 1};
        }
        if (at.found())
            m_focus = groups[at.group].controls[at.pos];
    }
    if (!at.found())
        m_focus = {};
    else if (m_focus.act != Act::RevealItem)
        m_focus = groups[at.group].controls[at.pos];

    auto enter = [&](int g) {
        std::lock_guard<std::mutex> lock(m_mutex);
        return entry_of(groups[g], m_focus_memory, m_selection, m_cats);
    };
    auto remember = [&](Focus f) {
        const Place p = place_of(groups, f);
        if (p.found())
            m_focus_memory[memory_key(groups[p.group], m_selection)] = f;
    };
    auto go = [&](Focus f) {
        if (f.empty())
            return;
        focus_on(f);
        remember(f);
    };
    const int n = static_cast<int>(groups.size());

    switch (keyval) {
    case GDK_KEY_Tab:
    case GDK_KEY_ISO_Left_Tab:
    case GDK_KEY_KP_Tab: {
        const int dir = (shift || keyval == GDK_KEY_ISO_Left_Tab) ? -1 : 1;
        if (m_overlay == Overlay::Dialog) {
            // A dialog's buttons are stops of their own, and Tab goes round.
            const std::vector<Focus>& c = groups[0].controls;
            if (c.empty())
                return true;
            const int m = static_cast<int>(c.size());
            const int pos = at.found() ? (at.pos + dir + m) % m : (dir > 0 ? 0 : m - 1);
            go(c[pos]);
            return true;
        }
        int g = at.found() ? at.group + dir : (dir > 0 ? 0 : n - 1);
        // Round the end: to the first group, or inside an overlay back to its
        // own first one, never out of it.
        g = (g % n + n) % n;
        go(enter(g));
        return true;
    }
    default:
        break;
    }

    // Until the keyboard has shown where the focus is (after start-up, and
    // again after a click) the arrows and page keys scroll the page as they
    // always did; Space and Enter still press what a click focused.
    const bool navigation = keyval != GDK_KEY_space && keyval != GDK_KEY_KP_Space &&
                            keyval != GDK_KEY_Return && keyval != GDK_KEY_KP_Enter &&
                            keyval != GDK_KEY_ISO_Enter;
    if (!at.found() || (navigation && !m_focus_visible && m_overlay == Overlay::None))
        return false;
    const FocusGroup& grp = groups[at.group];
    const std::vector<Focus>& c = grp.controls;
    const int m = static_cast<int>(c.size());
    auto move = [&](int delta) {
        const int pos = std::clamp(at.pos + delta, 0, m - 1);
        Focus f = c[pos];
        // Moving up or down a list of entries keeps to the same column.
        if (m_focus.act == Act::RevealItem && f.act == Act::ToggleItem)
            f.act = Act::RevealItem;
        go(f);
    };
    // Left and right read the other way round in a right-to-left language.
    const int forward = m_rtl ? -1 : 1;

    switch (keyval) {
    case GDK_KEY_Up:
    case GDK_KEY_KP_Up:
        move(-1);
        return true;
    case GDK_KEY_Down:
    case GDK_KEY_KP_Down:
        move(1);
        return true;
    case GDK_KEY_Left:
    case GDK_KEY_KP_Left:
    case GDK_KEY_Right:
    case GDK_KEY_KP_Right: {
        const bool right = keyval == GDK_KEY_Right || keyval == GDK_KEY_KP_Right;
        const int dir = right ? forward : -forward;
        if (grp.horizontal) {
            move(dir);
        } else if (is_row(m_focus.act) && m_focus.act != Act::OpenManualItem) {
            // Along an entry's row: its check box, then its "Show in file
            // manager" control.
            go({dir > 0 ? Act::RevealItem : Act::ToggleItem, m_focus.index});
        }
        return true;
    }
    case GDK_KEY_Home:
    case GDK_KEY_KP_Home:
        move(-m);
        return true;
    case GDK_KEY_End:
    case GDK_KEY_KP_End:
        move(m);
        return true;
    case GDK_KEY_Page_Up:
    case GDK_KEY_Page_Down:
    case GDK_KEY_KP_Page_Up:
    case GDK_KEY_KP_Page_Down: {
        const bool down = keyval == GDK_KEY_Page_Down || keyval == GDK_KEY_KP_Page_Down;
        if (grp.horizontal)
            return false;
        // As many rows as one pane holds.
        const bool side = in_sidebar(m_focus.act);
        const double pane = side ? m_r_sidebar.h : m_r_content.h;
        const double step = side ? 52.0 : (m_rows.step > 0 ? m_rows.step : 60.0);
        const int rows = std::max(1, static_cast<int>((pane - 40) / step));
        move(down ? rows : -rows);
        return true;
    }
    case GDK_KEY_space:
    case GDK_KEY_KP_Space:
    case GDK_KEY_Return:
    case GDK_KEY_KP_Enter:
    case GDK_KEY_ISO_Enter: {
        m_focus_visible = true;
        const Focus f = m_focus;
        activate(f.act, f.index);
        focus_follow_overlay();
        return true;
    }
    default:
        return false;
    }
}

// ---------------------------------------------------------------------------
// Overlays
// ---------------------------------------------------------------------------

void App::focus_follow_overlay() {
    if (m_overlay == m_focus_overlay)
        return;
    const Overlay was = m_focus_overlay;
    m_focus_overlay = m_overlay;
    if (m_overlay == Overlay::None) {
        // Back to what opened it; a row that went meanwhile is settled at
        // the next key.
        m_focus = m_focus_return;
        m_focus_return = {};
        if (!m_focus.empty())
            scroll_into_view(m_focus);
        return;
    }
    // One overlay over another (a failed test of the settings' command
    // opens a dialog) keeps the place the first one took the focus from.
    if (was == Overlay::None)
        m_focus_return = m_focus;
    Focus first;
    switch (m_overlay) {
    case Overlay::Dialog: {
        // A destructive confirmation opens on Cancel, so that Enter pressed
        // in haste deletes nothing; other dialogs on their last button.
        const bool destructive = std::any_of(m_dialog_buttons.begin(), m_dialog_buttons.end(),
                                             [](const DialogButton& b) { return b.destructive; });
        for (const DialogButton& b : m_dialog_buttons)
            if (destructive ? b.cancel : true)
                first = {Act::DialogButton, b.id};
        if (destructive && first.empty() && !m_dialog_buttons.empty())
            first = {Act::DialogButton, m_dialog_buttons.back().id};
        break;
    }
    case Overlay::About:
        first = {Act::CloseOverlay, 0};
        break;
    case Overlay::Settings: {
        const std::vector<FocusGroup> groups = focus_groups();
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!groups.empty())
            first = entry_of(groups.front(), {}, m_selection, m_cats);
        break;
    }
    case Overlay::None:
        break;
    }
    m_focus = first;
}

// ---------------------------------------------------------------------------
// Scrolling
// ---------------------------------------------------------------------------

void App::scroll_into_view(Focus f) {
    // A little room around the control, for its ring.
    constexpr double PAD = 8;
    auto fit = [&](double top, double height, double view, double* scroll, double limit) {
        double s = *scroll;
        if (top - PAD < s)
            s = top - PAD;
        else if (top + height + PAD > s + view)
            s = top + height + PAD - view;
        *scroll = std::clamp(s, 0.0, std::max(0.0, limit));
    };

    if (in_sidebar(f.act)) {
        for (const auto& [row, top] : m_sidebar_rows)
            if (row == f)
                fit(top, 46, m_r_sidebar.h, &m_sidebar_scroll, m_sidebar_height - m_r_sidebar.h);
        return;
    }
    if (!in_content(f.act))
        return;
    const double limit = m_content_height - m_r_content.h;
    if (is_row(f.act) && m_rows.act == row_of(f).act && m_rows.step > 0) {
        const double top = m_rows.origin + static_cast<double>(f.index) * m_rows.step;
        fit(top, m_rows.height, m_r_content.h, &m_scroll, limit);
        return;
    }
    // The page's own buttons and the overview's rows: where the last frame
    // drew them; one not drawn lies above what is shown, at the page's top.
    for (const HitTarget& t : m_targets)
        if (t.act == f.act && t.index == f.index) {
            const double top = t.full.y - m_r_content.y + m_scroll;
            fit(top, t.full.h, m_r_content.h, &m_scroll, limit);
            return;
        }
    m_scroll = 0;
}

// ---------------------------------------------------------------------------
// The ring
// ---------------------------------------------------------------------------

void App::draw_focus_ring() {
    if (!m_focus_visible || m_focus.empty() || !m_cr)
        return;
    // In a window the ring follows the window's own focus: it goes when the
    // user works in another window.
    if (m_canvas && !gtk_widget_has_focus(m_canvas))
        return;
    const HitTarget* target = nullptr;
    for (const HitTarget& t : m_targets)
        if (t.act == m_focus.act && t.index == m_focus.index)
            target = &t;
    if (!target)
        return;
    cairo_save(m_cr);
    // Inside a scrolled pane the ring is cut where the pane ends, as the
    // control is.
    if (m_overlay == Overlay::None && (in_sidebar(m_focus.act) || in_content(m_focus.act))) {
        const RectF pane = mirror(in_sidebar(m_focus.act) ? m_r_sidebar : m_r_content);
        cairo_rectangle(m_cr, pane.x, pane.y, pane.w, pane.h);
        cairo_clip(m_cr);
    }
    // Two rings, so that it shows on any background: the text colour
    // outside, the window's colour between it and the control.
    const RectF r = target->full;
    const bool row = is_row(m_focus.act) || in_sidebar(m_focus.act);
    const double radius = row ? 14 : 11;
    Rgb outer, gap;
    const bool ok = hex_to_rgb(m_palette.text, outer) && hex_to_rgb(m_palette.window, gap);
    if (ok) {
        auto ring = [&](double outset, const Rgb& c, double width) {
            const RectF o{static_cast<float>(r.x - outset), static_cast<float>(r.y - outset),
                          static_cast<float>(r.w + 2 * outset),
                          static_cast<float>(r.h + 2 * outset)};
            // The target is where it is on screen, mirrored already.
            cairo_new_path(m_cr);
            round_rect_path(o, radius + outset);
            cairo_set_source_rgba(m_cr, c.r, c.g, c.b, 1.0);
            cairo_set_line_width(m_cr, width);
            cairo_stroke(m_cr);
        };
        ring(1.5, gap, 1.5);
        ring(3.25, outer, 2.0);
    }
    cairo_restore(m_cr);
}

// ---------------------------------------------------------------------------
// Access keys
// ---------------------------------------------------------------------------

std::vector<App::AccessKey> App::access_keys() const {
    std::vector<AccessKey> keys;
    switch (m_overlay) {
    case Overlay::Dialog:
        for (const DialogButton& b : m_dialog_buttons)
            keys.push_back({{Act::DialogButton, b.id}, b.label, 0, 0});
        break;
    case Overlay::About:
    case Overlay::Settings:
        keys.push_back({{Act::CloseOverlay, 0}, tr("Close"), 0, 0});
        break;
    case Overlay::None:
        // The toolbar's buttons, as draw_toolbar labels them.
        if (m_scanning)
            keys.push_back({{Act::CancelScan, 0}, tr("Cancel"), 0, 0});
        else
            keys.push_back({{Act::Rescan, 0}, tr("Rescan"), 0, 0});
        keys.push_back({{Act::AppMenu, 0}, tr("Settings"), 0, 0});
        keys.push_back({{Act::About, 0}, tr("About"), 0, 0});
        break;
    }
    // F5 and Ctrl+R already rescan and Escape closes; the keys still follow
    // the desktop's habit of one Alt key per button.
    std::vector<uint32_t> taken;
    std::vector<AccessKey> out;
    for (AccessKey& k : keys) {
        const char* start = k.label.c_str();
        for (const char* p = start; *p; p = g_utf8_next_char(p)) {
            const gunichar c = g_utf8_get_char_validated(p, -1);
            if (c == static_cast<gunichar>(-1) || c == static_cast<gunichar>(-2))
                break;
            if (!g_unichar_isalnum(c))
                continue;
            const uint32_t lower = g_unichar_tolower(c);
            if (std::find(taken.begin(), taken.end(), lower) != taken.end())
                continue;
            taken.push_back(lower);
            k.byte = static_cast<size_t>(p - start);
            k.ch = lower;
            out.push_back(k);
            break;
        }
    }
    return out;
}

bool App::access_key_pressed(unsigned keyval, GdkModifierType state) {
    if (!(state & GDK_MOD1_MASK) || (state & GDK_CONTROL_MASK))
        return false;
    const uint32_t c = g_unichar_tolower(gdk_keyval_to_unicode(keyval));
    if (c == 0)
        return false;
    for (const AccessKey& k : access_keys())
        if (k.ch == c) {
            // The pressed button takes the focus, as a click would; with
            // the ring, since the keyboard did it.
            m_focus = k.control;
            m_focus_visible = true;
            activate(k.control.act, k.control.index);
            focus_follow_overlay();
            return true;
        }
    return false;
}

void App::draw_access_underline(RectF r, const std::string& label, Font font,
                                const std::string& colour) {
    if (!m_alt_held || !m_cr)
        return;
    size_t byte = std::string::npos;
    for (const AccessKey& k : access_keys())
        if (k.label == label)
            byte = k.byte;
    Rgb c;
    if (byte == std::string::npos || !hex_to_rgb(colour, c))
        return;
    // Where paint_label puts the text when it is centred in r.
    PangoLayout* layout = shared_layout(label, font);
    PangoRectangle logical;
    pango_layout_get_pixel_extents(layout, nullptr, &logical);
    const double tw = logical.width;
    const RectF at =
        mirror({static_cast<float>(r.x + (r.w - tw) * 0.5), r.y, static_cast<float>(tw), r.h});
    const double origin_x = at.x - logical.x;
    const double origin_y = r.y + (r.h - logical.height) * 0.5 - logical.y;
    PangoRectangle pos;
    pango_layout_index_to_pos(layout, static_cast<int>(byte), &pos);
    double x0 = origin_x + pos.x / static_cast<double>(PANGO_SCALE);
    double x1 = x0 + pos.width / static_cast<double>(PANGO_SCALE);
    if (x1 < x0)
        std::swap(x0, x1);
    const double y =
        origin_y + pango_layout_get_baseline(layout) / static_cast<double>(PANGO_SCALE) + 2;
    cairo_new_path(m_cr);
    cairo_set_source_rgba(m_cr, c.r, c.g, c.b, 1.0);
    cairo_rectangle(m_cr, x0, y, x1 - x0, 1.2);
    cairo_fill(m_cr);
}
