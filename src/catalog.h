// The catalog's shared types: one leftover category (`CategoryDef`) and the
// enumerations that describe it. This header only declares the vocabulary;
// the rows themselves and the access to them are built by the catalog module.
// The types are plain values, safe to copy between threads.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Sidebar groups, in display order; `_Count` sizes arrays indexed by group.
enum class GroupKind : int32_t {
    Ides,
    Android,
    Java,
    JavaScript,
    Python,
    OtherLangs,
    Models,
    Projects,
    Logs,
    _Count,
};

enum class SafetyLevel : int32_t {
    Safe = 0,
    Caution = 1,
    Risky = 2,
};

enum class Glyph : int32_t {
    Box,
    Cube,
    Phone,
    Doc,
    Wrench,
    Code,
    Layers,
    Puzzle,
    Snake,
    Gear,
    Folder,
    Pencil,
    Clock,
    Chip,
};

// What the items of a category are.
enum class ListingKind : int32_t {
    ChildDirectories = 0, // every subdirectory directly inside `path`
    ChildItems = 1,       // every file or directory directly inside `path`
    SelfFolder = 2,       // `path` itself is the single item
    Recursive = 3,        // directories named one of `names` (or matching one of
                          // them as a shell pattern) anywhere below `path`
    // every subdirectory of every subdirectory of `path`, named "<tool>/<version>":
    // version managers that keep one folder per tool and one per version inside it
    ToolVersions = 4,
};

struct CategoryDef {
    std::string id; // stable lower-camel-case identifier
    GroupKind group = GroupKind::Ides;
    std::string title;    // English; translated at display time
    std::string subtitle; // English; translated at display time
    Glyph glyph = Glyph::Box;
    std::string path;
    ListingKind listing = ListingKind::ChildDirectories;
    std::vector<std::string> names; // only for Recursive
    int32_t max_depth = 5;
    SafetyLevel safety = SafetyLevel::Safe;
    bool keep_newest = false; // the newest child is offered but marked to keep
    // For ChildDirectories: when set, only children holding an entry of this
    // name are offered (an opam root keeps its switches beside its own files).
    std::string holds;
};

// What shows that a folder the project search found by its name is really a
// tool's output and not the user's own work. One row per kind of folder; a
// row speaks for a folder when its name matches and every list the row fills
// finds something (any one entry of a list will do).
struct ArtefactRule {
    // The folder's name, or a shell pattern ("cmake-build-*"); "*" for any
    // folder the search finds.
    std::string name;
    // Project files in the folder that holds it, as shell patterns ("*.iml").
    std::vector<std::string> beside;
    // Files the tool itself writes inside it.
    std::vector<std::string> inside;
    // Without what this row looks for (one of `beside` and one of `inside`,
    // for the lists it fills) the folder is not this kind at all and is not
    // offered: a "venv" package in a Python installation is no environment,
    // and a "bin" folder without a .NET project beside it is nobody's output.
    bool required = false;
    // When set, what it may hold: every entry directly inside must match one
    // of these patterns. Anything else is somebody's file, not the tool's.
    std::vector<std::string> only;
    // The project file beside it must name this folder as its output
    // directory ("outDir" of a tsconfig.json), not merely exist.
    bool names_it_as_output = false;
};

// ---------------------------------------------------------------------------
// Presentation tables and catalog access
// ---------------------------------------------------------------------------
//
// The presentation functions are pure and return static texts: titles are
// English interface texts (translate them with I18n::tr where they are shown),
// colours are "#RRGGBB". A value outside its enumeration gives the fallback.
//
// all() rebuilds without a lock when the projects root has changed, so it is
// called from one thread at a time: the interface thread, at start-up and when
// a scan starts. The rows it returns are read-only afterwards and may be read
// by any thread. The name lists are built once and are read-only.
namespace catalog {

const char* group_title(GroupKind g);
Glyph group_glyph(GroupKind g);
const char* group_color(GroupKind g);

const char* safety_title(SafetyLevel s);
const char* safety_explanation(SafetyLevel s);
const char* safety_color(SafetyLevel s);

// Every row whose folder exists, in display order. Built for the current
// projects root; the same vector comes back until the root changes.
const std::vector<CategoryDef>& all();

// The folder searched by the project categories: the last non-empty value
// given to set_projects_root(), else the real home directory.
std::string projects_root();
// "" means the home directory. Takes effect at the next all().
void set_projects_root(const std::string& root);

// Directory names the project search never enters directly inside the root.
const std::vector<std::string>& recursive_skip();
// The names the project categories look for, each once, in catalog order.
const std::vector<std::string>& recursive_claimed();

// Every environment variable, besides HOME and the XDG base folders, by
// which a developer's tools move what the catalog looks at (PYENV_ROOT,
// OLLAMA_MODELS, ...) or say what they use. The program reads them where it
// builds its rows; the list lets a test or a benchmark start without the
// values of the machine it runs on.
const std::vector<const char*>& tool_variables();

// The evidence table of the project search, built once. Adding a kind of
// build output is adding a row here.
const std::vector<ArtefactRule>& artefact_rules();

} // namespace catalog

// For the tests, which build a home holding every row; the program never calls it.
namespace catalog_testing {

// Every row the catalog knows in the present environment, built as all()
// builds them but kept whether its folder exists or not (a row whose path is
// empty, for want of a home or an SDK, is still left out). Not cached.
std::vector<CategoryDef> every_row();

// The ids of the toolchain rows: the rows that give way to any other row
// whose folder is, holds or lies inside theirs. Not cached.
std::vector<std::string> toolchain_ids();

} // namespace catalog_testing
