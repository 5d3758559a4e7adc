// Reading git repositories with libgit2.
//
// A folder's repository is found by discovery from the folder that holds it
// (so a submodule or nested repository checked out in the folder itself is
// seen from the outside, as the index that tracks it sees it). The index is
// copied once into a sorted list of paths: the entries below a folder are
// then one contiguous range, found by two binary searches, and the library's
// index object does not have to be shared between threads.
//
// The copy is packed: all of a repository's paths in one block of text and
// one array of where each begins, two allocations per repository instead of
// one string per tracked file. A scan keeps the copy of every repository it
// met, so with a string each the copies of 1,500 projects (fifty of them with
// 6,000 files) took about 20 MB, in small blocks scattered over the threads'
// heaps that the process then could not give back.
//
// The repository object itself is opened only for the question that needs
// its ignore rules and freed right after: the library keeps tens of KiB per
// open repository (configuration, object database, attribute caches), and a
// scan meets one repository per project, so keeping them all for the scan's
// length made its memory grow with the number of projects (about twice the
// peak with 1,500 of them). Opening one again costs about a tenth of a
// millisecond.

#include "git_repo.h"

#include "strutil.h"

#include <git2.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace git_repo {

namespace {

void init_library() {
    // Never shut down: the library's global state lives until the process ends.
    static const int once = [] { return git_libgit2_init(); }();
    (void)once;
}

std::string real_path(const std::string& path) {
    char buf[PATH_MAX];
    if (!realpath(path.c_str(), buf))
        return "";
    return buf;
}

// Paths kept as one block of text, each ending in a NUL byte, and the offset
// of each in byte-wise order of the paths. Built by add() then seal().
class PackedPaths {
public:
    void reserve(std::size_t paths, std::size_t bytes) {
        text_.reserve(bytes + paths);
        starts_.reserve(paths);
    }
    // False when the text would outgrow the 32-bit offsets (4 GiB of paths,
    // which no index holds); the caller then knows nothing rather than less.
    bool add(const char* path) {
        if (text_.size() > UINT32_MAX)
            return false;
        starts_.push_back(static_cast<uint32_t>(text_.size()));
        text_.append(path);
        text_.push_back('\0');
        return true;
    }
    void seal() {
        std::sort(starts_.begin(), starts_.end(),
                  [this](uint32_t a, uint32_t b) { return at(a) < at(b); });
        text_.shrink_to_fit();
        starts_.shrink_to_fit();
    }
    // How many paths sort at or after `from` and before `to`.
    std::size_t count_between(std::string_view from, std::string_view to) const {
        return static_cast<std::size_t>(lower(to) - lower(from));
    }
    bool contains(std::string_view path) const {
        const auto it = lower(path);
        return it != starts_.end() && at(*it) == path;
    }

private:
    std::string_view at(uint32_t start) const { return std::string_view(text_.data() + start); }
    std::vector<uint32_t>::const_iterator lower(std::string_view path) const {
        return std::lower_bound(starts_.begin(), starts_.end(), path,
                                [this](uint32_t a, std::string_view p) { return at(a) < p; });
    }

    std::string text_;
    std::vector<uint32_t> starts_;
};

struct RepoData {
    std::mutex m; // serialises every call into `repo`
    bool loaded = false;
    bool readable = false;
    git_repository* repo = nullptr; // open only while a question needs it
    std::string workdir;            // real path, ending in "/"
    PackedPaths paths;              // every index entry
    PackedPaths gitlinks;           // the entries that are submodules

    RepoData() = default;
    RepoData(const RepoData&) = delete;
    RepoData& operator=(const RepoData&) = delete;
    ~RepoData() {
        if (repo)
            git_repository_free(repo);
    }
};

// Opens the repository that holds `start` and copies its index. A repository
// the library refuses to open (another user's, for one) or whose index it
// cannot read stays unreadable; so does a bare one, which has no work tree to
// hold anything.
void load(RepoData& d, const std::string& start) {
    d.loaded = true;
    git_repository* repo = nullptr;
    if (git_repository_open_ext(&repo, start.c_str(), 0, nullptr) != 0)
        return;
    const char* wd = git_repository_workdir(repo);
    d.workdir = wd ? real_path(wd) : "";
    git_index* index = nullptr;
    if (d.workdir.empty() || git_repository_index(&index, repo) != 0) {
        git_repository_free(repo);
        return;
    }
    if (d.workdir != "/")
        d.workdir += "/";
    const size_t n = git_index_entrycount(index);
    size_t bytes = 0;
    for (size_t i = 0; i < n; ++i) {
        const git_index_entry* e = git_index_get_byindex(index, i);
        if (e && e->path)
            bytes += std::strlen(e->path);
    }
    d.paths.reserve(n, bytes);
    bool whole = true;
    for (size_t i = 0; i < n && whole; ++i) {
        const git_index_entry* e = git_index_get_byindex(index, i);
        if (!e || !e->path)
            continue;
        whole = d.paths.add(e->path) && (e->mode != GIT_FILEMODE_COMMIT || d.gitlinks.add(e->path));
    }
    git_index_free(index);
    git_repository_free(repo);
    if (!whole) {
        d.paths = PackedPaths();
        d.gitlinks = PackedPaths();
        return;
    }
    d.paths.seal();
    d.gitlinks.seal();
    d.readable = true;
}

// What the loaded repository says of the folder (its real path); `start` is
// where the repository was discovered from, to open it again for the ignore
// rules. The caller holds d.m.
Facts facts_in(RepoData& d, const std::string& folder, const std::string& start, bool ignores) {
    Facts f;
    f.repo = Facts::Repo::Unreadable;
    if (!d.readable || !su::starts_with(folder + "/", d.workdir) ||
        folder.size() < d.workdir.size())
        return f;
    const std::string rel = folder.substr(d.workdir.size());
    f.repo = Facts::Repo::Readable;
    // Everything below rel/ sorts between "rel/" and "rel0" ('0' follows '/').
    f.tracked = static_cast<int64_t>(d.paths.count_between(rel + "/", rel + "0"));
    // An entry for the folder itself: a submodule, or a file it replaced.
    if (d.paths.contains(rel)) {
        ++f.tracked;
        f.submodule = d.gitlinks.contains(rel);
    }
    if (ignores && git_repository_open_ext(&d.repo, start.c_str(), 0, nullptr) == 0) {
        int ignored = 0;
        if (git_ignore_path_is_ignored(&ignored, d.repo, rel.c_str()) == 0)
            f.ignored = ignored != 0;
        git_repository_free(d.repo);
        d.repo = nullptr;
    }
    return f;
}

} // namespace

struct Cache::Impl {
    mutable std::mutex m;
    // By the git folder discovery names: a linked worktree has its own.
    std::unordered_map<std::string, std::shared_ptr<RepoData>> repos;

    Facts facts(const std::string& folder, bool ignores) {
        init_library();
        Facts f;
        const std::string real = real_path(folder);
        const std::string parent = su::parent_of(real);
        if (real.empty() || parent.empty()) {
            // Gone, or the root itself: nothing can be known of it.
            f.repo = Facts::Repo::Unreadable;
            return f;
        }
        git_buf found = GIT_BUF_INIT;
        const int rc = git_repository_discover(&found, parent.c_str(), 0, nullptr);
        if (rc == GIT_ENOTFOUND) {
            git_buf_dispose(&found);
            return f;
        }
        if (rc != 0 || !found.ptr) {
            git_buf_dispose(&found);
            f.repo = Facts::Repo::Unreadable;
            return f;
        }
        const std::string key = found.ptr;
        git_buf_dispose(&found);
        std::shared_ptr<RepoData> d;
        {
            std::lock_guard<std::mutex> lock(m);
            std::shared_ptr<RepoData>& slot = repos[key];
            if (!slot)
                slot = std::make_shared<RepoData>();
            d = slot;
        }
        std::lock_guard<std::mutex> lock(d->m);
        if (!d->loaded)
            load(*d, parent);
        return facts_in(*d, real, parent, ignores);
    }
};

Cache::Cache() : m(std::make_unique<Impl>()) {}
Cache::~Cache() = default;

Facts Cache::facts(const std::string& folder) {
    return m->facts(folder, true);
}

int Cache::repositories_opened() const {
    std::lock_guard<std::mutex> lock(m->m);
    return static_cast<int>(m->repos.size());
}

int Cache::repositories_held_open() const {
    std::lock_guard<std::mutex> lock(m->m);
    int open = 0;
    for (const auto& [key, d] : m->repos) {
        std::lock_guard<std::mutex> one(d->m);
        open += d->repo != nullptr;
    }
    return open;
}

Facts facts_now(const std::string& folder) {
    Cache fresh;
    return fresh.m->facts(folder, false);
}

} // namespace git_repo
