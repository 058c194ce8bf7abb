// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

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

// Where in the input the program is, for the report of Require; empty outside of a run.
inline std::string (*fuzz_position)() = nullptr;

// Ends the process when `holds` is false: that is how libFuzzer learns that an input fails.
inline void Require(bool holds, const char* expectation) {
  if (holds) return;
  std::fprintf(stderr, "%snot so: %s\n", fuzz_position ? fuzz_position().c_str() : "", expectation);
  std::abort();
}
