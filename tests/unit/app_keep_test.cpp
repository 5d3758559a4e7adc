// Which versions a scan keeps: the ones the user's tools are set to use are
// kept (Risky, marked in use, with the setting that keeps them) even when
// they are not the newest, "Safe ones" leaves them alone, and the newest is
// kept where nothing says what is in use, per tool in rows of
// "<tool>/<version>" entries.

#include "app.h"

#include "catalog.h"
#include "fs_fixture.h"
#include "scan_test_util.h"
#include "strutil.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <thread>

using scan_test::wait_for_scan;

using fs_fixture::make_dirs;
using fs_fixture::write_file;

namespace {

void put(const std::string& path, const std::string& text) {
    make_dirs(su::parent_of(path));
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

// A versioned row over a folder of the test's home, as the catalog makes one.
CatState versioned(const std::string& id, const std::string& folder, SafetyLevel safety,
                   bool keep_newest) {
    CatState c;
    c.def.id = id;
    c.def.group = GroupKind::OtherLangs;
    c.def.title = id;
    c.def.path = folder;
    c.def.listing = ListingKind::ChildDirectories;
    c.def.safety = safety;
    c.def.keep_newest = keep_newest;
    return c;
}

// One folder per version, each holding a file so that it has a size.
void install(const std::string& folder, const std::vector<std::string>& names) {
    for (const std::string& n : names)
        write_file(folder + "/" + n + "/bin/tool", 4096);
}

const Item* item(const CatState& c, const std::string& name) {
    for (const Item& it : c.items)
        if (it.name == name)
            return &it;
    return nullptr;
}

// The names of the entries marked with one of the keep marks.
std::vector<std::string> marked(const CatState& c, bool Item::*flag) {
    std::vector<std::string> out;
    for (const Item& it : c.items)
        if (it.*flag)
            out.push_back(it.name);
    std::sort(out.begin(), out.end());
    return out;
}

const std::string STABLE = "stable-x86_64-unknown-linux-gnu";
const std::string NIGHTLY = "nightly-x86_64-unknown-linux-gnu";

} // namespace

// ---------------------------------------------------------------------------
// What the tools use is kept, newest or not
// ---------------------------------------------------------------------------

TEST(AppKeep, RustupsDefaultNightlyIsKeptAndTheNewerStableIsNot) {
    test_env::TempHome home;
    const std::string rustup = home.path("home/.rustup");
    install(rustup + "/toolchains", {STABLE, NIGHTLY, "1.70.0-x86_64-unknown-linux-gnu"});
    put(rustup + "/settings.toml", "default_toolchain = \"" + NIGHTLY + "\"\n");
    App app;
    CatState rust =
        versioned("rustupToolchains", rustup + "/toolchains", SafetyLevel::Caution, true);
    app.scan_category(rust);
    ASSERT_EQ(rust.items.size(), 3u);
    // Without the setting, stable would be the one kept: it sorts newest.
    ASSERT_GT(App::compare_versions(STABLE, NIGHTLY), 0);
    const Item* nightly = item(rust, NIGHTLY);
    ASSERT_NE(nightly, nullptr);
    EXPECT_TRUE(nightly->in_use);
    EXPECT_EQ(nightly->safety, SafetyLevel::Risky);
    EXPECT_FALSE(nightly->keep_hint);
    EXPECT_EQ(app.reasons_line(nightly->reasons), "Set as default in rustup");
    ASSERT_EQ(nightly->reasons.size(), 1u);
    EXPECT_EQ(nightly->reasons[0].weight, SafetyLevel::Risky);
    const Item* stable = item(rust, STABLE);
    ASSERT_NE(stable, nullptr);
    EXPECT_FALSE(stable->in_use);
    EXPECT_FALSE(stable->keep_hint) << "a setting decided; the newest is not kept besides";
    EXPECT_EQ(stable->safety, SafetyLevel::Caution);
    EXPECT_TRUE(stable->reasons.empty());
    EXPECT_TRUE(marked(rust, &Item::keep_hint).empty());
}

TEST(AppKeep, PyenvKeepsTheOldVersionItsVersionFileNamesAmongNine) {
    test_env::TempHome home;
    const std::string root = home.path("home/.pyenv");
    install(root + "/versions", {"3.8.18", "3.9.19", "3.10.14", "3.11.9", "3.12.1", "3.12.4",
                                 "3.13.0", "pypy3.10-7.3.15", "3.7.17"});
    put(root + "/version", "3.9.19\n");
    App app;
    CatState py = versioned("pyenvVersions", root + "/versions", SafetyLevel::Caution, true);
    app.scan_category(py);
    ASSERT_EQ(py.items.size(), 9u);
    EXPECT_EQ(marked(py, &Item::in_use), std::vector<std::string>{"3.9.19"});
    EXPECT_EQ(item(py, "3.9.19")->safety, SafetyLevel::Risky);
    EXPECT_EQ(app.reasons_line(item(py, "3.9.19")->reasons), "Set as default in pyenv");
    EXPECT_TRUE(marked(py, &Item::keep_hint).empty());
    for (const Item& it : py.items)
        if (it.name != "3.9.19") {
            EXPECT_EQ(it.safety, SafetyLevel::Caution) << it.name;
            EXPECT_TRUE(it.reasons.empty()) << it.name;
        }
}

TEST(AppKeep, ARuleThatFindsNothingInUseKeepsTheNewest) {
    test_env::TempHome home;
    const std::string root = home.path("home/.pyenv");
    install(root + "/versions", {"3.8.18", "3.12.4", "3.11.9"});
    put(root + "/version", "system\n");
    App app;
    CatState py = versioned("pyenvVersions", root + "/versions", SafetyLevel::Caution, true);
    app.scan_category(py);
    EXPECT_TRUE(marked(py, &Item::in_use).empty());
    EXPECT_EQ(marked(py, &Item::keep_hint), std::vector<std::string>{"3.12.4"});
    EXPECT_EQ(item(py, "3.12.4")->safety, SafetyLevel::Risky);
    EXPECT_TRUE(item(py, "3.12.4")->reasons.empty());
}

TEST(AppKeep, ARowWithoutARuleKeepsTheNewestWhateverTheFilesSay) {
    test_env::TempHome home;
    const std::string ndk = home.path("home/Android/Sdk/ndk");
    install(ndk, {"25.2.9519653", "26.1.10909125", "23.1.7779620"});
    App app;
    app.m_project_pin_files = {home.path("home/code/a/build.gradle")};
    put(home.path("home/code/a/build.gradle"), "android { ndkVersion \"23.1.7779620\" }\n");
    CatState row = versioned("androidNdk", ndk, SafetyLevel::Caution, true);
    app.scan_category(row);
    EXPECT_TRUE(marked(row, &Item::in_use).empty());
    EXPECT_EQ(marked(row, &Item::keep_hint), std::vector<std::string>{"26.1.10909125"});
}

TEST(AppKeep, ARowWithoutKeepNewestMarksOnlyWhatIsInUse) {
    test_env::TempHome home;
    const std::string dists = home.path("home/.gradle/wrapper/dists");
    install(dists, {"gradle-8.5-bin", "gradle-8.7-bin", "gradle-7.6-all"});
    App app;
    CatState row = versioned("gradleDists", dists, SafetyLevel::Safe, false);
    app.scan_category(row);
    EXPECT_TRUE(marked(row, &Item::in_use).empty());
    EXPECT_TRUE(marked(row, &Item::keep_hint).empty()) << "no project names one, none is kept";
    for (const Item& it : row.items)
        EXPECT_EQ(it.safety, SafetyLevel::Safe) << it.name;
}

// ---------------------------------------------------------------------------
// "Safe ones" and the projects that use a version
// ---------------------------------------------------------------------------

TEST(AppKeep, SafeOnesLeavesAWrapperDistributionThreeProjectsUseAlone) {
    test_env::TempHome home;
    const std::string h = home.path("home");
    const std::string dists = h + "/.gradle/wrapper/dists";
    install(dists, {"gradle-8.5-bin", "gradle-8.7-bin", "gradle-7.6-all", "gradle-6.9-bin"});
    App app;
    for (const char* p : {"shop", "blog", "api"}) {
        const std::string f = h + "/code/" + p + "/gradle/wrapper/gradle-wrapper.properties";
        put(f, "distributionUrl=https\\://services.gradle.org/distributions/gradle-7.6-all.zip\n");
        app.m_project_pin_files.push_back(f);
    }
    const std::string one = h + "/code/old/gradle/wrapper/gradle-wrapper.properties";
    put(one, "distributionUrl=https\\://services.gradle.org/distributions/gradle-6.9-bin.zip\n");
    app.m_project_pin_files.push_back(one);
    // Files of other tools in the same list say nothing to this row.
    put(h + "/code/shop/.nvmrc", "gradle-8.5-bin\n");
    app.m_project_pin_files.push_back(h + "/code/shop/.nvmrc");

    CatState row = versioned("gradleDists", dists, SafetyLevel::Safe, false);
    app.scan_category(row);
    EXPECT_EQ(marked(row, &Item::in_use),
              (std::vector<std::string>{"gradle-6.9-bin", "gradle-7.6-all"}));
    EXPECT_EQ(app.reasons_line(item(row, "gradle-7.6-all")->reasons), "Used by 3 projects");
    EXPECT_EQ(item(row, "gradle-7.6-all")->reasons[0].count, 3);
    EXPECT_EQ(app.reasons_line(item(row, "gradle-6.9-bin")->reasons), "Used by one project");
    EXPECT_EQ(item(row, "gradle-7.6-all")->safety, SafetyLevel::Risky);

    app.select_all_safe(row);
    EXPECT_FALSE(item(row, "gradle-7.6-all")->selected);
    EXPECT_FALSE(item(row, "gradle-6.9-bin")->selected);
    EXPECT_TRUE(item(row, "gradle-8.5-bin")->selected);
    EXPECT_TRUE(item(row, "gradle-8.7-bin")->selected);
}

TEST(AppKeep, SafeOnesNeverTicksAnEntryInUseEvenIfItWereSafe) {
    test_env::TempHome home;
    App app;
    CatState c = versioned("gradleDists", home.path("nowhere"), SafetyLevel::Safe, false);
    for (int i = 0; i < 3; ++i) {
        Item it;
        it.name = "gradle-8." + std::to_string(i) + "-bin";
        it.path = c.def.path + "/" + it.name;
        it.safety = SafetyLevel::Safe;
        it.in_use = i == 1;
        c.items.push_back(it);
    }
    app.select_all_safe(c);
    EXPECT_TRUE(c.items[0].selected);
    EXPECT_FALSE(c.items[1].selected);
    EXPECT_TRUE(c.items[2].selected);
}

TEST(AppKeep, EverySettingThatKeepsAnEntryIsNamed) {
    test_env::TempHome home;
    const std::string h = home.path("home");
    const std::string rustup = h + "/.rustup";
    const std::string dated = "nightly-2024-05-01-x86_64-unknown-linux-gnu";
    install(rustup + "/toolchains", {STABLE, NIGHTLY, dated});
    put(rustup + "/settings.toml", "default_toolchain = \"stable\"\n\n[overrides]\n"
                                   "\"/home/dev/old\" = \"nightly-2024-05-01\"\n");
    App app;
    for (const char* p : {"a", "b"}) {
        put(h + "/code/" + p + "/rust-toolchain.toml", "[toolchain]\nchannel = \"stable\"\n");
        app.m_project_pin_files.push_back(h + "/code/" + p + "/rust-toolchain.toml");
    }
    CatState rust =
        versioned("rustupToolchains", rustup + "/toolchains", SafetyLevel::Caution, true);
    app.scan_category(rust);
    EXPECT_EQ(app.reasons_line(item(rust, STABLE)->reasons),
              "Set as default in rustup · Used by 2 projects");
    EXPECT_EQ(app.reasons_line(item(rust, dated)->reasons), "Set for a folder in rustup");
    EXPECT_FALSE(item(rust, NIGHTLY)->in_use) << "nightly is not the dated nightly";
    EXPECT_EQ(item(rust, NIGHTLY)->safety, SafetyLevel::Caution);
}

// ---------------------------------------------------------------------------
// Rows of "<tool>/<version>": the newest per tool
// ---------------------------------------------------------------------------

TEST(AppKeep, TwoLevelRowsKeepTheNewestOfEachTool) {
    test_env::TempHome home;
    App app;
    CatState c = versioned("someInstalls", home.path("nowhere"), SafetyLevel::Caution, true);
    for (const char* n : {"java/17.0.9-tem", "java/21.0.1-tem", "java/11.0.21-tem", "gradle/8.5",
                          "gradle/8.10", "maven/3.9.6"}) {
        Item it;
        it.name = n;
        it.path = c.def.path + "/" + n;
        it.safety = SafetyLevel::Caution;
        c.items.push_back(it);
    }
    app.apply_keep_rules(c);
    EXPECT_EQ(marked(c, &Item::keep_hint),
              (std::vector<std::string>{"gradle/8.10", "java/21.0.1-tem", "maven/3.9.6"}));
    for (const Item& it : c.items)
        EXPECT_EQ(it.safety, it.keep_hint ? SafetyLevel::Risky : SafetyLevel::Caution) << it.name;
}

TEST(AppKeep, ATwoLevelToolWithOneInUseKeepsThatOneAndTheOthersTheirNewest) {
    test_env::TempHome home;
    const std::string c = home.path("home/.sdkman/candidates");
    install(c, {"java/17.0.9-tem", "java/21.0.1-tem", "gradle/8.5", "gradle/8.7"});
    fs_fixture::make_link("17.0.9-tem", c + "/java/current");
    App app;
    CatState row = versioned("sdkmanCandidates", c, SafetyLevel::Caution, true);
    // The listing of two levels is the catalog's; the entries are as it names them.
    for (const char* n : {"java/17.0.9-tem", "java/21.0.1-tem", "gradle/8.5", "gradle/8.7"}) {
        Item it;
        it.name = n;
        it.path = c + "/" + n;
        it.safety = SafetyLevel::Caution;
        row.items.push_back(it);
    }
    app.apply_keep_rules(row);
    EXPECT_EQ(marked(row, &Item::in_use), std::vector<std::string>{"java/17.0.9-tem"});
    EXPECT_EQ(app.reasons_line(item(row, "java/17.0.9-tem")->reasons), "Set as default in SDKMAN");
    EXPECT_EQ(marked(row, &Item::keep_hint), std::vector<std::string>{"gradle/8.7"});
    EXPECT_EQ(item(row, "java/21.0.1-tem")->safety, SafetyLevel::Caution);
}

// ---------------------------------------------------------------------------
// Through a whole scan
// ---------------------------------------------------------------------------

TEST(AppKeep, AFullScanKeepsTheToolchainAProjectUses) {
    test_env::TempHome home;
    const std::string h = home.path("home");
    const std::string old = "1.70.0-x86_64-unknown-linux-gnu";
    install(h + "/.rustup/toolchains", {STABLE, old});
    put(h + "/code/legacy/rust-toolchain", "1.70.0\n");
    App app;
    app.start_scan(); // the project's file is found by the walk of the projects folder
    ASSERT_TRUE(wait_for_scan(app));
    const CatState* rust = nullptr;
    for (const CatState& c : app.m_cats)
        if (c.def.id == "rustupToolchains")
            rust = &c;
    ASSERT_NE(rust, nullptr);
    ASSERT_EQ(rust->items.size(), 2u);
    EXPECT_TRUE(item(*rust, old)->in_use);
    EXPECT_EQ(item(*rust, old)->safety, SafetyLevel::Risky);
    EXPECT_EQ(app.reasons_line(item(*rust, old)->reasons), "Used by one project");
    EXPECT_FALSE(item(*rust, STABLE)->in_use);
    EXPECT_FALSE(item(*rust, STABLE)->keep_hint);
    EXPECT_TRUE(item(*rust, STABLE)->size_known);
}
