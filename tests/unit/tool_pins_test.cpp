// What the user's tools are set to use: each tool's settings and project
// files read from a private home, with comments, stray whitespace, CRLF
// line ends, missing files and damaged ones; rustup's channel names against
// toolchain folders; a version prefix resolved to the newest installed match.

#include "tool_pins.h"

#include "fs_fixture.h"
#include "strutil.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <sys/stat.h>
#include <vector>

using fs_fixture::make_dirs;
using fs_fixture::make_link;
using tool_pins::Pin;
using tool_pins::Query;

namespace {

void put(const std::string& path, const std::string& text) {
    make_dirs(su::parent_of(path));
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

// A row's folder with one subfolder per name, and the query for it.
Query row(const std::string& id, const std::string& folder, const std::vector<std::string>& names,
          const test_env::TempHome& home) {
    for (const std::string& n : names)
        make_dirs(folder + "/" + n);
    Query q;
    q.row_id = id;
    q.folder = folder;
    q.names = names;
    q.home = home.path("home");
    return q;
}

// The names of the pins, in their order.
std::vector<std::string> names_of(const std::vector<Pin>& pins) {
    std::vector<std::string> out;
    for (const Pin& p : pins)
        out.push_back(p.name);
    return out;
}

const Pin* pin(const std::vector<Pin>& pins, const std::string& name) {
    for (const Pin& p : pins)
        if (p.name == name)
            return &p;
    return nullptr;
}

// Bytes no tool writes: NULs and high bytes.
std::string binary_junk() {
    std::string s;
    for (int i = 0; i < 600; ++i)
        s += static_cast<char>((i * 37) % 256);
    return s;
}

// A 10 MB file that starts like a good one.
void put_huge(const std::string& path, const std::string& head) {
    make_dirs(su::parent_of(path));
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << head;
    const std::string line(1023, 'x');
    for (int i = 0; i < 10 * 1024; ++i)
        out << line << '\n';
}

const std::vector<std::string> RUST = {
    "stable-x86_64-unknown-linux-gnu",
    "nightly-x86_64-unknown-linux-gnu",
    "nightly-2024-05-01-x86_64-unknown-linux-gnu",
    "1.78.0-x86_64-unknown-linux-gnu",
    "1.78-x86_64-unknown-linux-gnu",
};

} // namespace

// ---------------------------------------------------------------------------
// The table and the file names
// ---------------------------------------------------------------------------

TEST(ToolPinsTable, EveryRuledRowHasItsToolAndOthersHaveNone) {
    EXPECT_STREQ(tool_pins::tool_of("rustupToolchains"), "rustup");
    EXPECT_STREQ(tool_pins::tool_of("pyenvVersions"), "pyenv");
    EXPECT_STREQ(tool_pins::tool_of("nvmNode"), "nvm");
    EXPECT_STREQ(tool_pins::tool_of("sdkmanCandidates"), "SDKMAN");
    EXPECT_STREQ(tool_pins::tool_of("asdfInstalls"), "asdf");
    EXPECT_STREQ(tool_pins::tool_of("miseInstalls"), "mise");
    EXPECT_NE(tool_pins::tool_of("gradleDists"), nullptr);
    EXPECT_NE(tool_pins::tool_of("androidPlatforms"), nullptr);
    EXPECT_NE(tool_pins::tool_of("androidBuildTools"), nullptr);
    EXPECT_EQ(tool_pins::tool_of("androidNdk"), nullptr);
    EXPECT_EQ(tool_pins::tool_of("gradleCaches"), nullptr);
    EXPECT_EQ(tool_pins::tool_of(""), nullptr);
}

TEST(ToolPinsTable, ProjectFilesAreKnownByTheirExactNames) {
    for (const char* n :
         {"rust-toolchain", "rust-toolchain.toml", ".python-version", ".nvmrc", ".tool-versions",
          "gradle-wrapper.properties", "build.gradle", "build.gradle.kts"})
        EXPECT_TRUE(tool_pins::is_project_file(n)) << n;
    for (const char* n : {"", "rust-toolchain.yml", ".nvmrc.bak", "Build.gradle", "settings.gradle",
                          "python-version", "gradle.properties", "package.json"})
        EXPECT_FALSE(tool_pins::is_project_file(n)) << n;
    EXPECT_FALSE(tool_pins::is_project_file(nullptr));
}

TEST(ToolPinsTable, ARowWithoutARuleOrWithoutEntriesPinsNothing) {
    test_env::TempHome home;
    const std::string h = home.path("home");
    put(h + "/.rustup/settings.toml", "default_toolchain = \"stable\"\n");
    Query q = row("androidNdk", h + "/.rustup/toolchains", RUST, home);
    EXPECT_TRUE(tool_pins::find(q).empty());
    q.row_id = "rustupToolchains";
    q.names.clear();
    EXPECT_TRUE(tool_pins::find(q).empty());
}

// ---------------------------------------------------------------------------
// Reading small files
// ---------------------------------------------------------------------------

TEST(ToolPinsRead, MissingHugeBinaryAndSpecialFilesReadAsNothing) {
    test_env::TempHome home;
    const std::string d = home.path("files");
    put(d + "/ok", "stable\n");
    EXPECT_EQ(tool_pins::read_small_file(d + "/ok"), "stable\n");
    EXPECT_EQ(tool_pins::read_small_file(d + "/missing"), "");
    EXPECT_EQ(tool_pins::read_small_file(""), "");
    EXPECT_EQ(tool_pins::read_small_file(d), "") << "a folder is no file";
    put(d + "/binary", binary_junk());
    EXPECT_EQ(tool_pins::read_small_file(d + "/binary"), "");
    put_huge(d + "/huge", "stable\n");
    EXPECT_EQ(tool_pins::read_small_file(d + "/huge"), "");
    put(d + "/limit", std::string(tool_pins::READ_LIMIT, 'a'));
    EXPECT_EQ(tool_pins::read_small_file(d + "/limit").size(), tool_pins::READ_LIMIT);
    put(d + "/over", std::string(tool_pins::READ_LIMIT + 1, 'a'));
    EXPECT_EQ(tool_pins::read_small_file(d + "/over"), "");
    // A FIFO where a version file is expected does not block the reader.
    ASSERT_EQ(mkfifo((d + "/fifo").c_str(), 0600), 0);
    EXPECT_EQ(tool_pins::read_small_file(d + "/fifo"), "");
}

// ---------------------------------------------------------------------------
// rustup
// ---------------------------------------------------------------------------

TEST(ToolPinsRustup, AChannelNamesItsFolderWithAHostTriple) {
    using tool_pins::channel_names_toolchain;
    EXPECT_TRUE(channel_names_toolchain("stable", "stable-x86_64-unknown-linux-gnu"));
    EXPECT_TRUE(channel_names_toolchain("stable", "stable"));
    EXPECT_TRUE(channel_names_toolchain("stable", "stable-aarch64-unknown-linux-gnu"));
    EXPECT_TRUE(channel_names_toolchain("1.78.0", "1.78.0-x86_64-unknown-linux-gnu"));
    EXPECT_TRUE(channel_names_toolchain("nightly-2024-05-01",
                                        "nightly-2024-05-01-x86_64-unknown-linux-gnu"));
    EXPECT_TRUE(channel_names_toolchain("stable-x86_64-unknown-linux-gnu",
                                        "stable-x86_64-unknown-linux-gnu"));
    EXPECT_FALSE(channel_names_toolchain("", "stable-x86_64-unknown-linux-gnu"));
    EXPECT_FALSE(channel_names_toolchain("stable", "nightly-x86_64-unknown-linux-gnu"));
    EXPECT_FALSE(channel_names_toolchain("stable", "stable-"));
    EXPECT_FALSE(channel_names_toolchain("stable", "stablex-x86_64-unknown-linux-gnu"));
    EXPECT_FALSE(channel_names_toolchain("stable", "stable-mine")) << "a custom name, no triple";
}

TEST(ToolPinsRustup, NightlyDoesNotClaimADatedNightly) {
    using tool_pins::channel_names_toolchain;
    EXPECT_TRUE(channel_names_toolchain("nightly", "nightly-x86_64-unknown-linux-gnu"));
    EXPECT_FALSE(channel_names_toolchain("nightly", "nightly-2024-05-01-x86_64-unknown-linux-gnu"));
    EXPECT_FALSE(channel_names_toolchain("beta", "beta-2024-04-20-x86_64-unknown-linux-gnu"));
    // And the other way round: a dated nightly is not the undated one.
    EXPECT_FALSE(channel_names_toolchain("nightly-2024-05-01", "nightly-x86_64-unknown-linux-gnu"));
    // "1.78" is a toolchain of its own, not a prefix of "1.78.0".
    EXPECT_FALSE(channel_names_toolchain("1.78", "1.78.0-x86_64-unknown-linux-gnu"));
    EXPECT_TRUE(channel_names_toolchain("1.78", "1.78-x86_64-unknown-linux-gnu"));
}

TEST(ToolPinsRustup, TheDefaultAndTheOverridesOfSettingsToml) {
    test_env::TempHome home;
    const std::string h = home.path("home");
    put(h + "/.rustup/settings.toml",
        "# written by rustup\r\n"
        "version = \"12\"\r\n"
        "  default_toolchain   =   \"nightly\"   # the default\r\n"
        "profile = \"default\"\r\n"
        "\r\n"
        "[overrides]\r\n"
        "\"/home/dev/old-crate\" = \"nightly-2024-05-01-x86_64-unknown-linux-gnu\"\r\n"
        "'/home/dev/pinned' = \"1.78.0\"\r\n");
    const std::vector<Pin> pins =
        tool_pins::find(row("rustupToolchains", h + "/.rustup/toolchains", RUST, home));
    EXPECT_EQ(names_of(pins), (std::vector<std::string>{
                                  "nightly-x86_64-unknown-linux-gnu",
                                  "nightly-2024-05-01-x86_64-unknown-linux-gnu",
                                  "1.78.0-x86_64-unknown-linux-gnu",
                              }));
    const Pin* def = pin(pins, "nightly-x86_64-unknown-linux-gnu");
    ASSERT_NE(def, nullptr);
    EXPECT_TRUE(def->by_default);
    EXPECT_FALSE(def->by_folder);
    EXPECT_EQ(def->projects, 0);
    const Pin* folder = pin(pins, "nightly-2024-05-01-x86_64-unknown-linux-gnu");
    ASSERT_NE(folder, nullptr);
    EXPECT_FALSE(folder->by_default);
    EXPECT_TRUE(folder->by_folder);
}

TEST(ToolPinsRustup, AnOverrideTableKeyIsNotTheDefault) {
    test_env::TempHome home;
    const std::string h = home.path("home");
    // "default_toolchain" inside [overrides] would be a folder's setting, and
    // one under another table is nobody's default.
    put(h + "/.rustup/settings.toml", "[other]\ndefault_toolchain = \"stable\"\n");
    EXPECT_TRUE(
        tool_pins::find(row("rustupToolchains", h + "/.rustup/toolchains", RUST, home)).empty());
}

TEST(ToolPinsRustup, ProjectToolchainFilesLegacyAndToml) {
    test_env::TempHome home;
    const std::string h = home.path("home");
    Query q = row("rustupToolchains", h + "/.rustup/toolchains", RUST, home);
    put(h + "/code/a/rust-toolchain", "  1.78.0  \r\n");
    put(h + "/code/b/rust-toolchain.toml",
        "# pinned for the release\n[toolchain]\nchannel = \"1.78.0\" # stay\ncomponents = "
        "[\"clippy\"]\n");
    put(h + "/code/c/rust-toolchain", "[toolchain]\nchannel = \"nightly-2024-05-01\"\n");
    put(h + "/code/d/rust-toolchain.toml", "[package]\nchannel = \"stable\"\n");
    put(h + "/code/e/rust-toolchain", "stable nightly\n");
    q.project_files = {h + "/code/a/rust-toolchain", h + "/code/b/rust-toolchain.toml",
                       h + "/code/c/rust-toolchain", h + "/code/d/rust-toolchain.toml",
                       h + "/code/e/rust-toolchain", h + "/code/missing/rust-toolchain",
                       h + "/code/a/.nvmrc"};
    const std::vector<Pin> pins = tool_pins::find(q);
    EXPECT_EQ(names_of(pins), (std::vector<std::string>{
                                  "nightly-2024-05-01-x86_64-unknown-linux-gnu",
                                  "1.78.0-x86_64-unknown-linux-gnu",
                              }));
    EXPECT_EQ(pin(pins, "1.78.0-x86_64-unknown-linux-gnu")->projects, 2);
    EXPECT_FALSE(pin(pins, "1.78.0-x86_64-unknown-linux-gnu")->by_default);
    EXPECT_EQ(pin(pins, "nightly-2024-05-01-x86_64-unknown-linux-gnu")->projects, 1);
}

TEST(ToolPinsRustup, DamagedSettingsPinNothingAndNeverCrash) {
    test_env::TempHome home;
    const std::string h = home.path("home");
    Query q = row("rustupToolchains", h + "/.rustup/toolchains", RUST, home);
    // Nothing there at all.
    EXPECT_TRUE(tool_pins::find(q).empty());
    // Cut off in the middle of a string, and a table header left open.
    put(h + "/.rustup/settings.toml", "version = \"12\"\ndefault_toolchain = \"stab");
    EXPECT_TRUE(tool_pins::find(q).empty());
    put(h + "/.rustup/settings.toml", "[overrides\n\"/x\" = \"stable\"\n");
    EXPECT_TRUE(tool_pins::find(q).empty());
    put(h + "/.rustup/settings.toml", "default_toolchain = \"\"\"stable\"\"\"\n");
    EXPECT_TRUE(tool_pins::find(q).empty());
    put(h + "/.rustup/settings.toml", binary_junk() + "\ndefault_toolchain = \"stable\"\n");
    EXPECT_TRUE(tool_pins::find(q).empty());
    put_huge(h + "/.rustup/settings.toml", "default_toolchain = \"stable\"\n");
    EXPECT_TRUE(tool_pins::find(q).empty());
    put(h + "/code/x/rust-toolchain.toml", "[toolchain]\nchannel = \"1.78.0");
    put_huge(h + "/code/y/rust-toolchain", "1.78.0\n");
    q.project_files = {h + "/code/x/rust-toolchain.toml", h + "/code/y/rust-toolchain"};
    EXPECT_TRUE(tool_pins::find(q).empty());
    // A good file beside the damaged ones still counts.
    put(h + "/.rustup/settings.toml", "default_toolchain = \"stable\"\n");
    EXPECT_EQ(names_of(tool_pins::find(q)),
              std::vector<std::string>{"stable-x86_64-unknown-linux-gnu"});
}

// ---------------------------------------------------------------------------
// Versions by prefix
// ---------------------------------------------------------------------------

TEST(ToolPinsResolve, APrefixNamesTheNewestInstalledMatch) {
    const std::vector<std::string> names = {"3.12.1",  "3.12.10",    "3.12.4", "3.11.9",
                                            "3.120.0", "3.12.11rc1", "3.13.0"};
    EXPECT_EQ(tool_pins::resolve_version("3.12", names), "3.12.10");
    EXPECT_EQ(tool_pins::resolve_version("3.11", names), "3.11.9");
    EXPECT_EQ(tool_pins::resolve_version("3", names), "3.120.0");
    EXPECT_EQ(tool_pins::resolve_version("3.12.4", names), "3.12.4") << "an exact name";
    EXPECT_EQ(tool_pins::resolve_version("3.1", names), "") << "3.12 does not continue 3.1";
    EXPECT_EQ(tool_pins::resolve_version("3.10", names), "");
    EXPECT_EQ(tool_pins::resolve_version("", names), "");
    EXPECT_EQ(tool_pins::resolve_version("3.12", {"3.12.0rc1", "3.12.0b2"}), "3.12.0rc1")
        << "without a release, the newest pre-release";
    EXPECT_EQ(tool_pins::resolve_version("v20", {"v20.9.0", "v20.11.1", "v18.19.0"}), "v20.11.1");
}

// ---------------------------------------------------------------------------
// pyenv
// ---------------------------------------------------------------------------

TEST(ToolPinsPyenv, TheGlobalVersionFileWithCommentsSystemAndSeveralNames) {
    test_env::TempHome home;
    const std::string root = home.path("home/.pyenv");
    const Query q =
        row("pyenvVersions", root + "/versions", {"3.8.18", "3.11.9", "3.12.1", "3.12.4"}, home);
    put(root + "/version",
        "# the default interpreter\r\n  3.11.9  \r\nsystem\r\n3.12 # newest\r\n");
    const std::vector<Pin> pins = tool_pins::find(q);
    EXPECT_EQ(names_of(pins), (std::vector<std::string>{"3.11.9", "3.12.4"}));
    EXPECT_TRUE(pin(pins, "3.11.9")->by_default);
    EXPECT_EQ(pin(pins, "3.11.9")->projects, 0);
}

TEST(ToolPinsPyenv, SystemAloneAndAMissingFilePinNothing) {
    test_env::TempHome home;
    const std::string root = home.path("home/.pyenv");
    const Query q = row("pyenvVersions", root + "/versions", {"3.11.9", "3.12.4"}, home);
    EXPECT_TRUE(tool_pins::find(q).empty());
    put(root + "/version", "system\n");
    EXPECT_TRUE(tool_pins::find(q).empty());
    put(root + "/version", "3.9\n../3.12.4\n");
    EXPECT_TRUE(tool_pins::find(q).empty());
    put(root + "/version", binary_junk());
    EXPECT_TRUE(tool_pins::find(q).empty());
    put_huge(root + "/version", "3.11.9\n");
    EXPECT_TRUE(tool_pins::find(q).empty());
}

TEST(ToolPinsPyenv, ProjectsPythonVersionFilesAreCountedPerProject) {
    test_env::TempHome home;
    const std::string root = home.path("home/.pyenv");
    Query q = row("pyenvVersions", root + "/versions", {"3.8.18", "3.11.9", "3.12.4"}, home);
    const std::string code = home.path("home/code");
    put(code + "/a/.python-version", "3.8.18\n");
    put(code + "/b/.python-version", "3.8\r\n");
    put(code + "/c/.python-version", "# legacy\n3.8.18 3.11.9\n");
    put(code + "/d/.python-version", "");
    q.project_files = {code + "/a/.python-version", code + "/b/.python-version",
                       code + "/c/.python-version", code + "/d/.python-version"};
    const std::vector<Pin> pins = tool_pins::find(q);
    EXPECT_EQ(names_of(pins), (std::vector<std::string>{"3.8.18", "3.11.9"}));
    EXPECT_EQ(pin(pins, "3.8.18")->projects, 3);
    EXPECT_FALSE(pin(pins, "3.8.18")->by_default);
    EXPECT_EQ(pin(pins, "3.11.9")->projects, 1);
}

TEST(ToolPinsPyenv, AVirtualEnvironmentKeepsTheVersionItWasMadeFrom) {
    test_env::TempHome home;
    const std::string root = home.path("home/.pyenv");
    const Query q = row("pyenvVersions", root + "/versions", {"3.11.9", "3.12.4"}, home);
    make_dirs(root + "/versions/3.11.9/envs/tools");
    make_link(root + "/versions/3.11.9/envs/tools", root + "/versions/tools");
    put(root + "/version", "tools\n");
    EXPECT_EQ(names_of(tool_pins::find(q)), std::vector<std::string>{"3.11.9"});
}

// ---------------------------------------------------------------------------
// nvm
// ---------------------------------------------------------------------------

namespace {

const std::vector<std::string> NODE = {"v18.19.0", "v20.9.0", "v20.11.1", "v21.6.0"};

} // namespace

TEST(ToolPinsNvm, TheDefaultAliasInEveryForm) {
    test_env::TempHome home;
    const std::string nvm = home.path("home/.nvm");
    const Query q = row("nvmNode", nvm + "/versions/node", NODE, home);
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"20\n", "v20.11.1"},
        {"v20.9.0\n", "v20.9.0"},
        {"20.9.0", "v20.9.0"},
        {"  v18 \r\n", "v18.19.0"},
        {"node\n", "v21.6.0"},
        {"stable\n", "v21.6.0"},
        {"lts/iron\n", "v20.11.1"},
        {"lts/*\n", "v20.11.1"},
        {"# chosen by hand\n18\n", "v18.19.0"},
    };
    put(nvm + "/alias/lts/iron", "v20.11.1\n");
    put(nvm + "/alias/lts/*", "lts/iron\n");
    for (const auto& [value, expected] : cases) {
        put(nvm + "/alias/default", value);
        const std::vector<Pin> pins = tool_pins::find(q);
        ASSERT_EQ(pins.size(), 1u) << value;
        EXPECT_EQ(pins[0].name, expected) << value;
        EXPECT_TRUE(pins[0].by_default) << value;
    }
}

TEST(ToolPinsNvm, AliasesThatLeadNowherePinNothing) {
    test_env::TempHome home;
    const std::string nvm = home.path("home/.nvm");
    const Query q = row("nvmNode", nvm + "/versions/node", NODE, home);
    EXPECT_TRUE(tool_pins::find(q).empty()) << "no default alias";
    for (const char* value :
         {"system\n", "lts/hydrogen\n", "22\n", "../../../etc/passwd\n", "iojs\n", "loop\n"}) {
        put(nvm + "/alias/loop", "loop\n");
        put(nvm + "/alias/default", value);
        EXPECT_TRUE(tool_pins::find(q).empty()) << value;
    }
    put(nvm + "/alias/default", binary_junk());
    EXPECT_TRUE(tool_pins::find(q).empty());
    put_huge(nvm + "/alias/default", "20\n");
    EXPECT_TRUE(tool_pins::find(q).empty());
}

TEST(ToolPinsNvm, ProjectsNvmrcFiles) {
    test_env::TempHome home;
    const std::string nvm = home.path("home/.nvm");
    Query q = row("nvmNode", nvm + "/versions/node", NODE, home);
    put(nvm + "/alias/lts/hydrogen", "v18.19.0\n");
    const std::string code = home.path("home/code");
    put(code + "/shop/.nvmrc", "lts/hydrogen\r\n");
    put(code + "/blog/.nvmrc", "18\n");
    put(code + "/api/.nvmrc", "v21.6.0 # current\n");
    q.project_files = {code + "/shop/.nvmrc", code + "/blog/.nvmrc", code + "/api/.nvmrc"};
    const std::vector<Pin> pins = tool_pins::find(q);
    EXPECT_EQ(names_of(pins), (std::vector<std::string>{"v18.19.0", "v21.6.0"}));
    EXPECT_EQ(pin(pins, "v18.19.0")->projects, 2);
    EXPECT_EQ(pin(pins, "v21.6.0")->projects, 1);
    EXPECT_FALSE(pin(pins, "v21.6.0")->by_default);
}

// ---------------------------------------------------------------------------
// SDKMAN
// ---------------------------------------------------------------------------

TEST(ToolPinsSdkman, TheCurrentLinkOfEachCandidate) {
    test_env::TempHome home;
    const std::string c = home.path("home/.sdkman/candidates");
    const Query q = row(
        "sdkmanCandidates", c,
        {"java/17.0.9-tem", "java/21.0.1-tem", "gradle/8.5", "gradle/8.7", "maven/3.9.6"}, home);
    make_link("17.0.9-tem", c + "/java/current");         // relative, as SDKMAN does
    make_link(c + "/gradle/8.5/", c + "/gradle/current"); // absolute, trailing slash
    make_link(c + "/maven/3.9.5", c + "/maven/current");  // dangling
    const std::vector<Pin> pins = tool_pins::find(q);
    EXPECT_EQ(names_of(pins), (std::vector<std::string>{"java/17.0.9-tem", "gradle/8.5"}));
    EXPECT_TRUE(pin(pins, "java/17.0.9-tem")->by_default);
}

TEST(ToolPinsSdkman, ALinkWrittenAnotherWayStillLeadsThere) {
    test_env::TempHome home;
    const std::string c = home.path("home/.sdkman/candidates");
    const Query q = row("sdkmanCandidates", c, {"java/17.0.9-tem", "java/21.0.1-tem"}, home);
    make_link("../java/21.0.1-tem/.", c + "/java/current");
    EXPECT_EQ(names_of(tool_pins::find(q)), std::vector<std::string>{"java/21.0.1-tem"});
}

TEST(ToolPinsSdkman, ACurrentThatIsNoLinkPinsNothing) {
    test_env::TempHome home;
    const std::string c = home.path("home/.sdkman/candidates");
    const Query q = row("sdkmanCandidates", c, {"java/17.0.9-tem"}, home);
    make_dirs(c + "/java/current");
    EXPECT_TRUE(tool_pins::find(q).empty());
}

// ---------------------------------------------------------------------------
// asdf and mise
// ---------------------------------------------------------------------------

namespace {

const std::vector<std::string> INSTALLS = {"nodejs/18.19.0", "nodejs/20.11.1", "python/3.11.9",
                                           "python/3.12.4", "ruby/3.3.0"};

} // namespace

TEST(ToolPinsAsdf, TheHomesToolVersionsWithSeveralVersionsAndComments) {
    test_env::TempHome home;
    const Query q = row("asdfInstalls", home.path("home/.asdf/installs"), INSTALLS, home);
    put(home.path("home/.tool-versions"), "# global tools\r\n"
                                          "nodejs 20.11.1 18.19.0 # two of them\r\n"
                                          "   python   system   3.12.4   \r\n"
                                          "ruby ref:v3.3.0 path:/opt/ruby\r\n"
                                          "golang 1.22.0\r\n");
    const std::vector<Pin> pins = tool_pins::find(q);
    EXPECT_EQ(names_of(pins),
              (std::vector<std::string>{"nodejs/18.19.0", "nodejs/20.11.1", "python/3.12.4"}));
    for (const Pin& p : pins)
        EXPECT_TRUE(p.by_default) << p.name;
}

TEST(ToolPinsAsdf, TheVariableNamesTheGlobalFile) {
    test_env::TempHome home;
    const Query q = row("asdfInstalls", home.path("home/.asdf/installs"), INSTALLS, home);
    put(home.path("home/.tool-versions"), "nodejs 20.11.1\n");
    put(home.path("home/.config/asdf/tool-versions"), "python 3.11.9\n");
    {
        test_env::ScopedEnv env("ASDF_DEFAULT_TOOL_VERSIONS_FILENAME",
                                ".config/asdf/tool-versions");
        EXPECT_EQ(names_of(tool_pins::find(q)), std::vector<std::string>{"python/3.11.9"});
    }
    {
        const std::string abs = home.path("home/.config/asdf/tool-versions");
        test_env::ScopedEnv env("ASDF_DEFAULT_TOOL_VERSIONS_FILENAME", abs.c_str());
        EXPECT_EQ(names_of(tool_pins::find(q)), std::vector<std::string>{"python/3.11.9"});
    }
    EXPECT_EQ(names_of(tool_pins::find(q)), std::vector<std::string>{"nodejs/20.11.1"});
}

TEST(ToolPinsAsdf, ProjectFilesAndDamagedOnes) {
    test_env::TempHome home;
    Query q = row("asdfInstalls", home.path("home/.asdf/installs"), INSTALLS, home);
    const std::string code = home.path("home/code");
    put(code + "/a/.tool-versions", "ruby 3.3.0\npython 3.11.9\n");
    put(code + "/b/.tool-versions", "ruby 3.3.0");
    put(code + "/c/.tool-versions", binary_junk());
    put_huge(code + "/d/.tool-versions", "nodejs 18.19.0\n");
    q.project_files = {code + "/a/.tool-versions", code + "/b/.tool-versions",
                       code + "/c/.tool-versions", code + "/d/.tool-versions"};
    const std::vector<Pin> pins = tool_pins::find(q);
    EXPECT_EQ(names_of(pins), (std::vector<std::string>{"python/3.11.9", "ruby/3.3.0"}));
    EXPECT_EQ(pin(pins, "ruby/3.3.0")->projects, 2);
    EXPECT_FALSE(pin(pins, "ruby/3.3.0")->by_default);
}

TEST(ToolPinsMise, TheGlobalConfigToolsTableWithPrefixes) {
    test_env::TempHome home;
    const Query q = row("miseInstalls", home.path("home/.local/share/mise/installs"),
                        {"node/18.19.0", "node/20.9.0", "node/20.11.1", "python/3.11.9",
                         "python/3.12.4", "go/1.22.0", "ruby/3.3.0", "java/21.0.1"},
                        home);
    put(home.path("home/.config/mise/config.toml"),
        "[settings]\r\n"
        "node = \"18\"\r\n"
        "\r\n"
        "[tools]\r\n"
        "  node = \"20\"   # the LTS line\r\n"
        "python = [\"3.11\", \"3.12.4\"]\r\n"
        "go = 'prefix:1.22'\r\n"
        "ruby = { version = \"3.3\", other = \"9\" }\r\n"
        "java = \"temurin-21\r\n"
        "\r\n"
        "[env]\r\n"
        "ruby = \"3.3.0\"\r\n");
    const std::vector<Pin> pins = tool_pins::find(q);
    EXPECT_EQ(names_of(pins),
              (std::vector<std::string>{"node/20.11.1", "python/3.11.9", "python/3.12.4",
                                        "go/1.22.0", "ruby/3.3.0"}));
    for (const Pin& p : pins)
        EXPECT_TRUE(p.by_default) << p.name;
}

TEST(ToolPinsMise, XdgConfigHomeMovesTheGlobalConfigAndLatestIsTheNewest) {
    test_env::TempHome home;
    const Query q = row("miseInstalls", home.path("home/.local/share/mise/installs"),
                        {"node/18.19.0", "node/20.11.1", "python/3.12.4"}, home);
    put(home.path("home/.config/mise/config.toml"), "[tools]\npython = \"3.12\"\n");
    put(home.path("elsewhere/mise/config.toml"), "[tools]\nnode = \"latest\"\n");
    const std::string elsewhere = home.path("elsewhere");
    test_env::ScopedEnv env("XDG_CONFIG_HOME", elsewhere.c_str());
    EXPECT_EQ(names_of(tool_pins::find(q)), std::vector<std::string>{"node/20.11.1"});
}

TEST(ToolPinsMise, ToolVersionsFilesAreReadWithMisesToolNames) {
    test_env::TempHome home;
    Query q = row("miseInstalls", home.path("home/.local/share/mise/installs"),
                  {"node/18.19.0", "node/20.11.1", "python/3.12.4"}, home);
    put(home.path("home/.tool-versions"), "python 3.12\n");
    put(home.path("home/code/a/.tool-versions"), "nodejs 18 # asdf's name for node\n");
    put(home.path("home/code/b/.tool-versions"), "node 18.19.0\n");
    q.project_files = {home.path("home/code/a/.tool-versions"),
                       home.path("home/code/b/.tool-versions")};
    const std::vector<Pin> pins = tool_pins::find(q);
    EXPECT_EQ(names_of(pins), (std::vector<std::string>{"node/18.19.0", "python/3.12.4"}));
    EXPECT_EQ(pin(pins, "node/18.19.0")->projects, 2);
    EXPECT_TRUE(pin(pins, "python/3.12.4")->by_default);
}

TEST(ToolPinsMise, ADamagedGlobalConfigPinsNothing) {
    test_env::TempHome home;
    const Query q =
        row("miseInstalls", home.path("home/.local/share/mise/installs"), {"node/20.11.1"}, home);
    const std::string config = home.path("home/.config/mise/config.toml");
    put(config, "[tools]\nnode = [\"20\"\n");
    EXPECT_TRUE(tool_pins::find(q).empty()) << "an array left open";
    put(config, "[tools\nnode = \"20\"\n");
    EXPECT_TRUE(tool_pins::find(q).empty()) << "a header left open";
    put(config, binary_junk());
    EXPECT_TRUE(tool_pins::find(q).empty());
    put_huge(config, "[tools]\nnode = \"20\"\n");
    EXPECT_TRUE(tool_pins::find(q).empty());
}

// ---------------------------------------------------------------------------
// Gradle wrapper
// ---------------------------------------------------------------------------

TEST(ToolPinsGradle, DistributionUrlNamesTheDistsFolder) {
    test_env::TempHome home;
    Query q = row("gradleDists", home.path("home/.gradle/wrapper/dists"),
                  {"gradle-8.5-bin", "gradle-8.5-all", "gradle-8.7-bin", "gradle-7.6-all"}, home);
    const std::string code = home.path("home/code");
    put(code + "/a/gradle/wrapper/gradle-wrapper.properties",
        "#Tue Jan 09 10:00:00 CET 2024\r\n"
        "distributionBase=GRADLE_USER_HOME\r\n"
        "distributionPath=wrapper/dists\r\n"
        "distributionUrl=https\\://services.gradle.org/distributions/gradle-8.5-bin.zip\r\n"
        "zipStoreBase=GRADLE_USER_HOME\r\n");
    put(code + "/b/gradle/wrapper/gradle-wrapper.properties",
        "  distributionUrl : https\\://services.gradle.org/distributions/gradle-8.5-bin.zip\n");
    put(code + "/c/gradle/wrapper/gradle-wrapper.properties",
        "! comment\ndistributionUrl https\\://mirror.example/gradle/"
        "gradle-7.6-all.zip?download=1\n");
    put(code + "/d/gradle/wrapper/gradle-wrapper.properties",
        "distributionUrl=https\\://services.gradle.org/distributions/\\\n    gradle-8.7-bin.zip\n");
    put(code + "/e/gradle/wrapper/gradle-wrapper.properties",
        "#distributionUrl=https\\://services.gradle.org/distributions/gradle-8.5-all.zip\n");
    put(code + "/f/gradle/wrapper/gradle-wrapper.properties", binary_junk());
    put_huge(code + "/g/gradle/wrapper/gradle-wrapper.properties",
             "distributionUrl=https\\://services.gradle.org/distributions/gradle-8.5-all.zip\n");
    for (const char* p : {"a", "b", "c", "d", "e", "f", "g"})
        q.project_files.push_back(code + "/" + p + "/gradle/wrapper/gradle-wrapper.properties");
    const std::vector<Pin> pins = tool_pins::find(q);
    EXPECT_EQ(names_of(pins),
              (std::vector<std::string>{"gradle-8.5-bin", "gradle-8.7-bin", "gradle-7.6-all"}));
    EXPECT_EQ(pin(pins, "gradle-8.5-bin")->projects, 2);
    EXPECT_FALSE(pin(pins, "gradle-8.5-bin")->by_default);
}

// ---------------------------------------------------------------------------
// Android
// ---------------------------------------------------------------------------

TEST(ToolPinsAndroid, CompileAndTargetSdkInGroovyAndKotlin) {
    test_env::TempHome home;
    const std::string sdk = home.path("home/Android/Sdk");
    Query q = row(
        "androidPlatforms", sdk + "/platforms",
        {"android-31", "android-32", "android-33", "android-34", "android-35", "android-36"}, home);
    const std::string code = home.path("home/code");
    put(code + "/a/app/build.gradle",
        "android {\r\n    compileSdk 34\r\n    defaultConfig {\r\n"
        "        targetSdk 33\r\n        minSdk 21\r\n    }\r\n}\r\n");
    put(code + "/b/app/build.gradle.kts",
        "android {\n    compileSdk = 35 // bump later\n    defaultConfig { targetSdk = 34 }\n}\n");
    put(code + "/c/build.gradle", "android { compileSdkVersion \"android-32\"\n"
                                  "  defaultConfig { targetSdkVersion 31 } }\n");
    put(code + "/d/build.gradle.kts",
        "android {\n  compileSdk = libs.versions.compileSdk.get().toInt()\n"
        "  // compileSdk = 36\n  /* targetSdk = 36 */\n  compileSdkPreview = \"V\"\n"
        "  compileSdkVersion(rootProject.extra[\"sdk\"])\n"
        "  compileSdkVersion \"${sdk}\"\n}\n");
    put(code + "/e/build.gradle", binary_junk());
    put_huge(code + "/f/build.gradle", "android { compileSdk 36 }\n");
    for (const char* p : {"a/app/build.gradle", "b/app/build.gradle.kts", "c/build.gradle",
                          "d/build.gradle.kts", "e/build.gradle", "f/build.gradle"})
        q.project_files.push_back(code + "/" + p);
    const std::vector<Pin> pins = tool_pins::find(q);
    EXPECT_EQ(names_of(pins), (std::vector<std::string>{"android-31", "android-32", "android-33",
                                                        "android-34", "android-35"}));
    EXPECT_EQ(pin(pins, "android-34")->projects, 2);
    EXPECT_EQ(pin(pins, "android-33")->projects, 1);
}

TEST(ToolPinsAndroid, ModulesOfOneProjectCountOnce) {
    test_env::TempHome home;
    const std::string sdk = home.path("home/Android/Sdk");
    Query q = row("androidPlatforms", sdk + "/platforms", {"android-34"}, home);
    const std::string p = home.path("home/code/app");
    put(p + "/settings.gradle.kts", "include(\":app\", \":lib\")\n");
    put(p + "/app/build.gradle.kts", "android { compileSdk = 34 }\n");
    put(p + "/lib/build.gradle.kts", "android { compileSdk = 34 }\n");
    put(home.path("home/code/other/build.gradle"), "android { compileSdk 34 }\n");
    q.project_files = {p + "/app/build.gradle.kts", p + "/lib/build.gradle.kts",
                       home.path("home/code/other/build.gradle")};
    const std::vector<Pin> pins = tool_pins::find(q);
    ASSERT_EQ(pins.size(), 1u);
    EXPECT_EQ(pins[0].projects, 2);
}

TEST(ToolPinsAndroid, BuildToolsVersionNamesTheBuildToolsFolder) {
    test_env::TempHome home;
    const std::string sdk = home.path("home/Android/Sdk");
    Query q = row("androidBuildTools", sdk + "/build-tools", {"33.0.1", "34.0.0", "35.0.0"}, home);
    const std::string code = home.path("home/code");
    put(code + "/a/build.gradle",
        "android {\n  compileSdk 34\n  buildToolsVersion \"34.0.0\"\n}\n");
    put(code + "/b/build.gradle.kts", "android {\n  buildToolsVersion = \"33.0.1\"\n}\n");
    put(code + "/c/build.gradle", "android { buildToolsVersion '34.0.0' }\n");
    put(code + "/d/build.gradle", "android { buildToolsVersion rootProject.buildTools }\n");
    q.project_files = {code + "/a/build.gradle", code + "/b/build.gradle.kts",
                       code + "/c/build.gradle", code + "/d/build.gradle"};
    const std::vector<Pin> pins = tool_pins::find(q);
    EXPECT_EQ(names_of(pins), (std::vector<std::string>{"33.0.1", "34.0.0"}));
    EXPECT_EQ(pin(pins, "34.0.0")->projects, 2);
    // The same scripts say nothing about platforms to the build-tools row and
    // nothing about build tools to the platforms row.
    q.row_id = "androidPlatforms";
    EXPECT_TRUE(tool_pins::find(q).empty());
}
