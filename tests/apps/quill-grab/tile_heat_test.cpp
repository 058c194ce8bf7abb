// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/report/tile_heat.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace quill_grab {
namespace {

// A picture whose pixels a test sets one by one; the rows lie apart by more than they need.
class Canvas {
 public:
  Canvas(uint32_t width, uint32_t height, uint8_t filler = 0)
      : width_(width), height_(height), pitch_(size_t{width} * 4 + 16), bytes_(pitch_ * height) {
    for (uint32_t y = 0; y < height; ++y) {
      std::fill_n(bytes_.begin() + static_cast<ptrdiff_t>(y * pitch_ + width * 4), 16, filler);
    }
  }

  void Change(uint32_t x, uint32_t y, size_t channel) { ++bytes_[y * pitch_ + x * 4 + channel]; }
  PixelView view() const { return {bytes_.data(), width_, height_, pitch_}; }

 private:
  uint32_t width_;
  uint32_t height_;
  size_t pitch_;
  std::vector<uint8_t> bytes_;
};

using Counts = std::vector<uint32_t>;

TEST(TileHeatTest, CountsInEachTileTheFramesThatChangedIt) {
  TileHeat heat;
  Canvas canvas(100, 70);  // 4 x 3 tiles, the last ones 4 pixels wide and 6 high
  heat.Add(canvas.view());
  canvas.Change(31, 31, 0);
  heat.Add(canvas.view());
  canvas.Change(32, 31, 1);
  canvas.Change(32, 30, 1);  // twice in one tile counts once
  canvas.Change(31, 32, 2);
  heat.Add(canvas.view());
  canvas.Change(99, 69, 0);
  canvas.Change(32, 0, 0);
  heat.Add(canvas.view());
  const HeatMap map = heat.Maps().at(0);
  EXPECT_EQ(map.size, (FrameSize{100, 70}));
  EXPECT_EQ(map.columns, 4u);
  EXPECT_EQ(map.rows, 3u);
  EXPECT_EQ(map.frames, 4u);
  EXPECT_EQ(map.compared, 3u);
  EXPECT_EQ(map.changes, (Counts{1, 2, 0, 0, /**/ 1, 0, 0, 0, /**/ 0, 0, 0, 1}));
}

TEST(TileHeatTest, ComparesWithTheFrameJustBefore) {
  TileHeat heat;
  const Canvas plain(32, 32);
  Canvas changed(32, 32);
  changed.Change(5, 5, 0);
  heat.Add(plain.view());
  heat.Add(changed.view());
  heat.Add(changed.view());
  heat.Add(plain.view());
  EXPECT_EQ(heat.Maps().at(0).changes, Counts{2});
}

TEST(TileHeatTest, LeavesOutAlphaAndWhatLiesBetweenRows) {
  TileHeat heat;
  Canvas canvas(40, 2, 0x11);
  heat.Add(canvas.view());
  Canvas other(40, 2, 0x22);
  other.Change(3, 0, 3);
  heat.Add(other.view());
  EXPECT_EQ(heat.Maps().at(0).changes, (Counts{0, 0}));
  other.Change(3, 0, 3);
  other.Change(39, 0, 2);  // a colour in a row whose alpha changes too
  heat.Add(other.view());
  EXPECT_EQ(heat.Maps().at(0).changes, (Counts{0, 1}));
}

TEST(TileHeatTest, KeepsAMapForEachSizeAndComparesOnlyNeighbours) {
  TileHeat heat;
  Canvas large(64, 32);
  Canvas small(32, 32);
  heat.Add(large.view());
  heat.Add(small.view());
  small.Change(0, 0, 0);
  heat.Add(small.view());
  large.Change(63, 0, 0);
  heat.Add(large.view());  // after another size
  large.Change(40, 9, 0);
  heat.Add(large.view());
  const std::vector<HeatMap> maps = heat.Maps();
  ASSERT_EQ(maps.size(), 2u);
  EXPECT_EQ(maps[0].size, (FrameSize{64, 32}));
  EXPECT_EQ(maps[0].frames, 3u);
  EXPECT_EQ(maps[0].compared, 1u);
  EXPECT_EQ(maps[0].changes, (Counts{0, 1}));
  EXPECT_EQ(maps[1].frames, 2u);
  EXPECT_EQ(maps[1].compared, 1u);
  EXPECT_EQ(maps[1].changes, (Counts{1}));
  EXPECT_EQ(heat.dropped_maps(), 0u);
}

TEST(TileHeatTest, DropsTheMapsOfFewestFrames) {
  TileHeat heat;
  const Canvas lasting(200, 8);
  heat.Add(lasting.view());
  heat.Add(lasting.view());
  for (uint32_t width = 1; width <= 40; ++width) heat.Add(Canvas(width, 8).view());
  const std::vector<HeatMap> maps = heat.Maps();
  EXPECT_EQ(maps.size(), TileHeat::kKeptMaps);
  EXPECT_EQ(maps.front().size, (FrameSize{200, 8}));
  EXPECT_EQ(heat.dropped_maps(), 41 - TileHeat::kKeptMaps);
}

}  // namespace
}  // namespace quill_grab
