// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What a detection finds on Direct3D. Its calls and their failures: tests/native/engine.

#include <string>
#include <utility>

#include "device/engine/engine_test.h"

namespace {

using reference::Image;

// A pixel inside the tile, off its edges.
constexpr POINT Tile(LONG column, LONG row) {
  return {column * 32 + 13, row * 32 + 21};
}

// The pixels from `first` to `last` of a line.
std::vector<POINT> Line(LONG first, LONG last, LONG y) {
  std::vector<POINT> pixels;
  for (LONG x = first; x <= last; ++x) pixels.push_back({x, y});
  return pixels;
}

// Two frames that differ in some pixels.
struct PixelCase {
  const char* name;
  uint32_t width;
  uint32_t height;
  std::vector<POINT> changed;
  Boxes boxes;

  friend std::ostream& operator<<(std::ostream& out, const PixelCase& test) {
    return out << test.name;
  }
};

// The last tile column and row are not looked at, whole or partial: the frame must go on behind a
// tile. Columns from 128 on have no flags.
const PixelCase kPixelCases[] = {
    {"NoPixel", 640, 480, {}, {}},
    {"OnePixelOfFullHd", 1920, 1080, {{100, 50}}, {Box(96, 32, 128, 64)}},
    {"NeighboursOfARow",
     400,
     200,
     {Tile(2, 1), Tile(3, 1), Tile(4, 1), Tile(2, 2), Tile(3, 2)},
     {Box(64, 32, 160, 64), Box(64, 64, 128, 96)}},
    {"ARunOverColumn32",
     1920,
     200,
     {Tile(30, 2), Tile(31, 2), Tile(32, 2), Tile(33, 2)},
     {Box(960, 64, 1024, 96), Box(1024, 64, 1088, 96)}},
    {"RunsOverColumns64And96",
     4000,
     70,
     {Tile(63, 0), Tile(64, 0), Tile(95, 0), Tile(96, 0)},
     {Box(2016, 0, 2048, 32), Box(2048, 0, 2080, 32), Box(3040, 0, 3072, 32),
      Box(3072, 0, 3104, 32)}},
    {"InOrderOfRowWordAndColumn",
     2100,
     130,
     {Tile(1, 2), Tile(40, 0), Tile(64, 0), Tile(5, 0), Tile(3, 0), Tile(0, 1)},
     {Box(96, 0, 128, 32), Box(160, 0, 192, 32), Box(1280, 0, 1312, 32), Box(2048, 0, 2080, 32),
      Box(0, 32, 32, 64), Box(32, 64, 64, 96)}},
    {"TheSmallestFrameWithATile", 33, 33, {{31, 31}}, {Box(0, 0, 32, 32)}},
    {"TheLastWholeColumn", 1920, 70, Line(1888, 1919, 10), {}},
    {"BeforeTheLastWholeColumn", 1920, 70, Line(1887, 1919, 10), {Box(1856, 0, 1888, 32)}},
    {"APartialColumn", 1366, 70, Line(1344, 1365, 10), {}},
    {"BeforeAPartialColumn", 1366, 70, Line(1343, 1365, 10), {Box(1312, 0, 1344, 32)}},
    {"TheLastWholeRow", 100, 96, {{10, 64}, {10, 95}}, {}},
    {"APartialRow", 100, 65, {{10, 64}}, {}},
    {"BeforeTheLastRow", 100, 65, {{10, 63}, {10, 64}}, {Box(0, 32, 32, 64)}},
    {"BehindColumn127", 4200, 70, Line(4096, 4199, 40), {}},
    {"Column127", 4200, 70, Line(4095, 4199, 40), {Box(4064, 32, 4096, 64)}},
    {"Column127AsTheLast", 4096, 40, {{4095, 5}}, {}},
    {"Column127BeforeAPartialOne", 4097, 40, {{4095, 5}}, {Box(4064, 0, 4096, 32)}},
};

class ChangedPixels : public EngineTest, public testing::WithParamInterface<PixelCase> {};

TEST_P(ChangedPixels, GiveTheirTiles) {
  const PixelCase& test = GetParam();
  const Image before = NoiseImage(test.width, test.height);
  Image after = before;
  for (const POINT& pixel : test.changed) {
    ChangePixel(after, static_cast<uint32_t>(pixel.x), static_cast<uint32_t>(pixel.y));
  }
  const Outcome outcome = Compare(before, after);
  EXPECT_TRUE(outcome.succeeded);
  EXPECT_EQ(outcome.rects, test.boxes);
  uint32_t area = 0;
  for (const auto& [left, top, front, right, bottom, back] : test.boxes) {
    area += (right - left) * (bottom - top);
  }
  EXPECT_EQ(outcome.ratio, reference::Ratio(area, test.width, test.height));
}

INSTANTIATE_TEST_SUITE_P(, ChangedPixels, testing::ValuesIn(kPixelCases),
                         [](const auto& info) { return std::string(info.param.name); });

class FrameDiffEngineDetect : public EngineTest {};

TEST_F(FrameDiffEngineDetect, TheFirstFrameOfEachSizeGivesNoRectanglesAndIsComparedWithTheNext) {
  for (const auto& [width, height] :
       {std::pair{300u, 200u}, std::pair{200u, 300u}, std::pair{201u, 300u}}) {
    Image image = NoiseImage(width, height);
    const Outcome first = Handle(image);
    EXPECT_TRUE(first.rebuilt);
    EXPECT_TRUE(first.succeeded);
    EXPECT_TRUE(first.rects.empty());

    ChangePixel(image, 70, 40);
    const Outcome second = Handle(image);
    EXPECT_FALSE(second.rebuilt);
    EXPECT_EQ(second.rects, Boxes{Box(64, 32, 96, 64)});
    EXPECT_EQ(second.ratio, reference::Ratio(1024, width, height));
  }
}

TEST_F(FrameDiffEngineDetect, WithoutUpdateOldAfterResizeFramesAreComparedWithTheUnfilledTexture) {
  const Image image(300, 100, 0xff336699);
  const winrt::com_ptr<ID3D11Texture2D> frame = Frame(image);
  ASSERT_TRUE(engine_.Resize(FrameDesc(300, 100)));
  const Outcome first = Detect(engine_, frame.get());
  const Outcome second = Detect(engine_, frame.get());
  // A fresh texture reads as zero.
  EXPECT_EQ(first.rects, (Boxes{Box(0, 0, 288, 32), Box(0, 32, 288, 64), Box(0, 64, 288, 96)}));
  EXPECT_EQ(second.rects, first.rects);
  EXPECT_EQ(second.ratio, reference::Ratio(288 * 96, 300, 100));
}

// A device of its own, whose references nobody else counts.
TEST(FrameDiffEngineRelease, ReturnsEveryReferenceToDeviceAndContext) {
  D3dDevice d3d = CreateD3dDevice();
  ASSERT_TRUE(d3d.device) << "no Direct3D 11 device";
  const unsigned long device_references = ReferenceCount(d3d.device.get());
  const unsigned long context_references = ReferenceCount(d3d.context.get());
  FrameDiffEngine engine;
  // A second Init replaces the first; two sizes, so that every resource is replaced, too.
  for (const uint32_t width : {200u, 333u}) {
    ASSERT_TRUE(engine.Init(d3d.device, d3d.context));
    const auto frame = CreateFrame(d3d, NoiseImage(width, 100));
    ASSERT_TRUE(HandleFrame(engine, frame.get()).succeeded);
    ASSERT_TRUE(HandleFrame(engine, frame.get()).succeeded);
  }
  EXPECT_GT(ReferenceCount(d3d.device.get()), device_references);
  engine.Release();
  EXPECT_EQ(ReferenceCount(d3d.device.get()), device_references);
  EXPECT_EQ(ReferenceCount(d3d.context.get()), context_references);
  d3d.context = nullptr;
  EXPECT_EQ(d3d.device.detach()->Release(), 0u);
}

}  // namespace
