// The desktop's light or dark preference, read from the settings portal with
// GTK's settings as the fallback. See desktop_theme.h for the contract.
#include "desktop_theme.h"

#include <gio/gio.h>
#include <gtk/gtk.h>

#include <cstring>
#include <utility>

namespace desktop_theme {

namespace {

constexpr const char* PORTAL_NAME = "org.freedesktop.portal.Desktop";
constexpr const char* PORTAL_PATH = "/org/freedesktop/portal/desktop";
constexpr const char* SETTINGS_IFACE = "org.freedesktop.portal.Settings";
constexpr const char* APPEARANCE = "org.freedesktop.appearance";
constexpr const char* COLOR_SCHEME = "color-scheme";
// A portal that does not answer within this costs the interface no more.
constexpr int READ_TIMEOUT_MS = 500;

// What the portal says, or NoAnswer when there is no bus, no portal, no
// answer in time or an answer that says nothing.
Scheme ask_portal() {
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    if (!bus)
        return Scheme::NoAnswer;
    GVariant* reply = g_dbus_connection_call_sync(
        bus, PORTAL_NAME, PORTAL_PATH, SETTINGS_IFACE, "Read",
        g_variant_new("(ss)", APPEARANCE, COLOR_SCHEME), G_VARIANT_TYPE("(v)"),
        G_DBUS_CALL_FLAGS_NONE, READ_TIMEOUT_MS, nullptr, nullptr);
    g_object_unref(bus);
    if (!reply)
        return Scheme::NoAnswer;
    GVariant* value = nullptr;
    g_variant_get(reply, "(v)", &value);
    const Scheme scheme = scheme_of(value);
    g_variant_unref(value);
    g_variant_unref(reply);
    return scheme;
}

bool gtk_prefers_dark() {
    GtkSettings* settings = gtk_settings_get_default();
    if (!settings)
        return false;
    gboolean prefer_dark = FALSE;
    gchar* theme_name = nullptr;
    g_object_get(settings, "gtk-application-prefer-dark-theme", &prefer_dark, "gtk-theme-name",
                 &theme_name, nullptr);
    const bool dark = prefer_dark || theme_name_is_dark(theme_name);
    g_free(theme_name);
    return dark;
}

// The one callback slot. Never freed: it lives as long as the subscription
// that calls it, which is the rest of the process.
std::function<void()>& callback_slot() {
    static auto* slot = new std::function<void()>();
    return *slot;
}

void on_setting_changed(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                        GVariant* parameters, gpointer) {
    // A sender with another idea of the signal's arguments is ignored rather
    // than unpacked wrongly.
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ssv)")))
        return;
    const gchar* setting_namespace = nullptr;
    const gchar* key = nullptr;
    GVariant* value = nullptr;
    g_variant_get(parameters, "(&s&sv)", &setting_namespace, &key, &value);
    g_variant_unref(value);
    // The new value is not used: the callback asks prefers_dark() again, so
    // there is one way of reading the preference.
    if (is_color_scheme_key(setting_namespace, key) && callback_slot())
        callback_slot()();
}

} // namespace

Scheme scheme_of(GVariant* value) {
    if (!value)
        return Scheme::NoAnswer;
    g_variant_ref(value);
    while (g_variant_is_of_type(value, G_VARIANT_TYPE_VARIANT)) {
        GVariant* inner = g_variant_get_variant(value);
        g_variant_unref(value);
        value = inner;
    }
    Scheme scheme = Scheme::NoAnswer;
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_UINT32)) {
        const guint32 n = g_variant_get_uint32(value);
        if (n == 1)
            scheme = Scheme::Dark;
        else if (n == 2)
            scheme = Scheme::Light;
    }
    g_variant_unref(value);
    return scheme;
}

bool theme_name_is_dark(const char* name) {
    if (!name || !*name)
        return false;
    gchar* lower = g_ascii_strdown(name, -1);
    const bool dark = std::strstr(lower, "dark") != nullptr;
    g_free(lower);
    return dark;
}

bool is_color_scheme_key(const char* setting_namespace, const char* key) {
    return setting_namespace && key && std::strcmp(setting_namespace, APPEARANCE) == 0 &&
           std::strcmp(key, COLOR_SCHEME) == 0;
}

bool prefers_dark() {
    switch (ask_portal()) {
    case Scheme::Dark:
        return true;
    case Scheme::Light:
        return false;
    case Scheme::NoAnswer:
        break;
    }
    return gtk_prefers_dark();
}

void watch(std::function<void()> callback) {
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    if (!bus)
        return;
    callback_slot() = std::move(callback);
    // The bus reference is kept along with the subscription, for good.
    g_dbus_connection_signal_subscribe(bus, PORTAL_NAME, SETTINGS_IFACE, "SettingChanged",
                                       PORTAL_PATH, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                                       on_setting_changed, nullptr, nullptr);
}

} // namespace desktop_theme
