#include "crash_handler.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <execinfo.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace {

constexpr const char* PRODUCT_NAME = "Quillet";
constexpr const char* VERSION = QUILLET_VERSION;
constexpr const char* BUILD = QUILLET_BUILD;
constexpr const char* SUPPORT_EMAIL = "support@quillet.app";
constexpr const char* REPORT_FILE_NAME = "/Quillet_crash.txt";

constexpr int FATAL_SIGNALS[] = {SIGSEGV, SIGABRT, SIGBUS, SIGILL, SIGFPE, SIGTRAP};
constexpr int MAX_FRAMES = 32;
constexpr std::size_t PATH_BUFFER = 4096;

struct DialogTexts {
    const char* question;
    const char* accept;
    const char* cancel;
    const char* body; // already a single-quoted shell word
};

constexpr DialogTexts ENGLISH = {" - Can you describe when the error occurred?",
                                 "Send crash report", "Don't send", "'Please attach this file: '"};
constexpr DialogTexts GERMAN = {" - Können Sie beschreiben, wann der Fehler aufgetreten ist?",
                                "Absturzbericht senden", "Nicht senden",
                                "'Bitte die Datei anhaengen: '"};

const char* or_unknown(const char* value) {
    return value ? value : "unknown";
}

bool starts_with_de(const char* value) {
    return value && value[0] == 'd' && value[1] == 'e';
}

// Puts text between single quotes for the shell. A quote inside (as in
// "Don't send") closes the quoted part, adds an escaped quote and reopens it;
// without that the whole script would fail to parse and no dialog would show.
std::string single_quoted(const std::string& text) {
    std::string out = "'";
    for (char c : text) {
        if (c == '\'')
            out += "'\\''";
        else
            out += c;
    }
    out += "'";
    return out;
}

// Lets the process die by sig with the default action. The handler runs with
// sig blocked, so the raised signal stays pending until it is unblocked here;
// should we still be alive afterwards, returning from the handler repeats the
// faulting instruction, which now meets the default action.
void die_with(int sig) {
    signal(sig, SIG_DFL);
    raise(sig);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, sig);
    pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
}

void crashHandler(int sig) {
    signal(sig, SIG_DFL);

    char path[PATH_BUFFER];
    if (!crash_report::report_path(path, sizeof path) || !crash_report::write_report(path, sig)) {
        die_with(sig);
        return;
    }

    const char* display = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    const char* xauthority = std::getenv("XAUTHORITY");
    if (!display && !wayland) {
        die_with(sig);
        return;
    }

    // The dying process must not wait for the user, so the dialog gets a
    // process of its own. A failed fork counts as the parent's side.
    if (fork() != 0) {
        die_with(sig);
        return;
    }

    if (display)
        setenv("DISPLAY", display, 1);
    if (wayland)
        setenv("WAYLAND_DISPLAY", wayland, 1);
    if (xauthority)
        setenv("XAUTHORITY", xauthority, 1);
    // The mask survives exec; the dialog should start with no signal blocked,
    // the one that brought us here included.
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);

    const std::string script =
        crash_report::dialog_script(sig, path, crash_report::dialog_in_german());
    execl("/bin/bash", "bash", "-c", script.c_str(), static_cast<char*>(nullptr));
    _exit(0);
}

} // namespace

void CrashHandler::install() {
    // backtrace() loads its unwinder library on first use and the first
    // localtime_r() reads the time zone file; both are better done now than
    // in signal context.
    void* warm_up[1];
    backtrace(warm_up, 1);
    tzset();

    struct sigaction action {};
    action.sa_handler = crashHandler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESETHAND;
    for (int sig : FATAL_SIGNALS)
        sigaction(sig, &action, nullptr);
}

namespace crash_report {

const char* signal_description(int sig) {
    switch (sig) {
    case SIGSEGV:
        return "SIGSEGV (Segmentation fault)";
    case SIGABRT:
        return "SIGABRT (Abort)";
    case SIGBUS:
        return "SIGBUS (Bus error)";
    case SIGILL:
        return "SIGILL (Illegal instruction)";
    case SIGFPE:
        return "SIGFPE (Floating point exception)";
    case SIGTRAP:
        return "SIGTRAP (Trap — usually a fatal GLib/GTK error)";
    default:
        return "Unknown signal";
    }
}

bool report_path(char* buf, std::size_t size) {
    if (size == 0)
        return false;
    const char* dir = std::getenv("XDG_RUNTIME_DIR");
    if (!dir)
        dir = "/tmp";
    const int n = std::snprintf(buf, size, "%s%s", dir, REPORT_FILE_NAME);
    if (n < 0 || static_cast<std::size_t>(n) >= size) {
        buf[0] = '\0';
        return false;
    }
    return true;
}

std::string report_path() {
    char buf[PATH_BUFFER];
    if (!report_path(buf, sizeof buf))
        return {};
    return buf;
}

bool write_report(const char* path, int sig) {
    // Private to the user, and never through a link: in a shared /tmp a
    // planted link must not make us truncate somebody else's file.
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    FILE* out = fdopen(fd, "w");
    if (!out) {
        close(fd);
        return false;
    }

    std::fprintf(out, "=== %s Crash Report ===\n", PRODUCT_NAME);
    std::fprintf(out, "Version: %s (Build %s)\n", VERSION, BUILD);
    if (const char* revision = std::getenv("SNAP_REVISION"))
        std::fprintf(out, "Snap revision: %s\n", revision);
    std::fprintf(out, "Signal: %s (%d)\n", signal_description(sig), sig);

    char when[32] = "";
    const std::time_t now = std::time(nullptr);
    struct tm local {};
    if (localtime_r(&now, &local))
        std::strftime(when, sizeof when, "%Y-%m-%d %H:%M:%S", &local);
    std::fprintf(out, "Time: %s\n", when);

    struct utsname system {};
    if (uname(&system) == 0)
        std::fprintf(out, "System: %s %s %s\n", system.sysname, system.release, system.machine);
    std::fprintf(out, "Desktop: %s (%s)\n", or_unknown(std::getenv("XDG_CURRENT_DESKTOP")),
                 or_unknown(std::getenv("XDG_SESSION_TYPE")));
    if (const char* snap_version = std::getenv("SNAP_VERSION"))
        std::fprintf(out, "Snap: yes (v%s)\n", snap_version);
    else
        std::fprintf(out, "Snap: no\n");

    std::fprintf(out, "\nBacktrace:\n");
    // The frames go straight to the descriptor, so whatever the stream still
    // buffers must be out first or the lines would land in the wrong order.
    std::fflush(out);
    void* frames[MAX_FRAMES];
    const int depth = backtrace(frames, MAX_FRAMES);
    backtrace_symbols_fd(frames, depth, fileno(out));

    std::fprintf(out, "\n=== End Report ===\n");
    std::fclose(out);
    return true;
}

std::string percent_encode(const std::string& text) {
    static constexpr char HEX[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (std::isalnum(byte) || c == '-' || c == '.' || c == '/' || c == '_' || c == '~') {
            out += c;
        } else {
            out += '%';
            out += HEX[byte >> 4];
            out += HEX[byte & 0x0F];
        }
    }
    return out;
}

bool dialog_in_german() {
    for (const char* name : {"LANG", "LC_ALL", "LANGUAGE"}) {
        if (starts_with_de(std::getenv(name)))
            return true;
    }
    return false;
}

std::string dialog_script(int sig, const std::string& report_path, bool german) {
    const DialogTexts& texts = german ? GERMAN : ENGLISH;
    const std::string report = single_quoted(report_path);
    const std::string subject = std::string(PRODUCT_NAME) + " Crash: " + signal_description(sig);

    std::string script;
    script += "DESC=$(zenity --text-info --editable --title=" +
              single_quoted(std::string(PRODUCT_NAME) + texts.question) +
              " --width=500 --height=250 --ok-label=" + single_quoted(texts.accept) +
              " --cancel-label=" + single_quoted(texts.cancel) + " 2>/dev/null)\n";
    script += "if [ $? -ne 0 ]; then exit 0; fi\n";
    script += "echo '' >> " + report + "\n";
    script += "echo 'User description:' >> " + report + "\n";
    script += "echo \"$DESC\" >> " + report + "\n";
    script += std::string("BODY=") + texts.body + percent_encode(report_path) + "\n";
    script += std::string("xdg-open \"mailto:") + SUPPORT_EMAIL +
              "?subject=" + percent_encode(subject) + "&body=${BODY}\" 2>/dev/null || true\n";
    return script;
}

} // namespace crash_report
