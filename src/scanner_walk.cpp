// Size measurement: the walk below a folder, shared among walking threads.
//
// The walk holds directory descriptors and names every entry relative to the
// open directory (fstatat without following links, openat with O_NOFOLLOW), so
// no path is ever rebuilt and re-resolved, and a tree deeper than PATH_MAX is
// measured like any other. Each directory is read whole (getdents64) before
// the walk goes deeper, so a frame on the stack is a descriptor plus the names
// of the subfolders still to visit. At most MAX_OPEN descriptors are kept per
// thread: beyond that the shallowest open frame closes its descriptor, and the
// walk reopens it later as ".." of its child, checking that it is still the
// same directory (device and inode); when it is not, that frame's remaining
// subfolders are left out and the result is a lower bound, as it is for any
// folder that cannot be read.
//
// Sharing: a measurement that turns out to be big recruits helper threads
// while the process-wide budget of MAX_WALKERS walking threads has room, and
// hands them subfolders it has not visited yet. Each thread notes every file
// with several links it meets in a list of its own (no lock, no hash set); the
// lists are joined, sorted and folded when the measurement ends, so a file
// linked several times inside the measured folder counts once however the
// work was split, and the measurement knows how many of its links it held.
// A helper gives its slot back as soon as a new measurement waits for one,
// returning its unvisited subfolders to the measurement, so one huge folder
// never delays the next entry.
//
// Sections: budget · shared state · one thread's walk · measure.

#include "scanner.h"

#include "paths.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstring>
#include <deque>
#include <dirent.h>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace scanner_internal {
int open_dir_at(int at, const char* name, bool follow);
} // namespace scanner_internal

namespace {

using scanner_internal::open_dir_at;

// Descriptors one walking thread keeps open at most.
constexpr std::size_t MAX_OPEN = 64;
// A thread looks for helpers after this many folders of its own, so that
// small entries (most of them) never start a thread.
constexpr unsigned RECRUIT_EVERY = 24;
constexpr std::size_t DENTS_BUFFER = 32 * 1024;

// ---------------------------------------------------------------------------
// Budget: how many threads walk at once, process-wide
// ---------------------------------------------------------------------------

class Budget {
public:
    // Waits for a slot; gives up (false) when stop() turns true.
    template <class Stop> bool acquire(const Stop& stop) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_waiting.fetch_add(1);
        while (m_used >= scanner::MAX_WALKERS) {
            if (stop()) {
                m_waiting.fetch_sub(1);
                return false;
            }
            m_cv.wait_for(lock, std::chrono::milliseconds(20));
        }
        m_waiting.fetch_sub(1);
        take();
        return true;
    }
    // Helpers only take a slot that nobody is waiting for.
    bool try_acquire() {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_used >= scanner::MAX_WALKERS || m_waiting.load() > 0)
            return false;
        take();
        return true;
    }
    void release() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            --m_used;
        }
        m_cv.notify_all();
    }
    // A measurement is waiting for a slot: helpers should make room.
    bool wanted() const { return m_waiting.load(std::memory_order_relaxed) > 0; }

    int used() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_used;
    }
    int peak() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_peak;
    }
    void reset_peak() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_peak = m_used;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cv;
    int m_used = 0;
    int m_peak = 0;
    std::atomic<int> m_waiting{0};

    void take() {
        ++m_used;
        m_peak = std::max(m_peak, m_used);
    }
};

Budget& budget() {
    // Never destroyed: a measurement given up at its deadline goes on walking
    // on a thread nobody waits for, and it may still give back its slot while
    // the process exits and runs the destructors of its statics.
    static Budget* const b = new Budget;
    return *b;
}

// ---------------------------------------------------------------------------
// Shared state of one measurement
// ---------------------------------------------------------------------------

struct StopFlags {
    const std::atomic<bool>* cancel = nullptr;
    const std::atomic<bool>* abandoned = nullptr;
    bool operator()() const {
        return (cancel && cancel->load(std::memory_order_relaxed)) ||
               (abandoned && abandoned->load(std::memory_order_relaxed));
    }
};

// A file with several links whose block count a record cannot hold.
struct Huge {
    uint64_t dev = 0;
    uint64_t ino = 0;
    int64_t blocks = 0;
    bool operator<(const Huge& o) const { return dev != o.dev ? dev < o.dev : ino < o.ino; }
    bool operator==(const Huge& o) const { return dev == o.dev && ino == o.ino; }
};

// One directory on a walk's stack.
struct Frame {
    int fd = -1; // -1 while closed to save descriptors
    bool listed = false;
    std::vector<std::string> subdirs; // to visit, in reading order
    std::size_t next = 0;
    dev_t dev = 0; // recorded when the descriptor is given up, to recognise it again
    ino_t ino = 0;

    std::size_t remaining() const { return subdirs.size() - next; }
};

struct Shared {
    StopFlags stop;
    bool share = true;

    std::mutex m;
    std::condition_variable cv;
    std::deque<Frame> queue; // work anyone of this measurement may take
    int outstanding = 1;     // jobs queued or being walked; the owner's own first
    bool done = false;
    int hungry = 0; // threads of this measurement waiting for work (under m)
    std::atomic<int> hungry_hint{0};
    std::vector<std::thread> helpers;
    int64_t bytes = 0;
    time_t newest = 0;
    bool git = false;
    // Every sighting of a file with several links, from all threads (under m).
    std::vector<sharing::SharedFile> links;
    // Those too big for a record's block count, with their exact size.
    std::vector<Huge> huge;
};

// ---------------------------------------------------------------------------
// One thread's walk
// ---------------------------------------------------------------------------

class Walker {
public:
    explicit Walker(Shared& sh) : m_sh(sh), m_buf(DENTS_BUFFER) {}

    // Takes work from the measurement until all of it is done, or, for a
    // helper, until a new measurement needs the slot.
    void serve(bool helper);

    // Walks one job to its end (or until stopped or retired). Takes the frame's descriptor.
    // Returns false when the walk was handed back unfinished.
    bool walk(Frame job, bool helper);

    int64_t bytes = 0; // not counting files with several links
    time_t newest = 0;
    bool git = false;
    std::vector<sharing::SharedFile> links;
    std::vector<Huge> huge;

private:
    Shared& m_sh;
    std::vector<char> m_buf;
    std::vector<Frame> m_stack;
    std::size_t m_open = 0;
    unsigned m_dirs = 0;

    void read_dir(Frame& f);
    void give_up_shallowest();
    void leave();
    void share_with_hungry();
    void recruit();
    bool retire();
    void close_all();
    std::size_t pending() const {
        std::size_t n = 0;
        for (const Frame& f : m_stack)
            n += f.remaining();
        return n;
    }
};

void helper_main(Shared* sh) {
    Walker w(*sh);
    w.serve(true);
    budget().release();
}

// Reads the whole directory, counts every entry and notes its subfolders.
void Walker::read_dir(Frame& f) {
    f.listed = true;
    for (;;) {
        const ssize_t n = getdents64(f.fd, m_buf.data(), m_buf.size());
        if (n <= 0)
            return;
        for (ssize_t pos = 0; pos < n;) {
            const auto* d = reinterpret_cast<const struct dirent64*>(m_buf.data() + pos);
            pos += d->d_reclen;
            if (m_sh.stop())
                return;
            const char* name = d->d_name;
            if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
                continue;
            if (name[0] == '.' && std::strcmp(name, ".git") == 0)
                git = true;
            struct stat st {};
            if (fstatat(f.fd, name, &st, AT_SYMLINK_NOFOLLOW) != 0 || S_ISLNK(st.st_mode))
                continue;
            newest = std::max(newest, static_cast<time_t>(st.st_mtime));
            const int64_t size = static_cast<int64_t>(st.st_blocks) * 512;
            if (S_ISDIR(st.st_mode)) {
                bytes += size;
                f.subdirs.emplace_back(name);
            } else if (st.st_nlink < 2) {
                bytes += size;
            } else {
                // Counted once, when the measurement's lists are folded.
                links.push_back(
                    sharing::record(st.st_dev, st.st_ino, st.st_blocks, st.st_nlink, 1));
                if (st.st_blocks >= static_cast<blkcnt_t>(sharing::MAX_BLOCKS))
                    huge.push_back({static_cast<uint64_t>(st.st_dev),
                                    static_cast<uint64_t>(st.st_ino),
                                    static_cast<int64_t>(st.st_blocks)});
            }
        }
    }
}

// Keeps the number of open descriptors bounded on very deep trees.
void Walker::give_up_shallowest() {
    for (std::size_t i = 0; i + 1 < m_stack.size(); ++i) {
        Frame& f = m_stack[i];
        if (f.fd < 0)
            continue;
        struct stat st {};
        if (fstat(f.fd, &st) == 0) {
            f.dev = st.st_dev;
            f.ino = st.st_ino;
        } else {
            f.next = f.subdirs.size(); // cannot be recognised again: leave the rest
        }
        close(f.fd);
        f.fd = -1;
        --m_open;
        return;
    }
}

// Pops the finished top frame, reopening its parent through ".." if the
// parent had to give up its descriptor and still has subfolders to visit.
void Walker::leave() {
    Frame child = std::move(m_stack.back());
    m_stack.pop_back();
    if (!m_stack.empty()) {
        Frame& parent = m_stack.back();
        if (parent.fd < 0 && parent.remaining() > 0) {
            int fd =
                child.fd >= 0 ? openat(child.fd, "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1;
            struct stat st {};
            if (fd >= 0 && fstat(fd, &st) == 0 && st.st_dev == parent.dev &&
                st.st_ino == parent.ino) {
                parent.fd = fd;
                ++m_open;
            } else {
                // Moved away meanwhile: what is left there is not counted.
                if (fd >= 0)
                    close(fd);
                parent.next = parent.subdirs.size();
            }
        }
    }
    if (child.fd >= 0) {
        close(child.fd);
        --m_open;
    }
}

void Walker::close_all() {
    for (Frame& f : m_stack)
        if (f.fd >= 0) {
            close(f.fd);
            --m_open;
        }
    m_stack.clear();
}

// Gives threads of this measurement that wait for work a subfolder each, taken
// from as shallow a level as possible, where the biggest subtrees are.
void Walker::share_with_hungry() {
    if (!m_sh.share || m_sh.hungry_hint.load(std::memory_order_relaxed) == 0)
        return;
    if (pending() < 2)
        return;
    std::lock_guard<std::mutex> lock(m_sh.m);
    for (Frame& f : m_stack) {
        while (static_cast<int>(m_sh.queue.size()) < m_sh.hungry && f.fd >= 0 &&
               f.remaining() > 0 && pending() >= 2) {
            std::string name = std::move(f.subdirs.back());
            f.subdirs.pop_back();
            const int fd = open_dir_at(f.fd, name.c_str(), false);
            if (fd < 0)
                continue;
            Frame job;
            job.fd = fd;
            m_sh.queue.push_back(std::move(job));
            ++m_sh.outstanding;
            m_sh.cv.notify_one();
        }
        if (static_cast<int>(m_sh.queue.size()) >= m_sh.hungry)
            break;
    }
}

// A measurement that keeps finding folders asks for a helper while the
// process has a walking slot to spare.
void Walker::recruit() {
    if (!m_sh.share || ++m_dirs % RECRUIT_EVERY != 0 || pending() < 2)
        return;
    {
        std::lock_guard<std::mutex> lock(m_sh.m);
        if (m_sh.helpers.size() >= static_cast<std::size_t>(scanner::MAX_WALKERS - 1))
            return;
    }
    if (!budget().try_acquire())
        return;
    std::lock_guard<std::mutex> lock(m_sh.m);
    try {
        m_sh.helpers.emplace_back(helper_main, &m_sh);
    } catch (...) {
        budget().release(); // no thread to be had: walk on alone
    }
}

// A helper whose slot is wanted hands its unvisited subfolders back as jobs.
// Only possible while every frame with work left still has its descriptor.
bool Walker::retire() {
    for (const Frame& f : m_stack)
        if (f.remaining() > 0 && f.fd < 0)
            return false;
    std::lock_guard<std::mutex> lock(m_sh.m);
    for (Frame& f : m_stack) {
        if (f.remaining() > 0) {
            m_sh.queue.push_back(std::move(f));
            ++m_sh.outstanding;
            m_sh.cv.notify_one();
        } else if (f.fd >= 0) {
            close(f.fd);
        }
        f.fd = -1;
    }
    m_stack.clear();
    m_open = 0;
    return true;
}

bool Walker::walk(Frame job, bool helper) {
    m_stack.clear();
    m_open = 1;
    m_stack.push_back(std::move(job));
    if (!m_stack.back().listed)
        read_dir(m_stack.back());
    while (!m_stack.empty()) {
        if (m_sh.stop()) {
            close_all();
            return true;
        }
        if (helper && budget().wanted() && retire())
            return false;
        Frame& top = m_stack.back();
        if (top.remaining() == 0) {
            leave();
            continue;
        }
        share_with_hungry();
        if (m_stack.back().remaining() == 0)
            continue;
        Frame& cur = m_stack.back();
        const std::string& name = cur.subdirs[cur.next++];
        const int fd = open_dir_at(cur.fd, name.c_str(), false);
        if (fd < 0)
            continue;
        if (m_open >= MAX_OPEN)
            give_up_shallowest();
        Frame child;
        child.fd = fd;
        m_stack.push_back(std::move(child));
        ++m_open;
        read_dir(m_stack.back());
        recruit();
    }
    return true;
}

void Walker::serve(bool helper) {
    std::unique_lock<std::mutex> lock(m_sh.m);
    for (;;) {
        if (m_sh.done)
            break;
        if (helper && budget().wanted())
            break;
        if (!m_sh.queue.empty()) {
            Frame job = std::move(m_sh.queue.front());
            m_sh.queue.pop_front();
            lock.unlock();
            const bool finished = walk(std::move(job), helper);
            lock.lock();
            if (--m_sh.outstanding == 0) {
                m_sh.done = true;
                m_sh.cv.notify_all();
            }
            if (!finished)
                break;
            continue;
        }
        ++m_sh.hungry;
        m_sh.hungry_hint.store(m_sh.hungry, std::memory_order_relaxed);
        // A timed wait, so that a helper notices soon when its slot is wanted.
        m_sh.cv.wait_for(lock, std::chrono::milliseconds(20));
        --m_sh.hungry;
        m_sh.hungry_hint.store(m_sh.hungry, std::memory_order_relaxed);
    }
    m_sh.bytes += bytes;
    m_sh.newest = std::max(m_sh.newest, newest);
    m_sh.git = m_sh.git || git;
    if (m_sh.links.empty())
        m_sh.links.swap(links);
    else
        m_sh.links.insert(m_sh.links.end(), links.begin(), links.end());
    m_sh.huge.insert(m_sh.huge.end(), huge.begin(), huge.end());
    links.clear();
    huge.clear();
    bytes = 0;
    newest = 0;
    git = false;
}

// Walks below the directory open at fd (taking it) and adds to out.
void walk_below(int fd, bool share, StopFlags stop, scanner::Measure& out) {
    Shared sh;
    sh.stop = stop;
    sh.share = share;
    {
        Walker owner(sh);
        Frame root;
        root.fd = fd;
        owner.walk(std::move(root), false);
        {
            std::lock_guard<std::mutex> lock(sh.m);
            if (--sh.outstanding == 0) {
                sh.done = true;
                sh.cv.notify_all();
            }
        }
        owner.serve(false);
    }
    std::vector<std::thread> helpers;
    {
        std::lock_guard<std::mutex> lock(sh.m);
        helpers.swap(sh.helpers);
    }
    for (std::thread& t : helpers)
        t.join();
    // Each file with several links counts once, at its own size; a record
    // holds at most MAX_BLOCKS, the few bigger files are counted exactly.
    sharing::fold(sh.links);
    std::sort(sh.huge.begin(), sh.huge.end());
    sh.huge.erase(std::unique(sh.huge.begin(), sh.huge.end()), sh.huge.end());
    int64_t shared_bytes = 0;
    for (const sharing::SharedFile& f : sh.links)
        if (f.blocks < sharing::MAX_BLOCKS)
            shared_bytes += static_cast<int64_t>(f.blocks) * 512;
    for (const Huge& h : sh.huge)
        shared_bytes += h.blocks * 512;
    sh.links.shrink_to_fit();
    out.shared = std::move(sh.links);
    out.shared_bytes += shared_bytes;
    out.bytes += sh.bytes + shared_bytes;
    out.newest_mtime = std::max(out.newest_mtime, sh.newest);
    out.holds_git = out.holds_git || sh.git;
}

} // namespace

// ---------------------------------------------------------------------------
// Measure
// ---------------------------------------------------------------------------

namespace scanner_internal {

// Opens a directory for reading without updating its access time. O_NOATIME
// is refused for directories of other owners; then it is opened plainly.
int open_dir_at(int at, const char* name, bool follow) {
    const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | (follow ? 0 : O_NOFOLLOW);
    int fd = openat(at, name, flags | O_NOATIME);
    if (fd < 0 && errno == EPERM)
        fd = openat(at, name, flags);
    return fd;
}

scanner::Measure measure_impl(const std::string& path, std::atomic<bool>* cancel,
                              const std::atomic<bool>* abandoned, bool share) {
    scanner::Measure m;
    const std::string scan = to_scan_path(path);
    const scanner::Stat st = scanner::lstat_of(scan);
    // A path that is gone, a link, a file or a folder that cannot be opened
    // has nothing more to be seen: what was counted is all there is.
    m.complete = true;
    if (!st.ok || st.is_link)
        return m;
    m.newest_mtime = st.mtime;
    m.bytes = st.blocks * 512;
    if (!st.is_dir) {
        if (st.is_regular && st.nlink > 1) {
            m.shared.push_back(sharing::record(st.dev, st.ino, st.blocks, st.nlink, 1));
            m.shared_bytes = m.bytes;
        }
        return m;
    }
    StopFlags stop{cancel, abandoned};
    if (stop()) {
        m.complete = false;
        return m;
    }
    const int fd = open_dir_at(AT_FDCWD, scan.c_str(), false);
    if (fd < 0)
        return m;
    if (!budget().acquire(stop)) {
        close(fd);
        m.complete = false;
        return m;
    }
    walk_below(fd, share, stop, m);
    budget().release();
    // The walkers leave their folders early only when told to stop.
    m.complete = !stop();
    return m;
}

} // namespace scanner_internal

namespace scanner {

Measure measure(const std::string& path, std::atomic<bool>* cancel) {
    return scanner_internal::measure_impl(path, cancel, nullptr, true);
}

Measure measure_serial(const std::string& path, std::atomic<bool>* cancel) {
    return scanner_internal::measure_impl(path, cancel, nullptr, false);
}

int64_t size(const std::string& path, std::atomic<bool>* cancel) {
    return measure(path, cancel).bytes;
}

} // namespace scanner

namespace scanner_testing {

int live_walkers() {
    return budget().used();
}
int peak_walkers() {
    return budget().peak();
}
void reset_peak_walkers() {
    budget().reset_peak();
}

} // namespace scanner_testing
