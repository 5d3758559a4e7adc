#include "fs_fixture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <dirent.h>
#include <fcntl.h>
#include <set>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace fs_fixture {

void make_dirs(const std::string& path) {
    for (std::size_t pos = 1; pos <= path.size(); ++pos) {
        if (pos == path.size() || path[pos] == '/') {
            const std::string part = path.substr(0, pos);
            if (mkdir(part.c_str(), 0755) != 0 && errno != EEXIST)
                ADD_FAILURE() << "mkdir " << part << ": " << errno;
        }
    }
}

void write_file(const std::string& path, std::size_t bytes) {
    make_dirs(path.substr(0, path.rfind('/')));
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    ASSERT_GE(fd, 0) << path;
    std::string chunk(4096, 'q');
    while (bytes > 0) {
        const std::size_t n = std::min(bytes, chunk.size());
        ASSERT_EQ(write(fd, chunk.data(), n), static_cast<ssize_t>(n));
        bytes -= n;
    }
    close(fd);
}

void make_link(const std::string& target, const std::string& link) {
    ASSERT_EQ(symlink(target.c_str(), link.c_str()), 0) << link;
}

void make_hard_link(const std::string& existing, const std::string& link) {
    ASSERT_EQ(::link(existing.c_str(), link.c_str()), 0) << link;
}

void set_times(const std::string& path, time_t mtime, time_t atime) {
    struct timespec ts[2] = {{atime ? atime : mtime, 0}, {mtime, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), ts, AT_SYMLINK_NOFOLLOW), 0) << path;
}

namespace {

void walk(const std::string& dir, std::set<std::pair<dev_t, ino_t>>& seen, Reference& r) {
    DIR* d = opendir(dir.c_str());
    if (!d)
        return;
    while (const dirent* e = readdir(d)) {
        const std::string name = e->d_name;
        if (name == "." || name == "..")
            continue;
        const std::string child = dir + "/" + name;
        struct stat st {};
        if (lstat(child.c_str(), &st) != 0 || S_ISLNK(st.st_mode))
            continue;
        r.newest = std::max(r.newest, st.st_mtime);
        if (S_ISDIR(st.st_mode)) {
            r.bytes += st.st_blocks * 512;
            walk(child, seen, r);
        } else if (st.st_nlink < 2 || seen.insert({st.st_dev, st.st_ino}).second) {
            r.bytes += st.st_blocks * 512;
        }
    }
    closedir(d);
}

} // namespace

Reference reference_measure(const std::string& path) {
    Reference r;
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0 || S_ISLNK(st.st_mode))
        return r;
    r.bytes = st.st_blocks * 512;
    r.newest = st.st_mtime;
    if (S_ISDIR(st.st_mode)) {
        std::set<std::pair<dev_t, ino_t>> seen;
        walk(path, seen, r);
    }
    return r;
}

namespace {

std::string hash_file(const std::string& path) {
    const int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return "unreadable";
    std::uint64_t h = 1469598103934665603ull;
    char buf[65536];
    ssize_t n;
    while ((n = read(fd, buf, sizeof buf)) > 0) {
        for (ssize_t i = 0; i < n; ++i)
            h = (h ^ static_cast<unsigned char>(buf[i])) * 1099511628211ull;
    }
    close(fd);
    return std::to_string(h);
}

void scan(const std::string& dir, const std::string& rel, const std::vector<std::string>& skip,
          Manifest& out) {
    DIR* d = opendir(dir.c_str());
    if (!d)
        return;
    std::vector<std::string> names;
    while (const dirent* e = readdir(d)) {
        const std::string n = e->d_name;
        if (n != "." && n != "..")
            names.push_back(n);
    }
    closedir(d);
    for (const std::string& n : names) {
        const std::string path = dir + "/" + n;
        const std::string r = rel + "/" + n;
        bool skipped = false;
        for (const std::string& s : skip)
            skipped = skipped || s == path;
        if (skipped)
            continue;
        struct stat st {};
        if (lstat(path.c_str(), &st) != 0)
            continue;
        std::string desc = std::to_string(st.st_mode) + " " + std::to_string(st.st_uid) + ":" +
                           std::to_string(st.st_gid);
        if (S_ISREG(st.st_mode)) {
            desc += " size=" + std::to_string(st.st_size) +
                    " mtime=" + std::to_string(st.st_mtim.tv_sec) + "." +
                    std::to_string(st.st_mtim.tv_nsec) + " ino=" + std::to_string(st.st_ino) +
                    " hash=" + hash_file(path);
        } else if (S_ISLNK(st.st_mode)) {
            char target[PATH_MAX];
            const ssize_t len = readlink(path.c_str(), target, sizeof target);
            desc += " link=" + std::string(target, len > 0 ? static_cast<std::size_t>(len) : 0);
        } else if (!S_ISDIR(st.st_mode)) {
            desc += " ino=" + std::to_string(st.st_ino);
        }
        out[r] = desc;
        if (S_ISDIR(st.st_mode))
            scan(path, r, skip, out);
    }
}

} // namespace

Manifest manifest(const std::string& root, const std::vector<std::string>& except) {
    Manifest m;
    scan(root, "", except, m);
    return m;
}

namespace {

bool selected_entry(const std::string& key, const std::vector<std::string>& selected) {
    for (const std::string& s : selected)
        if (key == s ||
            (key.size() > s.size() && key.compare(0, s.size(), s) == 0 && key[s.size()] == '/'))
            return true;
    return false;
}

} // namespace

std::vector<std::string> differences(const Manifest& before, const Manifest& after,
                                     const std::vector<std::string>& selected) {
    std::vector<std::string> out;
    auto b = before.begin();
    auto a = after.begin();
    // Both maps are sorted by key: one pass over the two meets every entry once.
    while (b != before.end() || a != after.end()) {
        if (a == after.end() || (b != before.end() && b->first < a->first)) {
            if (!selected_entry(b->first, selected))
                out.push_back("removed " + b->first + ": " + b->second);
            ++b;
        } else if (b == before.end() || a->first < b->first) {
            if (!selected_entry(a->first, selected))
                out.push_back("added " + a->first + ": " + a->second);
            ++a;
        } else {
            if (a->second != b->second && !selected_entry(a->first, selected))
                out.push_back("changed " + a->first + ": " + b->second + " -> " + a->second);
            ++a;
            ++b;
        }
    }
    return out;
}

} // namespace fs_fixture
