// A private home for one test. Every test that calls into the program's code
// makes one first, so nothing ever reads or writes the real home directory,
// and everything the test creates is removed with the folder at the end.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace test_env {

class TempHome {
public:
    // Creates a fresh folder under TMPDIR (or /tmp) and points HOME,
    // XDG_CONFIG_HOME, XDG_CACHE_HOME, XDG_DATA_HOME and XDG_RUNTIME_DIR into
    // it, and DBUS_SESSION_BUS_ADDRESS at a bus that does not exist. Removes
    // XDG_STATE_HOME and the variables that move a tool's folders
    // (PYENV_ROOT, OLLAMA_MODELS, ...), which would lead the catalog out of
    // the temporary home to the machine's own toolchains.
    TempHome();
    // Restores the variables and removes the folder with everything in it.
    ~TempHome();
    TempHome(const TempHome&) = delete;
    TempHome& operator=(const TempHome&) = delete;

    const std::string& root() const { return m_root; }
    std::string path(const std::string& rel) const { return m_root + "/" + rel; }

private:
    std::string m_root;
    struct Saved {
        const char* name;
        bool was_set;
        std::string value;
    };
    std::vector<Saved> m_saved;
};

// Sets (or, with nullptr, removes) one environment variable for the life of
// the object and puts the old value back afterwards.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    const char* m_name;
    std::optional<std::string> m_old;
};

// Runs body in a forked child that, when the tests run as root, first gives
// up root for the user "nobody": permission bits do not stop root, so this is
// how a test meets a folder it may not write. Returns the child's exit status
// (body's result; 3 when root could not be dropped), or -1 when the child did
// not exit normally.
int run_unprivileged(const std::function<int()>& body);

// Reads a whole file; empty when it cannot be read.
std::string read_file(const std::string& path);

// Removes a tree that this test made. Refuses any path that is not inside the
// system's temporary folder, so a bug in a test cannot reach anything else.
void remove_tree(const std::string& path);

} // namespace test_env
