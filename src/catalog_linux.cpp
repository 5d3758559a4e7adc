// The leftover catalog for Linux: the presentation tables, the rows with the
// folders they list, the Android SDK discovery and the per-root cache.
//
// Sections: presentation tables · projects root · path bases · the rows ·
// cached access and name lists.

#include "catalog.h"

#include "catalog_linux_rows.h"
#include "i18n.h"
#include "paths.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <sys/stat.h>

// ---------------------------------------------------------------------------
// Presentation tables
// ---------------------------------------------------------------------------

namespace catalog {

const char* group_title(GroupKind g) {
    switch (g) {
    case GroupKind::Ides:
        return tr_noop("IDEs & editors");
    case GroupKind::Android:
        return tr_noop("Android");
    case GroupKind::Java:
        return tr_noop("Java & Gradle");
    case GroupKind::JavaScript:
        return tr_noop("JavaScript & Node");
    case GroupKind::Python:
        return tr_noop("Python");
    case GroupKind::OtherLangs:
        return tr_noop("Rust, Go & others");
    case GroupKind::Models:
        return tr_noop("AI models & data");
    case GroupKind::Projects:
        return tr_noop("Your projects");
    case GroupKind::Logs:
        return tr_noop("Logs");
    default:
        return "";
    }
}

Glyph group_glyph(GroupKind g) {
    switch (g) {
    case GroupKind::Ides:
        return Glyph::Code;
    case GroupKind::Android:
        return Glyph::Phone;
    case GroupKind::Java:
        return Glyph::Cube;
    case GroupKind::JavaScript:
        return Glyph::Box;
    case GroupKind::Python:
        return Glyph::Snake;
    case GroupKind::OtherLangs:
        return Glyph::Gear;
    case GroupKind::Models:
        return Glyph::Chip;
    case GroupKind::Projects:
        return Glyph::Folder;
    case GroupKind::Logs:
        return Glyph::Doc;
    default:
        return Glyph::Box;
    }
}

const char* group_color(GroupKind g) {
    switch (g) {
    case GroupKind::Ides:
        return "#FF5B54";
    case GroupKind::Android:
        return "#FF8A2B";
    case GroupKind::Java:
        return "#FFB020";
    case GroupKind::JavaScript:
        return "#FF3D91";
    case GroupKind::Python:
        return "#FF7EB0";
    case GroupKind::OtherLangs:
        return "#FF9C6B";
    case GroupKind::Models:
        return "#C8553D";
    case GroupKind::Logs:
        return "#FFD93D";
    default:
        // Projects has no colour of its own and shares this one on purpose.
        return "#FF599E";
    }
}

const char* safety_title(SafetyLevel s) {
    switch (s) {
    case SafetyLevel::Safe:
        return tr_noop("Safe");
    case SafetyLevel::Caution:
        return tr_noop("Caution");
    case SafetyLevel::Risky:
        return tr_noop("Risky");
    default:
        return "";
    }
}

const char* safety_explanation(SafetyLevel s) {
    switch (s) {
    case SafetyLevel::Safe:
        return tr_noop("Recreated automatically on the next build or launch.");
    case SafetyLevel::Caution:
        return tr_noop("Recreated or downloaded again when needed — costs time, not data.");
    case SafetyLevel::Risky:
        return tr_noop("May hold data that cannot be recreated.");
    default:
        return "";
    }
}

const char* safety_color(SafetyLevel s) {
    switch (s) {
    case SafetyLevel::Safe:
        return "#34A853";
    case SafetyLevel::Caution:
        return "#F5A623";
    case SafetyLevel::Risky:
        return "#E5484D";
    default:
        return "#888888";
    }
}

} // namespace catalog

// ---------------------------------------------------------------------------
// Projects root
// ---------------------------------------------------------------------------

namespace {

// The interface thread sets the root while a scan may be building its
// catalog on another occasion; a lock keeps the string whole either way.
struct RootStore {
    std::mutex m;
    std::string root;
};

RootStore& root_store() {
    static RootStore store;
    return store;
}

} // namespace

namespace catalog {

std::string projects_root() {
    RootStore& s = root_store();
    std::lock_guard<std::mutex> lock(s.m);
    if (!s.root.empty())
        return s.root;
    return real_home();
}

void set_projects_root(const std::string& root) {
    RootStore& s = root_store();
    std::lock_guard<std::mutex> lock(s.m);
    s.root = root;
}

} // namespace catalog

// ---------------------------------------------------------------------------
// Path bases and the builder
// ---------------------------------------------------------------------------

namespace catalog_rows {

std::string clean_dir(const std::string& path) {
    if (path.empty() || path[0] != '/')
        return "";
    std::string out;
    std::size_t start = 0;
    while (start < path.size()) {
        std::size_t end = path.find('/', start);
        if (end == std::string::npos)
            end = path.size();
        const std::string part = path.substr(start, end - start);
        start = end + 1;
        if (part.empty() || part == ".")
            continue;
        if (part == "..")
            return "";
        out += "/" + part;
    }
    return out.empty() ? "/" : out;
}

std::string h(const std::string& home, const char* rel) {
    return under(home, rel);
}

std::string under(const std::string& base, const char* rel) {
    if (base.empty())
        return "";
    // The root as a base must not give "//name".
    return (base == "/" ? "" : base) + "/" + rel;
}

std::string xdg(const std::string& home, const char* var, const char* fallback) {
    if (!running_in_snap() && !running_in_flatpak()) {
        const char* v = std::getenv(var);
        if (v && v[0] == '/')
            return clean_dir(v);
    }
    return h(home, fallback);
}

std::string tool_dir(const char* var, const std::string& fallback, char list_separator) {
    if (running_in_snap() || running_in_flatpak())
        return fallback;
    const char* v = std::getenv(var);
    if (!v)
        return fallback;
    std::string value = v;
    if (list_separator != 0)
        value = value.substr(0, value.find(list_separator));
    if (value.empty() || value[0] != '/')
        return fallback;
    return clean_dir(value);
}

bool is_directory(const std::string& path) {
    struct stat st {};
    return !path.empty() && stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

void Builder::dirs(const char* id, GroupKind group, const char* title, const char* subtitle,
                   Glyph glyph, const std::string& path, SafetyLevel safety, bool keep_newest) {
    CategoryDef d =
        make(id, group, title, subtitle, glyph, path, ListingKind::ChildDirectories, safety);
    d.keep_newest = keep_newest;
    add(std::move(d), false);
}

void Builder::items(const char* id, GroupKind group, const char* title, const char* subtitle,
                    Glyph glyph, const std::string& path, SafetyLevel safety) {
    add(make(id, group, title, subtitle, glyph, path, ListingKind::ChildItems, safety), false);
}

void Builder::whole(const char* id, GroupKind group, const char* title, const char* subtitle,
                    Glyph glyph, const std::string& path, SafetyLevel safety) {
    add(make(id, group, title, subtitle, glyph, path, ListingKind::SelfFolder, safety), false);
}

void Builder::recursive(const char* id, const char* title, const char* subtitle, Glyph glyph,
                        std::vector<std::string> names, SafetyLevel safety,
                        const std::string& root) {
    CategoryDef d =
        make(id, GroupKind::Projects, title, subtitle, glyph, root, ListingKind::Recursive, safety);
    d.names = std::move(names);
    d.max_depth = 5;
    add(std::move(d), false);
}

void Builder::tool(CategoryDef d) {
    tool_ids.push_back(d.id);
    add(std::move(d), true);
}

CategoryDef Builder::make(const char* id, GroupKind group, const char* title, const char* subtitle,
                          Glyph glyph, const std::string& path, ListingKind listing,
                          SafetyLevel safety) {
    CategoryDef d;
    d.id = id;
    d.group = group;
    d.title = title;
    d.subtitle = subtitle;
    d.glyph = glyph;
    d.path = path;
    d.listing = listing;
    d.safety = safety;
    return d;
}

// stat follows links, so a linked folder (~/.m2/repository -> elsewhere)
// counts as present.
void Builder::add(CategoryDef d, bool checked) {
    if (keep_missing ? d.path.empty() : !is_directory(d.path))
        return;
    rows.push_back(std::move(d));
    m_checked.push_back(checked);
}

namespace {

// The same folder, or one inside the other, compared as text.
bool overlap(const std::string& a, const std::string& b) {
    const std::string& shorter = a.size() <= b.size() ? a : b;
    const std::string& longer = a.size() <= b.size() ? b : a;
    if (longer.compare(0, shorter.size(), shorter) != 0)
        return false;
    return longer.size() == shorter.size() || longer[shorter.size()] == '/' || shorter == "/";
}

} // namespace

void Builder::drop_overlaps() {
    std::vector<bool> keep(rows.size(), true);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (!m_checked[i])
            continue;
        for (std::size_t j = 0; j < rows.size() && keep[i]; ++j) {
            if (j == i || rows[j].listing == ListingKind::Recursive)
                continue;
            // Toolchain rows after this one are judged against it in their turn.
            if (m_checked[j] && (j > i || !keep[j]))
                continue;
            if (overlap(rows[i].path, rows[j].path))
                keep[i] = false;
        }
    }
    std::vector<CategoryDef> kept;
    for (std::size_t i = 0; i < rows.size(); ++i)
        if (keep[i])
            kept.push_back(std::move(rows[i]));
    rows.swap(kept);
    m_checked.assign(rows.size(), false);
}

} // namespace catalog_rows

// ---------------------------------------------------------------------------
// Android SDK discovery
// ---------------------------------------------------------------------------

namespace {

using catalog_rows::Builder;
using catalog_rows::h;
using catalog_rows::is_directory;
using catalog_rows::xdg;

// The Android SDK root: the first of ANDROID_HOME and ANDROID_SDK_ROOT that
// names an existing directory, else the usual folders under the home.
std::string android_sdk(const std::string& home) {
    // Like every folder the rows are built on, only an absolute value counts.
    for (const char* var : {"ANDROID_HOME", "ANDROID_SDK_ROOT"}) {
        const char* v = std::getenv(var);
        const std::string sdk = v ? catalog_rows::clean_dir(v) : std::string();
        if (!sdk.empty() && is_directory(sdk))
            return sdk;
    }
    for (const char* rel : {"Android/Sdk", "Android/sdk", ".android-sdk"}) {
        const std::string candidate = h(home, rel);
        if (is_directory(candidate))
            return candidate;
    }
    return "";
}

// ---------------------------------------------------------------------------
// The rows
// ---------------------------------------------------------------------------

// The project categories, which all search the projects root. Kept as a
// table because the names they claim are needed even when the root is missing
// at the moment and these rows are therefore not in the catalog.
struct ProjectRow {
    const char* id;
    const char* title;
    const char* subtitle;
    Glyph glyph;
    std::vector<std::string> names;
    SafetyLevel safety;
};

const std::vector<ProjectRow>& project_rows() {
    static const std::vector<ProjectRow> rows = {
        {"nodeModules",
         "node_modules",
         tr_noop("Dependency folders in your projects — npm install restores them"),
         Glyph::Folder,
         {"node_modules"},
         SafetyLevel::Safe},
        {"buildDirs",
         tr_noop("Build output"),
         tr_noop("build, out and target folders in your projects"),
         Glyph::Cube,
         {"build", "out", "target"},
         SafetyLevel::Safe},
        {"pycache",
         "__pycache__",
         tr_noop("Compiled Python bytecode in your projects"),
         Glyph::Snake,
         {"__pycache__", ".pytest_cache", ".mypy_cache", ".ruff_cache"},
         SafetyLevel::Safe},
        {"venvs",
         tr_noop("Virtual environments"),
         tr_noop("venv and .venv folders — recreated from requirements"),
         Glyph::Snake,
         {"venv", ".venv"},
         SafetyLevel::Caution},
        {"gradleProject",
         tr_noop("Project Gradle caches"),
         tr_noop(".gradle folders inside your projects"),
         Glyph::Box,
         {".gradle"},
         SafetyLevel::Safe},
        {"webCaches",
         tr_noop("Web framework caches"),
         tr_noop(".next, .nuxt, .svelte-kit, .turbo, .angular and .parcel-cache folders"),
         Glyph::Layers,
         {".next", ".nuxt", ".svelte-kit", ".turbo", ".angular", ".parcel-cache"},
         SafetyLevel::Safe},
        {"dotnetBuild",
         tr_noop(".NET build output"),
         tr_noop("bin and obj folders beside a .NET project file"),
         Glyph::Cube,
         {"bin", "obj"},
         SafetyLevel::Safe},
        {"cmakeBuilds",
         tr_noop("CMake build folders"),
         tr_noop("cmake-build-* folders that IDEs make beside CMakeLists.txt"),
         Glyph::Wrench,
         {"cmake-build-*"},
         SafetyLevel::Safe},
        {"toolchainBuilds",
         tr_noop("Other toolchains' build output"),
         tr_noop("Dart, Elixir, Erlang, OCaml, Haskell Stack and Zig build folders"),
         Glyph::Cube,
         {".dart_tool", "_build", "deps", ".stack-work", "zig-out", ".zig-cache", "zig-cache"},
         SafetyLevel::Safe},
        {"testEnvs",
         tr_noop("Test environments"),
         tr_noop(".tox and .nox folders — made again on the next test run"),
         Glyph::Snake,
         {".tox", ".nox"},
         SafetyLevel::Safe},
        // Providers and modules come back with "terraform init", but the
        // folder also remembers the backend and the selected workspace.
        {"terraformDirs",
         tr_noop("Terraform working folders"),
         tr_noop(".terraform folders — terraform init downloads them again"),
         Glyph::Box,
         {".terraform"},
         SafetyLevel::Caution},
    };
    return rows;
}

std::vector<CategoryDef> build_rows(bool keep_missing,
                                    std::vector<std::string>* tool_ids = nullptr) {
    using G = GroupKind;
    using S = SafetyLevel;
    using catalog_rows::under;
    // A relative HOME is no home the rows can name.
    const std::string home = catalog_rows::clean_dir(real_home());
    const std::string cache = xdg(home, "XDG_CACHE_HOME", ".cache");
    const std::string data = xdg(home, "XDG_DATA_HOME", ".local/share");
    const std::string config = xdg(home, "XDG_CONFIG_HOME", ".config");
    const std::string sdk = android_sdk(home);
    // A base that could not be found leaves its rows' paths empty: dropped.
    const catalog_rows::Bases bases{home, cache, data, config,
                                    xdg(home, "XDG_STATE_HOME", ".local/state")};

    // Titles and subtitles are interface texts, marked for translation; the
    // few that are only a path or a tool's own name ("NDK", "~/.npm/_cacache")
    // are shown as they stand in every language.
    Builder b;
    b.keep_missing = keep_missing;
    b.dirs("jetbrainsCaches", G::Ides, tr_noop("JetBrains caches"),
           tr_noop("IntelliJ IDEA, PyCharm, WebStorm, CLion — one folder per version"), Glyph::Code,
           under(cache, "JetBrains"), S::Safe, false);
    b.dirs("eclipseP2", G::Ides, tr_noop("Eclipse bundle pool"),
           "~/.p2 — plug-in bundles left behind by updates", Glyph::Puzzle,
           h(home, ".p2/pool/plugins"), S::Caution, false);
    b.dirs("eclipseConfig", G::Ides, tr_noop("Eclipse configuration cache"),
           "~/.eclipse — OSGi and index caches per installation", Glyph::Code, h(home, ".eclipse"),
           S::Safe, false);
    b.whole("eclipseHistory", G::Ides, tr_noop("Eclipse local history"),
            tr_noop("Every saved version of your files in the workspace"), Glyph::Doc,
            h(home, "eclipse-workspace/.metadata/.plugins/org.eclipse.core.resources/.history"),
            S::Caution);
    b.dirs("vscodeCachedData", G::Ides, tr_noop("VS Code — CachedData"),
           tr_noop("One bundle per version the editor has ever run"), Glyph::Code,
           under(config, "Code/CachedData"), S::Safe, false);
    b.whole("vscodeCache", G::Ides, tr_noop("VS Code — Cache"), tr_noop("Network and blob cache"),
            Glyph::Code, under(config, "Code/Cache"), S::Safe);
    // Titled "Code Cache" but listing CachedProfilesData: kept as the
    // catalog has always had it.
    b.whole("vscodeCodeCache", G::Ides, tr_noop("VS Code — Code Cache"),
            tr_noop("Compiled JavaScript bytecode"), Glyph::Code,
            under(config, "Code/CachedProfilesData"), S::Safe);
    b.dirs("vscodeExtensions", G::Ides, tr_noop("VS Code — extensions"),
           tr_noop("Installed extensions, older versions included"), Glyph::Puzzle,
           h(home, ".vscode/extensions"), S::Caution, false);
    b.dirs("androidStudioCaches", G::Ides, tr_noop("Android Studio caches"),
           tr_noop("One folder per Android Studio version"), Glyph::Wrench, under(cache, "Google"),
           S::Safe, false);

    if (!sdk.empty()) {
        b.dirs("androidBuildTools", G::Android, tr_noop("SDK build tools"),
               tr_noop("Old build-tools versions (the newest is kept)"), Glyph::Wrench,
               under(sdk, "build-tools"), S::Caution, true);
        b.dirs("androidPlatforms", G::Android, tr_noop("SDK platforms"),
               tr_noop("Installed Android API levels"), Glyph::Layers, under(sdk, "platforms"),
               S::Caution, true);
        b.dirs("androidSystemImages", G::Android, tr_noop("System images"),
               tr_noop("Emulator system images — usually the biggest item here"), Glyph::Phone,
               under(sdk, "system-images"), S::Caution, false);
        b.dirs("androidSources", G::Android, tr_noop("SDK sources"),
               tr_noop("Android source code per API level"), Glyph::Doc, under(sdk, "sources"), S::Safe,
               false);
        b.dirs("androidNdk", G::Android, "NDK",
               tr_noop("Native development kits (the newest is kept)"), Glyph::Layers, under(sdk, "ndk"),
               S::Caution, true);
        b.dirs("androidCmake", G::Android, tr_noop("SDK CMake"),
               tr_noop("CMake versions installed by the SDK manager"), Glyph::Wrench,
               under(sdk, "cmake"), S::Caution, true);
        b.whole("androidEmulatorCache", G::Android, tr_noop("Emulator caches"),
                tr_noop("Downloaded emulator artefacts"), Glyph::Box, under(sdk, ".temp"), S::Safe);
    }

    // Emulators hold their users' data, the only row that is Risky as a whole.
    b.items("avds", G::Android, tr_noop("Emulators (AVDs)"),
            tr_noop("Created Android emulators including their data"), Glyph::Phone,
            h(home, ".android/avd"), S::Risky);
    b.whole("androidCache", G::Android, tr_noop("Android SDK download cache"),
            "~/.android/cache — installer downloads", Glyph::Box, h(home, ".android/cache"),
            S::Safe);
    b.whole("androidBuildCache", G::Android, tr_noop("Android build cache"),
            "~/.android/build-cache", Glyph::Box, h(home, ".android/build-cache"), S::Safe);

    b.dirs("gradleCaches", G::Java, tr_noop("Gradle caches"),
           tr_noop("Downloaded dependencies and the build cache"), Glyph::Box,
           h(home, ".gradle/caches"), S::Safe, false);
    b.dirs("gradleDists", G::Java, tr_noop("Gradle distributions"),
           tr_noop("Gradle versions unpacked by the wrapper"), Glyph::Cube,
           h(home, ".gradle/wrapper/dists"), S::Safe, false);
    b.dirs("gradleDaemon", G::Java, tr_noop("Gradle daemon logs"),
           tr_noop("One log directory per Gradle version"), Glyph::Doc, h(home, ".gradle/daemon"),
           S::Safe, false);
    b.dirs("mavenRepo", G::Java, tr_noop("Maven repository"),
           "~/.m2 — downloaded Java dependencies", Glyph::Box, h(home, ".m2/repository"),
           S::Caution, false);
    b.dirs("ivyCache", G::Java, tr_noop("Ivy cache"), "~/.ivy2 — Scala and SBT dependencies",
           Glyph::Box, h(home, ".ivy2/cache"), S::Safe, false);
    b.whole("coursierCache", G::Java, tr_noop("Coursier cache"),
            tr_noop("SBT and Scala CLI artefact cache"), Glyph::Box, under(cache, "coursier"),
            S::Safe);
    b.dirs("sbtBoot", G::Java, tr_noop("SBT boot"), "~/.sbt — bootstrapped SBT and Scala versions",
           Glyph::Cube, h(home, ".sbt/boot"), S::Safe, false);
    catalog_rows::java_rows(b, bases);

    b.whole("npmCache", G::JavaScript, tr_noop("npm cache"), "~/.npm/_cacache", Glyph::Box,
            h(home, ".npm/_cacache"), S::Safe);
    b.whole("yarnCache", G::JavaScript, tr_noop("Yarn cache"), tr_noop("Downloaded packages"),
            Glyph::Box, under(cache, "yarn"), S::Safe);
    b.whole("pnpmStore", G::JavaScript, tr_noop("pnpm store"), tr_noop("Shared package store"),
            Glyph::Box, under(data, "pnpm/store"), S::Safe);
    b.whole("nodeGyp", G::JavaScript, tr_noop("node-gyp headers"),
            tr_noop("Node headers per version, for native modules"), Glyph::Wrench,
            under(cache, "node-gyp"), S::Safe);
    b.whole("electronCache", G::JavaScript, tr_noop("Electron downloads"),
            tr_noop("Electron binaries per version"), Glyph::Cube, under(cache, "electron"),
            S::Safe);
    b.dirs("playwright", G::JavaScript, tr_noop("Playwright browsers"),
           tr_noop("Browser builds downloaded for tests"), Glyph::Box,
           under(cache, "ms-playwright"), S::Caution, false);
    b.dirs("puppeteer", G::JavaScript, tr_noop("Puppeteer browsers"),
           tr_noop("Chromium builds downloaded for tests"), Glyph::Box, under(cache, "puppeteer"),
           S::Caution, false);
    b.dirs("cypress", G::JavaScript, tr_noop("Cypress binaries"),
           tr_noop("One Cypress build per version"), Glyph::Box, under(cache, "Cypress"),
           S::Caution, false);
    b.whole("bowerCache", G::JavaScript, tr_noop("Bower cache"),
            tr_noop("Legacy front-end package cache"), Glyph::Box, under(cache, "bower"), S::Safe);
    catalog_rows::javascript_rows(b, bases);

    b.whole("pipCache", G::Python, tr_noop("pip cache"), tr_noop("Downloaded Python packages"),
            Glyph::Snake, under(cache, "pip"), S::Safe);
    b.whole("poetryCache", G::Python, tr_noop("Poetry cache"), tr_noop("Poetry dependency cache"),
            Glyph::Snake, under(cache, "pypoetry"), S::Safe);
    b.whole("uvCache", G::Python, tr_noop("uv cache"), tr_noop("uv package cache"), Glyph::Snake,
            under(cache, "uv"), S::Safe);
    b.dirs("condaPkgs", G::Python, tr_noop("Conda packages"), tr_noop("Unpacked conda packages"),
           Glyph::Box, h(home, ".conda/pkgs"), S::Caution, false);
    catalog_rows::python_rows(b, bases);

    b.dirs("cargoRegistry", G::OtherLangs, tr_noop("Cargo registry"),
           tr_noop("Downloaded and unpacked crates"), Glyph::Box, h(home, ".cargo/registry"),
           S::Safe, false);
    b.dirs("cargoGit", G::OtherLangs, tr_noop("Cargo git checkouts"),
           tr_noop("Dependencies pulled straight from git"), Glyph::Box, h(home, ".cargo/git"),
           S::Safe, false);
    b.dirs("rustupToolchains", G::OtherLangs, tr_noop("Rust toolchains"),
           tr_noop("Installed toolchains (the newest is kept)"), Glyph::Layers,
           h(home, ".rustup/toolchains"), S::Caution, true);
    b.whole("goModCache", G::OtherLangs, tr_noop("Go module cache"),
            "~/go/pkg/mod — downloaded modules", Glyph::Box, h(home, "go/pkg/mod"), S::Caution);
    b.whole("goBuildCache", G::OtherLangs, tr_noop("Go build cache"),
            tr_noop("Compiled intermediates"), Glyph::Cube, under(cache, "go-build"), S::Safe);
    b.whole("ccache", G::OtherLangs, "ccache", tr_noop("C/C++ compiler cache"), Glyph::Cube,
            under(cache, "ccache"), S::Safe);
    b.whole("ccacheLegacy", G::OtherLangs, tr_noop("ccache (legacy path)"),
            "~/.ccache from older ccache versions", Glyph::Cube, h(home, ".ccache"), S::Safe);
    b.dirs("nugetPackages", G::OtherLangs, tr_noop(".NET NuGet packages"),
           "~/.nuget — downloaded packages", Glyph::Box, h(home, ".nuget/packages"), S::Caution,
           false);
    b.whole("composerCache", G::OtherLangs, tr_noop("Composer cache"),
            tr_noop("PHP dependency cache"), Glyph::Box, under(cache, "composer"), S::Safe);
    catalog_rows::other_language_rows(b, bases);

    catalog_rows::model_rows(b, bases);

    // The home as the projects root is named as cleanly as the other rows.
    const std::string root = catalog_rows::clean_dir(catalog::projects_root());
    for (const ProjectRow& r : project_rows())
        b.recursive(r.id, r.title, r.subtitle, r.glyph, r.names, r.safety, root);

    b.items("npmLogs", G::Logs, tr_noop("npm logs"), "~/.npm/_logs — one file per failed install",
            Glyph::Doc, h(home, ".npm/_logs"), S::Safe);
    b.items("vscodeLogs", G::Logs, tr_noop("VS Code logs"),
            tr_noop("Logs of the editor and its extensions"), Glyph::Doc,
            under(config, "Code/logs"), S::Safe);
    // Under the data folder, unlike the JetBrains caches: where the IDEs
    // write their logs.
    b.dirs("jetbrainsLogs", G::Logs, tr_noop("JetBrains logs"),
           tr_noop("Logs of the JetBrains IDEs"), Glyph::Doc, under(data, "JetBrains"), S::Safe,
           false);
    b.items("crashReports", G::Logs, tr_noop("Crash reports"),
            tr_noop("Crash dumps left by development tools"), Glyph::Doc,
            h(home, ".android/crashes"), S::Safe);
    b.drop_overlaps();
    if (tool_ids)
        *tool_ids = std::move(b.tool_ids);
    return std::move(b.rows);
}

} // namespace

// ---------------------------------------------------------------------------
// Cached access and name lists
// ---------------------------------------------------------------------------

namespace catalog {

const std::vector<CategoryDef>& all() {
    static std::vector<CategoryDef> cache;
    // A one-byte string no real path can equal, so the first call builds.
    static std::string built_for(1, '\x01');
    const std::string root = projects_root();
    if (root == built_for)
        return cache;
    std::vector<CategoryDef> fresh = build_rows(false);
    cache.swap(fresh);
    built_for = root;
    return cache;
}

const std::vector<std::string>& recursive_skip() {
    // ".local/share" holds a slash and so never equals one folder name; it
    // stays in the list as it always was.
    // clang-format off
    static const std::vector<std::string> names = {
        ".cache",   ".local",   ".config", ".var",     "snap",    ".steam", ".wine",
        ".gradle",  ".m2",      ".npm",    ".cargo",   ".rustup", ".nuget", ".ivy2",
        ".android", "Android",  "go",      ".git",     ".svn",    ".Trash", ".local/share",
        "Music",    "Pictures", "Videos",  "Downloads",
        // The hidden homes of the toolchain rows: version managers and
        // package stores that hold thousands of folders named like build
        // output (a "build" in every installed Python), none of them a project.
        ".pyenv", ".nvm", ".sdkman", ".asdf", ".volta", ".ghcup", ".stack", ".cabal", ".opam",
        ".julia", ".hex", ".mix", ".konan", ".pub-cache", ".bun", ".ollama", ".terraform.d",
        ".conan", ".conan2", ".yarn", ".fnm"};
    // clang-format on
    return names;
}

const std::vector<std::string>& recursive_claimed() {
    // Taken from the project rows themselves rather than from the rows that
    // exist now: a projects root that is missing at the first call must not
    // leave the list empty for the rest of the run.
    static const std::vector<std::string> names = [] {
        std::vector<std::string> out;
        for (const ProjectRow& r : project_rows())
            for (const std::string& n : r.names)
                if (std::find(out.begin(), out.end(), n) == out.end())
                    out.push_back(n);
        return out;
    }();
    return names;
}

const std::vector<ArtefactRule>& artefact_rules() {
    static const std::vector<ArtefactRule> rules = [] {
        using V = std::vector<std::string>;
        // Every Gradle project has one of these at its root.
        const V gradle = {"build.gradle", "build.gradle.kts", "settings.gradle",
                          "settings.gradle.kts", "gradlew"};
        const V dotnet = {"*.csproj", "*.fsproj", "*.vbproj"};
        // CACHEDIR.TAG is the common mark of a cache folder (cargo, pytest,
        // mypy, ruff and others write it); it counts only with its signature.
        // clang-format off
        return std::vector<ArtefactRule>{
            // name            beside                               inside                  required  only                                              output
            {"*",              {},                                  {"CACHEDIR.TAG"},       false,    {},                                               false},
            {"node_modules",   {"package.json"},                    {},                     false,    {},                                               false},
            {"node_modules",   {},                                  {".package-lock.json", ".modules.yaml", ".yarn-integrity", ".yarn-state.yml"},
                                                                                            false,    {},                                               false},
            {"target",         {"Cargo.toml", "pom.xml", "build.sbt"}, {},                  false,    {},                                               false},
            {"target",         {},                                  {".rustc_info.json"},   false,    {},                                               false},
            {"build",          gradle,                              {},                     false,    {},                                               false},
            {"build",          {"CMakeLists.txt"},                  {"CMakeCache.txt"},     false,    {},                                               false},
            {"build",          {},                                  {"CMakeCache.txt"},     false,    {},                                               false},
            {"build",          {"meson.build"},                     {},                     false,    {},                                               false},
            {"build",          {"pubspec.yaml"},                    {},                     false,    {},                                               false},
            {"build",          {"setup.py", "pyproject.toml"},      {},                     false,    {},                                               false},
            {"out",            {"*.iml"},                           {},                     false,    {},                                               false},
            {"out",            {"next.config.*"},                   {},                     false,    {},                                               false},
            {"out",            {"tsconfig.json"},                   {},                     false,    {},                                               true},
            {".gradle",        gradle,                              {},                     false,    {},                                               false},
            {"__pycache__",    {},                                  {},                     false,    {"*.pyc"},                                        false},
            {".pytest_cache",  {},                                  {},                     false,    {"v", "README.md", ".gitignore", "CACHEDIR.TAG"}, false},
            {".mypy_cache",    {},                                  {},                     false,    {"[0-9]*", "missing_stubs", ".gitignore", "CACHEDIR.TAG"},
                                                                                                                                                        false},
            {".ruff_cache",    {},                                  {},                     false,    {"[0-9]*", ".gitignore", "CACHEDIR.TAG"},         false},
            {"venv",           {},                                  {"pyvenv.cfg"},         true,     {},                                               false},
            {".venv",          {},                                  {"pyvenv.cfg"},         true,     {},                                               false},
            {".next",          {"next.config.*"},                   {},                     false,    {},                                               false},
            {".nuxt",          {"nuxt.config.*"},                   {},                     false,    {},                                               false},
            {".svelte-kit",    {"svelte.config.*"},                 {},                     false,    {},                                               false},
            {".turbo",         {"turbo.json"},                      {},                     false,    {},                                               false},
            {".angular",       {"angular.json"},                    {},                     false,    {},                                               false},
            {".parcel-cache",  {".parcelrc", "package.json"},       {},                     false,    {},                                               false},
            // "bin", "obj", "_build" and "deps" are everyday names: without
            // the project file beside them they are not build output at all.
            {"bin",            dotnet,                              {},                     true,     {},                                               false},
            {"obj",            dotnet,                              {},                     true,     {},                                               false},
            {"obj",            {},                                  {"project.assets.json"},true,     {},                                               false},
            {"cmake-build-*",  {"CMakeLists.txt"},                  {},                     false,    {},                                               false},
            {"cmake-build-*",  {},                                  {"CMakeCache.txt"},     false,    {},                                               false},
            {".dart_tool",     {"pubspec.yaml"},                    {},                     false,    {},                                               false},
            {"_build",         {"mix.exs", "rebar.config", "dune-project"}, {},             true,     {},                                               false},
            {"deps",           {"mix.exs"},                         {},                     true,     {},                                               false},
            {".stack-work",    {"stack.yaml"},                      {},                     false,    {},                                               false},
            {"zig-out",        {"build.zig"},                       {},                     false,    {},                                               false},
            {".zig-cache",     {"build.zig"},                       {},                     false,    {},                                               false},
            {"zig-cache",      {"build.zig"},                       {},                     false,    {},                                               false},
            {".tox",           {"tox.ini", "pyproject.toml", "setup.cfg"}, {},              false,    {},                                               false},
            {".nox",           {"noxfile.py"},                      {},                     false,    {},                                               false},
            {".terraform",     {"*.tf", "*.tf.json"},               {},                     false,    {},                                               false},
        };
        // clang-format on
    }();
    return rules;
}

} // namespace catalog

namespace catalog_testing {

std::vector<CategoryDef> every_row() {
    return build_rows(true);
}

std::vector<std::string> toolchain_ids() {
    std::vector<std::string> ids;
    build_rows(true, &ids);
    return ids;
}

} // namespace catalog_testing
