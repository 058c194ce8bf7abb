// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/video/frame_format.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace quill_grab {
namespace {

std::string Text(const std::vector<uint8_t>& bytes, size_t size) {
  return {bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(std::min(size, bytes.size()))};
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

struct Image {
  uint32_t width;
  uint32_t height;
  std::vector<uint8_t> bgra;

  PixelView view() const { return {bgra.data(), width, height, size_t{width} * 4}; }
  double colour(uint32_t x, uint32_t y, size_t channel) const {
    return bgra[(size_t{y} * width + x) * 4 + channel] / 255.0;
  }
  double mean(uint32_t x, uint32_t y, size_t channel) const {
    return (colour(x, y, channel) + colour(x + 1, y, channel) + colour(x, y + 1, channel) +
            colour(x + 1, y + 1, channel)) /
           4.0;
  }
};

Image RandomImage(uint32_t width, uint32_t height) {
  Image image{width, height, std::vector<uint8_t>(size_t{width} * height * 4)};
  std::mt19937 random(width);
  for (uint8_t& byte : image.bgra) {
    // A third each of 0, 255 and anything.
    const uint32_t number = random();
    byte = static_cast<uint8_t>(number % 3 == 0 ? 0 : number % 3 == 1 ? 255 : number >> 8);
  }
  return image;
}

// The greatest distance of any sample from its definition.
double GreatestError(const Image& image, const std::vector<uint8_t>& frame,
                     const Weights& weights) {
  const size_t luma = size_t{image.width} * image.height;
  const uint8_t* y_plane = frame.data() + 6;
  const uint8_t* u_plane = y_plane + luma;
  const uint8_t* v_plane = u_plane + luma / 4;
  double error = 0.0;
  for (uint32_t y = 0; y < image.height; ++y) {
    for (uint32_t x = 0; x < image.width; ++x) {
      const Yuv yuv =
          Converted(weights, image.colour(x, y, 0), image.colour(x, y, 1), image.colour(x, y, 2));
      error = std::max(error, std::abs(*y_plane++ - yuv.y));
    }
  }
  for (uint32_t y = 0; y < image.height; y += 2) {
    for (uint32_t x = 0; x < image.width; x += 2) {
      const Yuv yuv =
          Converted(weights, image.mean(x, y, 0), image.mean(x, y, 1), image.mean(x, y, 2));
      error = std::max({error, std::abs(*u_plane++ - yuv.u), std::abs(*v_plane++ - yuv.v)});
    }
  }
  return error;
}

// Correct rounding is at most half a step away; what is more is the error of the fixed factors.
void ExpectConversion(uint32_t width, uint32_t height, const Weights& weights) {
  SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
  const Image image = RandomImage(width, height);
  std::vector<uint8_t> frame;
  AddY4mFrame(image.view(), frame);
  ASSERT_EQ(frame.size(), 6 + size_t{width} * height * 3 / 2);
  EXPECT_EQ(Text(frame, 6), "FRAME\n");
  EXPECT_LE(GreatestError(image, frame, weights), 0.52);
}

TEST(Y4mTest, HeaderNamesSizeRateAndFormat) {
  EXPECT_EQ(Y4mHeader({302, 204}, 30.0),
            "YUV4MPEG2 W302 H204 F30:1 Ip A1:1 C420jpeg XCOLORRANGE=LIMITED\n");
}

TEST(Y4mTest, RateIsAnExactFraction) {
  const auto rate = [](double fps) {
    const std::string header = Y4mHeader({2, 2}, fps);
    const size_t begin = header.find(" F") + 2;
    return header.substr(begin, header.find(' ', begin) - begin);
  };
  EXPECT_EQ(rate(29.97), "2997:100");
  EXPECT_EQ(rate(23.976), "2997:125");
  EXPECT_EQ(rate(0.1), "1:10");
  EXPECT_EQ(rate(12.5), "25:2");
  EXPECT_EQ(rate(240.0), "240:1");
}

TEST(Y4mTest, SamplesAreThoseOfTheDefinition) {
  ExpectConversion(64, 48, kBt601);
  ExpectConversion(2, 2, kBt601);
}

TEST(Y4mTest, MatrixGoesByTheSize) {
  ExpectConversion(1278, 10, kBt601);
  ExpectConversion(1280, 10, kBt709);
  ExpectConversion(10, 576, kBt601);
  ExpectConversion(10, 578, kBt709);
}

TEST(Y4mTest, BlackWhiteAndGreyAreExact) {
  for (const auto& [colour, luma] : {std::pair{0, 16}, {255, 235}}) {
    const Image image{2, 2, std::vector<uint8_t>(16, static_cast<uint8_t>(colour))};
    std::vector<uint8_t> frame;
    AddY4mFrame(image.view(), frame);
    const uint8_t y = static_cast<uint8_t>(luma);
    EXPECT_EQ(std::vector<uint8_t>(frame.begin() + 6, frame.end()),
              (std::vector<uint8_t>{y, y, y, y, 128, 128}));
  }
}

TEST(Y4mTest, HonoursAWiderRowPitchAndAddsToWhatIsThere) {
  const Image image = RandomImage(6, 4);
  std::vector<uint8_t> padded(size_t{4} * 40, 0xEE);
  for (size_t y = 0; y < 4; ++y) {
    std::copy_n(image.bgra.begin() + static_cast<ptrdiff_t>(y * 24), 24,
                padded.begin() + static_cast<ptrdiff_t>(y * 40));
  }
  std::vector<uint8_t> tight;
  std::vector<uint8_t> from_padded = {1, 2, 3};
  AddY4mFrame(image.view(), tight);
  AddY4mFrame({padded.data(), 6, 4, 40}, from_padded);
  tight.insert(tight.begin(), {1, 2, 3});
  EXPECT_EQ(from_padded, tight);

  std::vector<uint8_t> raw;
  AddRawFrame({padded.data(), 6, 4, 40}, raw);
  EXPECT_EQ(raw, image.bgra);
}

}  // namespace
}  // namespace quill_grab
