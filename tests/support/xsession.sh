# SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
#
# SPDX-License-Identifier: LGPL-2.1-or-later

# What the window tests share, sourced: the session of scripts/lib/session.sh (a scratch folder,
# the emulator, a virtual X display, everything stopped and removed on exit), the emulator's
# control interface, and the windows found and clicked. The sourcing script defines fail().
# shellcheck shell=bash

# need_tools "PACKAGES" TOOL...: exits 77 (skipped) when a tool is missing, naming the packages.
need_tools() {
    local packages=$1 tool
    shift
    for tool in "$@"; do
        command -v "$tool" >/dev/null || { echo "$tool is not installed (Debian packages $packages)"; exit 77; }
    done
}

source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib/session.sh"
begin_session

# control METHOD ENDPOINT [BODY]: the emulator's control interface, $base/_emulator/ENDPOINT.
control() { curl -sf -X "$1" "$base/_emulator/$2" ${3:+--data-binary "$3"}; }

# content PATH: what the emulator stores at PATH.
content() {
    local id
    id=$(control GET files | jq -r --arg p "$1" '.files[] | select(.path == $p) | .id')
    [ -n "$id" ] && control GET "files/$id/content"
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
