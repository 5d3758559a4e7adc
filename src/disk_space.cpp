#include "disk_space.h"

#include "paths.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace disk_space {

namespace {

void take(Plan& plan, const FreeOf& free_of, bool after) {
    for (Volume& v : plan.volumes)
        (after ? v.after : v.before) = free_of(v.probe);
}

} // namespace

std::string parent_folder(const std::string& path) {
    std::string p = path;
    while (p.size() > 1 && p.back() == '/')
        p.pop_back();
    const size_t slash = p.rfind('/');
    if (slash == std::string::npos)
        return ".";
    if (slash == 0)
        return "/";
    return p.substr(0, slash);
}

Plan group(const std::vector<std::string>& paths, const DeviceOf& device_of) {
    Plan plan;
    for (const std::string& path : paths) {
        if (plan.volume_of.count(path))
            continue;
        const std::string folder = parent_folder(path);
        uint64_t device = 0;
        if (!device_of(folder, device))
            continue;
        int index = -1;
        for (size_t k = 0; k < plan.volumes.size(); ++k)
            if (plan.volumes[k].device == device)
                index = static_cast<int>(k);
        if (index < 0) {
            Volume v;
            v.device = device;
            v.probe = folder;
            plan.volumes.push_back(std::move(v));
            index = static_cast<int>(plan.volumes.size()) - 1;
        }
        plan.volume_of.emplace(path, index);
    }
    return plan;
}

void take_before(Plan& plan, const FreeOf& free_of) {
    take(plan, free_of, false);
}

void take_after(Plan& plan, const FreeOf& free_of) {
    take(plan, free_of, true);
}

void count_deleted(Plan& plan, const std::string& path, int64_t size) {
    const auto found = plan.volume_of.find(path);
    if (found == plan.volume_of.end()) {
        ++plan.deleted_elsewhere;
        return;
    }
    Volume& v = plan.volumes[static_cast<size_t>(found->second)];
    ++v.entries;
    if (size > 0)
        v.expected += size;
    else
        v.all_measured = false;
}

Result compare(const Plan& plan) {
    Result r;
    bool read = plan.deleted_elsewhere == 0;
    bool measured = true;
    for (const Volume& v : plan.volumes) {
        if (v.entries == 0)
            continue; // nothing of it went: whatever its free space did is not ours
        read = read && v.before.ok && v.after.ok;
        measured = measured && v.all_measured;
        r.gained += v.after.free - v.before.free;
        r.expected += v.expected;
        // Sizes count every block a file or folder holds, which is what
        // unlinking gives back. Some file systems also keep per entry what
        // those counts do not show (metadata tree nodes, extent records,
        // small files stored inline), or free an index block only when it
        // empties: a few blocks per entry. In trees of many small files that
        // adds up, and compression makes the counts approximate: a small
        // share of the whole. Below that, a difference is not worth a word.
        r.tolerance += BLOCKS_PER_ENTRY * v.entries * std::max<int64_t>(v.before.block, 512) +
                       v.expected / FRACTION_DIVISOR;
    }
    r.known = read;
    if (!r.known) {
        r.gained = 0;
        r.tolerance = 0;
    }
    const int64_t gap = r.gained > r.expected ? r.gained - r.expected : r.expected - r.gained;
    r.differ = r.known && measured && gap > r.tolerance;
    return r;
}

bool device_of_folder(const std::string& folder, uint64_t& device) {
    struct stat st {};
    if (stat(to_scan_path(folder).c_str(), &st) != 0)
        return false;
    device = static_cast<uint64_t>(st.st_dev);
    return true;
}

Snapshot free_space(const std::string& folder) {
    Snapshot s;
    struct statvfs vfs {};
    if (statvfs(to_scan_path(folder).c_str(), &vfs) != 0)
        return s;
    // f_bfree rather than f_bavail: on a nearly full disk the blocks kept for
    // root hold f_bavail at zero, and it would hide what a deletion gave back.
    const int64_t unit =
        vfs.f_frsize > 0 ? static_cast<int64_t>(vfs.f_frsize) : static_cast<int64_t>(vfs.f_bsize);
    s.ok = true;
    s.free = static_cast<int64_t>(vfs.f_bfree) * unit;
    s.block = unit;
    return s;
}

Snapshot free_space_settled(const std::string& folder) {
    // Some file systems (btrfs, for one) hand freed extents back only when
    // their transaction commits; syncfs commits it, so that the reading
    // counts what the deletion has really released. Only after the deletion:
    // a sync before it would let others write during its wait between the
    // reading and the deletion, and count against the gain.
    const int fd = open(to_scan_path(folder).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        syncfs(fd);
        close(fd);
    }
    return free_space(folder);
}

} // namespace disk_space
