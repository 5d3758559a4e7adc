// What the window shows, written to a file after every frame when the
// QUILLET_STATE_FILE environment variable names one; otherwise nothing.
//
// The end-to-end tests drive the real program through the X server: they
// read here where each clickable thing was drawn (the hit targets of the
// frame on screen), which categories and entries the lists hold, and what
// the footer says, and compare that with the disk. A person never sets the
// variable; the program pays one getenv at start-up for it.
//
// One record per line, fields separated by tabs; a tab, a line feed or a
// backslash inside a field is written as \t, \n or \\. Records:
//   state   key=value fields (scanning, cleaning, overlay, selection, ...)
//   target  act index x y w h           (canvas pixels, as hit-tested)
//   cat     index id total_bytes entries did_scan
//   item    index path selected size safety reasons
//                                       (the open category's entries; safety
//                                        0 Safe, 1 Caution, 2 Risky; reasons
//                                        as the row's line shows them)
//   manual  index path detail           (the "Remove manually" list)
//   lang    index code                  (the languages the settings offer)
//   pane    name x y w h                (toolbar, sidebar, content, footer;
//                                        canvas pixels, already mirrored)
//
// Written to a temporary name and renamed, so a reader never sees half a
// frame; a write that fails leaves the last whole frame and no temporary
// file. Interface thread only.

#include "app.h"

#include "i18n.h"
#include "settings.h"

#include <cstdio>
#include <sstream>
#include <utility>

namespace {

std::string field(const std::string& s) {
    std::string out;
    out.reserve(s.size());
    for (char c : s) {
        if (c == '\t')
            out += "\\t";
        else if (c == '\n')
            out += "\\n";
        else if (c == '\\')
            out += "\\\\";
        else
            out += c;
    }
    return out;
}

} // namespace

void App::write_state_file() {
    if (m_state_file.empty())
        return;
    std::ostringstream out;
    out.precision(10);
    const Settings& settings = SettingsStore::instance().get();
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        out << "state\tscanning=" << (m_scanning ? 1 : 0) << "\tcleaning=" << (m_cleaning ? 1 : 0)
            << "\tscans=" << m_scans_started << "\toverlay=" << static_cast<int>(m_overlay)
            << "\tselection=" << field(m_selection) << "\tscroll=" << m_scroll
            << "\tcontent_height=" << m_content_height << "\tpane_height=" << m_r_content.h
            << "\tselected_count=" << selected_count() << "\tselected_size=" << selected_size()
            << "\tfreed=" << m_freed_bytes << "\tgained=" << m_gained_bytes
            << "\tstatus=" << field(m_status_failed ? m_status_message : status_text())
            << "\trtl=" << (m_rtl ? 1 : 0) << "\ttheme=" << field(settings.theme)
            << "\tlanguage=" << field(I18n::instance().effective_language())
            << "\tfm_text=" << field(m_fm_text) << "\tfm_editing=" << (m_fm_editing ? 1 : 0)
            << "\twidth=" << m_width << "\theight=" << m_height
            << "\tsidebar_scroll=" << m_sidebar_scroll << "\n";
        // Rows cut by a pane's edge keep their whole rectangle as a target, so
        // a test needs the panes to click only where the row can be seen.
        const std::pair<const char*, const RectF*> panes[] = {{"toolbar", &m_r_toolbar},
                                                              {"sidebar", &m_r_sidebar},
                                                              {"content", &m_r_content},
                                                              {"footer", &m_r_footer}};
        for (const auto& [name, r] : panes) {
            const RectF m = mirror(*r);
            out << "pane\t" << name << "\t" << m.x << "\t" << m.y << "\t" << m.w << "\t" << m.h
                << "\n";
        }
        for (const HitTarget& t : m_targets)
            out << "target\t" << static_cast<int>(t.act) << "\t" << t.index << "\t" << t.rect.x
                << "\t" << t.rect.y << "\t" << t.rect.w << "\t" << t.rect.h << "\n";
        for (size_t i = 0; i < m_cats.size(); ++i) {
            const CatState& c = m_cats[i];
            out << "cat\t" << i << "\t" << field(c.def.id) << "\t" << c.total_size() << "\t"
                << c.items.size() << "\t" << (c.did_scan ? 1 : 0) << "\n";
        }
        for (const CatState& c : m_cats) {
            if (c.def.id != m_selection)
                continue;
            for (size_t i = 0; i < c.items.size(); ++i)
                out << "item\t" << i << "\t" << field(c.items[i].path) << "\t"
                    << (c.items[i].selected ? 1 : 0) << "\t" << c.items[i].size << "\t"
                    << static_cast<int>(c.items[i].safety) << "\t"
                    << field(reasons_line(c.items[i].reasons)) << "\n";
        }
        for (size_t i = 0; i < m_manual.size(); ++i)
            out << "manual\t" << i << "\t" << field(m_manual[i].path) << "\t"
                << field(m_manual[i].detail) << "\n";
    }
    const std::vector<LanguageInfo> langs = I18n::available();
    for (size_t i = 0; i < langs.size(); ++i)
        out << "lang\t" << i << "\t" << field(langs[i].code) << "\n";

    const std::string tmp = m_state_file + ".part";
    FILE* f = std::fopen(tmp.c_str(), "w");
    if (!f)
        return;
    const std::string text = out.str();
    const bool written = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    // On a full disk the write or the close fails part-way: the last whole
    // frame stays where it was, and the piece of this one goes, so that it
    // holds no room on a disk that has none to spare.
    if (std::fclose(f) != 0 || !written || std::rename(tmp.c_str(), m_state_file.c_str()) != 0)
        std::remove(tmp.c_str());
}
