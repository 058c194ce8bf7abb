// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "capture/tick.h"

namespace standin {

INT64 Now() {
  LARGE_INTEGER frequency;
  LARGE_INTEGER counter;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&counter);
  constexpr INT64 kUnitsPerSecond = 1000 * kUnitsPerMs;
  const INT64 seconds = counter.QuadPart / frequency.QuadPart;
  const INT64 rest = counter.QuadPart % frequency.QuadPart;
  return seconds * kUnitsPerSecond + rest * kUnitsPerSecond / frequency.QuadPart;
}

}  // namespace standin
