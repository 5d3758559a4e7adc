// How the C library's allocator is set up for this program, before any
// thread starts.
//
// The scan runs up to six walking threads, and glibc gives every new thread
// that allocates an arena of its own, up to eight per core. Each arena
// keeps the pages its thread's short-lived names and lists once used, so the
// program's resident memory grew with the size of the home rather than with
// what it holds: on a benchmark home of three million entries the scan's peak
// was about 36 MiB with the default arenas and 27.5 MiB with two, at the same speed
// (the walk waits on the file system, not on malloc, and every thread has its
// own cache of small blocks in front of the arenas).
#pragma once

namespace heap_limits {

// The most arenas the allocator will make; threads beyond that share them.
constexpr int MAX_ARENAS = 2;

// Caps the allocator's arenas at MAX_ARENAS. Call first thing in main(): an
// arena made before the call stays. Does nothing outside glibc.
void apply();

} // namespace heap_limits
