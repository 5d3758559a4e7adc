// The crash handler is exercised for real: a forked child installs it and
// raises a signal, and the test process checks how the child died, what the
// report says and whether a dialog process was started. Plain fork and
// waitpid instead of death tests, so the same code runs under the sanitizers.
// The test process makes itself a subreaper while a crash runs, so a dialog
// process left behind by the dying child becomes our child: that is how the
// tests know for certain whether one was started, and can wait for it.
//
// Index: helpers (environment and files, processes, fake desktop programs,
// reading the report), then the tests: installing; a crash without a
// graphical session; a crash in a graphical session (the dialog); the pure
// pieces (descriptions, report path, percent-encoding, language, script).
#include "crash_handler.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace std::chrono_literals;

const int FATAL_SIGNALS[] = {SIGSEGV, SIGABRT, SIGBUS, SIGILL, SIGFPE, SIGTRAP};

// ---------------------------------------------------------------------------
// Environment and files
// ---------------------------------------------------------------------------

using test_env::ScopedEnv;

bool exists(const std::string& path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0;
}

void write_file(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

void write_script(const std::string& path, const std::string& text) {
    write_file(path, text);
    chmod(path.c_str(), 0755);
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::string::size_type start = 0;
    while (start < text.size()) {
        const auto end = text.find('\n', start);
        if (end == std::string::npos) {
            lines.push_back(text.substr(start));
            break;
        }
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

template <typename Predicate> bool poll_until(Predicate done, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

// ---------------------------------------------------------------------------
// Processes
// ---------------------------------------------------------------------------

struct Reaped {
    pid_t pid = -1; // -1: nothing finished in time (or no child at all)
    int status = 0;
};

// Waits for pid (or any child, with -1) at most `limit`. A named child that
// overstays is killed, so a hanging handler fails the test instead of
// blocking it.
Reaped wait_bounded(pid_t pid, std::chrono::milliseconds limit) {
    Reaped result;
    const bool done = poll_until(
        [&] {
            const pid_t r = waitpid(pid, &result.status, WNOHANG);
            if (r > 0) {
                result.pid = r;
                return true;
            }
            return r < 0 && errno != EINTR;
        },
        limit);
    if (!done && pid > 0) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    return result;
}

// True when this process has no child at all, finished or running.
bool no_children_left() {
    int status = 0;
    return waitpid(-1, &status, WNOHANG) < 0 && errno == ECHILD;
}

// While it lives, orphans of our children are handed to this process. On
// the way out it waits for those still running (the fake zenity gives up on
// its own after about ten seconds), so that a failing test does not remove
// its folder while a dialog process still writes into it.
class AdoptOrphans {
public:
    AdoptOrphans() { prctl(PR_SET_CHILD_SUBREAPER, 1); }
    ~AdoptOrphans() {
        poll_until(
            [] {
                int status = 0;
                while (waitpid(-1, &status, WNOHANG) > 0) {
                }
                return no_children_left();
            },
            20s);
        prctl(PR_SET_CHILD_SUBREAPER, 0);
    }
    AdoptOrphans(const AdoptOrphans&) = delete;
    AdoptOrphans& operator=(const AdoptOrphans&) = delete;
};

// Forks a child that clears the variables the handler reads, applies
// `setup`, installs the handler and raises sig. The child never returns.
pid_t crash_child(int sig, const std::function<void()>& setup) {
    const pid_t pid = fork();
    if (pid != 0)
        return pid;
    for (const char* name :
         {"DISPLAY", "WAYLAND_DISPLAY", "XAUTHORITY", "SNAP_REVISION", "SNAP_VERSION",
          "XDG_CURRENT_DESKTOP", "XDG_SESSION_TYPE", "LANG", "LC_ALL", "LANGUAGE"})
        unsetenv(name);
    setup();
    CrashHandler::install();
    raise(sig);
    _exit(99);
}

::testing::AssertionResult died_by(const Reaped& reaped, int sig) {
    if (reaped.pid < 0)
        return ::testing::AssertionFailure() << "the child did not end in time";
    if (!WIFSIGNALED(reaped.status)) {
        return ::testing::AssertionFailure()
               << "the child exited with status " << WEXITSTATUS(reaped.status);
    }
    if (WTERMSIG(reaped.status) != sig) {
        return ::testing::AssertionFailure()
               << "the child died by signal " << WTERMSIG(reaped.status) << ", not " << sig;
    }
    return ::testing::AssertionSuccess();
}

// ---------------------------------------------------------------------------
// Stand-ins for the desktop programs the dialog uses
// ---------------------------------------------------------------------------

// A folder of fake programs inside the temporary home. The fake zenity writes
// its arguments and a few variables, marks that it started, waits until the
// test releases it (or gives up after about ten seconds) and then answers
// with `answer` and `exit_status`. The fake xdg-open writes its arguments.
struct FakeDesktop {
    std::string bin;
    std::string zenity_args;
    std::string zenity_env;
    std::string zenity_started;
    std::string release;
    std::string mail_args;

    FakeDesktop(const test_env::TempHome& home, bool with_zenity, const std::string& answer,
                int exit_status)
        : bin(home.path("fakebin")), zenity_args(home.path("zenity-args")),
          zenity_env(home.path("zenity-env")), zenity_started(home.path("zenity-started")),
          release(home.path("release")), mail_args(home.path("xdg-open-args")) {
        std::filesystem::create_directories(bin);
        if (with_zenity) {
            write_script(bin + "/zenity",
                         "#!/bin/sh\n"
                         "PATH=/usr/bin:/bin\n"
                         "printf '%s\\n' \"$@\" > '" +
                             zenity_args +
                             "'\n"
                             "printf 'DISPLAY=%s\\nXAUTHORITY=%s\\nWAYLAND_DISPLAY=%s\\n' "
                             "\"${DISPLAY-unset}\" \"${XAUTHORITY-unset}\" "
                             "\"${WAYLAND_DISPLAY-unset}\" > '" +
                             zenity_env +
                             "'\n"
                             ": > '" +
                             zenity_started +
                             "'\n"
                             "i=0\n"
                             "while [ ! -e '" +
                             release +
                             "' ]; do\n"
                             "    i=$((i + 1)); [ $i -gt 1000 ] && exit 1\n"
                             "    sleep 0.01\n"
                             "done\n"
                             "printf '%s\\n' '" +
                             answer + "'\nexit " + std::to_string(exit_status) + "\n");
        }
        write_script(bin + "/xdg-open", "#!/bin/sh\nprintf '%s\\n' \"$@\" > '" + mail_args + "'\n");
    }
};

// ---------------------------------------------------------------------------
// Reading the report
// ---------------------------------------------------------------------------

bool is_timestamp(const std::string& s) {
    if (s.size() != 19)
        return false;
    for (std::size_t i = 0; i < s.size(); ++i) {
        const char expected = i == 4 || i == 7     ? '-'
                              : i == 10            ? ' '
                              : i == 13 || i == 16 ? ':'
                                                   : '0';
        if (expected == '0' ? !std::isdigit(static_cast<unsigned char>(s[i])) : s[i] != expected)
            return false;
    }
    return true;
}

std::time_t parse_local_time(const std::string& s) {
    struct tm t {};
    std::sscanf(s.c_str(), "%d-%d-%d %d:%d:%d", &t.tm_year, &t.tm_mon, &t.tm_mday, &t.tm_hour,
                &t.tm_min, &t.tm_sec);
    t.tm_year -= 1900;
    t.tm_mon -= 1;
    t.tm_isdst = -1;
    return std::mktime(&t);
}

std::string expected_system_line() {
    struct utsname u {};
    if (uname(&u) != 0)
        return {};
    return std::string("System: ") + u.sysname + " " + u.release + " " + u.machine;
}

struct ReportExpectation {
    int sig = SIGSEGV;
    std::optional<std::string> snap_revision;
    std::string desktop = "Desktop: unknown (unknown)";
    std::string snap = "Snap: no";
    std::time_t not_before = 0;
    std::time_t not_after = 0;
};

// Checks the report line by line, in order, from the header to the end
// marker; returns the number of lines it covered so callers can look at what
// follows (the user's description).
std::size_t expect_report(const std::vector<std::string>& lines, const ReportExpectation& e) {
    std::size_t i = 0;
    auto next = [&]() -> std::string { return i < lines.size() ? lines[i++] : "<missing line>"; };

    EXPECT_EQ(next(), "=== Quillet Crash Report ===");
    EXPECT_EQ(next(), "Version: 1.0.2 (Build 1003)");
    if (e.snap_revision) {
        EXPECT_EQ(next(), "Snap revision: " + *e.snap_revision);
    }
    EXPECT_EQ(next(), std::string("Signal: ") + crash_report::signal_description(e.sig) + " (" +
                          std::to_string(e.sig) + ")");

    const std::string time_line = next();
    EXPECT_EQ(time_line.rfind("Time: ", 0), 0u) << time_line;
    const std::string stamp = time_line.size() > 6 ? time_line.substr(6) : "";
    EXPECT_TRUE(is_timestamp(stamp)) << time_line;
    if (is_timestamp(stamp)) {
        const std::time_t when = parse_local_time(stamp);
        EXPECT_GE(when, e.not_before - 1) << time_line;
        EXPECT_LE(when, e.not_after + 1) << time_line;
    }

    EXPECT_EQ(next(), expected_system_line());
    EXPECT_EQ(next(), e.desktop);
    EXPECT_EQ(next(), e.snap);
    EXPECT_EQ(next(), "");
    EXPECT_EQ(next(), "Backtrace:");

    std::size_t frames = 0;
    while (i < lines.size() && !lines[i].empty()) {
        EXPECT_NE(lines[i].find("[0x"), std::string::npos) << "not a frame: " << lines[i];
        ++frames;
        ++i;
    }
    EXPECT_GE(frames, 1u);
    EXPECT_LE(frames, 32u);
    EXPECT_EQ(next(), "");
    EXPECT_EQ(next(), "=== End Report ===");
    return i;
}

std::string english_script_for(const std::string& path) {
    return crash_report::dialog_script(SIGSEGV, path, false);
}

// Runs `bash -n` on a script: true when bash can parse it. Its complaints
// are not shown; the failing test prints the script instead.
bool bash_parses(const std::string& script) {
    const pid_t pid = fork();
    if (pid == 0) {
        if (std::freopen("/dev/null", "w", stderr) == nullptr)
            _exit(126);
        execl("/bin/bash", "bash", "-n", "-c", script.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    const Reaped r = wait_bounded(pid, 10s);
    return r.pid == pid && WIFEXITED(r.status) && WEXITSTATUS(r.status) == 0;
}

} // namespace

// ===========================================================================
// Installing
// ===========================================================================

TEST(CrashHandler, InstallTakesTheSixFatalSignalsOnceEachAndLeavesSigtermAlone) {
    test_env::TempHome home;
    struct sigaction before[NSIG] {};
    for (int sig : FATAL_SIGNALS)
        sigaction(sig, nullptr, &before[sig]);
    sigaction(SIGTERM, nullptr, &before[SIGTERM]);

    CrashHandler::install();

    for (int sig : FATAL_SIGNALS) {
        struct sigaction now {};
        ASSERT_EQ(sigaction(sig, nullptr, &now), 0);
        EXPECT_NE(now.sa_handler, SIG_DFL) << sig;
        EXPECT_NE(now.sa_handler, SIG_IGN) << sig;
        EXPECT_TRUE(now.sa_flags & SA_RESETHAND) << sig;
        EXPECT_FALSE(now.sa_flags & SA_SIGINFO) << sig;
        for (int other = 1; other < NSIG; ++other)
            EXPECT_FALSE(sigismember(&now.sa_mask, other) == 1) << sig << " masks " << other;
    }
    struct sigaction term {};
    sigaction(SIGTERM, nullptr, &term);
    EXPECT_EQ(term.sa_handler, before[SIGTERM].sa_handler);

    for (int sig : FATAL_SIGNALS)
        sigaction(sig, &before[sig], nullptr);
}

// ===========================================================================
// A crash without a graphical session
// ===========================================================================

class CrashHandlerSignal : public ::testing::TestWithParam<int> {};

TEST_P(CrashHandlerSignal, WritesTheReportStartsNoDialogAndDiesByTheSameSignal) {
    const int sig = GetParam();
    test_env::TempHome home;
    FakeDesktop desktop(home, true, "never asked", 0);
    write_file(desktop.release, "");
    AdoptOrphans adopt;

    const std::time_t start = std::time(nullptr);
    const pid_t pid = crash_child(sig, [&] { setenv("PATH", desktop.bin.c_str(), 1); });
    const Reaped reaped = wait_bounded(pid, 10s);
    const std::time_t end = std::time(nullptr);

    ASSERT_TRUE(died_by(reaped, sig));
    EXPECT_TRUE(no_children_left()) << "a dialog process was started without a display";
    EXPECT_FALSE(exists(desktop.zenity_started));

    const std::string report = test_env::read_file(home.path("runtime/Quillet_crash.txt"));
    ASSERT_FALSE(report.empty());
    const auto lines = lines_of(report);
    ReportExpectation e;
    e.sig = sig;
    e.not_before = start;
    e.not_after = end;
    EXPECT_EQ(expect_report(lines, e), lines.size()) << report;
}

INSTANTIATE_TEST_SUITE_P(FatalSignals, CrashHandlerSignal, ::testing::ValuesIn(FATAL_SIGNALS),
                         [](const ::testing::TestParamInfo<int>& info) {
                             return std::string(sigabbrev_np(info.param));
                         });

TEST(CrashHandler, ReportNamesSnapAndDesktopWhenTheyAreSet) {
    test_env::TempHome home;
    const std::time_t start = std::time(nullptr);
    const pid_t pid = crash_child(SIGABRT, [] {
        setenv("SNAP_REVISION", "42", 1);
        setenv("SNAP_VERSION", "1.0.2", 1);
        setenv("XDG_CURRENT_DESKTOP", "ubuntu:GNOME", 1);
        setenv("XDG_SESSION_TYPE", "wayland", 1);
    });
    const Reaped reaped = wait_bounded(pid, 10s);
    const std::time_t end = std::time(nullptr);
    ASSERT_TRUE(died_by(reaped, SIGABRT));

    const std::string report = test_env::read_file(home.path("runtime/Quillet_crash.txt"));
    const auto lines = lines_of(report);
    ReportExpectation e;
    e.sig = SIGABRT;
    e.snap_revision = "42";
    e.desktop = "Desktop: ubuntu:GNOME (wayland)";
    e.snap = "Snap: yes (v1.0.2)";
    e.not_before = start;
    e.not_after = end;
    EXPECT_EQ(expect_report(lines, e), lines.size()) << report;
}

TEST(CrashHandler, ReportReplacesAnOlderOne) {
    test_env::TempHome home;
    const std::string path = home.path("runtime/Quillet_crash.txt");
    write_file(path, std::string(10000, 'x') + "\n");
    const pid_t pid = crash_child(SIGFPE, [] {});
    ASSERT_TRUE(died_by(wait_bounded(pid, 10s), SIGFPE));
    const std::string report = test_env::read_file(path);
    EXPECT_EQ(report.find("xxx"), std::string::npos);
    EXPECT_EQ(report.rfind("=== Quillet Crash Report ===\n", 0), 0u);
}

TEST(CrashHandler, WithoutRuntimeDirTheReportGoesToTmp) {
    test_env::TempHome home;
    const std::string tmp_report = "/tmp/Quillet_crash.txt";

    // This one case writes outside our folder, as the program would. Whatever
    // was there before is put back afterwards; a file we cannot safely write
    // (someone else's, or a link) makes the case impossible to run here.
    struct stat st {};
    const bool existed = lstat(tmp_report.c_str(), &st) == 0;
    if (existed && (S_ISLNK(st.st_mode) || !S_ISREG(st.st_mode) || st.st_uid != getuid()))
        GTEST_SKIP() << tmp_report << " exists and is not ours to overwrite";
    struct Restore {
        std::string path;
        bool existed;
        std::string content;
        ~Restore() {
            if (existed)
                write_file(path, content);
            else
                unlink(path.c_str());
        }
    } restore{tmp_report, existed, existed ? test_env::read_file(tmp_report) : ""};

    const pid_t pid = crash_child(SIGSEGV, [] { unsetenv("XDG_RUNTIME_DIR"); });
    ASSERT_TRUE(died_by(wait_bounded(pid, 10s), SIGSEGV));

    const auto lines = lines_of(test_env::read_file(tmp_report));
    ASSERT_GE(lines.size(), 4u);
    EXPECT_EQ(lines[0], "=== Quillet Crash Report ===");
    EXPECT_EQ(lines[2], "Signal: SIGSEGV (Segmentation fault) (11)");
    EXPECT_EQ(lines.back(), "=== End Report ===");
    EXPECT_FALSE(exists(home.path("runtime/Quillet_crash.txt")));
}

TEST(CrashHandler, SigtermIsNotCaughtAndWritesNoReport) {
    test_env::TempHome home;
    const pid_t pid = crash_child(SIGTERM, [] {});
    ASSERT_TRUE(died_by(wait_bounded(pid, 10s), SIGTERM));
    EXPECT_FALSE(exists(home.path("runtime/Quillet_crash.txt")));
}

TEST(CrashHandler, UnwritableReportSkipsStraightToTheSignalEvenWithADisplay) {
    test_env::TempHome home;
    FakeDesktop desktop(home, true, "never asked", 0);
    write_file(desktop.release, "");
    const std::string missing = home.path("no-such-dir");
    AdoptOrphans adopt;

    const pid_t pid = crash_child(SIGSEGV, [&] {
        setenv("XDG_RUNTIME_DIR", missing.c_str(), 1);
        setenv("DISPLAY", ":97", 1);
        setenv("PATH", desktop.bin.c_str(), 1);
    });
    ASSERT_TRUE(died_by(wait_bounded(pid, 10s), SIGSEGV));
    EXPECT_TRUE(no_children_left()) << "a dialog was started without a report";
    EXPECT_FALSE(exists(missing));
    EXPECT_FALSE(exists(desktop.zenity_started));
}

TEST(CrashHandler, ReportIsNotWrittenThroughALink) {
    test_env::TempHome home;
    const std::string victim = home.path("victim.txt");
    write_file(victim, "keep me\n");
    ASSERT_EQ(symlink(victim.c_str(), home.path("runtime/Quillet_crash.txt").c_str()), 0);
    const pid_t pid = crash_child(SIGSEGV, [] {});
    ASSERT_TRUE(died_by(wait_bounded(pid, 10s), SIGSEGV));
    EXPECT_EQ(test_env::read_file(victim), "keep me\n");
}

// ===========================================================================
// A crash in a graphical session: the dialog
// ===========================================================================

namespace {

struct DialogRun {
    std::vector<std::string> report_lines;
    std::size_t report_end = 0; // index just past "=== End Report ==="
    std::string report_path;
    bool dialog_exited_cleanly = false;
};

// Crashes a child with a fake display, checks that it dies while the dialog
// is still open, then lets the fake zenity answer and waits for the dialog
// process to finish.
void run_dialog(test_env::TempHome& home, FakeDesktop& desktop,
                const std::function<void()>& language, DialogRun& run) {
    run.report_path = home.path("runtime/Quillet_crash.txt");
    const std::string xauthority = home.path("xauthority");
    AdoptOrphans adopt;

    const std::time_t start = std::time(nullptr);
    const pid_t pid = crash_child(SIGSEGV, [&] {
        setenv("DISPLAY", ":97", 1);
        setenv("XAUTHORITY", xauthority.c_str(), 1);
        setenv("PATH", desktop.bin.c_str(), 1);
        language();
    });
    const Reaped crashed = wait_bounded(pid, 10s);
    const std::time_t end = std::time(nullptr);
    ASSERT_TRUE(died_by(crashed, SIGSEGV));

    // The crashed process is gone while the dialog still waits for the user.
    int status = 0;
    EXPECT_EQ(waitpid(-1, &status, WNOHANG), 0) << "no dialog process is running";

    ASSERT_TRUE(poll_until([&] { return exists(desktop.zenity_started); }, 10s))
        << "zenity was never started";
    {
        const auto before = lines_of(test_env::read_file(run.report_path));
        ReportExpectation e;
        e.not_before = start;
        e.not_after = end;
        EXPECT_EQ(expect_report(before, e), before.size());
    }

    write_file(desktop.release, "");
    const Reaped dialog = wait_bounded(-1, 20s);
    ASSERT_GT(dialog.pid, 0) << "the dialog process did not finish";
    run.dialog_exited_cleanly = WIFEXITED(dialog.status) && WEXITSTATUS(dialog.status) == 0;

    run.report_lines = lines_of(test_env::read_file(run.report_path));
    ReportExpectation e;
    e.not_before = start;
    e.not_after = end;
    run.report_end = expect_report(run.report_lines, e);
}

bool only_unreserved(const std::string& s) {
    for (char c : s) {
        if (!std::isalnum(static_cast<unsigned char>(c)) &&
            std::string("-._~/").find(c) == std::string::npos)
            return false;
    }
    return true;
}

} // namespace

TEST(CrashHandler, DialogInEnglishAppendsTheDescriptionAndOpensTheMail) {
    test_env::TempHome home;
    FakeDesktop desktop(home, true, "It crashed while I was cleaning the cache.", 0);
    DialogRun run;
    run_dialog(
        home, desktop, [] { setenv("LANG", "en_GB.UTF-8", 1); }, run);
    if (HasFatalFailure())
        return;
    EXPECT_TRUE(run.dialog_exited_cleanly);

    const std::vector<std::string> appended(run.report_lines.begin() + run.report_end,
                                            run.report_lines.end());
    EXPECT_EQ(appended, (std::vector<std::string>{"", "User description:",
                                                  "It crashed while I was cleaning the cache."}));

    EXPECT_EQ(lines_of(test_env::read_file(desktop.zenity_args)),
              (std::vector<std::string>{
                  "--text-info", "--editable",
                  "--title=Quillet - Can you describe when the error occurred?", "--width=500",
                  "--height=250", "--ok-label=Send crash report", "--cancel-label=Don't send"}));
    EXPECT_EQ(lines_of(test_env::read_file(desktop.zenity_env)),
              (std::vector<std::string>{"DISPLAY=:97", "XAUTHORITY=" + home.path("xauthority"),
                                        "WAYLAND_DISPLAY=unset"}));

    ASSERT_TRUE(only_unreserved(run.report_path)) << run.report_path;
    EXPECT_EQ(lines_of(test_env::read_file(desktop.mail_args)),
              (std::vector<std::string>{
                  "mailto:support@quillet.app"
                  "?subject=Quillet%20Crash%3A%20SIGSEGV%20%28Segmentation%20fault%29"
                  "&body=Please attach this file: " +
                  run.report_path}));
}

TEST(CrashHandler, DialogInGermanWhenLangIsGermanAndLanguageEnglish) {
    test_env::TempHome home;
    FakeDesktop desktop(home, true, "Beim Aufräumen ist es abgestürzt.", 0);
    DialogRun run;
    run_dialog(
        home, desktop,
        [] {
            setenv("LANG", "de_DE.UTF-8", 1);
            setenv("LANGUAGE", "en", 1);
        },
        run);
    if (HasFatalFailure())
        return;
    EXPECT_TRUE(run.dialog_exited_cleanly);

    const std::vector<std::string> appended(run.report_lines.begin() + run.report_end,
                                            run.report_lines.end());
    EXPECT_EQ(appended, (std::vector<std::string>{
                            "", "User description:", "Beim Aufräumen ist es abgestürzt."}));
    const auto args = lines_of(test_env::read_file(desktop.zenity_args));
    ASSERT_EQ(args.size(), 7u);
    EXPECT_EQ(args[2],
              "--title=Quillet - Können Sie beschreiben, wann der Fehler aufgetreten ist?");
    EXPECT_EQ(args[5], "--ok-label=Absturzbericht senden");
    EXPECT_EQ(args[6], "--cancel-label=Nicht senden");

    ASSERT_TRUE(only_unreserved(run.report_path)) << run.report_path;
    EXPECT_EQ(lines_of(test_env::read_file(desktop.mail_args)),
              (std::vector<std::string>{
                  "mailto:support@quillet.app"
                  "?subject=Quillet%20Crash%3A%20SIGSEGV%20%28Segmentation%20fault%29"
                  "&body=Bitte die Datei anhaengen: " +
                  run.report_path}));
}

TEST(CrashHandler, CancelledDialogAddsNothingAndSendsNoMail) {
    test_env::TempHome home;
    FakeDesktop desktop(home, true, "typed, then cancelled", 1);
    DialogRun run;
    run_dialog(
        home, desktop, [] {}, run);
    if (HasFatalFailure())
        return;
    EXPECT_TRUE(run.dialog_exited_cleanly);
    EXPECT_EQ(run.report_end, run.report_lines.size()) << "the report grew after a cancel";
    EXPECT_FALSE(exists(desktop.mail_args));
}

TEST(CrashHandler, MissingZenityEndsTheDialogQuietly) {
    test_env::TempHome home;
    FakeDesktop desktop(home, false, "", 0);
    AdoptOrphans adopt;
    const std::string path = home.path("runtime/Quillet_crash.txt");

    const pid_t pid = crash_child(SIGBUS, [&] {
        setenv("WAYLAND_DISPLAY", "wayland-97", 1);
        setenv("PATH", desktop.bin.c_str(), 1);
    });
    ASSERT_TRUE(died_by(wait_bounded(pid, 10s), SIGBUS));
    const Reaped dialog = wait_bounded(-1, 20s);
    ASSERT_GT(dialog.pid, 0) << "no dialog process was started with a Wayland display";
    EXPECT_TRUE(WIFEXITED(dialog.status) && WEXITSTATUS(dialog.status) == 0);
    EXPECT_FALSE(exists(desktop.mail_args));
    const auto lines = lines_of(test_env::read_file(path));
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "=== End Report ===");
}

// ===========================================================================
// The pure pieces
// ===========================================================================

TEST(CrashReport, SignalDescriptions) {
    test_env::TempHome home;
    EXPECT_STREQ(crash_report::signal_description(SIGSEGV), "SIGSEGV (Segmentation fault)");
    EXPECT_STREQ(crash_report::signal_description(SIGABRT), "SIGABRT (Abort)");
    EXPECT_STREQ(crash_report::signal_description(SIGBUS), "SIGBUS (Bus error)");
    EXPECT_STREQ(crash_report::signal_description(SIGILL), "SIGILL (Illegal instruction)");
    EXPECT_STREQ(crash_report::signal_description(SIGFPE), "SIGFPE (Floating point exception)");
    EXPECT_STREQ(crash_report::signal_description(SIGTRAP),
                 "SIGTRAP (Trap — usually a fatal GLib/GTK error)");
    EXPECT_EQ(SIGSEGV, 11);
    EXPECT_EQ(SIGABRT, 6);
    EXPECT_EQ(SIGBUS, 7);
    EXPECT_EQ(SIGILL, 4);
    EXPECT_EQ(SIGFPE, 8);
    EXPECT_EQ(SIGTRAP, 5);
}

TEST(CrashReport, SignalOutsideTheTableIsUnknown) {
    test_env::TempHome home;
    for (int sig : {SIGTERM, SIGUSR1, SIGKILL, 0, -1, 999})
        EXPECT_STREQ(crash_report::signal_description(sig), "Unknown signal") << sig;
}

TEST(CrashReport, ReportPathFollowsTheRuntimeDirOrTmp) {
    test_env::TempHome home;
    EXPECT_EQ(crash_report::report_path(), home.path("runtime") + "/Quillet_crash.txt");
    {
        ScopedEnv unset("XDG_RUNTIME_DIR", nullptr);
        EXPECT_EQ(crash_report::report_path(), "/tmp/Quillet_crash.txt");
    }
    {
        ScopedEnv set("XDG_RUNTIME_DIR", "/run/user/1000");
        EXPECT_EQ(crash_report::report_path(), "/run/user/1000/Quillet_crash.txt");
    }
}

TEST(CrashReport, ReportPathRefusesABufferTooSmall) {
    test_env::TempHome home;
    ScopedEnv set("XDG_RUNTIME_DIR", "/run/user/1000");
    const std::string full = "/run/user/1000/Quillet_crash.txt";
    char exact[64];
    ASSERT_TRUE(crash_report::report_path(exact, full.size() + 1));
    EXPECT_EQ(std::string(exact), full);
    char small[64] = "untouched";
    EXPECT_FALSE(crash_report::report_path(small, full.size()));
    EXPECT_STREQ(small, "");
    ScopedEnv huge("XDG_RUNTIME_DIR", std::string(5000, 'a').c_str());
    EXPECT_EQ(crash_report::report_path(), "");
}

TEST(CrashReport, WriteReportFailsWhenTheFolderIsMissing) {
    test_env::TempHome home;
    EXPECT_FALSE(crash_report::write_report(home.path("missing/Quillet_crash.txt").c_str(), 11));
    EXPECT_FALSE(exists(home.path("missing")));
}

TEST(CrashReport, WriteReportWithAnUnknownSignal) {
    test_env::TempHome home;
    ScopedEnv rev("SNAP_REVISION", nullptr);
    ScopedEnv ver("SNAP_VERSION", nullptr);
    ScopedEnv desk("XDG_CURRENT_DESKTOP", nullptr);
    ScopedEnv session("XDG_SESSION_TYPE", "x11");
    const std::string path = home.path("runtime/report.txt");
    const std::time_t start = std::time(nullptr);
    ASSERT_TRUE(crash_report::write_report(path.c_str(), SIGUSR2));
    const auto lines = lines_of(test_env::read_file(path));
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[2], "Signal: Unknown signal (" + std::to_string(SIGUSR2) + ")");
    ReportExpectation e;
    e.sig = SIGUSR2;
    e.desktop = "Desktop: unknown (x11)";
    e.not_before = start;
    e.not_after = std::time(nullptr);
    EXPECT_EQ(expect_report(lines, e), lines.size());
    struct stat st {};
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
}

TEST(CrashReport, PercentEncodingKeepsUnreservedCharactersAndTheSlash) {
    test_env::TempHome home;
    const std::string kept = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
    EXPECT_EQ(crash_report::percent_encode(kept), kept);
    EXPECT_EQ(crash_report::percent_encode(""), "");
}

TEST(CrashReport, PercentEncodingWritesEveryOtherByteInUpperCaseHex) {
    test_env::TempHome home;
    EXPECT_EQ(crash_report::percent_encode(" "), "%20");
    EXPECT_EQ(crash_report::percent_encode("ü"), "%C3%BC");
    EXPECT_EQ(crash_report::percent_encode("a b:c(d)"), "a%20b%3Ac%28d%29");
    EXPECT_EQ(crash_report::percent_encode("%'&?=+\n"), "%25%27%26%3F%3D%2B%0A");
    EXPECT_EQ(crash_report::percent_encode("\xff\x01"), "%FF%01");
    EXPECT_EQ(crash_report::percent_encode("—"), "%E2%80%94");
}

TEST(CrashReport, GermanWhenLangIsGermanEvenIfLanguageIsEnglish) {
    test_env::TempHome home;
    ScopedEnv lang("LANG", "de_DE.UTF-8");
    ScopedEnv all("LC_ALL", nullptr);
    ScopedEnv language("LANGUAGE", "en");
    EXPECT_TRUE(crash_report::dialog_in_german());
}

TEST(CrashReport, GermanWhenOnlyLcAllIsGerman) {
    test_env::TempHome home;
    ScopedEnv lang("LANG", nullptr);
    ScopedEnv all("LC_ALL", "de");
    ScopedEnv language("LANGUAGE", nullptr);
    EXPECT_TRUE(crash_report::dialog_in_german());
}

TEST(CrashReport, GermanWhenOnlyLanguageIsGerman) {
    test_env::TempHome home;
    ScopedEnv lang("LANG", "C.UTF-8");
    ScopedEnv all("LC_ALL", "en_US.UTF-8");
    ScopedEnv language("LANGUAGE", "de:en");
    EXPECT_TRUE(crash_report::dialog_in_german());
}

TEST(CrashReport, EnglishOtherwise) {
    test_env::TempHome home;
    ScopedEnv lang("LANG", nullptr);
    ScopedEnv all("LC_ALL", nullptr);
    ScopedEnv language("LANGUAGE", nullptr);
    EXPECT_FALSE(crash_report::dialog_in_german());
    {
        ScopedEnv l("LANG", "en_US.UTF-8");
        ScopedEnv g("LANGUAGE", "fr:de");
        EXPECT_FALSE(crash_report::dialog_in_german());
    }
    {
        ScopedEnv l("LANG", "d");
        ScopedEnv a("LC_ALL", "");
        EXPECT_FALSE(crash_report::dialog_in_german());
    }
}

TEST(CrashReport, EnglishDialogScriptLineByLine) {
    test_env::TempHome home;
    const std::string script = english_script_for("/run/user/1000/Quillet_crash.txt");
    EXPECT_EQ(lines_of(script),
              (std::vector<std::string>{
                  "DESC=$(zenity --text-info --editable --title='Quillet - Can you describe when "
                  "the error occurred?' --width=500 --height=250 --ok-label='Send crash report' "
                  "--cancel-label='Don'\\''t send' 2>/dev/null)",
                  "if [ $? -ne 0 ]; then exit 0; fi",
                  "echo '' >> '/run/user/1000/Quillet_crash.txt'",
                  "echo 'User description:' >> '/run/user/1000/Quillet_crash.txt'",
                  "echo \"$DESC\" >> '/run/user/1000/Quillet_crash.txt'",
                  "BODY='Please attach this file: '/run/user/1000/Quillet_crash.txt",
                  "xdg-open \"mailto:support@quillet.app?subject=Quillet%20Crash%3A%20SIGSEGV%20%"
                  "28Segmentation%20fault%29&body=${BODY}\" 2>/dev/null || true",
              }));
    EXPECT_EQ(script.back(), '\n');
}

TEST(CrashReport, GermanDialogScriptLineByLine) {
    test_env::TempHome home;
    const std::string script = crash_report::dialog_script(SIGTRAP, "/tmp/Quillet_crash.txt", true);
    EXPECT_EQ(lines_of(script),
              (std::vector<std::string>{
                  "DESC=$(zenity --text-info --editable --title='Quillet - Können Sie beschreiben, "
                  "wann der Fehler aufgetreten ist?' --width=500 --height=250 "
                  "--ok-label='Absturzbericht senden' --cancel-label='Nicht senden' 2>/dev/null)",
                  "if [ $? -ne 0 ]; then exit 0; fi",
                  "echo '' >> '/tmp/Quillet_crash.txt'",
                  "echo 'User description:' >> '/tmp/Quillet_crash.txt'",
                  "echo \"$DESC\" >> '/tmp/Quillet_crash.txt'",
                  "BODY='Bitte die Datei anhaengen: '/tmp/Quillet_crash.txt",
                  "xdg-open \"mailto:support@quillet.app?subject=Quillet%20Crash%3A%20SIGTRAP%20%"
                  "28Trap%20%E2%80%94%20usually%20a%20fatal%20GLib/GTK%20error%29&body=${BODY}\" "
                  "2>/dev/null || true",
              }));
}

TEST(CrashReport, DialogScriptQuotesAndEncodesAnAwkwardReportPath) {
    test_env::TempHome home;
    const std::string path = "/tmp/my dir/it's/Quillet_crash.txt";
    const auto lines = lines_of(english_script_for(path));
    ASSERT_EQ(lines.size(), 7u);
    EXPECT_EQ(lines[2], "echo '' >> '/tmp/my dir/it'\\''s/Quillet_crash.txt'");
    EXPECT_EQ(lines[5], "BODY='Please attach this file: '/tmp/my%20dir/it%27s/Quillet_crash.txt");
}

TEST(CrashReport, DialogScriptsParseInBash) {
    test_env::TempHome home;
    for (bool german : {false, true}) {
        for (int sig : FATAL_SIGNALS) {
            const std::string script =
                crash_report::dialog_script(sig, "/tmp/it's here/Quillet_crash.txt", german);
            EXPECT_TRUE(bash_parses(script)) << script;
        }
    }
    // The check itself must be able to fail.
    EXPECT_FALSE(bash_parses("echo 'unterminated"));
}
