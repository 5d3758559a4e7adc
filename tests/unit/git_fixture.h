// Real git repositories for tests, made with the git command inside a test's
// own temporary folder. The system's and the user's git configuration are
// kept out, so the repositories look the same on every machine.
#pragma once

#include <string>

namespace git_fixture {

// Runs `git <args>` in dir; fails the test when git does not succeed.
void git(const std::string& dir, const std::string& args);

// A new repository at dir (made if missing) with one commit of README.
void init_repo(const std::string& dir);

// Writes a small file, making the parent folders.
void write(const std::string& path, const std::string& content = "x\n");

// Adds (with -f, so ignore rules do not stop it) and commits the given paths.
void commit(const std::string& dir, const std::string& paths, const std::string& message = "c");

} // namespace git_fixture
