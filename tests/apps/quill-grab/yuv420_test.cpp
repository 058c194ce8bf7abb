// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/video/yuv420.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace quill_apps {
namespace {

// The bytes in memory, with nothing after the last pixel.
struct Image {
  FrameSize size;
  size_t row_pitch;
  std::vector<uint8_t> bgra;

  Image(const FrameSize& size, size_t padding)
      : size(size),
        row_pitch(size.width * kPixelBytes + padding),
        bgra(row_pitch * (size.height - 1) + size.width * kPixelBytes) {}
  PixelView view() const { return {bgra.data(), size.width, size.height, row_pitch}; }
  const uint8_t* pixel(uint32_t x, uint32_t y) const {
    return &bgra[y * row_pitch + x * kPixelBytes];
  }
};

// A third each of 0, 255 and anything.
Image RandomImage(const FrameSize& size, size_t padding) {
  Image image(size, padding);
  std::mt19937 random(size.width * 64 + size.height);
  for (uint8_t& byte : image.bgra) {
    const uint32_t number = random();
    byte = static_cast<uint8_t>(number % 3 == 0 ? 0 : number % 3 == 1 ? 255 : number >> 8);
  }
  return image;
}

// The definition: the factors of blue, green and red and the offset, each rounded to a multiple of
// 2^-16, and the sum, with half a step added, cut off. Doubles hold all of that exactly.
struct Row {
  double blue;
  double green;
  double red;
  double offset;

  Row(double blue, double green, double red, double offset)
      : blue(Rounded(blue)),
        green(Rounded(green)),
        red(Rounded(red)),
        offset(Rounded(offset + 0.5)) {}
  static double Rounded(double value) { return std::round(value * 65536.0) / 65536.0; }
};

struct Matrix {
  Row luma;
  Row blue_chroma;
  Row red_chroma;
};

Matrix MakeMatrix(double red, double blue) {
  const double green = 1.0 - red - blue;
  const double luma = 219.0 / 255.0;
  const double blue_chroma = 112.0 / 255.0 / (1.0 - blue);
  const double red_chroma = 112.0 / 255.0 / (1.0 - red);
  return {{luma * blue, luma * green, luma * red, 16.0},
          {112.0 / 255.0, -blue_chroma * green, -blue_chroma * red, 128.0},
          {-red_chroma * blue, -red_chroma * green, 112.0 / 255.0, 128.0}};
}

const Matrix kBt601 = MakeMatrix(0.299, 0.114);
const Matrix kBt709 = MakeMatrix(0.2126, 0.0722);

// Of the mean of a square of pixels, 1 x 1 or 2 x 2.
uint8_t Sample(const Image& image, uint32_t left, uint32_t top, uint32_t side, const Row& row) {
  double sum = 0.0;
  for (uint32_t y = top; y < top + side; ++y) {
    for (uint32_t x = left; x < left + side; ++x) {
      const uint8_t* pixel = image.pixel(x, y);
      sum += row.blue * pixel[0] + row.green * pixel[1] + row.red * pixel[2];
    }
  }
  return static_cast<uint8_t>(std::floor(sum / (side * side) + row.offset));
}

std::vector<uint8_t> Plane(const Image& image, uint32_t side, const Row& row) {
  std::vector<uint8_t> samples;
  for (uint32_t y = 0; y < image.size.height; y += side) {
    for (uint32_t x = 0; x < image.size.width; x += side) {
      samples.push_back(Sample(image, x, y, side, row));
    }
  }
  return samples;
}

std::vector<uint8_t> Expected(const Image& image, const Matrix& matrix, Chroma chroma) {
  std::vector<uint8_t> samples = Plane(image, 1, matrix.luma);
  const std::vector<uint8_t> blue = Plane(image, 2, matrix.blue_chroma);
  const std::vector<uint8_t> red = Plane(image, 2, matrix.red_chroma);
  if (chroma == Chroma::kPlanes) {
    samples.insert(samples.end(), blue.begin(), blue.end());
    samples.insert(samples.end(), red.begin(), red.end());
  } else {
    for (size_t i = 0; i < blue.size(); ++i) samples.insert(samples.end(), {blue[i], red[i]});
  }
  return samples;
}

std::vector<uint8_t> Converted(const Image& image, Chroma chroma) {
  std::vector<uint8_t> samples(Yuv420Size(image.size));
  ConvertToYuv420(image.view(), chroma, samples.data());
  return samples;
}

constexpr Chroma kChromas[] = {Chroma::kPlanes, Chroma::kPairs};

TEST(Yuv420, SamplesAreExactForAllWidthsPitchesAndAlignments) {
  for (uint32_t width = 2; width <= 68; width += 2) {
    for (const size_t padding : {0, 1, 4, 12, 64}) {
      const Image image = RandomImage({width, 6}, padding);
      for (const Chroma chroma : kChromas) {
        ASSERT_EQ(Converted(image, chroma), Expected(image, kBt601, chroma))
            << width << ", " << padding;
      }
    }
  }
}

TEST(Yuv420, MatrixIsBt709FromWidth1280OrFromHeight577) {
  const std::pair<FrameSize, const Matrix&> cases[] = {
      {{1278, 4}, kBt601}, {{1280, 4}, kBt709}, {{4, 576}, kBt601}, {{4, 578}, kBt709}};
  for (const auto& [size, matrix] : cases) {
    const Image image = RandomImage(size, 0);
    for (const Chroma chroma : kChromas) {
      EXPECT_EQ(Converted(image, chroma), Expected(image, matrix, chroma))
          << size.width << " x " << size.height;
    }
  }
}

// In pictures of 65536 colours each, whose green does not vary.
TEST(Yuv420, LumaOfEveryColourIsExact) {
  const std::pair<FrameSize, const Row&> cases[] = {{{256, 256}, kBt601.luma},
                                                    {{2048, 32}, kBt709.luma}};
  for (const auto& [size, row] : cases) {
    std::vector<double> blue_and_red;
    Image image(size, 0);
    for (uint32_t colour = 0; colour < 65536; ++colour) {
      image.bgra[colour * 4] = static_cast<uint8_t>(colour);
      image.bgra[colour * 4 + 2] = static_cast<uint8_t>(colour >> 8);
      blue_and_red.push_back(row.blue * (colour & 255) + row.red * (colour >> 8) + row.offset);
    }
    for (uint32_t green = 0; green < 256; ++green) {
      for (uint32_t colour = 0; colour < 65536; ++colour) {
        image.bgra[colour * 4 + 1] = static_cast<uint8_t>(green);
      }
      const std::vector<uint8_t> samples = Converted(image, Chroma::kPlanes);
      uint32_t wrong = 0;
      for (uint32_t colour = 0; colour < 65536; ++colour) {
        wrong += samples[colour] != static_cast<uint8_t>(blue_and_red[colour] + row.green * green);
      }
      ASSERT_EQ(wrong, 0u) << "green " << green;
    }
  }
}

TEST(Yuv420, AlphaHasNoEffect) {
  Image image = RandomImage({36, 4}, 0);
  for (const Chroma chroma : kChromas) {
    const std::vector<uint8_t> samples = Converted(image, chroma);
    for (size_t alpha = 3; alpha < image.bgra.size(); alpha += kPixelBytes) {
      image.bgra[alpha] = static_cast<uint8_t>(image.bgra[alpha] + 101);
    }
    EXPECT_EQ(Converted(image, chroma), samples);
  }
}

}  // namespace
}  // namespace quill_apps
