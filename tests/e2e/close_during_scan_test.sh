#!/usr/bin/env bash
# With a home full of leftovers the first scan is still running when the
# window is closed: the program waits for its scan to stop, saves its window
# geometry and ends with status 0, promptly.
#
# usage: close_during_scan_test.sh PATH_TO_QUILLET PATH_TO_MAKE_FIXTURE_HOME
set -euo pipefail

if [[ -z "${QUILLET_E2E_INNER:-}" ]]; then
    export QUILLET_E2E_INNER=1
    exec dbus-run-session -- bash "$0" "$@"
fi

source "$(dirname "$0")/lib.sh"
app=$1
make_home=$2
trap 'chmod -R u+rwx "$HOME/code/project-3/build" 2>/dev/null || true; e2e_cleanup' EXIT
e2e_make_home
# A server of its own: tests that run side by side never share one.
e2e_own_display -screen 0 1920x1080x24
unset WAYLAND_DISPLAY

entries=$("$make_home" "$HOME" 0.1)
(( entries > 100000 )) || fail "the fixture home has only $entries entries"

e2e_start "$app"
e2e_wait_window
# The scan's threads run at nice 10, the interface's at 0: at least one such
# thread alive means the scan is still going when the close request comes.
threads=0
for stat in /proc/"$E2E_PID"/task/*/stat; do
    nice=$(awk '{ sub(/.*\) /, ""); print $17 }' "$stat" 2>/dev/null || echo 0)
    [[ "$nice" == 10 ]] && threads=$((threads + 1))
done
(( threads > 0 )) || fail "no scan thread is running when the window is closed"

# A key press first: on a bare X server an idle window now and then misses a
# close request until some input arrives.
xdotool key --window "$E2E_WIN" Escape 2>/dev/null || true
start=$(date +%s%N)
e2e_close_and_wait 20
took=$(( ($(date +%s%N) - start) / 1000000 ))
[[ "$E2E_STATUS" == 0 ]] || fail "the program exited with status $E2E_STATUS"
[[ -s "$XDG_CONFIG_HOME/Quillet/geometry.json" ]] || fail "no geometry was saved"
(( took < 15000 )) || fail "closing took $took ms"
echo "close during scan: $entries entries, $threads scan threads running, closed in $took ms with status 0"
