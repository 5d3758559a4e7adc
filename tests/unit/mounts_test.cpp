// The mount table: the parser on fixture text, the unescaping, the lookup of
// the mount that holds a path and the choice of scan roots. Only the tests of
// the real table read "/proc/self/mountinfo"; nothing here writes anywhere but
// in its own temporary folder.
#include "mounts.h"

#include "paths.h"
#include "test_env.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>

using mounts::Mount;

namespace {

// One mountinfo line with the given point, options, type and source.
std::string line(const std::string& point, const std::string& type, const std::string& source,
                 const std::string& options = "rw,relatime", const std::string& optional = "") {
    return "36 25 8:2 / " + point + " " + options + (optional.empty() ? "" : " " + optional) +
           " - " + type + " " + source + " rw\n";
}

Mount mount(const std::string& point, const std::string& type = "ext4",
            const std::string& source = "/dev/sda1") {
    return Mount{point, type, source, false};
}

std::vector<std::string> points(const std::vector<Mount>& table) {
    std::vector<std::string> out;
    for (const Mount& m : table)
        out.push_back(m.point);
    return out;
}

// Sets a variable for the life of the object and puts the old value back.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value) : m_name(name) {
        const char* old = std::getenv(name);
        m_was_set = old != nullptr;
        if (old)
            m_old = old;
        setenv(name, value, 1);
    }
    ~ScopedEnv() {
        if (m_was_set)
            setenv(m_name, m_old.c_str(), 1);
        else
            unsetenv(m_name);
    }

private:
    const char* m_name;
    bool m_was_set = false;
    std::string m_old;
};

const char* const FIXTURE =
    "22 1 8:2 / / rw,relatime shared:1 - ext4 /dev/sda2 rw,errors=remount-ro\n"
    "23 22 0:21 / /proc rw,nosuid,nodev,noexec,relatime shared:12 - proc proc rw\n"
    "24 22 0:22 / /sys rw,nosuid,nodev,noexec,relatime shared:2 - sysfs sysfs rw\n"
    "25 22 0:5 / /dev rw,nosuid,relatime shared:3 - devtmpfs udev rw,size=8000000k\n"
    "26 25 0:23 / /dev/pts rw,nosuid,noexec,relatime shared:4 - devpts devpts rw\n"
    "27 22 0:24 / /run rw,nosuid,nodev,noexec,relatime shared:5 - tmpfs tmpfs rw\n"
    "28 27 0:25 / /run/user/1000 rw,nosuid,nodev,relatime shared:6 - tmpfs tmpfs rw\n"
    "29 22 8:1 / /boot/efi rw,relatime shared:7 - vfat /dev/sda1 rw\n"
    "30 22 8:3 / /home rw,relatime shared:8 - ext4 /dev/sda3 rw\n"
    "31 22 7:0 / /snap/core22/1122 ro,nodev,relatime shared:9 - squashfs /dev/loop0 ro\n"
    "32 22 8:17 / /media/anna/My\\040Disk rw,nosuid,nodev shared:10 - exfat /dev/sdb1 rw\n"
    "33 27 8:33 / /run/media/anna/USB rw,nosuid,nodev shared:11 - vfat /dev/sdc1 rw\n"
    "34 30 0:40 / /home/anna/remote rw,nosuid,nodev shared:13 - fuse.sshfs anna@host:/srv rw\n"
    "35 30 8:3 /anna/data /srv/data rw,relatime shared:8 - ext4 /dev/sda3 rw\n";

} // namespace

// ---- Unescaping ----

TEST(MountsUnescape, SpaceTabNewlineAndBackslashAreDecoded) {
    EXPECT_EQ(mounts::unescape("a\\040b"), "a b");
    EXPECT_EQ(mounts::unescape("a\\011b"), "a\tb");
    EXPECT_EQ(mounts::unescape("a\\012b"), "a\nb");
    EXPECT_EQ(mounts::unescape("a\\134b"), "a\\b");
}

TEST(MountsUnescape, TextWithoutEscapesIsUnchanged) {
    EXPECT_EQ(mounts::unescape(""), "");
    EXPECT_EQ(mounts::unescape("/media/anna/USB"), "/media/anna/USB");
}

TEST(MountsUnescape, LoneBackslashIsCopied) {
    EXPECT_EQ(mounts::unescape("\\"), "\\");
    EXPECT_EQ(mounts::unescape("a\\b"), "a\\b");
    EXPECT_EQ(mounts::unescape("end\\"), "end\\");
}

TEST(MountsUnescape, FewerThanThreeDigitsAreCopied) {
    EXPECT_EQ(mounts::unescape("a\\04"), "a\\04");
    EXPECT_EQ(mounts::unescape("a\\0"), "a\\0");
    EXPECT_EQ(mounts::unescape("\\04x"), "\\04x");
}

TEST(MountsUnescape, DigitsEightAndNineAreNotOctal) {
    EXPECT_EQ(mounts::unescape("\\080"), "\\080");
    EXPECT_EQ(mounts::unescape("\\009"), "\\009");
    EXPECT_EQ(mounts::unescape("\\800"), "\\800");
}

TEST(MountsUnescape, ValuesAboveAByteKeepTheLowEightBits) {
    EXPECT_EQ(mounts::unescape("\\777"), std::string(1, '\xff'));
    EXPECT_EQ(mounts::unescape("\\400"), std::string(1, '\0'));
    EXPECT_EQ(mounts::unescape("\\401"), std::string(1, '\x01'));
    EXPECT_EQ(mounts::unescape("\\000"), std::string(1, '\0'));
}

TEST(MountsUnescape, DecodedBackslashIsNotDecodedAgain) {
    // "\134" gives a backslash; the "040" after it stays text.
    EXPECT_EQ(mounts::unescape("\\134040"), "\\040");
    EXPECT_EQ(mounts::unescape("\\134\\134"), "\\\\");
}

TEST(MountsUnescape, EscapesBackToBackAndAtBothEnds) {
    EXPECT_EQ(mounts::unescape("\\040\\040"), "  ");
    EXPECT_EQ(mounts::unescape("\\040x\\040"), " x ");
}

TEST(MountsUnescape, BytesAboveAsciiPassThrough) {
    EXPECT_EQ(mounts::unescape("/media/j\xc3\xb6rg"), "/media/j\xc3\xb6rg");
    EXPECT_EQ(mounts::unescape("/media/\\303\\266"), "/media/\xc3\xb6");
}

// ---- Parsing ----

TEST(MountsParse, TypicalLineGivesEveryField) {
    const auto t = mounts::parse_mountinfo(
        "36 35 98:0 /mnt1 /mnt/parent rw,noatime master:1 - ext3 /dev/root rw,errors=continue\n");
    ASSERT_EQ(t.size(), 1u);
    EXPECT_EQ(t[0].point, "/mnt/parent");
    EXPECT_EQ(t[0].fs_type, "ext3");
    EXPECT_EQ(t[0].source, "/dev/root");
    EXPECT_FALSE(t[0].read_only);
}

TEST(MountsParse, EscapedSpaceInPointIsStoredDecoded) {
    const auto t = mounts::parse_mountinfo(line("/media/anna/My\\040Disk", "exfat", "/dev/sdb1"));
    ASSERT_EQ(t.size(), 1u);
    EXPECT_EQ(t[0].point, "/media/anna/My Disk");
}

TEST(MountsParse, SourceIsUnescapedAndTypeIsKeptAsItStands) {
    const auto t =
        mounts::parse_mountinfo(line("/mnt/x", "fuse.my\\040fs", "name\\040with\\011blanks"));
    ASSERT_EQ(t.size(), 1u);
    EXPECT_EQ(t[0].fs_type, "fuse.my\\040fs");
    EXPECT_EQ(t[0].source, "name with\tblanks");
}

TEST(MountsParse, EveryEscapeInPointAndSource) {
    const auto t = mounts::parse_mountinfo(
        line("/mnt/a\\040b\\011c\\012d\\134e", "ext4", "/dev/x\\040y\\134z"));
    ASSERT_EQ(t.size(), 1u);
    EXPECT_EQ(t[0].point, "/mnt/a b\tc\nd\\e");
    EXPECT_EQ(t[0].source, "/dev/x y\\z");
}

TEST(MountsParse, AnyNumberOfOptionalFields) {
    const auto none = mounts::parse_mountinfo(line("/a", "ext4", "/dev/a"));
    const auto three = mounts::parse_mountinfo(
        line("/b", "ext4", "/dev/b", "rw", "shared:1 master:2 propagate_from:3"));
    ASSERT_EQ(none.size(), 1u);
    ASSERT_EQ(three.size(), 1u);
    EXPECT_EQ(none[0].point, "/a");
    EXPECT_EQ(three[0].point, "/b");
    EXPECT_EQ(three[0].fs_type, "ext4");
    EXPECT_EQ(three[0].source, "/dev/b");
}

TEST(MountsParse, LineWithoutSeparatorIsSkipped) {
    EXPECT_TRUE(mounts::parse_mountinfo("36 25 8:2 / /a rw shared:1 ext4 /dev/a rw\n").empty());
}

TEST(MountsParse, FewerThanSixFieldsBeforeSeparatorIsSkipped) {
    EXPECT_TRUE(mounts::parse_mountinfo("36 25 8:2 / /a - ext4 /dev/a rw\n").empty());
    EXPECT_TRUE(mounts::parse_mountinfo("- ext4 /dev/a\n").empty());
}

TEST(MountsParse, SixFieldsBeforeSeparatorIsEnough) {
    const auto t = mounts::parse_mountinfo("1 2 3 4 /a ro - ext4 /dev/a\n");
    ASSERT_EQ(t.size(), 1u);
    EXPECT_EQ(t[0].point, "/a");
    EXPECT_TRUE(t[0].read_only);
}

TEST(MountsParse, FewerThanTwoFieldsAfterSeparatorIsSkipped) {
    EXPECT_TRUE(mounts::parse_mountinfo("36 25 8:2 / /a rw - ext4\n").empty());
    EXPECT_TRUE(mounts::parse_mountinfo("36 25 8:2 / /a rw -\n").empty());
}

TEST(MountsParse, TwoFieldsAfterSeparatorWithoutSuperblockOptionsIsKept) {
    const auto t = mounts::parse_mountinfo("36 25 8:2 / /a rw - ext4 /dev/a\n");
    ASSERT_EQ(t.size(), 1u);
    EXPECT_EQ(t[0].source, "/dev/a");
}

TEST(MountsParse, FirstLoneDashIsTheSeparator) {
    // A dash inside a field is no separator; a second lone dash is the source.
    const auto t = mounts::parse_mountinfo("36 25 8:2 / /a-b rw - ext4 - rw\n");
    ASSERT_EQ(t.size(), 1u);
    EXPECT_EQ(t[0].point, "/a-b");
    EXPECT_EQ(t[0].source, "-");
}

TEST(MountsParse, MalformedLinesAreSkippedAndTheRestIsRead) {
    const std::string text = std::string("garbage\n") + "\n" + line("/ok1", "ext4", "/dev/a") +
                             "36 25 8:2 / /bad rw - ext4\n" + "   \n" +
                             line("/ok2", "xfs", "/dev/b") + "- - - - - - - -\n";
    EXPECT_EQ(points(mounts::parse_mountinfo(text)), (std::vector<std::string>{"/ok1", "/ok2"}));
}

TEST(MountsParse, EmptyTextGivesEmptyTable) {
    EXPECT_TRUE(mounts::parse_mountinfo("").empty());
    EXPECT_TRUE(mounts::parse_mountinfo("\n\n\n").empty());
}

TEST(MountsParse, LastLineWithoutNewlineIsRead) {
    const auto t = mounts::parse_mountinfo("36 25 8:2 / /a rw - ext4 /dev/a rw");
    ASSERT_EQ(t.size(), 1u);
    EXPECT_EQ(t[0].point, "/a");
}

TEST(MountsParse, RunsOfBlanksAndTabsSeparateFields) {
    const auto t = mounts::parse_mountinfo("36  25\t8:2 /   /a  rw\t-  ext4   /dev/a rw\n");
    ASSERT_EQ(t.size(), 1u);
    EXPECT_EQ(t[0].point, "/a");
    EXPECT_EQ(t[0].fs_type, "ext4");
    EXPECT_EQ(t[0].source, "/dev/a");
}

TEST(MountsParse, OtherControlBytesStayInTheField) {
    // The kernel escapes only space, tab, newline and backslash; a folder
    // name with a carriage return appears raw and is still one field.
    const auto t = mounts::parse_mountinfo(line("/media/a\rb", "ext4", "/dev/a\vb"));
    ASSERT_EQ(t.size(), 1u);
    EXPECT_EQ(t[0].point, "/media/a\rb");
    EXPECT_EQ(t[0].source, "/dev/a\vb");
}

TEST(MountsParse, ReadOnlyOnlyWhenOptionsAreRoOrBeginWithRoComma) {
    auto ro = [](const std::string& options) {
        const auto t = mounts::parse_mountinfo(line("/a", "ext4", "/dev/a", options));
        return !t.empty() && t[0].read_only;
    };
    EXPECT_TRUE(ro("ro"));
    EXPECT_TRUE(ro("ro,relatime"));
    EXPECT_FALSE(ro("rw,relatime"));
    EXPECT_FALSE(ro("rw"));
    EXPECT_FALSE(ro("relatime,ro"));
    EXPECT_FALSE(ro("rox"));
    EXPECT_FALSE(ro("RO"));
}

TEST(MountsParse, SuperblockReadOnlyDoesNotMakeTheMountReadOnly) {
    const auto t = mounts::parse_mountinfo("36 25 8:2 / /a rw,relatime - ext4 /dev/a ro\n");
    ASSERT_EQ(t.size(), 1u);
    EXPECT_FALSE(t[0].read_only);
}

TEST(MountsParse, TableKeepsTheOrderOfTheLines) {
    const auto t = mounts::parse_mountinfo(FIXTURE);
    EXPECT_EQ(points(t), (std::vector<std::string>{
                             "/", "/proc", "/sys", "/dev", "/dev/pts", "/run", "/run/user/1000",
                             "/boot/efi", "/home", "/snap/core22/1122", "/media/anna/My Disk",
                             "/run/media/anna/USB", "/home/anna/remote", "/srv/data"}));
    EXPECT_TRUE(t[9].read_only);
    EXPECT_EQ(t[12].fs_type, "fuse.sshfs");
    EXPECT_EQ(t[12].source, "anna@host:/srv");
}

TEST(MountsParse, NulBytesInTheTextDoNotEndIt) {
    std::string text = line("/a", "ext4", "/dev/a");
    text += std::string("\0\0\0\n", 4);
    text += line("/b", "ext4", "/dev/b");
    EXPECT_EQ(points(mounts::parse_mountinfo(text)), (std::vector<std::string>{"/a", "/b"}));
}

// ---- Reading the file ----

TEST(MountsRead, FileTextIsReadWhole) {
    test_env::TempHome home;
    const std::string file = home.path("mountinfo");
    {
        std::ofstream out(file, std::ios::binary);
        out << FIXTURE;
    }
    EXPECT_EQ(mounts::read_file_text(file.c_str()), FIXTURE);
    EXPECT_EQ(mounts::parse_mountinfo(mounts::read_file_text(file.c_str())).size(), 14u);
}

TEST(MountsRead, MissingFileGivesEmptyTextAndEmptyTable) {
    test_env::TempHome home;
    const std::string file = home.path("no-such-file");
    EXPECT_EQ(mounts::read_file_text(file.c_str()), "");
    EXPECT_TRUE(mounts::parse_mountinfo(mounts::read_file_text(file.c_str())).empty());
}

TEST(MountsRead, RealTableHoldsTheRootAndIsBuiltOnce) {
    const std::vector<Mount>& a = mounts::all();
    const std::vector<Mount>& b = mounts::all();
    EXPECT_EQ(&a, &b);
    ASSERT_FALSE(a.empty());
    bool has_root = false;
    for (const Mount& m : a)
        has_root = has_root || m.point == "/";
    EXPECT_TRUE(has_root);
    EXPECT_EQ(a.size(),
              mounts::parse_mountinfo(mounts::read_file_text("/proc/self/mountinfo")).size());
    ASSERT_NE(mounts::for_path("/"), nullptr);
}

TEST(MountsRead, TableCannotBeReplacedOnceBuilt) {
    const std::size_t size = mounts::all().size();
    EXPECT_FALSE(mounts_testing::use_table({mount("/only")}));
    EXPECT_EQ(mounts::all().size(), size);
}

TEST(MountsRead, TableGivenBeforeFirstUseIsTheTable) {
    EXPECT_TRUE(mounts_testing::use_table({mount("/"), mount("/data", "xfs", "/dev/sdb1")}));
    ASSERT_EQ(mounts::all().size(), 2u);
    EXPECT_EQ(mounts::for_path("/data/x")->point, "/data");
    EXPECT_FALSE(mounts_testing::use_table({}));
}

TEST(MountsRead, EmptyTableGivesNoMountAndNoRoots) {
    EXPECT_TRUE(mounts_testing::use_table({}));
    EXPECT_EQ(mounts::for_path("/home/anna"), nullptr);
    EXPECT_EQ(mounts::for_path("/"), nullptr);
    EXPECT_TRUE(mounts::scannable_roots().empty());
}

// ---- The mount that holds a path ----

TEST(MountsLookup, HomeNeighbourFallsToTheRoot) {
    const std::vector<Mount> t = {mount("/"), mount("/home", "ext4", "/dev/sda3")};
    ASSERT_NE(mounts::for_path_in(t, "/home2/x"), nullptr);
    EXPECT_EQ(mounts::for_path_in(t, "/home2/x")->point, "/");
    EXPECT_EQ(mounts::for_path_in(t, "/home2")->point, "/");
    EXPECT_EQ(mounts::for_path_in(t, "/home")->point, "/home");
    EXPECT_EQ(mounts::for_path_in(t, "/home/")->point, "/home");
    EXPECT_EQ(mounts::for_path_in(t, "/home/anna/x")->point, "/home");
}

TEST(MountsLookup, LongestPointWinsWhateverTheOrder) {
    const std::vector<Mount> t = {mount("/home/anna/data"), mount("/home"), mount("/")};
    EXPECT_EQ(mounts::for_path_in(t, "/home/anna/data/x")->point, "/home/anna/data");
    EXPECT_EQ(mounts::for_path_in(t, "/home/anna/datax")->point, "/home");
}

TEST(MountsLookup, StackedMountAtTheSamePointLaterWins) {
    const auto t = mounts::parse_mountinfo(line("/", "ext4", "/dev/sda2") +
                                           line("/mnt/x", "ext4", "/dev/sdb1") +
                                           line("/mnt/x", "tmpfs", "tmpfs"));
    const Mount* m = mounts::for_path_in(t, "/mnt/x/file");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->fs_type, "tmpfs");
    EXPECT_EQ(m, &t[2]);
}

TEST(MountsLookup, NoMatchGivesNull) {
    const std::vector<Mount> t = {mount("/data")};
    EXPECT_EQ(mounts::for_path_in(t, "/home/anna"), nullptr);
    EXPECT_EQ(mounts::for_path_in(t, "/datax"), nullptr);
    EXPECT_EQ(mounts::for_path_in({}, "/"), nullptr);
    EXPECT_EQ(mounts::lookup(t, "relative"), nullptr);
}

TEST(MountsLookup, RootMatchesEveryPathEvenRelativeOnes) {
    const std::vector<Mount> t = {mount("/")};
    EXPECT_EQ(mounts::lookup(t, "relative"), &t[0]);
    EXPECT_EQ(mounts::lookup(t, ""), &t[0]);
}

TEST(MountsLookup, EscapedPointIsMatchedDecoded) {
    const auto t = mounts::parse_mountinfo(FIXTURE);
    EXPECT_EQ(mounts::for_path_in(t, "/media/anna/My Disk/node_modules")->point,
              "/media/anna/My Disk");
    EXPECT_EQ(mounts::for_path_in(t, "/media/anna/My\\040Disk/x")->point, "/");
}

TEST(MountsLookup, BindMountOfASubfolderIsItsOwnMount) {
    const auto t = mounts::parse_mountinfo(FIXTURE);
    const Mount* m = mounts::for_path_in(t, "/srv/data/x");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->point, "/srv/data");
    EXPECT_EQ(m->source, "/dev/sda3");
}

TEST(MountsLookup, HostFormFindsTheMountSeenThroughTheHostRoot) {
    // Outside a Snap the display form still strips the host-filesystem root,
    // so a path seen through it finds the mount listed at its host path.
    const std::vector<Mount> t = {mount("/"), mount("/media/anna/USB", "vfat", "/dev/sdc1")};
    const Mount* m = mounts::for_path_in(t, "/var/lib/snapd/hostfs/media/anna/USB/x");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->point, "/media/anna/USB");
}

TEST(MountsLookup, InsideASnapAHostPathFindsItsMountBelowTheHostRoot) {
    test_env::TempHome home;
    ScopedEnv snap("SNAP", "/snap/quillet/1");
    ScopedEnv name("SNAP_NAME", "quillet");
    paths_testing::set_hostfs_probe_dir(home.root());
    ASSERT_TRUE(hostfs_available());
    const std::vector<Mount> t = {mount("/"), mount("/var/lib/snapd/hostfs", "ext4", "/dev/sda2"),
                                  mount("/var/lib/snapd/hostfs/data", "xfs", "/dev/sdb1")};
    const Mount* m = mounts::for_path_in(t, "/data/projects");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->point, "/var/lib/snapd/hostfs/data");
    // The host root itself shows as "/", so a path only on it stays with the
    // mount that lookup finds first.
    const Mount* r = mounts::for_path_in(t, "/opt/sdk");
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r->point, "/");
}

// ---- Kinds of file system ----

TEST(MountsTypes, EveryPseudoTypeAndNoOther) {
    for (const char* t :
         {"sysfs",      "proc",      "devpts",    "devtmpfs", "cgroup2",     "cgroup",
          "pstore",     "bpf",       "tracefs",   "debugfs",  "securityfs",  "configfs",
          "fusectl",    "hugetlbfs", "mqueue",    "efivarfs", "binfmt_misc", "autofs",
          "rpc_pipefs", "nsfs",      "selinuxfs", "ramfs",    "swap"})
        EXPECT_TRUE(mounts::is_pseudo_fs(t)) << t;
    for (const char* t : {"tmpfs", "ext4", "Proc", "proc2", "", "cgroup3", "fuse"})
        EXPECT_FALSE(mounts::is_pseudo_fs(t)) << t;
}

TEST(MountsTypes, NetworkAndEveryFuseTypeAreRisky) {
    for (const char* t : {"nfs4", "nfs", "smb3", "cifs", "afs", "ceph", "smbfs", "glusterfs",
                          "davfs", "9p", "sshfs", "ftpfs", "curlftpfs", "fuse", "fuseblk",
                          "fuse.sshfs", "fuse.gvfsd-fuse", "fusectl"})
        EXPECT_TRUE(mounts::is_risky_fs(t)) << t;
    for (const char* t : {"ext4", "btrfs", "nfsx", "NFS", "", "xfs", "vfat", "tmpfs"})
        EXPECT_FALSE(mounts::is_risky_fs(t)) << t;
}

TEST(MountsTypes, ExactlyThreeImageTypes) {
    for (const char* t : {"squashfs", "erofs", "iso9660"})
        EXPECT_TRUE(mounts::is_image_fs(t)) << t;
    for (const char* t : {"squashfs2", "udf", "ext4", "", "ISO9660"})
        EXPECT_FALSE(mounts::is_image_fs(t)) << t;
}

// ---- Scan roots ----

TEST(MountsScannable, FixtureKeepsOnlyUserDataMounts) {
    const auto roots = mounts::scannable_roots_of(mounts::parse_mountinfo(FIXTURE));
    EXPECT_EQ(points(roots),
              (std::vector<std::string>{"/", "/home", "/media/anna/My Disk", "/run/media/anna/USB",
                                        "/home/anna/remote"}));
}

TEST(MountsScannable, UsbUnderRunMediaIsARootButRunUserAndBootEfiAreNot) {
    const std::vector<Mount> t = {mount("/run/media/anna/USB", "vfat", "/dev/sdc1"),
                                  mount("/run/user/1000", "ext4", "/dev/x"),
                                  mount("/boot/efi", "vfat", "/dev/sda1"),
                                  mount("/run/media", "ext4", "/dev/y")};
    EXPECT_EQ(points(mounts::scannable_roots_of(t)),
              (std::vector<std::string>{"/run/media/anna/USB", "/run/media"}));
}

TEST(MountsScannable, SshfsIsARoot) {
    const std::vector<Mount> t = {mount("/home/anna/remote", "fuse.sshfs", "anna@host:/")};
    EXPECT_EQ(mounts::scannable_roots_of(t).size(), 1u);
}

TEST(MountsScannable, PseudoAndTmpfsAreDropped) {
    const std::vector<Mount> t = {mount("/data/proc", "proc", "proc"),
                                  mount("/data/tmp", "tmpfs", "tmpfs"),
                                  mount("/data/ram", "ramfs", "ramfs")};
    EXPECT_TRUE(mounts::scannable_roots_of(t).empty());
}

TEST(MountsScannable, SnapTreesAndImagesAreDropped) {
    const std::vector<Mount> t = {mount("/snap", "ext4", "/dev/a"),
                                  mount("/snap/x/1", "ext4", "/dev/b"),
                                  mount("/data/img", "squashfs", "/dev/c"),
                                  mount("/var/lib/snapd", "ext4", "/dev/d"),
                                  mount("/var/lib/snapd/hostfs", "ext4", "/dev/e"),
                                  mount("/var/snap/x", "ext4", "/dev/f")};
    EXPECT_TRUE(mounts::scannable_roots_of(t).empty());
}

TEST(MountsScannable, EveryNoisePrefixIsDroppedButItsNeighboursStay) {
    std::vector<Mount> t;
    int n = 0;
    for (const char* p : {"/run", "/usr", "/etc", "/dev", "/proc", "/sys", "/boot", "/var"}) {
        t.push_back(mount(p, "ext4", "/dev/n" + std::to_string(n++)));
        t.push_back(mount(std::string(p) + "/sub", "ext4", "/dev/n" + std::to_string(n++)));
        t.push_back(mount(std::string(p) + "x", "ext4", "/dev/n" + std::to_string(n++)));
    }
    t.push_back(mount("/snapx", "ext4", "/dev/snapx"));
    EXPECT_EQ(points(mounts::scannable_roots_of(t)),
              (std::vector<std::string>{"/runx", "/usrx", "/etcx", "/devx", "/procx", "/sysx",
                                        "/bootx", "/varx", "/snapx"}));
}

TEST(MountsScannable, TwoMountsAtOnePointKeepOnlyTheFirst) {
    const std::vector<Mount> t = {mount("/data", "ext4", "/dev/sdb1"),
                                  mount("/data", "xfs", "/dev/sdc1")};
    const auto roots = mounts::scannable_roots_of(t);
    ASSERT_EQ(roots.size(), 1u);
    EXPECT_EQ(roots[0].source, "/dev/sdb1");
}

TEST(MountsScannable, SameDeviceTwiceKeepsTheFirstPoint) {
    // A bind mount shows the same device at a second point.
    const auto t = mounts::parse_mountinfo(line("/home", "ext4", "/dev/sda3") +
                                           line("/srv/data", "ext4", "/dev/sda3"));
    EXPECT_EQ(points(mounts::scannable_roots_of(t)), (std::vector<std::string>{"/home"}));
}

TEST(MountsScannable, SameNonDeviceSourceTwiceKeepsBoth) {
    const std::vector<Mount> t = {mount("/a", "fuse.sshfs", "host:/"),
                                  mount("/b", "fuse.sshfs", "host:/")};
    EXPECT_EQ(points(mounts::scannable_roots_of(t)), (std::vector<std::string>{"/a", "/b"}));
}

TEST(MountsScannable, DroppedMountDoesNotHideALaterOneOfItsDevice) {
    // The device is remembered only for kept mounts.
    const std::vector<Mount> t = {mount("/boot", "ext4", "/dev/sda1"),
                                  mount("/data", "ext4", "/dev/sda1")};
    EXPECT_EQ(points(mounts::scannable_roots_of(t)), (std::vector<std::string>{"/data"}));
}
