// What git knows about a folder: whether a repository holds it, how many of
// the files it holds are tracked there, whether it is a submodule, and
// whether the repository's ignore rules exclude it. Everything is read through
// libgit2 (repository discovery, linked worktrees, the index, ignore rules);
// nothing here writes to a repository or runs a git command or hook.
//
// A repository that cannot be read (owned by another user, an index the
// library rejects) is reported as such and never taken for "not tracked".
//
// Threads: a Cache may be shared by any number of threads; each repository's
// index is read once per Cache, and calls into one repository are serialised.
// Between calls a Cache holds only the indexes' paths, no open repository.
// facts_now() keeps nothing between calls.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace git_repo {

struct Facts {
    enum class Repo {
        None,       // no repository holds the folder
        Readable,   // the fields below are what git says
        Unreadable, // a repository holds it but could not be read: nothing is known
    };
    Repo repo = Repo::None;
    int64_t tracked = 0;    // index entries at or below the folder
    bool submodule = false; // the folder itself is a submodule (a gitlink in the index)
    bool ignored = false;   // the ignore rules exclude the folder
};

// The repositories and indexes read so far. One per scan: an index is read
// the first time a folder of its repository is asked about, then reused.
class Cache;

// The same as Cache::facts, read afresh from the disk and without the ignore
// rules: the last look before a deletion, when the index may have changed
// since the scan.
Facts facts_now(const std::string& folder);

class Cache {
public:
    Cache();
    ~Cache();
    Cache(const Cache&) = delete;
    Cache& operator=(const Cache&) = delete;

    // folder is a path the file system understands (a scan path).
    Facts facts(const std::string& folder);
    // Repositories opened so far (readable or not), for the tests.
    int repositories_opened() const;
    // Repositories whose library object is open now, for the tests: none
    // between calls, so that a scan's memory does not grow with them.
    int repositories_held_open() const;

private:
    struct Impl;
    std::unique_ptr<Impl> m;
    friend Facts facts_now(const std::string& folder);
};

} // namespace git_repo
