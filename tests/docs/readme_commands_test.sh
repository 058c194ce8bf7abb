#!/usr/bin/env bash
# readme_commands_test.sh FOLDER: does what README.md tells a newcomer under "Five minutes", word for word,
# on what is built here, and looks at what it leaves behind. FOLDER holds what the test itself makes.
set -euo pipefail
cd "$(dirname "$0")/../.."
folder=$(realpath -m "$1")
begin=$SECONDS
rm -rf "$folder" build/demo
mkdir -p "$folder/bin"

fail() {
  echo "FAILED: $1" >&2
  exit 1
}

# The desktop's way to open a page, as a browser without a screen: the page as it is after its
# scripts have run, and what they wrote to the console.
cat >"$folder/bin/xdg-open" <<OPEN
#!/bin/sh
exec timeout 60 chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \\
  --disable-background-networking --disable-component-update --disable-sync \\
  --user-data-dir="$folder/browser" --enable-logging=stderr --virtual-time-budget=5000 \\
  --dump-dom "file://\$(realpath "\$1")" >"$folder/page.html" 2>"$folder/console.txt"
OPEN
chmod +x "$folder/bin/xdg-open"
export PATH=$folder/bin:$PATH

commands=$(sed -n '/^## Five minutes$/,/^## /p' README.md | sed -n '/^```sh$/,/^```$/p' | grep -v '^```')
[ "$(grep -c . <<<"$commands")" -ge 4 ] || fail "README.md has no commands under 'Five minutes'"
echo "$commands" | sed 's/^/| /'
if ! timeout 900 bash -euo pipefail -c "$commands" >"$folder/output.txt" 2>&1 </dev/null; then
  cat "$folder/output.txt" >&2
  fail "the commands of README.md do not run as written"
fi

cd build/demo
[ "$(find . -name 'frame-*.png' | wc -l)" -ge 2 ] || fail "the demo left fewer than two frames"
grep -q '^Target: .*WineMine' summary.txt || fail "the summary does not name the target"
grep -q '<canvas' "$folder/page.html" || fail "the report has no plot"
grep -q WineMine "$folder/page.html" || fail "the report does not name the window"
if grep ':CONSOLE' "$folder/console.txt"; then fail "the report writes to the browser's console"; fi

video=$(ffprobe -v error -select_streams v -count_frames -of csv=p=0 \
  -show_entries stream=codec_name,r_frame_rate,nb_read_frames winemine.mp4)
[ "$video" = h264,30/1,150 ] || fail "150 frames at 30 a second became: $video"

echo "ok: README.md's five minutes took $((SECONDS - begin)) s"
