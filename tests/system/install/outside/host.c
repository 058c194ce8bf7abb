// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Linked against the DLL. Ends with 0 when the calls answer as the header says.
#include <stdio.h>

#include "libquill_wgc.h"

static bool holds(bool condition, const char* what) {
  if (!condition) fprintf(stderr, "host_c: not so: %s\n", what);
  return condition;
}

int main(void) {
  bool right = holds(is_wgc_session_supported(), "capture is supported");
  void* const session = wgc_session_create(GetDesktopWindow());
  if (!holds(session != NULL, "a session can be created")) return 1;
  right &= holds(!wgc_get_status(session), "a new session does not run");
  right &= holds(wgc_get_device(session) == NULL, "a new session has no device");
  wgc_session_destroy(session);
  right &= holds(wgc_session_create2(NULL) == NULL, "without a monitor there is no session");
  return right ? 0 : 1;
}
