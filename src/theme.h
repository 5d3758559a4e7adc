// Colours of the interface: the two fixed palettes and the arithmetic that
// parses, formats and blends "#RRGGBB" colour text. Pure data and maths; knows
// nothing of the toolkit or of which palette is in force. Any thread may call.
#pragma once

#include <string>

struct Rgb {
    double r = 0.0;
    double g = 0.0;
    double b = 0.0;
};

// Colours travel as "#RRGGBB" text and are parsed at each drawing call, so the
// palette holds one representation throughout.
class Palette {
public:
    bool dark = false;
    std::string window;       // background of the whole window
    std::string bar;          // toolbar, sidebar, footer, cards
    std::string divider;      // hairlines and separators
    std::string text;         // primary text
    std::string secondary;    // secondary text, captions
    std::string accent;       // primary buttons, selection, highlights
    std::string control;      // face of ordinary controls
    std::string control_edge; // outline of controls
    std::string track;        // background track of bars and switches
    std::string warn_bg;      // "Caution" badges and warnings
    std::string warn_fg;
    std::string danger_bg; // "Risky" badges and destructive notices
    std::string danger_fg;
    std::string ok_bg; // "Safe" badges and success notices
    std::string ok_fg;

    static Palette light();
    static Palette dark_();
    static Palette for_theme(bool dark);
};

// Parses "#RRGGBB" or "RRGGBB" (either case). Anything else returns false and
// leaves `out` untouched.
bool hex_to_rgb(const std::string& hex, Rgb& out);

// Formats as "#RRGGBB" with upper-case digits; channels are rounded and clamped.
std::string rgb_to_hex(const Rgb& c);

// a × t + b × (1 − t) per channel; t is not clamped.
Rgb mix(const Rgb& a, const Rgb& b, double t);

// mix() on colour text; returns `a` unchanged when either text is no colour.
std::string mix_hex(const std::string& a, const std::string& b, double t);

// Hue in turns (wraps), saturation and brightness clamped to 0..1.
Rgb hsb(double h, double s, double b);
