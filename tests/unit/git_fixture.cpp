#include "git_fixture.h"

#include "fs_fixture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

namespace git_fixture {

namespace {

std::string quoted(const std::string& s) {
    std::string out = "'";
    for (char c : s) {
        if (c == '\'')
            out += "'\\''";
        else
            out += c;
    }
    return out + "'";
}

} // namespace

void git(const std::string& dir, const std::string& args) {
    // No system or global configuration: HOME is the test's own, and the
    // system file is switched off. Local file submodules must be allowed.
    const std::string cmd = "cd " + quoted(dir) +
                            " && GIT_CONFIG_NOSYSTEM=1 GIT_CONFIG_GLOBAL=/dev/null git"
                            " -c user.name=Test -c user.email=test@example.invalid"
                            " -c init.defaultBranch=main -c protocol.file.allow=always"
                            " -c commit.gpgsign=false " +
                            args + " >/dev/null 2>&1";
    ASSERT_EQ(std::system(cmd.c_str()), 0) << cmd;
}

void write(const std::string& path, const std::string& content) {
    fs_fixture::make_dirs(path.substr(0, path.rfind('/')));
    std::ofstream(path) << content;
}

void init_repo(const std::string& dir) {
    fs_fixture::make_dirs(dir);
    git(dir, "init -q");
    write(dir + "/README", "readme\n");
    commit(dir, "README", "first");
}

void commit(const std::string& dir, const std::string& paths, const std::string& message) {
    git(dir, "add -f -- " + paths);
    git(dir, "commit -q -m " + quoted(message));
}

} // namespace git_fixture
