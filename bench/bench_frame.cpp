// Frame benchmark: draws whole frames offscreen at 1100 by 720 from in-memory
// category states and prints the median and 95th-percentile time per frame
// for the overview with every group present, a category page of 20,000
// entries scrolled to the middle (in English and in Arabic), and, as the
// reference measured in the same run, the same page with 20 entries. A last
// case scrolls the long page by 60 pixels a frame, so every frame meets rows
// it has not drawn before.
//
// usage: bench_frame [FRAMES]   (default 400 frames per case)

#include "app.h"
#include "fixture_states.h"
#include "i18n.h"

#include <cairo.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr int W = 1100;
constexpr int H = 720;

struct Result {
    double median_ms;
    double p95_ms;
};

// Draws `frames` frames; `step` pixels of scrolling between frames imitate a
// wheel turning through the list (0 redraws the same view).
Result run(App& app, int frames, double step = 0) {
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, W, H);
    cairo_t* cr = cairo_create(s);
    for (int i = 0; i < 20; ++i) // warm the font caches
        app.render_offscreen(cr, W, H);
    std::vector<double> ms;
    ms.reserve(frames);
    for (int i = 0; i < frames; ++i) {
        app.m_scroll += step;
        const auto t0 = std::chrono::steady_clock::now();
        app.render_offscreen(cr, W, H);
        cairo_surface_flush(s);
        const auto t1 = std::chrono::steady_clock::now();
        ms.push_back(std::chrono::duration<double, std::milli>(t1 - t0).count());
    }
    cairo_destroy(cr);
    cairo_surface_destroy(s);
    std::sort(ms.begin(), ms.end());
    return {ms[ms.size() / 2], ms[std::min(ms.size() - 1, ms.size() * 95 / 100)]};
}

// A category page scrolled to the middle of its rows.
Result category_page(int entries, const char* lang, int frames, double step = 0) {
    I18n::instance().set_language(lang);
    App app;
    app.m_cats = fixture::states("/home/dev", time(nullptr), "nodeModules", entries);
    app.m_selection = "nodeModules";
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, W, H);
    cairo_t* cr = cairo_create(s);
    app.render_offscreen(cr, W, H); // learns the page height
    cairo_destroy(cr);
    cairo_surface_destroy(s);
    app.m_scroll = std::max(0.0, (app.m_content_height - app.m_r_content.h) / 2);
    return run(app, frames, step);
}

void print(const char* name, const Result& r) {
    std::printf("%-44s median %6.3f ms   p95 %6.3f ms\n", name, r.median_ms, r.p95_ms);
}

} // namespace

int main(int argc, char** argv) {
    const int frames = argc > 1 ? std::max(20, std::atoi(argv[1])) : 400;
    std::printf("frames per case: %d, canvas %dx%d\n", frames, W, H);

    I18n::instance().set_language("en");
    App overview;
    overview.m_cats = fixture::states("/home/dev", time(nullptr));
    const Result ov = run(overview, frames);
    print("overview, every group present", ov);

    const Result small = category_page(20, "en", frames);
    print("category page, 20 entries (reference)", small);
    const Result big = category_page(20000, "en", frames);
    print("category page, 20,000 entries, middle", big);
    const Result big_ar = category_page(20000, "ar", frames);
    print("category page, 20,000 entries, middle, ar", big_ar);

    const Result scrolling = category_page(20000, "en", frames, 60);
    print("category page, 20,000 entries, scrolling", scrolling);

    std::printf("ratio 20,000 / 20 entries: median %.2f, p95 %.2f\n",
                big.median_ms / small.median_ms, big.p95_ms / small.p95_ms);
    return 0;
}
