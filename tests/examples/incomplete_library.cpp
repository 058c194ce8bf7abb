// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Functions of libquill-wgc.dll's names that do nothing. The linker leaves one out of the exports.
#include "quill_wgc_exports.h"

#define DO_NOTHING(name)      \
  extern "C" void name(void); \
  extern "C" void name(void) {}

QUILL_WGC_EXPORTS(DO_NOTHING)
