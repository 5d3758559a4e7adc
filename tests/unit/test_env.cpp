#include "test_env.h"

#include "catalog.h"

#include <cstdlib>
#include <fstream>
#include <grp.h>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

namespace test_env {

namespace {

const char* const VARS[5] = {"HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME",
                             "XDG_RUNTIME_DIR"};



std::string temp_base() {
    const char* t = std::getenv("TMPDIR");
    std::string base = (t && t[0] == '/') ? t : "/tmp";
    while (base.size() > 1 && base.back() == '/')
        base.pop_back();
    return base;
}

} // namespace

TempHome::TempHome() {
    std::string tmpl = temp_base() + "/quillet-test-XXXXXX";
    if (!mkdtemp(tmpl.data()))
        throw std::runtime_error("mkdtemp failed");
    m_root = tmpl;
    const std::string dirs[5] = {m_root + "/home", m_root + "/home/.config",
                                 m_root + "/home/.cache", m_root + "/home/.local/share",
                                 m_root + "/runtime"};
    for (int i = 0; i < 5; ++i) {
        const char* old = std::getenv(VARS[i]);
        m_saved.push_back({VARS[i], old != nullptr, old ? old : ""});
        std::filesystem::create_directories(dirs[i]);
        setenv(VARS[i], dirs[i].c_str(), 1);
    }
    std::filesystem::permissions(dirs[4], std::filesystem::perms::owner_all);
    // Nor the desktop's session bus: code that asks the desktop (the colour
    // scheme, the file manager) finds no bus unless a test starts its own.
    const char* bus = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    m_saved.push_back({"DBUS_SESSION_BUS_ADDRESS", bus != nullptr, bus ? bus : ""});
    setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + m_root + "/no-bus").c_str(), 1);
    // Set on a developer's machine, the tools' own variables would take the
    // catalog to the real toolchains; every test starts without them.
    for (const char* name : catalog::tool_variables()) {
        const char* old = std::getenv(name);
        m_saved.push_back({name, old != nullptr, old ? old : ""});
        unsetenv(name);
    }
}

TempHome::~TempHome() {
    for (const Saved& s : m_saved) {
        if (s.was_set)
            setenv(s.name, s.value.c_str(), 1);
        else
            unsetenv(s.name);
    }
    remove_tree(m_root);
}

ScopedEnv::ScopedEnv(const char* name, const char* value) : m_name(name) {
    if (const char* old = std::getenv(name))
        m_old = old;
    if (value)
        setenv(name, value, 1);
    else
        unsetenv(name);
}

ScopedEnv::~ScopedEnv() {
    if (m_old)
        setenv(m_name, m_old->c_str(), 1);
    else
        unsetenv(m_name);
}

int run_unprivileged(const std::function<int()>& body) {
    const pid_t pid = fork();
    if (pid < 0)
        return -1;
    if (pid == 0) {
        if (geteuid() == 0 &&
            (setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0))
            _exit(3);
        _exit(body());
    }
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return {};
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

void remove_tree(const std::string& path) {
    const std::string base = temp_base() + "/";
    if (path.size() <= base.size() || path.compare(0, base.size(), base) != 0 ||
        path.find("/..") != std::string::npos)
        return;
    std::error_code ec;
    std::filesystem::remove_all(path, ec);
}

} // namespace test_env
