// A small program that calls the desktop operations one at a time, so the
// tests in this folder can run them against stand-in services on a private
// bus and check what the services saw. It prints results on stdout, one
// line each, and nothing else.
//
// usage:
//   desktop_probe prefers-dark               "dark" or "light", then the call's milliseconds
//   desktop_probe watch                      "watching", then "changed dark|light" for each
//                                            call of the watcher; ends when stdin closes
//   desktop_probe reveal PATH [COMMAND]      "true" or "false", then the call's milliseconds;
//                                            COMMAND is the user's file-manager command
//   desktop_probe detect                     "[name]"
//   desktop_probe open-url URL               "done"
//   desktop_probe pick-folder                "[folder]"
#include "desktop_theme.h"
#include "settings.h"
#include "shell_ops.h"

#include <glib-unix.h>
#include <gtk/gtk.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

long long ms_since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 start)
        .count();
}

void say(const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

gboolean on_stdin(gint fd, GIOCondition, gpointer loop) {
    char buf[256];
    if (read(fd, buf, sizeof buf) > 0)
        return G_SOURCE_CONTINUE;
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_REMOVE;
}

int usage() {
    std::fprintf(stderr, "usage: desktop_probe prefers-dark | watch | reveal PATH [COMMAND] | "
                         "detect | open-url URL | pick-folder\n");
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2)
        return usage();
    if (!gtk_init_check(&argc, &argv)) {
        std::fprintf(stderr, "desktop_probe: no display\n");
        return 3;
    }
    const std::string cmd = argv[1];

    if (cmd == "prefers-dark" && argc == 2) {
        const auto start = std::chrono::steady_clock::now();
        const bool dark = desktop_theme::prefers_dark();
        const long long ms = ms_since(start);
        say(dark ? "dark" : "light");
        say(std::to_string(ms));
        return 0;
    }
    if (cmd == "watch" && argc == 2) {
        GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
        desktop_theme::watch(
            [] { say(desktop_theme::prefers_dark() ? "changed dark" : "changed light"); });
        // The bus handles one connection's messages in order, so once this
        // round trip is answered the subscription's match rule is in place and
        // a signal sent from now on reaches the watcher.
        if (GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr)) {
            GVariant* id = g_dbus_connection_call_sync(
                bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr);
            if (id)
                g_variant_unref(id);
            g_object_unref(bus);
        }
        g_unix_fd_add(0, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR), on_stdin, loop);
        say("watching");
        g_main_loop_run(loop);
        g_main_loop_unref(loop);
        return 0;
    }
    if (cmd == "reveal" && (argc == 3 || argc == 4)) {
        if (argc == 4)
            SettingsStore::instance().mutable_get().file_manager_command = argv[3];
        const auto start = std::chrono::steady_clock::now();
        const bool ok = shell_ops::reveal_in_file_manager(argv[2]);
        const long long ms = ms_since(start);
        say(ok ? "true" : "false");
        say(std::to_string(ms));
        return 0;
    }
    if (cmd == "detect" && argc == 2) {
        say("[" + shell_ops::detect_file_manager() + "]");
        return 0;
    }
    if (cmd == "open-url" && argc == 3) {
        shell_ops::open_url(argv[2]);
        say("done");
        return 0;
    }
    if (cmd == "pick-folder" && argc == 2) {
        say("[" + shell_ops::pick_folder(nullptr) + "]");
        return 0;
    }
    return usage();
}
