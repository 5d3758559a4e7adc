// Where the user's real home is, where the program keeps its configuration,
// whether it runs confined in a Snap or a Flatpak, and how a host path is
// reached from inside a Snap. Paths are byte strings handled as text: nothing
// here resolves, normalises or deletes anything; the only disk writes are the
// two mkdir calls of config_dir().
// Any thread may call. The three sandbox flags are worked out once, on first
// use, and never change afterwards; real_home() and config_dir() read the
// environment anew on every call.
#pragma once

#include <string>

// The user's real home: SNAP_REAL_HOME, else HOME, else the password
// database's entry for the real user id; "" when none of them gives one.
std::string real_home();

// The configuration directory, XDG_CONFIG_HOME (or HOME + "/.config") plus
// "/Quillet", created with mode 0700 if missing. Follows HOME rather than
// real_home(), so inside a Snap it lands in the Snap's private home. "." when
// neither variable is set; then nothing is created.
std::string config_dir();

// True when SNAP and SNAP_NAME are both set and not empty. Cached.
bool running_in_snap();

// True when "/.flatpak-info" exists. Cached.
bool running_in_flatpak();

// True inside a Snap whose view of the host's root directory,
// "/var/lib/snapd/hostfs", can be opened. Outside a Snap it is false without
// touching the disk. Cached.
bool hostfs_available();

// Whether the host path is visible at the same path inside a Snap: the real
// home and what lies below it, and the removable-media folders. Other modules
// ask is_writable_location(); this one is visible for the tests.
bool reachable_directly(const std::string& path);

// The path through which the program reaches the host path: the same path
// unless a Snap sees it only below the host-filesystem root. Idempotent.
std::string to_scan_path(const std::string& path);

// The host path to show or store for a scan path: strips a leading
// "/var/lib/snapd/hostfs" (plain prefix test, in a Snap or not).
std::string to_display_path(const std::string& path);

// Whether the program may delete at the path at all: always outside a Snap;
// inside one only where the host path is reached directly, because what the
// Snap sees through the host-filesystem root is read-only to it.
bool is_writable_location(const std::string& path);

// Test-only seam. The program never calls this.
namespace paths_testing {

// Makes the availability check of hostfs_available() open dir instead of
// "/var/lib/snapd/hostfs", so a test can stand in a temporary folder for the
// host filesystem. Takes effect only when called before the first
// hostfs_available() call of the process, and before any other thread uses
// this module. The prefix added and stripped by to_scan_path() and
// to_display_path() stays "/var/lib/snapd/hostfs".
void set_hostfs_probe_dir(const std::string& dir);

// Makes running_in_flatpak() look for `path` instead of "/.flatpak-info", so
// a test can stand in a file of its own for the Flatpak's marker. The same
// rules as above: before the first running_in_flatpak() call of the process.
void set_flatpak_info_path(const std::string& path);

} // namespace paths_testing
