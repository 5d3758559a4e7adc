// The toolchain rows: version managers, package stores of newer languages
// and the model caches, each at the folder its tool really uses on Linux and
// honouring the variable that moves it. Folders that hold the user's own
// files (a Conan profile, a Hex API key, a Stack config.yaml) are never a
// row's folder: rows point at the store inside such a home instead.
//
// Sections: helpers · Python · JavaScript · Java · Rust, Go & others · models.

#include "catalog_linux_rows.h"

#include "i18n.h"
#include "paths.h"

#include <cstdlib>
#include <initializer_list>

namespace catalog_rows {

namespace {

using G = GroupKind;
using L = ListingKind;
using S = SafetyLevel;

void row(Builder& b, const char* id, GroupKind group, const char* title, const char* subtitle,
         Glyph glyph, const std::string& path, ListingKind listing, SafetyLevel safety,
         bool keep_newest = false, const char* holds = "") {
    CategoryDef d = Builder::make(id, group, title, subtitle, glyph, path, listing, safety);
    d.keep_newest = keep_newest;
    d.holds = holds;
    b.tool(std::move(d));
}

// The first candidate that exists as a folder, else the first candidate: a
// tool that moved its default keeps using the old place while it is there.
std::string first_existing(std::initializer_list<std::string> candidates) {
    for (const std::string& c : candidates)
        if (is_directory(c))
            return c;
    return *candidates.begin();
}

// A switch variable that is not a path (GHCUP_USE_XDG_DIRS, STACK_XDG). Like
// the path variables, it describes the sandbox when running in one.
bool flag_set(const char* var, bool empty_counts) {
    if (running_in_snap() || running_in_flatpak())
        return false;
    const char* v = std::getenv(var);
    return v && (empty_counts || v[0] != 0);
}

} // namespace

// ---------------------------------------------------------------------------
// Python
// ---------------------------------------------------------------------------

void python_rows(Builder& b, const Bases& base) {
    row(b, "pyenvVersions", G::Python, tr_noop("pyenv versions"),
        tr_noop("Python builds installed by pyenv (the one in use is kept)"), Glyph::Snake,
        under(tool_dir("PYENV_ROOT", h(base.home, ".pyenv")), "versions"), L::ChildDirectories,
        S::Caution, true);
    row(b, "pipenvVenvs", G::Python, tr_noop("Pipenv environments"),
        tr_noop("One environment per project — pipenv install recreates it"), Glyph::Snake,
        tool_dir("WORKON_HOME", under(base.data, "virtualenvs")), L::ChildDirectories, S::Caution);
    // By default inside Poetry's cache, which the Poetry cache row already
    // takes whole; the overlap rule then leaves this row out.
    row(b, "poetryVenvs", G::Python, tr_noop("Poetry environments"),
        tr_noop("One environment per project — poetry install recreates it"), Glyph::Snake,
        tool_dir("POETRY_VIRTUALENVS_PATH", under(base.cache, "pypoetry/virtualenvs")),
        L::ChildDirectories, S::Caution);
    row(b, "preCommitCache", G::Python, tr_noop("pre-commit cache"),
        tr_noop("Hook repositories and their environments, set up again on the next run"),
        Glyph::Box, tool_dir("PRE_COMMIT_HOME", under(base.cache, "pre-commit")), L::SelfFolder,
        S::Safe);
}

// ---------------------------------------------------------------------------
// JavaScript
// ---------------------------------------------------------------------------

void javascript_rows(Builder& b, const Bases& base) {
    // nvm's installer puts it under XDG_CONFIG_HOME when that is set, else
    // in ~/.nvm; whichever holds Node versions is the one in use.
    const std::string nvm_default = first_existing(
        {h(base.home, ".nvm/versions/node"), under(base.config, "nvm/versions/node")});
    const std::string nvm_var = tool_dir("NVM_DIR", "");
    row(b, "nvmNode", G::JavaScript, tr_noop("nvm Node versions"),
        tr_noop("Node.js versions installed by nvm (the one in use is kept)"), Glyph::Layers,
        nvm_var.empty() ? nvm_default : under(nvm_var, "versions/node"), L::ChildDirectories,
        S::Caution, true);
    // fnm keeps using ~/.fnm when only that exists.
    const std::string fnm = first_existing({under(base.data, "fnm"), h(base.home, ".fnm")});
    row(b, "fnmNode", G::JavaScript, tr_noop("fnm Node versions"),
        tr_noop("Node.js versions installed by fnm (the newest is kept)"), Glyph::Layers,
        under(tool_dir("FNM_DIR", fnm), "node-versions"), L::ChildDirectories, S::Caution, true);
    row(b, "voltaNode", G::JavaScript, tr_noop("Volta Node versions"),
        tr_noop("Node.js versions fetched by Volta (the newest is kept)"), Glyph::Layers,
        under(tool_dir("VOLTA_HOME", h(base.home, ".volta")), "tools/image/node"),
        L::ChildDirectories, S::Caution, true);
    row(b, "denoCache", G::JavaScript, tr_noop("Deno cache"),
        tr_noop("Downloaded modules and compiled code"), Glyph::Box,
        tool_dir("DENO_DIR", under(base.cache, "deno")), L::SelfFolder, S::Safe);
    const std::string bun_install = tool_dir("BUN_INSTALL", h(base.home, ".bun"));
    row(b, "bunCache", G::JavaScript, tr_noop("Bun cache"),
        tr_noop("Packages downloaded by bun install"), Glyph::Box,
        tool_dir("BUN_INSTALL_CACHE_DIR", under(bun_install, "install/cache")), L::SelfFolder,
        S::Safe);
    row(b, "yarnBerryCache", G::JavaScript, tr_noop("Yarn global cache"),
        tr_noop("Packages kept by Yarn 2 and later"), Glyph::Box, h(base.home, ".yarn/berry/cache"),
        L::SelfFolder, S::Safe);
    row(b, "typescriptCache", G::JavaScript, tr_noop("TypeScript type cache"),
        tr_noop("Type declarations fetched by editors"), Glyph::Code,
        under(base.cache, "typescript"), L::SelfFolder, S::Safe);
}

// ---------------------------------------------------------------------------
// Java
// ---------------------------------------------------------------------------

void java_rows(Builder& b, const Bases& base) {
    row(b, "sdkmanCandidates", G::Java, tr_noop("SDKMAN! candidates"),
        tr_noop("JDKs and tools installed by SDKMAN! (those in use are kept)"), Glyph::Layers,
        under(tool_dir("SDKMAN_DIR", h(base.home, ".sdkman")), "candidates"), L::ToolVersions,
        S::Caution, true);
    row(b, "konanData", G::Java, tr_noop("Kotlin/Native toolchains"),
        tr_noop("Compilers and dependencies that Gradle downloads again"), Glyph::Cube,
        tool_dir("KONAN_DATA_DIR", h(base.home, ".konan")), L::ChildDirectories, S::Safe);
}

// ---------------------------------------------------------------------------
// Rust, Go & others
// ---------------------------------------------------------------------------

void other_language_rows(Builder& b, const Bases& base) {
    row(b, "asdfInstalls", G::OtherLangs, tr_noop("asdf installs"),
        tr_noop("Tool versions installed by asdf (those in use are kept)"), Glyph::Layers,
        under(tool_dir("ASDF_DATA_DIR", h(base.home, ".asdf")), "installs"), L::ToolVersions,
        S::Caution, true);
    row(b, "miseInstalls", G::OtherLangs, tr_noop("mise installs"),
        tr_noop("Tool versions installed by mise (those in use are kept)"), Glyph::Layers,
        under(tool_dir("MISE_DATA_DIR", under(base.data, "mise")), "installs"), L::ToolVersions,
        S::Caution, true);
    row(b, "bazelCache", G::OtherLangs, tr_noop("Bazel output"),
        tr_noop("Build outputs and external repositories of every workspace"), Glyph::Cube,
        under(base.cache, "bazel"), L::SelfFolder, S::Safe);
    row(b, "bazeliskCache", G::OtherLangs, tr_noop("Bazelisk downloads"),
        tr_noop("Bazel releases fetched by Bazelisk"), Glyph::Box,
        tool_dir("BAZELISK_HOME", under(base.cache, "bazelisk")), L::SelfFolder, S::Safe);
    row(b, "pubCache", G::OtherLangs, tr_noop("Dart & Flutter pub cache"),
        tr_noop("Downloaded packages and globally activated tools"), Glyph::Box,
        tool_dir("PUB_CACHE", h(base.home, ".pub-cache")), L::SelfFolder, S::Caution);

    std::string ghcup = under(tool_dir("GHCUP_INSTALL_BASE_PREFIX", base.home), ".ghcup");
    if (flag_set("GHCUP_USE_XDG_DIRS", true))
        ghcup = under(base.data, "ghcup");
    row(b, "ghcupGhc", G::OtherLangs, tr_noop("GHCup compilers"),
        tr_noop("GHC versions installed by GHCup (the newest is kept)"), Glyph::Layers,
        under(ghcup, "ghc"), L::ChildDirectories, S::Caution, true);

    // The Stack root also holds the user's config.yaml and global project:
    // only the compilers and the built snapshots are offered.
    std::string stack = h(base.home, ".stack");
    if (flag_set("STACK_XDG", false))
        stack = under(base.data, "stack");
    stack = tool_dir("STACK_ROOT", stack);
    row(b, "stackPrograms", G::OtherLangs, tr_noop("Stack compilers"),
        tr_noop("GHC versions installed by Stack (the newest of each is kept)"), Glyph::Layers,
        under(stack, "programs"), L::ToolVersions, S::Caution, true);
    row(b, "stackSnapshots", G::OtherLangs, tr_noop("Stack snapshots"),
        tr_noop("Packages built for each snapshot, built again when needed"), Glyph::Cube,
        under(stack, "snapshots"), L::ChildDirectories, S::Caution);

    // cabal-install keeps ~/.cabal while it exists and otherwise splits its
    // files between the XDG cache and state folders; CABAL_DIR puts all back
    // in one place.
    std::string cabal_packages = under(base.cache, "cabal/packages");
    std::string cabal_store = under(base.state, "cabal/store");
    const std::string cabal_dir = tool_dir("CABAL_DIR", "");
    const std::string legacy_cabal = h(base.home, ".cabal");
    const std::string one_dir = !cabal_dir.empty()           ? cabal_dir
                                : is_directory(legacy_cabal) ? legacy_cabal
                                                             : std::string();
    if (!one_dir.empty()) {
        cabal_packages = under(one_dir, "packages");
        cabal_store = under(one_dir, "store");
    }
    row(b, "cabalPackages", G::OtherLangs, tr_noop("Cabal downloads"),
        tr_noop("Package archives and the Hackage index"), Glyph::Box, cabal_packages,
        L::SelfFolder, S::Safe);
    row(b, "cabalStore", G::OtherLangs, tr_noop("Cabal store"),
        tr_noop("Built packages per GHC version (the newest is kept)"), Glyph::Cube, cabal_store,
        L::ChildDirectories, S::Caution, true);

    // Switches live beside the opam root's own configuration and repository
    // mirror; a switch is the folder that holds ".opam-switch".
    row(b, "opamSwitches", G::OtherLangs, tr_noop("opam switches"),
        tr_noop("OCaml compilers and packages, one folder per switch"), Glyph::Layers,
        tool_dir("OPAMROOT", h(base.home, ".opam")), L::ChildDirectories, S::Caution, false,
        ".opam-switch");

    const std::string depot = tool_dir("JULIA_DEPOT_PATH", h(base.home, ".julia"), ':');
    row(b, "juliaPackages", G::OtherLangs, tr_noop("Julia packages"),
        tr_noop("Package sources — Pkg.instantiate restores them"), Glyph::Box,
        under(depot, "packages"), L::ChildDirectories, S::Caution);
    row(b, "juliaArtifacts", G::OtherLangs, tr_noop("Julia artifacts"),
        tr_noop("Binaries and data downloaded for packages"), Glyph::Box, under(depot, "artifacts"),
        L::ChildDirectories, S::Caution);

    row(b, "zigCache", G::OtherLangs, tr_noop("Zig cache"), tr_noop("Zig's global build cache"),
        Glyph::Cube, tool_dir("ZIG_GLOBAL_CACHE_DIR", under(base.cache, "zig")), L::SelfFolder,
        S::Safe);
    // The Hex home also holds hex.config with the user's API key.
    row(b, "hexPackages", G::OtherLangs, tr_noop("Hex packages"),
        tr_noop("Downloaded Elixir and Erlang packages"), Glyph::Box,
        under(tool_dir("HEX_HOME", h(base.home, ".hex")), "packages"), L::SelfFolder, S::Safe);
    // Only folders are offered: a config.exs beside them is the user's.
    const std::string mix = first_existing({h(base.home, ".mix"), under(base.data, "mix")});
    row(b, "mixHome", G::OtherLangs, tr_noop("Mix archives and tools"),
        tr_noop("Archives, escripts and Rebar builds installed by Mix"), Glyph::Wrench,
        tool_dir("MIX_HOME", mix), L::ChildDirectories, S::Caution);

    row(b, "terraformPlugins", G::OtherLangs, tr_noop("Terraform plugin cache"),
        tr_noop("Providers shared by all configurations"), Glyph::Box,
        tool_dir("TF_PLUGIN_CACHE_DIR", h(base.home, ".terraform.d/plugin-cache")), L::SelfFolder,
        S::Safe);
    row(b, "vcpkgArchives", G::OtherLangs, tr_noop("vcpkg binary cache"),
        tr_noop("Built packages kept for reuse"), Glyph::Cube,
        tool_dir("VCPKG_DEFAULT_BINARY_CACHE", under(base.cache, "vcpkg/archives")), L::SelfFolder,
        S::Safe);
    // The Conan homes hold profiles and remotes too: only the package
    // storage is offered.
    row(b, "conanPackages", G::OtherLangs, tr_noop("Conan packages"),
        tr_noop("Conan 2 package cache, downloaded or built again"), Glyph::Box,
        under(tool_dir("CONAN_HOME", h(base.home, ".conan2")), "p"), L::SelfFolder, S::Caution);
    row(b, "conanLegacyPackages", G::OtherLangs, tr_noop("Conan 1 packages"),
        tr_noop("Package cache of Conan 1"), Glyph::Box,
        under(tool_dir("CONAN_USER_HOME", base.home), ".conan/data"), L::ChildDirectories,
        S::Caution);
}

// ---------------------------------------------------------------------------
// AI models & data
// ---------------------------------------------------------------------------

void model_rows(Builder& b, const Bases& base) {
    const std::string hf_home = tool_dir("HF_HOME", under(base.cache, "huggingface"));
    row(b, "huggingfaceHub", G::Models, tr_noop("Hugging Face models"),
        tr_noop("Models and datasets downloaded from the Hub"), Glyph::Chip,
        tool_dir("HF_HUB_CACHE", under(hf_home, "hub")), L::ChildDirectories, S::Caution);
    row(b, "torchHub", G::Models, tr_noop("PyTorch Hub"),
        tr_noop("Downloaded models and their code"), Glyph::Chip,
        under(tool_dir("TORCH_HOME", under(base.cache, "torch")), "hub"), L::ChildDirectories,
        S::Caution);
    row(b, "ollamaModels", G::Models, tr_noop("Ollama models"), tr_noop("Models pulled by Ollama"),
        Glyph::Chip, tool_dir("OLLAMA_MODELS", h(base.home, ".ollama/models")), L::SelfFolder,
        S::Caution);
}

} // namespace catalog_rows

namespace catalog {

const std::vector<const char*>& tool_variables() {
    static const std::vector<const char*> names = {
        "XDG_STATE_HOME", "PYENV_ROOT", "WORKON_HOME", "POETRY_VIRTUALENVS_PATH",
        "PRE_COMMIT_HOME", "NVM_DIR", "FNM_DIR", "VOLTA_HOME", "DENO_DIR", "BUN_INSTALL",
        "BUN_INSTALL_CACHE_DIR", "SDKMAN_DIR", "KONAN_DATA_DIR", "ASDF_DATA_DIR",
        "ASDF_DEFAULT_TOOL_VERSIONS_FILENAME", "MISE_DATA_DIR", "MISE_CONFIG_DIR",
        "MISE_GLOBAL_CONFIG_FILE", "BAZELISK_HOME", "PUB_CACHE", "GHCUP_INSTALL_BASE_PREFIX",
        "GHCUP_USE_XDG_DIRS", "STACK_ROOT", "STACK_XDG", "CABAL_DIR", "OPAMROOT",
        "JULIA_DEPOT_PATH", "ZIG_GLOBAL_CACHE_DIR", "HEX_HOME", "MIX_HOME", "TF_PLUGIN_CACHE_DIR",
        "VCPKG_DEFAULT_BINARY_CACHE", "CONAN_HOME", "CONAN_USER_HOME", "HF_HOME", "HF_HUB_CACHE",
        "TORCH_HOME", "OLLAMA_MODELS"};
    return names;
}

} // namespace catalog
