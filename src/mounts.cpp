#include "mounts.h"

#include "paths.h"
#include "strutil.h"

#include <fstream>
#include <mutex>
#include <set>
#include <sstream>
#include <string_view>
#include <utility>

namespace mounts {

namespace {

const char* const MOUNTINFO = "/proc/self/mountinfo";

const char* const PSEUDO_TYPES[] = {"sysfs",      "proc",        "devpts",  "devtmpfs",   "cgroup2",
                                    "cgroup",     "pstore",      "bpf",     "tracefs",    "debugfs",
                                    "securityfs", "configfs",    "fusectl", "hugetlbfs",  "mqueue",
                                    "efivarfs",   "binfmt_misc", "autofs",  "rpc_pipefs", "nsfs",
                                    "selinuxfs",  "ramfs",       "swap"};

const char* const NETWORK_TYPES[] = {"nfs4",  "nfs",   "smb3",      "cifs",  "afs",
                                     "ceph",  "smbfs", "glusterfs", "davfs", "9p",
                                     "sshfs", "ftpfs", "curlftpfs"};

const char* const IMAGE_TYPES[] = {"squashfs", "erofs", "iso9660"};

// System trees whose mounts hold nothing of the user's; removable media below
// "/run/media" are the one exception.
const char* const NOISE[] = {"/run", "/usr", "/etc", "/dev", "/proc", "/sys", "/boot", "/var"};

template <std::size_t N> bool in_list(const char* const (&list)[N], const std::string& s) {
    for (const char* item : list) {
        if (s == item)
            return true;
    }
    return false;
}

// The kernel separates fields with spaces and writes every space, tab,
// newline and backslash inside a field escaped, so a raw tab is a separator
// too. Other bytes, a carriage return included, belong to the field: a mount
// point whose name holds one must still be recognised as that mount point.
bool is_blank(char c) {
    return c == ' ' || c == '\t';
}

std::vector<std::string_view> split_fields(std::string_view line) {
    std::vector<std::string_view> fields;
    std::size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && is_blank(line[i]))
            ++i;
        const std::size_t start = i;
        while (i < line.size() && !is_blank(line[i]))
            ++i;
        if (i > start)
            fields.push_back(line.substr(start, i - start));
    }
    return fields;
}

bool parse_line(std::string_view line, Mount& out) {
    const std::vector<std::string_view> f = split_fields(line);
    std::size_t sep = 0;
    while (sep < f.size() && f[sep] != "-")
        ++sep;
    if (sep == f.size() || sep < 6 || f.size() - sep - 1 < 2)
        return false;
    const std::string_view options = f[5];
    out.point = unescape(std::string(f[4]));
    out.fs_type = std::string(f[sep + 1]);
    out.source = unescape(std::string(f[sep + 2]));
    // Only the per-mount options count: a mount that says "rw" on a read-only
    // superblock is treated as writable.
    out.read_only = options == "ro" || options.substr(0, 3) == "ro,";
    return true;
}

bool is_under(const std::string& point, const std::string& root) {
    return point == root || su::starts_with(point, root + "/");
}

struct Table {
    std::once_flag once;
    std::vector<Mount> mounts;
};

Table& table() {
    static Table t;
    return t;
}

} // namespace

std::string unescape(const std::string& field) {
    std::string out;
    out.reserve(field.size());
    auto octal = [](char c) { return c >= '0' && c <= '7'; };
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size() && octal(field[i + 1]) &&
            octal(field[i + 2]) && octal(field[i + 3])) {
            const int v =
                (field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 + (field[i + 3] - '0');
            out.push_back(static_cast<char>(v & 0xff));
            i += 3;
        } else {
            out.push_back(field[i]);
        }
    }
    return out;
}

std::vector<Mount> parse_mountinfo(const std::string& text) {
    std::vector<Mount> result;
    std::string_view rest(text);
    while (!rest.empty()) {
        const std::size_t nl = rest.find('\n');
        const std::string_view line = rest.substr(0, nl);
        rest = nl == std::string_view::npos ? std::string_view() : rest.substr(nl + 1);
        Mount m;
        if (parse_line(line, m))
            result.push_back(std::move(m));
    }
    return result;
}

std::string read_file_text(const char* file) {
    std::ifstream in(file, std::ios::binary);
    if (!in)
        return {};
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

const std::vector<Mount>& all() {
    Table& t = table();
    std::call_once(t.once, [&t] { t.mounts = parse_mountinfo(read_file_text(MOUNTINFO)); });
    return t.mounts;
}

const Mount* lookup(const std::vector<Mount>& table, const std::string& path) {
    const Mount* best = nullptr;
    for (const Mount& m : table) {
        const bool match = m.point == "/" || m.point == path ||
                           (su::starts_with(path, m.point) && path.size() > m.point.size() &&
                            path[m.point.size()] == '/');
        // ">=" so that of two mounts at the same point the later, which hides
        // the earlier, is the one that holds the path.
        if (match && (!best || m.point.size() >= best->point.size()))
            best = &m;
    }
    return best;
}

const Mount* for_path_in(const std::vector<Mount>& table, const std::string& path) {
    auto specific = [](const Mount* m) { return m && to_display_path(m->point) != "/"; };
    const Mount* m = lookup(table, path);
    if (specific(m))
        return m;
    // A path in host form may be mounted below the Snap's host-filesystem
    // root, and a path in that form may name a mount seen at its host path.
    for (const std::string& candidate : {to_scan_path(path), to_display_path(path)}) {
        if (candidate == path)
            continue;
        const Mount* c = lookup(table, candidate);
        if (specific(c))
            return c;
    }
    return m;
}

const Mount* for_path(const std::string& path) {
    return for_path_in(all(), path);
}

bool is_pseudo_fs(const std::string& type) {
    return in_list(PSEUDO_TYPES, type);
}

bool is_risky_fs(const std::string& type) {
    return in_list(NETWORK_TYPES, type) || su::starts_with(type, "fuse");
}

bool is_image_fs(const std::string& type) {
    return in_list(IMAGE_TYPES, type);
}

std::vector<Mount> scannable_roots_of(const std::vector<Mount>& table) {
    std::vector<Mount> kept;
    std::set<std::string> points;
    std::set<std::string> devices;
    for (const Mount& m : table) {
        if (is_pseudo_fs(m.fs_type) || m.fs_type == "tmpfs")
            continue;
        if (is_under(m.point, "/snap") || m.fs_type == "squashfs")
            continue;
        if (is_under(m.point, "/var/lib/snapd") || is_under(m.point, "/var/snap"))
            continue;
        bool noise = false;
        for (const char* prefix : NOISE)
            noise = noise || is_under(m.point, prefix);
        if (noise && !is_under(m.point, "/run/media"))
            continue;
        if (points.count(m.point))
            continue;
        // The same device mounted twice, or bound elsewhere: the first point wins.
        const bool device = su::starts_with(m.source, "/dev/");
        if (device && devices.count(m.source))
            continue;
        points.insert(m.point);
        if (device)
            devices.insert(m.source);
        kept.push_back(m);
    }
    return kept;
}

std::vector<Mount> scannable_roots() {
    return scannable_roots_of(all());
}

} // namespace mounts

namespace mounts_testing {

bool use_table(std::vector<mounts::Mount> t) {
    bool taken = false;
    mounts::Table& tab = mounts::table();
    std::call_once(tab.once, [&] {
        tab.mounts = std::move(t);
        taken = true;
    });
    return taken;
}

} // namespace mounts_testing
