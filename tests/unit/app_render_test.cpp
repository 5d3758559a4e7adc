// The drawing layer on its own: text fitting, mirroring, shapes, bars,
// labels, glyphs, chips, pills and buttons, drawn onto image surfaces.

#include "app.h"
#include "app_render_shared.h"
#include "render_test_util.h"
#include "strutil.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <cmath>

using render_test::Canvas;
using Font = App::Font;

namespace {

const std::string ELLIPSIS = "\u2026";

} // namespace

// ---------------------------------------------------------------------------
// Text measurement and fitting
// ---------------------------------------------------------------------------

TEST(RenderText, MeasuringNeedsNoWindowAndGrowsWithTheText) {
    test_env::TempHome home;
    App app;
    EXPECT_EQ(app.measure_text("", Font::Body), 0);
    const double one = app.measure_text("a", Font::Mono);
    const double ten = app.measure_text("aaaaaaaaaa", Font::Mono);
    EXPECT_GT(one, 0);
    EXPECT_NEAR(ten, 10 * one, 1.0) << "monospace advances are equal";
    EXPECT_GT(app.measure_text("Quillet", Font::Title), app.measure_text("Quillet", Font::Body));
    EXPECT_GT(app.font_height(Font::Hero), app.font_height(Font::Title));
    EXPECT_GT(app.font_height(Font::MonoBold), app.font_height(Font::Mono))
        << "Mono is the smaller of the two monospace fonts";
}

TEST(RenderText, BoldIsWiderThanNormal) {
    test_env::TempHome home;
    App app;
    const std::string text = "Gradle caches and more";
    EXPECT_GT(app.measure_text(text, Font::BodyBold), app.measure_text(text, Font::Body));
    EXPECT_GT(app.measure_text(text, Font::CaptionBold), app.measure_text(text, Font::Caption));
}

TEST(RenderText, LtrWrapsOnlyInRightToLeftMode) {
    test_env::TempHome home;
    App app;
    EXPECT_EQ(app.ltr("/home/dev"), "/home/dev");
    app.m_rtl = true;
    EXPECT_EQ(app.ltr("/home/dev"), "\u2066/home/dev\u2069");
    EXPECT_EQ(app.ltr("1.5 GB").size(), std::string("1.5 GB").size() + 6);
}

TEST(RenderTruncate, NoRoomGivesTheEllipsisAlone) {
    test_env::TempHome home;
    App app;
    EXPECT_EQ(app.truncate_to_width("anything", Font::Body, 0), ELLIPSIS);
    EXPECT_EQ(app.truncate_to_width("anything", Font::Body, -5), ELLIPSIS);
    EXPECT_EQ(app.truncate_to_width("", Font::Body, 0), ELLIPSIS);
}

TEST(RenderTruncate, AOneCharacterTextThatDoesNotFitGivesTheEllipsis) {
    test_env::TempHome home;
    App app;
    EXPECT_EQ(app.truncate_to_width("W", Font::Body, 1), ELLIPSIS);
}

TEST(RenderTruncate, AFittingTextIsUnchanged) {
    test_env::TempHome home;
    App app;
    const std::string text = "Gradle caches";
    EXPECT_EQ(app.truncate_to_width(text, Font::Body, app.measure_text(text, Font::Body)), text);
}

TEST(RenderTruncate, KeepsTheLongestPrefixThatFitsWithTheEllipsis) {
    test_env::TempHome home;
    App app;
    const double w = app.measure_text("abcd" + ELLIPSIS, Font::Mono);
    EXPECT_EQ(app.truncate_to_width("abcdefghij", Font::Mono, w), "abcd" + ELLIPSIS);
    EXPECT_EQ(app.truncate_to_width("abcdefghij", Font::Mono, w + 0.5), "abcd" + ELLIPSIS);
    EXPECT_EQ(app.truncate_to_width("abcdefghij", Font::Mono, w - 0.5), "abc" + ELLIPSIS);
}

TEST(RenderTruncate, NeverCutsAMultiByteCharacter) {
    test_env::TempHome home;
    App app;
    const std::string text = "\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9 \u65e5\u672c\u8a9e"
                             "\u65e5\u672c\u8a9e";
    for (double w = 5; w < app.measure_text(text, Font::Body); w += 3) {
        const std::string out = app.truncate_to_width(text, Font::Body, w);
        EXPECT_TRUE(su::is_valid_utf8(out)) << w;
        ASSERT_GE(out.size(), ELLIPSIS.size());
        const std::string head = out.substr(0, out.size() - ELLIPSIS.size());
        EXPECT_EQ(text.compare(0, head.size(), head), 0) << "a prefix of the text at " << w;
        if (out != ELLIPSIS) {
            EXPECT_LE(app.measure_text(out, Font::Body), w) << "fits unless only '…' is left";
        }
    }
}

TEST(RenderTruncateMiddle, AFittingPathIsUnchanged) {
    test_env::TempHome home;
    App app;
    const std::string path = "/home/dev/.gradle";
    EXPECT_EQ(app.truncate_path_middle(path, Font::Mono, app.measure_text(path, Font::Mono)), path);
}

TEST(RenderTruncateMiddle, TheFirstCandidateKeepsHalfEvenWhenMoreWouldFit) {
    test_env::TempHome home;
    App app;
    // n = 10, k = 5: three letters from the start, two from the end.
    const double nine = app.measure_text("abcdefghi", Font::Mono);
    EXPECT_EQ(app.truncate_path_middle("abcdefghij", Font::Mono, nine), "abc" + ELLIPSIS + "ij");
    const double first = app.measure_text("abc" + ELLIPSIS + "ij", Font::Mono);
    EXPECT_EQ(app.truncate_path_middle("abcdefghij", Font::Mono, first), "abc" + ELLIPSIS + "ij");
}

TEST(RenderTruncateMiddle, ShorterCandidatesFollowInOrder) {
    test_env::TempHome home;
    App app;
    auto w = [&](const std::string& s) { return app.measure_text(s, Font::Mono); };
    // k = 4: head 2, tail 2; k = 3: head 2, tail 1; k = 2: head 1, tail 1.
    EXPECT_EQ(app.truncate_path_middle("abcdefghij", Font::Mono, w("ab" + ELLIPSIS + "ij")),
              "ab" + ELLIPSIS + "ij");
    EXPECT_EQ(app.truncate_path_middle("abcdefghij", Font::Mono, w("ab" + ELLIPSIS + "j")),
              "ab" + ELLIPSIS + "j");
    EXPECT_EQ(app.truncate_path_middle("abcdefghij", Font::Mono, w("a" + ELLIPSIS + "j")),
              "a" + ELLIPSIS + "j");
    // Below the last candidate the end truncation takes over.
    EXPECT_EQ(app.truncate_path_middle("abcdefghij", Font::Mono, w("a" + ELLIPSIS + "j") - 1),
              "a" + ELLIPSIS);
}

TEST(RenderTruncateMiddle, AThreeLetterTextFallsBackToEndTruncation) {
    test_env::TempHome home;
    App app;
    auto w = [&](const std::string& s) { return app.measure_text(s, Font::Body); };
    // "W" is wider than the ellipsis, so the whole text does not fit where
    // the candidates do.
    ASSERT_GT(w("WWW"), w("WW" + ELLIPSIS));
    EXPECT_EQ(app.truncate_path_middle("WWW", Font::Body, w("WW" + ELLIPSIS)), "WW" + ELLIPSIS);
    EXPECT_EQ(app.truncate_path_middle("WWW", Font::Body, w("W" + ELLIPSIS)), "W" + ELLIPSIS);
    EXPECT_EQ(app.truncate_path_middle("WWW", Font::Body, 1), ELLIPSIS);
}

TEST(RenderWrap, AnEmptyTextGivesNoLines) {
    test_env::TempHome home;
    App app;
    EXPECT_TRUE(app.wrap_text("", Font::Body, 100).empty());
}

TEST(RenderWrap, LinesKeepEveryByteInOrderAndFitTheWidth) {
    test_env::TempHome home;
    App app;
    const std::string text = "These are outside this app's reach — usually because it runs in a "
                             "sandbox. Your file manager has full access.";
    const std::vector<std::string> lines = app.wrap_text(text, Font::Body, 160);
    ASSERT_GT(lines.size(), 2u);
    std::string joined;
    for (const std::string& line : lines) {
        joined += line;
        std::string trimmed = line;
        while (!trimmed.empty() && trimmed.back() == ' ')
            trimmed.pop_back();
        EXPECT_LE(app.measure_text(trimmed, Font::Body), 160) << line;
    }
    EXPECT_EQ(joined, text);
}

TEST(RenderWrap, AWordLongerThanTheLineIsBrokenBetweenCharacters) {
    test_env::TempHome home;
    App app;
    const std::string word(40, 'x');
    const std::vector<std::string> lines = app.wrap_text(word, Font::Mono, 60);
    EXPECT_GT(lines.size(), 3u);
    std::string joined;
    for (const std::string& line : lines)
        joined += line;
    EXPECT_EQ(joined, word) << "no hyphen and no ellipsis is added";
}

// ---------------------------------------------------------------------------
// Mirroring and shapes
// ---------------------------------------------------------------------------

TEST(RenderMirror, ARectangleIsReflectedAboutTheCanvasCentre) {
    test_env::TempHome home;
    App app;
    app.m_width = 800;
    const RectF ltr = app.mirror({10, 5, 100, 20});
    EXPECT_FLOAT_EQ(ltr.x, 10);
    app.m_rtl = true;
    const RectF r = app.mirror({10, 5, 100, 20});
    EXPECT_FLOAT_EQ(r.x, 690);
    EXPECT_FLOAT_EQ(r.y, 5);
    EXPECT_FLOAT_EQ(r.w, 100);
    EXPECT_FLOAT_EQ(r.h, 20);
}

TEST(RenderMirror, FillRectInRightToLeftModeFillsTheMirroredColumns) {
    test_env::TempHome home;
    App app;
    Canvas canvas(800, 30);
    render_test::begin_frame(app, canvas, true);
    app.fill_rect({10, 0, 100, 20}, "#FF0000", 1.0);
    EXPECT_EQ(canvas.hex(690, 10), "#FF0000");
    EXPECT_EQ(canvas.hex(789, 10), "#FF0000");
    EXPECT_EQ(canvas.hex(689, 10), "#FFFFFF");
    EXPECT_EQ(canvas.hex(790, 10), "#FFFFFF");
    EXPECT_EQ(canvas.hex(50, 10), "#FFFFFF") << "nothing at the left-to-right place";
}

TEST(RenderMirror, HairlineCoversOnePixelRowAndMirrorsItsEnds) {
    test_env::TempHome home;
    App app;
    Canvas canvas(800, 30);
    render_test::begin_frame(app, canvas, true);
    app.draw_hairline(10.7, 10, 100);
    const std::string divider = app.m_palette.divider;
    EXPECT_EQ(canvas.hex(750, 10), divider);
    EXPECT_EQ(canvas.hex(750, 9), "#FFFFFF");
    EXPECT_EQ(canvas.hex(750, 11), "#FFFFFF");
    EXPECT_EQ(canvas.hex(701, 10), divider);
    EXPECT_EQ(canvas.hex(789, 10), divider);
    EXPECT_EQ(canvas.hex(50, 10), "#FFFFFF");
    EXPECT_EQ(canvas.hex(698, 10), "#FFFFFF");
    EXPECT_EQ(canvas.hex(792, 10), "#FFFFFF");
}

TEST(RenderShapes, RoundRectPathIsPlainAtHalfAPixelOrLess) {
    test_env::TempHome home;
    App app;
    Canvas canvas(50, 50);
    render_test::begin_frame(app, canvas);
    auto curves = [&](double radius) {
        cairo_new_path(canvas.cr());
        app.round_rect_path({5, 5, 20, 10}, radius);
        cairo_path_t* path = cairo_copy_path(canvas.cr());
        int n = 0;
        for (int i = 0; i < path->num_data; i += path->data[i].header.length)
            if (path->data[i].header.type == CAIRO_PATH_CURVE_TO)
                ++n;
        cairo_path_destroy(path);
        cairo_new_path(canvas.cr());
        return n;
    };
    EXPECT_EQ(curves(0.5), 0);
    EXPECT_EQ(curves(0), 0);
    EXPECT_GE(curves(0.6), 4);
    EXPECT_GE(curves(100), 4);
}

TEST(RenderShapes, RoundRectRadiusIsCappedAtHalfTheShorterSide) {
    test_env::TempHome home;
    App app;
    Canvas canvas(50, 50);
    render_test::begin_frame(app, canvas);
    cairo_new_path(canvas.cr());
    app.round_rect_path({5, 5, 20, 10}, 100);
    double x0, y0, x1, y1;
    cairo_path_extents(canvas.cr(), &x0, &y0, &x1, &y1);
    EXPECT_NEAR(x0, 5, 1e-6);
    EXPECT_NEAR(y0, 5, 1e-6);
    EXPECT_NEAR(x1, 25, 1e-6);
    EXPECT_NEAR(y1, 15, 1e-6);
}

TEST(RenderShapes, AThinOutlineIsShrunkByHalfAPixel) {
    test_env::TempHome home;
    App app;
    Canvas canvas(20, 20);
    render_test::begin_frame(app, canvas);
    // Width 1 on (0, 0, 10, 10) strokes (0.5, 0.5, 9, 9): exactly the pixel
    // rows and columns 0 and 9, fully covered.
    app.stroke_round_rect({0, 0, 10, 10}, 0, "#000000", 1.0, 1.0);
    EXPECT_EQ(canvas.hex(5, 0), "#000000");
    EXPECT_EQ(canvas.hex(0, 5), "#000000");
    EXPECT_EQ(canvas.hex(9, 5), "#000000");
    EXPECT_EQ(canvas.hex(5, 9), "#000000");
    EXPECT_EQ(canvas.hex(10, 5), "#FFFFFF");
    EXPECT_EQ(canvas.hex(5, 1), "#FFFFFF");
}

TEST(RenderShapes, AWideOutlineUsesTheRectangleAsItIs) {
    test_env::TempHome home;
    App app;
    Canvas canvas(20, 20);
    render_test::begin_frame(app, canvas);
    // Width 2 centred on x = 10 covers columns 9 and 10.
    app.stroke_round_rect({0, 0, 10, 10}, 0, "#000000", 2.0, 1.0);
    EXPECT_EQ(canvas.hex(10, 5), "#000000");
    EXPECT_EQ(canvas.hex(9, 5), "#000000");
    EXPECT_EQ(canvas.hex(11, 5), "#FFFFFF");
}

TEST(RenderShapes, AColourThatDoesNotParseDrawsNothing) {
    test_env::TempHome home;
    App app;
    Canvas canvas(40, 40);
    render_test::begin_frame(app, canvas);
    app.fill_rect({0, 0, 40, 40}, "oops", 1.0);
    app.fill_round_rect({0, 0, 40, 40}, 5, "#FFF", 1.0);
    app.fill_round_rect_gradient({0, 0, 40, 40}, 5, "#000000", "nope", 1.0);
    app.stroke_round_rect({0, 0, 40, 40}, 5, "", 2.0, 1.0);
    EXPECT_FALSE(canvas.ink("#FFFFFF").any);
}

TEST(RenderShapes, GradientRunsFromTopLeftToBottomRight) {
    test_env::TempHome home;
    App app;
    Canvas canvas(100, 100);
    render_test::begin_frame(app, canvas);
    app.fill_round_rect_gradient({0, 0, 100, 100}, 0, "#FF0000", "#0000FF", 1.0);
    const Rgb tl = canvas.rgb(0, 0), br = canvas.rgb(99, 99), mid = canvas.rgb(50, 50);
    EXPECT_GT(tl.r, 0.95);
    EXPECT_LT(tl.b, 0.05);
    EXPECT_GT(br.b, 0.95);
    EXPECT_LT(br.r, 0.05);
    EXPECT_NEAR(mid.r, 0.5, 0.03);
    EXPECT_NEAR(mid.b, 0.5, 0.03);
}

// ---------------------------------------------------------------------------
// Bars
// ---------------------------------------------------------------------------

class RenderBar : public ::testing::Test {
protected:
    test_env::TempHome home;
    App app;
    Canvas canvas{340, 30};
    const RectF bar{20, 10, 300, 10};

    void SetUp() override { render_test::begin_frame(app, canvas); }
    bool is_track(int x, int y) const {
        return render_test::near(canvas.rgb(x, y),
                                 render_test::over("#FFFFFF", app.m_palette.text, 0.09));
    }
};

TEST_F(RenderBar, ATinyShareIsRaisedToFivePixels) {
    app.draw_bar(bar, 0.001, "#00FF00");
    EXPECT_EQ(canvas.hex(22, 15), "#00FF00");
    EXPECT_TRUE(is_track(28, 15));
}

TEST_F(RenderBar, AFractionAboveOneFillsTheWholeBar) {
    app.draw_bar(bar, 2.0, "#00FF00");
    EXPECT_EQ(canvas.hex(25, 15), "#00FF00");
    EXPECT_EQ(canvas.hex(170, 15), "#00FF00");
    EXPECT_EQ(canvas.hex(314, 15), "#00FF00");
    EXPECT_EQ(canvas.hex(322, 15), "#FFFFFF");
}

TEST_F(RenderBar, AHalfFillsHalf) {
    app.draw_bar(bar, 0.5, "#00FF00");
    EXPECT_EQ(canvas.hex(160, 15), "#00FF00");
    EXPECT_TRUE(is_track(180, 15));
}

TEST_F(RenderBar, ZeroAndNegativeFractionsShowOnlyTheTrack) {
    app.draw_bar(bar, 0.0, "#00FF00");
    app.draw_bar(bar, -3.0, "#00FF00");
    // Two tracks drawn over each other are darker than one; none is green.
    for (int x = 22; x < 318; x += 7)
        EXPECT_LT(canvas.rgb(x, 15).g - canvas.rgb(x, 15).r, 0.01) << x;
    EXPECT_NE(canvas.hex(170, 15), "#FFFFFF") << "the track is there";
}

// ---------------------------------------------------------------------------
// Labels
// ---------------------------------------------------------------------------

TEST(RenderLabel, EmptyTextOrBadColourDrawsNothingAndReturnsZero) {
    test_env::TempHome home;
    App app;
    Canvas canvas(200, 40);
    render_test::begin_frame(app, canvas);
    EXPECT_EQ(app.draw_label("", App::Font::Body, {0, 0, 200, 40}, "#000000"), 0);
    EXPECT_EQ(app.draw_label("text", App::Font::Body, {0, 0, 200, 40}, "black"), 0);
    EXPECT_EQ(app.draw_label_right("text", App::Font::Body, {0, 0, 200, 40}, "#12"), 0);
    EXPECT_EQ(app.draw_label_center("", App::Font::Body, {0, 0, 200, 40}, "#000000"), 0);
    EXPECT_FALSE(canvas.ink("#FFFFFF").any);
}

TEST(RenderLabel, ReturnsTheWidthAndCentresVertically) {
    test_env::TempHome home;
    App app;
    Canvas canvas(300, 100);
    render_test::begin_frame(app, canvas);
    const double w = app.draw_label("HHHH", App::Font::Title, {10, 20, 280, 60}, "#000000");
    EXPECT_EQ(w, app.measure_text("HHHH", App::Font::Title));
    const Canvas::Ink k = canvas.ink("#FFFFFF");
    ASSERT_TRUE(k.any);
    EXPECT_GE(k.x0, 10);
    EXPECT_LE(k.x1, 10 + w);
    // Capital letters sit a little above the line box's middle; the ink must
    // lie inside the rectangle and around its centre line (y = 50).
    EXPECT_GT(k.y0, 20);
    EXPECT_LT(k.y1, 80);
    EXPECT_LT(std::abs((k.y0 + k.y1) / 2.0 - 50), 6);
}

TEST(RenderLabel, RightToLeftPutsLeftAlignedTextAtTheRightEdge) {
    test_env::TempHome home;
    App app;
    Canvas canvas(400, 40);
    render_test::begin_frame(app, canvas, true);
    const double w = app.draw_label("MMMM", App::Font::Body, {10, 0, 200, 40}, "#000000");
    const Canvas::Ink k = canvas.ink("#FFFFFF");
    ASSERT_TRUE(k.any);
    // The rectangle mirrors to x 190..390; the text ends at its right edge.
    EXPECT_LE(k.x1, 390);
    EXPECT_GE(k.x1, 390 - 3);
    EXPECT_GE(k.x0, 390 - w - 1);
}

TEST(RenderLabel, RightToLeftPutsRightAlignedTextAtTheLeftEdge) {
    test_env::TempHome home;
    App app;
    Canvas canvas(400, 40);
    render_test::begin_frame(app, canvas, true);
    app.draw_label_right("MMMM", App::Font::Body, {10, 0, 200, 40}, "#000000");
    const Canvas::Ink k = canvas.ink("#FFFFFF");
    ASSERT_TRUE(k.any);
    EXPECT_GE(k.x0, 190);
    EXPECT_LE(k.x0, 193);
}

TEST(RenderLabel, CentredStaysCentredWhenMirrored) {
    test_env::TempHome home;
    App app;
    for (bool rtl : {false, true}) {
        Canvas canvas(400, 40);
        render_test::begin_frame(app, canvas, rtl);
        app.draw_label_center("MMMM", App::Font::Body, {100, 0, 200, 40}, "#000000");
        const Canvas::Ink k = canvas.ink("#FFFFFF");
        ASSERT_TRUE(k.any);
        EXPECT_LT(std::abs((k.x0 + k.x1) / 2.0 - 200), 3) << rtl;
    }
}

// ---------------------------------------------------------------------------
// Glyphs, chips, pills and buttons
// ---------------------------------------------------------------------------

TEST(RenderGlyph, LineWidthHasAFloorForSmallSymbols) {
    EXPECT_DOUBLE_EQ(render::glyph_line_width(10), 1.3) << "0.85 would be too thin";
    EXPECT_DOUBLE_EQ(render::glyph_line_width(40), 3.4);
    EXPECT_DOUBLE_EQ(render::glyph_line_width(1), 1.3);
}

TEST(RenderGlyph, ChipRadiusAndGlyphArea) {
    EXPECT_NEAR(render::chip_radius(26), 6.76, 1e-9);
    const RectF a = render::chip_glyph_area({100, 50, 26, 26});
    EXPECT_NEAR(a.x, 104.16, 1e-4);
    EXPECT_NEAR(a.y, 54.16, 1e-4);
    EXPECT_NEAR(a.w, 17.68, 1e-4);
    EXPECT_NEAR(a.h, 17.68, 1e-4);
}

TEST(RenderGlyph, EverySymbolDrawsInsideItsSquareAtEverySize) {
    test_env::TempHome home;
    App app;
    for (int g = 0; g <= static_cast<int>(Glyph::Chip); ++g) {
        for (int size : {10, 20, 40}) {
            Canvas canvas(80, 80);
            render_test::begin_frame(app, canvas);
            app.draw_glyph(static_cast<Glyph>(g), {20, 20, float(size), float(size)}, Rgb{0, 0, 0});
            const Canvas::Ink k = canvas.ink("#FFFFFF");
            ASSERT_TRUE(k.any) << "glyph " << g << " at " << size;
            // Round caps may reach half a line width past the square.
            const int slack = static_cast<int>(std::ceil(render::glyph_line_width(size) / 2)) + 1;
            EXPECT_GE(k.x0, 20 - slack) << g;
            EXPECT_GE(k.y0, 20 - slack) << g;
            EXPECT_LE(k.x1, 20 + size + slack) << g;
            EXPECT_LE(k.y1, 20 + size + slack) << g;
            // A recognisable symbol uses most of its square.
            EXPECT_GE(k.x1 - k.x0, size * 0.5) << g;
            EXPECT_GE(k.y1 - k.y0, size * 0.5) << g;
        }
    }
}

TEST(RenderGlyph, SymbolsDifferFromEachOther) {
    test_env::TempHome home;
    App app;
    std::vector<std::vector<std::string>> pictures;
    for (int g = 0; g <= static_cast<int>(Glyph::Chip); ++g) {
        Canvas canvas(40, 40);
        render_test::begin_frame(app, canvas);
        app.draw_glyph(static_cast<Glyph>(g), {4, 4, 32, 32}, Rgb{0, 0, 0});
        std::vector<std::string> px;
        for (int y = 0; y < 40; y += 2)
            for (int x = 0; x < 40; x += 2)
                px.push_back(canvas.hex(x, y));
        pictures.push_back(px);
    }
    for (size_t a = 0; a < pictures.size(); ++a)
        for (size_t b = a + 1; b < pictures.size(); ++b)
            EXPECT_NE(pictures[a], pictures[b]) << a << " and " << b;
}

TEST(RenderGlyph, AnUnknownValueDrawsNothing) {
    test_env::TempHome home;
    App app;
    Canvas canvas(60, 60);
    render_test::begin_frame(app, canvas);
    app.draw_glyph(static_cast<Glyph>(14), {10, 10, 40, 40}, Rgb{0, 0, 0});
    app.draw_glyph(static_cast<Glyph>(-1), {10, 10, 40, 40}, Rgb{0, 0, 0});
    EXPECT_FALSE(canvas.ink("#FFFFFF").any);
}

TEST(RenderGlyph, MirroredSymbolsStandInTheMirroredSquare) {
    test_env::TempHome home;
    App app;
    Canvas canvas(200, 60);
    render_test::begin_frame(app, canvas, true);
    app.draw_glyph(Glyph::Folder, {10, 10, 40, 40}, Rgb{0, 0, 0});
    const Canvas::Ink k = canvas.ink("#FFFFFF");
    ASSERT_TRUE(k.any);
    EXPECT_GE(k.x0, 150 - 3);
    EXPECT_LE(k.x1, 190 + 3);
}

TEST(RenderChip, FillsWithTheColourAndDrawsAWhiteSymbol) {
    test_env::TempHome home;
    App app;
    Canvas canvas(60, 60, "#000000");
    render_test::begin_frame(app, canvas);
    app.draw_icon_chip(Glyph::Clock, {0, 0, 52, 52}, "#FF599E");
    // Top-left area (inside the rounding) carries the first colour.
    EXPECT_TRUE(
        render_test::near(canvas.rgb(16, 8), render_test::over("#000000", "#FF599E", 1), 14));
    // The corner itself is rounded away.
    EXPECT_EQ(canvas.hex(0, 0), "#000000");
    // The clock's rim passes through the top of the glyph area: white.
    bool white = false;
    for (int y = 8; y < 20 && !white; ++y)
        white = canvas.hex(26, y) == "#FFFFFF";
    EXPECT_TRUE(white);
}

TEST(RenderPill, SizeFollowsTheLabelAndTheFont) {
    test_env::TempHome home;
    App app;
    Canvas canvas(200, 40);
    render_test::begin_frame(app, canvas);
    const RectF r = app.draw_pill(10, 5, "Risky", App::Font::CaptionBold, "#E5484D", 0.16);
    EXPECT_FLOAT_EQ(r.x, 10);
    EXPECT_FLOAT_EQ(r.y, 5);
    EXPECT_NEAR(r.w, app.measure_text("Risky", App::Font::CaptionBold) + 14, 1e-3);
    EXPECT_NEAR(r.h, app.font_height(App::Font::CaptionBold) + 5, 1e-3);
    // The background at 16%, away from the label.
    EXPECT_TRUE(
        render_test::near(canvas.rgb(static_cast<int>(r.x + 3), static_cast<int>(r.y + r.h / 2)),
                          render_test::over("#FFFFFF", "#E5484D", 0.16)));
}

TEST(RenderButton, SizeAndFaces) {
    test_env::TempHome home;
    App app;
    Canvas canvas(300, 60);
    render_test::begin_frame(app, canvas);
    const RectF plain = app.draw_button(10, 10, "Rescan", false, true);
    EXPECT_NEAR(plain.w, app.measure_text("Rescan", App::Font::Body) + 26, 1e-3);
    EXPECT_FLOAT_EQ(plain.h, 30);
    EXPECT_EQ(canvas.hex(14, 25), app.m_palette.control);
    const RectF primary = app.draw_button(150, 10, "Settings", true, true);
    EXPECT_FLOAT_EQ(primary.x, 150);
    // The gradient starts at the brand pink in the top-left.
    EXPECT_TRUE(
        render_test::near(canvas.rgb(154, 16), render_test::over("#FFFFFF", "#FF599E", 1), 20));
    const RectF disabled = app.draw_button(150, 10, "Settings", true, false);
    EXPECT_FLOAT_EQ(disabled.w, primary.w) << "a disabled button still returns its rectangle";
}
