// The look over /proc before a deletion.

#include "in_use.h"

#include "i18n.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace in_use {

const char* const REASON = tr_noop("In use by a running program");

namespace {

std::string link_at(int dir_fd, const char* name) {
    char buf[PATH_MAX];
    const ssize_t n = readlinkat(dir_fd, name, buf, sizeof buf);
    if (n <= 0 || static_cast<size_t>(n) >= sizeof buf)
        return "";
    return std::string(buf, static_cast<size_t>(n));
}

bool all_digits(const char* s) {
    if (!*s)
        return false;
    for (; *s; ++s)
        if (*s < '0' || *s > '9')
            return false;
    return true;
}

// The open files of one process, by the links in its fd folder.
bool files_in(int pid_fd, const std::string& path) {
    const int fd = openat(pid_fd, "fd", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return false;
    DIR* dir = fdopendir(fd);
    if (!dir) {
        close(fd);
        return false;
    }
    bool found = false;
    while (const dirent* e = readdir(dir)) {
        if (!all_digits(e->d_name))
            continue;
        if (is_at_or_below(link_at(dirfd(dir), e->d_name), path)) {
            found = true;
            break;
        }
    }
    closedir(dir);
    return found;
}

} // namespace

bool is_at_or_below(const std::string& target, const std::string& path) {
    if (target.empty() || path.empty() || target.compare(0, path.size(), path) != 0)
        return false;
    return target.size() == path.size() || target[path.size()] == '/' || path == "/";
}

bool by_running_program(const std::string& path) {
    char buf[PATH_MAX];
    if (!realpath(path.c_str(), buf))
        return false; // gone: nobody can be using it
    const std::string real = buf;
    DIR* proc = opendir("/proc");
    if (!proc)
        return false;
    const uid_t me = geteuid();
    const std::string self = std::to_string(getpid());
    bool found = false;
    while (!found) {
        const dirent* e = readdir(proc);
        if (!e)
            break;
        if (!all_digits(e->d_name) || self == e->d_name)
            continue;
        const int pid_fd = openat(dirfd(proc), e->d_name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (pid_fd < 0)
            continue;
        struct stat st {};
        if (fstat(pid_fd, &st) == 0 && st.st_uid == me) {
            found = is_at_or_below(link_at(pid_fd, "cwd"), real) ||
                    is_at_or_below(link_at(pid_fd, "exe"), real) || files_in(pid_fd, real);
        }
        close(pid_fd);
    }
    closedir(proc);
    return found;
}

} // namespace in_use
