// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-view/tiles.h"

#include <algorithm>
#include <cmath>

#include "common/tile_comparison.h"

namespace quill_apps {

Bitmap DrawTiles(const std::vector<bool>& changed, const FrameSize& frame) {
  Bitmap tiles({TilesAcross(frame.width), TilesAcross(frame.height)});
  for (size_t i = 0; i < changed.size(); ++i) {
    const auto column = static_cast<uint32_t>(i % tiles.size.width);
    const auto row = static_cast<uint32_t>(i / tiles.size.width);
    if (changed[i] && IsWatchedTile(column, row, frame)) tiles.At(column, row) = kChangedTile;
  }
  return tiles;
}

void StripChart::Add(float ratio) {
  ratios_.push_back(ratio);
  if (ratios_.size() > kMostBars) ratios_.pop_front();
}

Bitmap StripChart::Draw(const FrameSize& size) const {
  Bitmap chart(size, kBackground);
  uint32_t right = size.width;
  for (auto ratio = ratios_.rbegin(); ratio != ratios_.rend() && right > 0; ++ratio) {
    const uint32_t left = right - std::min(right, kBarWidth);
    const float height = std::clamp(*ratio, 0.0f, 1.0f) * static_cast<float>(size.height);
    const uint32_t rows =
        std::min(std::max(static_cast<uint32_t>(std::lround(height)), 1u), size.height);
    for (uint32_t y = size.height - rows; y < size.height; ++y) {
      for (uint32_t x = left; x < right; ++x) chart.At(x, y) = *ratio < 1.0f ? kBar : kNotCompared;
    }
    right = left;
  }
  return chart;
}

}  // namespace quill_apps
