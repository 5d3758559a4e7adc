// Writes PNG pictures of the interface drawn offscreen from in-memory
// category states: the overview, a category page, the "Remove manually"
// page, the scanning and the empty state, in the light and dark palettes and
// mirrored for a right-to-left language. Reads and writes nothing but the
// pictures in the folder it is given.
//
// usage: render_shots OUTPUT_DIR [WIDTH HEIGHT [LANGUAGE...]]
// Without languages: English light and dark and Arabic dark. With languages
// (codes such as de ja ar): each of them light and dark, for reviewing the
// translations page by page.
// Exits 1 when a picture could not be written.

#include "app.h"
#include "fixture_states.h"
#include "i18n.h"

#include <cairo.h>

#include <cstdio>
#include <cstdlib>
#include <glib.h>
#include <string>
#include <thread>
#include <vector>

namespace {

// A home that exists only as text in the fixture's paths.
const char* const HOME = "/home/dev";

int failures = 0;

// One picture; with scale 2 it has twice the pixels, drawn as on a HiDPI
// screen.
void shot(App& app, const std::string& file, int w, int h, int scale = 1) {
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w * scale, h * scale);
    cairo_t* cr = cairo_create(s);
    cairo_scale(cr, scale, scale);
    // Two frames: hover and targets settle against the previous one.
    app.render_offscreen(cr, w, h);
    app.render_offscreen(cr, w, h);
    cairo_destroy(cr);
    if (cairo_surface_write_to_png(s, file.c_str()) != CAIRO_STATUS_SUCCESS) {
        std::fprintf(stderr, "could not write %s\n", file.c_str());
        ++failures;
    } else {
        std::printf("%s\n", file.c_str());
    }
    cairo_surface_destroy(s);
}

void fill(App& app, time_t now) {
    app.m_cats = fixture::states(HOME, now);
    for (CatState& c : app.m_cats)
        if (c.def.id == "nodeModules")
            for (size_t i = 0; i < c.items.size(); i += 3)
                c.items[i].selected = true;
    app.m_manual.clear();
    struct Left {
        const char* name;
        const char* path; // below the home
        const char* reason;
    };
    const Left left[] = {
        {"node_modules", "/projects/shared-readonly/frontend/node_modules", "Read-only location"},
        {"target", "/projects/deploy-tool/target", "Holds files tracked by git"},
        {"build", "/projects/game/build", "In use by a running program"},
        {"android-34", "/Android/Sdk/system-images/android-34", ""},
    };
    for (const Left& l : left) {
        Item it;
        it.name = l.name;
        it.path = std::string(HOME) + l.path;
        it.detail = l.reason;
        app.m_manual.push_back(it);
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: render_shots OUTPUT_DIR [WIDTH HEIGHT [LANGUAGE ...]]\n");
        return 2;
    }
    const std::string dir = argv[1];
    const int w = argc >= 4 ? std::atoi(argv[2]) : 1100;
    const int h = argc >= 4 ? std::atoi(argv[3]) : 720;
    g_mkdir_with_parents(dir.c_str(), 0755);
    const time_t now = time(nullptr);

    struct Variant {
        const char* name;
        bool dark;
        const char* lang;
    };
    std::vector<Variant> variants = {Variant{"light", false, "en"}, Variant{"dark", true, "en"},
                                     Variant{"rtl-dark", true, "ar"}};
    std::vector<std::string> names;
    if (argc > 4) {
        variants.clear();
        for (int i = 4; i < argc; ++i) {
            names.push_back(std::string(argv[i]) + "-light");
            names.push_back(std::string(argv[i]) + "-dark");
        }
        for (int i = 4; i < argc; ++i) {
            const size_t k = static_cast<size_t>(i - 4) * 2;
            variants.push_back({names[k].c_str(), false, argv[i]});
            variants.push_back({names[k + 1].c_str(), true, argv[i]});
        }
    }
    for (const Variant& v : variants) {
        I18n::instance().set_language(v.lang);
        App app;
        app.m_dark = v.dark;
        app.m_palette = Palette::for_theme(v.dark);
        fill(app, now);
        const std::string prefix = dir + "/offscreen-" + v.name + "-";

        app.m_selection.clear();
        shot(app, prefix + "overview.png", w, h);
        app.m_scroll = 400;
        shot(app, prefix + "overview-scrolled.png", w, h);
        app.m_scroll = 0;

        app.m_selection = "nodeModules";
        shot(app, prefix + "category.png", w, h);
        // Further down: the rows whose folders hold work, and why.
        app.m_scroll = 460;
        shot(app, prefix + "category-scrolled.png", w, h);
        app.m_scroll = 0;
        app.m_selection = "androidSystemImages";
        shot(app, prefix + "category-keep.png", w, h);

        app.m_selection = "__manual__";
        shot(app, prefix + "manual.png", w, h);

        // The overlays, each over the page it opens from.
        app.m_selection = "nodeModules";
        app.confirm_clean();
        shot(app, prefix + "dialog-confirm.png", w, h);
        app.m_failed_paths = {app.m_manual[0].path, app.m_manual[1].path};
        app.m_failed_dialog_pending = true;
        app.m_worker = std::thread([] {}); // a deletion that has just ended
        app.on_poll();
        shot(app, prefix + "dialog-failed.png", w, h);
        app.explain_no_file_manager(app.m_manual[0].path);
        shot(app, prefix + "dialog-no-file-manager.png", w, h);
        app.m_overlay = App::Overlay::About;
        shot(app, prefix + "about.png", w, h);
        app.open_settings();
        app.m_fm_text = "nautilus --select %s";
        app.fm_begin_edit();
        shot(app, prefix + "settings.png", w, h);
        app.m_fm_editing = false;
        app.m_overlay = App::Overlay::None;

        app.m_selection.clear();
        for (CatState& c : app.m_cats) {
            c.items.clear();
            c.did_scan = false;
        }
        app.m_cats[0].did_scan = true;
        app.m_cats[1].scanning = true;
        app.m_scanning = true;
        shot(app, prefix + "scanning.png", w, h);
        app.m_scanning = false;
        for (CatState& c : app.m_cats) {
            c.did_scan = true;
            c.scanning = false;
        }
        app.m_manual.clear();
        shot(app, prefix + "empty.png", w, h);

        // The keyboard's ring on each page and overlay, where the keys put it.
        fill(app, now);
        app.m_focus_visible = true;
        app.m_selection.clear();
        app.m_focus = {App::Act::SelectOverview, 0};
        shot(app, prefix + "focus-overview.png", w, h);
        app.m_selection = "nodeModules";
        app.m_focus = {App::Act::ToggleItem, 1};
        shot(app, prefix + "focus-category.png", w, h);
        if (!v.dark)
            shot(app, prefix + "focus-category-2x.png", w, h, 2);
        app.m_focus = {App::Act::RevealItem, 2};
        shot(app, prefix + "focus-reveal.png", w, h);
        app.m_focus = {App::Act::SelectAllSafe, 0};
        shot(app, prefix + "focus-page-button.png", w, h);
        app.m_focus = {App::Act::Rescan, 0};
        shot(app, prefix + "focus-toolbar.png", w, h);
        app.m_selection = "__manual__";
        app.m_focus = {App::Act::OpenManualItem, 0};
        shot(app, prefix + "focus-manual.png", w, h);
        app.m_selection = "nodeModules";
        app.m_focus = {App::Act::Clean, 0};
        shot(app, prefix + "focus-footer.png", w, h);
        app.confirm_clean(); // opens on Cancel
        shot(app, prefix + "focus-dialog.png", w, h);
        app.m_overlay = App::Overlay::None;
        shot(app, prefix + "focus-back.png", w, h);
        app.open_settings();
        shot(app, prefix + "focus-settings.png", w, h);
        app.m_overlay = App::Overlay::About;
        shot(app, prefix + "focus-about.png", w, h);
        app.m_overlay = App::Overlay::None;
    }
    return failures == 0 ? 0 : 1;
}
