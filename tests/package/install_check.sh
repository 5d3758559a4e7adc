#!/usr/bin/env bash
# `cmake --install` into a temporary prefix puts every file a desktop needs in
# its place, and the desktop entry and the AppStream description pass their
# validators: desktop-file-validate, and appstreamcli without the network
# (the screenshots' addresses are not fetched).
#
# usage: install_check.sh BUILD_DIR VERSION
set -euo pipefail

build=$1
version=$2
fail() {
    echo "FAIL: $*" >&2
    exit 1
}

root=$(mktemp -d "${TMPDIR:-/tmp}/quillet-install-XXXXXX")
trap 'rm -rf -- "$root"' EXIT
prefix="$root/prefix"

cmake --install "$build" --prefix "$prefix" >"$root/install.log" ||
    fail "cmake --install failed: $(cat "$root/install.log")"

desktop="$prefix/share/applications/quillet.desktop"
metainfo="$prefix/share/metainfo/app.quillet.Quillet.metainfo.xml"
expected=(
    bin/quillet
    share/applications/quillet.desktop
    share/metainfo/app.quillet.Quillet.metainfo.xml
    share/icons/hicolor/scalable/apps/quillet.svg
    share/man/man1/quillet.1
)
for size in 16 24 32 48 64 128 256 512; do
    expected+=("share/icons/hicolor/${size}x${size}/apps/quillet.png")
done
for f in "${expected[@]}"; do
    [[ -f "$prefix/$f" ]] || fail "$f was not installed"
done
[[ -x "$prefix/bin/quillet" ]] || fail "bin/quillet is not executable"

# Every PNG is as big as the folder it sits in says (the theme trusts the folder).
for size in 16 24 32 48 64 128 256 512; do
    got=$(/usr/bin/identify -format '%wx%h' "$prefix/share/icons/hicolor/${size}x${size}/apps/quillet.png")
    [[ "$got" == "${size}x${size}" ]] || fail "the ${size}x${size} icon is $got"
done

# Nothing else: no test programs, benchmarks or libraries of the build.
extra=$(cd "$prefix" && find . -type f | sed 's|^\./||' | sort | grep -vxF -f <(printf '%s\n' "${expected[@]}") || true)
[[ -z "$extra" ]] || fail "unexpected files installed: $extra"

# The entry names the installed program by its full path and the icon by the
# name the window asks the theme for.
grep -qxF "Exec=$prefix/bin/quillet" "$desktop" || fail "Exec line is '$(grep '^Exec=' "$desktop")'"
grep -qxF "Icon=quillet" "$desktop" || fail "Icon line is '$(grep '^Icon=' "$desktop")'"

# desktop-file-validate prints hints and errors and fails only on errors;
# this entry should draw no remark at all.
out=$(desktop-file-validate "$desktop" 2>&1) || fail "desktop-file-validate: $out"
[[ -z "$out" ]] || fail "desktop-file-validate remarks: $out"
echo "desktop-file-validate: quillet.desktop is valid"

out=$(appstreamcli validate --no-net --explain "$metainfo" 2>&1) || fail "appstreamcli validate: $out"
echo "$out"
# The description names the release this build is, and the entry it launches.
grep -q "<release version=\"$version\"" "$metainfo" || fail "metainfo has no release $version"
grep -q '<launchable type="desktop-id">quillet.desktop</launchable>' "$metainfo" ||
    fail "metainfo does not launch quillet.desktop"
echo "install: ${#expected[@]} files in place, release $version described"
