#!/usr/bin/env bash
# program_test.sh QUILL-CHECK.exe FOLDER
# What quill-check says and returns when something is in its way, and when it is interrupted. Runs inside
# with-wine.
set -euo pipefail
. "$(dirname "$0")/../checks.sh"
program=$1
folder=$2
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"

# run NAME OPTION...: the exit code in $code, the output in NAME.out and NAME.err.
run() {
  local name=$1
  shift
  code=0
  wine "${exe:-$program}" "$@" >"$name.out" 2>"$name.err" || code=$?
}
# copy NAME: a folder of that name with the program, as $exe.
copy() {
  mkdir "$1"
  cp "$program" "$1/"
  exe=$folder/$1/quill-check.exe
}
# has FILE EXPRESSION: whether that is true of the report, as `report` with its checks in `checks`.
has() {
  python3 - "$1" "$2" <<'PYTHON'
import json, sys
report = json.load(open(sys.argv[1], encoding='utf-8'))
checks = {check['number']: check for check in report['checks']}
sys.exit(not eval(sys.argv[2]))
PYTHON
}

run unknown --fast
check "an unknown option is refused" equals 3 "$code"
check "the error names the help" grep -q '^quill-check: .*--fast.*--help' unknown.err
run help --help
check "the help is printed" equals 0 "$code"
check "the help gives the exit codes" grep -q '^Exit codes: 0 ' help.out

run nowhere --out no/such/folder
check "a folder that does not exist is refused" equals 3 "$code"
check "the error says what to do" \
  grep -q 'quill-check.html.*make its folder first or choose another folder with --out' nowhere.err
mkdir -p taken/quill-check.json
run taken --out taken
check "a report that cannot be written is refused" equals 3 "$code"
check "the error names the file" grep -q 'quill-check.json.*choose another folder with --out' taken.err
check "nothing was checked before" [ "$(wc -l <taken.out)" = 0 ]

copy alone
run without --out alone
check "no DLL is a failure" equals 1 "$code"
check "the failure says where the DLL belongs" \
  grep -q '^FAIL   1 .*put libquill-wgc.dll into the folder of quill-check.exe' without.out
check "the checks that need it are skipped" \
  has alone/quill-check.json 'all(checks[n]["verdict"] == "SKIP" for n in range(2, 24))'
check "the page is written, too" grep -q 'put libquill-wgc.dll into' alone/quill-check.html

copy other
# The file version, after the signature of the fixed part of the version resource.
python3 - "$(dirname "$program")/libquill-wgc.dll" other/libquill-wgc.dll <<'PYTHON'
import sys
data = bytearray(open(sys.argv[1], 'rb').read())
at = data.index(b'\xbd\x04\xef\xfe') + 8
data[at:at + 4] = b'\x07\x00\x09\x00'
open(sys.argv[2], 'wb').write(data)
PYTHON
run other --out other --only 1
check "a DLL of another version is a failure" equals 1 "$code"
check "the failure names both versions" \
  grep -q '^FAIL   1 .*version 9\.7\..*quill-check [0-9.]*: use the two from one zip' other.out
exe=

wine "$program" --out . >interrupted.out 2>interrupted.err &
pid=$!
check "checks run" wait_until grep -q '^[A-Z]*   2 ' interrupted.out
run second
check "a second one is refused" equals 3 "$code"
check "the error says what to do" grep -q '^quill-check: another .*wait until it ends' second.err
kill -INT "$pid"
code=0
wait "$pid" || code=$?
check "after Ctrl-C nothing is decided" equals 2 "$code"
check "Ctrl-C is named as the reason" grep -q '^SKIP .*interrupted' interrupted.out
check "what was found is in the report" has quill-check.json \
  'checks[1]["verdict"] == "PASS" and checks[2]["verdict"] in ("PASS", "WARN") and report["exitCode"] == 2'
check "the report has all checks" has quill-check.json 'sorted(checks) == list(range(1, 24))'
check "the page says that nothing is decided" grep -q 'Not decided' quill-check.html

exit "$failures"
