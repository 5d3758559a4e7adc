#include "theme.h"

#include <gtest/gtest.h>

#include <cctype>
#include <vector>

namespace {

struct Field {
    const char* name;
    std::string Palette::*member;
};

const std::vector<Field>& colour_fields() {
    static const std::vector<Field> fields = {
        {"window", &Palette::window},       {"bar", &Palette::bar},
        {"divider", &Palette::divider},     {"text", &Palette::text},
        {"secondary", &Palette::secondary}, {"accent", &Palette::accent},
        {"control", &Palette::control},     {"control_edge", &Palette::control_edge},
        {"track", &Palette::track},         {"warn_bg", &Palette::warn_bg},
        {"warn_fg", &Palette::warn_fg},     {"danger_bg", &Palette::danger_bg},
        {"danger_fg", &Palette::danger_fg}, {"ok_bg", &Palette::ok_bg},
        {"ok_fg", &Palette::ok_fg},
    };
    return fields;
}

void expect_rgb(const Rgb& c, double r, double g, double b) {
    EXPECT_DOUBLE_EQ(c.r, r);
    EXPECT_DOUBLE_EQ(c.g, g);
    EXPECT_DOUBLE_EQ(c.b, b);
}

} // namespace

TEST(Palette, LightHasEveryFieldAsWritten) {
    const Palette p = Palette::light();
    EXPECT_FALSE(p.dark);
    const char* expected[] = {"#F2F1F4", "#FFFFFF", "#E6E6E6", "#1E1E1E", "#808080",
                              "#FF599E", "#FFFFFF", "#C8C8C8", "#ECECEC", "#FDF0DF",
                              "#B26A00", "#FDECEB", "#C4342A", "#E4F6E8", "#1E8E3E"};
    for (size_t i = 0; i < colour_fields().size(); ++i)
        EXPECT_EQ(p.*(colour_fields()[i].member), expected[i]) << colour_fields()[i].name;
}

TEST(Palette, DarkHasEveryFieldAsWritten) {
    const Palette p = Palette::dark_();
    EXPECT_TRUE(p.dark);
    const char* expected[] = {"#1C1C1E", "#2C2C2E", "#3A3A3C", "#E5E5E7", "#98989D",
                              "#FF6FAC", "#3A3A3C", "#4E4E50", "#3A3A3C", "#3A3324",
                              "#F0A030", "#3A2725", "#FF6B60", "#233529", "#4CD964"};
    for (size_t i = 0; i < colour_fields().size(); ++i)
        EXPECT_EQ(p.*(colour_fields()[i].member), expected[i]) << colour_fields()[i].name;
}

TEST(Palette, EveryValueIsUpperCaseSevenCharacterColourText) {
    for (const Palette& p : {Palette::light(), Palette::dark_()}) {
        for (const Field& f : colour_fields()) {
            const std::string& v = p.*(f.member);
            ASSERT_EQ(v.size(), 7u) << f.name;
            EXPECT_EQ(v[0], '#') << f.name;
            for (size_t i = 1; i < v.size(); ++i) {
                EXPECT_TRUE(std::isxdigit(static_cast<unsigned char>(v[i]))) << f.name;
                EXPECT_FALSE(std::islower(static_cast<unsigned char>(v[i]))) << f.name;
            }
            Rgb c;
            EXPECT_TRUE(hex_to_rgb(v, c)) << f.name;
        }
    }
}

TEST(Palette, ForThemeChoosesByFlag) {
    EXPECT_TRUE(Palette::for_theme(true).dark);
    EXPECT_EQ(Palette::for_theme(true).window, "#1C1C1E");
    EXPECT_FALSE(Palette::for_theme(false).dark);
    EXPECT_EQ(Palette::for_theme(false).window, "#F2F1F4");
}

TEST(HexToRgb, AcceptsEitherCaseWithOrWithoutMark) {
    Rgb a, b, c;
    ASSERT_TRUE(hex_to_rgb("#ff599e", a));
    ASSERT_TRUE(hex_to_rgb("FF599E", b));
    ASSERT_TRUE(hex_to_rgb("#FF599E", c));
    expect_rgb(a, 255 / 255.0, 0x59 / 255.0, 0x9E / 255.0);
    expect_rgb(b, a.r, a.g, a.b);
    expect_rgb(c, a.r, a.g, a.b);
}

TEST(HexToRgb, RejectsOtherFormsAndLeavesOutputUntouched) {
    for (const char* bad : {"#FFF", "#FF599E80", " #FF599E", "#FF599E ", "", "#", "0xFF599E",
                            "#GG599E", "##FF599E", "FF 59 9E"}) {
        Rgb out{0.25, 0.5, 0.75};
        EXPECT_FALSE(hex_to_rgb(bad, out)) << '"' << bad << '"';
        expect_rgb(out, 0.25, 0.5, 0.75);
    }
}

TEST(HexToRgb, ExtremesAreZeroAndOne) {
    Rgb c;
    ASSERT_TRUE(hex_to_rgb("#000000", c));
    expect_rgb(c, 0, 0, 0);
    ASSERT_TRUE(hex_to_rgb("#FFFFFF", c));
    expect_rgb(c, 1, 1, 1);
}

TEST(RgbToHex, ClampsAndRoundsHalfUp) {
    EXPECT_EQ(rgb_to_hex({1.2, -0.1, 0.5}), "#FF0080");
    EXPECT_EQ(rgb_to_hex({0.0, 1.0, 0.0}), "#00FF00");
    // 0.998 × 255 = 254.49, + 0.5 = 254.99, truncated to 254.
    EXPECT_EQ(rgb_to_hex({0.998, 0.0, 0.0}), "#FE0000");
    // Values far outside the range clamp without overflow.
    EXPECT_EQ(rgb_to_hex({1e300, -1e300, 0.0}), "#FF0000");
}

TEST(RgbToHex, RoundTripsEveryPaletteColour) {
    for (const Palette& p : {Palette::light(), Palette::dark_()}) {
        for (const Field& f : colour_fields()) {
            Rgb c;
            ASSERT_TRUE(hex_to_rgb(p.*(f.member), c));
            EXPECT_EQ(rgb_to_hex(c), p.*(f.member)) << f.name;
        }
    }
}

TEST(Mix, WeightsFirstColourByT) {
    const Rgb a{1.0, 0.0, 0.5};
    const Rgb b{0.0, 1.0, 0.5};
    expect_rgb(mix(a, b, 1.0), 1.0, 0.0, 0.5);
    expect_rgb(mix(a, b, 0.0), 0.0, 1.0, 0.5);
    expect_rgb(mix(a, b, 0.25), 0.25, 0.75, 0.5);
    // t is not clamped: extrapolation goes past the first colour.
    expect_rgb(mix(a, b, 2.0), 2.0, -1.0, 0.5);
}

TEST(MixHex, QuarterOfBlackOverWhite) {
    EXPECT_EQ(mix_hex("#000000", "#FFFFFF", 0.25), "#BFBFBF");
    EXPECT_EQ(mix_hex("#000000", "#FFFFFF", 1.0), "#000000");
    EXPECT_EQ(mix_hex("#000000", "#FFFFFF", 0.0), "#FFFFFF");
}

TEST(MixHex, ReturnsFirstTextWhenEitherIsNoColour) {
    EXPECT_EQ(mix_hex("oops", "#FFFFFF", 0.5), "oops");
    EXPECT_EQ(mix_hex("#FF599E", "#FFF", 0.5), "#FF599E");
    EXPECT_EQ(mix_hex("", "#FFFFFF", 0.5), "");
}

TEST(Hsb, PrimaryHues) {
    expect_rgb(hsb(0.0, 1.0, 1.0), 1.0, 0.0, 0.0);
    expect_rgb(hsb(1.0, 1.0, 1.0), 1.0, 0.0, 0.0);
    EXPECT_EQ(rgb_to_hex(hsb(1.0 / 3.0, 1.0, 1.0)), "#00FF00");
    EXPECT_EQ(rgb_to_hex(hsb(2.0 / 3.0, 1.0, 1.0)), "#0000FF");
}

TEST(Hsb, HueWrapsBothWays) {
    EXPECT_EQ(rgb_to_hex(hsb(1.25, 0.8, 0.9)), rgb_to_hex(hsb(0.25, 0.8, 0.9)));
    EXPECT_EQ(rgb_to_hex(hsb(-0.75, 0.8, 0.9)), rgb_to_hex(hsb(0.25, 0.8, 0.9)));
    EXPECT_EQ(rgb_to_hex(hsb(-1.0, 1.0, 1.0)), "#FF0000");
}

TEST(Hsb, EverySextantGivesItsChannelOrder) {
    // Middle of each sextant with s = 1, b = 1: the rising or falling channel is 0.5.
    EXPECT_EQ(rgb_to_hex(hsb(1.0 / 12, 1, 1)), "#FF8000");
    EXPECT_EQ(rgb_to_hex(hsb(3.0 / 12, 1, 1)), "#80FF00");
    EXPECT_EQ(rgb_to_hex(hsb(5.0 / 12, 1, 1)), "#00FF80");
    EXPECT_EQ(rgb_to_hex(hsb(7.0 / 12, 1, 1)), "#0080FF");
    EXPECT_EQ(rgb_to_hex(hsb(9.0 / 12, 1, 1)), "#8000FF");
    EXPECT_EQ(rgb_to_hex(hsb(11.0 / 12, 1, 1)), "#FF0080");
}

TEST(Hsb, ClampsSaturationAndBrightness) {
    expect_rgb(hsb(0.5, 0.0, 1.0), 1.0, 1.0, 1.0);
    expect_rgb(hsb(0.5, 1.0, 0.0), 0.0, 0.0, 0.0);
    EXPECT_EQ(rgb_to_hex(hsb(0.0, 5.0, 7.0)), "#FF0000");
    EXPECT_EQ(rgb_to_hex(hsb(0.0, -1.0, -3.0)), "#000000");
}
