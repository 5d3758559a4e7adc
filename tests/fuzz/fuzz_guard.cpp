// Feeds arbitrary paths to the deletion guard and checks its promises: "/",
// every protected tree with everything below it and every exact path are
// refused however their slashes are written, and so is every relative path,
// every path with a "." or ".." component and every path with a NUL byte.
// The guard only classifies; nothing here deletes or writes anything, though
// the guard may lstat and realpath the paths it is given.
#include "deletion_guard.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

void require(bool ok) {
    if (!ok)
        std::abort();
}

// The protected paths, in a fixed order so that the input can pick one.
const std::vector<std::string>& protected_paths() {
    static const std::vector<std::string> all = [] {
        std::vector<std::string> v(deletion_guard::protected_trees());
        std::vector<std::string> exact(deletion_guard::protected_exact().begin(),
                                       deletion_guard::protected_exact().end());
        std::sort(exact.begin(), exact.end());
        v.insert(v.end(), exact.begin(), exact.end());
        return v;
    }();
    return all;
}

// path with every "/" written one to four times and some "/" added at the
// end, as the bytes of shape say.
std::string dress(const std::string& path, const std::string& shape) {
    std::string out;
    std::size_t k = 0;
    auto next = [&]() -> unsigned {
        return shape.empty() ? 0u : static_cast<unsigned char>(shape[k++ % shape.size()]);
    };
    for (char c : path) {
        out += c;
        if (c == '/')
            out.append(next() % 4, '/');
    }
    out.append(next() % 3, '/');
    return out;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // A fixed home that does not exist, so the exact set never depends on
    // the machine the fuzzer runs on.
    setenv("HOME", "/home/fuzz", 1);
    unsetenv("SNAP_REAL_HOME");
    unsetenv("SNAP");
    unsetenv("SNAP_NAME");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0 || size > 4096)
        return 0;
    const unsigned pick = data[0];
    const std::string rest(reinterpret_cast<const char*>(data) + 1, size - 1);

    // The two questions always agree.
    const char* reason = deletion_guard::reason_key(rest);
    require((reason != nullptr) == deletion_guard::is_protected(rest));

    // Normalising is idempotent and leaves no doubled or trailing slash.
    const std::string n = deletion_guard::normalize(rest);
    require(deletion_guard::normalize(n) == n);
    require(n.find("//") == std::string::npos);
    require(n.size() <= 1 || n.back() != '/');

    // Relative, dotted and NUL-holding paths are always refused.
    if (n.empty() || n[0] != '/' || deletion_guard::has_dot_component(n) ||
        n.find('\0') != std::string::npos)
        require(reason != nullptr);

    // The root, each protected path however it is written, and anything below a tree.
    require(deletion_guard::is_protected(dress("/", rest)));
    const std::vector<std::string>& all = protected_paths();
    const std::string& chosen = all[pick % all.size()];
    require(deletion_guard::is_protected(dress(chosen, rest)));
    const std::vector<std::string>& trees = deletion_guard::protected_trees();
    const std::string& tree = trees[pick % trees.size()];
    require(deletion_guard::is_protected(dress(tree + "/" + rest, rest)));
    return 0;
}
