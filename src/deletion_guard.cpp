#include "deletion_guard.h"

#include "i18n.h"
#include "mounts.h"
#include "paths.h"
#include "strutil.h"

#include <climits>
#include <cstdlib>
#include <fstream>
#include <sys/stat.h>

namespace deletion_guard {

const char* const REASON_SYSTEM = tr_noop("Protected system location");
const char* const REASON_OTHER_HOME = tr_noop("Another user's home directory");
const char* const REASON_READ_ONLY = tr_noop("Read-only location");

namespace {

const char* const TREES[] = {"/bin",   "/boot",  "/sbin", "/lib",  "/libx32",
                             "/lib64", "/lib32", "/usr",  "/etc",  "/proc",
                             "/sys",   "/dev",   "/run",  "/snap", "/var/lib/snapd"};

const char* const SYSTEM_EXACT[] = {"/",    "/root", "/srv",   "/home", "/var",
                                    "/opt", "/tmp",  "/media", "/mnt"};

const char* const HOME_FOLDERS[] = {
    "Desktop", "Documents", "Downloads",    "Music",  "Pictures", "Videos", "Templates", "Public",
    ".config", ".local",    ".local/share", ".cache", ".ssh",     ".gnupg", ".var",      "snap"};

// realpath() of the path, normalised; the path unchanged when it cannot be
// resolved (missing, unreadable, or too long for the buffer).
std::string resolve(const std::string& p) {
    char buf[PATH_MAX];
    if (!realpath(p.c_str(), buf))
        return p;
    return normalize(buf);
}

bool is_mount_point(const std::string& p) {
    for (const mounts::Mount& m : mounts::all()) {
        if (normalize(m.point) == p)
            return true;
    }
    return false;
}

bool in_tree(const std::string& p) {
    for (const std::string& root : protected_trees()) {
        if (is_inside(p, root))
            return true;
    }
    return false;
}

std::unordered_set<std::string> build_exact() {
    std::unordered_set<std::string> set;
    for (const char* p : SYSTEM_EXACT)
        set.insert(p);
    const std::string raw_home = real_home();
    if (raw_home.empty())
        return set;
    const std::string home = normalize(raw_home);
    set.insert(home);
    for (const char* sub : HOME_FOLDERS)
        set.insert(normalize(home + "/" + sub));
    std::ifstream in(raw_home + "/.config/user-dirs.dirs", std::ios::binary);
    if (in) {
        std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        for (const std::string& p : user_dirs_paths(home, text))
            set.insert(p);
    }
    return set;
}

const char* classify(const std::string& path) {
    const std::string p = normalize(path);
    // A relative path depends on the working directory: never deleted.
    if (p.empty() || p[0] != '/')
        return REASON_SYSTEM;
    // "w/sub/.." names "w" while its text looks like something below "w/sub";
    // every later rule reads the text, so such a path is never judged at all.
    // A NUL byte is the same trap: the system sees only the text before it,
    // so "w/sub/..<NUL>" would reach "w" past the rule above.
    if (has_dot_component(p) || p.find('\0') != std::string::npos)
        return REASON_SYSTEM;
    // Covers "/" and every separately mounted disk, home or partition.
    if (is_mount_point(p))
        return REASON_SYSTEM;
    if (!is_writable_location(p))
        return REASON_READ_ONLY;
    if (protected_exact().count(p))
        return REASON_SYSTEM;
    if (in_tree(p))
        return REASON_SYSTEM;
    // The user's own home under "/home" is already in the exact set.
    if (is_direct_child(p, "/home"))
        return REASON_OTHER_HOME;
    const std::string home = normalize(real_home());
    if (!home.empty() && p != home && is_inside(home, p))
        return REASON_SYSTEM;
    // Removing a link never touches its target.
    struct stat st {};
    if (lstat(p.c_str(), &st) == 0 && S_ISLNK(st.st_mode))
        return nullptr;
    const std::string r = resolve(p);
    if (r == p)
        return nullptr;
    // The path runs through a link to a directory: judge where it really
    // leads. Writability and the home's ancestors were settled on the text.
    if (protected_exact().count(r) || in_tree(r))
        return REASON_SYSTEM;
    if (is_direct_child(r, "/home"))
        return REASON_OTHER_HOME;
    if (is_mount_point(r))
        return REASON_SYSTEM;
    return nullptr;
}

} // namespace

std::string normalize(const std::string& path) {
    std::string out;
    out.reserve(path.size());
    for (char c : path) {
        if (c == '/' && !out.empty() && out.back() == '/')
            continue;
        out.push_back(c);
    }
    while (out.size() > 1 && out.back() == '/')
        out.pop_back();
    return out;
}

bool has_dot_component(const std::string& path) {
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t end = path.find('/', start);
        if (end == std::string::npos)
            end = path.size();
        const std::size_t len = end - start;
        if ((len == 1 && path[start] == '.') ||
            (len == 2 && path[start] == '.' && path[start + 1] == '.'))
            return true;
        start = end + 1;
    }
    return false;
}

bool is_inside(const std::string& p, const std::string& root) {
    if (root.empty())
        return false;
    if (root == "/" || p == root)
        return true;
    return su::starts_with(p, root + "/");
}

bool is_direct_child(const std::string& p, const std::string& parent) {
    if (parent.empty() || p.size() <= parent.size() + 1)
        return false;
    if (!su::starts_with(p, parent + "/"))
        return false;
    return p.find('/', parent.size() + 1) == std::string::npos;
}

const std::vector<std::string>& protected_trees() {
    static const std::vector<std::string> trees(std::begin(TREES), std::end(TREES));
    return trees;
}

const std::unordered_set<std::string>& protected_exact() {
    static const std::unordered_set<std::string> set = build_exact();
    return set;
}

namespace {

// Calls fn(variable, folder) for every entry of a "user-dirs.dirs" text whose
// quoted value begins with "$HOME/" or "/"; no other variable is expanded.
template <class Fn>
void for_each_user_dir(const std::string& home, const std::string& text, Fn&& fn) {
    std::size_t pos = 0;
    while (pos < text.size()) {
        std::size_t nl = text.find('\n', pos);
        if (nl == std::string::npos)
            nl = text.size();
        const std::string line = text.substr(pos, nl - pos);
        pos = nl + 1;
        const std::size_t eq = line.find('=');
        if (line.empty() || line[0] == '#' || eq == std::string::npos)
            continue;
        std::string value = line.substr(eq + 1);
        if (value.size() < 2 || value.front() != '"' || value.back() != '"')
            continue;
        value = value.substr(1, value.size() - 2);
        // Entries are normalised like every path they are compared with, so
        // "$HOME/Bilder/" protects the same folder as "$HOME/Bilder".
        if (su::starts_with(value, "$HOME/"))
            fn(line.substr(0, eq), normalize(home + value.substr(5)));
        else if (su::starts_with(value, "/"))
            fn(line.substr(0, eq), normalize(value));
    }
}

} // namespace

std::vector<std::string> user_dirs_paths(const std::string& home, const std::string& text) {
    std::vector<std::string> out;
    for_each_user_dir(
        home, text, [&](const std::string&, const std::string& folder) { out.push_back(folder); });
    return out;
}

std::string user_dir(const std::string& home, const std::string& text,
                     const std::string& variable) {
    std::string found;
    for_each_user_dir(home, text, [&](const std::string& name, const std::string& folder) {
        if (name == variable)
            found = folder;
    });
    return found;
}

bool is_protected(const std::string& path) {
    return classify(path) != nullptr;
}

const char* reason_key(const std::string& path) {
    return classify(path);
}

} // namespace deletion_guard
