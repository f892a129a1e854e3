# SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
#
# SPDX-License-Identifier: LGPL-2.1-or-later

# A throwaway session, sourced by the scripts, benchmarks and window tests that run the emulator:
# a scratch folder, the emulator, what it holds, the desktop's opener and a virtual display,
# everything stopped and removed when the script ends. The functions say what went wrong on
# standard error and return non-zero; under set -e that ends the script.
# shellcheck shell=bash

# begin_session: makes the scratch folder, scratch, and arranges for the processes listed in
# session_pids to stop and the folder to go when the script exits, with the script's own status.
begin_session() {
    scratch=$(mktemp -d)
    session_pids=()
    trap end_session EXIT
}

end_session() {
    local status=$? pid
    for pid in "${session_pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    for pid in "${session_pids[@]}"; do wait "$pid" 2>/dev/null || true; done
    rm -rf "$scratch"
    exit "$status"
}

# await PID COMMAND...: waits up to 20 seconds for COMMAND... to succeed, and no longer than
# the process PID lives.
await() {
    local pid=$1
    shift
    for _ in $(seq 200); do
        "$@" && return 0
        # Ended: one last look, for what it wrote before it went.
        kill -0 "$pid" 2>/dev/null || { "$@"; return; }
        sleep 0.1
    done
    return 1
}

# start_emulator EMULATOR [OPTION...]: the emulator on a free loopback port, its address line in
# $scratch/emulator.out and its standard error in $scratch/emulator.log. Waits for the address
# while the emulator lives, then sets base to it and points the plug-in at it, with settings of
# its own.
start_emulator() {
    local emulator=$1
    shift
    "$emulator" --port 0 "$@" >"$scratch/emulator.out" 2>"$scratch/emulator.log" &
    session_pids+=($!)
    if ! await $! grep -q listening "$scratch/emulator.out"; then
        if kill -0 $! 2>/dev/null; then
            echo "the emulator gave no address within 20 seconds: $(cat "$scratch/emulator.log")" >&2
        else
            echo "the emulator ended before it listened: $(cat "$scratch/emulator.log")" >&2
        fi
        return 1
    fi
    base=$(sed -nE 's/.* (http:[^ ]+)$/\1/p' "$scratch/emulator.out")
    export GDAPP_DRIVE_URL="$base" GDAPP_OAUTH_URL="$base" XDG_CONFIG_HOME="$scratch/config"
}

# seed ENTRY...: puts each entry into the emulator's store, a JSON object such as
# {"path": "/Reports", "folder": true} or {"path": "/notes.txt", "text": "..."}; with no ENTRY,
# the one on standard input (large contents are too long for an argument).
seed() {
    local entry
    [ $# -gt 0 ] || { seed_entry; return; }
    for entry in "$@"; do printf '%s' "$entry" | seed_entry; done
}

seed_entry() {
    curl -sf -X POST "$base/_emulator/files" --data-binary @- >/dev/null \
        || { echo "the emulator refused an entry of its store" >&2; return 1; }
}

# provide_opener: the desktop's opener, which the plug-in gives the consent address, replaced on
# the PATH by one that fetches it as a browser would; an emulator started with --auto-approve
# then grants the consent.
provide_opener() {
    mkdir -p "$scratch/bin"
    printf '#!/bin/sh\nexec curl -sfL -o /dev/null "$1"\n' >"$scratch/bin/xdg-open"
    chmod +x "$scratch/bin/xdg-open"
    export PATH="$scratch/bin:$PATH"
}

# start_display [SCREEN]: Xvfb on a free display number, with SCREEN as WIDTHxHEIGHTxDEPTH
# (default 1024x768x24), for Qt's X11 platform.
start_display() {
    local screen=${1:-1024x768x24}
    Xvfb -displayfd 3 -screen 0 "$screen" -nolisten tcp 3>"$scratch/display" 2>"$scratch/xvfb.err" &
    session_pids+=($!)
    if ! await $! test -s "$scratch/display"; then
        echo "Xvfb did not start: $(cat "$scratch/xvfb.err")" >&2
        return 1
    fi
    DISPLAY=":$(cat "$scratch/display")"
    export DISPLAY QT_QPA_PLATFORM=xcb
}
