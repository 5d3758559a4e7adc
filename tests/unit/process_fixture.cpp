#include "process_fixture.h"

#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace process_fixture {

Sleeper::Sleeper(const char* program, const std::function<void()>& prepare) {
    int ready[2];
    if (pipe(ready) != 0)
        return;
    const pid_t pid = fork();
    if (pid == 0) {
        close(ready[0]);
        prepare();
        // exec closes the write end (close-on-exec), which tells the parent
        // that the program now runs.
        fcntl(ready[1], F_SETFD, FD_CLOEXEC);
        execl(program, program, "600", static_cast<char*>(nullptr));
        _exit(127);
    }
    close(ready[1]);
    if (pid < 0) {
        close(ready[0]);
        return;
    }
    char c;
    while (read(ready[0], &c, 1) > 0) {
    }
    close(ready[0]);
    // A child that gave up or could not exec has ended by now.
    int status = 0;
    if (waitpid(pid, &status, WNOHANG) == pid)
        return;
    m_pid = pid;
}

Sleeper::~Sleeper() {
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
}

} // namespace process_fixture
