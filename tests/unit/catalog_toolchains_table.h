// The toolchain rows as the tests expect them: where each lives by default,
// which variable moves it, and its fields. Shared by the toolchain tests and
// the Snap recipe test, which must grant every one of these folders.
#pragma once

#include "catalog.h"

#include <string>
#include <vector>

namespace toolchain_table {

struct ToolRow {
    const char* id;
    GroupKind group;
    ListingKind listing;
    SafetyLevel safety;
    bool keep;
    const char* title;
    const char* subtitle;
    Glyph glyph;
    const char* base; // "~", "CACHE", "DATA", "CONFIG" or "STATE", all inside the home
    const char* rel;  // the default folder below that base
    const char* var;  // the variable that moves it; nullptr when none does
    const char* tail; // appended to the variable's value ("" when it names the folder)
    // The default lies inside another row's folder, so the row only shows
    // when its variable moves it out.
    bool default_inside_other = false;
};

using G = GroupKind;
using L = ListingKind;
using S = SafetyLevel;
using Gl = Glyph;

inline const std::vector<ToolRow>& rows() {
    static const std::vector<ToolRow> table = {
        {"pyenvVersions", G::Python, L::ChildDirectories, S::Caution, true, "pyenv versions",
         "Python builds installed by pyenv (the one in use is kept)", Gl::Snake, "~", ".pyenv/versions",
         "PYENV_ROOT", "/versions"},
        {"pipenvVenvs", G::Python, L::ChildDirectories, S::Caution, false, "Pipenv environments",
         "One environment per project — pipenv install recreates it", Gl::Snake, "DATA",
         "virtualenvs", "WORKON_HOME", ""},
        {"poetryVenvs", G::Python, L::ChildDirectories, S::Caution, false, "Poetry environments",
         "One environment per project — poetry install recreates it", Gl::Snake, "CACHE",
         "pypoetry/virtualenvs", "POETRY_VIRTUALENVS_PATH", "", true},
        {"preCommitCache", G::Python, L::SelfFolder, S::Safe, false, "pre-commit cache",
         "Hook repositories and their environments, set up again on the next run", Gl::Box, "CACHE",
         "pre-commit", "PRE_COMMIT_HOME", ""},
        {"nvmNode", G::JavaScript, L::ChildDirectories, S::Caution, true, "nvm Node versions",
         "Node.js versions installed by nvm (the one in use is kept)", Gl::Layers, "~",
         ".nvm/versions/node", "NVM_DIR", "/versions/node"},
        {"fnmNode", G::JavaScript, L::ChildDirectories, S::Caution, true, "fnm Node versions",
         "Node.js versions installed by fnm (the newest is kept)", Gl::Layers, "DATA",
         "fnm/node-versions", "FNM_DIR", "/node-versions"},
        {"voltaNode", G::JavaScript, L::ChildDirectories, S::Caution, true, "Volta Node versions",
         "Node.js versions fetched by Volta (the newest is kept)", Gl::Layers, "~",
         ".volta/tools/image/node", "VOLTA_HOME", "/tools/image/node"},
        {"denoCache", G::JavaScript, L::SelfFolder, S::Safe, false, "Deno cache",
         "Downloaded modules and compiled code", Gl::Box, "CACHE", "deno", "DENO_DIR", ""},
        {"bunCache", G::JavaScript, L::SelfFolder, S::Safe, false, "Bun cache",
         "Packages downloaded by bun install", Gl::Box, "~", ".bun/install/cache",
         "BUN_INSTALL_CACHE_DIR", ""},
        {"yarnBerryCache", G::JavaScript, L::SelfFolder, S::Safe, false, "Yarn global cache",
         "Packages kept by Yarn 2 and later", Gl::Box, "~", ".yarn/berry/cache", nullptr, ""},
        {"typescriptCache", G::JavaScript, L::SelfFolder, S::Safe, false, "TypeScript type cache",
         "Type declarations fetched by editors", Gl::Code, "CACHE", "typescript", "XDG_CACHE_HOME",
         "/typescript"},
        {"sdkmanCandidates", G::Java, L::ToolVersions, S::Caution, true, "SDKMAN! candidates",
         "JDKs and tools installed by SDKMAN! (those in use are kept)", Gl::Layers, "~",
         ".sdkman/candidates", "SDKMAN_DIR", "/candidates"},
        {"konanData", G::Java, L::ChildDirectories, S::Safe, false, "Kotlin/Native toolchains",
         "Compilers and dependencies that Gradle downloads again", Gl::Cube, "~", ".konan",
         "KONAN_DATA_DIR", ""},
        {"asdfInstalls", G::OtherLangs, L::ToolVersions, S::Caution, true, "asdf installs",
         "Tool versions installed by asdf (those in use are kept)", Gl::Layers, "~",
         ".asdf/installs", "ASDF_DATA_DIR", "/installs"},
        {"miseInstalls", G::OtherLangs, L::ToolVersions, S::Caution, true, "mise installs",
         "Tool versions installed by mise (those in use are kept)", Gl::Layers, "DATA",
         "mise/installs", "MISE_DATA_DIR", "/installs"},
        {"bazelCache", G::OtherLangs, L::SelfFolder, S::Safe, false, "Bazel output",
         "Build outputs and external repositories of every workspace", Gl::Cube, "CACHE", "bazel",
         "XDG_CACHE_HOME", "/bazel"},
        {"bazeliskCache", G::OtherLangs, L::SelfFolder, S::Safe, false, "Bazelisk downloads",
         "Bazel releases fetched by Bazelisk", Gl::Box, "CACHE", "bazelisk", "BAZELISK_HOME", ""},
        {"pubCache", G::OtherLangs, L::SelfFolder, S::Caution, false, "Dart & Flutter pub cache",
         "Downloaded packages and globally activated tools", Gl::Box, "~", ".pub-cache",
         "PUB_CACHE", ""},
        {"ghcupGhc", G::OtherLangs, L::ChildDirectories, S::Caution, true, "GHCup compilers",
         "GHC versions installed by GHCup (the newest is kept)", Gl::Layers, "~", ".ghcup/ghc",
         "GHCUP_INSTALL_BASE_PREFIX", "/.ghcup/ghc"},
        {"stackPrograms", G::OtherLangs, L::ToolVersions, S::Caution, true, "Stack compilers",
         "GHC versions installed by Stack (the newest of each is kept)", Gl::Layers, "~",
         ".stack/programs", "STACK_ROOT", "/programs"},
        {"stackSnapshots", G::OtherLangs, L::ChildDirectories, S::Caution, false, "Stack snapshots",
         "Packages built for each snapshot, built again when needed", Gl::Cube, "~",
         ".stack/snapshots", "STACK_ROOT", "/snapshots"},
        {"cabalPackages", G::OtherLangs, L::SelfFolder, S::Safe, false, "Cabal downloads",
         "Package archives and the Hackage index", Gl::Box, "CACHE", "cabal/packages", "CABAL_DIR",
         "/packages"},
        {"cabalStore", G::OtherLangs, L::ChildDirectories, S::Caution, true, "Cabal store",
         "Built packages per GHC version (the newest is kept)", Gl::Cube, "STATE", "cabal/store",
         "CABAL_DIR", "/store"},
        {"opamSwitches", G::OtherLangs, L::ChildDirectories, S::Caution, false, "opam switches",
         "OCaml compilers and packages, one folder per switch", Gl::Layers, "~", ".opam",
         "OPAMROOT", ""},
        {"juliaPackages", G::OtherLangs, L::ChildDirectories, S::Caution, false, "Julia packages",
         "Package sources — Pkg.instantiate restores them", Gl::Box, "~", ".julia/packages",
         "JULIA_DEPOT_PATH", "/packages"},
        {"juliaArtifacts", G::OtherLangs, L::ChildDirectories, S::Caution, false, "Julia artifacts",
         "Binaries and data downloaded for packages", Gl::Box, "~", ".julia/artifacts",
         "JULIA_DEPOT_PATH", "/artifacts"},
        {"zigCache", G::OtherLangs, L::SelfFolder, S::Safe, false, "Zig cache",
         "Zig's global build cache", Gl::Cube, "CACHE", "zig", "ZIG_GLOBAL_CACHE_DIR", ""},
        {"hexPackages", G::OtherLangs, L::SelfFolder, S::Safe, false, "Hex packages",
         "Downloaded Elixir and Erlang packages", Gl::Box, "~", ".hex/packages", "HEX_HOME",
         "/packages"},
        {"mixHome", G::OtherLangs, L::ChildDirectories, S::Caution, false, "Mix archives and tools",
         "Archives, escripts and Rebar builds installed by Mix", Gl::Wrench, "~", ".mix",
         "MIX_HOME", ""},
        {"terraformPlugins", G::OtherLangs, L::SelfFolder, S::Safe, false, "Terraform plugin cache",
         "Providers shared by all configurations", Gl::Box, "~", ".terraform.d/plugin-cache",
         "TF_PLUGIN_CACHE_DIR", ""},
        {"vcpkgArchives", G::OtherLangs, L::SelfFolder, S::Safe, false, "vcpkg binary cache",
         "Built packages kept for reuse", Gl::Cube, "CACHE", "vcpkg/archives",
         "VCPKG_DEFAULT_BINARY_CACHE", ""},
        {"conanPackages", G::OtherLangs, L::SelfFolder, S::Caution, false, "Conan packages",
         "Conan 2 package cache, downloaded or built again", Gl::Box, "~", ".conan2/p",
         "CONAN_HOME", "/p"},
        {"conanLegacyPackages", G::OtherLangs, L::ChildDirectories, S::Caution, false,
         "Conan 1 packages", "Package cache of Conan 1", Gl::Box, "~", ".conan/data",
         "CONAN_USER_HOME", "/.conan/data"},
        {"huggingfaceHub", G::Models, L::ChildDirectories, S::Caution, false, "Hugging Face models",
         "Models and datasets downloaded from the Hub", Gl::Chip, "CACHE", "huggingface/hub",
         "HF_HUB_CACHE", ""},
        {"torchHub", G::Models, L::ChildDirectories, S::Caution, false, "PyTorch Hub",
         "Downloaded models and their code", Gl::Chip, "CACHE", "torch/hub", "TORCH_HOME", "/hub"},
        {"ollamaModels", G::Models, L::SelfFolder, S::Caution, false, "Ollama models",
         "Models pulled by Ollama", Gl::Chip, "~", ".ollama/models", "OLLAMA_MODELS", ""},
    };
    return table;
}

// Other places below the home where a row looks when the tool keeps an
// older or alternative layout there (relative to the home).
inline const std::vector<std::string>& alternatives() {
    static const std::vector<std::string> paths = {".config/nvm/versions/node",
                                                   ".fnm/node-versions", ".cabal/packages",
                                                   ".cabal/store", ".local/share/mix"};
    return paths;
}

// The default folder of a row below the given home.
inline std::string default_path(const ToolRow& r, const std::string& home) {
    const std::string base = std::string(r.base);
    const std::string dir = base == "~"        ? home
                            : base == "CACHE"  ? home + "/.cache"
                            : base == "DATA"   ? home + "/.local/share"
                            : base == "CONFIG" ? home + "/.config"
                                               : home + "/.local/state";
    return dir + "/" + r.rel;
}

} // namespace toolchain_table
