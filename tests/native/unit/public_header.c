/* Copyright (c) 2026 the libquill-wgc authors
 * SPDX-License-Identifier: MIT
 *
 * The public header alone, twice; compiled as C11 and as C++17 with every warning an error. */
#include "libquill_wgc.h"
#include "libquill_wgc.h"

typedef char bool_is_one_byte[sizeof(bool) == 1 ? 1 : -1];
bool_is_one_byte* public_header_compiles(void);
bool_is_one_byte* public_header_compiles(void) {
  return NULL;
}
