#!/usr/bin/env bash
# Installs what is missing, builds Quillet, and starts it.
set -euo pipefail
cd "$(dirname "$0")"

if [[ -z "${DISPLAY:-}" && -z "${WAYLAND_DISPLAY:-}" ]]; then
    echo "Quillet needs a graphical desktop session, but neither DISPLAY nor WAYLAND_DISPLAY is set." >&2
    exit 1
fi

scripts/deps.sh
cmake --preset default >/dev/null
cmake --build --preset default -j"$(nproc)" --target quillet
exec build/default/quillet
