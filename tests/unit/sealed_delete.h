// Deleting in a sealed child, for every test that hands paths to the
// deletion: the child seals the system read-only around the test folder (see
// sealed.h), runs shell_ops::delete_permanently there and sends its result
// record back whole. Paths are checked with safe_to_delete() first; a path
// that fails the check fails the test and nothing is deleted.
//
// Test thread only; the hooks of Options run in the child, the walk's step
// and last look on its deleting thread.
#pragma once

#include "shell_ops.h"
#include "test_env.h"

#include <atomic>
#include <functional>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace sealed {

constexpr int SEAL_FAILED = 90;
constexpr int DROP_FAILED = 91;
constexpr int CHROOT_FAILED = 92;
constexpr int LIMIT_FAILED = 93;

// The result record as text, to cross from the child to the test, and back.
std::string encode(const shell_ops::DeleteResult& r);
bool decode(const std::string& text, shell_ops::DeleteResult& r);

// What a sealed deletion may do besides deleting. The hooks run in the child.
struct Options {
    bool unprivileged = false;   // delete as an unprivileged user
    bool chrooted = false;       // lock the child into the test folder; paths are seen from inside
    rlim_t fd_limit = 0;         // a lower limit of open descriptors for the deletion
    std::function<int()> before; // once sealed; a non-zero result ends the child with it
    std::function<void(const std::atomic<bool>& stop)> during; // a thread beside the deletion
    std::function<int()> after;      // after the deletion; a non-zero result is the exit code
    shell_ops::LastCheck last_check; // asked for each path just before it goes
    shell_ops::WalkStep step;        // told of each entry between its look and its removal
};

struct Sealed {
    int code = -1; // the child's exit code; 0 when everything went as planned
    shell_ops::DeleteResult result;
};

// Deletes paths in a sealed child. Outside chroot mode, also refuses (failing
// the test, deleting nothing) any path that is not safely inside the folder.
Sealed delete_sealed(const test_env::TempHome& t, const std::vector<std::string>& paths,
                     const Options& o = {});

// The usual way tests delete: sealed, and every hook must have agreed. A
// child that ended otherwise fails the test and gives failed_count -1.
shell_ops::DeleteResult delete_inside(const test_env::TempHome& t,
                                      const std::vector<std::string>& paths, const Options& o = {});

// Gives an entry to the unprivileged user (when the tests run as root).
void give_to_nobody(const std::string& path);

// Lets an unprivileged child open the test folder: the folder made by
// mkdtemp is 0700 and owned by root.
void open_test_folder(const test_env::TempHome& t);

} // namespace sealed
