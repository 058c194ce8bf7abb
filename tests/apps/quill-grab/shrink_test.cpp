// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/shrink.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace quill_apps {
namespace {

// How much of the pixel of a line each pixel of the longer line covers, in lengths of the latter.
double Covered(uint32_t pixel, uint32_t of, uint32_t to, uint32_t from) {
  const double length = static_cast<double>(from) / to;
  return std::max(
      0.0, std::min<double>(pixel + 1, (of + 1) * length) - std::max<double>(pixel, of * length));
}

// The mean of a channel over the area of a pixel.
double Mean(const PixelView& picture, const FrameSize& size, uint32_t x, uint32_t y,
            size_t channel) {
  double sum = 0.0;
  for (uint32_t row = 0; row < picture.height; ++row) {
    const double height = Covered(row, y, size.height, picture.height);
    if (height == 0.0) continue;
    for (uint32_t column = 0; column < picture.width; ++column) {
      sum += height * Covered(column, x, size.width, picture.width) *
             picture.pixels[row * picture.row_pitch + column * kPixelBytes + channel];
    }
  }
  return sum * size.width * size.height / picture.width / picture.height;
}

// Correct rounding is at most half a step away; the rest is the error of the rounded weights.
TEST(Shrink, EachPixelIsTheMeanOfTheAreaThatItCovers) {
  struct {
    FrameSize picture, size;
  } const cases[] = {{{8, 6}, {4, 3}},   {{7, 5}, {3, 2}},  {{13, 9}, {12, 8}}, {{6, 4}, {6, 4}},
                     {{5, 4}, {5, 1}},   {{4, 7}, {1, 7}},  {{3, 3}, {1, 1}},   {{2, 9}, {1, 4}},
                     {{97, 3}, {10, 1}}, {{30, 50}, {7, 3}}};
  std::mt19937 random;
  for (const auto& [picture, size] : cases) {
    for (const size_t padding : {0, 1, 12}) {
      // Nothing follows the last pixel.
      const size_t row_pitch = picture.width * kPixelBytes + padding;
      std::vector<uint8_t> pixels(row_pitch * picture.height - padding);
      for (uint8_t& byte : pixels) byte = static_cast<uint8_t>(random() % 3 == 0 ? 255 : random());
      const PixelView view{pixels.data(), picture.width, picture.height, row_pitch};
      std::vector<uint8_t> shrunk;
      Shrink(view, size, shrunk);
      ASSERT_EQ(shrunk.size(), size_t{size.width} * size.height * kPixelBytes);
      double error = 0.0;
      for (size_t i = 0; i < shrunk.size(); ++i) {
        const uint32_t pixel = static_cast<uint32_t>(i / kPixelBytes);
        const double mean =
            Mean(view, size, pixel % size.width, pixel / size.width, i % kPixelBytes);
        error = std::max(error, std::abs(shrunk[i] - mean));
      }
      EXPECT_LE(error, 0.6) << picture.width << " x " << picture.height << ", " << padding;
    }
  }
}

TEST(Shrink, OneColourStaysAsItIs) {
  for (uint32_t value = 0; value < 256; ++value) {
    std::vector<uint8_t> pixels(size_t{23} * 17 * kPixelBytes, static_cast<uint8_t>(value));
    std::vector<uint8_t> shrunk;
    Shrink({pixels.data(), 23, 17, 23 * kPixelBytes}, {7, 6}, shrunk);
    EXPECT_EQ(shrunk, std::vector<uint8_t>(7 * 6 * kPixelBytes, static_cast<uint8_t>(value)));
  }
}

}  // namespace
}  // namespace quill_apps
