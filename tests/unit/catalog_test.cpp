// The catalog on homes each test builds: every row with its exact fields,
// the adding rule, the Android SDK discovery, the XDG bases in and out of a
// sandbox, the per-root cache and the presentation tables.

#include "catalog.h"

#include "catalog_toolchains_table.h"
#include "fs_fixture.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

using fs_fixture::make_dirs;

namespace {

std::vector<std::string> ids() {
    std::vector<std::string> out;
    for (const CategoryDef& d : catalog::all())
        out.push_back(d.id);
    return out;
}

const CategoryDef* find(const std::string& id) {
    for (const CategoryDef& d : catalog::all())
        if (d.id == id)
            return &d;
    return nullptr;
}

const std::vector<std::string> PROJECT_IDS = {
    "nodeModules", "buildDirs",       "pycache",  "venvs",        "gradleProject", "webCaches",
    "dotnetBuild", "cmakeBuilds", "toolchainBuilds", "testEnvs", "terraformDirs"};

// One expected row: D, I, W or R for the listing; S, C or R for the safety;
// the path relative to the bases "~", "CACHE", "DATA", "CONFIG", "SDK".
struct Expected {
    const char* id;
    GroupKind group;
    char kind;
    const char* title;
    const char* subtitle;
    Glyph glyph;
    const char* base;
    const char* rel;
    char safety;
    bool keep;
};

using G = GroupKind;
using Gl = Glyph;

const Expected ROWS[] = {
    {"jetbrainsCaches", G::Ides, 'D', "JetBrains caches",
     "IntelliJ IDEA, PyCharm, WebStorm, CLion — one folder per version", Gl::Code, "CACHE",
     "JetBrains", 'S', false},
    {"eclipseP2", G::Ides, 'D', "Eclipse bundle pool",
     "~/.p2 — plug-in bundles left behind by updates", Gl::Puzzle, "~", ".p2/pool/plugins", 'C',
     false},
    {"eclipseConfig", G::Ides, 'D', "Eclipse configuration cache",
     "~/.eclipse — OSGi and index caches per installation", Gl::Code, "~", ".eclipse", 'S', false},
    {"eclipseHistory", G::Ides, 'W', "Eclipse local history",
     "Every saved version of your files in the workspace", Gl::Doc, "~",
     "eclipse-workspace/.metadata/.plugins/org.eclipse.core.resources/.history", 'C', false},
    {"vscodeCachedData", G::Ides, 'D', "VS Code — CachedData",
     "One bundle per version the editor has ever run", Gl::Code, "CONFIG", "Code/CachedData", 'S',
     false},
    {"vscodeCache", G::Ides, 'W', "VS Code — Cache", "Network and blob cache", Gl::Code, "CONFIG",
     "Code/Cache", 'S', false},
    {"vscodeCodeCache", G::Ides, 'W', "VS Code — Code Cache", "Compiled JavaScript bytecode",
     Gl::Code, "CONFIG", "Code/CachedProfilesData", 'S', false},
    {"vscodeExtensions", G::Ides, 'D', "VS Code — extensions",
     "Installed extensions, older versions included", Gl::Puzzle, "~", ".vscode/extensions", 'C',
     false},
    {"androidStudioCaches", G::Ides, 'D', "Android Studio caches",
     "One folder per Android Studio version", Gl::Wrench, "CACHE", "Google", 'S', false},
    {"androidBuildTools", G::Android, 'D', "SDK build tools",
     "Old build-tools versions (the newest is kept)", Gl::Wrench, "SDK", "build-tools", 'C', true},
    {"androidPlatforms", G::Android, 'D', "SDK platforms", "Installed Android API levels",
     Gl::Layers, "SDK", "platforms", 'C', true},
    {"androidSystemImages", G::Android, 'D', "System images",
     "Emulator system images — usually the biggest item here", Gl::Phone, "SDK", "system-images",
     'C', false},
    {"androidSources", G::Android, 'D', "SDK sources", "Android source code per API level", Gl::Doc,
     "SDK", "sources", 'S', false},
    {"androidNdk", G::Android, 'D', "NDK", "Native development kits (the newest is kept)",
     Gl::Layers, "SDK", "ndk", 'C', true},
    {"androidCmake", G::Android, 'D', "SDK CMake", "CMake versions installed by the SDK manager",
     Gl::Wrench, "SDK", "cmake", 'C', true},
    {"androidEmulatorCache", G::Android, 'W', "Emulator caches", "Downloaded emulator artefacts",
     Gl::Box, "SDK", ".temp", 'S', false},
    {"avds", G::Android, 'I', "Emulators (AVDs)", "Created Android emulators including their data",
     Gl::Phone, "~", ".android/avd", 'R', false},
    {"androidCache", G::Android, 'W', "Android SDK download cache",
     "~/.android/cache — installer downloads", Gl::Box, "~", ".android/cache", 'S', false},
    {"androidBuildCache", G::Android, 'W', "Android build cache", "~/.android/build-cache", Gl::Box,
     "~", ".android/build-cache", 'S', false},
    {"gradleCaches", G::Java, 'D', "Gradle caches", "Downloaded dependencies and the build cache",
     Gl::Box, "~", ".gradle/caches", 'S', false},
    {"gradleDists", G::Java, 'D', "Gradle distributions", "Gradle versions unpacked by the wrapper",
     Gl::Cube, "~", ".gradle/wrapper/dists", 'S', false},
    {"gradleDaemon", G::Java, 'D', "Gradle daemon logs", "One log directory per Gradle version",
     Gl::Doc, "~", ".gradle/daemon", 'S', false},
    {"mavenRepo", G::Java, 'D', "Maven repository", "~/.m2 — downloaded Java dependencies", Gl::Box,
     "~", ".m2/repository", 'C', false},
    {"ivyCache", G::Java, 'D', "Ivy cache", "~/.ivy2 — Scala and SBT dependencies", Gl::Box, "~",
     ".ivy2/cache", 'S', false},
    {"coursierCache", G::Java, 'W', "Coursier cache", "SBT and Scala CLI artefact cache", Gl::Box,
     "CACHE", "coursier", 'S', false},
    {"sbtBoot", G::Java, 'D', "SBT boot", "~/.sbt — bootstrapped SBT and Scala versions", Gl::Cube,
     "~", ".sbt/boot", 'S', false},
    {"npmCache", G::JavaScript, 'W', "npm cache", "~/.npm/_cacache", Gl::Box, "~", ".npm/_cacache",
     'S', false},
    {"yarnCache", G::JavaScript, 'W', "Yarn cache", "Downloaded packages", Gl::Box, "CACHE", "yarn",
     'S', false},
    {"pnpmStore", G::JavaScript, 'W', "pnpm store", "Shared package store", Gl::Box, "DATA",
     "pnpm/store", 'S', false},
    {"nodeGyp", G::JavaScript, 'W', "node-gyp headers",
     "Node headers per version, for native modules", Gl::Wrench, "CACHE", "node-gyp", 'S', false},
    {"electronCache", G::JavaScript, 'W', "Electron downloads", "Electron binaries per version",
     Gl::Cube, "CACHE", "electron", 'S', false},
    {"playwright", G::JavaScript, 'D', "Playwright browsers", "Browser builds downloaded for tests",
     Gl::Box, "CACHE", "ms-playwright", 'C', false},
    {"puppeteer", G::JavaScript, 'D', "Puppeteer browsers", "Chromium builds downloaded for tests",
     Gl::Box, "CACHE", "puppeteer", 'C', false},
    {"cypress", G::JavaScript, 'D', "Cypress binaries", "One Cypress build per version", Gl::Box,
     "CACHE", "Cypress", 'C', false},
    {"bowerCache", G::JavaScript, 'W', "Bower cache", "Legacy front-end package cache", Gl::Box,
     "CACHE", "bower", 'S', false},
    {"pipCache", G::Python, 'W', "pip cache", "Downloaded Python packages", Gl::Snake, "CACHE",
     "pip", 'S', false},
    {"poetryCache", G::Python, 'W', "Poetry cache", "Poetry dependency cache", Gl::Snake, "CACHE",
     "pypoetry", 'S', false},
    {"uvCache", G::Python, 'W', "uv cache", "uv package cache", Gl::Snake, "CACHE", "uv", 'S',
     false},
    {"condaPkgs", G::Python, 'D', "Conda packages", "Unpacked conda packages", Gl::Box, "~",
     ".conda/pkgs", 'C', false},
    {"cargoRegistry", G::OtherLangs, 'D', "Cargo registry", "Downloaded and unpacked crates",
     Gl::Box, "~", ".cargo/registry", 'S', false},
    {"cargoGit", G::OtherLangs, 'D', "Cargo git checkouts", "Dependencies pulled straight from git",
     Gl::Box, "~", ".cargo/git", 'S', false},
    {"rustupToolchains", G::OtherLangs, 'D', "Rust toolchains",
     "Installed toolchains (the newest is kept)", Gl::Layers, "~", ".rustup/toolchains", 'C', true},
    {"goModCache", G::OtherLangs, 'W', "Go module cache", "~/go/pkg/mod — downloaded modules",
     Gl::Box, "~", "go/pkg/mod", 'C', false},
    {"goBuildCache", G::OtherLangs, 'W', "Go build cache", "Compiled intermediates", Gl::Cube,
     "CACHE", "go-build", 'S', false},
    {"ccache", G::OtherLangs, 'W', "ccache", "C/C++ compiler cache", Gl::Cube, "CACHE", "ccache",
     'S', false},
    {"ccacheLegacy", G::OtherLangs, 'W', "ccache (legacy path)",
     "~/.ccache from older ccache versions", Gl::Cube, "~", ".ccache", 'S', false},
    {"nugetPackages", G::OtherLangs, 'D', ".NET NuGet packages", "~/.nuget — downloaded packages",
     Gl::Box, "~", ".nuget/packages", 'C', false},
    {"composerCache", G::OtherLangs, 'W', "Composer cache", "PHP dependency cache", Gl::Box,
     "CACHE", "composer", 'S', false},
    {"nodeModules", G::Projects, 'R', "node_modules",
     "Dependency folders in your projects — npm install restores them", Gl::Folder, "~", "", 'S',
     false},
    {"buildDirs", G::Projects, 'R', "Build output",
     "build, out and target folders in your projects", Gl::Cube, "~", "", 'S', false},
    {"pycache", G::Projects, 'R', "__pycache__", "Compiled Python bytecode in your projects",
     Gl::Snake, "~", "", 'S', false},
    {"venvs", G::Projects, 'R', "Virtual environments",
     "venv and .venv folders — recreated from requirements", Gl::Snake, "~", "", 'C', false},
    {"gradleProject", G::Projects, 'R', "Project Gradle caches",
     ".gradle folders inside your projects", Gl::Box, "~", "", 'S', false},
    {"npmLogs", G::Logs, 'I', "npm logs", "~/.npm/_logs — one file per failed install", Gl::Doc,
     "~", ".npm/_logs", 'S', false},
    {"vscodeLogs", G::Logs, 'I', "VS Code logs", "Logs of the editor and its extensions", Gl::Doc,
     "CONFIG", "Code/logs", 'S', false},
    {"jetbrainsLogs", G::Logs, 'D', "JetBrains logs", "Logs of the JetBrains IDEs", Gl::Doc, "DATA",
     "JetBrains", 'S', false},
    {"crashReports", G::Logs, 'I', "Crash reports", "Crash dumps left by development tools",
     Gl::Doc, "~", ".android/crashes", 'S', false},
};

// A home where the folder of every row exists, with the SDK under ~/Android/Sdk.
struct FullHome {
    test_env::TempHome home;
    std::string base(const std::string& name) const {
        if (name == "~")
            return home.path("home");
        if (name == "CACHE")
            return home.path("home/.cache");
        if (name == "DATA")
            return home.path("home/.local/share");
        if (name == "CONFIG")
            return home.path("home/.config");
        return home.path("home/Android/Sdk");
    }
    std::string path_of(const Expected& e) const {
        return *e.rel ? base(e.base) + "/" + e.rel : base(e.base);
    }
    FullHome() {
        for (const Expected& e : ROWS)
            make_dirs(path_of(e));
    }
};

} // namespace

// ---------------------------------------------------------------------------
// Presentation tables
// ---------------------------------------------------------------------------

TEST(CatalogTables, GroupsHaveTheirTitlesGlyphsAndColours) {
    struct Row {
        GroupKind g;
        const char* title;
        Glyph glyph;
        const char* color;
    };
    const Row rows[] = {{G::Ides, "IDEs & editors", Gl::Code, "#FF5B54"},
                        {G::Android, "Android", Gl::Phone, "#FF8A2B"},
                        {G::Java, "Java & Gradle", Gl::Cube, "#FFB020"},
                        {G::JavaScript, "JavaScript & Node", Gl::Box, "#FF3D91"},
                        {G::Python, "Python", Gl::Snake, "#FF7EB0"},
                        {G::OtherLangs, "Rust, Go & others", Gl::Gear, "#FF9C6B"},
                        {G::Models, "AI models & data", Gl::Chip, "#C8553D"},
                        {G::Projects, "Your projects", Gl::Folder, "#FF599E"},
                        {G::Logs, "Logs", Gl::Doc, "#FFD93D"}};
    for (const Row& r : rows) {
        EXPECT_STREQ(catalog::group_title(r.g), r.title);
        EXPECT_EQ(catalog::group_glyph(r.g), r.glyph);
        EXPECT_STREQ(catalog::group_color(r.g), r.color);
    }
}

TEST(CatalogTables, ProjectsShareTheFallbackColourOfAnInvalidGroup) {
    EXPECT_STREQ(catalog::group_color(GroupKind::Projects), "#FF599E");
    EXPECT_STREQ(catalog::group_color(GroupKind::_Count), "#FF599E");
    EXPECT_STREQ(catalog::group_color(static_cast<GroupKind>(-1)), "#FF599E");
    EXPECT_STREQ(catalog::group_title(GroupKind::_Count), "");
    EXPECT_EQ(catalog::group_glyph(static_cast<GroupKind>(99)), Glyph::Box);
}

TEST(CatalogTables, SafetyLevelsHaveTheirTextsAndColours) {
    EXPECT_STREQ(catalog::safety_title(SafetyLevel::Safe), "Safe");
    EXPECT_STREQ(catalog::safety_title(SafetyLevel::Caution), "Caution");
    EXPECT_STREQ(catalog::safety_title(SafetyLevel::Risky), "Risky");
    EXPECT_STREQ(catalog::safety_explanation(SafetyLevel::Safe),
                 "Recreated automatically on the next build or launch.");
    EXPECT_STREQ(catalog::safety_explanation(SafetyLevel::Caution),
                 "Recreated or downloaded again when needed — costs time, not data.");
    EXPECT_STREQ(catalog::safety_explanation(SafetyLevel::Risky),
                 "May hold data that cannot be recreated.");
    EXPECT_STREQ(catalog::safety_color(SafetyLevel::Safe), "#34A853");
    EXPECT_STREQ(catalog::safety_color(SafetyLevel::Caution), "#F5A623");
    EXPECT_STREQ(catalog::safety_color(SafetyLevel::Risky), "#E5484D");
}

TEST(CatalogTables, SafetyOutsideItsRangeIsEmptyAndGrey) {
    for (int v : {-1, 3, 100}) {
        const auto s = static_cast<SafetyLevel>(v);
        EXPECT_STREQ(catalog::safety_title(s), "");
        EXPECT_STREQ(catalog::safety_explanation(s), "");
        EXPECT_STREQ(catalog::safety_color(s), "#888888");
    }
}

// ---------------------------------------------------------------------------
// The rows
// ---------------------------------------------------------------------------

TEST(CatalogRows, EveryRowIsPresentWithItsExactFieldsWhenEveryFolderExists) {
    FullHome h;
    test_env::ScopedEnv no_home_sdk("ANDROID_HOME", nullptr);
    test_env::ScopedEnv no_root_sdk("ANDROID_SDK_ROOT", nullptr);
    // The rows known from the start come first within their groups and keep
    // their order; rows added since sit after them and are checked elsewhere.
    std::vector<CategoryDef> all;
    for (const CategoryDef& d : catalog::all())
        if (std::any_of(std::begin(ROWS), std::end(ROWS),
                        [&](const Expected& e) { return d.id == e.id; }))
            all.push_back(d);
    ASSERT_EQ(all.size(), 57u);
    for (std::size_t i = 0; i < all.size(); ++i) {
        const Expected& e = ROWS[i];
        const CategoryDef& d = all[i];
        SCOPED_TRACE(e.id);
        EXPECT_EQ(d.id, e.id);
        EXPECT_EQ(d.group, e.group);
        EXPECT_EQ(d.title, e.title);
        EXPECT_EQ(d.subtitle, e.subtitle);
        EXPECT_EQ(d.glyph, e.glyph);
        EXPECT_EQ(d.path, h.path_of(e));
        const ListingKind kind = e.kind == 'D'   ? ListingKind::ChildDirectories
                                 : e.kind == 'I' ? ListingKind::ChildItems
                                 : e.kind == 'W' ? ListingKind::SelfFolder
                                                 : ListingKind::Recursive;
        EXPECT_EQ(d.listing, kind);
        const SafetyLevel safety = e.safety == 'S'   ? SafetyLevel::Safe
                                   : e.safety == 'C' ? SafetyLevel::Caution
                                                     : SafetyLevel::Risky;
        EXPECT_EQ(d.safety, safety);
        EXPECT_EQ(d.keep_newest, e.keep);
        EXPECT_EQ(d.max_depth, 5);
        if (kind != ListingKind::Recursive) {
            EXPECT_TRUE(d.names.empty());
        }
    }
    EXPECT_EQ(find("nodeModules")->names, std::vector<std::string>{"node_modules"});
    EXPECT_EQ(find("buildDirs")->names, (std::vector<std::string>{"build", "out", "target"}));
    EXPECT_EQ(find("pycache")->names, (std::vector<std::string>{"__pycache__", ".pytest_cache",
                                                                ".mypy_cache", ".ruff_cache"}));
    EXPECT_EQ(find("venvs")->names, (std::vector<std::string>{"venv", ".venv"}));
    EXPECT_EQ(find("gradleProject")->names, std::vector<std::string>{".gradle"});
}

TEST(CatalogRows, OnlyGradleCachesGivesOneRowPlusTheProjectRows) {
    test_env::TempHome home;
    make_dirs(home.path("home/.gradle/caches"));
    std::vector<std::string> expected = {"gradleCaches"};
    expected.insert(expected.end(), PROJECT_IDS.begin(), PROJECT_IDS.end());
    EXPECT_EQ(ids(), expected);
    EXPECT_EQ(find("nodeModules")->path, home.path("home"));
}

TEST(CatalogRows, AMissingProjectsRootDropsEveryProjectRow) {
    test_env::TempHome home;
    make_dirs(home.path("home/.gradle/caches"));
    catalog::set_projects_root(home.path("no-such-folder"));
    EXPECT_EQ(ids(), std::vector<std::string>{"gradleCaches"});
}

TEST(CatalogRows, ALinkedFolderCountsAsExisting) {
    test_env::TempHome home;
    make_dirs(home.path("elsewhere/repository"));
    make_dirs(home.path("home/.m2"));
    fs_fixture::make_link(home.path("elsewhere/repository"), home.path("home/.m2/repository"));
    ASSERT_NE(find("mavenRepo"), nullptr);
    EXPECT_EQ(find("mavenRepo")->path, home.path("home/.m2/repository"));
}

TEST(CatalogRows, AFileWhereAFolderShouldBeIsNotARow) {
    test_env::TempHome home;
    fs_fixture::write_file(home.path("home/.cache/pip"), 10);
    EXPECT_EQ(find("pipCache"), nullptr);
}

// ---------------------------------------------------------------------------
// Android SDK discovery
// ---------------------------------------------------------------------------

namespace {
void expect_sdk_at(const std::string& sdk) {
    const CategoryDef* bt = find("androidBuildTools");
    ASSERT_NE(bt, nullptr);
    EXPECT_EQ(bt->path, sdk + "/build-tools");
}
void make_sdk(const std::string& sdk) {
    for (const char* sub :
         {"build-tools", "platforms", "system-images", "sources", "ndk", "cmake", ".temp"})
        make_dirs(sdk + "/" + sub);
}
} // namespace

TEST(CatalogSdk, AndroidHomeWins) {
    test_env::TempHome home;
    make_sdk(home.path("sdk-a"));
    make_sdk(home.path("sdk-b"));
    make_sdk(home.path("home/Android/Sdk"));
    test_env::ScopedEnv a("ANDROID_HOME", home.path("sdk-a").c_str());
    test_env::ScopedEnv b("ANDROID_SDK_ROOT", home.path("sdk-b").c_str());
    expect_sdk_at(home.path("sdk-a"));
    int sdk_rows = 0;
    for (const CategoryDef& d : catalog::all())
        sdk_rows += d.path.rfind(home.path("sdk-a"), 0) == 0;
    EXPECT_EQ(sdk_rows, 7);
}

TEST(CatalogSdk, AndroidHomeNamingAFileFallsToSdkRoot) {
    test_env::TempHome home;
    fs_fixture::write_file(home.path("not-a-dir"), 1);
    make_sdk(home.path("sdk-b"));
    test_env::ScopedEnv a("ANDROID_HOME", home.path("not-a-dir").c_str());
    test_env::ScopedEnv b("ANDROID_SDK_ROOT", home.path("sdk-b").c_str());
    expect_sdk_at(home.path("sdk-b"));
}

TEST(CatalogSdk, EachFallbackFolderIsFoundInItsOrder) {
    for (const char* rel : {"Android/Sdk", "Android/sdk", ".android-sdk"}) {
        test_env::TempHome home;
        test_env::ScopedEnv a("ANDROID_HOME", nullptr);
        test_env::ScopedEnv b("ANDROID_SDK_ROOT", "");
        make_sdk(home.path("home/") + rel);
        // A later fallback is there too but must not win.
        if (std::string(rel) != ".android-sdk")
            make_sdk(home.path("home/.android-sdk"));
        catalog::set_projects_root(home.path("home"));
        expect_sdk_at(home.path("home/") + rel);
    }
}

TEST(CatalogSdk, NoSdkLeavesOutTheSdkRowsButKeepsTheAndroidFolderRows) {
    test_env::TempHome home;
    test_env::ScopedEnv a("ANDROID_HOME", "");
    test_env::ScopedEnv b("ANDROID_SDK_ROOT", nullptr);
    for (const char* rel : {".android/avd", ".android/cache", ".android/build-cache"})
        make_dirs(home.path("home/") + rel);
    for (const char* id : {"androidBuildTools", "androidPlatforms", "androidSystemImages",
                           "androidSources", "androidNdk", "androidCmake", "androidEmulatorCache"})
        EXPECT_EQ(find(id), nullptr) << id;
    EXPECT_NE(find("avds"), nullptr);
    EXPECT_NE(find("androidCache"), nullptr);
    EXPECT_NE(find("androidBuildCache"), nullptr);
}

TEST(CatalogSdk, AnSdkWithOnlySomeFoldersGivesOnlyThoseRows) {
    test_env::TempHome home;
    test_env::ScopedEnv a("ANDROID_HOME", home.path("sdk").c_str());
    make_dirs(home.path("sdk/ndk"));
    EXPECT_NE(find("androidNdk"), nullptr);
    EXPECT_EQ(find("androidPlatforms"), nullptr);
}

// ---------------------------------------------------------------------------
// XDG bases
// ---------------------------------------------------------------------------

TEST(CatalogXdg, RelativeCacheHomeFallsBackToTheHome) {
    test_env::TempHome home;
    make_dirs(home.path("home/.cache/pip"));
    test_env::ScopedEnv rel("XDG_CACHE_HOME", "relative/cache");
    ASSERT_NE(find("pipCache"), nullptr);
    EXPECT_EQ(find("pipCache")->path, home.path("home/.cache/pip"));
}

TEST(CatalogXdg, AbsoluteBasesAreUsedOutsideASandbox) {
    test_env::TempHome home;
    make_dirs(home.path("xc/pip"));
    make_dirs(home.path("xd/pnpm/store"));
    for (const char* rel :
         {"Code/CachedData", "Code/Cache", "Code/CachedProfilesData", "Code/logs"})
        make_dirs(home.path("cfg/") + rel);
    test_env::ScopedEnv c("XDG_CACHE_HOME", home.path("xc").c_str());
    test_env::ScopedEnv d("XDG_DATA_HOME", home.path("xd").c_str());
    test_env::ScopedEnv f("XDG_CONFIG_HOME", home.path("cfg").c_str());
    EXPECT_EQ(find("pipCache")->path, home.path("xc/pip"));
    EXPECT_EQ(find("pnpmStore")->path, home.path("xd/pnpm/store"));
    EXPECT_EQ(find("vscodeCachedData")->path, home.path("cfg/Code/CachedData"));
    EXPECT_EQ(find("vscodeCache")->path, home.path("cfg/Code/Cache"));
    EXPECT_EQ(find("vscodeCodeCache")->path, home.path("cfg/Code/CachedProfilesData"));
    EXPECT_EQ(find("vscodeLogs")->path, home.path("cfg/Code/logs"));
}

// Rows are compared as text (one inside another is left out), so a folder
// from the environment is named the one way the rows name folders.
TEST(CatalogXdg, DoubledAndTrailingSlashesAndDotsAreWrittenOnce) {
    test_env::TempHome home;
    test_env::ScopedEnv d("XDG_DATA_HOME", (home.path("xd") + "//./").c_str());
    test_env::ScopedEnv p("PYENV_ROOT", (home.root() + "//py/./env//").c_str());
    test_env::ScopedEnv j("JULIA_DEPOT_PATH", (home.path("jl") + "/:/usr/share/julia").c_str());
    const std::vector<CategoryDef> rows = catalog_testing::every_row();
    auto path_of = [&](const std::string& id) {
        for (const CategoryDef& r : rows)
            if (r.id == id)
                return r.path;
        return std::string("(none)");
    };
    EXPECT_EQ(path_of("pnpmStore"), home.path("xd/pnpm/store"));
    EXPECT_EQ(path_of("pyenvVersions"), home.path("py/env/versions"));
    EXPECT_EQ(path_of("juliaArtifacts"), home.path("jl/artifacts"));
}

TEST(CatalogXdg, TheRootAsABaseGivesOneSlash) {
    test_env::TempHome home;
    test_env::ScopedEnv c("XDG_CACHE_HOME", "/");
    bool seen = false;
    for (const CategoryDef& r : catalog_testing::every_row())
        if (r.id == "pipCache") {
            EXPECT_EQ(r.path, "/pip");
            seen = true;
        }
    EXPECT_TRUE(seen);
}

TEST(CatalogXdg, AHomeWithATrailingSlashGivesTheSameRows) {
    test_env::TempHome home;
    const std::vector<CategoryDef> plain = catalog_testing::every_row();
    test_env::ScopedEnv h("HOME", (home.path("home") + "/").c_str());
    const std::vector<CategoryDef> slashed = catalog_testing::every_row();
    ASSERT_EQ(plain.size(), slashed.size());
    for (std::size_t i = 0; i < plain.size(); ++i)
        EXPECT_EQ(plain[i].path, slashed[i].path) << plain[i].id;
}

// Where ".." leads depends on the links on the way: no row is built on it.
TEST(CatalogXdg, AFolderWithADotDotComponentLeavesItsRowsOut) {
    test_env::TempHome home;
    test_env::ScopedEnv o("OLLAMA_MODELS", (home.path("home") + "/../home/models").c_str());
    test_env::ScopedEnv c("XDG_CACHE_HOME", (home.path("home") + "/x/../.cache").c_str());
    for (const CategoryDef& r : catalog_testing::every_row()) {
        EXPECT_NE(r.id, "ollamaModels");
        EXPECT_NE(r.id, "pipCache");
        EXPECT_EQ(r.path.find("/.."), std::string::npos) << r.id;
    }
}

// A tool moved to the root itself still gives single slashes.
TEST(CatalogXdg, ToolFoldersAtTheRootGiveOneSlash) {
    test_env::TempHome home;
    test_env::ScopedEnv n("NVM_DIR", "//");
    test_env::ScopedEnv c("CABAL_DIR", "/");
    test_env::ScopedEnv a("ANDROID_HOME", "/");
    int seen = 0;
    for (const CategoryDef& r : catalog_testing::every_row()) {
        EXPECT_EQ(r.path.find("//"), std::string::npos) << r.id << " " << r.path;
        if (r.id == "nvmNode" || r.id == "cabalPackages" || r.id == "androidPlatforms")
            ++seen;
    }
    EXPECT_EQ(seen, 3);
}

TEST(CatalogXdg, ARelativeHomeOrSdkNamesNoRow) {
    test_env::TempHome home;
    make_dirs(home.path("home/Android/Sdk/platforms"));
    test_env::ScopedEnv a("ANDROID_HOME", ".");
    test_env::ScopedEnv h("HOME", "relative/home");
    catalog::set_projects_root(home.path("home"));
    for (const CategoryDef& r : catalog_testing::every_row())
        EXPECT_EQ(r.path.substr(0, 1), "/") << r.id << " " << r.path;
}

TEST(CatalogXdg, InsideASnapTheVariablesAreIgnored) {
    test_env::TempHome home;
    test_env::ScopedEnv snap("SNAP", "/snap/quillet/1");
    test_env::ScopedEnv name("SNAP_NAME", "quillet");
    test_env::ScopedEnv real("SNAP_REAL_HOME", home.path("home").c_str());
    for (const char* rel : {"Code/CachedData", "Code/logs"}) {
        make_dirs(home.path("cfg/") + rel);
        make_dirs(home.path("home/.config/") + rel);
    }
    test_env::ScopedEnv f("XDG_CONFIG_HOME", home.path("cfg").c_str());
    EXPECT_EQ(find("vscodeCachedData")->path, home.path("home/.config/Code/CachedData"));
    EXPECT_EQ(find("vscodeLogs")->path, home.path("home/.config/Code/logs"));
}

// ---------------------------------------------------------------------------
// The cache and the projects root
// ---------------------------------------------------------------------------

TEST(CatalogCache, TheSameRootReturnsTheSameRowsWithoutRebuilding) {
    test_env::TempHome home;
    make_dirs(home.path("home/.cache/pip"));
    const std::vector<CategoryDef>* first = &catalog::all();
    const std::size_t count = first->size();
    // A folder that appears later is not noticed while the root is the same.
    make_dirs(home.path("home/.cache/uv"));
    EXPECT_EQ(&catalog::all(), first);
    EXPECT_EQ(catalog::all().size(), count);
    EXPECT_EQ(find("uvCache"), nullptr);
}

TEST(CatalogCache, AnotherRootRebuildsAndEmptyMeansTheHomeAgain) {
    test_env::TempHome home;
    make_dirs(home.path("home/.cache/pip"));
    make_dirs(home.path("code"));
    EXPECT_EQ(catalog::projects_root(), home.path("home"));
    EXPECT_EQ(find("nodeModules")->path, home.path("home"));
    make_dirs(home.path("home/.cache/uv"));
    catalog::set_projects_root(home.path("code"));
    EXPECT_EQ(catalog::projects_root(), home.path("code"));
    EXPECT_EQ(find("nodeModules")->path, home.path("code"));
    EXPECT_NE(find("uvCache"), nullptr); // rebuilt
    catalog::set_projects_root("");
    EXPECT_EQ(catalog::projects_root(), home.path("home"));
    EXPECT_EQ(find("nodeModules")->path, home.path("home"));
}

TEST(CatalogCache, ClaimedNamesAreEveryProjectNameOnce) {
    test_env::TempHome home;
    EXPECT_EQ(catalog::recursive_claimed(),
              (std::vector<std::string>{
                  "node_modules", "build",     "out",         "target",        "__pycache__",
                  ".pytest_cache", ".mypy_cache", ".ruff_cache", "venv",       ".venv",
                  ".gradle",      ".next",     ".nuxt",       ".svelte-kit",   ".turbo",
                  ".angular",     ".parcel-cache", "bin",     "obj",           "cmake-build-*",
                  ".dart_tool",   "_build",    "deps",        ".stack-work",   "zig-out",
                  ".zig-cache",   "zig-cache", ".tox",        ".nox",          ".terraform"}));
}

TEST(CatalogCache, ClaimedNamesDoNotDependOnTheRootExisting) {
    test_env::TempHome home;
    catalog::set_projects_root(home.path("missing"));
    EXPECT_TRUE(catalog::all().empty() || find("nodeModules") == nullptr);
    EXPECT_EQ(catalog::recursive_claimed().size(), 30u);
}

TEST(CatalogCache, SkipListIsTheTwentyFiveNamesThenTheToolHomesInOrder) {
    EXPECT_EQ(
        catalog::recursive_skip(),
        (std::vector<std::string>{
            ".cache",   ".local",   ".config", ".var",       "snap",    ".steam",  ".wine",
            ".gradle",  ".m2",      ".npm",    ".cargo",     ".rustup", ".nuget",  ".ivy2",
            ".android", "Android",  "go",      ".git",       ".svn",    ".Trash",  ".local/share",
            "Music",    "Pictures", "Videos",  "Downloads",  ".pyenv",  ".nvm",    ".sdkman",
            ".asdf",    ".volta",   ".ghcup",  ".stack",     ".cabal",  ".opam",   ".julia",
            ".hex",     ".mix",     ".konan",  ".pub-cache", ".bun",    ".ollama", ".terraform.d",
            ".conan",   ".conan2",  ".yarn",   ".fnm"}));
}

// ---------------------------------------------------------------------------
// The Snap recipe
// ---------------------------------------------------------------------------
//
// Inside a Snap the home plug reaches everything in the home except the
// hidden folders at its top; those the recipe grants one by one. A folder the
// catalog looks in but the recipe forgets shows as empty in the Snap, and a
// folder the recipe grants but the catalog never uses is access for nothing.

namespace {

// The "$HOME/..." entries of the recipe's personal-files plug, below home.
std::vector<std::string> snap_granted(const std::string& home) {
    std::ifstream in(QUILLET_SOURCE_DIR "/packaging/snap/snapcraft.yaml");
    std::vector<std::string> out;
    std::string line;
    const std::string marker = "- $HOME/";
    while (std::getline(in, line)) {
        const std::size_t at = line.find(marker);
        if (at != std::string::npos)
            out.push_back(home + "/" + line.substr(at + marker.size()));
    }
    return out;
}

bool covers(const std::string& granted, const std::string& path) {
    return path == granted || path.rfind(granted + "/", 0) == 0;
}

// Below home, with a first component that starts with a dot.
bool hidden_below(const std::string& home, const std::string& path) {
    return covers(home, path) && path.size() > home.size() + 1 && path[home.size() + 1] == '.';
}

} // namespace

TEST(CatalogSnapRecipe, GrantsEveryHiddenFolderTheCatalogLooksInAndNoOther) {
    FullHome h;
    test_env::ScopedEnv no_home_sdk("ANDROID_HOME", nullptr);
    test_env::ScopedEnv no_root_sdk("ANDROID_SDK_ROOT", nullptr);
    const std::string home = h.base("~");
    const std::vector<std::string> granted = snap_granted(home);
    ASSERT_GE(granted.size(), 10u) << "no personal-files entries read from the recipe";
    const std::vector<CategoryDef>& all = catalog::all();
    ASSERT_GE(all.size(), 57u);

    int hidden = 0;
    for (const CategoryDef& d : all) {
        if (!hidden_below(home, d.path))
            continue;
        ++hidden;
        EXPECT_TRUE(std::any_of(granted.begin(), granted.end(),
                                [&](const std::string& g) { return covers(g, d.path); }))
            << d.id << " looks in " << d.path << ", which the Snap recipe does not grant";
    }
    EXPECT_GE(hidden, 30);

    for (const std::string& g : granted) {
        // The Android SDK's third usual place; the next test finds its rows there.
        if (g == home + "/.android-sdk")
            continue;
        // The toolchain rows' folders, which this home does not make; the
        // toolchain tests find each of those rows there.
        bool toolchain = false;
        for (const toolchain_table::ToolRow& r : toolchain_table::rows())
            toolchain = toolchain || g == toolchain_table::default_path(r, home);
        for (const std::string& alt : toolchain_table::alternatives())
            toolchain = toolchain || g == home + "/" + alt;
        if (toolchain)
            continue;
        EXPECT_TRUE(std::any_of(all.begin(), all.end(),
                                [&](const CategoryDef& d) { return covers(g, d.path); }))
            << "the Snap recipe grants " << g << ", where the catalog never looks";
    }
}

TEST(CatalogSnapRecipe, GrantsTheSdkInItsHiddenFolder) {
    test_env::TempHome t;
    test_env::ScopedEnv no_home_sdk("ANDROID_HOME", nullptr);
    test_env::ScopedEnv no_root_sdk("ANDROID_SDK_ROOT", nullptr);
    const std::string home = t.path("home");
    make_dirs(home + "/.android-sdk/platforms");
    const std::vector<std::string> granted = snap_granted(home);
    const CategoryDef* platforms = find("androidPlatforms");
    ASSERT_NE(platforms, nullptr);
    ASSERT_EQ(platforms->path, home + "/.android-sdk/platforms");
    EXPECT_TRUE(std::any_of(granted.begin(), granted.end(),
                            [&](const std::string& g) { return covers(g, platforms->path); }));
}
