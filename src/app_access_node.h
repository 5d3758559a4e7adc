// What one accessible object holds, shared by the tree (app_access.cpp) and
// the AtkObject types that answer an assistive technology's questions
// (app_access_objects.cpp). Nothing outside the two files uses it.
//
// Interface thread only.
#pragma once

#include "app.h"
#include "app_access.h"

#include <atk/atk.h>

#include <string>
#include <vector>

class AccessTree;

namespace app_access {

// Which object type stands for a control: the interfaces it offers follow.
enum class Kind : int {
    Plain = 0, // containers, labels: AtkComponent only
    Control,   // buttons, check boxes, radio buttons, links: + AtkAction
    List,      // the sidebar: + AtkSelection
    Field,     // the command field: + AtkText, AtkEditableText
};

// State bits an object can carry; SHOWING comes from the last frame's targets.
enum Flag : unsigned {
    SENSITIVE = 1u << 0,
    FOCUSABLE = 1u << 1,
    CHECKABLE = 1u << 2,
    CHECKED = 1u << 3,
    SELECTABLE = 1u << 4,
    SELECTED = 1u << 5,
    MODAL = 1u << 6,
    EDITABLE = 1u << 7,
    MANAGES = 1u << 8,
    TRANSIENT = 1u << 9,
    SHOWING = 1u << 10,
};

} // namespace app_access

struct AccNode {
    AccessTree* tree = nullptr; // null once the object is defunct
    std::string key;
    app_access::Kind kind = app_access::Kind::Plain;
    AtkRole role = ATK_ROLE_PANEL;
    std::string name;
    std::string description;
    std::string keybinding; // "mnemonic;sequence;shortcut"
    App::Act act = App::Act::None;
    int index = 0;
    unsigned flags = 0;
    RectF rect; // canvas coordinates; empty when the control has no place
    AtkObject* parent = nullptr;
    int index_in_parent = -1;
    std::vector<AtkObject*> children; // one reference each
    // The entries list of a category page: its children are made on demand.
    bool entries_list = false;
    // One entry's check box or its "Show in file manager" button.
    bool entry = false;
    std::string path; // the entry's path
    bool defunct = false;
};

namespace app_access {

// A new object of the type for the kind, holding a fresh AccNode.
AtkObject* make_object(Kind kind);
// The node of an object of ours, or null for any other object.
AccNode* node_of(AtkObject* obj);

} // namespace app_access

// One control as a frame wants it shown: what describe() hands to the
// matching of objects.
struct AccessTree::Shape {
    std::string key;
    app_access::Kind kind = app_access::Kind::Plain;
    AtkRole role = ATK_ROLE_PANEL;
    std::string name;
    std::string description;
    std::string keybinding;
    App::Act act = App::Act::None;
    int index = 0;
    unsigned flags = 0;
    RectF rect;
    bool entries_list = false;
    std::vector<Shape> kids;
};
