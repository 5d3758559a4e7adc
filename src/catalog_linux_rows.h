// The pieces the catalog's row lists are built from, shared by the two files
// that hold the rows: the path bases (home, XDG folders, a tool's own
// relocating variable) and the builder that keeps a row only when its folder
// exists. Reads the environment and stats folders; never writes anything.
// Called only while the catalog builds its rows (see catalog::all()).
#pragma once

#include "catalog.h"

#include <string>
#include <vector>

namespace catalog_rows {

// A folder named by the environment (HOME, an XDG base, a tool's variable)
// as the rows compare folders, as text: repeated slashes written once, "."
// components and trailing slashes dropped. "" when the value is not
// absolute or holds a ".." component: where ".." leads depends on the links
// on the way, which text cannot see, so no row is built on such a folder.
std::string clean_dir(const std::string& path);

// The real home, "/", rel; "" when there is no home, so the row is dropped.
std::string h(const std::string& home, const char* rel);

// base + "/" + rel; "" when the base is "", so the row is dropped.
std::string under(const std::string& base, const char* rel);

// An XDG base directory. Inside a sandbox the variables point into the
// sandbox's private area rather than at the user's real caches, so there
// only the home-based default counts. A relative value is not a valid XDG
// value and is ignored too. An absolute one is cleaned (see clean_dir()).
std::string xdg(const std::string& home, const char* var, const char* fallback);

// The folder a tool was moved to through its own variable (PYENV_ROOT,
// OLLAMA_MODELS, ...), else `fallback`. The same rule as xdg(): only an
// absolute value counts, and inside a Snap or a Flatpak the variable is
// ignored, since it describes the sandbox rather than the user's session.
// With a separator, the variable is a list and its first entry is the
// folder (JULIA_DEPOT_PATH). The value is cleaned (see clean_dir()) so that
// paths compare as folders; one holding ".." gives "", and the row is dropped.
std::string tool_dir(const char* var, const std::string& fallback, char list_separator = 0);

bool is_directory(const std::string& path);

// The bases every row is built from, worked out once per build.
struct Bases {
    std::string home;
    std::string cache;
    std::string data;
    std::string config;
    std::string state;
};

// Collects the rows; a row is kept only when its folder exists.
class Builder {
public:
    std::vector<CategoryDef> rows;
    // For the tests: keep the rows whose folder is missing too (not those
    // whose path is empty).
    bool keep_missing = false;

    void dirs(const char* id, GroupKind group, const char* title, const char* subtitle, Glyph glyph,
              const std::string& path, SafetyLevel safety, bool keep_newest);
    void items(const char* id, GroupKind group, const char* title, const char* subtitle,
               Glyph glyph, const std::string& path, SafetyLevel safety);
    void whole(const char* id, GroupKind group, const char* title, const char* subtitle,
               Glyph glyph, const std::string& path, SafetyLevel safety);
    void recursive(const char* id, const char* title, const char* subtitle, Glyph glyph,
                   std::vector<std::string> names, SafetyLevel safety, const std::string& root);

    // A toolchain row. It is kept only when its folder exists and, once all
    // rows are in, lies neither inside nor around the folder of any other
    // row (see drop_overlaps()): a relocating variable or a tool's default
    // inside another tool's cache must never count the same bytes twice.
    void tool(CategoryDef d);

    // Removes every toolchain row whose folder is, or lies inside, or
    // contains the folder of another row that stays. The project rows search
    // a whole root with their own skip rules and take no part. Of two
    // toolchain rows that overlap, the earlier one stays.
    void drop_overlaps();

    // The ids of every row given to tool(), kept or not, for the tests.
    std::vector<std::string> tool_ids;

    static CategoryDef make(const char* id, GroupKind group, const char* title,
                            const char* subtitle, Glyph glyph, const std::string& path,
                            ListingKind listing, SafetyLevel safety);

private:
    std::vector<bool> m_checked; // parallel to rows: true for tool() rows
    void add(CategoryDef d, bool checked);
};

// The toolchain rows of each group, added after that group's other rows.
void python_rows(Builder& b, const Bases& base);
void javascript_rows(Builder& b, const Bases& base);
void java_rows(Builder& b, const Bases& base);
void other_language_rows(Builder& b, const Bases& base);
void model_rows(Builder& b, const Bases& base);

} // namespace catalog_rows
