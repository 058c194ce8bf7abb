// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/video/stream_format.h"

#include <array>
#include <cmath>
#include <numeric>
#include <string_view>

#include "common/text.h"

namespace quill_apps {

namespace {

constexpr int kFractionBits = 16;

// The factors of blue, green and red, and the offset, in units of 2^-kFractionBits.
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

// Limited range: luma is the weighted sum of the colours in 219 steps from 16 on; chroma is the
// difference of blue and of red from it, in 224 steps around 128. The offsets include 0.5, so that
// truncation rounds.
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

// No stream can name its matrix, so players that are not told go by the size. From these sizes on
// they assume BT.709.
const Matrix& MatrixFor(uint32_t width, uint32_t height) {
  return width < 1280 && height <= 576 ? kBt601 : kBt709;
}

// blue, green and red are the sums of that many pixels: 1 or 4.
uint8_t Apply(const Row& row, int32_t blue, int32_t green, int32_t red, int32_t count) {
  const int32_t sum = row[0] * blue + row[1] * green + row[2] * red + row[3] * count;
  return static_cast<uint8_t>((sum / count) >> kFractionBits);
}

uint8_t* PutLuma(const PixelView& picture, const Row& row, uint8_t* luma) {
  for (uint32_t y = 0; y < picture.height; ++y) {
    const uint8_t* pixel = picture.pixels + y * picture.row_pitch;
    for (uint32_t x = 0; x < picture.width; ++x, pixel += kPixelBytes) {
      *luma++ = Apply(row, pixel[0], pixel[1], pixel[2], 1);
    }
  }
  return luma;
}

// Each sample is that of the mean of 2 x 2 pixels. Samples of a kind are step bytes apart.
void PutChroma(const PixelView& picture, const Matrix& matrix, uint8_t* blue, uint8_t* red,
               size_t step) {
  for (uint32_t y = 0; y < picture.height; y += 2) {
    const uint8_t* upper = picture.pixels + y * picture.row_pitch;
    const uint8_t* lower = upper + picture.row_pitch;
    for (uint32_t x = 0; x < picture.width; x += 2) {
      const auto sum = [&](size_t colour) {
        return int32_t{upper[colour]} + upper[colour + kPixelBytes] + lower[colour] +
               lower[colour + kPixelBytes];
      };
      *blue = Apply(matrix.blue_chroma, sum(0), sum(1), sum(2), 4);
      *red = Apply(matrix.red_chroma, sum(0), sum(1), sum(2), 4);
      blue += step;
      red += step;
      upper += 2 * kPixelBytes;
      lower += 2 * kPixelBytes;
    }
  }
}

enum class Chroma { kPlanes, kPairs };

// 4:2:0 in limited range: all luma, then chroma in two planes, or in one of pairs. Width and height
// are even.
void AppendYuv420(const PixelView& picture, Chroma chroma, std::vector<uint8_t>& bytes) {
  const size_t pixels = size_t{picture.width} * picture.height;
  const size_t begin = bytes.size();
  bytes.resize(begin + pixels + pixels / 2);
  const Matrix& matrix = MatrixFor(picture.width, picture.height);
  uint8_t* blue = PutLuma(picture, matrix.luma, bytes.data() + begin);
  if (chroma == Chroma::kPlanes) {
    PutChroma(picture, matrix, blue, blue + pixels / 4, 1);
  } else {
    PutChroma(picture, matrix, blue, blue + 1, 2);
  }
}

FrameSize SameSize(const FrameSize& size) {
  return size;
}

FrameSize RoundedUpToEven(const FrameSize& size) {
  return {size.width + size.width % 2, size.height + size.height % 2};
}

std::string NoHeader(const FrameSize&, double) {
  return "";
}

std::string Y4mHeader(const FrameSize& size, double fps) {
  const long long thousandths = std::llround(fps * 1000.0);
  const long long common = std::gcd(thousandths, 1000LL);
  return Format("YUV4MPEG2 W%u H%u F%lld:%lld Ip A1:1 C420jpeg XCOLORRANGE=LIMITED\n", size.width,
                size.height, thousandths / common, 1000 / common);
}

void AppendBgra(const PixelView& picture, std::vector<uint8_t>& bytes) {
  for (uint32_t y = 0; y < picture.height; ++y) {
    const uint8_t* row = picture.pixels + y * picture.row_pitch;
    bytes.insert(bytes.end(), row, row + picture.width * kPixelBytes);
  }
}

void AppendY4m(const PixelView& picture, std::vector<uint8_t>& bytes) {
  constexpr std::string_view kBegin = "FRAME\n";
  bytes.insert(bytes.end(), kBegin.begin(), kBegin.end());
  AppendYuv420(picture, Chroma::kPlanes, bytes);
}

void AppendNv12(const PixelView& picture, std::vector<uint8_t>& bytes) {
  AppendYuv420(picture, Chroma::kPairs, bytes);
}

constexpr StreamFormat kFormats[] = {
    {"--raw", "raw video: blue, green, red and alpha of each pixel", SameSize, NoHeader,
     AppendBgra},
    {"--y4m", "YUV4MPEG2 video, which carries its own size and rate", RoundedUpToEven, Y4mHeader,
     AppendY4m},
    {"--nv12", "raw NV12 video: a plane of luma, then one of chroma", RoundedUpToEven, NoHeader,
     AppendNv12},
};

}  // namespace

std::span<const StreamFormat> StreamFormats() {
  return kFormats;
}

}  // namespace quill_apps
