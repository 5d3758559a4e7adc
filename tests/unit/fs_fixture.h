// Small helpers that build file trees inside a test's own temporary folder,
// and a path-based reference measurement to check the scanner against.
// Nothing here deletes anything.
#pragma once

#include <cstdint>
#include <ctime>
#include <map>
#include <string>
#include <vector>

namespace fs_fixture {

// mkdir -p; fails the test when a folder cannot be made.
void make_dirs(const std::string& path);
// Writes `bytes` bytes of data (not sparse), making the parent folders.
void write_file(const std::string& path, std::size_t bytes = 10);
void make_link(const std::string& target, const std::string& link);
void make_hard_link(const std::string& existing, const std::string& link);
// Sets the modification (and access) time of a path without following a link.
void set_times(const std::string& path, time_t mtime, time_t atime = 0);

struct Reference {
    int64_t bytes = 0;
    time_t newest = 0;
};

// The measurement rules written plainly over full paths with lstat:
// allocated blocks x 512, links skipped, a multiply linked file counted once
// per call. What the descriptor-based walk must agree with.
Reference reference_measure(const std::string& path);

// Path below the root (starting with "/") -> what can be seen of the entry:
// its mode and owner, for a file its size, change time, inode and a checksum
// of its bytes, for a link its target. Directory times are left out
// (removing an entry changes its folder's), and so are link counts and change
// times (removing a hard link changes its file's).
using Manifest = std::map<std::string, std::string>;

// Everything below root except the given paths and what lies below them.
Manifest manifest(const std::string& root, const std::vector<std::string>& except = {});

// What changed from one manifest to the other, outside the selected entries:
// selected holds manifest keys ("/sel/a"), and an entry counts as selected
// when it is one of them or lies below one ("/sel/a/x", not "/sel/ab"). One
// line per entry, "added /x: ...", "removed /x: ..." or "changed /x: before
// -> after", in key order; empty when nothing outside the selection changed.
std::vector<std::string> differences(const Manifest& before, const Manifest& after,
                                     const std::vector<std::string>& selected = {});

} // namespace fs_fixture
