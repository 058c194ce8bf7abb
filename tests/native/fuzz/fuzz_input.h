// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>

#include "native/require.h"

// Reads the bytes of one input from front to back; past its end come zeros.
class FuzzInput {
 public:
  FuzzInput(const uint8_t* data, size_t size) : data(data), remaining(size) {}

  size_t Remaining() const { return remaining; }

  uint8_t Byte() {
    if (remaining == 0) return 0;
    --remaining;
    return *data++;
  }

  // Little-endian.
  uint32_t Word() {
    uint32_t word = 0;
    for (int shift = 0; shift < 32; shift += 8) word |= static_cast<uint32_t>(Byte()) << shift;
    return word;
  }

 private:
  const uint8_t* data;
  size_t remaining;
};
