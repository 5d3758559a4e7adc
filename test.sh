#!/usr/bin/env bash
# Installs what is missing, builds Quillet and its tests, and runs every test
# (unit and end-to-end) with ctest. Exits non-zero on any failure.
set -euo pipefail
cd "$(dirname "$0")"

scripts/deps.sh
cmake --preset default
cmake --build --preset default -j"$(nproc)"
ctest --preset default -j"$(nproc)"

# A short fuzzing run of every reader of outside text; libFuzzer exits
# non-zero when it finds a crash or a broken check, which fails this script.
# Each seed folder tests/fuzz/seeds/<name> belongs to the program fuzz_<name>.
# The corpus grows under build/fuzz between runs; bench/README.md says how to
# run longer. The mount table and the deletion guard get 25 s each, as they
# always had; the other twelve 10 s, which keeps the whole under three
# minutes. QUILLET_FUZZ_SECONDS, when set, is the time of every program.
cmake --preset fuzz
cmake --build --preset fuzz -j"$(nproc)"
mkdir -p build/fuzz/artifacts
for seeds in tests/fuzz/seeds/*/; do
    name=$(basename "$seeds")
    target=fuzz_$name
    case $target in
    fuzz_mountinfo | fuzz_guard) seconds=25 ;;
    *) seconds=10 ;;
    esac
    corpus=build/fuzz/corpus/$target
    mkdir -p "$corpus"
    "build/fuzz/tests/fuzz/$target" -max_total_time="${QUILLET_FUZZ_SECONDS:-$seconds}" \
        -print_final_stats=1 -artifact_prefix=build/fuzz/artifacts/ \
        "$corpus" "$seeds"
done
