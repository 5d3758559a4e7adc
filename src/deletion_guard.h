// Answers one question for a path: may it be deleted, and if not, why. It is
// the last net under every caller: system trees, the user's own irreplaceable
// folders, other users' homes, mount points, read-only places, and any path
// that still holds a "." or ".." component or a NUL byte are refused. Never deletes, never
// writes; it only reads the mount table, the home's "user-dirs.dirs" and, for
// links, lstat and realpath.
// Any thread may call. The lists are built on first use under a thread-safe
// one-time initialisation (the home and "user-dirs.dirs" are read then, once
// per process) and only read afterwards.
#pragma once

#include <string>
#include <unordered_set>
#include <vector>

namespace deletion_guard {

// The reasons, as English keys that the interface translates where it shows them.
extern const char* const REASON_SYSTEM;     // "Protected system location"
extern const char* const REASON_OTHER_HOME; // "Another user's home directory"
extern const char* const REASON_READ_ONLY;  // "Read-only location"

// True when the path must not be deleted.
bool is_protected(const std::string& path);

// The reason key when the path must not be deleted, null when it may be.
const char* reason_key(const std::string& path);

// ---- Pieces of the classification, visible for the tests and fuzzers ----

// Collapses runs of "/" and removes trailing "/" while longer than one byte.
// Nothing else: "." and ".." stay, "" stays "".
std::string normalize(const std::string& path);

// True when some component of the path is "." or "..".
bool has_dot_component(const std::string& path);

// p is root or below it; every path is inside "/", nothing inside "".
bool is_inside(const std::string& p, const std::string& root);

// p is exactly one component below parent.
bool is_direct_child(const std::string& p, const std::string& parent);

// Trees refused with everything below them, in order.
const std::vector<std::string>& protected_trees();

// Paths refused themselves while what lies below may go: fixed system
// folders, the home, its standard folders and those named in "user-dirs.dirs".
const std::unordered_set<std::string>& protected_exact();

// The folders that a "user-dirs.dirs" text names, for the given home: quoted
// values that begin with "$HOME/" or "/", normalised. Everything else is ignored.
std::vector<std::string> user_dirs_paths(const std::string& home, const std::string& text);

// The folder one variable of a "user-dirs.dirs" text names ("XDG_DOCUMENTS_DIR",
// say), read by the same rules; the last entry wins, "" when there is none.
std::string user_dir(const std::string& home, const std::string& text, const std::string& variable);

} // namespace deletion_guard
