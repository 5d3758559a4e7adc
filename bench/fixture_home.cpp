#include "fixture_home.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_set>
#include <vector>

namespace {

// Writes the tree. Every path is created under `m_home`; parents are made
// once each. A failure is kept and stops further work.
class Gen {
public:
    Gen(std::string home, double scale, fixture_home::Data data)
        : m_home(std::move(home)), m_scale(scale), m_holes(data == fixture_home::Data::holes) {
        if (!m_holes)
            m_data.assign(512 * 1024, 'q');
    }

    // How many of a thing the whole home holds: grows with the scale.
    int n(double at_scale_one) const { return count(at_scale_one * m_scale); }
    // How many of a thing one project holds: shrinks below scale 1 like the
    // rest, but stops at the size of a scale-1 project, so a bigger scale
    // means more projects of the same size and not quadratically more files.
    int per_project(double at_scale_one) const {
        return count(at_scale_one * (m_scale < 1 ? m_scale : 1.0));
    }
    // A deterministic pseudo-random number below `below`.
    uint32_t rnd(uint32_t below) {
        m_state = m_state * 6364136223846793005ULL + 1442695040888963407ULL;
        return static_cast<uint32_t>(m_state >> 33) % (below ? below : 1);
    }
    std::string hex(int digits) {
        static const char* H = "0123456789abcdef";
        std::string s;
        for (int i = 0; i < digits; ++i)
            s += H[rnd(16)];
        return s;
    }
    // A typical small file: a few hundred bytes to a few kilobytes, now and
    // then a bigger one.
    std::size_t small_size() { return rnd(20) == 0 ? 20000 + rnd(200000) : 100 + rnd(3000); }

    static int count(double v) { return v < 1 ? 1 : static_cast<int>(v + 0.5); }

    void dir(const std::string& rel) {
        if (failed() || m_dirs.count(rel))
            return;
        const std::size_t slash = rel.rfind('/');
        if (slash != std::string::npos)
            dir(rel.substr(0, slash));
        const std::string p = m_home + "/" + rel;
        if (mkdir(p.c_str(), 0755) != 0 && errno != EEXIST)
            return fail("mkdir " + p);
        m_dirs.insert(rel);
        ++entries;
    }
    void file(const std::string& rel, std::size_t size) {
        if (failed())
            return;
        dir(rel.substr(0, rel.rfind('/')));
        const std::string p = m_home + "/" + rel;
        const int fd = open(p.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (fd < 0)
            return fail("create " + p);
        if (m_holes && ftruncate(fd, static_cast<off_t>(size)) != 0) {
            close(fd);
            return fail("truncate " + p);
        }
        while (!m_holes && size > 0) {
            const std::size_t chunk = size < m_data.size() ? size : m_data.size();
            if (write(fd, m_data.data(), chunk) != static_cast<ssize_t>(chunk)) {
                close(fd);
                return fail("write " + p);
            }
            size -= chunk;
        }
        close(fd);
        ++entries;
    }
    // A file of `apparent` bytes with only a little data at its start.
    void sparse(const std::string& rel, int64_t apparent) {
        file(rel, 4096);
        const std::string p = m_home + "/" + rel;
        if (!failed() && truncate(p.c_str(), apparent) != 0)
            fail("truncate " + p);
    }
    void link(const std::string& target, const std::string& rel) {
        if (failed())
            return;
        dir(rel.substr(0, rel.rfind('/')));
        const std::string p = m_home + "/" + rel;
        if (symlink(target.c_str(), p.c_str()) != 0 && errno != EEXIST)
            return fail("symlink " + p);
        ++entries;
    }
    void hard(const std::string& existing_rel, const std::string& rel) {
        if (failed())
            return;
        dir(rel.substr(0, rel.rfind('/')));
        const std::string a = m_home + "/" + existing_rel;
        const std::string b = m_home + "/" + rel;
        if (::link(a.c_str(), b.c_str()) != 0 && errno != EEXIST)
            return fail("link " + b);
        ++entries;
    }
    void lock(const std::string& rel) {
        if (!failed() && chmod((m_home + "/" + rel).c_str(), 0) != 0)
            fail("chmod " + rel);
    }

    bool failed() const { return !m_error.empty(); }
    const std::string& error() const { return m_error; }
    int64_t entries = 0;

private:
    std::string m_home;
    double m_scale;
    bool m_holes;
    uint64_t m_state = 0x5eed5eed5eedULL;
    std::string m_data;
    std::unordered_set<std::string> m_dirs;
    std::string m_error;

    void fail(const std::string& what) { m_error = what + ": " + std::strerror(errno); }
};

void gradle(Gen& g) {
    const std::string base = ".gradle/caches/modules-2/files-2.1/";
    for (int grp = 0; grp < g.n(1200); ++grp) {
        const std::string group =
            "org.example" + std::to_string(grp % 97) + ".lib" + std::to_string(grp);
        for (int a = 0; a < 4; ++a) {
            const std::string artifact = "artifact-" + std::to_string(a);
            for (int v = 0; v < 3; ++v) {
                const std::string ver = std::to_string(1 + v) + "." + std::to_string(grp % 13) +
                                        "." + std::to_string(a);
                const std::string d = base + group + "/" + artifact + "/" + ver + "/";
                g.file(d + g.hex(40) + "/" + artifact + "-" + ver + ".jar", g.small_size() * 4);
                g.file(d + g.hex(40) + "/" + artifact + "-" + ver + ".pom", 800 + g.rnd(1500));
            }
        }
    }
    for (int t = 0; t < g.n(3000); ++t) {
        const std::string d = ".gradle/caches/transforms-3/" + g.hex(32) + "/";
        g.file(d + "metadata.bin", 200);
        g.file(d + "transformed/classes.jar", g.small_size());
        // The same output under two names, as the transform cache does.
        g.hard(d + "transformed/classes.jar", d + "transformed/classes-copy.jar");
    }
    for (int b = 0; b < g.n(5000); ++b)
        g.file(".gradle/caches/build-cache-1/" + g.hex(32), g.small_size());
    for (const char* v : {"7.6.3", "8.5", "8.10.2"}) {
        const std::string d =
            std::string(".gradle/wrapper/dists/gradle-") + v + "-bin/" + g.hex(25) + "/gradle-" + v;
        for (int j = 0; j < g.n(250); ++j)
            g.file(d + "/lib/gradle-part-" + std::to_string(j) + ".jar", g.small_size() * 3);
        for (int j = 0; j < g.n(60); ++j)
            g.file(std::string(".gradle/daemon/") + v + "/daemon-" + std::to_string(j) + ".out.log",
                   g.small_size());
    }
}

void npm_cache(Gen& g) {
    for (int f = 0; f < g.n(200000); ++f)
        g.file(".npm/_cacache/content-v2/sha512/" + g.hex(2) + "/" + g.hex(2) + "/" + g.hex(124),
               g.small_size());
    for (int f = 0; f < g.n(80000); ++f)
        g.file(".npm/_cacache/index-v5/" + g.hex(2) + "/" + g.hex(2) + "/" + g.hex(60),
               300 + g.rnd(400));
    for (int f = 0; f < g.n(40); ++f)
        g.file(".npm/_logs/2026-11-" + std::to_string(10 + f % 18) + "T10_00_" + std::to_string(f) +
                   "Z-debug-0.log",
               g.small_size());
}

void pip_and_python(Gen& g) {
    for (int f = 0; f < g.n(40000); ++f)
        g.file(".cache/pip/http-v2/" + g.hex(1) + "/" + g.hex(1) + "/" + g.hex(1) + "/" + g.hex(1) +
                   "/" + g.hex(1) + "/" + g.hex(50) + ".body",
               g.small_size());
    for (int f = 0; f < g.n(2000); ++f)
        g.file(".cache/pip/wheels/" + g.hex(2) + "/" + g.hex(2) + "/pkg" + std::to_string(f) +
                   "-1.0-py3-none-any.whl",
               g.small_size() * 2);
}

void cargo_and_rust(Gen& g) {
    const std::string reg = ".cargo/registry/";
    for (int c = 0; c < g.n(3000); ++c) {
        const std::string crate =
            "crate" + std::to_string(c) + "-0." + std::to_string(c % 30) + ".1";
        g.file(reg + "cache/index.crates.io-6f17d22bba15001f/" + crate + ".crate", g.small_size());
        const std::string src = reg + "src/index.crates.io-6f17d22bba15001f/" + crate + "/";
        g.file(src + "Cargo.toml", 900);
        for (int f = 0; f < 20; ++f)
            g.file(src + "src/module" + std::to_string(f) + ".rs", g.small_size());
    }
    for (int f = 0; f < g.n(10000); ++f)
        g.file(reg + "index/index.crates.io-6f17d22bba15001f/.cache/" + g.hex(2) + "/" + g.hex(2) +
                   "/crate" + std::to_string(f),
               400);
    for (const char* tc : {"1.75.0-x86_64-unknown-linux-gnu", "1.9.0-x86_64-unknown-linux-gnu",
                           "1.10.0-x86_64-unknown-linux-gnu", "stable-x86_64-unknown-linux-gnu"}) {
        const std::string d = std::string(".rustup/toolchains/") + tc + "/";
        for (int f = 0; f < g.n(6000); ++f)
            g.file(d + "lib/rustlib/x86_64-unknown-linux-gnu/lib/part" + std::to_string(f % 40) +
                       "/lib" + std::to_string(f) + ".rlib",
                   g.small_size());
        g.file(d + "bin/rustc", 300000);
    }
    for (int f = 0; f < g.n(20000); ++f)
        g.file("go/pkg/mod/github.com/org" + std::to_string(f % 50) + "/mod" +
                   std::to_string(f % 400) + "@v1." + std::to_string(f % 7) + ".0/file" +
                   std::to_string(f) + ".go",
               g.small_size());
    for (int f = 0; f < g.n(10000); ++f)
        g.file(".cache/go-build/" + g.hex(2) + "/" + g.hex(64) + "-d", g.small_size());
    for (int f = 0; f < g.n(10000); ++f)
        g.file(".cache/ccache/" + g.hex(1) + "/" + g.hex(1) + "/" + g.hex(30) + "R",
               g.small_size());
}

void android(Gen& g) {
    const std::string sdk = "Android/Sdk/";
    for (int api = 28; api <= 34; ++api)
        for (int f = 0; f < g.n(800); ++f)
            g.file(sdk + "platforms/android-" + std::to_string(api) + "/data/res/part" +
                       std::to_string(f % 20) + "/f" + std::to_string(f) + ".xml",
                   g.small_size());
    for (const char* v : {"30.0.3", "30.0.10", "33.0.2", "34.0.0"})
        for (int f = 0; f < g.n(300); ++f)
            g.file(sdk + "build-tools/" + v + "/lib/tool" + std::to_string(f) + ".jar",
                   g.small_size());
    for (const char* v : {"25.2.9519653", "26.1.10909125"})
        for (int f = 0; f < g.n(5000); ++f)
            g.file(sdk + "ndk/" + v + "/toolchains/llvm/prebuilt/sysroot/usr/include/h" +
                       std::to_string(f % 60) + "/f" + std::to_string(f) + ".h",
                   g.small_size());
    for (int f = 0; f < g.n(5000); ++f)
        g.file(sdk + "sources/android-33/android/pkg" + std::to_string(f % 100) + "/F" +
                   std::to_string(f) + ".java",
               g.small_size());
    const std::string img = sdk + "system-images/android-34/google_apis/x86_64/";
    g.sparse(img + "system.img", int64_t(512) << 20);
    g.sparse(img + "vendor.img", int64_t(64) << 20);
    g.file(img + "kernel-ranchu", 200000);
    g.file(sdk + "cmake/3.22.1/bin/cmake", 300000);
    for (int f = 0; f < g.n(200); ++f)
        g.file(sdk + ".temp/download" + std::to_string(f), g.small_size());
    g.file(".android/avd/Pixel_7.ini", 200);
    g.sparse(".android/avd/Pixel_7.avd/userdata-qemu.img", int64_t(2) << 30);
    g.file(".android/avd/Pixel_7.avd/config.ini", 1000);
    for (int f = 0; f < g.n(30); ++f)
        g.file(".android/cache/sdkbin-" + std::to_string(f) + ".xml", g.small_size());
}

void ides_and_misc(Gen& g) {
    for (const char* ide : {"IntelliJIdea2023.3", "IntelliJIdea2024.2", "PyCharm2024.1"}) {
        for (int f = 0; f < g.n(6000); ++f)
            g.file(std::string(".cache/JetBrains/") + ide + "/caches/part" +
                       std::to_string(f % 80) + "/c" + std::to_string(f),
                   g.small_size());
        for (int f = 0; f < g.n(50); ++f)
            g.file(std::string(".local/share/JetBrains/") + ide + "/log/idea" + std::to_string(f) +
                       ".log",
                   g.small_size());
    }
    for (int v = 0; v < 4; ++v) {
        const std::string bundle = ".config/Code/CachedData/" + g.hex(40) + "/chrome/js/f";
        for (int f = 0; f < g.n(500); ++f)
            g.file(bundle + std::to_string(f) + ".code", g.small_size());
    }
    for (int e = 0; e < g.n(60); ++e)
        for (int f = 0; f < 40; ++f)
            g.file(".vscode/extensions/publisher.ext" + std::to_string(e) + "-1." +
                       std::to_string(e % 9) + ".0/out/f" + std::to_string(f) + ".js",
                   g.small_size());
    for (int f = 0; f < g.n(20000); ++f)
        g.file(".cache/yarn/v6/npm-pkg" + std::to_string(f % 2000) + "-1.0." +
                   std::to_string(f % 5) + "-" + g.hex(40) + "/node_modules/pkg/f" +
                   std::to_string(f) + ".js",
               g.small_size());
    for (int f = 0; f < g.n(10000); ++f)
        g.file(".m2/repository/org/example/lib" + std::to_string(f % 300) + "/1." +
                   std::to_string(f % 4) + "/lib-" + std::to_string(f) + ".jar",
               g.small_size());
}

void project(Gen& g, int p) {
    const std::string d = "code/project-" + std::to_string(p) + "/";
    for (int f = 0; f < 30; ++f)
        g.file(d + "src/module" + std::to_string(f) + ".ts", g.small_size());
    // Project files, so that most of the build output is proven; every third
    // project's build/ has only its name to go by.
    g.file(d + "package.json", 800);
    if (p % 3 != 1)
        g.file(d + "build.gradle", 400);
    // A few big source trees: thousands of files in the index to search.
    if (p % 30 == 0)
        for (int f = 0; f < g.per_project(6000); ++f)
            g.file(d + "src/big/pkg" + std::to_string(f / 100) + "/File" + std::to_string(f) +
                       ".java",
                   200 + g.rnd(2000));
    const int packages = g.per_project(60) / (p % 3 == 0 ? 1 : 2) + 1;
    for (int k = 0; k < packages; ++k) {
        const std::string pkg = d + "node_modules/pkg-" + std::to_string(k) + "/";
        g.file(pkg + "package.json", 600);
        g.file(pkg + "index.js", g.small_size());
        for (int f = 0; f < 5; ++f)
            g.file(pkg + "lib/f" + std::to_string(f) + ".js", g.small_size());
        if (k % 7 == 0)
            for (int f = 0; f < 3; ++f)
                g.file(pkg + "node_modules/nested-dep/f" + std::to_string(f) + ".js", 500);
        if (k % 10 == 0)
            g.link("../pkg-" + std::to_string(k) + "/index.js",
                   d + "node_modules/.bin/tool-" + std::to_string(k));
    }
    for (int f = 0; f < g.per_project(100); ++f)
        g.file(d + "build/assets/chunk-" + std::to_string(f) + ".js", g.small_size());
    if (p % 2 == 0) {
        for (int f = 0; f < 10; ++f)
            g.file(d + "app/__pycache__/m" + std::to_string(f) + ".cpython-311.pyc", 1500);
        g.file(d + ".pytest_cache/v/cache/lastfailed", 100);
        for (int k = 0; k < 30; ++k)
            for (int f = 0; f < 15; ++f)
                g.file(d + "venv/lib/python3.11/site-packages/pkg" + std::to_string(k) + "/m" +
                           std::to_string(f) + ".py",
                       g.small_size());
        g.file(d + "venv/bin/python3.11", 1000);
        g.file(d + "venv/pyvenv.cfg", 120);
        g.link("python3.11", d + "venv/bin/python3");
    }
    if (p % 5 == 0) {
        g.file(d + ".gradle/8.5/fileHashes/fileHashes.bin", 20000);
        g.file(d + "target/classes/App.class", 3000);
    }
}

// Every project is a git repository whose sources are committed. Most ignore
// their build output; every eleventh commits its build/ and target/ folders
// (deployment files kept with the code), which the scan must see as tracked.
bool commit_project(const std::string& home, int p) {
    const std::string d = home + "/code/project-" + std::to_string(p);
    const bool tracked_output = p % 11 == 5;
    std::string ignore = "node_modules/\n__pycache__/\n.pytest_cache/\nvenv/\n.gradle/\n";
    if (!tracked_output)
        ignore += "build/\ntarget/\n";
    {
        FILE* f = std::fopen((d + "/.gitignore").c_str(), "w");
        if (!f)
            return false;
        std::fputs(ignore.c_str(), f);
        std::fclose(f);
    }
    // The machine's and the user's git settings stay out of it, so the same
    // scale always gives the same repositories.
    const std::string git = "GIT_CONFIG_NOSYSTEM=1 GIT_CONFIG_GLOBAL=/dev/null git -c "
                            "user.name=Bench -c user.email=bench@example.invalid -c "
                            "init.defaultBranch=main -c commit.gpgsign=false";
    const std::string cmd = "cd '" + d + "' && " + git + " init -q && " + git + " add -A && " +
                            git + " commit -q -m fixture >/dev/null 2>&1";
    return std::system(cmd.c_str()) == 0;
}

void projects(Gen& g) {
    for (int p = 0; p < g.n(150); ++p)
        project(g, p);
    // A pnpm project whose packages are hard links into the shared store.
    for (int f = 0; f < g.n(3000); ++f) {
        const std::string store = ".local/share/pnpm/store/v3/files/" + g.hex(2) + "/" + g.hex(60);
        g.file(store, g.small_size());
        g.hard(store, "code/pnpm-app/node_modules/.pnpm/dep" + std::to_string(f % 300) +
                          "@1.0.0/node_modules/dep/f" + std::to_string(f) + ".js");
    }
    // Links that a careless walk would follow forever or out of the home.
    g.dir("code/project-0/src");
    g.link(".", "code/project-0/src/self-loop");
    g.link("b-link", "code/project-0/a-link");
    g.link("a-link", "code/project-0/b-link");
    g.link("../../Android", "code/project-1/sdk-link");
    g.link("../../.npm", "code/project-1/node_modules/npm-cache-link");
    // Deep below the depth limit of the project search.
    g.file("code/deep/a/b/c/d/e/f/node_modules/too-deep/index.js", 100);
    g.file("code/deep/a/b/c/node_modules/found/index.js", 100);
    // Skipped at the root of the search.
    g.file("Downloads/some-project/node_modules/x/index.js", 100);
    // A folder nobody may read inside build output.
    g.file("code/project-3/build/locked/secret.bin", 5000);
    g.lock("code/project-3/build/locked");
}

} // namespace

namespace fixture_home {

Result build(const std::string& home, double scale, Data data) {
    Gen g(home, scale, data);
    gradle(g);
    npm_cache(g);
    pip_and_python(g);
    cargo_and_rust(g);
    android(g);
    ides_and_misc(g);
    projects(g);
    Result r;
    r.ok = !g.failed();
    r.error = g.error();
    r.entries = g.entries;
    if (r.ok)
        for (int p = 0; p < g.n(150); ++p)
            if (!commit_project(home, p)) {
                r.ok = false;
                r.error = "git could not commit project " + std::to_string(p);
                break;
            }
    return r;
}

void unlock(const std::string& home) {
    chmod((home + "/code/project-3/build/locked").c_str(), 0755);
}

} // namespace fixture_home
