// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

namespace bench {

// What the DLL, and nobody else in the process, did with memory while this lives. One at a time.
class MemoryCounts {
 public:
  MemoryCounts();
  ~MemoryCounts();
  MemoryCounts(const MemoryCounts&) = delete;
  MemoryCounts& operator=(const MemoryCounts&) = delete;

  uint64_t allocations() const;
  uint64_t copied_bytes() const;
};

}  // namespace bench
