// Weighing a found project folder. The table of what proves which kind of
// folder is the catalog's (catalog::artefact_rules); this file reads the disk
// and git to see which rows speak for a folder, and adds the concerns.
//
// Sections: reasons · small readers · the table · the place · judging.

#include "evidence.h"

#include "deletion_guard.h"
#include "i18n.h"
#include "paths.h"
#include "strutil.h"

#include <algorithm>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace evidence {

// ---------------------------------------------------------------------------
// Reasons
// ---------------------------------------------------------------------------

const char* const REASON_TRACKED = tr_noop("Holds files tracked by git");

namespace {

const char* const IGNORED = tr_noop("Ignored by git");
const char* const BESIDE = tr_noop("beside %s");
const char* const MARKED_BY = tr_noop("marked by %s");
const char* const ONLY_TOOL_FILES = tr_noop("Holds only what its tool writes");
const char* const TRACKED_ONE = tr_noop("Holds a file tracked by git");
const char* const TRACKED_MANY = tr_noop("Holds %s files tracked by git");
const char* const SUBMODULE = tr_noop("Is a git submodule");
const char* const OWN_REPOSITORY = tr_noop("Holds a git repository of its own");
const char* const FOREIGN_FILES = tr_noop("Holds files its tool does not write");
const char* const UNREADABLE = tr_noop("Its git repository could not be read");
const char* const HIDDEN_HOME_FOLDER = tr_noop("Inside a hidden folder of your home");
const char* const DOCUMENTS = tr_noop("Inside your documents folder");
const char* const NO_PROJECT_FILE = tr_noop("No project file beside it");
const char* const TOO_SLOW = tr_noop("Took too long to look through");

// ---------------------------------------------------------------------------
// Small readers
// ---------------------------------------------------------------------------

// The names in an open folder (the descriptor stays the caller's).
std::vector<std::string> names_in(int dir_fd) {
    std::vector<std::string> out;
    const int fd = openat(dir_fd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return out;
    DIR* dir = fdopendir(fd);
    if (!dir) {
        close(fd);
        return out;
    }
    while (const dirent* e = readdir(dir)) {
        if (std::strcmp(e->d_name, ".") != 0 && std::strcmp(e->d_name, "..") != 0)
            out.emplace_back(e->d_name);
    }
    closedir(dir);
    return out;
}

// A regular file (not a link) of that name in the open folder.
bool has_file(int dir_fd, const std::string& name) {
    struct stat st {};
    return dir_fd >= 0 && fstatat(dir_fd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISREG(st.st_mode);
}

bool has_entry(int dir_fd, const char* name) {
    struct stat st {};
    return dir_fd >= 0 && fstatat(dir_fd, name, &st, AT_SYMLINK_NOFOLLOW) == 0;
}

// The first `limit` bytes of a regular file in the open folder.
std::string head_of(int dir_fd, const std::string& name, size_t limit) {
    const int fd = openat(dir_fd, name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return "";
    std::string out(limit, '\0');
    size_t got = 0;
    while (got < limit) {
        const ssize_t n = read(fd, out.data() + got, limit - got);
        if (n <= 0)
            break;
        got += static_cast<size_t>(n);
    }
    close(fd);
    out.resize(got);
    return out;
}

bool is_pattern(const std::string& s) {
    return s.find_first_of("*?[") != std::string::npos;
}

// A cache-directory tag is a file whose first line is this exact signature;
// a file of that name without it is not one.
bool is_cachedir_tag(int dir_fd) {
    static const std::string SIGNATURE = "Signature: 8a477f597d28d172789f06886806bc55";
    return has_file(dir_fd, "CACHEDIR.TAG") &&
           head_of(dir_fd, "CACHEDIR.TAG", SIGNATURE.size()) == SIGNATURE;
}

// Whether a tsconfig.json names `folder` as its output directory. The file
// may hold comments; an "outDir" on a line commented out does not count.
bool outdir_names(const std::string& text, const std::string& folder) {
    const std::string key = "\"outDir\"";
    for (size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + 1)) {
        const size_t line_start = text.rfind('\n', at);
        const size_t from = line_start == std::string::npos ? 0 : line_start + 1;
        if (text.substr(from, at - from).find("//") != std::string::npos)
            continue;
        size_t p = at + key.size();
        while (p < text.size() && (text[p] == ' ' || text[p] == '\t'))
            ++p;
        if (p >= text.size() || text[p] != ':')
            continue;
        ++p;
        while (p < text.size() && (text[p] == ' ' || text[p] == '\t'))
            ++p;
        if (p >= text.size() || text[p] != '"')
            continue;
        const size_t end = text.find('"', p + 1);
        if (end == std::string::npos)
            continue;
        std::string value = text.substr(p + 1, end - p - 1);
        if (su::starts_with(value, "./"))
            value = value.substr(2);
        while (value.size() > 1 && value.back() == '/')
            value.pop_back();
        if (value == folder)
            return true;
    }
    return false;
}

// ---------------------------------------------------------------------------
// The table
// ---------------------------------------------------------------------------

bool rule_applies(const ArtefactRule& r, const std::string& name) {
    if (r.name == "*" || r.name == name)
        return true;
    return is_pattern(r.name) && fnmatch(r.name.c_str(), name.c_str(), 0) == 0;
}

// The first project file of the row's `beside` list found among `names`
// (the folder's siblings), or "". Only regular files count.
std::string beside_in(int parent_fd, const ArtefactRule& r, const std::vector<std::string>& names) {
    for (const std::string& pattern : r.beside) {
        if (!is_pattern(pattern)) {
            if (has_file(parent_fd, pattern))
                return pattern;
            continue;
        }
        for (const std::string& n : names)
            if (fnmatch(pattern.c_str(), n.c_str(), 0) == 0 && has_file(parent_fd, n))
                return n;
    }
    return "";
}

// The first marker of the list present in the folder, or "".
std::string marker_in(int dir_fd, const std::vector<std::string>& markers) {
    for (const std::string& m : markers) {
        if (m == "CACHEDIR.TAG" ? is_cachedir_tag(dir_fd) : has_file(dir_fd, m))
            return m;
    }
    return "";
}

// What the rows of the table say of one folder.
struct TableFindings {
    std::vector<std::string> beside; // project files found, in table order, each once
    std::vector<std::string> inside; // markers found, each once
    bool content_checked = false;
    bool content_foreign = false;
};

void add_once(std::vector<std::string>& list, const std::string& s) {
    if (std::find(list.begin(), list.end(), s) == list.end())
        list.push_back(s);
}

TableFindings read_table(int parent_fd, int dir_fd, const std::string& name) {
    TableFindings t;
    std::vector<std::string> parent_names; // read once, when a pattern needs it
    bool parent_listed = false;
    auto beside_match = [&](const ArtefactRule& r) -> std::string {
        for (const std::string& pattern : r.beside) {
            if (!is_pattern(pattern)) {
                if (!has_file(parent_fd, pattern))
                    continue;
                if (r.names_it_as_output &&
                    !outdir_names(head_of(parent_fd, pattern, 64 * 1024), name))
                    continue;
                return pattern;
            }
            if (!parent_listed) {
                parent_names = names_in(parent_fd);
                parent_listed = true;
            }
            for (const std::string& n : parent_names)
                if (fnmatch(pattern.c_str(), n.c_str(), 0) == 0 && has_file(parent_fd, n))
                    return n;
        }
        return "";
    };
    for (const ArtefactRule& r : catalog::artefact_rules()) {
        if (!rule_applies(r, name))
            continue;
        if (!r.only.empty()) {
            // Everything directly inside must be what the tool writes.
            t.content_checked = true;
            for (const std::string& entry : names_in(dir_fd)) {
                const bool allowed =
                    std::any_of(r.only.begin(), r.only.end(), [&](const std::string& p) {
                        return fnmatch(p.c_str(), entry.c_str(), 0) == 0;
                    });
                if (!allowed)
                    t.content_foreign = true;
            }
            continue;
        }
        if (r.beside.empty() && r.inside.empty())
            continue;
        const std::string beside = r.beside.empty() ? "" : beside_match(r);
        if (!r.beside.empty() && beside.empty())
            continue;
        const std::string inside = r.inside.empty() ? "" : marker_in(dir_fd, r.inside);
        if (!r.inside.empty() && inside.empty())
            continue;
        if (!beside.empty())
            add_once(t.beside, beside);
        if (!inside.empty())
            add_once(t.inside, inside);
    }
    return t;
}

// ---------------------------------------------------------------------------
// The place
// ---------------------------------------------------------------------------

struct Place {
    std::string home;
    std::vector<std::string> documents;
};

// The home and its documents folders (the English name and the one
// "user-dirs.dirs" gives), read once.
const Place& place() {
    static const Place p = [] {
        Place out;
        out.home = deletion_guard::normalize(real_home());
        if (out.home.empty())
            return out;
        out.documents.push_back(out.home + "/Documents");
        std::ifstream in(out.home + "/.config/user-dirs.dirs", std::ios::binary);
        if (in) {
            const std::string text((std::istreambuf_iterator<char>(in)),
                                   std::istreambuf_iterator<char>());
            const std::string named = deletion_guard::user_dir(out.home, text, "XDG_DOCUMENTS_DIR");
            // Some set it to the home itself; that would make every folder a document.
            if (!named.empty() && named != out.home)
                out.documents.push_back(named);
        }
        return out;
    }();
    return p;
}

bool in_hidden_home_folder(const std::string& path, const Place& p) {
    if (p.home.empty() || !deletion_guard::is_inside(path, p.home) || path == p.home)
        return false;
    const std::string rest = p.home == "/" ? path.substr(1) : path.substr(p.home.size() + 1);
    // The candidate itself may be hidden (~/.venv); what counts is a hidden
    // folder around it, where tools and editors keep their own things.
    return !rest.empty() && rest[0] == '.' && rest.find('/') != std::string::npos;
}

bool in_documents(const std::string& path, const Place& p) {
    return std::any_of(p.documents.begin(), p.documents.end(),
                       [&](const std::string& d) { return deletion_guard::is_inside(path, d); });
}

} // namespace

// ---------------------------------------------------------------------------
// Judging
// ---------------------------------------------------------------------------

bool is_artefact(int parent_fd, const char* name, const std::vector<std::string>* siblings) {
    bool needs_evidence = false;
    std::vector<std::string> listed; // the parent's names, read only when no caller gave them
    for (const ArtefactRule& r : catalog::artefact_rules()) {
        if (!r.required || !rule_applies(r, name))
            continue;
        needs_evidence = true;
        if (!r.beside.empty()) {
            const bool patterns = std::any_of(r.beside.begin(), r.beside.end(), is_pattern);
            if (patterns && !siblings && listed.empty())
                listed = names_in(parent_fd);
            if (beside_in(parent_fd, r, siblings ? *siblings : listed).empty())
                continue;
        }
        if (!r.inside.empty()) {
            const int fd =
                openat(parent_fd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (fd < 0)
                continue;
            const bool found = !marker_in(fd, r.inside).empty();
            close(fd);
            if (!found)
                continue;
        }
        return true;
    }
    return !needs_evidence;
}

Verdict judge(const std::string& path, git_repo::Cache& repos, bool holds_git) {
    const std::string scan = to_scan_path(path);
    const std::string name = su::basename_of(scan);
    const std::string parent = su::parent_of(scan);
    const int parent_fd = open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const int dir_fd = parent_fd < 0 ? -1
                                     : openat(parent_fd, name.c_str(),
                                              O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    const TableFindings table = dir_fd < 0 ? TableFindings{} : read_table(parent_fd, dir_fd, name);
    const bool own_git = holds_git || has_entry(dir_fd, ".git");
    if (dir_fd >= 0)
        close(dir_fd);
    if (parent_fd >= 0)
        close(parent_fd);

    std::vector<Reason> risky, caution, good;
    const git_repo::Facts git = repos.facts(scan);
    if (git.repo == git_repo::Facts::Repo::Readable) {
        if (git.submodule)
            risky.push_back({SUBMODULE, "", -1, SafetyLevel::Risky});
        else if (git.tracked == 1)
            risky.push_back({TRACKED_ONE, "", -1, SafetyLevel::Risky});
        else if (git.tracked > 1)
            risky.push_back({TRACKED_MANY, "", git.tracked, SafetyLevel::Risky});
        if (git.ignored)
            good.push_back({IGNORED, "", -1, SafetyLevel::Safe});
    } else if (git.repo == git_repo::Facts::Repo::Unreadable) {
        caution.push_back({UNREADABLE, "", -1, SafetyLevel::Caution});
    }
    // A submodule's checkout holds its ".git"; that is said already.
    if (own_git && !git.submodule)
        risky.push_back({OWN_REPOSITORY, "", -1, SafetyLevel::Risky});
    if (table.content_foreign)
        risky.push_back({FOREIGN_FILES, "", -1, SafetyLevel::Risky});

    const bool proven = !table.beside.empty() || !table.inside.empty() ||
                        (table.content_checked && !table.content_foreign);
    if (!proven)
        caution.push_back({NO_PROJECT_FILE, "", -1, SafetyLevel::Caution});
    const std::string display = deletion_guard::normalize(path);
    if (in_hidden_home_folder(display, place()))
        caution.push_back({HIDDEN_HOME_FOLDER, "", -1, SafetyLevel::Caution});
    if (in_documents(display, place()))
        caution.push_back({DOCUMENTS, "", -1, SafetyLevel::Caution});

    for (const std::string& f : table.beside)
        good.push_back({BESIDE, f, -1, SafetyLevel::Safe});
    for (const std::string& m : table.inside)
        good.push_back({MARKED_BY, m, -1, SafetyLevel::Safe});
    if (table.content_checked && !table.content_foreign)
        good.push_back({ONLY_TOOL_FILES, "", -1, SafetyLevel::Safe});

    Verdict v;
    v.level = !risky.empty()     ? SafetyLevel::Risky
              : !caution.empty() ? SafetyLevel::Caution
                                 : SafetyLevel::Safe;
    v.reasons = std::move(risky);
    v.reasons.insert(v.reasons.end(), caution.begin(), caution.end());
    v.reasons.insert(v.reasons.end(), good.begin(), good.end());
    return v;
}

Verdict not_looked_through() {
    Verdict v;
    v.level = SafetyLevel::Caution;
    v.reasons.push_back({TOO_SLOW, "", -1, SafetyLevel::Caution});
    return v;
}

const char* tracked_now(const std::string& path) {
    const git_repo::Facts f = git_repo::facts_now(to_scan_path(path));
    return f.repo == git_repo::Facts::Repo::Readable && f.tracked > 0 ? REASON_TRACKED : nullptr;
}

} // namespace evidence
