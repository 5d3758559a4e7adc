// Frame benchmark: draws whole frames offscreen at 1100 by 720 from in-memory
// category states and prints the median and 95th-percentile time per frame
// for the overview with every group present, a category page of 20,000
// entries scrolled to the middle (in English and in Arabic), and, as the
// reference measured in the same run, the same page with 20 entries. A last
// case scrolls the long page by 60 pixels a frame, so every frame meets rows
// it has not drawn before. Then the accessible tree's cost: the long page
// drawn with and without it, frame about frame so that the load of the
// machine falls on both alike, once with no entry object made (as long as no
// screen reader looked into the list) and once with all 40,000 made.
//
// usage: bench_frame [FRAMES]   (default 400 frames per case)

#include "app.h"
#include "app_access.h"
#include "fixture_states.h"
#include "i18n.h"

#include <cairo.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
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

// A category page of `entries` entries scrolled to the middle of its rows.
std::unique_ptr<App> make_page(int entries) {
    auto app = std::make_unique<App>();
    app->m_cats = fixture::states("/home/dev", time(nullptr), "nodeModules", entries);
    app->m_selection = "nodeModules";
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, W, H);
    cairo_t* cr = cairo_create(s);
    app->render_offscreen(cr, W, H); // learns the page height
    cairo_destroy(cr);
    cairo_surface_destroy(s);
    app->m_scroll = std::max(0.0, (app->m_content_height - app->m_r_content.h) / 2);
    return app;
}

Result category_page(int entries, const char* lang, int frames, double step = 0) {
    I18n::instance().set_language(lang);
    std::unique_ptr<App> app = make_page(entries);
    return run(*app, frames, step);
}

// Draws the two apps in turn, `frames` frames each, after warming both.
std::pair<Result, Result> paired(App& a, App& b, int frames, double step = 0) {
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, W, H);
    cairo_t* cr = cairo_create(s);
    for (int i = 0; i < 20; ++i) {
        a.render_offscreen(cr, W, H);
        b.render_offscreen(cr, W, H);
    }
    std::vector<double> ms[2];
    App* apps[2] = {&a, &b};
    for (int i = 0; i < frames; ++i)
        for (int k = 0; k < 2; ++k) {
            apps[k]->m_scroll += step;
            const auto t0 = std::chrono::steady_clock::now();
            apps[k]->render_offscreen(cr, W, H);
            cairo_surface_flush(s);
            const auto t1 = std::chrono::steady_clock::now();
            ms[k].push_back(std::chrono::duration<double, std::milli>(t1 - t0).count());
        }
    cairo_destroy(cr);
    cairo_surface_destroy(s);
    Result r[2];
    for (int k = 0; k < 2; ++k) {
        std::sort(ms[k].begin(), ms[k].end());
        r[k] = {ms[k][ms[k].size() / 2],
                ms[k][std::min(ms[k].size() - 1, ms[k].size() * 95 / 100)]};
    }
    return {r[0], r[1]};
}

// Makes every entry's accessible object, as a client that walks the whole
// list would.
void make_every_entry_object(App& app) {
    AccessTree* tree = app.access_tree();
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, W, H);
    cairo_t* cr = cairo_create(s);
    app.render_offscreen(cr, W, H); // the tree is filled after a frame
    cairo_destroy(cr);
    cairo_surface_destroy(s);
    for (int i = 0; i < tree->top_count(); ++i) {
        AtkObject* top = tree->ref_top(i);
        for (int k = 0; k < atk_object_get_n_accessible_children(top); ++k) {
            AtkObject* part = atk_object_ref_accessible_child(top, k);
            if (atk_object_get_n_accessible_children(part) > 1000)
                for (int e = 0; e < atk_object_get_n_accessible_children(part); ++e)
                    g_object_unref(atk_object_ref_accessible_child(part, e));
            g_object_unref(part);
        }
        g_object_unref(top);
    }
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

    // The accessible tree, against the same page without it.
    I18n::instance().set_language("en");
    auto versus = [&](const char* what, bool every_entry, double step) {
        std::unique_ptr<App> plain = make_page(20000);
        std::unique_ptr<App> with = make_page(20000);
        with->access_tree();
        if (every_entry)
            make_every_entry_object(*with);
        const auto [a, b] = paired(*plain, *with, frames, step);
        std::printf("%s\n", what);
        print("  without the accessible tree", a);
        print("  with it", b);
        std::printf("  extra per frame: median %+.1f%%, p95 %+.1f%%\n",
                    100.0 * (b.median_ms / a.median_ms - 1), 100.0 * (b.p95_ms / a.p95_ms - 1));
        // The tree's own work after a frame, timed alone.
        std::vector<double> ms;
        for (int i = 0; i < frames; ++i) {
            const auto t0 = std::chrono::steady_clock::now();
            with->m_access->sync();
            const auto t1 = std::chrono::steady_clock::now();
            ms.push_back(std::chrono::duration<double, std::milli>(t1 - t0).count());
        }
        std::sort(ms.begin(), ms.end());
        std::printf("  the tree's sync alone: median %.3f ms, p95 %.3f ms (%zu entry objects)\n",
                    ms[ms.size() / 2], ms[std::min(ms.size() - 1, ms.size() * 95 / 100)],
                    with->m_access->entry_objects());
    };
    versus("20,000 entries, middle, no entry object made", false, 0);
    versus("20,000 entries, middle, all 40,000 entry objects made", true, 0);
    versus("20,000 entries, scrolling, all 40,000 entry objects made", true, 60);
    return 0;
}
