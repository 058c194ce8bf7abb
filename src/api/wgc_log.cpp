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
  // Hosts have come to know lines cut at 1022 characters, one short of what the buffer could take.
  const int whole_length =
      std::max(std::vsnprintf(buffer, sizeof(buffer) - 1, format, arguments), -1);
  va_end(arguments);

  // Read once: the host may unregister on another thread between a test and the call.
  const WgcLogCallback callback = logger;
  if (callback == nullptr || whole_length <= 0) return;

  // Capped at the buffer, not at the stored text: for a line of 1023 characters or more the length
  // covers the NUL and the zero fill behind it, which is why the whole buffer is cleared. Hosts
  // rely on the NUL, not on the length, for long lines.
  const size_t length = std::min(static_cast<size_t>(whole_length), sizeof(buffer));
  callback(level, buffer, length);
}
