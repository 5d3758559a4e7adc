#include "paths.h"

#include "strutil.h"

#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

// Inside a strictly confined Snap the host's root directory shows up here.
const char* const HOSTFS = "/var/lib/snapd/hostfs";

// Removable-media folders that a Snap's interfaces expose at their own paths.
const char* const MEDIA[] = {"/media/", "/mnt/", "/run/media/"};
const char* const MEDIA_ROOTS[] = {"/media", "/mnt", "/run/media"};

// The variable's value, or "" when it is unset.
std::string env(const char* name) {
    const char* v = std::getenv(name);
    return v ? std::string(v) : std::string();
}

// The password database's home for the real user id. The re-entrant lookup
// is used because worker threads ask for the home too.
std::string password_home() {
    long size = sysconf(_SC_GETPW_R_SIZE_MAX);
    if (size <= 0)
        size = 16384;
    std::vector<char> buf(static_cast<std::size_t>(size));
    struct passwd entry {};
    struct passwd* found = nullptr;
    while (getpwuid_r(getuid(), &entry, buf.data(), buf.size(), &found) == ERANGE &&
           buf.size() < (1u << 20))
        buf.resize(buf.size() * 2);
    if (!found || !found->pw_dir)
        return "";
    return found->pw_dir;
}

// The directory that hostfs_available() opens; only tests change it.
std::string& hostfs_probe_dir() {
    static std::string dir = HOSTFS;
    return dir;
}

// The file whose presence marks a Flatpak; only tests change it.
std::string& flatpak_info_path() {
    static std::string path = "/.flatpak-info";
    return path;
}

} // namespace

std::string real_home() {
    std::string home = env("SNAP_REAL_HOME");
    if (!home.empty())
        return home;
    home = env("HOME");
    if (!home.empty())
        return home;
    return password_home();
}

std::string config_dir() {
    std::string base = env("XDG_CONFIG_HOME");
    if (base.empty()) {
        const std::string home = env("HOME");
        if (home.empty())
            return ".";
        base = home + "/.config";
    }
    const std::string dir = base + "/Quillet";
    // An existing directory is the normal case; any other failure shows up
    // later, when a file cannot be written there.
    mkdir(base.c_str(), 0700);
    mkdir(dir.c_str(), 0700);
    return dir;
}

bool running_in_snap() {
    static const bool in_snap = !env("SNAP").empty() && !env("SNAP_NAME").empty();
    return in_snap;
}

bool running_in_flatpak() {
    static const bool in_flatpak = [] {
        struct stat st {};
        return stat(flatpak_info_path().c_str(), &st) == 0;
    }();
    return in_flatpak;
}

bool hostfs_available() {
    static const bool available = [] {
        if (!running_in_snap())
            return false;
        DIR* d = opendir(hostfs_probe_dir().c_str());
        if (!d)
            return false;
        closedir(d);
        return true;
    }();
    return available;
}

bool reachable_directly(const std::string& path) {
    // An empty home would be a prefix of every path, so it takes no part.
    const std::string home = real_home();
    if (!home.empty() && (path == home || su::starts_with(path, home + "/")))
        return true;
    for (const char* prefix : MEDIA) {
        if (su::starts_with(path, prefix))
            return true;
    }
    for (const char* root : MEDIA_ROOTS) {
        if (path == root)
            return true;
    }
    return false;
}

std::string to_scan_path(const std::string& path) {
    if (!hostfs_available())
        return path;
    if (path.empty() || path[0] != '/')
        return path;
    if (reachable_directly(path))
        return path;
    if (path == HOSTFS || su::starts_with(path, std::string(HOSTFS) + "/"))
        return path;
    // path begins with "/", so no separator is added.
    return HOSTFS + path;
}

std::string to_display_path(const std::string& path) {
    // A plain prefix test with no separator required, in or out of a Snap,
    // so "/var/lib/snapd/hostfsx/a" shows as "x/a". Left that way on purpose:
    // nothing real lives beside the host-filesystem root, and the simple test
    // undoes to_scan_path() for every absolute path not already below that root.
    const std::string prefix = HOSTFS;
    if (!su::starts_with(path, prefix))
        return path;
    std::string rest = path.substr(prefix.size());
    if (rest.empty())
        return "/";
    return rest;
}

bool is_writable_location(const std::string& path) {
    if (!running_in_snap())
        return true;
    return reachable_directly(path);
}

namespace paths_testing {

void set_hostfs_probe_dir(const std::string& dir) {
    hostfs_probe_dir() = dir;
}

void set_flatpak_info_path(const std::string& path) {
    flatpak_info_path() = path;
}

} // namespace paths_testing
