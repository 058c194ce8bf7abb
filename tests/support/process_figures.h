// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

// What this process holds.
struct ProcessFigures {
  int handles = 0;
  int threads = 0;
  uint64_t memory = 0;  // bytes of its own
};

ProcessFigures MeasureProcess();
