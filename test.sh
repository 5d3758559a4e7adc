#!/usr/bin/env bash
# Installs what is missing, builds Quillet and its tests, and runs every test
# (unit and end-to-end) with ctest. Exits non-zero on any failure.
set -euo pipefail
cd "$(dirname "$0")"

scripts/deps.sh
cmake --preset default
cmake --build --preset default -j"$(nproc)"
ctest --preset default -j"$(nproc)"
