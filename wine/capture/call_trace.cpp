// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "capture/call_trace.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>

namespace standin {
namespace {

std::atomic<bool> tracing{false};
std::mutex mutex;
std::string calls;  // a line each

}  // namespace

void Trace(const char* format, ...) {
  if (!tracing) return;
  char line[128];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof(line), format, arguments);
  va_end(arguments);
  const std::lock_guard lock(mutex);
  calls.append(line).append("\n");
}

}  // namespace standin

// Starts recording this process's calls.
extern "C" void StandinStartTrace() {
  const std::lock_guard lock(standin::mutex);
  standin::calls.clear();
  standin::tracing = true;
}

// Ends the trace and copies its lines into text, which is cut at `bytes` and always ends in a NUL.
extern "C" void StandinStopTrace(char* text, size_t bytes) {
  standin::tracing = false;
  const std::lock_guard lock(standin::mutex);
  const size_t length = std::min(standin::calls.size(), bytes - 1);
  standin::calls.copy(text, length);
  text[length] = '\0';
}
