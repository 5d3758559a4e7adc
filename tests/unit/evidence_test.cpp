// Weighing found project folders, one rule at a time, on homes each test
// builds: real repositories made with git (commits, a submodule, a linked
// worktree, ignored and force-added files, an index of another owner or of a
// format the library rejects), every marker and project file of the table,
// foreign content, and the places where nothing is Safe by name.

#include "evidence.h"

#include "catalog.h"
#include "fs_fixture.h"
#include "git_fixture.h"
#include "git_repo.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <unistd.h>

using git_fixture::commit;
using git_fixture::git;
using git_fixture::init_repo;
using git_fixture::write;

namespace {

const std::string CACHEDIR_SIGNATURE = "Signature: 8a477f597d28d172789f06886806bc55\n";

evidence::Verdict judged(const std::string& path, bool holds_git = false) {
    git_repo::Cache repos;
    return evidence::judge(path, repos, holds_git);
}

// "key" or "key:arg" or "key:#count" for each reason, in order.
std::vector<std::string> said(const evidence::Verdict& v) {
    std::vector<std::string> out;
    for (const evidence::Reason& r : v.reasons) {
        std::string s = r.key ? r.key : "(null)";
        if (!r.arg.empty())
            s += ":" + r.arg;
        if (r.count >= 0)
            s += ":#" + std::to_string(r.count);
        out.push_back(s);
    }
    return out;
}

bool says(const evidence::Verdict& v, const std::string& what) {
    const std::vector<std::string> all = said(v);
    return std::find(all.begin(), all.end(), what) != all.end();
}

std::string dump(const evidence::Verdict& v) {
    std::string out = "level " + std::to_string(static_cast<int>(v.level)) + ":";
    for (const std::string& s : said(v))
        out += " [" + s + "]";
    return out;
}

// A repository at dir with one commit of its project file (if any) and a
// .gitignore that ignores the folder `ignored` (if any).
void project_repo(const std::string& dir, const std::string& project_file,
                  const std::string& ignored) {
    init_repo(dir);
    std::string paths;
    if (!project_file.empty()) {
        write(dir + "/" + project_file);
        paths += project_file + " ";
    }
    if (!ignored.empty()) {
        write(dir + "/.gitignore", ignored + "/\n");
        paths += ".gitignore";
    }
    if (!paths.empty())
        commit(dir, paths);
}

bool is_artefact(const std::string& parent, const char* name) {
    const int fd = open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    EXPECT_GE(fd, 0) << parent;
    const bool yes = evidence::is_artefact(fd, name);
    close(fd);
    return yes;
}

} // namespace

// ---------------------------------------------------------------------------
// git
// ---------------------------------------------------------------------------

TEST(Evidence, AnIgnoredBuildBesideAGradleFileIsSafeAndSaysWhy) {
    test_env::TempHome t;
    const std::string app = t.path("home/src/app");
    project_repo(app, "build.gradle", "build");
    write(app + "/build/classes/A.class");

    const evidence::Verdict v = judged(app + "/build");
    EXPECT_EQ(v.level, SafetyLevel::Safe) << dump(v);
    EXPECT_EQ(said(v), (std::vector<std::string>{"Ignored by git", "beside %s:build.gradle"}));
}

TEST(Evidence, ATrackedBuildIsRiskyWhateverElseSpeaksForIt) {
    test_env::TempHome t;
    const std::string app = t.path("home/src/electron-app");
    init_repo(app);
    write(app + "/build.gradle");
    write(app + "/build/icon.png");
    write(app + "/build/entitlements.plist");
    write(app + "/build/CMakeCache.txt");
    commit(app, "build.gradle build/icon.png build/entitlements.plist");

    const evidence::Verdict v = judged(app + "/build");
    EXPECT_EQ(v.level, SafetyLevel::Risky) << dump(v);
    ASSERT_FALSE(v.reasons.empty());
    EXPECT_EQ(said(v).front(), "Holds %s files tracked by git:#2");
    EXPECT_EQ(v.reasons.front().weight, SafetyLevel::Risky);
}

TEST(Evidence, OneTrackedFileIsNamedInTheSingular) {
    test_env::TempHome t;
    const std::string app = t.path("home/src/deploy");
    init_repo(app);
    write(app + "/Cargo.toml");
    write(app + "/target/release-notes.md");
    commit(app, "Cargo.toml target/release-notes.md");
    const evidence::Verdict v = judged(app + "/target");
    EXPECT_EQ(v.level, SafetyLevel::Risky);
    EXPECT_EQ(said(v).front(), "Holds a file tracked by git");
}

TEST(Evidence, AnIgnoredFolderWithOneForceAddedFileIsRisky) {
    test_env::TempHome t;
    const std::string app = t.path("home/src/app");
    project_repo(app, "Cargo.toml", "target");
    write(app + "/target/debug/app");
    write(app + "/target/keep/deploy.yaml");
    commit(app, "target/keep/deploy.yaml"); // git add -f past the ignore rule

    const evidence::Verdict v = judged(app + "/target");
    EXPECT_EQ(v.level, SafetyLevel::Risky) << dump(v);
    EXPECT_TRUE(says(v, "Holds a file tracked by git"));
    EXPECT_TRUE(says(v, "Ignored by git")); // said, but it is no proof
}

TEST(Evidence, ASiblingWhoseNameStartsTheSameIsNotCountedAsInside) {
    // "build-tools/x" sorts right after "build/": only what is below build/ counts.
    test_env::TempHome t;
    const std::string app = t.path("home/src/app");
    init_repo(app);
    write(app + "/build.gradle");
    write(app + "/build-tools/x");
    write(app + "/build.txt");
    write(app + "/build0/y");
    commit(app, "build.gradle build-tools/x build.txt build0/y");
    write(app + "/build/out.bin");
    const evidence::Verdict v = judged(app + "/build");
    EXPECT_EQ(v.level, SafetyLevel::Safe) << dump(v);
}

TEST(Evidence, AGitSubmoduleCheckedOutAtBuildIsRisky) {
    test_env::TempHome t;
    const std::string sub = t.path("home/src/shared-build");
    init_repo(sub);
    const std::string app = t.path("home/src/app");
    init_repo(app);
    write(app + "/CMakeLists.txt");
    commit(app, "CMakeLists.txt");
    git(app, "submodule add -q ../shared-build build");
    git(app, "commit -q -m sub");

    const evidence::Verdict v = judged(app + "/build");
    EXPECT_EQ(v.level, SafetyLevel::Risky) << dump(v);
    EXPECT_EQ(said(v).front(), "Is a git submodule");
    // Its own .git file is the submodule's; that is not said twice.
    EXPECT_FALSE(says(v, "Holds a git repository of its own"));
}

TEST(Evidence, ALinkedWorktreeIsJudgedByItsOwnIndex) {
    test_env::TempHome t;
    const std::string main_tree = t.path("home/src/app");
    project_repo(main_tree, "Cargo.toml", "target");
    git(main_tree, "worktree add -q -b release ../app-release");
    const std::string wt = t.path("home/src/app-release");
    // Committed on the worktree's branch only.
    write(wt + "/target/deploy/notes.md");
    commit(wt, "target/deploy/notes.md");
    write(main_tree + "/target/debug/app");

    const evidence::Verdict in_worktree = judged(wt + "/target");
    EXPECT_EQ(in_worktree.level, SafetyLevel::Risky) << dump(in_worktree);
    EXPECT_TRUE(says(in_worktree, "Holds a file tracked by git"));

    const evidence::Verdict in_main = judged(main_tree + "/target");
    EXPECT_EQ(in_main.level, SafetyLevel::Safe) << dump(in_main);
    EXPECT_TRUE(says(in_main, "Ignored by git"));
}

TEST(Evidence, ARepositoryInsideTheCandidateIsRisky) {
    test_env::TempHome t;
    const std::string proj = t.path("home/src/proj");
    write(proj + "/package.json", "{}");
    init_repo(proj + "/node_modules");
    const evidence::Verdict v = judged(proj + "/node_modules");
    EXPECT_EQ(v.level, SafetyLevel::Risky) << dump(v);
    EXPECT_EQ(said(v).front(), "Holds a git repository of its own");
}

TEST(Evidence, ARepositoryDeeperInsideThatTheMeasurementMetIsRisky) {
    test_env::TempHome t;
    const std::string proj = t.path("home/src/proj");
    write(proj + "/package.json", "{}");
    write(proj + "/node_modules/.package-lock.json", "{}");
    const evidence::Verdict clean = judged(proj + "/node_modules", false);
    EXPECT_EQ(clean.level, SafetyLevel::Safe) << dump(clean);
    const evidence::Verdict met = judged(proj + "/node_modules", true);
    EXPECT_EQ(met.level, SafetyLevel::Risky) << dump(met);
    EXPECT_TRUE(says(met, "Holds a git repository of its own"));
}

TEST(Evidence, AnIndexInAFormatTheLibraryRejectsIsUnknownAndNeverSafe) {
    test_env::TempHome t;
    const std::string app = t.path("home/src/app");
    init_repo(app);
    write(app + "/Cargo.toml");
    write(app + "/target/debug/app");
    // A signature git writes, then a version no reader knows.
    std::ofstream(app + "/.git/index", std::ios::binary | std::ios::trunc)
        << std::string("DIRC\0\0\0\x63\0\0\0\0", 12) << std::string(20, '\0');

    const evidence::Verdict v = judged(app + "/target");
    EXPECT_EQ(v.level, SafetyLevel::Caution) << dump(v);
    EXPECT_EQ(said(v).front(), "Its git repository could not be read");
    EXPECT_TRUE(says(v, "beside %s:Cargo.toml"));
}

TEST(Evidence, ARepositoryOfAnotherOwnerIsUnknownAndNeverSafe) {
    if (geteuid() != 0)
        GTEST_SKIP() << "making a repository of another owner needs root";
    test_env::TempHome t;
    const std::string app = t.path("home/src/theirs");
    init_repo(app);
    write(app + "/Cargo.toml");
    write(app + "/target/debug/app");
    ASSERT_EQ(std::system(("chown -R 65534:65534 '" + app + "'").c_str()), 0);

    const evidence::Verdict v = judged(app + "/target");
    EXPECT_EQ(v.level, SafetyLevel::Caution) << dump(v);
    EXPECT_EQ(said(v).front(), "Its git repository could not be read");
}

TEST(Evidence, OutsideAnyRepositoryAProjectFileIsEnough) {
    test_env::TempHome t;
    const std::string proj = t.path("home/src/plain");
    write(proj + "/pom.xml");
    write(proj + "/target/classes/A.class");
    const evidence::Verdict v = judged(proj + "/target");
    EXPECT_EQ(v.level, SafetyLevel::Safe) << dump(v);
    EXPECT_EQ(said(v), std::vector<std::string>{"beside %s:pom.xml"});
}

TEST(Evidence, IgnoredByGitAloneIsOnlyCaution) {
    test_env::TempHome t;
    const std::string app = t.path("home/src/app");
    project_repo(app, "", "out");
    write(app + "/out/figure.svg");
    const evidence::Verdict v = judged(app + "/out");
    EXPECT_EQ(v.level, SafetyLevel::Caution) << dump(v);
    EXPECT_EQ(said(v), (std::vector<std::string>{"No project file beside it", "Ignored by git"}));
}

TEST(Evidence, AFolderWithNothingButItsNameIsCaution) {
    test_env::TempHome t;
    const std::string proj = t.path("home/src/notes");
    write(proj + "/build/draft.txt");
    const evidence::Verdict v = judged(proj + "/build");
    EXPECT_EQ(v.level, SafetyLevel::Caution);
    EXPECT_EQ(said(v), std::vector<std::string>{"No project file beside it"});
}

TEST(Evidence, TheScanReadsEachRepositoryOnce) {
    test_env::TempHome t;
    const std::string a = t.path("home/src/a");
    const std::string b = t.path("home/src/b");
    init_repo(a);
    init_repo(b);
    for (const char* sub : {"/x/build", "/y/build", "/z/build"})
        write(a + sub + "/f");
    write(b + "/build/f");
    git_repo::Cache repos;
    for (const char* sub : {"/x/build", "/y/build", "/z/build"})
        evidence::judge(a + sub, repos, false);
    EXPECT_EQ(repos.repositories_opened(), 1);
    evidence::judge(b + "/build", repos, false);
    EXPECT_EQ(repos.repositories_opened(), 2);
}

// ---------------------------------------------------------------------------
// The table: project files and markers
// ---------------------------------------------------------------------------

TEST(Evidence, EveryProjectFileOfTheTableProvesItsFolder) {
    struct Case {
        const char* folder;
        const char* beside;
    };
    const Case cases[] = {
        {"node_modules", "package.json"},
        {"target", "Cargo.toml"},
        {"target", "pom.xml"},
        {"target", "build.sbt"},
        {"build", "build.gradle"},
        {"build", "build.gradle.kts"},
        {"build", "settings.gradle"},
        {"build", "settings.gradle.kts"},
        {"build", "meson.build"},
        {"build", "pubspec.yaml"},
        {"build", "setup.py"},
        {"build", "pyproject.toml"},
        {"out", "app.iml"},
        {"out", "next.config.mjs"},
        {".gradle", "build.gradle.kts"},
        {".gradle", "settings.gradle"},
    };
    test_env::TempHome t;
    int n = 0;
    for (const Case& c : cases) {
        const std::string proj = t.path("home/src/p" + std::to_string(n++));
        write(proj + "/" + c.beside);
        write(proj + "/" + c.folder + "/output");
        const evidence::Verdict v = judged(proj + "/" + c.folder);
        EXPECT_EQ(v.level, SafetyLevel::Safe)
            << c.folder << " beside " << c.beside << " " << dump(v);
        EXPECT_TRUE(says(v, std::string("beside %s:") + c.beside)) << dump(v);
    }
}

TEST(Evidence, AProjectFileOfAnotherKindProvesNothing) {
    // electron-builder keeps its resources in build/ next to package.json.
    test_env::TempHome t;
    const std::string proj = t.path("home/src/electron");
    write(proj + "/package.json", "{}");
    write(proj + "/build/icon.icns");
    const evidence::Verdict v = judged(proj + "/build");
    EXPECT_EQ(v.level, SafetyLevel::Caution) << dump(v);
}

TEST(Evidence, CMakeListsCountsOnlyWithTheCacheInside) {
    test_env::TempHome t;
    const std::string proj = t.path("home/src/cmake");
    write(proj + "/CMakeLists.txt");
    write(proj + "/build/notes.txt");
    EXPECT_EQ(judged(proj + "/build").level, SafetyLevel::Caution);
    write(proj + "/build/CMakeCache.txt");
    const evidence::Verdict v = judged(proj + "/build");
    EXPECT_EQ(v.level, SafetyLevel::Safe) << dump(v);
    EXPECT_TRUE(says(v, "beside %s:CMakeLists.txt"));
    EXPECT_TRUE(says(v, "marked by %s:CMakeCache.txt"));
}

TEST(Evidence, EveryMarkerItsToolWritesProvesItsFolder) {
    struct Case {
        const char* folder;
        const char* marker;
        std::string content;
    };
    const Case cases[] = {
        {"target", "CACHEDIR.TAG", CACHEDIR_SIGNATURE + "# cargo\n"},
        {"target", ".rustc_info.json", "{}"},
        {"node_modules", ".package-lock.json", "{}"},
        {"node_modules", ".modules.yaml", "x"},
        {"node_modules", ".yarn-integrity", "x"},
        {"node_modules", ".yarn-state.yml", "x"},
        {"build", "CMakeCache.txt", "x"},
        {".pytest_cache", "CACHEDIR.TAG", CACHEDIR_SIGNATURE},
        {"out", "CACHEDIR.TAG", CACHEDIR_SIGNATURE},
    };
    test_env::TempHome t;
    int n = 0;
    for (const Case& c : cases) {
        const std::string proj = t.path("home/src/m" + std::to_string(n++));
        write(proj + "/" + c.folder + "/" + c.marker, c.content);
        const evidence::Verdict v = judged(proj + "/" + c.folder);
        EXPECT_EQ(v.level, SafetyLevel::Safe) << c.folder << " with " << c.marker << " " << dump(v);
        EXPECT_TRUE(says(v, std::string("marked by %s:") + c.marker)) << dump(v);
    }
}

TEST(Evidence, ACacheTagWithoutItsSignatureIsNoMarker) {
    test_env::TempHome t;
    const std::string proj = t.path("home/src/x");
    write(proj + "/target/CACHEDIR.TAG", "I am not a cache\n");
    const evidence::Verdict v = judged(proj + "/target");
    EXPECT_EQ(v.level, SafetyLevel::Caution) << dump(v);
    EXPECT_FALSE(says(v, "marked by %s:CACHEDIR.TAG"));
}

TEST(Evidence, AMarkerThatIsALinkIsNoMarker) {
    test_env::TempHome t;
    const std::string proj = t.path("home/src/x");
    write(proj + "/real.json", "{}");
    fs_fixture::make_dirs(proj + "/node_modules");
    fs_fixture::make_link(proj + "/real.json", proj + "/node_modules/.package-lock.json");
    EXPECT_EQ(judged(proj + "/node_modules").level, SafetyLevel::Caution);
}

TEST(Evidence, OutCountsBesideATsconfigOnlyWhenItNamesOutAsItsOutput) {
    test_env::TempHome t;
    const std::string yes = t.path("home/src/ts-yes");
    write(yes + "/tsconfig.json",
          "{\n  // the build\n  \"compilerOptions\": {\n    \"outDir\" : \"./out/\"\n  }\n}\n");
    write(yes + "/out/index.js");
    EXPECT_EQ(judged(yes + "/out").level, SafetyLevel::Safe);

    const std::string other = t.path("home/src/ts-dist");
    write(other + "/tsconfig.json", "{\"compilerOptions\": {\"outDir\": \"dist\"}}");
    write(other + "/out/figure.png");
    EXPECT_EQ(judged(other + "/out").level, SafetyLevel::Caution);

    const std::string commented = t.path("home/src/ts-commented");
    write(commented + "/tsconfig.json",
          "{\"compilerOptions\": {\n// \"outDir\": \"out\",\n\"outDir\": \"lib\"}}");
    write(commented + "/out/figure.png");
    EXPECT_EQ(judged(commented + "/out").level, SafetyLevel::Caution);
}

// ---------------------------------------------------------------------------
// Content
// ---------------------------------------------------------------------------

TEST(Evidence, APycacheOfBytecodeOnlyIsSafe) {
    test_env::TempHome t;
    const std::string pkg = t.path("home/src/tool/pkg");
    write(pkg + "/__init__.py");
    write(pkg + "/__pycache__/__init__.cpython-311.pyc");
    write(pkg + "/__pycache__/mod.cpython-311.opt-1.pyc");
    const evidence::Verdict v = judged(pkg + "/__pycache__");
    EXPECT_EQ(v.level, SafetyLevel::Safe) << dump(v);
    EXPECT_EQ(said(v), std::vector<std::string>{"Holds only what its tool writes"});
}

TEST(Evidence, APycacheWithAStrayFileIsRisky) {
    test_env::TempHome t;
    const std::string pkg = t.path("home/src/tool/pkg");
    write(pkg + "/__pycache__/mod.cpython-311.pyc");
    write(pkg + "/__pycache__/notes.txt", "mine\n");
    const evidence::Verdict v = judged(pkg + "/__pycache__");
    EXPECT_EQ(v.level, SafetyLevel::Risky) << dump(v);
    EXPECT_EQ(said(v).front(), "Holds files its tool does not write");
}

TEST(Evidence, OtherPythonCachesMayHoldOnlyWhatTheirToolWrites) {
    test_env::TempHome t;
    const std::string proj = t.path("home/src/py");
    write(proj + "/.mypy_cache/3.11/mod.data.json");
    write(proj + "/.mypy_cache/CACHEDIR.TAG", CACHEDIR_SIGNATURE);
    write(proj + "/.mypy_cache/.gitignore", "*\n");
    EXPECT_EQ(judged(proj + "/.mypy_cache").level, SafetyLevel::Safe);
    write(proj + "/.ruff_cache/0.4.1/123");
    write(proj + "/.ruff_cache/results.csv", "mine\n");
    const evidence::Verdict v = judged(proj + "/.ruff_cache");
    EXPECT_EQ(v.level, SafetyLevel::Risky) << dump(v);
}

TEST(Evidence, AVenvIsAnArtefactOnlyWithItsConfigFile) {
    test_env::TempHome t;
    const std::string proj = t.path("home/src/py");
    write(proj + "/.venv/pyvenv.cfg", "home = /usr/bin\n");
    write(proj + "/venv/__init__.py");
    EXPECT_TRUE(is_artefact(proj, ".venv"));
    EXPECT_FALSE(is_artefact(proj, "venv"));
    // Kinds that need no marker always are.
    write(proj + "/build/x");
    EXPECT_TRUE(is_artefact(proj, "build"));
    EXPECT_EQ(judged(proj + "/.venv").level, SafetyLevel::Safe); // the row keeps it at Caution
}

// ---------------------------------------------------------------------------
// Places
// ---------------------------------------------------------------------------

TEST(Evidence, NothingUnderDocumentsIsSafe) {
    test_env::TempHome t;
    const std::string thesis = t.path("home/Documents/thesis");
    write(thesis + "/thesis.iml");
    write(thesis + "/out/figure-1.pdf");
    const evidence::Verdict v = judged(thesis + "/out");
    EXPECT_EQ(v.level, SafetyLevel::Caution) << dump(v);
    EXPECT_TRUE(says(v, "Inside your documents folder"));
}

TEST(Evidence, TheDocumentsFolderTheDesktopNamesCountsToo) {
    test_env::TempHome t;
    write(t.path("home/.config/user-dirs.dirs"), "XDG_DOCUMENTS_DIR=\"$HOME/Dokumente\"\n");
    const std::string thesis = t.path("home/Dokumente/arbeit");
    write(thesis + "/Cargo.toml");
    write(thesis + "/target/x");
    const evidence::Verdict v = judged(thesis + "/target");
    EXPECT_EQ(v.level, SafetyLevel::Caution) << dump(v);
    EXPECT_TRUE(says(v, "Inside your documents folder"));
}

TEST(Evidence, NothingInsideAHiddenFolderOfTheHomeIsSafe) {
    test_env::TempHome t;
    const std::string ext = t.path("home/.vscode/extensions/some.ext-1.0");
    write(ext + "/package.json", "{}");
    write(ext + "/node_modules/.package-lock.json", "{}");
    const evidence::Verdict v = judged(ext + "/node_modules");
    EXPECT_EQ(v.level, SafetyLevel::Caution) << dump(v);
    EXPECT_TRUE(says(v, "Inside a hidden folder of your home"));
    // A hidden folder further down a project is no such place.
    const std::string proj = t.path("home/src/app/.tools");
    write(proj + "/package.json", "{}");
    write(proj + "/node_modules/x");
    EXPECT_EQ(judged(proj + "/node_modules").level, SafetyLevel::Safe);
}

TEST(Evidence, AFolderThatVanishedIsNotSafe) {
    test_env::TempHome t;
    const evidence::Verdict v = judged(t.path("home/src/gone/build"));
    EXPECT_NE(v.level, SafetyLevel::Safe) << dump(v);
}

TEST(Evidence, EveryRowOfTheTableNamesAFolderAndSomethingToLookFor) {
    for (const ArtefactRule& r : catalog::artefact_rules()) {
        EXPECT_FALSE(r.name.empty());
        EXPECT_TRUE(!r.beside.empty() || !r.inside.empty() || !r.only.empty()) << r.name;
        EXPECT_TRUE(!r.required || !r.inside.empty() || !r.beside.empty()) << r.name;
        EXPECT_TRUE(!r.names_it_as_output || !r.beside.empty()) << r.name;
        // Every named kind is one the project search looks for.
        if (r.name != "*") {
            const auto& claimed = catalog::recursive_claimed();
            EXPECT_NE(std::find(claimed.begin(), claimed.end(), r.name), claimed.end()) << r.name;
        }
    }
}

// ---------------------------------------------------------------------------
// The last look before deleting
// ---------------------------------------------------------------------------

TEST(Evidence, TheLastLookSeesAFileCommittedAfterTheScan) {
    test_env::TempHome t;
    const std::string app = t.path("home/src/app");
    project_repo(app, "Cargo.toml", "target");
    write(app + "/target/debug/app");

    git_repo::Cache scan; // what the scan saw
    EXPECT_EQ(evidence::judge(app + "/target", scan, false).level, SafetyLevel::Safe);
    EXPECT_EQ(evidence::tracked_now(app + "/target"), nullptr);

    write(app + "/target/deploy.yaml");
    commit(app, "target/deploy.yaml");
    EXPECT_STREQ(evidence::tracked_now(app + "/target"), "Holds files tracked by git");
    // The scan's own cache still says what it read then: only the fresh look knows.
    EXPECT_EQ(scan.facts(app + "/target").tracked, 0);
}

TEST(Evidence, TheLastLookLetsUntrackedAndUnversionedFoldersGo) {
    test_env::TempHome t;
    write(t.path("home/src/plain/build/x"));
    EXPECT_EQ(evidence::tracked_now(t.path("home/src/plain/build")), nullptr);
    EXPECT_EQ(evidence::tracked_now(t.path("home/src/missing")), nullptr);
}
