#!/bin/sh
# Copyright (c) 2026 the libquill-wgc authors
# SPDX-License-Identifier: MIT
#
# unsuppressed_test.sh PROGRAM: runs it without suppressions. Every data race that is reported must
# be one of the two that tests/native/threads/tsan.supp names: a store by that very function, not by one
# that it calls. Both must be reported, or their suppressions are no longer needed.
set -eu

report=$(mktemp)
trap 'rm -f "$report"' EXIT
TSAN_OPTIONS='exitcode=0 halt_on_error=0 suppressions=' "$1" \
  --gtest_filter=Threads.OneSessionPolledFlippedAndClosed >"$report" 2>&1 || {
  cat "$report"
  exit 1
}

awk '
  /^WARNING: ThreadSanitizer: / { reports++; kind = $0; frames = ""; wanted = 0 }
  # The two accesses; allocations and threads have headings of their own.
  /^  (Previous )?(atomic )?([Ww]rite|[Rr]ead) of size / { wanted = 1; next }
  wanted && /^    #0 / { frames = frames $2 " "; wanted = 0 }
  /^SUMMARY: ThreadSanitizer: / {
    if (kind ~ /data race/ && frames ~ /WgcCaptureSession::SetCaptureToTexture\(/) output++
    else if (kind ~ /data race/ && frames ~ /WgcCaptureSession::EnableCursor\(/) cursor++
    else { print "not foreseen: " kind "\n  " frames; unforeseen++ }
  }
  END {
    printf "%d reports: %d of SetCaptureToTexture, %d of EnableCursor, %d others\n", reports,
           output, cursor, unforeseen
    exit !(output > 0 && cursor > 0 && unforeseen == 0)
  }
' "$report" || {
  cat "$report"
  exit 1
}
