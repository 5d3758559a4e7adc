// Whole frames drawn offscreen from category states built in memory: the
// regions, the hit targets of the toolbar, sidebar, footer, overview and
// category page (and their mirror images in a right-to-left language), the
// scroll indicator, the donut, and pixels whose colour is settled.

#include "app.h"
#include "app_render_shared.h"
#include "format.h"
#include "i18n.h"
#include "render_test_util.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <cmath>

using render_test::Canvas;
using render_test::category;
using render_test::expect_rect;
using render_test::find_target;
using render_test::targets_of;
using Act = App::Act;

namespace {

constexpr int W = 1100;
constexpr int H = 720;

// Four categories in four groups; the logs category has one entry whose
// size is unknown, so it is listed but adds nothing to any total.
void fill(App& app) {
    app.m_cats = {
        category("gradle", GroupKind::Java, {3000, 1000}),
        category("npm", GroupKind::JavaScript, {500}),
        category("ides", GroupKind::Ides, {2000}),
        category("logs", GroupKind::Logs, {0}),
    };
}

const char* tr(const char* text) {
    return I18n::instance().tr(text);
}

} // namespace

// ---------------------------------------------------------------------------
// Regions
// ---------------------------------------------------------------------------

TEST(RenderLayout, ThreeHundredWideGivesASidebarOfAThird) {
    test_env::TempHome home;
    App app;
    app.m_width = 300;
    app.m_height = 720;
    app.compute_layout();
    expect_rect(app.m_r_toolbar, 0, 0, 300, 46, "toolbar");
    expect_rect(app.m_r_footer, 0, 646, 300, 74, "footer");
    expect_rect(app.m_r_sidebar, 0, 46, 102, 600, "sidebar");
    expect_rect(app.m_r_content, 102, 46, 198, 600, "content");
}

TEST(RenderLayout, ThousandWideCapsTheSidebarAt268) {
    test_env::TempHome home;
    App app;
    app.m_width = 1000;
    app.m_height = 720;
    app.compute_layout();
    expect_rect(app.m_r_sidebar, 0, 46, 268, 600, "sidebar");
    expect_rect(app.m_r_content, 268, 46, 732, 600, "content");
}

TEST(RenderLayout, AHundredHighWindowHasNoMiddleAndDrawsNoPage) {
    test_env::TempHome home;
    App app;
    fill(app);
    app.m_content_height = -1; // untouched unless a page is drawn
    Canvas canvas(1000, 100);
    app.render_offscreen(canvas.cr(), 1000, 100);
    EXPECT_EQ(app.m_r_sidebar.h, 0);
    EXPECT_EQ(app.m_r_content.h, 0);
    EXPECT_EQ(app.m_content_height, -1);
    for (Act act : {Act::SelectOverview, Act::SelectCategory, Act::LegendEntry, Act::TopConsumer})
        EXPECT_TRUE(targets_of(app, act).empty()) << static_cast<int>(act);
    EXPECT_NE(find_target(app, Act::About), nullptr) << "the toolbar is still there";
    EXPECT_NE(find_target(app, Act::Clean), nullptr) << "and so is the footer";
}

TEST(RenderLayout, AZeroSizedCanvasDrawsWithoutTrouble) {
    test_env::TempHome home;
    App app;
    fill(app);
    Canvas canvas(1, 1);
    app.render_offscreen(canvas.cr(), 0, 0);
    EXPECT_EQ(app.m_r_sidebar.w, 0);
    EXPECT_TRUE(targets_of(app, Act::SelectOverview).empty());
}

// ---------------------------------------------------------------------------
// Scroll indicator
// ---------------------------------------------------------------------------

TEST(RenderScroll, APageExactlyAsTallAsThePaneShowsNoIndicator) {
    EXPECT_FALSE(render::scroll_thumb(46, 600, 600, 0).shown);
    EXPECT_FALSE(render::scroll_thumb(46, 600, 200, 0).shown);
    EXPECT_TRUE(render::scroll_thumb(46, 600, 601, 0).shown);
}

TEST(RenderScroll, AFarTallerPageShowsAThumbOfAtLeast28) {
    const render::Thumb top = render::scroll_thumb(46, 600, 1e7, 0);
    ASSERT_TRUE(top.shown);
    EXPECT_DOUBLE_EQ(top.length, 28);
    EXPECT_DOUBLE_EQ(top.top, 52);
    const render::Thumb bottom = render::scroll_thumb(46, 600, 1e7, 1e7 - 600);
    EXPECT_DOUBLE_EQ(bottom.top, 46 + 6 + 588 - 28);
}

TEST(RenderScroll, ThumbLengthIsTheVisibleShareOfTheTrack) {
    const render::Thumb t = render::scroll_thumb(46, 600, 1200, 300);
    EXPECT_DOUBLE_EQ(t.length, 294);
    EXPECT_DOUBLE_EQ(t.top, 52 + (588 - 294) * 0.5);
}

TEST(RenderScroll, TheIndicatorIsDrawnOnlyForTallPages) {
    test_env::TempHome home;
    App app;
    app.m_cats = {category("big", GroupKind::Java, std::vector<int64_t>(2000, 4096))};
    app.m_selection = "big";
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    const Rgb thumb = render_test::over(app.m_palette.window, app.m_palette.text, 0.22);
    EXPECT_TRUE(render_test::near(canvas.rgb(1094, 60), thumb));

    app.m_cats = {category("big", GroupKind::Java, {4096})};
    app.render_offscreen(canvas.cr(), W, H);
    EXPECT_EQ(canvas.hex(1094, 60), app.m_palette.window);
}

// ---------------------------------------------------------------------------
// Toolbar
// ---------------------------------------------------------------------------

TEST(RenderToolbar, ButtonsStandAtTheRightEdgeInOrder) {
    test_env::TempHome home;
    App app;
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    const App::HitTarget* about = find_target(app, Act::About);
    const App::HitTarget* settings = find_target(app, Act::AppMenu);
    const App::HitTarget* rescan = find_target(app, Act::Rescan);
    ASSERT_TRUE(about && settings && rescan);
    EXPECT_EQ(find_target(app, Act::CancelScan), nullptr);
    const double wa = app.measure_text(tr("About"), App::Font::Body) + 26;
    const double ws = app.measure_text(tr("Settings"), App::Font::Body) + 26;
    const double wr = app.measure_text(tr("Rescan"), App::Font::Body) + 26;
    expect_rect(about->rect, W - 13.2 - wa, 8, wa, 30, "About");
    expect_rect(settings->rect, about->rect.x - 8 - ws, 8, ws, 30, "Settings");
    expect_rect(rescan->rect, settings->rect.x - 8 - wr, 8, wr, 30, "Rescan");
}

TEST(RenderToolbar, WhileScanningCancelTakesRescansPlace) {
    test_env::TempHome home;
    App app;
    app.m_scanning = true;
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    EXPECT_EQ(find_target(app, Act::Rescan), nullptr);
    const App::HitTarget* cancel = find_target(app, Act::CancelScan);
    ASSERT_NE(cancel, nullptr);
    EXPECT_NEAR(cancel->rect.w, app.measure_text(tr("Cancel"), App::Font::Body) + 26, 0.01);
}

TEST(RenderToolbar, RightToLeftPutsTheButtonsAtTheLeftInMirroredOrder) {
    test_env::TempHome home;
    render_test::Language arabic("ar");
    App app;
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    ASSERT_TRUE(app.m_rtl);
    const App::HitTarget* about = find_target(app, Act::About);
    const App::HitTarget* settings = find_target(app, Act::AppMenu);
    const App::HitTarget* rescan = find_target(app, Act::Rescan);
    ASSERT_TRUE(about && settings && rescan);
    const double wa = app.measure_text(tr("About"), App::Font::Body) + 26;
    const double ws = app.measure_text(tr("Settings"), App::Font::Body) + 26;
    const double wr = app.measure_text(tr("Rescan"), App::Font::Body) + 26;
    expect_rect(about->rect, 13.2, 8, wa, 30, "About");
    expect_rect(settings->rect, 13.2 + wa + 8, 8, ws, 30, "Settings");
    expect_rect(rescan->rect, 13.2 + wa + 8 + ws + 8, 8, wr, 30, "Rescan");
    // The target lies over what was drawn: the button's face at its middle.
    EXPECT_EQ(canvas.hex(static_cast<int>(about->rect.x + 3), 23), app.m_palette.control);
}

// ---------------------------------------------------------------------------
// Sidebar
// ---------------------------------------------------------------------------

TEST(RenderSidebar, RowsFollowTheGroupsWithTheirCategoryIndices) {
    test_env::TempHome home;
    App app;
    fill(app);
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    const App::HitTarget* overview = find_target(app, Act::SelectOverview);
    ASSERT_NE(overview, nullptr);
    expect_rect(overview->rect, 8, 54, 248, 46, "Overview");
    EXPECT_EQ(find_target(app, Act::SelectManual), nullptr)
        << "no manual row while its list is empty";
    // Groups in their order (IDEs, Java, JavaScript, Logs), each header 26.
    const std::vector<App::HitTarget> rows = targets_of(app, Act::SelectCategory);
    ASSERT_EQ(rows.size(), 4u);
    const int order[] = {2, 0, 1, 3};
    const double ys[] = {130, 206, 282, 358};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(rows[i].index, order[i]);
        expect_rect(rows[i].rect, 8, ys[i], 248, 46, "category row");
    }
    EXPECT_DOUBLE_EQ(app.m_sidebar_height, 408 - 54 + 8);
}

TEST(RenderSidebar, TheManualRowAppearsWithItsList) {
    test_env::TempHome home;
    App app;
    fill(app);
    app.m_manual.push_back(Item{});
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    const App::HitTarget* manual = find_target(app, Act::SelectManual);
    ASSERT_NE(manual, nullptr);
    expect_rect(manual->rect, 8, 104, 248, 46, "Remove manually");
    EXPECT_NEAR(targets_of(app, Act::SelectCategory).front().rect.y, 180, 0.01);
}

TEST(RenderSidebar, RowsOutOfSightAreCountedButNotRegistered) {
    test_env::TempHome home;
    App app;
    for (int i = 0; i < 200; ++i)
        app.m_cats.push_back(category("c" + std::to_string(i), GroupKind::Python, {1000 + i}));
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    const double full = app.m_sidebar_height;
    EXPECT_DOUBLE_EQ(full, 8 + 50 + 26 + 200 * 50);
    const size_t shown = targets_of(app, Act::SelectCategory).size();
    EXPECT_LE(shown, 13u);
    EXPECT_GE(shown, 10u);

    app.m_sidebar_scroll = 5000;
    app.render_offscreen(canvas.cr(), W, H);
    EXPECT_DOUBLE_EQ(app.m_sidebar_height, full) << "scrolling does not change the height";
    EXPECT_EQ(find_target(app, Act::SelectOverview), nullptr) << "scrolled out of sight";
    const std::vector<App::HitTarget> rows = targets_of(app, Act::SelectCategory);
    ASSERT_FALSE(rows.empty());
    for (const App::HitTarget& t : rows) {
        EXPECT_GT(t.rect.y + t.rect.h, 46);
        EXPECT_LT(t.rect.y, 646);
    }
}

TEST(RenderSidebar, RightToLeftMirrorsTheRows) {
    test_env::TempHome home;
    App ltr_app;
    fill(ltr_app);
    Canvas canvas(W, H);
    ltr_app.render_offscreen(canvas.cr(), W, H);
    render_test::Language arabic("ar");
    App app;
    fill(app);
    app.render_offscreen(canvas.cr(), W, H);
    for (Act act : {Act::SelectOverview, Act::SelectCategory}) {
        const std::vector<App::HitTarget> a = targets_of(ltr_app, act);
        const std::vector<App::HitTarget> b = targets_of(app, act);
        ASSERT_EQ(a.size(), b.size());
        for (size_t i = 0; i < a.size(); ++i) {
            EXPECT_EQ(a[i].index, b[i].index);
            expect_rect(b[i].rect, W - a[i].rect.x - a[i].rect.w, a[i].rect.y, a[i].rect.w,
                        a[i].rect.h, "mirrored row");
        }
    }
    // The sidebar itself stands at the right: its bar colour at x = 1090.
    EXPECT_EQ(canvas.hex(1090, 640), app.m_palette.bar);
}

// ---------------------------------------------------------------------------
// Footer
// ---------------------------------------------------------------------------

TEST(RenderFooter, TheDeleteButtonSitsAtTheRightAndRegistersClean) {
    test_env::TempHome home;
    App app;
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    const App::HitTarget* clean = find_target(app, Act::Clean);
    ASSERT_NE(clean, nullptr);
    const double w = app.measure_text(tr("Delete permanently"), App::Font::Body) + 40;
    expect_rect(clean->rect, W - 22 - w, 646 + 19, w, 36, "Delete permanently");
}

TEST(RenderFooter, RightToLeftMirrorsTheDeleteButton) {
    test_env::TempHome home;
    render_test::Language arabic("ar");
    App app;
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    const App::HitTarget* clean = find_target(app, Act::Clean);
    ASSERT_NE(clean, nullptr);
    const double w = app.measure_text(tr("Delete permanently"), App::Font::Body) + 40;
    expect_rect(clean->rect, 22, 665, w, 36, "Delete permanently");
}

TEST(RenderFooter, TheButtonTurnsToTheGradientWhenSomethingIsSelected) {
    test_env::TempHome home;
    App app;
    fill(app);
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    const App::HitTarget* clean = find_target(app, Act::Clean);
    ASSERT_NE(clean, nullptr);
    const int px = static_cast<int>(clean->rect.x + 6), py = static_cast<int>(clean->rect.y + 6);
    const Rgb disabled = canvas.rgb(px, py);
    app.m_cats[0].items[0].selected = true;
    app.render_offscreen(canvas.cr(), W, H);
    EXPECT_TRUE(
        render_test::near(canvas.rgb(px, py), render_test::over("#FFFFFF", "#FF599E", 1), 24));
    EXPECT_FALSE(render_test::near(disabled, canvas.rgb(px, py), 24));
}

// ---------------------------------------------------------------------------
// Overview
// ---------------------------------------------------------------------------

TEST(RenderOverview, LegendEntriesAreTheGroupsBySizeLargestFirst) {
    test_env::TempHome home;
    App app;
    fill(app);
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    const std::vector<App::HitTarget> legend = targets_of(app, Act::LegendEntry);
    // Java 4000, IDEs 2000, JavaScript 500; Logs has only an unknown size.
    ASSERT_EQ(legend.size(), 3u);
    EXPECT_EQ(legend[0].index, static_cast<int>(GroupKind::Java));
    EXPECT_EQ(legend[1].index, static_cast<int>(GroupKind::Ides));
    EXPECT_EQ(legend[2].index, static_cast<int>(GroupKind::JavaScript));
    for (int i = 0; i < 3; ++i)
        expect_rect(legend[i].rect, 566, 376 + 26 * i, 408, 26, "legend row");
}

TEST(RenderOverview, ItemsOfUnknownOrZeroSizeAddNothing) {
    test_env::TempHome home;
    App app;
    fill(app);
    app.m_cats.push_back(category("empty", GroupKind::Python, {0, 0}));
    app.m_cats.back().items[0].size_known = true; // measured: zero bytes
    app.m_cats.push_back(category("neg", GroupKind::Projects, {-50}));
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    for (const App::HitTarget& t : targets_of(app, Act::LegendEntry)) {
        EXPECT_NE(t.index, static_cast<int>(GroupKind::Python));
        EXPECT_NE(t.index, static_cast<int>(GroupKind::Projects));
        EXPECT_NE(t.index, static_cast<int>(GroupKind::Logs));
    }
}

TEST(RenderOverview, BiggestConsumersAreTheEightLargestCategories) {
    test_env::TempHome home;
    App app;
    for (int i = 0; i < 10; ++i)
        app.m_cats.push_back(category("c" + std::to_string(i), GroupKind::Java, {(i + 1) * 100}));
    app.m_cats.push_back(category("none", GroupKind::Java, {0}));
    Canvas canvas(W, 1200);
    app.render_offscreen(canvas.cr(), W, 1200);
    const std::vector<App::HitTarget> rows = targets_of(app, Act::TopConsumer);
    ASSERT_EQ(rows.size(), 8u);
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(rows[i].index, 9 - i) << "largest first";
        // The card starts 288 below the donut card's top (266); rows 46 in.
        expect_rect(rows[i].rect, 298, 554 + 46 + 52 * i, 766, 52, "consumer row");
    }
    // The page ends 22 below the card of 8 rows.
    EXPECT_DOUBLE_EQ(app.m_content_height, 554 + 8 * 52 + 52 + 12 - 46 + 22);
}

TEST(RenderOverview, ConsumerRowsOutOfSightAreNotRegistered) {
    test_env::TempHome home;
    App app;
    for (int i = 0; i < 10; ++i)
        app.m_cats.push_back(category("c" + std::to_string(i), GroupKind::Java, {(i + 1) * 100}));
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    // The content ends at 646: the row at 600 reaches into it, the one at
    // 652 does not.
    EXPECT_EQ(targets_of(app, Act::TopConsumer).size(), 1u);
    EXPECT_DOUBLE_EQ(app.m_content_height, 554 + 8 * 52 + 52 + 12 - 46 + 22);
}

TEST(RenderOverview, RightToLeftMirrorsLegendAndConsumers) {
    test_env::TempHome home;
    App ltr_app;
    fill(ltr_app);
    Canvas canvas(W, 1000);
    ltr_app.render_offscreen(canvas.cr(), W, 1000);
    render_test::Language arabic("ar");
    App app;
    fill(app);
    app.render_offscreen(canvas.cr(), W, 1000);
    for (Act act : {Act::LegendEntry, Act::TopConsumer}) {
        const std::vector<App::HitTarget> a = targets_of(ltr_app, act);
        const std::vector<App::HitTarget> b = targets_of(app, act);
        ASSERT_EQ(a.size(), b.size());
        ASSERT_FALSE(a.empty());
        for (size_t i = 0; i < a.size(); ++i) {
            EXPECT_EQ(a[i].index, b[i].index);
            expect_rect(b[i].rect, W - a[i].rect.x - a[i].rect.w, a[i].rect.y, a[i].rect.w,
                        a[i].rect.h, "mirrored");
        }
    }
}

TEST(RenderOverview, NothingFoundWhileScanningShowsTheScanningState) {
    test_env::TempHome home;
    App app;
    app.m_cats = {category("a", GroupKind::Java, {})};
    app.m_cats[0].did_scan = false;
    app.m_scanning = true;
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    EXPECT_TRUE(targets_of(app, Act::LegendEntry).empty());
    EXPECT_DOUBLE_EQ(app.m_content_height, 600);
    // The state's chip, centred, is brand pink at its top-left.
    EXPECT_TRUE(
        render_test::near(canvas.rgb(662, 262), render_test::over("#FFFFFF", "#FF599E", 1), 24));

    app.m_scanning = false;
    app.render_offscreen(canvas.cr(), W, H);
    EXPECT_DOUBLE_EQ(app.m_content_height, 600);
    // The empty state's chip is green instead.
    EXPECT_TRUE(render_test::near(canvas.rgb(662, 262),
                                  render_test::over("#FFFFFF", app.m_palette.ok_fg, 1), 24));
}

// ---------------------------------------------------------------------------
// Donut
// ---------------------------------------------------------------------------

TEST(RenderDonut, RadiiFollowTheCardHeight) {
    const render::Ring small = render::donut_radii(200);
    EXPECT_DOUBLE_EQ(small.outer, 76);
    EXPECT_NEAR(small.inner, 44.08, 1e-9);
    const render::Ring big = render::donut_radii(400);
    EXPECT_DOUBLE_EQ(big.outer, 110);
    EXPECT_DOUBLE_EQ(big.inner, 63.8);
    const render::Ring edge = render::donut_radii(268);
    EXPECT_DOUBLE_EQ(edge.outer, 110) << "d = 220 is already the maximum";
}

TEST(RenderDonut, AOnePercentSliceHasNarrowGapsAndNoSize) {
    const double sweep = 0.01 * 2 * M_PI;
    EXPECT_NEAR(render::slice_gap(sweep), 0.020944, 1e-6);
    EXPECT_LT(render::slice_gap(sweep), 0.022);
    EXPECT_FALSE(render::slice_shows_size(sweep));
    EXPECT_DOUBLE_EQ(render::slice_gap(1.0), 0.022);
}

TEST(RenderDonut, SizesAreWrittenOnlyAbovePoint38Radians) {
    EXPECT_FALSE(render::slice_shows_size(0.38));
    EXPECT_TRUE(render::slice_shows_size(0.3801));
    EXPECT_FALSE(render::slice_shows_size(0.1));
}

class RenderDonutPixels : public ::testing::TestWithParam<bool> {};

TEST_P(RenderDonutPixels, OneGroupLeavesASlitAtTwelveOClock) {
    test_env::TempHome home;
    App app;
    app.m_palette = Palette::for_theme(GetParam());
    app.m_cats = {category("gradle", GroupKind::Java, {5000})};
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    // Donut card at (290, 266), 268 high: centre (424, 400), ring 63.8 to 110.
    const Rgb card = render_test::over("#000000", app.m_palette.bar, 1);
    EXPECT_TRUE(render_test::near(canvas.rgb(424, 313), card, 6)) << "the slit";
    EXPECT_EQ(canvas.hex(511, 400), "#FFB020") << "the ring at three o'clock";
    EXPECT_EQ(canvas.hex(337, 400), "#FFB020") << "and at nine";
    EXPECT_TRUE(render_test::near(canvas.rgb(424 + 40, 400 - 30), card, 6)) << "the hole";
}

TEST_P(RenderDonutPixels, AHighlightedGroupFadesTheOthers) {
    test_env::TempHome home;
    App app;
    app.m_palette = Palette::for_theme(GetParam());
    app.m_cats = {category("gradle", GroupKind::Java, {3000}),
                  category("ides", GroupKind::Ides, {1000})};
    app.m_highlight_group = static_cast<int>(GroupKind::Ides);
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    // Java runs from twelve to nine o'clock clockwise, IDEs from nine to twelve.
    EXPECT_TRUE(render_test::near(canvas.rgb(511, 400),
                                  render_test::over(app.m_palette.bar, "#FFB020", 0.3)));
    const int x = static_cast<int>(424 + 87 * std::cos(M_PI + 0.2));
    const int y = static_cast<int>(400 + 87 * std::sin(M_PI + 0.2));
    EXPECT_EQ(canvas.hex(x, y), "#FF5B54");
}

TEST_P(RenderDonutPixels, RightToLeftMirrorsTheCentre) {
    test_env::TempHome home;
    render_test::Language arabic("ar");
    App app;
    app.m_palette = Palette::for_theme(GetParam());
    app.m_cats = {category("gradle", GroupKind::Java, {5000})};
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    const Rgb card = render_test::over("#000000", app.m_palette.bar, 1);
    EXPECT_TRUE(render_test::near(canvas.rgb(676, 313), card, 6));
    EXPECT_EQ(canvas.hex(676 + 87, 400), "#FFB020");
    EXPECT_EQ(canvas.hex(676 - 87, 400), "#FFB020");
}

INSTANTIATE_TEST_SUITE_P(RenderPalettes, RenderDonutPixels, ::testing::Values(false, true));

// ---------------------------------------------------------------------------
// Category page
// ---------------------------------------------------------------------------

TEST(RenderDetail, HeaderButtonsAndRowsRegisterTheirTargets) {
    test_env::TempHome home;
    App app;
    fill(app);
    app.m_selection = "gradle";
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    const App::HitTarget* reveal = find_target(app, Act::RevealCategory, 0);
    const App::HitTarget* safe = find_target(app, Act::SelectAllSafe);
    const App::HitTarget* none = find_target(app, Act::SelectNone);
    ASSERT_TRUE(reveal && safe && none);
    // 8 apart, the last ending at the page's right margin (290 + 782).
    EXPECT_NEAR(none->rect.x + none->rect.w, 1072, 0.01);
    EXPECT_NEAR(safe->rect.x + safe->rect.w + 8, none->rect.x, 0.01);
    EXPECT_NEAR(reveal->rect.x + reveal->rect.w + 8, safe->rect.x, 0.01);
    EXPECT_NEAR(reveal->rect.w, app.measure_text(tr("Open folder"), App::Font::Body) + 26, 0.01);
    EXPECT_FLOAT_EQ(reveal->rect.h, 30);

    const std::vector<App::HitTarget> rows = targets_of(app, Act::ToggleItem);
    ASSERT_EQ(rows.size(), 2u);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(rows[i].index, i);
        expect_rect(rows[i].rect, 290, 210 + 98 * i, 782, 90, "item row");
    }
    const std::vector<App::HitTarget> links = targets_of(app, Act::RevealItem);
    ASSERT_EQ(links.size(), 2u);
    const double lw = app.measure_text(tr("Show in file manager"), App::Font::Caption) + 15;
    expect_rect(links[1].rect, 290 + 46 + 720 - lw, 210 + 98 + 64, lw, 20, "reveal link");
    EXPECT_EQ(links[1].index, 1);
    // The link is registered after its row, so a click on it reveals.
    app.on_motion(links[1].rect.x + 2, links[1].rect.y + 2);
    EXPECT_EQ(app.m_hover_act, Act::RevealItem);
    EXPECT_DOUBLE_EQ(app.m_content_height, 22 + 142 + 2 * 98 - 8 + 22);
}

TEST(RenderDetail, AnEmptyCategoryShowsNoRows) {
    test_env::TempHome home;
    App app;
    app.m_cats = {category("void", GroupKind::Logs, {})};
    app.m_selection = "void";
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    EXPECT_TRUE(targets_of(app, Act::ToggleItem).empty());
    EXPECT_NE(find_target(app, Act::RevealCategory, 0), nullptr);
}

TEST(RenderDetail, FiftyThousandEntriesLayOutOnlyTheVisibleRows) {
    test_env::TempHome home;
    App app;
    app.m_cats = {category("huge", GroupKind::JavaScript, std::vector<int64_t>(50000, 8192))};
    app.m_selection = "huge";
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    const double height = 22 + 142 + 50000.0 * 98 - 8 + 22;
    EXPECT_DOUBLE_EQ(app.m_content_height, height);

    app.m_scroll = (height - 600) / 2;
    app.render_offscreen(canvas.cr(), W, H);
    EXPECT_DOUBLE_EQ(app.m_content_height, height) << "scrolling keeps the height";
    const std::vector<App::HitTarget> rows = targets_of(app, Act::ToggleItem);
    ASSERT_GE(rows.size(), 6u);
    ASSERT_LE(rows.size(), 8u);
    for (size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].index, rows[0].index + static_cast<int>(i));
        EXPECT_GT(rows[i].rect.y + rows[i].rect.h, 46);
        EXPECT_LT(rows[i].rect.y, 646);
    }
    EXPECT_NEAR(rows[0].index, 25000, 10);
    EXPECT_EQ(find_target(app, Act::SelectAllSafe), nullptr) << "the header scrolled away";
}

TEST(RenderDetail, RightToLeftMirrorsRowsAndButtons) {
    test_env::TempHome home;
    App ltr_app;
    fill(ltr_app);
    ltr_app.m_selection = "gradle";
    Canvas canvas(W, H);
    ltr_app.render_offscreen(canvas.cr(), W, H);
    render_test::Language arabic("ar");
    App app;
    fill(app);
    app.m_selection = "gradle";
    app.render_offscreen(canvas.cr(), W, H);
    const std::vector<App::HitTarget> a = targets_of(ltr_app, Act::ToggleItem);
    const std::vector<App::HitTarget> b = targets_of(app, Act::ToggleItem);
    ASSERT_EQ(a.size(), b.size());
    for (size_t i = 0; i < a.size(); ++i)
        expect_rect(b[i].rect, W - a[i].rect.x - a[i].rect.w, a[i].rect.y, a[i].rect.w, a[i].rect.h,
                    "mirrored row");
    // "None" ends the row of buttons: in mirror image it starts at the left margin.
    const App::HitTarget* none = find_target(app, Act::SelectNone);
    ASSERT_NE(none, nullptr);
    EXPECT_NEAR(none->rect.x, W - 1072, 0.01);
    // The check box of row 0 stands at the right: x = 1100 - 306 - 18.
    const App::HitTarget* row = find_target(app, Act::ToggleItem, 0);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(canvas.hex(W - 306 - 9, 210 + 45), app.m_palette.control);
}

TEST(RenderDetail, AProjectRowsReasonLineShowsConcernsAloneWhenThereAreAny) {
    test_env::TempHome home;
    App app;
    using R = evidence::Reason;
    const R ignored{"Ignored by git", "", -1, SafetyLevel::Safe};
    const R beside{"beside %s", "Cargo.toml", -1, SafetyLevel::Safe};
    const R tracked{"Holds %s files tracked by git", "", 1234, SafetyLevel::Risky};
    const R documents{"Inside your documents folder", "", -1, SafetyLevel::Caution};
    EXPECT_EQ(app.reasons_line({ignored, beside}), "Ignored by git · beside Cargo.toml");
    // Whatever speaks for deleting is left out once something speaks against it.
    EXPECT_EQ(app.reasons_line({tracked, documents, ignored, beside}),
              "Holds 1,234 files tracked by git · Inside your documents folder");
    EXPECT_EQ(app.reasons_line({}), "");
    // In right-to-left text a file name and a number keep their own direction.
    app.m_rtl = true;
    EXPECT_EQ(app.reasons_line({beside}), "beside \u2066Cargo.toml\u2069");
    EXPECT_EQ(app.reasons_line({tracked}), "Holds \u20661,234\u2069 files tracked by git");
}

TEST(RenderDetail, AVersionInUseShowsItsPillAndWhyInAReasonLine) {
    test_env::TempHome home;
    App app;
    // The two marked rows have the same size, so their pills end at the same x.
    CatState rust =
        category("rust", GroupKind::OtherLangs, {3000, 2000, 3000}, SafetyLevel::Caution);
    rust.def.keep_newest = true;
    rust.items[0].in_use = true;
    rust.items[0].safety = SafetyLevel::Risky;
    rust.items[0].reasons = {{"Set as default in %s", "rustup", -1, SafetyLevel::Risky}};
    rust.items[2].keep_hint = true;
    rust.items[2].safety = SafetyLevel::Risky;
    app.m_cats = {rust};
    app.m_selection = "rust";
    FitLog log;
    app.m_fit_log = &log;
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    app.m_fit_log = nullptr;

    std::vector<const FitNote*> in_use, newest;
    const FitNote* reason = nullptr;
    for (const FitNote& n : log.notes) {
        if (n.kind == FitNote::Kind::Pill && n.text == tr("in use — keep"))
            in_use.push_back(&n);
        if (n.kind == FitNote::Kind::Pill && n.text == tr("newest — keep"))
            newest.push_back(&n);
        if (n.kind == FitNote::Kind::Label && n.text == "Set as default in rustup")
            reason = &n;
    }
    // One pill each, on the first line of its own row: rows are 108 high
    // with the reason line, 8 apart, from 210.
    ASSERT_EQ(in_use.size(), 1u);
    ASSERT_EQ(newest.size(), 1u);
    EXPECT_NEAR(in_use[0]->drawn.y, 210 + 10, 0.5);
    EXPECT_NEAR(newest[0]->drawn.y, 210 + 2 * 116 + 10, 0.5);
    // Where "newest — keep" would be: 8 before the size, which ends 16 inside
    // the row.
    const double size_w = app.measure_text(fmt::bytes(3000), App::Font::MonoBold);
    EXPECT_NEAR(in_use[0]->drawn.x + in_use[0]->drawn.w, 290 + 782 - 16 - size_w - 8, 0.5);
    EXPECT_NEAR(in_use[0]->drawn.x + in_use[0]->drawn.w, newest[0]->drawn.x + newest[0]->drawn.w,
                0.5);
    ASSERT_NE(reason, nullptr) << "the reason line is drawn";
    EXPECT_NEAR(reason->room.y, 210 + 84, 0.5);
    const std::vector<App::HitTarget> rows = targets_of(app, Act::ToggleItem);
    ASSERT_EQ(rows.size(), 3u);
    for (int i = 0; i < 3; ++i)
        expect_rect(rows[i].rect, 290, 210 + 116 * i, 782, 108, "row with a reason line");

    // Its red pill is really drawn: the pill's middle holds the danger red
    // blended over the card, not the card alone.
    const int px = static_cast<int>(in_use[0]->drawn.x + 3);
    const int py = static_cast<int>(in_use[0]->drawn.y + in_use[0]->drawn.h / 2);
    EXPECT_NE(canvas.hex(px, py), app.m_palette.bar);
}

TEST(RenderDetail, RowsWithoutReasonsKeepTheirHeight) {
    test_env::TempHome home;
    App app;
    CatState rust = category("rust", GroupKind::OtherLangs, {3000, 1000}, SafetyLevel::Caution);
    rust.items[0].keep_hint = true;
    app.m_cats = {rust};
    app.m_selection = "rust";
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    const std::vector<App::HitTarget> rows = targets_of(app, Act::ToggleItem);
    ASSERT_EQ(rows.size(), 2u);
    expect_rect(rows[1].rect, 290, 210 + 98, 782, 90, "row without a reason line");
}

TEST(RenderManual, CardsRegisterTheirButtons) {
    test_env::TempHome home;
    App app;
    for (int i = 0; i < 3; ++i) {
        Item it;
        it.name = "entry" + std::to_string(i);
        it.path = "/nonexistent/place/entry" + std::to_string(i);
        it.detail = "Permission denied";
        app.m_manual.push_back(it);
    }
    app.m_selection = "__manual__";
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    const std::vector<App::HitTarget> buttons = targets_of(app, Act::OpenManualItem);
    ASSERT_EQ(buttons.size(), 3u);
    const double bw = app.measure_text(tr("Show in file manager"), App::Font::Body) + 26;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(buttons[i].index, i);
        EXPECT_NEAR(buttons[i].rect.w, bw, 0.01);
        EXPECT_NEAR(buttons[i].rect.x + buttons[i].rect.w, 1072 - 16, 0.01);
        if (i > 0) {
            EXPECT_NEAR(buttons[i].rect.y - buttons[i - 1].rect.y, 72, 0.01);
        }
    }
    const App::HitTarget* manual = find_target(app, Act::SelectManual);
    ASSERT_NE(manual, nullptr);
}

TEST(RenderManual, RightToLeftMirrorsTheButtons) {
    test_env::TempHome home;
    render_test::Language arabic("ar");
    App app;
    Item it;
    it.name = "entry";
    it.path = "/nonexistent/place/entry";
    app.m_manual.push_back(it);
    app.m_selection = "__manual__";
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    const App::HitTarget* b = find_target(app, Act::OpenManualItem, 0);
    ASSERT_NE(b, nullptr);
    EXPECT_NEAR(b->rect.x, W - (1072 - 16), 0.01);
}

// ---------------------------------------------------------------------------
// Settled colours, in both palettes
// ---------------------------------------------------------------------------

class RenderPixels : public ::testing::TestWithParam<bool> {
protected:
    test_env::TempHome home;
    App app;
    Canvas canvas{W, H};

    void SetUp() override {
        app.m_dark = GetParam();
        app.m_palette = Palette::for_theme(GetParam());
        fill(app);
    }
};

TEST_P(RenderPixels, WindowAndBarColours) {
    app.render_offscreen(canvas.cr(), W, H);
    EXPECT_EQ(canvas.hex(600, 206), app.m_palette.window) << "between hero and donut card";
    EXPECT_EQ(canvas.hex(1080, 400), app.m_palette.window) << "right margin of the page";
    EXPECT_EQ(canvas.hex(600, 30), app.m_palette.bar) << "toolbar";
    EXPECT_EQ(canvas.hex(600, 45), app.m_palette.divider) << "toolbar's lower hairline";
    EXPECT_EQ(canvas.hex(130, 630), app.m_palette.bar) << "sidebar";
    EXPECT_EQ(canvas.hex(267, 300), app.m_palette.divider) << "sidebar's right edge";
    EXPECT_EQ(canvas.hex(700, 714), app.m_palette.bar) << "footer";
    EXPECT_EQ(canvas.hex(700, 646), app.m_palette.divider) << "footer's upper hairline";
}

TEST_P(RenderPixels, SelectedRowTintAndUnselectedCard) {
    app.m_selection = "gradle";
    app.m_cats[0].items[0].selected = true;
    app.render_offscreen(canvas.cr(), W, H);
    // Row 0 at (290, 210); row 1 at (290, 308). Top padding, no text there.
    const Rgb tinted = render_test::over(app.m_palette.bar, "#FFB020", 0.1);
    EXPECT_TRUE(render_test::near(canvas.rgb(681, 214), tinted)) << canvas.hex(681, 214);
    EXPECT_EQ(canvas.hex(681, 312), app.m_palette.bar);
    // The ticked box is filled with the accent of the group.
    EXPECT_EQ(canvas.hex(290 + 16 + 2, 210 + 45 - 7), "#FFB020");
}

TEST_P(RenderPixels, ARiskyRowHasARedSafetyStripe) {
    app.m_cats[0].items[1].safety = SafetyLevel::Risky;
    app.m_selection = "gradle";
    app.render_offscreen(canvas.cr(), W, H);
    EXPECT_EQ(canvas.hex(293, 308 + 45), "#E5484D");
    EXPECT_EQ(canvas.hex(293, 210 + 45), "#34A853") << "the safe row's stripe is green";
}

TEST_P(RenderPixels, TheShareBarUsesTheSafetyColour) {
    app.m_selection = "gradle";
    app.render_offscreen(canvas.cr(), W, H);
    // Row 0 holds 3000 of 4000 bytes: its bar at y 210 + 50, 7 high, from x 336.
    EXPECT_EQ(canvas.hex(336 + 20, 210 + 53), "#34A853");
}

INSTANTIATE_TEST_SUITE_P(RenderPalettes, RenderPixels, ::testing::Values(false, true));
