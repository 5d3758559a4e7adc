// Answers one question for a row that lists one folder per installed version
// (Rust toolchains, Python versions, Node versions, Gradle distributions, SDK
// platforms ...): which of its entries are the ones the user's tools are set
// to use, and what says so. The newest version is often not the one in use
// (rustup's stable against a nightly, an older Python a project needs), so
// the tools' own settings and the projects' version files decide.
//
// Reads small files (the tools' settings, the projects' version files, a
// symbolic link); never writes, never deletes, never lists a tree. A file
// that is missing, not a regular file, larger than READ_LIMIT or holding a
// NUL byte pins nothing. No toolkit. Any thread may call any function.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace tool_pins {

// Settings and version files are a few lines long; anything bigger is not
// one the tools wrote, and it is not read at all.
constexpr std::size_t READ_LIMIT = 64 * 1024;

// Why one entry of a row is in use. An entry can be named in several ways at
// once; every one is counted.
struct Pin {
    std::string name;        // the entry's name as the row lists it
    bool by_default = false; // the tool's own default names it
    bool by_folder = false;  // a per-folder setting of the tool names it (rustup's overrides)
    int projects = 0;        // how many projects' version files name it
};

// One row's question.
struct Query {
    std::string row_id;             // the catalog row's id
    std::string folder;             // the folder the row lists
    std::vector<std::string> names; // its entries' names as listed ("tool/version" for two levels)
    // The version files found in the user's projects (see is_project_file).
    // Files that do not belong to the row's tool are passed over.
    std::vector<std::string> project_files;
    std::string home; // where the tools keep their per-user files (~/.tool-versions)
};

// The tool whose settings decide for the row ("rustup", "pyenv", "nvm",
// "SDKMAN", "asdf", "mise", "Gradle", "Android"); null for a row without
// such a rule. Tool names are names, never translated.
const char* tool_of(const std::string& row_id);

// The entries of the row that are in use, in the order of q.names; empty for
// a row without a rule and when nothing names one of its entries.
std::vector<Pin> find(const Query& q);

// Whether a file of this name, inside one of the user's projects, says which
// version of a tool the project uses: rust-toolchain, rust-toolchain.toml,
// .python-version, .nvmrc, .tool-versions, gradle-wrapper.properties,
// build.gradle, build.gradle.kts. The project search collects them.
bool is_project_file(const char* name);

// ---- The rules on their own, for the tests ----

// Whether a rustup channel ("stable", "1.78.0", "nightly-2024-05-01") names
// the toolchain folder: the folder is the channel itself or the channel
// followed by "-" and a host triple. A dated nightly is a toolchain of its
// own: "nightly" does not name "nightly-2024-05-01-x86_64-unknown-linux-gnu".
bool channel_names_toolchain(const std::string& channel, const std::string& folder);

// What a requested version names among the installed names: the name itself
// when it is installed, else the newest installed name that continues the
// request after a "." ("3.12" names "3.12.4" rather than "3.12.1"; releases
// are preferred over names with letters after the request, like "3.12.0rc1").
// Empty when nothing matches.
std::string resolve_version(const std::string& request, const std::vector<std::string>& names);

// The file's bytes, or empty when it is missing, not a regular file, larger
// than READ_LIMIT or holds a NUL byte.
std::string read_small_file(const std::string& path);

// ---- Each reader's text step on its own, for the tests and the fuzzers ----
// find() hands these the bytes read_small_file gave; they read nothing.

// What rustup's settings.toml says: the channel of every top-level
// "default_toolchain" and of every per-folder override, in file order.
struct RustupSettings {
    std::vector<std::string> defaults;
    std::vector<std::string> overrides;
};
RustupSettings parse_rustup_settings(const std::string& text);

// The channel a project's rust-toolchain or rust-toolchain.toml asks for:
// "[toolchain] channel" when the file is TOML, else the legacy one-word
// file. Empty when it names none.
std::string parse_rust_toolchain(const std::string& text);

// The words of pyenv's "version" file or a ".python-version", comments left
// out, in file order.
std::vector<std::string> parse_python_version(const std::string& text);

// The value of an nvm alias file or an ".nvmrc": its first word that is not
// in a comment; empty when there is none.
std::string parse_nvm_value(const std::string& text);

// The entry of `names` an nvm value names ("20", "v20.11", "node", "lts/iron"
// ...), aliases followed through read_alias(alias name), which gives the alias
// file's bytes (empty when there is none). Empty when it names none.
std::string resolve_nvm(const std::string& value, const std::vector<std::string>& names,
                        const std::function<std::string(const std::string&)>& read_alias);

// The entries of a two-level row ("<tool>/<version>") a .tool-versions file
// names, in file order; with `mise`, tool names as mise spells them
// ("nodejs" is "node").
std::vector<std::string> parse_tool_versions(const std::string& text,
                                             const std::vector<std::string>& names, bool mise);

// The entries of a two-level row the [tools] table of mise's config.toml names.
std::vector<std::string> parse_mise_config(const std::string& text,
                                           const std::vector<std::string>& names);

// The value of a key in a Java properties file, escapes undone and
// continued lines joined; empty when the key is missing.
std::string property_value(const std::string& text, const std::string& key);

// The Gradle distribution folder a gradle-wrapper.properties names
// ("gradle-8.5-bin"); empty when it names none.
std::string parse_gradle_wrapper(const std::string& text);

// The literal values a build.gradle or build.gradle.kts gives: SDK platforms
// ("android-34") from compileSdk and targetSdk, or, with `build_tools`, the
// buildToolsVersion values. Comments are left out.
std::vector<std::string> parse_android_script(const std::string& text, bool build_tools);

} // namespace tool_pins
