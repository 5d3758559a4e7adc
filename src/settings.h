// The user's four preferences and the small JSON file that keeps them. Reads
// once at start-up, writes after each change made in the interface. A missing
// or damaged file never stops the program: whatever cannot be used keeps its
// default, and the next save writes back what is actually in use.
//
// Owns only "settings.json" (and its ".tmp" twin) in the configuration folder;
// it never touches anything else. Main thread only.
#pragma once

#include <cstddef>
#include <string>

struct Settings {
    std::string language = "auto";    // a language code, or "auto" to follow the system
    std::string theme = "light";      // "light", "dark" or "auto" (follow the desktop)
    std::string projects_root;        // empty: the catalog's default folder
    std::string file_manager_command; // empty: the detected file manager; "%s" is the path
};

class SettingsStore {
public:
    // The one store of the process, created with the defaults on first use.
    static SettingsStore& instance();

    const Settings& get() const { return m_settings; }
    // Write access; the caller calls save() once the change is made.
    Settings& mutable_get() { return m_settings; }

    // Starts from the defaults and takes every value of the file that passes
    // its check. No file, or an unreadable one, leaves the defaults.
    void load();
    // Replaces the file as a whole; on any failure the old file stays.
    void save() const;
    // The configuration folder plus "/settings.json".
    std::string path() const;

    SettingsStore(const SettingsStore&) = delete;
    SettingsStore& operator=(const SettingsStore&) = delete;

private:
    SettingsStore() = default;
    Settings m_settings;
};

namespace settings_util {

// A command the program will store and run: 1 to 300 bytes, no control byte
// (below 32, or 127), no double quote or backslash (the file is written
// without escaping), and not made only of spaces and tabs.
bool valid_file_manager_command(const std::string& cmd);

// Writes `content` to `target` + ".tmp" and renames it over `target`, so a
// reader sees either the old file or the new one, never half of one. Returns
// false, with `target` untouched and no ".tmp" left behind, when any step fails.
bool replace_file(const std::string& target, const std::string& content);

// Where the value of `"key"` begins in a settings-style text: just past the
// first ":" after the quoted key. npos when the key or the colon is missing.
size_t value_start(const std::string& text, const std::string& key);

// Reads a whole file into `out`. False when it cannot be opened or a read
// fails part-way (a directory in the file's place, an I/O error).
bool read_whole_file(const std::string& path, std::string& out);

// What a settings file's text gives: each value that passes its check, the
// default for every other. load() is this on the file's bytes; the tests and
// the fuzzers call it on text of their own.
Settings parse(const std::string& text);

// The file's text for these settings, exactly as save() writes it.
std::string to_text(const Settings& s);

} // namespace settings_util
