// The scan benchmark over several scales in one run: how the full scan's time
// and peak memory grow from the first scale to the others, against du on the
// same folders, warm and with the kernel's caches dropped.
//
// Every file of these homes is a hole (fixture_home::Data::holes): ten
// million entries with their bytes would not fit on the disk, and the two
// scales must have the same kind of tree to be compared. The homes are built
// one at a time and each is removed before the next is built (unless --keep),
// so the disk never holds more than one; what each took of the disk is
// printed. Nothing outside the temporary folders made here is written or
// removed.

#include "bench_scan.h"
#include "fixture_home.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unordered_map>
#include <vector>

namespace bench {
namespace {

struct Figures {
    double scale = 0;
    bool ok = false;
    int64_t entries = 0;
    double build_s = 0;
    double disk_gib = 0;     // what the home took of its file system
    double inodes_m = 0;     // millions of inodes it took
    std::size_t folders = 0; // measured folders
    double scan_s = 0;       // medians of the warm runs
    double du_s = 0;
    long peak_kib = 0; // highest of the scans
    long idle_kib = 0; // highest of the idle programs
    bool cold = false; // the cold figures were measured
    double cold_scan_s = 0;
    double cold_du_s = 0;
    int agree = 0;        // folders whose total agrees with du's
    long long blocks = 0; // the scan's total in 512-byte blocks
    long long du_blocks = 0;
    std::vector<std::string> differ;
};

double mib(long kib) {
    return kib / 1024.0;
}

bool free_space(const std::string& dir, double& bytes, double& inodes) {
    struct statvfs s {};
    if (statvfs(dir.c_str(), &s) != 0)
        return false;
    bytes = static_cast<double>(s.f_bavail) * s.f_frsize;
    inodes = static_cast<double>(s.f_favail);
    return true;
}

// A line of /proc/meminfo, in KiB; 0 when it cannot be read.
long meminfo_kib(const char* key) {
    std::FILE* f = std::fopen("/proc/meminfo", "r");
    if (!f)
        return 0;
    char line[256];
    long kib = 0;
    const std::size_t n = std::strlen(key);
    while (std::fgets(line, sizeof line, f))
        if (std::strncmp(line, key, n) == 0) {
            kib = std::atol(line + n);
            break;
        }
    std::fclose(f);
    return kib;
}

double available_gib() {
    return meminfo_kib("MemAvailable:") / (1024.0 * 1024);
}

long long total_blocks(const std::vector<Found>& found) {
    long long b = 0;
    for (const Found& f : found)
        b += f.bytes / 512;
    return b;
}

// Builds, measures and (unless keep) removes the home at one scale.
Figures measure(double scale, int runs, bool keep, std::string& cold_why) {
    Figures fig;
    fig.scale = scale;
    const char* t = std::getenv("TMPDIR");
    std::string dir = std::string(t && t[0] == '/' ? t : "/tmp") + "/quillet-scales-XXXXXX";
    if (!mkdtemp(dir.data())) {
        std::perror("mkdtemp");
        return fig;
    }
    const std::string home = dir + "/home";
    mkdir(home.c_str(), 0755);
    double free_before = 0, inodes_before = 0, free_after = 0, inodes_after = 0;
    free_space(dir, free_before, inodes_before);
    // The homes built before this one are kept (--keep) or were removed; either
    // way their metadata leaves the kernel's caches first, so that the warm runs
    // of a large scale are not read from the disk again for want of memory the
    // smaller homes still held. Whether this scale's own metadata fitted is
    // printed after its warm runs.
    std::string why;
    if (!drop_caches(why))
        std::printf("scale %g: caches not dropped before building (%s)\n", scale, why.c_str());
    std::printf("scale %g: building the home (files as holes) in %s, %.1f GiB of memory "
                "available ...\n",
                scale, home.c_str(), available_gib());
    std::fflush(stdout);
    auto t0 = Clock::now();
    const fixture_home::Result built = fixture_home::build(home, scale, fixture_home::Data::holes);
    fig.build_s = seconds_since(t0);
    free_space(dir, free_after, inodes_after);
    fig.disk_gib = (free_before - free_after) / (1024.0 * 1024 * 1024);
    fig.inodes_m = (inodes_before - inodes_after) / 1e6;
    fig.entries = built.entries;
    if (!built.ok) {
        std::fprintf(stderr, "fixture: %s\n", built.error.c_str());
    } else {
        std::printf("  %lld entries in %.1f s, %.2f GiB and %.2f million inodes of the disk\n",
                    static_cast<long long>(built.entries), fig.build_s, fig.disk_gib, fig.inodes_m);
        std::fflush(stdout);
        point_home_at(dir);
        fig.ok = true;
    }

    const std::string out = dir + "/scan.txt";
    double secs = 0;
    long peak = 0;
    std::vector<Found> found;
    std::vector<std::string> du_args = {"-s", "-B512"};
    if (fig.ok) {
        // One scan to learn the measured folders and to warm the caches.
        fig.ok = scan_in_child(out, secs, peak);
        found = read_found(out);
        for (const Found& f : found)
            du_args.push_back(f.path);
        fig.folders = found.size();
        run_du(du_args, nullptr);
    }
    std::vector<double> scan_t, du_t;
    for (int r = 0; fig.ok && r < runs; ++r) {
        du_t.push_back(run_du(du_args, nullptr));
        fig.ok = scan_in_child(out, secs, peak);
        scan_t.push_back(secs);
        fig.peak_kib = std::max(fig.peak_kib, peak);
        long idle = 0;
        fig.ok = fig.ok && idle_in_child(dir + "/idle.txt", idle);
        fig.idle_kib = std::max(fig.idle_kib, idle);
        std::printf("  run %d: scan %.3f s, du -s %.3f s, peak %.1f MiB, idle %.1f MiB\n", r + 1,
                    secs, du_t.back(), mib(peak), mib(idle));
        std::fflush(stdout);
    }
    if (fig.ok)
        std::printf("  after the warm runs: %.1f GiB of memory available; inodes and "
                    "dentries %.1f GiB, page cache %.1f GiB\n",
                    available_gib(), meminfo_kib("SReclaimable:") / (1024.0 * 1024),
                    meminfo_kib("Cached:") / (1024.0 * 1024));
    std::fflush(stdout);
    fig.scan_s = median(scan_t);
    fig.du_s = median(du_t);
    if (fig.ok)
        found = read_found(out);

    // Cold: the scan and du each start from dropped caches.
    const std::string out_cold = dir + "/scan-cold.txt";
    if (fig.ok && drop_caches(cold_why)) {
        fig.ok = scan_in_child(out_cold, fig.cold_scan_s, peak);
        fig.peak_kib = std::max(fig.peak_kib, peak);
        fig.cold = fig.ok && drop_caches(cold_why);
        if (fig.cold)
            fig.cold_du_s = run_du(du_args, nullptr);
        const std::vector<Found> cold = read_found(out_cold);
        if (fig.ok && total_blocks(cold) != total_blocks(found)) {
            fig.differ.push_back("the cold scan's total differs from the warm scan's");
            // Which folders, so that an entry given up at its deadline (left
            // unmeasured, 0 here) is told from a wrong total.
            std::unordered_map<std::string, int64_t> cold_bytes;
            for (const Found& c : cold)
                cold_bytes[c.path] = c.bytes;
            for (const Found& w : found) {
                const auto c = cold_bytes.find(w.path);
                if (c == cold_bytes.end())
                    fig.differ.push_back("  not in the cold scan: " + w.path);
                else if (c->second != w.bytes)
                    fig.differ.push_back("  cold " + std::to_string(c->second) + ", warm " +
                                         std::to_string(w.bytes) + ": " + w.path);
            }
        }
        std::printf("  cold: scan %.3f s, du -s %.3f s\n", fig.cold_scan_s, fig.cold_du_s);
        std::fflush(stdout);
    }

    // Totals per folder, du asked for each on its own so that hard links are
    // counted per folder as the scan does.
    for (const Found& f : found) {
        std::string text;
        run_du({"-s", "-B512", f.path}, &text);
        const long long du_blocks = std::atoll(text.c_str());
        fig.blocks += f.bytes / 512;
        fig.du_blocks += du_blocks;
        if (du_blocks * 512 == f.bytes)
            ++fig.agree;
        else
            fig.differ.push_back(f.path + ": scan " + std::to_string(f.bytes / 512) + ", du " +
                                 std::to_string(du_blocks));
    }

    fixture_home::unlock(home);
    if (keep) {
        std::printf("  kept: %s\n", dir.c_str());
    } else {
        t0 = Clock::now();
        std::error_code ec;
        std::filesystem::remove_all(dir, ec);
        std::printf("  removed in %.1f s%s\n", seconds_since(t0), ec ? " (with errors)" : "");
    }
    std::fflush(stdout);
    return fig;
}

} // namespace

int run_scales(const std::vector<double>& scales, int runs, bool keep) {
    std::vector<Figures> all;
    std::string cold_why;
    for (double s : scales)
        all.push_back(measure(s, runs, keep, cold_why));

    std::printf("\nwarm: medians of %d runs; peak: highest resident size of the scanning process"
                " (idle: the program built the same way, not scanning)\n\n",
                runs);
    std::printf("%6s %10s %7s %9s %10s %9s %9s %9s %9s %7s %10s %10s %8s\n", "scale", "entries",
                "folders", "scan s", "entries/s", "peak MiB", "idle MiB", "above MiB", "du -s s",
                "scan/du", "cold scan", "cold du", "scan/du");
    for (const Figures& f : all) {
        std::printf("%6g %10lld %7zu %9.3f %10.0f %9.1f %9.1f %9.1f %9.3f %7.2f", f.scale,
                    static_cast<long long>(f.entries), f.folders, f.scan_s,
                    f.scan_s > 0 ? f.entries / f.scan_s : 0.0, mib(f.peak_kib), mib(f.idle_kib),
                    mib(f.peak_kib - f.idle_kib), f.du_s, f.du_s > 0 ? f.scan_s / f.du_s : 0.0);
        if (f.cold)
            std::printf(" %9.3fs %9.3fs %8.2f\n", f.cold_scan_s, f.cold_du_s,
                        f.cold_scan_s / f.cold_du_s);
        else
            std::printf(" %10s %10s %8s\n", "n/a", "n/a", "n/a");
    }
    if (!all.empty() && !all.front().cold)
        std::printf("\ncold figures not available: %s\n", cold_why.c_str());

    bool ok = true;
    const Figures& base = all.front();
    for (std::size_t i = 1; i < all.size(); ++i) {
        const Figures& f = all[i];
        if (!base.ok || !f.ok || base.entries == 0 || base.scan_s <= 0)
            continue;
        const double entries_x = static_cast<double>(f.entries) / base.entries;
        const double time_x = f.scan_s / base.scan_s;
        std::printf("\nscale %g against scale %g\n", f.scale, base.scale);
        std::printf("  entries                  x%.2f\n", entries_x);
        std::printf("  warm scan time           x%.2f (linear: x%.2f; time / entries %.2f)\n",
                    time_x, entries_x, time_x / entries_x);
        std::printf("  warm du -s time          x%.2f\n", f.du_s / base.du_s);
        if (f.cold && base.cold)
            std::printf("  cold scan time           x%.2f, cold du -s time x%.2f\n",
                        f.cold_scan_s / base.cold_scan_s, f.cold_du_s / base.cold_du_s);
        std::printf("  peak memory              %.1f MiB against %.1f MiB (x%.2f, %+.1f MiB)\n",
                    mib(f.peak_kib), mib(base.peak_kib),
                    static_cast<double>(f.peak_kib) / base.peak_kib,
                    mib(f.peak_kib - base.peak_kib));
    }
    std::printf("\n");
    for (const Figures& f : all) {
        const double above = mib(f.peak_kib - f.idle_kib);
        std::printf("scale %g: peak %.1f MiB above the idle program (goal: under 64): %s\n",
                    f.scale, above, above < 64 ? "met" : "NOT met");
        std::printf("scale %g: totals (512-byte blocks) scan %lld, du %lld; %d of %zu folders "
                    "agree with du\n",
                    f.scale, f.blocks, f.du_blocks, f.agree, f.folders);
        for (const std::string& d : f.differ)
            std::printf("  differs: %s\n", d.c_str());
        ok = ok && f.ok && f.differ.empty();
        if (!f.ok)
            std::printf("scale %g: the run failed\n", f.scale);
    }
    return ok ? 0 : 1;
}

} // namespace bench
