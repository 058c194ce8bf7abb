// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Pairs of frames to compare, and what the comparison has to find.
#pragma once

#include <cstdint>
#include <vector>

namespace shader_bench {

constexpr uint32_t kTileEdge = 32;

struct Size {
  uint32_t width;
  uint32_t height;
};
inline uint32_t Columns(const Size& size) {
  return (size.width + kTileEdge - 1) / kTileEdge;
}
inline uint32_t Rows(const Size& size) {
  return (size.height + kTileEdge - 1) / kTileEdge;
}

// BGRA, row by row without gaps.
using Pixels = std::vector<uint32_t>;

// Whether the pixel differs between the two frames of a pair.
struct Change {
  const char* name;
  bool (*touches)(uint32_t x, uint32_t y);
};
extern const std::vector<Change> kChanges;

Pixels NoiseFrame(const Size& size);
Pixels Changed(const Pixels& before, const Size& size, const Change& change);

// The change measure of each tile, row by row; 0 for tiles that are not examined.
std::vector<uint32_t> ExpectedMeasures(const Pixels& before, const Pixels& after, const Size& size);

}  // namespace shader_bench
