// Feeds arbitrary text to the settings reader and checks what must hold for
// every file: each value it keeps passes its own check, reading is stable,
// and what it keeps comes back unchanged through the writer and the reader.
// Settings built from the input (any command, a choice of real folders with
// awkward names) must come back through the writer and the reader too.
// Reads no settings file: the text goes to the parsing step directly. The
// only disk writes are the few empty folders made once in a private
// temporary folder and removed at exit.
#include "fuzz_support.h"
#include "i18n.h"
#include "settings.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using fuzz::require;

// Folders that exist, with the names a person might give a projects folder.
std::vector<std::string>& folders() {
    static std::vector<std::string> all;
    return all;
}
std::string g_base;

void remove_folders() {
    for (const std::string& f : folders())
        if (f != g_base)
            rmdir(f.c_str());
    if (!g_base.empty())
        rmdir(g_base.c_str());
}

bool same(const Settings& a, const Settings& b) {
    return a.language == b.language && a.theme == b.theme && a.projects_root == b.projects_root &&
           a.file_manager_command == b.file_manager_command;
}

bool is_directory(const std::string& path) {
    struct stat st {};
    return path.find('\0') == std::string::npos && stat(path.c_str(), &st) == 0 &&
           S_ISDIR(st.st_mode);
}

bool known_language(const std::string& code) {
    for (const auto& l : I18n::available())
        if (l.code == code)
            return true;
    return false;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    char templ[] = "/tmp/quillet-fuzz-settings-XXXXXX";
    if (!mkdtemp(templ))
        std::abort();
    g_base = templ;
    folders().push_back(g_base);
    for (const char* name : {"plain", "with space", "back\\slash", "quote\"d", "new\nline",
                             "\xC3\xBCnic\xC3\xB6"
                             "de",
                             "ends with \\"}) {
        const std::string f = g_base + "/" + name;
        if (mkdir(f.c_str(), 0700) != 0)
            std::abort();
        folders().push_back(f);
    }
    std::atexit(remove_folders);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::text_of(data, size);

    // Every value kept passes its check; the rest keep their defaults.
    const Settings s = settings_util::parse(text);
    require(s.language == "auto" || known_language(s.language));
    require(s.theme == "light" || s.theme == "dark" || s.theme == "auto");
    require(s.projects_root.empty() || is_directory(s.projects_root));
    require(s.file_manager_command.empty() ||
            settings_util::valid_file_manager_command(s.file_manager_command));

    // Reading is stable, and what was read survives a save and a load.
    require(same(settings_util::parse(text), s));
    require(same(settings_util::parse(settings_util::to_text(s)), s));

    // Settings made from the input: every valid value survives a save and a
    // load, an invalid command is written as none.
    if (size < 3)
        return 0;
    const std::vector<LanguageInfo> langs = I18n::available();
    Settings t;
    t.language = data[0] % (langs.size() + 1) == langs.size()
                     ? "auto"
                     : langs[data[0] % (langs.size() + 1)].code;
    static const char* const THEMES[] = {"light", "dark", "auto"};
    t.theme = THEMES[data[1] % 3];
    const std::vector<std::string>& f = folders();
    t.projects_root = data[2] % (f.size() + 1) == f.size() ? "" : f[data[2] % (f.size() + 1)];
    t.file_manager_command = text.substr(3);
    Settings expected = t;
    if (!settings_util::valid_file_manager_command(t.file_manager_command))
        expected.file_manager_command.clear();
    require(same(settings_util::parse(settings_util::to_text(t)), expected));
    return 0;
}
