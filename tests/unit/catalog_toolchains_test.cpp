// The toolchain rows on homes each test builds: every row at its default
// folder, moved by its variable, absent, and inside a Snap and a Flatpak
// where the variables are ignored; the tools' alternative layouts; the rule
// that no row overlaps another; the listing of <tool>/<version> folders; and
// the sandbox recipes that must reach every hidden folder the rows use.

#include "catalog.h"
#include "catalog_toolchains_table.h"
#include "paths.h"
#include "scanner.h"

#include "fs_fixture.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <ostream>

using fs_fixture::make_dirs;
using toolchain_table::ToolRow;

namespace toolchain_table {
// Test names and failure messages show the row's id rather than its bytes.
void PrintTo(const ToolRow& r, std::ostream* os) {
    *os << r.id;
}
} // namespace toolchain_table

namespace {

const CategoryDef* find(const std::string& id) {
    for (const CategoryDef& d : catalog::all())
        if (d.id == id)
            return &d;
    return nullptr;
}

std::string parent_of(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

std::string row_name(const testing::TestParamInfo<ToolRow>& info) {
    return info.param.id;
}

std::vector<ToolRow> rows_with_variable() {
    std::vector<ToolRow> out;
    for (const ToolRow& r : toolchain_table::rows())
        if (r.var)
            out.push_back(r);
    return out;
}

// Where a row must be when its default folder exists: there, or nowhere when
// that folder lies inside another row's.
void expect_at_default(const ToolRow& r, const std::string& home) {
    const CategoryDef* d = find(r.id);
    if (r.default_inside_other) {
        EXPECT_EQ(d, nullptr) << r.id;
        return;
    }
    ASSERT_NE(d, nullptr) << r.id;
    EXPECT_EQ(d->path, toolchain_table::default_path(r, home));
}

// The variable's value for a row moved to `moved`: the list variable takes
// the folder as its first entry.
std::string variable_value(const ToolRow& r, const std::string& moved) {
    if (std::string(r.var) == "JULIA_DEPOT_PATH")
        return moved + ":/nowhere/else";
    return moved;
}

class ToolchainRow : public testing::TestWithParam<ToolRow> {};
class MovableToolchainRow : public testing::TestWithParam<ToolRow> {};

} // namespace

// ---------------------------------------------------------------------------
// Every row, one test process each
// ---------------------------------------------------------------------------

TEST_P(ToolchainRow, IsFoundAtItsDefaultFolderWithItsFields) {
    const ToolRow& r = GetParam();
    test_env::TempHome t;
    const std::string home = t.path("home");
    make_dirs(toolchain_table::default_path(r, home));
    if (r.default_inside_other) {
        EXPECT_EQ(find(r.id), nullptr);
        return;
    }
    const CategoryDef* d = find(r.id);
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->path, toolchain_table::default_path(r, home));
    EXPECT_EQ(d->group, r.group);
    EXPECT_EQ(d->listing, r.listing);
    EXPECT_EQ(d->safety, r.safety);
    EXPECT_EQ(d->keep_newest, r.keep);
    EXPECT_EQ(d->title, r.title);
    EXPECT_EQ(d->subtitle, r.subtitle);
    EXPECT_EQ(d->glyph, r.glyph);
    EXPECT_TRUE(d->names.empty());
    EXPECT_EQ(d->holds, std::string(r.id) == "opamSwitches" ? ".opam-switch" : "");
    // Toolchain rows come after the rows that were there before them in
    // their group, and groups stay in their display order.
    const std::vector<CategoryDef>& all = catalog::all();
    for (std::size_t i = 1; i < all.size(); ++i)
        EXPECT_LE(static_cast<int>(all[i - 1].group), static_cast<int>(all[i].group));
}

TEST_P(ToolchainRow, IsAbsentWhenItsFolderIsAbsent) {
    const ToolRow& r = GetParam();
    test_env::TempHome t;
    // The tool's home may well be there without the folder the row lists.
    make_dirs(parent_of(toolchain_table::default_path(r, t.path("home"))));
    EXPECT_EQ(find(r.id), nullptr);
}

TEST_P(ToolchainRow, ItsDefaultHiddenFolderIsGrantedByTheSnapRecipe) {
    const ToolRow& r = GetParam();
    std::ifstream in(QUILLET_SOURCE_DIR "/packaging/snap/snapcraft.yaml");
    std::vector<std::string> granted;
    std::string line;
    while (std::getline(in, line)) {
        const std::size_t at = line.find("- $HOME/");
        if (at != std::string::npos)
            granted.push_back(line.substr(at + 8));
    }
    ASSERT_GE(granted.size(), 10u);
    const std::string rel = toolchain_table::default_path(r, "").substr(1);
    ASSERT_EQ(rel[0], '.') << "every toolchain default is hidden below the home";
    EXPECT_TRUE(std::any_of(granted.begin(), granted.end(), [&](const std::string& g) {
        return rel == g || rel.rfind(g + "/", 0) == 0;
    })) << rel;
}

TEST_P(MovableToolchainRow, IsFoundWhereItsVariableMovesItAndNotAtTheDefault) {
    const ToolRow& r = GetParam();
    test_env::TempHome t;
    const std::string moved = t.path("moved");
    make_dirs(toolchain_table::default_path(r, t.path("home")));
    make_dirs(moved + r.tail);
    test_env::ScopedEnv var(r.var, variable_value(r, moved).c_str());
    const CategoryDef* d = find(r.id);
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->path, moved + r.tail);
}

TEST_P(MovableToolchainRow, ARelativeOrEmptyVariableIsIgnored) {
    const ToolRow& r = GetParam();
    for (const char* value : {"relative/place", ""}) {
        test_env::TempHome t;
        const std::string home = t.path("home");
        make_dirs(toolchain_table::default_path(r, home));
        test_env::ScopedEnv var(r.var, value);
        expect_at_default(r, home);
    }
}

TEST_P(MovableToolchainRow, InsideASnapTheVariableIsIgnored) {
    const ToolRow& r = GetParam();
    test_env::TempHome t;
    const std::string home = t.path("home");
    test_env::ScopedEnv snap("SNAP", "/snap/quillet/1");
    test_env::ScopedEnv name("SNAP_NAME", "quillet");
    test_env::ScopedEnv real("SNAP_REAL_HOME", home.c_str());
    ASSERT_TRUE(running_in_snap());
    const std::string moved = t.path("moved");
    make_dirs(toolchain_table::default_path(r, home));
    make_dirs(moved + r.tail);
    test_env::ScopedEnv var(r.var, variable_value(r, moved).c_str());
    expect_at_default(r, home);
}

TEST_P(MovableToolchainRow, InsideAFlatpakTheVariableIsIgnored) {
    const ToolRow& r = GetParam();
    test_env::TempHome t;
    const std::string home = t.path("home");
    fs_fixture::write_file(t.path("flatpak-info"), 1);
    paths_testing::set_flatpak_info_path(t.path("flatpak-info"));
    ASSERT_TRUE(running_in_flatpak());
    ASSERT_FALSE(running_in_snap());
    const std::string moved = t.path("moved");
    make_dirs(toolchain_table::default_path(r, home));
    make_dirs(moved + r.tail);
    test_env::ScopedEnv var(r.var, variable_value(r, moved).c_str());
    expect_at_default(r, home);
}

INSTANTIATE_TEST_SUITE_P(Catalog, ToolchainRow, testing::ValuesIn(toolchain_table::rows()),
                         row_name);
INSTANTIATE_TEST_SUITE_P(Catalog, MovableToolchainRow, testing::ValuesIn(rows_with_variable()),
                         row_name);

// ---------------------------------------------------------------------------
// The whole set at once
// ---------------------------------------------------------------------------

TEST(CatalogToolchains, EveryRowAtItsDefaultComesAfterTheOtherRowsOfItsGroup) {
    test_env::TempHome t;
    const std::string home = t.path("home");
    make_dirs(home + "/.cache/pip");
    make_dirs(home + "/.local/share/pnpm/store");
    make_dirs(home + "/.gradle/caches");
    make_dirs(home + "/.cargo/registry");
    for (const ToolRow& r : toolchain_table::rows())
        make_dirs(toolchain_table::default_path(r, home));
    // pypoetry exists now (Poetry's environments are inside it), so its row
    // is there too: 4 older rows + pypoetry + 35 toolchain rows + 5 projects.
    std::vector<std::string> ids;
    for (const CategoryDef& d : catalog::all())
        ids.push_back(d.id);
    const std::vector<std::string> expected = {"gradleCaches",
                                               "sdkmanCandidates",
                                               "konanData",
                                               "pnpmStore",
                                               "nvmNode",
                                               "fnmNode",
                                               "voltaNode",
                                               "denoCache",
                                               "bunCache",
                                               "yarnBerryCache",
                                               "typescriptCache",
                                               "pipCache",
                                               "poetryCache",
                                               "pyenvVersions",
                                               "pipenvVenvs",
                                               "preCommitCache",
                                               "cargoRegistry",
                                               "asdfInstalls",
                                               "miseInstalls",
                                               "bazelCache",
                                               "bazeliskCache",
                                               "pubCache",
                                               "ghcupGhc",
                                               "stackPrograms",
                                               "stackSnapshots",
                                               "cabalPackages",
                                               "cabalStore",
                                               "opamSwitches",
                                               "juliaPackages",
                                               "juliaArtifacts",
                                               "zigCache",
                                               "hexPackages",
                                               "mixHome",
                                               "terraformPlugins",
                                               "vcpkgArchives",
                                               "conanPackages",
                                               "conanLegacyPackages",
                                               "huggingfaceHub",
                                               "torchHub",
                                               "ollamaModels",
                                               "nodeModules",
                                               "buildDirs",
                                               "pycache",
                                               "venvs",
                                               "gradleProject",
                                               "webCaches",
                                               "dotnetBuild",
                                               "cmakeBuilds",
                                               "toolchainBuilds",
                                               "testEnvs",
                                               "terraformDirs"};
    EXPECT_EQ(ids, expected);
    EXPECT_EQ(toolchain_table::rows().size(), 36u);
}

// ---------------------------------------------------------------------------
// The tools' other layouts
// ---------------------------------------------------------------------------

TEST(CatalogToolchains, NvmUnderTheConfigFolderIsFoundWhenThereIsNoDotNvm) {
    test_env::TempHome t;
    const std::string home = t.path("home");
    make_dirs(home + "/.config/nvm/versions/node/v20.1.0");
    ASSERT_NE(find("nvmNode"), nullptr);
    EXPECT_EQ(find("nvmNode")->path, home + "/.config/nvm/versions/node");
}

TEST(CatalogToolchains, NvmPrefersDotNvmWhenBothHoldVersions) {
    test_env::TempHome t;
    const std::string home = t.path("home");
    make_dirs(home + "/.config/nvm/versions/node");
    make_dirs(home + "/.nvm/versions/node");
    EXPECT_EQ(find("nvmNode")->path, home + "/.nvm/versions/node");
}

TEST(CatalogToolchains, FnmKeepsUsingItsOldFolderWhileOnlyThatExists) {
    test_env::TempHome t;
    const std::string home = t.path("home");
    make_dirs(home + "/.fnm/node-versions");
    ASSERT_NE(find("fnmNode"), nullptr);
    EXPECT_EQ(find("fnmNode")->path, home + "/.fnm/node-versions");
}

TEST(CatalogToolchains, CabalUsesDotCabalWhileItExists) {
    test_env::TempHome t;
    const std::string home = t.path("home");
    make_dirs(home + "/.cabal/packages");
    make_dirs(home + "/.cabal/store");
    // The XDG places are there too but are not cabal's while ~/.cabal is.
    make_dirs(home + "/.cache/cabal/packages");
    make_dirs(home + "/.local/state/cabal/store");
    EXPECT_EQ(find("cabalPackages")->path, home + "/.cabal/packages");
    EXPECT_EQ(find("cabalStore")->path, home + "/.cabal/store");
}

TEST(CatalogToolchains, CabalStoreFollowsTheStateFolder) {
    test_env::TempHome t;
    make_dirs(t.path("state/cabal/store"));
    test_env::ScopedEnv state("XDG_STATE_HOME", t.path("state").c_str());
    ASSERT_NE(find("cabalStore"), nullptr);
    EXPECT_EQ(find("cabalStore")->path, t.path("state/cabal/store"));
}

TEST(CatalogToolchains, MixUnderTheDataFolderIsFoundWhenThereIsNoDotMix) {
    test_env::TempHome t;
    make_dirs(t.path("home/.local/share/mix/archives"));
    ASSERT_NE(find("mixHome"), nullptr);
    EXPECT_EQ(find("mixHome")->path, t.path("home/.local/share/mix"));
}

TEST(CatalogToolchains, GhcupInXdgModeLivesInTheDataFolder) {
    test_env::TempHome t;
    make_dirs(t.path("home/.ghcup/ghc"));
    make_dirs(t.path("home/.local/share/ghcup/ghc"));
    test_env::ScopedEnv xdg("GHCUP_USE_XDG_DIRS", "1");
    EXPECT_EQ(find("ghcupGhc")->path, t.path("home/.local/share/ghcup/ghc"));
}

TEST(CatalogToolchains, StackInXdgModeLivesInTheDataFolderUnlessStackRootIsSet) {
    {
        test_env::TempHome t;
        make_dirs(t.path("home/.local/share/stack/programs"));
        test_env::ScopedEnv xdg("STACK_XDG", "1");
        EXPECT_EQ(find("stackPrograms")->path, t.path("home/.local/share/stack/programs"));
    }
    {
        test_env::TempHome t;
        make_dirs(t.path("home/.local/share/stack/programs"));
        make_dirs(t.path("root/programs"));
        test_env::ScopedEnv xdg("STACK_XDG", "1");
        test_env::ScopedEnv root("STACK_ROOT", t.path("root").c_str());
        catalog::set_projects_root(t.path("home"));
        EXPECT_EQ(find("stackPrograms")->path, t.path("root/programs"));
    }
}

TEST(CatalogToolchains, BunFollowsBunInstallWhenItsCacheVariableIsUnset) {
    test_env::TempHome t;
    make_dirs(t.path("bun/install/cache"));
    test_env::ScopedEnv bun("BUN_INSTALL", t.path("bun").c_str());
    EXPECT_EQ(find("bunCache")->path, t.path("bun/install/cache"));
}

TEST(CatalogToolchains, HuggingFaceFollowsHfHomeAndHubCacheWinsOverIt) {
    {
        test_env::TempHome t;
        make_dirs(t.path("hf/hub"));
        test_env::ScopedEnv hf("HF_HOME", t.path("hf").c_str());
        EXPECT_EQ(find("huggingfaceHub")->path, t.path("hf/hub"));
    }
    {
        test_env::TempHome t;
        make_dirs(t.path("hf/hub"));
        make_dirs(t.path("hub-cache"));
        test_env::ScopedEnv hf("HF_HOME", t.path("hf").c_str());
        test_env::ScopedEnv hub("HF_HUB_CACHE", t.path("hub-cache").c_str());
        EXPECT_EQ(find("huggingfaceHub")->path, t.path("hub-cache"));
    }
}

TEST(CatalogToolchains, TheModelCachesFollowTheCacheFolder) {
    test_env::TempHome t;
    make_dirs(t.path("xc/huggingface/hub"));
    make_dirs(t.path("xc/torch/hub"));
    test_env::ScopedEnv cache("XDG_CACHE_HOME", t.path("xc").c_str());
    EXPECT_EQ(find("huggingfaceHub")->path, t.path("xc/huggingface/hub"));
    EXPECT_EQ(find("torchHub")->path, t.path("xc/torch/hub"));
}

TEST(CatalogToolchains, ATrailingSlashInAVariableIsDropped) {
    test_env::TempHome t;
    make_dirs(t.path("models"));
    test_env::ScopedEnv var("OLLAMA_MODELS", (t.path("models") + "//").c_str());
    EXPECT_EQ(find("ollamaModels")->path, t.path("models"));
}

// ---------------------------------------------------------------------------
// No two rows count the same bytes
// ---------------------------------------------------------------------------

TEST(CatalogOverlap, PoetryEnvironmentsInsidePoetrysCacheAreLeftToThatRow) {
    test_env::TempHome t;
    make_dirs(t.path("home/.cache/pypoetry/virtualenvs/app-1a2b-py3.12"));
    EXPECT_EQ(find("poetryVenvs"), nullptr);
    ASSERT_NE(find("poetryCache"), nullptr);
    EXPECT_EQ(find("poetryCache")->path, t.path("home/.cache/pypoetry"));
}

TEST(CatalogOverlap, PoetryEnvironmentsMovedOutOfTheCacheGetTheirOwnRow) {
    test_env::TempHome t;
    make_dirs(t.path("home/.cache/pypoetry/cache"));
    make_dirs(t.path("envs/app-1a2b-py3.12"));
    test_env::ScopedEnv var("POETRY_VIRTUALENVS_PATH", t.path("envs").c_str());
    ASSERT_NE(find("poetryVenvs"), nullptr);
    EXPECT_EQ(find("poetryVenvs")->path, t.path("envs"));
    EXPECT_NE(find("poetryCache"), nullptr);
}

TEST(CatalogOverlap, AVariablePointingInsideAnotherRowsFolderDropsTheToolchainRow) {
    test_env::TempHome t;
    make_dirs(t.path("home/.cache/pip/deno"));
    test_env::ScopedEnv var("DENO_DIR", t.path("home/.cache/pip/deno").c_str());
    EXPECT_EQ(find("denoCache"), nullptr);
    EXPECT_NE(find("pipCache"), nullptr);
}

TEST(CatalogOverlap, AVariablePointingAtAFolderAroundAnotherRowDropsTheToolchainRow) {
    test_env::TempHome t;
    make_dirs(t.path("home/.cache/pip"));
    test_env::ScopedEnv var("ZIG_GLOBAL_CACHE_DIR", t.path("home/.cache").c_str());
    EXPECT_EQ(find("zigCache"), nullptr);
    EXPECT_NE(find("pipCache"), nullptr);
}

TEST(CatalogOverlap, OfTwoToolchainRowsOnTheSameFolderTheFirstStays) {
    test_env::TempHome t;
    make_dirs(t.path("shared"));
    test_env::ScopedEnv deno("DENO_DIR", t.path("shared").c_str());
    test_env::ScopedEnv zig("ZIG_GLOBAL_CACHE_DIR", t.path("shared").c_str());
    ASSERT_NE(find("denoCache"), nullptr);
    EXPECT_EQ(find("zigCache"), nullptr);
}

TEST(CatalogOverlap, NoRowOfAFullHomeLiesInsideOrAroundAnother) {
    test_env::TempHome t;
    const std::string home = t.path("home");
    for (const ToolRow& r : toolchain_table::rows())
        make_dirs(toolchain_table::default_path(r, home));
    make_dirs(home + "/.cache/pip");
    const std::vector<CategoryDef>& all = catalog::all();
    ASSERT_GE(all.size(), 35u);
    for (const CategoryDef& a : all)
        for (const CategoryDef& b : all) {
            if (&a == &b || a.listing == ListingKind::Recursive ||
                b.listing == ListingKind::Recursive)
                continue;
            EXPECT_NE(a.path, b.path) << a.id << " " << b.id;
            EXPECT_NE(b.path.rfind(a.path + "/", 0), 0u) << b.id << " inside " << a.id;
        }
}

// ---------------------------------------------------------------------------
// The <tool>/<version> listing and the opam switch filter
// ---------------------------------------------------------------------------

namespace {

CategoryDef listing_row(ListingKind kind, const std::string& path) {
    CategoryDef d;
    d.id = "t";
    d.group = GroupKind::OtherLangs;
    d.path = path;
    d.listing = kind;
    return d;
}

std::vector<std::string> names_of(std::vector<ScannedInfo> found) {
    std::vector<std::string> out;
    for (const ScannedInfo& f : found)
        out.push_back(f.name);
    std::sort(out.begin(), out.end());
    return out;
}

} // namespace

TEST(ScannerToolVersions, EveryFolderTwoLevelsDownIsAnItemNamedToolSlashVersion) {
    test_env::TempHome t;
    const std::string c = t.path("candidates");
    make_dirs(c + "/java/21.0.1-tem/bin");
    make_dirs(c + "/java/17.0.9-tem");
    make_dirs(c + "/maven/3.9.6");
    make_dirs(c + "/gradle");
    const auto found = scanner::list(listing_row(ListingKind::ToolVersions, c), nullptr);
    EXPECT_EQ(names_of(found),
              (std::vector<std::string>{"java/17.0.9-tem", "java/21.0.1-tem", "maven/3.9.6"}));
    for (const ScannedInfo& f : found) {
        EXPECT_EQ(f.path, c + "/" + f.name);
        EXPECT_EQ(f.detail, f.path);
    }
}

TEST(ScannerToolVersions, LinksFilesAndHiddenEntriesAreLeftOutAtBothLevels) {
    test_env::TempHome t;
    const std::string c = t.path("candidates");
    make_dirs(c + "/java/21.0.1-tem");
    make_dirs(c + "/java/.tmp-download");
    fs_fixture::make_link(c + "/java/21.0.1-tem", c + "/java/current");
    fs_fixture::write_file(c + "/java/notes.txt");
    make_dirs(c + "/.meta/1.0");
    make_dirs(t.path("elsewhere/9.9"));
    fs_fixture::make_link(t.path("elsewhere"), c + "/linked-tool");
    fs_fixture::write_file(c + "/README");
    EXPECT_EQ(names_of(scanner::list(listing_row(ListingKind::ToolVersions, c), nullptr)),
              std::vector<std::string>{"java/21.0.1-tem"});
}

TEST(ScannerToolVersions, AMissingFolderListsNothing) {
    test_env::TempHome t;
    EXPECT_TRUE(
        scanner::list(listing_row(ListingKind::ToolVersions, t.path("none")), nullptr).empty());
}

TEST(ScannerToolVersions, TheCatalogsSdkmanRowListsItsCandidates) {
    test_env::TempHome t;
    make_dirs(t.path("home/.sdkman/candidates/java/21.0.1-tem"));
    fs_fixture::make_link(t.path("home/.sdkman/candidates/java/21.0.1-tem"),
                          t.path("home/.sdkman/candidates/java/current"));
    const CategoryDef* d = find("sdkmanCandidates");
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(names_of(scanner::list(*d, nullptr)), std::vector<std::string>{"java/21.0.1-tem"});
}

TEST(ScannerOpam, OnlyFoldersHoldingAnOpamSwitchAreSwitches) {
    test_env::TempHome t;
    const std::string root = t.path("home/.opam");
    make_dirs(root + "/default/.opam-switch");
    make_dirs(root + "/5.1.0/.opam-switch");
    make_dirs(root + "/repo/default");
    make_dirs(root + "/download-cache");
    make_dirs(root + "/plugins");
    fs_fixture::write_file(root + "/config");
    fs_fixture::write_file(root + "/not-a-switch/.opam-switch-old");
    const CategoryDef* d = find("opamSwitches");
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(names_of(scanner::list(*d, nullptr)), (std::vector<std::string>{"5.1.0", "default"}));
}

// ---------------------------------------------------------------------------
// The Flatpak manifest
// ---------------------------------------------------------------------------
//
// The Flatpak reaches the home through --filesystem entries. Every hidden
// folder a row looks in, at its default and in the tools' other layouts,
// must lie inside one of them, or the Flatpak shows it as empty.

TEST(CatalogFlatpakManifest, GrantsEveryHiddenFolderTheRowsLookIn) {
    std::ifstream in(QUILLET_SOURCE_DIR "/packaging/flatpak/app.quillet.Quillet.yml");
    std::vector<std::string> granted; // relative to the home; "" is the whole home
    std::string line;
    const std::string marker = "- --filesystem=";
    while (std::getline(in, line)) {
        const std::size_t at = line.find(marker);
        if (at == std::string::npos)
            continue;
        std::string value = line.substr(at + marker.size());
        value = value.substr(0, value.find(':')); // ":ro", ":create"
        while (!value.empty() && (value.back() == ' ' || value.back() == '\r'))
            value.pop_back();
        if (value == "home" || value == "~")
            granted.push_back("");
        else if (value.rfind("~/", 0) == 0)
            granted.push_back(value.substr(2));
        else if (value.rfind("xdg-cache/", 0) == 0)
            granted.push_back(".cache/" + value.substr(10));
        else if (value.rfind("xdg-data/", 0) == 0)
            granted.push_back(".local/share/" + value.substr(9));
        else if (value.rfind("xdg-config/", 0) == 0)
            granted.push_back(".config/" + value.substr(11));
    }
    ASSERT_FALSE(granted.empty()) << "no --filesystem entry below the home read from the manifest";
    std::vector<std::string> wanted;
    for (const ToolRow& r : toolchain_table::rows())
        wanted.push_back(toolchain_table::default_path(r, "").substr(1));
    for (const std::string& alt : toolchain_table::alternatives())
        wanted.push_back(alt);
    for (const std::string& w : wanted)
        EXPECT_TRUE(std::any_of(
            granted.begin(), granted.end(),
            [&](const std::string& g) { return g.empty() || w == g || w.rfind(g + "/", 0) == 0; }))
            << w << " is not reachable in the Flatpak";
}

// The list the tests and the benchmark clear must hold every variable a row
// follows, or a developer's own setting would reach into a test's home.
TEST(CatalogToolchains, EveryRowsVariableIsInTheListOfToolVariables) {
    const std::vector<const char*>& known = catalog::tool_variables();
    auto listed = [&](const char* var) {
        return std::any_of(known.begin(), known.end(),
                           [&](const char* k) { return std::string(k) == var; });
    };
    int checked = 0;
    for (const toolchain_table::ToolRow& r : toolchain_table::rows()) {
        // The XDG folders are every test home's own (test_env::TempHome).
        if (!r.var || std::string(r.var).rfind("XDG_", 0) == 0)
            continue;
        EXPECT_TRUE(listed(r.var)) << r.id << " follows " << r.var;
        ++checked;
    }
    EXPECT_GE(checked, 30);
    for (const char* extra : {"BUN_INSTALL", "HF_HOME", "GHCUP_USE_XDG_DIRS", "STACK_XDG",
                              "XDG_STATE_HOME", "ASDF_DEFAULT_TOOL_VERSIONS_FILENAME"})
        EXPECT_TRUE(listed(extra)) << extra;
}
