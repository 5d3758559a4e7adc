#!/usr/bin/env bash
# Renders the committed PNG sizes of the application icon from its SVG source.
# Run it after changing data/icons/hicolor/scalable/apps/quillet.svg, and
# commit the PNGs with the change. Needs rsvg-convert (Debian: librsvg2-bin).
set -euo pipefail
cd "$(dirname "$0")/.."
svg=data/icons/hicolor/scalable/apps/quillet.svg
for size in 16 24 32 48 64 128 256 512; do
    dir=data/icons/hicolor/${size}x${size}/apps
    mkdir -p "$dir"
    rsvg-convert -w "$size" -h "$size" "$svg" -o "$dir/quillet.png"
done
