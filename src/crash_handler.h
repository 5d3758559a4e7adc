// What happens when the program dies from a fatal signal: a short plain-text
// report next to the session's runtime files, a dialog in a separate process
// that asks the user what they were doing and opens a pre-filled support mail,
// and then death by the very signal that was caught. Owns the handlers of
// SIGSEGV, SIGABRT, SIGBUS, SIGILL, SIGFPE and SIGTRAP and the report file;
// touches no other signal, no settings and nothing of the toolkit.
// install() belongs to the main thread before any other thread exists; the
// handler itself runs on whichever thread faulted. The crash_report functions
// are pure apart from reading the environment, and any thread may call them.
#pragma once

#include <cstddef>
#include <string>

class CrashHandler {
public:
    // Installs the handler for the six fatal signals. Each fires once: the
    // handler is reset to the default on entry, so a second fault inside it
    // simply kills the process.
    static void install();
};

// The pieces the handler is built from, kept apart so that they can be
// checked without crashing anything.
namespace crash_report {

// "SIGSEGV (Segmentation fault)" and so on; "Unknown signal" for any signal
// the handler does not catch. A literal, so the handler can use it without
// allocating.
const char* signal_description(int sig);

// XDG_RUNTIME_DIR (or /tmp when it is unset) + "/Quillet_crash.txt", written
// into buf. False, with buf left empty, when the path does not fit.
bool report_path(char* buf, std::size_t size);
std::string report_path();

// Writes the whole report for sig to path, replacing what was there. False
// when the file cannot be opened.
bool write_report(const char* path, int sig);

// The same, as the handler does it: local time is the clock plus the given
// offset (seconds east of UTC, taken when the handler was installed), and
// nothing is allocated and no lock taken, so that it works after a crash
// inside malloc. A change of daylight saving time since the program started
// shows as an hour off.
bool write_report_safely(const char* path, int sig, long utc_offset);

// Seconds east of UTC of local time now.
long utc_offset_now();

// Keeps letters, digits and "-._~/" and writes every other byte as "%XX" with
// upper-case hex digits. The slash stays so the path reads well in the mail.
std::string percent_encode(const std::string& text);

// True when LANG, LC_ALL or LANGUAGE (any one of them) begins with "de".
bool dialog_in_german();

// The bash script run after a crash: asks for a description with zenity,
// appends it to the report, then opens a mail to support that names the
// report file. A cancelled dialog or a missing zenity ends it quietly.
std::string dialog_script(int sig, const std::string& report_path, bool german);

} // namespace crash_report
