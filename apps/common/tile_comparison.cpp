// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/tile_comparison.h"

#include <algorithm>
#include <cstring>

namespace quill_apps {

namespace {

bool ColoursDiffer(const uint8_t* a, const uint8_t* b, uint32_t pixels) {
  if (std::memcmp(a, b, size_t{pixels} * 4) == 0) return false;
  for (uint32_t i = 0; i < pixels; ++i) {
    if (std::memcmp(a + size_t{i} * 4, b + size_t{i} * 4, 3) != 0) return true;
  }
  return false;
}

// Sets changed, from the place first on, for each tile column in which the two rows of pixels
// differ.
void MarkChanges(const uint8_t* a, const uint8_t* b, uint32_t width, std::vector<bool>& changed,
                 size_t first) {
  for (uint32_t column = 0; column < TilesAcross(width); ++column) {
    if (changed[first + column]) continue;
    const uint32_t left = column * kTileSize;
    const size_t offset = size_t{left} * 4;
    changed[first + column] =
        ColoursDiffer(a + offset, b + offset, std::min(kTileSize, width - left));
  }
}

}  // namespace

uint32_t TilesAcross(uint32_t pixels) {
  return (pixels + kTileSize - 1) / kTileSize;
}

bool IsWatchedTile(uint32_t column, uint32_t row, const FrameSize& frame) {
  constexpr uint32_t kColumns = kFlagsPerWord * kFlagWordsPerRow;
  return column < kColumns && (column + 1) * kTileSize < frame.width &&
         (row + 1) * kTileSize < frame.height;
}

const std::vector<bool>& TileComparison::Add(const PixelView& frame) {
  changed_.clear();
  if (frame.size() == previous_size_) {
    Compare(frame);
    return changed_;
  }
  const size_t row_bytes = size_t{frame.width} * 4;
  previous_.resize(row_bytes * frame.height);
  previous_.shrink_to_fit();
  for (uint32_t y = 0; y < frame.height; ++y) {
    std::memcpy(previous_.data() + y * row_bytes, frame.pixels + y * frame.row_pitch, row_bytes);
  }
  previous_size_ = frame.size();
  return changed_;
}

// Copies the rows that differ into previous_.
void TileComparison::Compare(const PixelView& frame) {
  const size_t row_bytes = size_t{frame.width} * 4;
  const size_t columns = TilesAcross(frame.width);
  changed_.resize(columns * TilesAcross(frame.height));
  for (uint32_t y = 0; y < frame.height; ++y) {
    uint8_t* before = previous_.data() + y * row_bytes;
    const uint8_t* now = frame.pixels + y * frame.row_pitch;
    if (std::memcmp(before, now, row_bytes) == 0) continue;
    MarkChanges(before, now, frame.width, changed_, y / kTileSize * columns);
    std::memcpy(before, now, row_bytes);
  }
}

}  // namespace quill_apps
