// Pointer and keyboard: what a click on each kind of target does, hover,
// scrolling of the two panes, the keys, and the in-canvas text field for the
// file-manager command on the settings page.
//
// Clicks resolve against the targets of the last frame. Handlers hold
// m_mutex while they change what a worker may also touch (categories, ticks,
// the manual list) and let it go around anything that can block: the folder
// chooser, the file manager, applying the theme.
//
// Sections: hit testing and hover · clicks · scrolling · keys · the command field.

#include "app.h"

#include "catalog.h"
#include "i18n.h"
#include "paths.h"
#include "settings.h"
#include "shell_ops.h"

#include <gdk/gdkkeysyms.h>

#include <algorithm>
#include <ctime>

namespace {

constexpr std::size_t FM_MAX_BYTES = 300;

bool is_continuation(unsigned char c) {
    return c >= 128 && c <= 191;
}

// The UTF-8 encoding of one code point.
std::string utf8_of(uint32_t cp) {
    std::string out;
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
    return out;
}

std::string trim_blanks(const std::string& s) {
    std::size_t a = 0;
    std::size_t b = s.size();
    while (a < b && (s[a] == ' ' || s[a] == '\t'))
        ++a;
    while (b > a && (s[b - 1] == ' ' || s[b - 1] == '\t'))
        --b;
    return s.substr(a, b - a);
}

} // namespace

// ---------------------------------------------------------------------------
// Hit testing and hover
// ---------------------------------------------------------------------------

const App::HitTarget* App::target_at(double x, double y) const {
    const HitTarget* found = nullptr;
    for (const HitTarget& t : m_targets)
        if (t.rect.contains(x, y))
            found = &t;
    return found;
}

void App::on_motion(double x, double y) {
    m_mouse_x = x;
    m_mouse_y = y;
    const HitTarget* t = target_at(x, y);
    const Act act = t ? t->act : Act::None;
    const int index = t ? t->index : 0;
    if (act == m_hover_act && index == m_hover_index && act != Act::LegendEntry &&
        m_highlight_group < 0)
        return;
    m_hover_act = act;
    m_hover_index = index;
    request_redraw();
}

// ---------------------------------------------------------------------------
// Clicks
// ---------------------------------------------------------------------------

void App::rescan_if_idle() {
    // A rescan replaces the results a deletion is still working from, and a
    // running scan is restarted by the same call; neither happens twice.
    if (m_scanning || m_cleaning)
        return;
    start_scan();
}

void App::open_settings() {
    m_fm_text = SettingsStore::instance().get().file_manager_command;
    m_fm_editing = false;
    m_fm_detected_valid = false;
    m_fm_caret = m_fm_text.size();
    m_overlay = Overlay::Settings;
}

void App::on_click(double x, double y, bool right) {
    (void)right; // every clickable thing acts the same for either button
    const HitTarget* t = target_at(x, y);
    if (!t)
        return;
    // A click puts the keyboard focus where it landed, as toolkit widgets
    // do, but shows no ring: the ring is for keyboard use only.
    if (focusable(t->act))
        m_focus = {t->act, t->index};
    m_focus_visible = false;
    activate(t->act, t->index);
}

void App::activate(Act act, int index) {
    Settings& settings = SettingsStore::instance().mutable_get();
    std::string reveal; // a path to show once the lock is released
    switch (act) {
    case Act::SelectOverview:
        m_selection.clear();
        m_scroll = 0;
        break;
    case Act::SelectCategory:
    case Act::TopConsumer: {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (index >= 0 && index < static_cast<int>(m_cats.size())) {
            m_selection = m_cats[index].def.id;
            m_scroll = 0;
        }
        break;
    }
    case Act::SelectManual:
        m_selection = "__manual__";
        m_scroll = 0;
        break;
    case Act::OpenManualItem: {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (index >= 0 && index < static_cast<int>(m_manual.size()))
            reveal = m_manual[index].path;
        break;
    }
    case Act::Rescan:
        rescan_if_idle();
        break;
    case Act::CancelScan:
        m_cancel = true;
        break;
    case Act::AppMenu:
        if (m_overlay == Overlay::Settings)
            m_overlay = Overlay::None;
        else
            open_settings();
        break;
    case Act::SettingsTheme:
        settings.theme = index == 101 ? "light" : index == 102 ? "dark" : "auto";
        SettingsStore::instance().save();
        apply_theme();
        break;
    case Act::SettingsLang: {
        const std::vector<LanguageInfo> langs = I18n::available();
        std::string code;
        if (index == 200)
            code = "auto";
        else if (index > 200 && index - 201 < static_cast<int>(langs.size()))
            code = langs[index - 201].code;
        if (!code.empty()) {
            settings.language = code;
            SettingsStore::instance().save();
            I18n::instance().set_language(code);
        }
        break;
    }
    case Act::ResetProjects:
        settings.projects_root.clear();
        SettingsStore::instance().save();
        catalog::set_projects_root("");
        rescan_if_idle();
        break;
    case Act::ChooseProjects: {
        const std::string chosen =
            m_window ? shell_ops::pick_folder(GTK_WINDOW(m_window)) : std::string();
        if (!chosen.empty()) {
            settings.projects_root = chosen;
            SettingsStore::instance().save();
            // The new folder is searched at once, as after a reset.
            catalog::set_projects_root(chosen);
            rescan_if_idle();
        }
        break;
    }
    case Act::EditFileManager:
        fm_begin_edit();
        break;
    case Act::ClearFileManager:
        m_fm_text.clear();
        m_fm_caret = 0;
        m_fm_editing = false;
        settings.file_manager_command.clear();
        SettingsStore::instance().save();
        break;
    case Act::TestFileManager:
        fm_commit();
        if (!shell_ops::reveal_in_file_manager(real_home()))
            explain_file_manager_test_failed();
        break;
    case Act::About:
        m_overlay = Overlay::About;
        break;
    case Act::LinkWebsite:
        shell_ops::open_url(WEBSITE);
        break;
    case Act::ToggleItem: {
        std::lock_guard<std::mutex> lock(m_mutex);
        CatState* cat = current_category();
        if (cat && index >= 0 && index < static_cast<int>(cat->items.size()))
            cat->items[index].selected = !cat->items[index].selected;
        break;
    }
    case Act::SelectAllSafe: {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (CatState* cat = current_category())
            select_all_safe(*cat);
        break;
    }
    case Act::SelectOlder: {
        const time_t now = time(nullptr);
        std::lock_guard<std::mutex> lock(m_mutex);
        if (CatState* cat = current_category())
            select_safe_older_than(*cat, index, now);
        else if (m_selection.empty())
            for (CatState& c : m_cats)
                select_safe_older_than(c, index, now);
        break;
    }
    case Act::SelectNone: {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (CatState* cat = current_category())
            select_none(*cat);
        break;
    }
    case Act::RevealItem: {
        std::lock_guard<std::mutex> lock(m_mutex);
        const CatState* cat = current_category();
        if (cat && index >= 0 && index < static_cast<int>(cat->items.size()))
            reveal = cat->items[index].path;
        break;
    }
    case Act::RevealCategory: {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (index >= 0 && index < static_cast<int>(m_cats.size()))
            reveal = m_cats[index].def.path;
        break;
    }
    case Act::Clean:
        confirm_clean();
        break;
    case Act::LegendEntry:
        m_highlight_group = (m_highlight_group == index) ? -1 : index;
        break;
    case Act::DialogButton:
        press_dialog_button(index);
        break;
    case Act::CloseOverlay:
        fm_commit();
        m_overlay = Overlay::None;
        break;
    case Act::None:
    case Act::MenuItem:
        break;
    }
    if (!reveal.empty())
        reveal_or_explain(reveal);
    request_redraw();
}

void App::press_dialog_button(int id) {
    m_overlay = Overlay::None;
    switch (id) {
    case 3:
        m_selection = "__manual__";
        m_scroll = 0;
        break;
    case 2: {
        std::string first;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (!m_failed_paths.empty())
                first = m_failed_paths.front();
        }
        if (!first.empty())
            reveal_or_explain(first);
        break;
    }
    case 1:
        // A worker that has finished but was not yet collected by the poll
        // is collected here, so the deletion never waits for a poll tick.
        if (m_worker.joinable() && !m_worker_running)
            finish_worker();
        // A scan still running (F5 works behind the dialog): the deletion
        // waits for it instead of deleting from results being replaced. The
        // interface shows it as running from now on.
        if (!start_clean()) {
            m_clean_queued = true;
            m_cleaning = true;
        }
        break;
    default:
        break;
    }
}

// ---------------------------------------------------------------------------
// Scrolling
// ---------------------------------------------------------------------------

void App::scroll_by(double step) {
    const double limit = std::max(0.0, m_content_height - m_r_content.h);
    m_scroll = std::clamp(m_scroll + step, 0.0, limit);
}

void App::scroll_at(double x, double y, double step) {
    // The sidebar is drawn mirrored in right-to-left mode, so the pointer is
    // tested against where it is on screen.
    RectF side = m_r_sidebar;
    if (m_rtl)
        side.x = static_cast<float>(m_width - side.x - side.w);
    if (side.contains(x, y)) {
        const double limit = std::max(0.0, m_sidebar_height - m_r_sidebar.h);
        m_sidebar_scroll = std::clamp(m_sidebar_scroll + step, 0.0, limit);
    } else {
        scroll_by(step);
    }
    request_redraw();
}

// ---------------------------------------------------------------------------
// Keys
// ---------------------------------------------------------------------------

void App::on_key(unsigned keyval, GdkModifierType state) {
    if (access_key_pressed(keyval, state)) {
        request_redraw();
        return;
    }
    const bool tab =
        keyval == GDK_KEY_Tab || keyval == GDK_KEY_ISO_Left_Tab || keyval == GDK_KEY_KP_Tab;
    if (m_fm_editing && m_overlay == Overlay::Settings && fm_key(keyval, state)) {
        request_redraw();
        // Tab ends the edit and goes on to the next control.
        if (!tab)
            return;
    }
    const bool ctrl = (state & GDK_CONTROL_MASK) != 0;
    if (keyval == GDK_KEY_Escape) {
        if (m_overlay != Overlay::None) {
            fm_commit(); // an edit in progress is kept, not thrown away
            m_overlay = Overlay::None;
            request_redraw();
        }
        return;
    }
    if (keyval == GDK_KEY_F5 || (ctrl && (keyval == GDK_KEY_r || keyval == GDK_KEY_R))) {
        // Not while a deletion runs: a rescan would wait for it on this thread.
        if (!m_cleaning)
            start_scan();
        request_redraw();
        return;
    }
    if (focus_key(keyval, state)) {
        request_redraw();
        return;
    }
    const double page = std::max(80.0, m_r_content.h - 60.0);
    switch (keyval) {
    case GDK_KEY_Up:
        scroll_by(-60);
        break;
    case GDK_KEY_Down:
        scroll_by(60);
        break;
    case GDK_KEY_Page_Up:
        scroll_by(-page);
        break;
    case GDK_KEY_Page_Down:
        scroll_by(page);
        break;
    case GDK_KEY_Home:
        m_scroll = 0;
        break;
    default:
        return;
    }
    request_redraw();
}

// ---------------------------------------------------------------------------
// The file-manager command field
// ---------------------------------------------------------------------------

void App::fm_begin_edit() {
    m_fm_editing = true;
    m_fm_caret = m_fm_text.size();
}

void App::fm_commit() {
    if (!m_fm_editing)
        return;
    m_fm_editing = false;
    std::string text = trim_blanks(m_fm_text);
    if (!text.empty() && !settings_util::valid_file_manager_command(text))
        text.clear();
    m_fm_text = text;
    m_fm_caret = m_fm_text.size();
    Settings& settings = SettingsStore::instance().mutable_get();
    if (settings.file_manager_command != text) {
        settings.file_manager_command = text;
        SettingsStore::instance().save();
    }
}

void App::fm_paste(const std::string& clip) {
    m_fm_caret = std::min(m_fm_caret, m_fm_text.size());
    for (char ch : clip) {
        const unsigned char c = static_cast<unsigned char>(ch);
        if (c == '\r' || c == '\n')
            break;
        if (c == '"' || c == '\\' || c < 32)
            continue;
        if (m_fm_text.size() >= FM_MAX_BYTES)
            break;
        m_fm_text.insert(m_fm_caret, 1, ch);
        ++m_fm_caret;
    }
}

bool App::fm_key(unsigned keyval, GdkModifierType state) {
    m_fm_caret = std::min(m_fm_caret, m_fm_text.size());
    const bool ctrl = (state & GDK_CONTROL_MASK) != 0;
    switch (keyval) {
    case GDK_KEY_BackSpace:
        if (m_fm_caret > 0) {
            std::size_t start = m_fm_caret - 1;
            while (start > 0 && is_continuation(static_cast<unsigned char>(m_fm_text[start])))
                --start;
            m_fm_text.erase(start, m_fm_caret - start);
            m_fm_caret = start;
        }
        return true;
    case GDK_KEY_Delete:
        if (m_fm_caret < m_fm_text.size()) {
            std::size_t end = m_fm_caret + 1;
            while (end < m_fm_text.size() &&
                   is_continuation(static_cast<unsigned char>(m_fm_text[end])))
                ++end;
            m_fm_text.erase(m_fm_caret, end - m_fm_caret);
        }
        return true;
    case GDK_KEY_Tab:
    case GDK_KEY_Return:
    case GDK_KEY_KP_Enter:
    case GDK_KEY_Escape:
        fm_commit();
        return true;
    case GDK_KEY_Home:
        m_fm_caret = 0;
        return true;
    case GDK_KEY_End:
        m_fm_caret = m_fm_text.size();
        return true;
    case GDK_KEY_Left:
        if (m_fm_caret > 0) {
            --m_fm_caret;
            while (m_fm_caret > 0 &&
                   is_continuation(static_cast<unsigned char>(m_fm_text[m_fm_caret])))
                --m_fm_caret;
        }
        return true;
    case GDK_KEY_Right:
        if (m_fm_caret < m_fm_text.size()) {
            ++m_fm_caret;
            while (m_fm_caret < m_fm_text.size() &&
                   is_continuation(static_cast<unsigned char>(m_fm_text[m_fm_caret])))
                ++m_fm_caret;
        }
        return true;
    default:
        break;
    }
    if (ctrl && (keyval == GDK_KEY_v || keyval == GDK_KEY_V)) {
        if (m_window) {
            GtkClipboard* clipboard = gtk_clipboard_get(GDK_SELECTION_CLIPBOARD);
            if (gchar* text = gtk_clipboard_wait_for_text(clipboard)) {
                fm_paste(text);
                g_free(text);
            }
        }
        return true;
    }
    const uint32_t cp = gdk_keyval_to_unicode(keyval);
    if (cp < 32 || cp == 127 || cp == '"' || cp == '\\')
        return false;
    const std::string bytes = utf8_of(cp);
    if (m_fm_text.size() + bytes.size() <= FM_MAX_BYTES) {
        m_fm_text.insert(m_fm_caret, bytes);
        m_fm_caret += bytes.size();
    }
    return true;
}
