// Feeds arbitrary bytes to the mount-table parser, the unescaping and the
// lookups built on them, and checks what must hold for every input. Works on
// text only: nothing here reads or writes the disk.
#include "mounts.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>

namespace {

void require(bool ok) {
    if (!ok)
        std::abort();
}

// What the kernel does to a field: space, tab, newline and backslash become
// a backslash and three octal digits.
std::string escape(const std::string& s) {
    std::string out;
    for (char c : s) {
        if (c == ' ' || c == '\t' || c == '\n' || c == '\\') {
            const unsigned v = static_cast<unsigned char>(c);
            out += '\\';
            out += static_cast<char>('0' + ((v >> 6) & 7));
            out += static_cast<char>('0' + ((v >> 3) & 7));
            out += static_cast<char>('0' + (v & 7));
        } else {
            out += c;
        }
    }
    return out;
}

bool holds(const std::string& point, const std::string& path) {
    return point == "/" || point == path ||
           (path.size() > point.size() && path.compare(0, point.size(), point) == 0 &&
            path[point.size()] == '/');
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);

    // Unescaping never makes text longer and undoes the kernel's escaping.
    require(mounts::unescape(text).size() <= text.size());
    require(mounts::unescape(escape(text)) == text);

    // Whatever the text, each kept line gives a type without blanks and a
    // point and source that are not empty; there are never more mounts than lines.
    const std::vector<mounts::Mount> table = mounts::parse_mountinfo(text);
    std::size_t lines = 1;
    for (char c : text)
        lines += c == '\n';
    require(table.size() <= lines);
    for (const mounts::Mount& m : table) {
        require(!m.fs_type.empty() && !m.point.empty() && !m.source.empty());
        require(m.fs_type.find_first_of(" \t\n") == std::string::npos);
    }

    // Any byte string as a mount point and a source comes back whole.
    const std::string point = "/" + text;
    const std::vector<mounts::Mount> one = mounts::parse_mountinfo(
        "36 25 8:2 / " + escape(point) + " ro,relatime shared:1 - ext4 " + escape(point) + " rw\n");
    require(one.size() == 1 && one[0].point == point && one[0].source == point && one[0].read_only);

    // The mount found for a path holds it, and none that holds it is longer.
    for (const std::string& path : {text, point, point + "/x"}) {
        const mounts::Mount* m = mounts::lookup(table, path);
        for (const mounts::Mount& other : table) {
            if (holds(other.point, path))
                require(m && other.point.size() <= m->point.size());
        }
        if (m)
            require(holds(m->point, path));
    }

    // Scan roots are mounts of the table, each point and each device once.
    std::set<std::string> points;
    std::set<std::string> devices;
    for (const mounts::Mount& r : mounts::scannable_roots_of(table)) {
        require(points.insert(r.point).second);
        if (r.source.compare(0, 5, "/dev/") == 0)
            require(devices.insert(r.source).second);
        require(!mounts::is_pseudo_fs(r.fs_type) && r.fs_type != "tmpfs" &&
                r.fs_type != "squashfs");
    }
    return 0;
}
