// Permanent deletion. The desktop half of this module lives elsewhere; this
// file never includes the toolkit.
//
// The walk holds directory descriptors only and names entries relative to
// them, so a path of any length is fine and no link is followed: entries are
// examined with fstatat(AT_SYMLINK_NOFOLLOW) and directories entered with
// openat(O_NOFOLLOW | O_DIRECTORY), which refuses a directory that was swapped
// for a link after it was examined. A directory opened must also be the one
// examined (device and inode) and lie on the same mount as the directory
// holding it: another file system mounted inside the tree, a USB disk or a
// network share, is never entered, and what holds it is reported as failed.
//
// Descriptors: a plain recursive walk keeps one open directory per level,
// which a tree a few thousand levels deep turns into a failure to open
// anything. Here an explicit stack of frames keeps at most MAX_OPEN of them
// open, the deepest ones. When a new level would exceed that, the shallowest
// open frame gives up its descriptor: the rest of its listing is read into
// memory first, so it never has to be read again. Coming back up to a frame
// without a descriptor, the walk reopens it as ".." of the child it has just
// finished and checks that it is the same directory (device and inode) it
// left: a directory moved elsewhere in the meantime would otherwise lead the
// walk out of the tree, so a mismatch stops the walk and the item is reported
// as failed. A directory of any size is read as a stream, one entry at a
// time, as long as it stays within the deepest MAX_OPEN levels.
#include "shell_ops.h"

#include "deletion_guard.h"
#include "i18n.h"
#include "paths.h"
#include "strutil.h"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace shell_ops {

namespace {

// The reasons this module adds to the guard's, as English keys; the
// interface translates them where it shows them.
const char* const REASON_NO_ACCESS = tr_noop("No access from inside this app");
const char* const REASON_NOT_REMOVED = tr_noop("The item could not be moved");

// Open directories kept by one walk at most (plus the caller's parent and one
// more while moving between levels). Each also holds the C library's read
// buffer, so this bounds memory as well.
constexpr std::size_t MAX_OPEN = 32;

constexpr int DIR_FLAGS = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
// A directory that is never read again, only removed from.
constexpr int PARENT_FLAGS = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// What identifies a directory across a close and a reopen, and the mount it
// belongs to, so that the walk never steps onto another file system mounted
// inside the tree.
struct Identity {
    dev_t dev = 0;
    ino_t ino = 0;
    std::uint64_t mount = 0;
    bool has_mount = false;
};

// False unless fd is an open directory.
bool identify(int fd, Identity& out) {
    struct stat st {};
    if (fstat(fd, &st) != 0 || !S_ISDIR(st.st_mode))
        return false;
    out.dev = st.st_dev;
    out.ino = st.st_ino;
    struct statx sx {};
    out.has_mount =
        statx(fd, "", AT_EMPTY_PATH, STATX_MNT_ID, &sx) == 0 && (sx.stx_mask & STATX_MNT_ID) != 0;
    out.mount = out.has_mount ? sx.stx_mnt_id : 0;
    return true;
}

// Kernels without mount ids fall back to the device number, which a mount
// point nearly always changes.
bool same_mount(const Identity& a, const Identity& b) {
    if (a.has_mount && b.has_mount)
        return a.mount == b.mount;
    return a.dev == b.dev;
}

struct Frame {
    int fd = -1;                   // this directory, or -1 while closed to save descriptors
    DIR* stream = nullptr;         // reading straight from the directory; owns fd when set
    std::vector<std::string> rest; // the listing still to do, once the stream was given up
    std::size_t next = 0;
    Identity id;
    std::string name; // its name inside the parent frame's directory
    bool failed = false;
};

enum class Entered { Yes, Vanished, Refused };

class Walk {
public:
    Walk(int parent_fd, const Identity& parent_id, const std::string& parent_path,
         const WalkStep& step)
        : m_parent_fd(parent_fd), m_parent_id(parent_id), m_parent_path(parent_path), m_step(step) {
    }
    ~Walk() {
        for (Frame& f : m_frames)
            close_frame(f);
    }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

    // Removes the directory name (found as dir_stat) below the parent with everything in it.
    bool run(const std::string& name, const struct stat& dir_stat);

private:
    int m_parent_fd;
    Identity m_parent_id;
    const std::string& m_parent_path;
    const WalkStep& m_step;
    std::vector<Frame> m_frames;
    std::size_t m_open = 0;
    bool m_root_removed = false;

    Entered enter(int at_fd, const Identity& at_id, const std::string& name, const struct stat& st);
    bool next_entry(Frame& f, std::string& name);
    void give_up_descriptor();
    bool leave();
    void close_frame(Frame& f);
    void remove_entry(Frame& f, const std::string& name);
    std::string deepest_path() const;
};

// The path of the deepest frame, as text below the selected path's parent;
// only built for a step observer.
std::string Walk::deepest_path() const {
    std::string path = m_parent_path;
    for (const Frame& f : m_frames)
        path = su::join_path(path, f.name);
    return path;
}

void Walk::close_frame(Frame& f) {
    if (f.stream)
        closedir(f.stream);
    else if (f.fd >= 0)
        close(f.fd);
    if (f.fd >= 0)
        --m_open;
    f.stream = nullptr;
    f.fd = -1;
}

// Opens the directory name below at_fd and pushes it as the new deepest
// frame. Refused when it is no longer the directory that was examined (a
// link or another directory took its place) or lies on another mount.
Entered Walk::enter(int at_fd, const Identity& at_id, const std::string& name,
                    const struct stat& st) {
    if (m_open >= MAX_OPEN)
        give_up_descriptor();
    const int fd = openat(at_fd, name.c_str(), DIR_FLAGS);
    if (fd < 0)
        return errno == ENOENT ? Entered::Vanished : Entered::Refused;
    Identity id;
    if (!identify(fd, id) || id.dev != st.st_dev || id.ino != st.st_ino || !same_mount(id, at_id)) {
        close(fd);
        return Entered::Refused;
    }
    DIR* stream = fdopendir(fd);
    if (!stream) {
        close(fd);
        return Entered::Refused;
    }
    Frame f;
    f.fd = fd;
    f.stream = stream;
    f.id = id;
    f.name = name;
    m_frames.push_back(std::move(f));
    ++m_open;
    return Entered::Yes;
}

// The shallowest frame that still holds a descriptor reads the rest of its
// listing into memory and closes; the deepest frame is never chosen.
void Walk::give_up_descriptor() {
    for (std::size_t i = 0; i + 1 < m_frames.size(); ++i) {
        Frame& f = m_frames[i];
        if (f.fd < 0)
            continue;
        if (f.stream) {
            std::vector<std::string> rest;
            std::string name;
            while (next_entry(f, name))
                rest.push_back(name);
            f.rest = std::move(rest);
            f.next = 0;
        }
        close_frame(f);
        return;
    }
}

bool Walk::next_entry(Frame& f, std::string& name) {
    if (!f.stream) {
        if (f.next >= f.rest.size())
            return false;
        name = std::move(f.rest[f.next++]);
        return true;
    }
    for (;;) {
        errno = 0;
        const dirent* e = readdir(f.stream);
        if (!e) {
            // An error while listing means entries may be left unseen.
            if (errno != 0)
                f.failed = true;
            return false;
        }
        const char* n = e->d_name;
        if (n[0] == '.' && (n[1] == '\0' || (n[1] == '.' && n[2] == '\0')))
            continue;
        name = n;
        return true;
    }
}

// One entry of the deepest frame: a non-directory is unlinked at once, a
// directory becomes the new deepest frame.
void Walk::remove_entry(Frame& f, const std::string& name) {
    struct stat st {};
    if (fstatat(f.fd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno != ENOENT)
            f.failed = true;
        return;
    }
    if (m_step)
        m_step(deepest_path(), name);
    if (!S_ISDIR(st.st_mode)) {
        // A link to a directory is removed as a link; its target is never entered.
        if (unlinkat(f.fd, name.c_str(), 0) != 0 && errno != ENOENT)
            f.failed = true;
        return;
    }
    // enter() may grow the frame stack, so f is not used past this point.
    const int at_fd = f.fd;
    const Identity at_id = f.id;
    if (enter(at_fd, at_id, name, st) == Entered::Refused)
        m_frames.back().failed = true;
}

// Finishes the deepest frame: closes it and removes it from its parent,
// reopening the parent first if it had given up its descriptor. False when
// the walk must stop because the way back up no longer leads where it came from.
bool Walk::leave() {
    Frame& top = m_frames.back();
    const bool is_root = m_frames.size() == 1;
    int parent_fd = m_parent_fd;
    if (!is_root) {
        Frame& parent = m_frames[m_frames.size() - 2];
        if (parent.fd < 0) {
            // Its listing is in memory already, so this descriptor only
            // names entries to remove: it needs no read permission, which
            // the owner may have taken away since the walk went down.
            const int fd = openat(top.fd, "..", PARENT_FLAGS);
            Identity id;
            if (fd < 0 || !identify(fd, id) || id.dev != parent.id.dev || id.ino != parent.id.ino) {
                if (fd >= 0)
                    close(fd);
                return false;
            }
            parent.fd = fd;
            ++m_open;
        }
        parent_fd = parent.fd;
    }
    const std::string name = top.name;
    const bool emptied = !top.failed;
    close_frame(top);
    m_frames.pop_back();
    const bool removed =
        emptied && (unlinkat(parent_fd, name.c_str(), AT_REMOVEDIR) == 0 || errno == ENOENT);
    if (!removed && !m_frames.empty())
        m_frames.back().failed = true;
    if (is_root)
        m_root_removed = removed;
    return true;
}

bool Walk::run(const std::string& name, const struct stat& dir_stat) {
    const Entered e = enter(m_parent_fd, m_parent_id, name, dir_stat);
    if (e != Entered::Yes)
        return e == Entered::Vanished;
    while (!m_frames.empty()) {
        // The deepest frame always holds a descriptor.
        Frame& f = m_frames.back();
        std::string entry;
        if (next_entry(f, entry)) {
            remove_entry(f, entry);
            continue;
        }
        if (!leave())
            return false;
    }
    return m_root_removed;
}

// Removes the entry name inside the open directory dirfd, with everything
// below it when it is a directory. True when it is gone, including when it
// was gone already.
bool remove_recursive(int dirfd, const std::string& parent_path, const std::string& name,
                      const WalkStep& step) {
    struct stat st {};
    if (fstatat(dirfd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT;
    if (step)
        step(parent_path, name);
    if (!S_ISDIR(st.st_mode))
        return unlinkat(dirfd, name.c_str(), 0) == 0 || errno == ENOENT;
    Identity parent_id;
    if (!identify(dirfd, parent_id))
        return false;
    Walk walk(dirfd, parent_id, parent_path, step);
    return walk.run(name, st);
}

// Where the open directory really is, from the kernel's own record; "" when
// that cannot be read (no /proc, for one).
std::string real_location(int fd) {
    char link[64];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    char buf[PATH_MAX];
    const ssize_t n = readlink(link, buf, sizeof buf);
    if (n <= 0 || static_cast<std::size_t>(n) >= sizeof buf || buf[0] != '/')
        return "";
    return std::string(buf, static_cast<std::size_t>(n));
}

void fail(DeleteResult& r, const std::string& path, const char* key) {
    ++r.failed_count;
    r.failed.push_back(path);
    r.failed_reasons.push_back(key);
    if (r.error.empty())
        r.error = key;
}

void delete_one(DeleteResult& r, const std::string& path, const LastCheck& last_check,
                const WalkStep& step) {
    if (const char* why = deletion_guard::reason_key(path)) {
        fail(r, path, why);
        return;
    }
    if (!is_writable_location(path)) {
        fail(r, path, deletion_guard::REASON_READ_ONLY);
        return;
    }
    if (last_check) {
        if (const char* why = last_check(path)) {
            fail(r, path, why);
            return;
        }
    }
    const std::string parent = su::parent_of(path);
    const std::string base = su::basename_of(path);
    if (parent.empty() || base.empty()) {
        fail(r, path, REASON_NOT_REMOVED);
        return;
    }
    const int parent_fd = open(to_scan_path(parent).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (parent_fd < 0) {
        fail(r, path, REASON_NO_ACCESS);
        return;
    }
    // The guard judged the path as text, and the parent was then opened by
    // that text. Ask again for where the opened directory really is, so that
    // a folder on the way swapped for a link in between cannot carry the
    // deletion into a protected place.
    const std::string real_parent = real_location(parent_fd);
    if (!real_parent.empty()) {
        const std::string real_item = su::join_path(to_display_path(real_parent), base);
        if (const char* why = deletion_guard::reason_key(real_item)) {
            close(parent_fd);
            fail(r, path, why);
            return;
        }
    }
    const bool ok = remove_recursive(parent_fd, parent, base, step);
    struct stat st {};
    const bool gone =
        fstatat(parent_fd, base.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0 && errno == ENOENT;
    close(parent_fd);
    if (ok && gone)
        r.deleted.push_back(path);
    else
        fail(r, path, REASON_NOT_REMOVED);
}

} // namespace

DeleteResult delete_permanently(const std::vector<std::string>& paths) {
    return delete_permanently(paths, LastCheck{});
}

DeleteResult delete_permanently(const std::vector<std::string>& paths,
                                const LastCheck& last_check) {
    return delete_permanently(paths, last_check, WalkStep{});
}

DeleteResult delete_permanently(const std::vector<std::string>& paths, const LastCheck& last_check,
                                const WalkStep& step) {
    DeleteResult r;
    for (const std::string& path : paths)
        delete_one(r, path, last_check, step);
    return r;
}

} // namespace shell_ops
