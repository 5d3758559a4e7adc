// Feeds random values of the variables that move the catalog's folders
// (every tool variable, HOME, the XDG base folders, the Android SDK's) to
// the catalog and checks its rows. The input is lines "NAME=value"; lines
// naming another variable are passed over, and every variable not named is
// unset, with HOME at a fixed home that does not exist. Checks: row ids are
// unique; every row's folder is absolute and normalised (no empty, "." or
// ".." component, no trailing slash); no toolchain row's folder is, holds or
// lies inside the folder of another row; a variable whose value is empty or
// relative changes nothing, as if it were unset; building twice gives the
// same rows. Nothing is written: the catalog only reads the environment and
// stats folders, and the rows kept are those whose folder path is known,
// existing or not.
#include "catalog.h"
#include "fuzz_support.h"

#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

using fuzz::require;

const char* const HOME = "/home/fuzz";

std::vector<std::string>& variables() {
    static std::vector<std::string> all = [] {
        std::vector<std::string> v = {"HOME",          "XDG_CACHE_HOME",
                                      "XDG_DATA_HOME", "XDG_CONFIG_HOME",
                                      "ANDROID_HOME",  "ANDROID_SDK_ROOT"};
        for (const char* t : catalog::tool_variables())
            v.push_back(t);
        return v;
    }();
    return all;
}

// Switches rather than folders, where any value set means something, and
// HOME, which is never unset here (a relative HOME is no home at all: the
// rows built on it are absent, which the folder check above covers).
bool always_counts(const std::string& name) {
    return name == "GHCUP_USE_XDG_DIRS" || name == "STACK_XDG" || name == "HOME";
}

// Whether the catalog is to take the value as a folder at all.
bool absolute_value(const std::string& name, const std::string& value) {
    // A list of folders: the first one is the folder.
    const std::string first = name == "JULIA_DEPOT_PATH" ? value.substr(0, value.find(':')) : value;
    return !first.empty() && first[0] == '/';
}

void apply(const std::map<std::string, std::string>& env) {
    for (const std::string& v : variables())
        unsetenv(v.c_str());
    setenv("HOME", HOME, 1);
    for (const auto& [name, value] : env)
        setenv(name.c_str(), value.c_str(), 1);
}

bool normalised(const std::string& path) {
    if (path.empty() || path[0] != '/')
        return false;
    if (path == "/")
        return true;
    std::size_t start = 1;
    while (start <= path.size()) {
        std::size_t end = path.find('/', start);
        if (end == std::string::npos)
            end = path.size();
        const std::string part = path.substr(start, end - start);
        if (part.empty() || part == "." || part == "..")
            return false;
        start = end + 1;
    }
    return true;
}

bool overlap(const std::string& a, const std::string& b) {
    const std::string& shorter = a.size() <= b.size() ? a : b;
    const std::string& longer = a.size() <= b.size() ? b : a;
    if (longer.compare(0, shorter.size(), shorter) != 0)
        return false;
    return longer.size() == shorter.size() || longer[shorter.size()] == '/' || shorter == "/";
}

std::vector<std::pair<std::string, std::string>> rows_now() {
    std::vector<std::pair<std::string, std::string>> out;
    for (const CategoryDef& d : catalog_testing::every_row())
        out.emplace_back(d.id, d.path);
    return out;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Outside a Snap, where the variables count.
    unsetenv("SNAP");
    unsetenv("SNAP_NAME");
    unsetenv("SNAP_REAL_HOME");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::text_of(data, size);
    std::map<std::string, std::string> env;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        const std::string line = text.substr(start, end - start);
        start = end + 1;
        const std::size_t eq = line.find('=');
        if (eq == std::string::npos || !fuzz::contains(variables(), line.substr(0, eq)))
            continue;
        const std::string value = line.substr(eq + 1);
        if (value.find('\0') != std::string::npos)
            continue;
        env[line.substr(0, eq)] = value;
    }

    apply(env);
    // The toolchain rows are the same ones whatever the environment says.
    static const std::vector<std::string> tools = catalog_testing::toolchain_ids();
    const std::vector<std::pair<std::string, std::string>> rows = rows_now();
    require(rows_now() == rows);
    const std::vector<CategoryDef> defs = catalog_testing::every_row();
    std::set<std::string> ids;
    std::vector<bool> is_tool;
    for (const CategoryDef& d : defs) {
        require(ids.insert(d.id).second);
        require(normalised(d.path));
        is_tool.push_back(fuzz::contains(tools, d.id));
    }
    for (std::size_t i = 0; i < defs.size(); ++i) {
        if (!is_tool[i])
            continue;
        for (std::size_t j = 0; j < defs.size(); ++j)
            if (j != i && defs[j].listing != ListingKind::Recursive)
                require(!overlap(defs[i].path, defs[j].path));
    }

    // Empty and relative values change nothing.
    std::map<std::string, std::string> kept;
    for (const auto& [name, value] : env)
        if (always_counts(name) || absolute_value(name, value))
            kept[name] = value;
    if (kept.size() != env.size()) {
        apply(kept);
        require(rows_now() == rows);
    }
    return 0;
}
