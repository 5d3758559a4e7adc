// Selecting by age in the App: the buttons on a category page and on the
// overview tick only what "Safe ones" would, narrowed to entries unused for
// longer than the span; the scan gives build output its project's activity
// and caches their newest change; rows, the keyboard and the accessible tree
// show the control and the activity.

#include "app.h"

#include "activity.h"
#include "app_access.h"
#include "format.h"
#include "fs_fixture.h"
#include "git_fixture.h"
#include "i18n.h"
#include "render_test_util.h"
#include "scan_test_util.h"
#include "test_env.h"

#include <atk/atk.h>
#include <gdk/gdkkeysyms.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <thread>

using scan_test::wait_for_scan;

using fs_fixture::set_times;
using fs_fixture::write_file;
using render_test::Canvas;
using render_test::category;
using render_test::find_target;
using render_test::Fresh;
using Act = App::Act;

namespace {

constexpr int W = 1100;
constexpr int H = 720;
constexpr time_t DAY = 86400;
constexpr time_t NPM_TIME = 499162500; // 1985-10-26, npm's date for installed files

void frame(App& app, int w = W, int h = H) {
    Canvas canvas(w, h);
    app.render_offscreen(canvas.cr(), w, h);
}

bool click(App& app, Act act, int index) {
    frame(app);
    const App::HitTarget* t = find_target(app, act, index);
    if (!t)
        return false;
    app.on_click(t->rect.x + t->rect.w / 2, t->rect.y + t->rect.h / 2, false);
    return true;
}

CatState* cat(App& app, const std::string& id) {
    for (CatState& c : app.m_cats)
        if (c.def.id == id)
            return &c;
    return nullptr;
}

Item* item(CatState* c, const std::string& name) {
    if (!c)
        return nullptr;
    for (Item& it : c->items)
        if (it.name == name)
            return &it;
    return nullptr;
}

// One category of Safe entries, each last active the given days ago.
CatState aged(const std::string& id, GroupKind group, const std::vector<int>& days, time_t now) {
    CatState c = category(id, group, std::vector<int64_t>(days.size(), 4096));
    for (size_t i = 0; i < days.size(); ++i)
        c.items[i].active = now - days[i] * DAY;
    return c;
}

} // namespace

// ---------------------------------------------------------------------------
// What is ticked
// ---------------------------------------------------------------------------

TEST(AgeSelect, EachSpanTicksJustOverItsBoundaryAndNotJustUnder) {
    Fresh fresh;
    App app;
    const time_t now = 1800000000;
    for (int months : activity::SPANS) {
        const time_t span = static_cast<time_t>(months) * activity::MONTH_SECONDS;
        CatState c = category("c", GroupKind::Java, {10, 10, 10, 10});
        c.items[0].active = now - span + 3600; // an hour short of the span
        c.items[1].active = now - span;        // exactly the span: not older
        c.items[2].active = now - span - 3600; // an hour over it
        c.items[3].active = now - span - 400 * DAY;
        app.select_safe_older_than(c, months, now);
        EXPECT_FALSE(c.items[0].selected) << months << " mo, just under";
        EXPECT_FALSE(c.items[1].selected) << months << " mo, at the boundary";
        EXPECT_TRUE(c.items[2].selected) << months << " mo, just over";
        EXPECT_TRUE(c.items[3].selected) << months << " mo, far over";
    }
}

TEST(AgeSelect, NeverTicksCautionRiskyKeptInUseOrUnknown) {
    Fresh fresh;
    App app;
    const time_t now = time(nullptr);
    CatState c = aged("c", GroupKind::Java, {400, 400, 400, 400, 400, 400, 400}, now);
    c.items[1].safety = SafetyLevel::Caution;
    c.items[2].safety = SafetyLevel::Risky;
    c.items[3].keep_hint = true; // the newest version, kept (even if marked Safe)
    c.items[4].in_use = true;    // a version the tools use
    c.items[5].active = 0;       // never measured: nothing known
    c.items[6].safety = SafetyLevel::Caution;
    c.items[6].selected = true; // ticked by hand before: stays ticked
    app.select_safe_older_than(c, 1, now);
    EXPECT_TRUE(c.items[0].selected);
    for (int i = 1; i <= 5; ++i)
        EXPECT_FALSE(c.items[i].selected) << i;
    EXPECT_TRUE(c.items[6].selected) << "other ticks stay as they are";
}

TEST(AgeSelect, AgeOnlyNarrowsWhatSafeOnesTicks) {
    Fresh fresh;
    App app;
    const time_t now = time(nullptr);
    CatState c = aged("c", GroupKind::Java, {1, 40, 100, 200, 400, 800}, now);
    c.items[2].safety = SafetyLevel::Caution;
    c.items[4].keep_hint = true;
    CatState all = c;
    app.select_all_safe(all);
    for (int months : activity::SPANS) {
        CatState byage = c;
        app.select_safe_older_than(byage, months, now);
        for (size_t i = 0; i < c.items.size(); ++i) {
            if (byage.items[i].selected) {
                EXPECT_TRUE(all.items[i].selected) << months << " mo, entry " << i;
            }
        }
    }
}

TEST(AgeSelect, ACategoryPageButtonActsOnItsCategoryOnly) {
    Fresh fresh;
    App app;
    const time_t now = time(nullptr);
    app.m_cats = {aged("gradle", GroupKind::Java, {10, 100, 400}, now),
                  aged("npm", GroupKind::JavaScript, {400}, now)};
    app.m_selection = "gradle";
    ASSERT_TRUE(click(app, Act::SelectOlder, 3));
    EXPECT_FALSE(app.m_cats[0].items[0].selected);
    EXPECT_TRUE(app.m_cats[0].items[1].selected);
    EXPECT_TRUE(app.m_cats[0].items[2].selected);
    EXPECT_FALSE(app.m_cats[1].items[0].selected) << "another category";
}

TEST(AgeSelect, TheOverviewButtonsActOnEveryCategory) {
    Fresh fresh;
    App app;
    const time_t now = time(nullptr);
    app.m_cats = {aged("gradle", GroupKind::Java, {10, 200, 400}, now),
                  aged("npm", GroupKind::JavaScript, {20, 300}, now),
                  aged("pip", GroupKind::Python, {500}, now)};
    app.m_cats[2].items[0].safety = SafetyLevel::Caution;
    app.m_selection.clear();
    ASSERT_TRUE(click(app, Act::SelectOlder, 6));
    EXPECT_FALSE(app.m_cats[0].items[0].selected);
    EXPECT_TRUE(app.m_cats[0].items[1].selected);
    EXPECT_TRUE(app.m_cats[0].items[2].selected);
    EXPECT_FALSE(app.m_cats[1].items[0].selected);
    EXPECT_TRUE(app.m_cats[1].items[1].selected);
    EXPECT_FALSE(app.m_cats[2].items[0].selected) << "Caution, however old";
    EXPECT_EQ(app.selected_count(), 3);
    // The longest span narrows further; what is ticked stays ticked.
    app.activate(Act::SelectNone, 0); // no category page: nothing happens
    EXPECT_EQ(app.selected_count(), 3);
    for (CatState& c : app.m_cats)
        app.select_none(c);
    ASSERT_TRUE(click(app, Act::SelectOlder, 12));
    EXPECT_EQ(app.selected_count(), 1);
    EXPECT_TRUE(app.m_cats[0].items[2].selected);
}

// ---------------------------------------------------------------------------
// What the scan finds out
// ---------------------------------------------------------------------------

// A home with projects in ~/code: one committed to today with year-old
// files, one untouched for a year without git, one edited today without git
// whose packages carry npm's 1985 date, one untouched for a year whose
// packages were touched today; and a pip cache untouched for a year.
TEST(AgeScan, BuildOutputGoesByItsProjectAndCachesByTheirNewestChange) {
    test_env::TempHome home;
    const std::string code = home.path("home/code");
    const time_t now = time(nullptr);
    const time_t year = now - 400 * DAY;

    const std::string committed = code + "/committed";
    git_fixture::init_repo(committed);
    git_fixture::write(committed + "/.gitignore", "node_modules/\n");
    git_fixture::write(committed + "/package.json", "{}\n");
    git_fixture::commit(committed, ".gitignore package.json");
    write_file(committed + "/node_modules/a/index.js");
    for (const char* f : {"/README", "/.gitignore", "/package.json"})
        set_times(committed + f, year);
    set_times(committed + "/node_modules/a/index.js", NPM_TIME);

    const std::string old = code + "/old";
    write_file(old + "/package.json");
    write_file(old + "/node_modules/a/index.js");
    set_times(old + "/package.json", year);
    set_times(old + "/node_modules/a/index.js", NPM_TIME);
    // A fresh build beside them is output, not work on the project.
    write_file(old + "/build/out.js");

    const std::string fresh = code + "/fresh";
    write_file(fresh + "/package.json");
    write_file(fresh + "/node_modules/a/index.js", 20000);
    set_times(fresh + "/node_modules/a/index.js", NPM_TIME);

    const std::string reinstalled = code + "/reinstalled";
    write_file(reinstalled + "/package.json");
    write_file(reinstalled + "/node_modules/a/index.js");
    set_times(reinstalled + "/package.json", year);

    write_file(home.path("home/.cache/pip/http/x"), 120000);
    // A cache's folders count too: a new entry is a change inside it.
    for (const char* p : {"home/.cache/pip/http/x", "home/.cache/pip/http", "home/.cache/pip"})
        set_times(home.path(p), year);

    App app;
    app.load_categories();
    app.start_scan();
    ASSERT_TRUE(wait_for_scan(app));

    CatState* nm = cat(app, "nodeModules");
    ASSERT_NE(nm, nullptr);
    Item* c = item(nm, "committed/node_modules");
    Item* o = item(nm, "old/node_modules");
    Item* f = item(nm, "fresh/node_modules");
    Item* r = item(nm, "reinstalled/node_modules");
    ASSERT_TRUE(c && o && f && r);
    for (const Item* it : {c, o, f, r}) {
        EXPECT_TRUE(it->of_project) << it->name;
        EXPECT_EQ(it->safety, SafetyLevel::Safe) << it->name;
    }
    EXPECT_GE(c->active, now - 120) << "the commit wins over the year-old files";
    EXPECT_EQ(o->active, year) << "no git: the project's own files";
    EXPECT_GE(f->active, now - 120) << "1985 inside node_modules says nothing";
    EXPECT_EQ(r->active, year) << "times inside node_modules are never the project's";

    Item* b = item(cat(app, "buildDirs"), "old/build");
    ASSERT_NE(b, nullptr);
    EXPECT_TRUE(b->of_project);
    EXPECT_EQ(b->active, year) << "the same project, the same activity";

    CatState* pip = cat(app, "pipCache");
    ASSERT_NE(pip, nullptr);
    ASSERT_EQ(pip->items.size(), 1u);
    EXPECT_FALSE(pip->items[0].of_project);
    EXPECT_EQ(pip->items[0].active, year);

    // The overview's "12 mo" ticks the year-old ones of both categories.
    app.m_selection.clear();
    ASSERT_TRUE(click(app, Act::SelectOlder, 12));
    EXPECT_FALSE(c->selected);
    EXPECT_TRUE(o->selected);
    EXPECT_FALSE(f->selected);
    EXPECT_TRUE(r->selected);
    EXPECT_TRUE(pip->items[0].selected);
}

// ---------------------------------------------------------------------------
// What is shown
// ---------------------------------------------------------------------------

TEST(AgeShow, RowsOfBuildOutputSayWhenTheirProjectWasActive) {
    Fresh fresh;
    App app;
    const time_t now = time(nullptr);
    app.m_cats = {aged("nodeModules", GroupKind::JavaScript, {100, 3}, now)};
    app.m_cats[0].def.listing = ListingKind::Recursive;
    app.m_cats[0].items[0].of_project = true;
    app.m_cats[0].items[0].modified = NPM_TIME;
    app.m_cats[0].items[1].active = 0; // not known yet: what it knows of itself
    app.m_cats[0].items[1].modified = now - 2 * DAY;
    app.m_selection = "nodeModules";
    FitLog log;
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    app.m_fit_log = &log;
    app.render_offscreen(canvas.cr(), W, H);
    app.m_fit_log = nullptr;
    const std::string project = I18n::instance().trf(
        "project active %s", fmt::relative(app.m_cats[0].items[0].active).c_str());
    const std::string changed =
        I18n::instance().trf("last changed %s", fmt::relative(now - 2 * DAY).c_str());
    bool saw_project = false, saw_changed = false;
    for (const FitNote& n : log.notes) {
        saw_project |= n.text == project;
        saw_changed |= n.text == changed;
        EXPECT_EQ(n.text.find("last changed 4"), std::string::npos) << "the 1985 time is shown";
    }
    EXPECT_TRUE(saw_project) << project;
    EXPECT_TRUE(saw_changed) << changed;
    EXPECT_EQ(App::age_line(app.m_cats[0].items[0]), project);
}

TEST(AgeShow, TheButtonsAreDrawnOnEachPageAndOnTheOverview) {
    Fresh fresh;
    App app;
    const time_t now = time(nullptr);
    app.m_cats = {aged("gradle", GroupKind::Java, {10}, now),
                  aged("npm", GroupKind::JavaScript, {10}, now)};
    for (const std::string& page : {std::string(), std::string("gradle"), std::string("npm")}) {
        app.m_selection = page;
        frame(app);
        for (int months : activity::SPANS) {
            const App::HitTarget* t = find_target(app, Act::SelectOlder, months);
            ASSERT_NE(t, nullptr) << "page '" << page << "', " << months << " mo";
            EXPECT_FALSE(t->rect.empty());
        }
    }
    // Nothing found yet: the overview shows its empty state, without them.
    app.m_cats.clear();
    app.m_selection.clear();
    frame(app);
    EXPECT_EQ(find_target(app, Act::SelectOlder, 1), nullptr);
}

TEST(AgeShow, TheKeyboardReachesTheButtonsAsAGroupOfTheirOwn) {
    Fresh fresh;
    App app;
    const time_t now = time(nullptr);
    app.m_cats = {aged("gradle", GroupKind::Java, {10, 400}, now)};
    app.m_selection = "gradle";
    frame(app);
    std::vector<App::FocusGroup> groups = app.focus_groups();
    const auto has_ages = [](const App::FocusGroup& g) {
        return !g.controls.empty() && g.controls.front().act == Act::SelectOlder;
    };
    auto at = std::find_if(groups.begin(), groups.end(), has_ages);
    ASSERT_NE(at, groups.end());
    EXPECT_TRUE(at->horizontal);
    ASSERT_EQ(at->controls.size(), 4u);
    for (size_t k = 0; k < 4; ++k)
        EXPECT_EQ(at->controls[k].index, activity::SPANS[k]);
    // Between the page's buttons and its rows.
    ASSERT_NE(at, groups.begin());
    EXPECT_EQ((at - 1)->controls.front().act, Act::RevealCategory);
    ASSERT_NE(at + 1, groups.end());
    EXPECT_EQ((at + 1)->controls.front().act, Act::ToggleItem);

    // Focused and pressed with the keyboard, a button ticks.
    app.focus_on({Act::SelectOlder, 1});
    app.on_key(GDK_KEY_space, GdkModifierType(0));
    EXPECT_FALSE(app.m_cats[0].items[0].selected);
    EXPECT_TRUE(app.m_cats[0].items[1].selected);

    app.m_selection.clear();
    frame(app);
    groups = app.focus_groups();
    EXPECT_NE(std::find_if(groups.begin(), groups.end(), has_ages), groups.end())
        << "the overview's buttons";
}

TEST(AgeShow, TheAccessibleTreeNamesTheButtonsAsDrawn) {
    Fresh fresh;
    App app;
    const time_t now = time(nullptr);
    app.m_cats = {aged("gradle", GroupKind::Java, {10, 400}, now)};
    app.m_selection = "gradle";
    app.access_tree();
    frame(app);
    for (int months : activity::SPANS) {
        AtkObject* b = app.access_tree()->find("page.older." + std::to_string(months));
        ASSERT_NE(b, nullptr) << months;
        EXPECT_EQ(atk_object_get_role(b), ATK_ROLE_PUSH_BUTTON);
        EXPECT_EQ(std::string(atk_object_get_name(b)), App::age_button_label(months));
        EXPECT_EQ(std::string(atk_object_get_description(b)), "Safe ones older than");
    }
    EXPECT_EQ(App::age_button_label(3), "3 mo");
    // Its action ticks as a click would.
    AtkObject* b = app.access_tree()->find("page.older.1");
    ASSERT_TRUE(ATK_IS_ACTION(b));
    ASSERT_TRUE(atk_action_do_action(ATK_ACTION(b), 0));
    for (int i = 0; i < 50 && !app.m_cats[0].items[1].selected; ++i)
        g_main_context_iteration(nullptr, FALSE);
    EXPECT_TRUE(app.m_cats[0].items[1].selected);
    EXPECT_FALSE(app.m_cats[0].items[0].selected);

    // An entry of build output says its project's activity, as its row does.
    app.m_cats[0].items[1].of_project = true;
    frame(app);
    AtkObject* entries = app.access_tree()->find("entries.gradle");
    ASSERT_NE(entries, nullptr);
    AtkObject* entry = atk_object_ref_accessible_child(entries, 2); // row 1's check box
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(std::string(atk_object_get_name(entry)), app.m_cats[0].items[1].name);
    const std::string d = atk_object_get_description(entry);
    g_object_unref(entry);
    EXPECT_NE(d.find(App::age_line(app.m_cats[0].items[1])), std::string::npos) << d;
    EXPECT_EQ(App::age_line(app.m_cats[0].items[1]).rfind("project active ", 0), 0u);

    app.m_selection.clear();
    frame(app);
    EXPECT_NE(app.access_tree()->find("overview.older.12"), nullptr);
}
