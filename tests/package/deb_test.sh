#!/usr/bin/env bash
# Builds the Debian package from a clean copy of the source tree, the way a
# packager would (`dpkg-buildpackage -b -us -uc` with packaging/debian as
# debian/), and checks the result without installing it: the program, desktop
# entry, AppStream description, every icon and the manual page are in it, its
# dependencies come from the libraries the program links, the unpacked entry
# and description pass their validators, and lintian finds no error.
#
# The .deb, the build log and lintian's report are kept in KEEP_DIR for people
# to look at; everything else happens in a temporary folder that is removed.
#
# usage: deb_test.sh SOURCE_DIR VERSION KEEP_DIR
set -euo pipefail

source_dir=$1
version=$2
keep=$3
fail() {
    echo "FAIL: $*" >&2
    exit 1
}

work=$(mktemp -d "${TMPDIR:-/tmp}/quillet-deb-XXXXXX")
trap 'rm -rf -- "$work"' EXIT
mkdir -p "$keep"
rm -f "$keep"/*.deb "$keep"/build.log "$keep"/lintian.txt

# The tree as it stands, working changes included, without build folders or
# the repository's history.
tree="$work/quillet-$version"
mkdir -p "$tree"
tar -C "$source_dir" --exclude=./build --exclude=./.git --exclude=./.cache -cf - . | tar -C "$tree" -xf -
cp -a "$tree/packaging/debian" "$tree/debian"

echo "package: building in $tree (log: $keep/build.log)"
if ! (cd "$tree" && dpkg-buildpackage -b -us -uc -j"${QUILLET_PACKAGE_JOBS:-2}") >"$keep/build.log" 2>&1; then
    tail -n 40 "$keep/build.log" >&2
    fail "dpkg-buildpackage failed; the whole log is $keep/build.log"
fi

arch=$(dpkg --print-architecture)
deb="$work/quillet_${version}-1_${arch}.deb"
changes="$work/quillet_${version}-1_${arch}.changes"
[[ -f "$deb" ]] || fail "no $(basename "$deb") was built: $(ls "$work")"
cp "$deb" "$keep/"

# ---- Contents ----
contents=$(dpkg-deb -c "$deb" | awk '{print $6}' | sed 's|^\./|/|')
expected=(
    /usr/bin/quillet
    /usr/share/applications/quillet.desktop
    /usr/share/metainfo/app.quillet.Quillet.metainfo.xml
    /usr/share/icons/hicolor/scalable/apps/quillet.svg
    /usr/share/man/man1/quillet.1.gz
    /usr/share/doc/quillet/copyright
)
for size in 16 24 32 48 64 128 256 512; do
    expected+=("/usr/share/icons/hicolor/${size}x${size}/apps/quillet.png")
done
for f in "${expected[@]}"; do
    grep -qxF "$f" <<<"$contents" || fail "$f is not in the package; it holds: $contents"
done
# No test program, benchmark or build leftover slipped in.
for unwanted in quillet_tests bench_ render_shots make_fixture_home desktop_probe; do
    ! grep -q "$unwanted" <<<"$contents" || fail "the package holds $unwanted"
done
echo "package: $(basename "$deb") holds the program, desktop entry, metainfo, ${#expected[@]} files checked"

# ---- Control data ----
depends=$(dpkg-deb -f "$deb" Depends)
echo "package: Depends: $depends"
# ${shlibs:Depends} filled in from what the program links.
grep -q 'libgtk-3-0' <<<"$depends" || fail "Depends lacks libgtk-3-0: $depends"
grep -q 'libc6' <<<"$depends" || fail "Depends lacks libc6: $depends"
[[ "$(dpkg-deb -f "$deb" Version)" == "$version-1" ]] || fail "package version is $(dpkg-deb -f "$deb" Version)"

# ---- Unpacked, not installed ----
root="$work/unpacked"
dpkg-deb -x "$deb" "$root"
desktop="$root/usr/share/applications/quillet.desktop"
grep -qxF "Exec=/usr/bin/quillet" "$desktop" || fail "Exec line is '$(grep '^Exec=' "$desktop")'"
grep -qxF "Icon=quillet" "$desktop" || fail "Icon line is '$(grep '^Icon=' "$desktop")'"
out=$(desktop-file-validate "$desktop" 2>&1) || fail "desktop-file-validate: $out"
[[ -z "$out" ]] || fail "desktop-file-validate remarks: $out"
if command -v appstreamcli >/dev/null; then
    out=$(appstreamcli validate --no-net "$root/usr/share/metainfo/app.quillet.Quillet.metainfo.xml" 2>&1) ||
        fail "appstreamcli validate: $out"
fi
# The packaged program is a real, stripped executable, not the build's copy
# with debug information (that goes into the -dbgsym package).
file_type=$(file -b "$root/usr/bin/quillet")
grep -q 'ELF 64-bit\|ELF 32-bit' <<<"$file_type" || fail "/usr/bin/quillet is $file_type"
grep -q 'stripped' <<<"$file_type" && ! grep -q 'not stripped' <<<"$file_type" ||
    fail "/usr/bin/quillet is not stripped: $file_type"

# ---- lintian ----
# Errors fail the test; warnings and notes are printed for people to weigh.
lintian --display-info --fail-on error "$changes" >"$keep/lintian.txt" 2>&1 || {
    cat "$keep/lintian.txt" >&2
    fail "lintian reports errors"
}
errors=$(grep -c '^E: ' "$keep/lintian.txt" || true)
[[ "$errors" == 0 ]] || fail "lintian printed $errors error(s): $(cat "$keep/lintian.txt")"
echo "package: lintian: $(grep -c '^W: ' "$keep/lintian.txt" || true) warning(s), 0 errors"
sed -n '/^[WIN]: /p' "$keep/lintian.txt"
echo "package: kept in $keep"
