// Judges a folder that the project search found by its name: is it really
// the output of a tool, recreated by the next build, or could it hold work?
// A name alone proves nothing (a "build" folder may hold committed icons, an
// "out" folder a thesis's only figures), so each folder is weighed by what
// speaks for it (a project file beside it, a marker its tool writes inside,
// content that only its tool writes, git ignoring it) and what speaks against
// it (files tracked by git, a repository of its own, files its tool does not
// write, a place where the user keeps own things, a repository that cannot be
// read). Only a folder with real evidence and no concern is Safe.
//
// Reads the file system and git (through git_repo); never writes. Any thread
// may call; a git_repo::Cache shared between calls is thread-safe.
#pragma once

#include "catalog.h"
#include "git_repo.h"

#include <cstdint>
#include <string>
#include <vector>

namespace evidence {

// One thing said for or against deleting a folder, shown on its row.
struct Reason {
    const char* key = nullptr; // English interface text, with one "%s" when arg or count is used
    std::string arg;           // fills "%s": a file name
    int64_t count = -1;        // fills "%s" as a formatted number when not negative
    // Safe: evidence for deleting. Caution or Risky: a concern, and how much it weighs.
    SafetyLevel weight = SafetyLevel::Safe;

    bool concern() const { return weight != SafetyLevel::Safe; }
    bool operator==(const Reason& o) const {
        return std::string(key ? key : "") == (o.key ? o.key : "") && arg == o.arg &&
               count == o.count && weight == o.weight;
    }
};

struct Verdict {
    SafetyLevel level = SafetyLevel::Caution;
    std::vector<Reason> reasons; // concerns first, the weightiest first, then evidence
};

// The reasons a deletion is refused at the last moment, as English keys.
extern const char* const REASON_TRACKED; // "Holds files tracked by git"

// Whether the folder `name` inside the open folder parent_fd is the kind of
// folder its name says at all: a "venv" without "pyvenv.cfg" is not a virtual
// environment (the Python library has a package of that name), and a "bin"
// without a .NET project file beside it is nobody's build output; neither is
// offered. Kinds that need no evidence always are. siblings: the names in
// parent_fd when the caller has read them already, so that they are not
// read again; null to have them read here when a pattern needs them.
bool is_artefact(int parent_fd, const char* name,
                 const std::vector<std::string>* siblings = nullptr);

// Weighs one found folder (a display path). holds_git: its measurement met a
// ".git" somewhere below it. repos: the scan's repositories, read once each.
Verdict judge(const std::string& path, git_repo::Cache& repos, bool holds_git);

// The verdict on a folder whose measurement was given up at its deadline.
// Its tree was not seen in full, so a repository deep inside may have been
// missed, and whatever made it slow (a hung network mount, say) would stall
// the weighing too: it is not read again, and it is not Safe.
Verdict not_looked_through();

// The last look before deleting a path: REASON_TRACKED when git, read afresh,
// now tracks a file at or below it (or it is a submodule); null otherwise.
const char* tracked_now(const std::string& path);

} // namespace evidence
