// The accessible tree kept in line with what is drawn: after every frame
// sync() describes the controls the frame showed (from the App's state and
// the frame's hit targets), matches the description against the objects it
// already has by key, updates names, descriptions and states in place and
// tells an assistive technology only what changed. The entries of a
// category page are made when asked for and then kept current by their
// path. Focus changes and announcements go out from here too.
//
// Interface thread only. m_mutex is held while the App's results are read
// and never while a signal is emitted: a listener may ask an object for its
// name at once, and answering that takes the same lock.
//
// Sections: glue in App · set-up · describing a frame · matching objects ·
// the entries of a page · focus and announcements · questions from objects.

#include "app_access.h"
#include "app_access_node.h"

#include "app_render_overlay.h"
#include "catalog.h"
#include "format.h"
#include "i18n.h"
#include "settings.h"

#include <algorithm>
#include <string_view>

using app_access::Kind;
using app_access::node_of;
using Act = App::Act;
using namespace app_access; // the state flags

namespace {

const char* tr(const char* text) {
    return I18n::instance().tr(text);
}

uint64_t target_key(Act act, int index) {
    return (static_cast<uint64_t>(static_cast<uint32_t>(act)) << 32) | static_cast<uint32_t>(index);
}

bool is_entry_act(Act act) {
    return act == Act::ToggleItem || act == Act::RevealItem;
}

void emit_children_changed(AtkObject* parent, bool added, int index, AtkObject* child) {
    if (parent)
        g_signal_emit_by_name(parent, added ? "children-changed::add" : "children-changed::remove",
                              index, child);
}

// Which states a flag stands for.
void notify_flag(AtkObject* obj, unsigned bit, bool on) {
    switch (bit) {
    case SENSITIVE:
        atk_object_notify_state_change(obj, ATK_STATE_ENABLED, on);
        atk_object_notify_state_change(obj, ATK_STATE_SENSITIVE, on);
        break;
    case FOCUSABLE:
        atk_object_notify_state_change(obj, ATK_STATE_FOCUSABLE, on);
        break;
    case CHECKABLE:
        atk_object_notify_state_change(obj, ATK_STATE_CHECKABLE, on);
        break;
    case CHECKED:
        atk_object_notify_state_change(obj, ATK_STATE_CHECKED, on);
        break;
    case SELECTABLE:
        atk_object_notify_state_change(obj, ATK_STATE_SELECTABLE, on);
        break;
    case SELECTED:
        atk_object_notify_state_change(obj, ATK_STATE_SELECTED, on);
        break;
    case MODAL:
        atk_object_notify_state_change(obj, ATK_STATE_MODAL, on);
        break;
    case EDITABLE:
        atk_object_notify_state_change(obj, ATK_STATE_EDITABLE, on);
        break;
    case MANAGES:
        atk_object_notify_state_change(obj, ATK_STATE_MANAGES_DESCENDANTS, on);
        break;
    case TRANSIENT:
        atk_object_notify_state_change(obj, ATK_STATE_TRANSIENT, on);
        break;
    case SHOWING:
        atk_object_notify_state_change(obj, ATK_STATE_SHOWING, on);
        break;
    default:
        break;
    }
}

} // namespace

// ---------------------------------------------------------------------------
// Glue in App
// ---------------------------------------------------------------------------

AccessTree* App::access_tree() {
    if (!m_access)
        m_access = std::make_unique<AccessTree>(*this);
    return m_access.get();
}

void App::access_focus_changed() {
    if (m_access)
        m_access->sync_focus();
}

// ---------------------------------------------------------------------------
// Set-up
// ---------------------------------------------------------------------------

struct AccessTree::Shape {
    std::string key;
    Kind kind = Kind::Plain;
    AtkRole role = ATK_ROLE_PANEL;
    std::string name;
    std::string description;
    std::string keybinding;
    Act act = Act::None;
    int index = 0;
    unsigned flags = 0;
    RectF rect;
    bool entries_list = false;
    std::vector<Shape> kids;
};

AccessTree::AccessTree(App& app) : m_app(app) {}

AccessTree::~AccessTree() {
    m_alive.reset(); // actions still waiting in the main loop are dropped
    clear_focus();
    for (AtkObject* obj : m_top) {
        retire(obj);
        g_object_unref(obj);
    }
    m_top.clear();
    retire_entries(false);
}

void AccessTree::set_root(AtkObject* root) {
    m_root = root;
    for (AtkObject* obj : m_top)
        node_of(obj)->parent = root;
    // A frame drawn before anybody asked: describe it now.
    if (m_app.m_width > 0 && !m_app.m_targets.empty())
        sync();
}

AtkObject* AccessTree::ref_top(int i) const {
    if (i < 0 || i >= static_cast<int>(m_top.size()))
        return nullptr;
    return ATK_OBJECT(g_object_ref(m_top[static_cast<size_t>(i)]));
}

AtkObject* AccessTree::find(const std::string& key) const {
    if (auto it = m_by_key.find(key); it != m_by_key.end())
        return it->second;
    if (auto it = m_entries.find(key); it != m_entries.end())
        return it->second;
    return nullptr;
}

bool AccessTree::canvas_focused() const {
    return m_assume_focus || (m_app.m_canvas && gtk_widget_has_focus(m_app.m_canvas));
}

bool AccessTree::is_focused(AtkObject* obj) const {
    return obj && obj == m_focused && canvas_focused();
}

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
               m.scanning == cats[i].scanning && m.did_scan == cats[i].did_scan;
    }
    if (same)
        return;
    m_cat_marks.clear();
    m_cat_totals.clear();
    m_total = 0;
    for (const CatState& c : cats) {
        m_cat_marks.push_back({c.items.data(), c.items.size(), c.scanning, c.did_scan});
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
        status = a.m_status_failed ? i18n.tr(a.m_status_message.c_str()) : a.m_status_message;
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
        std::string second;
        if (c.scanning)
            second = tr("scanning …");
        else if (c.did_scan && c.count == 0)
            second = tr("empty");
        else if (c.did_scan)
            second = a.ltr(fmt::bytes(c.total));
        else
            second = "\u2026";
        list.kids.push_back(page_item("side.cat." + c.id, tr(c.title.c_str()), second,
                                      Act::SelectCategory, c.index, a.m_selection == c.id));
    }
    top.push_back(std::move(list));

    // The page.
    if (a.m_selection.empty()) {
        Shape page = region("page.overview", ATK_ROLE_PANEL, a.m_r_content, tr("Overview"));
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
    return top;
}

// ---------------------------------------------------------------------------
// Matching objects
// ---------------------------------------------------------------------------

void AccessTree::sync() {
    std::vector<Shape> shapes = describe();
    reconcile(m_root, m_top, shapes);
    sync_entries();
    sync_field();
    sync_focus();
    std::vector<std::string> pending;
    pending.swap(m_pending);
    for (const std::string& text : pending)
        announce(text);
}

void AccessTree::reconcile(AtkObject* parent, std::vector<AtkObject*>& children,
                           std::vector<Shape>& shapes) {
    std::vector<AtkObject*> next;
    next.reserve(shapes.size());
    std::vector<bool> kept(children.size(), false);
    std::vector<bool> fresh;
    fresh.reserve(shapes.size());
    std::vector<size_t> old_pos; // of each kept object, in the new order
    auto same = [&](size_t i, const Shape& shape) {
        const AccNode* d = node_of(children[i]);
        return !kept[i] && d->key == shape.key && d->kind == shape.kind;
    };
    for (Shape& shape : shapes) {
        AtkObject* found = nullptr;
        // Mostly every object is where it was: look there first, so a long
        // list costs one comparison per object.
        size_t at = next.size();
        if (at >= children.size() || !same(at, shape)) {
            at = children.size();
            for (size_t i = 0; i < children.size(); ++i)
                if (same(i, shape)) {
                    at = i;
                    break;
                }
        }
        if (at < children.size()) {
            kept[at] = true;
            found = children[at];
            old_pos.push_back(at);
        }
        if (found) {
            update(found, shape);
            next.push_back(found);
            fresh.push_back(false);
        } else {
            next.push_back(create(parent, shape));
            fresh.push_back(true);
        }
    }
    // Gone: defunct, announced as removed, released; from the last so the
    // indices given are the ones the listener knows.
    for (size_t i = children.size(); i-- > 0;)
        if (!kept[i]) {
            retire(children[i]);
            emit_children_changed(parent, false, static_cast<int>(i), children[i]);
            g_object_unref(children[i]);
        }
    // Objects that stayed but changed places are announced as moved.
    const bool moved = !std::is_sorted(old_pos.begin(), old_pos.end());
    children = std::move(next);
    for (size_t i = 0; i < children.size(); ++i)
        node_of(children[i])->index_in_parent = static_cast<int>(i);
    for (size_t i = 0; i < children.size(); ++i) {
        if (moved && !fresh[i]) {
            emit_children_changed(parent, false, static_cast<int>(i), children[i]);
            emit_children_changed(parent, true, static_cast<int>(i), children[i]);
        } else if (fresh[i]) {
            emit_children_changed(parent, true, static_cast<int>(i), children[i]);
        }
    }
}

AtkObject* AccessTree::create(AtkObject* parent, Shape& shape) {
    AtkObject* obj = app_access::make_object(shape.kind);
    AccNode* d = node_of(obj);
    d->tree = this;
    d->key = shape.key;
    d->role = shape.role;
    d->name = shape.name;
    d->description = shape.description;
    d->keybinding = shape.keybinding;
    d->act = shape.act;
    d->index = shape.index;
    d->flags = shape.flags;
    d->rect = shape.rect;
    d->parent = parent;
    m_by_key[d->key] = obj;
    if (shape.entries_list) {
        retire_entries(false);
        d->entries_list = true;
        m_entries_list = obj;
        m_entries_cat = shape.key.substr(std::string("entries.").size());
        m_entries_data = nullptr;
        m_entries_size = 0;
    } else {
        reconcile(obj, d->children, shape.kids);
    }
    return obj;
}

void AccessTree::update(AtkObject* obj, Shape& shape) {
    AccNode* d = node_of(obj);
    d->keybinding = shape.keybinding;
    d->act = shape.act;
    d->index = shape.index;
    d->rect = shape.rect;
    if (d->role != shape.role) {
        d->role = shape.role;
        g_object_notify(G_OBJECT(obj), "accessible-role");
    }
    if (d->name != shape.name) {
        d->name = shape.name;
        g_object_notify(G_OBJECT(obj), "accessible-name");
    }
    if (d->description != shape.description) {
        d->description = shape.description;
        g_object_notify(G_OBJECT(obj), "accessible-description");
    }
    const unsigned changed = d->flags ^ shape.flags;
    d->flags = shape.flags;
    for (unsigned bit = 1; bit <= SHOWING; bit <<= 1)
        if (changed & bit)
            notify_flag(obj, bit, (shape.flags & bit) != 0);
    if (!d->entries_list)
        reconcile(obj, d->children, shape.kids);
}

void AccessTree::retire(AtkObject* obj) {
    AccNode* d = node_of(obj);
    if (!d || d->defunct)
        return;
    for (AtkObject* child : d->children) {
        retire(child);
        g_object_unref(child);
    }
    d->children.clear();
    if (d->entries_list && obj == m_entries_list)
        retire_entries(false);
    if (obj == m_focused)
        clear_focus();
    if (auto it = m_by_key.find(d->key); it != m_by_key.end() && it->second == obj)
        m_by_key.erase(it);
    d->defunct = true;
    atk_object_notify_state_change(obj, ATK_STATE_DEFUNCT, TRUE);
    d->tree = nullptr;
}

// ---------------------------------------------------------------------------
// The entries of a page
// ---------------------------------------------------------------------------

void AccessTree::retire_entry(AtkObject* obj, bool tell_list) {
    AccNode* d = node_of(obj);
    m_shown_entries.erase(std::remove(m_shown_entries.begin(), m_shown_entries.end(), obj),
                          m_shown_entries.end());
    if (obj == m_focused)
        clear_focus();
    const int index = d->index_in_parent;
    d->defunct = true;
    atk_object_notify_state_change(obj, ATK_STATE_DEFUNCT, TRUE);
    d->tree = nullptr;
    if (tell_list)
        emit_children_changed(m_entries_list, false, index, obj);
    g_object_unref(obj);
}

void AccessTree::retire_entries(bool tell_list) {
    std::unordered_map<std::string, AtkObject*> entries;
    entries.swap(m_entries);
    m_shown_entries.clear();
    for (auto& [key, obj] : entries)
        retire_entry(obj, tell_list);
    m_entries_list = nullptr;
    m_entries_cat.clear();
}

const CatState* AccessTree::entries_category() const {
    for (const CatState& c : m_app.m_cats)
        if (c.def.id == m_entries_cat)
            return &c;
    return nullptr;
}

int AccessTree::entries_count() const {
    std::lock_guard<std::mutex> lock(m_app.m_mutex);
    const CatState* cat = entries_category();
    return cat ? static_cast<int>(cat->items.size()) : 0;
}

AtkObject* AccessTree::ref_entry_child(AtkObject* list, int i) {
    if (!list || list != m_entries_list || i < 0)
        return nullptr;
    const size_t row = static_cast<size_t>(i / 2);
    const bool reveal = (i % 2) == 1;
    std::string path;
    bool selected = false;
    {
        std::lock_guard<std::mutex> lock(m_app.m_mutex);
        const CatState* cat = entries_category();
        if (!cat || row >= cat->items.size())
            return nullptr;
        path = cat->items[row].path;
        selected = cat->items[row].selected;
    }
    const std::string key = (reveal ? "reveal:" : "check:") + path;
    AtkObject* obj = nullptr;
    if (auto it = m_entries.find(key); it != m_entries.end()) {
        obj = it->second;
        node_of(obj)->index = static_cast<int>(row);
        node_of(obj)->index_in_parent = i;
    } else {
        obj = app_access::make_object(Kind::Control);
        AccNode* d = node_of(obj);
        d->tree = this;
        d->key = key;
        d->entry = true;
        d->path = path;
        d->role = reveal ? ATK_ROLE_PUSH_BUTTON : ATK_ROLE_CHECK_BOX;
        d->act = reveal ? Act::RevealItem : Act::ToggleItem;
        d->index = static_cast<int>(row);
        d->index_in_parent = i;
        d->parent = list;
        d->flags = SENSITIVE | FOCUSABLE | TRANSIENT;
        if (!reveal)
            d->flags |= CHECKABLE | (selected ? CHECKED : 0u);
        if (m_entries_any_shown && row >= m_entries_shown_first && row <= m_entries_shown_last)
            d->flags |= SHOWING;
        m_entries[key] = obj;
    }
    return ATK_OBJECT(g_object_ref(obj));
}

void AccessTree::sync_entries() {
    if (!m_entries_list)
        return;
    // The rows on screen, as the frame registered their check boxes.
    const bool was_shown = m_entries_any_shown;
    const size_t was_first = m_entries_shown_first, was_last = m_entries_shown_last;
    m_entries_any_shown = false;
    for (const App::HitTarget& t : m_app.m_targets)
        if (t.act == Act::ToggleItem && t.index >= 0) {
            const size_t i = static_cast<size_t>(t.index);
            if (!m_entries_any_shown) {
                m_entries_shown_first = m_entries_shown_last = i;
                m_entries_any_shown = true;
            }
            m_entries_shown_first = std::min(m_entries_shown_first, i);
            m_entries_shown_last = std::max(m_entries_shown_last, i);
        }

    struct Change {
        AtkObject* obj;
        unsigned bit;
        bool on;
    };
    std::vector<Change> changes;
    std::vector<std::string> gone;
    bool resized = false;
    {
        std::lock_guard<std::mutex> lock(m_app.m_mutex);
        const CatState* cat = entries_category();
        const void* data = cat ? cat->items.data() : nullptr;
        const size_t size = cat ? cat->items.size() : 0;
        if (data != m_entries_data || size != m_entries_size) {
            // The list was replaced or shrank: find each object's entry again
            // by its path.
            resized = size != m_entries_size;
            m_entries_data = data;
            m_entries_size = size;
            if (!m_entries.empty()) {
                std::unordered_map<std::string_view, size_t> where;
                where.reserve(size);
                for (size_t i = 0; i < size; ++i)
                    where.emplace(cat->items[i].path, i);
                for (auto& [key, obj] : m_entries) {
                    AccNode* d = node_of(obj);
                    auto it = where.find(d->path);
                    if (it == where.end()) {
                        gone.push_back(key);
                        continue;
                    }
                    d->index = static_cast<int>(it->second);
                    d->index_in_parent = 2 * d->index + (d->act == Act::RevealItem ? 1 : 0);
                }
            }
        }
        // Only the rows on screen now or in the last frame (and the focused
        // one) are looked at: a list of 20,000 entry objects must not cost a
        // pass per frame. Others answer CHECKED and SHOWING from the App
        // when asked, and are brought up to date when they come into view.
        std::vector<AtkObject*> shown;
        if (m_entries_any_shown && !m_entries.empty() && cat)
            for (size_t i = m_entries_shown_first; i <= m_entries_shown_last && i < size; ++i)
                for (const char* prefix : {"check:", "reveal:"})
                    if (auto it = m_entries.find(prefix + cat->items[i].path);
                        it != m_entries.end())
                        shown.push_back(it->second);
        std::vector<AtkObject*> look = shown;
        look.insert(look.end(), m_shown_entries.begin(), m_shown_entries.end());
        if (m_focused && node_of(m_focused) && node_of(m_focused)->entry)
            look.push_back(m_focused);
        std::sort(look.begin(), look.end());
        look.erase(std::unique(look.begin(), look.end()), look.end());
        m_shown_entries = std::move(shown);
        for (AtkObject* obj : look) {
            AccNode* d = node_of(obj);
            const size_t i = static_cast<size_t>(d->index);
            if (d->defunct || i >= size)
                continue; // gone, or about to be found gone
            unsigned want = d->flags & ~(CHECKED | SHOWING);
            if (d->act == Act::ToggleItem && cat->items[i].selected)
                want |= CHECKED;
            if (m_entries_any_shown && i >= m_entries_shown_first && i <= m_entries_shown_last)
                want |= SHOWING;
            const unsigned changed = want ^ d->flags;
            d->flags = want;
            for (unsigned bit : {CHECKED, SHOWING})
                if (changed & bit)
                    changes.push_back({obj, bit, (want & bit) != 0});
        }
    }
    for (const std::string& key : gone) {
        auto it = m_entries.find(key);
        AtkObject* obj = it->second;
        m_entries.erase(it);
        retire_entry(obj, true);
    }
    for (const Change& c : changes)
        notify_flag(c.obj, c.bit, c.on);
    // Scrolled, or the list changed length: what can be seen of it changed.
    const bool scrolled = was_shown != m_entries_any_shown ||
                          (m_entries_any_shown && (was_first != m_entries_shown_first ||
                                                   was_last != m_entries_shown_last));
    if (resized || scrolled)
        g_signal_emit_by_name(m_entries_list, "visible-data-changed");
}

// ---------------------------------------------------------------------------
// Focus, the command field and announcements
// ---------------------------------------------------------------------------

AtkObject* AccessTree::object_for(Act act, int index) {
    if (is_entry_act(act)) {
        AtkObject* obj = ref_entry_child(m_entries_list, 2 * index + (act == Act::RevealItem));
        if (obj)
            g_object_unref(obj); // m_entries keeps it
        return obj;
    }
    AtkObject* best = nullptr;
    for (const auto& [key, obj] : m_by_key) {
        const AccNode* d = node_of(obj);
        if (d->act == act && d->index == index && d->kind != Kind::Plain) {
            if (d->flags & SHOWING)
                return obj;
            best = obj;
        }
    }
    return best;
}

void AccessTree::clear_focus() {
    if (!m_focused)
        return;
    if (m_root)
        g_object_set_data(G_OBJECT(m_root), "gail-focus-object", nullptr);
    AtkObject* old = m_focused;
    m_focused = nullptr;
    g_object_unref(old);
}

void AccessTree::sync_focus() {
    AtkObject* want =
        m_app.m_focus.empty() ? nullptr : object_for(m_app.m_focus.act, m_app.m_focus.index);
    if (want == m_focused)
        return;
    const bool has = canvas_focused();
    AtkObject* old = m_focused;
    m_focused = want ? ATK_OBJECT(g_object_ref(want)) : nullptr;
    // The toolkit reports the canvas' own focus changes on this object
    // instead of on the canvas, so the canvas never reads as focused.
    if (m_root)
        g_object_set_data(G_OBJECT(m_root), "gail-focus-object", m_focused);
    if (old) {
        const AccNode* d = node_of(old);
        if (has && d && !d->defunct)
            atk_object_notify_state_change(old, ATK_STATE_FOCUSED, FALSE);
        g_object_unref(old);
    }
    if (m_focused && has) {
        atk_object_notify_state_change(m_focused, ATK_STATE_FOCUSED, TRUE);
        // The entries' list manages its rows: it says which one is active.
        if (node_of(m_focused)->entry && m_entries_list)
            g_signal_emit_by_name(m_entries_list, "active-descendant-changed", m_focused);
        G_GNUC_BEGIN_IGNORE_DEPRECATIONS
        atk_focus_tracker_notify(m_focused);
        G_GNUC_END_IGNORE_DEPRECATIONS
    }
}

void AccessTree::sync_field() {
    AtkObject* field = find("settings.fm.field");
    const std::string& text = m_app.m_fm_text;
    const size_t caret = std::min(m_app.m_fm_caret, text.size());
    if (!field) {
        m_fm_text = text;
        m_fm_caret = caret;
        return;
    }
    auto chars = [](const std::string& s) {
        return static_cast<int>(g_utf8_strlen(s.c_str(), static_cast<gssize>(s.size())));
    };
    if (text != m_fm_text) {
        // Said as the whole old text going and the new one coming: the
        // field is one short line.
        if (!m_fm_text.empty())
            g_signal_emit_by_name(field, "text-remove", 0, chars(m_fm_text), m_fm_text.c_str());
        if (!text.empty())
            g_signal_emit_by_name(field, "text-insert", 0, chars(text), text.c_str());
        m_fm_text = text;
    }
    if (caret != m_fm_caret) {
        m_fm_caret = caret;
        g_signal_emit_by_name(
            field, "text-caret-moved",
            static_cast<int>(g_utf8_pointer_to_offset(text.c_str(), text.c_str() + caret)));
    }
}

void AccessTree::announce(const std::string& text) {
    m_announced.push_back(text);
    // ATK 2.46 has the signal; an older one would not know it.
    if (m_root && g_signal_lookup("announcement", ATK_TYPE_OBJECT))
        g_signal_emit_by_name(m_root, "announcement", text.c_str());
}

// ---------------------------------------------------------------------------
// Questions from the objects
// ---------------------------------------------------------------------------

const Item* AccessTree::entry_item(const AccNode& d) const {
    const CatState* cat = entries_category();
    if (!cat)
        return nullptr;
    const size_t i = static_cast<size_t>(d.index);
    if (i < cat->items.size() && cat->items[i].path == d.path)
        return &cat->items[i];
    for (const Item& it : cat->items)
        if (it.path == d.path)
            return &it;
    return nullptr;
}

std::string AccessTree::entry_name(const AccNode& d) {
    std::lock_guard<std::mutex> lock(m_app.m_mutex);
    const Item* it = entry_item(d);
    if (!it)
        return {};
    if (d.act == Act::RevealItem)
        return tr("Show in file manager");
    return it->name;
}

std::string AccessTree::entry_description(const AccNode& d) {
    std::lock_guard<std::mutex> lock(m_app.m_mutex);
    const Item* it = entry_item(d);
    if (!it)
        return {};
    if (d.act == Act::RevealItem)
        return it->name + " \u2014 " + m_app.ltr(it->path);
    // What the row shows, in its order: size, age, safety, why.
    std::vector<std::string> parts;
    parts.push_back(it->size_known ? m_app.ltr(fmt::bytes(it->size)) : "\u2026");
    if (it->modified > 0)
        parts.push_back(
            I18n::instance().trf("last changed %s", fmt::relative(it->modified).c_str()));
    parts.push_back(tr(catalog::safety_title(it->safety)));
    if (it->keep_hint)
        parts.push_back(tr("newest — keep"));
    if (!it->reasons.empty())
        parts.push_back(m_app.reasons_line(it->reasons));
    std::string out;
    for (const std::string& p : parts) {
        if (p.empty())
            continue;
        if (!out.empty())
            out += " \u00B7 ";
        out += p;
    }
    return out;
}

bool AccessTree::entry_checked(const AccNode& d) {
    std::lock_guard<std::mutex> lock(m_app.m_mutex);
    const Item* it = entry_item(d);
    return it && it->selected;
}

bool AccessTree::entry_showing(const AccNode& d) const {
    const size_t i = static_cast<size_t>(d.index);
    return m_entries_any_shown && i >= m_entries_shown_first && i <= m_entries_shown_last;
}

bool AccessTree::rect_of(const AccNode& d, RectF& out) const {
    if (d.entry) {
        for (const App::HitTarget& t : m_app.m_targets)
            if (t.act == d.act && t.index == d.index) {
                out = t.rect;
                return true;
            }
        return false;
    }
    if (d.rect.empty())
        return false;
    out = d.rect;
    return true;
}

bool AccessTree::resolve(const AccNode& d, Act& act, int& index) {
    if (d.defunct || !d.tree)
        return false;
    act = d.act;
    index = d.index;
    if (!d.entry)
        return true;
    // An entry acts only while its page is shown, on wherever it now is.
    std::lock_guard<std::mutex> lock(m_app.m_mutex);
    if (m_app.m_selection != m_entries_cat)
        return false;
    const CatState* cat = entries_category();
    const Item* it = entry_item(d);
    if (!cat || !it)
        return false;
    index = static_cast<int>(it - cat->items.data());
    return true;
}

bool AccessTree::schedule_activate(AtkObject* obj) {
    struct Pending {
        std::weak_ptr<int> alive;
        AccessTree* tree;
        AtkObject* obj;
    };
    if (!node_of(obj))
        return false;
    auto* p = new Pending{m_alive, this, ATK_OBJECT(g_object_ref(obj))};
    g_idle_add_full(
        G_PRIORITY_DEFAULT_IDLE,
        [](gpointer data) -> gboolean {
            Pending* p = static_cast<Pending*>(data);
            AccNode* d = node_of(p->obj);
            Act act = Act::None;
            int index = 0;
            if (!p->alive.expired() && d && p->tree->resolve(*d, act, index))
                p->tree->app().activate(act, index);
            return G_SOURCE_REMOVE;
        },
        p,
        [](gpointer data) {
            Pending* p = static_cast<Pending*>(data);
            g_object_unref(p->obj);
            delete p;
        });
    return true;
}
