// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "quill-grab/console/console.h"

namespace quill_grab {

struct LogLine {
  double seconds;  // since SetLogSink
  int level;       // a WgcLogLevel
  std::string text;
};

constexpr size_t kKeptLogLines = 1000;

// "info", "warning" or "error".
const char* LogLevelName(int level);

// Receives the library's log lines. The library's callback carries no context, so there is one sink
// for the process: it keeps the first kKeptLogLines lines and the last error and, when verbose,
// prints every line on console. Forgets what it has kept.
void SetLogSink(Console* console, bool verbose);

// A WgcLogCallback. Any thread; throws nothing.
void OnLogLine(int level, const char* text, size_t length);

// The last line of level error, or an empty text.
std::string LastLoggedError();

// The lines kept.
std::vector<LogLine> LoggedLines();

}  // namespace quill_grab
