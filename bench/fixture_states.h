// Category states as a finished scan leaves them, built in memory without
// touching the disk: every group present, realistic names, paths and sizes,
// and one category whose size can be chosen (20 entries or 20,000). Used by
// the frame benchmark and by the program that renders the offscreen
// screenshots. Deterministic: the same call gives the same states.
#pragma once

#include "app.h"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace fixture {

struct Row {
    const char* id;
    GroupKind group;
    const char* title;
    const char* subtitle;
    Glyph glyph;
    const char* folder; // below the home
    SafetyLevel safety;
    bool keep_newest;
    int entries;
    int64_t bytes; // roughly the category's total
};

inline const std::vector<Row>& rows() {
    using G = GroupKind;
    using S = SafetyLevel;
    static const std::vector<Row> table = {
        {"jetbrainsCaches", G::Ides, "JetBrains caches",
         "IntelliJ IDEA, PyCharm, WebStorm, CLion — one folder per version", Glyph::Code,
         ".cache/JetBrains", S::Safe, false, 4, 3'400'000'000},
        {"vscodeExtensions", G::Ides, "VS Code — extensions",
         "Installed extensions, older versions included", Glyph::Puzzle, ".vscode/extensions",
         S::Caution, false, 12, 900'000'000},
        {"androidSystemImages", G::Android, "System images",
         "Emulator system images — usually the biggest item here", Glyph::Layers,
         "Android/Sdk/system-images", S::Caution, true, 3, 9'800'000'000},
        {"avds", G::Android, "Emulators (AVDs)", "Created Android emulators including their data",
         Glyph::Phone, ".android/avd", S::Risky, false, 2, 6'100'000'000},
        {"gradleCaches", G::Java, "Gradle caches", "Downloaded dependencies and the build cache",
         Glyph::Cube, ".gradle/caches", S::Safe, false, 9, 7'300'000'000},
        {"mavenRepo", G::Java, "Maven repository", "Downloaded packages", Glyph::Box,
         ".m2/repository", S::Caution, false, 30, 2'100'000'000},
        {"npmCache", G::JavaScript, "npm cache", "~/.npm/_cacache", Glyph::Box, ".npm/_cacache",
         S::Safe, false, 1, 4'200'000'000},
        {"nodeModules", G::Projects, "node_modules",
         "Dependency folders in your projects — npm install restores them", Glyph::Folder,
         "projects", S::Safe, false, 20, 5'600'000'000},
        {"pipCache", G::Python, "pip cache", "Downloaded Python packages", Glyph::Snake,
         ".cache/pip", S::Safe, false, 1, 1'300'000'000},
        {"venvs", G::Projects, "Virtual environments",
         "venv and .venv folders — recreated from requirements", Glyph::Snake, "projects",
         S::Caution, false, 6, 2'700'000'000},
        {"rustupToolchains", G::OtherLangs, "Rust toolchains",
         "Installed toolchains (the newest is kept)", Glyph::Wrench, ".rustup/toolchains", S::Safe,
         true, 3, 3'900'000'000},
        {"goBuildCache", G::OtherLangs, "Go build cache", "Compiled intermediates", Glyph::Gear,
         ".cache/go-build", S::Safe, false, 1, 800'000'000},
        {"jetbrainsLogs", G::Logs, "JetBrains logs", "Logs of the JetBrains IDEs", Glyph::Doc,
         ".cache/JetBrains/logs", S::Safe, false, 5, 160'000'000},
        {"crashReports", G::Logs, "Crash reports", "Crash dumps left by development tools",
         Glyph::Clock, ".local/share/crashes", S::Safe, false, 8, 90'000'000},
    };
    return table;
}

// What a scan says of project folders, one set per entry in turn: every
// reason the program can give, in the longest combinations that occur.
inline std::vector<evidence::Reason> project_reasons(int i) {
    using R = evidence::Reason;
    using S = SafetyLevel;
    const R ignored{"Ignored by git", "", -1, S::Safe};
    switch (i % 10) {
    case 0:
        return {ignored,
                {"beside %s", "package.json", -1, S::Safe},
                {"marked by %s", ".package-lock.json", -1, S::Safe}};
    case 1:
        return {{"Holds %s files tracked by git", "", 12345, S::Risky},
                {"No project file beside it", "", -1, S::Caution},
                ignored};
    case 2:
        return {{"No project file beside it", "", -1, S::Caution},
                {"Inside a hidden folder of your home", "", -1, S::Caution}};
    case 3:
        return {{"Is a git submodule", "", -1, S::Risky},
                {"beside %s", "settings.gradle.kts", -1, S::Safe}};
    case 4:
        return {{"Holds a git repository of its own", "", -1, S::Risky},
                {"Holds files its tool does not write", "", -1, S::Risky}};
    case 5:
        return {{"Its git repository could not be read", "", -1, S::Caution},
                {"Inside your documents folder", "", -1, S::Caution}};
    case 6:
        return {{"Holds a file tracked by git", "", -1, S::Risky},
                {"Inside your documents folder", "", -1, S::Caution}};
    case 7:
        return {{"Holds only what its tool writes", "", -1, S::Safe}, ignored};
    case 8:
        return {{"Took too long to look through", "", -1, S::Caution}};
    default:
        return {{"marked by %s", "CACHEDIR.TAG", -1, S::Safe},
                {"beside %s", "next.config.mjs", -1, S::Safe}};
    }
}

// The level those reasons give.
inline SafetyLevel level_of(const std::vector<evidence::Reason>& reasons) {
    SafetyLevel level = SafetyLevel::Safe;
    for (const evidence::Reason& r : reasons)
        level = std::max(level, r.weight);
    return level;
}

// A plausible entry name for entry i of a category.
inline std::string entry_name(const Row& row, int i) {
    const std::string id = row.id;
    if (id == "androidSystemImages")
        return "android-" + std::to_string(32 + i);
    if (id == "rustupToolchains")
        return "1." + std::to_string(70 + i) + ".0-x86_64-unknown-linux-gnu";
    if (id == "jetbrainsCaches")
        return std::string(i % 2 ? "PyCharm" : "IntelliJIdea") + "2024." + std::to_string(1 + i);
    if (id == "nodeModules" || id == "venvs")
        return row.id == std::string("venvs") ? ".venv" : "node_modules";
    if (id == "mavenRepo")
        return "org.example.library-" + std::to_string(i);
    return std::string(row.title) + " " + std::to_string(i + 1);
}

// Fills one category state as a finished scan would: items sorted by size,
// largest first, the newest version marked to keep where the row asks.
inline CatState make_state(const Row& row, int entries, const std::string& home, time_t now) {
    CatState c;
    c.def.id = row.id;
    c.def.group = row.group;
    c.def.title = row.title;
    c.def.subtitle = row.subtitle;
    c.def.glyph = row.glyph;
    c.def.path = home + "/" + row.folder;
    c.def.safety = row.safety;
    c.def.keep_newest = row.keep_newest;
    if (row.group == GroupKind::Projects)
        c.def.listing = ListingKind::Recursive;
    c.did_scan = true;
    const int n = entries;
    int64_t weight_sum = 0;
    for (int i = 0; i < n; ++i)
        weight_sum += 1000 / (i + 1) + 7;
    for (int i = 0; i < n; ++i) {
        Item it;
        it.name = entry_name(row, i);
        if (row.group == GroupKind::Projects)
            it.path = home + "/projects/app-" + std::to_string(i) + "/packages/frontend/" + it.name;
        else
            it.path = c.def.path + "/" + it.name;
        it.size = weight_sum > 0 ? row.bytes * (1000 / (i + 1) + 7) / weight_sum : 0;
        it.size_known = true;
        it.modified = now - static_cast<time_t>(3600) * (i * 37 % 2000 + 1);
        it.safety = row.safety;
        it.active = it.modified;
        if (row.group == GroupKind::Projects) {
            it.reasons = project_reasons(i);
            it.safety = std::max(row.safety, level_of(it.reasons));
            // Projects last worked on from a day to a year and a half ago.
            it.of_project = true;
            it.active = now - static_cast<time_t>(86400) * (i * 53 % 540 + 1);
        }
        c.items.push_back(std::move(it));
    }
    if (row.keep_newest && !c.items.empty()) {
        c.items.back().keep_hint = true;
        c.items.back().safety = SafetyLevel::Risky;
    }
    return c;
}

// Every fixture category, with the one named `big_id` given `big_entries`.
inline std::vector<CatState> states(const std::string& home, time_t now,
                                    const std::string& big_id = "", int big_entries = 0) {
    std::vector<CatState> out;
    for (const Row& r : rows())
        out.push_back(make_state(r, r.id == big_id ? big_entries : r.entries, home, now));
    return out;
}

} // namespace fixture
