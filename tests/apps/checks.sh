# Sourced by the scripts of the folders here. They end with: exit "$failures"
failures=0

check() {  # check WHAT COMMAND...
  local what=$1
  shift
  if "$@"; then
    echo "ok: $what"
  else
    echo "FAILED: $what" >&2
    failures=1
  fi
}

equals() {
  [ "$1" = "$2" ] || { echo "expected: $1, is: $2" >&2; return 1; }
}

wait_until() {  # wait_until COMMAND...: 20 seconds at most
  for _ in $(seq 200); do
    "$@" && return 0
    sleep 0.1
  done
  return 1
}

# with_file_limit KIB COMMAND...: a limit on the size of files stands in for a disk that fills up. The
# write that crosses it is cut short, the next one fails.
with_file_limit() {
  (
    trap '' XFSZ
    ulimit -f "$1"
    shift
    "$@"
  )
}
