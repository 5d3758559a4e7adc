// What a deletion really gave back: the free space of each file system that
// holds deleted entries, taken just before and just after the deletion, and
// whether the gain matches the sum of the deleted entries' measured sizes.
// Reads file status and file-system statistics only; never writes or deletes
// anything (syncfs flushes what the kernel already holds, nothing more).
// The grouping and the arithmetic take their readings through callbacks, so
// tests can feed made-up devices and snapshots. Any thread may call; the
// deletion worker does, because statvfs may block on a slow file system.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

namespace disk_space {

// One reading of a file system's free space.
struct Snapshot {
    bool ok = false;
    int64_t free = 0;  // bytes free, reserved blocks included
    int64_t block = 0; // the file system's block size in bytes
};

// One file system holding entries chosen for deletion.
struct Volume {
    uint64_t device = 0;      // st_dev of the folders holding the entries
    std::string probe;        // a folder on it that outlives the deletion (host path)
    int entries = 0;          // entries deleted from it
    int64_t expected = 0;     // the sum of their measured sizes
    bool all_measured = true; // false when a deleted entry had no known size
    Snapshot before;
    Snapshot after;
};

// The file systems of one deletion, and which of them holds each path.
struct Plan {
    std::vector<Volume> volumes;
    std::unordered_map<std::string, int> volume_of; // path -> index into volumes
    int deleted_elsewhere = 0;                      // deleted paths that belong to no volume
};

// Where a folder lives; false when it cannot be examined.
using DeviceOf = std::function<bool(const std::string& folder, uint64_t& device)>;
// The free space of the file system holding a folder.
using FreeOf = std::function<Snapshot(const std::string& folder)>;

// The folder holding path, as text ("/" for a path directly below the root).
std::string parent_folder(const std::string& path);

// Groups paths by the file system of the folder holding each one. A deletion
// never crosses into another mount, so that folder's file system is the one
// whose space comes back. Paths whose folder cannot be examined belong to no
// volume and make the result unknown once they are deleted.
Plan group(const std::vector<std::string>& paths, const DeviceOf& device_of);

// Reads every volume's free space, into before or after.
void take_before(Plan& plan, const FreeOf& free_of);
void take_after(Plan& plan, const FreeOf& free_of);

// Counts one deleted path; size <= 0 means its size was not known.
void count_deleted(Plan& plan, const std::string& path, int64_t size);

// What the deletion gave back, over every volume that lost an entry.
struct Result {
    bool known = false;    // every deleted path had a volume read before and after
    int64_t gained = 0;    // free after minus free before (negative when others wrote more)
    int64_t expected = 0;  // the sum of the deleted entries' measured sizes
    int64_t tolerance = 0; // how far the two may lie apart and still agree
    bool differ = false;   // known, every size measured, and further apart than tolerance
};

// Blocks per deleted entry that the file system may account elsewhere.
constexpr int64_t BLOCKS_PER_ENTRY = 4;
// The share of the expected size the two may differ by (1/50 = 2 %).
constexpr int64_t FRACTION_DIVISOR = 50;

Result compare(const Plan& plan);

// The real readings, all through to_scan_path() so that a Snap asks where
// it sees the folder: stat() of the folder; statvfs(); and statvfs() after
// syncfs(), for the reading after a deletion.
bool device_of_folder(const std::string& folder, uint64_t& device);
Snapshot free_space(const std::string& folder);
Snapshot free_space_settled(const std::string& folder);

} // namespace disk_space
