// The desktop half of shell_ops: the file manager, the folder chooser and
// links. Every step that fails (no session bus, nobody owning the service, a
// time-out, no default application) falls through to the next one quietly;
// the caller decides what to tell the user.
#include "shell_ops.h"

#include "i18n.h"
#include "settings.h"
#include "strutil.h"

#include <gio/gio.h>
#include <gtk/gtk.h>

#include <fstream>
#include <sys/stat.h>

namespace shell_ops {

namespace {

constexpr const char* FM_NAME = "org.freedesktop.FileManager1";
constexpr const char* FM_PATH = "/org/freedesktop/FileManager1";
constexpr const char* FM_IFACE = "org.freedesktop.FileManager1";
// The longest a hung file manager may hold up the interface per call.
constexpr int BUS_TIMEOUT_MS = 2000;

// Every "%s" in `arg` replaced by `path`, left to right. A "%s" inside the
// path itself stays as it is.
std::string substitute_path(const std::string& arg, const std::string& path) {
    std::string out;
    size_t from = 0;
    for (size_t at = arg.find("%s"); at != std::string::npos; at = arg.find("%s", from)) {
        out.append(arg, from, at - from);
        out += path;
        from = at + 2;
    }
    out.append(arg, from, std::string::npos);
    return out;
}

// Starts the program detached, found through PATH, in our working folder and
// with our environment.
bool spawn_detached(const std::vector<std::string>& args) {
    if (args.empty())
        return false;
    std::vector<gchar*> argv;
    for (const std::string& a : args)
        argv.push_back(const_cast<gchar*>(a.c_str()));
    argv.push_back(nullptr);
    GError* error = nullptr;
    const gboolean started = g_spawn_async(nullptr, argv.data(), nullptr, G_SPAWN_SEARCH_PATH,
                                           nullptr, nullptr, nullptr, &error);
    g_clear_error(&error);
    return started;
}

// Asks the file manager over the session bus to show one item; `method` is
// "ShowFolders" or "ShowItems". True only when it answered without an error.
bool ask_file_manager(const char* method, const std::string& path) {
    gchar* uri = g_filename_to_uri(path.c_str(), nullptr, nullptr);
    if (!uri)
        return false;
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    if (!bus) {
        g_free(uri);
        return false;
    }
    const gchar* uris[] = {uri, nullptr};
    GVariant* reply = g_dbus_connection_call_sync(
        bus, FM_NAME, FM_PATH, FM_IFACE, method, g_variant_new("(^ass)", uris, ""), nullptr,
        G_DBUS_CALL_FLAGS_NONE, BUS_TIMEOUT_MS, nullptr, nullptr);
    g_object_unref(bus);
    g_free(uri);
    if (!reply)
        return false;
    g_variant_unref(reply);
    return true;
}

// Opens a folder with whatever the desktop opens folders with.
bool show_folder_with_default_handler(const std::string& folder) {
    gchar* uri = g_filename_to_uri(folder.c_str(), nullptr, nullptr);
    if (!uri)
        return false;
    GError* error = nullptr;
    const gboolean shown = gtk_show_uri_on_window(nullptr, uri, GDK_CURRENT_TIME, &error);
    g_clear_error(&error);
    g_free(uri);
    return shown;
}

// The short program name of the process that owns the file-manager service,
// or empty.
std::string file_manager_comm() {
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    if (!bus)
        return "";
    GVariant* reply = g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetConnectionUnixProcessID", g_variant_new("(s)", FM_NAME), G_VARIANT_TYPE("(u)"),
        G_DBUS_CALL_FLAGS_NONE, BUS_TIMEOUT_MS, nullptr, nullptr);
    g_object_unref(bus);
    if (!reply)
        return "";
    guint32 pid = 0;
    g_variant_get(reply, "(u)", &pid);
    g_variant_unref(reply);
    std::ifstream comm("/proc/" + std::to_string(pid) + "/comm");
    std::string name;
    std::getline(comm, name);
    return name;
}

} // namespace

std::vector<std::string> command_argv(const std::string& command, const std::string& path) {
    gint argc = 0;
    gchar** argv = nullptr;
    if (!g_shell_parse_argv(command.c_str(), &argc, &argv, nullptr))
        return {};
    std::vector<std::string> args;
    for (gint i = 0; i < argc; ++i)
        args.push_back(substitute_path(argv[i], path));
    g_strfreev(argv);
    return args;
}

bool reveal_in_file_manager(const std::string& path) {
    // The user's own command is all that is tried when there is one: a
    // command that fails should be seen failing, not hidden by another
    // program opening instead.
    const std::string& command = SettingsStore::instance().get().file_manager_command;
    if (!command.empty())
        return spawn_detached(command_argv(command, path));

    struct stat st {};
    if (stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
        if (ask_file_manager("ShowFolders", path))
            return true;
        return show_folder_with_default_handler(path);
    }
    // A file, or something that is gone: the file manager opens the folder
    // holding it with the item selected; the default handler can only open
    // that folder.
    if (ask_file_manager("ShowItems", path))
        return true;
    const std::string parent = su::parent_of(path);
    if (parent.empty())
        return false;
    return show_folder_with_default_handler(parent);
}

std::string detect_file_manager() {
    std::string name = file_manager_comm();
    if (!name.empty())
        return name;
    if (GAppInfo* app = g_app_info_get_default_for_type("inode/directory", FALSE)) {
        if (const char* display_name = g_app_info_get_display_name(app))
            name = display_name;
        g_object_unref(app);
    }
    return name;
}

std::string pick_folder(GtkWindow* parent) {
    const I18n& i18n = I18n::instance();
    GtkFileChooserNative* chooser = gtk_file_chooser_native_new(
        i18n.tr("Choose folder"), parent, GTK_FILE_CHOOSER_ACTION_SELECT_FOLDER, i18n.tr("Choose"),
        i18n.tr("Cancel"));
    gtk_native_dialog_set_modal(GTK_NATIVE_DIALOG(chooser), TRUE);
    std::string chosen;
    if (gtk_native_dialog_run(GTK_NATIVE_DIALOG(chooser)) == GTK_RESPONSE_ACCEPT) {
        if (gchar* name = gtk_file_chooser_get_filename(GTK_FILE_CHOOSER(chooser))) {
            chosen = name;
            g_free(name);
        }
    }
    g_object_unref(chooser);
    return chosen;
}

void open_url(const std::string& url) {
    GError* error = nullptr;
    gtk_show_uri_on_window(nullptr, url.c_str(), GDK_CURRENT_TIME, &error);
    g_clear_error(&error);
}

} // namespace shell_ops
