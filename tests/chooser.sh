#!/usr/bin/env bash

# SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
#
# SPDX-License-Identifier: LGPL-2.1-or-later

# The chooser run to the end as a person runs it, on a virtual display: gdapp open-dialog and
# save-dialog, a click on a row of the listing and the keys that follow, a double-click in a
# folder, and the address printed, which gdapp then finds. Exits 77 (skipped) without Xvfb or
# xdotool.
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
start_emulator "$emulator" --auto-approve
# Enough files to fill the view, below the one folder: a click in its middle lands on one of
# them. The folder has a file of the same name as the first one.
for i in 0 1 2 3 4 5 6 7 8 9; do seed "{\"path\":\"/f$i.txt\",\"text\":\"$i\"}"; done
seed '{"path":"/D/f0.txt","text":"in D"}'

start_display

# choose COMMAND CAPTION ACTION...: runs the chooser and, once it shows, the command ACTION...
# (chooser is then its window, WIDTH and HEIGHT its size); prints what gdapp printed and its exit
# status.
choose() {
    local command=$1 caption=$2
    shift 2
    timeout 30 "$gdapp" --consent fetch "$command" --caption "$caption" --filter 'Textes (*.txt)' \
        >"$scratch/out" 2>"$scratch/err" &
    local run=$!
    chooser=$(timeout 30 xdotool search --sync --onlyvisible --name "^$caption\$" | head -n 1) \
        || fail "$command: no window appeared: $(cat "$scratch/err")"
    xdotool windowfocus --sync "$chooser"
    eval "$(xdotool getwindowgeometry --shell "$chooser")"
    "$@"
    local status=0
    wait "$run" || status=$?
    echo "$(cat "$scratch/out") $status"
}

# middle KEYS...: a click in the middle of the listing, then the keys.
middle() {
    xdotool mousemove --window "$chooser" $((WIDTH / 2)) $((HEIGHT * 45 / 100)) click 1
    xdotool "$@"
}

# in_folder: a click on the folder, the first row, then a double-click on its first file.
in_folder() {
    row "$chooser" 1
    xdotool mousemove --window "$chooser" 40 87 click --repeat 2 --delay 100 1
}

result=$(choose open-dialog Ouvrir middle key Return)
[[ $result =~ ^gdapp:/f[0-9]\.txt\ 0$ ]] || fail "open-dialog: $result: $(cat "$scratch/err")"

# The name typed over the one the click filled in; the filter's extension is added.
result=$(choose save-dialog Enregistrer middle key Tab ctrl+a n o u v e a u Return)
[ "$result" = "gdapp:/nouveau.txt 0" ] || fail "save-dialog: $result: $(cat "$scratch/err")"

# The file of the folder, not the top folder's of the same name; and gdapp finds what it printed.
result=$(choose open-dialog Ouvrir in_folder)
[ "$result" = "gdapp:/D/f0.txt 0" ] || fail "open-dialog, a double-click in a folder: $result: $(cat "$scratch/err")"
content=$("$gdapp" --consent fetch get "${result% 0}" -) || fail "get ${result% 0}: status $?"
[ "$content" = "in D" ] || fail "${result% 0} holds: $content"

# A name that gdapp would refuse is not printed.
result=$(choose save-dialog Enregistrer middle key Tab ctrl+a a plus b Return)
[ "$result" = " 1" ] && grep -q 'refused name "a+b.txt"' "$scratch/err" \
    || fail "save-dialog, a refused name: $result: $(cat "$scratch/err")"

result=$(choose open-dialog Ouvrir middle key Escape)
[ "$result" = " 1" ] && grep -q 'nothing chosen' "$scratch/err" \
    || fail "open-dialog, cancelled: $result: $(cat "$scratch/err")"
echo "the chooser ran to its end, chose, chose in a folder, refused a name and was cancelled"
