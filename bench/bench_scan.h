// The pieces of the scan benchmark that its one-scale run (bench_scan.cpp)
// and its run over several scales (bench_scan_scales.cpp) share: the scanning
// and idle child processes, du, and dropping the kernel's caches.
//
// Runs in the benchmark's main thread only. Writes nothing but the output
// files it is given; removes nothing.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point t);
double median(std::vector<double> v);

// Points HOME and the XDG folders into `root`/home and clears the variables
// that would lead the catalog to the machine's own toolchains.
void point_home_at(const std::string& root);

struct Found {
    std::string path;
    int64_t bytes = 0;
};

// What the scan kept of files with several links, read from its first line.
struct Records {
    long long count = 0;
    long long bytes = 0;
    long long sizes = 0;        // the entries' sizes added up
    long long counted_once = 0; // the total the overview shows
};

// The bodies of the child processes: one full scan of the home the
// environment points at, written to `out`; and the program built the same
// way that does not scan, for the memory it takes before any scan.
int scan_only(const std::string& out, bool weigh);
int idle_only(const std::string& out);

// Runs one full scan in a fresh process (this program again), so that its
// peak memory (KiB, the highest resident size the child saw of itself) is the
// scan's alone.
bool scan_in_child(const std::string& out, double& secs, long& peak_kib, bool weigh = true,
                   Records* records = nullptr);
// The peak memory of a fresh process that builds the App and does not scan.
bool idle_in_child(const std::string& out, long& peak_kib);

std::vector<Found> read_found(const std::string& file);

// Runs du with the arguments; returns its wall time and, with `out`, its output.
double run_du(const std::vector<std::string>& args, std::string* out);

// Writes back dirty pages and drops the page, dentry and inode caches, so
// that the next walk reads the disk. False (and `why`) when that is not
// allowed here; a cold figure must then not be printed.
bool drop_caches(std::string& why);

// Builds a fixture home at each scale in turn (one at a time, each removed
// before the next is built unless `keep`), with every file a hole, measures
// it and prints the table comparing the scales.
int run_scales(const std::vector<double>& scales, int runs, bool keep);

} // namespace bench
