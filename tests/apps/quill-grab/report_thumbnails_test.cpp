// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/report/report_thumbnails.h"

#include <algorithm>

#include "apps/quill-grab/test_support.h"

namespace quill_grab {
namespace {

// The left half has one colour, the right half another; alpha is 0.
std::vector<uint32_t> TwoColours(uint32_t width, uint32_t height) {
  std::vector<uint32_t> pixels(size_t{width} * height, 0x00204080);
  for (size_t i = 0; i < pixels.size(); ++i) {
    if (i % width >= width / 2) pixels[i] = 0x00C06010;
  }
  return pixels;
}

class ThumbnailPickerTest : public ComTest {
 protected:
  void Offer(ThumbnailPicker& picker, double seconds, float ratio, uint32_t width = 4,
             uint32_t height = 4) {
    const std::vector<uint32_t> pixels = TwoColours(width, height);
    picker.Offer(
        seconds, ratio,
        {reinterpret_cast<const uint8_t*>(pixels.data()), width, height, size_t{width} * 4});
  }

  std::vector<double> Times(const ThumbnailPicker& picker) {
    std::vector<double> times;
    for (const Thumbnail& thumbnail : picker.Picked()) times.push_back(thumbnail.seconds);
    return times;
  }

  void ExpectSize(uint32_t width, uint32_t height, FrameSize expected) {
    ThumbnailPicker picker;
    Offer(picker, 0.0, 1.0f, width, height);
    const Thumbnail thumbnail = picker.Picked().at(0);
    EXPECT_EQ(thumbnail.frame, (FrameSize{width, height}));
    EXPECT_EQ(thumbnail.size, expected);
    EXPECT_EQ(thumbnail.pixels.size(), size_t{expected.width} * expected.height * 4);
  }
};

TEST_F(ThumbnailPickerTest, ShrinksToFitAndEnlargesNothing) {
  ExpectSize(1280, 720, {320, 180});
  ExpectSize(600, 800, {240, 320});
  ExpectSize(320, 320, {320, 320});
  ExpectSize(5, 3, {5, 3});
  ExpectSize(4000, 2, {320, 1});
}

TEST_F(ThumbnailPickerTest, KeepsColoursInTheirPlaces) {
  ThumbnailPicker picker;
  Offer(picker, 0.0, 1.0f, 1280, 720);
  const Thumbnail thumbnail = picker.Picked().at(0);
  const auto pixel = [&](uint32_t x, uint32_t y) {
    const uint8_t* bytes = thumbnail.pixels.data() + (size_t{y} * 320 + x) * 4;
    return bytes[0] | bytes[1] << 8 | bytes[2] << 16;
  };
  EXPECT_EQ(pixel(0, 0), 0x204080);
  EXPECT_EQ(pixel(150, 179), 0x204080);
  EXPECT_EQ(pixel(170, 0), 0xC06010);
  EXPECT_EQ(pixel(319, 179), 0xC06010);
}

TEST_F(ThumbnailPickerTest, PicksTheLargestRatiosInTheOrderOfTime) {
  ThumbnailPicker picker;
  // Ratios 0.10, 0.37, 0.64, 0.01, 0.28 ...: ten different ones, of which 0.01 and 0.10 are
  // smallest.
  const std::vector<int> percents = {10, 37, 64, 1, 28, 55, 82, 19, 46, 73};
  for (size_t i = 0; i < percents.size(); ++i) {
    Offer(picker, static_cast<double>(i), static_cast<float>(percents[i]) / 100.0f);
  }
  EXPECT_EQ(Times(picker), (std::vector<double>{1, 2, 4, 5, 6, 7, 8, 9}));
}

TEST_F(ThumbnailPickerTest, TakesTheFirstLargestOfASpan) {
  ThumbnailPicker picker;
  Offer(picker, 0.1, 0.2f);
  Offer(picker, 0.2, 0.9f);
  Offer(picker, 0.3, 0.9f);
  Offer(picker, 0.4, 0.3f);
  EXPECT_EQ(Times(picker), std::vector<double>{0.2});
}

TEST_F(ThumbnailPickerTest, SpreadsEqualRatiosOverTheRun) {
  ThumbnailPicker picker;
  for (int i = 0; i < 15; ++i) Offer(picker, i, 1.0f);
  // 0 first, then each time what lies farthest from the others: 14, 7, 3 or 4, 10 or 11 ...
  const std::vector<double> times = Times(picker);
  ASSERT_EQ(times.size(), ThumbnailPicker::kPicked);
  EXPECT_EQ(times.front(), 0.0);
  EXPECT_EQ(times.back(), 14.0);
  for (size_t i = 1; i < times.size(); ++i) EXPECT_LE(times[i] - times[i - 1], 4.0);
}

TEST_F(ThumbnailPickerTest, FindsTheLargestOfALongRun) {
  ThumbnailPicker picker;
  constexpr int kSeconds = 20000;
  for (int i = 0; i < kSeconds; ++i) Offer(picker, i, i == 7001 ? 0.75f : 0.25f);
  const std::vector<double> times = Times(picker);
  EXPECT_EQ(times.size(), ThumbnailPicker::kPicked);
  EXPECT_NE(std::find(times.begin(), times.end(), 7001.0), times.end());
}

TEST_F(ThumbnailPickerTest, HasNothingWithoutAFrame) {
  EXPECT_TRUE(ThumbnailPicker().Picked().empty());
}

}  // namespace
}  // namespace quill_grab
