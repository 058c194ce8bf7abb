#!/usr/bin/env bash
# standin_check_test.sh STANDIN-CHECK.exe
# Where Wine takes its own DLLs, the stand-in's check tells so. Runs inside with-wine.
set -euo pipefail
check=$1
wine "$check"
code=0
got=$(WINEDLLOVERRIDES=d3d11=b wine "$check" | tr -d '\r') || code=$?
if [ "$code" -ne 1 ] || [ "$got" != "Wine's d3d11.dll" ]; then
  echo "FAILED: with Wine's d3d11.dll it ends with $code and says: $got" >&2
  exit 1
fi
