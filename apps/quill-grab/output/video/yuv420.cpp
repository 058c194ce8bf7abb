// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/video/yuv420.h"

#include <emmintrin.h>

#include <cstring>

namespace quill_apps {

namespace {

constexpr int kFractionBits = 16;
constexpr int32_t kOne = 1 << kFractionBits;

// What a sample is made of, in units of 2^-kFractionBits.
struct Row {
  int32_t blue;
  int32_t green;
  int32_t red;
  int32_t offset;
};

struct Matrix {
  Row luma;
  Row blue_chroma;
  Row red_chroma;
};

constexpr int32_t Fixed(double value) {
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

// The colours of four pixels, or the sums of four squares of pixels, each in 16 bits: blue and red
// in turn, and green and alpha. Nothing reads alpha.
struct Colours {
  __m128i blue_red;
  __m128i green_alpha;
};

Colours Load(const uint8_t* pixels) {
  const __m128i bgra = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixels));
  return {_mm_and_si128(bgra, _mm_set1_epi32(0x00FF00FF)), _mm_srli_epi16(bgra, 8)};
}

// Adds the 32-bit elements of a and of b in pairs, as numbers of 16 bits: the sums of two of a,
// then those of b.
__m128i SumsOfNeighbours(__m128i a, __m128i b) {
  const __m128 first = _mm_castsi128_ps(a);
  const __m128 second = _mm_castsi128_ps(b);
  return _mm_add_epi16(_mm_castps_si128(_mm_shuffle_ps(first, second, _MM_SHUFFLE(2, 0, 2, 0))),
                       _mm_castps_si128(_mm_shuffle_ps(first, second, _MM_SHUFFLE(3, 1, 3, 1))));
}

// The sums over squares of 2 x 2 pixels, each at most 1020.
Colours SumSquares(const Colours (&upper)[2], const Colours (&lower)[2]) {
  return {SumsOfNeighbours(_mm_add_epi16(upper[0].blue_red, lower[0].blue_red),
                           _mm_add_epi16(upper[1].blue_red, lower[1].blue_red)),
          SumsOfNeighbours(_mm_add_epi16(upper[0].green_alpha, lower[0].green_alpha),
                           _mm_add_epi16(upper[1].green_alpha, lower[1].green_alpha))};
}

// A row of the matrix for pmaddwd, whose factors are signed numbers of 16 bits. Luma's factor of
// green is larger, 33039 or 40254, so it is kept less kOne, and Luma() adds kOne times green.
class Weights {
 public:
  // The colours will be sums of count pixels.
  Weights(const Row& row, int32_t count)
      : blue_red_(Pair(row.blue, row.red)),
        green_(Pair(row.green > INT16_MAX ? row.green - kOne : row.green, 0)),
        offset_(_mm_set1_epi32(row.offset * count)) {}

  // Four samples. All sums fit into 31 bits: samples are below 256, and so are the parts that one
  // colour adds or takes away, which gives at most 4 * 256 * kOne = 2^26. No result is negative.
  __m128i Chroma(const Colours& sums) const {
    return _mm_srli_epi32(WeightedSum(sums), kFractionBits + 2);
  }
  __m128i Luma(const Colours& pixels) const {
    const __m128i green = _mm_slli_epi32(pixels.green_alpha, kFractionBits);
    return _mm_srli_epi32(_mm_add_epi32(WeightedSum(pixels), green), kFractionBits);
  }

 private:
  static __m128i Pair(int32_t low, int32_t high) {
    return _mm_set1_epi32(static_cast<int32_t>(static_cast<uint32_t>(high) << 16 | (low & 0xFFFF)));
  }
  __m128i WeightedSum(const Colours& colours) const {
    return _mm_add_epi32(_mm_add_epi32(_mm_madd_epi16(colours.blue_red, blue_red_), offset_),
                         _mm_madd_epi16(colours.green_alpha, green_));
  }

  __m128i blue_red_;
  __m128i green_;
  __m128i offset_;
};

struct MatrixWeights {
  explicit MatrixWeights(const Matrix& matrix)
      : luma(matrix.luma, 1),
        blue_chroma(matrix.blue_chroma, 4),
        red_chroma(matrix.red_chroma, 4) {}

  Weights luma;
  Weights blue_chroma;
  Weights red_chroma;
};

constexpr size_t kBlock = 16;

// Where the samples of kBlock x 2 pixels go.
struct Places {
  uint8_t* upper_luma;
  uint8_t* lower_luma;
  uint8_t* blue;  // or pairs, and red is not used
  uint8_t* red;
};

void Store(__m128i bytes, uint8_t* to) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes);
}

void StoreHalf(__m128i bytes, uint8_t* to) {
  _mm_storel_epi64(reinterpret_cast<__m128i*>(to), bytes);
}

// upper and lower: kBlock pixels each.
void ConvertBlock(const uint8_t* upper, const uint8_t* lower, const MatrixWeights& weights,
                  Chroma chroma, const Places& to) {
  __m128i upper_luma[2];
  __m128i lower_luma[2];
  __m128i blue[2];
  __m128i red[2];
  for (size_t half = 0; half < 2; ++half) {
    const size_t begin = half * kBlock / 2 * kPixelBytes;
    const Colours above[2] = {Load(upper + begin), Load(upper + begin + 16)};
    const Colours below[2] = {Load(lower + begin), Load(lower + begin + 16)};
    upper_luma[half] = _mm_packs_epi32(weights.luma.Luma(above[0]), weights.luma.Luma(above[1]));
    lower_luma[half] = _mm_packs_epi32(weights.luma.Luma(below[0]), weights.luma.Luma(below[1]));
    const Colours sums = SumSquares(above, below);
    blue[half] = weights.blue_chroma.Chroma(sums);
    red[half] = weights.red_chroma.Chroma(sums);
  }
  Store(_mm_packus_epi16(upper_luma[0], upper_luma[1]), to.upper_luma);
  Store(_mm_packus_epi16(lower_luma[0], lower_luma[1]), to.lower_luma);
  const __m128i blue_words = _mm_packs_epi32(blue[0], blue[1]);
  const __m128i red_words = _mm_packs_epi32(red[0], red[1]);
  if (chroma == Chroma::kPairs) {
    Store(_mm_or_si128(blue_words, _mm_slli_epi16(red_words, 8)), to.blue);
  } else {
    StoreHalf(_mm_packus_epi16(blue_words, blue_words), to.blue);
    StoreHalf(_mm_packus_epi16(red_words, red_words), to.red);
  }
}

// The last pixels of two rows, less than a block. Both they and their samples go through blocks, so
// that nothing beyond the rows is read or written.
void ConvertRest(const uint8_t* upper, const uint8_t* lower, size_t pixels,
                 const MatrixWeights& weights, Chroma chroma, const Places& to) {
  uint8_t above[kBlock * kPixelBytes] = {};
  uint8_t below[kBlock * kPixelBytes] = {};
  std::memcpy(above, upper, pixels * kPixelBytes);
  std::memcpy(below, lower, pixels * kPixelBytes);
  uint8_t samples[4][kBlock];
  ConvertBlock(above, below, weights, chroma, {samples[0], samples[1], samples[2], samples[3]});
  std::memcpy(to.upper_luma, samples[0], pixels);
  std::memcpy(to.lower_luma, samples[1], pixels);
  std::memcpy(to.blue, samples[2], chroma == Chroma::kPairs ? pixels : pixels / 2);
  if (chroma == Chroma::kPlanes) std::memcpy(to.red, samples[3], pixels / 2);
}

}  // namespace

void ConvertToYuv420(const PixelView& picture, Chroma chroma, uint8_t* samples) {
  const MatrixWeights weights(MatrixFor(picture.width, picture.height));
  const size_t width = picture.width;
  const size_t pixels = width * picture.height;
  const size_t chroma_step = chroma == Chroma::kPairs ? 2 : 1;
  for (size_t y = 0; y < picture.height; y += 2) {
    const uint8_t* upper = picture.pixels + y * picture.row_pitch;
    const uint8_t* lower = upper + picture.row_pitch;
    uint8_t* luma = samples + y * width;
    uint8_t* blue = samples + pixels + y / 2 * (width / 2) * chroma_step;
    uint8_t* red = blue + pixels / 4;
    for (size_t x = 0; x < width; x += kBlock) {
      const Places to{luma + x, luma + width + x, blue + x / 2 * chroma_step, red + x / 2};
      const size_t begin = x * kPixelBytes;
      if (width - x >= kBlock) {
        ConvertBlock(upper + begin, lower + begin, weights, chroma, to);
      } else {
        ConvertRest(upper + begin, lower + begin, width - x, weights, chroma, to);
      }
    }
  }
}

}  // namespace quill_apps
