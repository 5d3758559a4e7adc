// Selection, the confirmation dialog, and the deletion worker's body driven
// directly on an App. Everything that deletes runs in a sealed child (see
// sealed.h): only the test's own folder is writable there, and every path is
// checked with safe_to_delete() before it is handed over.

#include "app.h"
#include "disk_space.h"
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

#include <dirent.h>
#include <fstream>
#include <functional>
#include <sstream>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
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
    int64_t gained = -2;
    // Free bytes of the test folder's file system, read by the test itself
    // just before and just after do_clean.
    int64_t disk_before = -1;
    int64_t disk_after = -1;
    int64_t disk_block = 0;
    bool pending = false;
    bool status_failed = false;
    std::vector<std::string> items;  // "category-id path selected"
    std::vector<std::string> manual; // "path|detail"
    std::vector<std::string> failed;
};

std::string encode(const App& app) {
    std::ostringstream out;
    out << "status\t" << app.status_text() << "\n";
    out << "freed\t" << app.m_freed_bytes << "\n";
    out << "gained\t" << app.m_gained_bytes << "\n";
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
        else if (key == "gained")
            o.gained = std::stoll(value);
        else if (key == "disk_before")
            o.disk_before = std::stoll(value);
        else if (key == "disk_after")
            o.disk_after = std::stoll(value);
        else if (key == "disk_block")
            o.disk_block = std::stoll(value);
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

// The free bytes of the file system holding folder, read the way a person
// would check (statvfs); -1 when unread. No syncfs here: the program syncs
// right before its own reading after the deletion, and a sync's wait here
// would only widen the gap between the two readings.
int64_t free_bytes(const std::string& folder, int64_t& block) {
    struct statvfs vfs {};
    if (statvfs(folder.c_str(), &vfs) != 0)
        return -1;
    block = static_cast<int64_t>(vfs.f_frsize);
    return static_cast<int64_t>(vfs.f_bfree) * block;
}

// The bytes a tree holds on disk, as du counts them (512-byte blocks).
int64_t allocated(const std::string& path) {
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0)
        return 0;
    int64_t sum = static_cast<int64_t>(st.st_blocks) * 512;
    if (S_ISDIR(st.st_mode))
        if (DIR* d = opendir(path.c_str())) {
            while (const dirent* e = readdir(d)) {
                const std::string n = e->d_name;
                if (n != "." && n != "..")
                    sum += allocated(path + "/" + n);
            }
            closedir(d);
        }
    return sum;
}

constexpr int SEAL_FAILED = 90;
constexpr int DROP_FAILED = 91;
constexpr int PREPARE_FAILED = 92;

// Work done in the sealed child before the App is made: a file system of its
// own to mount there, say, which nobody outside the child can write to. It
// may adjust the categories (sizes measured there). False stops the test.
using Prepare = std::function<bool(std::vector<CatState>& cats)>;

// Runs do_clean on an App holding cats, in a child sealed around the test
// folder, optionally as an unprivileged user. Every ticked path must lie
// safely inside the test folder, or nothing runs.
// The free space before and after is read on the file system holding
// disk_folder (the test folder when empty).
Outcome clean_sealed(const test_env::TempHome& t, std::vector<CatState> cats,
                     bool unprivileged = false, std::vector<Item> manual_before = {},
                     const Prepare& prepare = {}, const std::string& disk_folder = "") {
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
        if (prepare && !prepare(cats)) {
            code = PREPARE_FAILED;
            return "";
        }
        if (unprivileged && !sealed::become_unprivileged()) {
            code = DROP_FAILED;
            return "";
        }
        App app;
        app.m_cats = cats;
        app.m_manual = manual_before;
        const std::string disk = disk_folder.empty() ? root : disk_folder;
        int64_t block = 0;
        const int64_t before = free_bytes(disk, block);
        app.do_clean();
        const int64_t after = free_bytes(disk, block);
        return encode(app) + "disk_before\t" + std::to_string(before) + "\ndisk_after\t" +
               std::to_string(after) + "\ndisk_block\t" + std::to_string(block) + "\n";
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
    // The status leads with what the disk gained; whether the expected sum
    // stands beside it depends on what else wrote to the disk meanwhile.
    ASSERT_NE(o.gained, -1) << "the test folder's file system could be read";
    const App plain; // English, left to right
    const std::string gained = plain.ltr(fmt::bytes(std::max<int64_t>(o.gained, 0)));
    EXPECT_EQ(o.status.rfind(I18n::instance().trf("%s freed", gained.c_str()), 0), 0u) << o.status;
    EXPECT_FALSE(o.pending);
    EXPECT_FALSE(o.status_failed);
    EXPECT_TRUE(o.manual.empty());
}

TEST(AppClean, TheReportedGainIsWhatStatvfsSawAroundTheDeletion) {
    test_env::TempHome t;
    const std::string cache = t.path("home/.cache-fixture");
    make_dir(cache);
    CatState c = folder_category("npm", cache);
    c.items = {entry(cache + "/a", 0), entry(cache + "/b", 0), entry(cache + "/keep", 0)};
    c.items[0].selected = true;
    c.items[1].selected = true;
    // The entries live on a small file system of the child's own, so that
    // no other program on the machine (a build running beside the tests)
    // writes to it between the readings: what the program read and what the
    // test read must then agree to the byte.
    const Prepare on_own_disk = [&](std::vector<CatState>& cats) {
        if (mount("tmpfs", cache.c_str(), "tmpfs", 0, "size=64m") != 0)
            return false;
        // Real data, not sparse: 16 MiB in two entries, and one entry that stays.
        const std::string mib(1024 * 1024, 'x');
        for (const char* n : {"a", "b", "keep"}) {
            if (mkdir((cache + "/" + n).c_str(), 0755) != 0)
                return false;
            for (int k = 0; k < 8; ++k) {
                std::ofstream out(cache + "/" + n + "/blob" + std::to_string(k));
                out << mib;
                if (!out)
                    return false;
            }
        }
        // Sizes as the scan measures them (du's blocks), so the expected
        // sum is what the disk should give back.
        for (Item& it : cats[0].items) {
            it.size = allocated(it.path);
            it.size_known = true;
        }
        return true;
    };
    const Outcome o = clean_sealed(t, {c}, false, {}, on_own_disk, cache);
    ASSERT_EQ(o.code, 0) << "92: the child's own file system could not be made";
    ASSERT_GE(o.disk_before, 0);
    ASSERT_GE(o.disk_after, 0);
    ASSERT_NE(o.gained, -1) << "the program could read the free space";
    const int64_t seen = o.disk_after - o.disk_before;
    EXPECT_EQ(o.gained, seen) << "program " << o.gained << ", statvfs " << seen;
    // Each of the two entries held 8 MiB, and nothing else wrote there.
    EXPECT_EQ(o.freed, 16 * 1024 * 1024);
    EXPECT_EQ(o.gained, 16 * 1024 * 1024);
    const App plain;
    EXPECT_EQ(o.status, I18n::instance().trf("%s freed", plain.ltr(fmt::bytes(o.gained)).c_str()))
        << o.status;
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

// ---------------------------------------------------------------------------
// The status after a deletion, from made-up readings of two file systems
// ---------------------------------------------------------------------------

namespace {

constexpr int64_t MiB = 1024 * 1024;

// Two entries on /a and one on /b, deleted with the given expected sizes,
// while the two file systems gained gain_a and gain_b.
disk_space::Result made_up_result(int64_t gain_a, int64_t gain_b, bool readable = true) {
    const disk_space::DeviceOf device = [](const std::string& folder, uint64_t& dev) {
        dev = folder.rfind("/a", 0) == 0 ? 1 : 2;
        return true;
    };
    disk_space::Plan plan = disk_space::group({"/a/x/1", "/a/x/2", "/b/y/3"}, device);
    const auto reading = [readable](int64_t free) {
        return [readable, free](const std::string&) {
            disk_space::Snapshot s;
            s.ok = readable;
            s.free = free;
            s.block = 4096;
            return s;
        };
    };
    disk_space::take_before(plan, reading(100 * MiB));
    disk_space::take_after(plan, [&](const std::string& folder) {
        return reading(100 * MiB + (folder == "/a/x" ? gain_a : gain_b))(folder);
    });
    disk_space::count_deleted(plan, "/a/x/1", 30 * MiB);
    disk_space::count_deleted(plan, "/a/x/2", 10 * MiB);
    disk_space::count_deleted(plan, "/b/y/3", 20 * MiB);
    return disk_space::compare(plan);
}

} // namespace

TEST(AppFreedStatus, WhenTheDiskGainedWhatWasExpectedOnlyTheGainIsShown) {
    test_env::TempHome t;
    const App app;
    // 60 MiB expected; the two file systems gained 60 MiB and 12 KB more,
    // well inside what their bookkeeping may account elsewhere.
    const disk_space::Result r = made_up_result(40 * MiB + 12 * 1024, 20 * MiB);
    ASSERT_FALSE(r.differ);
    EXPECT_EQ(app.freed_status(r),
              I18n::instance().trf("%s freed", fmt::bytes(60 * MiB + 12 * 1024).c_str()));
}

TEST(AppFreedStatus, WhenTheyDifferBothAreShownAndAnotherProgramIsNamed) {
    test_env::TempHome t;
    const App app;
    // 60 MiB expected, 45 MiB came back: something wrote 15 MiB meanwhile.
    const disk_space::Result r = made_up_result(40 * MiB, 5 * MiB);
    ASSERT_TRUE(r.differ);
    const std::string status = app.freed_status(r);
    EXPECT_EQ(status,
              I18n::instance().trf("%s freed, not %s: another app may have written",
                                   fmt::bytes(45 * MiB).c_str(), fmt::bytes(60 * MiB).c_str()));
    EXPECT_NE(status.find("another app"), std::string::npos);
}

TEST(AppFreedStatus, MoreThanExpectedIsADifferenceToo) {
    test_env::TempHome t;
    const App app;
    const disk_space::Result r = made_up_result(40 * MiB, 60 * MiB);
    ASSERT_TRUE(r.differ);
    EXPECT_EQ(app.freed_status(r),
              I18n::instance().trf("%s freed, not %s: another app may have written",
                                   fmt::bytes(100 * MiB).c_str(), fmt::bytes(60 * MiB).c_str()));
}

TEST(AppFreedStatus, AGainEatenByAnotherProgramShowsNothingFreedNotLessThanNothing) {
    test_env::TempHome t;
    const App app;
    const disk_space::Result r = made_up_result(-70 * MiB, 0);
    ASSERT_TRUE(r.differ);
    EXPECT_EQ(app.freed_status(r),
              I18n::instance().trf("%s freed, not %s: another app may have written",
                                   fmt::bytes(0).c_str(), fmt::bytes(60 * MiB).c_str()));
}

TEST(AppFreedStatus, WhenTheDiskCouldNotBeReadTheExpectedSumIsShown) {
    test_env::TempHome t;
    const App app;
    const disk_space::Result r = made_up_result(5 * MiB, 5 * MiB, false);
    ASSERT_FALSE(r.known);
    EXPECT_EQ(app.freed_status(r), I18n::instance().trf("%s freed", fmt::bytes(60 * MiB).c_str()));
}

TEST(AppFreedStatus, InARightToLeftLanguageTheSizesStayLeftToRight) {
    test_env::TempHome t;
    render_test::Language hebrew("he");
    App app;
    app.m_rtl = true;
    const disk_space::Result r = made_up_result(40 * MiB, 5 * MiB);
    const std::string status = app.freed_status(r);
    EXPECT_NE(status.find(app.ltr(fmt::bytes(45 * MiB))), std::string::npos) << status;
    EXPECT_NE(status.find(app.ltr(fmt::bytes(60 * MiB))), std::string::npos) << status;
}

// The deletion worker leaves figures, not words: the line is worded when it
// is shown, in the language and reading direction of that moment. (The
// worker once wrote it itself, reading the interface's direction while a
// frame set it; the sanitizer's stress run caught that race.)
TEST(AppFreedStatus, TheLineIsWordedWhenShownAndFollowsALanguageChosenAfterTheDeletion) {
    test_env::TempHome t;
    const std::string cache = t.path("home/.npm-fixture");
    make_dir(cache);
    make_dir(cache + "/a");
    make_file(cache + "/a/blob", std::string(5000, 'x'));
    CatState c = folder_category("npm", cache);
    c.items = {entry(cache + "/a", 8192)};
    c.items[0].selected = true;
    const std::string root = sealed::real(t.root());
    const sealed::ChildOutcome out = sealed::in_child([&](int& code) -> std::string {
        if (root.empty() || !sealed::seal_all_but(root)) {
            code = SEAL_FAILED;
            return "";
        }
        App app;
        app.m_cats = {c};
        app.do_clean();
        std::lock_guard<std::mutex> lock(app.m_mutex);
        if (!app.m_status_message.empty() || !app.m_freed_outcome)
            return "the worker wrote words: " + app.m_status_message;
        const std::string english = app.status_text();
        const std::string english_words = app.freed_status(*app.m_freed_outcome);
        render_test::Language german("de");
        return english + "\n" + english_words + "\n" + app.status_text() + "\n" +
               app.freed_status(*app.m_freed_outcome) + "\n";
    });
    ASSERT_EQ(out.exit_code, 0);
    std::istringstream lines(out.output);
    std::string english, english_words, german, german_words;
    std::getline(lines, english);
    std::getline(lines, english_words);
    std::getline(lines, german);
    std::getline(lines, german_words);
    ASSERT_FALSE(german_words.empty()) << out.output;
    EXPECT_EQ(english, english_words);
    EXPECT_NE(english.find(" freed"), std::string::npos) << english;
    EXPECT_EQ(german, german_words);
    EXPECT_NE(german, english) << "the line follows the language chosen after the deletion";
}

TEST(AppRenderFreedStatus, TheDifferenceFitsTheFootersStatusLineInEnglish) {
    // The footer cuts its status line at 340 px; with wide numbers on both
    // sides the English text still fits whole.
    render_test::Fresh fresh;
    App app;
    render_test::Canvas canvas(1000, 700);
    app.render_offscreen(canvas.cr(), 1000, 700);
    const std::string status = app.freed_status(made_up_result(-70 * MiB, 0));
    const std::string wide =
        I18n::instance().trf("%s freed, not %s: another app may have written",
                             fmt::bytes(999'900'000).c_str(), fmt::bytes(888'800'000).c_str());
    EXPECT_LE(app.measure_text(status, App::Font::Caption), 340.0) << status;
    EXPECT_LE(app.measure_text(wide, App::Font::Caption), 340.0) << wide;
}

TEST(AppRenderFreedStatus, TheDifferenceFitsTheFootersStatusLineInEveryLanguage) {
    // The same room in every language: a status cut short would hide the
    // very figure it is there to give.
    render_test::Fresh fresh;
    App app;
    render_test::Canvas canvas(1000, 700);
    app.render_offscreen(canvas.cr(), 1000, 700);
    for (const char* code : {"ar", "cs", "da", "de", "el", "en", "es", "fi", "fr", "he", "hu",
                             "it", "ja", "ko", "nl", "pl", "pt", "ro", "ru", "sv", "tr", "zh"}) {
        I18n::instance().set_language(code);
        const std::string wide = I18n::instance().trf(
            "%s freed, not %s: another app may have written",
            app.ltr(fmt::bytes(999'900'000)).c_str(), app.ltr(fmt::bytes(888'800'000)).c_str());
        EXPECT_LE(app.measure_text(wide, App::Font::Caption), 340.0) << code << ": " << wide;
    }
    I18n::instance().set_language("en");
}
