// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/report/tile_heat.h"

#include <algorithm>

namespace quill_apps {

void TileHeat::Add(const PixelView& frame) {
  HeatMap& map = MapOf(frame.size());
  ++map.frames;
  const std::vector<bool>& changed = comparison_.Add(frame);
  if (changed.empty()) return;
  ++map.compared;
  for (size_t i = 0; i < changed.size(); ++i) map.changes[i] += changed[i];
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
