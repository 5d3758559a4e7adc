#!/usr/bin/env bash
# The real program starts with a private home, shows one window titled
# "Quillet", 1100 by 720 and centred on the screen, and ends with status 0
# when the window is closed.
#
# usage: smoke_test.sh PATH_TO_QUILLET SCREENSHOT_DIR
set -euo pipefail

if [[ -z "${QUILLET_E2E_INNER:-}" ]]; then
    export QUILLET_E2E_INNER=1
    # A private session bus, so nothing talks to (or autolaunches) a desktop's.
    exec dbus-run-session -- bash "$0" "$@"
fi

source "$(dirname "$0")/lib.sh"
app=$1
shots=$2
trap e2e_cleanup EXIT
e2e_make_home
# A server of its own: tests that run side by side never share one.
e2e_own_display -screen 0 1920x1080x24
unset WAYLAND_DISPLAY

e2e_start "$app"
e2e_wait_window

name=$(xdotool getwindowname "$E2E_WIN")
[[ "$name" == "Quillet" ]] || fail "window title is '$name', expected 'Quillet'"

# Let the first frame settle, then read the window's geometry as X sees it.
sleep 0.5
info=$(xwininfo -id "$E2E_WIN")
width=$(awk '/Width:/ {print $2}' <<<"$info")
height=$(awk '/Height:/ {print $2}' <<<"$info")
x=$(awk '/Absolute upper-left X:/ {print $4}' <<<"$info")
y=$(awk '/Absolute upper-left Y:/ {print $4}' <<<"$info")
[[ "$width" == 1100 && "$height" == 720 ]] || fail "window is ${width}x${height}, expected 1100x720"
# Centred on a 1920x1080 screen: (1920-1100)/2 = 410, (1080-720)/2 = 180.
(( x >= 405 && x <= 415 && y >= 175 && y <= 185 )) || fail "window at $x,$y is not centred (expected about 410,180)"

e2e_shot "$shots/smoke.png"

# The canvas shows the light window colour #F2F1F4 in its middle.
pixel=$(/usr/bin/convert "$shots/smoke.png" -crop "1x1+$((x + 550))+$((y + 360))" -format '%[hex:p{0,0}]' info:)
[[ "${pixel:0:6}" == "F2F1F4" ]] || fail "canvas colour is #$pixel, expected #F2F1F4"

e2e_close_and_wait 5
[[ "$E2E_STATUS" == 0 ]] || fail "the program exited with status $E2E_STATUS"
echo "smoke: window 'Quillet' ${width}x${height} at $x,$y, closed with status 0"
