// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "common/pixels.h"
#include "quill-view/bitmap.h"

namespace quill_apps {

// Half-transparent orange over a tile that changed.
constexpr uint32_t kChangedTile = 0x80804800;

// One pixel a tile of the frame: kChangedTile, or transparent. changed: row by row; empty for a
// frame that was compared with nothing. Leaves out the tiles that the library does not compare.
Bitmap DrawTiles(const std::vector<bool>& changed, const FrameSize& frame);

// The update ratios of the latest frames, the newest at the right.
class StripChart {
 public:
  static constexpr uint32_t kBarWidth = 2;
  static constexpr uint32_t kBackground = 0xFF181818;
  static constexpr uint32_t kBar = 0xFFFF9000;
  static constexpr uint32_t kNotCompared = 0xFF606060;  // a ratio of 1

  void Add(float ratio);
  // 0 at first.
  float newest() const { return ratios_.empty() ? 0.0f : ratios_.back(); }

  // Each bar is as high as its ratio, rounded, and at least a pixel.
  Bitmap Draw(const FrameSize& size) const;

 private:
  static constexpr size_t kMostBars = 8192;

  std::deque<float> ratios_;
};

}  // namespace quill_apps
