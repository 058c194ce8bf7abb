// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/video/fitting.h"

#include <cstring>
#include <functional>

#include "apps/quill-grab/test_support.h"

namespace quill_grab {
namespace {

constexpr uint32_t kBlack = 0xFF000000;

using PixelAt = std::function<uint32_t(uint32_t x, uint32_t y)>;

// Differs in every pixel; alpha takes all values.
uint32_t Pattern(uint32_t x, uint32_t y) {
  return (y * 4099 + x + 1) * 0x9E3779B1u;
}

class FitterTest : public ComTest {
 protected:
  // What becomes of a picture; its rows have padding.
  static std::vector<uint32_t> Fitted(const FrameSize& canvas, OnResize rule,
                                      const FrameSize& picture, const PixelAt& pixel) {
    const size_t row_pixels = picture.width + 3;
    std::vector<uint32_t> pixels(row_pixels * picture.height, 0x77777777);
    for (uint32_t y = 0; y < picture.height; ++y) {
      for (uint32_t x = 0; x < picture.width; ++x) pixels[y * row_pixels + x] = pixel(x, y);
    }
    Fitter fitter(canvas, rule);
    const PixelView view = fitter.Fit({reinterpret_cast<const uint8_t*>(pixels.data()),
                                       picture.width, picture.height, row_pixels * 4});
    EXPECT_EQ(view.width, canvas.width);
    EXPECT_EQ(view.height, canvas.height);
    std::vector<uint32_t> result(size_t{canvas.width} * canvas.height);
    for (uint32_t y = 0; y < canvas.height; ++y) {
      std::memcpy(result.data() + size_t{y} * canvas.width, view.pixels + y * view.row_pitch,
                  size_t{canvas.width} * 4);
    }
    return result;
  }

  static std::vector<uint32_t> Expected(const FrameSize& canvas, const PixelAt& pixel) {
    std::vector<uint32_t> pixels;
    for (uint32_t y = 0; y < canvas.height; ++y) {
      for (uint32_t x = 0; x < canvas.width; ++x) pixels.push_back(pixel(x, y));
    }
    return pixels;
  }
};

TEST(ShrunkToFitTest, KeepsWhatFits) {
  EXPECT_EQ(ShrunkToFit({30, 20}, {30, 20}), (FrameSize{30, 20}));
  EXPECT_EQ(ShrunkToFit({3, 2}, {300, 200}), (FrameSize{3, 2}));
}

TEST(ShrunkToFitTest, KeepsTheAspectOfWhatDoesNot) {
  EXPECT_EQ(ShrunkToFit({1920, 1080}, {640, 480}), (FrameSize{640, 360}));
  EXPECT_EQ(ShrunkToFit({1080, 1920}, {640, 480}), (FrameSize{270, 480}));
  EXPECT_EQ(ShrunkToFit({1366, 768}, {640, 480}), (FrameSize{640, 360}));  // of 359.8
  EXPECT_EQ(ShrunkToFit({800, 100}, {400, 400}), (FrameSize{400, 50}));
  EXPECT_EQ(ShrunkToFit({100, 800}, {400, 400}), (FrameSize{50, 400}));
  EXPECT_EQ(ShrunkToFit({640, 960}, {640, 480}), (FrameSize{320, 480}));
}

TEST(ShrunkToFitTest, LeavesAtLeastOnePixel) {
  EXPECT_EQ(ShrunkToFit({10000, 1}, {100, 100}), (FrameSize{100, 1}));
  EXPECT_EQ(ShrunkToFit({16384, 16384}, {1, 1}), (FrameSize{1, 1}));
}

TEST_F(FitterTest, LeavesPicturesOfTheSizeAlone) {
  for (const OnResize rule : {OnResize::kLetterbox, OnResize::kCrop}) {
    EXPECT_EQ(Fitted({20, 10}, rule, {20, 10}, Pattern), Expected({20, 10}, Pattern));
  }
}

TEST_F(FitterTest, LetterboxPutsSmallPicturesIntoTheMiddleWithoutEnlarging) {
  EXPECT_EQ(Fitted({20, 11}, OnResize::kLetterbox, {6, 4}, Pattern),
            Expected({20, 11}, [](uint32_t x, uint32_t y) {
              const bool inside = x >= 7 && x < 13 && y >= 3 && y < 7;
              return inside ? Pattern(x - 7, y - 3) : kBlack;
            }));
}

// One more column and row, as y4m needs: they come last.
TEST_F(FitterTest, LetterboxKeepsThePlaceOfPicturesThatLackOneColumnAndRow) {
  EXPECT_EQ(Fitted({8, 6}, OnResize::kLetterbox, {7, 5}, Pattern),
            Expected({8, 6}, [](uint32_t x, uint32_t y) {
              return x < 7 && y < 5 ? Pattern(x, y) : kBlack;
            }));
}

// Halves of one colour each keep their colours, whatever way of scaling is used; alpha, which is
// 0 here, becomes opaque.
TEST_F(FitterTest, LetterboxShrinksLargePictures) {
  const auto halves = [](uint32_t x, uint32_t) { return x < 40 ? 0x00112233u : 0x00ccddeeu; };
  EXPECT_EQ(Fitted({20, 20}, OnResize::kLetterbox, {80, 40}, halves),
            Expected({20, 20}, [](uint32_t x, uint32_t y) {
              if (y < 5 || y >= 15) return kBlack;
              return x < 10 ? 0xff112233u : 0xffccddeeu;
            }));
}

TEST_F(FitterTest, CropKeepsTheTopLeftCornerPixelByPixel) {
  EXPECT_EQ(
      Fitted({20, 10}, OnResize::kCrop, {30, 6}, Pattern),
      Expected({20, 10}, [](uint32_t x, uint32_t y) { return y < 6 ? Pattern(x, y) : kBlack; }));
  EXPECT_EQ(
      Fitted({20, 10}, OnResize::kCrop, {9, 40}, Pattern),
      Expected({20, 10}, [](uint32_t x, uint32_t y) { return x < 9 ? Pattern(x, y) : kBlack; }));
}

// Nothing of an earlier picture shines through.
TEST_F(FitterTest, StartsEachPictureOnBlack) {
  Fitter fitter({4, 4}, OnResize::kCrop);
  const std::vector<uint32_t> white(64, 0xFFFFFFFF);
  const auto* bytes = reinterpret_cast<const uint8_t*>(white.data());
  fitter.Fit({bytes, 8, 8, 32});
  const PixelView view = fitter.Fit({bytes, 1, 1, 4});
  std::vector<uint32_t> result(16);
  std::memcpy(result.data(), view.pixels, 64);
  EXPECT_EQ(result, Expected({4, 4}, [](uint32_t x, uint32_t y) {
              return x + y == 0 ? 0xFFFFFFFFu : kBlack;
            }));
}

}  // namespace
}  // namespace quill_grab
