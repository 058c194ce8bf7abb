#!/usr/bin/env bash
# with_wine_test.sh ROOT
# scripts/with-wine and scripts/wine-run, with stubs for Wine and its display.
set -euo pipefail
root=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
fail() { echo "with_wine_test: $*" >&2; exit 1; }

stub() { # NAME: what it does comes from the standard input.
  { echo '#!/usr/bin/env bash'; cat; } >"$folder/bin/$1"
  chmod +x "$folder/bin/$1"
}
mkdir "$folder/bin" "$folder/prefix"
touch "$folder/prefix/system.reg"
stub Xvfb <<<'echo 99 >&3; exec sleep 60'
# The server answers -k0 as long as the file is there.
stub wineserver <<<'[ "$1" != -k0 ] || [ -e "$WINEPREFIX/server" ]'
# with-wine starts programs of Wine in the background.
stub wine <<'END'
case $1 in
  --version) cat "$WINE_VERSION" ;;
  *.exe) ;;
  *) touch "$WINEPREFIX/server"; eval "$1" ;;
esac
END
stub wineboot <<<'[ -z "${WINEBOOT_FAILS:-}" ] && touch "$WINEPREFIX/system.reg"'
export WINE_VERSION=$folder/version
echo wine-8.0 >"$WINE_VERSION"
unset QUILL_WGC_IN_WINE WINESERVER
export PATH=$folder/bin:$PATH QUILL_WGC_PREFIX=$folder/prefix QUILL_WGC_STANDIN=$folder

# The status of a program that ran is its own.
for status in 0 7; do
  got=0
  "$root/scripts/wine-run" "exit $status" >"$folder/out" 2>&1 || got=$?
  [ "$got" -eq "$status" ] || fail "wine-run ended with $got instead of $status"
  [ ! -s "$folder/out" ] || fail "wine-run said: $(cat "$folder/out")"
done

# One that failed may have found no wineserver.
got=0
"$root/scripts/wine-run" 'rm "$WINEPREFIX/server"; exit 7' >"$folder/out" 2>&1 || got=$?
[ "$got" -eq 7 ] || fail "wine-run without a wineserver ended with $got instead of 7"
grep -q 'wine-run: there is no wineserver: .*Try again' "$folder/out" ||
  fail "wine-run said: $(cat "$folder/out")"

# What the Vulkan validation layer finds fails a command that did not fail.
says() { # WORD TEXT: two programs, one after the other, of which the first has fault found with it.
  WORD=$1 TEXT=$2 VK_INSTANCE_LAYERS=validation "$root/scripts/with-wine" sh -c '
    printf "Validation $WORD: [ VUID-1 ]\n$TEXT\n" >"$VK_KHRONOS_VALIDATION_LOG_FILENAME"
    echo "Validation Information: [ here ]" >"$VK_KHRONOS_VALIDATION_LOG_FILENAME"' 2>"$folder/out"
}
known='the storage image descriptor [VkDescriptorSet 0x4f, variable "u0"] requires SINT component type, but bound descriptor format is VK_FORMAT_R8_UINT.'
says Information some || fail "information alone was an error: $(cat "$folder/out")"
says Error "$known" || fail "what is known was an error: $(cat "$folder/out")"
for fault in Error Warning; do
  if says $fault some; then fail "with-wine took no notice of: Validation $fault"; fi
  grep -q 'VUID-1' "$folder/out" || fail "with-wine does not show: Validation $fault"
done

# A prefix that another Wine made is left alone; one that is not of ours is taken as it is.
"$root/scripts/with-wine" true
cp "$WINE_VERSION" "$folder/prefix/with-wine.made-by"
"$root/scripts/with-wine" true
echo wine-10.0 >"$WINE_VERSION"
got=0
"$root/scripts/with-wine" true 2>"$folder/out" || got=$?
[ "$got" -eq 1 ] && [ -e "$folder/prefix/system.reg" ] &&
  grep -q 'made by wine-8.0, and this is wine-10.0' "$folder/out" ||
  fail "a prefix of another Wine: $got, $(cat "$folder/out")"
echo wine-8.0 >"$WINE_VERSION"

# The one under build/ is made anew: of another Wine, and after an interruption.
mkdir -p "$folder/checkout/scripts"
cp "$root/scripts/with-wine" "$folder/checkout/scripts"
own=$folder/checkout/build/prefix
for note in 'echo wine-7.0 >' 'rm -f'; do
  unset QUILL_WGC_PREFIX
  mkdir -p "$own"
  touch "$own/system.reg" "$own/left-over"
  eval "$note '$own/with-wine.made-by'"
  "$folder/checkout/scripts/with-wine" true >"$folder/out" 2>&1
  grep -q 'making it anew' "$folder/out" && [ ! -e "$own/left-over" ] && [ -e "$own/system.reg" ] &&
    cmp -s "$WINE_VERSION" "$own/with-wine.made-by" || fail "the own prefix: $(cat "$folder/out")"
  "$folder/checkout/scripts/with-wine" true >"$folder/out" 2>&1
  [ ! -s "$folder/out" ] || fail "an own prefix of this Wine: $(cat "$folder/out")"
done
rm -r "$own"
got=0
WINEBOOT_FAILS=1 "$folder/checkout/scripts/with-wine" true 2>"$folder/out" || got=$?
[ "$got" -eq 1 ] && grep -q 'wineboot made no prefix' "$folder/out" || fail "a failing wineboot: $got"
"$folder/checkout/scripts/with-wine" true 2>"$folder/out" || fail "after it: $(cat "$folder/out")"
export QUILL_WGC_PREFIX=$folder/prefix

# Two with-wine in one prefix: the second runs when the first has ended.
mkfifo "$folder/go"
"$root/scripts/with-wine" sh -c "echo first begins; cat '$folder/go'; echo first ends" \
  >>"$folder/order" &
first=$!
for _ in $(seq 100); do [ -s "$folder/order" ] && break || sleep 0.1; done
"$root/scripts/with-wine" echo second >>"$folder/order" 2>"$folder/waiting" &
second=$!
for _ in $(seq 100); do
  [ -s "$folder/waiting" ] || grep -q second "$folder/order" && break || sleep 0.1
done
echo >"$folder/go"
wait "$first" "$second"
grep -v '^$' "$folder/order" | diff - <(printf 'first begins\nfirst ends\nsecond\n') ||
  fail "two with-wine in one prefix ran at once"
grep -q 'with-wine: waiting' "$folder/waiting" || fail "the second did not say that it waits"
