// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <random>
#include <set>
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

// A value per tile, partial tiles included.
using Measures = Picture;

struct Size {
  uint32_t width;
  uint32_t height;
};

struct Scan {
  Size size;
  uint32_t tile_width = kTileEdge;
  uint32_t tile_height = kTileEdge;
  DXGI_FORMAT output = DXGI_FORMAT_R32_SINT;
};

// Dispatches the pass on two textures of any format.
void Dispatch(const Scan& scan, const Input& before, const Input& after,
              const OutputTexture& measures, UINT group_columns, UINT group_rows) {
  const Constants constants = {scan.size.width, scan.size.height, scan.tile_width,
                               scan.tile_height};
  ComputeDevice::Shared().Run({.bytecode = szFrameDiffRectsCS,
                               .textures = {after.view.get(), before.view.get()},
                               .outputs = {measures.view.get()},
                               .constants = &constants,
                               .groups = {group_columns, group_rows, 1}});
}

// The measures of all tiles, computed as by the engine.
Measures Measure(const Scan& scan, const Input& before, const Input& after) {
  ComputeDevice& device = ComputeDevice::Shared();
  Measures result(TilesAlong(scan.size.width, scan.tile_width),
                  TilesAlong(scan.size.height, scan.tile_height),
                  scan.output == DXGI_FORMAT_R8_UINT ? 0 : kUnwritten);
  const OutputTexture measures =
      device.MakeOutput(result.width, result.height, scan.output, result.pixels);
  Dispatch(scan, before, after, measures, CeilDivide(result.width, 16),
           CeilDivide(result.height, 16));
  result.pixels = device.Read(measures);
  return result;
}

Input Upload(const Picture& frame) {
  return ComputeDevice::Shared().MakeInput(frame.width, frame.height, DXGI_FORMAT_B8G8R8A8_UNORM,
                                           frame.pixels.data(), 4);
}

Measures Measure(const Picture& before, const Picture& after,
                 DXGI_FORMAT output = DXGI_FORMAT_R32_SINT) {
  return Measure({.size = {before.width, before.height}, .output = output}, Upload(before),
                 Upload(after));
}

// The smallest frame with one examined tile.
const Picture kOneTile(33, 33, kBlack);

// The measure of the one examined tile when the given pixel alone differs.
uint32_t MeasureOfChange(uint32_t from, uint32_t to, DXGI_FORMAT output = DXGI_FORMAT_R32_SINT) {
  Picture before = kOneTile;
  Picture after = kOneTile;
  before.At(31, 31) = from;
  after.At(31, 31) = to;
  return Measure(before, after, output).At(0, 0);
}

TEST(FrameDiffRects, AChangedPixelGives230ForEachBegunChannelOfTheSumOfItsDifferences) {
  struct Case {
    uint32_t from, to, measure;
  };
  for (const Case& c :
       {Case{0x00123456, 0xff123456, 0},  // alpha
                                          // One unit.
        Case{0xff404040, 0xff404041, 230}, Case{0xff404040, 0xff40403f, 230},
        Case{0xff404040, 0xff404140, 230}, Case{0xff404040, 0xff403f40, 230},
        Case{0xff404040, 0xff414040, 230}, Case{0xff404040, 0xff3f4040, 230},
        // A whole channel, and one unit more.
        Case{kBlack, 0xff0000ff, 230}, Case{kBlack, 0xff00ff00, 230}, Case{0xffff0000, kBlack, 230},
        Case{kBlack, 0xff00ff01, 460}, Case{0xffffff00, kBlack, 460},
        Case{0xff808080, 0xff010101, 460}, Case{kBlack, kWhite, 690}, Case{kWhite, kBlack, 690},
        // A rise in one channel does not make up for a fall in another.
        Case{0xff800010, 0xff100080, 230}, Case{0xffff0000, 0xff0000ff, 460}}) {
    EXPECT_EQ(MeasureOfChange(c.from, c.to), c.measure) << std::hex << c.from << " to " << c.to;
  }
}

TEST(FrameDiffRects, AnEightBitTexelClampsTheMeasureTo255AndASixteenBitTexelHoldsItAll) {
  for (const auto& [pixel, expected] : {std::pair{0xff000001u, 230u}, std::pair{0xff0001ffu, 255u},
                                        std::pair{kWhite, 255u}, std::pair{kBlack, 0u}}) {
    EXPECT_EQ(MeasureOfChange(kBlack, pixel, DXGI_FORMAT_R8_UINT), expected);
  }
  EXPECT_EQ(MeasureOfChange(kBlack, kWhite, DXGI_FORMAT_R16_UINT), 690u);
}

// Pixels whose measures tell them apart: 230, 460 and 690.
constexpr uint32_t k230 = 0xff000001;
constexpr uint32_t k460 = 0xff00ffff;
constexpr uint32_t k690 = kWhite;

TEST(FrameDiffRects, OfTwoChangedPixelsTheFirstOrElseTheOneWithTheSmallerXWins) {
  Picture after = kOneTile;
  after.At(5, 20) = k230;
  after.At(6, 0) = k690;
  EXPECT_EQ(Measure(kOneTile, after).At(0, 0), 230u);
  after.At(0, 0) = k460;
  EXPECT_EQ(Measure(kOneTile, after).At(0, 0), 460u);
}

// Tile i, j has one changed pixel in row i of its sixth column and another in row j.
TEST(FrameDiffRects, OfAnyTwoChangedPixelsOfAColumnTheSmallerYWins) {
  const Picture before(32 * kTileEdge + 1, 32 * kTileEdge + 1, kBlack);
  Picture after = before;
  for (uint32_t i = 0; i < 32; ++i) {
    for (uint32_t j = 0; j < 32; ++j) {
      after.At(i * kTileEdge + 5, j * kTileEdge + i) = k460;
      after.At(i * kTileEdge + 5, j * kTileEdge + j) = k690;
    }
  }
  const Measures measures = Measure(before, after);
  for (uint32_t i = 0; i < 32; ++i) {
    for (uint32_t j = 0; j < 32; ++j) {
      EXPECT_EQ(measures.At(i, j), i < j ? 460u : 690u) << "rows " << i << " and " << j;
    }
  }
}

using FloatPixel = std::array<float, 4>;

// The measure of a change from black, with channels of 32-bit floating point.
uint32_t MeasureOfFloats(const FloatPixel& pixel) {
  std::vector<FloatPixel> before(kOneTile.pixels.size(), FloatPixel{0, 0, 0, 1});
  std::vector<FloatPixel> after = before;
  after[kOneTile.width + 1] = pixel;
  const auto upload = [](const std::vector<FloatPixel>& pixels) {
    return ComputeDevice::Shared().MakeInput(kOneTile.width, kOneTile.height,
                                             DXGI_FORMAT_R32G32B32A32_FLOAT, pixels.data(),
                                             sizeof(FloatPixel));
  };
  return Measure({.size = {33, 33}}, upload(before), upload(after)).At(0, 0);
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

uint32_t PixelMeasure(const Picture& before, const Picture& after, uint32_t x, uint32_t y) {
  return CeilDivide(Difference(before.At(x, y), after.At(x, y)), 255) * 230;
}

// The definition, in whole numbers.
uint32_t ExpectedMeasure(const Scan& scan, const Picture& before, const Picture& after,
                         uint32_t column, uint32_t row) {
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

Picture RandomFrame(uint32_t width, uint32_t height, std::mt19937& random) {
  Picture frame(width, height);
  for (uint32_t& pixel : frame.pixels) pixel = random();
  return frame;
}

// About one pixel in `rarity` has other colours, and every pixel another alpha.
Picture ChangedFrame(const Picture& before, uint32_t rarity, std::mt19937& random) {
  Picture after = before;
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

// Compares every measure with the definition; the values that occur.
std::set<uint32_t> ExpectDefinition(const Scan& scan, const Picture& before, const Picture& after,
                                    const Measures& measures) {
  std::set<uint32_t> found;
  size_t wrong = 0;
  for (uint32_t row = 0; row < measures.height; ++row) {
    for (uint32_t column = 0; column < measures.width; ++column) {
      const uint32_t expected = ExpectedMeasure(scan, before, after, column, row);
      found.insert(expected);
      wrong += measures.At(column, row) != expected;
    }
  }
  EXPECT_EQ(wrong, 0u) << "tiles of " << scan.tile_width << " x " << scan.tile_height
                       << " in a frame of " << scan.size.width << " x " << scan.size.height;
  return found;
}

// About one changed pixel in a thousand, so that tiles with none, one and several all occur.
TEST(FrameDiffRects, AgreesWithTheDefinitionOnRandomFrames) {
  std::mt19937 random(20240229);
  const Picture before = RandomFrame(641, 353, random);
  const Picture after = ChangedFrame(before, 1000, random);
  EXPECT_EQ(ExpectDefinition({{641, 353}}, before, after, Measure(before, after)),
            (std::set<uint32_t>{0, 230, 460, 690, kUnwritten}));
}

// Tiles that end on the frame's edge or beyond it are skipped: their texels are never written.
TEST(FrameDiffRects, AgreesWithTheDefinitionAtTheEdgesOfFramesOfAnySize) {
  for (const Size& size :
       {Size{64, 64}, Size{65, 65}, Size{64, 65}, Size{65, 64}, Size{63, 33}, Size{33, 32},
        Size{32, 33}, Size{1, 1}, Size{1366, 768}, Size{1920, 1080}}) {
    const Picture before(size.width, size.height, kBlack);
    const Picture after(size.width, size.height, kWhite);
    ExpectDefinition({size}, before, after, Measure(before, after));
  }
}

// Heights that are and are not multiples of how many pixels the program loads at once, none at all,
// and tiles whose last row is the frame's last but one, so that loads reach beyond the frame: 139
// pixels are 46 tiles of 3 pixels, or 6 of 23, and one row.
TEST(FrameDiffRects, AgreesWithTheDefinitionForTilesOfAnySize) {
  std::mt19937 random(20240301);
  const Picture before = RandomFrame(101, 139, random);
  const Picture after = ChangedFrame(before, 60, random);
  const Input old_frame = Upload(before);
  const Input new_frame = Upload(after);
  for (uint32_t height = 0; height <= 34; ++height) {
    for (const uint32_t width : {0u, 1u, 5u, 31u, 33u}) {
      const Scan scan{{101, 139}, width, height};
      ExpectDefinition(scan, before, after, Measure(scan, old_frame, new_frame));
    }
  }
}

// Below each tile, and right of it, lies a changed pixel that belongs to the next one.
TEST(FrameDiffRects, PixelsBesideATileDoNotCountWhateverItsSize) {
  for (uint32_t edge = 1; edge <= 33; ++edge) {
    const Picture before(2 * edge + 1, 2 * edge + 1, kBlack);
    Picture after = before;
    for (uint32_t i = 0; i < 2 * edge; ++i) {
      after.At(i, edge) = k460;
      after.At(edge, i) = k690;
    }
    const Scan scan{{before.width, before.height}, edge, edge};
    const Measures measures = Measure(scan, Upload(before), Upload(after));
    EXPECT_EQ(measures.At(0, 0), 0u) << edge;
    EXPECT_EQ(measures.At(0, 1), 460u) << edge;
    EXPECT_EQ(measures.At(1, 0), 690u) << edge;
  }
}

// The time until the measures of many passes over tiles of that size are there, at its best. Only
// the first tile's has a texel to go to.
double Seconds(const Picture& before, const Picture& after, const Size& tile) {
  ComputeDevice& device = ComputeDevice::Shared();
  const Input old_frame = Upload(before);
  const Input new_frame = Upload(after);
  const OutputTexture measures = device.MakeOutput(1, 1, DXGI_FORMAT_R32_SINT, {kUnwritten});
  const Scan scan{{before.width, before.height}, tile.width, tile.height};
  double best = std::numeric_limits<double>::max();
  for (int i = 0; i < 3; ++i) {
    const auto start = std::chrono::steady_clock::now();
    for (int pass = 0; pass < 30; ++pass) {
      Dispatch(scan, old_frame, new_frame, measures, CeilDivide(before.width, 16 * tile.width), 1);
    }
    device.Read(measures);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    best = std::min(best, time.count());
  }
  return best;
}

// Tiles so long that scanning them to the end takes long. With their second pixels changed, all
// but a few of a tile's loads are left out, so half the time is a generous bound.
TEST(FrameDiffRects, ALongColumnOrRowIsLeftAtTheFirstChange) {
  for (const auto& [frame, tile] :
       {std::pair{Size{81, 16001}, Size{1, 16000}}, std::pair{Size{16001, 2}, Size{16000, 1}}}) {
    SCOPED_TRACE(tile.width);
    const Picture before(frame.width, frame.height, kBlack);
    Picture after = before;
    for (uint32_t x = 0; x + tile.width < frame.width; x += tile.width) {
      after.At(x + (tile.width > 1), tile.height > 1) = k230;
    }
    // Other work on the machine may disturb an attempt.
    bool left_early = false;
    for (int attempt = 0; attempt < 5 && !left_early; ++attempt) {
      left_early = Seconds(before, after, tile) < Seconds(before, before, tile) / 2;
    }
    EXPECT_TRUE(left_early);
  }
}

}  // namespace
}  // namespace shader_test
