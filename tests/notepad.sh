#!/usr/bin/env bash

# SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
#
# SPDX-License-Identifier: LGPL-2.1-or-later

# The example editor as a person uses it, on a real X server with real input: open a file of the
# store with a double-click in the chooser, edit, save, save under a new name into a folder,
# reopen it with a double-click there, a large save that the service reads slowly, a save that it
# refuses, and quit.
# Checks what the emulator stores and received and that the settings holding the tokens are
# private, and takes screenshots (into SHOTS, default a scratch folder). Exits 77 (skipped)
# without Xvfb, xdotool, ImageMagick's import or jq.
#   notepad.sh NOTEPAD EMULATOR [SHOTS]
set -euo pipefail
notepad=$1
emulator=$2
fail() {
    echo "$*" >&2
    [ -n "${DISPLAY:-}" ] && import -window root "$shots/failed.png" 2>/dev/null \
        && echo "the screen then: $shots/failed.png" >&2
    [ -f "$scratch/notepad.err" ] && grep -v '^QStandardPaths' "$scratch/notepad.err" >&2
    tail -n 20 "$scratch/emulator.log" >&2
    [ -n "${base:-}" ] && curl -s "$base/_emulator/requests" | jq -r ".requests[] | \"\\(.method) \\(.target) \\(.status)\"" | tail -n 5 >&2
    exit 1
}

source "$(dirname "$0")/support/xsession.sh"
need_tools "xvfb, xdotool, imagemagick, jq, curl" Xvfb xdotool import jq curl
shots=${3:-$scratch/shots}
mkdir -p "$shots"
start_emulator "$emulator" --auto-approve
# copy.txt has the name that the copy saved into the folder will have.
seed '{"path":"/Reports","folder":true}' '{"path":"/notes.txt","text":"first line\n"}' \
    '{"path":"/copy.txt","text":"another copy\n"}'
# A report of 7 MB, more than the kernel takes in at once for the upload: its save shows progress.
awk 'BEGIN { for (i = 1; i <= 100000; ++i) printf "Line %06d of the quarterly report: figures, notes and remarks.\n", i }' \
    >"$scratch/report.txt"
jq -Rs '{path: "/report.txt", text: .}' "$scratch/report.txt" | seed

start_display
provide_opener

# In English, the plug-in's texts included.
env -u LANGUAGE -u LC_ALL -u LC_MESSAGES LANG=en_GB.UTF-8 "$notepad" >"$scratch/notepad.out" \
    2>"$scratch/notepad.err" &
notepad_pid=$!
session_pids+=("$notepad_pid")

shot() { import -window root "$shots/$1.png"; }
requests_since() { control GET "requests?since=$1" | jq -r '.requests[] | "\(.method) \(.target)"'; }
next_request() { control GET requests | jq -r '.next'; }

editor=$(window "Untitled - Notepad")
# Without a window manager, focus does not come back by itself when a dialog closes.
on_editor() { xdotool windowfocus --sync "$editor" "$@"; }

# double_click WINDOW N: a double-click on the Nth row of the chooser's listing.
double_click() {
    xdotool windowfocus --sync "$1" mousemove --window "$1" 40 $((87 + 18 * ($2 - 1))) \
        click --repeat 2 --delay 100 1
}

# Open notes.txt, the third row, after the folder and copy.txt, with a double-click: the chooser
# then answers gdapp:/notes.txt/notes.txt, and the editor opens gdapp:/notes.txt.
on_editor key ctrl+o
chooser=$(window "Open from Drive")
sleep 0.5
shot chooser
double_click "$chooser" 3
window "gdapp:/notes.txt - Notepad" >/dev/null

# Edit: the title shows the mark; Save stores it and the mark goes.
on_editor key ctrl+End
on_editor type --delay 20 "second line"
window "gdapp:/notes.txt\\* - Notepad" >/dev/null
shot editing
on_editor key ctrl+s
window "gdapp:/notes.txt - Notepad" >/dev/null
[ "$(content /notes.txt)" = "$(printf 'first line\nsecond line')" ] \
    || fail "saved: $(content /notes.txt)"

# Save As into the folder: a click enters it, the name is typed, the filter adds .txt.
on_editor key ctrl+shift+s
chooser=$(window "Save to Drive")
sleep 0.5
row "$chooser" 1
xdotool mousemove --window "$chooser" 400 284 click 1 type --delay 20 "copy"
xdotool key Return
window "gdapp:/Reports/copy.txt - Notepad" >/dev/null
[ "$(content /Reports/copy.txt)" = "$(printf 'first line\nsecond line')" ] \
    || fail "saved as: $(content /Reports/copy.txt)"

# Reopen it with a double-click in the folder: its content is fetched again. The chooser answers
# gdapp:/copy.txt/copy.txt, which has lost the folder, and the top folder has a copy.txt too.
since=$(next_request)
on_editor key ctrl+o
chooser=$(window "Open from Drive")
sleep 0.5
row "$chooser" 1
double_click "$chooser" 1
window "gdapp:/Reports/copy.txt - Notepad" >/dev/null
requests_since "$since" | grep -q '^GET .*alt=media' || fail "no download on reopening: $(requests_since "$since")"

# A large save, read slowly by the service: the progress dialog shows until the service answers.
on_editor key ctrl+o
chooser=$(window "Open from Drive")
sleep 0.5
row "$chooser" 4
xdotool key Return
window "gdapp:/report.txt - Notepad" >/dev/null
on_editor key ctrl+Home
on_editor type --delay 20 "Summary. "
window "gdapp:/report.txt\\* - Notepad" >/dev/null
control POST faults '{"method":"PATCH","action":"throttle","bytesPerSecond":2000000}' >/dev/null
on_editor key ctrl+s
window "Transferring - Notepad" >/dev/null
sleep 0.5
shot progress
window "gdapp:/report.txt - Notepad" >/dev/null
{ printf 'Summary. '; cat "$scratch/report.txt"; } >"$scratch/expected.txt"
content /report.txt | cmp -s - "$scratch/expected.txt" || fail "the large save stored something else"

# A save that the service refuses: the box says why, the document stays modified and the stored
# file as it was.
control POST faults '{"method":"PATCH","status":500}' >/dev/null
on_editor type --delay 20 "More. "
on_editor key ctrl+s
window "Notepad" >/dev/null
shot failure
xdotool key Return
window "gdapp:/report.txt\\* - Notepad" >/dev/null
content /report.txt | cmp -s - "$scratch/expected.txt" || fail "the refused save changed the file"

# Closing with changes asks first; cancelling keeps the window.
on_editor key ctrl+q
window "Notepad" >/dev/null
xdotool key Escape
sleep 0.5
window "gdapp:/report.txt\\* - Notepad" >/dev/null

# Saved, it closes without asking, and the program ends cleanly: the provider is deleted before
# the application object.
on_editor key ctrl+s
window "gdapp:/report.txt - Notepad" >/dev/null
on_editor key ctrl+q
for _ in $(seq 100); do kill -0 "$notepad_pid" 2>/dev/null || break; sleep 0.1; done
status=0
wait "$notepad_pid" || status=$?
[ "$status" = 0 ] || fail "the editor ended with status $status"
# The tokens are in its settings, which only their owner may read.
settings="$XDG_CONFIG_HOME/Tarnwick/gdapp-notepad.conf"
grep -q '^\[gdapp\]' "$settings" || fail "no tokens in $settings"
[ "$(stat -c %a "$settings")" = 600 ] || fail "$settings is $(stat -c %a "$settings"), not 600"
echo "the editor opened, saved, saved as, reopened, saved a large file, reported a refused save and quit; screenshots in $shots"
