// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <random>

#include "apps/quill-grab/grab_error.h"
#include "apps/quill-grab/grab_test.h"
#include "common/fit.h"
#include "quill-grab/output/video/canvas.h"
#include "quill-grab/output/video/stream_format.h"
#include "quill-grab/output/video/video_stream.h"

namespace quill_apps {
namespace {

const StreamFormat& FormatOf(const std::string& option) {
  const auto formats = StreamFormats();
  const auto found = std::find_if(formats.begin(), formats.end(),
                                  [&](const auto& format) { return format.option == option; });
  return found != formats.end() ? *found : throw std::invalid_argument(option);
}

// The share of red and blue in the luma of the two standards.
struct Weights {
  double red;
  double blue;
};
constexpr Weights kBt601{0.299, 0.114};
constexpr Weights kBt709{0.2126, 0.0722};

struct Yuv {
  double y;
  double u;
  double v;
};

// The definition for colours of 0 to 1: luma in 219 steps from 16 on, chroma in 224 around 128.
Yuv Converted(const Weights& weights, double blue, double green, double red) {
  const double luma =
      weights.red * red + (1.0 - weights.red - weights.blue) * green + weights.blue * blue;
  return {16.0 + 219.0 * luma, 128.0 + 224.0 * (blue - luma) / (2.0 * (1.0 - weights.blue)),
          128.0 + 224.0 * (red - luma) / (2.0 * (1.0 - weights.red))};
}

// Its rows have padding.
struct Image {
  uint32_t width;
  uint32_t height;
  size_t row_pitch;
  std::vector<uint8_t> bgra;

  PixelView view() const { return {bgra.data(), width, height, row_pitch}; }
  // The mean of a square of pixels, 1 x 1 or 2 x 2.
  double mean(uint32_t left, uint32_t top, size_t channel, uint32_t side) const {
    double sum = 0.0;
    for (uint32_t y = top; y < top + side; ++y) {
      for (uint32_t x = left; x < left + side; ++x) {
        sum += bgra[y * row_pitch + x * 4 + channel] / 255.0;
      }
    }
    return sum / (side * side);
  }
};

// A third each of 0, 255 and anything.
Image RandomImage(uint32_t width, uint32_t height) {
  const size_t row_pitch = size_t{width} * 4 + 12;
  Image image{width, height, row_pitch, std::vector<uint8_t>(row_pitch * height)};
  std::mt19937 random(width);
  for (uint8_t& byte : image.bgra) {
    const uint32_t number = random();
    byte = static_cast<uint8_t>(number % 3 == 0 ? 0 : number % 3 == 1 ? 255 : number >> 8);
  }
  return image;
}

// How a format lays out its 4:2:0 samples.
struct Layout {
  const char* option;
  std::string begin;  // of each frame
  bool has_pairs;     // of chroma, in one plane, in place of two planes
};
const Layout kLayouts[] = {{"--y4m", "FRAME\n", false}, {"--nv12", "", true}};

// The greatest distance of any sample from its definition.
double GreatestError(const Image& image, const uint8_t* luma, const Layout& layout,
                     const Weights& weights) {
  const size_t pixels = size_t{image.width} * image.height;
  const size_t step = layout.has_pairs ? 2 : 1;
  const uint8_t* u = luma + pixels;
  const uint8_t* v = u + (layout.has_pairs ? 1 : pixels / 4);
  double error = 0.0;
  const auto expected = [&](uint32_t x, uint32_t y, uint32_t side) {
    return Converted(weights, image.mean(x, y, 0, side), image.mean(x, y, 1, side),
                     image.mean(x, y, 2, side));
  };
  for (uint32_t y = 0; y < image.height; ++y) {
    for (uint32_t x = 0; x < image.width; ++x) {
      error = std::max(error, std::abs(*luma++ - expected(x, y, 1).y));
      if (x % 2 != 0 || y % 2 != 0) continue;
      const Yuv chroma = expected(x, y, 2);
      error = std::max({error, std::abs(*u - chroma.u), std::abs(*v - chroma.v)});
      u += step;
      v += step;
    }
  }
  return error;
}

// Correct rounding is at most half a step away; the rest is the error of the fixed-point factors.
TEST(StreamFormatTest, SamplesAreThoseOfTheDefinitionWithTheMatrixThatPlayersExpect) {
  struct {
    FrameSize size;
    Weights weights;
  } const cases[] = {{{64, 48}, kBt601},   {{2, 2}, kBt601},    {{1278, 10}, kBt601},
                     {{1280, 10}, kBt709}, {{10, 576}, kBt601}, {{10, 578}, kBt709}};
  for (const Layout& layout : kLayouts) {
    for (const auto& [size, weights] : cases) {
      SCOPED_TRACE(layout.option + std::to_string(size.width) + "x" + std::to_string(size.height));
      const Image image = RandomImage(size.width, size.height);
      std::vector<uint8_t> frame;
      FormatOf(layout.option).fill_frame(image.view(), frame);
      ASSERT_EQ(frame.size(), layout.begin.size() + size_t{size.width} * size.height * 3 / 2);
      EXPECT_TRUE(std::equal(layout.begin.begin(), layout.begin.end(), frame.begin()));
      EXPECT_LE(GreatestError(image, frame.data() + layout.begin.size(), layout, weights), 0.52);
    }
  }
}

TEST(StreamFormatTest, RawFramesAreFilledWithoutThePaddingOfRows) {
  const Image image = RandomImage(6, 4);
  std::vector<uint8_t> expected;
  for (ptrdiff_t y = 0; y < 4; ++y) {
    expected.insert(expected.end(), &image.bgra[y * 36], &image.bgra[y * 36 + 24]);
  }
  std::vector<uint8_t> bytes = {1, 2, 3};
  FormatOf("--raw").fill_frame(image.view(), bytes);
  EXPECT_EQ(bytes, expected);
}

TEST(StreamFormatTest, Y4mHeaderNamesSizeFormatAndTheRateAsAnExactFraction) {
  const std::pair<double, const char*> kRates[] = {{30.0, "30:1"},       {29.97, "2997:100"},
                                                   {23.976, "2997:125"}, {0.1, "1:10"},
                                                   {12.5, "25:2"},       {240.0, "240:1"}};
  for (const auto& [fps, rate] : kRates) {
    EXPECT_EQ(
        FormatOf("--y4m").header({302, 204}, fps),
        std::string("YUV4MPEG2 W302 H204 F") + rate + " Ip A1:1 C420jpeg XCOLORRANGE=LIMITED\n");
  }
  EXPECT_EQ(FormatOf("--raw").header({302, 204}, 30.0), "");
  EXPECT_EQ(FormatOf("--nv12").header({302, 204}, 30.0), "");
}

TEST(ShrunkToFitTest, LargePicturesShrinkWithTheirAspectKept) {
  struct {
    FrameSize picture, bounds, expected;
  } const cases[] = {{{30, 20}, {30, 20}, {30, 20}},         {{3, 2}, {300, 200}, {3, 2}},
                     {{1920, 1080}, {640, 480}, {640, 360}}, {{1080, 1920}, {640, 480}, {270, 480}},
                     {{1366, 768}, {640, 480}, {640, 360}},  // 359.8
                     {{800, 100}, {400, 400}, {400, 50}},    {{100, 800}, {400, 400}, {50, 400}},
                     {{640, 960}, {640, 480}, {320, 480}},   {{10000, 1}, {100, 100}, {100, 1}},
                     {{16384, 16384}, {1, 1}, {1, 1}}};
  for (const auto& [picture, bounds, expected] : cases) {
    EXPECT_EQ(ShrunkToFit(picture, bounds), expected) << picture.width << " x " << picture.height;
  }
}

constexpr uint32_t kBlack = 0xFF000000;

using PixelAt = std::function<uint32_t(uint32_t x, uint32_t y)>;

// Differs in every pixel; alpha takes all values.
uint32_t Pattern(uint32_t x, uint32_t y) {
  return (y * 4099 + x + 1) * 0x9E3779B1u;
}

std::vector<uint32_t> Pixels(const FrameSize& size, const PixelAt& pixel) {
  std::vector<uint32_t> pixels;
  for (uint32_t y = 0; y < size.height; ++y) {
    for (uint32_t x = 0; x < size.width; ++x) pixels.push_back(pixel(x, y));
  }
  return pixels;
}

class CanvasTest : public testing::Test {
 protected:
  // What a canvas makes of a picture, after one that has left white everywhere.
  static std::vector<uint32_t> Composed(const FrameSize& size, OnResize rule,
                                        const FrameSize& picture, const PixelAt& pixel) {
    Canvas canvas(size, rule);
    const std::vector<uint32_t> white(size_t{40} * 40, 0xFFFFFFFF);
    canvas.Compose({reinterpret_cast<const uint8_t*>(white.data()), 40, 40, 160});
    const size_t row_pixels = picture.width + 3;  // rows have padding
    std::vector<uint32_t> pixels(row_pixels * picture.height, 0x77777777);
    for (uint32_t y = 0; y < picture.height; ++y) {
      for (uint32_t x = 0; x < picture.width; ++x) pixels[y * row_pixels + x] = pixel(x, y);
    }
    const PixelView view = canvas.Compose({reinterpret_cast<const uint8_t*>(pixels.data()),
                                           picture.width, picture.height, row_pixels * 4});
    EXPECT_EQ(view.size(), size);
    return Pixels(size, [&](uint32_t x, uint32_t y) {
      uint32_t composed;
      std::memcpy(&composed, view.pixels + y * view.row_pitch + x * 4, 4);
      return composed;
    });
  }
};

TEST_F(CanvasTest, PixelsAreKeptInTheMiddleOrFromTheTopLeftCornerOfBlack) {
  struct {
    OnResize rule;
    FrameSize canvas, picture;
    uint32_t left, top;  // of the picture in the canvas
  } const cases[] = {{OnResize::kLetterbox, {20, 10}, {20, 10}, 0, 0},
                     {OnResize::kLetterbox, {20, 11}, {6, 4}, 7, 3},
                     {OnResize::kLetterbox, {8, 6}, {7, 5}, 0, 0},
                     {OnResize::kCrop, {20, 10}, {20, 10}, 0, 0},
                     {OnResize::kCrop, {20, 10}, {30, 6}, 0, 0},
                     {OnResize::kCrop, {20, 10}, {9, 40}, 0, 0},
                     // where the picture before was
                     {OnResize::kCrop, {20, 10}, {30, 40}, 0, 0}};
  for (const auto& each : cases) {
    const auto expected = [&](uint32_t x, uint32_t y) {
      const bool inside = x >= each.left && x < each.left + each.picture.width && y >= each.top &&
                          y < each.top + each.picture.height;
      return inside ? Pattern(x - each.left, y - each.top) : kBlack;
    };
    EXPECT_EQ(Composed(each.canvas, each.rule, each.picture, Pattern),
              Pixels(each.canvas, expected))
        << each.picture.width << " x " << each.picture.height;
  }
}

// Halves of one colour each keep it, whatever the way of scaling. Alpha, 0 here, becomes opaque.
TEST_F(CanvasTest, LetterboxShrinksLargePictures) {
  const auto halves = [](uint32_t x, uint32_t) { return x < 40 ? 0x00112233u : 0x00ccddeeu; };
  EXPECT_EQ(Composed({20, 20}, OnResize::kLetterbox, {80, 40}, halves),
            Pixels({20, 20}, [](uint32_t x, uint32_t y) {
              if (y < 5 || y >= 15) return kBlack;
              return x < 10 ? 0xff112233u : 0xffccddeeu;
            }));
}

constexpr FrameSize kSize{4, 2};

class VideoStreamTest : public testing::Test {
 protected:
  // A frame whose bytes all have one value.
  struct Frame {
    uint8_t value;
    uint64_t missed = 0;
    FrameSize size = kSize;
  };

  VideoStream Stream(const char* option = "--raw") {
    return VideoStream(FormatOf(option), options_,
                       std::make_unique<ByteSink>(path_.string(), option, console_, never_),
                       console_);
  }

  static void Give(VideoStream& stream, const Frame& frame, bool is_new = true) {
    const auto& [value, missed, size] = frame;
    const std::vector<uint8_t> bytes(size_t{size.width} * size.height * 4, value);
    const PixelView view{bytes.data(), size.width, size.height, size_t{size.width} * 4};
    FrameRecord record{0.0, size, 0.0f, is_new, missed, ""};
    stream.Take(record, &view);
  }

  // The first byte of each frame of the raw stream.
  std::vector<int> RawFrames() const {
    constexpr size_t kFrame = kSize.width * kSize.height * 4;
    const std::vector<uint8_t> bytes = ReadBytes(path_);
    EXPECT_EQ(bytes.size() % kFrame, 0u);
    std::vector<int> frames;
    for (size_t at = 0; at < bytes.size(); at += kFrame) frames.push_back(bytes[at]);
    return frames;
  }

  TemporaryFolder temporary_;
  const std::filesystem::path path_ = temporary_ / "stream";
  const OutputFile out_{temporary_ / "out"};
  Console console_{"quill-grab", out_.handle(), out_.handle()};
  Options options_;
  const std::atomic<bool> never_{false};
};

TEST_F(VideoStreamTest, FrameOfEveryPollIsWrittenAndTheOneBeforeAgainForMissedPolls) {
  options_.frames = 16;
  VideoStream stream = Stream();
  Give(stream, {1, 5});  // nothing to repeat yet
  for (const Frame& frame : {Frame{2}, Frame{2}, Frame{3, 2}}) Give(stream, frame);
  EXPECT_EQ(RawFrames(), (std::vector<int>{1, 2, 2, 2, 2, 3}));
  EXPECT_EQ(stream.Completion(), 6.0 / 16.0);
}

TEST_F(VideoStreamTest, FrameThatIsNotNewIsWrittenAgainAsItWas) {
  VideoStream stream = Stream();
  Give(stream, {1});
  FrameRecord record{0.0, kSize, 0.0f, false, 0, ""};
  EXPECT_FALSE(stream.NeedsPixels(record));
  stream.Take(record, nullptr);
  Give(stream, {2});
  EXPECT_EQ(RawFrames(), (std::vector<int>{1, 1, 2}));
}

TEST_F(VideoStreamTest, EachFrameOfTexturesWithDetectionIsReadBecauseItMayDiffer) {
  options_.texture = true;
  options_.detect = true;
  VideoStream stream = Stream();
  Give(stream, {1});
  EXPECT_TRUE(stream.NeedsPixels({0.0, kSize, 0.0f, false, 0, ""}));
  Give(stream, {2}, false);
  EXPECT_EQ(RawFrames(), (std::vector<int>{1, 2}));
}

TEST_F(VideoStreamTest, FramesBeyondASecondOfMissedPollsAreOmitted) {
  options_.fps = 4.0;
  VideoStream stream = Stream();
  Give(stream, {1});
  Give(stream, {2, 100});
  EXPECT_EQ(RawFrames(), (std::vector<int>{1, 1, 1, 1, 1, 2}));
  stream.Finish({"", "", 0.0, 4.0, Summary(), {}});
  EXPECT_TRUE(
      Contains(out_.Text(), "6 frames of 4 x 2 into " + path_.string() +
                                ", of which 4 repeat the frame before for a missed poll; 96 "
                                "omitted"));
}

TEST_F(VideoStreamTest, ExactlyTheFramesAskedForAreWritten) {
  options_.frames = 4;
  VideoStream stream = Stream();
  Give(stream, {1});
  EXPECT_EQ(stream.Completion(), 0.25);
  Give(stream, {2, 7});
  EXPECT_EQ(stream.Completion(), 1.0);
  EXPECT_EQ(RawFrames(), (std::vector<int>{1, 1, 1, 1}));
}

TEST_F(VideoStreamTest, StreamKeepsTheSizeOfTheFirstFrameOrTheOneAskedFor) {
  options_.on_resize = OnResize::kCrop;
  for (const bool is_asked_for : {false, true}) {
    if (is_asked_for) options_.size = kSize;
    VideoStream stream = Stream();
    if (!is_asked_for) Give(stream, {1});
    Give(stream, {2, 0, {9, 9}});
    Give(stream, {3, 0, {1, 1}});
    EXPECT_EQ(RawFrames(), is_asked_for ? (std::vector<int>{2, 3}) : (std::vector<int>{1, 2, 3}));
  }
}

TEST_F(VideoStreamTest, RuleStopEndsTheStreamBeforeTheFirstFrameOfAnotherSize) {
  options_.on_resize = OnResize::kStop;
  VideoStream stream = Stream();
  Give(stream, {1});
  Give(stream, {2});
  const ToolError error = ErrorOf([&] { Give(stream, {3, 2, {4, 3}}); });
  EXPECT_EQ(error.code(), ExitCode::kSizeChanged);
  EXPECT_TRUE(Contains(error.what(), "from 4 x 2 to 4 x 3"));
  EXPECT_EQ(RawFrames(), (std::vector<int>{1, 2}));
}

// Rounded up with black; an odd size is no change of size.
TEST_F(VideoStreamTest, FramesOfHalvedChromaHaveAnEvenSize) {
  options_.on_resize = OnResize::kStop;
  options_.fps = 29.97;
  const std::string header = "YUV4MPEG2 W4 H6 F2997:100 Ip A1:1 C420jpeg XCOLORRANGE=LIMITED\n";
  const std::string row = "\xEB\xEB\xEB\x10";  // white is 235, black 16
  const std::string samples =
      row + row + row + row + row + "\x10\x10\x10\x10" + std::string(12, '\x80');
  for (const auto& [option, begin, frame_begin] :
       {std::tuple{"--y4m", header, "FRAME\n"}, std::tuple{"--nv12", std::string(), ""}}) {
    {
      VideoStream stream = Stream(option);
      Give(stream, {255, 0, {3, 5}});
      Give(stream, {255, 0, {3, 5}});
    }
    EXPECT_EQ(ReadText(path_), begin + frame_begin + samples + frame_begin + samples) << option;
  }
}

}  // namespace
}  // namespace quill_apps
