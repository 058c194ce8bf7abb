#!/usr/bin/env bash
# pipeline_test.sh QUILL-GRAB.exe FOLDER FFMPEG.exe
# Streams of a real program's window, as the programs they are made for read them: an encoder for Linux
# and one for Windows, the tools behind a pipe, and another machine by way of SRT. Runs inside with-wine.
set -euo pipefail
. "$(dirname "$0")/../checks.sh"
grab=$1
folder=$2
windows_ffmpeg=$3
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"

wine winemine.exe >/dev/null 2>&1 &
game=$!
mounted=
finish() {
  [ -z "$mounted" ] || umount "$mounted"
  kill "$game" 2>/dev/null || true
}
trap finish EXIT

capture() { wine "$grab" --class WineMine --wait 30 "$@"; }
encode() { timeout 60 ffmpeg -nostdin -hide_banner -loglevel error "$@"; }
# Coded chroma takes an even size; how high the game's window is depends on the version of Wine.
even='pad=ceil(iw/2)*2:ceil(ih/2)*2'
# decode VIDEO RAW: into planes of luma and chroma, which are what videos hold.
decode() {
  encode -i "$1" -vf "$even,scale=out_color_matrix=bt601:out_range=tv" -f rawvideo \
    -pix_fmt yuv420p "$2"
}
# Width, height, frames a second and number of frames as decoded.
figures() {
  ffprobe -loglevel error -count_frames -select_streams v:0 -of csv=p=0 \
    -show_entries stream=width,height,r_frame_rate,nb_read_frames "$@"
}

# The picture that all streams show: nobody plays.
capture --screenshot game.png 2>game.err >game.out
decode game.png game.yuv
IFS=, read -r width height _ < <(figures game.png)
frame=$((width * height * 4))
coded=$((width + width % 2)),$((height + height % 2))

# Every frame of a decoded video is the game, but for what coding takes: the mean distance of a
# sample is at most this number of its 255 steps.
shows_the_game() {  # shows_the_game RAW STEPS
  /usr/bin/python3 - "$1" game.yuv "$2" <<'EOF'
import sys
import numpy
video, game = (numpy.fromfile(path, numpy.uint8).astype(int) for path in sys.argv[1:3])
errors = numpy.abs(video[:len(video) // len(game) * len(game)].reshape(-1, len(game)) - game).mean(1)
print(f"{len(errors)} frames, mean error at most {errors.max(initial=0):.2f}")
sys.exit(not (len(errors) and len(video) % len(game) == 0 and errors.max() <= float(sys.argv[3])))
EOF
}

check_mp4() {  # check_mp4 NAME: of 10 frames, 50 a second
  check "$1 becomes an MP4 file" equals "$coded,50/1,10" "$(figures "$1.mp4")"
  decode "$1.mp4" "$1.yuv"
  check "the MP4 file of $1 shows the window" shows_the_game "$1.yuv" 2
}

# becomes_mp4 FORMAT FFMPEG-INPUT-OPTION...: the stream --FORMAT, encoded and decoded.
becomes_mp4() {
  local format=$1
  shift
  capture "--$format" - --fps 50 --frames 10 2>"$format.err" |
    encode "$@" -i - -vf "$even" -c:v libx264 -pix_fmt yuv420p -qp 10 "$format.mp4"
  check_mp4 "$format"
}
becomes_mp4 y4m
becomes_mp4 raw -f rawvideo -pixel_format bgra -video_size "${width}x$height" -framerate 50
becomes_mp4 nv12 -f rawvideo -pixel_format nv12 -video_size "${coded/,/x}" -framerate 50

# An ffmpeg for Windows, found by name, as quill-grab is.
windows_path="$(winepath -w "${grab%/*}");$(winepath -w "${windows_ffmpeg%/*}")"
on_windows() { WINEPATH=$windows_path timeout 60 wine "$@" </dev/null; }

# windows_mp4 FORMAT FFMPEG-INPUT-OPTION...: through an anonymous pipe and through a named one.
windows_mp4() {
  local name=windows-$1
  local writer="quill-grab --class WineMine --size ${coded/,/x} --fps 50 --frames 10 --$1"
  local reader="ffmpeg -loglevel error ${*:2} -i" encoder="-c:v libx264 -pix_fmt yuv420p -qp 10"
  check "both programs end well" equals "0 0" "$(on_windows "${grab%/*}/anonymous_pipe.exe" \
    "$writer -" "$reader - $encoder $name.mp4" 2>"$name.err")"
  check_mp4 "$name"

  local pipe="\\\\.\\pipe\\$name"
  on_windows $writer "$pipe" >"$name-pipe.out" &
  local process=$!
  check "quill-grab makes the pipe" wait_until grep -q '^Waiting for the reader' "$name-pipe.out"
  on_windows $reader "$pipe" $encoder "$name-pipe.mp4"
  check "quill-grab ends well" wait "$process"
  check_mp4 "$name-pipe"
}
windows_mp4 y4m
windows_mp4 raw -f rawvideo -pixel_format bgra -video_size "${coded/,/x}" -framerate 50

check "quill-grab sees that ffmpeg has gone" equals "9 0" \
  "$(on_windows "${grab%/*}/anonymous_pipe.exe" "quill-grab --class WineMine --y4m -" \
    "ffmpeg -i - -frames:v 5 leaves.mp4" 2>leaves.err)"

# As documented, although Wine 8's cmd puts a file between the two.
command='quill-grab --title WineMine --y4m - --fps 50 --frames 10 | ffmpeg -i - -c:v libx264 -qp 10 cmd.mp4'
on_windows cmd /c "$command" 2>cmd.err
check_mp4 cmd

head -c "$(stat -c %s game.yuv)" /dev/zero >black.yuv
check "a black picture would not pass" eval '! shows_the_game black.yuv 2 >/dev/null'

# SRT, MPEG-TS: the receiver listens, the sender calls.
port=$(python3 -c '
import socket
with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
    probe.bind(("127.0.0.1", 0))
    print(probe.getsockname()[1])')
encode -i "srt://127.0.0.1:$port?mode=listener" -c copy received.ts 2>receiver.err &
receiver=$!
listens() { grep -q ":$(printf '%04X' "$port") " /proc/net/udp; }
check "the receiver listens" wait_until listens
capture --y4m - --frames 60 2>srt.err |
  encode -i - -c:v libx264 -preset veryfast -tune zerolatency -qp 10 -g 30 -f mpegts \
    "srt://127.0.0.1:$port?mode=caller"
wait "$receiver" || true  # it ends with the connection
decode received.ts received.yuv
check "SRT brings the window to the other side" shows_the_game received.yuv 2
received=$(($(stat -c %s received.yuv) / $(stat -c %s game.yuv)))
# What is on its way when the sender hangs up may be lost: at most SRT's delay of 0.12 s, and a bit.
is_nearly_all() { [ "$received" -ge 50 ] && [ "$received" -le 60 ]; }
check "$received of 60 frames are there" is_nearly_all

code=0
capture --raw - 2>closed.err | head -c 500000 >head.raw || code=${PIPESTATUS[0]}
check "a reader that goes ends the run" equals 9 "$code"
check "the error says so" grep -q '^quill-grab: the reader of the stream has gone' closed.err
check "the reader got all it wanted" equals 500000 "$(stat -c %s head.raw)"

# A disk with room for three frames and a half.
mkdir full
room=$((frame * 7 / 2 / 4096 * 4096))
code=0
if mount -t tmpfs -o size="$room" tmpfs full 2>/dev/null; then
  mounted=full
  capture --raw full/stream >full.out 2>full.err || code=$?
else
  echo "no tmpfs can be mounted here: a limit on the size of files stands in for the full disk"
  with_file_limit $((room / 1024)) capture --raw full/stream >full.out 2>full.err || code=$?
fi
check "a full disk is an output error" equals 5 "$code"
check "the error names the remedy" grep -q 'free some space or choose another file with --raw' full.err
check "the frames before it are whole" equals $((3 * frame)) "$(stat -c %s full/stream)"
check "they can be read" equals "$width,$height,25/1,3" \
  "$(figures -f rawvideo -pixel_format bgra -video_size "${width}x$height" full/stream)"

exit "$failures"
