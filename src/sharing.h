// Files hard-linked from several places: what deleting some entries really
// gives back. A file with several links takes its space once and is freed
// only when its last link goes, so an entry's measured size can be far more
// than deleting it returns (a package store linked into many projects).
//
// Pure arithmetic over the records the size measurement keeps; nothing here
// reads the disk, and nothing is kept between calls. Any thread may call it.
#pragma once

#include <cstdint>
#include <vector>

namespace sharing {

// One file with more than one link, as one measured entry holds it: how many
// links it has in all and how many of them lie inside the entry. Counts too
// big for their fields are held at the field's maximum, and a record so held
// is never taken for freed (its true counts are unknown).
struct SharedFile {
    uint64_t dev = 0;
    uint64_t ino = 0;
    uint32_t blocks = 0; // 512-byte blocks allocated
    uint16_t nlink = 0;  // links the file has in all
    uint16_t seen = 0;   // links of it inside the entry
};
static_assert(sizeof(SharedFile) == 24, "a record per shared file must stay small");

constexpr uint32_t MAX_BLOCKS = UINT32_MAX;
constexpr uint16_t MAX_LINKS = UINT16_MAX;

// A record of counts as found; the counts are held at the fields' maximum.
SharedFile record(uint64_t dev, uint64_t ino, int64_t blocks, uint64_t nlink, uint64_t seen);

// Its counts are exact, so it may be taken for freed.
inline bool exact(const SharedFile& f) {
    return f.blocks < MAX_BLOCKS && f.nlink < MAX_LINKS && f.seen < MAX_LINKS;
}
inline bool key_less(const SharedFile& a, const SharedFile& b) {
    return a.dev != b.dev ? a.dev < b.dev : a.ino < b.ino;
}

// Sorts records by (dev, ino) and folds those of the same file into one,
// adding up their links seen. What several walking threads kept for one
// entry becomes that entry's record list.
void fold(std::vector<SharedFile>& files);

// After other entries were deleted: their links (unlinked, folded) are gone,
// so the files files shares with them have that many links fewer. Both
// lists sorted by fold(); a record with inexact counts is left as it is.
void forget_links(std::vector<SharedFile>& files, const std::vector<SharedFile>& unlinked);

// One measured entry as these sums see it.
struct Entry {
    int64_t bytes = 0;                              // measured size; below zero counts as zero
    int64_t shared_bytes = 0;                       // the part of it in files with several links
    const std::vector<SharedFile>* files = nullptr; // sorted by fold(); may be null
};

// What deleting this entry alone gives back: its own files, and each shared
// file all of whose links lie inside it.
int64_t frees_alone(const Entry& e);

// What deleting all these entries together gives back: a shared file counts
// when all its links lie inside them together. Computed by merging their
// sorted record lists (a heap over the lists), never by walking again.
int64_t frees_together(const std::vector<Entry>& entries);

// The space these entries take, each shared file counted once however many of
// them hold it.
int64_t counted_once(const std::vector<Entry>& entries);

// For each entry, in order, the bytes of its size already counted by an
// earlier entry (shared files held by both). Subtracting them gives totals
// per entry that add up to counted_once().
std::vector<int64_t> counted_before(const std::vector<Entry>& entries);

} // namespace sharing
