// The deletion guard. Classification only: nothing here deletes anything.
// Each test sets HOME (and the mount table, through the test seam) before its
// first call into the guard, because the guard reads both once per process and
// every test case runs in a process of its own. Links and files that a test
// needs live in its own temporary folder; links may point at system folders
// such as "/usr", which are only ever classified, never touched.
#include "deletion_guard.h"

#include "mounts.h"
#include "paths.h"
#include "test_env.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using deletion_guard::is_protected;
using deletion_guard::reason_key;

namespace {

const char* const SYSTEM = "Protected system location";
const char* const OTHER_HOME = "Another user's home directory";
const char* const READ_ONLY = "Read-only location";

// The reason as a string, "" for allowed, so that failures print readably.
std::string why(const std::string& path) {
    const char* r = reason_key(path);
    EXPECT_EQ(r != nullptr, is_protected(path)) << path;
    return r ? r : "";
}

// Sets a variable for the life of the object and puts the old value back.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const std::string& value) : m_name(name) {
        const char* old = std::getenv(name);
        m_was_set = old != nullptr;
        if (old)
            m_old = old;
        setenv(name, value.c_str(), 1);
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

mounts::Mount mount_at(const std::string& point) {
    return {point, "ext4", "/dev/sda1", false};
}

// The usual test setting: a private temporary folder, HOME at the given
// path, and a mount table that holds only "/" plus the given points.
class Setting {
public:
    explicit Setting(const std::string& home, std::vector<std::string> extra_mounts = {})
        : m_home_env("HOME", home.empty() ? m_tmp.path("home") : home) {
        std::vector<mounts::Mount> table = {mount_at("/")};
        for (const std::string& p : extra_mounts)
            table.push_back(mount_at(p));
        EXPECT_TRUE(mounts_testing::use_table(table));
    }
    const test_env::TempHome& tmp() const { return m_tmp; }
    std::string home() const { return m_tmp.path("home"); }

private:
    test_env::TempHome m_tmp;
    ScopedEnv m_snap_home{"SNAP_REAL_HOME", ""};
    ScopedEnv m_home_env;
};

void write_file(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary);
    out << text;
}

void make_link(const std::string& target, const std::string& link) {
    ASSERT_EQ(symlink(target.c_str(), link.c_str()), 0) << link;
}

void make_dir(const std::string& path) {
    ASSERT_EQ(mkdir(path.c_str(), 0755), 0) << path;
}

// Runs body in a child process with a mount namespace of its own, where it
// may mount over system folders without any effect outside the child. The
// child reports through its exit status: 0 means every check passed; any
// other value is the number of the first check that failed. 100 means no
// private mount namespace could be made here.
int in_private_mounts(const std::function<int()>& body) {
    const pid_t pid = fork();
    if (pid == 0) {
        bool ok = unshare(CLONE_NEWNS) == 0;
        if (!ok) {
            // Without the privilege, a user namespace brings its own.
            ok = unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0;
        }
        if (!ok || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            _exit(100);
        _exit(body());
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 200;
}

} // namespace

// ---- The texts and the helpers ----

TEST(DeletionGuardText, ReasonKeysAreTheExactEnglishTexts) {
    EXPECT_STREQ(deletion_guard::REASON_SYSTEM, "Protected system location");
    EXPECT_STREQ(deletion_guard::REASON_OTHER_HOME, "Another user's home directory");
    EXPECT_STREQ(deletion_guard::REASON_READ_ONLY, "Read-only location");
}

TEST(DeletionGuardText, NormalizeCollapsesSlashesAndNothingElse) {
    using deletion_guard::normalize;
    EXPECT_EQ(normalize(""), "");
    EXPECT_EQ(normalize("/"), "/");
    EXPECT_EQ(normalize("//"), "/");
    EXPECT_EQ(normalize("///"), "/");
    EXPECT_EQ(normalize("//home///anna/"), "/home/anna");
    EXPECT_EQ(normalize("a//b/"), "a/b");
    EXPECT_EQ(normalize("/a/./b/../c/"), "/a/./b/../c");
    EXPECT_EQ(normalize("/./"), "/.");
    EXPECT_EQ(normalize("relative"), "relative");
}

TEST(DeletionGuardText, DotComponentsAreFoundAnywhereAndOnlyAsWholeComponents) {
    using deletion_guard::has_dot_component;
    for (const char* p : {"/home/u/proj/build/..", "/home/u/./x", "/home/u/proj/.", "/.", "/..",
                          ".", "..", "./x", "../x", "/a/../b", "a/.", "/a/./"})
        EXPECT_TRUE(has_dot_component(p)) << p;
    for (const char* p : {"/", "", "/home/u/.cache", "/home/u/...", "/home/u/..x", "/home/u/x..",
                          "/home/u/.x.", "/a.b/c", ".x"})
        EXPECT_FALSE(has_dot_component(p)) << p;
}

TEST(DeletionGuardText, IsInsideAndIsDirectChild) {
    using deletion_guard::is_direct_child;
    using deletion_guard::is_inside;
    EXPECT_FALSE(is_inside("/x", ""));
    EXPECT_TRUE(is_inside("/x", "/"));
    EXPECT_TRUE(is_inside("relative", "/"));
    EXPECT_TRUE(is_inside("/usr", "/usr"));
    EXPECT_TRUE(is_inside("/usr/lib", "/usr"));
    EXPECT_FALSE(is_inside("/usrx", "/usr"));
    EXPECT_FALSE(is_inside("/us", "/usr"));
    EXPECT_TRUE(is_direct_child("/home/bob", "/home"));
    EXPECT_FALSE(is_direct_child("/home/bob/x", "/home"));
    EXPECT_FALSE(is_direct_child("/home/", "/home"));
    EXPECT_FALSE(is_direct_child("/home", "/home"));
    EXPECT_FALSE(is_direct_child("/homebob", "/home"));
    EXPECT_FALSE(is_direct_child("/x", ""));
    EXPECT_TRUE(is_direct_child("/home/b", "/home"));
}

TEST(DeletionGuardText, ProtectedTreesInTheirOrder) {
    EXPECT_EQ(deletion_guard::protected_trees(),
              (std::vector<std::string>{"/bin", "/boot", "/sbin", "/lib", "/libx32", "/lib64",
                                        "/lib32", "/usr", "/etc", "/proc", "/sys", "/dev", "/run",
                                        "/snap", "/var/lib/snapd"}));
}

// ---- Relative, empty, dotted ----

TEST(DeletionGuard, EmptyAndRelativePathsAreProtectedSystemLocations) {
    Setting s("/home/anna");
    EXPECT_EQ(why(""), SYSTEM);
    EXPECT_EQ(why("relative/dir"), SYSTEM);
    EXPECT_EQ(why("relative"), SYSTEM);
    EXPECT_EQ(why("~/x"), SYSTEM);
    EXPECT_EQ(why("home/anna/.cache"), SYSTEM);
}

TEST(DeletionGuard, DotDotComponentAnywhereIsRefused) {
    Setting s("/home/anna");
    EXPECT_EQ(why("/home/anna/proj/build/.."), SYSTEM);
    EXPECT_EQ(why("/home/anna/proj/build/../"), SYSTEM);
    EXPECT_EQ(why("/home/anna/proj/../proj/build"), SYSTEM);
    EXPECT_EQ(why("/var/cache/../cache/x"), SYSTEM);
    EXPECT_EQ(why("/.."), SYSTEM);
    EXPECT_EQ(why("/../tmp/x"), SYSTEM);
    EXPECT_EQ(why(".."), SYSTEM);
}

TEST(DeletionGuard, DotComponentAnywhereIsRefused) {
    Setting s("/home/anna");
    EXPECT_EQ(why("/home/anna/./x"), SYSTEM);
    EXPECT_EQ(why("/home/anna/proj/."), SYSTEM);
    EXPECT_EQ(why("/home/anna/proj/./"), SYSTEM);
    EXPECT_EQ(why("/home/anna/proj//.//"), SYSTEM);
    EXPECT_EQ(why("/./opt/x"), SYSTEM);
    EXPECT_EQ(why("/."), SYSTEM);
}

TEST(DeletionGuard, NulByteAnywhereIsRefused) {
    // The system would see only "/home/anna/proj/build/..", that is "proj".
    Setting s("/home/anna");
    using namespace std::string_literals;
    EXPECT_EQ(why("/home/anna/proj/build/..\0"s), SYSTEM);
    EXPECT_EQ(why("/home/anna/proj/build/..\0x"s), SYSTEM);
    EXPECT_EQ(why("/var/cache/x\0"s), SYSTEM);
    EXPECT_EQ(why("\0/var/cache/x"s), SYSTEM);
    EXPECT_EQ(why("/var/cache/x"), "");
}

TEST(DeletionGuard, NamesThatOnlyContainDotsAreOrdinary) {
    Setting s("/home/anna");
    EXPECT_EQ(why("/home/anna/proj/..."), "");
    EXPECT_EQ(why("/home/anna/proj/..x"), "");
    EXPECT_EQ(why("/home/anna/proj/x.."), "");
    EXPECT_EQ(why("/home/anna/.cache/pip"), "");
    EXPECT_EQ(why("/home/anna/.npm"), "");
}

TEST(DeletionGuard, DotRuleHoldsForRealFoldersToo) {
    // "w/sub/.." names w itself, an ordinary folder that may go; the text
    // is refused all the same, since it does not say what it names.
    Setting s("");
    const std::string w = s.tmp().path("w");
    make_dir(w);
    make_dir(w + "/sub");
    EXPECT_EQ(why(w), "");
    EXPECT_EQ(why(w + "/sub/.."), SYSTEM);
    EXPECT_EQ(why(w + "/sub/."), SYSTEM);
    EXPECT_EQ(why(w + "/./sub"), SYSTEM);
}

// ---- Trees and exact paths ----

TEST(DeletionGuard, BelowUsrIsRefused) {
    Setting s("/home/anna");
    EXPECT_EQ(why("/usr/local/share/foo"), SYSTEM);
}

TEST(DeletionGuard, EveryProtectedTreeWithEverythingBelowIsRefused) {
    Setting s("/home/anna");
    for (const std::string& root : deletion_guard::protected_trees()) {
        EXPECT_EQ(why(root), SYSTEM) << root;
        EXPECT_EQ(why(root + "/"), SYSTEM) << root;
        EXPECT_EQ(why(root + "/x"), SYSTEM) << root;
        EXPECT_EQ(why(root + "//x/y/"), SYSTEM) << root;
    }
}

TEST(DeletionGuard, NeighboursOfProtectedTreesAreAllowed) {
    Setting s("/home/anna");
    for (const char* p : {"/usrx", "/usrx/lib", "/bin2", "/etc.old", "/snapx", "/var/lib/snapdx",
                          "/lib64x/y", "/runner", "/devel/x", "/system", "/procx"})
        EXPECT_EQ(why(p), "") << p;
}

TEST(DeletionGuard, VarItselfIsRefusedWhileBelowItIsAllowed) {
    Setting s("/home/anna");
    EXPECT_EQ(why("/var"), SYSTEM);
    EXPECT_EQ(why("/var/cache/foo"), "");
    EXPECT_EQ(why("/var/cache/x"), "");
    EXPECT_EQ(why("/opt/foo"), "");
}

TEST(DeletionGuard, EveryFixedExactPathIsRefusedButWhatLiesBelowIsNot) {
    Setting s("/home/anna");
    for (const char* p : {"/", "/root", "/srv", "/home", "/var", "/opt", "/tmp", "/media", "/mnt"})
        EXPECT_EQ(why(p), SYSTEM) << p;
    for (const char* p : {"/root/x", "/srv/www", "/var/tmp/x", "/opt/sdk", "/tmp/quillet-none",
                          "/media/anna", "/mnt/x"})
        EXPECT_EQ(why(p), "") << p;
}

TEST(DeletionGuard, NeighboursOfExactPathsAreAllowed) {
    Setting s("/home/anna");
    for (const char* p :
         {"/home2", "/home2/x", "/rootx", "/srv2", "/optx", "/tmpx", "/mediax", "/mntx", "/varx"})
        EXPECT_EQ(why(p), "") << p;
}

TEST(DeletionGuard, TrailingAndDoubledSlashesAreNormalisedFirst) {
    Setting s("/home/anna");
    EXPECT_EQ(why("//home///anna/"), SYSTEM);
    EXPECT_EQ(why("///"), SYSTEM);
    EXPECT_EQ(why("/var/"), SYSTEM);
    EXPECT_EQ(why("//usr"), SYSTEM);
    EXPECT_EQ(why("/home//bob//"), OTHER_HOME);
    EXPECT_EQ(why("/var//cache/foo/"), "");
}

// ---- The home ----

TEST(DeletionGuard, HomeAndEveryStandardFolderAreRefused) {
    Setting s("/home/anna");
    EXPECT_EQ(why("/home/anna"), SYSTEM);
    for (const char* sub :
         {"Desktop", "Documents", "Downloads", "Music", "Pictures", "Videos", "Templates", "Public",
          ".config", ".local", ".local/share", ".cache", ".ssh", ".gnupg", ".var", "snap"})
        EXPECT_EQ(why(std::string("/home/anna/") + sub), SYSTEM) << sub;
}

TEST(DeletionGuard, WhatLiesInTheStandardFoldersIsAllowed) {
    Setting s("/home/anna");
    EXPECT_EQ(why("/home/anna/Documents/old.iso"), "");
    EXPECT_EQ(why("/home/anna/.cache/pip"), "");
    EXPECT_EQ(why("/home/anna/.local/share/Trash"), "");
    EXPECT_EQ(why("/home/anna/.local/state"), "");
    EXPECT_EQ(why("/home/anna/Documentsx"), "");
}

TEST(DeletionGuard, AnotherUsersHomeHasItsOwnReason) {
    Setting s("/home/anna");
    EXPECT_EQ(why("/home/bob"), OTHER_HOME);
    EXPECT_EQ(why("/home/bob/"), OTHER_HOME);
    EXPECT_EQ(why("/home/bob/x"), "");
    // The user's own home under "/home" is an exact path, which comes first.
    EXPECT_EQ(why("/home/anna"), SYSTEM);
}

TEST(DeletionGuard, AncestorsOfTheHomeAreRefused) {
    Setting s("/data/users/anna");
    EXPECT_EQ(why("/data"), SYSTEM);
    EXPECT_EQ(why("/data/users"), SYSTEM);
    EXPECT_EQ(why("/data/users/anna"), SYSTEM);
    EXPECT_EQ(why("/data/users2"), "");
    EXPECT_EQ(why("/data/users/anna/proj/node_modules"), "");
    EXPECT_EQ(why("/data/users/anne"), "");
}

TEST(DeletionGuard, HomeGivenWithSlashesIsNormalised) {
    Setting s("//home/anna//");
    EXPECT_EQ(why("/home/anna"), SYSTEM);
    EXPECT_EQ(why("/home/anna/Documents"), SYSTEM);
    EXPECT_EQ(why("/home/anna/Documents/x"), "");
}

TEST(DeletionGuard, HomeOutsideHomeIsAncestorProtectedByItsText) {
    Setting s("/srv/people/anna/");
    EXPECT_EQ(why("/srv/people"), SYSTEM);
    EXPECT_EQ(why("/srv/people/anna/.cache"), SYSTEM);
}

TEST(DeletionGuard, ListsAreReadOnceForTheWholeProcess) {
    Setting s("/home/anna");
    EXPECT_EQ(why("/home/anna/Documents"), SYSTEM);
    ScopedEnv later("HOME", "/home/carl");
    // The exact set still holds the first home; the new one is just another
    // user's folder to the set, while the ancestor test reads the home anew.
    EXPECT_EQ(why("/home/anna/Documents"), SYSTEM);
    EXPECT_EQ(why("/home/carl"), OTHER_HOME);
    EXPECT_EQ(why("/home/carl/Documents"), "");
}

// ---- "user-dirs.dirs" ----

TEST(DeletionGuardUserDirs, QuotedHomeRelativeValueIsProtected) {
    Setting s("");
    write_file(s.home() + "/.config/user-dirs.dirs", "XDG_PICTURES_DIR=\"$HOME/Bilder\"\n");
    EXPECT_EQ(why(s.home() + "/Bilder"), SYSTEM);
    EXPECT_EQ(why(s.home() + "/Bilder/urlaub.jpg"), "");
}

TEST(DeletionGuardUserDirs, UnquotedValueIsIgnored) {
    Setting s("");
    write_file(s.home() + "/.config/user-dirs.dirs",
               "XDG_X_DIR=$HOME/x\nXDG_PICTURES_DIR=\"$HOME/Bilder\"\n");
    EXPECT_EQ(why(s.home() + "/x"), "");
    EXPECT_EQ(why(s.home() + "/Bilder"), SYSTEM);
}

TEST(DeletionGuardUserDirs, AbsoluteValueIsNormalisedAndProtected) {
    Setting s("");
    const std::string photos = s.tmp().path("photos");
    write_file(s.home() + "/.config/user-dirs.dirs",
               "XDG_PICTURES_DIR=\"" + photos + "//\"\nXDG_MUSIC_DIR=\"/" + photos + "\"\n");
    EXPECT_EQ(why(photos), SYSTEM);
    EXPECT_EQ(why(photos + "/x"), "");
}

TEST(DeletionGuardUserDirs, MissingFileLeavesTheStandardFolders) {
    Setting s("");
    EXPECT_EQ(why(s.home() + "/Documents"), SYSTEM);
    EXPECT_EQ(why(s.home() + "/Bilder"), "");
}

TEST(DeletionGuardUserDirs, CommentsBlankLinesAndOtherShapesAreIgnored) {
    Setting s("");
    write_file(s.home() + "/.config/user-dirs.dirs", "# XDG_A_DIR=\"$HOME/a\"\n"
                                                     "\n"
                                                     "XDG_B_DIR\n"
                                                     "XDG_C_DIR=\"\"\n"
                                                     "XDG_D_DIR=\"\n"
                                                     "XDG_E_DIR=\"$HOME/e\" \n"
                                                     "XDG_F_DIR=\"${HOME}/f\"\n"
                                                     "XDG_G_DIR=\"$HOMEG/g\"\n"
                                                     "XDG_H_DIR=\"~/h\"\n"
                                                     "XDG_I_DIR=\"i\"\n"
                                                     "XDG_J_DIR='$HOME/j'\n"
                                                     "XDG_K_DIR=\"$HOME/k\"\r\n"
                                                     "XDG_L_DIR=\"$HOME/l\"\n");
    for (const char* n : {"a", "e", "f", "g", "h", "i", "j", "k"})
        EXPECT_EQ(why(s.home() + "/" + n), "") << n;
    EXPECT_EQ(why(s.home() + "/l"), SYSTEM);
}

TEST(DeletionGuardUserDirs, LastLineWithoutNewlineCounts) {
    Setting s("");
    write_file(s.home() + "/.config/user-dirs.dirs", "XDG_DOWNLOAD_DIR=\"$HOME/Telechargements\"");
    EXPECT_EQ(why(s.home() + "/Telechargements"), SYSTEM);
}

TEST(DeletionGuardUserDirs, ParserOnText) {
    using deletion_guard::user_dirs_paths;
    EXPECT_EQ(user_dirs_paths("/home/anna", "XDG_PICTURES_DIR=\"$HOME/Bilder\""),
              (std::vector<std::string>{"/home/anna/Bilder"}));
    EXPECT_EQ(user_dirs_paths("/home/anna", "A=\"$HOME/\"\nB=\"/data//x/\"\nC=\"$HOME/a=b\""),
              (std::vector<std::string>{"/home/anna", "/data/x", "/home/anna/a=b"}));
    EXPECT_TRUE(user_dirs_paths("/home/anna", "A=\"$HOME\"\nB=\"x\"\n#C=\"/c\"\nD").empty());
    EXPECT_TRUE(user_dirs_paths("/home/anna", "").empty());
    EXPECT_TRUE(user_dirs_paths("/home/anna", "=\"\"").empty());
    EXPECT_EQ(user_dirs_paths("/home/anna", "=\"/z\""), (std::vector<std::string>{"/z"}));
}

// ---- Mount points ----

TEST(DeletionGuardMounts, MountPointIsRefusedWhileBelowItIsAllowed) {
    Setting s("/home/anna", {"/media/anna/USB"});
    EXPECT_EQ(why("/media/anna/USB"), SYSTEM);
    EXPECT_EQ(why("/media/anna/USB/"), SYSTEM);
    EXPECT_EQ(why("/media/anna/USB/node_modules"), "");
    EXPECT_EQ(why("/media/anna/USBx"), "");
}

TEST(DeletionGuardMounts, PointIsNormalisedAndUnescapedFromTheTable) {
    test_env::TempHome tmp;
    ScopedEnv home("HOME", "/home/anna");
    ASSERT_TRUE(mounts_testing::use_table(
        mounts::parse_mountinfo("1 0 8:1 / / rw - ext4 /dev/sda1 rw\n"
                                "2 1 8:2 / /media/anna/My\\040Disk rw - exfat /dev/sdb1 rw\n")));
    EXPECT_EQ(why("/media/anna/My Disk"), SYSTEM);
    EXPECT_EQ(why("/media/anna/My Disk/x"), "");
}

TEST(DeletionGuardMounts, MountedHomeOfAnotherUserIsASystemLocation) {
    // The mount-point rule comes before the other-home rule.
    Setting s("/home/anna", {"/home/bob", "/home"});
    EXPECT_EQ(why("/home/bob"), SYSTEM);
    EXPECT_EQ(why("/home/carl"), OTHER_HOME);
}

TEST(DeletionGuardMounts, RealTableProtectsTheRoot) {
    test_env::TempHome tmp;
    EXPECT_EQ(why("/"), SYSTEM);
    for (const mounts::Mount& m : mounts::all())
        EXPECT_EQ(why(m.point), SYSTEM) << m.point;
}

// ---- Inside a Snap ----

TEST(DeletionGuardSnap, HostOnlyPathsAreReadOnlyAndHomeAndMediaAreNot) {
    Setting s("/home/anna", {"/media/anna/USB"});
    ScopedEnv snap("SNAP", "/snap/quillet/1");
    ScopedEnv name("SNAP_NAME", "quillet");
    ASSERT_TRUE(running_in_snap());
    EXPECT_EQ(why("/opt/sdk"), READ_ONLY);
    EXPECT_EQ(why("/var/cache/x"), READ_ONLY);
    // Writability is asked before the trees, the exact set and the home rules.
    EXPECT_EQ(why("/usr/lib"), READ_ONLY);
    EXPECT_EQ(why("/home/bob"), READ_ONLY);
    // A mount point comes first of all.
    EXPECT_EQ(why("/"), SYSTEM);
    EXPECT_EQ(why("/media/anna/USB"), SYSTEM);
    EXPECT_EQ(why("/media/anna/USB/x"), "");
    EXPECT_EQ(why("/home/anna/.cache/pip"), "");
    EXPECT_EQ(why("/home/anna/Documents"), SYSTEM);
    EXPECT_EQ(why("/mnt/disk/x"), "");
}

// ---- Symbolic links ----

TEST(DeletionGuardLinks, LinkToSystemFolderMayGoButNothingThroughIt) {
    Setting s("");
    make_dir(s.home() + "/proj");
    make_link("/usr", s.home() + "/proj/sdk");
    EXPECT_EQ(why(s.home() + "/proj/sdk"), "");
    EXPECT_EQ(why(s.home() + "/proj/sdk/"), "");
    EXPECT_EQ(why(s.home() + "/proj/sdk/lib"), SYSTEM);
    EXPECT_EQ(why(s.home() + "/proj/sdk/bin"), SYSTEM);
}

TEST(DeletionGuardLinks, LinkToTheRootLeadsToExactPathsAndTrees) {
    Setting s("");
    make_link("/", s.tmp().path("root"));
    EXPECT_EQ(why(s.tmp().path("root")), "");
    EXPECT_EQ(why(s.tmp().path("root/etc")), SYSTEM);
    EXPECT_EQ(why(s.tmp().path("root/home")), SYSTEM);
    EXPECT_EQ(why(s.tmp().path("root/var")), SYSTEM);
    EXPECT_EQ(why(s.tmp().path("root/tmp")), SYSTEM);
}

TEST(DeletionGuardLinks, LinkIntoTheHomeFindsItsStandardFolders) {
    Setting s("");
    make_dir(s.home() + "/Documents");
    make_dir(s.home() + "/.cache/pip");
    make_link(s.home(), s.tmp().path("h"));
    EXPECT_EQ(why(s.tmp().path("h")), "");
    EXPECT_EQ(why(s.tmp().path("h/Documents")), SYSTEM);
    EXPECT_EQ(why(s.tmp().path("h/.cache")), SYSTEM);
    EXPECT_EQ(why(s.tmp().path("h/.cache/pip")), "");
}

TEST(DeletionGuardLinks, LinkToAMountPointIsFoundThroughTheRealLocation) {
    test_env::TempHome tmp;
    ScopedEnv home("HOME", tmp.path("home"));
    const std::string disk = tmp.path("disk");
    ASSERT_TRUE(mounts_testing::use_table({mount_at("/"), mount_at(disk)}));
    make_dir(disk);
    make_link(tmp.root(), tmp.path("home/up"));
    EXPECT_EQ(why(disk), SYSTEM);
    EXPECT_EQ(why(tmp.path("home/up/disk")), SYSTEM);
    EXPECT_EQ(why(tmp.path("home/up")), "");
}

TEST(DeletionGuardLinks, FolderReachedThroughALinkToAnOrdinaryPlaceIsAllowed) {
    Setting s("");
    make_dir(s.tmp().path("store"));
    make_dir(s.tmp().path("store/node_modules"));
    make_link(s.tmp().path("store"), s.home() + "/work");
    EXPECT_EQ(why(s.home() + "/work/node_modules"), "");
}

TEST(DeletionGuardLinks, LinkLoopIsJudgedByItsText) {
    Setting s("");
    make_link(s.home() + "/loop", s.home() + "/loop");
    EXPECT_EQ(why(s.home() + "/loop"), "");
    EXPECT_EQ(why(s.home() + "/loop/x"), "");
}

TEST(DeletionGuardLinks, DanglingLinkMayGo) {
    Setting s("");
    make_link("/usr/no/such/place", s.home() + "/dangling");
    EXPECT_EQ(why(s.home() + "/dangling"), "");
}

TEST(DeletionGuardLinks, LinkToAnotherUsersHomeIsRefusedThroughIt) {
    // "/home/bob" must really exist for the link to resolve there. A private
    // mount namespace lays an empty file system over "/home" in a child
    // process only, so nothing outside the child sees it.
    test_env::TempHome tmp;
    ScopedEnv home("HOME", tmp.path("home"));
    const std::string link = tmp.path("home/people");
    const int rc = in_private_mounts([&]() -> int {
        if (mount("tmpfs", "/home", "tmpfs", 0, "size=64k") != 0)
            return 100;
        if (mkdir("/home/bob", 0755) != 0 || symlink("/home", link.c_str()) != 0)
            return 101;
        mounts_testing::use_table({mount_at("/")});
        if (why(link + "/bob") != OTHER_HOME)
            return 1;
        if (why(link) != "")
            return 2;
        if (why(link + "/") != "")
            return 3;
        return 0;
    });
    if (rc == 100) {
        GTEST_SKIP() << "no private mount namespace can be made here";
    }
    EXPECT_EQ(rc, 0);
}
