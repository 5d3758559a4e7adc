// The overlays drawn offscreen: the dimmed, modal backdrop, the dialog card's
// geometry and buttons (also in a 500-pixel window and mirrored), the about
// card with its Snap line variants, and the settings card's targets.

#include "app.h"
#include "app_render_overlay.h"
#include "app_render_shared.h"
#include "i18n.h"
#include "render_test_util.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <algorithm>

using render_test::Canvas;
using render_test::category;
using render_test::targets_of;
using render_test::expect_rect;
using render_test::find_target;
using Act = App::Act;

namespace {

constexpr int W = 1100;
constexpr int H = 720;

void fill(App& app) {
    app.m_cats = {category("gradle", GroupKind::Java, {3000, 1000}),
                  category("npm", GroupKind::JavaScript, {500})};
    app.m_cats[0].items[0].selected = true;
}

// Two frames, as the window draws them: hover settles against the first.
void draw(App& app, Canvas& canvas) {
    app.render_offscreen(canvas.cr(), canvas.width(), canvas.height());
    app.render_offscreen(canvas.cr(), canvas.width(), canvas.height());
}

// Body-font width of a label, measured the way the card measures it.
double body_width(App& app, Canvas& canvas, const std::string& text) {
    render_test::begin_frame(app, canvas);
    const double w = app.measure_text(text, App::Font::Body);
    app.m_cr = nullptr;
    return w;
}

size_t wrapped_lines(App& app, Canvas& canvas, const std::string& text, double width) {
    render_test::begin_frame(app, canvas);
    const size_t n = app.wrap_text(text, App::Font::Body, width).size();
    app.m_cr = nullptr;
    return n;
}

} // namespace

// ---------------------------------------------------------------------------
// Backdrop and modality
// ---------------------------------------------------------------------------

TEST(RenderOverlay, OnlyTheOverlaysTargetsExistAndTheBackdropComesFirst) {
    test_env::TempHome home;
    for (App::Overlay o : {App::Overlay::About, App::Overlay::Settings, App::Overlay::Dialog}) {
        App app;
        fill(app);
        app.m_selection = "gradle";
        if (o == App::Overlay::Dialog)
            app.confirm_clean();
        else
            app.m_overlay = o;
        Canvas canvas(W, H);
        draw(app, canvas);
        ASSERT_FALSE(app.m_targets.empty());
        expect_rect(app.m_targets.front().rect, 0, 0, W, H, "backdrop");
        EXPECT_EQ(app.m_targets.front().act, Act::CloseOverlay);
        for (const App::HitTarget& t : app.m_targets) {
            EXPECT_NE(t.act, Act::ToggleItem);
            EXPECT_NE(t.act, Act::SelectCategory);
            EXPECT_NE(t.act, Act::Clean);
            EXPECT_NE(t.act, Act::Rescan);
        }
    }
}

TEST(RenderOverlay, TheBackdropDimsTheWindowByAThirdBlack) {
    test_env::TempHome home;
    App app;
    fill(app);
    Canvas plain(W, H);
    draw(app, plain);
    app.m_overlay = App::Overlay::About;
    Canvas dimmed(W, H);
    draw(app, dimmed);
    // A corner of the sidebar, far from the card.
    const Rgb below = plain.rgb(5, H - 90);
    const Rgb expected = mix(Rgb{0, 0, 0}, below, 0.35);
    EXPECT_TRUE(render_test::near(dimmed.rgb(5, H - 90), expected))
        << dimmed.hex(5, H - 90) << " vs " << rgb_to_hex(expected);
}

// ---------------------------------------------------------------------------
// The dialog card
// ---------------------------------------------------------------------------

TEST(RenderDialog, AWideWindowGetsA460CardCentredWithButtonsFromTheRight) {
    test_env::TempHome home;
    App app;
    fill(app);
    app.confirm_clean();
    Canvas canvas(W, H);
    draw(app, canvas);
    const size_t n = wrapped_lines(app, canvas, app.m_dialog_message, 412);
    const double card_h = n * 20.0 + 150;
    const double x = (W - 460) / 2.0;
    const double y = (H - card_h) / 2;

    const App::HitTarget* cancel = find_target(app, Act::DialogButton, 0);
    const App::HitTarget* del = find_target(app, Act::DialogButton, 1);
    ASSERT_NE(cancel, nullptr);
    ASSERT_NE(del, nullptr);
    const double cw = body_width(app, canvas, I18n::instance().tr("Cancel")) + 34;
    const double dw = body_width(app, canvas, I18n::instance().tr("Delete permanently")) + 34;
    expect_rect(cancel->rect, x + 460 - 24 - cw, y + card_h - 48, cw, 34, "Cancel, rightmost");
    expect_rect(del->rect, x + 460 - 24 - cw - 10 - dw, y + card_h - 48, dw, 34, "Delete");

    // The destructive button wears the accent gradient with a white label,
    // the other the control colour.
    const Rgb left_of_delete = canvas.rgb(static_cast<int>(del->rect.x + 4),
                                          static_cast<int>(del->rect.y + 17));
    Rgb brand;
    hex_to_rgb(render::BRAND, brand);
    EXPECT_TRUE(render_test::near(left_of_delete, brand, 12)) << rgb_to_hex(left_of_delete);
    EXPECT_EQ(canvas.hex(static_cast<int>(cancel->rect.x + 4), static_cast<int>(cancel->rect.y + 17)),
              app.m_palette.control);
    // The card is filled with the bar colour just inside its edge.
    EXPECT_EQ(canvas.hex(static_cast<int>(x + 30), static_cast<int>(y + 12)), app.m_palette.bar);
    EXPECT_NE(canvas.hex(static_cast<int>(x - 4), static_cast<int>(y + 12)), app.m_palette.bar);
}

TEST(RenderDialog, AFiveHundredPixelWindowGetsA440CardWithTextNarrowerBy48) {
    test_env::TempHome home;
    const render::DialogWidth narrow = render::dialog_width(500);
    EXPECT_EQ(narrow.card, 440);
    EXPECT_EQ(narrow.text, 392);
    const render::DialogWidth wide = render::dialog_width(520);
    EXPECT_EQ(wide.card, 460);
    EXPECT_EQ(wide.text, 412);

    App app;
    fill(app);
    app.confirm_clean();
    Canvas canvas(500, 600);
    draw(app, canvas);
    const size_t n = wrapped_lines(app, canvas, app.m_dialog_message, 392);
    const double card_h = n * 20.0 + 150;
    const App::HitTarget* cancel = find_target(app, Act::DialogButton, 0);
    ASSERT_NE(cancel, nullptr);
    // The card spans 30 to 470; its last button ends 24 inside it.
    EXPECT_NEAR(cancel->rect.x + cancel->rect.w, 470 - 24, 0.01);
    EXPECT_NEAR(cancel->rect.y, (600 - card_h) / 2 + card_h - 48, 0.01);
    // The narrower text wraps into at least as many lines as the wide one.
    EXPECT_GE(n, wrapped_lines(app, canvas, app.m_dialog_message, 412));
}

TEST(RenderDialog, InRightToLeftTheButtonsAreMirrored) {
    test_env::TempHome home;
    render_test::Language arabic("ar");
    App app;
    fill(app);
    app.confirm_clean();
    Canvas canvas(W, H);
    draw(app, canvas);
    const App::HitTarget* cancel = find_target(app, Act::DialogButton, 0);
    const App::HitTarget* del = find_target(app, Act::DialogButton, 1);
    ASSERT_NE(cancel, nullptr);
    ASSERT_NE(del, nullptr);
    // Mirrored: Cancel now starts 24 inside the card's left edge.
    EXPECT_NEAR(cancel->rect.x, (W - 460) / 2.0 + 24, 0.01);
    EXPECT_LT(cancel->rect.x, del->rect.x);
}

TEST(RenderDialog, PressingAButtonByItsTargetActsOnItsId) {
    test_env::TempHome home;
    App app;
    fill(app);
    app.m_failed_paths = {"/x"};
    app.show_dialog("t", "m", {{3, "Show", false, false}, {0, "Close", false, true}});
    Canvas canvas(W, H);
    draw(app, canvas);
    const App::HitTarget* show = find_target(app, Act::DialogButton, 3);
    ASSERT_NE(show, nullptr);
    app.on_click(show->rect.x + 1, show->rect.y + 1, false);
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
    EXPECT_EQ(app.m_selection, "__manual__");
}

TEST(RenderDialog, ALongMessageMakesATallerCard) {
    test_env::TempHome home;
    App app;
    std::string text;
    for (int i = 0; i < 12; ++i)
        text += "A rather long sentence that needs its own line. ";
    app.show_dialog("Title", text, {{0, "Close", false, true}});
    Canvas canvas(W, H);
    draw(app, canvas);
    const size_t n = wrapped_lines(app, canvas, text, 412);
    ASSERT_GT(n, 5u);
    const double card_h = n * 20.0 + 150;
    const App::HitTarget* close = find_target(app, Act::DialogButton, 0);
    ASSERT_NE(close, nullptr);
    EXPECT_NEAR(close->rect.y, (H - card_h) / 2 + card_h - 48, 0.01);
}

// ---------------------------------------------------------------------------
// The about card
// ---------------------------------------------------------------------------

TEST(RenderAbout, WithoutASnapTheCardIs440By340AndCentred) {
    test_env::TempHome home;
    test_env::ScopedEnv no_snap("SNAP_VERSION", nullptr);
    EXPECT_EQ(render::about_snap_line(), "");
    const RectF card = render::about_card(W, H, false);
    expect_rect(card, (W - 440) / 2.0, (H - 340) / 2.0, 440, 340, "about card");

    App app;
    app.m_overlay = App::Overlay::About;
    Canvas canvas(W, H);
    draw(app, canvas);
    const App::HitTarget* close = nullptr;
    for (const App::HitTarget& t : app.m_targets)
        if (t.act == Act::CloseOverlay && t.rect.w < W)
            close = &t;
    ASSERT_NE(close, nullptr) << "the Close button";
    EXPECT_NEAR(close->rect.y, card.y + card.h - 46, 0.01);
    EXPECT_NEAR(close->rect.x + close->rect.w / 2, W / 2.0, 0.01);
    const App::HitTarget* link = find_target(app, Act::LinkWebsite);
    ASSERT_NE(link, nullptr);
    EXPECT_NEAR(link->rect.x + link->rect.w / 2, W / 2.0, 0.01);
    EXPECT_GT(link->rect.w, 40);
    // The icon: 72 pixels, 26 below the card's top, centred; its middle is
    // not the card's colour.
    EXPECT_NE(canvas.hex(W / 2, static_cast<int>(card.y + 26 + 36)), app.m_palette.bar);
    EXPECT_EQ(canvas.hex(static_cast<int>(card.x + 20), static_cast<int>(card.y + 62)),
              app.m_palette.bar);
}

TEST(RenderAbout, AnEmptySnapVersionGivesNoSnapLine) {
    test_env::TempHome home;
    test_env::ScopedEnv version("SNAP_VERSION", "");
    test_env::ScopedEnv revision("SNAP_REVISION", "12");
    EXPECT_EQ(render::about_snap_line(), "");
    App app;
    app.m_overlay = App::Overlay::About;
    Canvas canvas(W, H);
    draw(app, canvas);
    const App::HitTarget* link = find_target(app, Act::LinkWebsite);
    ASSERT_NE(link, nullptr);
    const RectF card = render::about_card(W, H, false);
    // Nothing moved down: the link stands where it does without a Snap.
    EXPECT_NEAR(link->rect.y, card.y + 26 + 72 + 16 + 30 + 26 + 22 + 22 + 24, 0.01);
}

TEST(RenderAbout, AVersionWithoutRevisionNamesTheVersionOnly) {
    test_env::TempHome home;
    test_env::ScopedEnv version("SNAP_VERSION", "1.0.2");
    test_env::ScopedEnv revision("SNAP_REVISION", nullptr);
    EXPECT_EQ(render::about_snap_line(), I18n::instance().trf("Snap %s", "1.0.2"));
    test_env::ScopedEnv empty_revision("SNAP_REVISION", "");
    EXPECT_EQ(render::about_snap_line(), I18n::instance().trf("Snap %s", "1.0.2"));
}

TEST(RenderAbout, VersionAndRevisionMakeTheCard360HighAndMoveTheRestDown) {
    test_env::TempHome home;
    test_env::ScopedEnv version("SNAP_VERSION", "1.0.2");
    test_env::ScopedEnv revision("SNAP_REVISION", "57");
    EXPECT_EQ(render::about_snap_line(),
              I18n::instance().trf("Snap %s (Revision %s)", "1.0.2", "57"));
    const RectF card = render::about_card(W, H, true);
    expect_rect(card, (W - 440) / 2.0, (H - 360) / 2.0, 440, 360, "about card with Snap line");
    App app;
    app.m_overlay = App::Overlay::About;
    Canvas canvas(W, H);
    draw(app, canvas);
    const App::HitTarget* link = find_target(app, Act::LinkWebsite);
    ASSERT_NE(link, nullptr);
    EXPECT_NEAR(link->rect.y, card.y + 26 + 72 + 16 + 30 + 20 + 26 + 22 + 22 + 24, 0.01);
}

TEST(RenderAbout, AWindowNarrowerThan500GivesACardNarrowerThan440) {
    test_env::TempHome home;
    test_env::ScopedEnv no_snap("SNAP_VERSION", nullptr);
    const RectF card = render::about_card(480, 600, false);
    EXPECT_EQ(card.w, 420);
    EXPECT_EQ(card.x, 30);
    App app;
    app.m_overlay = App::Overlay::About;
    Canvas canvas(480, 600);
    draw(app, canvas);
    for (const App::HitTarget& t : app.m_targets) {
        if (t.rect.w >= 480)
            continue; // the backdrop
        EXPECT_GE(t.rect.x, 30);
        EXPECT_LE(t.rect.x + t.rect.w, 450);
    }
}

// ---------------------------------------------------------------------------
// The settings card
// ---------------------------------------------------------------------------

TEST(RenderSettings, EveryChoiceAndControlHasItsTarget) {
    test_env::TempHome home;
    App app;
    app.open_settings();
    app.m_fm_text = "nemo %s"; // the clear control shows only with a command
    Canvas canvas(W, H);
    draw(app, canvas);
    for (int theme : {100, 101, 102})
        EXPECT_NE(find_target(app, Act::SettingsTheme, theme), nullptr) << theme;
    EXPECT_NE(find_target(app, Act::SettingsLang, 200), nullptr);
    const int langs = static_cast<int>(I18n::available().size());
    EXPECT_EQ(langs, 22);
    for (int k = 0; k < langs; ++k)
        EXPECT_NE(find_target(app, Act::SettingsLang, 201 + k), nullptr) << k;
    for (Act act : {Act::ChooseProjects, Act::ResetProjects, Act::EditFileManager,
                    Act::ClearFileManager, Act::TestFileManager})
        EXPECT_NE(find_target(app, act), nullptr) << static_cast<int>(act);
}

TEST(RenderSettings, TheCardFitsTheSmallestWindowAndNoTwoControlsOverlap) {
    test_env::TempHome home;
    for (const char* lang : {"en", "de", "ar"}) {
        render_test::Language l(lang);
        App app;
        app.open_settings();
        app.m_fm_text = "nemo %s";
        Canvas canvas(W, H);
        draw(app, canvas);
        // The clear control sits inside the command field and is registered
        // after it, so it wins there; every other pair must stay apart.
        std::vector<RectF> controls;
        const App::HitTarget* field = nullptr;
        const App::HitTarget* clear = nullptr;
        for (size_t i = 1; i < app.m_targets.size(); ++i) {
            const App::HitTarget& t = app.m_targets[i];
            if (t.act == Act::EditFileManager)
                field = &t;
            else if (t.act == Act::ClearFileManager)
                clear = &t;
            else
                controls.push_back(t.rect);
        }
        ASSERT_NE(field, nullptr);
        ASSERT_NE(clear, nullptr);
        ASSERT_GT(clear, field);
        EXPECT_GE(clear->rect.x, field->rect.x);
        EXPECT_LE(clear->rect.x + clear->rect.w, field->rect.x + field->rect.w);
        EXPECT_GE(clear->rect.y, field->rect.y);
        EXPECT_LE(clear->rect.y + clear->rect.h, field->rect.y + field->rect.h);
        EXPECT_EQ(app.target_at(clear->rect.x + 5, clear->rect.y + 5)->act, Act::ClearFileManager);
        controls.push_back(field->rect);
        ASSERT_GT(controls.size(), 30u) << lang;
        for (size_t i = 0; i < controls.size(); ++i) {
            const RectF& a = controls[i];
            EXPECT_GE(a.x, 0) << lang;
            EXPECT_GE(a.y, 0) << lang;
            EXPECT_LE(a.x + a.w, W) << lang;
            EXPECT_LE(a.y + a.h, H) << lang;
            for (size_t j = i + 1; j < controls.size(); ++j) {
                const RectF& b = controls[j];
                const bool apart = a.x + a.w <= b.x || b.x + b.w <= a.x || a.y + a.h <= b.y ||
                                   b.y + b.h <= a.y;
                EXPECT_TRUE(apart) << lang << ": controls " << i << " and " << j;
            }
        }
    }
}

TEST(RenderSettings, TheChosenAppearanceIsMarked) {
    test_env::TempHome home;
    App app;
    app.open_settings();
    Canvas canvas(W, H);
    draw(app, canvas);
    const App::HitTarget* light = find_target(app, Act::SettingsTheme, 101); // the default
    const App::HitTarget* dark = find_target(app, Act::SettingsTheme, 102);
    ASSERT_NE(light, nullptr);
    ASSERT_NE(dark, nullptr);
    const std::string chosen = canvas.hex(static_cast<int>(light->rect.x + 6),
                                          static_cast<int>(light->rect.y + light->rect.h / 2));
    const std::string other = canvas.hex(static_cast<int>(dark->rect.x + 6),
                                         static_cast<int>(dark->rect.y + dark->rect.h / 2));
    EXPECT_NE(chosen, other);
}

TEST(RenderSettings, InRightToLeftTheControlsAreMirrored) {
    test_env::TempHome home;
    App ltr_app;
    ltr_app.open_settings();
    Canvas a(W, H);
    draw(ltr_app, a);
    const App::HitTarget* test_ltr = find_target(ltr_app, Act::TestFileManager);
    ASSERT_NE(test_ltr, nullptr);

    render_test::Language hebrew("he");
    App rtl_app;
    rtl_app.open_settings();
    Canvas b(W, H);
    draw(rtl_app, b);
    const App::HitTarget* test_rtl = find_target(rtl_app, Act::TestFileManager);
    ASSERT_NE(test_rtl, nullptr);
    EXPECT_GT(test_ltr->rect.x, W / 2);
    EXPECT_LT(test_rtl->rect.x, W / 2);
}

// ---------------------------------------------------------------------------
// The footer after a failed deletion
// ---------------------------------------------------------------------------

TEST(RenderFooter, AFailuresReasonIsDrawnInTheCurrentLanguageAndTheFailureColour) {
    test_env::TempHome home;
    const std::string key = "The item could not be moved";
    for (const char* lang : {"en", "ar", "de"}) {
        render_test::Language l(lang);
        App app;
        fill(app);
        app.m_status_message = key;
        app.m_status_failed = true;
        FitLog log;
        app.m_fit_log = &log;
        Canvas canvas(W, H);
        draw(app, canvas);
        app.m_fit_log = nullptr;
        const std::string shown = I18n::instance().tr(key.c_str());
        if (std::string(lang) != "en") {
            EXPECT_NE(shown, key) << lang;
        }
        bool found = false;
        for (const FitNote& n : log.notes)
            found = found || (n.kind == FitNote::Kind::Label && n.text == shown &&
                              n.room.y >= app.m_r_footer.y);
        EXPECT_TRUE(found) << lang << ": the reason in the footer";
        // Red ink where the reason is written, none of the success green.
        bool red = false;
        for (int x = 0; x < W && !red; ++x)
            for (int y = static_cast<int>(app.m_r_footer.y) + 38;
                 y < static_cast<int>(app.m_r_footer.y) + 54 && !red; ++y)
                red = canvas.hex(x, y) == app.m_palette.danger_fg;
        EXPECT_TRUE(red) << lang;
    }
}
