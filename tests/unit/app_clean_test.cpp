// Selection, the confirmation dialog, and the deletion worker's body driven
// directly on an App. Everything that deletes runs in a sealed child (see
// sealed.h): only the test's own folder is writable there, and every path is
// checked with safe_to_delete() before it is handed over.

#include "app.h"
#include "format.h"
#include "fs_fixture.h"
#include "git_fixture.h"
#include "i18n.h"
#include "process_fixture.h"
#include "render_test_util.h"
#include "sealed.h"
#include "settings.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using render_test::category;

namespace {

const char* tr(const char* text) {
    return I18n::instance().tr(text);
}

Item entry(const std::string& path, int64_t size, SafetyLevel safety = SafetyLevel::Safe,
           bool keep = false) {
    Item it;
    it.path = path;
    it.name = path.substr(path.rfind('/') + 1);
    it.size = size;
    it.size_known = size > 0;
    it.safety = safety;
    it.keep_hint = keep;
    return it;
}

void make_file(const std::string& path, const std::string& content = "data") {
    std::ofstream(path) << content;
}

void make_dir(const std::string& path, mode_t mode = 0755) {
    ASSERT_EQ(mkdir(path.c_str(), mode), 0) << path;
    ASSERT_EQ(chmod(path.c_str(), mode), 0) << path;
}

bool exists(const std::string& path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0;
}

// What do_clean left behind, as the child reports it.
struct Outcome {
    int code = -1;
    std::string status;
    int64_t freed = -1;
    bool pending = false;
    bool status_failed = false;
    std::vector<std::string> items;  // "category-id path selected"
    std::vector<std::string> manual; // "path|detail"
    std::vector<std::string> failed;
};

std::string encode(const App& app) {
    std::ostringstream out;
    out << "status\t" << app.m_status_message << "\n";
    out << "freed\t" << app.m_freed_bytes << "\n";
    out << "pending\t" << (app.m_failed_dialog_pending ? 1 : 0) << "\n";
    out << "status_failed\t" << (app.m_status_failed ? 1 : 0) << "\n";
    for (const CatState& c : app.m_cats)
        for (const Item& it : c.items)
            out << "item\t" << c.def.id << " " << it.path << " " << (it.selected ? 1 : 0) << "\n";
    for (const Item& m : app.m_manual)
        out << "manual\t" << m.path << "|" << m.detail << "\n";
    for (const std::string& f : app.m_failed_paths)
        out << "failed\t" << f << "\n";
    return out.str();
}

Outcome decode(int code, const std::string& text) {
    Outcome o;
    o.code = code;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        const size_t tab = line.find('\t');
        if (tab == std::string::npos)
            continue;
        const std::string key = line.substr(0, tab);
        const std::string value = line.substr(tab + 1);
        if (key == "status")
            o.status = value;
        else if (key == "freed")
            o.freed = std::stoll(value);
        else if (key == "pending")
            o.pending = value == "1";
        else if (key == "status_failed")
            o.status_failed = value == "1";
        else if (key == "item")
            o.items.push_back(value);
        else if (key == "manual")
            o.manual.push_back(value);
        else if (key == "failed")
            o.failed.push_back(value);
    }
    return o;
}

constexpr int SEAL_FAILED = 90;
constexpr int DROP_FAILED = 91;

// Runs do_clean on an App holding cats, in a child sealed around the test
// folder, optionally as an unprivileged user. Every ticked path must lie
// safely inside the test folder, or nothing runs.
Outcome clean_sealed(const test_env::TempHome& t, std::vector<CatState> cats,
                     bool unprivileged = false, std::vector<Item> manual_before = {}) {
    for (const CatState& c : cats)
        for (const Item& it : c.items) {
            std::string why;
            if (it.selected && !sealed::safe_to_delete(t.root(), it.path, why)) {
                ADD_FAILURE() << "refusing to delete " << it.path << ": " << why;
                return {};
            }
        }
    const std::string root = sealed::real(t.root());
    const sealed::ChildOutcome c = sealed::in_child([&](int& code) -> std::string {
        if (root.empty() || !sealed::seal_all_but(root)) {
            code = SEAL_FAILED;
            return "";
        }
        if (unprivileged && !sealed::become_unprivileged()) {
            code = DROP_FAILED;
            return "";
        }
        App app;
        app.m_cats = cats;
        app.m_manual = manual_before;
        app.do_clean();
        return encode(app);
    });
    EXPECT_EQ(c.exit_code, 0) << "the deleting child ended with " << c.exit_code;
    return decode(c.exit_code, c.output);
}

// A category whose entries live in a real folder of the test home.
CatState folder_category(const std::string& id, const std::string& folder) {
    CatState c = category(id, GroupKind::JavaScript, {});
    c.def.path = folder;
    return c;
}

} // namespace

// ---------------------------------------------------------------------------
// Selection
// ---------------------------------------------------------------------------

TEST(AppSelect, SafeOnesTicksOnlySafeEntriesThatAreNotKept) {
    test_env::TempHome home;
    App app;
    CatState c = category("sdk", GroupKind::Android, {});
    c.items = {entry("/x/a", 10), entry("/x/b", 20, SafetyLevel::Caution),
               entry("/x/c", 30, SafetyLevel::Risky), entry("/x/d", 40, SafetyLevel::Safe, true),
               entry("/x/e", 50)};
    app.select_all_safe(c);
    EXPECT_TRUE(c.items[0].selected);
    EXPECT_FALSE(c.items[1].selected) << "Caution";
    EXPECT_FALSE(c.items[2].selected) << "Risky";
    EXPECT_FALSE(c.items[3].selected) << "the kept newest entry";
    EXPECT_TRUE(c.items[4].selected);
}

TEST(AppSelect, SafeOnesLeavesTicksOnOtherEntriesAsTheyAre) {
    test_env::TempHome home;
    App app;
    CatState c = category("sdk", GroupKind::Android, {});
    c.items = {entry("/x/a", 10), entry("/x/b", 20, SafetyLevel::Risky)};
    c.items[1].selected = true;
    app.select_all_safe(c);
    EXPECT_TRUE(c.items[0].selected);
    EXPECT_TRUE(c.items[1].selected) << "a tick the user set by hand stays";
}

TEST(AppSelect, NoneClearsEveryTickOfTheCategoryOnly) {
    test_env::TempHome home;
    App app;
    app.m_cats = {category("a", GroupKind::Java, {1, 2}), category("b", GroupKind::Java, {3})};
    for (CatState& c : app.m_cats)
        for (Item& it : c.items)
            it.selected = true;
    app.select_none(app.m_cats[0]);
    EXPECT_FALSE(app.m_cats[0].items[0].selected);
    EXPECT_FALSE(app.m_cats[0].items[1].selected);
    EXPECT_TRUE(app.m_cats[1].items[0].selected);
}

TEST(AppSelect, CountAndSizeSpanAllCategoriesAndAddOnlyPositiveSizes) {
    test_env::TempHome home;
    App app;
    app.m_cats = {category("a", GroupKind::Java, {1000, 0, 500}),
                  category("b", GroupKind::Python, {7000, 3})};
    app.m_cats[0].items[0].selected = true;
    app.m_cats[0].items[1].selected = true; // size unknown: counted, adds nothing
    app.m_cats[1].items[0].selected = true;
    app.m_cats[1].items.push_back(entry("/x/neg", -1));
    app.m_cats[1].items.back().selected = true;
    EXPECT_EQ(app.selected_count(), 4);
    EXPECT_EQ(app.selected_size(), 8000);
}

// ---------------------------------------------------------------------------
// Confirmation
// ---------------------------------------------------------------------------

TEST(AppConfirm, NothingSelectedOpensNoDialog) {
    test_env::TempHome home;
    App app;
    app.m_cats = {category("a", GroupKind::Java, {1000})};
    app.confirm_clean();
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
}

TEST(AppConfirm, NoCategoriesOpensNoDialog) {
    test_env::TempHome home;
    App app;
    app.confirm_clean();
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
}

TEST(AppConfirm, DialogNamesCountAndSizeAndOffersDeleteThenCancel) {
    test_env::TempHome home;
    App app;
    app.m_cats = {category("a", GroupKind::Java, {1'500'000'000, 500'000'000, 7})};
    app.m_cats[0].items[0].selected = true;
    app.m_cats[0].items[1].selected = true;
    app.confirm_clean();
    ASSERT_EQ(app.m_overlay, App::Overlay::Dialog);
    EXPECT_EQ(app.m_dialog_title, tr("Delete permanently?"));
    const std::string first = I18n::instance().trf("%s item(s) · %s", fmt::count(2).c_str(),
                                                   fmt::bytes(2'000'000'000).c_str());
    EXPECT_EQ(app.m_dialog_message.substr(0, app.m_dialog_message.find('\n')), first);
    EXPECT_NE(
        app.m_dialog_message.find(tr("This cannot be undone. Caches and build folders are "
                                     "recreated by their tools; anything marked Risky is not.")),
        std::string::npos);
    ASSERT_EQ(app.m_dialog_buttons.size(), 2u);
    EXPECT_EQ(app.m_dialog_buttons[0].id, 1);
    EXPECT_EQ(app.m_dialog_buttons[0].label, tr("Delete permanently"));
    EXPECT_TRUE(app.m_dialog_buttons[0].destructive);
    EXPECT_FALSE(app.m_dialog_buttons[0].cancel);
    EXPECT_EQ(app.m_dialog_buttons[1].id, 0);
    EXPECT_EQ(app.m_dialog_buttons[1].label, tr("Cancel"));
    EXPECT_TRUE(app.m_dialog_buttons[1].cancel);
    EXPECT_FALSE(app.m_dialog_buttons[1].destructive);
}

TEST(AppConfirm, InARightToLeftLanguageCountAndSizeStayLeftToRight) {
    test_env::TempHome home;
    render_test::Language arabic("ar");
    App app;
    app.m_rtl = true; // as the last frame drawn in Arabic left it
    app.m_cats = {category("a", GroupKind::Java, {2048})};
    app.m_cats[0].items[0].selected = true;
    app.confirm_clean();
    ASSERT_EQ(app.m_overlay, App::Overlay::Dialog);
    // The size is wrapped in left-to-right marks for the right-to-left text.
    EXPECT_NE(app.m_dialog_message.find(app.ltr(fmt::bytes(2048))), std::string::npos);
    EXPECT_NE(app.ltr(fmt::bytes(2048)), fmt::bytes(2048));
}

TEST(AppConfirm, NoSecondDialogWhileADeletionRuns) {
    test_env::TempHome home;
    App app;
    app.m_cats = {category("a", GroupKind::Java, {1000})};
    app.m_cats[0].items[0].selected = true;
    app.m_cleaning = true;
    app.confirm_clean();
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
}

TEST(AppConfirm, CancelClosesTheDialogAndStartsNothing) {
    test_env::TempHome home;
    App app;
    app.m_cats = {category("a", GroupKind::Java, {1000})};
    app.m_cats[0].items[0].selected = true;
    app.confirm_clean();
    app.press_dialog_button(0);
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
    EXPECT_FALSE(app.m_worker.joinable());
    EXPECT_FALSE(app.m_cleaning);
    EXPECT_TRUE(app.m_cats[0].items[0].selected);
}

// ---------------------------------------------------------------------------
// The deletion worker
// ---------------------------------------------------------------------------

TEST(AppClean, TickedEntriesGoTheRestStaysAndTheFreedAmountIsReported) {
    test_env::TempHome t;
    const std::string cache = t.path("home/.npm-fixture");
    make_dir(cache);
    for (const char* n : {"a", "b", "c"}) {
        make_dir(cache + "/" + n);
        make_file(cache + "/" + n + "/blob", std::string(5000, 'x'));
    }
    CatState c = folder_category("npm", cache);
    c.items = {entry(cache + "/a", 4096), entry(cache + "/b", 8192), entry(cache + "/c", 12288)};
    c.items[0].selected = true;
    c.items[2].selected = true;

    const Outcome o = clean_sealed(t, {c});
    ASSERT_EQ(o.code, 0);
    EXPECT_FALSE(exists(cache + "/a"));
    EXPECT_TRUE(exists(cache + "/b/blob"));
    EXPECT_FALSE(exists(cache + "/c"));
    EXPECT_EQ(o.items, std::vector<std::string>{"npm " + cache + "/b 0"});
    EXPECT_EQ(o.freed, 4096 + 12288);
    const App plain; // English, left to right
    EXPECT_EQ(o.status,
              I18n::instance().trf("%s freed", plain.ltr(fmt::bytes(4096 + 12288)).c_str()));
    EXPECT_FALSE(o.pending);
    EXPECT_FALSE(o.status_failed);
    EXPECT_TRUE(o.manual.empty());
}

TEST(AppClean, TheSamePathTickedInTwoCategoriesIsDeletedAndCountedOnce) {
    test_env::TempHome t;
    const std::string folder = t.path("home/proj");
    make_dir(folder);
    make_dir(folder + "/node_modules");
    CatState a = folder_category("nodeModules", folder);
    a.items = {entry(folder + "/node_modules", 4096)};
    a.items[0].selected = true;
    CatState b = folder_category("buildDirs", folder);
    b.items = a.items;
    const Outcome o = clean_sealed(t, {a, b});
    ASSERT_EQ(o.code, 0);
    EXPECT_FALSE(exists(folder + "/node_modules"));
    EXPECT_TRUE(o.items.empty()) << "gone from both lists";
    EXPECT_EQ(o.freed, 4096);
}

TEST(AppClean, AProtectedPathIsNeverHandedOverAndStaysTickedAndListed) {
    test_env::TempHome t;
    const std::string home = t.path("home");
    const std::string keep = home + "/Documents";
    make_dir(keep);
    make_file(keep + "/thesis.txt", "years of work");
    // The home itself and the user's documents folder are what the guard
    // exists for; the test checks it without handing them to any deletion
    // outside the sealed child.
    CatState c = folder_category("odd", home);
    c.items = {entry(home, 4096), entry(home + "/.config", 4096)};
    c.items[0].selected = true;
    c.items[1].selected = true;
    const std::string root = sealed::real(t.root());
    const sealed::ChildOutcome child = sealed::in_child([&](int& code) -> std::string {
        if (root.empty() || !sealed::seal_all_but(root)) {
            code = SEAL_FAILED;
            return "";
        }
        App app;
        app.m_cats = {c};
        app.do_clean();
        return encode(app);
    });
    ASSERT_EQ(child.exit_code, 0);
    const Outcome o = decode(child.exit_code, child.output);
    EXPECT_EQ(test_env::read_file(keep + "/thesis.txt"), "years of work");
    EXPECT_TRUE(exists(home + "/.config"));
    EXPECT_EQ(o.items,
              (std::vector<std::string>{"odd " + home + " 1", "odd " + home + "/.config 1"}));
    EXPECT_TRUE(o.status.empty()) << "nothing was handed over, so nothing is reported";
    EXPECT_EQ(o.freed, 0);
    EXPECT_FALSE(o.pending);
}

TEST(AppClean, WhenEveryPathFailsNothingIsFreedAndTheFailureDialogIsPending) {
    test_env::TempHome t;
    ASSERT_EQ(chmod(t.root().c_str(), 0755), 0); // the unprivileged child must get in
    const std::string cache = t.path("home/locked");
    make_dir(cache);
    make_dir(cache + "/a");
    make_file(cache + "/a/blob");
    make_file(cache + "/b");
    if (geteuid() == 0) {
        // Owned by nobody, as the user's own files would be; only the
        // read-only folder holding them stops the deletion.
        for (const char* n : {"", "/a", "/a/blob", "/b"})
            ASSERT_EQ(lchown((cache + n).c_str(), sealed::NOBODY, sealed::NOGROUP), 0);
    }
    ASSERT_EQ(chmod(cache.c_str(), 0555), 0);
    CatState c = folder_category("locked", cache);
    c.items = {entry(cache + "/a", 4096), entry(cache + "/b", 4096)};
    c.items[0].selected = true;
    c.items[1].selected = true;

    const Outcome o = clean_sealed(t, {c}, true);
    chmod(cache.c_str(), 0755);
    ASSERT_EQ(o.code, 0);
    // The folder could only be emptied, not removed from the read-only one.
    EXPECT_TRUE(exists(cache + "/a"));
    EXPECT_TRUE(exists(cache + "/b"));
    EXPECT_EQ(o.freed, 0);
    EXPECT_EQ(o.status.find(I18n::instance().trf("%s freed", "")), std::string::npos)
        << "no freed message: " << o.status;
    EXPECT_EQ(o.status, "The item could not be moved") << "the deletion's reason, as a key";
    EXPECT_TRUE(o.status_failed) << "shown as a failure";
    EXPECT_TRUE(o.pending);
    EXPECT_EQ(o.failed, (std::vector<std::string>{cache + "/a", cache + "/b"}));
    ASSERT_EQ(o.manual.size(), 2u);
    EXPECT_EQ(o.manual[0].substr(0, o.manual[0].find('|')), cache + "/a");
    EXPECT_FALSE(o.manual[0].substr(o.manual[0].find('|') + 1).empty()) << "each says why";
    // What failed stays listed, unticked: it waits on the manual page now.
    EXPECT_EQ(o.items,
              (std::vector<std::string>{"locked " + cache + "/a 0", "locked " + cache + "/b 0"}));
}

TEST(AppClean, AFailedPathAlreadyOnTheManualListIsNotAddedTwice) {
    test_env::TempHome t;
    ASSERT_EQ(chmod(t.root().c_str(), 0755), 0);
    const std::string cache = t.path("home/locked");
    make_dir(cache);
    make_file(cache + "/b");
    if (geteuid() == 0) {
        ASSERT_EQ(lchown(cache.c_str(), sealed::NOBODY, sealed::NOGROUP), 0);
        ASSERT_EQ(lchown((cache + "/b").c_str(), sealed::NOBODY, sealed::NOGROUP), 0);
    }
    ASSERT_EQ(chmod(cache.c_str(), 0555), 0);
    CatState c = folder_category("locked", cache);
    c.items = {entry(cache + "/b", 4096)};
    c.items[0].selected = true;
    Item earlier = entry(cache + "/b", 4096);
    earlier.detail = "from before";
    const Outcome o = clean_sealed(t, {c}, true, {earlier});
    chmod(cache.c_str(), 0755);
    ASSERT_EQ(o.code, 0);
    EXPECT_EQ(o.manual, std::vector<std::string>{cache + "/b|from before"});
    EXPECT_TRUE(o.pending);
}

TEST(AppClean, ApplyDeletionRemovesEveryDeletedPathFromEveryCategory) {
    test_env::TempHome home;
    App app;
    app.m_cats = {category("a", GroupKind::Java, {1, 2, 3}), category("b", GroupKind::Java, {4})};
    shell_ops::DeleteResult r;
    r.deleted = {app.m_cats[0].items[1].path, app.m_cats[1].items[0].path, "/not/listed"};
    app.apply_deletion(r);
    ASSERT_EQ(app.m_cats[0].items.size(), 2u);
    EXPECT_EQ(app.m_cats[0].items[0].size, 1);
    EXPECT_EQ(app.m_cats[0].items[1].size, 3);
    EXPECT_TRUE(app.m_cats[1].items.empty());
}

// ---------------------------------------------------------------------------
// After the worker: the poll, the failure dialog, the manual page
// ---------------------------------------------------------------------------

namespace {

// Plays a deletion worker that has finished with the given failures.
void finish_like_a_failed_deletion(App& app, std::vector<std::string> failed) {
    app.m_failed_paths = std::move(failed);
    app.m_failed_dialog_pending = true;
    app.m_cleaning = true;
    app.m_worker = std::thread([] {}); // m_worker_running stays false: it has ended
}

} // namespace

TEST(AppPoll, AFinishedDeletionWithFailuresOpensTheFailureDialogOnce) {
    test_env::TempHome home;
    App app;
    finish_like_a_failed_deletion(app, {"/x/a", "/x/b"});
    app.on_poll();
    EXPECT_FALSE(app.m_cleaning);
    EXPECT_FALSE(app.m_worker.joinable());
    ASSERT_EQ(app.m_overlay, App::Overlay::Dialog);
    EXPECT_EQ(app.m_dialog_title, tr("Could not delete everything"));
    EXPECT_EQ(app.m_dialog_message.substr(0, app.m_dialog_message.find('\n')),
              I18n::instance().trf("%s item(s) could not be deleted here.", fmt::count(2).c_str()));
    ASSERT_EQ(app.m_dialog_buttons.size(), 2u);
    EXPECT_EQ(app.m_dialog_buttons[0].id, 3);
    EXPECT_EQ(app.m_dialog_buttons[0].label, tr("Show the list"));
    EXPECT_EQ(app.m_dialog_buttons[1].id, 0);
    EXPECT_TRUE(app.m_dialog_buttons[1].cancel);

    app.m_overlay = App::Overlay::None;
    app.on_poll();
    EXPECT_EQ(app.m_overlay, App::Overlay::None) << "the dialog comes once per deletion";
}

TEST(AppPoll, ShowTheListOpensTheManualPageFromTheTop) {
    test_env::TempHome home;
    App app;
    finish_like_a_failed_deletion(app, {"/x/a"});
    app.on_poll();
    app.m_scroll = 300;
    app.press_dialog_button(3);
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
    EXPECT_EQ(app.m_selection, "__manual__");
    EXPECT_EQ(app.m_scroll, 0);
}

TEST(AppPoll, AFinishedScanOpensNoDialog) {
    test_env::TempHome home;
    App app;
    app.m_scanning = true;
    app.m_worker = std::thread([] {});
    app.on_poll();
    EXPECT_FALSE(app.m_scanning);
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
}

TEST(AppPoll, ADeletionConfirmedDuringAScanStartsWhenTheScanEnds) {
    test_env::TempHome home;
    App app;
    // A scan worker still running: the confirmed deletion waits for it.
    std::atomic<bool> release{false};
    app.m_scanning = true;
    app.m_worker_running = true;
    app.m_worker = std::thread([&] {
        while (!release)
            std::this_thread::yield();
        app.m_worker_running = false;
    });
    app.press_dialog_button(1);
    EXPECT_TRUE(app.m_clean_queued);
    EXPECT_TRUE(app.m_cleaning) << "the interface shows the deletion from the click on";
    app.on_poll();
    EXPECT_TRUE(app.m_clean_queued) << "nothing starts while the scan runs";
    release = true;
    while (app.m_worker_running)
        std::this_thread::yield();
    app.on_poll();
    EXPECT_FALSE(app.m_clean_queued);
    EXPECT_FALSE(app.m_scanning);
    // Nothing is ticked, so the deletion worker ends at once; it did start.
    EXPECT_TRUE(app.m_cleaning);
    EXPECT_TRUE(app.m_worker.joinable());
    while (app.m_worker_running)
        std::this_thread::yield();
    app.on_poll();
    EXPECT_FALSE(app.m_cleaning);
}

TEST(AppPoll, ConfirmingRightAfterAWorkerEndedStartsTheDeletionAtOnce) {
    test_env::TempHome home;
    App app;
    app.m_scanning = true;
    app.m_worker = std::thread([] {}); // finished, not yet collected by the poll
    while (app.m_worker_running)
        std::this_thread::yield();
    app.press_dialog_button(1);
    EXPECT_FALSE(app.m_clean_queued);
    EXPECT_FALSE(app.m_scanning);
    EXPECT_TRUE(app.m_cleaning);
    EXPECT_TRUE(app.m_worker.joinable());
    app.m_worker.join();
}

// ---------------------------------------------------------------------------
// Revealing
// ---------------------------------------------------------------------------

TEST(AppReveal, WhenNoFileManagerAnswersADialogShowsThePath) {
    test_env::TempHome home;
    // A command that cannot start: the reveal fails without asking the bus.
    SettingsStore::instance().mutable_get().file_manager_command = "/nonexistent/quillet-fm %s";
    App app;
    app.reveal_or_explain("/some where/Ünïcode");
    SettingsStore::instance().mutable_get() = Settings{};
    ASSERT_EQ(app.m_overlay, App::Overlay::Dialog);
    EXPECT_EQ(app.m_dialog_title, tr("Could not open the file manager"));
    EXPECT_EQ(app.m_dialog_message,
              std::string(tr("No file manager answered. The folder is here:")) + "\n\n" +
                  app.ltr("/some where/Ünïcode"));
    ASSERT_EQ(app.m_dialog_buttons.size(), 1u);
    EXPECT_EQ(app.m_dialog_buttons[0].label, tr("Close"));
    EXPECT_TRUE(app.m_dialog_buttons[0].cancel);
}

TEST(AppReveal, TheFailureDialogsRevealButtonShowsTheFirstFailedPath) {
    test_env::TempHome home;
    SettingsStore::instance().mutable_get().file_manager_command = "/nonexistent/quillet-fm %s";
    App app;
    app.m_failed_paths = {"/first/failed", "/second"};
    app.press_dialog_button(2);
    SettingsStore::instance().mutable_get() = Settings{};
    ASSERT_EQ(app.m_overlay, App::Overlay::Dialog);
    EXPECT_NE(app.m_dialog_message.find(app.ltr("/first/failed")), std::string::npos);
}

// ---------------------------------------------------------------------------
// The last look before each path goes
// ---------------------------------------------------------------------------

namespace {

// A repository whose target/ is ignored build output, as a scan saw it
// (Safe), and a plain node_modules elsewhere; both ticked.
struct LastLookHome {
    std::string app, target, modules;
    std::vector<CatState> cats;

    explicit LastLookHome(const test_env::TempHome& t) {
        app = t.path("home/code/app");
        target = app + "/target";
        modules = t.path("home/code/web/node_modules");
        git_fixture::init_repo(app);
        git_fixture::write(app + "/Cargo.toml");
        git_fixture::write(app + "/.gitignore", "target/\n");
        git_fixture::commit(app, "Cargo.toml .gitignore");
        git_fixture::write(target + "/debug/app", std::string(3000, 'b'));
        git_fixture::write(t.path("home/code/web/package.json"), "{}");
        git_fixture::write(modules + "/left-pad/index.js", std::string(2000, 'j'));
        CatState builds = category("buildDirs", GroupKind::Projects, {});
        builds.items = {entry(target, 8192)};
        CatState nm = category("nodeModules", GroupKind::Projects, {});
        nm.items = {entry(modules, 8192)};
        builds.items[0].selected = true;
        nm.items[0].selected = true;
        cats = {builds, nm};
    }
};

} // namespace

TEST(AppCleanLastLook, AFileCommittedAfterTheScanStopsThatDeletionAndNothingElse) {
    test_env::TempHome t;
    LastLookHome h(t);
    // After the scan, before the deletion: somebody commits a file in target/.
    git_fixture::write(h.target + "/deploy.yaml", "replicas: 3\n");
    git_fixture::commit(h.app, "target/deploy.yaml");
    const fs_fixture::Manifest before = fs_fixture::manifest(t.root(), {h.modules});

    const Outcome o = clean_sealed(t, h.cats);
    ASSERT_EQ(o.code, 0);
    EXPECT_FALSE(exists(h.modules));
    EXPECT_EQ(fs_fixture::manifest(t.root()), before);
    EXPECT_EQ(o.manual, std::vector<std::string>{h.target + "|Holds files tracked by git"});
    EXPECT_EQ(o.failed, std::vector<std::string>{h.target});
    EXPECT_TRUE(o.pending);
    EXPECT_TRUE(o.status_failed);
    EXPECT_EQ(o.status, "Holds files tracked by git");
    EXPECT_EQ(o.freed, 8192);
}

TEST(AppCleanLastLook, AProgramWorkingInsideATickedFolderStopsItsDeletion) {
    test_env::TempHome t;
    LastLookHome h(t);
    const std::string workdir = h.target + "/debug";
    process_fixture::Sleeper build_tool("/bin/sleep", [&] {
        if (chdir(workdir.c_str()) != 0)
            _exit(126);
    });
    ASSERT_TRUE(build_tool.started());
    const fs_fixture::Manifest before = fs_fixture::manifest(t.root(), {h.modules});

    const Outcome o = clean_sealed(t, h.cats);
    ASSERT_EQ(o.code, 0);
    EXPECT_FALSE(exists(h.modules));
    EXPECT_EQ(fs_fixture::manifest(t.root()), before);
    EXPECT_EQ(o.manual, std::vector<std::string>{h.target + "|In use by a running program"});
    EXPECT_EQ(o.status, "In use by a running program");
}

TEST(AppCleanLastLook, WithNeitherTheTickedFoldersGo) {
    test_env::TempHome t;
    LastLookHome h(t);
    const fs_fixture::Manifest before = fs_fixture::manifest(t.root(), {h.modules, h.target});
    const Outcome o = clean_sealed(t, h.cats);
    ASSERT_EQ(o.code, 0);
    EXPECT_FALSE(exists(h.modules));
    EXPECT_FALSE(exists(h.target));
    EXPECT_EQ(fs_fixture::manifest(t.root()), before);
    EXPECT_TRUE(o.manual.empty());
    EXPECT_FALSE(o.pending);
}

TEST(AppConfirm, TheDialogSaysHowManyTickedEntriesAreMarkedCautionOrRisky) {
    test_env::TempHome t;
    App app;
    CatState c = category("buildDirs", GroupKind::Projects, {});
    c.items = {entry(t.path("a"), 4096, SafetyLevel::Safe),
               entry(t.path("b"), 4096, SafetyLevel::Caution),
               entry(t.path("c"), 4096, SafetyLevel::Risky),
               entry(t.path("d"), 4096, SafetyLevel::Caution)};
    for (Item& it : c.items)
        it.selected = true;
    app.m_cats = {c};
    app.confirm_clean();
    EXPECT_NE(app.m_dialog_message.find("\n2 of them marked Caution · 1 of them marked Risky\n"),
              std::string::npos)
        << app.m_dialog_message;

    // Only Safe ones ticked: nothing more is said.
    for (Item& it : app.m_cats[0].items)
        it.selected = it.safety == SafetyLevel::Safe;
    app.m_overlay = App::Overlay::None;
    app.confirm_clean();
    EXPECT_EQ(app.m_dialog_message.find("of them marked"), std::string::npos)
        << app.m_dialog_message;
}
