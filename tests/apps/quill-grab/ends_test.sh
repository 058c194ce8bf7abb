#!/usr/bin/env bash
# ends_test.sh QUILL-GRAB.exe FOLDER
# Ctrl-C and a full disk end a capture cleanly. Runs inside with-wine.
set -euo pipefail
shopt -s nullglob
. "$(dirname "$0")/../checks.sh"
grab=$1
folder=$2
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"

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
# Wine turns the signal into the console event. The exit code is in $code.
interrupt() {
  kill -INT "$pid"
  code=0
  wait "$pid" || code=$?
}

wine "$grab" --monitor 0 --all --fps 20 --seconds 60 --out interrupted >interrupted.out 2>&1 &
pid=$!
check "capture runs" wait_until [ -e interrupted/frame-0003.png ]
interrupt
check "Ctrl-C is a normal end" equals 0 "$code"
check "all frames are whole" only_whole_files interrupted 3
check "the summary says so" grep -q '^End: interrupted' interrupted/summary.txt

wine "$grab" --monitor 0 --fps 20 --size 320x200 --raw stream >stream.out 2>&1 &
pid=$!
has_two_frames() { [ "$(stat -c %s stream 2>/dev/null || echo 0)" -ge 512000 ]; }
check "the stream runs" wait_until has_two_frames
interrupt
check "Ctrl-C is a normal end of a stream" equals 0 "$code"
check "all of its frames are whole" [ $(($(stat -c %s stream) % 256000)) -eq 0 ]
check "the stream's frames are told" grep -q '^Stream: .* frames of 320 x 200' stream.out

# A reader that has stopped reading keeps the write waiting, and with it the first Ctrl-C.
mkfifo stuck
# shellcheck disable=SC2217  # a reader that never reads
sleep 60 <stuck &
reader=$!
wine "$grab" --monitor 0 --raw - >stuck 2>stuck.err &
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

mkdir full
cp interrupted/frame-0001.png full
code=0
with_file_limit 4 wine "$grab" --monitor 0 --all --frames 3 --out full >full.out 2>full.err || code=$?
check "a full disk is an output error" equals 5 "$code"
check "the error names the remedy" grep -q 'free some space' full.err
check "no partial file is left" only_whole_files full 1
check "the file of that name is as before" cmp interrupted/frame-0001.png full/frame-0001.png
check "the frame is counted" grep -q '^Frames: 1 new, 0 written as PNG' full.out

exit "$failures"
