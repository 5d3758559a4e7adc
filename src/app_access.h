// The accessible tree: what a screen reader sees of the canvas. The whole
// interface is drawn on one widget, so the toolkit knows of no button, list
// or dialog; this module keeps AtkObjects for them, named, described and
// placed from the same state and the same hit targets the frame drew, and
// keeps each object for as long as its control is on screen, so that an
// assistive technology does not lose its place from one frame to the next.
//
// Objects are keyed by what they stand for (a toolbar act, a category id,
// an entry's path, a dialog button's id), never by their position in a
// frame. A control that goes away is marked defunct, announced as removed
// and released. The entries of a category page are made only when somebody
// asks for them (the list manages its descendants), so a page of 20,000
// entries costs nothing until a screen reader looks into it.
//
// Interface thread only. The tree reads the App after each frame (sync) and
// never changes it except through App::activate, scheduled from an idle
// callback so that a screen reader's call never re-enters the program, and
// through the command field's text when an assistive technology edits it.
#pragma once

#include "app.h"

#include <atk/atk.h>
#include <gtk/gtk.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

struct AccNode;

class AccessTree {
public:
    explicit AccessTree(App& app);
    // Every object still held is marked defunct and released.
    ~AccessTree();
    AccessTree(const AccessTree&) = delete;
    AccessTree& operator=(const AccessTree&) = delete;

    // The canvas' own accessible, the parent of the top-level objects; null
    // while the canvas has none (offscreen frames, tests).
    void set_root(AtkObject* root);
    AtkObject* root() const { return m_root; }

    // Brings the objects in line with what the last frame drew. Cheap when
    // nothing changed: it touches the fixed controls and the entry objects
    // that exist, never every entry of a page.
    void sync();
    // Moves FOCUSED to the object of App::m_focus and tells the focus
    // tracker, when that differs from what was last reported.
    void sync_focus();

    // The top-level objects: toolbar, sidebar, page, footer, open overlay.
    int top_count() const { return static_cast<int>(m_top.size()); }
    // A new reference, or null.
    AtkObject* ref_top(int i) const;

    // The live object with this key, or null (borrowed). Entry objects are
    // found only once they were made (ref_child on their list, or focus).
    AtkObject* find(const std::string& key) const;
    // The object of a control by its act and index (borrowed), making an
    // entry's object when it is asked for; null when nothing stands for it.
    AtkObject* object_for(App::Act act, int index);

    // What was announced last, for the tests; announcements also go out as
    // the "announcement" signal on the canvas' accessible.
    const std::vector<std::string>& announcements() const { return m_announced; }
    // How many entry objects exist, for the benchmark.
    size_t entry_objects() const { return m_entries.size(); }

    // Whether the canvas holds the keyboard focus; the tests may say it does.
    bool canvas_focused() const;
    bool m_assume_focus = false;
    // Whether the object is the keyboard focus and reads as FOCUSED.
    bool is_focused(AtkObject* obj) const;

    // ---- Used by the accessible objects themselves (app_access.cpp) ----
    App& app() { return m_app; }
    int entries_count() const;
    AtkObject* ref_entry_child(AtkObject* list, int i);
    // Entry texts worked out when asked: name, description, checked.
    std::string entry_name(const AccNode& d);
    std::string entry_description(const AccNode& d);
    bool entry_checked(const AccNode& d);
    bool entry_showing(const AccNode& d) const;
    // The rectangle of the control in the last frame, canvas coordinates.
    bool rect_of(const AccNode& d, RectF& out) const;
    // Runs App::activate for the object from an idle callback; false when
    // the object stands for nothing any more.
    bool schedule_activate(AtkObject* obj);
    // The act and index an object activates now (an entry's index can move).
    bool resolve(const AccNode& d, App::Act& act, int& index);

private:
    struct Shape;
    // What a category's results looked like when the sidebar was last
    // worked out: replaced or shrunk results change their storage or length.
    struct CatMark {
        const void* data = nullptr;
        size_t size = 0;
        int64_t counted_elsewhere = 0;
        bool scanning = false;
        bool did_scan = false;
    };
    std::vector<Shape> describe();
    void refresh_categories(); // the caller holds m_mutex
    void reconcile(AtkObject* parent, std::vector<AtkObject*>& children,
                   std::vector<Shape>& shapes);
    void update(AtkObject* obj, Shape& shape);
    AtkObject* create(AtkObject* parent, Shape& shape);
    // Marks the object and everything below it defunct; the caller tells
    // the parent and drops its reference.
    void retire(AtkObject* obj);
    void retire_entry(AtkObject* obj, bool tell_list);
    void retire_entries(bool tell_list);
    const CatState* entries_category() const;       // the caller holds m_mutex
    const Item* entry_item(const AccNode& d) const; // the caller holds m_mutex
    void sync_entries();
    void sync_field();
    void clear_focus();
    void announce(const std::string& text);

    App& m_app;
    AtkObject* m_root = nullptr;
    std::vector<AtkObject*> m_top;
    // The live fixed objects by key (borrowed; the parents own them).
    std::unordered_map<std::string, AtkObject*> m_by_key;

    // The entries of the category page, made on demand and owned here.
    AtkObject* m_entries_list = nullptr; // borrowed: the list that holds them
    std::string m_entries_cat;           // its category id
    std::unordered_map<std::string, AtkObject*> m_entries;
    const void* m_entries_data = nullptr; // items.data() when last resolved
    size_t m_entries_size = 0;
    size_t m_entries_shown_first = 0, m_entries_shown_last = 0; // [first, last]
    bool m_entries_any_shown = false;
    std::vector<AtkObject*> m_shown_entries; // borrowed: entry objects SHOWING last frame

    AtkObject* m_focused = nullptr; // a reference, or null
    bool m_focus_reported = false;

    std::vector<CatMark> m_cat_marks;
    std::vector<int64_t> m_cat_totals;
    int64_t m_total = 0;
    std::vector<App::VisibleGroup> m_groups;
    std::vector<int> m_top_consumers; // category indices, as the overview lists them

    bool m_was_scanning = false;
    bool m_seen_frame = false;
    std::string m_last_status;
    std::string m_fm_text;
    size_t m_fm_caret = 0;
    std::vector<std::string> m_pending; // announcements of the frame being described
    std::vector<std::string> m_announced;
    std::shared_ptr<int> m_alive = std::make_shared<int>(0);
};

namespace app_access {

// The drawing area the whole interface is drawn on, with the accessible
// type that exposes the tree above. Owns nothing of the App.
GtkWidget* canvas_new(App* app);

// The state set of an object as the bridge would read it (a new set).
AtkStateSet* states_of(AtkObject* obj);

} // namespace app_access
