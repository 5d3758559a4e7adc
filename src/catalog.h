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
};

// What the items of a category are.
enum class ListingKind : int32_t {
    ChildDirectories = 0, // every subdirectory directly inside `path`
    ChildItems = 1,       // every file or directory directly inside `path`
    SelfFolder = 2,       // `path` itself is the single item
    Recursive = 3,        // directories named one of `names` anywhere below `path`
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
};
