// The keyboard focus: which controls the keyboard can reach, in which
// groups and order, how Tab, arrows, Space and Enter move and act, where
// focus goes when an overlay opens and closes, and scrolling the focused
// control into view.
//
// Interface thread only. What each control does when activated is
// App::activate's; this file only decides which control that is.

#include "app.h"

bool App::focusable(Act act) {
    switch (act) {
    case Act::None:
    case Act::MenuItem:
    case Act::LegendEntry:
        return false;
    default:
        return true;
    }
}
