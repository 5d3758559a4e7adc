// The settings file: a fixed six-line layout on write, a tolerant search for
// each key on read. Not a JSON parser on purpose: the file is ours, and a
// hand-edited or damaged copy should still yield every value that makes sense.

#include "settings.h"

#include "i18n.h"
#include "paths.h"

#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A projects folder may hold a double quote in its name, which would end the
// value early, and so its backslashes become ambiguous too. Those two bytes
// are written as JSON's "\u0022" and "\u005c"; nothing else is escaped, and
// reading undoes only these two sequences, so a file written before (a plain
// backslash in a folder name) reads as it always did.
const char* const QUOTE_ESCAPE = "\\u0022";
const char* const BACKSLASH_ESCAPE = "\\u005c";

std::string escape_value(const std::string& value) {
    std::string out;
    for (const char c : value) {
        if (c == '"')
            out += QUOTE_ESCAPE;
        else if (c == '\\')
            out += BACKSLASH_ESCAPE;
        else
            out += c;
    }
    return out;
}

std::string unescape_value(const std::string& value) {
    std::string out;
    for (size_t i = 0; i < value.size(); ++i) {
        if (value.compare(i, 6, QUOTE_ESCAPE) == 0) {
            out += '"';
            i += 5;
        } else if (value.compare(i, 6, BACKSLASH_ESCAPE) == 0) {
            out += '\\';
            i += 5;
        } else {
            out += value[i];
        }
    }
    return out;
}

// The value of `"key"`: from the key, the next ":", then the next double
// quote; the value runs to the double quote after that, with the two
// escapes above undone. Empty when a piece is missing.
std::string read_string_value(const std::string& text, const std::string& key) {
    const size_t start = settings_util::value_start(text, key);
    if (start == std::string::npos)
        return {};
    const size_t open = text.find('"', start);
    if (open == std::string::npos)
        return {};
    const size_t close = text.find('"', open + 1);
    if (close == std::string::npos)
        return {};
    return unescape_value(text.substr(open + 1, close - open - 1));
}

bool known_language(const std::string& code) {
    for (const auto& lang : I18n::available())
        if (lang.code == code)
            return true;
    return false;
}

// A NUL inside the value would make stat() look at a shorter path than the
// one we would store, so such a value never names a directory.
bool is_existing_directory(const std::string& path) {
    if (path.find('\0') != std::string::npos)
        return false;
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

} // namespace

// ---------------------------------------------------------------------------
// The store
// ---------------------------------------------------------------------------

SettingsStore& SettingsStore::instance() {
    static SettingsStore store;
    return store;
}

std::string SettingsStore::path() const {
    return config_dir() + "/settings.json";
}

void SettingsStore::load() {
    m_settings = Settings{};
    std::string text;
    if (!settings_util::read_whole_file(path(), text))
        return;
    m_settings = settings_util::parse(text);
}

void SettingsStore::save() const {
    settings_util::replace_file(path(), settings_util::to_text(m_settings));
}

// ---------------------------------------------------------------------------
// The file's text, and the helpers shared with the geometry store
// ---------------------------------------------------------------------------

namespace settings_util {

Settings parse(const std::string& text) {
    Settings out;
    const std::string language = read_string_value(text, "language");
    if (language == "auto" || (!language.empty() && known_language(language)))
        out.language = language;

    const std::string theme = read_string_value(text, "theme");
    if (theme == "light" || theme == "dark" || theme == "auto")
        out.theme = theme;

    const std::string root = read_string_value(text, "projects_root");
    if (!root.empty() && is_existing_directory(root))
        out.projects_root = root;

    const std::string command = read_string_value(text, "file_manager_command");
    if (valid_file_manager_command(command))
        out.file_manager_command = command;
    return out;
}

std::string to_text(const Settings& s) {
    // Language and theme come from fixed sets, and the command check keeps
    // quotes and backslashes out of the command: only the folder can need
    // escaping.
    const std::string& command =
        valid_file_manager_command(s.file_manager_command) ? s.file_manager_command : std::string();
    std::string text = "{\n";
    text += "  \"language\": \"" + s.language + "\",\n";
    text += "  \"theme\": \"" + s.theme + "\",\n";
    text += "  \"projects_root\": \"" + escape_value(s.projects_root) + "\",\n";
    text += "  \"file_manager_command\": \"" + command + "\"\n";
    text += "}\n";
    return text;
}

bool valid_file_manager_command(const std::string& cmd) {
    if (cmd.empty() || cmd.size() > 300)
        return false;
    bool has_visible = false;
    for (const char ch : cmd) {
        const auto c = static_cast<unsigned char>(ch);
        if (c < 32 || c == 127 || c == '"' || c == '\\')
            return false;
        if (c != ' ' && c != '\t')
            has_visible = true;
    }
    return has_visible;
}

bool replace_file(const std::string& target, const std::string& content) {
    const std::string tmp = target + ".tmp";
    FILE* f = std::fopen(tmp.c_str(), "wb");
    if (!f)
        return false;
    bool ok = std::fwrite(content.data(), 1, content.size(), f) == content.size();
    ok = std::fflush(f) == 0 && ok;
    // The rename below is only worth its name if the new bytes are on disk
    // before it; otherwise a power cut could leave an empty file in its place.
    ok = fsync(fileno(f)) == 0 && ok;
    ok = std::fclose(f) == 0 && ok;
    if (!ok || std::rename(tmp.c_str(), target.c_str()) != 0) {
        std::remove(tmp.c_str());
        return false;
    }
    return true;
}

size_t value_start(const std::string& text, const std::string& key) {
    const size_t k = text.find("\"" + key + "\"");
    if (k == std::string::npos)
        return std::string::npos;
    const size_t colon = text.find(':', k + key.size() + 2);
    return colon == std::string::npos ? std::string::npos : colon + 1;
}

bool read_whole_file(const std::string& path, std::string& out) {
    out.clear();
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f)
        return false;
    char buf[4096];
    size_t n = 0;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0)
        out.append(buf, n);
    const bool ok = !std::ferror(f);
    std::fclose(f);
    if (!ok)
        out.clear();
    return ok;
}

} // namespace settings_util
