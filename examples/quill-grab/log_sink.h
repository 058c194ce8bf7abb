// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <string>

#include "quill-grab/console.h"

namespace quill_grab {

// Receives the library's log lines. The library's callback carries no context, so there is one sink
// for the process: it keeps the last error line and, when verbose, prints every line on console.
void SetLogSink(Console* console, bool verbose);

// A WgcLogCallback. Any thread; throws nothing.
void OnLogLine(int level, const char* text, size_t length);

// The last line of level error, or an empty text.
std::string LastLoggedError();

}  // namespace quill_grab
