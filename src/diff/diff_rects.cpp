// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "diff/diff_rects.h"

#include <bit>

namespace {

// Moves an end that reaches the frame's edge one pixel in. Hosts never see the rectangles, but the
// ratio is computed from their area.
uint32_t ClippedEnd(uint32_t end, uint32_t size) {
  return end < size ? end : size - 1;
}

// The rectangles of one tile row. Words are decoded one by one, so a run ends at a word's last bit.
class RowDecoder {
 public:
  RowDecoder(uint32_t top, uint32_t width, uint32_t height, std::vector<D3D11_BOX>& diffRects)
      : top(top), bottom(ClippedEnd(top + kTileSize, height)), width(width), diffRects(diffRects) {}

  uint32_t DecodeWord(uint32_t word, uint32_t colBase) {
    uint32_t area = 0;
    while (word != 0) {
      const uint32_t first = std::countr_zero(word);
      const uint32_t left = (colBase + first) * kTileSize;
      // The flag of a column that does not exist marks the rest of the word as meaningless.
      if (left >= width) break;
      area += Append(left, std::countr_one(word >> first));
      // The carry of the addition clears the run and leaves the bits above it.
      word &= word + (1u << first);
    }
    return area;
  }

 private:
  uint32_t Append(uint32_t left, uint32_t run) {
    D3D11_BOX box{};
    box.left = left;
    box.top = top;
    box.right = ClippedEnd(left + kTileSize * run, width);
    box.bottom = bottom;
    diffRects.push_back(box);
    return (box.right - box.left) * (box.bottom - box.top);
  }

  const uint32_t top;
  const uint32_t bottom;
  const uint32_t width;
  std::vector<D3D11_BOX>& diffRects;
};

}  // namespace

uint32_t DecodeDiffRects(const uint32_t* flagWords, uint32_t rows, uint32_t width, uint32_t height,
                         std::vector<D3D11_BOX>& diffRects) {
  diffRects.clear();
  uint32_t area = 0;
  for (uint32_t r = 0; r < rows; ++r) {
    const uint32_t top = kTileSize * r;
    // The readback may hold more rows than the frame has tiles.
    if (top >= height) break;
    RowDecoder row(top, width, height, diffRects);
    for (uint32_t w = 0; w < kFlagWordsPerRow; ++w) {
      const uint32_t word = flagWords[kFlagWordsPerRow * r + w];
      if (word != 0) area += row.DecodeWord(word, kFlagsPerWord * w);
    }
  }
  return area;
}
