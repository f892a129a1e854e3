#!/usr/bin/env bash

# SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
#
# SPDX-License-Identifier: LGPL-2.1-or-later

# What a host developer does, from the packages alone: unpack gdapp and gdapp-dev, build the
# example editor and a small host project (tests/host) outside the source tree against them,
# the host once with CMake's find_package and once with pkg-config, and run it over the emulator
# with the packaged plug-in: it lists, chooses a file of a folder with a double-click in the
# chooser (the top folder has a file of the same name), opens it and saves. The chooser's buttons must show the library's icons (read from the widgets,
# with no icon theme about), and the settings file that holds the tokens must be its owner's
# alone.
#   host.sh PACKAGES_DIR EMULATOR
set -euo pipefail
packages=$1
emulator=$2
here=$(cd "$(dirname "$0")" && pwd)
fail() {
    echo "$*" >&2
    [ -f "$scratch/transcript" ] && cat "$scratch/transcript" >&2
    [ -f "$scratch/host.err" ] && grep -v -e '^QStandardPaths' -e 'qobject.connect' "$scratch/host.err" >&2
    exit 1
}
source "$here/support/xsession.sh"
need_tools "jq, curl" jq curl

# As the packages install, into a root of their own.
root="$scratch/root"
for package in "$packages"/gdapp_*.deb "$packages"/gdapp-dev_*.deb; do
    [ -f "$package" ] || fail "no package $package: the Packaging test makes them"
    dpkg-deb -x "$package" "$root"
done
plugin=$(find "$root" -name libgdrive.so)
pcdir=$(dirname "$(find "$root" -name gdapp-cloud.pc)")

say() { echo "== $*"; }
say "building the host with CMake"
cmake -S "$here/host" -B "$scratch/cmake" -DCMAKE_PREFIX_PATH="$root/usr" \
    -DCMAKE_BUILD_TYPE=Release >"$scratch/build.log" 2>&1 || fail "configuring: $(cat "$scratch/build.log")"
grep -q "^GdappCloud_DIR:PATH=$root/" "$scratch/cmake/CMakeCache.txt" \
    || fail "CMake took another package: $(grep GdappCloud_DIR "$scratch/cmake/CMakeCache.txt")"
cmake --build "$scratch/cmake" --parallel 2 >>"$scratch/build.log" 2>&1 \
    || fail "building: $(cat "$scratch/build.log")"

say "building the example editor alone, as its README section has it"
if ! { cmake -S "$here/../examples/notepad" -B "$scratch/notepad" -DCMAKE_PREFIX_PATH="$root/usr" \
    && cmake --build "$scratch/notepad" --parallel 2; } >>"$scratch/build.log" 2>&1; then
    fail "building the editor: $(cat "$scratch/build.log")"
fi

say "building the host with pkg-config"
export PKG_CONFIG_PATH="$pcdir"
mkdir -p "$scratch/pc"
"$(pkg-config --variable=libexecdir Qt6Core)/moc" "$here/host/main.cpp" -o "$scratch/pc/main.moc"
# shellcheck disable=SC2046 # the flags are words
c++ -std=c++17 -fPIC -I"$scratch/pc" -I"$here/../examples/notepad" "$here/host/main.cpp" \
    "$here/../examples/notepad/settingsfile.cpp" \
    $(pkg-config --cflags --libs gdapp-cloud Qt6Network) -o "$scratch/pc/host" \
    || fail "building with pkg-config's flags: $(pkg-config --cflags --libs gdapp-cloud)"

start_emulator "$emulator" --auto-approve
seed '{"path":"/Reports","folder":true}' '{"path":"/notes.txt","text":"first line"}' \
    '{"path":"/Reports/notes.txt","text":"the report"}'
settings="$XDG_CONFIG_HOME/Tarnwick/gdapp-test-host.conf"
# No desktop and no icon theme: the icons can only come from the library.
mkdir -p "$scratch/nothing"
export QT_QPA_PLATFORM=offscreen XDG_DATA_DIRS="$scratch/nothing" XDG_DATA_HOME="$scratch/nothing" \
    HOME="$scratch" GDAPP_PLUGIN_PATH="$plugin"

# run HOST SAVED: one session, and what it printed, as expected.
run() {
    local host=$1 saved=$2 status=0
    timeout 120 "$host" Reports/notes.txt "gdapp:$saved" "saved by $saved" >"$scratch/transcript" \
        2>"$scratch/host.err" || status=$?
    [ "$status" = 0 ] || fail "$host ended with status $status"
    printf '%s\n' "settings: $settings" "listed: Reports/ notes.txt" \
        "icon cdToParent: the library's" "icon refreshView: the library's" \
        "chosen: gdapp:/Reports/notes.txt" "read: the report" "saved: gdapp:$saved" \
        >"$scratch/expected"
    diff "$scratch/expected" "$scratch/transcript" >&2 || fail "$host: not the session expected"
    [ "$(content "$saved")" = "saved by $saved" ] || fail "$saved holds: $(content "$saved")"
    grep -q '^\[gdapp\]' "$settings" || fail "no tokens stored in $settings"
    [ "$(stat -c %a "$settings")" = 600 ] || fail "$settings is $(stat -c %a "$settings"), not 600"
}
say "running them over the emulator"
run "$scratch/cmake/host" /Reports/by-cmake.txt
run "$scratch/pc/host" /Reports/by-pkg-config.txt
echo "the editor built from the packages; a host built from them with CMake and with pkg-config listed, chose, opened and saved"
