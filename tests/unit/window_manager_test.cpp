// The window geometry store: the exact bytes it writes, how it reads numbers
// from good, odd and damaged files, the defaults and the minimum size, and
// that a failed write leaves the previous file in place.

#include "test_env.h"
#include "window_manager.h"

#include <gtest/gtest.h>

#include <grp.h>
#include <random>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string geometry_path() {
    return WindowManager::instance().path();
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

WindowGeometry load_from(const std::string& content) {
    write_file(geometry_path(), content);
    return WindowManager::instance().load();
}

std::string layout(const std::string& w, const std::string& h, const std::string& x,
                   const std::string& y, const std::string& maximized = "false") {
    return "{\n  \"width\": " + w + ",\n  \"height\": " + h + ",\n  \"x\": " + x +
           ",\n  \"y\": " + y + ",\n  \"maximized\": " + maximized + "\n}\n";
}

void expect_default_values(const WindowGeometry& g) {
    EXPECT_EQ(g.width, 1100);
    EXPECT_EQ(g.height, 720);
    EXPECT_EQ(g.x, -1000000);
    EXPECT_EQ(g.y, -1000000);
    EXPECT_FALSE(g.has_position);
    EXPECT_FALSE(g.maximized);
}

} // namespace

// ---------------------------------------------------------------------------
// Where the file is, and no file at all
// ---------------------------------------------------------------------------

TEST(WindowManager, PathIsTheConfigFolderPlusGeometryJson) {
    test_env::TempHome home;
    EXPECT_EQ(geometry_path(), home.path("home/.config/Quillet/geometry.json"));
}

TEST(WindowManager, InstanceIsOneObjectForTheProcess) {
    test_env::TempHome home;
    EXPECT_EQ(&WindowManager::instance(), &WindowManager::instance());
}

TEST(WindowManagerLoad, NoFileGivesAnInvalidGeometryWithTheDefaults) {
    test_env::TempHome home;
    ASSERT_FALSE(exists(geometry_path()));
    const WindowGeometry g = WindowManager::instance().load();
    EXPECT_FALSE(g.valid);
    expect_default_values(g);
    EXPECT_FALSE(exists(geometry_path())) << "loading must not create the file";
}

TEST(WindowManagerLoad, ADirectoryInPlaceOfTheFileIsNotValid) {
    test_env::TempHome home;
    ASSERT_EQ(mkdir(geometry_path().c_str(), 0700), 0);
    EXPECT_FALSE(WindowManager::instance().load().valid);
}

// ---------------------------------------------------------------------------
// Reading good files
// ---------------------------------------------------------------------------

TEST(WindowManagerLoad, AWrittenFileReadsBackExactly) {
    test_env::TempHome home;
    const WindowGeometry g = load_from(layout("1300", "850", "200", "120"));
    EXPECT_TRUE(g.valid);
    EXPECT_EQ(g.width, 1300);
    EXPECT_EQ(g.height, 850);
    EXPECT_EQ(g.x, 200);
    EXPECT_EQ(g.y, 120);
    EXPECT_TRUE(g.has_position);
    EXPECT_FALSE(g.maximized);
}

TEST(WindowManagerLoad, NegativePositionsRoundTripUnchanged) {
    test_env::TempHome home;
    WindowManager::instance().save(-1920, -45, 1280, 900, false);
    EXPECT_EQ(test_env::read_file(geometry_path()), layout("1280", "900", "-1920", "-45"));
    const WindowGeometry g = WindowManager::instance().load();
    EXPECT_TRUE(g.valid);
    EXPECT_EQ(g.x, -1920);
    EXPECT_EQ(g.y, -45);
    EXPECT_TRUE(g.has_position);
    EXPECT_EQ(g.width, 1280);
    EXPECT_EQ(g.height, 900);
}

TEST(WindowManagerLoad, PositionZeroZeroIsAPosition) {
    test_env::TempHome home;
    const WindowGeometry g = load_from(layout("1100", "720", "0", "0"));
    EXPECT_TRUE(g.has_position);
    EXPECT_EQ(g.x, 0);
    EXPECT_EQ(g.y, 0);
}

TEST(WindowManagerLoad, MaximizedTrueWithOneSpaceIsMaximized) {
    test_env::TempHome home;
    EXPECT_TRUE(load_from(layout("1200", "800", "10", "10", "true")).maximized);
}

TEST(WindowManagerLoad, MaximizedWrittenWithoutTheSpaceReadsAsNotMaximized) {
    test_env::TempHome home;
    const WindowGeometry g = load_from("{\"width\": 1200, \"maximized\":true}");
    EXPECT_TRUE(g.valid);
    EXPECT_FALSE(g.maximized);
    EXPECT_EQ(g.width, 1200);
}

TEST(WindowManagerLoad, MaximizedWithTwoSpacesOrOtherCaseReadsAsNotMaximized) {
    test_env::TempHome home;
    EXPECT_FALSE(load_from("{\"maximized\":  true}").maximized);
    EXPECT_FALSE(load_from("{\"maximized\": True}").maximized);
    EXPECT_FALSE(load_from("{\"maximized\": false}").maximized);
}

TEST(WindowManagerLoad, KeysAreFoundInAnyOrderAndSpacing) {
    test_env::TempHome home;
    const WindowGeometry g = load_from("{\"y\":-7,\"x\":\n\t +42,\"height\" :900,\"width\":1500}");
    EXPECT_EQ(g.x, 42);
    EXPECT_EQ(g.y, -7);
    EXPECT_EQ(g.width, 1500);
    EXPECT_EQ(g.height, 900);
    EXPECT_TRUE(g.has_position);
}

TEST(WindowManagerLoad, DigitsStopAtTheFirstOtherByte) {
    test_env::TempHome home;
    const WindowGeometry g = load_from("{\"width\": 1300px, \"height\": 800.9}");
    EXPECT_EQ(g.width, 1300);
    EXPECT_EQ(g.height, 800);
}

// ---------------------------------------------------------------------------
// Defaults, clamps and damaged values
// ---------------------------------------------------------------------------

TEST(WindowManagerLoad, AStoredWidthOf800LoadsAs1100) {
    test_env::TempHome home;
    const WindowGeometry g = load_from(layout("800", "900", "0", "0"));
    EXPECT_EQ(g.width, 1100);
    EXPECT_EQ(g.height, 900);
}

TEST(WindowManagerLoad, AStoredHeightOf500LoadsAs720) {
    test_env::TempHome home;
    const WindowGeometry g = load_from(layout("1400", "500", "0", "0"));
    EXPECT_EQ(g.width, 1400);
    EXPECT_EQ(g.height, 720);
}

TEST(WindowManagerLoad, NegativeAndZeroSizesLoadAsTheMinimum) {
    test_env::TempHome home;
    const WindowGeometry g = load_from(layout("-5", "0", "0", "0"));
    EXPECT_EQ(g.width, 1100);
    EXPECT_EQ(g.height, 720);
}

TEST(WindowManagerLoad, ThereIsNoUpperLimitOnTheSize) {
    test_env::TempHome home;
    const WindowGeometry g = load_from(layout("7680", "4320", "0", "0"));
    EXPECT_EQ(g.width, 7680);
    EXPECT_EQ(g.height, 4320);
}

TEST(WindowManagerLoad, AFileWithoutTheXKeyHasNoPosition) {
    test_env::TempHome home;
    const WindowGeometry g =
        load_from("{\n  \"width\": 1200,\n  \"height\": 800,\n  \"y\": 50,\n  \"maximized\": "
                  "false\n}\n");
    EXPECT_TRUE(g.valid);
    EXPECT_EQ(g.x, -1000000);
    EXPECT_EQ(g.y, 50);
    EXPECT_FALSE(g.has_position);
    EXPECT_EQ(g.width, 1200);
}

TEST(WindowManagerLoad, AFileWithoutTheYKeyHasNoPosition) {
    test_env::TempHome home;
    const WindowGeometry g = load_from("{\"x\": 50}");
    EXPECT_EQ(g.x, 50);
    EXPECT_FALSE(g.has_position);
}

TEST(WindowManagerLoad, AStoredXOfExactlyMinusOneMillionCountsAsNoPosition) {
    test_env::TempHome home;
    const WindowGeometry g = load_from(layout("1200", "800", "-1000000", "50"));
    EXPECT_TRUE(g.valid);
    EXPECT_FALSE(g.has_position);
    // One pixel further in is a real, if odd, position.
    EXPECT_TRUE(load_from(layout("1200", "800", "-999999", "50")).has_position);
}

TEST(WindowManagerLoad, AStoredYOfExactlyMinusOneMillionCountsAsNoPosition) {
    test_env::TempHome home;
    EXPECT_FALSE(load_from(layout("1200", "800", "50", "-1000000")).has_position);
}

TEST(WindowManagerLoad, AnOverflowingIntegerGivesTheDefault) {
    test_env::TempHome home;
    const WindowGeometry g =
        load_from(layout("99999999999", "99999999999", "99999999999", "-99999999999"));
    EXPECT_TRUE(g.valid);
    EXPECT_EQ(g.width, 1100);
    EXPECT_EQ(g.height, 720);
    EXPECT_EQ(g.x, -1000000);
    EXPECT_EQ(g.y, -1000000);
    EXPECT_FALSE(g.has_position);
}

TEST(WindowManagerLoad, TheLimitsOfAnIntAreReadAndOneBeyondIsNot) {
    test_env::TempHome home;
    WindowGeometry g = load_from(layout("2147483647", "720", "-2147483648", "2147483647"));
    EXPECT_EQ(g.width, 2147483647);
    EXPECT_EQ(g.x, -2147483648);
    EXPECT_EQ(g.y, 2147483647);
    g = load_from(layout("2147483648", "720", "-2147483649", "2147483648"));
    EXPECT_EQ(g.width, 1100);
    EXPECT_EQ(g.x, -1000000);
    EXPECT_EQ(g.y, -1000000);
}

TEST(WindowManagerLoad, AVeryLongRunOfDigitsGivesTheDefault) {
    test_env::TempHome home;
    EXPECT_EQ(load_from("{\"width\": " + std::string(5000, '9') + "}").width, 1100);
    // Leading zeros are still a small number.
    EXPECT_EQ(load_from("{\"width\": " + std::string(40, '0') + "1500}").width, 1500);
}

TEST(WindowManagerLoad, ANonNumericValueGivesTheDefault) {
    test_env::TempHome home;
    const WindowGeometry g =
        load_from("{\"width\": \"1300\", \"height\": abc, \"x\": -, \"y\": +}");
    EXPECT_TRUE(g.valid);
    expect_default_values(g);
}

TEST(WindowManagerLoad, AKeyWithoutAColonGivesTheDefault) {
    test_env::TempHome home;
    const WindowGeometry g = load_from("{\"width\" 1300}");
    EXPECT_EQ(g.width, 1100);
}

TEST(WindowManagerLoad, AnEmptyFileIsValidWithTheDefaults) {
    test_env::TempHome home;
    const WindowGeometry g = load_from("");
    EXPECT_TRUE(g.valid);
    expect_default_values(g);
}

TEST(WindowManagerLoad, BinaryGarbageIsValidWithTheDefaults) {
    test_env::TempHome home;
    std::mt19937 rng(7);
    std::string garbage(4096, '\0');
    for (char& c : garbage)
        c = static_cast<char>(rng() & 0xFF);
    garbage[0] = '\0';
    const WindowGeometry g = load_from(garbage);
    EXPECT_TRUE(g.valid);
    expect_default_values(g);
}

TEST(WindowManagerLoad, AFileCutOffInsideTheNumbersKeepsWhatItHolds) {
    test_env::TempHome home;
    const WindowGeometry g = load_from("{\n  \"width\": 1300,\n  \"height\": 8");
    EXPECT_EQ(g.width, 1300);
    EXPECT_EQ(g.height, 720); // 8, raised to the minimum
    EXPECT_FALSE(g.has_position);
    const WindowGeometry h = load_from("{\n  \"width\": 1300,\n  \"height\":");
    EXPECT_EQ(h.height, 720);
}

// ---------------------------------------------------------------------------
// Saving
// ---------------------------------------------------------------------------

TEST(WindowManagerSave, WrittenFileIsByteForByteTheSevenLineLayout) {
    test_env::TempHome home;
    WindowManager::instance().save(100, 50, 1200, 800, false);
    EXPECT_EQ(test_env::read_file(geometry_path()), "{\n"
                                                    "  \"width\": 1200,\n"
                                                    "  \"height\": 800,\n"
                                                    "  \"x\": 100,\n"
                                                    "  \"y\": 50,\n"
                                                    "  \"maximized\": false\n"
                                                    "}\n");
}

TEST(WindowManagerSave, MaximizedIsWrittenAsTrueAndReadBack) {
    test_env::TempHome home;
    WindowManager::instance().save(0, -3, 1100, 720, true);
    EXPECT_EQ(test_env::read_file(geometry_path()), "{\n"
                                                    "  \"width\": 1100,\n"
                                                    "  \"height\": 720,\n"
                                                    "  \"x\": 0,\n"
                                                    "  \"y\": -3,\n"
                                                    "  \"maximized\": true\n"
                                                    "}\n");
    EXPECT_TRUE(WindowManager::instance().load().maximized);
}

TEST(WindowManagerSave, ValuesAreWrittenAsGivenEvenBelowTheMinimum) {
    test_env::TempHome home;
    // The minimum is applied when reading, so the file says what the window was.
    WindowManager::instance().save(-2147483647 - 1, 2147483647, 640, 480, false);
    EXPECT_EQ(test_env::read_file(geometry_path()),
              layout("640", "480", "-2147483648", "2147483647"));
}

TEST(WindowManagerSave, LeavesNoTemporaryFileBehind) {
    test_env::TempHome home;
    WindowManager::instance().save(1, 2, 1100, 720, false);
    EXPECT_TRUE(exists(geometry_path()));
    EXPECT_FALSE(exists(geometry_path() + ".tmp"));
}

TEST(WindowManagerSave, WhenTheTemporaryFileCannotBeOpenedTheOldFileStays) {
    test_env::TempHome home;
    const std::string old = layout("1200", "800", "100", "50");
    write_file(geometry_path(), old);
    // A folder where the temporary file should go: opening it for writing
    // fails with EISDIR, for root too.
    ASSERT_EQ(mkdir((geometry_path() + ".tmp").c_str(), 0700), 0);
    WindowManager::instance().save(5, 5, 1500, 1000, true);
    EXPECT_EQ(test_env::read_file(geometry_path()), old);
}

TEST(WindowManagerSave, WhenTheConfigFolderIsReadOnlyTheOldFileStays) {
    test_env::TempHome home;
    const std::string old = layout("1200", "800", "100", "50");
    const std::string target = geometry_path();
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
        WindowManager::instance().save(5, 5, 1500, 1000, true);
        return 0;
    });
    chmod(dir.c_str(), 0700);
    ASSERT_EQ(status, 0) << "3: could not drop root, 4: folder still writable";
    EXPECT_EQ(test_env::read_file(target), old);
    EXPECT_FALSE(exists(target + ".tmp"));
}
