// The scan benchmark: builds a synthetic developer home (or uses one built
// before), runs the program's real scan on it without a window, and in the
// same run times `du -s -B512`, a single-threaded walk over the same folders,
// and the same scan without weighing the project folders (git, project files,
// markers). Prints entries per second, the scan's time as a ratio of du's and
// of the scan without weighing, the scanning process's peak memory, the
// records kept of files with several links (how many, how many bytes) and the
// total with each such file counted once, and the totals of every measured
// folder next to du's.
//
//   bench_scan [--scale S] [--runs N] [--dir FOLDER] [--keep]
//   bench_scan --scales S1,S2,... [--runs N] [--keep]
//
// The second form builds a home at each scale in turn, every file a hole, and
// prints how time and memory grow from the first scale to the others, warm and
// with the kernel's caches dropped (bench_scan_scales.cpp).
//
// Without --dir the home is built in a new temporary folder and removed at the
// end (unless --keep). With --dir an existing fixture home there is reused.
// Nothing outside that folder is written or removed.

#include "bench_scan.h"
#include "fixture_home.h"
#include "heap_limits.h"
#include "scanner.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace bench;

int main(int argc, char** argv) {
    // The scanning and idle children measure the program as it runs.
    heap_limits::apply();
    double scale = 1.0;
    int runs = 3;
    std::string dir;
    bool keep = false;
    std::vector<double> scales;
    if (argc == 3 && std::strcmp(argv[1], "--scan-only") == 0)
        return scan_only(argv[2], true);
    if (argc == 3 && std::strcmp(argv[1], "--scan-unweighed") == 0)
        return scan_only(argv[2], false);
    if (argc == 3 && std::strcmp(argv[1], "--idle-only") == 0)
        return idle_only(argv[2]);
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--scale" && i + 1 < argc)
            scale = std::atof(argv[++i]);
        else if (a == "--runs" && i + 1 < argc)
            runs = std::max(1, std::atoi(argv[++i]));
        else if (a == "--dir" && i + 1 < argc)
            dir = argv[++i];
        else if (a == "--keep")
            keep = true;
        else if (a == "--scales" && i + 1 < argc) {
            std::string list = argv[++i];
            for (std::size_t at = 0; at <= list.size();) {
                const std::size_t comma = std::min(list.find(',', at), list.size());
                scales.push_back(std::atof(list.substr(at, comma - at).c_str()));
                at = comma + 1;
            }
        } else {
            std::fprintf(stderr,
                         "usage: bench_scan [--scale S] [--runs N] [--dir FOLDER] [--keep]\n"
                         "       bench_scan --scales S1,S2,... [--runs N] [--keep]\n");
            return 2;
        }
    }
    if (!scales.empty()) {
        for (double s : scales)
            if (!(s > 0)) {
                std::fprintf(stderr, "bench_scan: every scale must be a positive number\n");
                return 2;
            }
        return run_scales(scales, runs, keep);
    }

    bool made = false;
    int64_t entries = 0;
    if (dir.empty()) {
        const char* t = std::getenv("TMPDIR");
        std::string tmpl = std::string(t && t[0] == '/' ? t : "/tmp") + "/quillet-bench-XXXXXX";
        if (!mkdtemp(tmpl.data())) {
            std::perror("mkdtemp");
            return 1;
        }
        dir = tmpl;
        made = true;
    }
    const std::string home = dir + "/home";
    const std::string count_file = dir + "/entries.txt";
    if (made || access(home.c_str(), F_OK) != 0) {
        mkdir(home.c_str(), 0755);
        std::printf("building the fixture home at scale %.3g in %s ...\n", scale, home.c_str());
        std::fflush(stdout);
        const auto t0 = Clock::now();
        const fixture_home::Result r = fixture_home::build(home, scale);
        if (!r.ok) {
            std::fprintf(stderr, "fixture: %s\n", r.error.c_str());
            return 1;
        }
        entries = r.entries;
        std::ofstream(count_file) << entries << "\n";
        std::printf("  %lld entries in %.1f s\n", static_cast<long long>(entries),
                    seconds_since(t0));
    } else {
        std::ifstream(count_file) >> entries;
        std::printf("reusing the fixture home in %s (%lld entries)\n", home.c_str(),
                    static_cast<long long>(entries));
    }
    point_home_at(dir);

    // One scan to learn the measured folders and to warm the caches.
    const std::string out = dir + "/scan.txt";
    double secs = 0;
    long peak = 0;
    Records records;
    if (!scan_in_child(out, secs, peak, true, &records)) {
        std::fprintf(stderr, "the scan failed\n");
        return 1;
    }
    const std::vector<Found> found = read_found(out);
    std::vector<std::string> du_args = {"-s", "-B512"};
    for (const Found& f : found)
        du_args.push_back(f.path);
    run_du(du_args, nullptr);

    std::vector<double> scan_t, du_t, serial_t, unweighed_t;
    long peak_max = peak;
    long unweighed_peak_max = 0;
    const std::string out_unweighed = dir + "/scan-unweighed.txt";
    for (int r = 0; r < runs; ++r) {
        du_t.push_back(run_du(du_args, nullptr));
        // With and without weighing in turn, so that both meet the same
        // state of the caches and of the machine.
        if (!scan_in_child(out, secs, peak))
            return 1;
        scan_t.push_back(secs);
        peak_max = std::max(peak_max, peak);
        long unweighed_peak = 0;
        if (!scan_in_child(out_unweighed, secs, unweighed_peak, false))
            return 1;
        unweighed_t.push_back(secs);
        unweighed_peak_max = std::max(unweighed_peak_max, unweighed_peak);
        const auto t0 = Clock::now();
        for (const Found& f : found)
            scanner::measure_serial(f.path, nullptr);
        serial_t.push_back(seconds_since(t0));
    }

    // Totals per folder, du asked for each on its own so that hard links are
    // counted per folder as the scan does.
    int agree = 0;
    int64_t ours = 0;
    int64_t theirs = 0;
    std::vector<std::string> differ;
    for (const Found& f : found) {
        std::string text;
        run_du({"-s", "-B512", f.path}, &text);
        const int64_t du_blocks = std::atoll(text.c_str());
        ours += f.bytes / 512;
        theirs += du_blocks;
        if (du_blocks * 512 == f.bytes)
            ++agree;
        else
            differ.push_back(f.path + ": scan " + std::to_string(f.bytes / 512) + ", du " +
                             std::to_string(du_blocks));
    }

    const double scan_m = median(scan_t);
    const double du_m = median(du_t);
    const double serial_m = median(serial_t);
    const double unweighed_m = median(unweighed_t);
    std::printf("\nfolders measured         %zu\n", found.size());
    std::printf("entries in the home      %lld\n", static_cast<long long>(entries));
    std::printf("full scan (median of %d) %.3f s   du -s %.3f s   single-threaded walk %.3f s\n",
                runs, scan_m, du_m, serial_m);
    std::printf("scan / du                %.2f\n", scan_m / du_m);
    std::printf("scan without weighing    %.3f s (median of %d)\n", unweighed_m, runs);
    std::printf("weighed / unweighed      %.3f\n", scan_m / unweighed_m);
    std::printf("single-threaded / du     %.2f\n", serial_m / du_m);
    std::printf("entries per second       %.0f\n", entries / scan_m);
    std::printf("peak memory of the scan  %.1f MiB (without weighing %.1f MiB)\n",
                peak_max / 1024.0, unweighed_peak_max / 1024.0);
    std::printf("files with several links %lld recorded, %lld bytes of records (%.1f per file)\n",
                records.count, records.bytes,
                records.count > 0 ? static_cast<double>(records.bytes) / records.count : 0.0);
    std::printf("found in total           %lld bytes, each file once %lld\n", records.sizes,
                records.counted_once);
    std::printf("totals (512-byte blocks) scan %lld, du %lld\n", static_cast<long long>(ours),
                static_cast<long long>(theirs));
    std::printf("folders agreeing with du %d of %zu\n", agree, found.size());
    for (const std::string& d : differ)
        std::printf("  differs: %s\n", d.c_str());

    fixture_home::unlock(home);
    if (made && !keep) {
        std::error_code ec;
        std::filesystem::remove_all(dir, ec);
    } else {
        std::printf("kept: %s (reuse with --dir)\n", dir.c_str());
    }
    return differ.empty() ? 0 : 1;
}
