// The scan orchestration without a window: the App scans a home the test
// built, measures in parallel, marks the newest version to keep, sorts, keeps
// ticks over a rescan, can be cancelled, and feeds the sidebar groups and the
// totals.

#include "app.h"

#include "catalog.h"
#include "fixture_home.h"
#include "fs_fixture.h"
#include "git_fixture.h"
#include "scan_test_util.h"
#include "scanner.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

using scan_test::wait_for_scan;

using fs_fixture::make_dirs;
using fs_fixture::reference_measure;
using fs_fixture::write_file;

namespace {

const CatState* cat(const App& app, const std::string& id) {
    for (const CatState& c : app.m_cats)
        if (c.def.id == id)
            return &c;
    return nullptr;
}

const Item* item(const CatState* c, const std::string& name) {
    if (!c)
        return nullptr;
    for (const Item& it : c->items)
        if (it.name == name)
            return &it;
    return nullptr;
}

// A home with caches in a few areas and a projects tree.
void make_fixture(const test_env::TempHome& home) {
    const std::string h = home.path("home");
    write_file(h + "/.gradle/caches/modules-2/files/a.jar", 300000);
    write_file(h + "/.gradle/caches/transforms-3/t.bin", 40000);
    write_file(h + "/.gradle/caches/build-cache-1/c.bin", 9000);
    write_file(h + "/.cache/pip/http/x", 120000);
    write_file(h + "/.rustup/toolchains/1.9.0-x86_64/lib/l", 5000);
    write_file(h + "/.rustup/toolchains/1.10.0-x86_64/lib/l", 4000);
    write_file(h + "/.rustup/toolchains/1.2.0-x86_64/lib/l", 80000);
    write_file(h + "/code/shop/node_modules/react/index.js", 60000);
    write_file(h + "/code/blog/node_modules/vue/index.js", 20000);
    write_file(h + "/code/shop/build/out.js", 7000);
    make_dirs(h + "/.npm/_logs");
}

} // namespace

// ---------------------------------------------------------------------------
// Natural version order
// ---------------------------------------------------------------------------

TEST(ScanVersions, NumbersCompareAsNumbers) {
    EXPECT_GT(App::compare_versions("1.10", "1.9"), 0);
    EXPECT_LT(App::compare_versions("1.9", "1.10"), 0);
    EXPECT_GT(App::compare_versions("30.0.10", "30.0.3"), 0);
    EXPECT_GT(App::compare_versions("android-34", "android-9"), 0);
    EXPECT_GT(App::compare_versions("26.1.10909125", "25.2.9519653"), 0);
    EXPECT_GT(App::compare_versions("stable-x86_64", "1.79.0-x86_64"), 0);
}

TEST(ScanVersions, LeadingZerosAreIgnoredButTheOrderStaysTotal) {
    EXPECT_GT(App::compare_versions("1.010", "1.9"), 0);
    EXPECT_LT(App::compare_versions("1.009", "1.10"), 0);
    EXPECT_NE(App::compare_versions("1.01", "1.1"), 0);
    EXPECT_EQ(App::compare_versions("1.01", "1.1"), -App::compare_versions("1.1", "1.01"));
    EXPECT_EQ(App::compare_versions("3.2", "3.2"), 0);
}

TEST(ScanVersions, LongerNamesWithTheSamePrefixAreNewer) {
    EXPECT_GT(App::compare_versions("1.2.1", "1.2"), 0);
    EXPECT_LT(App::compare_versions("", "0"), 0);
    EXPECT_GT(App::compare_versions("99999999999999999999999", "99999999999999999999998"), 0);
}

// ---------------------------------------------------------------------------
// Scanning a home
// ---------------------------------------------------------------------------

TEST(Scan, TheConstructorTouchesNoToolkitAndLoadsNoCategories) {
    test_env::TempHome home;
    App app;
    EXPECT_TRUE(app.m_cats.empty());
    EXPECT_EQ(app.m_window, nullptr);
}

TEST(Scan, ScansEveryCategoryMeasuresAndSortsBySize) {
    test_env::TempHome home;
    make_fixture(home);
    App app;
    app.load_categories();
    ASSERT_FALSE(app.m_cats.empty());
    for (const CatState& c : app.m_cats)
        EXPECT_FALSE(c.did_scan);
    app.start_scan();
    EXPECT_TRUE(app.m_scanning);
    ASSERT_TRUE(wait_for_scan(app));
    for (const CatState& c : app.m_cats) {
        EXPECT_TRUE(c.did_scan) << c.def.id;
        EXPECT_FALSE(c.scanning) << c.def.id;
        for (std::size_t i = 1; i < c.items.size(); ++i)
            EXPECT_GE(c.items[i - 1].size, c.items[i].size) << c.def.id;
        for (const Item& it : c.items) {
            EXPECT_TRUE(it.size_known) << it.path;
            EXPECT_EQ(it.size, reference_measure(it.path).bytes) << it.path;
        }
    }
    const CatState* gradle = cat(app, "gradleCaches");
    ASSERT_NE(gradle, nullptr);
    ASSERT_EQ(gradle->items.size(), 3u);
    EXPECT_EQ(gradle->items[0].name, "modules-2");
    EXPECT_EQ(gradle->items[0].safety, SafetyLevel::Safe);
    const CatState* nm = cat(app, "nodeModules");
    ASSERT_NE(nm, nullptr);
    ASSERT_EQ(nm->items.size(), 2u);
    EXPECT_EQ(nm->items[0].name, "shop/node_modules");
    EXPECT_EQ(nm->items[1].name, "blog/node_modules");
    EXPECT_NE(item(cat(app, "buildDirs"), "shop/build"), nullptr);
    EXPECT_NE(item(cat(app, "pipCache"), "pip"), nullptr);
}

TEST(Scan, TheNewestVersionIsKeptAndRisky) {
    test_env::TempHome home;
    make_fixture(home);
    App app;
    app.start_scan();
    ASSERT_TRUE(wait_for_scan(app));
    const CatState* rust = cat(app, "rustupToolchains");
    ASSERT_NE(rust, nullptr);
    ASSERT_EQ(rust->items.size(), 3u);
    for (const Item& it : rust->items) {
        const bool newest = it.name == "1.10.0-x86_64";
        EXPECT_EQ(it.keep_hint, newest) << it.name;
        EXPECT_EQ(it.safety, newest ? SafetyLevel::Risky : SafetyLevel::Caution) << it.name;
    }
    // The biggest is an old version: the sort is by size alone.
    EXPECT_EQ(rust->items[0].name, "1.2.0-x86_64");
}

TEST(Scan, AVersionManagerKeepsTheNewestVersionOfEachTool) {
    test_env::TempHome home;
    for (const char* v : {"nodejs/18.19.0", "nodejs/20.11.1", "nodejs/9.11.2", "python/3.12.1",
                          "python/3.9.18", "ruby/3.3.0"})
        write_file(home.path("home/.asdf/installs/") + v + "/bin/tool", 1000);
    App app;
    app.start_scan();
    ASSERT_TRUE(wait_for_scan(app));
    const CatState* asdf = cat(app, "asdfInstalls");
    ASSERT_NE(asdf, nullptr);
    ASSERT_EQ(asdf->items.size(), 6u);
    for (const Item& it : asdf->items) {
        const bool newest =
            it.name == "nodejs/20.11.1" || it.name == "python/3.12.1" || it.name == "ruby/3.3.0";
        EXPECT_EQ(it.keep_hint, newest) << it.name;
        EXPECT_EQ(it.safety, newest ? SafetyLevel::Risky : SafetyLevel::Caution) << it.name;
    }
}

TEST(Scan, ASingleVersionIsMeasuredAndKept) {
    test_env::TempHome home;
    write_file(home.path("home/.rustup/toolchains/stable/bin/cargo"), 10000);
    App app;
    app.start_scan();
    ASSERT_TRUE(wait_for_scan(app));
    const CatState* rust = cat(app, "rustupToolchains");
    ASSERT_NE(rust, nullptr);
    ASSERT_EQ(rust->items.size(), 1u);
    EXPECT_TRUE(rust->items[0].keep_hint);
    EXPECT_EQ(rust->items[0].safety, SafetyLevel::Risky);
    EXPECT_TRUE(rust->items[0].size_known);
    EXPECT_GT(rust->items[0].size, 0);
}

TEST(Scan, ModifiedIsRaisedToTheNewestChangeInside) {
    test_env::TempHome home;
    write_file(home.path("home/.gradle/caches/m/deep/f"), 10);
    fs_fixture::set_times(home.path("home/.gradle/caches/m/deep/f"), 1700000000);
    fs_fixture::set_times(home.path("home/.gradle/caches/m/deep"), 1000);
    fs_fixture::set_times(home.path("home/.gradle/caches/m"), 1000);
    App app;
    app.start_scan();
    ASSERT_TRUE(wait_for_scan(app));
    const Item* m = item(cat(app, "gradleCaches"), "m");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->modified, 1700000000);
}

TEST(Scan, TicksSurviveARescanByPath) {
    test_env::TempHome home;
    make_fixture(home);
    App app;
    app.start_scan();
    ASSERT_TRUE(wait_for_scan(app));
    {
        std::lock_guard<std::mutex> lock(app.m_mutex);
        for (CatState& c : app.m_cats)
            for (Item& it : c.items)
                if (it.name == "transforms-3" || it.name == "blog/node_modules" ||
                    it.name == "build-cache-1")
                    it.selected = true;
    }
    // One ticked entry disappears before the rescan.
    test_env::remove_tree(home.path("home/.gradle/caches/build-cache-1"));
    app.start_scan();
    ASSERT_TRUE(wait_for_scan(app));
    int selected = 0;
    for (const CatState& c : app.m_cats)
        for (const Item& it : c.items)
            selected += it.selected;
    EXPECT_EQ(selected, 2);
    EXPECT_TRUE(item(cat(app, "gradleCaches"), "transforms-3")->selected);
    EXPECT_TRUE(item(cat(app, "nodeModules"), "blog/node_modules")->selected);
    EXPECT_FALSE(item(cat(app, "gradleCaches"), "modules-2")->selected);
    EXPECT_EQ(item(cat(app, "gradleCaches"), "build-cache-1"), nullptr);
}

TEST(Scan, ARescanStartsEveryCategoryAfreshAndClearsTheStatus) {
    test_env::TempHome home;
    make_fixture(home);
    App app;
    app.start_scan();
    ASSERT_TRUE(wait_for_scan(app));
    {
        std::lock_guard<std::mutex> lock(app.m_mutex);
        app.m_status_message = "12 MB freed";
        app.m_freed_bytes = 12;
    }
    app.start_scan();
    {
        std::lock_guard<std::mutex> lock(app.m_mutex);
        EXPECT_TRUE(app.m_status_message.empty());
        EXPECT_EQ(app.m_freed_bytes, 0);
    }
    ASSERT_TRUE(wait_for_scan(app));
    EXPECT_GT(app.total_reclaimable(), 0);
}

TEST(Scan, CancelledMeasurementLeavesItemsUnknownAndCountsNothing) {
    test_env::TempHome home;
    write_file(home.path("home/.cache/pip/big"), 500000);
    App app;
    CatState c;
    c.def.id = "pipCache";
    c.def.path = home.path("home/.cache/pip");
    c.def.listing = ListingKind::SelfFolder;
    app.m_cancel = true;
    app.scan_category(c);
    ASSERT_EQ(c.items.size(), 1u);
    EXPECT_FALSE(c.items[0].size_known);
    EXPECT_EQ(c.items[0].size, 0);
    EXPECT_EQ(c.total_size(), 0);
}

TEST(Scan, CancellingMidScanStopsTheWorkerAndLeavesConsistentStates) {
    test_env::TempHome home;
    for (int p = 0; p < 60; ++p)
        for (int f = 0; f < 30; ++f)
            write_file(home.path("home/code/p" + std::to_string(p) + "/node_modules/m" +
                                 std::to_string(f) + "/i.js"),
                       3000);
    App app;
    app.start_scan();
    std::this_thread::sleep_for(std::chrono::milliseconds(3));
    const auto before = std::chrono::steady_clock::now();
    app.cancel_scan();
    // Cancelling is a button in the interface: it must not leave the user waiting.
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2));
    EXPECT_FALSE(app.m_scanning);
    EXPECT_FALSE(app.m_worker.joinable());
    EXPECT_FALSE(app.m_worker_running);
    int64_t known = 0;
    for (const CatState& c : app.m_cats)
        for (const Item& it : c.items) {
            if (!it.size_known) {
                EXPECT_EQ(it.size, 0) << it.path;
            }
            known += it.size_known ? it.size : 0;
        }
    EXPECT_EQ(app.total_reclaimable(), known);
}

TEST(Scan, StartCancelAndRescanInALoop) {
    test_env::TempHome home;
    make_fixture(home);
    App app;
    for (int round = 0; round < 15; ++round) {
        app.start_scan();
        if (round % 3 == 0)
            app.cancel_scan();
        if (round % 3 == 1)
            std::this_thread::sleep_for(std::chrono::milliseconds(round));
    }
    ASSERT_TRUE(wait_for_scan(app));
    app.start_scan();
    ASSERT_TRUE(wait_for_scan(app));
    for (const CatState& c : app.m_cats)
        EXPECT_TRUE(c.did_scan) << c.def.id;
    EXPECT_NE(cat(app, "pipCache"), nullptr);
}

TEST(Scan, ADestroyedAppStopsItsWorkerAndEveryWalker) {
    test_env::TempHome home;
    for (int p = 0; p < 40; ++p)
        for (int f = 0; f < 30; ++f)
            write_file(home.path("home/code/p" + std::to_string(p) + "/node_modules/m" +
                                 std::to_string(f) + "/i.js"),
                       3000);
    const auto start = std::chrono::steady_clock::now();
    {
        App app;
        app.start_scan();
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while ((scanner_testing::live_walkers() > 0 || scanner_testing::live_guard_states() > 0) &&
           std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(scanner_testing::live_walkers(), 0);
    EXPECT_EQ(scanner_testing::live_guard_states(), 0);
}

// ---------------------------------------------------------------------------
// The read side
// ---------------------------------------------------------------------------

namespace {

CatState state(const std::string& id, GroupKind g, std::vector<int64_t> sizes, bool did_scan,
               bool scanning = false) {
    CatState c;
    c.def.id = id;
    c.def.group = g;
    c.did_scan = did_scan;
    c.scanning = scanning;
    for (int64_t s : sizes) {
        Item it;
        it.path = "/x/" + id + std::to_string(c.items.size());
        it.size = s;
        it.size_known = true;
        c.items.push_back(it);
    }
    return c;
}

} // namespace

TEST(ScanGroups, EmptyFinishedCategoriesAndTheirGroupsAreHidden) {
    App app;
    app.m_cats.push_back(state("gone", GroupKind::Ides, {}, true));
    app.m_cats.push_back(state("waiting", GroupKind::Java, {}, false));
    app.m_cats.push_back(state("busy", GroupKind::Python, {}, false, true));
    app.m_cats.push_back(state("found", GroupKind::Logs, {10}, true));
    const auto groups = app.visible_groups();
    ASSERT_EQ(groups.size(), 3u);
    EXPECT_EQ(groups[0].group, GroupKind::Java);
    EXPECT_EQ(groups[1].group, GroupKind::Python);
    EXPECT_EQ(groups[2].group, GroupKind::Logs);
    EXPECT_EQ(groups[2].cats, std::vector<int>{3});
    EXPECT_EQ(groups[2].total, 10);
}

TEST(ScanGroups, GroupsKeepTheirOrderAndCategoriesAreSortedBySize) {
    App app;
    app.m_cats.push_back(state("logs", GroupKind::Logs, {900}, true));
    app.m_cats.push_back(state("small", GroupKind::Ides, {5, 5}, true));
    app.m_cats.push_back(state("big", GroupKind::Ides, {100}, true));
    app.m_cats.push_back(state("mid", GroupKind::Ides, {50, -20}, true));
    const auto groups = app.visible_groups();
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(groups[0].group, GroupKind::Ides);
    EXPECT_EQ(groups[0].cats, (std::vector<int>{2, 3, 1}));
    EXPECT_EQ(groups[0].total, 160);
    EXPECT_EQ(groups[1].group, GroupKind::Logs);
}

TEST(ScanTotals, NegativeSizesNeverReduceATotal) {
    App app;
    app.m_cats.push_back(state("a", GroupKind::Ides, {100, -50, 0}, true));
    app.m_cats.push_back(state("b", GroupKind::Java, {-1000}, true));
    EXPECT_EQ(app.total_reclaimable(), 100);
    EXPECT_EQ(app.m_cats[0].total_size(), 100);
    EXPECT_EQ(app.m_cats[1].total_size(), 0);
}

TEST(ScanTotals, SafeCountsOnlySafeEntries) {
    App app;
    CatState c = state("a", GroupKind::Ides, {100, 40, 7, -3}, true);
    c.items[1].safety = SafetyLevel::Caution;
    c.items[2].safety = SafetyLevel::Risky;
    app.m_cats.push_back(c);
    EXPECT_EQ(app.total_reclaimable(), 147);
    EXPECT_EQ(app.safe_reclaimable(), 100);
}

TEST(ScanSelection, CurrentCategoryFollowsTheSelection) {
    App app;
    app.m_cats.push_back(state("a", GroupKind::Ides, {1}, true));
    app.m_cats.push_back(state("b", GroupKind::Ides, {1}, true));
    EXPECT_EQ(app.current_category(), nullptr);
    app.m_selection = "__manual__";
    EXPECT_EQ(app.current_category(), nullptr);
    app.m_selection = "b";
    ASSERT_NE(app.current_category(), nullptr);
    EXPECT_EQ(app.current_category()->def.id, "b");
    const App& constant = app;
    EXPECT_EQ(constant.current_category(), &app.m_cats[1]);
    app.m_selection = "nope";
    EXPECT_EQ(app.current_category(), nullptr);
}

// A measurement given up at its deadline (a huge cache on a slow disk) has
// no size: the entry stays unmeasured instead of showing 0 bytes, which would
// say there is nothing to free there.
TEST(Scan, AnEntryGivenUpAtItsDeadlineStaysUnmeasuredAndIsNotZero) {
    test_env::TempHome home;
    const std::string h = home.path("home");
    for (int f = 0; f < 2000; ++f)
        write_file(h + "/.npm/_cacache/content-v2/d" + std::to_string(f % 40) + "/f" +
                       std::to_string(f),
                   5000);
    {
        App app;
        app.start_scan();
        ASSERT_TRUE(wait_for_scan(app));
        const CatState* npm = cat(app, "npmCache");
        ASSERT_TRUE(npm && !npm->items.empty());
        EXPECT_TRUE(npm->items.front().size_known);
        EXPECT_GT(npm->items.front().size, 2000 * 4096);
    }
    App app;
    app.m_measure_seconds = 0; // every measurement is given up at once
    app.start_scan();
    ASSERT_TRUE(wait_for_scan(app));
    const CatState* npm = cat(app, "npmCache");
    ASSERT_TRUE(npm && !npm->items.empty());
    EXPECT_FALSE(npm->items.front().size_known);
}

// ---------------------------------------------------------------------------
// The synthetic developer home
// ---------------------------------------------------------------------------

TEST(ScanFixture, TheParallelScanEqualsASingleThreadedWalkEntryByEntry) {
    test_env::TempHome home;
    const fixture_home::Result built = fixture_home::build(home.path("home"), 0.05);
    ASSERT_TRUE(built.ok) << built.error;
    EXPECT_GT(built.entries, 30000);
    App app;
    app.start_scan();
    ASSERT_TRUE(wait_for_scan(app, 120.0));
    int compared = 0;
    for (const CatState& c : app.m_cats)
        for (const Item& it : c.items) {
            ASSERT_TRUE(it.size_known) << it.path;
            const scanner::Measure serial = scanner::measure_serial(it.path, nullptr);
            EXPECT_EQ(it.size, serial.bytes) << it.path;
            EXPECT_EQ(it.size, reference_measure(it.path).bytes) << it.path;
            ++compared;
        }
    EXPECT_GT(compared, 50);
    // What the fixture plants: a Gradle cache, the npm cache, SDK versions with
    // the newest kept, projects with their leftovers; nothing from Downloads,
    // nothing deeper than the search goes.
    for (const char* id : {"gradleCaches", "npmCache", "pipCache", "cargoRegistry",
                           "androidBuildTools", "rustupToolchains", "nodeModules", "buildDirs",
                           "pycache", "venvs", "gradleProject", "jetbrainsCaches"})
        EXPECT_NE(cat(app, id), nullptr) << id;
    const Item* kept = nullptr;
    for (const Item& it : cat(app, "androidBuildTools")->items)
        if (it.keep_hint)
            kept = &it;
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(kept->name, "34.0.0");
    EXPECT_NE(item(cat(app, "nodeModules"), "c/node_modules"), nullptr);
    EXPECT_EQ(item(cat(app, "nodeModules"), "f/node_modules"), nullptr);
    EXPECT_EQ(item(cat(app, "nodeModules"), "some-project/node_modules"), nullptr);
    // Its repositories: build output ignored beside build.gradle, ignored
    // without a project file, and committed.
    const Item* proven = item(cat(app, "buildDirs"), "project-0/build");
    const Item* named = item(cat(app, "buildDirs"), "project-1/build");
    const Item* committed = item(cat(app, "buildDirs"), "project-5/build");
    ASSERT_TRUE(proven && named && committed);
    EXPECT_EQ(proven->safety, SafetyLevel::Safe);
    EXPECT_EQ(named->safety, SafetyLevel::Caution);
    EXPECT_EQ(committed->safety, SafetyLevel::Risky);
    EXPECT_FALSE(cat(app, "venvs")->items.empty());
    fixture_home::unlock(home.path("home"));
}

// ---------------------------------------------------------------------------
// Project folders are weighed, not taken by name
// ---------------------------------------------------------------------------

TEST(ScanEvidence, ATrackedBuildIsRiskyAnIgnoredOneSafeAndSafeOnesTicksOnlyThatOne) {
    test_env::TempHome home;
    const std::string h = home.path("home");
    const std::string kept = h + "/code/desktop-app";
    const std::string ignored = h + "/code/service";
    git_fixture::init_repo(kept);
    git_fixture::write(kept + "/build.gradle");
    git_fixture::write(kept + "/build/icon.png");
    git_fixture::commit(kept, "build.gradle build/icon.png");
    git_fixture::init_repo(ignored);
    git_fixture::write(ignored + "/build.gradle");
    git_fixture::write(ignored + "/.gitignore", "build/\n");
    git_fixture::commit(ignored, "build.gradle .gitignore");
    write_file(ignored + "/build/libs/app.jar", 50000);

    App app;
    app.start_scan();
    ASSERT_TRUE(wait_for_scan(app));
    CatState* builds = const_cast<CatState*>(cat(app, "buildDirs"));
    ASSERT_NE(builds, nullptr);
    const Item* risky = item(builds, "desktop-app/build");
    const Item* safe = item(builds, "service/build");
    ASSERT_NE(risky, nullptr);
    ASSERT_NE(safe, nullptr);
    EXPECT_EQ(risky->safety, SafetyLevel::Risky);
    ASSERT_FALSE(risky->reasons.empty());
    EXPECT_STREQ(risky->reasons.front().key, "Holds a file tracked by git");
    EXPECT_EQ(safe->safety, SafetyLevel::Safe);
    EXPECT_EQ(app.reasons_line(safe->reasons), "Ignored by git · beside build.gradle");

    app.select_all_safe(*builds);
    EXPECT_TRUE(item(builds, "service/build")->selected);
    EXPECT_FALSE(item(builds, "desktop-app/build")->selected);
}

TEST(ScanEvidence, AProjectFolderNotYetWeighedIsNotSafe) {
    test_env::TempHome home;
    ScannedInfo info;
    info.path = home.path("home/code/app/node_modules");
    info.name = "app/node_modules";
    CategoryDef project;
    project.listing = ListingKind::Recursive;
    project.safety = SafetyLevel::Safe;
    // A measurement cancelled before it reached the entry leaves it so.
    EXPECT_EQ(App::item_of(info, project).safety, SafetyLevel::Caution);
    project.safety = SafetyLevel::Risky;
    EXPECT_EQ(App::item_of(info, project).safety, SafetyLevel::Risky);
    CategoryDef cache;
    cache.listing = ListingKind::SelfFolder;
    EXPECT_EQ(App::item_of(info, cache).safety, SafetyLevel::Safe);
    EXPECT_EQ(App::item_of(info, cache).path, info.path);
}

TEST(ScanEvidence, AVirtualEnvironmentStaysCautionWhateverItsEvidence) {
    test_env::TempHome home;
    write_file(home.path("home/code/py/.venv/pyvenv.cfg"), 10);
    write_file(home.path("home/code/py/.venv/lib/x.py"), 10);
    App app;
    app.start_scan();
    ASSERT_TRUE(wait_for_scan(app));
    const Item* venv = item(cat(app, "venvs"), "py/.venv");
    ASSERT_NE(venv, nullptr);
    EXPECT_EQ(venv->safety, SafetyLevel::Caution);
    EXPECT_EQ(app.reasons_line(venv->reasons), "marked by pyvenv.cfg");
}

TEST(ScanEvidence, AMeasurementGivenUpAtItsDeadlineIsNotWeighedAndNotSafe) {
    test_env::TempHome home;
    const std::string app_dir = home.path("home/code/web");
    write_file(app_dir + "/package.json", 10);
    write_file(app_dir + "/node_modules/.package-lock.json", 10);
    write_file(app_dir + "/node_modules/left-pad/index.js", 100);
    CategoryDef def;
    def.listing = ListingKind::Recursive;
    def.safety = SafetyLevel::Safe;
    ScannedInfo info;
    info.path = app_dir + "/node_modules";
    info.name = "web/node_modules";
    App app;
    git_repo::Cache repos;

    // Seen in full, the folder has all it needs to be Safe...
    Item whole = App::item_of(info, def);
    app.weigh(whole, def, scanner::measure(info.path, nullptr), repos);
    EXPECT_EQ(whole.safety, SafetyLevel::Safe);

    // ...but when the measurement was given up, nothing of that is trusted:
    // a repository deeper down could have been missed.
    scanner::Measure cut;
    cut.bytes = 4096;
    cut.complete = false;
    Item late = App::item_of(info, def);
    app.weigh(late, def, cut, repos);
    EXPECT_EQ(late.safety, SafetyLevel::Caution);
    EXPECT_EQ(app.reasons_line(late.reasons), "Took too long to look through");

    // A cancelled scan says nothing of the folder: it stays as listed.
    app.m_cancel = true;
    Item cancelled = App::item_of(info, def);
    app.weigh(cancelled, def, cut, repos);
    app.m_cancel = false;
    EXPECT_EQ(cancelled.safety, SafetyLevel::Caution);
    EXPECT_TRUE(cancelled.reasons.empty());
}

// ---------------------------------------------------------------------------
// One walk of the projects folder
// ---------------------------------------------------------------------------

TEST(ScanProjects, AHomeHoldingEveryRowIsScannedWithOneWalkOfTheProjectsFolder) {
    test_env::TempHome home;
    const std::string h = home.path("home");
    make_dirs(h + "/Android/Sdk");
    const std::vector<CategoryDef> every = catalog_testing::every_row();
    int project_rows = 0;
    for (const CategoryDef& d : every) {
        if (d.listing == ListingKind::Recursive) {
            ++project_rows;
            continue;
        }
        // Something in each, so that every row has an entry to list and
        // measure: a version inside a tool for the version managers, a
        // folder holding what the row asks of its entries.
        if (d.listing == ListingKind::ToolVersions)
            write_file(d.path + "/tool/1.0/f", 100);
        else if (!d.holds.empty())
            write_file(d.path + "/entry/" + d.holds + "/f", 100);
        else
            write_file(d.path + "/entry/f", 100);
    }
    ASSERT_GE(project_rows, 11);
    // Projects holding every kind the search looks for, each proven.
    const std::string code = h + "/code";
    write_file(code + "/web/package.json", 10);
    write_file(code + "/web/next.config.js", 10);
    make_dirs(code + "/web/node_modules/a");
    make_dirs(code + "/web/.next/cache");
    write_file(code + "/web/dist/index.js", 10);
    write_file(code + "/svc/Svc.csproj", 10);
    make_dirs(code + "/svc/bin/Debug");
    make_dirs(code + "/svc/obj/Debug");
    write_file(code + "/eng/CMakeLists.txt", 10);
    make_dirs(code + "/eng/cmake-build-debug");
    make_dirs(code + "/eng/build");
    write_file(code + "/ex/mix.exs", 10);
    make_dirs(code + "/ex/_build/dev");
    make_dirs(code + "/ex/deps/jason");
    write_file(code + "/py/tox.ini", 10);
    make_dirs(code + "/py/.tox/py312");
    write_file(code + "/py/.venv/pyvenv.cfg", 10);
    make_dirs(code + "/py/pkg/__pycache__");
    write_file(code + "/tf/main.tf", 10);
    make_dirs(code + "/tf/.terraform/providers");
    ASSERT_EQ(catalog::all().size(), every.size()) << "not every row's folder was made";

    scanner_testing::record_project_walk(true);
    App app;
    app.start_scan();
    ASSERT_TRUE(wait_for_scan(app, 120.0));
    const std::vector<std::string> opened = scanner_testing::project_walk_opened();
    scanner_testing::record_project_walk(false);

    EXPECT_EQ(std::count(opened.begin(), opened.end(), h), 1)
        << "the projects folder was walked more than once";
    std::vector<std::string> sorted = opened;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(std::adjacent_find(sorted.begin(), sorted.end()), sorted.end())
        << "a folder of the projects tree was read twice";
    // And the one walk found every kind for its row.
    for (const auto& [id, name] :
         std::vector<std::pair<const char*, const char*>>{{"nodeModules", "web/node_modules"},
                                                          {"webCaches", "web/.next"},
                                                          {"dotnetBuild", "svc/bin"},
                                                          {"dotnetBuild", "svc/obj"},
                                                          {"cmakeBuilds", "eng/cmake-build-debug"},
                                                          {"buildDirs", "eng/build"},
                                                          {"toolchainBuilds", "ex/_build"},
                                                          {"toolchainBuilds", "ex/deps"},
                                                          {"testEnvs", "py/.tox"},
                                                          {"venvs", "py/.venv"},
                                                          {"pycache", "pkg/__pycache__"},
                                                          {"terraformDirs", "tf/.terraform"}}) {
        const CatState* c = cat(app, id);
        ASSERT_NE(c, nullptr) << id;
        EXPECT_TRUE(c->did_scan) << id;
        EXPECT_NE(item(c, name), nullptr) << id << ": " << name;
    }
    // Every other row was listed as well.
    for (const CatState& c : app.m_cats)
        if (c.def.listing != ListingKind::Recursive) {
            EXPECT_FALSE(c.items.empty()) << c.def.id;
        }
}
