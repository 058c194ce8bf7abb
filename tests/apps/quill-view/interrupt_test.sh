#!/usr/bin/env bash
# interrupt_test.sh QUILL-VIEW.exe FOLDER
# Ctrl-C closes the view. Runs inside with-wine.
set -euo pipefail
. "$(dirname "$0")/../checks.sh"
view=$1
folder=$2
mkdir -p "$folder"
cd "$folder"

wine "$view" --monitor 0 >view.out 2>view.err &
pid=$!
check "the view is open" wait_until xdotool search --name ' - quill-view$' >/dev/null
kill -INT "$pid"  # Wine turns it into the console event.
code=0
wait "$pid" || code=$?
check "Ctrl-C is a normal end" equals 0 "$code"
check "the frames are told" grep -q '^Shown: ' view.out
check "nothing is an error" [ ! -s view.err ]

exit "$failures"
