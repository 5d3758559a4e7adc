// The kernel's table of mounts of this process's mount namespace, read once
// from "/proc/self/mountinfo" and kept unchanged for the life of the process,
// and the questions asked of it: which mount holds a path, what kind of file
// system a type names, and which mounts are worth offering as scan roots.
// Reading the file and parsing its text are separate steps, so the parser can
// be fed any text. Never writes to the disk.
// Any thread may call any function: the table is built under a thread-safe
// one-time initialisation and only read afterwards.
#pragma once

#include <string>
#include <vector>

namespace mounts {

struct Mount {
    std::string point;      // mount point, octal escapes decoded
    std::string fs_type;    // file-system type as the kernel writes it ("ext4", "fuse.sshfs")
    std::string source;     // device or name ("/dev/sda2", "tmpfs"), octal escapes decoded
    bool read_only = false; // the mount options say "ro"
};

// The table, in the order of the mountinfo lines (parents before children,
// later mounts after earlier ones). Empty when the file cannot be read.
const std::vector<Mount>& all();

// The mount that holds path, preferring anything more specific than the root
// even when the path is given in the other of its host and Snap forms; null
// when the table is empty.
const Mount* for_path(const std::string& path);

// Kernel pseudo file systems ("proc", "sysfs", ...), exact match.
bool is_pseudo_fs(const std::string& type);
// Network file systems and every FUSE type: slow, remote or unreliable to walk.
bool is_risky_fs(const std::string& type);
// Read-only images: "squashfs", "erofs", "iso9660".
bool is_image_fs(const std::string& type);

// The mounts on which a user's data may live, in table order: no pseudo or
// temporary file systems, no Snap images, no system trees (removable media
// under "/run/media" excepted), each point and each device only once.
std::vector<Mount> scannable_roots();

// ---- The pure halves of the above, visible for the tests and fuzzers ----

// Decodes the kernel's backslash + three octal digits escapes; every other
// byte, a lone backslash included, is copied as it stands.
std::string unescape(const std::string& field);

// Parses the text of a mountinfo file. Malformed lines are skipped.
std::vector<Mount> parse_mountinfo(const std::string& text);

// The whole content of the file; "" when it cannot be read.
std::string read_file_text(const char* file);

// The mount with the longest point that is "/", equal to path or a directory
// prefix of it; on equal length the later one (stacked on top) wins.
const Mount* lookup(const std::vector<Mount>& table, const std::string& path);

// for_path() and scannable_roots() on a given table.
const Mount* for_path_in(const std::vector<Mount>& table, const std::string& path);
std::vector<Mount> scannable_roots_of(const std::vector<Mount>& table);

} // namespace mounts

// Test-only seam. The program never calls this.
namespace mounts_testing {

// Makes all() return table instead of what "/proc/self/mountinfo" holds.
// Returns false, and changes nothing, when the table has already been built
// in this process; call it before anything asks for the table.
bool use_table(std::vector<mounts::Mount> table);

} // namespace mounts_testing
