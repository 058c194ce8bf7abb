// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The one function of Windows' C library that the sources use and Linux lacks. Included ahead of
// every file of the native build, so that the sources need not know.
#pragma once

#include <cerrno>
#include <cstring>

inline int memcpy_s(void* destination, size_t destination_bytes, const void* source, size_t bytes) {
  if (bytes == 0) return 0;
  if (destination == nullptr) return EINVAL;
  if (source == nullptr || destination_bytes < bytes) {
    std::memset(destination, 0, destination_bytes);
    return source == nullptr ? EINVAL : ERANGE;
  }
  std::memcpy(destination, source, bytes);
  return 0;
}
