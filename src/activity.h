// When a found entry was last of use: for a project's build output, when the
// project around it last saw work (its own files, its git index and reflog);
// for a cache, its newest change. Used to tick only what has lain untouched
// for months. Reads times with lstat and never follows a link; opens no file
// and writes nothing.
//
// Threads: every function may be called from any thread; nothing is kept
// between calls.
#pragma once

#include <cstdint>
#include <ctime>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace activity {

// How far the look through a project's own files goes: folders below the
// project at most max_depth deep (the project's own files are depth 0), and
// at most max_entries entries looked at in all. Shallow entries come first,
// so a cut drops the deepest ones.
struct Bounds {
    int max_depth = 4;
    int64_t max_entries = 4000;
};

struct Walk {
    time_t newest = 0;   // newest file or link time seen; 0: none
    int64_t entries = 0; // entries looked at
    bool cut = false;    // a bound was reached before everything was seen
};

// The newest time of the files and links in project, not counting what lies
// in folders whose name matches one of skip (names or shell patterns, as the
// project search reads them), in ".git" or in "node_modules". Folder times
// are not counted: creating or removing build output changes them.
Walk newest_outside(const std::string& project, const std::vector<std::string>& skip,
                    const Bounds& bounds = {});

// The git directory of the repository holding project: a ".git" folder, or a
// ".git" file naming one ("gitdir: ..."), in project or a parent up to and
// including root. Empty when there is none, or when project is not inside
// root.
std::string git_dir_of(const std::string& project, const std::string& root);

// The newer of the git directory's index and logs/HEAD (a commit, checkout,
// stage or pull touches one of them); 0 for an empty path or when neither
// exists.
time_t git_activity(const std::string& git_dir);

// The project's last activity: the newer of newest_outside() and
// git_activity() of its repository. 0 when nothing tells.
time_t of_project(const std::string& project, const std::string& root,
                  const std::vector<std::string>& skip, const Bounds& bounds = {});

// The projects looked at so far and what was found, so that a project with
// several kinds of build output (node_modules and dist, target and .venv) is
// walked once per scan. Any thread may share one.
class Cache {
public:
    // of_project(), the first time a project is asked about.
    time_t of_project(const std::string& project, const std::string& root,
                      const std::vector<std::string>& skip, const Bounds& bounds = {});
    // Projects walked so far, for the tests.
    size_t walked() const;

private:
    mutable std::mutex m_mutex;
    std::unordered_map<std::string, time_t> m_known;
};

// The length of a month as the rows count it ("3 mo ago").
constexpr time_t MONTH_SECONDS = 2629800;

// The spans the age control offers, in months.
constexpr int SPANS[] = {1, 3, 6, 12};

// Whether an activity time lies more than months before now. An unknown
// time (0) is never old: age only narrows a selection.
bool older_than(time_t active, int months, time_t now);

} // namespace activity
