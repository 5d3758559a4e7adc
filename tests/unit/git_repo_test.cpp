// What git says of a folder, read through libgit2 from repositories the
// tests make with git in their own temporary folder; and the scan's cache
// shared by many threads at once.

#include "git_repo.h"

#include "fs_fixture.h"
#include "git_fixture.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using git_fixture::commit;
using git_fixture::init_repo;
using git_fixture::write;
using Repo = git_repo::Facts::Repo;

TEST(GitRepo, AFolderOutsideAnyRepositoryIsInNone) {
    test_env::TempHome t;
    write(t.path("home/plain/build/x"));
    git_repo::Cache repos;
    const git_repo::Facts f = repos.facts(t.path("home/plain/build"));
    EXPECT_EQ(f.repo, Repo::None);
    EXPECT_EQ(f.tracked, 0);
    EXPECT_EQ(repos.repositories_opened(), 0);
}

TEST(GitRepo, TrackedEntriesBelowAFolderAreCountedAndNothingBeside) {
    test_env::TempHome t;
    const std::string r = t.path("home/r");
    init_repo(r);
    write(r + "/out/a");
    write(r + "/out/sub/b");
    write(r + "/out.txt");
    write(r + "/outer/c");
    commit(r, "out/a out/sub/b out.txt outer/c");
    git_repo::Cache repos;
    const git_repo::Facts f = repos.facts(r + "/out");
    EXPECT_EQ(f.repo, Repo::Readable);
    EXPECT_EQ(f.tracked, 2);
    EXPECT_FALSE(f.submodule);
    EXPECT_FALSE(f.ignored);
    EXPECT_EQ(repos.facts(r + "/out/sub").tracked, 1);
}

// Names that sort right around "out/" byte by byte: '!', '-' and '.' come
// before '/', '0' right after it, and a non-ASCII byte after everything. Only
// the entries below the folder count, however many there are.
TEST(GitRepo, NamesSortingBesideTheFolderAreNotCountedInIt) {
    test_env::TempHome t;
    const std::string r = t.path("home/r");
    init_repo(r);
    std::string paths;
    for (const char* p : {"out/a", "out/sub/b", "out!x", "out-y/c", "out.txt", "out0/z",
                          "out\xc3\xa9/w", "ou/v", "outer/u"}) {
        write(r + "/" + p);
        paths += std::string(" '") + p + "'";
    }
    for (int k = 0; k < 1500; ++k)
        write(r + "/big/d" + std::to_string(k % 7) + "/f" + std::to_string(k));
    commit(r, paths + " big");
    git_repo::Cache repos;
    EXPECT_EQ(repos.facts(r + "/out").tracked, 2);
    EXPECT_EQ(repos.facts(r + "/out/sub").tracked, 1);
    EXPECT_EQ(repos.facts(r + "/out0").tracked, 1);
    EXPECT_EQ(repos.facts(r + "/out\xc3\xa9").tracked, 1);
    EXPECT_EQ(repos.facts(r + "/out-y").tracked, 1);
    EXPECT_EQ(repos.facts(r + "/ou").tracked, 1);
    EXPECT_EQ(repos.facts(r + "/big").tracked, 1500);
    EXPECT_EQ(repos.facts(r + "/big/d3").tracked, 214);
    EXPECT_EQ(repos.facts(r + "/big/d0").tracked, 215);
    // A file is its own entry; a name that is in no entry counts nothing.
    EXPECT_EQ(repos.facts(r + "/out.txt").tracked, 1);
    EXPECT_FALSE(repos.facts(r + "/out.txt").submodule);
    write(r + "/o/x");
    EXPECT_EQ(repos.facts(r + "/o").tracked, 0);
    EXPECT_EQ(repos.facts(r + "/o").repo, Repo::Readable);
}

TEST(GitRepo, AFolderReachedThroughALinkIsJudgedWhereItReallyIs) {
    test_env::TempHome t;
    const std::string r = t.path("home/real/r");
    init_repo(r);
    write(r + "/target/keep");
    commit(r, "target/keep");
    fs_fixture::make_link(t.path("home/real"), t.path("home/code"));
    git_repo::Cache repos;
    EXPECT_EQ(repos.facts(t.path("home/code/r/target")).tracked, 1);
}

TEST(GitRepo, TheScanCacheReadsAnIndexOnceAndKeepsWhatItRead) {
    test_env::TempHome t;
    const std::string r = t.path("home/r");
    init_repo(r);
    write(r + "/build/x");
    git_repo::Cache repos;
    EXPECT_EQ(repos.facts(r + "/build").tracked, 0);
    commit(r, "build/x");
    // The scan goes on with the index it read; a fresh look sees the commit.
    EXPECT_EQ(repos.facts(r + "/build").tracked, 0);
    EXPECT_EQ(git_repo::facts_now(r + "/build").tracked, 1);
    EXPECT_EQ(repos.repositories_opened(), 1);
}

TEST(GitRepo, ManyThreadsShareOneCacheAndAgree) {
    test_env::TempHome t;
    std::vector<std::string> folders;
    for (int k = 0; k < 4; ++k) {
        const std::string r = t.path("home/r" + std::to_string(k));
        init_repo(r);
        write(r + "/.gitignore", "node_modules/\n");
        for (int f = 0; f <= k; ++f)
            write(r + "/build/f" + std::to_string(f));
        commit(r, ".gitignore build");
        write(r + "/node_modules/x");
        folders.push_back(r + "/build");
        folders.push_back(r + "/node_modules");
    }
    git_repo::Cache repos;
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int n = 0; n < 6; ++n)
        threads.emplace_back([&, n] {
            for (int round = 0; round < 20; ++round) {
                const std::size_t i = static_cast<std::size_t>(n + round) % folders.size();
                const git_repo::Facts f = repos.facts(folders[i]);
                const int k = static_cast<int>(i / 2);
                const bool build = i % 2 == 0;
                if (f.repo != Repo::Readable || f.tracked != (build ? k + 1 : 0) ||
                    f.ignored == build)
                    ++wrong;
            }
        });
    for (std::thread& th : threads)
        th.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(repos.repositories_opened(), 4);
}

// A scan meets one repository per project: the cache keeps what it read of
// each index, but no repository open between questions, so its memory does
// not grow by the library's per-repository state. The ignore rules still
// answer every time.
TEST(GitRepo, TheCacheHoldsNoRepositoryOpenBetweenQuestions) {
    test_env::TempHome t;
    std::vector<std::string> repos_made;
    for (int k = 0; k < 5; ++k) {
        const std::string r = t.path("home/p" + std::to_string(k));
        init_repo(r);
        write(r + "/.gitignore", "node_modules/\n");
        write(r + "/build/kept");
        commit(r, ".gitignore build/kept");
        write(r + "/node_modules/x");
        repos_made.push_back(r);
    }
    git_repo::Cache repos;
    for (int round = 0; round < 2; ++round)
        for (const std::string& r : repos_made) {
            const git_repo::Facts modules = repos.facts(r + "/node_modules");
            EXPECT_EQ(modules.repo, Repo::Readable) << r;
            EXPECT_TRUE(modules.ignored) << r;
            EXPECT_EQ(modules.tracked, 0) << r;
            const git_repo::Facts build = repos.facts(r + "/build");
            EXPECT_FALSE(build.ignored) << r;
            EXPECT_EQ(build.tracked, 1) << r;
            EXPECT_EQ(repos.repositories_held_open(), 0);
        }
    EXPECT_EQ(repos.repositories_opened(), 5);
}
