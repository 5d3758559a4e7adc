// The scanner on trees each test builds in its own temporary folder: every
// counting rule of the measurement, every listing kind with the project
// search's skip and claim rules, and the deadline guard. Expected sizes come
// from lstat in the test, never from hard-coded block counts.

#include "scan_test_util.h"
#include "scanner.h"
#include "scanner_deadline.h"

#include "catalog.h"
#include "fs_fixture.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <fcntl.h>
#include <future>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using scan_test::paths_of;

using namespace fs_fixture;

namespace {

struct stat lstat_or_fail(const std::string& path) {
    struct stat st {};
    EXPECT_EQ(lstat(path.c_str(), &st), 0) << path;
    return st;
}

int64_t blocks_bytes(const std::string& path) {
    return static_cast<int64_t>(lstat_or_fail(path).st_blocks) * 512;
}

CategoryDef row(ListingKind kind, const std::string& path, const std::string& id = "test") {
    CategoryDef d;
    d.id = id;
    d.path = path;
    d.listing = kind;
    return d;
}

CategoryDef project_row(const std::string& root, std::vector<std::string> names) {
    CategoryDef d = row(ListingKind::Recursive, root, "proj");
    d.group = GroupKind::Projects;
    d.names = std::move(names);
    d.max_depth = 5;
    return d;
}

// Waits up to `seconds` for pred to turn true.
template <class Pred> bool eventually(Pred pred, double seconds = 10.0) {
    const auto end = std::chrono::steady_clock::now() +
                     std::chrono::milliseconds(static_cast<int>(seconds * 1000));
    while (std::chrono::steady_clock::now() < end) {
        if (pred())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return pred();
}

// A tree of `dirs` folders with `files` files each, some of them hard links
// to one another across folders, for the tests of the shared walk.
void make_wide_tree(const std::string& root, int dirs, int files) {
    for (int d = 0; d < dirs; ++d) {
        const std::string dir = root + "/d" + std::to_string(d % 7) + "/s" + std::to_string(d);
        make_dirs(dir);
        for (int f = 0; f < files; ++f)
            write_file(dir + "/f" + std::to_string(f), (f % 5) * 3000 + 1);
        if (d > 0)
            make_hard_link(root + "/d0/s0/f0", dir + "/hl");
    }
}

} // namespace

// ---------------------------------------------------------------------------
// Measurement
// ---------------------------------------------------------------------------

TEST(ScannerMeasure, MissingPathMeasuresNothing) {
    test_env::TempHome home;
    const scanner::Measure m = scanner::measure(home.path("nope"), nullptr);
    EXPECT_EQ(m.bytes, 0);
    EXPECT_EQ(m.newest_mtime, 0);
}

TEST(ScannerMeasure, LinkGivenAsThePathMeasuresNothing) {
    test_env::TempHome home;
    write_file(home.path("big/file"), 100000);
    make_link(home.path("big"), home.path("link"));
    const scanner::Measure m = scanner::measure(home.path("link"), nullptr);
    EXPECT_EQ(m.bytes, 0);
    EXPECT_EQ(m.newest_mtime, 0);
}

TEST(ScannerMeasure, LinkInsideAFolderAddsNothingAndIsNotNewest) {
    test_env::TempHome home;
    write_file(home.path("other/data"), 200000);
    make_dirs(home.path("dir"));
    write_file(home.path("dir/a"), 5000);
    make_link(home.path("other"), home.path("dir/to-other"));
    make_link(home.path("other/data"), home.path("dir/to-data"));
    set_times(home.path("dir/a"), 1000000);
    set_times(home.path("dir/to-other"), 2000000000);
    set_times(home.path("dir"), 1100000);
    const scanner::Measure m = scanner::measure(home.path("dir"), nullptr);
    EXPECT_EQ(m.bytes, blocks_bytes(home.path("dir")) + blocks_bytes(home.path("dir/a")));
    EXPECT_EQ(m.newest_mtime, 1100000);
}

TEST(ScannerMeasure, RegularFileCountsItsOwnBlocksEvenWithSeveralLinks) {
    test_env::TempHome home;
    write_file(home.path("f"), 70000);
    make_hard_link(home.path("f"), home.path("g"));
    set_times(home.path("f"), 1234567);
    const scanner::Measure m = scanner::measure(home.path("f"), nullptr);
    EXPECT_EQ(m.bytes, blocks_bytes(home.path("f")));
    EXPECT_GT(m.bytes, 0);
    EXPECT_EQ(m.newest_mtime, 1234567);
}

TEST(ScannerMeasure, TwoHardLinksInOneFolderCountOnce) {
    test_env::TempHome home;
    write_file(home.path("dir/one"), 1 << 20);
    make_hard_link(home.path("dir/one"), home.path("dir/two"));
    const int64_t file = blocks_bytes(home.path("dir/one"));
    const scanner::Measure m = scanner::measure(home.path("dir"), nullptr);
    EXPECT_GE(file, 1 << 20);
    EXPECT_EQ(m.bytes, blocks_bytes(home.path("dir")) + file);
    EXPECT_EQ(m.bytes, reference_measure(home.path("dir")).bytes);
}

TEST(ScannerMeasure, TheSameFileInTwoMeasuredFoldersCountsInBoth) {
    test_env::TempHome home;
    write_file(home.path("a/f"), 50000);
    make_dirs(home.path("b"));
    make_hard_link(home.path("a/f"), home.path("b/f"));
    const int64_t file = blocks_bytes(home.path("a/f"));
    EXPECT_EQ(scanner::size(home.path("a"), nullptr), blocks_bytes(home.path("a")) + file);
    EXPECT_EQ(scanner::size(home.path("b"), nullptr), blocks_bytes(home.path("b")) + file);
}

TEST(ScannerMeasure, EmptyFolderMeasuresItsOwnBlocksAndTime) {
    test_env::TempHome home;
    make_dirs(home.path("empty"));
    set_times(home.path("empty"), 1500000000);
    const scanner::Measure m = scanner::measure(home.path("empty"), nullptr);
    EXPECT_EQ(m.bytes, blocks_bytes(home.path("empty")));
    EXPECT_GT(m.bytes, 0);
    EXPECT_EQ(m.newest_mtime, 1500000000);
}

TEST(ScannerMeasure, SparseFileCountsWhatItOccupies) {
    test_env::TempHome home;
    const std::string path = home.path("sparse");
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT, 0644);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(ftruncate(fd, int64_t(1) << 30), 0);
    close(fd);
    const scanner::Measure m = scanner::measure(path, nullptr);
    EXPECT_EQ(m.bytes, blocks_bytes(path));
    EXPECT_LT(m.bytes, 64 * 1024);
}

TEST(ScannerMeasure, NewestTimeIsTheLatestBelowTheFolder) {
    test_env::TempHome home;
    write_file(home.path("d/x/y/deep"), 10);
    write_file(home.path("d/top"), 10);
    set_times(home.path("d/x/y/deep"), 1700000000);
    set_times(home.path("d/top"), 1600000000);
    set_times(home.path("d/x/y"), 1000);
    set_times(home.path("d/x"), 1000);
    set_times(home.path("d"), 1000);
    EXPECT_EQ(scanner::measure(home.path("d"), nullptr).newest_mtime, 1700000000);
}

TEST(ScannerMeasure, MatchesThePathBasedRulesOnAMixedTree) {
    test_env::TempHome home;
    const std::string root = home.path("mixed");
    make_wide_tree(root, 40, 12);
    make_link(root + "/d1", root + "/d2/loop");
    make_link("/", root + "/d3/slash");
    make_link(root, root + "/d4/self");
    const Reference r = reference_measure(root);
    const scanner::Measure par = scanner::measure(root, nullptr);
    const scanner::Measure ser = scanner::measure_serial(root, nullptr);
    EXPECT_EQ(par.bytes, r.bytes);
    EXPECT_EQ(ser.bytes, r.bytes);
    EXPECT_EQ(par.newest_mtime, r.newest);
    EXPECT_EQ(ser.newest_mtime, r.newest);
}

TEST(ScannerMeasure, DoesNotChangeAccessTimes) {
    test_env::TempHome home;
    write_file(home.path("d/sub/file"), 9000);
    // Older than a day and older than the change time, so that even a
    // relatime mount would record a read.
    const time_t old = time(nullptr) - 5 * 86400;
    for (const char* p : {"d/sub/file", "d/sub", "d"})
        set_times(home.path(p), old - 86400, old);
    scanner::measure(home.path("d"), nullptr);
    scanner::measure_serial(home.path("d"), nullptr);
    for (const char* p : {"d/sub/file", "d/sub", "d"})
        EXPECT_EQ(lstat_or_fail(home.path(p)).st_atime, old) << p;
}

TEST(ScannerMeasure, UnreadableFolderCountsOnlyItself) {
    test_env::TempHome home;
    write_file(home.path("d/locked/inside"), 100000);
    write_file(home.path("d/open"), 100);
    ASSERT_EQ(chmod(home.path("d/locked").c_str(), 0), 0);
    // The unprivileged child must reach the folder itself.
    ASSERT_EQ(chmod(home.root().c_str(), 0755), 0);
    const int64_t expected = blocks_bytes(home.path("d")) + blocks_bytes(home.path("d/locked")) +
                             blocks_bytes(home.path("d/open"));
    const std::string path = home.path("d");
    const int status = test_env::run_unprivileged(
        [&] { return scanner::measure(path, nullptr).bytes == expected ? 0 : 1; });
    chmod(home.path("d/locked").c_str(), 0755);
    EXPECT_EQ(status, 0);
}

TEST(ScannerMeasure, DeeperThanPathMaxIsMeasuredWithFewDescriptors) {
    test_env::TempHome home;
    // 600 levels of 11-byte names: far beyond PATH_MAX, reachable only
    // relative to an open directory.
    const int levels = 600;
    const std::string root = home.path("deep");
    make_dirs(root);
    int64_t expected = blocks_bytes(root);
    std::vector<int> fds;
    fds.push_back(open(root.c_str(), O_RDONLY | O_DIRECTORY));
    for (int i = 0; i < levels; ++i) {
        ASSERT_EQ(mkdirat(fds.back(), "level-xxxx", 0755), 0);
        const int f = openat(fds.back(), "file", O_WRONLY | O_CREAT, 0644);
        ASSERT_GE(f, 0);
        ASSERT_EQ(write(f, "abc", 3), 3);
        struct stat st {};
        fstat(f, &st);
        expected += st.st_blocks * 512;
        close(f);
        fds.push_back(openat(fds.back(), "level-xxxx", O_RDONLY | O_DIRECTORY));
        ASSERT_GE(fds.back(), 0);
        fstat(fds.back(), &st);
        expected += st.st_blocks * 512;
    }
    EXPECT_GT(levels * 11, PATH_MAX);
    // In a child whose descriptor limit is far below the depth.
    const pid_t pid = fork();
    if (pid == 0) {
        for (int fd : fds)
            close(fd);
        struct rlimit lim {
            100, 100
        };
        setrlimit(RLIMIT_NOFILE, &lim);
        const bool par = scanner::measure(root, nullptr).bytes == expected;
        const bool ser = scanner::measure_serial(root, nullptr).bytes == expected;
        _exit(par && ser ? 0 : 1);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    // Clean up from the bottom, relative to the open levels: the paths are
    // too long for the usual removal.
    for (int i = levels; i >= 1; --i) {
        unlinkat(fds[i - 1], "file", 0);
        close(fds[i]);
        EXPECT_EQ(unlinkat(fds[i - 1], "level-xxxx", AT_REMOVEDIR), 0);
    }
    close(fds[0]);
}

TEST(ScannerMeasure, CancelledBeforeStartCountsOnlyThePathItself) {
    test_env::TempHome home;
    write_file(home.path("d/f"), 100000);
    std::atomic<bool> cancel{true};
    const scanner::Measure m = scanner::measure(home.path("d"), &cancel);
    EXPECT_EQ(m.bytes, blocks_bytes(home.path("d")));
    EXPECT_FALSE(m.complete);
}

TEST(ScannerMeasure, AWalkThatRanToItsEndIsComplete) {
    test_env::TempHome home;
    write_file(home.path("d/sub/f"), 100000);
    write_file(home.path("plain"), 10);
    EXPECT_TRUE(scanner::measure(home.path("d"), nullptr).complete);
    EXPECT_TRUE(scanner::measure_serial(home.path("d"), nullptr).complete);
    EXPECT_TRUE(scanner::measure(home.path("plain"), nullptr).complete);
    // Nothing is there: nothing was left unseen either.
    EXPECT_TRUE(scanner::measure(home.path("gone"), nullptr).complete);
    // What the deadline guard hands back when it gives up.
    std::promise<void> release;
    std::shared_future<void> gate = release.get_future().share();
    const scanner::Measure given_up = scanner_deadline::with_deadline(
        0.0, scanner::Measure{}, [gate, d = home.path("d")](const std::atomic<bool>*) {
            gate.wait();
            return scanner::measure(d, nullptr);
        });
    release.set_value();
    EXPECT_FALSE(given_up.complete);
    EXPECT_TRUE(eventually([] { return scanner_testing::live_guard_states() == 0; }));
}

TEST(ScannerMeasure, CancelDuringABigWalkReturnsAPartialTotal) {
    test_env::TempHome home;
    make_wide_tree(home.path("t"), 300, 20);
    const int64_t full = reference_measure(home.path("t")).bytes;
    std::atomic<bool> cancel{false};
    std::thread stopper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        cancel = true;
    });
    const scanner::Measure m = scanner::measure(home.path("t"), &cancel);
    stopper.join();
    EXPECT_LE(m.bytes, full);
    EXPECT_GE(m.bytes, blocks_bytes(home.path("t")));
}

TEST(ScannerMeasure, ParallelWalksNeverExceedTheWalkerBudget) {
    test_env::TempHome home;
    make_wide_tree(home.path("t"), 200, 10);
    const int64_t expected = reference_measure(home.path("t")).bytes;
    scanner_testing::reset_peak_walkers();
    std::vector<std::thread> threads;
    std::atomic<int> right{0};
    for (int i = 0; i < 10; ++i)
        threads.emplace_back([&] {
            if (scanner::measure(home.path("t"), nullptr).bytes == expected)
                ++right;
        });
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(right, 10);
    EXPECT_LE(scanner_testing::peak_walkers(), scanner::MAX_WALKERS);
    EXPECT_GE(scanner_testing::peak_walkers(), 2);
    EXPECT_EQ(scanner_testing::live_walkers(), 0);
}

TEST(ScannerMeasure, OneBigFolderIsSharedWithHelpers) {
    test_env::TempHome home;
    make_wide_tree(home.path("t"), 400, 5);
    scanner_testing::reset_peak_walkers();
    const scanner::Measure m = scanner::measure(home.path("t"), nullptr);
    EXPECT_EQ(m.bytes, reference_measure(home.path("t")).bytes);
    EXPECT_GE(scanner_testing::peak_walkers(), 2);
    EXPECT_EQ(scanner_testing::live_walkers(), 0);
}

// ---------------------------------------------------------------------------
// Listing
// ---------------------------------------------------------------------------

TEST(ScannerList, ChildItemsSkipsHiddenEntriesAndLinks) {
    test_env::TempHome home;
    const std::string dir = home.path("logs");
    write_file(dir + "/.hidden", 10);
    write_file(dir + "/a.log", 10);
    make_link(dir + "/a.log", dir + "/link.log");
    set_times(dir + "/a.log", 1400000000);
    const std::vector<ScannedInfo> found =
        scanner::list(row(ListingKind::ChildItems, dir), nullptr);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].path, dir + "/a.log");
    EXPECT_EQ(found[0].name, "a.log");
    EXPECT_EQ(found[0].detail, dir + "/a.log");
    EXPECT_EQ(found[0].modified, 1400000000);
}

TEST(ScannerList, ChildItemsListsFoldersToo) {
    test_env::TempHome home;
    const std::string dir = home.path("avd");
    make_dirs(dir + "/pixel.avd");
    write_file(dir + "/pixel.ini", 10);
    const auto found = scanner::list(row(ListingKind::ChildItems, dir, "avds"), nullptr);
    EXPECT_EQ(paths_of(found), (std::vector<std::string>{dir + "/pixel.avd", dir + "/pixel.ini"}));
    for (const ScannedInfo& i : found)
        EXPECT_EQ(i.detail, i.path);
}

TEST(ScannerList, ChildDirectoriesSkipsFilesHiddenFoldersAndLinks) {
    test_env::TempHome home;
    const std::string dir = home.path("caches");
    write_file(dir + "/file", 10);
    make_dirs(dir + "/.hidden");
    make_dirs(dir + "/v1");
    make_link(dir + "/v1", dir + "/v1-link");
    const auto found = scanner::list(row(ListingKind::ChildDirectories, dir), nullptr);
    EXPECT_EQ(paths_of(found), std::vector<std::string>{dir + "/v1"});
}

TEST(ScannerList, ChildDirectoriesOfOnlyAFileIsEmpty) {
    test_env::TempHome home;
    write_file(home.path("c/only-a-file"), 10);
    EXPECT_TRUE(scanner::list(row(ListingKind::ChildDirectories, home.path("c")), nullptr).empty());
}

TEST(ScannerList, ChildrenOfALinkedCategoryFolderAreListed) {
    test_env::TempHome home;
    make_dirs(home.path("real/v1"));
    make_link(home.path("real"), home.path("repo"));
    const auto found =
        scanner::list(row(ListingKind::ChildDirectories, home.path("repo")), nullptr);
    EXPECT_EQ(paths_of(found), std::vector<std::string>{home.path("repo/v1")});
}

TEST(ScannerList, SelfFolderIsTheSingleItem) {
    test_env::TempHome home;
    make_dirs(home.path("cache/pip"));
    set_times(home.path("cache/pip"), 1300000000);
    const auto found = scanner::list(row(ListingKind::SelfFolder, home.path("cache/pip")), nullptr);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].path, home.path("cache/pip"));
    EXPECT_EQ(found[0].name, "pip");
    EXPECT_EQ(found[0].detail, home.path("cache/pip"));
    EXPECT_EQ(found[0].modified, 1300000000);
}

TEST(ScannerList, SelfFolderThatIsALinkOrMissingYieldsNothing) {
    test_env::TempHome home;
    make_dirs(home.path("real"));
    make_link(home.path("real"), home.path("link"));
    EXPECT_TRUE(scanner::list(row(ListingKind::SelfFolder, home.path("link")), nullptr).empty());
    EXPECT_TRUE(scanner::list(row(ListingKind::SelfFolder, home.path("gone")), nullptr).empty());
    write_file(home.path("file"), 1);
    EXPECT_TRUE(scanner::list(row(ListingKind::SelfFolder, home.path("file")), nullptr).empty());
}

TEST(ScannerList, SelfFolderNameKeepsATrailingSlashAsItIs) {
    test_env::TempHome home;
    make_dirs(home.path("x"));
    const auto found = scanner::list(row(ListingKind::SelfFolder, home.path("x/")), nullptr);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].name, "");
    EXPECT_EQ(found[0].path, home.path("x/"));
}

TEST(ScannerList, MissingFolderListsNothing) {
    test_env::TempHome home;
    EXPECT_TRUE(scanner::list(row(ListingKind::ChildItems, home.path("gone")), nullptr).empty());
    EXPECT_TRUE(scanner::list(project_row(home.path("gone"), {"node_modules"}), nullptr).empty());
}

TEST(ScannerList, CancelledListingReturnsNothingMore) {
    test_env::TempHome home;
    for (int i = 0; i < 20; ++i)
        make_dirs(home.path("c/v" + std::to_string(i)));
    std::atomic<bool> cancel{true};
    EXPECT_TRUE(scanner::list(row(ListingKind::ChildDirectories, home.path("c")), &cancel).empty());
    EXPECT_TRUE(scanner::list(project_row(home.path("c"), {"v1"}), &cancel).empty());
}

// ---------------------------------------------------------------------------
// The project search
// ---------------------------------------------------------------------------

TEST(ScannerProjects, MatchNameIsTheContainingFolderAndTheMatch) {
    test_env::TempHome home;
    const std::string root = home.path("code");
    make_dirs(root + "/shop-app/node_modules");
    set_times(root + "/shop-app/node_modules", 1200000000);
    const auto found = scanner::list(project_row(root, {"node_modules"}), nullptr);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].path, root + "/shop-app/node_modules");
    EXPECT_EQ(found[0].name, "shop-app/node_modules");
    EXPECT_EQ(found[0].detail, root + "/shop-app");
    EXPECT_EQ(found[0].modified, 1200000000);
}

TEST(ScannerProjects, MatchDirectlyInsideTheRootIsNamedAfterTheRoot) {
    test_env::TempHome home;
    const std::string root = home.path("code");
    make_dirs(root + "/build");
    const auto found = scanner::list(project_row(root, {"build"}), nullptr);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].name, "code/build");
    EXPECT_EQ(found[0].detail, root);
}

TEST(ScannerProjects, SkipListAppliesOnlyDirectlyInsideTheRoot) {
    test_env::TempHome home;
    const std::string root = home.path("r");
    make_dirs(root + "/Downloads/x/node_modules");
    make_dirs(root + "/proj/Downloads/node_modules");
    const auto found = scanner::list(project_row(root, {"node_modules"}), nullptr);
    EXPECT_EQ(paths_of(found), std::vector<std::string>{root + "/proj/Downloads/node_modules"});
}

TEST(ScannerProjects, EverySkippedRootNameIsSkippedAtTheRootAndNotDeeper) {
    test_env::TempHome home;
    const std::string root = home.path("r");
    std::vector<std::string> deeper;
    for (const std::string& name : catalog::recursive_skip()) {
        if (name.find('/') != std::string::npos)
            continue;
        make_dirs(root + "/" + name + "/p/node_modules");
        make_dirs(root + "/p/" + name + "/node_modules");
        // Deeper, the names skipped everywhere stay unfound, and so does
        // ".gradle", which the project Gradle category claims.
        if (name != ".cache" && name != ".git" && name != ".svn" && name != ".Trash" &&
            name != ".gradle")
            deeper.push_back(root + "/p/" + name + "/node_modules");
    }
    std::sort(deeper.begin(), deeper.end());
    EXPECT_EQ(catalog::recursive_skip().size(), 46u);
    EXPECT_EQ(paths_of(scanner::list(project_row(root, {"node_modules"}), nullptr)), deeper);
}

TEST(ScannerProjects, AlwaysSkippedFoldersAreNeverEntered) {
    test_env::TempHome home;
    const std::string root = home.path("r");
    for (const char* name : {".git", ".svn", ".hg", ".cache", ".Trash", ".terraform"}) {
        make_dirs(root + "/" + name + "/node_modules");
        make_dirs(root + "/p/" + name + "/node_modules");
        make_dirs(root + "/p/q/r/" + name + "/x/node_modules");
    }
    make_dirs(root + "/p/ok/node_modules");
    EXPECT_EQ(paths_of(scanner::list(project_row(root, {"node_modules"}), nullptr)),
              std::vector<std::string>{root + "/p/ok/node_modules"});
}

TEST(ScannerProjects, AMatchIsNotSearchedFurther) {
    test_env::TempHome home;
    const std::string root = home.path("r");
    make_dirs(root + "/proj/node_modules/pkg/node_modules");
    EXPECT_EQ(paths_of(scanner::list(project_row(root, {"node_modules"}), nullptr)),
              std::vector<std::string>{root + "/proj/node_modules"});
}

TEST(ScannerProjects, ClaimedFoldersOfOtherCategoriesAreNotEntered) {
    test_env::TempHome home;
    const std::string root = home.path("r");
    make_dirs(root + "/proj/node_modules/x/build");
    make_dirs(root + "/proj/venv/lib/build");
    make_dirs(root + "/proj/src/build");
    EXPECT_EQ(paths_of(scanner::list(project_row(root, {"build", "out", "target"}), nullptr)),
              std::vector<std::string>{root + "/proj/src/build"});
}

TEST(ScannerProjects, ClaimedFoldersDirectlyInsideTheRootAreNotEnteredEither) {
    test_env::TempHome home;
    const std::string root = home.path("r");
    make_dirs(root + "/node_modules/x/build");
    make_dirs(root + "/.venv/build");
    make_dirs(root + "/build");
    EXPECT_EQ(paths_of(scanner::list(project_row(root, {"build"}), nullptr)),
              std::vector<std::string>{root + "/build"});
}

TEST(ScannerProjects, DepthFiveIsFoundAndSixIsNot) {
    test_env::TempHome home;
    const std::string root = home.path("r");
    // Depth counts folder levels below the root: a/node_modules is depth 1.
    make_dirs(root + "/node_modules");             // depth 0
    make_dirs(root + "/a/b/c/d/e/node_modules");   // depth 5
    make_dirs(root + "/f/g/h/i/j/k/node_modules"); // depth 6
    EXPECT_EQ(paths_of(scanner::list(project_row(root, {"node_modules"}), nullptr)),
              (std::vector<std::string>{root + "/a/b/c/d/e/node_modules", root + "/node_modules"}));
}

TEST(ScannerProjects, LinksAreNeitherMatchedNorEntered) {
    test_env::TempHome home;
    const std::string root = home.path("r");
    make_dirs(home.path("elsewhere/node_modules"));
    make_dirs(root + "/proj");
    make_link(home.path("elsewhere/node_modules"), root + "/proj/node_modules");
    make_link(home.path("elsewhere"), root + "/linked-proj");
    make_link(root, root + "/proj/loop");
    EXPECT_TRUE(scanner::list(project_row(root, {"node_modules"}), nullptr).empty());
}

TEST(ScannerProjects, ALinkedProjectsRootIsSearched) {
    test_env::TempHome home;
    make_dirs(home.path("real/p/node_modules"));
    make_link(home.path("real"), home.path("code"));
    EXPECT_EQ(paths_of(scanner::list(project_row(home.path("code"), {"node_modules"}), nullptr)),
              std::vector<std::string>{home.path("code/p/node_modules")});
}

TEST(ScannerProjects, EveryNameOfTheRowIsLookedFor) {
    test_env::TempHome home;
    const std::string root = home.path("r");
    for (const char* n : {"__pycache__", ".pytest_cache", ".mypy_cache", ".ruff_cache"})
        make_dirs(root + "/p/pkg/" + n);
    make_dirs(root + "/p/pkg/other");
    const auto found = scanner::list(
        project_row(root, {"__pycache__", ".pytest_cache", ".mypy_cache", ".ruff_cache"}), nullptr);
    EXPECT_EQ(found.size(), 4u);
    for (const ScannedInfo& i : found)
        EXPECT_EQ(i.detail, root + "/p/pkg");
}

// ---------------------------------------------------------------------------
// Deadline guard
// ---------------------------------------------------------------------------

TEST(ScannerDeadline, ZeroSecondsReturnsTheFallbackAtOnce) {
    std::promise<void> release;
    std::shared_future<void> gate = release.get_future().share();
    const auto start = std::chrono::steady_clock::now();
    const int v = scanner_deadline::with_deadline(0.0, -1, [gate](const std::atomic<bool>*) {
        gate.wait();
        return 7;
    });
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(v, -1);
    EXPECT_LT(took, std::chrono::milliseconds(500));
    release.set_value();
    EXPECT_TRUE(eventually([] { return scanner_testing::live_guard_states() == 0; }));
}

TEST(ScannerDeadline, BelowOneMillisecondTruncatesToZero) {
    std::promise<void> release;
    std::shared_future<void> gate = release.get_future().share();
    const int v = scanner_deadline::with_deadline(0.0009, -1, [gate](const std::atomic<bool>*) {
        gate.wait();
        return 7;
    });
    EXPECT_EQ(v, -1);
    release.set_value();
    EXPECT_TRUE(eventually([] { return scanner_testing::live_guard_states() == 0; }));
}

TEST(ScannerDeadline, AnAnswerInTimeIsReturned) {
    const int v = scanner_deadline::with_deadline(
        10.0, -1, [](const std::atomic<bool>* abandoned) { return *abandoned ? 0 : 42; });
    EXPECT_EQ(v, 42);
    EXPECT_TRUE(eventually([] { return scanner_testing::live_guard_states() == 0; }));
}

TEST(ScannerDeadline, ALateWorkerChangesNothingAndFreesItsState) {
    std::atomic<bool> finished{false};
    std::atomic<bool> saw_abandoned{false};
    const auto start = std::chrono::steady_clock::now();
    const int v = scanner_deadline::with_deadline(
        0.05, -1, [&finished, &saw_abandoned](const std::atomic<bool>* abandoned) {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            saw_abandoned = abandoned->load();
            finished = true;
            return 7;
        });
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(v, -1);
    EXPECT_GE(took, std::chrono::milliseconds(50));
    EXPECT_LT(took, std::chrono::milliseconds(290));
    EXPECT_EQ(scanner_testing::live_guard_states(), 1); // still held by the worker
    EXPECT_TRUE(eventually([&] { return finished.load(); }));
    EXPECT_TRUE(eventually([] { return scanner_testing::live_guard_states() == 0; }));
    EXPECT_TRUE(saw_abandoned);
}

TEST(ScannerDeadline, CancelMakesAnAbandonedMeasurementFinishSoon) {
    test_env::TempHome home;
    make_wide_tree(home.path("t"), 300, 20);
    std::atomic<bool> cancel{false};
    const scanner::Measure m = scanner::measure_guarded(home.path("t"), 0.0, &cancel);
    EXPECT_EQ(m.bytes, 0);
    EXPECT_EQ(m.newest_mtime, 0);
    cancel = true;
    EXPECT_TRUE(eventually([] { return scanner_testing::live_guard_states() == 0; }, 5.0));
    EXPECT_TRUE(eventually([] { return scanner_testing::live_walkers() == 0; }, 5.0));
}

TEST(ScannerDeadline, GuardedCallsGiveTheRealValuesInTime) {
    test_env::TempHome home;
    write_file(home.path("c/v1/f"), 20000);
    make_dirs(home.path("c/v2"));
    const int64_t expected = reference_measure(home.path("c/v1")).bytes;
    EXPECT_EQ(scanner::size_guarded(home.path("c/v1"), 45.0, nullptr), expected);
    EXPECT_EQ(scanner::measure_guarded(home.path("c/v1"), 45.0, nullptr).bytes, expected);
    const auto found =
        scanner::list_guarded(row(ListingKind::ChildDirectories, home.path("c")), 120.0, nullptr);
    EXPECT_EQ(paths_of(found), (std::vector<std::string>{home.path("c/v1"), home.path("c/v2")}));
    EXPECT_TRUE(eventually([] { return scanner_testing::live_guard_states() == 0; }));
}

TEST(ScannerDeadline, AnAbandonedListingKeepsItsOwnCopyOfTheRow) {
    test_env::TempHome home;
    for (int i = 0; i < 200; ++i)
        make_dirs(home.path("r/p" + std::to_string(i) + "/a/b/node_modules"));
    {
        CategoryDef def = project_row(home.path("r"), {"node_modules"});
        const auto found = scanner::list_guarded(def, 0.0, nullptr);
        EXPECT_TRUE(found.empty());
        def.names.clear();
        def.path.assign(1000, 'x');
    }
    EXPECT_TRUE(eventually([] { return scanner_testing::live_guard_states() == 0; }));
}

// ---------------------------------------------------------------------------
// The project search and the evidence table
// ---------------------------------------------------------------------------

TEST(ScannerProjects, AVenvWithoutItsConfigFileIsNoEnvironmentAndIsNotListed) {
    test_env::TempHome home;
    const std::string h = home.path("home");
    write_file(h + "/code/app/.venv/pyvenv.cfg", 20);
    write_file(h + "/code/app/venv/__init__.py", 20); // a package that happens to be called venv
    // The Python library's own venv package, five levels down a pyenv installation.
    write_file(h + "/.pyenv/versions/3.11.7/lib/python3.11/venv/__init__.py", 20);
    EXPECT_EQ(paths_of(scanner::list(project_row(h, {"venv", ".venv"}), nullptr)),
              std::vector<std::string>{h + "/code/app/.venv"});
}

TEST(ScannerProjects, ACandidateInsideAnotherCandidateIsNeverListed) {
    test_env::TempHome home;
    const std::string root = home.path("r");
    write_file(root + "/p/package.json", 2);
    write_file(root + "/p/build/node_modules/.package-lock.json", 2);
    write_file(root + "/p/node_modules/lib/__pycache__/m.pyc", 2);
    write_file(root + "/p/target/out/x", 2);
    write_file(root + "/p/.venv/pyvenv.cfg", 2);
    write_file(root + "/p/.venv/lib/site/__pycache__/y.pyc", 2);
    std::vector<std::string> all;
    for (const std::vector<std::string>& names : std::vector<std::vector<std::string>>{
             {"node_modules"},
             {"build", "out", "target"},
             {"__pycache__", ".pytest_cache", ".mypy_cache", ".ruff_cache"},
             {"venv", ".venv"},
             {".gradle"}})
        for (const std::string& p : paths_of(scanner::list(project_row(root, names), nullptr)))
            all.push_back(p);
    std::sort(all.begin(), all.end());
    EXPECT_EQ(all, (std::vector<std::string>{root + "/p/.venv", root + "/p/build",
                                             root + "/p/node_modules", root + "/p/target"}));
}
