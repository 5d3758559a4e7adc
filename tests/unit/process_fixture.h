// Real processes for tests that ask who is using a folder: a child that
// sleeps until the test ends, set up first (its working directory, a file it
// keeps open) by code run in the child just before it becomes the program.
#pragma once

#include <functional>

namespace process_fixture {

class Sleeper {
public:
    // Starts `program 600` after running prepare() in the child; returns once
    // the program runs. prepare() may call _exit() to give up.
    Sleeper(const char* program, const std::function<void()>& prepare);
    // Kills and reaps the child.
    ~Sleeper();
    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;

    bool started() const { return m_pid > 0; }

private:
    int m_pid = -1;
};

} // namespace process_fixture
