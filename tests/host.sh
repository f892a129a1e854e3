#!/usr/bin/env bash

# SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
#
# SPDX-License-Identifier: LGPL-2.1-or-later

# What a host developer does, from the packages alone: unpack gdapp and gdapp-dev, build the
# example editor outside the source tree against them, once with CMake's find_package and once
# with pkg-config's flags, each linking the object that registers the chooser's icons, and run it
# with the packaged plug-in as the Notepad test runs the editor of the build tree (tests/notepad.sh:
# the chooser, opening in a folder, saving, private settings). Exits 77 (skipped) when notepad.sh
# does, having built the editor both ways.
#   host.sh PACKAGES_DIR EMULATOR
set -euo pipefail
packages=$1
emulator=$2
here=$(cd "$(dirname "$0")" && pwd)
notepad="$here/../examples/notepad"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
fail() {
    echo "$*" >&2
    exit 1
}

# As the packages install, into a root of their own.
root="$scratch/root"
for package in "$packages"/gdapp_*.deb "$packages"/gdapp-dev_*.deb; do
    [ -f "$package" ] || fail "no package $package: the Packaging test makes them"
    dpkg-deb -x "$package" "$root"
done

# has_icons PROGRAM: whether the chooser's icons were linked into it. Nothing refers to them by
# name, so a build that left their object out links all the same and shows blank buttons.
has_icons() {
    grep -q 'qInitResources_cloudicons()' <<<"$(nm -C "$1")" || fail "$1: built without the chooser's icons"
}

echo "== building the editor with CMake, as its README section has it"
cmake -S "$notepad" -B "$scratch/cmake" -DCMAKE_PREFIX_PATH="$root/usr" -DCMAKE_BUILD_TYPE=Release \
    >"$scratch/build.log" 2>&1 || fail "configuring: $(cat "$scratch/build.log")"
grep -q "^GdappCloud_DIR:PATH=$root/" "$scratch/cmake/CMakeCache.txt" \
    || fail "CMake took another package: $(grep GdappCloud_DIR "$scratch/cmake/CMakeCache.txt")"
cmake --build "$scratch/cmake" --parallel 2 >>"$scratch/build.log" 2>&1 \
    || fail "building: $(cat "$scratch/build.log")"
has_icons "$scratch/cmake/gdapp-notepad"

echo "== building the editor with pkg-config"
export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$(find "$root" -name gdapp-cloud.pc)")
mkdir -p "$scratch/pc"
"$(pkg-config --variable=libexecdir Qt6Core)/moc" "$notepad/notepadwindow.h" \
    -o "$scratch/pc/moc_notepadwindow.cpp"
# shellcheck disable=SC2046 # the flags are words
c++ -std=c++17 -fPIC -I"$notepad" "$notepad"/{main,notepadwindow,settingsfile}.cpp \
    "$scratch/pc/moc_notepadwindow.cpp" $(pkg-config --cflags --libs gdapp-cloud Qt6Network) \
    -o "$scratch/pc/gdapp-notepad" || fail "building with pkg-config's flags: $(pkg-config --cflags --libs gdapp-cloud)"
has_icons "$scratch/pc/gdapp-notepad"

echo "== running it with the packaged plug-in"
GDAPP_PLUGIN_PATH=$(find "$root" -name libgdrive.so) bash "$here/notepad.sh" \
    "$scratch/cmake/gdapp-notepad" "$emulator"
