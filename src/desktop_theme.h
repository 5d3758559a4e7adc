// Whether the desktop prefers a dark look, and word when it changes its mind.
// Asks the settings portal on the session bus first and GTK's own settings
// second; owns nothing but the one callback slot and signal subscription of
// watch(). Never changes any setting of the desktop or of GTK.
//
// Interface thread only: prefers_dark() blocks for at most about half a second
// (the portal call's time-out), and the watch callback is delivered by the
// main loop of the thread that called watch().
#pragma once

#include <glib.h>

#include <functional>

namespace desktop_theme {

// The portal's "color-scheme" values that say something; everything else
// (0 for "no preference", unknown numbers, other types) is NoAnswer.
enum class Scheme { NoAnswer, Dark, Light };

// Reads one "color-scheme" value as the portal hands it: a variant may hold
// another variant at any depth, and only an unsigned 32-bit 1 or 2 counts.
// Null gives NoAnswer. Does not take the reference.
Scheme scheme_of(GVariant* value);

// True when a GTK theme name holds "dark" in any letter case ("Adwaita-Dark").
// Null and empty names are not dark.
bool theme_name_is_dark(const char* name);

// True for the one setting that names the colour scheme.
bool is_color_scheme_key(const char* setting_namespace, const char* key);

// The portal's answer when it gives one; otherwise GTK's settings (the
// application's dark preference, then the theme's name); false when there are
// no GTK settings either.
bool prefers_dark();

// Calls `callback` on every change of the desktop's colour scheme for the
// rest of the process. Without a session bus nothing is subscribed and the
// callback never runs. Meant to be called once: a second call replaces the
// callback and subscribes a second time.
void watch(std::function<void()> callback);

} // namespace desktop_theme
