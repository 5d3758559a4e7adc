// Finds what a category holds on disk and how much space it takes, without
// ever deleting or changing anything: directories are opened without touching
// their access times, symbolic links are never followed below the folder
// being looked at, and what cannot be read is simply not counted or listed.
//
// Any thread may call any function here; calls keep no state between them
// except the process-wide limit on walking threads. Every call can be stopped
// early through the cancel flag, which is polled before each folder and entry.
#pragma once

#include "catalog.h"
#include "sharing.h"

#include <atomic>
#include <cstdint>
#include <ctime>
#include <string>
#include <sys/types.h>
#include <vector>

// One thing a category listing found, before it is measured.
struct ScannedInfo {
    std::string path;   // display form, used later to measure and delete it
    std::string name;   // the label shown for it
    std::string detail; // a second line: a display path
    time_t modified = 0;
};

namespace scanner {

struct Measure {
    int64_t bytes = 0;       // allocated bytes: blocks x 512
    time_t newest_mtime = 0; // newest modification time seen; 0 when nothing was measured
    // Something named ".git" lies below the folder: a repository of its own,
    // which the project search must not take for build output.
    bool holds_git = false;
    // The walk ran to its end. False when it was cancelled or given up at its
    // deadline: the figures then hold only part of the tree, and holds_git
    // may have missed a repository in the part not seen.
    bool complete = false;
    // Files below it with more than one link, once each with the number of
    // their links met inside, sorted by (dev, ino); and the part of bytes
    // they take. What deleting it would really free is reckoned from them.
    std::vector<sharing::SharedFile> shared;
    int64_t shared_bytes = 0;
};

// What lstat says of a path. When ok is false every other field is zero.
struct Stat {
    bool ok = false;
    bool is_dir = false;
    bool is_link = false;
    bool is_regular = false;
    time_t mtime = 0;
    time_t atime = 0;
    int64_t blocks = 0; // 512-byte blocks allocated
    dev_t dev = 0;
    ino_t ino = 0;
    nlink_t nlink = 0;
};

Stat lstat_of(const std::string& path);

// Allocated size and newest change of a file or folder (a display path). A
// symbolic link measures {0, 0}, whatever it points to. Inside a folder links
// are skipped, and a file with several hard links counts once per
// measurement and is recorded in Measure::shared. A big folder's subfolders
// are shared with idle walking threads; the process never runs more than
// MAX_WALKERS of them at once.
Measure measure(const std::string& path, std::atomic<bool>* cancel);
int64_t size(const std::string& path, std::atomic<bool>* cancel);

// The same result as measure(), walked by the calling thread alone. The
// reference the parallel walk is checked against.
Measure measure_serial(const std::string& path, std::atomic<bool>* cancel);

// The entries of one catalog row, in the order the directory gives them.
// Nothing is sorted, measured or marked here.
std::vector<ScannedInfo> list(const CategoryDef& def, std::atomic<bool>* cancel);

// What one walk of a projects folder found for several project rows.
struct ProjectFinds {
    // Per row given, in the same order: its folders, in the order met.
    std::vector<std::vector<ScannedInfo>> found;
    // Display paths of the files the caller asked to have noted on the way.
    std::vector<std::string> files;
};

// Walks the projects folder once for all the rows given (Recursive rows; rows
// naming another folder get a walk of their own) and notes, on the way, every
// regular file whose name want_file accepts (null: none). Each row's list is
// what list() gives for it alone.
ProjectFinds find_in_projects(const std::vector<CategoryDef>& rows,
                              bool (*want_file)(const char*), std::atomic<bool>* cancel);

// The same calls with a deadline: the work runs on a detached thread and the
// caller gets the fallback ({0, 0}, or an empty list) once `seconds` have
// passed. An abandoned call stops at its next check of the cancel flag, or
// sooner, since nobody will read its result.
Measure measure_guarded(const std::string& path, double seconds, std::atomic<bool>* cancel);
int64_t size_guarded(const std::string& path, double seconds, std::atomic<bool>* cancel);
std::vector<ScannedInfo> list_guarded(const CategoryDef& def, double seconds,
                                      std::atomic<bool>* cancel);
ProjectFinds find_in_projects_guarded(const std::vector<CategoryDef>& rows,
                                      bool (*want_file)(const char*), double seconds,
                                      std::atomic<bool>* cancel);

// Walking threads the whole process runs at most, measurements and their
// helpers together.
constexpr int MAX_WALKERS = 6;

} // namespace scanner

// Counters for the tests; the program never reads them.
namespace scanner_testing {

// Deadline-guard state blocks alive now (caller's and worker's share counted once).
int live_guard_states();
// Starts (or stops) recording every folder the project search opens, and
// forgets what was recorded; the walk is not slowed while it is off.
void record_project_walk(bool on);
// The scan paths the project search opened since recording started.
std::vector<std::string> project_walk_opened();
// Walking threads alive now, and the most that were alive at once.
int live_walkers();
int peak_walkers();
void reset_peak_walkers();

} // namespace scanner_testing
