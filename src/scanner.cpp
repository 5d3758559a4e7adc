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
#include <fnmatch.h>
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

// A name of the list, or a shell pattern of it ("cmake-build-*"), fits the name.
bool fits(const std::string& entry, const char* name) {
    if (entry.find_first_of("*?[") == std::string::npos)
        return entry == name;
    return fnmatch(entry.c_str(), name, 0) == 0;
}

bool in_list(const std::vector<std::string>& list, const char* name) {
    for (const std::string& s : list)
        if (fits(s, name))
            return true;
    return false;
}

bool always_skipped(const char* name) {
    for (const char* s : ALWAYS_SKIPPED)
        if (std::strcmp(s, name) == 0)
            return true;
    return false;
}

// What the test counters of the walk record: every folder it opened.
struct WalkRecord {
    std::mutex m;
    bool on = false;
    std::vector<std::string> opened;
};

WalkRecord& walk_record() {
    // Never destroyed, like the walkers' budget: an abandoned walk may still
    // note a folder while the process exits.
    static WalkRecord* const r = new WalkRecord;
    return *r;
}

void note_opened(const std::string& dir) {
    WalkRecord& r = walk_record();
    std::lock_guard<std::mutex> lock(r.m);
    if (r.on)
        r.opened.push_back(dir);
}

// One walk of a projects folder for every project row at once: each folder is
// read once, and what it holds is matched against all rows' names, so adding
// a kind of build output adds no walk.
struct ProjectSearch {
    const std::vector<const CategoryDef*>& rows;
    int max_depth; // the deepest any row looks
    const std::vector<std::string>& skip_at_root;
    const std::vector<std::string>& claimed;
    bool (*want_file)(const char*);
    std::atomic<bool>* cancel;
    scanner::ProjectFinds& out;
    std::size_t first_out; // index of rows[0] in out.found

    struct Entry {
        std::string name;
        unsigned char type;
    };

    // The row that looks for this name at this depth, or -1.
    int row_for(const char* name, int depth) const {
        for (std::size_t k = 0; k < rows.size(); ++k)
            if (depth <= rows[k]->max_depth && in_list(rows[k]->names, name))
                return static_cast<int>(k);
        return -1;
    }

    // dir_fd is the open folder whose scan path is dir (taken and closed here).
    void find(int dir_fd, const std::string& dir, int depth) {
        note_opened(dir);
        // Read whole before anything is looked at: the names are also the
        // siblings that prove a found folder ("bin" beside a .csproj), and the
        // folder is then never read a second time.
        std::vector<Entry> entries;
        std::vector<std::string> names;
        for_each_entry(dir_fd, [&](const char* name, unsigned char type) {
            if (stopped(cancel))
                return false;
            entries.push_back({name, type});
            names.emplace_back(name);
            return true;
        });
        for (const Entry& e : entries) {
            if (stopped(cancel))
                break;
            const char* name = e.name.c_str();
            if (e.type != DT_DIR && e.type != DT_UNKNOWN) {
                if (e.type == DT_REG && want_file && want_file(name))
                    out.files.push_back(to_display_path(dir + "/" + e.name));
                continue;
            }
            if (depth == 0 && in_list(skip_at_root, name))
                continue;
            const int row = row_for(name, depth);
            // ".terraform" is never worth entering, but it is what the
            // Terraform row looks for.
            if (row < 0 && always_skipped(name))
                continue;
            const scanner::Stat st = stat_at(dir_fd, name);
            if (!st.ok || st.is_link)
                continue;
            if (!st.is_dir) {
                if (st.is_regular && want_file && want_file(name))
                    out.files.push_back(to_display_path(dir + "/" + e.name));
                continue;
            }
            if (row >= 0) {
                // A match is never searched further: no node_modules inside
                // node_modules. A folder that only has the name (a "venv"
                // package without pyvenv.cfg, a "bin" of scripts) is neither
                // offered nor entered.
                if (!evidence::is_artefact(dir_fd, name, &names))
                    continue;
                const std::string folder = after_last_slash(dir);
                ScannedInfo info;
                info.path = to_display_path(dir + "/" + e.name);
                info.name = folder.empty() ? e.name : folder + "/" + e.name;
                info.detail = to_display_path(dir);
                info.modified = st.mtime;
                out.found[first_out + static_cast<std::size_t>(row)].push_back(std::move(info));
                continue;
            }
            // Another project category's folder (node_modules while looking
            // for build output) is that category's to show.
            if (in_list(claimed, name))
                continue;
            if (depth + 1 > max_depth)
                continue;
            const int fd = open_dir_at(dir_fd, name, false);
            if (fd >= 0)
                find(fd, dir + "/" + e.name, depth + 1);
        }
        close(dir_fd);
    }
};

// Walks the folder the rows share (rows[0]'s path) for all of them at once.
void search_projects(const std::vector<const CategoryDef*>& rows, std::size_t first_out,
                     bool (*want_file)(const char*), std::atomic<bool>* cancel,
                     scanner::ProjectFinds& out) {
    int depth = -1;
    for (const CategoryDef* d : rows)
        depth = std::max(depth, d->max_depth);
    if (depth < 0 || stopped(cancel))
        return;
    const std::string root = to_scan_path(rows[0]->path);
    const int fd = open_dir_at(AT_FDCWD, root.c_str(), true);
    if (fd < 0)
        return;
    ProjectSearch search{rows,  depth,  catalog::recursive_skip(), catalog::recursive_claimed(),
                         want_file, cancel, out, first_out};
    search.find(fd, root, 0);
}

std::vector<ScannedInfo> recursive(const CategoryDef& def, std::atomic<bool>* cancel) {
    scanner::ProjectFinds finds = scanner::find_in_projects({def}, nullptr, cancel);
    return std::move(finds.found[0]);
}

} // namespace

namespace scanner {

ProjectFinds find_in_projects(const std::vector<CategoryDef>& rows,
                              bool (*want_file)(const char*), std::atomic<bool>* cancel) {
    ProjectFinds out;
    out.found.resize(rows.size());
    // Rows normally share one projects folder; any that do not get a walk of
    // their own folder. A file asked for is noted by the first walk only.
    std::vector<bool> done(rows.size(), false);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (done[i])
            continue;
        std::vector<const CategoryDef*> group;
        std::vector<std::size_t> slots;
        for (std::size_t k = i; k < rows.size(); ++k) {
            if (!done[k] && rows[k].path == rows[i].path) {
                group.push_back(&rows[k]);
                slots.push_back(k);
                done[k] = true;
            }
        }
        ProjectFinds part;
        part.found.resize(group.size());
        search_projects(group, 0, i == 0 ? want_file : nullptr, cancel, part);
        for (std::size_t g = 0; g < group.size(); ++g)
            out.found[slots[g]] = std::move(part.found[g]);
        for (std::string& f : part.files)
            out.files.push_back(std::move(f));
    }
    return out;
}

ProjectFinds find_in_projects_guarded(const std::vector<CategoryDef>& rows,
                                      bool (*want_file)(const char*), double seconds,
                                      std::atomic<bool>* cancel) {
    ProjectFinds fallback;
    fallback.found.resize(rows.size());
    return scanner_deadline::with_deadline(
        seconds, fallback, [rows, want_file, cancel](const std::atomic<bool>*) {
            return find_in_projects(rows, want_file, cancel);
        });
}

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

void record_project_walk(bool on) {
    WalkRecord& r = walk_record();
    std::lock_guard<std::mutex> lock(r.m);
    r.on = on;
    r.opened.clear();
}

std::vector<std::string> project_walk_opened() {
    WalkRecord& r = walk_record();
    std::lock_guard<std::mutex> lock(r.m);
    return r.opened;
}

} // namespace scanner_testing
