#!/usr/bin/env bash

# SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
#
# SPDX-License-Identifier: LGPL-2.1-or-later

# The install rules and the Debian packages: what goes where, what lintian (Debian's own checker)
# says of the packages, and the packaged gdapp and manual pages used from an unpacked copy. The
# packages stay in BUILD_DIR/packages for the Host test, which builds a host from them.
# Exits 77 (skipped) when lintian is not installed, having checked the rest.
#   packaging.sh BUILD_DIR PLUGIN_DIR LIB_DIR
set -euo pipefail
build=$1
plugin_dir=$2
lib_dir=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
fail() {
    echo "$*" >&2
    exit 1
}

cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
for file in "$plugin_dir/libgdrive.so" bin/gdapp bin/gdapp-notepad bin/drive-emulator \
    share/man/man1/gdapp.1.gz share/man/man1/gdapp-notepad.1.gz \
    share/man/man1/drive-emulator.1.gz share/bash-completion/completions/gdapp \
    share/doc/gdapp/copyright share/doc/gdapp/changelog.gz share/gdapp/translations/gdapp_en.qm \
    share/gdapp/translations/gdapp_de.qm share/gdapp/translations/gdapp_fr.qm \
    include/gdapp/cloudobject.h include/gdapp/cloudfile.h include/gdapp/serverinterface.h \
    include/gdapp/cloudcodes.h include/gdapp/cloudfilechooser.h "$lib_dir/libgdapp-cloud.a" "$lib_dir/gdapp/gdapp-cloud-icons.o" \
    "$lib_dir/cmake/GdappCloud/GdappCloudConfig.cmake" \
    "$lib_dir/cmake/GdappCloud/GdappCloudConfigVersion.cmake" "$lib_dir/pkgconfig/gdapp-cloud.pc" \
    share/doc/gdapp-dev/copyright share/doc/gdapp-dev/changelog.gz; do
    [ -f "$scratch/prefix/$file" ] || fail "missing after install: $file"
done
# The installed host finds the installed plug-in by itself.
env -u GDAPP_PLUGIN_PATH "$scratch/prefix/bin/gdapp" --help >/dev/null

packages="$build/packages"
rm -rf "$packages"
(cd "$scratch" && cpack --config "$build/CPackConfig.cmake" -B "$packages" >/dev/null)
deb=$(ls "$packages"/gdapp_*.deb)
dev=$(ls "$packages"/gdapp-dev_*.deb)
ddeb=$(ls "$packages"/gdapp-dbgsym_*.ddeb)
[ "$(ls "$packages"/*.deb "$packages"/*.ddeb | wc -l)" = 3 ] \
    || fail "packages other than gdapp, gdapp-dev and gdapp-dbgsym: $(ls "$packages")"
dpkg-deb -f "$deb" Depends | grep -q 'libc6' || fail "$deb: no dependencies computed from the binaries"
version=$(dpkg-deb -f "$deb" Version)
for tied in "$ddeb" "$dev"; do
    dpkg-deb -f "$tied" Depends | grep -qF "gdapp (= $version)" || fail "$tied: not tied to its package"
done
# Each file in one package only: the framework's files in gdapp-dev, the rest in gdapp.
dpkg-deb -c "$deb" | grep -E 'include/|\.a$|\.o$|cmake/|pkgconfig/' \
    && fail "$deb holds what hosts build against"
dpkg-deb -c "$dev" | grep -E 'bin/|plugins/' && fail "$dev holds programs or the plug-in"

# Used from the package's own files, unpacked into a root of their own.
root="$scratch/root"
dpkg-deb -x "$deb" "$root"
# Read whole first: grep -q would close the pipe before gdapp has written its longer help.
help=$(env -u GDAPP_PLUGIN_PATH "$root/usr/bin/gdapp" --help) \
    && grep -q 'open-dialog' <<<"$help" || fail "the packaged gdapp does not answer --help"
for page in gdapp gdapp-notepad drive-emulator; do
    MANWIDTH=80 man --warnings -l "$root/usr/share/man/man1/$page.1.gz" 2>"$scratch/man.err" \
        | grep -q 'EXIT STATUS' || fail "man -l $page.1.gz: $(cat "$scratch/man.err")"
    [ -s "$scratch/man.err" ] && fail "man -l $page.1.gz warns: $(cat "$scratch/man.err")"
done
bash -n "$root/usr/share/bash-completion/completions/gdapp" || fail "the completion does not parse"

if ! command -v lintian >/dev/null; then
    echo "lintian is not installed (Debian package lintian): the packages were not checked"
    exit 77
fi
for package in "$deb" "$dev" "$ddeb"; do
    lintian --tag-display-limit 0 "$package" 2>&1 | grep -v '^running with root privileges' \
        >"$scratch/lintian" || true
    if grep -qE '^[EW]: ' "$scratch/lintian"; then
        cat "$scratch/lintian" >&2
        fail "lintian: errors or warnings on $(basename "$package")"
    fi
done
echo "installed and packaged, lintian-clean: $(basename "$deb") $(basename "$dev") $(basename "$ddeb")"
