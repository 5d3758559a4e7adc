#include "theme.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

Palette Palette::light() {
    Palette p;
    p.dark = false;
    p.window = "#F2F1F4";
    p.bar = "#FFFFFF";
    p.divider = "#E6E6E6";
    p.text = "#1E1E1E";
    p.secondary = "#808080";
    p.accent = "#FF599E";
    p.control = "#FFFFFF";
    p.control_edge = "#C8C8C8";
    p.track = "#ECECEC";
    p.warn_bg = "#FDF0DF";
    p.warn_fg = "#B26A00";
    p.danger_bg = "#FDECEB";
    p.danger_fg = "#C4342A";
    p.ok_bg = "#E4F6E8";
    p.ok_fg = "#1E8E3E";
    return p;
}

Palette Palette::dark_() {
    Palette p;
    p.dark = true;
    p.window = "#1C1C1E";
    p.bar = "#2C2C2E";
    p.divider = "#3A3A3C";
    p.text = "#E5E5E7";
    p.secondary = "#98989D";
    p.accent = "#FF6FAC";
    p.control = "#3A3A3C";
    p.control_edge = "#4E4E50";
    p.track = "#3A3A3C";
    p.warn_bg = "#3A3324";
    p.warn_fg = "#F0A030";
    p.danger_bg = "#3A2725";
    p.danger_fg = "#FF6B60";
    p.ok_bg = "#233529";
    p.ok_fg = "#4CD964";
    return p;
}

Palette Palette::for_theme(bool dark) {
    return dark ? dark_() : light();
}

namespace {

int hex_digit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

int channel_byte(double v) {
    // Truncation after adding one half rounds to nearest for the valid range.
    const double scaled = v * 255.0 + 0.5;
    if (!(scaled > 0.0))
        return 0;
    if (scaled >= 255.0)
        return 255;
    return static_cast<int>(scaled);
}

} // namespace

bool hex_to_rgb(const std::string& hex, Rgb& out) {
    std::string s = hex;
    if (!s.empty() && s[0] == '#')
        s.erase(0, 1);
    if (s.size() != 6)
        return false;
    unsigned value = 0;
    for (char c : s) {
        const int d = hex_digit(c);
        if (d < 0)
            return false;
        value = value * 16 + static_cast<unsigned>(d);
    }
    out.r = ((value >> 16) & 0xFF) / 255.0;
    out.g = ((value >> 8) & 0xFF) / 255.0;
    out.b = (value & 0xFF) / 255.0;
    return true;
}

std::string rgb_to_hex(const Rgb& c) {
    char buf[8];
    std::snprintf(buf, sizeof buf, "#%02X%02X%02X", channel_byte(c.r), channel_byte(c.g),
                  channel_byte(c.b));
    return buf;
}

Rgb mix(const Rgb& a, const Rgb& b, double t) {
    return {a.r * t + b.r * (1.0 - t), a.g * t + b.g * (1.0 - t), a.b * t + b.b * (1.0 - t)};
}

std::string mix_hex(const std::string& a, const std::string& b, double t) {
    Rgb ca, cb;
    if (!hex_to_rgb(a, ca) || !hex_to_rgb(b, cb))
        return a;
    return rgb_to_hex(mix(ca, cb, t));
}

Rgb hsb(double h, double s, double b) {
    const double frac = h - std::floor(h);
    s = std::clamp(s, 0.0, 1.0);
    b = std::clamp(b, 0.0, 1.0);
    const double x = frac * 6.0;
    const int i = static_cast<int>(std::floor(x)) % 6;
    const double f = x - std::floor(x);
    const double p = (1.0 - s) * b;
    const double q = (1.0 - s * f) * b;
    const double t = (1.0 - (1.0 - f) * s) * b;
    switch (i) {
    case 0:
        return {b, t, p};
    case 1:
        return {q, b, p};
    case 2:
        return {p, b, t};
    case 3:
        return {p, q, b};
    case 4:
        return {t, p, b};
    default:
        return {b, p, q};
    }
}
