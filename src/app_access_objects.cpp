// The AtkObject types behind the accessible tree, and the canvas widget that
// exposes it: what an assistive technology asks an object (name, role,
// states, place, children, actions, selection, text) is answered here from
// the object's AccNode, which the tree keeps current after every frame.
//
// An action never runs inside the caller's request: do_action and
// add_selection only schedule App::activate (AccessTree::schedule_activate).
//
// Interface thread only.
//
// Sections: the object types · the canvas and its accessible.

#include "app_access.h"
#include "app_access_node.h"

#include <gtk/gtk-a11y.h>

#include <algorithm>
#include <cstring>

using app_access::Kind;
namespace flag = app_access;

// ---------------------------------------------------------------------------
// The object types
// ---------------------------------------------------------------------------

extern "C" {

struct QuilletAccItem {
    AtkObject parent;
    AccNode* d;
};
struct QuilletAccItemClass {
    AtkObjectClass parent_class;
};
struct QuilletAccControl {
    QuilletAccItem parent;
};
struct QuilletAccControlClass {
    QuilletAccItemClass parent_class;
};
struct QuilletAccList {
    QuilletAccItem parent;
};
struct QuilletAccListClass {
    QuilletAccItemClass parent_class;
};
struct QuilletAccField {
    QuilletAccControl parent;
};
struct QuilletAccFieldClass {
    QuilletAccControlClass parent_class;
};

} // extern "C"

namespace {

void item_component_init(AtkComponentIface* iface);
void control_action_init(AtkActionIface* iface);
void list_selection_init(AtkSelectionIface* iface);
void field_text_init(AtkTextIface* iface);
void field_editable_init(AtkEditableTextIface* iface);

} // namespace

G_DEFINE_TYPE_WITH_CODE(QuilletAccItem, quillet_acc_item, ATK_TYPE_OBJECT,
                        G_IMPLEMENT_INTERFACE(ATK_TYPE_COMPONENT, item_component_init))
G_DEFINE_TYPE_WITH_CODE(QuilletAccControl, quillet_acc_control, quillet_acc_item_get_type(),
                        G_IMPLEMENT_INTERFACE(ATK_TYPE_ACTION, control_action_init))
G_DEFINE_TYPE_WITH_CODE(QuilletAccList, quillet_acc_list, quillet_acc_item_get_type(),
                        G_IMPLEMENT_INTERFACE(ATK_TYPE_SELECTION, list_selection_init))
G_DEFINE_TYPE_WITH_CODE(QuilletAccField, quillet_acc_field, quillet_acc_control_get_type(),
                        G_IMPLEMENT_INTERFACE(ATK_TYPE_TEXT, field_text_init)
                            G_IMPLEMENT_INTERFACE(ATK_TYPE_EDITABLE_TEXT, field_editable_init))

AccNode* app_access::node_of(AtkObject* obj) {
    if (!obj || !G_TYPE_CHECK_INSTANCE_TYPE(obj, quillet_acc_item_get_type()))
        return nullptr;
    return reinterpret_cast<QuilletAccItem*>(obj)->d;
}

AtkObject* app_access::make_object(Kind kind) {
    GType type = quillet_acc_item_get_type();
    switch (kind) {
    case Kind::Plain:
        break;
    case Kind::Control:
        type = quillet_acc_control_get_type();
        break;
    case Kind::List:
        type = quillet_acc_list_get_type();
        break;
    case Kind::Field:
        type = quillet_acc_field_get_type();
        break;
    }
    AtkObject* obj = ATK_OBJECT(g_object_new(type, nullptr));
    node_of(obj)->kind = kind;
    return obj;
}

namespace {

AccNode* live(gpointer obj) {
    AccNode* d = app_access::node_of(ATK_OBJECT(obj));
    return d && !d->defunct && d->tree ? d : nullptr;
}

// ---- AtkObject ----

const gchar* item_get_name(AtkObject* obj) {
    AccNode* d = live(obj);
    if (!d)
        return nullptr;
    if (d->entry)
        d->name = d->tree->entry_name(*d);
    return d->name.c_str();
}

const gchar* item_get_description(AtkObject* obj) {
    AccNode* d = live(obj);
    if (!d)
        return nullptr;
    if (d->entry)
        d->description = d->tree->entry_description(*d);
    return d->description.c_str();
}

AtkObject* item_get_parent(AtkObject* obj) {
    AccNode* d = app_access::node_of(obj);
    return d && !d->defunct ? d->parent : nullptr;
}

gint item_get_index_in_parent(AtkObject* obj) {
    AccNode* d = live(obj);
    return d ? d->index_in_parent : -1;
}

AtkRole item_get_role(AtkObject* obj) {
    AccNode* d = app_access::node_of(obj);
    return d ? d->role : ATK_ROLE_INVALID;
}

gint item_get_n_children(AtkObject* obj) {
    AccNode* d = live(obj);
    if (!d)
        return 0;
    if (d->entries_list)
        return 2 * d->tree->entries_count();
    return static_cast<gint>(d->children.size());
}

AtkObject* item_ref_child(AtkObject* obj, gint i) {
    AccNode* d = live(obj);
    if (!d || i < 0)
        return nullptr;
    if (d->entries_list)
        return d->tree->ref_entry_child(obj, i);
    if (i >= static_cast<gint>(d->children.size()))
        return nullptr;
    return ATK_OBJECT(g_object_ref(d->children[static_cast<size_t>(i)]));
}

AtkStateSet* item_ref_state_set(AtkObject* obj) {
    return app_access::states_of(obj);
}

// ---- AtkComponent: the canvas' place plus the control's rectangle ----

void item_get_extents(AtkComponent* component, gint* x, gint* y, gint* width, gint* height,
                      AtkCoordType coord_type) {
    gint cx = 0, cy = 0, cw = 0, ch = 0;
    RectF r;
    AccNode* d = live(component);
    if (x)
        *x = -1;
    if (y)
        *y = -1;
    if (width)
        *width = 0;
    if (height)
        *height = 0;
    if (!d || !d->tree->rect_of(*d, r))
        return;
    if (AtkObject* root = d->tree->root(); root && ATK_IS_COMPONENT(root))
        atk_component_get_extents(ATK_COMPONENT(root), &cx, &cy, &cw, &ch, coord_type);
    if (x)
        *x = cx + static_cast<gint>(r.x);
    if (y)
        *y = cy + static_cast<gint>(r.y);
    if (width)
        *width = static_cast<gint>(r.w + 0.5f);
    if (height)
        *height = static_cast<gint>(r.h + 0.5f);
}

AtkLayer item_get_layer(AtkComponent*) {
    return ATK_LAYER_WIDGET;
}

void item_component_init(AtkComponentIface* iface) {
    iface->get_extents = item_get_extents;
    iface->get_layer = item_get_layer;
}

// ---- AtkAction: "click" ----

gint control_get_n_actions(AtkAction* action) {
    return live(action) ? 1 : 0;
}

gboolean control_do_action(AtkAction* action, gint i) {
    AccNode* d = live(action);
    if (!d || i != 0 || !(d->flags & flag::SENSITIVE))
        return FALSE;
    return d->tree->schedule_activate(ATK_OBJECT(action)) ? TRUE : FALSE;
}

const gchar* control_get_name(AtkAction*, gint i) {
    return i == 0 ? "click" : nullptr;
}

const gchar* control_get_keybinding(AtkAction* action, gint i) {
    AccNode* d = live(action);
    if (!d || i != 0 || d->keybinding.empty())
        return nullptr;
    return d->keybinding.c_str();
}

void control_action_init(AtkActionIface* iface) {
    iface->get_n_actions = control_get_n_actions;
    iface->do_action = control_do_action;
    iface->get_name = control_get_name;
    iface->get_keybinding = control_get_keybinding;
}

// ---- AtkSelection: the sidebar's selected page ----

AccNode* child_node(AccNode* d, gint i) {
    if (!d || i < 0 || i >= static_cast<gint>(d->children.size()))
        return nullptr;
    return app_access::node_of(d->children[static_cast<size_t>(i)]);
}

gboolean list_add_selection(AtkSelection* selection, gint i) {
    AccNode* d = live(selection);
    AccNode* c = child_node(d, i);
    if (!c)
        return FALSE;
    return d->tree->schedule_activate(d->children[static_cast<size_t>(i)]) ? TRUE : FALSE;
}

gboolean list_clear_selection(AtkSelection*) {
    return FALSE; // one page is always shown
}

AtkObject* list_ref_selection(AtkSelection* selection, gint i) {
    AccNode* d = live(selection);
    if (!d || i != 0)
        return nullptr;
    for (AtkObject* c : d->children)
        if (app_access::node_of(c)->flags & flag::SELECTED)
            return ATK_OBJECT(g_object_ref(c));
    return nullptr;
}

gint list_get_selection_count(AtkSelection* selection) {
    AccNode* d = live(selection);
    if (!d)
        return 0;
    return static_cast<gint>(
        std::count_if(d->children.begin(), d->children.end(), [](AtkObject* c) {
            return (app_access::node_of(c)->flags & flag::SELECTED) != 0;
        }));
}

gboolean list_is_child_selected(AtkSelection* selection, gint i) {
    AccNode* c = child_node(live(selection), i);
    return c && (c->flags & flag::SELECTED) ? TRUE : FALSE;
}

void list_selection_init(AtkSelectionIface* iface) {
    iface->add_selection = list_add_selection;
    iface->clear_selection = list_clear_selection;
    iface->ref_selection = list_ref_selection;
    iface->get_selection_count = list_get_selection_count;
    iface->is_child_selected = list_is_child_selected;
}

// ---- AtkText and AtkEditableText: the file-manager command ----
// Offsets are in characters, the App keeps bytes.

const std::string* field_text(gpointer obj) {
    AccNode* d = live(obj);
    return d ? &d->tree->app().m_fm_text : nullptr;
}

glong char_count(const std::string& s) {
    return g_utf8_strlen(s.c_str(), static_cast<gssize>(s.size()));
}

size_t byte_at(const std::string& s, glong chars) {
    chars = std::clamp<glong>(chars, 0, char_count(s));
    return static_cast<size_t>(g_utf8_offset_to_pointer(s.c_str(), chars) - s.c_str());
}

gchar* field_get_text(AtkText* text, gint start, gint end) {
    const std::string* s = field_text(text);
    if (!s)
        return nullptr;
    const glong n = char_count(*s);
    if (end < 0 || end > n)
        end = static_cast<gint>(n);
    start = std::clamp<gint>(start, 0, end);
    const size_t a = byte_at(*s, start), b = byte_at(*s, end);
    return g_strndup(s->c_str() + a, b - a);
}

gint field_get_character_count(AtkText* text) {
    const std::string* s = field_text(text);
    return s ? static_cast<gint>(char_count(*s)) : 0;
}

gint field_get_caret_offset(AtkText* text) {
    AccNode* d = live(text);
    if (!d)
        return -1;
    const App& app = d->tree->app();
    const size_t caret = std::min(app.m_fm_caret, app.m_fm_text.size());
    return static_cast<gint>(
        g_utf8_pointer_to_offset(app.m_fm_text.c_str(), app.m_fm_text.c_str() + caret));
}

gboolean field_set_caret_offset(AtkText* text, gint offset) {
    AccNode* d = live(text);
    if (!d)
        return FALSE;
    App& app = d->tree->app();
    app.m_fm_caret = byte_at(app.m_fm_text, offset);
    app.request_redraw();
    return TRUE;
}

gunichar field_get_character_at_offset(AtkText* text, gint offset) {
    const std::string* s = field_text(text);
    if (!s || offset < 0 || offset >= char_count(*s))
        return 0;
    return g_utf8_get_char(s->c_str() + byte_at(*s, offset));
}

// A one-line field: a character is a character, anything larger is the line.
gchar* field_get_string_at_offset(AtkText* text, gint offset, AtkTextGranularity granularity,
                                  gint* start, gint* end) {
    const std::string* s = field_text(text);
    *start = *end = 0;
    if (!s)
        return nullptr;
    const gint n = static_cast<gint>(char_count(*s));
    if (granularity == ATK_TEXT_GRANULARITY_CHAR) {
        if (offset < 0 || offset >= n)
            return g_strdup("");
        *start = offset;
        *end = offset + 1;
    } else {
        *end = n;
    }
    return field_get_text(text, *start, *end);
}

void field_text_init(AtkTextIface* iface) {
    iface->get_text = field_get_text;
    iface->get_character_count = field_get_character_count;
    iface->get_caret_offset = field_get_caret_offset;
    iface->set_caret_offset = field_set_caret_offset;
    iface->get_character_at_offset = field_get_character_at_offset;
    iface->get_string_at_offset = field_get_string_at_offset;
}

// An edit from an assistive technology goes through the same filter as a
// paste (no quotes, backslashes, control bytes or line breaks, at most 300
// bytes) and leaves the field in editing, so it is stored like a typed
// edit when the field or the page is left.
void field_set_text_contents(AtkEditableText* text, const gchar* contents) {
    AccNode* d = live(text);
    if (!d)
        return;
    App& app = d->tree->app();
    app.m_fm_text.clear();
    app.m_fm_caret = 0;
    app.fm_paste(contents ? contents : "");
    app.m_fm_editing = true;
    app.request_redraw();
}

void field_insert_text(AtkEditableText* text, const gchar* string, gint length, gint* position) {
    AccNode* d = live(text);
    if (!d || !string)
        return;
    App& app = d->tree->app();
    const std::string piece = length < 0 ? std::string(string) : std::string(string, length);
    app.m_fm_caret = byte_at(app.m_fm_text, position ? *position : 0);
    app.fm_paste(piece);
    app.m_fm_editing = true;
    if (position)
        *position = field_get_caret_offset(ATK_TEXT(text));
    app.request_redraw();
}

void field_delete_text(AtkEditableText* text, gint start, gint end) {
    AccNode* d = live(text);
    if (!d)
        return;
    App& app = d->tree->app();
    const glong n = char_count(app.m_fm_text);
    if (end < 0 || end > n)
        end = static_cast<gint>(n);
    start = std::clamp<gint>(start, 0, end);
    const size_t a = byte_at(app.m_fm_text, start), b = byte_at(app.m_fm_text, end);
    app.m_fm_text.erase(a, b - a);
    app.m_fm_caret = a;
    app.m_fm_editing = true;
    app.request_redraw();
}

void field_editable_init(AtkEditableTextIface* iface) {
    iface->set_text_contents = field_set_text_contents;
    iface->insert_text = field_insert_text;
    iface->delete_text = field_delete_text;
}

} // namespace

// The types' own set-up, outside the unnamed namespace: the type macros
// declare these functions static at file scope.

static void quillet_acc_item_init(QuilletAccItem* self) {
    self->d = new AccNode();
}

static void item_finalize(GObject* object) {
    QuilletAccItem* self = reinterpret_cast<QuilletAccItem*>(object);
    delete self->d;
    self->d = nullptr;
    G_OBJECT_CLASS(quillet_acc_item_parent_class)->finalize(object);
}

static void quillet_acc_item_class_init(QuilletAccItemClass* klass) {
    G_OBJECT_CLASS(klass)->finalize = item_finalize;
    AtkObjectClass* ak = ATK_OBJECT_CLASS(klass);
    ak->get_name = item_get_name;
    ak->get_description = item_get_description;
    ak->get_parent = item_get_parent;
    ak->get_index_in_parent = item_get_index_in_parent;
    ak->get_role = item_get_role;
    ak->get_n_children = item_get_n_children;
    ak->ref_child = item_ref_child;
    ak->ref_state_set = item_ref_state_set;
}

static void quillet_acc_control_init(QuilletAccControl*) {}
static void quillet_acc_control_class_init(QuilletAccControlClass*) {}
static void quillet_acc_list_init(QuilletAccList*) {}
static void quillet_acc_list_class_init(QuilletAccListClass*) {}
static void quillet_acc_field_init(QuilletAccField*) {}
static void quillet_acc_field_class_init(QuilletAccFieldClass*) {}

AtkStateSet* app_access::states_of(AtkObject* obj) {
    AtkStateSet* set = atk_state_set_new();
    AccNode* d = live(obj);
    if (!d) {
        atk_state_set_add_state(set, ATK_STATE_DEFUNCT);
        return set;
    }
    unsigned f = d->flags;
    // An entry answers from the App: the tree brings only the rows on
    // screen up to date after each frame.
    if (d->entry) {
        f &= ~(CHECKED | SHOWING);
        if (d->role == ATK_ROLE_CHECK_BOX && d->tree->entry_checked(*d))
            f |= CHECKED;
        if (d->tree->entry_showing(*d))
            f |= SHOWING;
    }
    atk_state_set_add_state(set, ATK_STATE_VISIBLE);
    if (f & SENSITIVE) {
        atk_state_set_add_state(set, ATK_STATE_ENABLED);
        atk_state_set_add_state(set, ATK_STATE_SENSITIVE);
    }
    const std::pair<Flag, AtkStateType> simple[] = {
        {SHOWING, ATK_STATE_SHOWING},
        {FOCUSABLE, ATK_STATE_FOCUSABLE},
        {CHECKABLE, ATK_STATE_CHECKABLE},
        {CHECKED, ATK_STATE_CHECKED},
        {SELECTABLE, ATK_STATE_SELECTABLE},
        {SELECTED, ATK_STATE_SELECTED},
        {MODAL, ATK_STATE_MODAL},
        {EDITABLE, ATK_STATE_EDITABLE},
        {MANAGES, ATK_STATE_MANAGES_DESCENDANTS},
        {TRANSIENT, ATK_STATE_TRANSIENT},
    };
    for (const auto& [bit, state] : simple)
        if (f & bit)
            atk_state_set_add_state(set, state);
    if (f & EDITABLE)
        atk_state_set_add_state(set, ATK_STATE_SINGLE_LINE);
    if (d->kind == Kind::List)
        atk_state_set_add_state(set, ATK_STATE_VERTICAL);
    if (d->tree->is_focused(obj))
        atk_state_set_add_state(set, ATK_STATE_FOCUSED);
    return set;
}

// ---------------------------------------------------------------------------
// The canvas and its accessible
// ---------------------------------------------------------------------------

extern "C" {

struct QuilletCanvas {
    GtkDrawingArea parent;
    App* app;
};
struct QuilletCanvasClass {
    GtkDrawingAreaClass parent_class;
};
struct QuilletCanvasAccessible {
    GtkWidgetAccessible parent;
};
struct QuilletCanvasAccessibleClass {
    GtkWidgetAccessibleClass parent_class;
};

} // extern "C"

G_DEFINE_TYPE(QuilletCanvasAccessible, quillet_canvas_accessible, GTK_TYPE_WIDGET_ACCESSIBLE)
G_DEFINE_TYPE(QuilletCanvas, quillet_canvas, GTK_TYPE_DRAWING_AREA)

namespace {

App* app_of_accessible(AtkObject* obj) {
    GtkWidget* widget = gtk_accessible_get_widget(GTK_ACCESSIBLE(obj));
    if (!widget || !G_TYPE_CHECK_INSTANCE_TYPE(widget, quillet_canvas_get_type()))
        return nullptr;
    return reinterpret_cast<QuilletCanvas*>(widget)->app;
}

void canvas_accessible_initialize(AtkObject* obj, gpointer data) {
    ATK_OBJECT_CLASS(quillet_canvas_accessible_parent_class)->initialize(obj, data);
    atk_object_set_role(obj, ATK_ROLE_PANEL);
    if (App* app = app_of_accessible(obj))
        app->access_tree()->set_root(obj);
}

gint canvas_accessible_get_n_children(AtkObject* obj) {
    App* app = app_of_accessible(obj);
    return app ? app->access_tree()->top_count() : 0;
}

AtkObject* canvas_accessible_ref_child(AtkObject* obj, gint i) {
    App* app = app_of_accessible(obj);
    return app ? app->access_tree()->ref_top(i) : nullptr;
}

} // namespace

static void quillet_canvas_accessible_init(QuilletCanvasAccessible*) {}

static void quillet_canvas_accessible_class_init(QuilletCanvasAccessibleClass* klass) {
    AtkObjectClass* ak = ATK_OBJECT_CLASS(klass);
    ak->initialize = canvas_accessible_initialize;
    ak->get_n_children = canvas_accessible_get_n_children;
    ak->ref_child = canvas_accessible_ref_child;
}

static void quillet_canvas_init(QuilletCanvas* self) {
    self->app = nullptr;
}

static void quillet_canvas_class_init(QuilletCanvasClass* klass) {
    GtkWidgetClass* wc = GTK_WIDGET_CLASS(klass);
    gtk_widget_class_set_accessible_type(wc, quillet_canvas_accessible_get_type());
    gtk_widget_class_set_accessible_role(wc, ATK_ROLE_PANEL);
}

GtkWidget* app_access::canvas_new(App* app) {
    GtkWidget* widget = GTK_WIDGET(g_object_new(quillet_canvas_get_type(), nullptr));
    reinterpret_cast<QuilletCanvas*>(widget)->app = app;
    return widget;
}
