// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The C library's header with the one function of Windows' C library that the sources use and Linux
// lacks, so that the sources need not know.
#pragma once

#include_next <string.h>

#ifdef __cplusplus
#include <errno.h>

inline int memcpy_s(void* destination, size_t destination_bytes, const void* source, size_t bytes) {
  if (bytes == 0) return 0;
  if (destination == nullptr) return EINVAL;
  if (source == nullptr || destination_bytes < bytes) {
    memset(destination, 0, destination_bytes);
    return source == nullptr ? EINVAL : ERANGE;
  }
  memcpy(destination, source, bytes);
  return 0;
}
#endif
