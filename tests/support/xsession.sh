# SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
#
# SPDX-License-Identifier: LGPL-2.1-or-later

# What the window tests share, sourced: a scratch folder, the emulator, a virtual X display, and
# everything stopped and removed on exit. The sourcing script defines fail().
# shellcheck shell=bash

# need_tools "PACKAGES" TOOL...: exits 77 (skipped) when a tool is missing, naming the packages.
need_tools() {
    local packages=$1 tool
    shift
    for tool in "$@"; do
        command -v "$tool" >/dev/null || { echo "$tool is not installed (Debian packages $packages)"; exit 77; }
    done
}

scratch=$(mktemp -d)
pids=()
stop_session() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$scratch"
}
trap stop_session EXIT

# start_emulator EMULATOR: an emulator that approves consents by itself, and the plug-in pointed
# at it with settings of its own; sets base to its address.
start_emulator() {
    "$1" --port 0 --auto-approve >"$scratch/emulator.out" 2>&1 &
    pids+=($!)
    for _ in $(seq 100); do grep -q listening "$scratch/emulator.out" && break; sleep 0.1; done
    base=$(sed -nE 's/.* (http:[^ ]+)$/\1/p' "$scratch/emulator.out")
    [ -n "$base" ] || fail "the emulator did not start: $(cat "$scratch/emulator.out")"
    export GDAPP_DRIVE_URL="$base" GDAPP_OAUTH_URL="$base" XDG_CONFIG_HOME="$scratch/config"
}

# start_display: Xvfb on a free display, for Qt's X11 platform.
start_display() {
    Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$scratch/display" 2>"$scratch/xvfb.err" &
    pids+=($!)
    for _ in $(seq 100); do [ -s "$scratch/display" ] && break; sleep 0.1; done
    [ -s "$scratch/display" ] || fail "Xvfb did not start: $(cat "$scratch/xvfb.err")"
    export DISPLAY=":$(cat "$scratch/display")" QT_QPA_PLATFORM=xcb
}

# window NAME: waits for a visible window whose whole name is NAME and prints its id.
window() {
    timeout 30 xdotool search --sync --onlyvisible --name "^$1\$" | head -n 1 \
        || fail "no window \"$1\" appeared"
}

# row WINDOW N: clicks the Nth row of the chooser's listing, 18 pixels apart below the header;
# the chooser's layout is fixed (with Debian's DejaVu fonts), and its name field is 284 pixels
# from the top.
row() {
    xdotool windowfocus --sync "$1" mousemove --window "$1" 40 $((87 + 18 * ($2 - 1))) click 1
    sleep 0.5
}
