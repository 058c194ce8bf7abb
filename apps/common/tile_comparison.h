// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <vector>

#include "common/pixels.h"
#include "diff/diff_rects.h"

namespace quill_apps {

// The tiles of the library's size (kTileSize) that so many pixels take, the last of them perhaps
// only in part.
uint32_t TilesAcross(uint32_t pixels);

// Whether the library compares this tile of a frame: not those at the right and bottom edges, and
// only the first 128 columns.
bool IsWatchedTile(uint32_t column, uint32_t row, const FrameSize& frame);

// Compares each frame with the one before it, tile by tile. Alpha does not count, as in the
// library's own comparison.
class TileComparison {
 public:
  // Whether each tile changed, row by row; empty for a frame of another size than the one before.
  // Valid until the next call.
  const std::vector<bool>& Add(const PixelView& frame);

 private:
  void Compare(const PixelView& frame);

  FrameSize previous_size_{};
  std::vector<uint8_t> previous_;
  std::vector<bool> changed_;
};

}  // namespace quill_apps
