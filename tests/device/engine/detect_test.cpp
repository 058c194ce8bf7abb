// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What a detection finds.

#include <string>
#include <utility>

#include "device/engine/engine_test.h"

namespace {

using reference::Image;

class FrameDiffEngineDetect : public EngineTest {
 protected:
  // Compares a frame with one in which these pixels differ.
  Outcome ComparePixels(const Image& before, const std::vector<POINT>& pixels) {
    Image after = before;
    for (const POINT& pixel : pixels) {
      ChangePixel(after, static_cast<uint32_t>(pixel.x), static_cast<uint32_t>(pixel.y));
    }
    return Compare(before, after);
  }
};

// A pixel inside the tile, off its edges.
POINT PixelOfTile(LONG column, LONG row) {
  return {column * 32 + 13, row * 32 + 21};
}

TEST_F(FrameDiffEngineDetect, FirstFrameGivesNoRectanglesAndIsComparedWithTheNext) {
  Image image = NoiseImage(300, 200);
  const Outcome first = Handle(image);
  EXPECT_TRUE(first.rebuilt);
  EXPECT_TRUE(first.succeeded);
  EXPECT_TRUE(first.rects.empty());

  ChangePixel(image, 70, 40);
  const Outcome second = Handle(image);
  EXPECT_FALSE(second.rebuilt);
  EXPECT_TRUE(second.succeeded);
  EXPECT_EQ(second.rects, Boxes{Box(64, 32, 96, 64)});
  EXPECT_EQ(second.ratio, reference::Ratio(1024, 300, 200));
}

TEST_F(FrameDiffEngineDetect, FirstFrameAfterASizeChangeGivesNoRectanglesAndIsComparedWithTheNext) {
  ASSERT_TRUE(Compare(NoiseImage(300, 200), NoiseImage(300, 200)).succeeded);

  Image image = NoiseImage(200, 300, 2);
  const Outcome changed = Handle(image);
  EXPECT_TRUE(changed.rebuilt);
  EXPECT_TRUE(changed.succeeded);
  EXPECT_TRUE(changed.rects.empty());

  ChangePixel(image, 0, 258);
  const Outcome next = Handle(image);
  EXPECT_TRUE(next.succeeded);
  EXPECT_EQ(next.rects, Boxes{Box(0, 256, 32, 288)});
  EXPECT_EQ(next.ratio, reference::Ratio(1024, 200, 300));
}

TEST_F(FrameDiffEngineDetect, AChangeOfOneSideAloneIsASizeChange) {
  ASSERT_TRUE(Handle(NoiseImage(128, 96)).rebuilt);
  EXPECT_TRUE(Handle(NoiseImage(129, 96)).rebuilt);
  EXPECT_TRUE(Handle(NoiseImage(129, 97)).rebuilt);
  EXPECT_FALSE(Handle(NoiseImage(129, 97)).rebuilt);
}

TEST_F(FrameDiffEngineDetect, IdenticalFramesGiveAnEmptyListAndRatioZero) {
  const Image image = NoiseImage(640, 480);
  const Outcome outcome = Compare(image, image);
  EXPECT_TRUE(outcome.succeeded);
  EXPECT_TRUE(outcome.rects.empty());
  EXPECT_EQ(outcome.ratio, 0.0f);
}

TEST_F(FrameDiffEngineDetect, OneChangedPixelOfAFullHdFrameGivesItsTile) {
  const Outcome outcome = ComparePixels(NoiseImage(1920, 1080), {{100, 50}});
  EXPECT_TRUE(outcome.succeeded);
  EXPECT_EQ(outcome.rects, Boxes{Box(96, 32, 128, 64)});
  EXPECT_EQ(outcome.ratio, static_cast<float>(1024.0 / 2073600.0));
}

TEST_F(FrameDiffEngineDetect, ARunOfTileColumns30To33GivesTwoRectangles) {
  const Outcome outcome = ComparePixels(
      NoiseImage(1920, 200),
      {PixelOfTile(30, 2), PixelOfTile(31, 2), PixelOfTile(32, 2), PixelOfTile(33, 2)});
  EXPECT_EQ(outcome.rects, (Boxes{Box(960, 64, 1024, 96), Box(1024, 64, 1088, 96)}));
  EXPECT_EQ(outcome.ratio, reference::Ratio(4 * 1024, 1920, 200));
}

TEST_F(FrameDiffEngineDetect, RunsEndAtTileColumns64And96Too) {
  const Outcome outcome = ComparePixels(
      NoiseImage(4000, 70),
      {PixelOfTile(63, 0), PixelOfTile(64, 0), PixelOfTile(95, 0), PixelOfTile(96, 0)});
  EXPECT_EQ(outcome.rects, (Boxes{Box(2016, 0, 2048, 32), Box(2048, 0, 2080, 32),
                                  Box(3040, 0, 3072, 32), Box(3072, 0, 3104, 32)}));
}

TEST_F(FrameDiffEngineDetect, NeighbouringTilesOfARowMergeAndRowsDoNot) {
  const Outcome outcome =
      ComparePixels(NoiseImage(400, 200), {PixelOfTile(2, 1), PixelOfTile(3, 1), PixelOfTile(4, 1),
                                           PixelOfTile(2, 2), PixelOfTile(3, 2)});
  EXPECT_EQ(outcome.rects, (Boxes{Box(64, 32, 160, 64), Box(64, 64, 128, 96)}));
}

TEST_F(FrameDiffEngineDetect, RectanglesComeInOrderOfRowWordAndColumn) {
  const Outcome outcome = ComparePixels(NoiseImage(2100, 130),
                                        {PixelOfTile(1, 2), PixelOfTile(40, 0), PixelOfTile(64, 0),
                                         PixelOfTile(5, 0), PixelOfTile(3, 0), PixelOfTile(0, 1)});
  EXPECT_EQ(outcome.rects,
            (Boxes{Box(96, 0, 128, 32), Box(160, 0, 192, 32), Box(1280, 0, 1312, 32),
                   Box(2048, 0, 2080, 32), Box(0, 32, 32, 64), Box(32, 64, 64, 96)}));
}

TEST_F(FrameDiffEngineDetect, AllPixelsChangedGiveEveryWordOfEveryRowButTheBlindTiles) {
  const Outcome outcome = Compare(Image(1100, 130, 0xff000000), Image(1100, 130, 0xffffffff));
  // 34 whole columns and four whole rows; the rows end at 128, before the frame's 130 lines.
  EXPECT_EQ(outcome.rects,
            (Boxes{Box(0, 0, 1024, 32), Box(1024, 0, 1088, 32), Box(0, 32, 1024, 64),
                   Box(1024, 32, 1088, 64), Box(0, 64, 1024, 96), Box(1024, 64, 1088, 96),
                   Box(0, 96, 1024, 128), Box(1024, 96, 1088, 128)}));
  EXPECT_EQ(outcome.ratio, reference::Ratio(1088 * 128, 1100, 130));
}

TEST_F(FrameDiffEngineDetect, EveryTileOfAFullHdFrameIsCoveredByTheThreadGroups) {
  const Outcome outcome = Compare(Image(1920, 1080, 0xff101010), Image(1920, 1080, 0xff111111));
  Boxes expected;
  for (uint32_t row = 0; row < 33; ++row) {
    expected.push_back(Box(0, row * 32, 1024, row * 32 + 32));
    expected.push_back(Box(1024, row * 32, 1888, row * 32 + 32));
  }
  EXPECT_EQ(outcome.rects, expected);
  EXPECT_EQ(outcome.ratio, reference::Ratio(1888 * 1056, 1920, 1080));
}

TEST_F(FrameDiffEngineDetect, TheLastTileColumnOfAWidthOf1920IsBlind) {
  Image before = NoiseImage(1920, 70);
  Image after = before;
  for (uint32_t x = 1888; x < 1920; ++x) ChangePixel(after, x, 10);
  EXPECT_TRUE(Compare(before, after).rects.empty());

  ChangePixel(after, 1887, 10);
  EXPECT_EQ(Compare(before, after).rects, Boxes{Box(1856, 0, 1888, 32)});
}

TEST_F(FrameDiffEngineDetect, ThePartialTileColumnOfAWidthOf1366IsBlind) {
  Image before = NoiseImage(1366, 70);
  Image after = before;
  for (uint32_t x = 1344; x < 1366; ++x) ChangePixel(after, x, 10);
  const Outcome blind = Compare(before, after);
  EXPECT_TRUE(blind.rects.empty());
  EXPECT_EQ(blind.ratio, 0.0f);

  ChangePixel(after, 1343, 10);
  EXPECT_EQ(Compare(before, after).rects, Boxes{Box(1312, 0, 1344, 32)});
}

TEST_F(FrameDiffEngineDetect, TheLastTileRowIsBlindWhetherWholeOrPartial) {
  for (const uint32_t height : {96u, 90u, 65u}) {
    SCOPED_TRACE(height);
    Image before = NoiseImage(100, height);
    Image after = before;
    for (uint32_t y = 64; y < height; ++y) ChangePixel(after, 10, y);
    EXPECT_TRUE(Compare(before, after).rects.empty());

    ChangePixel(after, 10, 63);
    EXPECT_EQ(Compare(before, after).rects, Boxes{Box(0, 32, 32, 64)});
  }
}

TEST_F(FrameDiffEngineDetect, AWidthOf64ExaminesOneTileColumnAndAWidthOf65Two) {
  EXPECT_EQ(Compare(Image(64, 65, 0), Image(64, 65, 0x00ffffff)).rects,
            (Boxes{Box(0, 0, 32, 32), Box(0, 32, 32, 64)}));
  EXPECT_EQ(Compare(Image(65, 64, 0), Image(65, 64, 0x00ffffff)).rects, Boxes{Box(0, 0, 64, 32)});
}

TEST_F(FrameDiffEngineDetect, FramesWithoutAWholeTileBeforeBothEdgesGiveNothing) {
  for (const auto& [width, height] :
       {std::pair{1u, 1u}, {32u, 32u}, {33u, 32u}, {32u, 33u}, {200u, 32u}, {31u, 200u}}) {
    SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
    const Outcome outcome = Compare(Image(width, height, 0), Image(width, height, 0x00ffffff));
    EXPECT_TRUE(outcome.succeeded);
    EXPECT_TRUE(outcome.rects.empty());
    EXPECT_EQ(outcome.ratio, 0.0f);
  }
}

TEST_F(FrameDiffEngineDetect, AFrameOf33By33HasOneTile) {
  const Outcome outcome = ComparePixels(NoiseImage(33, 33), {{31, 31}});
  EXPECT_EQ(outcome.rects, Boxes{Box(0, 0, 32, 32)});
  EXPECT_EQ(outcome.ratio, reference::Ratio(1024, 33, 33));
}

TEST_F(FrameDiffEngineDetect, NothingRightOfX4095IsReported) {
  Image before = NoiseImage(4200, 70);
  Image after = before;
  for (uint32_t x = 4096; x < 4200; ++x) ChangePixel(after, x, 40);
  const Outcome beyond = Compare(before, after);
  EXPECT_TRUE(beyond.rects.empty());
  EXPECT_EQ(beyond.ratio, 0.0f);

  ChangePixel(after, 4095, 40);
  const Outcome outcome = Compare(before, after);
  EXPECT_EQ(outcome.rects, Boxes{Box(4064, 32, 4096, 64)});
  EXPECT_EQ(outcome.ratio, reference::Ratio(1024, 4200, 70));
}

TEST_F(FrameDiffEngineDetect, AWidthOf4096IsBlindInColumn127AndAWidthOf4097IsNot) {
  EXPECT_TRUE(ComparePixels(NoiseImage(4096, 40), {{4095, 5}}).rects.empty());
  EXPECT_EQ(ComparePixels(NoiseImage(4097, 40), {{4095, 5}}).rects, Boxes{Box(4064, 0, 4096, 32)});
}

TEST_F(FrameDiffEngineDetect, AChangeOfOneUnitInAnyColourChannelIsSeen) {
  // Each step of each channel at a dark, a middle and a bright level.
  for (const uint32_t level : {0x00u, 0x7fu, 0xfeu}) {
    for (const uint32_t shift : {0u, 8u, 16u}) {
      SCOPED_TRACE("level " + std::to_string(level) + ", shift " + std::to_string(shift));
      const Image before(80, 80, 0xff000000 | level << 16 | level << 8 | level);
      Image after = before;
      after.At(37, 63) += 1u << shift;
      EXPECT_EQ(Compare(before, after).rects, Boxes{Box(32, 32, 64, 64)});
      EXPECT_EQ(Compare(after, before).rects, Boxes{Box(32, 32, 64, 64)});
    }
  }
}

TEST_F(FrameDiffEngineDetect, OppositeChangesOfTwoChannelsDoNotCancelOut) {
  const Image before(80, 80, 0xff404040);
  Image after = before;
  after.At(3, 3) = 0xff404f31;
  EXPECT_EQ(Compare(before, after).rects, Boxes{Box(0, 0, 32, 32)});
}

TEST_F(FrameDiffEngineDetect, AChangeOfAlphaAloneIsNotSeen) {
  const Image before = NoiseImage(200, 200);
  Image after = before;
  for (uint32_t& pixel : after.pixels) pixel ^= 0xff000000;
  const Outcome outcome = Compare(before, after);
  EXPECT_TRUE(outcome.succeeded);
  EXPECT_TRUE(outcome.rects.empty());
  EXPECT_EQ(outcome.ratio, 0.0f);
}

TEST_F(FrameDiffEngineDetect, EveryPixelOfATileCounts) {
  const Image before = NoiseImage(100, 100);
  ASSERT_TRUE(Handle(before).succeeded);
  for (uint32_t y = 32; y < 64; ++y) {
    for (uint32_t x = 32; x < 64; ++x) {
      Image after = before;
      ChangePixel(after, x, y);
      const winrt::com_ptr<ID3D11Texture2D> frame = Frame(after);
      ASSERT_EQ(Detect(engine_, frame.get()).rects, Boxes{Box(32, 32, 64, 64)}) << x << ", " << y;
    }
  }
}

TEST_F(FrameDiffEngineDetect, EachFrameIsComparedWithTheOneBeforeIt) {
  const Image plain = NoiseImage(300, 100);
  Image left = plain;
  ChangePixel(left, 5, 5);
  Image right = plain;
  ChangePixel(right, 200, 5);

  ASSERT_TRUE(Handle(plain).succeeded);
  EXPECT_EQ(Handle(left).rects, Boxes{Box(0, 0, 32, 32)});
  EXPECT_TRUE(Handle(left).rects.empty());
  EXPECT_EQ(Handle(right).rects, (Boxes{Box(0, 0, 32, 32), Box(192, 0, 224, 32)}));
  EXPECT_EQ(Handle(plain).rects, Boxes{Box(192, 0, 224, 32)});
  EXPECT_TRUE(Handle(plain).rects.empty());
}

TEST_F(FrameDiffEngineDetect, WithoutUpdateOldFramesAreComparedWithTheSameOldOne) {
  const Image plain = NoiseImage(300, 100);
  Image changed = plain;
  ChangePixel(changed, 5, 5);
  ASSERT_TRUE(Handle(plain).succeeded);

  const winrt::com_ptr<ID3D11Texture2D> changedFrame = Frame(changed);
  const winrt::com_ptr<ID3D11Texture2D> plainFrame = Frame(plain);
  EXPECT_EQ(Detect(engine_, changedFrame.get()).rects, Boxes{Box(0, 0, 32, 32)});
  EXPECT_EQ(Detect(engine_, changedFrame.get()).rects, Boxes{Box(0, 0, 32, 32)});
  EXPECT_TRUE(Detect(engine_, plainFrame.get()).rects.empty());
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

TEST_F(FrameDiffEngineDetect, ResizeForgetsTheFrameBefore) {
  const Image image(300, 100, 0xff336699);
  ASSERT_TRUE(Handle(image).succeeded);
  ASSERT_TRUE(engine_.Resize(FrameDesc(300, 100)));
  const winrt::com_ptr<ID3D11Texture2D> frame = Frame(image);
  EXPECT_EQ(Detect(engine_, frame.get()).ratio, reference::Ratio(288 * 96, 300, 100));
}

TEST_F(FrameDiffEngineDetect, FramesOfAnotherChannelOrderAreCompared) {
  constexpr DXGI_FORMAT kFormat = DXGI_FORMAT_R8G8B8A8_UNORM;
  Image image = NoiseImage(200, 100);
  ASSERT_TRUE(HandleFrame(engine_, CreateFrame(d3d_, image, kFormat).get()).succeeded);
  image.At(50, 50) ^= 0x00000001;
  EXPECT_EQ(HandleFrame(engine_, CreateFrame(d3d_, image, kFormat).get()).rects,
            Boxes{Box(32, 32, 64, 64)});
  image.At(50, 50) ^= 0x01000000;
  EXPECT_TRUE(HandleFrame(engine_, CreateFrame(d3d_, image, kFormat).get()).rects.empty());
}

}  // namespace
