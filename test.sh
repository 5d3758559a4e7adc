#!/usr/bin/env bash
# Installs what is missing, builds Quillet and its tests, and runs every test
# (unit and end-to-end) with ctest. Exits non-zero on any failure.
set -euo pipefail
cd "$(dirname "$0")"

scripts/deps.sh
cmake --preset default
cmake --build --preset default -j"$(nproc)"
ctest --preset default -j"$(nproc)"

# A short fuzzing run of the parsers the deletion guard relies on; libFuzzer
# exits non-zero when it finds a crash, which fails this script. The corpus
# grows under build/fuzz between runs; bench/README.md says how to run longer.
cmake --preset fuzz
cmake --build --preset fuzz -j"$(nproc)"
for target in fuzz_mountinfo fuzz_guard; do
    corpus=build/fuzz/corpus/$target
    mkdir -p "$corpus" build/fuzz/artifacts
    "build/fuzz/tests/fuzz/$target" -max_total_time="${QUILLET_FUZZ_SECONDS:-25}" \
        -print_final_stats=1 -artifact_prefix=build/fuzz/artifacts/ \
        "$corpus" "tests/fuzz/seeds/${target#fuzz_}"
done
