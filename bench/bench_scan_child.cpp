// The child processes, du and the kernel's caches for the scan benchmark; see
// bench_scan.h.

#include "bench_scan.h"

#include "app.h"
#include "catalog.h"
#include "scanner.h"
#include "sharing.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace bench {

double seconds_since(Clock::time_point t) {
    return std::chrono::duration<double>(Clock::now() - t).count();
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

void point_home_at(const std::string& root) {
    const std::string home = root + "/home";
    setenv("HOME", home.c_str(), 1);
    setenv("XDG_CONFIG_HOME", (home + "/.config").c_str(), 1);
    setenv("XDG_CACHE_HOME", (home + "/.cache").c_str(), 1);
    setenv("XDG_DATA_HOME", (home + "/.local/share").c_str(), 1);
    unsetenv("ANDROID_HOME");
    unsetenv("ANDROID_SDK_ROOT");
    unsetenv("SNAP_REAL_HOME");
    // The machine's own toolchains (a PYENV_ROOT, say) are not the fixture's.
    for (const char* name : catalog::tool_variables())
        unsetenv(name);
}

namespace {

// The highest resident size of this process since it was started (VmHWM).
// The child reads it itself: the wait4 figure would be wrong, because the
// kernel carries a process's peak across exec, so a child forked from a
// parent that just built a big fixture would report the parent's size.
long own_peak_kib() {
    std::ifstream f("/proc/self/status");
    std::string line;
    while (std::getline(f, line))
        if (line.rfind("VmHWM:", 0) == 0)
            return std::atol(line.c_str() + 6);
    return -1;
}

} // namespace

// The body of the scanning process: one full scan of the home the
// environment points at, every measured entry written to `out`, the scan's
// time and what it recorded of files with several links on the first line.
int scan_only(const std::string& out, bool weigh) {
    const auto start = Clock::now();
    App app;
    app.m_weigh_projects = weigh;
    app.start_scan();
    while (app.m_scanning) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        app.on_poll();
    }
    const double took = seconds_since(start);
    const long peak = own_peak_kib();
    // The records of files with several links the scan keeps, and what the
    // totals come to with each such file counted once.
    long long records = 0, record_bytes = 0, sizes = 0;
    for (const CatState& c : app.m_cats)
        for (const Item& it : c.items) {
            records += static_cast<long long>(it.shared.size());
            record_bytes +=
                static_cast<long long>(it.shared.capacity() * sizeof(sharing::SharedFile));
            sizes += it.size > 0 ? it.size : 0;
        }
    std::ofstream f(out);
    f << took << " " << records << " " << record_bytes << " " << sizes << " "
      << app.total_reclaimable() << " " << peak << "\n";
    for (const CatState& c : app.m_cats)
        for (const Item& it : c.items)
            f << it.size << "\t" << it.path << "\n";
    f.close();
    return f ? 0 : 1;
}

// A fresh process and not a fork of this one, so that its peak memory does
// not count what building the fixture left behind here.
bool scan_in_child(const std::string& out, double& secs, long& peak_kib, bool weigh,
                   Records* records) {
    const pid_t pid = fork();
    if (pid < 0)
        return false;
    if (pid == 0) {
        execl("/proc/self/exe", "bench_scan", weigh ? "--scan-only" : "--scan-unweighed",
              out.c_str(), nullptr);
        _exit(127);
    }
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return false;
    std::ifstream f(out);
    f >> secs;
    Records r;
    f >> r.count >> r.bytes >> r.sizes >> r.counted_once >> peak_kib;
    if (!f || peak_kib <= 0)
        return false;
    if (records)
        *records = r;
    return true;
}

std::vector<Found> read_found(const std::string& file) {
    std::vector<Found> v;
    std::ifstream f(file);
    std::string line;
    std::getline(f, line); // the time and the records
    while (std::getline(f, line)) {
        const std::size_t tab = line.find('\t');
        if (tab == std::string::npos)
            continue;
        v.push_back({line.substr(tab + 1), std::stoll(line.substr(0, tab))});
    }
    return v;
}

double run_du(const std::vector<std::string>& args, std::string* out) {
    int pipefd[2];
    if (pipe(pipefd) != 0)
        return -1;
    const auto start = Clock::now();
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(pipefd[1], 1);
        close(pipefd[0]);
        close(pipefd[1]);
        std::vector<char*> argv;
        static std::string du = "du";
        argv.push_back(du.data());
        for (const std::string& a : args)
            argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execvp("du", argv.data());
        _exit(127);
    }
    close(pipefd[1]);
    std::string text;
    char buf[65536];
    ssize_t n;
    while ((n = read(pipefd[0], buf, sizeof buf)) > 0)
        text.append(buf, static_cast<std::size_t>(n));
    close(pipefd[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    const double took = seconds_since(start);
    if (out)
        *out = text;
    return took;
}

int idle_only(const std::string& out) {
    App app;
    // One poll, as the program's main loop would run before anything is asked.
    app.on_poll();
    if (app.m_scanning)
        return 1;
    std::ofstream f(out);
    f << own_peak_kib() << "\n";
    f.close();
    return f ? 0 : 1;
}

bool idle_in_child(const std::string& out, long& peak_kib) {
    const pid_t pid = fork();
    if (pid < 0)
        return false;
    if (pid == 0) {
        execl("/proc/self/exe", "bench_scan", "--idle-only", out.c_str(), nullptr);
        _exit(127);
    }
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return false;
    std::ifstream f(out);
    f >> peak_kib;
    return f && peak_kib > 0;
}

bool drop_caches(std::string& why) {
    sync();
    const int fd = open("/proc/sys/vm/drop_caches", O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        why = std::string("cannot open /proc/sys/vm/drop_caches: ") + std::strerror(errno);
        return false;
    }
    const bool ok = write(fd, "3", 1) == 1;
    if (!ok)
        why = std::string("cannot write /proc/sys/vm/drop_caches: ") + std::strerror(errno);
    close(fd);
    return ok;
}

} // namespace bench
