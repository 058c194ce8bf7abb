#!/usr/bin/env bash
# report_page_test.sh SAMPLE.exe FOLDER
# A browser shows the report of the sample's run, draws its plots and complains of nothing. Runs
# inside with-wine.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
sample=$1
folder=$2
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"

if ! command -v chromium >/dev/null; then
  echo "report_page_test.sh: chromium is missing: run scripts/setup" >&2
  exit 1
fi

# browse PAGE NAME: the document after its scripts in NAME.dom, complaints in NAME.complaints.
browse() {
  timeout 60 chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
    --disable-background-networking --disable-component-update --disable-sync \
    --user-data-dir="$folder/profile-$2" --virtual-time-budget=5000 --enable-logging=stderr \
    --dump-dom "file://$folder/$1" >"$2.dom" 2>"$2.log"
  grep -a ':CONSOLE' "$2.log" >"$2.complaints" || true
}

# with_line PAGE LINE: PAGE with LINE at the end of its body.
with_line() {
  sed "s|^</body>|$2\n</body>|" "$1"
}

wine "$sample" report.html >polls

# The canvases tell how many colours they show once the page has settled, and the pointer enters the
# first square of the heat map.
probe='<script>setTimeout(() => {
  document.querySelector("#heat rect").dispatchEvent(new PointerEvent("pointerover", {bubbles: true}));
  for (const canvas of document.querySelectorAll("canvas")) {
  const {data} = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height);
  canvas.dataset.colors = new Set(new Uint32Array(data.buffer)).size; } }, 500);</script>'
with_line report.html "$(tr '\n' ' ' <<<"$probe")" >probed.html
browse probed.html probed
if [ -s probed.complaints ]; then
  echo "the browser complains of the report:" >&2
  cat probed.complaints >&2
  exit 1
fi
python3 "$here/report_page_check.py" probed.dom polls

# Complaints are seen: of a script's error, and of a picture from elsewhere, which is refused.
with_line report.html '<img src="https://example.invalid/picture.png"><script>missing();</script>' \
  >wrong.html
browse wrong.html wrong
grep -q 'missing is not defined' wrong.complaints
grep -q 'Content Security Policy' wrong.complaints
