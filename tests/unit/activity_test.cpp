// A project's last activity: its own files outside its build output, its
// git index and reflog, found up to the projects root; the bounded walk that
// looks through the files; and when an activity counts as old.

#include "activity.h"

#include "fs_fixture.h"
#include "git_fixture.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <ctime>
#include <fstream>

using fs_fixture::make_dirs;
using fs_fixture::make_link;
using fs_fixture::set_times;
using fs_fixture::write_file;

namespace {

constexpr time_t DAY = 86400;
// What npm writes into every installed file: 1985-10-26.
constexpr time_t NPM_TIME = 499162500;

const std::vector<std::string> CLAIMED = {"node_modules", "target", "build", "cmake-build-*"};

void write_text(const std::string& path, const std::string& text) {
    std::ofstream(path) << text;
}

} // namespace

// ---------------------------------------------------------------------------
// The walk through a project's own files
// ---------------------------------------------------------------------------

TEST(ActivityWalk, TheNewestOwnFileCountsAndBuildOutputDoesNot) {
    test_env::TempHome home;
    const std::string p = home.path("code/app");
    const time_t now = time(nullptr);
    write_file(p + "/Cargo.toml");
    write_file(p + "/src/main.rs");
    write_file(p + "/target/debug/app");
    write_file(p + "/cmake-build-debug/x.o");
    write_file(p + "/node_modules/left-pad/index.js");
    set_times(p + "/Cargo.toml", now - 300 * DAY);
    set_times(p + "/src/main.rs", now - 200 * DAY);
    // Build output and installed packages are newer, but say nothing of work.
    set_times(p + "/target/debug/app", now - DAY);
    set_times(p + "/cmake-build-debug/x.o", now - DAY);
    set_times(p + "/node_modules/left-pad/index.js", now - DAY);
    const activity::Walk w = activity::newest_outside(p, CLAIMED);
    EXPECT_EQ(w.newest, now - 200 * DAY);
    EXPECT_FALSE(w.cut);
}

TEST(ActivityWalk, FolderTimesAndLinkedPlacesAreNotCounted) {
    test_env::TempHome home;
    const std::string p = home.path("code/app");
    const time_t now = time(nullptr);
    write_file(p + "/package.json");
    set_times(p + "/package.json", now - 100 * DAY);
    // A fresh folder elsewhere, linked into the project: the walk must not
    // go through the link.
    write_file(home.path("elsewhere/fresh.txt"));
    make_link(home.path("elsewhere"), p + "/linked");
    set_times(p + "/linked", now - 150 * DAY);
    make_dirs(p + "/empty");
    set_times(p + "/empty", now);
    set_times(p, now);
    const activity::Walk w = activity::newest_outside(p, CLAIMED);
    EXPECT_EQ(w.newest, now - 100 * DAY);
}

TEST(ActivityWalk, StopsAtItsNumberOfEntries) {
    test_env::TempHome home;
    const std::string p = home.path("code/big");
    const time_t now = time(nullptr);
    for (int i = 0; i < 30; ++i) {
        const std::string f = p + "/f" + std::to_string(i);
        write_file(f);
        set_times(f, now - 400 * DAY);
    }
    activity::Bounds b;
    b.max_entries = 10;
    const activity::Walk w = activity::newest_outside(p, CLAIMED, b);
    EXPECT_EQ(w.entries, 10);
    EXPECT_TRUE(w.cut);
    const activity::Walk all = activity::newest_outside(p, CLAIMED);
    EXPECT_EQ(all.entries, 30);
    EXPECT_FALSE(all.cut);
}

TEST(ActivityWalk, StopsAtItsDepthAndSeesShallowFilesFirst) {
    test_env::TempHome home;
    const std::string p = home.path("code/deep");
    const time_t now = time(nullptr);
    write_file(p + "/README");
    set_times(p + "/README", now - 500 * DAY);
    // A fresh file six folders down lies beyond a depth of 4.
    const std::string deep = p + "/a/b/c/d/e/f/fresh.txt";
    write_file(deep);
    set_times(deep, now);
    activity::Bounds b;
    b.max_depth = 4;
    const activity::Walk w = activity::newest_outside(p, CLAIMED, b);
    EXPECT_EQ(w.newest, now - 500 * DAY);
    EXPECT_TRUE(w.cut);
    b.max_depth = 6;
    EXPECT_EQ(activity::newest_outside(p, CLAIMED, b).newest, now);
    // With room for only the first entries, the top-level file is among them.
    b.max_entries = 2;
    EXPECT_EQ(activity::newest_outside(p, CLAIMED, b).newest, now - 500 * DAY);
}

TEST(ActivityWalk, AMissingProjectTellsNothing) {
    test_env::TempHome home;
    const activity::Walk w = activity::newest_outside(home.path("nowhere"), CLAIMED);
    EXPECT_EQ(w.newest, 0);
    EXPECT_EQ(w.entries, 0);
}

// ---------------------------------------------------------------------------
// Git
// ---------------------------------------------------------------------------

TEST(ActivityGit, ARecentCommitWinsOverOldFiles) {
    test_env::TempHome home;
    const std::string root = home.path("code");
    const std::string p = root + "/app";
    const time_t now = time(nullptr);
    git_fixture::init_repo(p);
    git_fixture::write(p + "/package.json", "{}\n");
    git_fixture::commit(p, "package.json");
    write_file(p + "/node_modules/x/index.js");
    set_times(p + "/node_modules/x/index.js", NPM_TIME);
    for (const char* f : {"/README", "/package.json"})
        set_times(p + f, now - 400 * DAY);
    ASSERT_EQ(activity::newest_outside(p, CLAIMED).newest, now - 400 * DAY);
    EXPECT_EQ(activity::git_dir_of(p, root), p + "/.git");
    const time_t active = activity::of_project(p, root, CLAIMED);
    EXPECT_GE(active, now - 60);
    EXPECT_FALSE(activity::older_than(active, 1, now));
}

TEST(ActivityGit, TheReflogAloneTellsOfACommit) {
    test_env::TempHome home;
    const std::string p = home.path("code/app");
    const time_t now = time(nullptr);
    git_fixture::init_repo(p);
    set_times(p + "/.git/index", now - 300 * DAY);
    set_times(p + "/.git/logs/HEAD", now - 10 * DAY);
    EXPECT_EQ(activity::git_activity(p + "/.git"), now - 10 * DAY);
    set_times(p + "/.git/logs/HEAD", now - 320 * DAY);
    EXPECT_EQ(activity::git_activity(p + "/.git"), now - 300 * DAY);
}

TEST(ActivityGit, TheRepositoryIsFoundInAParentUpToTheRoot) {
    test_env::TempHome home;
    const std::string root = home.path("code");
    const std::string mono = root + "/mono";
    make_dirs(mono + "/.git/logs");
    make_dirs(mono + "/packages/web");
    EXPECT_EQ(activity::git_dir_of(mono + "/packages/web", root), mono + "/.git");
    // Above the projects root is not looked at.
    make_dirs(home.path(".git"));
    make_dirs(root + "/loose");
    EXPECT_EQ(activity::git_dir_of(root + "/loose", root), "");
    // Nor is a project outside the root.
    EXPECT_EQ(activity::git_dir_of(home.path("other/p"), root), "");
}

TEST(ActivityGit, AGitFileLeadsToItsGitDirectory) {
    test_env::TempHome home;
    const std::string root = home.path("code");
    const std::string p = root + "/wt";
    const time_t now = time(nullptr);
    make_dirs(root + "/main/.git/worktrees/wt/logs");
    write_file(root + "/main/.git/worktrees/wt/logs/HEAD");
    set_times(root + "/main/.git/worktrees/wt/logs/HEAD", now - 5 * DAY);
    make_dirs(p);
    write_text(p + "/.git", "gitdir: ../main/.git/worktrees/wt\n");
    EXPECT_EQ(activity::git_dir_of(p, root), p + "/../main/.git/worktrees/wt");
    EXPECT_EQ(activity::git_activity(activity::git_dir_of(p, root)), now - 5 * DAY);
    // A file that names nothing is no repository.
    write_text(p + "/.git", "not a git file\n");
    EXPECT_EQ(activity::git_dir_of(p, root), "");
}

TEST(ActivityGit, AProjectWithoutGitGoesByItsFiles) {
    test_env::TempHome home;
    const std::string root = home.path("code");
    const std::string p = root + "/plain";
    const time_t now = time(nullptr);
    write_file(p + "/package.json");
    set_times(p + "/package.json", now - 100 * DAY);
    write_file(p + "/node_modules/x/index.js");
    set_times(p + "/node_modules/x/index.js", now);
    EXPECT_EQ(activity::git_dir_of(p, root), "");
    EXPECT_EQ(activity::git_activity(""), 0);
    EXPECT_EQ(activity::of_project(p, root, CLAIMED), now - 100 * DAY);
}

TEST(ActivityCache, AProjectIsWalkedOncePerCache) {
    test_env::TempHome home;
    const std::string root = home.path("code");
    const std::string p = root + "/app";
    const time_t now = time(nullptr);
    write_file(p + "/package.json");
    set_times(p + "/package.json", now - 100 * DAY);
    activity::Cache cache;
    EXPECT_EQ(cache.of_project(p, root, CLAIMED), now - 100 * DAY);
    // A change after the first look is not seen by the same cache: what a
    // scan found for one artefact of the project holds for its others.
    set_times(p + "/package.json", now - 10 * DAY);
    EXPECT_EQ(cache.of_project(p, root, CLAIMED), now - 100 * DAY);
    EXPECT_EQ(cache.walked(), 1u);
    EXPECT_EQ(activity::Cache().of_project(p, root, CLAIMED), now - 10 * DAY);
    write_file(root + "/other/Cargo.toml");
    cache.of_project(root + "/other", root, CLAIMED);
    EXPECT_EQ(cache.walked(), 2u);
}

// ---------------------------------------------------------------------------
// Spans
// ---------------------------------------------------------------------------

TEST(ActivitySpan, EachSpanTicksJustOverItAndNotJustUnder) {
    const time_t now = 1800000000;
    for (int months : activity::SPANS) {
        const time_t span = static_cast<time_t>(months) * activity::MONTH_SECONDS;
        EXPECT_FALSE(activity::older_than(now - span + 60, months, now)) << months;
        EXPECT_FALSE(activity::older_than(now - span, months, now)) << months;
        EXPECT_TRUE(activity::older_than(now - span - 60, months, now)) << months;
    }
    // Twelve months are a year, as the rows count them.
    EXPECT_EQ(12 * activity::MONTH_SECONDS, static_cast<time_t>(365.25 * DAY));
}

TEST(ActivitySpan, AnUnknownTimeIsNeverOld) {
    EXPECT_FALSE(activity::older_than(0, 1, 1800000000));
    EXPECT_FALSE(activity::older_than(-5, 1, 1800000000));
    EXPECT_TRUE(activity::older_than(NPM_TIME, 12, 1800000000));
}
