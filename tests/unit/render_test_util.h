// Helpers for the rendering tests: an image surface to draw on, pixel reads,
// category fixtures built in memory, and a guard that puts the language back.
#pragma once

#include "app.h"
#include "catalog.h"
#include "i18n.h"
#include "settings.h"
#include "test_env.h"

#include <cairo.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace render_test {

// An ARGB surface filled with one opaque colour.
class Canvas {
public:
    Canvas(int w, int h, const char* background = "#FFFFFF") : m_w(w), m_h(h) {
        m_surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
        m_cr = cairo_create(m_surface);
        Rgb c;
        hex_to_rgb(background, c);
        cairo_set_source_rgb(m_cr, c.r, c.g, c.b);
        cairo_paint(m_cr);
    }
    ~Canvas() {
        cairo_destroy(m_cr);
        cairo_surface_destroy(m_surface);
    }
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    cairo_t* cr() const { return m_cr; }
    int width() const { return m_w; }
    int height() const { return m_h; }

    Rgb rgb(int x, int y) const {
        cairo_surface_flush(m_surface);
        const unsigned char* data = cairo_image_surface_get_data(m_surface);
        const int stride = cairo_image_surface_get_stride(m_surface);
        const uint32_t v = *reinterpret_cast<const uint32_t*>(data + y * stride + x * 4);
        return {((v >> 16) & 0xFF) / 255.0, ((v >> 8) & 0xFF) / 255.0, (v & 0xFF) / 255.0};
    }
    std::string hex(int x, int y) const { return rgb_to_hex(rgb(x, y)); }

    // The columns and rows that differ from the background colour.
    struct Ink {
        bool any = false;
        int x0 = 0, y0 = 0, x1 = -1, y1 = -1; // inclusive
    };
    Ink ink(const std::string& background, int left = 0, int top = 0, int right = -1,
            int bottom = -1) const {
        Ink k;
        right = right < 0 ? m_w - 1 : right;
        bottom = bottom < 0 ? m_h - 1 : bottom;
        for (int y = top; y <= bottom; ++y)
            for (int x = left; x <= right; ++x)
                if (hex(x, y) != background) {
                    if (!k.any) {
                        k = {true, x, y, x, y};
                    } else {
                        k.x0 = std::min(k.x0, x);
                        k.y0 = std::min(k.y0, y);
                        k.x1 = std::max(k.x1, x);
                        k.y1 = std::max(k.y1, y);
                    }
                }
        return k;
    }

    void write_png(const std::string& path) const {
        cairo_surface_write_to_png(m_surface, path.c_str());
    }

private:
    int m_w, m_h;
    cairo_surface_t* m_surface = nullptr;
    cairo_t* m_cr = nullptr;
};

// Puts the app in the middle of a frame on the canvas, as draw_all would,
// so that primitives can be called one at a time.
inline void begin_frame(App& app, Canvas& canvas, bool rtl = false) {
    app.m_cr = canvas.cr();
    app.m_width = canvas.width();
    app.m_height = canvas.height();
    app.m_rtl = rtl;
}

// Blends `top` at `alpha` over `below`, as an opaque fill does.
inline Rgb over(const std::string& below, const std::string& top, double alpha) {
    Rgb a, b;
    hex_to_rgb(top, a);
    hex_to_rgb(below, b);
    return mix(a, b, alpha);
}

// Channel-wise closeness, in 1/255 steps.
inline bool near(const Rgb& a, const Rgb& b, int steps = 2) {
    const double tol = steps / 255.0 + 1e-9;
    return std::abs(a.r - b.r) <= tol && std::abs(a.g - b.g) <= tol && std::abs(a.b - b.b) <= tol;
}

// Sets the language for one test and puts English back afterwards, so tests
// run in one process do not see each other's language.
class Language {
public:
    explicit Language(const char* code) { I18n::instance().set_language(code); }
    ~Language() { I18n::instance().set_language("en"); }
    Language(const Language&) = delete;
    Language& operator=(const Language&) = delete;
};

// A private home, the default settings and English for one test, put back
// afterwards with the default projects folder, so tests run in one process
// do not see each other's choices.
struct Fresh {
    test_env::TempHome home;
    Fresh() { SettingsStore::instance().mutable_get() = Settings{}; }
    ~Fresh() {
        SettingsStore::instance().mutable_get() = Settings{};
        I18n::instance().set_language("en");
        catalog::set_projects_root("");
    }
    Fresh(const Fresh&) = delete;
    Fresh& operator=(const Fresh&) = delete;
};

// A finished category with items of the given sizes, in the given order.
inline CatState category(const std::string& id, GroupKind group, std::vector<int64_t> sizes,
                         SafetyLevel safety = SafetyLevel::Safe) {
    CatState c;
    c.def.id = id;
    c.def.group = group;
    c.def.title = id;
    c.def.subtitle = "fixture";
    c.def.glyph = Glyph::Box;
    c.def.path = "/nonexistent/fixture/" + id;
    c.def.safety = safety;
    c.did_scan = true;
    for (size_t i = 0; i < sizes.size(); ++i) {
        Item it;
        it.name = id + "-" + std::to_string(i);
        it.path = c.def.path + "/" + it.name;
        it.size = sizes[i];
        it.size_known = sizes[i] > 0;
        it.safety = safety;
        c.items.push_back(it);
    }
    return c;
}

// A target as a frame would register it.
inline App::HitTarget hit_target(float x, float y, float w, float h, App::Act act, int index = 0) {
    return {RectF{x, y, w, h}, act, index, RectF{x, y, w, h}};
}

// The first target of the frame with this act and index, or null.
inline const App::HitTarget* find_target(const App& app, App::Act act, int index = 0) {
    for (const App::HitTarget& t : app.m_targets)
        if (t.act == act && t.index == index)
            return &t;
    return nullptr;
}

inline void expect_rect(const RectF& r, double x, double y, double w, double h, const char* what) {
    EXPECT_NEAR(r.x, x, 0.01) << what;
    EXPECT_NEAR(r.y, y, 0.01) << what;
    EXPECT_NEAR(r.w, w, 0.01) << what;
    EXPECT_NEAR(r.h, h, 0.01) << what;
}

inline std::vector<App::HitTarget> targets_of(const App& app, App::Act act) {
    std::vector<App::HitTarget> out;
    for (const App::HitTarget& t : app.m_targets)
        if (t.act == act)
            out.push_back(t);
    return out;
}

} // namespace render_test
