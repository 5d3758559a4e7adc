#!/usr/bin/env bash
# With the theme "auto" the window follows the desktop's colour scheme while
# the program runs; with a fixed theme it does not. A stand-in settings portal
# on a private bus plays the desktop:
#   1. theme "auto", the portal says light: the window opens light (#F2F1F4);
#      the portal switches to dark and signals it: within one second a
#      screenshot shows the dark window colour (#1C1C1E); back to light, the
#      window is light again within one second;
#   2. theme "light": the portal switching to dark changes nothing;
#   3. theme "dark": the portal switching to light changes nothing.
#
# usage: desktop_theme_test.sh PATH_TO_QUILLET SCREENSHOT_DIR
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
if [[ -z "${QUILLET_E2E_INNER:-}" ]]; then
    export QUILLET_E2E_INNER=1
    # A private session bus that starts no service by itself, so the only
    # portal is the stand-in.
    exec dbus-run-session --config-file="$here/../dbus/session.conf" -- bash "$0" "$@"
fi

source "$here/lib.sh"
app=$1
shots=$2
portal_pid=
cleanup() {
    if [[ -n "$portal_pid" ]]; then
        kill "$portal_pid" 2>/dev/null || true
        wait "$portal_pid" 2>/dev/null || true
    fi
    e2e_cleanup
}
trap cleanup EXIT
e2e_make_home
# A screen a little larger than the window keeps each screenshot quick.
e2e_own_display -screen 0 1280x800x24
unset WAYLAND_DISPLAY
export NO_AT_BRIDGE=1

cfg="$XDG_CONFIG_HOME/Quillet"
mkdir -p "$cfg"
chmod 700 "$cfg"
settings() { # theme
    printf '{\n  "language": "auto",\n  "theme": "%s",\n  "projects_root": "",\n  "file_manager_command": ""\n}\n' "$1" >"$cfg/settings.json"
}
# GTK's own settings say light, so only the portal can make the window dark.
mkdir -p "$XDG_CONFIG_HOME/gtk-3.0"
printf '[Settings]\ngtk-theme-name=Adwaita\ngtk-application-prefer-dark-theme=false\n' \
    >"$XDG_CONFIG_HOME/gtk-3.0/settings.ini"

# --- the stand-in portal ---
portal() { # method args...
    gdbus call --session --dest org.freedesktop.portal.Desktop \
        --object-path /org/freedesktop/portal/desktop --method "$@" >/dev/null
}
/usr/bin/python3 -m dbusmock --session --template "$here/../dbus/stand_ins/settings_portal.py" \
    -p '{"color-scheme": 2}' >"$E2E_ROOT/portal.log" 2>&1 &
portal_pid=$!
for i in $(seq 1 100); do
    portal org.freedesktop.portal.Settings.Read org.freedesktop.appearance color-scheme 2>/dev/null && break
    kill -0 "$portal_pid" 2>/dev/null || fail "the stand-in portal ended: $(cat "$E2E_ROOT/portal.log")"
    (( i < 100 )) || fail "the stand-in portal did not answer within 10 seconds"
    sleep 0.1
done

# --- reading the window's colour from screenshots ---
now_ms() { echo $(( $(date +%s%N) / 1000000 )); }

# Whether the screenshot shows the window mostly (over a quarter of its
# pixels) in `colour`, with no pixel at all in `other`, the background of the
# other palette. One pass over the window's colour histogram.
shows() { # png colour other
    /usr/bin/convert "$1" -crop "${W}x${H}+${X}+${Y}" +repage -format %c histogram:info:- |
        awk -v c="$2" -v o="$3" -v total=$((W * H)) '
            { n = $1; sub(":", "", n) }
            $0 ~ " " c " " { mine += n }
            $0 ~ " " o " " { theirs += n }
            END { exit !(mine > total / 4 && theirs == 0) }'
}

LIGHT="#F2F1F4"
DARK="#1C1C1E"

# Takes screenshots until one shows `colour`, for at most `limit` ms after
# `start`; the last one is kept as `png`. Sets ELAPSED to the time from start
# to the moment the showing screenshot was complete.
wait_for_palette() { # png colour other start limit
    local png=$1 colour=$2 other=$3 start=$4 limit=$5
    while true; do
        e2e_shot "$png"
        ELAPSED=$(( $(now_ms) - start ))
        shows "$png" "$colour" "$other" && return 0
        (( ELAPSED <= limit )) || fail "no $colour window within $limit ms (last screenshot after $ELAPSED ms: $png)"
    done
}

start_app() {
    e2e_start "$app"
    e2e_wait_window
    read_geometry
    [[ "$W $H" == "1100 720" ]] || fail "window is ${W}x${H}, expected 1100x720"
}

close_app() {
    e2e_close_and_wait 5
    [[ "$E2E_STATUS" == 0 ]] || fail "the program exited with status $E2E_STATUS"
}

# --- 1. "auto" follows the portal, both ways ---
settings auto
start_app
wait_for_palette "$shots/desktop-theme-auto-light.png" "$LIGHT" "$DARK" "$(now_ms)" 3000

start=$(now_ms)
portal quillet.test.StandIn.SetColorScheme "uint32 1"
wait_for_palette "$shots/desktop-theme-auto-dark.png" "$DARK" "$LIGHT" "$start" 1000
echo "desktop theme: auto switched to dark in $ELAPSED ms"

start=$(now_ms)
portal quillet.test.StandIn.SetColorScheme "uint32 2"
wait_for_palette "$shots/desktop-theme-auto-light-again.png" "$LIGHT" "$DARK" "$start" 1000
echo "desktop theme: auto switched back to light in $ELAPSED ms"
close_app

# --- 2. "light" stays light when the desktop turns dark ---
settings light
start_app
wait_for_palette "$shots/desktop-theme-light.png" "$LIGHT" "$DARK" "$(now_ms)" 3000
portal quillet.test.StandIn.SetColorScheme "uint32 1"
sleep 1.5
e2e_shot "$shots/desktop-theme-light-after.png"
shows "$shots/desktop-theme-light-after.png" "$LIGHT" "$DARK" ||
    fail "with theme light the window changed when the desktop turned dark"
close_app

# --- 3. "dark" stays dark when the desktop turns light ---
settings dark
start_app
wait_for_palette "$shots/desktop-theme-dark.png" "$DARK" "$LIGHT" "$(now_ms)" 3000
portal quillet.test.StandIn.SetColorScheme "uint32 2"
sleep 1.5
e2e_shot "$shots/desktop-theme-dark-after.png"
shows "$shots/desktop-theme-dark-after.png" "$DARK" "$LIGHT" ||
    fail "with theme dark the window changed when the desktop turned light"
close_app
echo "desktop theme: fixed light and dark themes ignored the desktop"
