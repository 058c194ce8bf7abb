// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "common/console.h"

namespace quill_apps {

struct LogLine {
  double seconds;  // since SetLogSink
  int level;       // a WgcLogLevel
  std::string text;
};

constexpr size_t kKeptLogLines = 1000;

// "info", "warning" or "error".
const char* LogLevelName(int level);

// Prepares the sink for the log lines of one run. The library's callback has no context, so the
// process has one sink. It keeps the first kKeptLogLines lines and the last error and, when
// verbose, prints every line to console.
void SetLogSink(Console* console, bool verbose);

// A WgcLogCallback, for any thread. Throws nothing.
void OnLogLine(int level, const char* text, size_t length);

// The last line of level error, or an empty text.
std::string LastLoggedError();

// The lines that were kept.
std::vector<LogLine> LoggedLines();

}  // namespace quill_apps
