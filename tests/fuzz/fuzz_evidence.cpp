// Feeds random folder names and sibling lists to the evidence table's first
// question, whether a folder found by its name is that kind of folder at
// all. The input's first line is the folder's name, each further line one
// sibling's name; names that a directory listing cannot give (empty, ".",
// "..", holding "/" or NUL) are passed over. The parent is a fixed folder
// made once in a private temporary folder: a .NET project file, mix.exs, a
// "venv" with pyvenv.cfg, an "obj" with project.assets.json, an empty
// ".venv", and a link and a folder named like project files. Checks: a name
// no required row applies to is always offered; a sibling counts only when
// it is a regular file of the parent, so the answer with the siblings given
// equals the answer with only the real files among them, and the answer
// with the parent's full listing equals the answer when it is read here;
// the known cases answer as they should; the answer is stable. Also checks
// the table and the claimed names once: every required row has something to
// look for, every claimed name is listed once, and every row's name is one
// the project search claims.
#include "catalog.h"
#include "evidence.h"
#include "fuzz_support.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using fuzz::require;

std::string g_base;
int g_parent = -1;
std::vector<std::string> g_files;   // the regular files of the parent
std::vector<std::string> g_listing; // everything in the parent

const char* const FILES[] = {"App.csproj", "mix.exs", "package.json", "CMakeLists.txt"};
const char* const FOLDERS[] = {"venv", "obj", ".venv", "deps", "bin", "Dir.vbproj"};
const char* const INNER[][2] = {{"venv", "pyvenv.cfg"}, {"obj", "project.assets.json"}};

void touch(const std::string& path) {
    FILE* f = std::fopen(path.c_str(), "wb");
    require(f != nullptr);
    std::fclose(f);
}

void remove_parent() {
    const std::string p = g_base + "/parent";
    for (const auto& in : INNER)
        unlink((p + "/" + in[0] + "/" + in[1]).c_str());
    for (const char* d : FOLDERS)
        rmdir((p + "/" + d).c_str());
    for (const char* f : FILES)
        unlink((p + "/" + f).c_str());
    unlink((p + "/link.fsproj").c_str());
    rmdir(p.c_str());
    rmdir(g_base.c_str());
}

bool listable(const std::string& name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(std::string("/\0", 2)) == std::string::npos;
}

bool is_pattern(const std::string& s) {
    return s.find_first_of("*?[") != std::string::npos;
}

bool applies(const ArtefactRule& r, const std::string& name) {
    return r.name == "*" || r.name == name ||
           (is_pattern(r.name) && fnmatch(r.name.c_str(), name.c_str(), 0) == 0);
}

void check_table() {
    const std::vector<std::string>& claimed = catalog::recursive_claimed();
    for (const std::string& c : claimed) {
        require(!c.empty() && c.find('/') == std::string::npos);
        require(std::count(claimed.begin(), claimed.end(), c) == 1);
    }
    for (const ArtefactRule& r : catalog::artefact_rules()) {
        require(!r.name.empty());
        if (r.required)
            require(!r.beside.empty() || !r.inside.empty());
        if (r.name != "*")
            require(fuzz::contains(claimed, r.name));
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    char templ[] = "/tmp/quillet-fuzz-evidence-XXXXXX";
    if (!mkdtemp(templ))
        std::abort();
    g_base = templ;
    const std::string p = g_base + "/parent";
    require(mkdir(p.c_str(), 0700) == 0);
    for (const char* f : FILES) {
        touch(p + "/" + f);
        g_files.push_back(f);
        g_listing.push_back(f);
    }
    for (const char* d : FOLDERS) {
        require(mkdir((p + "/" + d).c_str(), 0700) == 0);
        g_listing.push_back(d);
    }
    for (const auto& in : INNER)
        touch(p + "/" + in[0] + "/" + in[1]);
    require(symlink("App.csproj", (p + "/link.fsproj").c_str()) == 0);
    g_listing.push_back("link.fsproj");
    std::atexit(remove_parent);
    g_parent = open(p.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    require(g_parent >= 0);
    check_table();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::text_of(data, size);
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    const std::string name = lines[0];
    if (!listable(name))
        return 0;
    std::vector<std::string> siblings;
    std::vector<std::string> real;
    for (std::size_t k = 1; k < lines.size(); ++k)
        if (listable(lines[k])) {
            siblings.push_back(lines[k]);
            if (fuzz::contains(g_files, lines[k]))
                real.push_back(lines[k]);
        }

    const bool given = evidence::is_artefact(g_parent, name.c_str(), &siblings);
    require(evidence::is_artefact(g_parent, name.c_str(), &siblings) == given);
    require(evidence::is_artefact(g_parent, name.c_str(), &real) == given);
    const bool read_here = evidence::is_artefact(g_parent, name.c_str(), nullptr);
    require(evidence::is_artefact(g_parent, name.c_str(), &g_listing) == read_here);
    const std::vector<std::string> all = fuzz::joined(siblings, g_listing);
    require(evidence::is_artefact(g_parent, name.c_str(), &all) == read_here);
    if (!given || !read_here) {
        const std::vector<ArtefactRule>& rules = catalog::artefact_rules();
        require(std::any_of(rules.begin(), rules.end(),
                            [&](const ArtefactRule& r) { return r.required && applies(r, name); }));
    }

    // The known cases of the fixed parent.
    require(evidence::is_artefact(g_parent, "bin", &siblings) ==
            fuzz::contains(siblings, "App.csproj"));
    require(evidence::is_artefact(g_parent, "venv", &siblings));
    require(!evidence::is_artefact(g_parent, ".venv", &siblings));
    require(evidence::is_artefact(g_parent, "obj", &siblings));
    require(evidence::is_artefact(g_parent, "deps", &siblings));
    if (name.compare(0, 12, "cmake-build-") == 0)
        require(given);
    return 0;
}
