// Pointer and keyboard on an App without a window: clicks at the targets of
// offscreen frames, the settings page's actions, hover, scrolling of both
// panes, the keys in their order of precedence, and the in-canvas field for
// the file-manager command.

#include "app.h"
#include "catalog.h"
#include "i18n.h"
#include "paths.h"
#include "render_test_util.h"
#include "settings.h"
#include "test_env.h"

#include <gdk/gdkkeysyms.h>
#include <gtest/gtest.h>

#include <thread>

using render_test::Canvas;
using render_test::category;
using render_test::find_target;
using render_test::Fresh;
using render_test::hit_target;
using Act = App::Act;

namespace {

constexpr int W = 1100;
constexpr int H = 720;
const GdkModifierType NONE = GdkModifierType(0);

// Draws a frame and clicks the middle of the target, as a person would.
bool click(App& app, Act act, int index = 0) {
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    const App::HitTarget* t = find_target(app, act, index);
    if (!t)
        return false;
    app.on_click(t->rect.x + t->rect.w / 2, t->rect.y + t->rect.h / 2, false);
    return true;
}

void key(App& app, unsigned keyval, GdkModifierType state = NONE) {
    app.on_key(keyval, state);
}

void type(App& app, const std::string& ascii) {
    for (char c : ascii)
        app.on_key(gdk_unicode_to_keyval(static_cast<unsigned char>(c)), NONE);
}

// Waits for a started worker and collects it as the poll would.
void settle(App& app) {
    while (app.m_worker_running)
        std::this_thread::yield();
    if (app.m_worker.joinable())
        app.finish_worker();
}

void fill(App& app) {
    app.m_cats = {category("gradle", GroupKind::Java, {3000, 1000, 500}),
                  category("npm", GroupKind::JavaScript, {500})};
    app.m_cats[0].items[1].safety = SafetyLevel::Caution;
}

} // namespace

// ---------------------------------------------------------------------------
// Clicks at the targets of a real frame
// ---------------------------------------------------------------------------

TEST(AppInput, TickingTwoEntriesInADrawnCategoryPageAndConfirming) {
    Fresh f;
    App app;
    fill(app);
    ASSERT_TRUE(click(app, Act::SelectCategory, 0));
    ASSERT_EQ(app.m_selection, "gradle");
    ASSERT_TRUE(click(app, Act::ToggleItem, 0));
    ASSERT_TRUE(click(app, Act::ToggleItem, 2));
    EXPECT_TRUE(app.m_cats[0].items[0].selected);
    EXPECT_FALSE(app.m_cats[0].items[1].selected);
    EXPECT_TRUE(app.m_cats[0].items[2].selected);
    ASSERT_TRUE(click(app, Act::ToggleItem, 2));
    EXPECT_FALSE(app.m_cats[0].items[2].selected) << "a second click unticks";

    ASSERT_TRUE(click(app, Act::Clean));
    ASSERT_EQ(app.m_overlay, App::Overlay::Dialog);
    // The dialog is modal: the page's targets are gone while it is open.
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    EXPECT_EQ(find_target(app, Act::ToggleItem, 0), nullptr);
    ASSERT_TRUE(click(app, Act::DialogButton, 0)); // Cancel
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
    EXPECT_FALSE(app.m_worker.joinable());
}

TEST(AppInput, SafeOnesAndNoneActOnTheOpenCategoryOnly) {
    Fresh f;
    App app;
    fill(app);
    app.m_cats[1].items[0].selected = true;
    ASSERT_TRUE(click(app, Act::SelectCategory, 0));
    ASSERT_TRUE(click(app, Act::SelectAllSafe));
    EXPECT_TRUE(app.m_cats[0].items[0].selected);
    EXPECT_FALSE(app.m_cats[0].items[1].selected) << "Caution is never ticked by it";
    EXPECT_TRUE(app.m_cats[0].items[2].selected);
    ASSERT_TRUE(click(app, Act::SelectNone));
    for (const Item& it : app.m_cats[0].items)
        EXPECT_FALSE(it.selected);
    EXPECT_TRUE(app.m_cats[1].items[0].selected);
}

TEST(AppInput, AClickOnTheBackdropClosesAnOverlay) {
    Fresh f;
    App app;
    fill(app);
    ASSERT_TRUE(click(app, Act::About));
    ASSERT_EQ(app.m_overlay, App::Overlay::About);
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H); // the frame that shows it
    app.on_click(3, H - 3, false);           // far from the card
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
}

TEST(AppInput, ToggleAndRevealWithAnIndexOutOfRangeDoNothing) {
    Fresh f;
    App app;
    fill(app);
    app.m_selection = "gradle";
    app.m_targets = {hit_target(0, 0, 10, 10, Act::ToggleItem, 3),
                     hit_target(20, 0, 10, 10, Act::ToggleItem, -1),
                     hit_target(40, 0, 10, 10, Act::RevealItem, 9),
                     hit_target(60, 0, 10, 10, Act::RevealCategory, 5),
                     hit_target(80, 0, 10, 10, Act::OpenManualItem, 0)};
    for (double x : {5.0, 25.0, 45.0, 65.0, 85.0})
        app.on_click(x, 5, false);
    for (const Item& it : app.m_cats[0].items)
        EXPECT_FALSE(it.selected);
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
}

TEST(AppInput, ToggleOnTheOverviewDoesNothing) {
    Fresh f;
    App app;
    fill(app);
    app.m_targets = {hit_target(0, 0, 10, 10, Act::ToggleItem, 0)};
    app.on_click(5, 5, false);
    for (const CatState& c : app.m_cats)
        for (const Item& it : c.items)
            EXPECT_FALSE(it.selected);
}

TEST(AppInput, RevealingAnEntryWithoutAFileManagerExplainsWhereItIs) {
    Fresh f;
    SettingsStore::instance().mutable_get().file_manager_command = "/nonexistent/quillet-fm %s";
    App app;
    fill(app);
    app.m_selection = "gradle";
    app.m_targets = {hit_target(0, 0, 10, 10, Act::RevealItem, 1),
                     hit_target(20, 0, 10, 10, Act::OpenManualItem, 0)};
    app.on_click(5, 5, false);
    ASSERT_EQ(app.m_overlay, App::Overlay::Dialog);
    EXPECT_NE(app.m_dialog_message.find(app.m_cats[0].items[1].path), std::string::npos);

    app.m_overlay = App::Overlay::None;
    Item manual;
    manual.path = "/left/for/the/user";
    app.m_manual = {manual};
    app.on_click(25, 5, false);
    ASSERT_EQ(app.m_overlay, App::Overlay::Dialog);
    EXPECT_NE(app.m_dialog_message.find("/left/for/the/user"), std::string::npos);
}

TEST(AppInput, RescanDuringADeletionDoesNothing) {
    Fresh f;
    App app;
    app.m_cleaning = true;
    ASSERT_TRUE(click(app, Act::Rescan));
    EXPECT_FALSE(app.m_scanning);
    EXPECT_FALSE(app.m_worker.joinable());
    EXPECT_EQ(app.m_scans_started, 0);
    key(app, GDK_KEY_F5);
    key(app, GDK_KEY_r, GDK_CONTROL_MASK);
    EXPECT_EQ(app.m_scans_started, 0) << "nor do the keys";
}

TEST(AppInput, RescanWhileIdleScansAndCancelStopsTheScan) {
    Fresh f;
    App app;
    ASSERT_TRUE(click(app, Act::Rescan));
    EXPECT_EQ(app.m_scans_started, 1);
    EXPECT_TRUE(app.m_scanning);
    app.m_targets = {hit_target(0, 0, 10, 10, Act::CancelScan)};
    app.on_click(5, 5, false);
    EXPECT_TRUE(app.m_cancel);
    settle(app);
    EXPECT_FALSE(app.m_scanning);
}

TEST(AppInput, F5AndCtrlRStartAScanAndAPlainRDoesNot) {
    Fresh f;
    App app;
    key(app, GDK_KEY_F5);
    settle(app);
    EXPECT_EQ(app.m_scans_started, 1);
    key(app, GDK_KEY_R, GDK_CONTROL_MASK);
    settle(app);
    EXPECT_EQ(app.m_scans_started, 2);
    key(app, GDK_KEY_r);
    EXPECT_EQ(app.m_scans_started, 2);
}

// ---------------------------------------------------------------------------
// Hover
// ---------------------------------------------------------------------------

TEST(AppHover, OnALegendEntryEveryMotionRedraws) {
    Fresh f;
    App app;
    app.m_targets = {hit_target(0, 0, 50, 50, Act::LegendEntry, 2)};
    app.on_motion(10, 10);
    app.m_dirty = false;
    app.on_motion(11, 11);
    EXPECT_TRUE(app.m_dirty);
}

TEST(AppHover, WithAHighlightedGroupEveryMotionRedraws) {
    Fresh f;
    App app;
    app.m_targets = {hit_target(0, 0, 50, 50, Act::SelectCategory, 1)};
    app.m_highlight_group = 3;
    app.on_motion(10, 10);
    app.m_dirty = false;
    app.on_motion(11, 11);
    EXPECT_TRUE(app.m_dirty);
    app.m_highlight_group = -1;
    app.m_dirty = false;
    app.on_motion(12, 12);
    EXPECT_FALSE(app.m_dirty) << "same target, nothing highlighted";
}

TEST(AppHover, TheSameActWithAnotherIndexIsAChange) {
    Fresh f;
    App app;
    app.m_targets = {hit_target(0, 0, 50, 50, Act::ToggleItem, 0),
                     hit_target(0, 50, 50, 50, Act::ToggleItem, 1)};
    app.on_motion(10, 10);
    app.m_dirty = false;
    app.on_motion(10, 60);
    EXPECT_TRUE(app.m_dirty);
    EXPECT_EQ(app.m_hover_index, 1);
}

TEST(AppHover, AnOverlayDrawnLaterLiesOnTopOfThePage) {
    Fresh f;
    App app;
    fill(app);
    app.m_overlay = App::Overlay::About;
    Canvas canvas(W, H);
    app.render_offscreen(canvas.cr(), W, H);
    // Where the toolbar's buttons are, only the backdrop is left.
    app.on_motion(W - 30, 20);
    EXPECT_EQ(app.m_hover_act, Act::CloseOverlay);
}

// ---------------------------------------------------------------------------
// Scrolling of the two panes
// ---------------------------------------------------------------------------

TEST(AppScroll, TheWheelOverTheSidebarMovesTheSidebarOnly) {
    Fresh f;
    App app;
    app.m_width = W;
    app.m_r_sidebar = {0, 46, 268, 600};
    app.m_r_content = {268, 46, 832, 600};
    app.m_sidebar_height = 1000;
    app.m_content_height = 2000;
    app.scroll_at(100, 300, 60);
    EXPECT_EQ(app.m_sidebar_scroll, 60);
    EXPECT_EQ(app.m_scroll, 0);
    app.scroll_at(100, 300, 100000);
    EXPECT_EQ(app.m_sidebar_scroll, 400) << "the sidebar's last page";
    app.scroll_at(100, 300, -100000);
    EXPECT_EQ(app.m_sidebar_scroll, 0);
    app.scroll_at(700, 300, 60 * 2.5); // a touchpad's smooth delta of 2.5
    EXPECT_EQ(app.m_scroll, 150);
    EXPECT_EQ(app.m_sidebar_scroll, 0);
}

TEST(AppScroll, InRightToLeftTheSidebarIsOnTheRight) {
    Fresh f;
    App app;
    app.m_width = W;
    app.m_rtl = true;
    app.m_r_sidebar = {0, 46, 268, 600};
    app.m_r_content = {268, 46, 832, 600};
    app.m_sidebar_height = 1000;
    app.m_content_height = 2000;
    app.scroll_at(W - 100, 300, 60);
    EXPECT_EQ(app.m_sidebar_scroll, 60);
    EXPECT_EQ(app.m_scroll, 0);
    app.scroll_at(100, 300, 60);
    EXPECT_EQ(app.m_scroll, 60);
}

TEST(AppScroll, AShortSidebarDoesNotScroll) {
    Fresh f;
    App app;
    app.m_width = W;
    app.m_r_sidebar = {0, 46, 268, 600};
    app.m_sidebar_height = 300;
    app.scroll_at(100, 300, 60);
    EXPECT_EQ(app.m_sidebar_scroll, 0);
}

// ---------------------------------------------------------------------------
// Escape and overlays
// ---------------------------------------------------------------------------

TEST(AppKeys, EscapeClosesAnOpenOverlayAndOtherwiseDoesNothing) {
    Fresh f;
    App app;
    app.m_selection = "gradle";
    key(app, GDK_KEY_Escape);
    EXPECT_EQ(app.m_selection, "gradle");
    for (App::Overlay o : {App::Overlay::About, App::Overlay::Settings, App::Overlay::Dialog}) {
        app.m_overlay = o;
        key(app, GDK_KEY_Escape);
        EXPECT_EQ(app.m_overlay, App::Overlay::None);
    }
}

TEST(AppKeys, EscapeWhileEditingCommitsAndASecondEscapeClosesTheSettings) {
    Fresh f;
    App app;
    ASSERT_TRUE(click(app, Act::AppMenu));
    ASSERT_EQ(app.m_overlay, App::Overlay::Settings);
    ASSERT_TRUE(click(app, Act::EditFileManager));
    ASSERT_TRUE(app.m_fm_editing);
    type(app, "  thunar %s ");
    key(app, GDK_KEY_Escape);
    EXPECT_FALSE(app.m_fm_editing);
    EXPECT_EQ(app.m_overlay, App::Overlay::Settings) << "the first Escape only ends the edit";
    EXPECT_EQ(app.m_fm_text, "thunar %s") << "trimmed";
    EXPECT_EQ(SettingsStore::instance().get().file_manager_command, "thunar %s");
    key(app, GDK_KEY_Escape);
    EXPECT_EQ(app.m_overlay, App::Overlay::None);

    // Saved to the file as well.
    SettingsStore::instance().mutable_get() = Settings{};
    SettingsStore::instance().load();
    EXPECT_EQ(SettingsStore::instance().get().file_manager_command, "thunar %s");
}

TEST(AppKeys, ClosingTheSettingsByTheBackdropKeepsAnEditInProgress) {
    Fresh f;
    App app;
    app.open_settings();
    app.fm_begin_edit();
    type(app, "nemo");
    app.m_targets = {hit_target(0, 0, W, H, Act::CloseOverlay)};
    app.on_click(5, 5, false);
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
    EXPECT_EQ(SettingsStore::instance().get().file_manager_command, "nemo");
}

TEST(AppKeys, WhileEditingTheFieldKeysDoNotScrollThePage) {
    Fresh f;
    App app;
    app.m_r_content = {0, 46, 500, 100};
    app.m_content_height = 1000;
    app.open_settings();
    app.fm_begin_edit();
    key(app, GDK_KEY_Home);
    key(app, GDK_KEY_Page_Down); // not the field's: goes on to the page
    EXPECT_EQ(app.m_scroll, 80);
    EXPECT_EQ(app.m_fm_caret, 0u);
}

// ---------------------------------------------------------------------------
// The settings page
// ---------------------------------------------------------------------------

TEST(AppSettings, TheMenuButtonCopiesTheStoredCommandAndTogglesThePage) {
    Fresh f;
    SettingsStore::instance().mutable_get().file_manager_command = "dolphin --select %s";
    App app;
    app.m_fm_text = "stale";
    app.m_fm_editing = true;
    app.m_fm_detected_valid = true;
    app.m_targets = {hit_target(0, 0, 10, 10, Act::AppMenu)};
    app.on_click(5, 5, false);
    EXPECT_EQ(app.m_overlay, App::Overlay::Settings);
    EXPECT_EQ(app.m_fm_text, "dolphin --select %s");
    EXPECT_EQ(app.m_fm_caret, app.m_fm_text.size());
    EXPECT_FALSE(app.m_fm_editing);
    EXPECT_FALSE(app.m_fm_detected_valid);
    app.on_click(5, 5, false);
    EXPECT_EQ(app.m_overlay, App::Overlay::None);
}

TEST(AppSettings, AppearanceChoicesAreStoredSavedAndApplied) {
    Fresh f;
    App app;
    app.open_settings();
    ASSERT_TRUE(click(app, Act::SettingsTheme, 102));
    EXPECT_EQ(SettingsStore::instance().get().theme, "dark");
    EXPECT_TRUE(app.m_dark);
    ASSERT_TRUE(click(app, Act::SettingsTheme, 101));
    EXPECT_EQ(SettingsStore::instance().get().theme, "light");
    EXPECT_FALSE(app.m_dark);
    ASSERT_TRUE(click(app, Act::SettingsTheme, 100));
    EXPECT_EQ(SettingsStore::instance().get().theme, "auto");
    SettingsStore::instance().mutable_get() = Settings{};
    SettingsStore::instance().load();
    EXPECT_EQ(SettingsStore::instance().get().theme, "auto");
}

TEST(AppSettings, ALanguageRowStoresItsCodeAndAutomaticStoresAuto) {
    Fresh f;
    App app;
    app.open_settings();
    const std::vector<LanguageInfo> langs = I18n::available();
    size_t german = langs.size();
    for (size_t k = 0; k < langs.size(); ++k)
        if (langs[k].code == "de")
            german = k;
    ASSERT_LT(german, langs.size());
    ASSERT_TRUE(click(app, Act::SettingsLang, 201 + static_cast<int>(german)));
    EXPECT_EQ(SettingsStore::instance().get().language, "de");
    EXPECT_EQ(I18n::instance().effective_language(), "de");
    ASSERT_TRUE(click(app, Act::SettingsLang, 200));
    EXPECT_EQ(SettingsStore::instance().get().language, "auto");
}

TEST(AppSettings, ALanguageIndexOutOfRangeChangesNothing) {
    Fresh f;
    App app;
    SettingsStore::instance().mutable_get().language = "fr";
    app.m_targets = {hit_target(0, 0, 10, 10, Act::SettingsLang,
                                201 + static_cast<int>(I18n::available().size())),
                     hit_target(20, 0, 10, 10, Act::SettingsLang, 150)};
    app.on_click(5, 5, false);
    app.on_click(25, 5, false);
    EXPECT_EQ(SettingsStore::instance().get().language, "fr");
}

TEST(AppSettings, ResettingTheProjectsFolderEmptiesItAndRescans) {
    Fresh f;
    SettingsStore::instance().mutable_get().projects_root = "/somewhere/else";
    catalog::set_projects_root("/somewhere/else");
    App app;
    app.open_settings();
    ASSERT_TRUE(click(app, Act::ResetProjects));
    EXPECT_EQ(SettingsStore::instance().get().projects_root, "");
    EXPECT_EQ(catalog::projects_root(), real_home());
    EXPECT_EQ(app.m_scans_started, 1);
    settle(app);
}

TEST(AppSettings, ClearingTheCommandEmptiesFieldAndStoredValue) {
    Fresh f;
    SettingsStore::instance().mutable_get().file_manager_command = "nemo %s";
    App app;
    app.open_settings();
    app.fm_begin_edit();
    ASSERT_TRUE(click(app, Act::ClearFileManager));
    EXPECT_EQ(app.m_fm_text, "");
    EXPECT_EQ(app.m_fm_caret, 0u);
    EXPECT_FALSE(app.m_fm_editing);
    EXPECT_EQ(SettingsStore::instance().get().file_manager_command, "");
}

TEST(AppSettings, TestingACommandThatCannotStartSaysSo) {
    Fresh f;
    App app;
    app.open_settings();
    app.fm_begin_edit();
    type(app, "/nonexistent/quillet-fm %s");
    ASSERT_TRUE(click(app, Act::TestFileManager));
    EXPECT_EQ(SettingsStore::instance().get().file_manager_command, "/nonexistent/quillet-fm %s")
        << "the edit is committed first";
    ASSERT_EQ(app.m_overlay, App::Overlay::Dialog);
    EXPECT_EQ(app.m_dialog_title, I18n::instance().tr("File manager"));
    ASSERT_EQ(app.m_dialog_buttons.size(), 1u);
    EXPECT_TRUE(app.m_dialog_buttons[0].cancel);
}

// ---------------------------------------------------------------------------
// The command field
// ---------------------------------------------------------------------------

namespace {

// An App with the settings page open and the field being edited.
struct Editing {
    Fresh f;
    App app;
    explicit Editing(const std::string& text = "") {
        app.m_overlay = App::Overlay::Settings;
        app.m_fm_text = text;
        app.fm_begin_edit();
    }
};

} // namespace

TEST(AppField, TypingInsertsAtTheCaret) {
    Editing e("ac");
    e.app.m_fm_caret = 1;
    type(e.app, "b");
    EXPECT_EQ(e.app.m_fm_text, "abc");
    EXPECT_EQ(e.app.m_fm_caret, 2u);
}

TEST(AppField, QuotesBackslashesAndControlKeysAreNotTaken) {
    Editing e("x");
    EXPECT_FALSE(e.app.fm_key(GDK_KEY_quotedbl, NONE));
    EXPECT_FALSE(e.app.fm_key(GDK_KEY_backslash, NONE));
    EXPECT_FALSE(e.app.fm_key(GDK_KEY_F5, NONE)); // no character at all
    EXPECT_EQ(e.app.m_fm_text, "x");
    // Not taken by the field, so F5 still reaches the page: a rescan.
    key(e.app, GDK_KEY_F5);
    EXPECT_EQ(e.app.m_scans_started, 1);
    settle(e.app);
}

TEST(AppField, MultiByteCharactersMoveAndGoWhole) {
    Editing e;
    for (unsigned cp : {0x00E9u /* é */, 0x6587u /* 文 */, 0x1F600u /* 😀 */})
        EXPECT_TRUE(e.app.fm_key(gdk_unicode_to_keyval(cp), NONE));
    const std::string all = "\xC3\xA9\xE6\x96\x87\xF0\x9F\x98\x80";
    ASSERT_EQ(e.app.m_fm_text, all);
    EXPECT_EQ(e.app.m_fm_caret, 9u);
    key(e.app, GDK_KEY_Left);
    EXPECT_EQ(e.app.m_fm_caret, 5u);
    key(e.app, GDK_KEY_Left);
    EXPECT_EQ(e.app.m_fm_caret, 2u);
    key(e.app, GDK_KEY_Right);
    EXPECT_EQ(e.app.m_fm_caret, 5u);
    key(e.app, GDK_KEY_BackSpace); // 文
    EXPECT_EQ(e.app.m_fm_text, "\xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_EQ(e.app.m_fm_caret, 2u);
    key(e.app, GDK_KEY_Delete); // 😀
    EXPECT_EQ(e.app.m_fm_text, "\xC3\xA9");
    key(e.app, GDK_KEY_Delete); // nothing at the end
    EXPECT_EQ(e.app.m_fm_text, "\xC3\xA9");
    key(e.app, GDK_KEY_Home);
    EXPECT_EQ(e.app.m_fm_caret, 0u);
    key(e.app, GDK_KEY_BackSpace); // nothing before the start
    key(e.app, GDK_KEY_Left);
    EXPECT_EQ(e.app.m_fm_text, "\xC3\xA9");
    EXPECT_EQ(e.app.m_fm_caret, 0u);
    key(e.app, GDK_KEY_End);
    EXPECT_EQ(e.app.m_fm_caret, 2u);
    key(e.app, GDK_KEY_Right);
    EXPECT_EQ(e.app.m_fm_caret, 2u);
}

TEST(AppField, NeverMoreThanThreeHundredBytes) {
    Editing e(std::string(299, 'a'));
    EXPECT_TRUE(e.app.fm_key(gdk_unicode_to_keyval(0x00E9), NONE)) << "taken, though not inserted";
    EXPECT_EQ(e.app.m_fm_text.size(), 299u);
    type(e.app, "b");
    EXPECT_EQ(e.app.m_fm_text.size(), 300u);
    type(e.app, "c");
    EXPECT_EQ(e.app.m_fm_text.size(), 300u);
    EXPECT_EQ(e.app.m_fm_text.back(), 'b');
}

TEST(AppField, PasteSkipsQuotesBackslashesAndControlBytesAndStopsAtALineEnd) {
    Editing e("ab");
    e.app.m_fm_caret = 1;
    e.app.fm_paste("x\"y\\z\tw\x01v\nnot this");
    EXPECT_EQ(e.app.m_fm_text, "axyzwvb");
    EXPECT_EQ(e.app.m_fm_caret, 6u);
    e.app.fm_paste("\rnothing");
    EXPECT_EQ(e.app.m_fm_text, "axyzwvb");
}

TEST(AppField, PasteStopsAtThreeHundredBytes) {
    Editing e("start ");
    e.app.fm_paste(std::string(500, 'q'));
    EXPECT_EQ(e.app.m_fm_text.size(), 300u);
    EXPECT_EQ(e.app.m_fm_text.substr(0, 6), "start ");
    EXPECT_EQ(e.app.m_fm_caret, 300u);
}

TEST(AppField, TabReturnAndEnterCommit) {
    for (unsigned k : {GDK_KEY_Tab, GDK_KEY_Return, GDK_KEY_KP_Enter}) {
        Editing e;
        type(e.app, "pcmanfm %s");
        EXPECT_TRUE(e.app.fm_key(k, NONE));
        EXPECT_FALSE(e.app.m_fm_editing);
        EXPECT_EQ(SettingsStore::instance().get().file_manager_command, "pcmanfm %s");
    }
}

TEST(AppField, OnlyBlanksCommitToEmptyWhichMeansTheDefault) {
    Editing e;
    SettingsStore::instance().mutable_get().file_manager_command = "nemo %s";
    e.app.m_fm_text = " \t ";
    e.app.fm_commit();
    EXPECT_EQ(e.app.m_fm_text, "");
    EXPECT_EQ(e.app.m_fm_caret, 0u);
    EXPECT_EQ(SettingsStore::instance().get().file_manager_command, "");
}

TEST(AppField, ACommandTheCheckRejectsIsEmptied) {
    Editing e;
    SettingsStore::instance().mutable_get().file_manager_command = "nemo %s";
    // Cannot be typed, but could come from an old settings file.
    e.app.m_fm_text = "nemo \"%s\"";
    e.app.fm_commit();
    EXPECT_EQ(e.app.m_fm_text, "");
    EXPECT_EQ(SettingsStore::instance().get().file_manager_command, "");
}

TEST(AppField, CommittingWithoutEditingDoesNothing) {
    Fresh f;
    SettingsStore::instance().mutable_get().file_manager_command = "nemo %s";
    App app;
    app.m_fm_text = "   something else ";
    app.fm_commit();
    EXPECT_EQ(app.m_fm_text, "   something else ");
    EXPECT_EQ(SettingsStore::instance().get().file_manager_command, "nemo %s");
}

// ---------------------------------------------------------------------------
// Rows cut off at a pane's edge
// ---------------------------------------------------------------------------

TEST(AppInput, ARowCutOffByThePanesEdgeIsClickableOnlyWhereItShows) {
    Fresh f;
    App app;
    for (int i = 0; i < 30; ++i)
        app.m_cats.push_back(category("cat" + std::to_string(i), GroupKind::Java, {1000, 2000}));
    for (int i = 0; i < 40; ++i)
        app.m_cats[0].items.push_back(app.m_cats[0].items[0]);
    app.m_selection = "cat0";
    for (bool rtl : {false, true}) {
        render_test::Language lang(rtl ? "he" : "en");
        Canvas canvas(W, H);
        app.m_scroll = 37; // rows cut at the top and at the bottom
        app.m_sidebar_scroll = 23;
        app.render_offscreen(canvas.cr(), W, H);
        int sidebar_rows = 0, content_rows = 0;
        for (const App::HitTarget& t : app.m_targets) {
            const RectF& r = t.rect;
            if (t.act == Act::SelectCategory) {
                ++sidebar_rows;
                EXPECT_GE(r.y, app.m_r_sidebar.y);
                EXPECT_LE(r.y + r.h, app.m_r_sidebar.y + app.m_r_sidebar.h);
            } else if (t.act == Act::ToggleItem || t.act == Act::RevealItem) {
                ++content_rows;
                EXPECT_GE(r.y, app.m_r_content.y);
                EXPECT_LE(r.y + r.h, app.m_r_content.y + app.m_r_content.h);
            }
        }
        EXPECT_GT(sidebar_rows, 5);
        EXPECT_GT(content_rows, 5);
        // The footer's own words are the footer's, not the row behind them.
        const App::HitTarget* under = app.target_at(rtl ? W - 28 : 28, app.m_r_footer.y + 5);
        EXPECT_TRUE(under == nullptr || under->act != Act::SelectCategory);
    }
}
