// The one application object: it owns the window, the canvas, every piece of
// interface state, the category results, the worker thread and the hit
// targets of the last frame. It lives on the stack of main() until the process
// ends.
//
// Threads: every member function runs on the main (GTK) thread unless its
// comment says otherwise. A worker thread touches only what m_mutex guards and
// the three atomics m_cancel, m_worker_running and m_dirty; it never calls GTK.
//
// Members are public so that the rendering and input halves of the class, and
// the tests, can read the state as it is; the class has no invariants beyond
// the locking rule above.
#pragma once

#include "activity.h"
#include "catalog.h"
#include "disk_space.h"
#include "evidence.h"
#include "git_repo.h"
#include "scanner.h"
#include "shell_ops.h"
#include "theme.h"
#include "window_manager.h"

#include <gtk/gtk.h>

#include <atomic>
#include <cstdint>
#include <ctime>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <vector>

class AccessTree;

// A rectangle in device pixels, origin top left.
struct RectF {
    float x = 0;
    float y = 0;
    float w = 0;
    float h = 0;

    // Both edges are inside, so a click on a border still counts.
    bool contains(double px, double py) const {
        return px >= x && px <= x + w && py >= y && py <= y + h;
    }
    // A rectangle without area (zero or negative width or height) is empty.
    bool empty() const { return !(w > 0 && h > 0); }
};

// One found entry that may be deleted.
// A frame copies the entries it shows without their records of linked files
// (row_copy in app_render_detail.cpp): a field added here goes there too.
struct Item {
    std::string path;
    std::string name;
    std::string detail;
    time_t modified = 0;
    int64_t size = 0; // allocated bytes; only positive sizes count in totals
    bool size_known = false;
    // Files in it with more than one link (sorted, see sharing.h), the part of
    // size they take, and what deleting this entry alone gives back: less
    // than size when some of its files are linked from elsewhere too.
    std::vector<sharing::SharedFile> shared;
    int64_t shared_bytes = 0;
    int64_t frees = 0;
    // Deleting it alone gives back less than its size: the row says so.
    bool frees_less() const { return size_known && shared_bytes > 0 && frees != size; }
    SafetyLevel safety = SafetyLevel::Safe;
    bool keep_hint = false; // newest of a keep-newest category: offered, marked to keep
    // A version the user's tools are set to use (see tool_pins): offered,
    // Risky, marked to keep, and never ticked by "Safe ones".
    bool in_use = false;
    bool selected = false;
    // When it was last of use (see activity.h), set where it is measured:
    // for a project's build output the last activity of the project around
    // it (of_project), for any other entry its newest change. 0: not known.
    time_t active = 0;
    bool of_project = false;
    // What speaks for and against deleting a found project folder, or why a
    // version is in use; shown on its row. Empty for the other entries.
    std::vector<evidence::Reason> reasons;
};

// One category with its scan results.
struct CatState {
    CategoryDef def;
    std::vector<Item> items;
    bool scanning = false;
    bool did_scan = false;
    // Bytes of its entries' sizes that are files linked from an entry counted
    // before (in an earlier category, or earlier in this one): left out of
    // its total so that every file counts once. Set by App::recount_shared.
    int64_t counted_elsewhere = 0;

    int64_t total_size() const {
        int64_t sum = 0;
        for (const Item& it : items)
            if (it.size > 0)
                sum += it.size;
        return std::max<int64_t>(0, sum - counted_elsewhere);
    }
};

// The layouts of texts drawn recently, keyed by font and text, so that a
// frame showing what the last one showed shapes no text again. Owns one
// reference to each layout. Interface thread only.
class TextLayoutCache {
public:
    TextLayoutCache() = default;
    ~TextLayoutCache();
    TextLayoutCache(const TextLayoutCache&) = delete;
    TextLayoutCache& operator=(const TextLayoutCache&) = delete;

    // A borrowed layout, or null.
    PangoLayout* find(const std::string& key) const;
    // Takes over the reference; the cache empties itself when it grows large.
    void put(const std::string& key, PangoLayout* layout);
    void clear();
    size_t size() const { return m_map.size(); }

private:
    std::unordered_map<std::string, PangoLayout*> m_map;
};

// What a frame drew, for the tests that check every language fits: while a
// FitLog is installed in App::m_fit_log, labels, buttons, pills and overlay
// cards note the room they were given and where they landed, and truncation
// notes what it had to cut. Without a log nothing is noted.
struct FitNote {
    enum class Kind {
        Label,  // a text; its room is the rectangle the caller handed over
        Button, // a push button's face, sized to its label
        Pill,   // a pill, sized to its label
        Card,   // an overlay's card, which must stay inside the window
        Cut,    // a text that truncation shortened to the room's width
    };
    Kind kind = Kind::Label;
    std::string text; // as drawn; for Cut the text before it was cut
    int font = 0;     // App::Font
    double width = 0; // the text's measured width
    RectF room;       // layout coordinates
    RectF drawn;      // where the text or the box lands, layout coordinates
    RectF region;     // the area it belongs to: a region of the frame or a card
    bool overlay = false;
};
struct FitLog {
    std::vector<FitNote> notes;
};

class App {
public:
    // Clickable actions; the number of each is stable.
    enum class Act : int {
        None = 0,
        SelectOverview = 1,
        SelectCategory = 2,
        SelectManual = 3,
        OpenManualItem = 4,
        Rescan = 5,
        CancelScan = 6,
        AppMenu = 7,
        SettingsTheme = 8,
        SettingsLang = 9,
        ChooseProjects = 10,
        ResetProjects = 11,
        EditFileManager = 12,
        ClearFileManager = 13,
        TestFileManager = 14,
        About = 15,
        LinkWebsite = 16,
        ToggleItem = 17,
        SelectAllSafe = 18,
        SelectNone = 19,
        RevealItem = 20,
        RevealCategory = 21,
        Clean = 22,
        TopConsumer = 23,
        LegendEntry = 24,
        DialogButton = 25,
        MenuItem = 26,
        CloseOverlay = 27,
        // Ticks the Safe entries unused for longer than index months: of
        // the category shown, or of every category on the overview.
        SelectOlder = 28,
    };

    struct HitTarget {
        RectF rect; // canvas coordinates, already mirrored for right-to-left
        Act act = Act::None;
        int index = 0;
        // The whole control as drawn, before it was cut to its pane: what
        // the focus ring outlines and scrolling into view looks at.
        RectF full;
    };

    enum class Overlay { None, Dialog, About, Settings };

    // One control the keyboard can reach, named by the act and index of its
    // hit target (a category's index, an entry's index in its page, a dialog
    // button's id).
    struct Focus {
        Act act = Act::None;
        int index = 0;
        bool operator==(const Focus& o) const { return act == o.act && index == o.index; }
        bool operator!=(const Focus& o) const { return !(*this == o); }
        bool empty() const { return act == Act::None; }
    };

    // The controls of one group, in reading order. Tab and Shift+Tab move
    // between groups, arrows inside one.
    struct FocusGroup {
        std::vector<Focus> controls;
        // Left and Right move inside it (mirrored right to left); Up and
        // Down do in the others.
        bool horizontal = false;
    };

    // Whether a control of this act can hold the keyboard focus. The
    // backdrop of an overlay, the legend of the donut and the menu items
    // cannot.
    static bool focusable(Act act);

    struct DialogButton {
        int id = 0;
        std::string label; // already translated
        bool destructive = false;
        bool cancel = false; // what Escape and closing the dialog stand for
    };

    // One sidebar group as shown: its categories (indices into m_cats),
    // largest first, and their total.
    struct VisibleGroup {
        GroupKind group = GroupKind::Ides;
        std::vector<int> cats;
        int64_t total = 0;
    };

    App();
    ~App();
    App(const App&) = delete;
    App& operator=(const App&) = delete;

    // Start-up, then the main loop; returns 0 when the window was closed.
    int run(int argc, char** argv);

    void build_window();
    void apply_theme();
    void request_redraw();
    void save_geometry();
    // Records the window's current size and position as its un-maximized ones.
    void remember_normal_geometry();
    bool position_on_a_monitor(int x, int y, int w, int h) const;
    void on_poll();
    // With QUILLET_STATE_FILE set, writes what the frame just drawn shows
    // there, for the end-to-end tests (app_state_file.cpp).
    void write_state_file();
    // Joins a worker that has finished, clears the running flags and opens
    // the failure dialog a deletion left pending. Interface thread only.
    void finish_worker();

    // ---- Pointer and keyboard (app_input.cpp) ----
    // Called by the trampolines below, and by tests with target rectangles.
    void on_click(double x, double y, bool right);
    // What a click on a control of that act and index does; clicks, keys and
    // the accessible objects' actions all come here.
    void activate(Act act, int index);
    void on_motion(double x, double y);
    void on_key(unsigned keyval, GdkModifierType state);
    // Scrolls the content pane by step pixels, kept within its content.
    void scroll_by(double step);
    // A wheel or touchpad step at the pointer: the sidebar under it, else
    // the content pane.
    void scroll_at(double x, double y, double step);
    // Acts on a pressed dialog button by its id; the dialog is closed first.
    void press_dialog_button(int id);
    // Starts a scan unless one or a deletion is running.
    void rescan_if_idle();
    // Opens the settings page with the stored file-manager command in the field.
    void open_settings();
    // The in-canvas field for the file-manager command on the settings page.
    void fm_begin_edit();
    // Ends an edit: trims, drops a command that may not be stored, saves a change.
    void fm_commit();
    // Whether the key was used by the field (only called while editing).
    bool fm_key(unsigned keyval, GdkModifierType state);
    // Inserts clipboard text at the caret: up to the first line break,
    // without quotes, backslashes and control bytes, within 300 bytes.
    void fm_paste(const std::string& clip);

    // The maker's web site, opened from the about page.
    static constexpr const char* WEBSITE = "https://quillet.app";

    // The target under a point in the last frame: the last registered one
    // containing it wins, since what is drawn later lies on top.
    const HitTarget* target_at(double x, double y) const;

    // ---- Scan orchestration (app_scan.cpp) ----
    // Fills m_cats with one empty state per catalog row, in catalog order.
    void load_categories();
    // Starts a full scan of every category, replacing a running one and the
    // old results; ticks are carried over by path as categories finish.
    void start_scan();
    // Stops the running worker and waits for it.
    void cancel_scan();
    // The scan thread's body. Runs on the worker thread.
    void scan_worker();
    // Walks the projects folder once for every project category (and marks
    // them as being scanned meanwhile), before any category is scanned.
    // Runs on the worker thread.
    void walk_projects();
    // Lists and measures one category into cat.items. Runs on the worker
    // thread on a private CatState, without m_mutex.
    void scan_category(CatState& cat);
    // An entry as listed, before it is measured (and, for a project folder,
    // weighed).
    static Item item_of(const ScannedInfo& info, const CategoryDef& def);
    // Marks the entries a versioned row keeps: those the user's tools are set
    // to use (Risky, in_use, with the reasons that say which setting keeps
    // them), else the newest, per tool for rows of "<tool>/<version>"
    // entries. Reads m_project_pin_files. Runs on the worker thread on a
    // private CatState, like scan_category.
    void apply_keep_rules(CatState& cat) const;
    // Sets a measured project folder's level and reasons from the evidence.
    // A measurement cut short at its deadline is not weighed at all (see
    // evidence::not_looked_through); one cut short by a cancel leaves the
    // entry as listed.
    void weigh(Item& it, const CategoryDef& def, const scanner::Measure& m,
               git_repo::Cache& repos) const;

    // Natural version order of two names: runs of digits compare as numbers
    // (leading zeros ignored), other bytes as bytes. Negative, zero or
    // positive as a is older than, the same as or newer than b.
    static int compare_versions(const std::string& a, const std::string& b);

    // The read side, for the interface thread; hold m_mutex while a scan runs.
    // The category named by m_selection; none for the overview and "__manual__".
    CatState* current_category();
    const CatState* current_category() const;
    std::vector<VisibleGroup> visible_groups() const;
    // Both count a file linked from several entries once.
    int64_t total_reclaimable() const;
    int64_t safe_reclaimable() const;
    // Works out again which bytes of each category were counted before
    // (CatState::counted_elsewhere) and of the Safe entries; after results
    // holding files with several links are replaced or removed. Caller holds
    // m_mutex while a worker runs.
    void recount_shared();

    // ---- Selection and cleaning (app_clean.cpp) ----
    // Ticks every Safe entry of the category except a kept version (the
    // newest, or one in use);
    // other ticks stay as they are.
    void select_all_safe(CatState& cat);
    // What select_all_safe would tick, narrowed to the entries last active
    // more than months before now (see activity::older_than); an entry whose
    // activity is not known is left alone. Other ticks stay as they are.
    void select_safe_older_than(CatState& cat, int months, time_t now);
    void select_none(CatState& cat);
    // Ticks every entry of the category, whatever its level (Ctrl+A).
    void select_all(CatState& cat);
    // Over all categories; the caller holds m_mutex while a worker runs.
    int selected_count() const;
    // What deleting the ticked entries would give back: a file with several
    // links counts only when all of them lie inside the ticked entries.
    // Worked out again from their records when the ticks change.
    int64_t selected_size() const;
    // Opens the "Delete permanently?" dialog; nothing when nothing is ticked.
    void confirm_clean();
    // Starts the deletion worker unless a worker thread exists. Returns
    // whether it started.
    bool start_clean();
    // The deletion worker's body: deletes every ticked entry the guard lets
    // through and records the outcome. Runs on the worker thread.
    void do_clean();
    // Removes the deleted entries from the results; the caller holds m_mutex.
    void apply_deletion(const shell_ops::DeleteResult& result);
    // The status after a deletion: what the file systems gained, and beside
    // it what was expected when the two differ; the expected sum alone when
    // the gain could not be read.
    std::string freed_status(const disk_space::Result& r) const;
    // The footer's status line in the present language: a failure's reason,
    // what the last deletion freed, or nothing. Composed on the interface
    // thread, so that the deletion worker never formats interface text (the
    // language and the reading direction belong to the interface thread) and
    // the line follows a change of language. The caller holds m_mutex.
    std::string status_text() const;
    void show_dialog(const std::string& title, const std::string& message,
                     std::vector<DialogButton> buttons);
    // Shows the path in the file manager, or says where it is when no file
    // manager answers.
    void reveal_or_explain(const std::string& path);
    // The dialogs for a file manager that did not answer: when revealing a
    // path, and when the settings page tested the command.
    void explain_no_file_manager(const std::string& path);
    void explain_file_manager_test_failed();

    // ---- Rendering (app_render*.cpp) ----
    // Everything below draws with m_cr and is valid only while a frame is
    // being drawn. Rectangles are given in left-to-right layout coordinates;
    // the primitives mirror them for right-to-left languages, so page code
    // never tests m_rtl for placement.

    // Draws one frame with the given context: the window's draw callback and
    // render_offscreen() both come here.
    void draw_all(cairo_t* cr);
    // Draws one frame of the given size onto any Cairo context (an image
    // surface in tests and benchmarks). Needs no window: without one, the
    // text is laid out with the default font map.
    void render_offscreen(cairo_t* cr, double width, double height);

    // Text (app_render.cpp).
    enum class Font : int {
        Body = 0,
        BodyBold = 1,
        Caption = 2,
        CaptionBold = 3,
        Title = 4,
        Hero = 5,
        Mono = 6,
        MonoBold = 7,
    };
    // A new layout of the whole text in the font; the caller releases it.
    PangoLayout* layout_for(const std::string& text, Font font);
    double measure_text(const std::string& text, Font font);
    double font_height(Font font);
    // Paths, sizes and commands keep their left-to-right order inside
    // right-to-left text.
    std::string ltr(const std::string& text) const;
    std::string truncate_to_width(const std::string& text, Font font, double max_w);
    std::string truncate_path_middle(const std::string& text, Font font, double max_w);
    std::vector<std::string> wrap_text(const std::string& text, Font font, double max_w);

    // Shapes (app_render.cpp).
    RectF mirror(RectF r) const;
    void round_rect_path(RectF r, double radius);
    void fill_rgb(RectF r, const Rgb& colour, double alpha);
    void fill_rect(RectF r, const std::string& colour, double alpha);
    void fill_round_rect(RectF r, double radius, const std::string& colour, double alpha);
    void fill_round_rect_gradient(RectF r, double radius, const std::string& first,
                                  const std::string& second, double alpha);
    void stroke_round_rect(RectF r, double radius, const std::string& colour, double line_width,
                           double alpha);
    void draw_hairline(double y, double x1, double x2);
    void draw_bar(RectF r, double fraction, const std::string& colour);

    // Labels return the drawn width; 0 without drawing for an empty text or a
    // colour that does not parse. They neither clip nor truncate.
    double draw_label_rgb(const std::string& text, Font font, RectF r, const Rgb& colour,
                          double alpha);
    double draw_label(const std::string& text, Font font, RectF r, const std::string& colour,
                      double alpha = 1.0);
    double draw_label_right(const std::string& text, Font font, RectF r, const std::string& colour,
                            double alpha = 1.0);
    double draw_label_center(const std::string& text, Font font, RectF r, const std::string& colour,
                             double alpha = 1.0);
    // Draws without noting anything: the labels above note first.
    double paint_label(const std::string& text, Font font, RectF r, const Rgb& colour,
                       double alpha);

    // Symbols, chips, pills and buttons (app_render_glyphs.cpp).
    void draw_glyph(Glyph glyph, RectF r, const Rgb& colour);
    void draw_icon_chip(Glyph glyph, RectF r, const std::string& colour);
    // Returns the pill's rectangle: label width + 14 by font height + 5.
    RectF draw_pill(double x, double y, const std::string& label, Font font,
                    const std::string& colour, double bg_alpha);
    // Returns the button's rectangle; the caller registers its target.
    RectF draw_button(double x, double y, const std::string& label, bool primary, bool enabled);

    // Notes for an installed FitLog; cheap no-ops without one.
    void note_fit(FitNote::Kind kind, const std::string& text, Font font, double width, RectF room,
                  RectF drawn);
    void note_box(FitNote::Kind kind, const std::string& label, RectF box);

    // The frame (app_render_frame.cpp).
    void compute_layout();
    void add_target(RectF r, Act act, int index);
    void draw_toolbar();
    void draw_sidebar();
    // The second line of a category's sidebar row, which screen readers
    // read as its description: "scanning …", "empty", its size, or "…"
    // while it waits for its turn.
    std::string category_state_line(bool scanning, bool did_scan, size_t count,
                                    int64_t total) const;
    void draw_content();
    void draw_scroll_indicator();
    void draw_footer();

    // The overview (app_render_overview.cpp).
    void draw_overview();
    void draw_hero_card(RectF r);
    void draw_donut(RectF r);
    // Draws the biggest consumers from *y on and advances *y by the height used.
    void draw_top_consumers(RectF block, double* y);
    void draw_scanning_state(RectF r);
    void draw_empty_state(RectF r);

    // The category page and the manual-removal page (app_render_detail.cpp).
    void draw_category_detail();
    // "Safe ones older than" and a button per span (SelectOlder targets),
    // from x in a line of width w at y; 30 high.
    void draw_age_control(double x, double y, double w, bool enabled);
    // The name of the button for a span of months ("3 mo").
    static std::string age_button_label(int months);
    void draw_item_row(const Item& item, int index, RectF r, int64_t cat_total,
                       const std::string& accent);
    // The line under a project folder's row, in the interface language: its
    // concerns ("Holds 3 files tracked by git"), or when it has none, its
    // evidence ("Ignored by git · beside Cargo.toml"), joined in their order.
    std::string reasons_line(const std::vector<evidence::Reason>& reasons) const;
    // The row's age, in the interface language: for build output its
    // project's last activity ("project active 3 mo ago") once known, else
    // when the entry last changed; empty when neither is known.
    static std::string age_line(const Item& item);
    // "frees 1.2 MB": what deleting the entry alone gives back, shown beside
    // its size when the two differ.
    std::string frees_text(const Item& item) const;
    void draw_manual_list();

    // ---- Overlays (app_render_overlay.cpp, app_render_settings.cpp) ----
    // Drawn last in a frame while m_overlay is not None. The overlay empties
    // the hit targets first and lays a CloseOverlay target over the dimmed
    // window, so only its own controls can be clicked while it is open.
    void draw_overlay();
    // The message card of show_dialog(): title, wrapped message, buttons
    // from the right, each a DialogButton target whose index is its id.
    void draw_dialog();
    void draw_about();
    void draw_settings();
    // The settings card's sections, each from the running y of its top,
    // returning the height it takes. With draw false they only measure, so
    // the card's height and the drawing come from the same arithmetic.
    double draw_settings_appearance(RectF inner, double y, bool draw);
    double draw_settings_language(RectF inner, double y, bool draw);
    double draw_settings_projects(RectF inner, double y, bool draw);
    double draw_settings_file_manager(RectF inner, double y, bool draw);

    // GTK trampolines; each gets the App as its user data.
    static gboolean on_draw_cb(GtkWidget* widget, cairo_t* cr, gpointer self);
    static gboolean on_button_press_cb(GtkWidget* widget, GdkEventButton* ev, gpointer self);
    static gboolean on_motion_cb(GtkWidget* widget, GdkEventMotion* ev, gpointer self);
    static gboolean on_leave_cb(GtkWidget* widget, GdkEventCrossing* ev, gpointer self);
    static gboolean on_scroll_cb(GtkWidget* widget, GdkEventScroll* ev, gpointer self);
    static gboolean on_key_cb(GtkWidget* widget, GdkEventKey* ev, gpointer self);
    static gboolean on_key_release_cb(GtkWidget* widget, GdkEventKey* ev, gpointer self);
    static gboolean on_focus_cb(GtkWidget* widget, GdkEventFocus* ev, gpointer self);
    static gboolean on_configure_cb(GtkWidget* widget, GdkEventConfigure* ev, gpointer self);
    static gboolean on_delete_cb(GtkWidget* widget, GdkEvent* ev, gpointer self);
    static void on_canvas_destroy_cb(GtkWidget* widget, gpointer self);
    static gboolean on_poll_cb(gpointer self);

    // ---- Window and drawing ----
    GtkWidget* m_window = nullptr;
    GtkWidget* m_canvas = nullptr;
    cairo_t* m_cr = nullptr; // only during a draw
    PangoContext* m_pango = nullptr;
    double m_width = 0;
    double m_height = 0;
    // The size and position of the window when last seen un-maximized, kept
    // from configure events, so that a window closed while maximized still
    // remembers where and how big it was before.
    int m_win_w = WINDOW_MIN_WIDTH;
    int m_win_h = WINDOW_MIN_HEIGHT;
    int m_win_x = -1000000; // -1000000: no position known
    int m_win_y = -1000000;
    bool m_maximized = false;
    Palette m_palette = Palette::light();
    bool m_dark = false;
    bool m_rtl = false;

    // ---- Catalog and scan state ----
    std::vector<CatState> m_cats;
    std::string m_selection; // "" overview, a category id, or "__manual__"
    bool m_scanning = false;
    bool m_cleaning = false;
    std::thread m_worker;
    std::atomic<bool> m_cancel{false};
    std::atomic<bool> m_worker_running{false};
    std::mutex m_mutex;
    std::atomic<bool> m_dirty{true};
    // The git repositories the running scan has read, shared by its
    // measuring threads so that each index is read once per scan. Made by
    // start_scan before the worker starts, dropped by the worker at its end.
    std::shared_ptr<git_repo::Cache> m_repos;
    // The projects whose last activity the running scan has found, shared
    // the same way, so that each project is walked once per scan.
    std::shared_ptr<activity::Cache> m_activity;
    // Off only in the scan benchmark, to measure what weighing costs: the
    // project folders then all stay Caution, as before they are weighed.
    bool m_weigh_projects = true;
    // How long one entry's measurement may take before the scan gives up on
    // it; the tests shorten it to meet a measurement given up.
    double m_measure_seconds = 45.0;
    // What the scan's one walk of the projects folder found, per project
    // category id, taken by that category when its turn comes. Written and
    // read by the scan worker only.
    std::unordered_map<std::string, std::vector<ScannedInfo>> m_project_listing;
    // The version files of the user's projects (rust-toolchain, .nvmrc,
    // gradle-wrapper.properties ...; see tool_pins::is_project_file) as scan
    // paths, which tell what versions the projects use. Filled by the scan
    // worker in its one walk of the projects folder, before the categories
    // are scanned, and read by apply_keep_rules on the same thread; tests
    // fill it directly.
    std::vector<std::string> m_project_pin_files;
    // The ticked paths of the results a rescan replaced, per category id, so
    // that ticks survive the rescan (guarded by m_mutex).
    std::unordered_map<std::string, std::unordered_set<std::string>> m_ticked;

    // ---- Results of cleaning (guarded by m_mutex) ----
    std::string m_status_message;
    // The message is a failure's reason, an untranslated interface text.
    bool m_status_failed = false;
    // What the last deletion that went through in full gave back, as the
    // worker measured it; status_text() words it.
    std::optional<disk_space::Result> m_freed_outcome;
    int64_t m_freed_bytes = 0; // what the deleted entries were expected to give back together
    // What the file systems holding them gained, read with statvfs around
    // the deletion; -1 when it could not be read.
    int64_t m_gained_bytes = -1;
    // Bytes the Safe entries count twice: files several of them link.
    int64_t m_safe_counted_twice = 0;
    // Raised whenever records of linked files change in place (after a
    // deletion), so that selected_size() does not trust its last answer.
    uint64_t m_shared_generation = 0;
    // The last selected_size() and the ticks it was worked out for.
    mutable uint64_t m_selected_mark = 0;
    mutable int64_t m_selected_bytes = -1;
    std::vector<std::string> m_failed_paths;
    bool m_failed_dialog_pending = false;
    std::vector<Item> m_manual;
    // A confirmed deletion waiting for the running scan to finish; the poll
    // starts it then (interface thread only).
    bool m_clean_queued = false;
    // Scans started since the program began; QUILLET_STATE_FILE's path.
    int m_scans_started = 0;
    std::string m_state_file;

    // ---- Scrolling and hit testing ----
    double m_scroll = 0;
    double m_content_height = 0;
    double m_sidebar_scroll = 0;
    double m_sidebar_height = 0;
    // While a scrolled pane is drawn, its rectangle: targets are cut to it.
    std::optional<RectF> m_target_clip;
    std::vector<HitTarget> m_targets;
    double m_mouse_x = -1.0;
    double m_mouse_y = -1.0;
    Act m_hover_act = Act::None;
    int m_hover_index = 0;
    int m_highlight_group = -1;

    // ---- Keyboard focus (app_focus.cpp) ----
    // The groups of what is shown now, in reading order: while an overlay is
    // open only its own (Tab stays inside it), else the toolbar, the
    // sidebar, the page's groups and the footer. Only controls that can act
    // now are in them. Takes m_mutex.
    std::vector<FocusGroup> focus_groups();
    // Tab, arrows, Home/End, Page keys, Space, Enter, Ctrl+A and Delete.
    // Returns whether the key was used.
    bool focus_key(unsigned keyval, GdkModifierType state);
    // Puts the focus on a control, shows the ring and scrolls it into view.
    void focus_on(Focus f);
    // Scrolls the control's pane so that all of it is seen.
    void scroll_into_view(Focus f);
    // Opening an overlay moves the focus into it (Cancel first in a
    // destructive confirmation) and remembers where it was; closing it
    // returns the focus there.
    void focus_follow_overlay();
    // The ring around the focused control, drawn last in a frame.
    void draw_focus_ring();

    // An access key: Alt and the character press the control. Each label
    // gives its first letter or digit that no earlier control of the same
    // scope took, so every language gets keys from its own words.
    struct AccessKey {
        Focus control;
        std::string label; // as drawn, translated
        size_t byte = 0;   // where the character starts in label
        uint32_t ch = 0;   // lower case
    };
    // The keys of what can be pressed now: an open dialog's buttons, the
    // Close button of the settings and about cards, else the toolbar.
    std::vector<AccessKey> access_keys() const;
    // Alt with a character: presses the control whose key it is.
    bool access_key_pressed(unsigned keyval, GdkModifierType state);
    // While Alt is held, the character is underlined in a label drawn
    // centred in r (layout coordinates).
    void draw_access_underline(RectF r, const std::string& label, Font font,
                               const std::string& colour);
    bool m_alt_held = false;

    // The focused control; empty until the keyboard or a click puts it on one.
    Focus m_focus;
    // The ring is drawn only after the keyboard was used; a click hides it.
    bool m_focus_visible = false;
    // Where the focus was before the open overlay took it.
    Focus m_focus_return;
    Overlay m_focus_overlay = Overlay::None; // the overlay the focus last followed
    // The last control focused in each group, so that Tab back into a group
    // lands where the user left it; keyed by memory_key().
    std::unordered_map<std::string, Focus> m_focus_memory;
    // The list of the content page as last drawn, in page coordinates
    // (scroll 0, from the pane's top): row i spans origin + i * step for
    // height. The page drawers record it; scrolling into view reads it, so
    // rows that were not drawn can be reached too.
    struct RowGeometry {
        Act act = Act::None; // ToggleItem or OpenManualItem; None: no list
        double origin = 0;
        double step = 0;
        double height = 0;
    };
    RowGeometry m_rows;
    // Each sidebar row and its top in sidebar coordinates (scroll 0, from
    // the pane's top), recorded by draw_sidebar for every row, drawn or not.
    std::vector<std::pair<Focus, double>> m_sidebar_rows;

    // ---- The accessible tree (app_access.cpp) ----
    // Made when an assistive technology first asks the canvas for its
    // accessible (or a test asks), then brought in line after every frame.
    AccessTree* access_tree();
    // Reports a move of m_focus to assistive technologies (FOCUSED and the
    // focus tracker); cheap, and a no-op while nobody asked for the tree.
    // Every frame does it too, so calling it after a move only makes the
    // report come before the next frame.
    void access_focus_changed();
    std::unique_ptr<AccessTree> m_access;
    // What the footer of the last frame counted: ticked entries and their
    // size, so the accessible tree need not count 20,000 entries again.
    int m_footer_count = 0;
    int64_t m_footer_size = 0;

    // ---- Overlays ----
    Overlay m_overlay = Overlay::None;
    std::string m_dialog_title;
    std::string m_dialog_message;
    std::vector<DialogButton> m_dialog_buttons;

    // ---- In-canvas file-manager command field ----
    bool m_fm_editing = false;
    std::string m_fm_text;
    size_t m_fm_caret = 0;
    std::string m_fm_detected;
    bool m_fm_detected_valid = false;

    // ---- Fitting notes for tests (see FitLog) ----
    FitLog* m_fit_log = nullptr;
    RectF m_fit_region;
    bool m_fit_overlay = false;

    // ---- Layout rectangles ----
    RectF m_r_toolbar;
    RectF m_r_sidebar;
    RectF m_r_content;
    RectF m_r_footer;

    // ---- Text metrics and layouts kept between frames ----
    double m_font_h[8] = {-1, -1, -1, -1, -1, -1, -1, -1};
    TextLayoutCache m_layouts;
    // Truncations already worked out, keyed by kind, font, width and text.
    std::unordered_map<std::string, std::string> m_fitted;
    void remember_fit(const std::string& key, const std::string& result);
    // The shared layout of a text in a font, laid out once and kept; not to
    // be released or changed by the caller.
    PangoLayout* shared_layout(const std::string& text, Font font);
};
