// See sealed.h.
#include "sealed.h"

#include "mounts.h"

#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <grp.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace sealed {

// The path with "." and ".." applied as text and slashes collapsed.
std::string lexical(const std::string& path) {
    std::vector<std::string> parts;
    std::size_t i = 0;
    while (i <= path.size()) {
        std::size_t j = path.find('/', i);
        if (j == std::string::npos)
            j = path.size();
        const std::string part = path.substr(i, j - i);
        if (part == "..") {
            if (!parts.empty())
                parts.pop_back();
        } else if (!part.empty() && part != ".") {
            parts.push_back(part);
        }
        i = j + 1;
    }
    std::string out;
    for (const std::string& p : parts)
        out += "/" + p;
    return out.empty() ? "/" : out;
}

std::string real(const std::string& path) {
    char buf[PATH_MAX];
    return realpath(path.c_str(), buf) ? std::string(buf) : std::string();
}

bool strictly_inside(const std::string& p, const std::string& root) {
    return p.size() > root.size() + 1 && p.compare(0, root.size() + 1, root + "/") == 0;
}

// Whether deleting path could only ever touch something inside root: it is
// absolute, strictly inside root as text and after "." and "..", and the
// nearest existing folder holding it really lies inside root (no link on the
// way leads out).
bool safe_to_delete(const std::string& root, const std::string& path, std::string& why) {
    const std::string real_root = real(root);
    if (path.empty() || path[0] != '/' || !strictly_inside(path, root) ||
        !strictly_inside(lexical(path), root)) {
        why = "not inside the test folder as text";
        return false;
    }
    std::string dir = lexical(path);
    do {
        dir = dir.substr(0, dir.rfind('/'));
    } while (!dir.empty() && real(dir).empty());
    const std::string r = real(dir);
    if (real_root.empty() || (r != real_root && !strictly_inside(r, real_root))) {
        why = "its folder really lies outside the test folder";
        return false;
    }
    return true;
}

// ---- Children ----

// Runs body in a forked child; what it returns is handed back as output.
// The child ends with status 0, or with the status body sets in code.
ChildOutcome in_child(const std::function<std::string(int& code)>& body) {
    int fds[2];
    if (pipe(fds) != 0)
        return {};
    const pid_t pid = fork();
    if (pid < 0)
        return {};
    if (pid == 0) {
        close(fds[0]);
        int code = 0;
        const std::string out = body(code);
        std::size_t done = 0;
        while (done < out.size()) {
            const ssize_t n = write(fds[1], out.data() + done, out.size() - done);
            if (n <= 0)
                break;
            done += static_cast<std::size_t>(n);
        }
        _exit(code);
    }
    close(fds[1]);
    ChildOutcome result;
    char buf[4096];
    ssize_t n;
    while ((n = read(fds[0], buf, sizeof buf)) > 0)
        result.output.append(buf, static_cast<std::size_t>(n));
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status))
        result.exit_code = WEXITSTATUS(status);
    return result;
}

bool write_text(const std::string& file, const std::string& text) {
    const int fd = open(file.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool ok = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    return ok;
}

// The flags a read-only remount must keep: a user namespace may add
// restrictions to a mount but never lift one.
unsigned long kept_flags(const struct statvfs& sv) {
    unsigned long f = 0;
    if (sv.f_flag & ST_NOSUID)
        f |= MS_NOSUID;
    if (sv.f_flag & ST_NODEV)
        f |= MS_NODEV;
    if (sv.f_flag & ST_NOEXEC)
        f |= MS_NOEXEC;
    if (sv.f_flag & ST_NOATIME)
        f |= MS_NOATIME;
    if (sv.f_flag & ST_NODIRATIME)
        f |= MS_NODIRATIME;
    if (sv.f_flag & ST_RELATIME)
        f |= MS_RELATIME;
    return f;
}

bool read_only_at(const std::string& path) {
    struct statvfs sv {};
    return statvfs(path.c_str(), &sv) == 0 && (sv.f_flag & ST_RDONLY) != 0;
}

namespace {
// True when the child runs in a user namespace of its own (not started as root).
bool g_user_namespace = false;
} // namespace

// In the child: everything but root becomes read-only, for this process only.
bool seal_all_but(const std::string& root) {
    if (geteuid() == 0) {
        if (unshare(CLONE_NEWNS) != 0)
            return false;
    } else {
        const std::string uid = std::to_string(geteuid());
        const std::string gid = std::to_string(getegid());
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
            return false;
        g_user_namespace = true;
        write_text("/proc/self/setgroups", "deny");
        if (!write_text("/proc/self/uid_map", "0 " + uid + " 1") ||
            !write_text("/proc/self/gid_map", "0 " + gid + " 1"))
            return false;
    }
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return false;
    if (mount(root.c_str(), root.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0)
        return false;
    const auto table = mounts::parse_mountinfo(mounts::read_file_text("/proc/self/mountinfo"));
    for (const mounts::Mount& m : table) {
        if (m.point == root || m.point.compare(0, root.size() + 1, root + "/") == 0)
            continue;
        struct statvfs sv {};
        if (statvfs(m.point.c_str(), &sv) != 0)
            return false;
        if (sv.f_flag & ST_RDONLY)
            continue;
        if (mount(nullptr, m.point.c_str(), nullptr,
                  MS_REMOUNT | MS_BIND | MS_RDONLY | kept_flags(sv), nullptr) != 0)
            return false;
    }
    const std::string parent = root.substr(0, root.rfind('/'));
    return read_only_at("/") && read_only_at(parent.empty() ? "/" : parent) &&
           read_only_at("/usr") && !read_only_at(root);
}

// Turns the child into an unprivileged user: root becomes nobody; inside a
// user namespace every capability is dropped, so permission bits apply.
bool become_unprivileged() {
    if (g_user_namespace) {
        __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct data[2]{};
        return syscall(SYS_capset, &header, data) == 0;
    }
    return setgroups(0, nullptr) == 0 && setgid(NOGROUP) == 0 && setuid(NOBODY) == 0 &&
           geteuid() == NOBODY;
}

} // namespace sealed
