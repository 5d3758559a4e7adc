// The state file the end-to-end tests read: written only when asked for,
// whole, one record per line, with tabs, line feeds and backslashes inside
// fields escaped.

#include "app.h"
#include "render_test_util.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <sstream>
#include <sys/stat.h>

using render_test::category;
using render_test::hit_target;

namespace {

std::vector<std::string> lines_starting(const std::string& text, const std::string& kind) {
    std::vector<std::string> out;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line))
        if (line.rfind(kind + "\t", 0) == 0)
            out.push_back(line);
    return out;
}

bool exists(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0;
}

} // namespace

TEST(AppStateFile, WithoutAPathNothingIsWritten) {
    test_env::TempHome home;
    App app;
    app.write_state_file();
    EXPECT_FALSE(exists(home.path("state")));
    EXPECT_FALSE(exists(home.path("state.part")));
}

TEST(AppStateFile, HoldsStateTargetsCategoriesEntriesAndManualList) {
    test_env::TempHome home;
    App app;
    app.m_state_file = home.path("state");
    app.m_cats = {category("gradle", GroupKind::Java, {3000, 1000}),
                  category("npm", GroupKind::JavaScript, {500})};
    app.m_cats[0].items[1].selected = true;
    app.m_cats[0].items[0].safety = SafetyLevel::Risky;
    app.m_cats[0].items[0].reasons = {{"Holds %s files tracked by git", "", 3, SafetyLevel::Risky},
                                      {"beside %s", "Cargo.toml", -1, SafetyLevel::Safe}};
    app.m_selection = "gradle";
    app.m_status_message = "two\tparts\nand a back\\slash";
    app.m_targets = {hit_target(1, 2, 3, 4, App::Act::ToggleItem, 1)};
    Item manual;
    manual.path = "/left/over";
    manual.detail = "Permission denied";
    app.m_manual = {manual};
    app.write_state_file();

    const std::string text = test_env::read_file(home.path("state"));
    EXPECT_FALSE(exists(home.path("state.part"))) << "renamed into place";
    const std::vector<std::string> state = lines_starting(text, "state");
    ASSERT_EQ(state.size(), 1u);
    EXPECT_NE(state[0].find("\tselection=gradle\t"), std::string::npos);
    EXPECT_NE(state[0].find("\tselected_count=1\tselected_size=1000\t"), std::string::npos);
    EXPECT_NE(state[0].find("\tstatus=two\\tparts\\nand a back\\\\slash\t"), std::string::npos)
        << state[0];
    EXPECT_EQ(lines_starting(text, "target"),
              std::vector<std::string>{"target\t" +
                                       std::to_string(static_cast<int>(App::Act::ToggleItem)) +
                                       "\t1\t1\t2\t3\t4"});
    EXPECT_EQ(lines_starting(text, "cat"),
              (std::vector<std::string>{"cat\t0\tgradle\t4000\t2\t1", "cat\t1\tnpm\t500\t1\t1"}));
    const std::vector<std::string> items = lines_starting(text, "item");
    ASSERT_EQ(items.size(), 2u) << "only the open category's entries";
    EXPECT_EQ(items[0], "item\t0\t" + app.m_cats[0].items[0].path +
                            "\t0\t3000\t2\tHolds 3 files tracked by git");
    EXPECT_EQ(items[1], "item\t1\t" + app.m_cats[0].items[1].path + "\t1\t1000\t0\t");
    EXPECT_EQ(lines_starting(text, "manual"),
              std::vector<std::string>{"manual\t0\t/left/over\tPermission denied"});
    EXPECT_EQ(lines_starting(text, "lang").size(), I18n::available().size());
}
