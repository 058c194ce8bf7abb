#!/usr/bin/env bash
# whole_test.sh QUILL-CHECK.exe FOLDER
# All checks pass on the stand-in, and a browser shows the report on a narrow screen, too. Runs inside
# with-wine.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
program=$1
folder=$2
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"

if ! command -v chromium >/dev/null; then
  echo "whole_test.sh: chromium is missing: run scripts/setup" >&2
  exit 1
fi

# browse PAGE: the document as a browser of 400 pixels shows it in PAGE.dom, complaints in PAGE.log.
browse() {
  timeout 60 chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
    --disable-background-networking --disable-component-update --disable-sync --window-size=400,800 \
    --user-data-dir="$folder/profile" --enable-logging=stderr --dump-dom "file://$folder/$1" \
    >"$1.dom" 2>"$1.log"
}

code=0
wine "$program" >output || code=$?
cat output
[ "$code" -eq 0 ]

browse quill-check.html
if grep -a ':CONSOLE' quill-check.html.log >&2; then
  exit 1
fi
# The page allows no script, so a copy without that rule measures it.
python3 - <<'PYTHON'
import re
page = open('quill-check.html', encoding='utf-8').read()
page, count = re.subn(r'<meta http-equiv="Content-Security-Policy"[^>]*>', '', page)
assert count == 1
script = ('<script>document.body.dataset.widths = '
          '[innerWidth, document.documentElement.scrollWidth].join()</script>')
open('measured.html', 'w', encoding='utf-8').write(page.replace('</body>', script + '</body>'))
PYTHON
browse measured.html
exec python3 "$here/whole_check.py" quill-check.json quill-check.html.dom measured.html.dom
