// Reading the desktop's colour scheme without a bus: how a portal answer is
// unwrapped and read, how a GTK theme name is judged, and which setting
// change counts. The bus itself is exercised by tests/dbus.

#include "desktop_theme.h"

#include <gtest/gtest.h>

using desktop_theme::Scheme;

namespace {

// Wraps a value in `depth` variants; takes the floating reference of `value`.
GVariant* wrapped(GVariant* value, int depth) {
    for (int i = 0; i < depth; ++i)
        value = g_variant_new_variant(value);
    return g_variant_ref_sink(value);
}

Scheme scheme_of_owned(GVariant* value) {
    const Scheme s = desktop_theme::scheme_of(value);
    g_variant_unref(value);
    return s;
}

} // namespace

TEST(DesktopTheme, OneMeansDarkAndTwoMeansLight) {
    EXPECT_EQ(scheme_of_owned(wrapped(g_variant_new_uint32(1), 0)), Scheme::Dark);
    EXPECT_EQ(scheme_of_owned(wrapped(g_variant_new_uint32(2), 0)), Scheme::Light);
}

TEST(DesktopTheme, NoPreferenceAndUnknownNumbersSayNothing) {
    EXPECT_EQ(scheme_of_owned(wrapped(g_variant_new_uint32(0), 1)), Scheme::NoAnswer);
    EXPECT_EQ(scheme_of_owned(wrapped(g_variant_new_uint32(3), 1)), Scheme::NoAnswer);
    EXPECT_EQ(scheme_of_owned(wrapped(g_variant_new_uint32(0xFFFFFFFF), 1)), Scheme::NoAnswer);
}

TEST(DesktopTheme, VariantsAreUnwrappedAtAnyDepth) {
    for (int depth = 1; depth <= 6; ++depth) {
        EXPECT_EQ(scheme_of_owned(wrapped(g_variant_new_uint32(1), depth)), Scheme::Dark) << depth;
        EXPECT_EQ(scheme_of_owned(wrapped(g_variant_new_uint32(2), depth)), Scheme::Light) << depth;
    }
}

TEST(DesktopTheme, OnlyAnUnsigned32BitNumberCounts) {
    EXPECT_EQ(scheme_of_owned(wrapped(g_variant_new_int32(1), 2)), Scheme::NoAnswer);
    EXPECT_EQ(scheme_of_owned(wrapped(g_variant_new_uint64(1), 2)), Scheme::NoAnswer);
    EXPECT_EQ(scheme_of_owned(wrapped(g_variant_new_byte(1), 2)), Scheme::NoAnswer);
    EXPECT_EQ(scheme_of_owned(wrapped(g_variant_new_string("1"), 2)), Scheme::NoAnswer);
    EXPECT_EQ(scheme_of_owned(wrapped(g_variant_new_string("prefer-dark"), 2)), Scheme::NoAnswer);
    EXPECT_EQ(scheme_of_owned(wrapped(g_variant_new("(u)", 1u), 1)), Scheme::NoAnswer);
    EXPECT_EQ(desktop_theme::scheme_of(nullptr), Scheme::NoAnswer);
}

TEST(DesktopTheme, TheCallerKeepsItsReference) {
    GVariant* value = wrapped(g_variant_new_uint32(1), 3);
    EXPECT_EQ(desktop_theme::scheme_of(value), Scheme::Dark);
    EXPECT_EQ(desktop_theme::scheme_of(value), Scheme::Dark);
    // Still whole: the same three levels are there to unwrap.
    GVariant* inner = g_variant_get_variant(value);
    EXPECT_TRUE(g_variant_is_of_type(inner, G_VARIANT_TYPE_VARIANT));
    g_variant_unref(inner);
    g_variant_unref(value);
}

TEST(DesktopTheme, AThemeNameWithDarkInAnyCaseIsDark) {
    EXPECT_TRUE(desktop_theme::theme_name_is_dark("Adwaita-Dark"));
    EXPECT_TRUE(desktop_theme::theme_name_is_dark("adwaita-dark"));
    EXPECT_TRUE(desktop_theme::theme_name_is_dark("DARK"));
    EXPECT_TRUE(desktop_theme::theme_name_is_dark("Yaru-darker-blue"));
    EXPECT_FALSE(desktop_theme::theme_name_is_dark("Adwaita"));
    EXPECT_FALSE(desktop_theme::theme_name_is_dark("Dar-k"));
    EXPECT_FALSE(desktop_theme::theme_name_is_dark(""));
    EXPECT_FALSE(desktop_theme::theme_name_is_dark(nullptr));
}

TEST(DesktopTheme, OnlyTheColorSchemeOfTheAppearanceNamespaceCounts) {
    EXPECT_TRUE(desktop_theme::is_color_scheme_key("org.freedesktop.appearance", "color-scheme"));
    EXPECT_FALSE(desktop_theme::is_color_scheme_key("org.freedesktop.appearance", "accent-color"));
    EXPECT_FALSE(desktop_theme::is_color_scheme_key("org.freedesktop.appearance", "Color-Scheme"));
    EXPECT_FALSE(desktop_theme::is_color_scheme_key("org.gnome.desktop.interface", "color-scheme"));
    EXPECT_FALSE(
        desktop_theme::is_color_scheme_key("org.freedesktop.appearance.x", "color-scheme"));
    EXPECT_FALSE(desktop_theme::is_color_scheme_key(nullptr, "color-scheme"));
    EXPECT_FALSE(desktop_theme::is_color_scheme_key("org.freedesktop.appearance", nullptr));
}
