#!/usr/bin/env bash

# SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
#
# SPDX-License-Identifier: LGPL-2.1-or-later

# "./scripts/demo --gui" as a user runs it, on a virtual display: the editor comes up, the chooser
# shows once the consent went through, a seeded file opens, and closing the editor ends the demo
# with 0. Exits 77 (skipped) without Xvfb or xdotool.
#   demo-gui.sh BUILD
set -euo pipefail
build=$1
fail() {
    echo "$*" >&2
    [ -f "$scratch/demo.out" ] && grep -v '^QStandardPaths' "$scratch/demo.out" >&2
    exit 1
}
source "$(dirname "$0")/support/xsession.sh"
need_tools "xvfb, xdotool" Xvfb xdotool
start_display

GDAPP_DEMO_BUILD="$build" "$(dirname "$0")/../scripts/demo" --gui >"$scratch/demo.out" 2>&1 &
demo=$!
session_pids+=("$demo")

editor=$(window "Untitled - Notepad")
xdotool windowfocus --sync "$editor" key ctrl+o
# Without the authorisation, a box would say the provider is not available instead.
chooser=$(window "Open from Drive")
sleep 0.5
row "$chooser" 2 # Welcome.txt, below the folder
xdotool key Return
window "gdapp:/Welcome.txt - Notepad" >/dev/null
xdotool windowfocus --sync "$editor" key ctrl+q
status=0
timeout 30 tail --pid="$demo" -f /dev/null || fail "the demo did not end with the editor"
wait "$demo" || status=$?
[ "$status" = 0 ] || fail "the demo ended with status $status"
grep -q 'Demo finished' "$scratch/demo.out" || fail "the demo did not say it finished"
echo "demo --gui: the editor opened a file of the demo's store and the demo ended with 0"
