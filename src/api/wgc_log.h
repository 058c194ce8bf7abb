// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// All output of the library: a line, formatted on the stack, for the host's callback.
#pragma once

#include "libquill_wgc.h"

enum LogLevel {
  LogInfo = WGC_LOG_INFO,
  LogWarning = WGC_LOG_WARNING,
  LogError = WGC_LOG_ERROR,
};

// The host's callback, null until it registers one. A plain pointer: hosts register before they
// create sessions, or accept that a line may still go to the previous callback.
extern WgcLogCallback logger;

// printf-style, with the C library's conversion rules. Any thread; allocates nothing, never throws.
#if defined(__clang__)
__attribute__((format(printf, 2, 3)))
#elif defined(__GNUC__)
__attribute__((format(gnu_printf, 2, 3)))
#endif
void WgcLogf(int level, const char* format, ...);
