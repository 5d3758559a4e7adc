#!/usr/bin/env bash
# Installed the way a user installs it (`cmake --install` into a prefix, here
# a temporary one), the program starts from the command its desktop entry
# names, finds its icon in the installed theme, shows its window, and ends
# with status 0 when the window is closed.
#
# usage: installed_test.sh BUILD_DIR SCREENSHOT_DIR
set -euo pipefail

if [[ -z "${QUILLET_E2E_INNER:-}" ]]; then
    export QUILLET_E2E_INNER=1
    # A private session bus, so nothing talks to (or autolaunches) a desktop's.
    exec dbus-run-session -- bash "$0" "$@"
fi

source "$(dirname "$0")/lib.sh"
build=$1
shots=$2
trap e2e_cleanup EXIT
e2e_make_home
prefix="$E2E_ROOT/prefix"
cmake --install "$build" --prefix "$prefix" >"$E2E_ROOT/install.log" ||
    fail "cmake --install failed: $(cat "$E2E_ROOT/install.log")"

desktop="$prefix/share/applications/quillet.desktop"
[[ -f "$desktop" ]] || fail "no desktop entry at $desktop"

# The command as a launcher reads it: the Exec line, split into words the
# way the desktop entry format quotes them. The entry takes no arguments and
# no field codes, so it must be one word.
exec_line=$(sed -n 's/^Exec=//p' "$desktop")
[[ -n "$exec_line" ]] || fail "the desktop entry has no Exec line"
mapfile -t words < <(/usr/bin/python3 -c 'import shlex, sys; print("\n".join(shlex.split(sys.argv[1])))' "$exec_line")
(( ${#words[@]} == 1 )) || fail "Exec line '$exec_line' is not a single command"
command=${words[0]}
[[ "$command" == "$prefix/bin/quillet" ]] ||
    fail "Exec names '$command', not the installed program $prefix/bin/quillet"
[[ -x "$command" ]] || fail "$command is not executable"

# The installed share folder is where the desktop looks for icons, as
# /usr/share is for a system-wide install.
export XDG_DATA_DIRS="$prefix/share:/usr/share"
e2e_own_display -screen 0 1920x1080x24
unset WAYLAND_DISPLAY
# No accessibility bus: the private session bus would start its service with
# the environment the bus began with, which holds the real home.
export NO_AT_BRIDGE=1

e2e_start "$command"
e2e_wait_window
name=$(xdotool getwindowname "$E2E_WIN")
[[ "$name" == "Quillet" ]] || fail "window title is '$name', expected 'Quillet'"

# The window asks the icon theme for "quillet"; found in the installed theme,
# the toolkit hands its pixels to the window manager.
sleep 0.5
props=$(xprop -id "$E2E_WIN" WM_CLASS _NET_WM_ICON)
grep -q '^_NET_WM_ICON(CARDINAL)' <<<"$props" ||
    fail "the window has no icon: $(head -c 300 <<<"$props")"
# The class a desktop matches against the entry's StartupWMClass.
class=$(sed -n 's/^WM_CLASS(STRING) = //p' <<<"$props")
wm_class=$(sed -n 's/^StartupWMClass=//p' "$desktop")
grep -qF "\"$wm_class\"" <<<"$class" ||
    fail "StartupWMClass=$wm_class matches neither part of WM_CLASS $class"

e2e_shot "$shots/installed.png"
e2e_close_and_wait 5
[[ "$E2E_STATUS" == 0 ]] || fail "the installed program exited with status $E2E_STATUS"
echo "installed: $command started from its desktop entry, icon set, WM_CLASS $class, closed with status 0"
