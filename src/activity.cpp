// Last activity of a project or a cache; see activity.h.

#include "activity.h"

#include <dirent.h>
#include <fnmatch.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <utility>

namespace activity {

namespace {

// Folders whose times never tell of the user's work, whatever the catalog
// claims: git's own data, and installed packages, whose files npm dates to
// 1985 and whose folders change with every install.
const char* const NEVER_LOOKED_IN[] = {".git", "node_modules"};

bool fits(const std::string& entry, const char* name) {
    if (entry.find_first_of("*?[") == std::string::npos)
        return entry == name;
    return fnmatch(entry.c_str(), name, 0) == 0;
}

bool skipped(const std::vector<std::string>& skip, const char* name) {
    for (const char* n : NEVER_LOOKED_IN)
        if (std::string(n) == name)
            return true;
    return std::any_of(skip.begin(), skip.end(),
                       [name](const std::string& s) { return fits(s, name); });
}

time_t mtime_of(const std::string& path) {
    struct stat st;
    if (lstat(path.c_str(), &st) != 0)
        return 0;
    return st.st_mtime;
}

std::string parent_of(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    if (slash == std::string::npos)
        return {};
    if (slash == 0)
        return "/";
    return path.substr(0, slash);
}

std::string trimmed(std::string s) {
    while (!s.empty() && (s.back() == '/' && s.size() > 1))
        s.pop_back();
    return s;
}

// What a ".git" file names: "gitdir: <path>", relative to the file's folder
// when not absolute. Empty when the file says something else.
std::string gitdir_from_file(const std::string& file, const std::string& folder) {
    FILE* f = std::fopen(file.c_str(), "re");
    if (!f)
        return {};
    char buf[4096];
    const size_t n = std::fread(buf, 1, sizeof buf - 1, f);
    std::fclose(f);
    std::string text(buf, n);
    const std::string key = "gitdir:";
    if (text.compare(0, key.size(), key) != 0)
        return {};
    text.erase(0, key.size());
    const size_t end = text.find_first_of("\r\n");
    if (end != std::string::npos)
        text.erase(end);
    const size_t start = text.find_first_not_of(" \t");
    if (start == std::string::npos)
        return {};
    text.erase(0, start);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.pop_back();
    if (text.empty())
        return {};
    if (text.front() != '/')
        text = folder + "/" + text;
    return text;
}

} // namespace

Walk newest_outside(const std::string& project, const std::vector<std::string>& skip,
                    const Bounds& bounds) {
    Walk w;
    // Breadth first: the project's own top-level files are the likeliest to
    // be edited, and a bound then cuts the deepest folders.
    std::deque<std::pair<std::string, int>> todo;
    todo.emplace_back(trimmed(project), 0);
    while (!todo.empty()) {
        auto [dir, depth] = std::move(todo.front());
        todo.pop_front();
        DIR* d = opendir(dir.c_str());
        if (!d)
            continue;
        while (const dirent* e = readdir(d)) {
            const char* name = e->d_name;
            if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
                continue;
            if (w.entries >= bounds.max_entries) {
                w.cut = true;
                break;
            }
            ++w.entries;
            const std::string path = dir + "/" + name;
            struct stat st;
            if (lstat(path.c_str(), &st) != 0)
                continue;
            if (S_ISDIR(st.st_mode)) {
                if (skipped(skip, name))
                    continue;
                if (depth + 1 > bounds.max_depth) {
                    w.cut = true;
                    continue;
                }
                todo.emplace_back(path, depth + 1);
                continue;
            }
            // A link counts by its own time; what it points at is not the
            // project's (and may be anywhere).
            w.newest = std::max(w.newest, static_cast<time_t>(st.st_mtime));
        }
        closedir(d);
        if (w.cut && w.entries >= bounds.max_entries)
            break;
    }
    return w;
}

std::string git_dir_of(const std::string& project, const std::string& root) {
    const std::string top = trimmed(root);
    std::string dir = trimmed(project);
    if (top.empty() || dir.empty())
        return {};
    const bool inside =
        dir == top || (dir.size() > top.size() && dir.compare(0, top.size(), top) == 0 &&
                       (top == "/" || dir[top.size()] == '/'));
    if (!inside)
        return {};
    for (;;) {
        const std::string dot = (dir == "/" ? "" : dir) + "/.git";
        struct stat st;
        if (lstat(dot.c_str(), &st) == 0) {
            if (S_ISDIR(st.st_mode))
                return dot;
            if (S_ISREG(st.st_mode)) {
                const std::string named = gitdir_from_file(dot, dir);
                struct stat gs;
                if (!named.empty() && stat(named.c_str(), &gs) == 0 && S_ISDIR(gs.st_mode))
                    return named;
            }
        }
        if (dir == top)
            return {};
        dir = parent_of(dir);
        if (dir.empty())
            return {};
    }
}

time_t git_activity(const std::string& git_dir) {
    if (git_dir.empty())
        return 0;
    return std::max(mtime_of(git_dir + "/index"), mtime_of(git_dir + "/logs/HEAD"));
}

time_t of_project(const std::string& project, const std::string& root,
                  const std::vector<std::string>& skip, const Bounds& bounds) {
    const Walk w = newest_outside(project, skip, bounds);
    return std::max(w.newest, git_activity(git_dir_of(project, root)));
}

time_t Cache::of_project(const std::string& project, const std::string& root,
                         const std::vector<std::string>& skip, const Bounds& bounds) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto known = m_known.find(project);
        if (known != m_known.end())
            return known->second;
    }
    // Walked without the lock: two threads asking for the same project at
    // once both walk it and find the same.
    const time_t t = activity::of_project(project, root, skip, bounds);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_known.emplace(project, t);
    return t;
}

size_t Cache::walked() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_known.size();
}

bool older_than(time_t active, int months, time_t now) {
    if (active <= 0 || months <= 0)
        return false;
    return now - active > static_cast<time_t>(months) * MONTH_SECONDS;
}

} // namespace activity
