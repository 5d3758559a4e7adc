#include "paths.h"

#include "strutil.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <dirent.h>
#include <memory>
#include <pwd.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

// Every case runs in its own process, so the cached sandbox flags start fresh
// in each one; the cases below set the environment before the first call.

namespace {

const std::string HOSTFS = "/var/lib/snapd/hostfs";

using EnvVar = test_env::ScopedEnv;

// Restores the umask it found.
class Umask {
public:
    explicit Umask(mode_t mask) : m_old(umask(mask)) {}
    ~Umask() { umask(m_old); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

private:
    mode_t m_old;
};

bool is_dir(const std::string& p) {
    struct stat st {};
    return stat(p.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool exists(const std::string& p) {
    struct stat st {};
    return lstat(p.c_str(), &st) == 0;
}

mode_t mode_of(const std::string& p) {
    struct stat st {};
    if (stat(p.c_str(), &st) != 0)
        return 0;
    return st.st_mode & 07777;
}

// Names in a directory, without "." and "..".
std::vector<std::string> entries_of(const std::string& dir) {
    std::vector<std::string> out;
    DIR* d = opendir(dir.c_str());
    if (!d)
        return out;
    while (dirent* e = readdir(d)) {
        const std::string name = e->d_name;
        if (name != "." && name != "..")
            out.push_back(name);
    }
    closedir(d);
    return out;
}

std::string password_home() {
    const passwd* pw = getpwuid(getuid());
    return (pw && pw->pw_dir) ? pw->pw_dir : "";
}

// Absolute paths of many shapes around the places the rules single out, plus
// every path of up to six bytes made of "/", "a" and "." that starts with "/".
// None of them lies below the host-filesystem root itself.
std::vector<std::string> absolute_paths(const std::string& home) {
    std::vector<std::string> out = {
        "/",
        "//",
        "///x",
        "/opt",
        "/opt/android-sdk",
        "/usr/lib/jvm/",
        "/etc//x",
        "/a/./b/../c",
        "/mnt",
        "/mnt/",
        "/mnt/usb",
        "/mntx",
        "/mnt/usb/.gradle/caches",
        "/media",
        "/media/",
        "/media/anna/disk",
        "/mediax",
        "/run",
        "/run/media",
        "/run/media/",
        "/run/media/anna/disk",
        "/run/mediax",
        "/run/user/1000",
        "/var/lib/snapd",
        "/var/lib/snapd/",
        "/var/lib/snapd/hostf",
        "/var/lib/snapd/hostfsx",
        "/var/lib/snapd/hostfsx/a",
        "/home",
        "/home/other/.cache",
        "/\xC3\xA9t\xC3\xA9/\xE2\x82\xAC",
        "/bad\xFFname",
        home,
        home + "/",
        home + "//",
        home + "/.cache/pip",
        home + "x",
        home + "x/y",
        home + "/../etc",
        su::parent_of(home),
    };
    std::vector<std::string> level = {"/"};
    for (int len = 2; len <= 6; ++len) {
        std::vector<std::string> next;
        for (const std::string& s : level) {
            for (char c : std::string("/a."))
                next.push_back(s + c);
        }
        out.insert(out.end(), next.begin(), next.end());
        level = next;
    }
    return out;
}

// Paths that are not plain host paths: relative ones, the empty one, and ones
// already below the host-filesystem root.
std::vector<std::string> other_paths() {
    return {"",        "build", "a/b",        "./x",           "../y",
            "mnt/usb", HOSTFS,  HOSTFS + "/", HOSTFS + "/opt", HOSTFS + "/mnt/usb"};
}

// Clears whatever Snap markers the machine running the tests may carry.
struct NoSnapMarkers {
    EnvVar snap{"SNAP", nullptr};
    EnvVar snap_name{"SNAP_NAME", nullptr};
    EnvVar real_home{"SNAP_REAL_HOME", nullptr};
};

} // namespace

// ================================================================ real_home

TEST(Paths, RealHomePrefersSnapRealHome) {
    test_env::TempHome home;
    NoSnapMarkers clear;
    EnvVar real("SNAP_REAL_HOME", "/home/anna");
    EXPECT_EQ(real_home(), "/home/anna");
}

TEST(Paths, RealHomeWithEmptySnapRealHomeFallsThroughToHome) {
    test_env::TempHome home;
    NoSnapMarkers clear;
    EnvVar real("SNAP_REAL_HOME", "");
    EXPECT_EQ(real_home(), home.path("home"));
}

TEST(Paths, RealHomeWithoutSnapRealHomeIsHome) {
    test_env::TempHome home;
    NoSnapMarkers clear;
    EXPECT_EQ(real_home(), home.path("home"));
}

TEST(Paths, RealHomeWithoutHomeUsesThePasswordDatabase) {
    test_env::TempHome home;
    NoSnapMarkers clear;
    EnvVar no_home("HOME", nullptr);
    EXPECT_EQ(real_home(), password_home());
}

TEST(Paths, RealHomeWithEmptyHomeUsesThePasswordDatabase) {
    test_env::TempHome home;
    NoSnapMarkers clear;
    EnvVar real("SNAP_REAL_HOME", "");
    EnvVar empty_home("HOME", "");
    EXPECT_EQ(real_home(), password_home());
}

TEST(Paths, RealHomeReadsTheEnvironmentOnEveryCall) {
    test_env::TempHome home;
    NoSnapMarkers clear;
    EXPECT_EQ(real_home(), home.path("home"));
    {
        EnvVar other("HOME", "/somewhere/else");
        EXPECT_EQ(real_home(), "/somewhere/else");
    }
    EnvVar real("SNAP_REAL_HOME", "/home/anna");
    EXPECT_EQ(real_home(), "/home/anna");
}

// =============================================================== config_dir

TEST(Paths, ConfigDirUnderXdgConfigHomeIsCreatedPrivate) {
    test_env::TempHome home;
    Umask mask(022);
    const std::string cfg = home.path("cfg");
    ASSERT_FALSE(exists(cfg));
    EnvVar xdg("XDG_CONFIG_HOME", cfg.c_str());
    EXPECT_EQ(config_dir(), cfg + "/Quillet");
    ASSERT_TRUE(is_dir(cfg));
    ASSERT_TRUE(is_dir(cfg + "/Quillet"));
    EXPECT_EQ(mode_of(cfg) & 0777, 0700u);
    EXPECT_EQ(mode_of(cfg + "/Quillet") & 0777, 0700u);
}

TEST(Paths, ConfigDirModeIsSubjectToTheUmask) {
    test_env::TempHome home;
    // A mask that takes away the owner's search right shows that the mode
    // goes through the umask rather than being forced afterwards.
    Umask mask(0177);
    const std::string cfg = home.path("cfg");
    EnvVar xdg("XDG_CONFIG_HOME", cfg.c_str());
    config_dir();
    EXPECT_EQ(mode_of(cfg) & 0777, 0600u);
    // Give the right back so the folder can be cleaned up.
    chmod(cfg.c_str(), 0700);
}

TEST(Paths, ConfigDirInsideAnExistingBaseIsSubjectToTheUmask) {
    test_env::TempHome home;
    const std::string cfg = home.path("cfg");
    {
        Umask open_mask(0);
        ASSERT_EQ(mkdir(cfg.c_str(), 0755), 0);
    }
    Umask mask(0177);
    EnvVar xdg("XDG_CONFIG_HOME", cfg.c_str());
    EXPECT_EQ(config_dir(), cfg + "/Quillet");
    EXPECT_EQ(mode_of(cfg + "/Quillet") & 0777, 0600u);
    // An existing base keeps the mode it had.
    EXPECT_EQ(mode_of(cfg) & 0777, 0755u);
    chmod((cfg + "/Quillet").c_str(), 0700);
}

TEST(Paths, ConfigDirXdgConfigHomeWinsOverHome) {
    test_env::TempHome home;
    const std::string cfg = home.path("cfg");
    EnvVar xdg("XDG_CONFIG_HOME", cfg.c_str());
    EXPECT_EQ(config_dir(), cfg + "/Quillet");
    EXPECT_FALSE(exists(home.path("home/.config/Quillet")));
}

TEST(Paths, ConfigDirWithOnlyHomeUsesDotConfig) {
    test_env::TempHome home;
    Umask mask(022);
    NoSnapMarkers clear;
    const std::string h = home.path("h2");
    ASSERT_EQ(mkdir(h.c_str(), 0755), 0);
    EnvVar home_var("HOME", h.c_str());
    EnvVar xdg("XDG_CONFIG_HOME", nullptr);
    EXPECT_EQ(config_dir(), h + "/.config/Quillet");
    ASSERT_TRUE(is_dir(h + "/.config"));
    ASSERT_TRUE(is_dir(h + "/.config/Quillet"));
    EXPECT_EQ(mode_of(h + "/.config") & 0777, 0700u);
    EXPECT_EQ(mode_of(h + "/.config/Quillet") & 0777, 0700u);
}

TEST(Paths, ConfigDirWithEmptyXdgConfigHomeUsesHome) {
    test_env::TempHome home;
    EnvVar xdg("XDG_CONFIG_HOME", "");
    EXPECT_EQ(config_dir(), home.path("home/.config/Quillet"));
    EXPECT_TRUE(is_dir(home.path("home/.config/Quillet")));
}

TEST(Paths, ConfigDirFollowsHomeNotTheRealHome) {
    test_env::TempHome home;
    EnvVar xdg("XDG_CONFIG_HOME", nullptr);
    const std::string real = home.path("real");
    ASSERT_EQ(mkdir(real.c_str(), 0755), 0);
    EnvVar real_var("SNAP_REAL_HOME", real.c_str());
    EXPECT_EQ(config_dir(), home.path("home/.config/Quillet"));
    EXPECT_TRUE(entries_of(real).empty());
}

TEST(Paths, ConfigDirWithNeitherVariableIsDotAndCreatesNothing) {
    test_env::TempHome home;
    // Work from an empty folder of the test's own, so a stray relative
    // mkdir would show up there.
    const std::string work = home.path("work");
    ASSERT_EQ(mkdir(work.c_str(), 0755), 0);
    std::string old_cwd(4096, '\0');
    ASSERT_NE(getcwd(old_cwd.data(), old_cwd.size()), nullptr);
    old_cwd.resize(old_cwd.find('\0'));
    ASSERT_EQ(chdir(work.c_str()), 0);
    const bool root_config_before = exists("/.config");
    const std::vector<std::string> before = entries_of(home.root());

    std::string result;
    {
        EnvVar xdg("XDG_CONFIG_HOME", nullptr);
        EnvVar no_home("HOME", nullptr);
        result = config_dir();
    }

    EXPECT_EQ(chdir(old_cwd.c_str()), 0);
    EXPECT_EQ(result, ".");
    EXPECT_TRUE(entries_of(work).empty());
    EXPECT_EQ(entries_of(home.root()), before);
    EXPECT_EQ(exists("/.config"), root_config_before);
}

TEST(Paths, ConfigDirWithEmptyHomeIsDot) {
    test_env::TempHome home;
    EnvVar xdg("XDG_CONFIG_HOME", "");
    EnvVar empty_home("HOME", "");
    EXPECT_EQ(config_dir(), ".");
}

TEST(Paths, ConfigDirIgnoresCreationFailures) {
    test_env::TempHome home;
    // A regular file where the base directory should be: both mkdir calls fail.
    const std::string file = home.path("plain-file");
    FILE* f = fopen(file.c_str(), "w");
    ASSERT_NE(f, nullptr);
    fclose(f);
    const std::string base = file + "/cfg";
    EnvVar xdg("XDG_CONFIG_HOME", base.c_str());
    EXPECT_EQ(config_dir(), base + "/Quillet");
    EXPECT_FALSE(exists(base));
}

TEST(Paths, ConfigDirKeepsAnExistingDirectory) {
    test_env::TempHome home;
    const std::string cfg = home.path("cfg");
    EnvVar xdg("XDG_CONFIG_HOME", cfg.c_str());
    const std::string first = config_dir();
    const std::string marker = first + "/settings.json";
    FILE* f = fopen(marker.c_str(), "w");
    ASSERT_NE(f, nullptr);
    fclose(f);
    EXPECT_EQ(config_dir(), first);
    EXPECT_TRUE(exists(marker));
}

// ========================================================= sandbox flags

TEST(Paths, SnapNeedsBothSnapAndSnapName) {
    test_env::TempHome home;
    EnvVar snap("SNAP", "/snap/quillet/12");
    EnvVar name("SNAP_NAME", "quillet");
    EXPECT_TRUE(running_in_snap());
}

TEST(Paths, SnapWithEmptySnapNameIsNotASnap) {
    test_env::TempHome home;
    EnvVar snap("SNAP", "/snap/quillet/12");
    EnvVar name("SNAP_NAME", "");
    EXPECT_FALSE(running_in_snap());
}

TEST(Paths, SnapWithoutSnapNameIsNotASnap) {
    test_env::TempHome home;
    EnvVar snap("SNAP", "/snap/quillet/12");
    EnvVar name("SNAP_NAME", nullptr);
    EXPECT_FALSE(running_in_snap());
}

TEST(Paths, SnapNameWithEmptySnapIsNotASnap) {
    test_env::TempHome home;
    EnvVar snap("SNAP", "");
    EnvVar name("SNAP_NAME", "quillet");
    EXPECT_FALSE(running_in_snap());
}

TEST(Paths, SnapFlagIsComputedOnce) {
    test_env::TempHome home;
    {
        EnvVar snap("SNAP", "/snap/quillet/12");
        EnvVar name("SNAP_NAME", "quillet");
        EXPECT_TRUE(running_in_snap());
    }
    // The markers are gone now; the flag keeps its first answer.
    EXPECT_TRUE(running_in_snap());
}

TEST(Paths, FlatpakFlagFollowsTheMarkerFile) {
    test_env::TempHome home;
    EXPECT_EQ(running_in_flatpak(), exists("/.flatpak-info"));
}

TEST(Paths, HostfsProbeUsesTheFixedPathByDefault) {
    test_env::TempHome home;
    EnvVar snap("SNAP", "/snap/quillet/12");
    EnvVar name("SNAP_NAME", "quillet");
    DIR* d = opendir(HOSTFS.c_str());
    const bool openable = d != nullptr;
    if (d)
        closedir(d);
    EXPECT_EQ(hostfs_available(), openable);
}

// ============================================== inside a Snap with a host view

// A Snap whose host filesystem is stood in for by a temporary folder; the real
// home is a folder beside the Snap's private HOME, as in a real Snap.
class PathsInSnap : public ::testing::Test {
protected:
    void SetUp() override {
        m_real = m_home.path("real");
        m_hostfs = m_home.path("hostfs");
        ASSERT_EQ(mkdir(m_hostfs.c_str(), 0755), 0);
        m_snap = std::make_unique<EnvVar>("SNAP", "/snap/quillet/12");
        m_snap_name = std::make_unique<EnvVar>("SNAP_NAME", "quillet");
        m_snap_real = std::make_unique<EnvVar>("SNAP_REAL_HOME", m_real.c_str());
        paths_testing::set_hostfs_probe_dir(m_hostfs);
        ASSERT_TRUE(running_in_snap());
        ASSERT_TRUE(hostfs_available());
        ASSERT_EQ(real_home(), m_real);
    }

    test_env::TempHome m_home;
    std::string m_real;
    std::string m_hostfs;
    std::unique_ptr<EnvVar> m_snap;
    std::unique_ptr<EnvVar> m_snap_name;
    std::unique_ptr<EnvVar> m_snap_real;
};

TEST_F(PathsInSnap, RootBecomesTheHostfsRootWithSlash) {
    EXPECT_EQ(to_scan_path("/"), "/var/lib/snapd/hostfs/");
}

TEST_F(PathsInSnap, MntAndItsChildrenStay) {
    EXPECT_EQ(to_scan_path("/mnt"), "/mnt");
    EXPECT_EQ(to_scan_path("/mnt/usb"), "/mnt/usb");
}

TEST_F(PathsInSnap, MntxIsNotAMediaFolder) {
    EXPECT_EQ(to_scan_path("/mntx"), "/var/lib/snapd/hostfs/mntx");
}

TEST_F(PathsInSnap, RelativePathStays) {
    EXPECT_EQ(to_scan_path("build"), "build");
    EXPECT_EQ(to_scan_path("a/b"), "a/b");
    EXPECT_EQ(to_scan_path(""), "");
}

TEST_F(PathsInSnap, HomeWithTrailingSlashIsReachable) {
    EXPECT_TRUE(reachable_directly(m_real + "/"));
    EXPECT_EQ(to_scan_path(m_real + "/"), m_real + "/");
    EXPECT_TRUE(is_writable_location(m_real + "/"));
}

TEST_F(PathsInSnap, OtherHostPathsGoThroughTheHostfsRoot) {
    EXPECT_EQ(to_scan_path("/opt/android-sdk"), "/var/lib/snapd/hostfs/opt/android-sdk");
    EXPECT_EQ(to_scan_path("/home/other"), "/var/lib/snapd/hostfs/home/other");
    // The stand-in folder only answers whether the host view opens; the
    // prefix stays the fixed one.
    EXPECT_FALSE(su::starts_with(to_scan_path("/opt"), m_hostfs));
}

TEST_F(PathsInSnap, RealHomeAndBelowStay) {
    EXPECT_EQ(to_scan_path(m_real), m_real);
    EXPECT_EQ(to_scan_path(m_real + "/.cache/pip"), m_real + "/.cache/pip");
    // A sibling whose name merely begins with the home's name is not inside it.
    EXPECT_EQ(to_scan_path(m_real + "x"), HOSTFS + m_real + "x");
    // The Snap's private HOME is not the real home.
    EXPECT_EQ(to_scan_path(m_home.path("home")), HOSTFS + m_home.path("home"));
}

TEST_F(PathsInSnap, MediaFoldersStay) {
    for (const std::string p :
         {"/media", "/media/", "/media/anna/disk", "/run/media", "/run/media/anna/disk", "/mnt/"})
        EXPECT_EQ(to_scan_path(p), p) << p;
    EXPECT_EQ(to_scan_path("/mediax"), HOSTFS + "/mediax");
    EXPECT_EQ(to_scan_path("/run/mediax"), HOSTFS + "/run/mediax");
    EXPECT_EQ(to_scan_path("/run"), HOSTFS + "/run");
}

TEST_F(PathsInSnap, PathsAlreadyBelowTheHostfsRootStay) {
    EXPECT_EQ(to_scan_path(HOSTFS), HOSTFS);
    EXPECT_EQ(to_scan_path(HOSTFS + "/"), HOSTFS + "/");
    EXPECT_EQ(to_scan_path(HOSTFS + "/opt"), HOSTFS + "/opt");
    // Only the root itself or a path below it counts, not a sibling name.
    EXPECT_EQ(to_scan_path(HOSTFS + "x/a"), HOSTFS + HOSTFS + "x/a");
}

TEST_F(PathsInSnap, DisplayOfScanGivesTheOriginalBack) {
    const std::vector<std::string> paths = absolute_paths(m_real);
    ASSERT_GT(paths.size(), 300u);
    int changed = 0;
    for (const std::string& p : paths) {
        const std::string scan = to_scan_path(p);
        if (scan != p)
            ++changed;
        EXPECT_EQ(to_display_path(scan), p) << "scan path " << scan;
    }
    // Most of them really went through the host view and back.
    EXPECT_GT(changed, 250);
}

TEST_F(PathsInSnap, ScanPathIsIdempotent) {
    std::vector<std::string> paths = absolute_paths(m_real);
    const std::vector<std::string> more = other_paths();
    paths.insert(paths.end(), more.begin(), more.end());
    for (const std::string& p : paths) {
        const std::string once = to_scan_path(p);
        EXPECT_EQ(to_scan_path(once), once) << p;
    }
}

TEST_F(PathsInSnap, PathBelowTheHostfsRootIsShownAsItsHostPath) {
    // Such a path is taken as a scan path already, so it shows as the host
    // path it stands for rather than coming back unchanged.
    EXPECT_EQ(to_display_path(to_scan_path(HOSTFS + "/opt/x")), "/opt/x");
    EXPECT_EQ(to_display_path(to_scan_path(HOSTFS)), "/");
}

TEST_F(PathsInSnap, OnlyDirectlyReachablePathsAreWritable) {
    EXPECT_TRUE(is_writable_location(m_real));
    EXPECT_TRUE(is_writable_location(m_real + "/.gradle/caches"));
    EXPECT_TRUE(is_writable_location("/mnt/usb/node_modules"));
    EXPECT_TRUE(is_writable_location("/run/media"));
    EXPECT_FALSE(is_writable_location("/opt/android-sdk"));
    EXPECT_FALSE(is_writable_location("/"));
    EXPECT_FALSE(is_writable_location(m_real + "x"));
    EXPECT_FALSE(is_writable_location(HOSTFS + "/opt/android-sdk"));
    EXPECT_FALSE(is_writable_location("build"));
}

TEST_F(PathsInSnap, WritableIsExactlyReachable) {
    std::vector<std::string> paths = absolute_paths(m_real);
    const std::vector<std::string> more = other_paths();
    paths.insert(paths.end(), more.begin(), more.end());
    for (const std::string& p : paths)
        EXPECT_EQ(is_writable_location(p), reachable_directly(p)) << p;
}

TEST_F(PathsInSnap, HostfsFlagIsComputedOnce) {
    ASSERT_EQ(rmdir(m_hostfs.c_str()), 0);
    EXPECT_TRUE(hostfs_available());
    EXPECT_EQ(to_scan_path("/opt"), HOSTFS + "/opt");
}

// ============================================================ reachable_directly

TEST(Paths, ReachableDirectlyRules) {
    test_env::TempHome home;
    NoSnapMarkers clear;
    const std::string h = home.path("home");
    ASSERT_EQ(real_home(), h);
    EXPECT_TRUE(reachable_directly(h));
    EXPECT_TRUE(reachable_directly(h + "/"));
    EXPECT_TRUE(reachable_directly(h + "/.cache"));
    EXPECT_FALSE(reachable_directly(h + "x"));
    EXPECT_FALSE(reachable_directly(su::parent_of(h)));
    EXPECT_TRUE(reachable_directly("/media"));
    EXPECT_TRUE(reachable_directly("/media/"));
    EXPECT_TRUE(reachable_directly("/mnt"));
    EXPECT_TRUE(reachable_directly("/mnt/usb"));
    EXPECT_TRUE(reachable_directly("/run/media"));
    EXPECT_TRUE(reachable_directly("/run/media/anna"));
    EXPECT_FALSE(reachable_directly("/mntx"));
    EXPECT_FALSE(reachable_directly("/mediax"));
    EXPECT_FALSE(reachable_directly("/run/mediax"));
    EXPECT_FALSE(reachable_directly("/run"));
    EXPECT_FALSE(reachable_directly("/"));
    EXPECT_FALSE(reachable_directly(""));
    EXPECT_FALSE(reachable_directly("mnt/usb"));
}

TEST(Paths, ReachableDirectlyUsesTheRealHomeNotHome) {
    test_env::TempHome home;
    EnvVar real("SNAP_REAL_HOME", "/home/anna");
    EXPECT_TRUE(reachable_directly("/home/anna/.cache"));
    EXPECT_FALSE(reachable_directly(home.path("home/.cache")));
}

// ============================================ inside a Snap without a host view

TEST(PathsInSnapWithoutHostfs, EveryPathIsUsedAsGiven) {
    test_env::TempHome home;
    const std::string real = home.path("real");
    EnvVar snap("SNAP", "/snap/quillet/12");
    EnvVar name("SNAP_NAME", "quillet");
    EnvVar real_var("SNAP_REAL_HOME", real.c_str());
    paths_testing::set_hostfs_probe_dir(home.path("missing"));
    ASSERT_TRUE(running_in_snap());
    EXPECT_FALSE(hostfs_available());
    std::vector<std::string> paths = absolute_paths(real);
    const std::vector<std::string> more = other_paths();
    paths.insert(paths.end(), more.begin(), more.end());
    for (const std::string& p : paths)
        EXPECT_EQ(to_scan_path(p), p) << p;
}

TEST(PathsInSnapWithoutHostfs, WritableIsStillOnlyTheReachablePaths) {
    test_env::TempHome home;
    const std::string real = home.path("real");
    EnvVar snap("SNAP", "/snap/quillet/12");
    EnvVar name("SNAP_NAME", "quillet");
    EnvVar real_var("SNAP_REAL_HOME", real.c_str());
    paths_testing::set_hostfs_probe_dir(home.path("missing"));
    ASSERT_FALSE(hostfs_available());
    EXPECT_TRUE(is_writable_location(real + "/.npm"));
    EXPECT_TRUE(is_writable_location("/media/anna/disk"));
    EXPECT_FALSE(is_writable_location("/opt/android-sdk"));
}

// ================================================================= outside a Snap

TEST(PathsOutsideSnap, EverythingIsUnchangedAndWritable) {
    test_env::TempHome home;
    NoSnapMarkers clear;
    // Even with an openable stand-in the host view is never used outside a Snap.
    const std::string hostfs = home.path("hostfs");
    ASSERT_EQ(mkdir(hostfs.c_str(), 0755), 0);
    paths_testing::set_hostfs_probe_dir(hostfs);
    EXPECT_FALSE(running_in_snap());
    EXPECT_FALSE(hostfs_available());
    std::vector<std::string> paths = absolute_paths(home.path("home"));
    const std::vector<std::string> more = other_paths();
    paths.insert(paths.end(), more.begin(), more.end());
    for (const std::string& p : paths) {
        EXPECT_EQ(to_scan_path(p), p) << p;
        EXPECT_TRUE(is_writable_location(p)) << p;
    }
}

TEST(PathsOutsideSnap, SnapWithEmptySnapNameUsesPathsAsGiven) {
    test_env::TempHome home;
    EnvVar snap("SNAP", "/snap/quillet/12");
    EnvVar name("SNAP_NAME", "");
    const std::string hostfs = home.path("hostfs");
    ASSERT_EQ(mkdir(hostfs.c_str(), 0755), 0);
    paths_testing::set_hostfs_probe_dir(hostfs);
    EXPECT_FALSE(hostfs_available());
    EXPECT_EQ(to_scan_path("/opt"), "/opt");
    EXPECT_TRUE(is_writable_location("/opt"));
}

TEST(PathsOutsideSnap, DisplayStripsTheHostfsPrefixAnyway) {
    test_env::TempHome home;
    NoSnapMarkers clear;
    ASSERT_FALSE(running_in_snap());
    EXPECT_EQ(to_display_path("/var/lib/snapd/hostfs/opt/android-sdk"), "/opt/android-sdk");
    EXPECT_EQ(to_display_path("/opt/android-sdk"), "/opt/android-sdk");
}

// ================================================================ to_display_path

TEST(Paths, DisplayOfTheHostfsRootIsRoot) {
    test_env::TempHome home;
    EXPECT_EQ(to_display_path("/var/lib/snapd/hostfs"), "/");
    EXPECT_EQ(to_display_path("/var/lib/snapd/hostfs/"), "/");
}

TEST(Paths, DisplayPrefixTestNeedsNoSeparator) {
    test_env::TempHome home;
    EXPECT_EQ(to_display_path("/var/lib/snapd/hostfsx/a"), "x/a");
}

TEST(Paths, DisplayLeavesOtherPathsAlone) {
    test_env::TempHome home;
    for (const std::string p : {"", "/", "build", "/var/lib/snapd", "/var/lib/snapd/hostf",
                                "/home/anna/var/lib/snapd/hostfs"})
        EXPECT_EQ(to_display_path(p), p) << p;
}
