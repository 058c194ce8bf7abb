// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What quill-view draws, without a device.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "quill-view/figures.h"
#include "quill-view/label.h"
#include "quill-view/layout.h"
#include "quill-view/tiles.h"

namespace quill_apps {
namespace {

TEST(LayoutTest, PictureOfTheClientAreasSizeFillsIt) {
  const Layout layout = LayOut({301, 203}, {301, 203}, false);
  EXPECT_EQ(layout.picture, (Area{0, 0, 301, 203}));
  EXPECT_EQ(layout.picture_size, (FrameSize{301, 203}));
  EXPECT_EQ(layout.chart_size, FrameSize{});
}

// It touches two opposite edges, is in the middle between the others, and is off its aspect ratio
// by less than a pixel.
TEST(LayoutTest, PictureIsTheLargestWithItsAspectRatioInTheMiddle) {
  for (const FrameSize client : {FrameSize{640, 480}, FrameSize{1000, 100}, FrameSize{37, 900},
                                 FrameSize{1, 1}, FrameSize{3, 1}}) {
    for (const FrameSize picture : {FrameSize{1920, 1080}, FrameSize{160, 226}, FrameSize{5, 5000},
                                    FrameSize{5000, 5}, FrameSize{1, 1}}) {
      SCOPED_TRACE(testing::Message() << picture.width << " x " << picture.height << " in "
                                      << client.width << " x " << client.height);
      const auto [area, size, chart, chart_size] = LayOut(client, picture, false);
      EXPECT_EQ(area.right - area.left, static_cast<float>(size.width));
      EXPECT_EQ(area.bottom - area.top, static_cast<float>(size.height));
      EXPECT_TRUE(size.width == client.width || size.height == client.height);
      const double scale = std::min(static_cast<double>(client.width) / picture.width,
                                    static_cast<double>(client.height) / picture.height);
      EXPECT_NEAR(size.width, std::max(picture.width * scale, 1.0), 0.5 + 1e-9);
      EXPECT_NEAR(size.height, std::max(picture.height * scale, 1.0), 0.5 + 1e-9);
      EXPECT_GE(area.left, 0);
      EXPECT_GE(area.top, 0);
      EXPECT_LE(std::abs(static_cast<float>(client.width) - area.right - area.left), 1);
      EXPECT_LE(std::abs(static_cast<float>(client.height) - area.bottom - area.top), 1);
      EXPECT_EQ(area.left, std::floor(area.left));
      EXPECT_EQ(area.top, std::floor(area.top));
    }
  }
}

TEST(LayoutTest, ChartTakesItsHeightBelowThePictureWhereThereIsRoom) {
  const FrameSize client = ClientFor({320, 256}, true);
  EXPECT_EQ(client, (FrameSize{320, 256 + kChartHeight}));
  const Layout layout = LayOut(client, {320, 256}, true);
  EXPECT_EQ(layout.picture, (Area{0, 0, 320, 256}));
  EXPECT_EQ(layout.chart, (Area{0, 256, 320, 256 + kChartHeight}));
  EXPECT_EQ(layout.chart_size, (FrameSize{320, kChartHeight}));
  const Layout low = LayOut({320, 2 * kChartHeight - 1}, {320, 256}, true);
  EXPECT_EQ(low.chart_size, FrameSize{});
  EXPECT_EQ(low.picture_size.height, 2 * kChartHeight - 1);
}

TEST(TilesTest, ChangedTilesThatTheLibraryComparesAreMarked) {
  // 4 x 3 tiles, of which the library compares 3 x 2: those at the right and bottom edges end
  // there or beyond.
  const FrameSize frame{4 * 32, 2 * 32 + 1};
  std::vector<bool> changed(12, false);
  for (const size_t tile : {1u, 3u, 6u, 9u}) changed[tile] = true;
  const Bitmap tiles = DrawTiles(changed, frame);
  EXPECT_EQ(tiles.size, (FrameSize{4, 3}));
  for (uint32_t row = 0; row < 3; ++row) {
    for (uint32_t column = 0; column < 4; ++column) {
      const bool is_marked = (column == 1 && row == 0) || (column == 2 && row == 1);
      EXPECT_EQ(tiles.At(column, row), is_marked ? kChangedTile : 0u) << column << ", " << row;
    }
  }
}

TEST(TilesTest, NoTileIsMarkedInAFrameThatWasComparedWithNothing) {
  const Bitmap tiles = DrawTiles({}, {100, 70});
  EXPECT_EQ(tiles.size, (FrameSize{4, 3}));
  EXPECT_EQ(std::count(tiles.pixels.begin(), tiles.pixels.end(), 0u), 12);
}

// The number of pixels of that colour in a column, which must all be at its lower end.
uint32_t HeightOf(const Bitmap& chart, uint32_t x, uint32_t colour) {
  uint32_t height = 0;
  while (height < chart.size.height && chart.At(x, chart.size.height - 1 - height) == colour) {
    ++height;
  }
  for (uint32_t y = 0; y + height < chart.size.height; ++y) {
    EXPECT_EQ(chart.At(x, y), StripChart::kBackground);
  }
  return height;
}

TEST(StripChartTest, BarsHaveTheHeightOfTheirRatioTheNewestAtTheRight) {
  StripChart chart;
  EXPECT_EQ(chart.newest(), 0.0f);
  for (const float ratio : {1.0f, 0.25f, 0.0001f, 0.999f, 0.5f}) chart.Add(ratio);
  EXPECT_EQ(chart.newest(), 0.5f);
  const Bitmap wide = chart.Draw({13, 64});
  const uint32_t heights[] = {16, 1, 64, 32};
  for (uint32_t bar = 0; bar < 4; ++bar) {
    EXPECT_EQ(HeightOf(wide, 5 + 2 * bar, StripChart::kBar), heights[bar]);
    EXPECT_EQ(HeightOf(wide, 6 + 2 * bar, StripChart::kBar), heights[bar]);
  }
  EXPECT_EQ(HeightOf(wide, 3, StripChart::kNotCompared), 64u);
  EXPECT_EQ(HeightOf(wide, 4, StripChart::kNotCompared), 64u);
  EXPECT_EQ(HeightOf(wide, 2, StripChart::kBar), 0u);
  const Bitmap narrow = chart.Draw({3, 10});
  EXPECT_EQ(HeightOf(narrow, 0, StripChart::kBar), 10u);
  EXPECT_EQ(HeightOf(narrow, 1, StripChart::kBar), 5u);
  EXPECT_EQ(HeightOf(narrow, 2, StripChart::kBar), 5u);
}

TEST(FiguresTest, RateAndWorkAreThoseOfTheLastTwoSeconds) {
  Figures figures;
  figures.Add(100.0, {900.0, 950.0});
  for (int i = 1; i <= 30; ++i) figures.Add(100.0 + i * 0.1, {i <= 20 ? 2.0 : 4.0, 10.0 + i});
  // At 103.0 the last two seconds begin after the frame at 101.0: 20 frames, 10 of each kind.
  EXPECT_EQ(
      figures.Text(103.0),
      "10.0 new frames/s\n40.0 ms from poll to display, newest frame\n3.0 ms of work a frame");
  EXPECT_EQ(figures.Text(200.0), "0.0 new frames/s");
}

TEST(FiguresTest, SummaryIsAboutAllFrames) {
  Figures figures;
  EXPECT_EQ(figures.Summary(5.0), "Shown: 0 frames in 5.0 s");
  figures.Add(0.0, {1.0, 3.0});
  figures.Add(7.0, {2.0, 6.0});
  EXPECT_EQ(figures.Summary(8.0),
            "Shown: 2 frames in 8.0 s, 0.2 a second; each took 1.50 ms of work, and 4.50 ms until "
            "displayed");
}

// The colours are multiplied by alpha, so none is above it.
TEST(LabelTest, TextIsWhiteOnHalfTransparentBlackAndLargerAtAHigherDpi) {
  const Bitmap label = DrawLabel("Quill\nview", 96, 1000);
  ASSERT_GT(label.size.width, 0u);
  EXPECT_EQ(label.pixels.front(), 176u << 24);
  for (const uint32_t pixel : label.pixels) EXPECT_LE(pixel & 0xFF, pixel >> 24);
  EXPECT_TRUE(std::any_of(label.pixels.begin(), label.pixels.end(),
                          [](uint32_t pixel) { return (pixel & 0xFF) > 200; }));
  const Bitmap large = DrawLabel("Quill\nview", 192, 1000);
  EXPECT_GT(large.size.width, label.size.width * 3 / 2);
  EXPECT_GT(large.size.height, label.size.height * 3 / 2);
  EXPECT_GT(DrawLabel("Quill view and more", 96, 1000).size.width, label.size.width);
}

TEST(LabelTest, TextStaysWithinTheWidthBrokenIntoLinesIfItHasWords) {
  const Bitmap line = DrawLabel("Quill view and more", 96, 1000);
  EXPECT_EQ(DrawLabel("Quill view and more", 96, line.size.width).size, line.size);
  const Bitmap lines = DrawLabel("Quill view and more", 96, line.size.width - 1);
  EXPECT_LT(lines.size.width, line.size.width);
  EXPECT_GT(lines.size.height, line.size.height);
  EXPECT_LE(DrawLabel(std::string(2000, 'W'), 96, 200).size.width, 200u);
  EXPECT_GT(DrawLabel("Quill", 96, 1).size.width, 0u);
}

}  // namespace
}  // namespace quill_apps
