// Which installed versions the user's tools are set to use. Index:
//   the rows with a rule (RULES) ............ one table, row id to reader
//   reading small files, lines and words .... read_small_file, lines_of
//   a tolerant reader of TOML lines ......... parse_toml
//   collecting what names which entry ........ Collector
//   the readers, one per tool ............... read_rustup ... read_android
//   the public functions

#include "tool_pins.h"

#include "paths.h"
#include "strutil.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <initializer_list>
#include <map>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace tool_pins {

namespace {

// ---------------------------------------------------------------------------
// The rows with a rule
// ---------------------------------------------------------------------------

enum class Reader { Rustup, Pyenv, Nvm, Sdkman, Asdf, Mise, GradleWrapper, AndroidSdk, BuildTools };

struct Rule {
    const char* row_id;
    Reader reader;
    const char* tool;
};

// The catalog rows whose entries a tool's settings can name. A row renamed in
// the catalog is renamed here, in this one place.
constexpr Rule RULES[] = {
    {"rustupToolchains", Reader::Rustup, "rustup"},
    {"pyenvVersions", Reader::Pyenv, "pyenv"},
    {"nvmNode", Reader::Nvm, "nvm"},
    {"sdkmanCandidates", Reader::Sdkman, "SDKMAN"},
    {"asdfInstalls", Reader::Asdf, "asdf"},
    {"miseInstalls", Reader::Mise, "mise"},
    {"gradleDists", Reader::GradleWrapper, "Gradle"},
    {"androidPlatforms", Reader::AndroidSdk, "Android"},
    {"androidBuildTools", Reader::BuildTools, "Android"},
};

const Rule* rule_of(const std::string& row_id) {
    for (const Rule& r : RULES)
        if (row_id == r.row_id)
            return &r;
    return nullptr;
}

// ---------------------------------------------------------------------------
// Reading small files, lines and words
// ---------------------------------------------------------------------------

bool is_space(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

bool is_word_char(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

std::string trim(const std::string& s) {
    std::size_t b = 0;
    std::size_t e = s.size();
    while (b < e && is_space(s[b]))
        ++b;
    while (e > b && is_space(s[e - 1]))
        --e;
    return s.substr(b, e - b);
}

// The lines of a text, each trimmed; CRLF and a byte-order mark are taken in
// their stride.
std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> out;
    std::size_t start = text.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
    while (start <= text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        out.push_back(trim(text.substr(start, end - start)));
        start = end + 1;
    }
    return out;
}

// The line without a "#" comment.
std::string uncommented(const std::string& line) {
    const std::size_t hash = line.find('#');
    return hash == std::string::npos ? line : trim(line.substr(0, hash));
}

std::vector<std::string> words_of(const std::string& line) {
    std::vector<std::string> out;
    std::size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && is_space(line[i]))
            ++i;
        const std::size_t b = i;
        while (i < line.size() && !is_space(line[i]))
            ++i;
        if (i > b)
            out.push_back(line.substr(b, i - b));
    }
    return out;
}

// The words of every line of a version file, comments left out.
std::vector<std::string> version_words(const std::string& text) {
    std::vector<std::string> out;
    for (const std::string& line : lines_of(text))
        for (const std::string& w : words_of(uncommented(line)))
            out.push_back(w);
    return out;
}

bool contains(const std::vector<std::string>& v, const std::string& s) {
    return std::find(v.begin(), v.end(), s) != v.end();
}

// The newest of the names in natural version order; empty for none.
std::string newest_of(const std::vector<std::string>& names) {
    std::string best;
    for (const std::string& n : names)
        if (best.empty() || su::compare_versions(n, best) > 0)
            best = n;
    return best;
}

// An environment variable naming a folder or file: only an absolute value
// counts, and inside a Snap or a Flatpak none does (the sandbox sets them for
// itself, not for the user's tools).
std::string env_path(const char* name) {
    if (running_in_snap() || running_in_flatpak())
        return {};
    const char* v = std::getenv(name);
    if (!v || v[0] != '/')
        return {};
    return v;
}

std::string real_path(const std::string& path) {
    char buf[PATH_MAX];
    if (!realpath(path.c_str(), buf))
        return {};
    return buf;
}

bool is_file(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// ---------------------------------------------------------------------------
// A tolerant reader of TOML lines
// ---------------------------------------------------------------------------

// One "key = value" line: the table it stands in, its key, and its string
// values (one for a string or a bare value, several for an array on one line,
// the "version" of an inline table).
struct TomlEntry {
    std::string table;
    std::string key;
    std::vector<std::string> values;
};

// A quoted string starting at s[i] (its opening quote); advances i past the
// closing quote. False when it is not closed on the line.
bool toml_string(const std::string& s, std::size_t& i, std::string& out) {
    const char quote = s[i++];
    out.clear();
    while (i < s.size()) {
        const char c = s[i++];
        if (c == quote)
            return true;
        if (c == '\\' && quote == '"' && i < s.size()) {
            const char e = s[i++];
            out += e == 't' ? '\t' : e == 'n' ? '\n' : e;
            continue;
        }
        out += c;
    }
    return false;
}

void skip_spaces(const std::string& s, std::size_t& i) {
    while (i < s.size() && (s[i] == ' ' || s[i] == '\t'))
        ++i;
}

// Reads what the tools' settings need of TOML: tables, bare and quoted keys,
// strings, one-line arrays of strings and inline tables with a "version". A
// line it cannot read (a string left open, a multi-line value) gives nothing;
// nothing that follows is misread because of it.
std::vector<TomlEntry> parse_toml(const std::string& text) {
    std::vector<TomlEntry> out;
    std::string table;
    for (const std::string& line : lines_of(text)) {
        if (line.empty() || line[0] == '#')
            continue;
        if (line[0] == '[') {
            const std::size_t close = line.find(']');
            // A header that does not close leaves the keys below it in no
            // table anybody asks for.
            if (close == std::string::npos) {
                table = "\x01";
                continue;
            }
            std::string name = line.substr(1, close - 1);
            if (!name.empty() && name[0] == '[')
                name.erase(0, 1);
            name = trim(name);
            if (name.size() >= 2 && (name[0] == '"' || name[0] == '\'') && name.back() == name[0])
                name = name.substr(1, name.size() - 2);
            table = name;
            continue;
        }
        std::size_t i = 0;
        TomlEntry e;
        e.table = table;
        if (line[0] == '"' || line[0] == '\'') {
            if (!toml_string(line, i, e.key))
                continue;
        } else {
            while (i < line.size() && line[i] != '=' && !is_space(line[i]))
                ++i;
            e.key = line.substr(0, i);
            // A dotted key at the top ("tools.node = ...") stands for a table.
            const std::size_t dot = e.key.find('.');
            if (table.empty() && dot != std::string::npos) {
                e.table = e.key.substr(0, dot);
                e.key = e.key.substr(dot + 1);
            }
        }
        skip_spaces(line, i);
        if (e.key.empty() || i >= line.size() || line[i] != '=')
            continue;
        ++i;
        skip_spaces(line, i);
        if (i >= line.size())
            continue;
        std::string v;
        const char c = line[i];
        if (c == '"' || c == '\'') {
            if (line.compare(i, 3, std::string(3, c)) == 0 || !toml_string(line, i, v))
                continue;
            e.values.push_back(v);
        } else if (c == '[' || c == '{') {
            // Strings of a one-line array, or the "version" of an inline table.
            const char close = c == '[' ? ']' : '}';
            if (line.find(close, i) == std::string::npos)
                continue;
            ++i;
            std::string last_key;
            while (i < line.size() && line[i] != close) {
                if (line[i] == '"' || line[i] == '\'') {
                    if (!toml_string(line, i, v))
                        break;
                    if (c == '[' || last_key == "version")
                        e.values.push_back(v);
                    continue;
                }
                if (c == '{' && is_word_char(line[i])) {
                    const std::size_t b = i;
                    while (i < line.size() && (is_word_char(line[i]) || line[i] == '-'))
                        ++i;
                    last_key = line.substr(b, i - b);
                    continue;
                }
                ++i;
            }
        } else {
            std::size_t b = i;
            while (i < line.size() && !is_space(line[i]) && line[i] != '#')
                ++i;
            e.values.push_back(line.substr(b, i - b));
        }
        out.push_back(std::move(e));
    }
    return out;
}

// ---------------------------------------------------------------------------
// Collecting what names which entry
// ---------------------------------------------------------------------------

struct Mark {
    bool by_default = false;
    bool by_folder = false;
    std::set<std::string> projects;
};

class Collector {
public:
    explicit Collector(const std::vector<std::string>& names) : m_names(names) {}

    const std::vector<std::string>& names() const { return m_names; }

    void by_default(const std::string& name) {
        if (contains(m_names, name))
            m_marks[name].by_default = true;
    }
    void by_folder(const std::string& name) {
        if (contains(m_names, name))
            m_marks[name].by_folder = true;
    }
    void by_project(const std::string& name, const std::string& project) {
        if (contains(m_names, name))
            m_marks[name].projects.insert(project);
    }

    std::vector<Pin> pins() const {
        std::vector<Pin> out;
        std::set<std::string> done;
        for (const std::string& n : m_names) {
            const auto m = m_marks.find(n);
            if (m == m_marks.end() || !done.insert(n).second)
                continue;
            Pin p;
            p.name = n;
            p.by_default = m->second.by_default;
            p.by_folder = m->second.by_folder;
            p.projects = static_cast<int>(m->second.projects.size());
            out.push_back(std::move(p));
        }
        return out;
    }

private:
    const std::vector<std::string>& m_names;
    std::map<std::string, Mark> m_marks;
};

// The project files of one kind: every path whose last component is one of
// the names.
std::vector<std::string> files_named(const Query& q, std::initializer_list<const char*> names) {
    std::vector<std::string> out;
    for (const std::string& f : q.project_files) {
        const std::string base = su::basename_of(f);
        for (const char* n : names)
            if (base == n) {
                out.push_back(f);
                break;
            }
    }
    return out;
}

// The project a version file speaks for: the folder that holds it.
std::string project_of(const std::string& file) {
    return su::parent_of(file);
}

// ---------------------------------------------------------------------------
// rustup
// ---------------------------------------------------------------------------

// Every listed toolchain the channel names.
void mark_channel(Collector& c, const std::string& channel, int how, const std::string& project) {
    for (const std::string& n : c.names()) {
        if (!channel_names_toolchain(channel, n))
            continue;
        if (how == 0)
            c.by_default(n);
        else if (how == 1)
            c.by_folder(n);
        else
            c.by_project(n, project);
    }
}

// The channel a project's toolchain file asks for. The file without an
// extension is either the legacy form (the whole file is the channel) or
// TOML, as rustup reads it.
std::string toolchain_file_channel(const std::string& text) {
    bool toml = false;
    for (const std::string& line : lines_of(text))
        toml = toml || (!line.empty() && line[0] == '[');
    if (toml) {
        for (const TomlEntry& e : parse_toml(text))
            if (e.table == "toolchain" && e.key == "channel" && e.values.size() == 1)
                return e.values[0];
        return {};
    }
    for (const std::string& line : lines_of(text)) {
        const std::string l = uncommented(line);
        if (l.empty())
            continue;
        const std::vector<std::string> w = words_of(l);
        return w.size() == 1 ? w[0] : std::string();
    }
    return {};
}

void read_rustup(const Query& q, Collector& c) {
    // The settings live in RUSTUP_HOME, the folder that holds "toolchains".
    const RustupSettings settings =
        parse_rustup_settings(read_small_file(su::parent_of(q.folder) + "/settings.toml"));
    for (const std::string& channel : settings.defaults)
        mark_channel(c, channel, 0, {});
    for (const std::string& channel : settings.overrides)
        mark_channel(c, channel, 1, {});
    for (const std::string& f : files_named(q, {"rust-toolchain", "rust-toolchain.toml"}))
        mark_channel(c, parse_rust_toolchain(read_small_file(f)), 2, project_of(f));
}

// ---------------------------------------------------------------------------
// pyenv
// ---------------------------------------------------------------------------

// The listed version a pyenv version name stands for. A virtual environment
// of pyenv-virtualenv is a link in the versions folder into the version it
// was made from ("versions/tools -> versions/3.11.9/envs/tools"): the version
// behind it is the one in use.
std::string pyenv_entry(const Query& q, const std::string& word) {
    if (word == "system" || word.find('/') != std::string::npos || word == "." || word == "..")
        return {};
    const std::string v = resolve_version(word, q.names);
    if (!v.empty())
        return v;
    const std::string base = real_path(q.folder);
    const std::string target = real_path(q.folder + "/" + word);
    if (base.empty() || target.size() <= base.size() + 1 || !su::starts_with(target, base + "/"))
        return {};
    const std::string rest = target.substr(base.size() + 1);
    const std::string first = rest.substr(0, rest.find('/'));
    return contains(q.names, first) ? first : std::string();
}

void read_pyenv(const Query& q, Collector& c) {
    // PYENV_ROOT holds the global "version" file beside "versions".
    for (const std::string& w :
         parse_python_version(read_small_file(su::parent_of(q.folder) + "/version")))
        c.by_default(pyenv_entry(q, w));
    for (const std::string& f : files_named(q, {".python-version"}))
        for (const std::string& w : parse_python_version(read_small_file(f)))
            c.by_project(pyenv_entry(q, w), project_of(f));
}

// ---------------------------------------------------------------------------
// nvm
// ---------------------------------------------------------------------------

// Whether an alias name may be looked up as a file under "alias": no empty,
// "." or ".." component, nothing absolute.
bool safe_alias(const std::string& name) {
    if (name.empty() || name[0] == '/' || name.size() > 100)
        return false;
    std::size_t start = 0;
    while (start <= name.size()) {
        std::size_t end = name.find('/', start);
        if (end == std::string::npos)
            end = name.size();
        const std::string part = name.substr(start, end - start);
        if (part.empty() || part == "." || part == "..")
            return false;
        start = end + 1;
    }
    return true;
}

// The installed Node version an nvm value names: a version or its prefix
// ("20", "v20.11"), "node" and "stable" for the newest, or an alias
// ("default", "lts/iron", "lts/*") followed through NVM_DIR/alias.
std::string nvm_entry(const std::vector<std::string>& names, const std::string& value,
                      const std::function<std::string(const std::string&)>& read_alias, int depth) {
    if (value.empty() || depth > 8 || value == "system" || value == "none" ||
        su::starts_with(value, "iojs"))
        return {};
    if (value == "node" || value == "stable") {
        std::vector<std::string> node;
        for (const std::string& n : names)
            if (n.size() > 1 && n[0] == 'v' && is_digit(n[1]))
                node.push_back(n);
        return newest_of(node);
    }
    if (is_digit(value[0]))
        return resolve_version("v" + value, names);
    if (value.size() > 1 && value[0] == 'v' && is_digit(value[1]))
        return resolve_version(value, names);
    if (!safe_alias(value))
        return {};
    return nvm_entry(names, parse_nvm_value(read_alias(value)), read_alias, depth + 1);
}

void read_nvm(const Query& q, Collector& c) {
    // The row lists NVM_DIR/versions/node.
    const std::string nvm_dir = su::parent_of(su::parent_of(q.folder));
    const auto read_alias = [&](const std::string& name) {
        return read_small_file(nvm_dir + "/alias/" + name);
    };
    c.by_default(resolve_nvm("default", q.names, read_alias));
    for (const std::string& f : files_named(q, {".nvmrc"}))
        c.by_project(resolve_nvm(parse_nvm_value(read_small_file(f)), q.names, read_alias),
                     project_of(f));
}

// ---------------------------------------------------------------------------
// Two-level rows: "<tool>/<version>"
// ---------------------------------------------------------------------------

// The tools of a two-level row, each once, in the order listed.
std::vector<std::string> tools_of(const std::vector<std::string>& names) {
    std::vector<std::string> out;
    for (const std::string& n : names) {
        const std::size_t slash = n.find('/');
        if (slash != std::string::npos && slash > 0 && !contains(out, n.substr(0, slash)))
            out.push_back(n.substr(0, slash));
    }
    return out;
}

// The versions listed for one tool, without the "<tool>/".
std::vector<std::string> versions_of(const std::vector<std::string>& names,
                                     const std::string& tool) {
    std::vector<std::string> out;
    for (const std::string& n : names)
        if (su::starts_with(n, tool + "/"))
            out.push_back(n.substr(tool.size() + 1));
    return out;
}

void read_sdkman(const Query& q, Collector& c) {
    // SDKMAN points candidates/<tool>/current at the version in use.
    for (const std::string& tool : tools_of(q.names)) {
        const std::string link = q.folder + "/" + tool + "/current";
        char buf[PATH_MAX];
        const ssize_t len = readlink(link.c_str(), buf, sizeof buf - 1);
        if (len <= 0)
            continue;
        const std::string named = tool + "/" + su::basename_of(std::string(buf, len));
        if (contains(q.names, named)) {
            c.by_default(named);
            continue;
        }
        // A link written another way ("../java/21.0.1-tem/.") still leads there.
        const std::string target = real_path(link);
        if (target.empty())
            continue;
        for (const std::string& v : versions_of(q.names, tool))
            if (real_path(q.folder + "/" + tool + "/" + v) == target)
                c.by_default(tool + "/" + v);
    }
}

// The installed entry one requested version of a tool names in a two-level
// row, or empty: "latest" is the newest, "prefix:1.16" and "1.16" the newest
// that continues it. Versions that are no installation of the row's own
// ("system", "ref:...", "path:...") name nothing.
std::string two_level_entry(const std::vector<std::string>& names, const std::string& tool,
                            std::string version) {
    if (version.empty() || version == "system" || su::starts_with(version, "ref:") ||
        su::starts_with(version, "path:"))
        return {};
    if (su::starts_with(version, "prefix:"))
        version = version.substr(7);
    const std::vector<std::string> installed = versions_of(names, tool);
    const std::string v =
        version == "latest" ? newest_of(installed) : resolve_version(version, installed);
    return v.empty() ? std::string() : tool + "/" + v;
}

// mise installs a few tools under another name than asdf's plugins use.
std::string mise_tool(const std::string& tool) {
    if (tool == "nodejs")
        return "node";
    if (tool == "golang")
        return "go";
    return tool;
}

// Every entry a .tool-versions file names, each marked the same way.
template <typename Fn>
void read_tool_versions(const std::string& text, const std::vector<std::string>& names, bool mise,
                        Fn mark) {
    for (const std::string& entry : parse_tool_versions(text, names, mise))
        mark(entry);
}

// The global .tool-versions: in the home, under the name
// ASDF_DEFAULT_TOOL_VERSIONS_FILENAME gives (an absolute one as it stands).
std::string global_tool_versions(const Query& q) {
    const bool sandboxed = running_in_snap() || running_in_flatpak();
    const char* name = sandboxed ? nullptr : std::getenv("ASDF_DEFAULT_TOOL_VERSIONS_FILENAME");
    if (!name || !*name)
        return q.home + "/.tool-versions";
    if (name[0] == '/')
        return name;
    return q.home + "/" + name;
}

void read_asdf(const Query& q, Collector& c) {
    read_tool_versions(read_small_file(global_tool_versions(q)), q.names, false,
                       [&](const std::string& n) { c.by_default(n); });
    for (const std::string& f : files_named(q, {".tool-versions"}))
        read_tool_versions(read_small_file(f), q.names, false,
                           [&](const std::string& n) { c.by_project(n, project_of(f)); });
}

// mise's global settings: MISE_GLOBAL_CONFIG_FILE, else config.toml in
// MISE_CONFIG_DIR, else in XDG_CONFIG_HOME/mise, else in ~/.config/mise.
std::string mise_global_config(const Query& q) {
    std::string file = env_path("MISE_GLOBAL_CONFIG_FILE");
    if (!file.empty())
        return file;
    const std::string dir = env_path("MISE_CONFIG_DIR");
    if (!dir.empty())
        return dir + "/config.toml";
    const std::string config = env_path("XDG_CONFIG_HOME");
    return (config.empty() ? q.home + "/.config" : config) + "/mise/config.toml";
}

void read_mise(const Query& q, Collector& c) {
    auto by_default = [&](const std::string& n) { c.by_default(n); };
    const std::string config = mise_global_config(q);
    const std::string text = read_small_file(config);
    if (su::ends_with(config, ".toml")) {
        for (const std::string& entry : parse_mise_config(text, q.names))
            c.by_default(entry);
    } else {
        read_tool_versions(text, q.names, true, by_default);
    }
    // mise reads the .tool-versions of every folder above the one it runs
    // in, the home's among them.
    read_tool_versions(read_small_file(q.home + "/.tool-versions"), q.names, true, by_default);
    for (const std::string& f : files_named(q, {".tool-versions"}))
        read_tool_versions(read_small_file(f), q.names, true,
                           [&](const std::string& n) { c.by_project(n, project_of(f)); });
}

// ---------------------------------------------------------------------------
// Gradle wrapper
// ---------------------------------------------------------------------------

// The value of a key in a Java properties file: "key=value", "key: value" or
// "key value", backslash escapes undone ("https\://" is "https://") and
// lines ending in a backslash joined.
std::string property(const std::string& text, const std::string& key) {
    std::vector<std::string> logical;
    std::string pending;
    bool continued = false;
    for (const std::string& line : lines_of(text)) {
        if (!continued && (line.empty() || line[0] == '#' || line[0] == '!'))
            continue;
        std::size_t slashes = 0;
        while (slashes < line.size() && line[line.size() - 1 - slashes] == '\\')
            ++slashes;
        const bool go_on = slashes % 2 == 1;
        pending += go_on ? line.substr(0, line.size() - 1) : line;
        continued = go_on;
        if (!go_on) {
            logical.push_back(pending);
            pending.clear();
        }
    }
    for (const std::string& l : logical) {
        std::size_t i = 0;
        std::string k;
        while (i < l.size() && l[i] != '=' && l[i] != ':' && !is_space(l[i])) {
            if (l[i] == '\\' && i + 1 < l.size())
                ++i;
            k += l[i++];
        }
        if (k != key)
            continue;
        skip_spaces(l, i);
        if (i < l.size() && (l[i] == '=' || l[i] == ':'))
            ++i;
        skip_spaces(l, i);
        std::string v;
        for (; i < l.size(); ++i) {
            if (l[i] == '\\' && i + 1 < l.size())
                ++i;
            v += l[i];
        }
        return trim(v);
    }
    return {};
}

// The dists folder a wrapper's distributionUrl unpacks into:
// ".../gradle-8.5-bin.zip" gives "gradle-8.5-bin".
std::string dist_of(const std::string& url) {
    std::string base = url.substr(0, url.find_first_of("?#"));
    base = su::basename_of(base);
    if (su::ends_with(base, ".zip"))
        base.resize(base.size() - 4);
    return su::starts_with(base, "gradle-") ? base : std::string();
}

void read_gradle_wrapper(const Query& q, Collector& c) {
    for (const std::string& f : files_named(q, {"gradle-wrapper.properties"})) {
        // The project is the folder that holds gradle/wrapper.
        std::string project = su::parent_of(f);
        if (su::basename_of(project) == "wrapper" &&
            su::basename_of(su::parent_of(project)) == "gradle")
            project = su::parent_of(su::parent_of(project));
        c.by_project(parse_gradle_wrapper(read_small_file(f)), project);
    }
}

// ---------------------------------------------------------------------------
// Android SDK platforms and build tools
// ---------------------------------------------------------------------------

// A Gradle build script without its comments; strings are kept whole, so a
// "//" inside a URL stays.
std::string without_comments(const std::string& s) {
    std::string out;
    out.reserve(s.size());
    std::size_t i = 0;
    while (i < s.size()) {
        const char ch = s[i];
        if (ch == '"' || ch == '\'') {
            const std::size_t end = s.find_first_of(std::string(1, ch) + "\n", i + 1);
            const std::size_t stop = end == std::string::npos ? s.size() : end + 1;
            out.append(s, i, stop - i);
            i = stop;
        } else if (s.compare(i, 2, "//") == 0) {
            i = s.find('\n', i);
            if (i == std::string::npos)
                break;
        } else if (s.compare(i, 2, "/*") == 0) {
            const std::size_t end = s.find("*/", i + 2);
            if (end == std::string::npos)
                break;
            out += ' ';
            i = end + 2;
        } else {
            out += ch;
            ++i;
        }
    }
    return out;
}

// The literal values a build script gives the setting: "compileSdk 34",
// "compileSdk = 34", "compileSdkVersion(33)", "compileSdkVersion 'android-33'".
// A value that is not a literal (a variable, a call) gives nothing.
std::vector<std::string> literal_settings(const std::string& script, const char* setting) {
    std::vector<std::string> out;
    const std::string key = setting;
    std::size_t at = 0;
    while ((at = script.find(key, at)) != std::string::npos) {
        const std::size_t after = at + key.size();
        const bool starts = at == 0 || !is_word_char(script[at - 1]);
        at = after;
        if (!starts || (after < script.size() && is_word_char(script[after])))
            continue;
        std::size_t i = after;
        skip_spaces(script, i);
        if (i < script.size() && (script[i] == '=' || script[i] == '(')) {
            ++i;
            skip_spaces(script, i);
        }
        if (i >= script.size())
            break;
        std::string v;
        if (script[i] == '"' || script[i] == '\'') {
            const char quote = script[i];
            const std::size_t end = script.find_first_of(std::string(1, quote) + "\n$", i + 1);
            if (end == std::string::npos || script[end] != quote)
                continue;
            v = script.substr(i + 1, end - i - 1);
            i = end + 1;
        } else {
            const std::size_t b = i;
            while (i < script.size() && is_digit(script[i]))
                ++i;
            if (i == b || (i < script.size() && (is_word_char(script[i]) || script[i] == '.')))
                continue;
            v = script.substr(b, i - b);
        }
        out.push_back(trim(v));
    }
    return out;
}

// The Gradle project a module's build script belongs to: the nearest folder
// above it, within three, that holds a settings script; the module's own
// folder when there is none, so that a lone module counts as one project.
std::string gradle_project_of(const std::string& file) {
    std::string dir = su::parent_of(file);
    std::string at = dir;
    for (int up = 0; up < 3 && !at.empty() && at != "/"; ++up) {
        if (is_file(at + "/settings.gradle") || is_file(at + "/settings.gradle.kts"))
            return at;
        at = su::parent_of(at);
    }
    return dir;
}

void read_android(const Query& q, Collector& c, bool build_tools) {
    for (const std::string& f : files_named(q, {"build.gradle", "build.gradle.kts"})) {
        const std::string text = read_small_file(f);
        if (text.empty())
            continue;
        const std::string project = gradle_project_of(f);
        for (const std::string& v : parse_android_script(text, build_tools))
            c.by_project(v, project);
    }
}

} // namespace

// ---------------------------------------------------------------------------
// Public
// ---------------------------------------------------------------------------

std::string read_small_file(const std::string& path) {
    if (path.empty())
        return {};
    // Not blocking: a FIFO in a project where a version file is expected
    // must not stall the scan.
    const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0)
        return {};
    struct stat st;
    std::string out;
    if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size >= 0 &&
        static_cast<std::size_t>(st.st_size) <= READ_LIMIT) {
        out.resize(READ_LIMIT + 1);
        std::size_t got = 0;
        while (got < out.size()) {
            const ssize_t n = read(fd, &out[got], out.size() - got);
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                break;
            got += static_cast<std::size_t>(n);
        }
        // A file that grew past the limit while it was read is as good as
        // one that was too big from the start.
        out.resize(got > READ_LIMIT ? 0 : got);
    }
    close(fd);
    if (out.find('\0') != std::string::npos)
        return {};
    return out;
}

bool channel_names_toolchain(const std::string& channel, const std::string& folder) {
    if (channel.empty() || channel.size() > 200)
        return false;
    if (folder == channel)
        return true;
    if (folder.size() <= channel.size() + 1 || !su::starts_with(folder, channel) ||
        folder[channel.size()] != '-')
        return false;
    // What follows must be a host triple: it starts with an architecture,
    // which begins with a letter ("x86_64", "aarch64"), and has at least two
    // parts. A date ("2024-05-01-...") begins with a digit: that folder is a
    // dated toolchain, not this channel.
    const std::string triple = folder.substr(channel.size() + 1);
    const char first = triple[0];
    if (!((first >= 'a' && first <= 'z') || (first >= 'A' && first <= 'Z')))
        return false;
    return triple.find('-') != std::string::npos;
}

std::string resolve_version(const std::string& request, const std::vector<std::string>& names) {
    if (request.empty())
        return {};
    if (contains(names, request))
        return request;
    std::string best;
    bool best_release = false;
    for (const std::string& n : names) {
        if (n.size() <= request.size() + 1 || !su::starts_with(n, request) ||
            n[request.size()] != '.')
            continue;
        const std::string rest = n.substr(request.size() + 1);
        const bool release = std::all_of(rest.begin(), rest.end(),
                                         [](char ch) { return is_digit(ch) || ch == '.'; });
        if (best.empty() || (release && !best_release) ||
            (release == best_release && su::compare_versions(n, best) > 0)) {
            best = n;
            best_release = release;
        }
    }
    return best;
}

const char* tool_of(const std::string& row_id) {
    const Rule* r = rule_of(row_id);
    return r ? r->tool : nullptr;
}

std::vector<Pin> find(const Query& q) {
    const Rule* rule = rule_of(q.row_id);
    if (!rule || q.names.empty())
        return {};
    Collector c(q.names);
    switch (rule->reader) {
    case Reader::Rustup:
        read_rustup(q, c);
        break;
    case Reader::Pyenv:
        read_pyenv(q, c);
        break;
    case Reader::Nvm:
        read_nvm(q, c);
        break;
    case Reader::Sdkman:
        read_sdkman(q, c);
        break;
    case Reader::Asdf:
        read_asdf(q, c);
        break;
    case Reader::Mise:
        read_mise(q, c);
        break;
    case Reader::GradleWrapper:
        read_gradle_wrapper(q, c);
        break;
    case Reader::AndroidSdk:
        read_android(q, c, false);
        break;
    case Reader::BuildTools:
        read_android(q, c, true);
        break;
    }
    return c.pins();
}

RustupSettings parse_rustup_settings(const std::string& text) {
    RustupSettings out;
    for (const TomlEntry& e : parse_toml(text)) {
        if (e.values.size() != 1)
            continue;
        if (e.table.empty() && e.key == "default_toolchain")
            out.defaults.push_back(e.values[0]);
        else if (e.table == "overrides")
            out.overrides.push_back(e.values[0]);
    }
    return out;
}

std::string parse_rust_toolchain(const std::string& text) {
    return toolchain_file_channel(text);
}

std::vector<std::string> parse_python_version(const std::string& text) {
    return version_words(text);
}

std::string parse_nvm_value(const std::string& text) {
    const std::vector<std::string> w = version_words(text);
    return w.empty() ? std::string() : w[0];
}

std::string resolve_nvm(const std::string& value, const std::vector<std::string>& names,
                        const std::function<std::string(const std::string&)>& read_alias) {
    return nvm_entry(names, value, read_alias, 0);
}

std::vector<std::string> parse_tool_versions(const std::string& text,
                                             const std::vector<std::string>& names, bool mise) {
    // Every "<tool> <version> <version> ..." line.
    std::vector<std::string> out;
    for (const std::string& line : lines_of(text)) {
        const std::vector<std::string> w = words_of(uncommented(line));
        for (std::size_t k = 1; k < w.size(); ++k) {
            std::string entry = two_level_entry(names, mise ? mise_tool(w[0]) : w[0], w[k]);
            if (!entry.empty())
                out.push_back(std::move(entry));
        }
    }
    return out;
}

std::vector<std::string> parse_mise_config(const std::string& text,
                                           const std::vector<std::string>& names) {
    std::vector<std::string> out;
    for (const TomlEntry& e : parse_toml(text))
        if (e.table == "tools")
            for (const std::string& v : e.values) {
                std::string entry = two_level_entry(names, mise_tool(e.key), v);
                if (!entry.empty())
                    out.push_back(std::move(entry));
            }
    return out;
}

std::string property_value(const std::string& text, const std::string& key) {
    return property(text, key);
}

std::string parse_gradle_wrapper(const std::string& text) {
    return dist_of(property(text, "distributionUrl"));
}

std::vector<std::string> parse_android_script(const std::string& text, bool build_tools) {
    const std::string script = without_comments(text);
    if (build_tools)
        return literal_settings(script, "buildToolsVersion");
    std::vector<std::string> out;
    for (const char* s : {"compileSdk", "compileSdkVersion", "targetSdk", "targetSdkVersion"})
        for (const std::string& v : literal_settings(script, s)) {
            if (v.empty())
                continue;
            out.push_back(su::starts_with(v, "android-") ? v : "android-" + v);
        }
    return out;
}

bool is_project_file(const char* name) {
    if (!name)
        return false;
    for (const char* n :
         {"rust-toolchain", "rust-toolchain.toml", ".python-version", ".nvmrc", ".tool-versions",
          "gradle-wrapper.properties", "build.gradle", "build.gradle.kts"})
        if (std::strcmp(name, n) == 0)
            return true;
    return false;
}

} // namespace tool_pins
