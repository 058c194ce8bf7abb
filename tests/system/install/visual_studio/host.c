// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Refers to every name in the import library. Ends with 0 when capture is supported.
#include "quill_wgc_exports.h"

#define DECLARE(name) void name(void);
QUILL_WGC_EXPORTS(DECLARE)
#define ADDRESS(name) name,
void (*const volatile functions[])(void) = {QUILL_WGC_EXPORTS(ADDRESS)};

int start(void) {
  for (unsigned i = 0; i < sizeof(functions) / sizeof(*functions); ++i) {
    if (!functions[i]) return 1;
  }
  return ((_Bool(*)(void))is_wgc_session_supported)() ? 0 : 2;
}
