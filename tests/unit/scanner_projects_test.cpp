// The project search as one walk for every kind of build output: each kind
// the catalog looks for is found with what proves it and left alone (or not
// called Safe) without it, the walk finds for every row exactly what a search
// for that row alone finds, and no folder of the projects tree is read twice.

#include "catalog.h"
#include "evidence.h"
#include "fs_fixture.h"
#include "scan_test_util.h"
#include "scanner.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <future>
#include <map>
#include <set>
#include <thread>

using scan_test::paths_of;

using fs_fixture::make_dirs;
using fs_fixture::make_link;
using fs_fixture::write_file;

namespace {

const CategoryDef* project_def(const std::string& id) {
    for (const CategoryDef& d : catalog::all())
        if (d.id == id)
            return &d;
    return nullptr;
}

std::vector<CategoryDef> project_rows() {
    std::vector<CategoryDef> rows;
    for (const CategoryDef& d : catalog::all())
        if (d.listing == ListingKind::Recursive)
            rows.push_back(d);
    return rows;
}

evidence::Verdict judged(const std::string& path) {
    git_repo::Cache repos;
    return evidence::judge(path, repos, false);
}

bool says(const evidence::Verdict& v, const char* key) {
    return std::any_of(v.reasons.begin(), v.reasons.end(), [&](const evidence::Reason& r) {
        return r.key && std::strcmp(r.key, key) == 0;
    });
}

// One kind of folder, the row that shows it, and what proves it.
struct Kind {
    const char* row;
    const char* folder;
    const char* proof; // a project file beside it, or (with inside) a marker inside
    bool inside;       // proof is written inside the folder
    bool required;     // without the proof it is not offered at all
};

const Kind KINDS[] = {
    {"webCaches", ".next", "next.config.mjs", false, false},
    {"webCaches", ".nuxt", "nuxt.config.ts", false, false},
    {"webCaches", ".svelte-kit", "svelte.config.js", false, false},
    {"webCaches", ".turbo", "turbo.json", false, false},
    {"webCaches", ".angular", "angular.json", false, false},
    {"webCaches", ".parcel-cache", ".parcelrc", false, false},
    {"dotnetBuild", "bin", "App.csproj", false, true},
    {"dotnetBuild", "obj", "Lib.fsproj", false, true},
    {"dotnetBuild", "obj", "project.assets.json", true, true},
    {"cmakeBuilds", "cmake-build-debug", "CMakeLists.txt", false, false},
    {"cmakeBuilds", "cmake-build-release", "CMakeCache.txt", true, false},
    {"toolchainBuilds", ".dart_tool", "pubspec.yaml", false, false},
    {"toolchainBuilds", "_build", "mix.exs", false, true},
    {"toolchainBuilds", "_build", "dune-project", false, true},
    {"toolchainBuilds", "deps", "mix.exs", false, true},
    {"toolchainBuilds", ".stack-work", "stack.yaml", false, false},
    {"toolchainBuilds", "zig-out", "build.zig", false, false},
    {"toolchainBuilds", ".zig-cache", "build.zig", false, false},
    {"toolchainBuilds", "zig-cache", "build.zig", false, false},
    {"testEnvs", ".tox", "tox.ini", false, false},
    {"testEnvs", ".nox", "noxfile.py", false, false},
    {"terraformDirs", ".terraform", "main.tf", false, false},
};

} // namespace

TEST(ScannerProjectKinds, EachKindIsListedWithWhatProvesItAndIsThenSafe) {
    test_env::TempHome home;
    const std::string root = home.path("home");
    int n = 0;
    for (const Kind& k : KINDS) {
        SCOPED_TRACE(std::string(k.folder) + " with " + k.proof);
        const std::string proj = root + "/code/p" + std::to_string(n++);
        write_file(proj + "/" + k.folder + "/out.bin", 100);
        write_file(k.inside ? proj + "/" + k.folder + "/" + k.proof : proj + "/" + k.proof, 10);
        const CategoryDef* def = project_def(k.row);
        ASSERT_NE(def, nullptr);
        const std::vector<std::string> found = paths_of(scanner::list(*def, nullptr));
        const std::string expected = proj + "/" + k.folder;
        EXPECT_NE(std::find(found.begin(), found.end(), expected), found.end());
        const evidence::Verdict v = judged(expected);
        EXPECT_EQ(v.level, SafetyLevel::Safe);
        EXPECT_FALSE(says(v, "No project file beside it"));
    }
}

TEST(ScannerProjectKinds, WithoutItsProofAKindIsNotOfferedOrNotSafe) {
    test_env::TempHome home;
    const std::string root = home.path("home");
    int n = 0;
    for (const Kind& k : KINDS) {
        SCOPED_TRACE(k.folder);
        const std::string proj = root + "/code/q" + std::to_string(n++);
        write_file(proj + "/README.md", 10);
        write_file(proj + "/" + k.folder + "/thing.txt", 100);
        const CategoryDef* def = project_def(k.row);
        ASSERT_NE(def, nullptr);
        const std::vector<std::string> found = paths_of(scanner::list(*def, nullptr));
        const std::string path = proj + "/" + k.folder;
        const bool listed = std::find(found.begin(), found.end(), path) != found.end();
        if (k.required) {
            EXPECT_FALSE(listed) << "an everyday " << k.folder << " folder was offered";
        } else {
            EXPECT_TRUE(listed);
            const evidence::Verdict v = judged(path);
            EXPECT_EQ(v.level, SafetyLevel::Caution);
            EXPECT_TRUE(says(v, "No project file beside it"));
        }
    }
}

TEST(ScannerProjectKinds, AProjectFileOfAnotherToolProvesNothing) {
    test_env::TempHome home;
    const std::string proj = home.path("home/code/app");
    write_file(proj + "/package.json", 10); // a Node project, no .NET in sight
    write_file(proj + "/bin/cli.js", 10);
    write_file(proj + "/Cargo.toml", 10); // and a Rust crate, no Mix
    write_file(proj + "/deps/vendored.c", 10);
    write_file(proj + "/other/App.csproj.bak", 10);
    EXPECT_TRUE(scanner::list(*project_def("dotnetBuild"), nullptr).empty());
    EXPECT_TRUE(scanner::list(*project_def("toolchainBuilds"), nullptr).empty());
}

TEST(ScannerProjectKinds, AProjectFileThatIsALinkProvesNothing) {
    test_env::TempHome home;
    const std::string proj = home.path("home/code/app");
    write_file(home.path("elsewhere/App.csproj"), 10);
    write_file(proj + "/bin/Debug/app.dll", 10);
    make_link(home.path("elsewhere/App.csproj"), proj + "/App.csproj");
    EXPECT_TRUE(scanner::list(*project_def("dotnetBuild"), nullptr).empty());
}

TEST(ScannerProjectKinds, EveryCmakeBuildConfigurationIsFoundByItsPattern) {
    test_env::TempHome home;
    const std::string proj = home.path("home/code/engine");
    write_file(proj + "/CMakeLists.txt", 10);
    for (const char* c : {"cmake-build-debug", "cmake-build-release", "cmake-build-relwithdebinfo"})
        write_file(proj + "/" + c + "/CMakeCache.txt", 10);
    make_dirs(proj + "/cmake-builds"); // not the pattern
    make_dirs(proj + "/my-cmake-build-x");
    EXPECT_EQ(paths_of(scanner::list(*project_def("cmakeBuilds"), nullptr)),
              (std::vector<std::string>{proj + "/cmake-build-debug", proj + "/cmake-build-release",
                                        proj + "/cmake-build-relwithdebinfo"}));
}

TEST(ScannerProjectKinds, TerraformFoldersAreFoundButNeverSearchedThrough) {
    test_env::TempHome home;
    const std::string proj = home.path("home/infra/net");
    write_file(proj + "/main.tf", 10);
    write_file(proj + "/.terraform/providers/registry/aws/bin", 100);
    make_dirs(proj + "/.terraform/modules/vpc/node_modules");
    make_dirs(proj + "/.terraform/modules/vpc/build");
    EXPECT_EQ(paths_of(scanner::list(*project_def("terraformDirs"), nullptr)),
              std::vector<std::string>{proj + "/.terraform"});
    EXPECT_TRUE(scanner::list(*project_def("nodeModules"), nullptr).empty());
    EXPECT_TRUE(scanner::list(*project_def("buildDirs"), nullptr).empty());
}

TEST(ScannerProjectKinds, AnEverydayFolderWithoutItsProofIsNotSearchedForOtherKindsEither) {
    // A "deps" of vendored sources is neither offered as Mix's nor entered:
    // what lies in there is somebody else's tree, not this project's output.
    test_env::TempHome home;
    const std::string proj = home.path("home/code/c-lib");
    write_file(proj + "/Makefile", 10);
    make_dirs(proj + "/deps/zlib/build");
    make_dirs(proj + "/src/build");
    EXPECT_EQ(paths_of(scanner::list(*project_def("buildDirs"), nullptr)),
              std::vector<std::string>{proj + "/src/build"});
    EXPECT_TRUE(scanner::list(*project_def("toolchainBuilds"), nullptr).empty());
}

// ---------------------------------------------------------------------------
// One walk
// ---------------------------------------------------------------------------

namespace {

// A projects tree with every kind, nested kinds, skipped and linked folders.
void make_projects(const std::string& root) {
    int n = 0;
    for (const Kind& k : KINDS) {
        const std::string proj = root + "/work/k" + std::to_string(n++);
        write_file(k.inside ? proj + "/" + k.folder + "/" + k.proof : proj + "/" + k.proof, 10);
        make_dirs(proj + "/" + k.folder + "/inner/node_modules");
    }
    write_file(root + "/web/shop/package.json", 10);
    make_dirs(root + "/web/shop/node_modules/x/node_modules");
    make_dirs(root + "/web/shop/build");
    make_dirs(root + "/web/shop/src/__pycache__");
    write_file(root + "/py/tool/.venv/pyvenv.cfg", 10);
    make_dirs(root + "/py/tool/.tox/py312");
    write_file(root + "/py/tool/tox.ini", 10);
    make_dirs(root + "/java/app/.gradle");
    make_dirs(root + "/java/app/build");
    make_dirs(root + "/Downloads/x/node_modules");
    make_dirs(root + "/a/b/c/d/e/f/node_modules"); // deeper than the search goes
    make_dirs(root + "/.git/objects/build");
    make_link(root + "/web", root + "/web-link");
}

} // namespace

TEST(ScannerProjectWalk, OneWalkFindsForEachRowWhatASearchForItAloneFinds) {
    test_env::TempHome home;
    make_projects(home.path("home"));
    const std::vector<CategoryDef> rows = project_rows();
    ASSERT_EQ(rows.size(), 11u);
    const scanner::ProjectFinds finds = scanner::find_in_projects(rows, nullptr, nullptr);
    ASSERT_EQ(finds.found.size(), rows.size());
    std::size_t total = 0;
    for (std::size_t k = 0; k < rows.size(); ++k) {
        SCOPED_TRACE(rows[k].id);
        EXPECT_EQ(paths_of(finds.found[k]), paths_of(scanner::list(rows[k], nullptr)));
        total += finds.found[k].size();
    }
    EXPECT_GE(total, 25u);
}

TEST(ScannerProjectWalk, NoFolderIsReadTwiceAndTheRootOnce) {
    test_env::TempHome home;
    const std::string root = home.path("home");
    make_projects(root);
    scanner_testing::record_project_walk(true);
    const scanner::ProjectFinds finds = scanner::find_in_projects(project_rows(), nullptr, nullptr);
    const std::vector<std::string> opened = scanner_testing::project_walk_opened();
    scanner_testing::record_project_walk(false);
    const std::set<std::string> once(opened.begin(), opened.end());
    EXPECT_EQ(once.size(), opened.size()) << "a folder of the projects tree was read twice";
    EXPECT_EQ(std::count(opened.begin(), opened.end(), root), 1);
    // Folders the walk has no business in: found ones, skipped ones, links.
    for (const std::string& p : opened) {
        EXPECT_EQ(p.find("/node_modules"), std::string::npos) << p;
        EXPECT_EQ(p.find("/.git"), std::string::npos) << p;
        EXPECT_EQ(p.find("/Downloads"), std::string::npos) << p;
        EXPECT_EQ(p.find("web-link"), std::string::npos) << p;
        EXPECT_EQ(p.find("/.terraform"), std::string::npos) << p;
    }
}

TEST(ScannerProjectWalk, ReadingEachRowOnItsOwnWouldReadTheRootOncePerRow) {
    // The counter the walk is checked with does count: a search per row reads
    // the root as many times as there are rows.
    test_env::TempHome home;
    const std::string root = home.path("home");
    make_projects(root);
    const std::vector<CategoryDef> rows = project_rows();
    scanner_testing::record_project_walk(true);
    for (const CategoryDef& d : rows)
        scanner::list(d, nullptr);
    const std::vector<std::string> opened = scanner_testing::project_walk_opened();
    scanner_testing::record_project_walk(false);
    EXPECT_EQ(std::count(opened.begin(), opened.end(), root), static_cast<long>(rows.size()));
}

namespace {
bool pin_name(const char* name) {
    return std::strcmp(name, ".python-version") == 0 ||
           std::strcmp(name, "gradle-wrapper.properties") == 0;
}
} // namespace

TEST(ScannerProjectWalk, TheWalkNotesTheFilesAskedForWhereItGoes) {
    test_env::TempHome home;
    const std::string root = home.path("home");
    write_file(root + "/code/api/.python-version", 5);
    write_file(root + "/code/app/gradle/wrapper/gradle-wrapper.properties", 5);
    write_file(root + "/code/app/README.md", 5);
    // Not where projects are: inside found folders, skipped folders, beyond the depth.
    write_file(root + "/code/web/node_modules/pkg/.python-version", 5);
    write_file(root + "/Downloads/p/.python-version", 5);
    write_file(root + "/a/b/c/d/e/f/.python-version", 5);   // the deepest folder it reads
    write_file(root + "/a/b/c/d/e/f/g/.python-version", 5); // one below
    write_file(root + "/elsewhere/.python-version", 5);
    make_dirs(root + "/code/linked");
    make_link(root + "/elsewhere/.python-version", root + "/code/linked/.python-version");
    const scanner::ProjectFinds finds =
        scanner::find_in_projects(project_rows(), pin_name, nullptr);
    std::vector<std::string> files = finds.files;
    std::sort(files.begin(), files.end());
    EXPECT_EQ(files,
              (std::vector<std::string>{root + "/a/b/c/d/e/.python-version" == ""
                                            ? ""
                                            : root + "/code/api/.python-version",
                                        root + "/code/app/gradle/wrapper/gradle-wrapper.properties",
                                        root + "/elsewhere/.python-version"}));
}

namespace {
// Holds the walk at the first file it is asked about until the test lets go,
// so that the deadline surely passes first.
std::promise<void> g_release;
std::shared_future<void> g_gate = g_release.get_future().share();
bool held_at_first_file(const char*) {
    g_gate.wait();
    return false;
}
} // namespace

TEST(ScannerProjectWalk, AGuardedWalkGivenUpLeavesEveryRowEmpty) {
    test_env::TempHome home;
    make_projects(home.path("home"));
    const std::vector<CategoryDef> rows = project_rows();
    std::atomic<bool> cancel{false};
    const scanner::ProjectFinds finds =
        scanner::find_in_projects_guarded(rows, held_at_first_file, 0.05, &cancel);
    ASSERT_EQ(finds.found.size(), rows.size());
    for (const auto& f : finds.found)
        EXPECT_TRUE(f.empty());
    // The walk given up goes on in the background until it sees the cancel;
    // it must be gone before the test's home is.
    cancel = true;
    g_release.set_value();
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (scanner_testing::live_guard_states() != 0 && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(scanner_testing::live_guard_states(), 0);
}
