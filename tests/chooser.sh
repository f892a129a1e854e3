#!/usr/bin/env bash

# SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
#
# SPDX-License-Identifier: LGPL-2.1-or-later

# The chooser run to the end as a person runs it, on a virtual display: gdapp open-dialog and
# save-dialog, a click on a row of the listing and the keys that follow, and the address printed.
# Exits 77 (skipped) without Xvfb or xdotool.
#   chooser.sh GDAPP EMULATOR
set -euo pipefail
gdapp=$1
emulator=$2
fail() {
    echo "$*" >&2
    exit 1
}
source "$(dirname "$0")/support/xsession.sh"
need_tools "xvfb, xdotool" Xvfb xdotool
start_emulator "$emulator"
# Files only, enough to fill the view: a click in its middle lands on one of them.
for i in 0 1 2 3 4 5 6 7 8 9; do
    curl -sf -X POST "$base/_emulator/files" --data-binary "{\"path\":\"/f$i.txt\",\"text\":\"$i\"}" \
        >/dev/null
done

start_display

# choose COMMAND CAPTION KEYS...: runs the chooser, clicks the middle of the listing, then sends
# the keys; prints what gdapp printed and its exit status.
choose() {
    local command=$1 caption=$2
    shift 2
    timeout 30 "$gdapp" --consent fetch "$command" --caption "$caption" --filter 'Textes (*.txt)' \
        >"$scratch/out" 2>"$scratch/err" &
    local run=$!
    local window
    window=$(timeout 30 xdotool search --sync --onlyvisible --name "^$caption\$" | head -n 1) \
        || fail "$command: no window appeared: $(cat "$scratch/err")"
    xdotool windowfocus --sync "$window"
    eval "$(xdotool getwindowgeometry --shell "$window")"
    xdotool mousemove --window "$window" $((WIDTH / 2)) $((HEIGHT * 45 / 100)) click 1
    xdotool "$@"
    local status=0
    wait "$run" || status=$?
    echo "$(cat "$scratch/out") $status"
}

result=$(choose open-dialog Ouvrir key Return)
[[ $result =~ ^gdapp:/f[0-9]\.txt\ 0$ ]] || fail "open-dialog: $result: $(cat "$scratch/err")"

# The name typed over the one the click filled in; the filter's extension is added.
result=$(choose save-dialog Enregistrer key Tab ctrl+a n o u v e a u Return)
[ "$result" = "gdapp:/nouveau.txt 0" ] || fail "save-dialog: $result: $(cat "$scratch/err")"

result=$(choose open-dialog Ouvrir key Escape)
[ "$result" = " 1" ] && grep -q 'nothing chosen' "$scratch/err" \
    || fail "open-dialog, cancelled: $result: $(cat "$scratch/err")"
echo "the chooser ran to its end, chose and was cancelled"
