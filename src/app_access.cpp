// The accessible tree kept in line with what is drawn: after every frame
// sync() describes the controls the frame showed (from the App's state and
// the frame's hit targets), matches the description against the objects it
// already has by key, updates names, descriptions and states in place and
// tells an assistive technology only what changed. The entries of a
// category page are made when asked for and then kept current by their
// path. Focus changes and announcements go out from here too.
//
// Interface thread only. m_mutex is held while the App's results are read
// and never while a signal is emitted: a listener may ask an object for its
// name at once, and answering that takes the same lock.
//
// What a frame shows is described in app_access_describe.cpp.
//
// Sections: glue in App · set-up · matching objects ·
// the entries of a page · focus and announcements · questions from objects.

#include "app_access.h"
#include "app_access_node.h"

#include "catalog.h"
#include "format.h"
#include "i18n.h"

#include <algorithm>
#include <string_view>

using app_access::Kind;
using app_access::node_of;
using Act = App::Act;
using namespace app_access; // the state flags

namespace {

const char* tr(const char* text) {
    return I18n::instance().tr(text);
}

bool is_entry_act(Act act) {
    return act == Act::ToggleItem || act == Act::RevealItem;
}

void emit_children_changed(AtkObject* parent, bool added, int index, AtkObject* child) {
    if (parent)
        g_signal_emit_by_name(parent, added ? "children-changed::add" : "children-changed::remove",
                              index, child);
}

// Which states a flag stands for.
void notify_flag(AtkObject* obj, unsigned bit, bool on) {
    switch (bit) {
    case SENSITIVE:
        atk_object_notify_state_change(obj, ATK_STATE_ENABLED, on);
        atk_object_notify_state_change(obj, ATK_STATE_SENSITIVE, on);
        break;
    case FOCUSABLE:
        atk_object_notify_state_change(obj, ATK_STATE_FOCUSABLE, on);
        break;
    case CHECKABLE:
        atk_object_notify_state_change(obj, ATK_STATE_CHECKABLE, on);
        break;
    case CHECKED:
        atk_object_notify_state_change(obj, ATK_STATE_CHECKED, on);
        break;
    case SELECTABLE:
        atk_object_notify_state_change(obj, ATK_STATE_SELECTABLE, on);
        break;
    case SELECTED:
        atk_object_notify_state_change(obj, ATK_STATE_SELECTED, on);
        break;
    case MODAL:
        atk_object_notify_state_change(obj, ATK_STATE_MODAL, on);
        break;
    case EDITABLE:
        atk_object_notify_state_change(obj, ATK_STATE_EDITABLE, on);
        break;
    case MANAGES:
        atk_object_notify_state_change(obj, ATK_STATE_MANAGES_DESCENDANTS, on);
        break;
    case TRANSIENT:
        atk_object_notify_state_change(obj, ATK_STATE_TRANSIENT, on);
        break;
    case SHOWING:
        atk_object_notify_state_change(obj, ATK_STATE_SHOWING, on);
        break;
    default:
        break;
    }
}

} // namespace

// ---------------------------------------------------------------------------
// Glue in App
// ---------------------------------------------------------------------------

AccessTree* App::access_tree() {
    if (!m_access)
        m_access = std::make_unique<AccessTree>(*this);
    return m_access.get();
}

void App::access_focus_changed() {
    if (m_access)
        m_access->sync_focus();
}

// ---------------------------------------------------------------------------
// Set-up
// ---------------------------------------------------------------------------

AccessTree::AccessTree(App& app) : m_app(app) {}

AccessTree::~AccessTree() {
    m_alive.reset(); // actions still waiting in the main loop are dropped
    clear_focus();
    for (AtkObject* obj : m_top) {
        retire(obj);
        g_object_unref(obj);
    }
    m_top.clear();
    retire_entries(false);
}

void AccessTree::set_root(AtkObject* root) {
    m_root = root;
    for (AtkObject* obj : m_top)
        node_of(obj)->parent = root;
    // A frame drawn before anybody asked: describe it now.
    if (m_app.m_width > 0 && !m_app.m_targets.empty())
        sync();
}

AtkObject* AccessTree::ref_top(int i) const {
    if (i < 0 || i >= static_cast<int>(m_top.size()))
        return nullptr;
    return ATK_OBJECT(g_object_ref(m_top[static_cast<size_t>(i)]));
}

AtkObject* AccessTree::find(const std::string& key) const {
    if (auto it = m_by_key.find(key); it != m_by_key.end())
        return it->second;
    if (auto it = m_entries.find(key); it != m_entries.end())
        return it->second;
    return nullptr;
}

bool AccessTree::canvas_focused() const {
    return m_assume_focus || (m_app.m_canvas && gtk_widget_has_focus(m_app.m_canvas));
}

bool AccessTree::is_focused(AtkObject* obj) const {
    return obj && obj == m_focused && canvas_focused();
}

// ---------------------------------------------------------------------------
// Matching objects
// ---------------------------------------------------------------------------

void AccessTree::sync() {
    std::vector<Shape> shapes = describe();
    reconcile(m_root, m_top, shapes);
    sync_entries();
    sync_field();
    sync_focus();
    std::vector<std::string> pending;
    pending.swap(m_pending);
    for (const std::string& text : pending)
        announce(text);
}

void AccessTree::reconcile(AtkObject* parent, std::vector<AtkObject*>& children,
                           std::vector<Shape>& shapes) {
    std::vector<AtkObject*> next;
    next.reserve(shapes.size());
    std::vector<bool> kept(children.size(), false);
    std::vector<bool> fresh;
    fresh.reserve(shapes.size());
    std::vector<size_t> old_pos; // of each kept object, in the new order
    auto same = [&](size_t i, const Shape& shape) {
        const AccNode* d = node_of(children[i]);
        return !kept[i] && d->key == shape.key && d->kind == shape.kind;
    };
    for (Shape& shape : shapes) {
        AtkObject* found = nullptr;
        // Mostly every object is where it was: look there first, so a long
        // list costs one comparison per object.
        size_t at = next.size();
        if (at >= children.size() || !same(at, shape)) {
            at = children.size();
            for (size_t i = 0; i < children.size(); ++i)
                if (same(i, shape)) {
                    at = i;
                    break;
                }
        }
        if (at < children.size()) {
            kept[at] = true;
            found = children[at];
            old_pos.push_back(at);
        }
        if (found) {
            update(found, shape);
            next.push_back(found);
            fresh.push_back(false);
        } else {
            next.push_back(create(parent, shape));
            fresh.push_back(true);
        }
    }
    // Gone: defunct, announced as removed, released; from the last so the
    // indices given are the ones the listener knows.
    for (size_t i = children.size(); i-- > 0;)
        if (!kept[i]) {
            retire(children[i]);
            emit_children_changed(parent, false, static_cast<int>(i), children[i]);
            g_object_unref(children[i]);
        }
    // Objects that stayed but changed places are announced as moved.
    const bool moved = !std::is_sorted(old_pos.begin(), old_pos.end());
    children = std::move(next);
    for (size_t i = 0; i < children.size(); ++i)
        node_of(children[i])->index_in_parent = static_cast<int>(i);
    for (size_t i = 0; i < children.size(); ++i) {
        if (moved && !fresh[i]) {
            emit_children_changed(parent, false, static_cast<int>(i), children[i]);
            emit_children_changed(parent, true, static_cast<int>(i), children[i]);
        } else if (fresh[i]) {
            emit_children_changed(parent, true, static_cast<int>(i), children[i]);
        }
    }
}

AtkObject* AccessTree::create(AtkObject* parent, Shape& shape) {
    AtkObject* obj = app_access::make_object(shape.kind);
    AccNode* d = node_of(obj);
    d->tree = this;
    d->key = shape.key;
    d->role = shape.role;
    d->name = shape.name;
    d->description = shape.description;
    d->keybinding = shape.keybinding;
    d->act = shape.act;
    d->index = shape.index;
    d->flags = shape.flags;
    d->rect = shape.rect;
    d->parent = parent;
    m_by_key[d->key] = obj;
    if (shape.entries_list) {
        retire_entries(false);
        d->entries_list = true;
        m_entries_list = obj;
        m_entries_cat = shape.key.substr(std::string("entries.").size());
        m_entries_data = nullptr;
        m_entries_size = 0;
    } else {
        reconcile(obj, d->children, shape.kids);
    }
    return obj;
}

void AccessTree::update(AtkObject* obj, Shape& shape) {
    AccNode* d = node_of(obj);
    d->keybinding = shape.keybinding;
    d->act = shape.act;
    d->index = shape.index;
    d->rect = shape.rect;
    if (d->role != shape.role) {
        d->role = shape.role;
        g_object_notify(G_OBJECT(obj), "accessible-role");
    }
    if (d->name != shape.name) {
        d->name = shape.name;
        g_object_notify(G_OBJECT(obj), "accessible-name");
    }
    if (d->description != shape.description) {
        d->description = shape.description;
        g_object_notify(G_OBJECT(obj), "accessible-description");
    }
    const unsigned changed = d->flags ^ shape.flags;
    d->flags = shape.flags;
    for (unsigned bit = 1; bit <= SHOWING; bit <<= 1)
        if (changed & bit)
            notify_flag(obj, bit, (shape.flags & bit) != 0);
    if (!d->entries_list)
        reconcile(obj, d->children, shape.kids);
}

void AccessTree::retire(AtkObject* obj) {
    AccNode* d = node_of(obj);
    if (!d || d->defunct)
        return;
    for (AtkObject* child : d->children) {
        retire(child);
        g_object_unref(child);
    }
    d->children.clear();
    if (d->entries_list && obj == m_entries_list)
        retire_entries(false);
    if (obj == m_focused)
        clear_focus();
    if (auto it = m_by_key.find(d->key); it != m_by_key.end() && it->second == obj)
        m_by_key.erase(it);
    d->defunct = true;
    atk_object_notify_state_change(obj, ATK_STATE_DEFUNCT, TRUE);
    d->tree = nullptr;
}

// ---------------------------------------------------------------------------
// The entries of a page
// ---------------------------------------------------------------------------

void AccessTree::retire_entry(AtkObject* obj, bool tell_list) {
    AccNode* d = node_of(obj);
    m_shown_entries.erase(std::remove(m_shown_entries.begin(), m_shown_entries.end(), obj),
                          m_shown_entries.end());
    if (obj == m_focused)
        clear_focus();
    const int index = d->index_in_parent;
    d->defunct = true;
    atk_object_notify_state_change(obj, ATK_STATE_DEFUNCT, TRUE);
    d->tree = nullptr;
    if (tell_list)
        emit_children_changed(m_entries_list, false, index, obj);
    g_object_unref(obj);
}

void AccessTree::retire_entries(bool tell_list) {
    std::unordered_map<std::string, AtkObject*> entries;
    entries.swap(m_entries);
    m_shown_entries.clear();
    for (auto& [key, obj] : entries)
        retire_entry(obj, tell_list);
    m_entries_list = nullptr;
    m_entries_cat.clear();
}

const CatState* AccessTree::entries_category() const {
    for (const CatState& c : m_app.m_cats)
        if (c.def.id == m_entries_cat)
            return &c;
    return nullptr;
}

int AccessTree::entries_count() const {
    std::lock_guard<std::mutex> lock(m_app.m_mutex);
    const CatState* cat = entries_category();
    return cat ? static_cast<int>(cat->items.size()) : 0;
}

AtkObject* AccessTree::ref_entry_child(AtkObject* list, int i) {
    if (!list || list != m_entries_list || i < 0)
        return nullptr;
    const size_t row = static_cast<size_t>(i / 2);
    const bool reveal = (i % 2) == 1;
    std::string path;
    bool selected = false;
    {
        std::lock_guard<std::mutex> lock(m_app.m_mutex);
        const CatState* cat = entries_category();
        if (!cat || row >= cat->items.size())
            return nullptr;
        path = cat->items[row].path;
        selected = cat->items[row].selected;
    }
    const std::string key = (reveal ? "reveal:" : "check:") + path;
    AtkObject* obj = nullptr;
    if (auto it = m_entries.find(key); it != m_entries.end()) {
        obj = it->second;
        node_of(obj)->index = static_cast<int>(row);
        node_of(obj)->index_in_parent = i;
    } else {
        obj = app_access::make_object(Kind::Control);
        AccNode* d = node_of(obj);
        d->tree = this;
        d->key = key;
        d->entry = true;
        d->path = path;
        d->role = reveal ? ATK_ROLE_PUSH_BUTTON : ATK_ROLE_CHECK_BOX;
        d->act = reveal ? Act::RevealItem : Act::ToggleItem;
        d->index = static_cast<int>(row);
        d->index_in_parent = i;
        d->parent = list;
        d->flags = SENSITIVE | FOCUSABLE | TRANSIENT;
        if (!reveal)
            d->flags |= CHECKABLE | (selected ? CHECKED : 0u);
        if (m_entries_any_shown && row >= m_entries_shown_first && row <= m_entries_shown_last)
            d->flags |= SHOWING;
        m_entries[key] = obj;
    }
    return ATK_OBJECT(g_object_ref(obj));
}

void AccessTree::sync_entries() {
    if (!m_entries_list)
        return;
    // The rows on screen, as the frame registered their check boxes.
    const bool was_shown = m_entries_any_shown;
    const size_t was_first = m_entries_shown_first, was_last = m_entries_shown_last;
    m_entries_any_shown = false;
    for (const App::HitTarget& t : m_app.m_targets)
        if (t.act == Act::ToggleItem && t.index >= 0) {
            const size_t i = static_cast<size_t>(t.index);
            if (!m_entries_any_shown) {
                m_entries_shown_first = m_entries_shown_last = i;
                m_entries_any_shown = true;
            }
            m_entries_shown_first = std::min(m_entries_shown_first, i);
            m_entries_shown_last = std::max(m_entries_shown_last, i);
        }

    struct Change {
        AtkObject* obj;
        unsigned bit;
        bool on;
    };
    std::vector<Change> changes;
    std::vector<std::string> gone;
    bool resized = false;
    {
        std::lock_guard<std::mutex> lock(m_app.m_mutex);
        const CatState* cat = entries_category();
        const void* data = cat ? cat->items.data() : nullptr;
        const size_t size = cat ? cat->items.size() : 0;
        if (data != m_entries_data || size != m_entries_size) {
            // The list was replaced or shrank: find each object's entry again
            // by its path.
            resized = size != m_entries_size;
            m_entries_data = data;
            m_entries_size = size;
            if (!m_entries.empty()) {
                std::unordered_map<std::string_view, size_t> where;
                where.reserve(size);
                for (size_t i = 0; i < size; ++i)
                    where.emplace(cat->items[i].path, i);
                for (auto& [key, obj] : m_entries) {
                    AccNode* d = node_of(obj);
                    auto it = where.find(d->path);
                    if (it == where.end()) {
                        gone.push_back(key);
                        continue;
                    }
                    d->index = static_cast<int>(it->second);
                    d->index_in_parent = 2 * d->index + (d->act == Act::RevealItem ? 1 : 0);
                }
            }
        }
        // Only the rows on screen now or in the last frame (and the focused
        // one) are looked at: a list of 20,000 entry objects must not cost a
        // pass per frame. Others answer CHECKED and SHOWING from the App
        // when asked, and are brought up to date when they come into view.
        std::vector<AtkObject*> shown;
        if (m_entries_any_shown && !m_entries.empty() && cat)
            for (size_t i = m_entries_shown_first; i <= m_entries_shown_last && i < size; ++i)
                for (const char* prefix : {"check:", "reveal:"})
                    if (auto it = m_entries.find(prefix + cat->items[i].path);
                        it != m_entries.end())
                        shown.push_back(it->second);
        std::vector<AtkObject*> look = shown;
        look.insert(look.end(), m_shown_entries.begin(), m_shown_entries.end());
        if (m_focused && node_of(m_focused) && node_of(m_focused)->entry)
            look.push_back(m_focused);
        std::sort(look.begin(), look.end());
        look.erase(std::unique(look.begin(), look.end()), look.end());
        m_shown_entries = std::move(shown);
        for (AtkObject* obj : look) {
            AccNode* d = node_of(obj);
            const size_t i = static_cast<size_t>(d->index);
            if (d->defunct || i >= size)
                continue; // gone, or about to be found gone
            unsigned want = d->flags & ~(CHECKED | SHOWING);
            if (d->act == Act::ToggleItem && cat->items[i].selected)
                want |= CHECKED;
            if (m_entries_any_shown && i >= m_entries_shown_first && i <= m_entries_shown_last)
                want |= SHOWING;
            const unsigned changed = want ^ d->flags;
            d->flags = want;
            for (unsigned bit : {CHECKED, SHOWING})
                if (changed & bit)
                    changes.push_back({obj, bit, (want & bit) != 0});
        }
    }
    for (const std::string& key : gone) {
        auto it = m_entries.find(key);
        AtkObject* obj = it->second;
        m_entries.erase(it);
        retire_entry(obj, true);
    }
    for (const Change& c : changes)
        notify_flag(c.obj, c.bit, c.on);
    // Scrolled, or the list changed length: what can be seen of it changed.
    const bool scrolled = was_shown != m_entries_any_shown ||
                          (m_entries_any_shown && (was_first != m_entries_shown_first ||
                                                   was_last != m_entries_shown_last));
    if (resized || scrolled)
        g_signal_emit_by_name(m_entries_list, "visible-data-changed");
}

// ---------------------------------------------------------------------------
// Focus, the command field and announcements
// ---------------------------------------------------------------------------

AtkObject* AccessTree::object_for(Act act, int index) {
    if (is_entry_act(act)) {
        AtkObject* obj = ref_entry_child(m_entries_list, 2 * index + (act == Act::RevealItem));
        if (obj)
            g_object_unref(obj); // m_entries keeps it
        return obj;
    }
    AtkObject* best = nullptr;
    for (const auto& [key, obj] : m_by_key) {
        const AccNode* d = node_of(obj);
        if (d->act == act && d->index == index && d->kind != Kind::Plain) {
            if (d->flags & SHOWING)
                return obj;
            best = obj;
        }
    }
    return best;
}

void AccessTree::clear_focus() {
    if (!m_focused)
        return;
    AtkObject* old = m_focused;
    m_focused = nullptr;
    g_object_unref(old);
}

void AccessTree::sync_focus() {
    AtkObject* want =
        m_app.m_focus.empty() ? nullptr : object_for(m_app.m_focus.act, m_app.m_focus.index);
    if (want == m_focused)
        return;
    const bool has = canvas_focused();
    AtkObject* old = m_focused;
    m_focused = want ? ATK_OBJECT(g_object_ref(want)) : nullptr;
    if (old) {
        const AccNode* d = node_of(old);
        if (has && d && !d->defunct)
            atk_object_notify_state_change(old, ATK_STATE_FOCUSED, FALSE);
        g_object_unref(old);
    }
    if (m_focused && has) {
        atk_object_notify_state_change(m_focused, ATK_STATE_FOCUSED, TRUE);
        // The entries' list manages its rows: it says which one is active.
        if (node_of(m_focused)->entry && m_entries_list)
            g_signal_emit_by_name(m_entries_list, "active-descendant-changed", m_focused);
        // The tracker also makes the toolkit remember this object as the
        // canvas' focus (its "gail-focus-object", with the references that
        // go with it), so that the canvas' own focus changes are reported
        // on the object and the canvas never reads as focused. That record
        // belongs to the toolkit: setting it by hand leaves it pointing at
        // an object that may be gone.
        G_GNUC_BEGIN_IGNORE_DEPRECATIONS
        atk_focus_tracker_notify(m_focused);
        G_GNUC_END_IGNORE_DEPRECATIONS
    }
}

void AccessTree::sync_field() {
    AtkObject* field = find("settings.fm.field");
    const std::string& text = m_app.m_fm_text;
    const size_t caret = std::min(m_app.m_fm_caret, text.size());
    if (!field) {
        m_fm_text = text;
        m_fm_caret = caret;
        return;
    }
    auto chars = [](const std::string& s) {
        return static_cast<int>(g_utf8_strlen(s.c_str(), static_cast<gssize>(s.size())));
    };
    if (text != m_fm_text) {
        // Said as the whole old text going and the new one coming: the
        // field is one short line.
        if (!m_fm_text.empty())
            g_signal_emit_by_name(field, "text-remove", 0, chars(m_fm_text), m_fm_text.c_str());
        if (!text.empty())
            g_signal_emit_by_name(field, "text-insert", 0, chars(text), text.c_str());
        m_fm_text = text;
    }
    if (caret != m_fm_caret) {
        m_fm_caret = caret;
        g_signal_emit_by_name(
            field, "text-caret-moved",
            static_cast<int>(g_utf8_pointer_to_offset(text.c_str(), text.c_str() + caret)));
    }
}

void AccessTree::announce(const std::string& text) {
    m_announced.push_back(text);
    // ATK 2.46 has the signal; an older one would not know it.
    if (m_root && g_signal_lookup("announcement", ATK_TYPE_OBJECT))
        g_signal_emit_by_name(m_root, "announcement", text.c_str());
}

// ---------------------------------------------------------------------------
// Questions from the objects
// ---------------------------------------------------------------------------

const Item* AccessTree::entry_item(const AccNode& d) const {
    const CatState* cat = entries_category();
    if (!cat)
        return nullptr;
    const size_t i = static_cast<size_t>(d.index);
    if (i < cat->items.size() && cat->items[i].path == d.path)
        return &cat->items[i];
    for (const Item& it : cat->items)
        if (it.path == d.path)
            return &it;
    return nullptr;
}

std::string AccessTree::entry_name(const AccNode& d) {
    std::lock_guard<std::mutex> lock(m_app.m_mutex);
    const Item* it = entry_item(d);
    if (!it)
        return {};
    if (d.act == Act::RevealItem)
        return tr("Show in file manager");
    return it->name;
}

std::string AccessTree::entry_description(const AccNode& d) {
    std::lock_guard<std::mutex> lock(m_app.m_mutex);
    const Item* it = entry_item(d);
    if (!it)
        return {};
    if (d.act == Act::RevealItem)
        return it->name + " \u2014 " + m_app.ltr(it->path);
    // What the row shows, in its order: size, age, safety, why.
    std::vector<std::string> parts;
    parts.push_back(it->size_known ? m_app.ltr(fmt::bytes(it->size)) : "\u2026");
    if (it->frees_less())
        parts.push_back(m_app.frees_text(*it));
    if (std::string age = App::age_line(*it); !age.empty())
        parts.push_back(std::move(age));
    parts.push_back(tr(catalog::safety_title(it->safety)));
    if (it->in_use)
        parts.push_back(tr("in use — keep"));
    else if (it->keep_hint)
        parts.push_back(tr("newest — keep"));
    if (!it->reasons.empty())
        parts.push_back(m_app.reasons_line(it->reasons));
    std::string out;
    for (const std::string& p : parts) {
        if (p.empty())
            continue;
        if (!out.empty())
            out += " \u00B7 ";
        out += p;
    }
    return out;
}

bool AccessTree::entry_checked(const AccNode& d) {
    std::lock_guard<std::mutex> lock(m_app.m_mutex);
    const Item* it = entry_item(d);
    return it && it->selected;
}

bool AccessTree::entry_showing(const AccNode& d) const {
    const size_t i = static_cast<size_t>(d.index);
    return m_entries_any_shown && i >= m_entries_shown_first && i <= m_entries_shown_last;
}

bool AccessTree::rect_of(const AccNode& d, RectF& out) const {
    if (d.entry) {
        for (const App::HitTarget& t : m_app.m_targets)
            if (t.act == d.act && t.index == d.index) {
                out = t.rect;
                return true;
            }
        return false;
    }
    if (d.rect.empty())
        return false;
    out = d.rect;
    return true;
}

bool AccessTree::resolve(const AccNode& d, Act& act, int& index) {
    if (d.defunct || !d.tree)
        return false;
    // Behind an open overlay nothing can be clicked, and so nothing can be
    // pressed from a screen reader either: the overlay registers only its
    // own targets.
    if (m_app.m_overlay != App::Overlay::None &&
        std::none_of(m_app.m_targets.begin(), m_app.m_targets.end(),
                     [&](const App::HitTarget& t) { return t.act == d.act && t.index == d.index; }))
        return false;
    act = d.act;
    index = d.index;
    if (!d.entry)
        return true;
    // An entry acts only while its page is shown, on wherever it now is.
    std::lock_guard<std::mutex> lock(m_app.m_mutex);
    if (m_app.m_selection != m_entries_cat)
        return false;
    const CatState* cat = entries_category();
    const Item* it = entry_item(d);
    if (!cat || !it)
        return false;
    index = static_cast<int>(it - cat->items.data());
    return true;
}

bool AccessTree::schedule_activate(AtkObject* obj) {
    struct Pending {
        std::weak_ptr<int> alive;
        AccessTree* tree;
        AtkObject* obj;
    };
    if (!node_of(obj))
        return false;
    auto* p = new Pending{m_alive, this, ATK_OBJECT(g_object_ref(obj))};
    g_idle_add_full(
        G_PRIORITY_DEFAULT_IDLE,
        [](gpointer data) -> gboolean {
            Pending* p = static_cast<Pending*>(data);
            AccNode* d = node_of(p->obj);
            Act act = Act::None;
            int index = 0;
            if (!p->alive.expired() && d && p->tree->resolve(*d, act, index))
                p->tree->app().activate(act, index);
            return G_SOURCE_REMOVE;
        },
        p,
        [](gpointer data) {
            Pending* p = static_cast<Pending*>(data);
            g_object_unref(p->obj);
            delete p;
        });
    return true;
}
