// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "frames.h"

#include <cstdlib>
#include <random>

namespace shader_bench {
namespace {

// What a changed pixel gains over its channels of at most 63. The sums of the three channels are 1,
// 300 and 570, well away from the multiples of 255 between which the measures lie.
constexpr uint32_t kGains[] = {0x000001, 0x646464, 0xbebebe};

uint32_t Measure(uint32_t from, uint32_t to) {
  int sum = 0;
  for (const int shift : {0, 8, 16}) {
    sum += std::abs(static_cast<int>(from >> shift & 0xff) - static_cast<int>(to >> shift & 0xff));
  }
  return static_cast<uint32_t>((sum + 254) / 255 * 230);
}

uint32_t MeasureOfTile(const Pixels& before, const Pixels& after, const Size& size, uint32_t x0,
                       uint32_t y0) {
  if (x0 + kTileEdge >= size.width || y0 + kTileEdge >= size.height) {
    return 0;
  }
  for (uint32_t x = x0; x < x0 + kTileEdge; ++x) {
    for (uint32_t y = y0; y < y0 + kTileEdge; ++y) {
      const size_t at = size_t{y} * size.width + x;
      if (const uint32_t measure = Measure(before[at], after[at])) {
        return measure;
      }
    }
  }
  return 0;
}

}  // namespace

const std::vector<Change> kChanges = {
    {"unchanged", [](uint32_t, uint32_t) { return false; }},
    {"last pixel of each tile",
     [](uint32_t x, uint32_t y) {
       return x % kTileEdge == kTileEdge - 1 && y % kTileEdge == kTileEdge - 1;
     }},
    {"first pixel of each tile",
     [](uint32_t x, uint32_t y) { return x % kTileEdge == 0 && y % kTileEdge == 0; }},
    // But for its first pixel, so that the scan has to choose among many.
    {"every other tile",
     [](uint32_t x, uint32_t y) {
       return (x / kTileEdge + y / kTileEdge) % 2 == 0 &&
              (x % kTileEdge != 0 || y % kTileEdge != 0);
     }},
};

Pixels NoiseFrame(const Size& size) {
  std::minstd_rand random;
  Pixels pixels(size_t{size.width} * size.height);
  for (uint32_t& pixel : pixels) {
    pixel = 0xff000000 | (random() & 0x3f3f3f);
  }
  return pixels;
}

Pixels Changed(const Pixels& before, const Size& size, const Change& change) {
  Pixels after = before;
  for (uint32_t y = 0; y < size.height; ++y) {
    for (uint32_t x = 0; x < size.width; ++x) {
      if (change.touches(x, y)) {
        uint32_t& pixel = after[size_t{y} * size.width + x];
        pixel += kGains[pixel % 3];
      }
    }
  }
  return after;
}

std::vector<uint32_t> ExpectedMeasures(const Pixels& before, const Pixels& after,
                                       const Size& size) {
  std::vector<uint32_t> measures;
  for (uint32_t row = 0; row < Rows(size); ++row) {
    for (uint32_t column = 0; column < Columns(size); ++column) {
      measures.push_back(MeasureOfTile(before, after, size, column * kTileEdge, row * kTileEdge));
    }
  }
  return measures;
}

}  // namespace shader_bench
