// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/log_sink.h"

#include <libquill_wgc.h>

#include <mutex>

namespace quill_grab {

namespace {

std::mutex sink_mutex;
Console* sink_console = nullptr;
bool sink_verbose = false;
std::string last_error;

const char* LevelName(int level) {
  switch (level) {
    case WGC_LOG_INFO:
      return "info";
    case WGC_LOG_WARNING:
      return "warning";
    default:
      return "error";
  }
}

}  // namespace

void SetLogSink(Console* console, bool verbose) {
  const std::lock_guard lock(sink_mutex);
  sink_console = console;
  sink_verbose = verbose;
  last_error.clear();
}

// The text ends at its NUL; length is not reliable for long lines.
void OnLogLine(int level, const char* text, size_t) {
  try {
    const std::lock_guard lock(sink_mutex);
    if (level == WGC_LOG_ERROR) last_error = text;
    if (sink_verbose && sink_console != nullptr) {
      sink_console->PrintLine(std::string("log ") + LevelName(level) + ": " + text);
    }
  } catch (...) {
    // Out of memory: the line is lost, as nothing may leave a log callback.
  }
}

std::string LastLoggedError() {
  const std::lock_guard lock(sink_mutex);
  return last_error;
}

}  // namespace quill_grab
