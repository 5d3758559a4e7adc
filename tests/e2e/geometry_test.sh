#!/usr/bin/env bash
# The window opens where and as big as it was left, in the stored theme, and
# closing it stores where and how big it is now:
#   1. a stored 1200x800 at 100,50 with theme "dark" opens exactly there, dark;
#      moved and resized to 1300x850 at 200,120 and closed, the file holds that;
#   2. a stored position on no monitor opens centred;
#   3. a window stored maximized keeps its un-maximized size and place in the
#      file when it is closed while still maximized.
#
# usage: geometry_test.sh PATH_TO_QUILLET SCREENSHOT_DIR
set -euo pipefail

if [[ -z "${QUILLET_E2E_INNER:-}" ]]; then
    export QUILLET_E2E_INNER=1
    # A private session bus, so nothing talks to (or autolaunches) a desktop's.
    # The program is started three times; -noreset keeps the X server from
    # resetting when one run's connection closes, which a next run starting
    # at that moment would find refusing connections.
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

cfg="$XDG_CONFIG_HOME/Quillet"
mkdir -p "$cfg"
chmod 700 "$cfg"

# The geometry file exactly as the program writes it.
geometry() { # width height x y maximized
    printf '{\n  "width": %s,\n  "height": %s,\n  "x": %s,\n  "y": %s,\n  "maximized": %s\n}\n' "$@"
}

settings() { # theme
    printf '{\n  "language": "auto",\n  "theme": "%s",\n  "projects_root": "",\n  "file_manager_command": ""\n}\n' "$1"
}

# Waits up to two seconds for the window to reach the given geometry.
wait_for_geometry() { # width height x y
    local i
    for i in $(seq 1 20); do
        read_geometry
        [[ "$W $H $X $Y" == "$1 $2 $3 $4" ]] && return 0
        sleep 0.1
    done
    fail "window is ${W}x${H} at $X,$Y, expected ${1}x${2} at $3,$4"
}

# Compares geometry.json byte for byte with the layout of the given values.
expect_file() { # width height x y maximized
    geometry "$@" >"$E2E_ROOT/expected.json"
    cmp -s "$E2E_ROOT/expected.json" "$cfg/geometry.json" || fail "geometry.json holds:
$(cat "$cfg/geometry.json")
expected:
$(cat "$E2E_ROOT/expected.json")"
    [[ ! -e "$cfg/geometry.json.tmp" ]] || fail "a temporary geometry file was left behind"
}

run_and_close() {
    e2e_close_and_wait 5
    [[ "$E2E_STATUS" == 0 ]] || fail "the program exited with status $E2E_STATUS"
}

# --- 1. stored size, place and dark theme; then moved, resized and closed ---
settings dark >"$cfg/settings.json"
geometry 1200 800 100 50 false >"$cfg/geometry.json"
e2e_start "$app"
e2e_wait_window
wait_for_geometry 1200 800 100 50

sleep 0.5
e2e_shot "$shots/geometry-dark.png"
# The canvas shows the dark window colour #1C1C1E in its middle.
pixel=$(/usr/bin/convert "$shots/geometry-dark.png" -crop "1x1+$((X + 600))+$((Y + 400))" -format '%[hex:p{0,0}]' info:)
[[ "${pixel:0:6}" == "1C1C1E" ]] || fail "canvas colour is #$pixel, expected #1C1C1E"

xdotool windowsize "$E2E_WIN" 1300 850
xdotool windowmove "$E2E_WIN" 200 120
wait_for_geometry 1300 850 200 120
sleep 0.3
e2e_shot "$shots/geometry-moved.png"
run_and_close
expect_file 1300 850 200 120 false
# The settings file is only read at start-up, never rewritten by it.
settings dark | cmp -s - "$cfg/settings.json" || fail "settings.json changed: $(cat "$cfg/settings.json")"
echo "geometry: opened 1200x800 at 100,50 in dark, closed as 1300x850 at 200,120"

# --- 2. a stored place that lies on no monitor: centred instead ---
geometry 1200 800 5000 50 false >"$cfg/geometry.json"
e2e_start "$app"
e2e_wait_window
# Centred on a 1920x1080 screen: (1920-1200)/2 = 360, (1080-800)/2 = 140.
wait_for_geometry 1200 800 360 140
run_and_close
expect_file 1200 800 360 140 false
echo "geometry: a place on no monitor opened centred at 360,140"

# --- 3. stored maximized: the un-maximized size and place survive a close ---
# Without a window manager nothing actually maximizes the window, but the
# toolkit reports the state the program asked for, which is what is stored.
geometry 1250 780 100 50 true >"$cfg/geometry.json"
e2e_start "$app"
e2e_wait_window
sleep 0.5
read_geometry
[[ "$W $H" == "1250 780" ]] || fail "window is ${W}x${H}, expected its stored size 1250x780"
run_and_close
expect_file 1250 780 100 50 true
echo "geometry: a maximized window kept 1250x780 at 100,50 for un-maximizing"
