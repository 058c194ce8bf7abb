// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/video/frame_format.h"

#include <array>
#include <cmath>
#include <numeric>
#include <string_view>

#include "quill-grab/console/text.h"

namespace quill_grab {

namespace {

constexpr size_t kPixelBytes = 4;
constexpr int kFractionBits = 16;

// Factors of blue, green and red, and what is added, in units of 2^-kFractionBits.
using Row = std::array<int32_t, 4>;

struct Matrix {
  Row luma;
  Row blue_chroma;
  Row red_chroma;
};

constexpr int32_t Fixed(double value) {
  constexpr int32_t kOne = 1 << kFractionBits;
  return static_cast<int32_t>(value * kOne + (value < 0 ? -0.5 : 0.5));
}

// Luma is the weighted sum of the colours, chroma what blue and red exceed it by, scaled to 224
// steps around 128. Half a step is added for rounding.
constexpr Matrix MakeMatrix(double red, double blue) {
  const double green = 1.0 - red - blue;
  constexpr double kLuma = 219.0 / 255.0;
  const double blue_scale = 224.0 / 255.0 / (2.0 * (1.0 - blue));
  const double red_scale = 224.0 / 255.0 / (2.0 * (1.0 - red));
  return {
      {Fixed(kLuma * blue), Fixed(kLuma * green), Fixed(kLuma * red), Fixed(16.5)},
      {Fixed(blue_scale * (1.0 - blue)), Fixed(-blue_scale * green), Fixed(-blue_scale * red),
       Fixed(128.5)},
      {Fixed(-red_scale * blue), Fixed(-red_scale * green), Fixed(red_scale * (1.0 - red)),
       Fixed(128.5)},
  };
}

constexpr Matrix kBt601 = MakeMatrix(0.299, 0.114);
constexpr Matrix kBt709 = MakeMatrix(0.2126, 0.0722);

// The header cannot name it: these are the sizes from which on players take the one of HD.
const Matrix& MatrixFor(uint32_t width, uint32_t height) {
  return width < 1280 && height <= 576 ? kBt601 : kBt709;
}

// count: of the pixels that are added up in blue, green and red; 1 or 4.
uint8_t Apply(const Row& row, int32_t blue, int32_t green, int32_t red, int32_t count) {
  const int32_t sum = row[0] * blue + row[1] * green + row[2] * red + row[3] * count;
  return static_cast<uint8_t>((sum / count) >> kFractionBits);
}

void AddLuma(const PixelView& picture, const Row& row, uint8_t* plane) {
  for (uint32_t y = 0; y < picture.height; ++y) {
    const uint8_t* pixel = picture.pixels + y * picture.row_pitch;
    for (uint32_t x = 0; x < picture.width; ++x, pixel += kPixelBytes) {
      *plane++ = Apply(row, pixel[0], pixel[1], pixel[2], 1);
    }
  }
}

void AddChroma(const PixelView& picture, const Matrix& matrix, uint8_t* blue_plane,
               uint8_t* red_plane) {
  for (uint32_t y = 0; y < picture.height; y += 2) {
    const uint8_t* upper = picture.pixels + y * picture.row_pitch;
    const uint8_t* lower = upper + picture.row_pitch;
    for (uint32_t x = 0; x < picture.width; x += 2) {
      const auto sum = [&](size_t colour) {
        return int32_t{upper[colour]} + upper[colour + kPixelBytes] + lower[colour] +
               lower[colour + kPixelBytes];
      };
      *blue_plane++ = Apply(matrix.blue_chroma, sum(0), sum(1), sum(2), 4);
      *red_plane++ = Apply(matrix.red_chroma, sum(0), sum(1), sum(2), 4);
      upper += 2 * kPixelBytes;
      lower += 2 * kPixelBytes;
    }
  }
}

}  // namespace

void AddRawFrame(const PixelView& picture, std::vector<uint8_t>& bytes) {
  for (uint32_t y = 0; y < picture.height; ++y) {
    const uint8_t* row = picture.pixels + y * picture.row_pitch;
    bytes.insert(bytes.end(), row, row + picture.width * kPixelBytes);
  }
}

std::string Y4mHeader(const FrameSize& size, double fps) {
  const long long thousandths = std::llround(fps * 1000.0);
  const long long common = std::gcd(thousandths, 1000LL);
  return Format("YUV4MPEG2 W%u H%u F%lld:%lld Ip A1:1 C420jpeg XCOLORRANGE=LIMITED\n", size.width,
                size.height, thousandths / common, 1000 / common);
}

void AddY4mFrame(const PixelView& picture, std::vector<uint8_t>& bytes) {
  constexpr std::string_view kLine = "FRAME\n";
  const size_t luma = size_t{picture.width} * picture.height;
  const size_t begin = bytes.size() + kLine.size();
  bytes.insert(bytes.end(), kLine.begin(), kLine.end());
  bytes.resize(begin + luma + luma / 2);
  const Matrix& matrix = MatrixFor(picture.width, picture.height);
  uint8_t* planes = bytes.data() + begin;
  AddLuma(picture, matrix.luma, planes);
  AddChroma(picture, matrix, planes + luma, planes + luma + luma / 4);
}

}  // namespace quill_grab
