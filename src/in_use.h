// Whether a running program of this user is using a folder: its working
// directory, its executable or one of its open files lies in it. Asked just
// before a deletion, so that a build tool, a server or a shell still working
// in a folder does not have it pulled away from under it. Reads /proc only;
// never signals or changes anything.
// Any thread may call; nothing is kept between calls.
#pragma once

#include <string>

namespace in_use {

// Why a deletion was stopped, as an English key the interface translates.
extern const char* const REASON; // "In use by a running program"

// One pass over /proc: true when a process of this user other than this one
// has its working directory, executable or an open file at or below path (a
// scan path; resolved first, as /proc shows resolved paths). Processes whose
// entries cannot be read are passed over.
bool by_running_program(const std::string& path);

// Whether target (a path /proc shows) is path itself or lies below it.
bool is_at_or_below(const std::string& target, const std::string& path);

} // namespace in_use
