#!/usr/bin/env bash
# Installs every Debian package needed to build, run and test Quillet.
# Idempotent: asks dpkg what is already there and calls apt-get only for what
# is missing, so a second run takes a fraction of a second.
set -euo pipefail

packages=(
    # Build: compiler, build system, library lookup.
    g++ make cmake pkg-config
    # GTK 3 with Cairo, Pango and GLib headers.
    libgtk-3-dev
    # Reading git repositories (discovery, the index, ignore rules) to tell a
    # project's build output from files that are committed there.
    libgit2-dev
    # Translations: the generator that turns the gettext catalogues into tables,
    # and xgettext/msgfmt, which the tests use to check the catalogues.
    python3 gettext
    # Time-zone data: dates are shown in local time, and tests pin a zone.
    tzdata
    # Unit tests; git builds the real repositories the project-search tests judge.
    googletest libgtest-dev libgmock-dev git
    # Fuzzing the mount-table parser and the deletion guard: clang with libFuzzer's runtime.
    clang libclang-rt-dev
    # End-to-end tests: a virtual X server, input and screenshots, window queries
    # and polite close requests (WM_DELETE_WINDOW) without a window manager.
    xvfb xauth xdotool imagemagick x11-utils python3-xlib
    # A private session bus and stand-in desktop services for tests, the
    # Python bindings the tests drive them with, and gdbus for shell scripts.
    dbus python3-dbusmock python3-gi python3-dbus libglib2.0-bin
    # The accessibility bus (launcher and registry) and the AT-SPI client the
    # accessibility test reads the window with, as a screen reader would.
    at-spi2-core python3-pyatspi
    # setpriv: the end-to-end test that deletes for real runs the program as
    # nobody when the tests run as root.
    util-linux
    # Fonts for all 22 interface languages: Latin, Greek and Cyrillic (DejaVu),
    # Hebrew and Arabic (Noto), Japanese, Korean and Chinese (Noto CJK).
    fonts-dejavu-core fonts-noto-core fonts-noto-cjk
    # Desktop integration checks: the desktop-file and AppStream metainfo validators.
    desktop-file-utils appstream
    # The Debian package and its test: dpkg-buildpackage (dpkg-dev), which also
    # asks for build-essential, debhelper for the rules and lintian to check the
    # result. The rules need no root, so no fakeroot either.
    build-essential dpkg-dev debhelper lintian
    # The package test asks file(1) whether the packaged program is stripped.
    file
)

missing=()
for p in "${packages[@]}"; do
    status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
    [[ "$status" == "install ok installed" ]] || missing+=("$p")
done

if [[ ${#missing[@]} -eq 0 ]]; then
    exit 0
fi

if [[ $(id -u) -eq 0 ]]; then
    sudo=()
elif command -v sudo >/dev/null 2>&1; then
    sudo=(sudo)
else
    echo "deps.sh: these packages are missing and neither root nor sudo is available:" \
        "${missing[*]}" >&2
    exit 1
fi

echo "deps.sh: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
