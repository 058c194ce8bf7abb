// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Linked against the DLL, as C and as C++. Ends with 0 when the calls answer as the header says.
#include <stdio.h>

#include "libquill_wgc.h"

static int errors;

static void count_errors(int level, const char* text, size_t length) {
  (void)text;
  (void)length;
  errors += level == WGC_LOG_ERROR;
}

static bool holds(bool condition, const char* what) {
  if (!condition) fprintf(stderr, "host: not so: %s\n", what);
  return condition;
}

int main(void) {
  void* session;
  bool right = holds(is_wgc_session_supported(), "capture is supported");
  wgc_register_logger(count_errors);
  session = wgc_session_create(NULL);
  if (!holds(session != NULL, "a session can be created")) return 1;
  right &= holds(!wgc_get_status(session), "a new session does not run");
  right &= holds(wgc_get_device(session) == NULL, "a new session has no device");
  right &= holds(!wgc_session_start(session), "without a window a session does not start");
  right &= holds(errors > 0, "the log says why");
  wgc_session_destroy(session);
  right &= holds(wgc_session_create2(NULL) == NULL, "without a monitor there is no session");
  return right ? 0 : 1;
}
