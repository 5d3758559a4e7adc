// The accessible tree on offscreen frames: which objects exist for a given
// state, that they are the same objects from frame to frame, that a control
// that goes away is defunct and announced as removed, states that follow the
// App (checked, selected, sensitive, showing, focused), extents from the
// frame's targets, actions that wait for the main loop, and announcements.

#include "app.h"
#include "app_access.h"
#include "catalog.h"
#include "i18n.h"
#include "render_test_util.h"
#include "settings.h"
#include "test_env.h"

#include <atk/atk.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using render_test::Canvas;
using render_test::category;
using render_test::find_target;
using render_test::Fresh;
using Act = App::Act;

namespace {

constexpr int W = 1100;
constexpr int H = 720;

void frame(App& app) {
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
}

// An App on the "gradle" page with the tree made before the first frame.
void page(App& app, std::vector<int64_t> sizes = {3000, 1000, 500}) {
    app.m_cats = {category("gradle", GroupKind::Java, std::move(sizes)),
                  category("npm", GroupKind::JavaScript, {500})};
    app.m_selection = "gradle";
    app.access_tree();
    frame(app);
}

bool has(AtkObject* obj, AtkStateType state) {
    AtkStateSet* set = atk_object_ref_state_set(obj);
    const bool on = atk_state_set_contains_state(set, state);
    g_object_unref(set);
    return on;
}

std::string name(AtkObject* obj) {
    const char* n = atk_object_get_name(obj);
    return n ? n : "";
}

AtkObject* must_find(App& app, const std::string& key) {
    AtkObject* obj = app.access_tree()->find(key);
    EXPECT_NE(obj, nullptr) << key;
    return obj;
}

// A new reference to child i.
AtkObject* child(AtkObject* parent, int i) {
    return atk_object_ref_accessible_child(parent, i);
}

// Counts children-changed signals on one object.
struct ChildrenLog {
    std::vector<std::pair<std::string, gpointer>> seen; // "add" or "remove", the child
    static void on_changed(AtkObject*, guint, gpointer child, gpointer self) {
        static_cast<ChildrenLog*>(self)->seen.emplace_back("remove", child);
    }
    static void on_added(AtkObject*, guint, gpointer child, gpointer self) {
        static_cast<ChildrenLog*>(self)->seen.emplace_back("add", child);
    }
    void watch(AtkObject* obj) {
        watched = obj;
        g_signal_connect(obj, "children-changed::remove", G_CALLBACK(on_changed), this);
        g_signal_connect(obj, "children-changed::add", G_CALLBACK(on_added), this);
    }
    // The log goes before the App that owns the object: it stops listening.
    ~ChildrenLog() {
        if (watched)
            g_signal_handlers_disconnect_by_data(watched, this);
    }
    AtkObject* watched = nullptr;
};

struct StateLog {
    std::vector<std::pair<std::string, bool>> seen;
    static void on_state(AtkObject*, const gchar* state, gboolean on, gpointer self) {
        static_cast<StateLog*>(self)->seen.emplace_back(state, on != FALSE);
    }
    void watch(AtkObject* obj) {
        watched = obj;
        g_signal_connect(obj, "state-change", G_CALLBACK(on_state), this);
    }
    ~StateLog() {
        if (watched)
            g_signal_handlers_disconnect_by_data(watched, this);
    }
    AtkObject* watched = nullptr;
    bool saw(const std::string& state, bool on) const {
        for (const auto& [s, v] : seen)
            if (s == state && v == on)
                return true;
        return false;
    }
};

void run_idles() {
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
}

} // namespace

// ---------------------------------------------------------------------------
// Which objects exist
// ---------------------------------------------------------------------------

TEST(RenderAccess, NothingIsMadeUntilSomebodyAsks) {
    Fresh fresh;
    App app;
    app.m_cats = {category("gradle", GroupKind::Java, {3000})};
    frame(app);
    EXPECT_EQ(app.m_access, nullptr);
}

TEST(RenderAccess, ACategoryPageHasToolbarSidebarPageAndFooter) {
    Fresh fresh;
    App app;
    page(app);
    AccessTree* tree = app.access_tree();
    ASSERT_EQ(tree->top_count(), 4);
    const AtkRole roles[] = {ATK_ROLE_TOOL_BAR, ATK_ROLE_LIST, ATK_ROLE_PANEL, ATK_ROLE_PANEL};
    for (int i = 0; i < 4; ++i) {
        AtkObject* top = tree->ref_top(i);
        EXPECT_EQ(atk_object_get_role(top), roles[i]) << i;
        EXPECT_EQ(atk_object_get_index_in_parent(top), i);
        g_object_unref(top);
    }

    AtkObject* toolbar = must_find(app, "toolbar");
    ASSERT_EQ(atk_object_get_n_accessible_children(toolbar), 3);
    const char* names[] = {"Rescan", "Settings", "About"};
    for (int i = 0; i < 3; ++i) {
        AtkObject* b = child(toolbar, i);
        EXPECT_EQ(atk_object_get_role(b), ATK_ROLE_PUSH_BUTTON);
        EXPECT_EQ(name(b), names[i]);
        EXPECT_EQ(atk_object_get_parent(b), toolbar);
        EXPECT_TRUE(has(b, ATK_STATE_SHOWING) && has(b, ATK_STATE_FOCUSABLE) &&
                    has(b, ATK_STATE_ENABLED) && has(b, ATK_STATE_SENSITIVE));
        ASSERT_TRUE(ATK_IS_ACTION(b));
        EXPECT_EQ(atk_action_get_n_actions(ATK_ACTION(b)), 1);
        EXPECT_STREQ(atk_action_get_name(ATK_ACTION(b), 0), "click");
        g_object_unref(b);
    }
    // The access key first, then the shortcut.
    EXPECT_STREQ(atk_action_get_keybinding(ATK_ACTION(must_find(app, "toolbar.scan")), 0),
                 "<Alt>r;;F5");
    EXPECT_STREQ(atk_action_get_keybinding(ATK_ACTION(must_find(app, "toolbar.settings")), 0),
                 "<Alt>s;;");

    AtkObject* gradle = must_find(app, "side.cat.gradle");
    EXPECT_EQ(atk_object_get_role(gradle), ATK_ROLE_LIST_ITEM);
    EXPECT_TRUE(has(gradle, ATK_STATE_SELECTED));
    EXPECT_FALSE(has(must_find(app, "side.overview"), ATK_STATE_SELECTED));
    EXPECT_EQ(std::string(atk_object_get_description(gradle)), "4 KB");
    AtkObject* list = must_find(app, "sidebar");
    ASSERT_TRUE(ATK_IS_SELECTION(list));
    EXPECT_EQ(atk_selection_get_selection_count(ATK_SELECTION(list)), 1);
    AtkObject* sel = atk_selection_ref_selection(ATK_SELECTION(list), 0);
    EXPECT_EQ(sel, gradle);
    g_object_unref(sel);

    for (const char* key : {"page.open", "page.safe", "page.none"})
        EXPECT_EQ(atk_object_get_role(must_find(app, key)), ATK_ROLE_PUSH_BUTTON) << key;
    AtkObject* entries = must_find(app, "entries.gradle");
    ASSERT_EQ(atk_object_get_n_accessible_children(entries), 6);
    EXPECT_TRUE(has(entries, ATK_STATE_MANAGES_DESCENDANTS));
    AtkObject* box = child(entries, 2);
    EXPECT_EQ(atk_object_get_role(box), ATK_ROLE_CHECK_BOX);
    EXPECT_EQ(name(box), "gradle-1");
    EXPECT_EQ(atk_object_get_index_in_parent(box), 2);
    const std::string d = atk_object_get_description(box);
    EXPECT_NE(d.find("1000 B"), std::string::npos) << d;
    EXPECT_NE(d.find("Safe"), std::string::npos) << d;
    EXPECT_TRUE(has(box, ATK_STATE_CHECKABLE));
    EXPECT_FALSE(has(box, ATK_STATE_CHECKED));
    AtkObject* reveal = child(entries, 3);
    EXPECT_EQ(atk_object_get_role(reveal), ATK_ROLE_PUSH_BUTTON);
    EXPECT_EQ(name(reveal), "Show in file manager");
    EXPECT_EQ(child(entries, 6), nullptr);
    g_object_unref(box);
    g_object_unref(reveal);

    AtkObject* clean = must_find(app, "footer.clean");
    EXPECT_EQ(atk_object_get_role(clean), ATK_ROLE_PUSH_BUTTON);
    EXPECT_FALSE(has(clean, ATK_STATE_SENSITIVE));
    EXPECT_FALSE(has(clean, ATK_STATE_ENABLED));
    EXPECT_EQ(atk_object_get_role(must_find(app, "footer.amount")), ATK_ROLE_LABEL);
}

TEST(RenderAccess, AnEntryInUseSaysSoAndWhy) {
    Fresh fresh;
    App app;
    page(app);
    app.m_cats[0].items[1].in_use = true;
    app.m_cats[0].items[1].safety = SafetyLevel::Risky;
    app.m_cats[0].items[1].reasons = {{"Used by %s projects", "", 3, SafetyLevel::Risky}};
    app.m_cats[0].items[2].keep_hint = true;
    frame(app);
    AtkObject* entries = must_find(app, "entries.gradle");
    AtkObject* used = child(entries, 2);
    AtkObject* newest = child(entries, 4);
    ASSERT_TRUE(used && newest);
    EXPECT_EQ(name(used), "gradle-1");
    const std::string d = atk_object_get_description(used);
    EXPECT_NE(d.find("Risky · in use — keep · Used by 3 projects"), std::string::npos) << d;
    EXPECT_EQ(d.find("newest — keep"), std::string::npos) << d;
    const std::string n = atk_object_get_description(newest);
    EXPECT_NE(n.find("newest — keep"), std::string::npos) << n;
    EXPECT_EQ(n.find("in use"), std::string::npos) << n;
    g_object_unref(used);
    g_object_unref(newest);
}

TEST(RenderAccess, TheOverviewHasNoEntriesAndNamesTheBiggestConsumers) {
    Fresh fresh;
    App app;
    app.m_cats = {category("gradle", GroupKind::Java, {3000}),
                  category("npm", GroupKind::JavaScript, {500})};
    app.access_tree();
    frame(app);
    EXPECT_NE(app.access_tree()->find("page.overview"), nullptr);
    EXPECT_EQ(app.access_tree()->find("page.safe"), nullptr);
    EXPECT_TRUE(has(must_find(app, "side.overview"), ATK_STATE_SELECTED));
    AtkObject* top = app.access_tree()->find("top.gradle");
    ASSERT_NE(top, nullptr);
    EXPECT_EQ(name(top), "gradle");
}

// ---------------------------------------------------------------------------
// The same objects across frames; gone ones defunct
// ---------------------------------------------------------------------------

TEST(RenderAccess, ObjectsStayTheSameFromFrameToFrame) {
    Fresh fresh;
    App app;
    page(app);
    AtkObject* scan = must_find(app, "toolbar.scan");
    AtkObject* item = must_find(app, "side.cat.npm");
    AtkObject* box = child(must_find(app, "entries.gradle"), 0);
    for (int i = 0; i < 3; ++i)
        frame(app);
    EXPECT_EQ(must_find(app, "toolbar.scan"), scan);
    EXPECT_EQ(must_find(app, "side.cat.npm"), item);
    AtkObject* again = child(must_find(app, "entries.gradle"), 0);
    EXPECT_EQ(again, box);
    EXPECT_FALSE(has(box, ATK_STATE_DEFUNCT));
    g_object_unref(again);
    g_object_unref(box);
}

TEST(RenderAccess, ADeletedEntryIsDefunctAndRemovedFromItsList) {
    Fresh fresh;
    App app;
    page(app);
    AtkObject* entries = must_find(app, "entries.gradle");
    AtkObject* second = child(entries, 2); // "gradle-1"
    AtkObject* third = child(entries, 4);  // "gradle-2"
    ChildrenLog log;
    log.watch(entries);
    app.m_cats[0].items.erase(app.m_cats[0].items.begin() + 1);
    frame(app);
    EXPECT_TRUE(has(second, ATK_STATE_DEFUNCT));
    ASSERT_EQ(log.seen.size(), 1u);
    EXPECT_EQ(log.seen[0].first, "remove");
    EXPECT_EQ(log.seen[0].second, second);
    // The entry after it moved up and is still the same object.
    EXPECT_FALSE(has(third, ATK_STATE_DEFUNCT));
    EXPECT_EQ(atk_object_get_index_in_parent(third), 2);
    AtkObject* now = child(entries, 2);
    EXPECT_EQ(now, third);
    EXPECT_EQ(atk_object_get_n_accessible_children(entries), 4);
    g_object_unref(now);
    g_object_unref(second);
    g_object_unref(third);
}

TEST(RenderAccess, LeavingAPageRetiresItsButtonsAndEntries) {
    Fresh fresh;
    App app;
    page(app);
    AtkObject* safe = must_find(app, "page.safe");
    g_object_ref(safe);
    AtkObject* box = child(must_find(app, "entries.gradle"), 0);
    AtkObject* canvas_page = nullptr;
    {
        AtkObject* p = app.access_tree()->ref_top(2);
        canvas_page = p;
    }
    app.activate(Act::SelectOverview, 0);
    frame(app);
    EXPECT_TRUE(has(safe, ATK_STATE_DEFUNCT));
    EXPECT_TRUE(has(box, ATK_STATE_DEFUNCT));
    EXPECT_TRUE(has(canvas_page, ATK_STATE_DEFUNCT));
    EXPECT_EQ(app.access_tree()->find("page.safe"), nullptr);
    EXPECT_EQ(app.access_tree()->find("check:" + app.m_cats[0].items[0].path), nullptr);
    g_object_unref(safe);
    g_object_unref(box);
    g_object_unref(canvas_page);
}

// ---------------------------------------------------------------------------
// States that follow the App
// ---------------------------------------------------------------------------

TEST(RenderAccess, TickingAnEntryChecksItsBoxAndEnablesDeletion) {
    Fresh fresh;
    App app;
    page(app);
    AtkObject* box = child(must_find(app, "entries.gradle"), 0);
    StateLog states;
    states.watch(box);
    AtkObject* clean = must_find(app, "footer.clean");
    StateLog clean_states;
    clean_states.watch(clean);
    app.activate(Act::ToggleItem, 0);
    frame(app);
    EXPECT_TRUE(has(box, ATK_STATE_CHECKED));
    EXPECT_TRUE(states.saw("checked", true));
    EXPECT_TRUE(has(clean, ATK_STATE_SENSITIVE));
    EXPECT_TRUE(clean_states.saw("sensitive", true));
    EXPECT_EQ(name(must_find(app, "footer.amount")), "3 KB");
    EXPECT_EQ(std::string(atk_object_get_description(must_find(app, "footer.amount"))),
              "1 item(s) selected");
    // Nothing changes without a change: no second notice on the next frame.
    const size_t seen = states.seen.size();
    frame(app);
    EXPECT_EQ(states.seen.size(), seen);
    g_object_unref(box);
}

TEST(RenderAccess, RowsOffScreenAreNotShowingAndScrollingShowsThem) {
    Fresh fresh;
    App app;
    page(app, std::vector<int64_t>(60, 1000));
    AtkObject* entries = must_find(app, "entries.gradle");
    AtkObject* first = child(entries, 0);
    AtkObject* far = child(entries, 2 * 40);
    EXPECT_TRUE(has(first, ATK_STATE_SHOWING));
    EXPECT_FALSE(has(far, ATK_STATE_SHOWING));
    // Extents: the check box's target in canvas coordinates (no window here,
    // so the canvas stands at 0, 0).
    const App::HitTarget* t = find_target(app, Act::ToggleItem, 0);
    ASSERT_NE(t, nullptr);
    gint x, y, w, h;
    atk_component_get_extents(ATK_COMPONENT(first), &x, &y, &w, &h, ATK_XY_WINDOW);
    EXPECT_EQ(x, static_cast<gint>(t->rect.x));
    EXPECT_EQ(y, static_cast<gint>(t->rect.y));
    EXPECT_EQ(w, static_cast<gint>(t->rect.w + 0.5f));

    StateLog log;
    log.watch(far);
    int visible_changed = 0;
    const gulong id = g_signal_connect_swapped(entries, "visible-data-changed",
                                               G_CALLBACK(+[](int* n) { ++*n; }), &visible_changed);
    frame(app);
    EXPECT_EQ(visible_changed, 0); // nothing moved
    app.m_scroll = 40 * 98;
    frame(app);
    EXPECT_EQ(visible_changed, 1);
    g_signal_handler_disconnect(entries, id);
    EXPECT_TRUE(has(far, ATK_STATE_SHOWING));
    EXPECT_TRUE(log.saw("showing", true));
    EXPECT_FALSE(has(first, ATK_STATE_SHOWING));
    g_object_unref(first);
    g_object_unref(far);
}

TEST(RenderAccess, TheConfirmationIsAModalAlertAndTheWindowBehindStopsShowing) {
    Fresh fresh;
    App app;
    page(app);
    app.activate(Act::ToggleItem, 0);
    app.confirm_clean();
    frame(app);
    AccessTree* tree = app.access_tree();
    ASSERT_EQ(tree->top_count(), 5);
    AtkObject* dialog = tree->ref_top(4);
    EXPECT_EQ(atk_object_get_role(dialog), ATK_ROLE_ALERT);
    EXPECT_EQ(name(dialog), "Delete permanently?");
    EXPECT_TRUE(has(dialog, ATK_STATE_MODAL));
    EXPECT_NE(std::string(atk_object_get_description(dialog)).find("This cannot be undone."),
              std::string::npos);
    ASSERT_EQ(atk_object_get_n_accessible_children(dialog), 2);
    AtkObject* cancel = child(dialog, 1);
    EXPECT_EQ(name(cancel), "Cancel");
    EXPECT_TRUE(has(cancel, ATK_STATE_SHOWING));
    EXPECT_FALSE(has(must_find(app, "toolbar.scan"), ATK_STATE_SHOWING));

    app.activate(Act::DialogButton, 0);
    frame(app);
    EXPECT_TRUE(has(dialog, ATK_STATE_DEFUNCT));
    EXPECT_TRUE(has(cancel, ATK_STATE_DEFUNCT));
    EXPECT_EQ(tree->top_count(), 4);
    EXPECT_TRUE(has(must_find(app, "toolbar.scan"), ATK_STATE_SHOWING));
    g_object_unref(cancel);
    g_object_unref(dialog);
}

TEST(RenderAccess, AnInformationDialogIsADialogNotAnAlert) {
    Fresh fresh;
    App app;
    page(app);
    app.explain_no_file_manager("/nonexistent/x");
    frame(app);
    AtkObject* dialog = app.access_tree()->ref_top(4);
    EXPECT_EQ(atk_object_get_role(dialog), ATK_ROLE_DIALOG);
    EXPECT_EQ(name(dialog), "Could not open the file manager");
    g_object_unref(dialog);
}

TEST(RenderAccess, SettingsShowsItsChoicesAsRadioButtonsAndTheCommandAsText) {
    Fresh fresh;
    App app;
    page(app);
    SettingsStore::instance().mutable_get().theme = "dark";
    SettingsStore::instance().mutable_get().file_manager_command = "nautilus %s";
    app.open_settings();
    frame(app);
    EXPECT_EQ(atk_object_get_role(must_find(app, "overlay.settings")), ATK_ROLE_DIALOG);
    EXPECT_TRUE(has(must_find(app, "settings.theme.dark"), ATK_STATE_CHECKED));
    EXPECT_FALSE(has(must_find(app, "settings.theme.light"), ATK_STATE_CHECKED));
    EXPECT_EQ(atk_object_get_role(must_find(app, "settings.theme.dark")), ATK_ROLE_RADIO_BUTTON);
    EXPECT_EQ(atk_object_get_n_accessible_children(must_find(app, "settings.language")),
              static_cast<gint>(I18n::available().size()) + 1);
    AtkObject* field = must_find(app, "settings.fm.field");
    ASSERT_TRUE(ATK_IS_TEXT(field));
    ASSERT_TRUE(ATK_IS_EDITABLE_TEXT(field));
    EXPECT_EQ(atk_text_get_character_count(ATK_TEXT(field)), 11);
    gchar* text = atk_text_get_text(ATK_TEXT(field), 0, -1);
    EXPECT_STREQ(text, "nautilus %s");
    g_free(text);
    EXPECT_NE(app.access_tree()->find("settings.fm.clear"), nullptr);

    // An edit through the interface filters like a paste and is stored when
    // the page closes.
    atk_editable_text_set_text_contents(ATK_EDITABLE_TEXT(field), "thunar \"%s\"");
    EXPECT_EQ(app.m_fm_text, "thunar %s");
    app.activate(Act::CloseOverlay, 0);
    EXPECT_EQ(SettingsStore::instance().get().file_manager_command, "thunar %s");
}

TEST(RenderAccess, RescanBecomesCancelWhileScanningAndStaysTheSameObject) {
    Fresh fresh;
    App app;
    page(app);
    AtkObject* scan = must_find(app, "toolbar.scan");
    app.m_scanning = true;
    frame(app);
    EXPECT_EQ(must_find(app, "toolbar.scan"), scan);
    EXPECT_EQ(name(scan), "Cancel");
    EXPECT_STREQ(atk_action_get_keybinding(ATK_ACTION(scan), 0), "<Alt>c;;")
        << "Cancel has its access key and no F5";
    app.m_scanning = false;
    frame(app);
    EXPECT_EQ(name(scan), "Rescan");
    EXPECT_STREQ(atk_action_get_keybinding(ATK_ACTION(scan), 0), "<Alt>r;;F5");
}

// ---------------------------------------------------------------------------
// Actions, focus and announcements
// ---------------------------------------------------------------------------

TEST(RenderAccess, BehindAnOpenOverlayNothingCanBePressed) {
    Fresh fresh;
    App app;
    page(app);
    AtkObject* safe = must_find(app, "page.safe");
    app.open_settings();
    frame(app);
    EXPECT_TRUE(atk_action_do_action(ATK_ACTION(safe), 0));
    run_idles();
    for (const Item& it : app.m_cats[0].items)
        EXPECT_FALSE(it.selected) << it.name << " ticked from behind the settings";
    EXPECT_EQ(app.m_overlay, App::Overlay::Settings);
    // Once it is closed, the same object acts again.
    app.m_overlay = App::Overlay::None;
    frame(app);
    EXPECT_TRUE(atk_action_do_action(ATK_ACTION(safe), 0));
    run_idles();
    EXPECT_TRUE(app.m_cats[0].items[0].selected);
}

TEST(RenderAccess, AClickActionWaitsForTheMainLoop) {
    Fresh fresh;
    App app;
    page(app);
    AtkObject* box = child(must_find(app, "entries.gradle"), 2);
    EXPECT_TRUE(atk_action_do_action(ATK_ACTION(box), 0));
    EXPECT_FALSE(app.m_cats[0].items[1].selected);
    run_idles();
    EXPECT_TRUE(app.m_cats[0].items[1].selected);

    // The entry moved before the action ran: the action follows it by path.
    EXPECT_TRUE(atk_action_do_action(ATK_ACTION(box), 0));
    app.m_cats[0].items.erase(app.m_cats[0].items.begin());
    run_idles();
    EXPECT_FALSE(app.m_cats[0].items[0].selected); // "gradle-1", ticked before, now not
    EXPECT_FALSE(app.m_cats[0].items[1].selected); // "gradle-2", where it was before
    g_object_unref(box);

    // An insensitive button refuses.
    frame(app);
    EXPECT_FALSE(atk_action_do_action(ATK_ACTION(must_find(app, "footer.clean")), 0));
    AtkObject* list = must_find(app, "sidebar");
    EXPECT_TRUE(atk_selection_add_selection(ATK_SELECTION(list), 0));
    EXPECT_EQ(app.m_selection, "gradle");
    run_idles();
    EXPECT_EQ(app.m_selection, "");
}

TEST(RenderAccess, FocusedFollowsTheInternalFocusOnlyWhileTheCanvasHasIt) {
    Fresh fresh;
    App app;
    page(app);
    AtkObject* gradle = must_find(app, "side.cat.gradle");
    app.m_focus = {Act::SelectCategory, 0};
    frame(app);
    EXPECT_FALSE(has(gradle, ATK_STATE_FOCUSED)); // the canvas has no keyboard focus

    app.access_tree()->m_assume_focus = true;
    app.m_focus = {Act::Rescan, 0};
    app.access_focus_changed();
    AtkObject* scan = must_find(app, "toolbar.scan");
    EXPECT_TRUE(has(scan, ATK_STATE_FOCUSED));
    StateLog log;
    log.watch(scan);
    app.m_focus = {Act::ToggleItem, 1};
    app.access_focus_changed();
    EXPECT_TRUE(log.saw("focused", false));
    EXPECT_FALSE(has(scan, ATK_STATE_FOCUSED));
    AtkObject* box = child(must_find(app, "entries.gradle"), 2);
    EXPECT_TRUE(has(box, ATK_STATE_FOCUSED));
    EXPECT_FALSE(has(gradle, ATK_STATE_FOCUSED));
    g_object_unref(box);
}

TEST(RenderAccess, TheEndOfAScanAndAFreedAmountAreAnnounced) {
    Fresh fresh;
    App app;
    page(app);
    app.m_scanning = true;
    frame(app);
    EXPECT_TRUE(app.access_tree()->announcements().empty());
    app.m_scanning = false;
    frame(app);
    ASSERT_EQ(app.access_tree()->announcements().size(), 1u);
    EXPECT_EQ(app.access_tree()->announcements()[0], "found in total: 5 KB");

    app.m_status_message = I18n::instance().trf("%s freed", "3 KB");
    frame(app);
    frame(app);
    ASSERT_EQ(app.access_tree()->announcements().size(), 2u);
    EXPECT_EQ(app.access_tree()->announcements()[1], "3 KB freed");
}

// ---------------------------------------------------------------------------
// The other overlays and pages
// ---------------------------------------------------------------------------

TEST(RenderAccess, TheFailureDialogIsAnAlertWithItsButtons) {
    Fresh fresh;
    App app;
    page(app);
    app.show_dialog("Could not delete everything", "1 item(s) could not be deleted here.",
                    {{3, "Show the list", false, false}, {0, "Close", false, true}});
    frame(app);
    AtkObject* dialog = app.access_tree()->ref_top(4);
    EXPECT_EQ(atk_object_get_role(dialog), ATK_ROLE_ALERT);
    EXPECT_TRUE(has(dialog, ATK_STATE_MODAL));
    EXPECT_EQ(std::string(atk_object_get_description(dialog)),
              "1 item(s) could not be deleted here.");
    AtkObject* show = must_find(app, "dialog.button.3");
    EXPECT_EQ(name(show), "Show the list");
    EXPECT_EQ(atk_object_get_parent(show), dialog);
    EXPECT_TRUE(atk_action_do_action(ATK_ACTION(show), 0));
    run_idles();
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
    EXPECT_EQ(app.m_selection, "__manual__");
    g_object_unref(dialog);
}

TEST(RenderAccess, AboutHasItsLinkAndCloseButton) {
    Fresh fresh;
    App app;
    page(app);
    app.activate(Act::About, 0);
    frame(app);
    AtkObject* about = must_find(app, "overlay.about");
    EXPECT_EQ(atk_object_get_role(about), ATK_ROLE_DIALOG);
    EXPECT_EQ(name(about), "About");
    AtkObject* link = must_find(app, "about.link");
    EXPECT_EQ(atk_object_get_role(link), ATK_ROLE_LINK);
    EXPECT_EQ(name(link), App::WEBSITE);
    EXPECT_TRUE(has(link, ATK_STATE_SHOWING));
    AtkObject* close = must_find(app, "about.close");
    EXPECT_TRUE(atk_action_do_action(ATK_ACTION(close), 0));
    run_idles();
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
}

TEST(RenderAccess, TheManualPageIsListedAndHoldsOneButtonPerEntry) {
    Fresh fresh;
    App app;
    page(app);
    Item left;
    left.name = "debug.log";
    left.path = "/nonexistent/logs/debug.log";
    app.m_manual = {left};
    app.activate(Act::SelectManual, 0);
    frame(app);
    AtkObject* item = must_find(app, "side.manual");
    EXPECT_EQ(name(item), "Remove manually");
    EXPECT_TRUE(has(item, ATK_STATE_SELECTED));
    AtkObject* button = must_find(app, "manual./nonexistent/logs/debug.log");
    EXPECT_EQ(name(button), "Show in file manager");
    EXPECT_NE(std::string(atk_object_get_description(button)).find("debug.log"), std::string::npos);
    EXPECT_EQ(app.access_tree()->find("entries.gradle"), nullptr);
}

TEST(RenderAccess, InRightToLeftTheExtentsAreWhereTheMirroredControlsAre) {
    Fresh fresh;
    render_test::Language arabic("ar");
    App app;
    page(app);
    const App::HitTarget* t = find_target(app, Act::Rescan, 0);
    ASSERT_NE(t, nullptr);
    EXPECT_LT(t->rect.x, W / 2); // the toolbar's buttons moved to the left
    gint x, y, w, h;
    atk_component_get_extents(ATK_COMPONENT(must_find(app, "toolbar.scan")), &x, &y, &w, &h,
                              ATK_XY_WINDOW);
    EXPECT_EQ(x, static_cast<gint>(t->rect.x));
    EXPECT_EQ(y, static_cast<gint>(t->rect.y));
    EXPECT_EQ(name(must_find(app, "toolbar.scan")), I18n::instance().tr("Rescan"));
}

TEST(RenderAccess, AnEntryThatFreesLessThanItsSizeSaysWhatItFrees) {
    Fresh fresh;
    App app;
    page(app);
    // The first entry's files are linked from elsewhere too; the second's
    // linked files all lie inside it.
    app.m_cats[0].items[0].shared = {sharing::record(1, 1, 4, 2, 1)};
    app.m_cats[0].items[0].shared_bytes = 2048;
    app.m_cats[0].items[0].frees = 952;
    app.m_cats[0].items[1].shared = {sharing::record(1, 2, 1, 2, 2)};
    app.m_cats[0].items[1].shared_bytes = 512;
    app.m_cats[0].items[1].frees = 1000;
    frame(app);
    AtkObject* entries = must_find(app, "entries.gradle");
    AtkObject* linked = child(entries, 0);
    AtkObject* whole = child(entries, 2);
    ASSERT_TRUE(linked && whole);
    const std::string d = atk_object_get_description(linked);
    EXPECT_NE(d.find("3 KB · frees 952 B"), std::string::npos) << d;
    const std::string w = atk_object_get_description(whole);
    EXPECT_EQ(w.find("frees"), std::string::npos) << w;
    g_object_unref(linked);
    g_object_unref(whole);
}
