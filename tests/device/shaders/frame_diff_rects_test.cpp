// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <utility>

#include "diff/FrameDiffRectsCS.h"
#include "device/shaders/compute_device.h"

namespace shader_test {
namespace {

constexpr uint32_t kTileEdge = 32;
// What a texel holds that no thread has written.
constexpr uint32_t kUnwritten = 7777;
constexpr uint32_t kBlack = 0xff000000;
constexpr uint32_t kWhite = 0xffffffff;

uint32_t CeilDivide(uint32_t value, uint32_t divisor) {
  return (value + divisor - 1) / divisor;
}

// Tiles of no extent all start at pixel 0: two of them show as much as any number.
uint32_t TilesAlong(uint32_t side, uint32_t tile_edge) {
  return tile_edge == 0 ? 2 : CeilDivide(side, tile_edge);
}

struct Size {
  uint32_t width;
  uint32_t height;
};

// BGRA pixels as the capture delivers them: blue in the lowest byte.
struct Frame {
  Size size;
  std::vector<uint32_t> pixels;

  explicit Frame(Size s, uint32_t fill = kBlack)
      : size(s), pixels(size_t{s.width} * s.height, fill) {}
  uint32_t& At(uint32_t x, uint32_t y) { return pixels[size_t{y} * size.width + x]; }
  uint32_t At(uint32_t x, uint32_t y) const { return pixels[size_t{y} * size.width + x]; }
};

// One value per tile, partial tiles included.
struct Measures {
  uint32_t columns;
  uint32_t rows;
  std::vector<uint32_t> values;

  uint32_t& At(uint32_t column, uint32_t row) { return values[size_t{row} * columns + column]; }
  uint32_t At(uint32_t column, uint32_t row) const {
    return values[size_t{row} * columns + column];
  }
};

struct Scan {
  Size size;
  uint32_t tile_width = kTileEdge;
  uint32_t tile_height = kTileEdge;
  DXGI_FORMAT output = DXGI_FORMAT_R32_SINT;
};

// The difference pass on two textures of any format, as the engine dispatches it.
Measures Measure(const Scan& scan, const ReadableTexture& before, const ReadableTexture& after) {
  ComputeDevice& device = ComputeDevice::Shared();
  Measures result{TilesAlong(scan.size.width, scan.tile_width),
                  TilesAlong(scan.size.height, scan.tile_height),
                  {}};
  const uint32_t fill = scan.output == DXGI_FORMAT_R8_UINT ? 0 : kUnwritten;
  const WritableTexture measures =
      device.MakeWritable(result.columns, result.rows, scan.output,
                          std::vector<uint32_t>(size_t{result.columns} * result.rows, fill));
  const Constants constants = {scan.size.width, scan.size.height, scan.tile_width,
                               scan.tile_height};
  device.Run({.bytecode = szFrameDiffRectsCS,
              .textures = {after.view.get(), before.view.get()},
              .outputs = {measures.view.get()},
              .constants = &constants,
              .groups = {CeilDivide(result.columns, 16), CeilDivide(result.rows, 16), 1}});
  result.values = device.Read(measures);
  return result;
}

ReadableTexture Upload(const Frame& frame) {
  return ComputeDevice::Shared().MakeReadable(frame.size.width, frame.size.height,
                                              DXGI_FORMAT_B8G8R8A8_UNORM, frame.pixels.data(), 4);
}

Measures Measure(const Frame& before, const Frame& after,
                 DXGI_FORMAT output = DXGI_FORMAT_R32_SINT) {
  return Measure({.size = before.size, .output = output}, Upload(before), Upload(after));
}

// The smallest frame with one examined tile.
constexpr Size kOneTile = {33, 33};

// The measure of the one examined tile when the given pixel alone differs.
uint32_t MeasureOfChange(uint32_t from, uint32_t to) {
  Frame before(kOneTile);
  Frame after(kOneTile);
  before.At(3, 4) = from;
  after.At(3, 4) = to;
  return Measure(before, after).At(0, 0);
}

TEST(FrameDiffRects, IdenticalFramesGiveZeroForEveryExaminedTile) {
  std::mt19937 random(1);
  Frame frame({97, 65});
  for (uint32_t& pixel : frame.pixels) {
    pixel = random();
  }
  const Measures measures = Measure(frame, frame);
  for (uint32_t row = 0; row < 2; ++row) {
    for (uint32_t column = 0; column < 3; ++column) {
      EXPECT_EQ(measures.At(column, row), 0u) << column << ", " << row;
    }
  }
}

TEST(FrameDiffRects, OneUnitInOneChannelGives230) {
  for (const uint32_t unit : {0x000001u, 0x000100u, 0x010000u}) {
    EXPECT_EQ(MeasureOfChange(0xff404040, 0xff404040 + unit), 230u) << std::hex << unit;
    EXPECT_EQ(MeasureOfChange(0xff404040, 0xff404040 - unit), 230u) << std::hex << unit;
  }
}

TEST(FrameDiffRects, OneWholeChannelGives230) {
  EXPECT_EQ(MeasureOfChange(kBlack, 0xff0000ff), 230u);
  EXPECT_EQ(MeasureOfChange(kBlack, 0xff00ff00), 230u);
  EXPECT_EQ(MeasureOfChange(0xffff0000, kBlack), 230u);
}

TEST(FrameDiffRects, MoreThanOneWholeChannelGives460) {
  EXPECT_EQ(MeasureOfChange(kBlack, 0xff00ff01), 460u);
  EXPECT_EQ(MeasureOfChange(0xffffff00, kBlack), 460u);
  EXPECT_EQ(MeasureOfChange(0xff808080, 0xff010101), 460u);
}

TEST(FrameDiffRects, BlackToWhiteGives690) {
  EXPECT_EQ(MeasureOfChange(kBlack, kWhite), 690u);
  EXPECT_EQ(MeasureOfChange(kWhite, kBlack), 690u);
}

// A rise in one channel must not make up for a fall in another.
TEST(FrameDiffRects, ChannelsOfOppositeSignDoNotCancel) {
  EXPECT_EQ(MeasureOfChange(0xff800010, 0xff100080), 230u);
  EXPECT_EQ(MeasureOfChange(0xffff0000, 0xff0000ff), 460u);
}

TEST(FrameDiffRects, AlphaIsNotDetected) {
  EXPECT_EQ(MeasureOfChange(0x00123456, 0xff123456), 0u);
}

TEST(FrameDiffRects, AnEightBitTexelHoldsTheMeasureClampedTo255) {
  for (const auto& [pixel, expected] :
       {std::pair{0xff000001u, 230u}, {0xff0001ffu, 255u}, {kWhite, 255u}, {kBlack, 0u}}) {
    const Frame before(kOneTile);
    Frame after(kOneTile);
    after.At(31, 31) = pixel;
    EXPECT_EQ(Measure(before, after, DXGI_FORMAT_R8_UINT).At(0, 0), expected);
  }
}

TEST(FrameDiffRects, ASixteenBitTexelHoldsTheWholeMeasure) {
  Frame after(kOneTile);
  after.At(0, 0) = kWhite;
  EXPECT_EQ(Measure(Frame(kOneTile), after, DXGI_FORMAT_R16_UINT).At(0, 0), 690u);
}

// Pixels whose measures tell them apart: 230, 460 and 690.
constexpr uint32_t k230 = 0xff000001;
constexpr uint32_t k460 = 0xff00ffff;
constexpr uint32_t k690 = kWhite;

TEST(FrameDiffRects, OfTwoChangedPixelsTheSmallerXWins) {
  Frame after(kOneTile);
  after.At(5, 20) = k230;
  after.At(6, 0) = k690;
  EXPECT_EQ(Measure(Frame(kOneTile), after).At(0, 0), 230u);
}

TEST(FrameDiffRects, WithinOneColumnTheSmallerYWins) {
  Frame after(kOneTile);
  after.At(5, 20) = k460;
  after.At(5, 21) = k690;
  EXPECT_EQ(Measure(Frame(kOneTile), after).At(0, 0), 460u);
}

// Tile i, j has one changed pixel in row i of its sixth column and another in row j.
TEST(FrameDiffRects, OfAnyTwoChangedPixelsOfAColumnTheSmallerYWins) {
  const Size size = {32 * kTileEdge + 1, 32 * kTileEdge + 1};
  Frame after(size);
  for (uint32_t i = 0; i < 32; ++i) {
    for (uint32_t j = 0; j < 32; ++j) {
      after.At(i * kTileEdge + 5, j * kTileEdge + i) = k460;
      after.At(i * kTileEdge + 5, j * kTileEdge + j) = k690;
    }
  }
  const Measures measures = Measure(Frame(size), after);
  for (uint32_t i = 0; i < 32; ++i) {
    for (uint32_t j = 0; j < 32; ++j) {
      EXPECT_EQ(measures.At(i, j), i < j ? 460u : 690u) << "rows " << i << " and " << j;
    }
  }
}

TEST(FrameDiffRects, TheFirstPixelOfATileWinsOverAllOthers) {
  Frame after(kOneTile, k690);
  after.At(0, 0) = k460;
  EXPECT_EQ(Measure(Frame(kOneTile), after).At(0, 0), 460u);
}

TEST(FrameDiffRects, EveryPixelOfATileIsExaminedAndNoNeighbour) {
  const Size size = {97, 97};
  const Frame before(size);
  // The corners of the middle tile, and the pixels diagonally outside them.
  for (const auto& [x, y] : {std::pair{32u, 32u}, {63u, 32u}, {32u, 63u}, {63u, 63u}}) {
    Frame after(size);
    after.At(x, y) = k230;
    const Measures measures = Measure(before, after);
    for (uint32_t row = 0; row < 3; ++row) {
      for (uint32_t column = 0; column < 3; ++column) {
        EXPECT_EQ(measures.At(column, row), column == 1 && row == 1 ? 230u : 0u)
            << x << ", " << y << ": tile " << column << ", " << row;
      }
    }
  }
  for (const auto& [x, y] : {std::pair{31u, 31u}, {64u, 31u}, {31u, 64u}, {64u, 64u}}) {
    Frame after(size);
    after.At(x, y) = k230;
    EXPECT_EQ(Measure(before, after).At(1, 1), 0u) << x << ", " << y;
  }
}

TEST(FrameDiffRects, TheTileSizeComesFromTheConstants) {
  const Size size = {40, 40};
  Frame after(size);
  after.At(16, 8) = k460;   // the first pixel of tile 1, 1
  after.At(31, 23) = k230;  // the last pixel of tile 1, 2
  const Measures measures = Measure({.size = size, .tile_width = 16, .tile_height = 8},
                                    Upload(Frame(size)), Upload(after));
  ASSERT_EQ(measures.columns, 3u);
  ASSERT_EQ(measures.rows, 5u);
  const std::vector<uint32_t> expected = {
      0,          0,          kUnwritten,  //
      0,          460,        kUnwritten,  //
      0,          230,        kUnwritten,  //
      0,          0,          kUnwritten,  //
      kUnwritten, kUnwritten, kUnwritten,  //
  };
  EXPECT_EQ(measures.values, expected);
}

struct EdgeCase {
  Size size;
  uint32_t examined_columns;
  uint32_t examined_rows;
};

// Tiles that end on the frame's edge or beyond it are skipped: their texels are never written.
class EdgeTiles : public testing::TestWithParam<EdgeCase> {};
INSTANTIATE_TEST_SUITE_P(
    FrameDiffRects, EdgeTiles,
    testing::Values(EdgeCase{{64, 64}, 1, 1}, EdgeCase{{65, 65}, 2, 2}, EdgeCase{{64, 65}, 1, 2},
                    EdgeCase{{65, 64}, 2, 1}, EdgeCase{{63, 33}, 1, 1}, EdgeCase{{33, 32}, 1, 0},
                    EdgeCase{{32, 33}, 0, 1}, EdgeCase{{1, 1}, 0, 0}, EdgeCase{{1366, 768}, 42, 23},
                    EdgeCase{{1920, 1080}, 59, 33}),
    [](const auto& info) {
      return std::to_string(info.param.size.width) + "x" + std::to_string(info.param.size.height);
    });

TEST_P(EdgeTiles, AreNeverWritten) {
  const EdgeCase& edge = GetParam();
  const Measures measures = Measure(Frame(edge.size), Frame(edge.size, kWhite));
  size_t wrong = 0;
  for (uint32_t row = 0; row < measures.rows; ++row) {
    for (uint32_t column = 0; column < measures.columns; ++column) {
      const bool examined = column < edge.examined_columns && row < edge.examined_rows;
      wrong += measures.At(column, row) != (examined ? 690u : kUnwritten);
    }
  }
  EXPECT_EQ(wrong, 0u);
}

using FloatPixel = std::array<float, 4>;

// The measure of a change from black, with channels of 32-bit floating point.
uint32_t MeasureOfFloats(const FloatPixel& pixel) {
  std::vector<FloatPixel> before(kOneTile.width * kOneTile.height, FloatPixel{0, 0, 0, 1});
  std::vector<FloatPixel> after = before;
  after[kOneTile.width + 1] = pixel;
  const auto upload = [](const std::vector<FloatPixel>& pixels) {
    return ComputeDevice::Shared().MakeReadable(kOneTile.width, kOneTile.height,
                                                DXGI_FORMAT_R32G32B32A32_FLOAT, pixels.data(),
                                                sizeof(FloatPixel));
  };
  return Measure({.size = kOneTile}, upload(before), upload(after)).At(0, 0);
}

TEST(FrameDiffRects, AnyDifferenceHoweverSmallGives230) {
  EXPECT_EQ(MeasureOfFloats({0, 0x1p-40f, 0, 1}), 230u);
}

// 1 + 2^-24 rounds to 1, and 1 + 2^-23 is the next number after 1. So two terms of 2^-24 count when
// they are added to each other first, and vanish when each is added to 1.
TEST(FrameDiffRects, GreenAndRedAreAddedBeforeBlue) {
  constexpr float kHalfStep = 0x1p-24f;
  EXPECT_EQ(MeasureOfFloats({kHalfStep, kHalfStep, 1, 1}), 460u);
  EXPECT_EQ(MeasureOfFloats({1, kHalfStep, kHalfStep, 1}), 230u);
  EXPECT_EQ(MeasureOfFloats({kHalfStep, 1, kHalfStep, 1}), 230u);
}

// The sum of the colour channels' differences, in units of 1/255.
uint32_t Difference(uint32_t from, uint32_t to) {
  uint32_t sum = 0;
  for (int shift : {0, 8, 16}) {
    sum += std::abs(static_cast<int>(from >> shift & 0xff) - static_cast<int>(to >> shift & 0xff));
  }
  return sum;
}

uint32_t PixelMeasure(const Frame& before, const Frame& after, uint32_t x, uint32_t y) {
  return CeilDivide(Difference(before.At(x, y), after.At(x, y)), 255) * 230;
}

// The definition, in whole numbers.
uint32_t ExpectedMeasure(const Scan& scan, const Frame& before, const Frame& after, uint32_t column,
                         uint32_t row) {
  const uint32_t x0 = column * scan.tile_width;
  const uint32_t y0 = row * scan.tile_height;
  const uint32_t x1 = x0 + scan.tile_width;
  const uint32_t y1 = y0 + scan.tile_height;
  if (x1 >= scan.size.width || y1 >= scan.size.height) {
    return kUnwritten;
  }
  uint32_t value = PixelMeasure(before, after, x0, y0);
  for (uint32_t x = x0; x < x1 && value == 0; ++x) {
    for (uint32_t y = y0; y < y1 && value == 0; ++y) {
      value = PixelMeasure(before, after, x, y);
    }
  }
  return value;
}

Frame RandomFrame(const Size& size, std::mt19937& random) {
  Frame frame(size);
  for (uint32_t& pixel : frame.pixels) {
    pixel = random();
  }
  return frame;
}

// About one pixel in `rarity` has other colours, and every pixel another alpha.
Frame ChangedFrame(const Frame& before, uint32_t rarity, std::mt19937& random) {
  Frame after = before;
  for (uint32_t& pixel : after.pixels) {
    pixel ^= 0xff000000;
    if (random() % rarity == 0) {
      const uint32_t changed = random();
      // Whether a sum of channels of exactly 255 or 510 is rounded up hangs on how the device turns
      // bytes into floating point.
      if (Difference(pixel, changed) % 255 != 0) {
        pixel = changed;
      }
    }
  }
  return after;
}

// About one changed pixel in a thousand, so that tiles with none, one and several all occur.
TEST(FrameDiffRects, AgreesWithTheDefinitionOnRandomFrames) {
  std::mt19937 random(20240229);
  const Frame before = RandomFrame({641, 353}, random);
  const Frame after = ChangedFrame(before, 1000, random);
  const Measures measures = Measure(before, after);
  std::set<uint32_t> found;
  for (uint32_t row = 0; row < measures.rows; ++row) {
    for (uint32_t column = 0; column < measures.columns; ++column) {
      const uint32_t expected = ExpectedMeasure({before.size}, before, after, column, row);
      found.insert(expected);
      EXPECT_EQ(measures.At(column, row), expected) << column << ", " << row;
    }
  }
  EXPECT_EQ(found, (std::set<uint32_t>{0, 230, 460, 690, kUnwritten}));
}

// Heights that are and are not multiples of how many pixels the program loads at once, none at all,
// and tiles whose last row is the frame's last but one, so that loads reach beyond the frame: 139
// pixels are 46 tiles of 3 pixels, or 6 of 23, and one row.
TEST(FrameDiffRects, AgreesWithTheDefinitionForTilesOfAnySize) {
  std::mt19937 random(20240301);
  const Frame before = RandomFrame({101, 139}, random);
  const Frame after = ChangedFrame(before, 60, random);
  const ReadableTexture old_frame = Upload(before);
  const ReadableTexture new_frame = Upload(after);
  for (uint32_t height = 0; height <= 34; ++height) {
    for (const uint32_t width : {0u, 1u, 5u, 31u, 33u}) {
      const Scan scan{before.size, width, height};
      const Measures measures = Measure(scan, old_frame, new_frame);
      size_t wrong = 0;
      for (uint32_t row = 0; row < measures.rows; ++row) {
        for (uint32_t column = 0; column < measures.columns; ++column) {
          wrong += measures.At(column, row) != ExpectedMeasure(scan, before, after, column, row);
        }
      }
      EXPECT_EQ(wrong, 0u) << "tiles of " << width << " x " << height;
    }
  }
}

// Below each tile, and right of it, lies a changed pixel that belongs to the next one.
TEST(FrameDiffRects, PixelsBesideATileDoNotCountWhateverItsSize) {
  for (uint32_t edge = 1; edge <= 33; ++edge) {
    const Size size = {2 * edge + 1, 2 * edge + 1};
    Frame after(size);
    for (uint32_t i = 0; i < 2 * edge; ++i) {
      after.At(i, edge) = k460;
      after.At(edge, i) = k690;
    }
    const Scan scan{size, edge, edge};
    const Measures measures = Measure(scan, Upload(Frame(size)), Upload(after));
    EXPECT_EQ(measures.At(0, 0), 0u) << edge;
    EXPECT_EQ(measures.At(0, 1), 460u) << edge;
    EXPECT_EQ(measures.At(1, 0), 690u) << edge;
  }
}

struct Shape {
  const char* name;
  Size size;
  Size tile;
  uint32_t x, y;  // the pixel after a tile's first
};

// Tiles of one column or one row, so long that scanning them to the end takes long.
class LongTiles : public testing::TestWithParam<Shape> {
 protected:
  // The time until the measures of many passes are there, at its best. Only the first tile's has a
  // texel to go to.
  static double Seconds(const Frame& after) {
    ComputeDevice& device = ComputeDevice::Shared();
    const Shape& shape = GetParam();
    const ReadableTexture old_frame = Upload(Frame(shape.size));
    const ReadableTexture new_frame = Upload(after);
    const WritableTexture measures = device.MakeWritable(1, 1, DXGI_FORMAT_R32_SINT, {kUnwritten});
    const Constants constants = {shape.size.width, shape.size.height, shape.tile.width,
                                 shape.tile.height};
    double best = std::numeric_limits<double>::max();
    for (int i = 0; i < 3; ++i) {
      const auto start = std::chrono::steady_clock::now();
      for (int pass = 0; pass < 30; ++pass) {
        device.Run({.bytecode = szFrameDiffRectsCS,
                    .textures = {new_frame.view.get(), old_frame.view.get()},
                    .outputs = {measures.view.get()},
                    .constants = &constants,
                    .groups = {CeilDivide(shape.size.width, 16 * shape.tile.width), 1, 1}});
      }
      device.Read(measures);
      const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
      best = std::min(best, time.count());
    }
    return best;
  }
};
INSTANTIATE_TEST_SUITE_P(FrameDiffRects, LongTiles,
                         testing::Values(Shape{"Column", {81, 16001}, {1, 16000}, 0, 1},
                                         Shape{"Row", {16001, 2}, {16000, 1}, 1, 0}),
                         [](const auto& info) { return info.param.name; });

// All but a few of a tile's loads are left out, so half the time is a generous bound.
TEST_P(LongTiles, AreLeftAtTheFirstChange) {
  const Shape& shape = GetParam();
  Frame after(shape.size);
  const double unchanged = Seconds(after);
  for (uint32_t x = shape.x; x < shape.size.width; x += shape.tile.width) {
    after.At(x, shape.y) = k230;
  }
  EXPECT_LT(Seconds(after), unchanged / 2);
}

}  // namespace
}  // namespace shader_test
