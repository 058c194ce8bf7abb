// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <vector>

#include "common/pixels.h"
#include "common/tile_comparison.h"

namespace quill_apps {

// How often each tile of the library's size (kTileSize) changed among the frames of one size.
struct HeatMap {
  FrameSize size;
  uint64_t frames = 0;
  uint64_t compared = 0;  // frames that followed one of the same size
  uint32_t columns = 0;
  uint32_t rows = 0;
  std::vector<uint32_t> changes;  // row by row; at most compared
};

// Counts what TileComparison finds.
class TileHeat {
 public:
  // When there are more sizes, as while a window is being resized, the map with the fewest frames
  // is discarded.
  static constexpr size_t kKeptMaps = 16;

  void Add(const PixelView& frame);

  // Most frames first.
  std::vector<HeatMap> Maps() const;
  uint64_t discarded_maps() const { return discarded_maps_; }

 private:
  HeatMap& MapOf(const FrameSize& size);

  TileComparison comparison_;
  std::vector<HeatMap> maps_;  // in the order of appearance
  uint64_t discarded_maps_ = 0;
};

}  // namespace quill_apps
