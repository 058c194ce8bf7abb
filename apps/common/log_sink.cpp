// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/log_sink.h"

#include <libquill_wgc.h>

#include <chrono>
#include <mutex>

namespace quill_apps {

namespace {

std::mutex sink_mutex;
Console* sink_console = nullptr;
bool sink_verbose = false;
std::string last_error;
std::vector<LogLine> lines;
std::chrono::steady_clock::time_point start;

void Keep(int level, const char* text) {
  if (level == WGC_LOG_ERROR) last_error = text;
  if (lines.size() == kKeptLogLines) return;
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  lines.push_back({elapsed.count(), level, text});
}

}  // namespace

const char* LogLevelName(int level) {
  switch (level) {
    case WGC_LOG_INFO:
      return "info";
    case WGC_LOG_WARNING:
      return "warning";
    default:
      return "error";
  }
}

void SetLogSink(Console* console, bool verbose) {
  const std::lock_guard lock(sink_mutex);
  sink_console = console;
  sink_verbose = verbose;
  last_error.clear();
  lines.clear();
  start = std::chrono::steady_clock::now();
}

// Takes the text up to its NUL, because the length is not reliable for long lines.
void OnLogLine(int level, const char* text, size_t) {
  try {
    const std::lock_guard lock(sink_mutex);
    Keep(level, text);
    if (sink_verbose && sink_console != nullptr) {
      sink_console->PrintLine(std::string("log ") + LogLevelName(level) + ": " + text);
    }
  } catch (...) {
    // Out of memory: the line is lost, because no exception may leave a log callback.
  }
}

std::string LastLoggedError() {
  const std::lock_guard lock(sink_mutex);
  return last_error;
}

std::vector<LogLine> LoggedLines() {
  const std::lock_guard lock(sink_mutex);
  return lines;
}

}  // namespace quill_apps
