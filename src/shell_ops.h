// Operations that hand things to the disk and the desktop.
//
// Deletion (shell_ops.cpp, no toolkit): removes files and folders for good,
// there is no trash. Every path is asked of the deletion guard and checked for
// writability first, then removed through directory descriptors only, so no
// symbolic link is ever followed below the opened parent and no other mounted
// file system is entered. Runs on the deletion worker thread; it touches no
// interface state and hands its result back whole. Any thread may call it.
//
// Desktop (shell_ops_desktop.cpp, GLib, GIO and GTK): shows items in the file
// manager, names it, lets the user pick a folder and opens links. Interface
// thread only. A bus call waits at most two seconds, so a hung file manager
// stalls the interface for no longer than that per call.
#pragma once

#include <functional>
#include <string>
#include <vector>

// Named here without the toolkit's headers, which the deletion half must not
// pull in; the declaration is the toolkit's own.
typedef struct _GtkWindow GtkWindow;

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

// A last look at one path, right before it is removed and after the guard
// let it through: a reason key (an English interface text) stops that path,
// null lets it go.
using LastCheck = std::function<const char*(const std::string& path)>;

// The same, with the last look asked for each path just before it goes; a
// path it stops fails with its reason, like any other failure.
DeleteResult delete_permanently(const std::vector<std::string>& paths, const LastCheck& last_check);

// Told of each entry the deletion has examined and is about to remove or
// enter: the folder holding it (the selected path's parent, or the selected
// path followed by the names below it) and the entry's name. It is called on
// the deleting thread, between the look and the act, which is the moment a
// tree changed by someone else can mislead a deletion. The program itself
// never sets it; tests do, to change the tree at exactly that moment instead
// of racing the walk and hoping.
using WalkStep = std::function<void(const std::string& folder, const std::string& entry)>;

// The same, telling step of each entry as it goes.
DeleteResult delete_permanently(const std::vector<std::string>& paths, const LastCheck& last_check,
                                const WalkStep& step);

// ---- Desktop ----

// The user's own file-manager command made ready to start: split the way a
// shell would split it, then every "%s" in every argument replaced by the
// path. Splitting first keeps a path with blanks or quotes in one argument.
// Empty when the command cannot be split or holds no word.
std::vector<std::string> command_argv(const std::string& command, const std::string& path);

// Shows a file or folder in the file manager: the user's own command when one
// is set (and nothing else then), else the file manager over the session bus,
// else the desktop's default handler for the folder. True when some program
// took the request.
bool reveal_in_file_manager(const std::string& path);

// The name of the file manager in use, for the settings page: the program
// that owns the file-manager service on the session bus, else the default
// application for folders; empty when neither is known.
std::string detect_file_manager();

// The desktop's own folder chooser, modal over `parent` (may be null). The
// chosen folder, or empty when the user cancels.
std::string pick_folder(GtkWindow* parent);

// Opens a link with the desktop's default handler; failures are not reported.
void open_url(const std::string& url);

} // namespace shell_ops
