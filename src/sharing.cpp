// Sums over the records of files with several links; see sharing.h.

#include "sharing.h"

#include <algorithm>
#include <cstddef>
#include <queue>
#include <utility>

namespace sharing {

namespace {

constexpr int64_t BLOCK = 512;

int64_t bytes_of(const SharedFile& f) {
    return static_cast<int64_t>(f.blocks) * BLOCK;
}

// The part of an entry outside its shared files.
int64_t own_bytes(const Entry& e) {
    if (e.bytes <= 0)
        return 0;
    return std::clamp<int64_t>(e.bytes - e.shared_bytes, 0, e.bytes);
}

// Where one entry's list stands in the merge.
struct Cursor {
    std::size_t entry = 0;
    std::size_t pos = 0;
};

// Calls visit(group) once per distinct file across the entries' lists, in
// (dev, ino) order; group holds (entry index, record) for every entry that
// holds the file. A heap over the lists: n log k for n records in k lists.
template <class Visit> void merge_files(const std::vector<Entry>& entries, Visit visit) {
    auto rec = [&](const Cursor& c) -> const SharedFile& {
        return (*entries[c.entry].files)[c.pos];
    };
    auto later = [&](const Cursor& a, const Cursor& b) { return key_less(rec(b), rec(a)); };
    std::priority_queue<Cursor, std::vector<Cursor>, decltype(later)> heap(later);
    for (std::size_t i = 0; i < entries.size(); ++i)
        if (entries[i].bytes > 0 && entries[i].files && !entries[i].files->empty())
            heap.push({i, 0});
    std::vector<std::pair<std::size_t, const SharedFile*>> group;
    while (!heap.empty()) {
        group.clear();
        const SharedFile& first = rec(heap.top());
        const uint64_t dev = first.dev, ino = first.ino;
        while (!heap.empty()) {
            Cursor c = heap.top();
            const SharedFile& f = rec(c);
            if (f.dev != dev || f.ino != ino)
                break;
            heap.pop();
            group.emplace_back(c.entry, &f);
            if (++c.pos < entries[c.entry].files->size())
                heap.push(c);
        }
        visit(group);
    }
}

} // namespace

SharedFile record(uint64_t dev, uint64_t ino, int64_t blocks, uint64_t nlink, uint64_t seen) {
    SharedFile f;
    f.dev = dev;
    f.ino = ino;
    f.blocks = static_cast<uint32_t>(std::clamp<int64_t>(blocks, 0, MAX_BLOCKS));
    f.nlink = static_cast<uint16_t>(std::min<uint64_t>(nlink, MAX_LINKS));
    f.seen = static_cast<uint16_t>(std::min<uint64_t>(seen, MAX_LINKS));
    return f;
}

void fold(std::vector<SharedFile>& files) {
    std::sort(files.begin(), files.end(), key_less);
    std::size_t out = 0;
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (out > 0 && files[out - 1].dev == files[i].dev && files[out - 1].ino == files[i].ino) {
            SharedFile& into = files[out - 1];
            into.seen = static_cast<uint16_t>(
                std::min<uint32_t>(uint32_t{into.seen} + files[i].seen, MAX_LINKS));
            into.nlink = std::max(into.nlink, files[i].nlink);
            into.blocks = std::max(into.blocks, files[i].blocks);
        } else {
            files[out++] = files[i];
        }
    }
    files.resize(out);
}

void forget_links(std::vector<SharedFile>& files, const std::vector<SharedFile>& unlinked) {
    std::size_t j = 0;
    for (SharedFile& f : files) {
        while (j < unlinked.size() && key_less(unlinked[j], f))
            ++j;
        if (j == unlinked.size())
            return;
        const SharedFile& u = unlinked[j];
        if (u.dev != f.dev || u.ino != f.ino || !exact(f) || !exact(u))
            continue;
        // Never fewer links left than this entry still holds.
        f.nlink = static_cast<uint16_t>(std::max<int>(f.nlink - u.seen, f.seen));
    }
}

int64_t frees_alone(const Entry& e) {
    if (e.bytes <= 0)
        return 0;
    int64_t sum = own_bytes(e);
    if (e.files)
        for (const SharedFile& f : *e.files)
            if (exact(f) && f.seen >= f.nlink)
                sum += bytes_of(f);
    return std::min(sum, e.bytes);
}

int64_t frees_together(const std::vector<Entry>& entries) {
    int64_t sum = 0;
    for (const Entry& e : entries)
        sum += own_bytes(e);
    merge_files(entries, [&](const std::vector<std::pair<std::size_t, const SharedFile*>>& group) {
        uint64_t seen = 0;
        uint16_t nlink = 0;
        bool known = true;
        for (const auto& [entry, f] : group) {
            known = known && exact(*f);
            seen += f->seen;
            nlink = std::max(nlink, f->nlink);
        }
        if (known && seen >= nlink)
            sum += bytes_of(*group.front().second);
    });
    return sum;
}

std::vector<int64_t> counted_before(const std::vector<Entry>& entries) {
    std::vector<int64_t> out(entries.size(), 0);
    merge_files(entries, [&](const std::vector<std::pair<std::size_t, const SharedFile*>>& group) {
        // The heap gives equal files in no particular entry order: the
        // earliest entry holding the file keeps it.
        std::size_t first = group.front().first;
        for (const auto& g : group)
            first = std::min(first, g.first);
        for (const auto& [entry, f] : group)
            if (entry != first)
                out[entry] += bytes_of(*f);
    });
    // Never more than the entry's own size, whatever the records say.
    for (std::size_t i = 0; i < entries.size(); ++i)
        out[i] = std::clamp<int64_t>(out[i], 0, std::max<int64_t>(entries[i].bytes, 0));
    return out;
}

int64_t counted_once(const std::vector<Entry>& entries) {
    const std::vector<int64_t> before = counted_before(entries);
    int64_t sum = 0;
    for (std::size_t i = 0; i < entries.size(); ++i)
        sum += std::max<int64_t>(entries[i].bytes, 0) - before[i];
    return sum;
}

} // namespace sharing
