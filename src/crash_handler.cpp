#include "crash_handler.h"

#include <cctype>
#include <iterator>
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

// Everything the handler needs that would take memory to make is made by
// install(), before anything can crash: the report's path, the dialog script
// for each signal, and the offset of local time. The handler itself only
// reads these, writes with write() and calls what is safe in a signal
// handler; a crash inside malloc (a corrupted heap aborts there) would
// otherwise deadlock the handler on malloc's own lock.
char g_report_path[PATH_BUFFER] = "";
std::string g_scripts[std::size(FATAL_SIGNALS)];
long g_utc_offset = 0; // seconds east of UTC when the program started

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

const std::string* script_for(int sig) {
    for (std::size_t k = 0; k < std::size(FATAL_SIGNALS); ++k)
        if (FATAL_SIGNALS[k] == sig)
            return &g_scripts[k];
    return nullptr;
}

void crashHandler(int sig) {
    signal(sig, SIG_DFL);

    const char* path = g_report_path;
    if (path[0] == '\0' || !crash_report::write_report_safely(path, sig, g_utc_offset)) {
        die_with(sig);
        return;
    }

    // Reading the environment takes no lock and no memory.
    if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY")) {
        die_with(sig);
        return;
    }
    const std::string* script = script_for(sig);
    if (!script) {
        die_with(sig);
        return;
    }

    // The dying process must not wait for the user, so the dialog gets a
    // process of its own. A failed fork counts as the parent's side. _Fork
    // runs no fork handlers: malloc's would wait for the lock a crash inside
    // malloc still holds.
    if (_Fork() != 0) {
        die_with(sig);
        return;
    }

    // The display variables reach the dialog through the inherited
    // environment. The mask survives exec; the dialog should start with no signal blocked,
    // the one that brought us here included.
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);

    execl("/bin/bash", "bash", "-c", script->c_str(), static_cast<char*>(nullptr));
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
    g_utc_offset = crash_report::utc_offset_now();
    if (!crash_report::report_path(g_report_path, sizeof g_report_path))
        g_report_path[0] = '\0';
    const bool german = crash_report::dialog_in_german();
    for (std::size_t k = 0; k < std::size(FATAL_SIGNALS); ++k)
        g_scripts[k] = crash_report::dialog_script(FATAL_SIGNALS[k], g_report_path, german);

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

namespace {

// Collects text in a buffer on the stack and hands it to write(): no stdio,
// no allocation, safe in a signal handler.
class SafeWriter {
public:
    explicit SafeWriter(int fd) : m_fd(fd) {}
    ~SafeWriter() { flush(); }
    SafeWriter(const SafeWriter&) = delete;
    SafeWriter& operator=(const SafeWriter&) = delete;

    SafeWriter& put(const char* text) {
        for (; text && *text; ++text) {
            if (m_used == sizeof m_buf)
                flush();
            m_buf[m_used++] = *text;
        }
        return *this;
    }
    // A number in decimal, at least `width` digits with leading zeros.
    SafeWriter& num(long value, int width = 1) {
        char digits[24];
        int n = 0;
        const bool negative = value < 0;
        unsigned long v = negative ? 0UL - static_cast<unsigned long>(value)
                                   : static_cast<unsigned long>(value);
        do {
            digits[n++] = static_cast<char>('0' + v % 10);
            v /= 10;
        } while (v > 0 && n < 23);
        while (n < width && n < 23)
            digits[n++] = '0';
        if (negative)
            put("-");
        char out[24];
        for (int k = 0; k < n; ++k)
            out[k] = digits[n - 1 - k];
        out[n] = '\0';
        return put(out);
    }
    void flush() {
        std::size_t done = 0;
        while (done < m_used) {
            const ssize_t w = write(m_fd, m_buf + done, m_used - done);
            if (w <= 0)
                break;
            done += static_cast<std::size_t>(w);
        }
        m_used = 0;
    }

private:
    int m_fd;
    char m_buf[1024];
    std::size_t m_used = 0;
};

// "YYYY-MM-DD HH:MM:SS" of a moment, by the days-from-civil arithmetic
// rather than localtime_r, which takes the time zone's lock.
void put_time(SafeWriter& out, long long seconds) {
    long long days = seconds / 86400;
    long long rest = seconds % 86400;
    if (rest < 0) {
        rest += 86400;
        --days;
    }
    days += 719468;
    const long long era = (days >= 0 ? days : days - 146096) / 146097;
    const long long doe = days - era * 146097;
    const long long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const long long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const long long mp = (5 * doy + 2) / 153;
    const long long day = doy - (153 * mp + 2) / 5 + 1;
    const long long month = mp < 10 ? mp + 3 : mp - 9;
    const long long year = yoe + era * 400 + (month <= 2 ? 1 : 0);
    out.num(static_cast<long>(year), 4).put("-").num(static_cast<long>(month), 2).put("-");
    out.num(static_cast<long>(day), 2).put(" ").num(static_cast<long>(rest / 3600), 2).put(":");
    out.num(static_cast<long>(rest / 60 % 60), 2).put(":").num(static_cast<long>(rest % 60), 2);
}

} // namespace

long utc_offset_now() {
    const std::time_t now = std::time(nullptr);
    struct tm local {};
    return localtime_r(&now, &local) ? local.tm_gmtoff : 0;
}

bool write_report(const char* path, int sig) {
    return write_report_safely(path, sig, utc_offset_now());
}

bool write_report_safely(const char* path, int sig, long utc_offset) {
    // Private to the user, and never through a link: in a shared /tmp a
    // planted link must not make us truncate somebody else's file.
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    {
        SafeWriter out(fd);
        out.put("=== ").put(PRODUCT_NAME).put(" Crash Report ===\n");
        out.put("Version: ").put(VERSION).put(" (Build ").put(BUILD).put(")\n");
        if (const char* revision = std::getenv("SNAP_REVISION"))
            out.put("Snap revision: ").put(revision).put("\n");
        out.put("Signal: ").put(signal_description(sig)).put(" (").num(sig).put(")\n");
        out.put("Time: ");
        put_time(out, static_cast<long long>(std::time(nullptr)) + utc_offset);
        out.put("\n");

        struct utsname system {};
        if (uname(&system) == 0)
            out.put("System: ").put(system.sysname).put(" ").put(system.release).put(" ")
                .put(system.machine).put("\n");
        out.put("Desktop: ").put(or_unknown(std::getenv("XDG_CURRENT_DESKTOP"))).put(" (");
        out.put(or_unknown(std::getenv("XDG_SESSION_TYPE"))).put(")\n");
        if (const char* snap_version = std::getenv("SNAP_VERSION"))
            out.put("Snap: yes (v").put(snap_version).put(")\n");
        else
            out.put("Snap: no\n");
        out.put("\nBacktrace:\n");
        // The frames go straight to the descriptor, so what the buffer holds
        // must be out first or the lines would land in the wrong order.
        out.flush();
        void* frames[MAX_FRAMES];
        const int depth = backtrace(frames, MAX_FRAMES);
        backtrace_symbols_fd(frames, depth, fd);
        out.put("\n=== End Report ===\n");
    }
    close(fd);
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
