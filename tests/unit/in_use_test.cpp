// The look over /proc before a deletion, with real processes the tests start
// inside their own temporary folder: one working there, one holding a file
// open there, one running a program copied there. Each is ended by the test.

#include "in_use.h"

#include "fs_fixture.h"
#include "process_fixture.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using process_fixture::Sleeper;

TEST(InUse, APathAndWhatIsBelowItMatchButANeighbourDoesNot) {
    EXPECT_TRUE(in_use::is_at_or_below("/h/p/build", "/h/p/build"));
    EXPECT_TRUE(in_use::is_at_or_below("/h/p/build/x/y", "/h/p/build"));
    EXPECT_FALSE(in_use::is_at_or_below("/h/p/build-tools", "/h/p/build"));
    EXPECT_FALSE(in_use::is_at_or_below("/h/p", "/h/p/build"));
    EXPECT_FALSE(in_use::is_at_or_below("", "/h/p/build"));
    EXPECT_FALSE(in_use::is_at_or_below("socket:[123]", "/h"));
    EXPECT_TRUE(in_use::is_at_or_below("/anything", "/"));
}

TEST(InUse, AProcessWorkingInsideTheFolderUsesIt) {
    test_env::TempHome t;
    const std::string dir = t.path("home/src/app/build");
    fs_fixture::make_dirs(dir + "/obj");
    EXPECT_FALSE(in_use::by_running_program(dir));
    {
        Sleeper s("/bin/sleep", [&] {
            if (chdir((dir + "/obj").c_str()) != 0)
                _exit(126);
        });
        ASSERT_TRUE(s.started());
        EXPECT_TRUE(in_use::by_running_program(dir));
        EXPECT_TRUE(in_use::by_running_program(t.path("home/src"))); // holds the folder
        EXPECT_FALSE(in_use::by_running_program(t.path("home/other")));
    }
    EXPECT_FALSE(in_use::by_running_program(dir));
}

TEST(InUse, AProcessHoldingAFileOpenInsideUsesIt) {
    test_env::TempHome t;
    const std::string dir = t.path("home/src/app/target");
    fs_fixture::write_file(dir + "/debug/log.txt", 10);
    Sleeper s("/bin/sleep", [&] {
        // Kept open across exec: no close-on-exec flag.
        if (open((dir + "/debug/log.txt").c_str(), O_RDONLY) < 0)
            _exit(126);
    });
    ASSERT_TRUE(s.started());
    EXPECT_TRUE(in_use::by_running_program(dir));
}

TEST(InUse, AProgramRunningFromInsideUsesIt) {
    test_env::TempHome t;
    const std::string dir = t.path("home/src/app/out");
    fs_fixture::make_dirs(dir);
    const std::string copy = dir + "/sleep";
    {
        std::ifstream in("/bin/sleep", std::ios::binary);
        std::ofstream out(copy, std::ios::binary);
        out << in.rdbuf();
    }
    ASSERT_EQ(chmod(copy.c_str(), 0755), 0);
    Sleeper s(copy.c_str(), [] {});
    ASSERT_TRUE(s.started());
    EXPECT_TRUE(in_use::by_running_program(dir));
}

TEST(InUse, ThisProgramItselfDoesNotCount) {
    test_env::TempHome t;
    const std::string dir = t.path("home/src/app/build");
    fs_fixture::make_dirs(dir);
    // In a child, so the test's own working directory stays where it was.
    const pid_t pid = fork();
    if (pid == 0) {
        if (chdir(dir.c_str()) != 0)
            _exit(2);
        const int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY);
        const bool used = in_use::by_running_program(dir);
        close(fd);
        _exit(used ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(InUse, AFolderThatIsGoneIsUsedByNobody) {
    test_env::TempHome t;
    EXPECT_FALSE(in_use::by_running_program(t.path("home/nothing-here")));
}
