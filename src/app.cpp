// The application object: start-up, the window, the event loop's trampolines
// and the poll that carries worker results to the main thread. Input lives in
// app_input.cpp, the scan in app_scan.cpp, cleaning in app_clean.cpp and
// drawing in app_render*.cpp.

#include "app.h"

#include "app_access.h"

#include "desktop_theme.h"
#include "format.h"
#include "i18n.h"
#include "settings.h"
#include "window_manager.h"
#include "window_placement.h"

#include <gdk/gdkkeysyms.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>

// ---------------------------------------------------------------------------
// Construction
// ---------------------------------------------------------------------------

App::App() = default;

App::~App() {
    m_access.reset();
    m_cancel = true;
    if (m_worker.joinable())
        m_worker.join();
    m_scanning = false;
    if (m_pango) {
        g_object_unref(m_pango);
        m_pango = nullptr;
    }
}

// ---------------------------------------------------------------------------
// Start-up and window
// ---------------------------------------------------------------------------

int App::run(int argc, char** argv) {
    // Assistive technologies and the tests find the program by this name.
    g_set_prgname("quillet");
    if (!gtk_init_check(&argc, &argv)) {
        std::fprintf(stderr, "Quillet needs a graphical desktop session, but none could be "
                             "reached through DISPLAY or WAYLAND_DISPLAY.\n");
        return 1;
    }
    // GTK's initialisation resets the locale; numbers written to files and
    // formatted for display must keep using a point.
    setlocale(LC_NUMERIC, "C");
    if (const char* state_file = std::getenv("QUILLET_STATE_FILE"))
        m_state_file = state_file;

    SettingsStore::instance().load();
    const Settings& settings = SettingsStore::instance().get();
    I18n::instance().set_language(settings.language);
    if (!settings.projects_root.empty())
        catalog::set_projects_root(settings.projects_root);

    build_window();
    apply_theme();
    // Runs on the main loop, so it may re-apply the theme directly.
    desktop_theme::watch([this] { apply_theme(); });

    load_categories();
    start_scan();

    g_timeout_add(120, on_poll_cb, this);
    gtk_main();
    return 0;
}

void App::build_window() {
    m_window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_title(GTK_WINDOW(m_window), "Quillet");
    gtk_window_set_icon_name(GTK_WINDOW(m_window), "quillet");

    // Without a stored geometry the window opens at 1100 by 720, centred.
    const WindowGeometry geometry = WindowManager::instance().load();
    if (geometry.valid) {
        m_win_w = geometry.width;
        m_win_h = geometry.height;
        if (geometry.has_position) {
            m_win_x = geometry.x;
            m_win_y = geometry.y;
        }
    }
    // When the window starts maximized this is the size it returns to.
    gtk_window_set_default_size(GTK_WINDOW(m_window), m_win_w, m_win_h);
    // The layout is designed for no smaller window, so the minimum equals the
    // size a first start opens with.
    GdkGeometry hints{};
    hints.min_width = WINDOW_MIN_WIDTH;
    hints.min_height = WINDOW_MIN_HEIGHT;
    gtk_window_set_geometry_hints(GTK_WINDOW(m_window), nullptr, &hints, GDK_HINT_MIN_SIZE);
    if (geometry.valid && geometry.maximized) {
        gtk_window_maximize(GTK_WINDOW(m_window));
    } else if (geometry.valid && geometry.has_position &&
               position_on_a_monitor(geometry.x, geometry.y, geometry.width, geometry.height)) {
        gtk_window_move(GTK_WINDOW(m_window), geometry.x, geometry.y);
    } else {
        // Also when the stored place lies on a monitor that is gone.
        gtk_window_set_position(GTK_WINDOW(m_window), GTK_WIN_POS_CENTER);
    }

    // A drawing area whose accessible exposes the controls drawn on it.
    m_canvas = app_access::canvas_new(this);
    gtk_widget_set_can_focus(m_canvas, TRUE);
    gtk_widget_add_events(
        m_canvas, GDK_POINTER_MOTION_MASK | GDK_BUTTON_PRESS_MASK | GDK_BUTTON_RELEASE_MASK |
                      GDK_KEY_PRESS_MASK | GDK_KEY_RELEASE_MASK | GDK_LEAVE_NOTIFY_MASK |
                      GDK_SCROLL_MASK | GDK_SMOOTH_SCROLL_MASK | GDK_FOCUS_CHANGE_MASK);
    gtk_container_add(GTK_CONTAINER(m_window), m_canvas);

    g_signal_connect(m_canvas, "draw", G_CALLBACK(on_draw_cb), this);
    g_signal_connect(m_canvas, "button-press-event", G_CALLBACK(on_button_press_cb), this);
    g_signal_connect(m_canvas, "motion-notify-event", G_CALLBACK(on_motion_cb), this);
    g_signal_connect(m_canvas, "leave-notify-event", G_CALLBACK(on_leave_cb), this);
    g_signal_connect(m_canvas, "scroll-event", G_CALLBACK(on_scroll_cb), this);
    // The focus ring comes and goes with the window's own focus.
    g_signal_connect(m_canvas, "focus-in-event", G_CALLBACK(on_focus_cb), this);
    g_signal_connect(m_canvas, "focus-out-event", G_CALLBACK(on_focus_cb), this);
    g_signal_connect(m_window, "key-press-event", G_CALLBACK(on_key_cb), this);
    g_signal_connect(m_window, "key-release-event", G_CALLBACK(on_key_release_cb), this);
    g_signal_connect(m_window, "configure-event", G_CALLBACK(on_configure_cb), this);
    g_signal_connect(m_window, "delete-event", G_CALLBACK(on_delete_cb), this);
    // Closing destroys the canvas while the main loop may still deliver a
    // focus change or a poll to it; from then on nothing may be drawn.
    g_signal_connect(m_canvas, "destroy", G_CALLBACK(on_canvas_destroy_cb), this);

    m_pango = gtk_widget_create_pango_context(m_canvas);
    gtk_widget_show_all(m_window);
    gtk_widget_grab_focus(m_canvas);
}

void App::apply_theme() {
    // "auto", and any value this version does not know, follow the desktop.
    const std::string& theme = SettingsStore::instance().get().theme;
    if (theme == "dark")
        m_dark = true;
    else if (theme == "light")
        m_dark = false;
    else
        m_dark = desktop_theme::prefers_dark();
    m_palette = Palette::for_theme(m_dark);
    if (GtkSettings* settings = gtk_settings_get_default())
        g_object_set(settings, "gtk-application-prefer-dark-theme", m_dark ? TRUE : FALSE, nullptr);
    request_redraw();
}

void App::request_redraw() {
    m_dirty = true;
    if (m_canvas)
        gtk_widget_queue_draw(m_canvas);
}

void App::save_geometry() {
    if (!m_window)
        return;
    // The state can change without a configure event (nothing resizes the
    // window when no window manager runs), so ask for it once more here.
    if (GdkWindow* w = gtk_widget_get_window(m_window))
        m_maximized = (gdk_window_get_state(w) & GDK_WINDOW_STATE_MAXIMIZED) != 0;
    // A maximized window reports the maximized size and place; what is worth
    // keeping is where it was before, which the configure events recorded.
    if (!m_maximized)
        remember_normal_geometry();
    WindowManager::instance().save(m_win_x, m_win_y, m_win_w, m_win_h, m_maximized);
}

void App::remember_normal_geometry() {
    gtk_window_get_size(GTK_WINDOW(m_window), &m_win_w, &m_win_h);
    gtk_window_get_position(GTK_WINDOW(m_window), &m_win_x, &m_win_y);
}

bool App::position_on_a_monitor(int x, int y, int w, int h) const {
    GdkDisplay* display = gdk_display_get_default();
    if (!display)
        return false;
    std::vector<window_placement::Area> areas;
    const int n = gdk_display_get_n_monitors(display);
    for (int i = 0; i < n; ++i) {
        GdkMonitor* monitor = gdk_display_get_monitor(display, i);
        if (!monitor)
            continue;
        GdkRectangle wa{};
        gdk_monitor_get_workarea(monitor, &wa);
        areas.push_back({wa.x, wa.y, wa.width, wa.height});
    }
    return window_placement::on_some_work_area({x, y, w, h}, areas);
}

// ---------------------------------------------------------------------------
// The poll: the only place where worker results become visible
// ---------------------------------------------------------------------------

void App::on_poll() {
    if (m_worker_running || !m_worker.joinable()) {
        if (m_dirty.exchange(false) && m_canvas)
            gtk_widget_queue_draw(m_canvas);
        return;
    }
    finish_worker();
    // A deletion confirmed while the scan ran starts now, from the fresh
    // results, in which the ticks were carried over by path.
    if (m_clean_queued) {
        m_clean_queued = false;
        start_clean();
        request_redraw();
    }
}

void App::finish_worker() {
    // The worker has finished and cleared m_worker_running as its last act.
    m_worker.join();
    m_scanning = false;
    m_cleaning = false;
    m_dirty = true;
    std::vector<std::string> failed;
    bool pending = false;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        failed = m_failed_paths;
        pending = m_failed_dialog_pending;
        m_failed_dialog_pending = false;
    }
    // Once per finished deletion, and only when something could not go.
    if (pending && !failed.empty()) {
        const I18n& i18n = I18n::instance();
        show_dialog(
            i18n.tr("Could not delete everything"),
            i18n.trf("%s item(s) could not be deleted here.",
                     ltr(fmt::count(static_cast<int64_t>(failed.size()))).c_str()) +
                "\n" +
                i18n.tr("Your file manager can remove them — it runs outside this app's "
                        "restrictions. One click opens the location."),
            {{3, i18n.tr("Show the list"), false, false}, {0, i18n.tr("Close"), false, true}});
    }
    request_redraw();
}

// ---------------------------------------------------------------------------
// Trampolines
// ---------------------------------------------------------------------------

gboolean App::on_draw_cb(GtkWidget* widget, cairo_t* cr, gpointer self) {
    App* app = static_cast<App*>(self);
    GtkAllocation alloc;
    gtk_widget_get_allocation(widget, &alloc);
    app->m_width = alloc.width;
    app->m_height = alloc.height;
    app->draw_all(cr);
    app->m_cr = nullptr;
    app->write_state_file();
    return TRUE;
}

gboolean App::on_button_press_cb(GtkWidget*, GdkEventButton* ev, gpointer self) {
    // Double and triple presses arrive as extra events after the single ones;
    // acting on them would toggle a check box twice.
    if (ev->type == GDK_BUTTON_PRESS)
        static_cast<App*>(self)->on_click(ev->x, ev->y, ev->button == 3);
    return TRUE;
}

gboolean App::on_motion_cb(GtkWidget*, GdkEventMotion* ev, gpointer self) {
    static_cast<App*>(self)->on_motion(ev->x, ev->y);
    return TRUE;
}

gboolean App::on_leave_cb(GtkWidget*, GdkEventCrossing*, gpointer self) {
    App* app = static_cast<App*>(self);
    app->m_hover_act = Act::None;
    app->m_mouse_x = -1.0;
    app->m_mouse_y = -1.0;
    app->request_redraw();
    return TRUE;
}

gboolean App::on_scroll_cb(GtkWidget*, GdkEventScroll* ev, gpointer self) {
    App* app = static_cast<App*>(self);
    double step = 0;
    switch (ev->direction) {
    case GDK_SCROLL_UP:
        step = -60;
        break;
    case GDK_SCROLL_DOWN:
        step = 60;
        break;
    case GDK_SCROLL_SMOOTH:
        step = 60 * ev->delta_y;
        break;
    default:
        break;
    }
    app->scroll_at(ev->x, ev->y, step);
    return TRUE;
}

gboolean App::on_focus_cb(GtkWidget*, GdkEventFocus*, gpointer self) {
    // An Alt released in another window never reaches this one.
    static_cast<App*>(self)->m_alt_held = false;
    static_cast<App*>(self)->request_redraw();
    return FALSE;
}

gboolean App::on_key_cb(GtkWidget*, GdkEventKey* ev, gpointer self) {
    App* app = static_cast<App*>(self);
    if (ev->keyval == GDK_KEY_Alt_L || ev->keyval == GDK_KEY_Alt_R) {
        // The access keys are underlined for as long as Alt is held.
        app->m_alt_held = true;
        app->request_redraw();
        return TRUE;
    }
    app->on_key(ev->keyval, static_cast<GdkModifierType>(ev->state));
    return TRUE;
}

gboolean App::on_key_release_cb(GtkWidget*, GdkEventKey* ev, gpointer self) {
    App* app = static_cast<App*>(self);
    if ((ev->keyval == GDK_KEY_Alt_L || ev->keyval == GDK_KEY_Alt_R) && app->m_alt_held) {
        app->m_alt_held = false;
        app->request_redraw();
    }
    return TRUE;
}

gboolean App::on_configure_cb(GtkWidget* widget, GdkEventConfigure*, gpointer self) {
    App* app = static_cast<App*>(self);
    if (GdkWindow* w = gtk_widget_get_window(widget)) {
        app->m_maximized = (gdk_window_get_state(w) & GDK_WINDOW_STATE_MAXIMIZED) != 0;
        if (!app->m_maximized)
            app->remember_normal_geometry();
    }
    return FALSE;
}

gboolean App::on_delete_cb(GtkWidget*, GdkEvent*, gpointer self) {
    App* app = static_cast<App*>(self);
    app->save_geometry();
    app->m_cancel = true;
    // Wait for a running scan or deletion: the process must not end while a
    // worker is half-way through removing a folder.
    if (app->m_worker.joinable())
        app->m_worker.join();
    app->m_scanning = false;
    gtk_main_quit();
    return FALSE;
}

void App::on_canvas_destroy_cb(GtkWidget*, gpointer self) {
    static_cast<App*>(self)->m_canvas = nullptr;
}

gboolean App::on_poll_cb(gpointer self) {
    static_cast<App*>(self)->on_poll();
    return TRUE;
}
