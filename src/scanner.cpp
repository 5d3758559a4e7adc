// Category listing and the deadline guard. The size measurement lives in
// scanner_walk.cpp.
//
// Listings read directories through descriptors (getdents64) and examine
// entries relative to them without following links. The directory entry's
// type is trusted to rule out what cannot match (a regular file is never a
// category's folder); anything else is examined with fstatat, so the outcome
// is the same as examining every entry by its path.
//
// Sections: file status · listing · the project search · deadline guard.

#include "scanner.h"

#include "evidence.h"
#include "paths.h"
#include "scanner_deadline.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace scanner_internal {
int open_dir_at(int at, const char* name, bool follow);
scanner::Measure measure_impl(const std::string& path, std::atomic<bool>* cancel,
                              const std::atomic<bool>* abandoned, bool share);
} // namespace scanner_internal

using scanner_internal::open_dir_at;

// ---------------------------------------------------------------------------
// File status
// ---------------------------------------------------------------------------

namespace {

scanner::Stat to_stat(const struct stat& st) {
    scanner::Stat s;
    s.ok = true;
    s.is_dir = S_ISDIR(st.st_mode);
    s.is_link = S_ISLNK(st.st_mode);
    s.is_regular = S_ISREG(st.st_mode);
    s.mtime = st.st_mtime;
    s.atime = st.st_atime;
    s.blocks = static_cast<int64_t>(st.st_blocks);
    s.dev = st.st_dev;
    s.ino = st.st_ino;
    s.nlink = st.st_nlink;
    return s;
}

scanner::Stat stat_at(int dir_fd, const char* name) {
    struct stat st {};
    if (fstatat(dir_fd, name, &st, AT_SYMLINK_NOFOLLOW) != 0)
        return {};
    return to_stat(st);
}

bool stopped(const std::atomic<bool>* cancel) {
    return cancel && cancel->load(std::memory_order_relaxed);
}

// Calls fn(name, d_type) for every entry of the open directory but "." and
// "..", until fn returns false or the listing ends. Returns false when fn stopped it.
template <class Fn> bool for_each_entry(int fd, Fn&& fn) {
    std::vector<char> buf(32 * 1024);
    for (;;) {
        const ssize_t n = getdents64(fd, buf.data(), buf.size());
        if (n <= 0)
            return true;
        for (ssize_t pos = 0; pos < n;) {
            const auto* d = reinterpret_cast<const struct dirent64*>(buf.data() + pos);
            pos += d->d_reclen;
            const char* name = d->d_name;
            if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
                continue;
            if (!fn(name, d->d_type))
                return false;
        }
    }
}

// The text after the last "/", or the whole text when there is none.
std::string after_last_slash(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

} // namespace

namespace scanner {

Stat lstat_of(const std::string& path) {
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0)
        return {};
    return to_stat(st);
}

} // namespace scanner

// ---------------------------------------------------------------------------
// Listing
// ---------------------------------------------------------------------------

namespace {

// Whether the folder `name` inside the open directory holds an entry called
// `entry` (of any kind, not followed).
bool holds_entry(int dir_fd, const char* name, const std::string& entry) {
    const std::string rel = std::string(name) + "/" + entry;
    struct stat st {};
    return fstatat(dir_fd, rel.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0;
}

// The entries directly inside the category's folder; hidden ones are never
// offered.
std::vector<ScannedInfo> children(const CategoryDef& def, bool dirs_only,
                                  std::atomic<bool>* cancel) {
    std::vector<ScannedInfo> out;
    const std::string dir = to_scan_path(def.path);
    // The category's own folder may be a link to where the tool really keeps
    // it (the catalog accepts such rows); only the entries inside are held to
    // the no-follow rule.
    const int fd = open_dir_at(AT_FDCWD, dir.c_str(), true);
    if (fd < 0)
        return out;
    for_each_entry(fd, [&](const char* name, unsigned char type) {
        if (stopped(cancel))
            return false;
        if (name[0] == '.')
            return true;
        if (type == DT_LNK || (dirs_only && type != DT_DIR && type != DT_UNKNOWN))
            return true;
        const scanner::Stat st = stat_at(fd, name);
        if (!st.ok || st.is_link || (dirs_only && !st.is_dir))
            return true;
        if (!def.holds.empty() && !holds_entry(fd, name, def.holds))
            return true;
        ScannedInfo info;
        info.path = to_display_path(dir + "/" + name);
        info.name = name;
        // Emulators are folders named "<name>.avd" next to "<name>.ini"
        // files; both kinds are offered and shown by their path alike.
        info.detail = info.path;
        info.modified = st.mtime;
        out.push_back(std::move(info));
        return true;
    });
    close(fd);
    return out;
}

// Version managers keep <tool>/<version>: every folder two levels down is an
// item, named "<tool>/<version>". Links (SDKMAN's "current", mise's aliases)
// and hidden entries are left out at both levels, as children() does.
std::vector<ScannedInfo> tool_versions(const CategoryDef& def, std::atomic<bool>* cancel) {
    std::vector<ScannedInfo> out;
    CategoryDef tools = def;
    tools.holds.clear();
    for (const ScannedInfo& tool : children(tools, true, cancel)) {
        if (stopped(cancel))
            break;
        CategoryDef versions = tools;
        versions.path = tool.path;
        for (ScannedInfo& v : children(versions, true, cancel)) {
            v.name = tool.name + "/" + v.name;
            out.push_back(std::move(v));
        }
    }
    return out;
}

std::vector<ScannedInfo> self_folder(const CategoryDef& def) {
    const scanner::Stat st = scanner::lstat_of(to_scan_path(def.path));
    if (!st.ok || !st.is_dir)
        return {};
    ScannedInfo info;
    info.path = def.path;
    info.name = after_last_slash(def.path);
    info.detail = def.path;
    info.modified = st.mtime;
    return {info};
}

// ---------------------------------------------------------------------------
// The project search
// ---------------------------------------------------------------------------

// Never worth entering at any depth: version-control data, caches, the trash.
const char* const ALWAYS_SKIPPED[] = {".git", ".svn", ".hg", ".cache", ".Trash", ".terraform"};

bool in_list(const std::vector<std::string>& list, const char* name) {
    for (const std::string& s : list)
        if (s == name)
            return true;
    return false;
}

bool always_skipped(const char* name) {
    for (const char* s : ALWAYS_SKIPPED)
        if (std::strcmp(s, name) == 0)
            return true;
    return false;
}

struct ProjectSearch {
    const CategoryDef& def;
    const std::vector<std::string>& skip_at_root;
    const std::vector<std::string>& claimed;
    std::atomic<bool>* cancel;
    std::vector<ScannedInfo>& out;

    // dir_fd is the open folder whose scan path is dir (taken and closed here).
    void find(int dir_fd, const std::string& dir, int depth) {
        for_each_entry(dir_fd, [&](const char* name, unsigned char type) {
            if (stopped(cancel))
                return false;
            if (type != DT_DIR && type != DT_UNKNOWN)
                return true;
            if (depth == 0 && in_list(skip_at_root, name))
                return true;
            if (always_skipped(name))
                return true;
            const scanner::Stat st = stat_at(dir_fd, name);
            if (!st.ok || st.is_link || !st.is_dir)
                return true;
            if (in_list(def.names, name)) {
                // A match is never searched further: no node_modules inside
                // node_modules. A folder that only has the name (a "venv"
                // package without pyvenv.cfg) is neither offered nor entered.
                if (!evidence::is_artefact(dir_fd, name))
                    return true;
                const std::string folder = after_last_slash(dir);
                ScannedInfo info;
                info.path = to_display_path(dir + "/" + name);
                info.name = folder.empty() ? std::string(name) : folder + "/" + name;
                info.detail = to_display_path(dir);
                info.modified = st.mtime;
                out.push_back(std::move(info));
                return true;
            }
            // Another project category's folder (node_modules while looking
            // for build output) is that category's to show.
            if (in_list(claimed, name))
                return true;
            if (depth + 1 > def.max_depth)
                return true;
            const int fd = open_dir_at(dir_fd, name, false);
            if (fd >= 0)
                find(fd, dir + "/" + name, depth + 1);
            return true;
        });
        close(dir_fd);
    }
};

std::vector<ScannedInfo> recursive(const CategoryDef& def, std::atomic<bool>* cancel) {
    std::vector<ScannedInfo> out;
    if (def.max_depth < 0 || stopped(cancel))
        return out;
    const std::string root = to_scan_path(def.path);
    const int fd = open_dir_at(AT_FDCWD, root.c_str(), true);
    if (fd < 0)
        return out;
    ProjectSearch search{def, catalog::recursive_skip(), catalog::recursive_claimed(), cancel, out};
    search.find(fd, root, 0);
    return out;
}

} // namespace

namespace scanner {

std::vector<ScannedInfo> list(const CategoryDef& def, std::atomic<bool>* cancel) {
    switch (def.listing) {
    case ListingKind::ChildDirectories:
        return children(def, true, cancel);
    case ListingKind::ChildItems:
        return children(def, false, cancel);
    case ListingKind::SelfFolder:
        return self_folder(def);
    case ListingKind::Recursive:
        return recursive(def, cancel);
    case ListingKind::ToolVersions:
        return tool_versions(def, cancel);
    }
    return {};
}

} // namespace scanner

// ---------------------------------------------------------------------------
// Deadline guard
// ---------------------------------------------------------------------------

namespace scanner {

Measure measure_guarded(const std::string& path, double seconds, std::atomic<bool>* cancel) {
    return scanner_deadline::with_deadline(
        seconds, Measure{}, [path, cancel](const std::atomic<bool>* abandoned) {
            return scanner_internal::measure_impl(path, cancel, abandoned, true);
        });
}

int64_t size_guarded(const std::string& path, double seconds, std::atomic<bool>* cancel) {
    return measure_guarded(path, seconds, cancel).bytes;
}

std::vector<ScannedInfo> list_guarded(const CategoryDef& def, double seconds,
                                      std::atomic<bool>* cancel) {
    // The worker keeps its own copy of the row: the caller may be long gone
    // and the catalog rebuilt by the time a slow listing ends.
    return scanner_deadline::with_deadline(
        seconds, std::vector<ScannedInfo>{},
        [def, cancel](const std::atomic<bool>*) { return list(def, cancel); });
}

} // namespace scanner

namespace scanner_testing {

int live_guard_states() {
    return scanner_deadline::live_states().load();
}

} // namespace scanner_testing
