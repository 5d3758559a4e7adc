// The application object without a window: its defaults, the poll that joins
// finished workers, hit testing, hover, scrolling and an offscreen frame.

#include "app.h"
#include "settings.h"
#include "test_env.h"
#include "window_manager.h"

#include <gdk/gdkkeysyms.h>
#include <gtest/gtest.h>

#include <chrono>
#include <sys/stat.h>
#include <thread>

namespace {

App::HitTarget target(float x, float y, float w, float h, App::Act act, int index = 0) {
    return {RectF{x, y, w, h}, act, index, RectF{x, y, w, h}};
}

// The colour of one pixel of an ARGB32 surface as "#RRGGBB".
std::string pixel_hex(cairo_surface_t* s, int x, int y) {
    cairo_surface_flush(s);
    const unsigned char* data = cairo_image_surface_get_data(s);
    const int stride = cairo_image_surface_get_stride(s);
    const uint32_t v = *reinterpret_cast<const uint32_t*>(data + y * stride + x * 4);
    return rgb_to_hex({((v >> 16) & 0xFF) / 255.0, ((v >> 8) & 0xFF) / 255.0, (v & 0xFF) / 255.0});
}

} // namespace

TEST(App, ConstructorSetsTheDocumentedDefaults) {
    test_env::TempHome home;
    App app;
    EXPECT_EQ(app.m_window, nullptr);
    EXPECT_EQ(app.m_canvas, nullptr);
    EXPECT_EQ(app.m_cr, nullptr);
    EXPECT_EQ(app.m_pango, nullptr);
    EXPECT_EQ(app.m_win_w, 1100);
    EXPECT_EQ(app.m_win_h, 720);
    EXPECT_EQ(app.m_win_x, -1000000);
    EXPECT_EQ(app.m_win_y, -1000000);
    EXPECT_FALSE(app.m_maximized);
    EXPECT_FALSE(app.m_dark);
    EXPECT_FALSE(app.m_palette.dark);
    EXPECT_EQ(app.m_palette.window, Palette::light().window);
    EXPECT_FALSE(app.m_rtl);
    EXPECT_TRUE(app.m_cats.empty());
    EXPECT_TRUE(app.m_selection.empty());
    EXPECT_FALSE(app.m_scanning);
    EXPECT_FALSE(app.m_cleaning);
    EXPECT_FALSE(app.m_worker.joinable());
    EXPECT_FALSE(app.m_cancel);
    EXPECT_FALSE(app.m_worker_running);
    EXPECT_TRUE(app.m_dirty);
    EXPECT_TRUE(app.m_status_message.empty());
    EXPECT_EQ(app.m_freed_bytes, 0);
    EXPECT_TRUE(app.m_failed_paths.empty());
    EXPECT_FALSE(app.m_failed_dialog_pending);
    EXPECT_TRUE(app.m_manual.empty());
    EXPECT_EQ(app.m_scroll, 0);
    EXPECT_EQ(app.m_sidebar_scroll, 0);
    EXPECT_TRUE(app.m_targets.empty());
    EXPECT_EQ(app.m_mouse_x, -1.0);
    EXPECT_EQ(app.m_mouse_y, -1.0);
    EXPECT_EQ(app.m_hover_act, App::Act::None);
    EXPECT_EQ(app.m_hover_index, 0);
    EXPECT_EQ(app.m_highlight_group, -1);
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
    EXPECT_FALSE(app.m_fm_editing);
    EXPECT_EQ(app.m_fm_caret, 0u);
    EXPECT_FALSE(app.m_fm_detected_valid);
    EXPECT_TRUE(app.m_r_content.empty());
}

TEST(App, ActNumbersAreStable) {
    EXPECT_EQ(static_cast<int>(App::Act::None), 0);
    EXPECT_EQ(static_cast<int>(App::Act::Rescan), 5);
    EXPECT_EQ(static_cast<int>(App::Act::About), 15);
    EXPECT_EQ(static_cast<int>(App::Act::Clean), 22);
    EXPECT_EQ(static_cast<int>(App::Act::DialogButton), 25);
    EXPECT_EQ(static_cast<int>(App::Act::CloseOverlay), 27);
}

TEST(App, DestructorCancelsAndJoinsARunningWorker) {
    test_env::TempHome home;
    std::atomic<bool> saw_cancel{false};
    {
        App app;
        app.m_worker_running = true;
        app.m_worker = std::thread([&] {
            while (!app.m_cancel)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            saw_cancel = true;
            app.m_worker_running = false;
        });
    }
    EXPECT_TRUE(saw_cancel);
}

TEST(AppPoll, WhileTheWorkerRunsOnlyTheDirtyFlagIsConsumed) {
    test_env::TempHome home;
    App app;
    app.m_scanning = true;
    app.m_worker_running = true;
    app.m_worker = std::thread([&] {
        while (!app.m_cancel)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    });
    app.m_dirty = true;
    app.on_poll();
    EXPECT_FALSE(app.m_dirty);
    EXPECT_TRUE(app.m_worker.joinable());
    EXPECT_TRUE(app.m_scanning);
    app.m_cancel = true;
    app.m_worker.join();
}

TEST(AppPoll, AFinishedWorkerIsJoinedAndTheFlagsCleared) {
    test_env::TempHome home;
    App app;
    app.m_scanning = true;
    app.m_cleaning = true;
    app.m_worker_running = true;
    app.m_worker = std::thread([&] { app.m_worker_running = false; });
    while (app.m_worker_running)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    app.m_dirty = false;
    app.on_poll();
    EXPECT_FALSE(app.m_worker.joinable());
    EXPECT_FALSE(app.m_scanning);
    EXPECT_FALSE(app.m_cleaning);
    EXPECT_TRUE(app.m_dirty);
}

TEST(AppPoll, WithNoWorkerAClearDirtyFlagStaysClear) {
    test_env::TempHome home;
    App app;
    app.m_dirty = false;
    app.on_poll();
    EXPECT_FALSE(app.m_dirty);
}

TEST(AppHitTest, LastRegisteredTargetContainingThePointWins) {
    test_env::TempHome home;
    App app;
    app.m_targets = {target(0, 0, 100, 100, App::Act::SelectOverview),
                     target(50, 50, 100, 100, App::Act::About),
                     target(200, 200, 10, 10, App::Act::Clean)};
    ASSERT_NE(app.target_at(60, 60), nullptr);
    EXPECT_EQ(app.target_at(60, 60)->act, App::Act::About);
    EXPECT_EQ(app.target_at(10, 10)->act, App::Act::SelectOverview);
    EXPECT_EQ(app.target_at(300, 300), nullptr);
}

TEST(AppHitTest, EdgesAreInside) {
    test_env::TempHome home;
    App app;
    app.m_targets = {target(10, 20, 30, 40, App::Act::Clean)};
    EXPECT_NE(app.target_at(10, 20), nullptr);
    EXPECT_NE(app.target_at(40, 60), nullptr);
    EXPECT_EQ(app.target_at(9.99, 20), nullptr);
    EXPECT_EQ(app.target_at(40.01, 60), nullptr);
    EXPECT_EQ(app.target_at(10, 60.01), nullptr);
}

TEST(AppHover, MotionRecordsPointerAndTargetUnderIt) {
    test_env::TempHome home;
    App app;
    app.m_targets = {target(0, 0, 50, 50, App::Act::SelectCategory, 4)};
    app.m_dirty = false;
    app.on_motion(10, 10);
    EXPECT_EQ(app.m_mouse_x, 10);
    EXPECT_EQ(app.m_mouse_y, 10);
    EXPECT_EQ(app.m_hover_act, App::Act::SelectCategory);
    EXPECT_EQ(app.m_hover_index, 4);
    EXPECT_TRUE(app.m_dirty);

    // Moving within the same target changes nothing visible.
    app.m_dirty = false;
    app.on_motion(20, 20);
    EXPECT_FALSE(app.m_dirty);

    // Leaving every target resets the hover.
    app.on_motion(100, 100);
    EXPECT_EQ(app.m_hover_act, App::Act::None);
    EXPECT_EQ(app.m_hover_index, 0);
    EXPECT_TRUE(app.m_dirty);
}

TEST(AppClick, SelectsByTargetAndResetsScroll) {
    test_env::TempHome home;
    App app;
    CatState cat;
    cat.def.id = "gradleCaches";
    app.m_cats.push_back(cat);
    app.m_targets = {target(0, 0, 10, 10, App::Act::SelectCategory, 0),
                     target(20, 0, 10, 10, App::Act::SelectCategory, 7),
                     target(40, 0, 10, 10, App::Act::SelectManual),
                     target(60, 0, 10, 10, App::Act::SelectOverview)};
    app.m_scroll = 120;
    app.on_click(5, 5, false);
    EXPECT_EQ(app.m_selection, "gradleCaches");
    EXPECT_EQ(app.m_scroll, 0);
    app.on_click(25, 5, false); // out-of-range index: nothing changes
    EXPECT_EQ(app.m_selection, "gradleCaches");
    app.on_click(45, 5, false);
    EXPECT_EQ(app.m_selection, "__manual__");
    app.on_click(65, 5, false);
    EXPECT_EQ(app.m_selection, "");
}

TEST(AppClick, LegendEntryTogglesTheHighlight) {
    test_env::TempHome home;
    App app;
    app.m_targets = {target(0, 0, 10, 10, App::Act::LegendEntry, 3)};
    app.on_click(5, 5, false);
    EXPECT_EQ(app.m_highlight_group, 3);
    app.on_click(5, 5, false);
    EXPECT_EQ(app.m_highlight_group, -1);
}

TEST(AppScroll, PageDownInAHundredPixelPaneMovesEighty) {
    test_env::TempHome home;
    App app;
    app.m_r_content = {0, 46, 500, 100};
    app.m_content_height = 1000;
    app.on_key(GDK_KEY_Page_Down, GdkModifierType(0));
    EXPECT_EQ(app.m_scroll, 80);
    app.on_key(GDK_KEY_Down, GdkModifierType(0));
    EXPECT_EQ(app.m_scroll, 140);
    app.on_key(GDK_KEY_Up, GdkModifierType(0));
    EXPECT_EQ(app.m_scroll, 80);
    app.on_key(GDK_KEY_Home, GdkModifierType(0));
    EXPECT_EQ(app.m_scroll, 0);
}

TEST(AppScroll, PagesUseThePaneHeightLessSixty) {
    test_env::TempHome home;
    App app;
    app.m_r_content = {0, 46, 500, 600};
    app.m_content_height = 5000;
    app.on_key(GDK_KEY_Page_Down, GdkModifierType(0));
    EXPECT_EQ(app.m_scroll, 540);
    app.on_key(GDK_KEY_Page_Up, GdkModifierType(0));
    EXPECT_EQ(app.m_scroll, 0);
}

TEST(AppScroll, StopsAtTheLastPageAndAtTheTop) {
    test_env::TempHome home;
    App app;
    app.m_r_content = {0, 46, 500, 400};
    app.m_content_height = 1000;
    app.scroll_by(100000);
    EXPECT_EQ(app.m_scroll, 600);
    app.scroll_by(-100000);
    EXPECT_EQ(app.m_scroll, 0);
    // A page shorter than the pane does not scroll at all.
    app.m_content_height = 100;
    app.scroll_by(60);
    EXPECT_EQ(app.m_scroll, 0);
}

TEST(AppScroll, LeftRightAndEndDoNothing) {
    test_env::TempHome home;
    App app;
    app.m_r_content = {0, 46, 500, 400};
    app.m_content_height = 1000;
    app.m_scroll = 100;
    for (unsigned key : {GDK_KEY_Left, GDK_KEY_Right, GDK_KEY_End})
        app.on_key(key, GdkModifierType(0));
    EXPECT_EQ(app.m_scroll, 100);
}

TEST(AppRender, AFrameFillsTheContentAreaWithTheWindowColour) {
    test_env::TempHome home;
    App app;
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 400, 300);
    cairo_t* cr = cairo_create(surface);
    app.m_targets = {target(0, 0, 5, 5, App::Act::About)};
    app.render_offscreen(cr, 400, 300);
    // The content area's top right corner: no page draws there.
    EXPECT_EQ(pixel_hex(surface, 390, 50), "#F2F1F4");
    for (const App::HitTarget& t : app.m_targets)
        EXPECT_FALSE(t.rect.w == 5 && t.rect.h == 5) << "each frame starts with no targets";

    app.m_palette = Palette::dark_();
    app.render_offscreen(cr, 400, 300);
    EXPECT_EQ(pixel_hex(surface, 390, 50), "#1C1C1E");
    EXPECT_EQ(app.m_cr, nullptr) << "the context is only held while drawing";
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
}

// ---------------------------------------------------------------------------
// Theme and geometry wiring (no window: the toolkit is not initialised)
// ---------------------------------------------------------------------------

TEST(AppTheme, DarkSettingGivesTheDarkPalette) {
    test_env::TempHome home;
    App app;
    SettingsStore::instance().mutable_get().theme = "dark";
    app.m_dirty = false;
    app.apply_theme();
    EXPECT_TRUE(app.m_dark);
    EXPECT_TRUE(app.m_palette.dark);
    EXPECT_EQ(app.m_palette.window, Palette::dark_().window);
    EXPECT_TRUE(app.m_dirty);
}

TEST(AppTheme, LightSettingGivesTheLightPalette) {
    test_env::TempHome home;
    App app;
    SettingsStore::instance().mutable_get().theme = "dark";
    app.apply_theme();
    SettingsStore::instance().mutable_get().theme = "light";
    app.apply_theme();
    EXPECT_FALSE(app.m_dark);
    EXPECT_EQ(app.m_palette.window, Palette::light().window);
}

TEST(AppTheme, AutoWithoutABusOrToolkitSettingsIsLight) {
    test_env::TempHome home;
    // A bus address where nothing listens: the desktop is asked, and neither
    // the portal nor GTK's settings (the toolkit is not initialised) answer.
    const std::string nowhere = "unix:path=" + home.path("no-bus");
    test_env::ScopedEnv bus("DBUS_SESSION_BUS_ADDRESS", nowhere.c_str());
    App app;
    SettingsStore::instance().mutable_get().theme = "auto";
    app.m_palette = Palette::dark_();
    app.apply_theme();
    EXPECT_FALSE(app.m_dark);
    EXPECT_EQ(app.m_palette.window, Palette::light().window);
}

TEST(AppTheme, AStoredDarkThemeIsAppliedAfterLoading) {
    test_env::TempHome home;
    SettingsStore::instance().mutable_get().theme = "dark";
    SettingsStore::instance().save();
    SettingsStore::instance().mutable_get() = Settings{};
    SettingsStore::instance().load();
    App app;
    app.apply_theme();
    EXPECT_TRUE(app.m_dark);
}

TEST(AppGeometry, SavingWithoutAWindowWritesNothing) {
    test_env::TempHome home;
    App app;
    app.save_geometry();
    struct stat st {};
    EXPECT_NE(stat(WindowManager::instance().path().c_str(), &st), 0);
}
