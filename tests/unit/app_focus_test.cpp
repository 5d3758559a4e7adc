// The keyboard focus on offscreen frames: the order of the groups on each
// page, round the end and back, inside a group, right to left, the trap of
// an open overlay and the way back out of it, scrolling the focused control
// into view, what Space, Enter, Ctrl+A and Delete do, and the ring.

#include "app.h"
#include "app_render_overlay.h"
#include "catalog.h"
#include "i18n.h"
#include "render_test_util.h"
#include "settings.h"
#include "test_env.h"

#include <gdk/gdkkeysyms.h>
#include <gtest/gtest.h>

using render_test::Canvas;
using render_test::category;
using render_test::find_target;
using render_test::Fresh;
using Act = App::Act;
using Focus = App::Focus;

namespace {

constexpr int W = 1100;
constexpr int H = 720;
const GdkModifierType NONE = GdkModifierType(0);

void frame(App& app, int w = W, int h = H) {
    Canvas canvas(w, h);
    app.render_offscreen(canvas.cr(), w, h);
}

// Presses a key and draws the frame that follows, as the window would.
void press(App& app, unsigned keyval, GdkModifierType state = NONE) {
    app.on_key(keyval, state);
    frame(app);
}

Focus f(Act act, int index = 0) {
    return {act, index};
}

std::string name(const Focus& x) {
    return std::to_string(static_cast<int>(x.act)) + "/" + std::to_string(x.index);
}

#define EXPECT_FOCUS(app, expected) EXPECT_EQ(name((app).m_focus), name(expected))

// Two categories; the second ("npm") has n entries.
void fill(App& app, size_t n = 3) {
    app.m_cats = {category("gradle", GroupKind::Java, {3000, 1000}),
                  category("npm", GroupKind::JavaScript, std::vector<int64_t>(n, 4096))};
    app.m_cats[1].items[0].size = 9000; // keeps the order stable: largest first is index 0
}

// Whether the focused control's whole rectangle lies in its pane.
bool fully_shown(const App& app, const RectF& pane) {
    const App::HitTarget* t = find_target(app, app.m_focus.act, app.m_focus.index);
    if (!t)
        return false;
    return t->full.y >= pane.y && t->full.y + t->full.h <= pane.y + pane.h;
}

} // namespace

// ---------------------------------------------------------------------------
// Order
// ---------------------------------------------------------------------------

TEST(AppFocusOrder, OnACategoryPageTabVisitsToolbarSidebarButtonsEntriesFooterAndGoesRound) {
    Fresh fresh;
    App app;
    fill(app);
    app.m_selection = "npm";
    app.m_cats[1].items[2].selected = true; // so that the footer's button can act
    frame(app);

    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::Rescan));
    EXPECT_TRUE(app.m_focus_visible);
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::SelectCategory, 1)) << "the sidebar is entered at the page shown";
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::RevealCategory, 1));
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::SelectOlder, 1)) << "the age buttons, a group of their own";
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::ToggleItem, 0));
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::Clean));
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::Rescan)) << "past the last group, round to the first";

    press(app, GDK_KEY_ISO_Left_Tab, GDK_SHIFT_MASK);
    EXPECT_FOCUS(app, f(Act::Clean)) << "Shift+Tab goes back round";
    press(app, GDK_KEY_ISO_Left_Tab, GDK_SHIFT_MASK);
    EXPECT_FOCUS(app, f(Act::ToggleItem, 0));
}

TEST(AppFocusOrder, OnTheOverviewTheBiggestConsumersAreAGroupAndAnInactiveFooterIsSkipped) {
    Fresh fresh;
    App app;
    fill(app);
    frame(app);
    press(app, GDK_KEY_ISO_Left_Tab, GDK_SHIFT_MASK);
    EXPECT_EQ(app.m_focus.act, Act::TopConsumer) << "nothing ticked: no footer button to reach";
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::Rescan));
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::SelectOverview));
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::SelectOlder, 1)) << "the age buttons come before the consumers";
    press(app, GDK_KEY_Tab);
    EXPECT_EQ(app.m_focus.act, Act::TopConsumer);
    const Focus first = app.m_focus;
    press(app, GDK_KEY_Down);
    EXPECT_EQ(app.m_focus.act, Act::TopConsumer);
    EXPECT_NE(app.m_focus.index, first.index);
    press(app, GDK_KEY_Return);
    EXPECT_EQ(app.m_selection, app.m_cats[app.m_focus.index].def.id)
        << "Enter opens the consumer's page";
}

TEST(AppFocusOrder, ArrowsMoveInsideAGroupAndStopAtItsEnds) {
    Fresh fresh;
    App app;
    fill(app);
    frame(app);
    press(app, GDK_KEY_Tab);
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::SelectOverview));
    press(app, GDK_KEY_Up);
    EXPECT_FOCUS(app, f(Act::SelectOverview)) << "no wrap inside a list";
    press(app, GDK_KEY_Down);
    EXPECT_EQ(app.m_focus.act, Act::SelectCategory);
    press(app, GDK_KEY_End);
    const Focus last = app.m_focus;
    press(app, GDK_KEY_Down);
    EXPECT_FOCUS(app, last);
    press(app, GDK_KEY_Home);
    EXPECT_FOCUS(app, f(Act::SelectOverview));
    EXPECT_TRUE(app.m_selection.empty()) << "moving the focus opens nothing";
    press(app, GDK_KEY_Down);
    press(app, GDK_KEY_space);
    EXPECT_FALSE(app.m_selection.empty()) << "Space opens the focused page";

    // The toolbar reads left to right; Left and Right move along it.
    press(app, GDK_KEY_ISO_Left_Tab, GDK_SHIFT_MASK);
    EXPECT_FOCUS(app, f(Act::Rescan));
    press(app, GDK_KEY_Right);
    EXPECT_FOCUS(app, f(Act::AppMenu));
    press(app, GDK_KEY_Right);
    EXPECT_FOCUS(app, f(Act::About));
    press(app, GDK_KEY_Right);
    EXPECT_FOCUS(app, f(Act::About));
    press(app, GDK_KEY_Left);
    EXPECT_FOCUS(app, f(Act::AppMenu));
}

TEST(AppFocusOrder, TabBackIntoAGroupLandsWhereTheUserLeftIt) {
    Fresh fresh;
    App app;
    fill(app, 6);
    app.m_selection = "npm";
    frame(app);
    for (int i = 0; i < 5; ++i)
        press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::ToggleItem, 0));
    press(app, GDK_KEY_Down);
    press(app, GDK_KEY_Down);
    EXPECT_FOCUS(app, f(Act::ToggleItem, 2));
    press(app, GDK_KEY_ISO_Left_Tab, GDK_SHIFT_MASK);
    EXPECT_FOCUS(app, f(Act::SelectOlder, 1));
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::ToggleItem, 2));

    // Another page's entries start at their top.
    app.m_selection = "gradle";
    frame(app);
    app.focus_on(f(Act::SelectOlder, 12));
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::ToggleItem, 0));
}

TEST(AppFocusOrder, AlongARowTheFocusReachesShowInFileManagerAndKeepsToThatColumn) {
    Fresh fresh;
    App app;
    fill(app, 4);
    app.m_selection = "npm";
    frame(app);
    app.focus_on(f(Act::ToggleItem, 1));
    press(app, GDK_KEY_Right);
    EXPECT_FOCUS(app, f(Act::RevealItem, 1));
    press(app, GDK_KEY_Down);
    EXPECT_FOCUS(app, f(Act::RevealItem, 2));
    press(app, GDK_KEY_Left);
    EXPECT_FOCUS(app, f(Act::ToggleItem, 2));
}

// ---------------------------------------------------------------------------
// Right to left
// ---------------------------------------------------------------------------

TEST(AppFocusRtl, TheToolbarIsReadFromTheRightAndLeftMovesOn) {
    Fresh fresh;
    render_test::Language arabic("ar");
    App app;
    fill(app);
    frame(app);
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::Rescan));
    const App::HitTarget* rescan = find_target(app, Act::Rescan);
    const App::HitTarget* about = find_target(app, Act::About);
    ASSERT_TRUE(rescan && about);
    EXPECT_GT(rescan->rect.x, about->rect.x) << "the first stop stands rightmost";
    press(app, GDK_KEY_Left);
    EXPECT_FOCUS(app, f(Act::AppMenu)) << "Left reads on in right-to-left";
    press(app, GDK_KEY_Right);
    EXPECT_FOCUS(app, f(Act::Rescan));
    // The sidebar, on the right, comes next: where reading goes on.
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::SelectOverview));
    const App::HitTarget* overview = find_target(app, Act::SelectOverview);
    ASSERT_TRUE(overview);
    EXPECT_GT(overview->rect.x, W / 2);
}

TEST(AppFocusRtl, AlongARowRightAndLeftSwap) {
    Fresh fresh;
    render_test::Language hebrew("he");
    App app;
    fill(app, 2);
    app.m_selection = "npm";
    frame(app);
    app.focus_on(f(Act::ToggleItem, 0));
    press(app, GDK_KEY_Left);
    EXPECT_FOCUS(app, f(Act::RevealItem, 0));
    press(app, GDK_KEY_Right);
    EXPECT_FOCUS(app, f(Act::ToggleItem, 0));
}

// ---------------------------------------------------------------------------
// Overlays
// ---------------------------------------------------------------------------

TEST(AppFocusDialog, DeleteOpensTheConfirmationOnCancelTabStaysInsideAndEscapeReturns) {
    Fresh fresh;
    App app;
    fill(app);
    app.m_selection = "npm";
    frame(app);
    app.focus_on(f(Act::ToggleItem, 1));
    press(app, GDK_KEY_space);
    EXPECT_TRUE(app.m_cats[1].items[1].selected) << "Space ticks the focused entry";
    press(app, GDK_KEY_Delete);
    ASSERT_EQ(app.m_overlay, App::Overlay::Dialog);
    ASSERT_EQ(app.m_dialog_buttons.size(), 2u);
    EXPECT_FOCUS(app, f(Act::DialogButton, 0)) << "a destructive confirmation opens on Cancel";
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::DialogButton, 1));
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::DialogButton, 0)) << "Tab goes round inside the dialog";
    press(app, GDK_KEY_ISO_Left_Tab, GDK_SHIFT_MASK);
    EXPECT_FOCUS(app, f(Act::DialogButton, 1));
    press(app, GDK_KEY_Escape);
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
    EXPECT_FOCUS(app, f(Act::ToggleItem, 1)) << "the focus goes back where it was";
    EXPECT_FALSE(app.m_cleaning);
}

TEST(AppFocusDialog, EnterOnTheFocusedCancelDeletesNothing) {
    Fresh fresh;
    App app;
    fill(app);
    app.m_selection = "npm";
    app.m_cats[1].items[0].selected = true;
    frame(app);
    app.m_focus = f(Act::Clean);
    press(app, GDK_KEY_Return);
    ASSERT_EQ(app.m_overlay, App::Overlay::Dialog);
    press(app, GDK_KEY_Return);
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
    EXPECT_FALSE(app.m_cleaning);
    EXPECT_FALSE(app.m_worker.joinable());
    EXPECT_FOCUS(app, f(Act::Clean));
    EXPECT_TRUE(app.m_cats[1].items[0].selected);
}

TEST(AppFocusDialog, DeleteWithNothingTickedOpensNothing) {
    Fresh fresh;
    App app;
    fill(app);
    app.m_selection = "npm";
    frame(app);
    press(app, GDK_KEY_Delete);
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
}

TEST(AppFocusDialog, SettingsKeepTheFocusInsideAndGiveItBackToTheirButton) {
    Fresh fresh;
    App app;
    fill(app);
    frame(app);
    press(app, GDK_KEY_Tab);
    press(app, GDK_KEY_Right);
    EXPECT_FOCUS(app, f(Act::AppMenu));
    press(app, GDK_KEY_Return);
    ASSERT_EQ(app.m_overlay, App::Overlay::Settings);
    EXPECT_FOCUS(app, f(Act::SettingsTheme, render::THEME_LIGHT)) << "on the theme chosen";
    std::vector<Act> seen;
    for (int i = 0; i < 5; ++i) {
        press(app, GDK_KEY_Tab);
        seen.push_back(app.m_focus.act);
    }
    EXPECT_EQ(seen, (std::vector<Act>{Act::SettingsLang, Act::ChooseProjects, Act::EditFileManager,
                                      Act::CloseOverlay, Act::SettingsTheme}));
    // Choosing with the keyboard: the dark theme.
    press(app, GDK_KEY_Right);
    EXPECT_FOCUS(app, f(Act::SettingsTheme, render::THEME_DARK));
    press(app, GDK_KEY_space);
    EXPECT_EQ(SettingsStore::instance().get().theme, "dark");
    press(app, GDK_KEY_Escape);
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
    EXPECT_FOCUS(app, f(Act::AppMenu));
}

TEST(AppFocusDialog, ADialogOverTheSettingsGivesTheFocusBackToWhatOpenedTheSettings) {
    Fresh fresh;
    App app;
    fill(app);
    frame(app);
    app.focus_on(f(Act::AppMenu));
    press(app, GDK_KEY_Return);
    ASSERT_EQ(app.m_overlay, App::Overlay::Settings);
    app.explain_file_manager_test_failed(); // the settings' Test found no file manager
    frame(app);
    ASSERT_EQ(app.m_overlay, App::Overlay::Dialog);
    EXPECT_EQ(app.m_focus.act, Act::DialogButton) << "the dialog takes the focus";
    press(app, GDK_KEY_Escape);
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
    EXPECT_FOCUS(app, f(Act::AppMenu));
}

TEST(AppFocusDialog, AboutOpensOnItsCloseButtonAndEnterClosesIt) {
    Fresh fresh;
    App app;
    fill(app);
    frame(app);
    app.m_focus = f(Act::About);
    press(app, GDK_KEY_Return);
    ASSERT_EQ(app.m_overlay, App::Overlay::About);
    EXPECT_FOCUS(app, f(Act::CloseOverlay));
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::LinkWebsite));
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::CloseOverlay));
    press(app, GDK_KEY_Return);
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
    EXPECT_FOCUS(app, f(Act::About));
}

// ---------------------------------------------------------------------------
// Acting
// ---------------------------------------------------------------------------

TEST(AppFocusKeys, CtrlATicksEveryEntryOfThePageOnly) {
    Fresh fresh;
    App app;
    fill(app, 4);
    app.m_cats[1].items[2].safety = SafetyLevel::Risky;
    app.m_selection = "npm";
    frame(app);
    press(app, GDK_KEY_a, GDK_CONTROL_MASK);
    for (const Item& it : app.m_cats[1].items)
        EXPECT_TRUE(it.selected) << it.name;
    for (const Item& it : app.m_cats[0].items)
        EXPECT_FALSE(it.selected) << "another page's entries stay as they were";
}

TEST(AppFocusKeys, WithoutAFocusTheArrowsScrollAsBefore) {
    Fresh fresh;
    App app;
    fill(app, 60);
    app.m_selection = "npm";
    frame(app);
    ASSERT_TRUE(app.m_focus.empty());
    press(app, GDK_KEY_Down);
    EXPECT_EQ(app.m_scroll, 60);
    EXPECT_TRUE(app.m_focus.empty());
}

TEST(AppFocusKeys, AClickPutsTheFocusThereButShowsNoRingAndTheArrowsScrollAgain) {
    Fresh fresh;
    App app;
    fill(app, 60);
    app.m_selection = "npm";
    frame(app);
    press(app, GDK_KEY_Tab);
    ASSERT_TRUE(app.m_focus_visible);
    const App::HitTarget* row = find_target(app, Act::ToggleItem, 2);
    ASSERT_TRUE(row);
    app.on_click(row->rect.x + 10, row->rect.y + 10, false);
    EXPECT_FOCUS(app, f(Act::ToggleItem, 2));
    EXPECT_FALSE(app.m_focus_visible);
    EXPECT_TRUE(app.m_cats[1].items[2].selected);
    press(app, GDK_KEY_Page_Down);
    EXPECT_GT(app.m_scroll, 0) << "after a click Page Down scrolls the page";
    EXPECT_FOCUS(app, f(Act::ToggleItem, 2));
    press(app, GDK_KEY_space);
    EXPECT_FALSE(app.m_cats[1].items[2].selected) << "Space presses what the click focused";
    EXPECT_TRUE(app.m_focus_visible);
    press(app, GDK_KEY_Up);
    EXPECT_FOCUS(app, f(Act::ToggleItem, 1)) << "with the ring shown the arrows move it";
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::Rescan)) << "nothing ticked: from the entries round to the toolbar";
}

TEST(AppFocusKeys, AFocusOnRescanStaysInItsPlaceWhenItBecomesCancel) {
    Fresh fresh;
    App app;
    fill(app);
    frame(app);
    press(app, GDK_KEY_Tab);
    EXPECT_FOCUS(app, f(Act::Rescan));
    app.m_scanning = true; // a scan started: the button reads Cancel now
    frame(app);
    press(app, GDK_KEY_Right);
    EXPECT_FOCUS(app, f(Act::AppMenu));
    press(app, GDK_KEY_Left);
    EXPECT_FOCUS(app, f(Act::CancelScan));
}

TEST(AppFocusKeys, AFocusOnARowThatWentMovesToTheLastRowLeft) {
    Fresh fresh;
    App app;
    fill(app, 5);
    app.m_selection = "npm";
    frame(app);
    app.focus_on(f(Act::ToggleItem, 4));
    app.m_cats[1].items.resize(2); // a deletion took the rest
    frame(app);
    press(app, GDK_KEY_Up);
    EXPECT_FOCUS(app, f(Act::ToggleItem, 0));
}

// ---------------------------------------------------------------------------
// Scrolling into view
// ---------------------------------------------------------------------------

TEST(AppFocusScroll, EndAndPageKeysBringTheFocusedEntryIntoViewEvenPastTheDrawnRows) {
    Fresh fresh;
    App app;
    fill(app, 300);
    app.m_selection = "npm";
    frame(app);
    app.focus_on(f(Act::ToggleItem, 0));
    press(app, GDK_KEY_End);
    EXPECT_FOCUS(app, f(Act::ToggleItem, 299));
    EXPECT_GT(app.m_scroll, 0);
    EXPECT_TRUE(fully_shown(app, app.m_r_content)) << "scroll " << app.m_scroll;
    const double bottom = app.m_scroll;
    press(app, GDK_KEY_Page_Up);
    EXPECT_LT(app.m_focus.index, 299);
    EXPECT_GT(app.m_focus.index, 280) << "one pane's worth of rows";
    EXPECT_TRUE(fully_shown(app, app.m_r_content));
    EXPECT_LE(app.m_scroll, bottom);
    for (int i = 0; i < 40; ++i)
        press(app, GDK_KEY_Up);
    EXPECT_TRUE(fully_shown(app, app.m_r_content));
    press(app, GDK_KEY_Home);
    EXPECT_FOCUS(app, f(Act::ToggleItem, 0));
    EXPECT_TRUE(fully_shown(app, app.m_r_content));
    // The page's buttons sit above the rows: reaching them shows the top.
    press(app, GDK_KEY_End);
    press(app, GDK_KEY_ISO_Left_Tab, GDK_SHIFT_MASK);
    EXPECT_FOCUS(app, f(Act::SelectOlder, 1));
    EXPECT_EQ(app.m_scroll, 0);
    EXPECT_TRUE(fully_shown(app, app.m_r_content));
    press(app, GDK_KEY_ISO_Left_Tab, GDK_SHIFT_MASK);
    EXPECT_FOCUS(app, f(Act::RevealCategory, 1));
    EXPECT_EQ(app.m_scroll, 0);
    EXPECT_TRUE(fully_shown(app, app.m_r_content));
}

TEST(AppFocusScroll, ALongSidebarScrollsToTheFocusedCategory) {
    Fresh fresh;
    App app;
    for (int i = 0; i < 30; ++i)
        app.m_cats.push_back(
            category("cat" + std::to_string(i), GroupKind::OtherLangs, {100000 - i * 10}));
    frame(app);
    press(app, GDK_KEY_Tab);
    press(app, GDK_KEY_Tab);
    press(app, GDK_KEY_End);
    EXPECT_EQ(app.m_focus.act, Act::SelectCategory);
    EXPECT_GT(app.m_sidebar_scroll, 0);
    EXPECT_TRUE(fully_shown(app, app.m_r_sidebar));
    press(app, GDK_KEY_Home);
    EXPECT_EQ(app.m_sidebar_scroll, 0);
}

// ---------------------------------------------------------------------------
// The ring
// ---------------------------------------------------------------------------

namespace {

// The colour just outside the focused control's left edge, half way down:
// where the ring's outer line runs.
std::string ring_pixel(App& app, Canvas& canvas, double scale = 1) {
    const App::HitTarget* t = find_target(app, app.m_focus.act, app.m_focus.index);
    if (!t)
        return "";
    const int x = static_cast<int>((t->full.x - 3.25) * scale);
    const int y = static_cast<int>((t->full.y + t->full.h / 2) * scale);
    return canvas.hex(x, y);
}

} // namespace

TEST(AppRenderFocusRing, DrawnAfterKeyboardUseInTheTextColourInLightAndDark) {
    for (const bool dark : {false, true}) {
        Fresh fresh;
        App app;
        app.m_palette = Palette::for_theme(dark);
        fill(app);
        app.m_selection = "npm";
        frame(app);
        app.m_focus = f(Act::AppMenu);
        Canvas plain(W, H);
        app.render_offscreen(plain.cr(), W, H);
        EXPECT_NE(ring_pixel(app, plain), app.m_palette.text) << "no ring before the keyboard";

        app.m_focus_visible = true;
        Canvas ringed(W, H);
        app.render_offscreen(ringed.cr(), W, H);
        EXPECT_EQ(ring_pixel(app, ringed), app.m_palette.text) << (dark ? "dark" : "light");
    }
}

TEST(AppRenderFocusRing, FollowsTheMirroredControlAndTheScale) {
    Fresh fresh;
    render_test::Language arabic("ar");
    App app;
    fill(app);
    app.m_selection = "npm";
    frame(app);
    app.m_focus = f(Act::ToggleItem, 1);
    app.m_focus_visible = true;
    // Twice the pixels, drawn at scale 2 as the window does on a HiDPI screen.
    Canvas big(2 * W, 2 * H);
    cairo_scale(big.cr(), 2, 2);
    app.render_offscreen(big.cr(), W, H);
    const App::HitTarget* t = find_target(app, Act::ToggleItem, 1);
    ASSERT_TRUE(t);
    EXPECT_LT(t->full.x, W / 2) << "the rows stand left of the sidebar in Arabic";
    EXPECT_EQ(ring_pixel(app, big, 2), app.m_palette.text);
    // Right of the row too, where the mirrored sidebar begins.
    const int rx = static_cast<int>((t->full.x + t->full.w + 3.25) * 2);
    const int ry = static_cast<int>((t->full.y + t->full.h / 2) * 2);
    EXPECT_EQ(big.hex(rx, ry), app.m_palette.text);
}

// ---------------------------------------------------------------------------
// Access keys
// ---------------------------------------------------------------------------

namespace {

std::string keys_of(const App& app) {
    std::string out;
    for (const App::AccessKey& k : app.access_keys()) {
        char buf[8] = {};
        g_unichar_to_utf8(k.ch, buf);
        out += k.label.substr(0, k.byte) + "_" + k.label.substr(k.byte) + "=" + buf + " ";
    }
    return out;
}

} // namespace

TEST(AppFocusAccessKeys, EachButtonGetsTheFirstLetterNoEarlierButtonTook) {
    Fresh fresh;
    App app;
    EXPECT_EQ(keys_of(app), "_Rescan=r _Settings=s _About=a ");
    app.m_scanning = true;
    EXPECT_EQ(keys_of(app), "_Cancel=c _Settings=s _About=a ");
    app.m_scanning = false;
    app.show_dialog("t", "m", {{1, "Close", false, false}, {0, "Cancel", false, true}});
    EXPECT_EQ(keys_of(app), "_Close=c C_ancel=a ") << "a letter taken moves the next one on";
    app.show_dialog("t", "m", {{1, "1 more", false, false}, {0, "…!", false, true}});
    EXPECT_EQ(keys_of(app), "_1 more=1 ") << "digits count; a label without letters gets none";
}

TEST(AppFocusAccessKeys, AltAndTheLetterPressTheButtonAndMoveTheFocusThere) {
    Fresh fresh;
    App app;
    fill(app);
    app.m_cats[1].items[0].selected = true;
    app.m_selection = "npm";
    frame(app);
    press(app, GDK_KEY_s, GDK_MOD1_MASK);
    EXPECT_EQ(app.m_overlay, App::Overlay::Settings);
    press(app, GDK_KEY_C, GdkModifierType(GDK_MOD1_MASK | GDK_SHIFT_MASK));
    EXPECT_EQ(app.m_overlay, App::Overlay::None) << "upper case finds the same key";
    EXPECT_FOCUS(app, f(Act::AppMenu)) << "closing gives the focus back to what opened it";
    press(app, GDK_KEY_s); // without Alt a letter does nothing here
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
    press(app, GDK_KEY_s, GdkModifierType(GDK_MOD1_MASK | GDK_CONTROL_MASK));
    EXPECT_EQ(app.m_overlay, App::Overlay::None) << "Ctrl+Alt is not an access key";

    press(app, GDK_KEY_Delete);
    ASSERT_EQ(app.m_overlay, App::Overlay::Dialog);
    const std::string keys = keys_of(app);
    press(app, GDK_KEY_c, GDK_MOD1_MASK);
    EXPECT_EQ(app.m_overlay, App::Overlay::None) << keys;
    EXPECT_FALSE(app.m_cleaning) << "Alt+C is Cancel in the confirmation: " << keys;
}

TEST(AppFocusAccessKeys, ARightToLeftLanguageTakesItsKeysFromItsOwnWords) {
    Fresh fresh;
    render_test::Language arabic("ar");
    App app;
    fill(app);
    frame(app);
    const std::vector<App::AccessKey> keys = app.access_keys();
    ASSERT_EQ(keys.size(), 3u);
    const App::AccessKey settings = keys[1];
    EXPECT_EQ(settings.control, f(Act::AppMenu));
    EXPECT_GE(settings.ch, 0x600u) << "an Arabic letter";
    EXPECT_LE(settings.ch, 0x6FFu);
    press(app, gdk_unicode_to_keyval(settings.ch), GDK_MOD1_MASK);
    EXPECT_EQ(app.m_overlay, App::Overlay::Settings);
}

TEST(AppRenderFocusAccessKeys, UnderlinedOnlyWhileAltIsHeldInLightDarkAndMirrored) {
    for (const char* lang : {"en", "ar"}) {
        for (const bool dark : {false, true}) {
            Fresh fresh;
            render_test::Language language(lang);
            App app;
            app.m_palette = Palette::for_theme(dark);
            fill(app);
            Canvas plain(W, H);
            app.render_offscreen(plain.cr(), W, H);
            app.m_alt_held = true;
            Canvas held(W, H);
            app.render_offscreen(held.cr(), W, H);
            const App::HitTarget* about = find_target(app, Act::About);
            ASSERT_TRUE(about);
            // Below the text's middle, inside the button: only the underline
            // tells the two frames apart.
            int differ = 0;
            const RectF r = about->rect;
            for (int y = static_cast<int>(r.y + r.h / 2); y < static_cast<int>(r.y + r.h - 2); ++y)
                for (int x = static_cast<int>(r.x + 2); x < static_cast<int>(r.x + r.w - 2); ++x)
                    differ += plain.hex(x, y) != held.hex(x, y) ? 1 : 0;
            EXPECT_GT(differ, 3) << lang << (dark ? " dark" : " light");
            // And nothing outside the toolbar changes.
            int elsewhere = 0;
            for (int y = 60; y < H; y += 7)
                for (int x = 0; x < W; x += 7)
                    elsewhere += plain.hex(x, y) != held.hex(x, y) ? 1 : 0;
            EXPECT_EQ(elsewhere, 0) << lang;
        }
    }
}
