#!/usr/bin/env bash
# ends_test.sh QUILL-GRAB.exe FOLDER
# Ctrl-C and a full disk end a capture cleanly. Runs inside with-wine.
set -euo pipefail
shopt -s nullglob
grab=$1
folder=$2
rm -rf "$folder"
mkdir -p "$folder"

failures=0
check() {  # check WHAT COMMAND...
  local what=$1
  shift
  if "$@"; then
    echo "ok: $what"
  else
    echo "FAILED: $what" >&2
    failures=$((failures + 1))
  fi
}

# A PNG file ends with the IEND chunk: no data, then its checksum.
is_whole_png() {
  [ "$(tail -c 12 "$1" | od -An -tx1 | tr -d ' \n')" = 0000000049454e44ae426082 ]
}
only_whole_files() {  # ... in $1, and at least $2 pictures
  local pictures=0 file
  for file in "$1"/*; do
    case $file in
      */summary.txt) ;;
      *.png) is_whole_png "$file" || return 1; pictures=$((pictures + 1)) ;;
      *) return 1 ;;
    esac
  done
  [ "$pictures" -ge "$2" ]
}
has_exit_code() { [ "$code" -eq "$1" ]; }
wait_until() {  # wait_until COMMAND...
  for _ in $(seq 200); do
    "$@" && return 0
    sleep 0.1
  done
  return 1
}

# Ctrl-C: Wine turns the signal into the console event.
wine "$grab" --monitor 0 --all --fps 20 --seconds 60 --out "$folder/interrupted" \
  >"$folder/interrupted.out" 2>"$folder/interrupted.err" &
pid=$!
check "capture runs" wait_until [ -e "$folder/interrupted/frame-0003.png" ]
kill -INT "$pid"
code=0
wait "$pid" || code=$?
check "Ctrl-C is a normal end" has_exit_code 0
check "all frames are whole" only_whole_files "$folder/interrupted" 3
check "the summary says so" grep -q '^End: interrupted' "$folder/interrupted/summary.txt"

# The same with a stream: it ends with a whole frame.
wine "$grab" --monitor 0 --fps 20 --size 320x200 --raw "$folder/stream" \
  >"$folder/stream.out" 2>"$folder/stream.err" &
pid=$!
has_two_frames() { [ "$(stat -c %s "$folder/stream" 2>/dev/null || echo 0)" -ge 512000 ]; }
check "the stream runs" wait_until has_two_frames
kill -INT "$pid"
code=0
wait "$pid" || code=$?
check "Ctrl-C is a normal end of a stream" has_exit_code 0
check "all of its frames are whole" [ $(($(stat -c %s "$folder/stream") % 256000)) -eq 0 ]
check "the stream's frames are told" grep -q '^Stream: .* frames of 320 x 200' "$folder/stream.out"

# A reader that has stopped reading keeps the write waiting, and with it the first Ctrl-C.
mkfifo "$folder/stuck"
# shellcheck disable=SC2217  # a reader that never reads
sleep 60 <"$folder/stuck" &
reader=$!
wine "$grab" --monitor 0 --raw - >"$folder/stuck" 2>"$folder/stuck.err" &
pid=$!
# A pipe holds 64 KiB, a frame has more.
is_full() {
  python3 -c 'import array, fcntl, sys, termios
waiting = array.array("i", [0])
fcntl.ioctl(sys.stdin, termios.FIONREAD, waiting)
sys.exit(waiting[0] < 65536)' <"/proc/$reader/fd/0" 2>/dev/null
}
check "capture into a stuck reader fills the pipe" wait_until is_full
kill -INT "$pid"
sleep 0.5  # ten times as long as a run takes that ends at the first Ctrl-C
check "the first Ctrl-C waits for the write" kill -0 "$pid"
kill -INT "$pid"
is_over() { ! kill -0 "$pid" 2>/dev/null; }
check "the second Ctrl-C ends the program" wait_until is_over
kill "$reader"
wait "$reader" 2>/dev/null || true

# A limit on the size of files stands in for a disk that fills up: the write that crosses it is cut
# short, the next one fails.
mkdir "$folder/full"
cp "$folder/interrupted/frame-0001.png" "$folder/full"
code=0
(
  trap '' XFSZ
  ulimit -f 4
  exec wine "$grab" --monitor 0 --all --frames 3 --out "$folder/full"
) >"$folder/full.out" 2>"$folder/full.err" || code=$?
check "a full disk is an output error" has_exit_code 5
check "the error names the remedy" grep -q 'free some space' "$folder/full.err"
check "no partial file is left" only_whole_files "$folder/full" 1
check "the file of that name is as before" \
  cmp "$folder/interrupted/frame-0001.png" "$folder/full/frame-0001.png"
check "the frame is counted" grep -q '^Frames: 1 new, 0 written as PNG' "$folder/full.out"

[ "$failures" -eq 0 ]
