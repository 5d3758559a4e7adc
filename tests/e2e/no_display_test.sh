#!/usr/bin/env bash
# Without any graphical session both the program and ./run.sh say so in one
# sentence and exit non-zero, instead of a toolkit error or a stack trace.
#
# usage: no_display_test.sh PATH_TO_QUILLET PATH_TO_RUN_SH
set -euo pipefail
source "$(dirname "$0")/lib.sh"
app=$1
run_sh=$2
trap e2e_cleanup EXIT
e2e_make_home

status=0
out=$(env -u DISPLAY -u WAYLAND_DISPLAY "$app" 2>&1) || status=$?
[[ $status -ne 0 ]] || fail "the program exited 0 without a display"
[[ $(wc -l <<<"$out") -eq 1 ]] || fail "expected one line, got: $out"
grep -q "graphical desktop session" <<<"$out" || fail "unexpected message: $out"
[[ -z "$(ls -A "$XDG_RUNTIME_DIR")" ]] || fail "a crash report was written: $(ls "$XDG_RUNTIME_DIR")"

status=0
out=$(env -u DISPLAY -u WAYLAND_DISPLAY bash "$run_sh" 2>&1) || status=$?
[[ $status -ne 0 ]] || fail "run.sh exited 0 without a display"
[[ "$out" == "Quillet needs a graphical desktop session, but neither DISPLAY nor WAYLAND_DISPLAY is set." ]] \
    || fail "run.sh said: $out"
echo "no display: program and run.sh refuse with one sentence"
