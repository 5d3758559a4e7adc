# Shared helpers for the end-to-end tests. Each test sources this file, runs
# inside `dbus-run-session` on an X server of its own (e2e_own_display), and
# drives the real program with xdotool.
#
# Every test gets a private home made with mktemp; e2e_cleanup removes it and
# nothing else. The real home directory is never read or written.

E2E_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

# Makes a private home and points HOME and the XDG directories into it.
e2e_make_home() {
    E2E_ROOT=$(mktemp -d "${TMPDIR:-/tmp}/quillet-e2e-XXXXXX")
    export HOME="$E2E_ROOT/home"
    export XDG_CONFIG_HOME="$HOME/.config"
    export XDG_CACHE_HOME="$HOME/.cache"
    export XDG_DATA_HOME="$HOME/.local/share"
    export XDG_RUNTIME_DIR="$E2E_ROOT/runtime"
    mkdir -p "$XDG_CONFIG_HOME" "$XDG_CACHE_HOME" "$XDG_DATA_HOME" "$XDG_RUNTIME_DIR"
    chmod 700 "$XDG_RUNTIME_DIR"
    # No accessibility bus: the session bus would start its service with the
    # bus's own environment, in which HOME is still the real home.
    export NO_AT_BRIDGE=1
}

e2e_cleanup() {
    if [[ -n "${E2E_PID:-}" ]] && kill -0 "$E2E_PID" 2>/dev/null; then
        kill -9 "$E2E_PID" 2>/dev/null || true
    fi
    if [[ -n "${E2E_XVFB_PID:-}" ]]; then
        kill "$E2E_XVFB_PID" 2>/dev/null || true
        wait "$E2E_XVFB_PID" 2>/dev/null || true
    fi
    case "${E2E_ROOT:-}" in
    "${TMPDIR:-/tmp}"/quillet-e2e-*) rm -rf -- "$E2E_ROOT" ;;
    esac
}

# Starts the program in the background; its output goes to $E2E_ROOT/app.log.
e2e_start() {
    "$@" >"$E2E_ROOT/app.log" 2>&1 &
    E2E_PID=$!
}

# Waits until a visible window of the started process exists; sets E2E_WIN.
e2e_wait_window() {
    local i
    for i in $(seq 1 100); do
        E2E_WIN=$(xdotool search --onlyvisible --pid "$E2E_PID" 2>/dev/null | head -n 1 || true)
        [[ -n "$E2E_WIN" ]] && return 0
        kill -0 "$E2E_PID" 2>/dev/null || fail "the program exited before showing a window: $(cat "$E2E_ROOT/app.log")"
        sleep 0.1
    done
    fail "no window appeared within 10 seconds"
}

# Saves a screenshot of the whole screen to the given file.
e2e_shot() {
    mkdir -p "$(dirname "$1")"
    import -window root "$1"
}

# Sends a close request and waits up to $1 seconds (default 5) for the process
# to end; sets E2E_STATUS to its exit status. On a bare X server a close
# request now and then goes unanswered (seen about once in fifteen runs, with
# the program idle in its main loop), so it is repeated every second, as a
# person would click the close button again.
e2e_close_and_wait() {
    local limit=${1:-5} i
    for i in $(seq 0 $((limit * 10 - 1))); do
        if (( i % 10 == 0 )); then
            /usr/bin/python3 "$E2E_DIR/close_window.py" "$E2E_WIN" 2>/dev/null || true
        fi
        if ! kill -0 "$E2E_PID" 2>/dev/null; then
            E2E_STATUS=0
            wait "$E2E_PID" || E2E_STATUS=$?
            E2E_PID=
            return 0
        fi
        sleep 0.1
    done
    fail "the program did not end within $limit seconds of the close request"
}

# Starts a virtual X server of this test's own and points DISPLAY at it. The
# server picks a free display number itself (-displayfd), so tests running at
# the same time never end up on one server, which `xvfb-run -a` can do when
# two of them choose a number at the same moment. Extra arguments go to Xvfb
# (for example "-screen 0 1280x800x24"). e2e_cleanup stops the server.
e2e_own_display() {
    local number_file="$E2E_ROOT/display" i
    : >"$number_file"
    Xvfb -displayfd 3 -nolisten tcp -noreset "$@" 3>"$number_file" >"$E2E_ROOT/xvfb.log" 2>&1 &
    E2E_XVFB_PID=$!
    for i in $(seq 1 100); do
        if [[ -s "$number_file" ]]; then
            export DISPLAY=":$(head -n 1 "$number_file")"
            return 0
        fi
        kill -0 "$E2E_XVFB_PID" 2>/dev/null || fail "Xvfb did not start: $(cat "$E2E_ROOT/xvfb.log")"
        sleep 0.1
    done
    fail "Xvfb gave no display number within 10 seconds"
}

# Sets W, H, X, Y from what the X server says about the window E2E_WIN.
# Without a window manager there is no frame, so this is exactly what the
# program asked for.
read_geometry() {
    local info
    info=$(xwininfo -id "$E2E_WIN")
    W=$(awk '/Width:/ {print $2}' <<<"$info")
    H=$(awk '/Height:/ {print $2}' <<<"$info")
    X=$(awk '/Absolute upper-left X:/ {print $4}' <<<"$info")
    Y=$(awk '/Absolute upper-left Y:/ {print $4}' <<<"$info")
}
