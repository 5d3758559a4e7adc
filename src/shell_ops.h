// Operations that hand things to the disk and the desktop.
//
// Deletion (shell_ops.cpp, no toolkit): removes files and folders for good,
// there is no trash. Every path is asked of the deletion guard and checked for
// writability first, then removed through directory descriptors only, so no
// symbolic link is ever followed below the opened parent and no other mounted
// file system is entered. Runs on the deletion worker thread; it touches no
// interface state and hands its result back whole. Any thread may call it.
#pragma once

#include <string>
#include <vector>

namespace shell_ops {

// Reasons are English keys ("The item could not be moved", the guard's
// reasons, ...): this runs on a worker, and the interface translates them
// where it shows them.
struct DeleteResult {
    std::vector<std::string> deleted;        // paths that are gone, in input order
    std::string error;                       // reason of the first failure, "" when all went
    int failed_count = 0;                    // number of paths that failed
    std::vector<std::string> failed;         // paths that failed, in input order
    std::vector<std::string> failed_reasons; // reason for each entry of failed, same index
};

// Removes each path (a host path, as the user sees it) with everything below
// it. A failure never stops the loop: every path ends up in deleted or in
// failed. A path that does not exist counts as deleted. A folder that could
// only be emptied in part stays, with what could not be removed, and is
// reported as failed.
DeleteResult delete_permanently(const std::vector<std::string>& paths);

} // namespace shell_ops
