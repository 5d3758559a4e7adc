// Builds a synthetic developer home for the scan benchmark and the tests that
// compare the parallel walk with the single-threaded one: caches shaped like
// the real ones (Gradle module trees, the npm content-addressed cache, pip and
// Cargo caches, Android SDK versions, rustup toolchains) and a projects tree
// with many node_modules, build folders, __pycache__ and virtual environments,
// plus hard links, symbolic links (one of them a loop), sparse files and an
// unreadable folder. Every project is a git repository (made with the git
// command, which must be installed): a few with thousands of committed source
// files, most ignoring their build output, some committing it. The same scale
// always gives the same tree. Above scale 1 the tree grows by having more
// projects, repositories and cache entries, each as big as at scale 1, so the
// entries grow in proportion to the scale.
//
// With Data::holes every file gets its size as a hole (no data blocks), so a
// tree of ten million entries fits on an ordinary disk; the entries, names
// and apparent sizes are those of Data::real, only the blocks differ.
//
// It only creates, inside the folder it is given; it never deletes anything.
// unlock() gives back read access to the locked folder so that the caller's
// own clean-up can remove the tree.
#pragma once

#include <cstdint>
#include <string>

namespace fixture_home {

struct Result {
    bool ok = false;
    std::string error;   // what failed, when ok is false
    int64_t entries = 0; // files, folders and links created below home
};

enum class Data {
    real,  // files hold their bytes
    holes, // files hold no blocks, only their apparent size
};

// Fills `home` (an existing empty folder) at `scale`; 1.0 gives about one
// million entries, 0.05 about fifty thousand, 10 about ten million.
Result build(const std::string& home, double scale, Data data = Data::real);

// Makes every folder of the tree readable again (the fixture locks one), so
// that an ordinary recursive removal of the caller's temporary folder works.
void unlock(const std::string& home);

} // namespace fixture_home
