// What a frame shows, described for the accessible tree: the toolbar, the
// sidebar's pages, the page with its buttons and entries' list, the footer
// and the open overlay, each control with its role, name, description,
// states and the rectangle the frame registered for it. The matching of
// these descriptions against the objects kept between frames is in
// app_access.cpp.
//
// Interface thread only, right after a frame; m_mutex is held only while the
// results are copied.

#include "app_access.h"

#include "activity.h"
#include "app_access_node.h"

#include "app_render_overlay.h"
#include "catalog.h"
#include "format.h"
#include "i18n.h"
#include "settings.h"

#include <functional>
#include <unordered_map>

using app_access::Kind;
using Act = App::Act;
using namespace app_access; // the state flags

namespace {

const char* tr(const char* text) {
    return I18n::instance().tr(text);
}

uint64_t target_key(Act act, int index) {
    return (static_cast<uint64_t>(static_cast<uint32_t>(act)) << 32) | static_cast<uint32_t>(index);
}

} // namespace

// ---------------------------------------------------------------------------
// Describing a frame
// ---------------------------------------------------------------------------

void AccessTree::refresh_categories() {
    // The sidebar's order and the totals need a pass over every entry; they
    // change only when a category's results are replaced or shrink, which
    // changes its list's storage or length.
    const std::vector<CatState>& cats = m_app.m_cats;
    bool same = m_cat_marks.size() == cats.size();
    for (size_t i = 0; same && i < cats.size(); ++i) {
        const CatMark& m = m_cat_marks[i];
        same = m.data == cats[i].items.data() && m.size == cats[i].items.size() &&
               m.counted_elsewhere == cats[i].counted_elsewhere && m.scanning == cats[i].scanning &&
               m.did_scan == cats[i].did_scan;
    }
    if (same)
        return;
    m_cat_marks.clear();
    m_cat_totals.clear();
    m_total = 0;
    for (const CatState& c : cats) {
        m_cat_marks.push_back(
            {c.items.data(), c.items.size(), c.counted_elsewhere, c.scanning, c.did_scan});
        m_cat_totals.push_back(c.total_size());
        m_total += m_cat_totals.back();
    }
    m_groups = m_app.visible_groups();
}

std::vector<AccessTree::Shape> AccessTree::describe() {
    App& a = m_app;
    const I18n& i18n = I18n::instance();

    std::unordered_map<uint64_t, RectF> rects;
    for (const App::HitTarget& t : a.m_targets)
        rects[target_key(t.act, t.index)] = t.rect; // a later target lies on top
    auto control = [&](std::string key, AtkRole role, std::string name, Act act, int index,
                       bool sensitive = true) {
        Shape s;
        s.key = std::move(key);
        s.kind = Kind::Control;
        s.role = role;
        s.name = std::move(name);
        s.act = act;
        s.index = index;
        s.flags = FOCUSABLE | (sensitive ? SENSITIVE : 0u);
        if (auto it = rects.find(target_key(act, index)); it != rects.end()) {
            s.rect = it->second;
            s.flags |= SHOWING;
        }
        return s;
    };
    auto region = [&](std::string key, AtkRole role, RectF r, std::string name = {}) {
        Shape s;
        s.key = std::move(key);
        s.role = role;
        s.name = std::move(name);
        s.flags = SENSITIVE;
        if (!r.empty()) {
            s.rect = a.mirror(r);
            s.flags |= SHOWING;
        }
        return s;
    };

    // What the frame read of the results, copied under the lock.
    struct CatRow {
        int index = 0;
        std::string id, title, subtitle;
        bool scanning = false, did_scan = false;
        size_t count = 0;
        int64_t total = 0;
    };
    std::vector<CatRow> side;
    CatRow page_cat;
    bool page_found = false;
    std::vector<std::pair<std::string, std::string>> manual; // name, path
    size_t manual_count = 0;
    std::string status;
    {
        std::lock_guard<std::mutex> lock(a.m_mutex);
        refresh_categories();
        auto row_of = [&](int i) {
            const CatState& c = a.m_cats[static_cast<size_t>(i)];
            return CatRow{
                i,          c.def.id,   c.def.title,    c.def.subtitle,
                c.scanning, c.did_scan, c.items.size(), m_cat_totals[static_cast<size_t>(i)]};
        };
        for (const App::VisibleGroup& g : m_groups)
            for (int i : g.cats)
                if (i >= 0 && i < static_cast<int>(a.m_cats.size()))
                    side.push_back(row_of(i));
        for (size_t i = 0; i < a.m_cats.size() && !page_found; ++i)
            if (!a.m_selection.empty() && a.m_cats[i].def.id == a.m_selection) {
                page_cat = row_of(static_cast<int>(i));
                page_found = true;
            }
        manual_count = a.m_manual.size();
        if (a.m_selection == "__manual__")
            for (const Item& it : a.m_manual)
                manual.emplace_back(it.name.empty() ? it.path : it.name, it.path);
        status = a.status_text();
    }

    // Announcements: the end of a scan and the outcome of a deletion.
    if (m_seen_frame && m_was_scanning && !a.m_scanning)
        m_pending.push_back(i18n.trf("found in total: %s", a.ltr(fmt::bytes(m_total)).c_str()));
    if (m_seen_frame && status != m_last_status && !status.empty())
        m_pending.push_back(status);
    m_was_scanning = a.m_scanning;
    m_last_status = status;
    m_seen_frame = true;

    std::vector<Shape> top;

    // Toolbar, in reading order.
    Shape toolbar = region("toolbar", ATK_ROLE_TOOL_BAR, a.m_r_toolbar);
    if (a.m_scanning) {
        toolbar.kids.push_back(control("toolbar.scan", ATK_ROLE_PUSH_BUTTON, tr("Cancel"),
                                       Act::CancelScan, 0, !a.m_cleaning));
    } else {
        Shape rescan = control("toolbar.scan", ATK_ROLE_PUSH_BUTTON, tr("Rescan"), Act::Rescan, 0,
                               !a.m_cleaning);
        rescan.keybinding = ";;F5";
        toolbar.kids.push_back(std::move(rescan));
    }
    toolbar.kids.push_back(
        control("toolbar.settings", ATK_ROLE_PUSH_BUTTON, tr("Settings"), Act::AppMenu, 0));
    toolbar.kids.push_back(
        control("toolbar.about", ATK_ROLE_PUSH_BUTTON, tr("About"), Act::About, 0));
    top.push_back(std::move(toolbar));

    // Sidebar: the pages, the selected one SELECTED.
    Shape list = region("sidebar", ATK_ROLE_LIST, a.m_r_sidebar);
    list.kind = Kind::List;
    auto page_item = [&](std::string key, std::string name, std::string description, Act act,
                         int index, bool selected) {
        Shape s = control(std::move(key), ATK_ROLE_LIST_ITEM, std::move(name), act, index);
        s.description = std::move(description);
        s.flags |= SELECTABLE | (selected ? SELECTED : 0u);
        return s;
    };
    list.kids.push_back(
        page_item("side.overview", tr("Overview"),
                  a.m_scanning ? std::string(tr("scanning …")) : a.ltr(fmt::bytes(m_total)),
                  Act::SelectOverview, 0, a.m_selection.empty()));
    if (manual_count > 0 || a.m_selection == "__manual__")
        list.kids.push_back(page_item(
            "side.manual", tr("Remove manually"),
            i18n.trf("%s item(s) · %s", fmt::count(static_cast<int64_t>(manual_count)).c_str(),
                     tr("your file manager can do it")),
            Act::SelectManual, 0, a.m_selection == "__manual__"));
    for (const CatRow& c : side) {
        const std::string second = a.category_state_line(c.scanning, c.did_scan, c.count, c.total);
        list.kids.push_back(page_item("side.cat." + c.id, tr(c.title.c_str()), second,
                                      Act::SelectCategory, c.index, a.m_selection == c.id));
    }
    top.push_back(std::move(list));

    // The age buttons, named as drawn; what they complete is their
    // description, as the label before them says it on the screen.
    auto add_age_buttons = [&](Shape& page, const std::string& key, bool enabled) {
        for (int months : activity::SPANS) {
            Shape b = control(key + std::to_string(months), ATK_ROLE_PUSH_BUTTON,
                              App::age_button_label(months), Act::SelectOlder, months, enabled);
            b.description = tr("Safe ones older than");
            page.kids.push_back(std::move(b));
        }
    };

    // The page.
    if (a.m_selection.empty()) {
        Shape page = region("page.overview", ATK_ROLE_PANEL, a.m_r_content, tr("Overview"));
        // The overview draws the age buttons once something was found.
        if (m_total > 0)
            add_age_buttons(page, "overview.older.", true);
        // The biggest consumers as the frame listed them; while an overlay
        // hides the page, as they were before it opened.
        if (a.m_overlay == App::Overlay::None) {
            m_top_consumers.clear();
            for (const App::HitTarget& t : a.m_targets)
                if (t.act == Act::TopConsumer)
                    m_top_consumers.push_back(t.index);
        }
        for (int idx : m_top_consumers)
            if (idx >= 0 && idx < static_cast<int>(m_cat_marks.size())) {
                std::string id, title;
                {
                    std::lock_guard<std::mutex> lock(a.m_mutex);
                    if (idx >= static_cast<int>(a.m_cats.size()))
                        continue;
                    id = a.m_cats[static_cast<size_t>(idx)].def.id;
                    title = a.m_cats[static_cast<size_t>(idx)].def.title;
                }
                Shape b = control("top." + id, ATK_ROLE_PUSH_BUTTON, tr(title.c_str()),
                                  Act::TopConsumer, idx);
                b.description = a.ltr(fmt::bytes(m_cat_totals[static_cast<size_t>(idx)]));
                page.kids.push_back(std::move(b));
            }
        top.push_back(std::move(page));
    } else if (a.m_selection == "__manual__") {
        Shape page = region("page.manual", ATK_ROLE_PANEL, a.m_r_content, tr("Remove manually"));
        page.description =
            tr("These are outside this app's reach — usually because it runs in a sandbox. Your "
               "file manager has full access: one click opens the location with the item "
               "selected.");
        for (size_t i = 0; i < manual.size(); ++i) {
            Shape b = control("manual." + manual[i].second, ATK_ROLE_PUSH_BUTTON,
                              tr("Show in file manager"), Act::OpenManualItem, static_cast<int>(i));
            b.description = manual[i].first + " \u2014 " + a.ltr(manual[i].second);
            page.kids.push_back(std::move(b));
        }
        top.push_back(std::move(page));
    } else {
        Shape page = region("page.cat." + a.m_selection, ATK_ROLE_PANEL, a.m_r_content);
        if (page_found) {
            page.name = tr(page_cat.title.c_str());
            page.description = tr(page_cat.subtitle.c_str());
            const bool any = page_cat.count > 0;
            page.kids.push_back(control("page.open", ATK_ROLE_PUSH_BUTTON, tr("Open folder"),
                                        Act::RevealCategory, page_cat.index));
            page.kids.push_back(control("page.safe", ATK_ROLE_PUSH_BUTTON, tr("Safe ones"),
                                        Act::SelectAllSafe, 0, any));
            page.kids.push_back(
                control("page.none", ATK_ROLE_PUSH_BUTTON, tr("None"), Act::SelectNone, 0, any));
            add_age_buttons(page, "page.older.", any);
            Shape entries = region("entries." + page_cat.id, ATK_ROLE_PANEL, a.m_r_content);
            entries.name = i18n.trf("%s entries · %s in total",
                                    fmt::count(static_cast<int64_t>(page_cat.count)).c_str(),
                                    a.ltr(fmt::bytes(page_cat.total)).c_str());
            entries.flags |= MANAGES;
            entries.entries_list = true;
            page.kids.push_back(std::move(entries));
        }
        top.push_back(std::move(page));
    }

    // Footer: the amount, the button, the status line.
    Shape footer = region("footer", ATK_ROLE_PANEL, a.m_r_footer);
    {
        Shape amount;
        amount.key = "footer.amount";
        amount.role = ATK_ROLE_LABEL;
        amount.name = a.ltr(fmt::bytes(a.m_footer_count > 0 ? a.m_footer_size : 0));
        amount.description = i18n.trf("%s item(s) selected", fmt::count(a.m_footer_count).c_str());
        amount.flags = SENSITIVE;
        const RectF f = a.m_r_footer;
        if (!f.empty()) {
            amount.rect = a.mirror(RectF{f.x, f.y, 222, f.h});
            amount.flags |= SHOWING;
        }
        footer.kids.push_back(std::move(amount));
    }
    footer.kids.push_back(control("footer.clean", ATK_ROLE_PUSH_BUTTON, tr("Delete permanently"),
                                  Act::Clean, 0, a.m_footer_count > 0 && !a.m_cleaning));
    {
        Shape line = region("footer.status", ATK_ROLE_STATUSBAR, a.m_r_footer);
        line.name = !status.empty()
                        ? status
                        : i18n.trf("found in total: %s", a.ltr(fmt::bytes(m_total)).c_str());
        footer.kids.push_back(std::move(line));
    }
    top.push_back(std::move(footer));

    // The overlay, drawn over everything and the only thing that can be used.
    const RectF all{0, 0, static_cast<float>(a.m_width), static_cast<float>(a.m_height)};
    if (a.m_overlay == App::Overlay::Dialog) {
        bool alert = false;
        for (const App::DialogButton& b : a.m_dialog_buttons)
            alert = alert || b.destructive || b.id == 3; // confirmation, or a failure
        Shape dialog = region("overlay.dialog." + a.m_dialog_title,
                              alert ? ATK_ROLE_ALERT : ATK_ROLE_DIALOG, all, a.m_dialog_title);
        dialog.description = a.m_dialog_message;
        dialog.flags |= MODAL;
        for (const App::DialogButton& b : a.m_dialog_buttons)
            dialog.kids.push_back(control("dialog.button." + std::to_string(b.id),
                                          ATK_ROLE_PUSH_BUTTON, b.label, Act::DialogButton, b.id));
        top.push_back(std::move(dialog));
    } else if (a.m_overlay == App::Overlay::About) {
        Shape about = region("overlay.about", ATK_ROLE_DIALOG, all, tr("About"));
        about.description =
            i18n.trf("Version %s (Build %s)", render::ABOUT_VERSION, render::ABOUT_BUILD);
        about.flags |= MODAL;
        about.kids.push_back(
            control("about.link", ATK_ROLE_LINK, render::WEBSITE, Act::LinkWebsite, 0));
        about.kids.push_back(
            control("about.close", ATK_ROLE_PUSH_BUTTON, tr("Close"), Act::CloseOverlay, 0));
        top.push_back(std::move(about));
    } else if (a.m_overlay == App::Overlay::Settings) {
        const Settings& settings = SettingsStore::instance().get();
        Shape dialog = region("overlay.settings", ATK_ROLE_DIALOG, all, tr("Settings"));
        dialog.flags |= MODAL;
        dialog.kids.push_back(
            control("settings.close", ATK_ROLE_PUSH_BUTTON, tr("Close"), Act::CloseOverlay, 0));

        auto radio = [&](std::string key, std::string name, Act act, int index, bool checked) {
            Shape s = control(std::move(key), ATK_ROLE_RADIO_BUTTON, std::move(name), act, index);
            s.flags |= CHECKABLE | (checked ? CHECKED : 0u);
            return s;
        };
        Shape looks = region("settings.appearance", ATK_ROLE_PANEL, {}, tr("Appearance"));
        looks.kids.push_back(radio("settings.theme.auto", tr("Automatic"), Act::SettingsTheme,
                                   render::THEME_AUTO,
                                   settings.theme != "light" && settings.theme != "dark"));
        looks.kids.push_back(radio("settings.theme.light", tr("Light"), Act::SettingsTheme,
                                   render::THEME_LIGHT, settings.theme == "light"));
        looks.kids.push_back(radio("settings.theme.dark", tr("Dark"), Act::SettingsTheme,
                                   render::THEME_DARK, settings.theme == "dark"));
        dialog.kids.push_back(std::move(looks));

        Shape language = region("settings.language", ATK_ROLE_PANEL, {}, tr("Language"));
        const std::vector<LanguageInfo> langs = I18n::available();
        std::string system_name = "English";
        const std::string system_code = I18n::detect_system_language();
        for (const LanguageInfo& l : langs)
            if (l.code == system_code)
                system_name = l.native_name;
        language.kids.push_back(
            radio("settings.lang.auto", i18n.trf("%s (system default)", system_name.c_str()),
                  Act::SettingsLang, render::LANG_AUTO, settings.language == "auto"));
        for (size_t k = 0; k < langs.size(); ++k)
            language.kids.push_back(radio(
                "settings.lang." + langs[k].code, langs[k].native_name, Act::SettingsLang,
                render::LANG_FIRST + static_cast<int>(k), settings.language == langs[k].code));
        dialog.kids.push_back(std::move(language));

        Shape projects = region("settings.projects", ATK_ROLE_PANEL, {}, tr("Projects folder"));
        projects.description = tr("Where node_modules, venv and build folders are looked for.");
        {
            Shape folder;
            folder.key = "settings.projects.folder";
            folder.role = ATK_ROLE_LABEL;
            folder.name =
                settings.projects_root.empty() ? catalog::projects_root() : settings.projects_root;
            folder.flags = SENSITIVE | SHOWING;
            projects.kids.push_back(std::move(folder));
        }
        projects.kids.push_back(control("settings.projects.choose", ATK_ROLE_PUSH_BUTTON,
                                        tr("Choose …"), Act::ChooseProjects, 0));
        // The round arrow has no words; it brings back the automatic folder.
        Shape reset = control("settings.projects.reset", ATK_ROLE_PUSH_BUTTON, tr("Automatic"),
                              Act::ResetProjects, 0);
        reset.description = projects.description;
        projects.kids.push_back(std::move(reset));
        dialog.kids.push_back(std::move(projects));

        const std::string fm_hint =
            i18n.trf("Empty uses the system default. %s becomes the path.", "%s");
        Shape fm = region("settings.fm", ATK_ROLE_PANEL, {}, tr("File manager"));
        Shape field = control("settings.fm.field", ATK_ROLE_ENTRY, tr("File manager"),
                              Act::EditFileManager, 0);
        field.kind = Kind::Field;
        field.description = fm_hint;
        field.flags |= EDITABLE;
        fm.kids.push_back(std::move(field));
        if (rects.count(target_key(Act::ClearFileManager, 0))) {
            // The cross empties the field: the system default is used again.
            Shape clear = control("settings.fm.clear", ATK_ROLE_PUSH_BUTTON, tr("Automatic"),
                                  Act::ClearFileManager, 0);
            clear.description = fm_hint;
            fm.kids.push_back(std::move(clear));
        }
        fm.kids.push_back(
            control("settings.fm.test", ATK_ROLE_PUSH_BUTTON, tr("Test"), Act::TestFileManager, 0));
        dialog.kids.push_back(std::move(fm));
        top.push_back(std::move(dialog));
    }

    // Each access key goes first in its button's keybinding
    // ("mnemonic;sequence;shortcut"), as the toolkit's own buttons give it.
    const std::vector<App::AccessKey> keys = a.access_keys();
    std::function<void(Shape&)> add_keys = [&](Shape& s) {
        for (const App::AccessKey& k : keys)
            if (s.act == k.control.act && s.index == k.control.index && s.act != Act::None) {
                char ch[8] = {};
                g_unichar_to_utf8(k.ch, ch);
                const size_t rest = s.keybinding.find(';');
                s.keybinding = std::string("<Alt>") + ch +
                               (rest == std::string::npos ? ";;" : s.keybinding.substr(rest));
            }
        for (Shape& kid : s.kids)
            add_keys(kid);
    };
    for (Shape& s : top)
        add_keys(s);
    return top;
}
