// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

#include "quill-check/scene/pattern.h"
#include "support/picture.h"

namespace {

using namespace quill_apps;

constexpr FrameSize kClient{640, 360};  // 40 x 22 blocks, the last row 24 pixels high
constexpr uint32_t kCounter = 0xABCDEF;

using Points = std::vector<std::pair<LONG, LONG>>;

PixelView ViewOf(const Picture& picture) {
  return {reinterpret_cast<const uint8_t*>(picture.pixels.data()), picture.width, picture.height,
          picture.width * kPixelBytes};
}

PatternReading Read(const Picture& frame, FrameSize client = kClient) {
  return ReadPattern(ViewOf(frame), client);
}

Picture Drawn(FrameSize size = kClient, uint32_t counter = kCounter) {
  Picture picture(size.width, size.height);
  DrawPattern(reinterpret_cast<uint8_t*>(picture.pixels.data()), size, size.width * kPixelBytes,
              counter);
  return picture;
}

// A frame of that size with the picture somewhere in it.
Picture Framed(const Picture& picture, uint32_t width, uint32_t height, int left, int top,
               uint32_t around = 0xFF3A6EA5) {
  Picture frame(width, height, around);
  for (uint32_t y = 0; y < picture.height; ++y) {
    for (uint32_t x = 0; x < picture.width; ++x) {
      const int64_t to_x = left + int64_t{x};
      const int64_t to_y = top + int64_t{y};
      if (to_x < 0 || to_y < 0 || to_x >= width || to_y >= height) continue;
      frame.At(static_cast<uint32_t>(to_x), static_cast<uint32_t>(to_y)) = picture.At(x, y);
    }
  }
  return frame;
}

// Each pixel takes the nearest one's colour.
Picture Stretched(const Picture& picture, uint32_t width, uint32_t height) {
  Picture result(width, height);
  for (uint32_t y = 0; y < height; ++y) {
    for (uint32_t x = 0; x < width; ++x) {
      result.At(x, y) = picture.At((2 * x + 1) * picture.width / (2 * width),
                                   (2 * y + 1) * picture.height / (2 * height));
    }
  }
  return result;
}

// Each pixel is the mean of itself and its left neighbour: a shift by half a pixel.
Picture ShiftedByHalfAPixel(const Picture& picture) {
  Picture result = picture;
  for (uint32_t y = 0; y < picture.height; ++y) {
    for (uint32_t x = 1; x < picture.width; ++x) {
      uint32_t mean = 0;
      for (int shift = 0; shift < 32; shift += 8) {
        const uint32_t sum =
            (picture.At(x, y) >> shift & 0xFF) + (picture.At(x - 1, y) >> shift & 0xFF);
        mean |= sum / 2 << shift;
      }
      result.At(x, y) = mean;
    }
  }
  return result;
}

void Fill(Picture& picture, uint32_t left, uint32_t top, uint32_t width, uint32_t height,
          uint32_t colour) {
  for (uint32_t y = top; y < top + height; ++y) {
    for (uint32_t x = left; x < left + width; ++x) picture.At(x, y) = colour;
  }
}

testing::AssertionResult IsAt(const RECT& area, LONG left, LONG top, LONG right, LONG bottom) {
  if (area.left == left && area.top == top && area.right == right && area.bottom == bottom) {
    return testing::AssertionSuccess();
  }
  return testing::AssertionFailure() << "the area is " << area.left << ", " << area.top << ", "
                                     << area.right << ", " << area.bottom;
}

TEST(Drawing, IsOpaqueFlatBlocksWithTheRestInTheLastOnes) {
  const Picture picture = Drawn({650, 363});  // 40 x 22 blocks; 10 and 11 pixels are left
  for (uint32_t y = 0; y < picture.height; ++y) {
    const uint32_t row = std::min(y / 16, 21u);
    for (uint32_t x = 0; x < picture.width; ++x) {
      const uint32_t column = std::min(x / 16, 39u);
      ASSERT_EQ(picture.At(x, y), picture.At(column * 16, row * 16)) << x << ", " << y;
      ASSERT_EQ(picture.At(x, y) >> 24, 255u);
    }
  }
}

TEST(Drawing, HasADifferentMarkInEachCorner) {
  const Picture picture = Drawn();
  const auto mark = [&](uint32_t x, uint32_t y) {
    return std::vector{picture.At(x, y), picture.At(x + 16, y), picture.At(x, y + 16),
                       picture.At(x + 16, y + 16)};
  };
  const uint32_t green = 0xFF00FF00, magenta = 0xFFFF00FF, white = 0xFFFFFFFF, black = 0xFF000000;
  EXPECT_EQ(mark(0, 0), (std::vector{green, magenta, magenta, black}));
  EXPECT_EQ(mark(608, 0), (std::vector{magenta, green, white, black}));
  EXPECT_EQ(mark(0, 320), (std::vector{magenta, white, green, black}));
  EXPECT_EQ(mark(608, 320), (std::vector{white, green, black, magenta}));
}

TEST(Drawing, ShowsTheCounterInBlackAndWhiteHighestBitFirst) {
  const Picture picture = Drawn(kClient, 0xC00001);
  for (uint32_t bit = 0; bit < 24; ++bit) {
    const bool is_one = bit == 0 || bit == 1 || bit == 23;
    EXPECT_EQ(picture.At(32 + bit * 16, 0), is_one ? 0xFFFFFFFF : 0xFF000000) << bit;
  }
}

TEST(Drawing, ChangesEveryColourFromCounterToCounter) {
  const Picture one = Drawn(kClient, 6);
  const Picture next = Drawn(kClient, 7);
  // All rows without marks, counter and checksum.
  for (uint32_t y = 40; y < 312; y += 16) {
    for (uint32_t x = 8; x < 640; x += 16) EXPECT_NE(one.At(x, y), next.At(x, y)) << x << ", " << y;
  }
}

TEST(Drawing, LeavesThePaddingOfRowsAlone) {
  constexpr uint32_t kStride = 200;
  Picture rows(kStride, 96, 0x12345678);
  DrawPattern(reinterpret_cast<uint8_t*>(rows.pixels.data()), {128, 96}, kStride * 4, kCounter);
  for (uint32_t y = 0; y < 96; ++y) {
    for (uint32_t x = 128; x < kStride; ++x) ASSERT_EQ(rows.At(x, y), 0x12345678u);
  }
  const PatternReading reading = ReadPattern(
      {reinterpret_cast<const uint8_t*>(rows.pixels.data()), 128, 96, kStride * 4}, {128, 96});
  EXPECT_TRUE(reading.IsCompared());
  EXPECT_EQ(reading.deviating_blocks, 0u);
}

TEST(Reading, FindsWhatWasDrawnAtEachSize) {
  for (const FrameSize size : std::vector<FrameSize>{
           {128, 96}, {143, 111}, {144, 112}, {640, 360}, {641, 361}, {1920, 1080}}) {
    for (const uint32_t counter : {0u, 1u, kCounter, kCounterLimit - 1}) {
      const PatternReading reading = Read(Drawn(size, counter), size);
      ASSERT_TRUE(reading.IsCompared()) << size.width << " x " << size.height;
      EXPECT_TRUE(
          IsAt(reading.area, 0, 0, static_cast<LONG>(size.width), static_cast<LONG>(size.height)));
      EXPECT_EQ(reading.counter, counter);
      EXPECT_EQ(reading.LargestDeviation(), 0);
      EXPECT_EQ(reading.deviating_blocks, 0u);
      EXPECT_EQ(reading.smallest_alpha, 255);
      EXPECT_EQ(reading.largest_alpha, 255);
    }
  }
}

TEST(Reading, FindsTheClientAreaAnywhereToThePixel) {
  for (const auto& [left, top] :
       Points{{0, 0}, {1, 0}, {0, 1}, {8, 31}, {7, 30}, {60, 40}, {123, 77}}) {
    const PatternReading reading = Read(Framed(Drawn(), 800, 450, left, top));
    ASSERT_TRUE(reading.IsCompared()) << left << ", " << top;
    EXPECT_TRUE(IsAt(reading.area, left, top, left + 640, top + 360));
    EXPECT_EQ(reading.deviating_blocks, 0u);
  }
}

TEST(Reading, IsNotMisledByTheMarksColoursAroundTheClientArea) {
  for (const uint32_t around : {0xFF00FF00u, 0xFFFF00FFu, 0xFF000000u, 0xFFFFFFFFu}) {
    const PatternReading reading = Read(Framed(Drawn(), 801, 451, 21, 11, around));
    ASSERT_TRUE(reading.IsCompared()) << std::hex << around;
    EXPECT_TRUE(IsAt(reading.area, 21, 11, 661, 371));
    EXPECT_EQ(reading.deviating_blocks, 0u);
  }
}

TEST(Reading, SaysWhenTheEdgesAreCutOff) {
  const PatternReading reading = Read(Framed(Drawn(), 640, 360, -3, 1));
  ASSERT_TRUE(reading.found);
  EXPECT_TRUE(IsAt(reading.area, -3, 1, 637, 361));
}

TEST(Reading, FindsNothingWhereAMarkIsMissing) {
  for (const auto& [x, y] : Points{{0, 0}, {608, 0}, {0, 320}, {608, 320}}) {
    Picture frame = Drawn();
    Fill(frame, static_cast<uint32_t>(x), static_cast<uint32_t>(y), 32, 32, 0xFF3A6EA5);
    EXPECT_FALSE(Read(frame).found) << x << ", " << y;
  }
  EXPECT_FALSE(Read(Picture(640, 360, 0xFF00FF00)).found);
  EXPECT_FALSE(Read(Picture(0, 0)).found);
}

TEST(Reading, PassesOverAMarkWithoutTheOthers) {
  Picture frame = Framed(Drawn(), 900, 500, 200, 100);
  const Picture mark = Drawn();
  for (uint32_t y = 0; y < 32; ++y) {
    for (uint32_t x = 0; x < 32; ++x) frame.At(40 + x, 20 + y) = mark.At(x, y);
  }
  const PatternReading reading = Read(frame);
  ASSERT_TRUE(reading.found);
  EXPECT_TRUE(IsAt(reading.area, 200, 100, 840, 460));
}

TEST(Reading, NoticesAScaledClientArea) {
  for (const auto& [width, height] :
       Points{{960, 540}, {800, 450}, {512, 288}, {320, 180}, {641, 360}, {640, 359}}) {
    const PatternReading reading =
        Read(Framed(Stretched(Drawn(), static_cast<uint32_t>(width), static_cast<uint32_t>(height)),
                    1000, 600, 13, 17));
    ASSERT_TRUE(reading.found) << width << " x " << height;
    EXPECT_TRUE(reading.scaled) << width << " x " << height;
    EXPECT_FALSE(reading.IsCompared());
    EXPECT_NEAR(reading.area.right - reading.area.left, width, 2);
    EXPECT_NEAR(reading.area.bottom - reading.area.top, height, 2);
    EXPECT_EQ(reading.counter, kCounter);
    EXPECT_FALSE(reading.torn);
  }
}

TEST(Reading, NoticesBlurredEdges) {
  const PatternReading reading = Read(ShiftedByHalfAPixel(Drawn()));
  ASSERT_TRUE(reading.found);
  EXPECT_TRUE(reading.scaled);
}

TEST(Reading, NoticesAWrongRowPitch) {
  for (const int more : {-2, -1, 1, 2, 16, 64}) {
    const Picture picture = Drawn();
    PixelView view = ViewOf(picture);
    view.row_pitch += static_cast<size_t>(more * 4);
    view.height -= 50;  // stay within the picture
    EXPECT_FALSE(ReadPattern(view, kClient).IsCompared()) << more;
  }
}

TEST(Reading, NoticesRowsThatAreOneOff) {
  Picture frame = Drawn();
  // The lower half moves one pixel to the right, and with it two of the marks.
  for (uint32_t y = 180; y < 360; ++y) {
    for (uint32_t x = 639; x > 0; --x) frame.At(x, y) = frame.At(x - 1, y);
  }
  EXPECT_FALSE(Read(frame).found);
}

TEST(Reading, NoticesSwappedChannels) {
  Picture frame = Drawn();
  for (uint32_t& pixel : frame.pixels) {
    pixel = (pixel & 0xFF00FF00) | (pixel & 0xFF) << 16 | (pixel >> 16 & 0xFF);
  }
  const PatternReading reading = Read(frame);
  ASSERT_TRUE(reading.IsCompared());
  EXPECT_EQ(reading.deviation[0], 255);  // pure red or blue is the largest
  EXPECT_EQ(reading.deviation[1], 0);
  EXPECT_EQ(reading.deviation[2], 255);
  EXPECT_GT(reading.deviating_blocks, 100u);
}

TEST(Reading, DescribesWhatDeviates) {
  Picture frame = Drawn();
  const uint32_t expected = frame.At(10 * 16, 6 * 16);
  const uint32_t seen = expected ^ 0x00000103;  // blue by up to 3, green by 1
  frame.At(10 * 16 + 5, 6 * 16 + 9) = seen;
  frame.At(20 * 16 + 13, 9 * 16 + 2) ^= 0x00010000;  // red by 1
  const PatternReading reading = Read(frame);
  ASSERT_TRUE(reading.IsCompared());
  EXPECT_EQ(reading.deviating_blocks, 2u);
  EXPECT_EQ(reading.first.column, 10u);
  EXPECT_EQ(reading.first.row, 6u);
  EXPECT_EQ(reading.first.expected, expected);
  EXPECT_EQ(reading.first.seen, seen);
  EXPECT_EQ(reading.deviation[0],
            std::abs(static_cast<int>(expected & 0xFF) - static_cast<int>(seen & 0xFF)));
  EXPECT_EQ(reading.deviation[1], 1);
  EXPECT_EQ(reading.deviation[2], 1);
}

TEST(Reading, TellsHowTheGreysAreSeen) {
  const PatternReading exact = Read(Drawn());
  Picture frame = Drawn();
  for (uint32_t& pixel : frame.pixels) {
    for (int shift = 0; shift < 24; shift += 8) {
      const uint32_t value = pixel >> shift & 0xFF;
      pixel = (pixel & ~(0xFFu << shift)) | (value * 3 / 4 + 60) << shift;
    }
  }
  const PatternReading lighter = Read(frame);
  ASSERT_TRUE(lighter.IsCompared());
  for (int i = 0; i < 7; ++i) {
    EXPECT_EQ(exact.greys[i], (i + 1) * 32);
    EXPECT_EQ(lighter.greys[i], (i + 1) * 24 + 60);
  }
}

TEST(Reading, NoticesOneWrongBlockWhereverItIs) {
  for (uint32_t row = 0; row < 22; ++row) {
    for (uint32_t column = 0; column < 40; ++column) {
      Picture frame = Drawn();
      // One level off all over: no mark and no bit is lost by it.
      for (uint32_t y = row * 16; y < row * 16 + 16; ++y) {
        for (uint32_t x = column * 16; x < column * 16 + 16; ++x) frame.At(x, y) ^= 0x000001;
      }
      const PatternReading reading = Read(frame);
      ASSERT_TRUE(reading.IsCompared());
      ASSERT_EQ(reading.deviating_blocks, 1u);
      EXPECT_EQ(reading.LargestDeviation(), 1);
      EXPECT_EQ(reading.first.column, column);
      EXPECT_EQ(reading.first.row, row);
    }
  }
}

TEST(Reading, LeavesOutTheEdgesOfBlocks) {
  Picture frame = Drawn();
  const uint32_t left = 10 * 16;
  const uint32_t top = 6 * 16;
  frame.At(left + 1, top + 8) ^= 0xFF;
  frame.At(left + 14, top + 8) ^= 0xFF;
  frame.At(left + 8, top + 1) ^= 0xFF;
  frame.At(left + 8, top + 14) ^= 0xFF;
  EXPECT_EQ(Read(frame).deviating_blocks, 0u);
  for (const auto& [x, y] : Points{{2, 8}, {13, 8}, {8, 2}, {8, 13}}) {
    Picture inside = Drawn();
    inside.At(left + static_cast<uint32_t>(x), top + static_cast<uint32_t>(y)) ^= 0xFF;
    EXPECT_EQ(Read(inside).deviating_blocks, 1u) << x << ", " << y;
  }
}

TEST(Reading, GivesTheRangeOfAlphaAndComparesColoursOnly) {
  Picture frame = Drawn();
  frame.At(200, 100) &= 0x40FFFFFF;
  const PatternReading reading = Read(frame);
  EXPECT_EQ(reading.smallest_alpha, 0x40);
  EXPECT_EQ(reading.largest_alpha, 255);
  EXPECT_EQ(reading.deviating_blocks, 0u);

  for (uint32_t& pixel : frame.pixels) pixel &= 0x00FFFFFF;
  const PatternReading transparent = Read(frame);
  EXPECT_EQ(transparent.smallest_alpha, 0);
  EXPECT_EQ(transparent.largest_alpha, 0);
  EXPECT_EQ(transparent.deviating_blocks, 0u);
}

TEST(Reading, ComparesNoColoursOfATornFrame) {
  for (uint32_t counter = 0; counter < kCounterLimit - 1; counter = counter * 2 + 1) {
    const Picture next = Drawn(kClient, counter + 1);
    Picture frame = Drawn(kClient, counter);
    std::copy(next.pixels.begin() + 640 * 180, next.pixels.end(), frame.pixels.begin() + 640 * 180);
    const PatternReading reading = Read(frame);
    ASSERT_TRUE(reading.found);
    EXPECT_TRUE(reading.torn) << counter;
    EXPECT_EQ(reading.deviating_blocks, 0u);
  }
}

TEST(Reading, NoticesAStaleBlock) {
  const Picture earlier = Drawn(kClient, kCounter - 1);
  Picture frame = Drawn();
  for (uint32_t y = 96; y < 128; ++y) {
    for (uint32_t x = 320; x < 352; ++x) frame.At(x, y) = earlier.At(x, y);
  }
  EXPECT_EQ(Read(frame).deviating_blocks, 4u);
}

}  // namespace
