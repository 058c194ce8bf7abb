// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/report/tile_heat.h"

#include <algorithm>
#include <cstring>

namespace quill_apps {

namespace {

uint32_t TilesAcross(uint32_t pixels) {
  return (pixels + kTileSize - 1) / kTileSize;
}

bool ColoursDiffer(const uint8_t* a, const uint8_t* b, uint32_t pixels) {
  if (std::memcmp(a, b, size_t{pixels} * 4) == 0) return false;
  for (uint32_t i = 0; i < pixels; ++i) {
    if (std::memcmp(a + size_t{i} * 4, b + size_t{i} * 4, 3) != 0) return true;
  }
  return false;
}

// Sets changed for each tile column in which the two rows of pixels differ.
void MarkChanges(const uint8_t* a, const uint8_t* b, uint32_t width, std::vector<bool>& changed) {
  for (uint32_t column = 0; column < changed.size(); ++column) {
    if (changed[column]) continue;
    const uint32_t left = column * kTileSize;
    const size_t offset = size_t{left} * 4;
    changed[column] = ColoursDiffer(a + offset, b + offset, std::min(kTileSize, width - left));
  }
}

}  // namespace

void TileHeat::Add(const PixelView& frame) {
  const FrameSize size{frame.width, frame.height};
  HeatMap& map = MapOf(size);
  ++map.frames;
  if (size == previous_size_) {
    ++map.compared;
    Compare(frame, map);
    return;
  }
  const size_t row_bytes = size_t{frame.width} * 4;
  previous_.resize(row_bytes * frame.height);
  previous_.shrink_to_fit();
  for (uint32_t y = 0; y < frame.height; ++y) {
    std::memcpy(previous_.data() + y * row_bytes, frame.pixels + y * frame.row_pitch, row_bytes);
  }
  previous_size_ = size;
}

// Copies the rows that differ into previous_.
void TileHeat::Compare(const PixelView& frame, HeatMap& map) {
  const size_t row_bytes = size_t{frame.width} * 4;
  std::vector<bool> changed(map.columns);
  for (uint32_t row = 0; row < map.rows; ++row) {
    std::fill(changed.begin(), changed.end(), false);
    const uint32_t bottom = std::min((row + 1) * kTileSize, frame.height);
    for (uint32_t y = row * kTileSize; y < bottom; ++y) {
      uint8_t* before = previous_.data() + y * row_bytes;
      const uint8_t* now = frame.pixels + y * frame.row_pitch;
      if (std::memcmp(before, now, row_bytes) == 0) continue;
      MarkChanges(before, now, frame.width, changed);
      std::memcpy(before, now, row_bytes);
    }
    uint32_t* changes = map.changes.data() + size_t{row} * map.columns;
    for (uint32_t column = 0; column < map.columns; ++column) changes[column] += changed[column];
  }
}

std::vector<HeatMap> TileHeat::Maps() const {
  std::vector<HeatMap> maps = maps_;
  std::stable_sort(maps.begin(), maps.end(),
                   [](const HeatMap& a, const HeatMap& b) { return a.frames > b.frames; });
  return maps;
}

HeatMap& TileHeat::MapOf(const FrameSize& size) {
  const auto known = std::find_if(maps_.begin(), maps_.end(),
                                  [&](const HeatMap& map) { return map.size == size; });
  if (known != maps_.end()) return *known;
  if (maps_.size() == kKeptMaps) {
    maps_.erase(
        std::min_element(maps_.begin(), maps_.end(),
                         [](const HeatMap& a, const HeatMap& b) { return a.frames < b.frames; }));
    ++discarded_maps_;
  }
  HeatMap& map = maps_.emplace_back();
  map.size = size;
  map.columns = TilesAcross(size.width);
  map.rows = TilesAcross(size.height);
  map.changes.resize(size_t{map.columns} * map.rows);
  return map;
}

}  // namespace quill_apps
