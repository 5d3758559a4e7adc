// The grouping of deleted paths by file system and the arithmetic of the
// gain, fed made-up devices and snapshots; and the real readings on the test's
// own folder, which is only read, never written through this module.

#include "disk_space.h"
#include "paths.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <map>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace {

constexpr int64_t KB = 1024;
constexpr int64_t MB = 1024 * KB;

// Two made-up file systems: everything under /a lives on device 1, under /b
// on device 2; /gone cannot be examined.
bool fake_device(const std::string& folder, uint64_t& device) {
    if (folder.rfind("/a", 0) == 0)
        device = 1;
    else if (folder.rfind("/b", 0) == 0)
        device = 2;
    else
        return false;
    return true;
}

disk_space::Snapshot snap(int64_t free, int64_t block = 4096) {
    disk_space::Snapshot s;
    s.ok = true;
    s.free = free;
    s.block = block;
    return s;
}

// Free space per probe folder, as a test sets it.
struct FakeDisks {
    std::map<std::string, disk_space::Snapshot> now;
    std::vector<std::string> asked;
    disk_space::FreeOf reader() {
        return [this](const std::string& folder) {
            asked.push_back(folder);
            const auto found = now.find(folder);
            return found == now.end() ? disk_space::Snapshot{} : found->second;
        };
    }
};

} // namespace

TEST(DiskSpaceParent, TheFolderHoldingAPath) {
    EXPECT_EQ(disk_space::parent_folder("/home/u/.npm/_cacache"), "/home/u/.npm");
    EXPECT_EQ(disk_space::parent_folder("/home/u/proj/node_modules/"), "/home/u/proj");
    EXPECT_EQ(disk_space::parent_folder("/top"), "/");
    EXPECT_EQ(disk_space::parent_folder("relative"), ".");
}

TEST(DiskSpaceGroup, PathsAreGroupedByTheFileSystemOfTheirFolder) {
    const disk_space::Plan plan = disk_space::group(
        {"/a/one/x", "/b/two/y", "/a/three/z", "/a/one/x", "/gone/w"}, fake_device);
    ASSERT_EQ(plan.volumes.size(), 2u);
    EXPECT_EQ(plan.volumes[0].device, 1u);
    EXPECT_EQ(plan.volumes[0].probe, "/a/one") << "the first path's folder, which outlives it";
    EXPECT_EQ(plan.volumes[1].device, 2u);
    EXPECT_EQ(plan.volumes[1].probe, "/b/two");
    EXPECT_EQ(plan.volume_of.at("/a/one/x"), 0);
    EXPECT_EQ(plan.volume_of.at("/a/three/z"), 0);
    EXPECT_EQ(plan.volume_of.at("/b/two/y"), 1);
    EXPECT_EQ(plan.volume_of.count("/gone/w"), 0u);
}

TEST(DiskSpaceCompare, TwoFileSystemsAddTheirGainsAndTheirExpectedSizes) {
    disk_space::Plan plan = disk_space::group({"/a/p/x", "/a/p/y", "/b/q/z"}, fake_device);
    FakeDisks disks;
    disks.now["/a/p"] = snap(100 * MB);
    disks.now["/b/q"] = snap(40 * MB, 1024);
    disk_space::take_before(plan, disks.reader());
    disks.now["/a/p"] = snap(130 * MB);
    disks.now["/b/q"] = snap(50 * MB, 1024);
    disk_space::take_after(plan, disks.reader());
    EXPECT_EQ(disks.asked, (std::vector<std::string>{"/a/p", "/b/q", "/a/p", "/b/q"}))
        << "each file system is read once before and once after";
    disk_space::count_deleted(plan, "/a/p/x", 20 * MB);
    disk_space::count_deleted(plan, "/a/p/y", 10 * MB);
    disk_space::count_deleted(plan, "/b/q/z", 10 * MB);
    EXPECT_EQ(plan.volumes[0].entries, 2);
    EXPECT_EQ(plan.volumes[0].expected, 30 * MB);
    EXPECT_EQ(plan.volumes[1].expected, 10 * MB);

    const disk_space::Result r = disk_space::compare(plan);
    EXPECT_TRUE(r.known);
    EXPECT_EQ(r.gained, 40 * MB);
    EXPECT_EQ(r.expected, 40 * MB);
    // 4 blocks for each of two entries of 4 KB, one entry of 1 KB, and 2 %
    // of what each file system expected.
    EXPECT_EQ(r.tolerance, 4 * 2 * 4096 + 30 * MB / 50 + 4 * 1 * 1024 + 10 * MB / 50);
    EXPECT_FALSE(r.differ);
}

TEST(DiskSpaceCompare, AGapBeyondTheToleranceDiffersEitherWay) {
    for (const int64_t gained : {int64_t{50 * MB}, int64_t{70 * MB}}) {
        disk_space::Plan plan = disk_space::group({"/a/p/x"}, fake_device);
        FakeDisks disks;
        disks.now["/a/p"] = snap(500 * MB);
        disk_space::take_before(plan, disks.reader());
        disks.now["/a/p"] = snap(500 * MB + gained);
        disk_space::take_after(plan, disks.reader());
        disk_space::count_deleted(plan, "/a/p/x", 60 * MB);
        const disk_space::Result r = disk_space::compare(plan);
        EXPECT_TRUE(r.known);
        EXPECT_EQ(r.gained, gained);
        EXPECT_EQ(r.expected, 60 * MB);
        EXPECT_TRUE(r.differ) << gained;
    }
}

TEST(DiskSpaceCompare, TheToleranceIsTheBoundary) {
    const int64_t expected = 10 * MB;
    const int64_t tolerance = 4 * 4096 + expected / 50;
    for (const int64_t gap : {tolerance, tolerance + 1}) {
        disk_space::Plan plan = disk_space::group({"/a/p/x"}, fake_device);
        FakeDisks disks;
        disks.now["/a/p"] = snap(MB);
        disk_space::take_before(plan, disks.reader());
        disks.now["/a/p"] = snap(MB + expected - gap);
        disk_space::take_after(plan, disks.reader());
        disk_space::count_deleted(plan, "/a/p/x", expected);
        const disk_space::Result r = disk_space::compare(plan);
        EXPECT_EQ(r.tolerance, tolerance);
        EXPECT_EQ(r.differ, gap > tolerance) << gap;
    }
}

TEST(DiskSpaceCompare, AnotherProgramWritingMoreThanWasFreedGivesANegativeGain) {
    disk_space::Plan plan = disk_space::group({"/b/q/z"}, fake_device);
    FakeDisks disks;
    disks.now["/b/q"] = snap(200 * MB);
    disk_space::take_before(plan, disks.reader());
    disks.now["/b/q"] = snap(150 * MB);
    disk_space::take_after(plan, disks.reader());
    disk_space::count_deleted(plan, "/b/q/z", 5 * MB);
    const disk_space::Result r = disk_space::compare(plan);
    EXPECT_EQ(r.gained, -50 * MB);
    EXPECT_TRUE(r.differ);
}

TEST(DiskSpaceCompare, AFileSystemThatLostNothingDoesNotCount) {
    // Both were ticked; only the path on /a went (the other failed), so
    // whatever happened on /b meanwhile is not part of the result.
    disk_space::Plan plan = disk_space::group({"/a/p/x", "/b/q/z"}, fake_device);
    FakeDisks disks;
    disks.now["/a/p"] = snap(10 * MB);
    disks.now["/b/q"] = snap(10 * MB);
    disk_space::take_before(plan, disks.reader());
    disks.now["/a/p"] = snap(12 * MB);
    disks.now["/b/q"] = snap(90 * MB);
    disk_space::take_after(plan, disks.reader());
    disk_space::count_deleted(plan, "/a/p/x", 2 * MB);
    const disk_space::Result r = disk_space::compare(plan);
    EXPECT_TRUE(r.known);
    EXPECT_EQ(r.gained, 2 * MB);
    EXPECT_EQ(r.expected, 2 * MB);
    EXPECT_FALSE(r.differ);
}

TEST(DiskSpaceCompare, AnUnreadableFileSystemMakesTheGainUnknown) {
    disk_space::Plan plan = disk_space::group({"/a/p/x", "/b/q/z"}, fake_device);
    FakeDisks disks;
    disks.now["/a/p"] = snap(10 * MB);
    disk_space::take_before(plan, disks.reader()); // /b/q cannot be read
    disks.now["/b/q"] = snap(10 * MB);
    disk_space::take_after(plan, disks.reader());
    disk_space::count_deleted(plan, "/a/p/x", MB);
    disk_space::count_deleted(plan, "/b/q/z", MB);
    const disk_space::Result r = disk_space::compare(plan);
    EXPECT_FALSE(r.known);
    EXPECT_FALSE(r.differ);
    EXPECT_EQ(r.expected, 2 * MB) << "what was expected is still known";
}

TEST(DiskSpaceCompare, ADeletedPathOfNoKnownFileSystemMakesTheGainUnknown) {
    disk_space::Plan plan = disk_space::group({"/a/p/x", "/gone/w"}, fake_device);
    FakeDisks disks;
    disks.now["/a/p"] = snap(10 * MB);
    disk_space::take_before(plan, disks.reader());
    disk_space::take_after(plan, disks.reader());
    disk_space::count_deleted(plan, "/a/p/x", MB);
    disk_space::count_deleted(plan, "/gone/w", MB);
    EXPECT_EQ(plan.deleted_elsewhere, 1);
    EXPECT_FALSE(disk_space::compare(plan).known);
}

TEST(DiskSpaceCompare, AnEntryOfUnknownSizeIsNeverCalledADifference) {
    // Its size was not measured, so nothing can be held against the gain.
    disk_space::Plan plan = disk_space::group({"/a/p/x", "/a/p/y"}, fake_device);
    FakeDisks disks;
    disks.now["/a/p"] = snap(10 * MB);
    disk_space::take_before(plan, disks.reader());
    disks.now["/a/p"] = snap(60 * MB);
    disk_space::take_after(plan, disks.reader());
    disk_space::count_deleted(plan, "/a/p/x", MB);
    disk_space::count_deleted(plan, "/a/p/y", 0);
    const disk_space::Result r = disk_space::compare(plan);
    EXPECT_TRUE(r.known);
    EXPECT_EQ(r.gained, 50 * MB);
    EXPECT_EQ(r.expected, MB);
    EXPECT_FALSE(r.differ);
}

TEST(DiskSpaceReal, TheTestFoldersFileSystemIsFoundAndRead) {
    test_env::TempHome t;
    const std::string folder = t.path("home");
    uint64_t device = 0;
    ASSERT_TRUE(disk_space::device_of_folder(folder, device));
    struct stat st {};
    ASSERT_EQ(stat(folder.c_str(), &st), 0);
    EXPECT_EQ(device, static_cast<uint64_t>(st.st_dev));

    const disk_space::Snapshot s = disk_space::free_space(folder);
    ASSERT_TRUE(s.ok);
    struct statvfs vfs {};
    ASSERT_EQ(statvfs(folder.c_str(), &vfs), 0);
    EXPECT_EQ(s.block, static_cast<int64_t>(vfs.f_frsize));
    EXPECT_GT(s.free, 0);
    // The disk is shared with other programs; the two readings agree to a
    // few megabytes.
    EXPECT_NEAR(static_cast<double>(s.free),
                static_cast<double>(vfs.f_bfree) * static_cast<double>(vfs.f_frsize), 64.0 * MB);
}

TEST(DiskSpaceReal, AMissingFolderIsNeitherFoundNorRead) {
    test_env::TempHome t;
    uint64_t device = 0;
    EXPECT_FALSE(disk_space::device_of_folder(t.path("absent"), device));
    EXPECT_FALSE(disk_space::free_space(t.path("absent")).ok);
}

TEST(DiskSpaceReal, InASnapAFolderBeyondTheHomeIsAskedBelowTheHostRoot) {
    // A Snap sees the host's folders outside the real home only below
    // /var/lib/snapd/hostfs; both readings must be asked there. That root does
    // not exist on the test machine, so a folder that does exist but lies
    // outside the home cannot be read, while one inside the home can.
    test_env::TempHome t;
    ASSERT_EQ(mkdir(t.path("hostfs").c_str(), 0755), 0);
    ASSERT_EQ(mkdir(t.path("elsewhere").c_str(), 0755), 0);
    paths_testing::set_hostfs_probe_dir(t.path("hostfs"));
    test_env::ScopedEnv snap("SNAP", "/snap/quillet/12");
    test_env::ScopedEnv name("SNAP_NAME", "quillet");
    test_env::ScopedEnv real("SNAP_REAL_HOME", t.path("home").c_str());
    ASSERT_TRUE(hostfs_available());

    uint64_t device = 0;
    EXPECT_TRUE(disk_space::device_of_folder(t.path("home"), device));
    EXPECT_TRUE(disk_space::free_space(t.path("home")).ok);
    EXPECT_FALSE(disk_space::device_of_folder(t.path("elsewhere"), device));
    EXPECT_FALSE(disk_space::free_space(t.path("elsewhere")).ok);
}
