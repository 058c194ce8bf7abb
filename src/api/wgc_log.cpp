// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "api/wgc_log.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

WgcLogCallback logger = nullptr;

void WgcLogf(int level, const char* format, ...) {
  char buffer[1024] = {};
  va_list arguments;
  va_start(arguments, format);
  // Hosts rely on lines cut at 1022 characters, one fewer than the buffer could hold.
  const int whole_length =
      std::max(std::vsnprintf(buffer, sizeof(buffer) - 1, format, arguments), -1);
  va_end(arguments);

  // Read the callback once: the host may unregister it on another thread between test and call.
  const WgcLogCallback callback = logger;
  if (callback == nullptr || whole_length <= 0) return;

  // The cap is the buffer's size, not the stored text's: for a line of 1023 characters or more the
  // length includes the NUL and the zeros behind it, so the whole buffer is cleared. Hosts rely on
  // the NUL, not on the length, for long lines.
  const size_t length = std::min(static_cast<size_t>(whole_length), sizeof(buffer));
  callback(level, buffer, length);
}
