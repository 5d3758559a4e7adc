// The settings store: what a load takes from files good, partial and damaged,
// the exact bytes a save writes, the command rule, and that a failed write
// never damages the file already there.

#include "settings.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <grp.h>
#include <random>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// The store keeps its file in the configuration folder of the private home.
std::string settings_path() {
    return SettingsStore::instance().path();
}

void write_file(const std::string& path, const std::string& content) {
    FILE* f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr) << path;
    ASSERT_EQ(std::fwrite(content.data(), 1, content.size(), f), content.size());
    ASSERT_EQ(std::fclose(f), 0);
}

bool exists(const std::string& path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0;
}

// Writes the settings file and loads it; returns what the store holds.
const Settings& load_from(const std::string& content) {
    write_file(settings_path(), content);
    SettingsStore::instance().load();
    return SettingsStore::instance().get();
}

void expect_defaults(const Settings& s) {
    EXPECT_EQ(s.language, "auto");
    EXPECT_EQ(s.theme, "light");
    EXPECT_EQ(s.projects_root, "");
    EXPECT_EQ(s.file_manager_command, "");
}

std::string layout(const std::string& language, const std::string& theme, const std::string& root,
                   const std::string& command) {
    return "{\n  \"language\": \"" + language + "\",\n  \"theme\": \"" + theme +
           "\",\n  \"projects_root\": \"" + root + "\",\n  \"file_manager_command\": \"" + command +
           "\"\n}\n";
}

bool valid(const std::string& cmd) {
    return settings_util::valid_file_manager_command(cmd);
}

} // namespace

// ---------------------------------------------------------------------------
// Where the file is
// ---------------------------------------------------------------------------

TEST(Settings, PathIsTheConfigFolderPlusSettingsJson) {
    test_env::TempHome home;
    EXPECT_EQ(settings_path(), home.path("home/.config/Quillet/settings.json"));
}

TEST(Settings, InstanceIsOneObjectForTheProcess) {
    test_env::TempHome home;
    EXPECT_EQ(&SettingsStore::instance(), &SettingsStore::instance());
    SettingsStore::instance().mutable_get().theme = "dark";
    EXPECT_EQ(SettingsStore::instance().get().theme, "dark");
}

TEST(Settings, DefaultsBeforeAnyLoad) {
    test_env::TempHome home;
    expect_defaults(SettingsStore::instance().get());
}

// ---------------------------------------------------------------------------
// Loading files good, partial and damaged
// ---------------------------------------------------------------------------

TEST(SettingsLoad, MissingFileKeepsTheDefaults) {
    test_env::TempHome home;
    ASSERT_FALSE(exists(settings_path()));
    SettingsStore::instance().load();
    expect_defaults(SettingsStore::instance().get());
    EXPECT_FALSE(exists(settings_path())) << "loading must not create the file";
}

TEST(SettingsLoad, EmptyFileKeepsTheDefaults) {
    test_env::TempHome home;
    expect_defaults(load_from(""));
}

TEST(SettingsLoad, BinaryGarbageKeepsTheDefaults) {
    test_env::TempHome home;
    std::mt19937 rng(20240611);
    std::string garbage(4096, '\0');
    for (char& c : garbage)
        c = static_cast<char>(rng() & 0xFF);
    garbage[10] = '\0';
    garbage[2000] = '\0';
    expect_defaults(load_from(garbage));
}

TEST(SettingsLoad, NulBytesBeforeAKeyDoNotHideIt) {
    test_env::TempHome home;
    const std::string text = std::string("\0\0\x01\xff", 4) + "\"theme\": \"dark\"" +
                             std::string("\0\"language\"\0", 12);
    const Settings& s = load_from(text);
    EXPECT_EQ(s.theme, "dark");
    EXPECT_EQ(s.language, "auto");
}

TEST(SettingsLoad, FileCutOffInsideAValueKeepsThatDefault) {
    test_env::TempHome home;
    const Settings& s = load_from("{\n  \"language\": \"de\",\n  \"theme\": \"da");
    EXPECT_EQ(s.language, "de");
    EXPECT_EQ(s.theme, "light");
    EXPECT_EQ(s.projects_root, "");
}

TEST(SettingsLoad, FileCutOffAfterAColonKeepsThatDefault) {
    test_env::TempHome home;
    const Settings& s = load_from("{\n  \"theme\": \"dark\",\n  \"language\":");
    EXPECT_EQ(s.theme, "dark");
    EXPECT_EQ(s.language, "auto");
}

TEST(SettingsLoad, ValidAndInvalidValuesSideBySide) {
    test_env::TempHome home;
    const Settings& s =
        load_from(layout("xx", "dark", home.path("no-such-folder"), "nautilus\t%s"));
    EXPECT_EQ(s.language, "auto");
    EXPECT_EQ(s.theme, "dark");
    EXPECT_EQ(s.projects_root, "");
    EXPECT_EQ(s.file_manager_command, "");

    const Settings& t = load_from(layout("fr", "purple", home.root(), "thunar %s"));
    EXPECT_EQ(t.language, "fr");
    EXPECT_EQ(t.theme, "light");
    EXPECT_EQ(t.projects_root, home.root());
    EXPECT_EQ(t.file_manager_command, "thunar %s");
}

TEST(SettingsLoad, OnlyTheThemeLineGivesDarkAndDefaultsForTheRest) {
    test_env::TempHome home;
    const Settings& s = load_from("  \"theme\": \"dark\",\n");
    EXPECT_EQ(s.theme, "dark");
    EXPECT_EQ(s.language, "auto");
    EXPECT_EQ(s.projects_root, "");
    EXPECT_EQ(s.file_manager_command, "");
}

TEST(SettingsLoad, ProjectsRootOfADeletedFolderIsDropped) {
    test_env::TempHome home;
    const std::string dir = home.path("projects");
    ASSERT_EQ(mkdir(dir.c_str(), 0700), 0);
    EXPECT_EQ(load_from(layout("auto", "light", dir, "")).projects_root, dir);
    ASSERT_EQ(rmdir(dir.c_str()), 0);
    SettingsStore::instance().load();
    EXPECT_EQ(SettingsStore::instance().get().projects_root, "");
}

TEST(SettingsLoad, ProjectsRootNamingARegularFileIsDropped) {
    test_env::TempHome home;
    const std::string file = home.path("not-a-folder");
    write_file(file, "x");
    EXPECT_EQ(load_from(layout("auto", "light", file, "")).projects_root, "");
}

TEST(SettingsLoad, ProjectsRootWithANulByteIsDropped) {
    test_env::TempHome home;
    // stat() would only see the part before the NUL, which exists.
    const std::string root = home.root() + std::string("\0/x", 3);
    EXPECT_EQ(load_from(layout("auto", "light", root, "")).projects_root, "");
}

TEST(SettingsLoad, LanguageNotAmongTheAvailableOnesLeavesAuto) {
    test_env::TempHome home;
    EXPECT_EQ(load_from(layout("xx", "light", "", "")).language, "auto");
    EXPECT_EQ(load_from(layout("DE", "light", "", "")).language, "auto");
    EXPECT_EQ(load_from(layout("de_DE", "light", "", "")).language, "auto");
}

TEST(SettingsLoad, AvailableLanguageAndAutoAreTaken) {
    test_env::TempHome home;
    EXPECT_EQ(load_from(layout("de", "light", "", "")).language, "de");
    EXPECT_EQ(load_from(layout("he", "light", "", "")).language, "he");
    EXPECT_EQ(load_from(layout("zh", "light", "", "")).language, "zh");
    EXPECT_EQ(load_from(layout("auto", "light", "", "")).language, "auto");
}

TEST(SettingsLoad, EmptyLanguageIsIgnored) {
    test_env::TempHome home;
    EXPECT_EQ(load_from(layout("", "light", "", "")).language, "auto");
}

TEST(SettingsLoad, ThemeIsTakenOnlyWhenExactlyLightDarkOrAuto) {
    test_env::TempHome home;
    EXPECT_EQ(load_from(layout("auto", "dark", "", "")).theme, "dark");
    EXPECT_EQ(load_from(layout("auto", "auto", "", "")).theme, "auto");
    EXPECT_EQ(load_from(layout("auto", "light", "", "")).theme, "light");
    for (const char* bad : {"Dark", " dark", "dark ", "darker", "", "system"})
        EXPECT_EQ(load_from(layout("auto", bad, "", "")).theme, "light") << bad;
}

TEST(SettingsLoad, KeysAreFoundInAnyOrderAndSpacing) {
    test_env::TempHome home;
    const Settings& s = load_from("{\"file_manager_command\":\"dolphin %s\",\"theme\" :"
                                  "\n\t\"auto\",\"language\":\"it\"}");
    EXPECT_EQ(s.theme, "auto");
    EXPECT_EQ(s.language, "it");
    EXPECT_EQ(s.file_manager_command, "dolphin %s");
}

TEST(SettingsLoad, StoredCommandWithABackslashIsIgnoredAndWrittenBackEmpty) {
    test_env::TempHome home;
    const Settings& s = load_from(layout("auto", "dark", "", "nautilus\\ %s"));
    EXPECT_EQ(s.file_manager_command, "");
    SettingsStore::instance().save();
    EXPECT_EQ(test_env::read_file(settings_path()), layout("auto", "dark", "", ""));
}

TEST(SettingsLoad, AnotherLoadStartsAgainFromTheDefaults) {
    test_env::TempHome home;
    load_from(layout("de", "dark", "", "thunar %s"));
    ASSERT_EQ(unlink(settings_path().c_str()), 0);
    SettingsStore::instance().load();
    expect_defaults(SettingsStore::instance().get());
}

TEST(SettingsLoad, ADirectoryInPlaceOfTheFileKeepsTheDefaults) {
    test_env::TempHome home;
    ASSERT_EQ(mkdir(settings_path().c_str(), 0700), 0);
    SettingsStore::instance().load();
    expect_defaults(SettingsStore::instance().get());
}

// ---------------------------------------------------------------------------
// The file-manager command rule
// ---------------------------------------------------------------------------

TEST(SettingsCommand, ExactlyThreeHundredBytesIsValid) {
    const std::string cmd = "xdg-open %s " + std::string(300 - 12, 'a');
    ASSERT_EQ(cmd.size(), 300u);
    EXPECT_TRUE(valid(cmd));
}

TEST(SettingsCommand, ThreeHundredAndOneBytesIsInvalid) {
    const std::string cmd = "xdg-open %s " + std::string(301 - 12, 'a');
    ASSERT_EQ(cmd.size(), 301u);
    EXPECT_FALSE(valid(cmd));
}

TEST(SettingsCommand, EmptyIsInvalid) {
    EXPECT_FALSE(valid(""));
}

TEST(SettingsCommand, OnlySpacesIsInvalid) {
    EXPECT_FALSE(valid(" "));
    EXPECT_FALSE(valid(std::string(300, ' ')));
}

TEST(SettingsCommand, ATabIsInvalid) {
    EXPECT_FALSE(valid("nautilus\t%s"));
    EXPECT_FALSE(valid("\t"));
}

TEST(SettingsCommand, OtherControlBytesAreInvalid) {
    EXPECT_FALSE(valid("nautilus %s\n"));
    EXPECT_FALSE(valid(std::string("nautilus\0%s", 11)));
    EXPECT_FALSE(valid("nautilus\x1f%s"));
}

TEST(SettingsCommand, DelIsInvalid) {
    EXPECT_FALSE(valid("nautilus\x7f%s"));
}

TEST(SettingsCommand, ADoubleQuoteIsInvalid) {
    EXPECT_FALSE(valid("nautilus \"%s\""));
}

TEST(SettingsCommand, ABackslashIsInvalid) {
    EXPECT_FALSE(valid("C:\\nautilus %s"));
}

TEST(SettingsCommand, OrdinaryCommandsAreValid) {
    EXPECT_TRUE(valid("nautilus %s"));
    EXPECT_TRUE(valid("x"));
    EXPECT_TRUE(valid("  dolphin --select '%s'  "));
    EXPECT_TRUE(valid("~"));
}

TEST(SettingsCommand, BytesAboveAsciiAreValid) {
    EXPECT_TRUE(valid("/opt/f\xc3\xbc"
                      "r/fm %s"));
    EXPECT_TRUE(valid("\x80\xff"));
}

// ---------------------------------------------------------------------------
// Saving
// ---------------------------------------------------------------------------

TEST(SettingsSave, WrittenFileIsByteForByteTheSixLineLayout) {
    test_env::TempHome home;
    Settings& s = SettingsStore::instance().mutable_get();
    s.language = "de";
    s.theme = "dark";
    s.projects_root = "/home/ana/code";
    s.file_manager_command = "nautilus %s";
    SettingsStore::instance().save();
    EXPECT_EQ(test_env::read_file(settings_path()), "{\n"
                                                    "  \"language\": \"de\",\n"
                                                    "  \"theme\": \"dark\",\n"
                                                    "  \"projects_root\": \"/home/ana/code\",\n"
                                                    "  \"file_manager_command\": \"nautilus %s\"\n"
                                                    "}\n");
}

TEST(SettingsSave, DefaultsAreWrittenInTheSameLayout) {
    test_env::TempHome home;
    SettingsStore::instance().save();
    EXPECT_EQ(test_env::read_file(settings_path()), "{\n"
                                                    "  \"language\": \"auto\",\n"
                                                    "  \"theme\": \"light\",\n"
                                                    "  \"projects_root\": \"\",\n"
                                                    "  \"file_manager_command\": \"\"\n"
                                                    "}\n");
}

TEST(SettingsSave, AnInvalidCommandIsWrittenEmpty) {
    test_env::TempHome home;
    SettingsStore::instance().mutable_get().file_manager_command = "nautilus \"%s\"";
    SettingsStore::instance().save();
    EXPECT_EQ(test_env::read_file(settings_path()), layout("auto", "light", "", ""));
}

TEST(SettingsSave, WhatIsSavedLoadsBackUnchanged) {
    test_env::TempHome home;
    Settings& s = SettingsStore::instance().mutable_get();
    s.language = "ar";
    s.theme = "auto";
    s.projects_root = home.root();
    s.file_manager_command = "thunar %s";
    SettingsStore::instance().save();
    s = Settings{};
    SettingsStore::instance().load();
    const Settings& t = SettingsStore::instance().get();
    EXPECT_EQ(t.language, "ar");
    EXPECT_EQ(t.theme, "auto");
    EXPECT_EQ(t.projects_root, home.root());
    EXPECT_EQ(t.file_manager_command, "thunar %s");
}

// A folder may be given any name; a double quote in it must not cut the
// stored value short (which would lose the folder, or worse, name another).
TEST(SettingsSave, AFolderWithDoubleQuotesLoadsBackUnchanged) {
    test_env::TempHome home;
    const std::string folder = home.path("my \"code\"");
    ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
    ASSERT_EQ(mkdir(home.path("my ").c_str(), 0700), 0);
    SettingsStore::instance().mutable_get().projects_root = folder;
    SettingsStore::instance().save();
    SettingsStore::instance().mutable_get() = Settings{};
    SettingsStore::instance().load();
    EXPECT_EQ(SettingsStore::instance().get().projects_root, folder);
}

TEST(SettingsSave, AFolderWithBackslashesAndTheEscapesOwnTextLoadsBackUnchanged) {
    test_env::TempHome home;
    const std::string folder = home.path("a\\u0022b\\u005c\\");
    ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
    SettingsStore::instance().mutable_get().projects_root = folder;
    SettingsStore::instance().save();
    SettingsStore::instance().mutable_get() = Settings{};
    SettingsStore::instance().load();
    EXPECT_EQ(SettingsStore::instance().get().projects_root, folder);
}

// Files written before quotes were escaped held backslashes as they are.
TEST(SettingsLoad, APlainBackslashInAnOlderFileIsReadAsItStands) {
    test_env::TempHome home;
    const std::string folder = home.path("back\\slash");
    ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
    EXPECT_EQ(load_from(layout("auto", "light", folder, "")).projects_root, folder);
}

TEST(SettingsSave, ReplacesAnOlderLongerFileCompletely) {
    test_env::TempHome home;
    write_file(settings_path(), std::string(5000, 'z'));
    SettingsStore::instance().save();
    EXPECT_EQ(test_env::read_file(settings_path()), layout("auto", "light", "", ""));
}

TEST(SettingsSave, LeavesNoTemporaryFileBehind) {
    test_env::TempHome home;
    SettingsStore::instance().save();
    EXPECT_TRUE(exists(settings_path()));
    EXPECT_FALSE(exists(settings_path() + ".tmp"));
}

TEST(SettingsSave, WhenTheTemporaryFileCannotBeOpenedTheOldFileStays) {
    test_env::TempHome home;
    const std::string old = layout("de", "dark", "", "");
    write_file(settings_path(), old);
    // A folder where the temporary file should go: opening it for writing
    // fails with EISDIR, for root too.
    ASSERT_EQ(mkdir((settings_path() + ".tmp").c_str(), 0700), 0);
    SettingsStore::instance().mutable_get().theme = "light";
    SettingsStore::instance().save();
    EXPECT_EQ(test_env::read_file(settings_path()), old);
}

TEST(SettingsSave, WhenTheConfigFolderIsReadOnlyTheOldFileStays) {
    test_env::TempHome home;
    const std::string old = layout("de", "dark", "", "");
    const std::string target = settings_path();
    const std::string dir = target.substr(0, target.rfind('/'));
    write_file(target, old);

    // Permission bits do not stop root, so as root the save runs in a child
    // that has given up root for "nobody"; the folders on the way stay
    // searchable but the configuration folder is not writable for it.
    for (const std::string& d : {home.root(), home.path("home"), home.path("home/.config")})
        ASSERT_EQ(chmod(d.c_str(), 0755), 0);
    ASSERT_EQ(chmod(dir.c_str(), 0555), 0);
    // The file itself stays writable, so only a save that writes beside it
    // and renames is stopped; one that overwrote it in place would get through.
    ASSERT_EQ(chmod(target.c_str(), 0666), 0);

    const int status = test_env::run_unprivileged([&] {
        if (access(dir.c_str(), W_OK) == 0)
            return 4; // the folder is writable after all: the test would prove nothing
        SettingsStore::instance().mutable_get().theme = "light";
        SettingsStore::instance().save();
        return 0;
    });
    chmod(dir.c_str(), 0700);
    ASSERT_EQ(status, 0) << "3: could not drop root, 4: folder still writable";
    EXPECT_EQ(test_env::read_file(target), old);
    EXPECT_FALSE(exists(target + ".tmp"));
}

// ---------------------------------------------------------------------------
// The safe replacement itself
// ---------------------------------------------------------------------------

TEST(SettingsReplaceFile, WritesTheContentAndReportsSuccess) {
    test_env::TempHome home;
    const std::string target = home.path("f.json");
    EXPECT_TRUE(settings_util::replace_file(target, "abc\n"));
    EXPECT_EQ(test_env::read_file(target), "abc\n");
    EXPECT_FALSE(exists(target + ".tmp"));
}

TEST(SettingsReplaceFile, AFailedRenameRemovesTheTemporaryFile) {
    test_env::TempHome home;
    // A non-empty folder in the target's place: the rename onto it fails,
    // for root too.
    const std::string target = home.path("occupied");
    ASSERT_EQ(mkdir(target.c_str(), 0700), 0);
    write_file(target + "/inside", "keep");
    EXPECT_FALSE(settings_util::replace_file(target, "new"));
    EXPECT_FALSE(exists(target + ".tmp"));
    EXPECT_EQ(test_env::read_file(target + "/inside"), "keep");
}

TEST(SettingsReplaceFile, AMissingFolderFailsWithoutCreatingAnything) {
    test_env::TempHome home;
    // The parent is a regular file, so open() fails with ENOTDIR.
    write_file(home.path("plain"), "x");
    EXPECT_FALSE(settings_util::replace_file(home.path("plain/f.json"), "new"));
    EXPECT_EQ(test_env::read_file(home.path("plain")), "x");
}

TEST(SettingsReadWholeFile, ReadsEveryByteIncludingNuls) {
    test_env::TempHome home;
    const std::string content = std::string("a\0b\xff", 4) + std::string(10000, 'q');
    write_file(home.path("bin"), content);
    std::string out = "stale";
    ASSERT_TRUE(settings_util::read_whole_file(home.path("bin"), out));
    EXPECT_EQ(out, content);
}

TEST(SettingsReadWholeFile, MissingFileOrFolderIsAFailure) {
    test_env::TempHome home;
    std::string out = "stale";
    EXPECT_FALSE(settings_util::read_whole_file(home.path("none"), out));
    EXPECT_EQ(out, "");
    EXPECT_FALSE(settings_util::read_whole_file(home.root(), out));
}
