// Running code that deletes, in tests, so that it can only ever change the
// test's own temporary folder.
//
// A test that deletes anything does it in a child process (in_child) that
// first calls seal_all_but(folder): the child gets a mount namespace of its
// own in which every file system is read-only except a bind mount of the test
// folder. Whatever the code under test does wrong there, following a link or
// climbing through "..", it cannot reach anything else. Before handing a path
// to such code, tests also check it with safe_to_delete().
#pragma once

#include <functional>
#include <string>
#include <sys/types.h>

namespace sealed {

constexpr uid_t NOBODY = 65534;
constexpr gid_t NOGROUP = 65534;

// The path with "." and ".." applied as text and slashes collapsed.
std::string lexical(const std::string& path);
// realpath(), or "" when the path cannot be resolved.
std::string real(const std::string& path);
bool strictly_inside(const std::string& p, const std::string& root);
// Whether deleting path could only ever touch something inside root: it is
// absolute, strictly inside root as text and after "." and "..", and the
// nearest existing folder holding it really lies inside root.
bool safe_to_delete(const std::string& root, const std::string& path, std::string& why);

struct ChildOutcome {
    int exit_code = -1; // -1 when the child did not exit normally
    std::string output;
};

// Runs body in a forked child; what it returns is handed back as output.
// The child ends with status 0, or with the status body sets in code.
ChildOutcome in_child(const std::function<std::string(int& code)>& body);

// In a child only: makes every file system read-only for this process except
// root (the test folder, resolved). False when that could not be done; then
// nothing may be deleted.
bool seal_all_but(const std::string& root);

// In a sealed child only: turns it into an unprivileged user (root becomes
// nobody; inside a user namespace every capability is dropped), so that
// permission bits apply.
bool become_unprivileged();

} // namespace sealed
