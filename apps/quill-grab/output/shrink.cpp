// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/shrink.h"

#include <emmintrin.h>

#include <algorithm>
#include <cstring>
#include <span>

namespace quill_apps {

namespace {

// pmaddwd multiplies signed numbers of 16 bits and adds them in pairs. So weights come in pairs,
// with 14 bits after the point, and sums over rows have 7: at most 255 * 2^7. The sum over those,
// with 21 bits, fits into 32.
constexpr int kWeightBits = 14;
constexpr int kRowBits = 7;

// Which pixels of a line each pixel of a shorter line covers, and the share of each: for `from`
// rows or columns that become `to`.
class Cover {
 public:
  Cover(uint32_t from, uint32_t to) {
    for (uint64_t i = 0; i < to; ++i) AddPixel(i * from, from, to);
  }

  size_t first(size_t pixel) const { return pixels_[pixel].first; }
  // Of first(), the one after it, and so on: two in each number, the earlier one in the low half.
  // Together they are 1. After the last pixel comes a weight of 0 if their number is odd.
  std::span<const uint32_t> weights(size_t pixel) const {
    return std::span(weights_).subspan(pixels_[pixel].weights, pixels_[pixel].pairs);
  }

 private:
  struct Pixel {
    size_t first;
    size_t weights;  // where they begin
    size_t pairs;
  };

  // Positions are in units of which a pixel has `to` in the longer line and `from` in the shorter.
  // Shares are rounded as sums from the beginning on, so that no error adds up.
  void AddPixel(uint64_t begin, uint64_t from, uint64_t to) {
    const uint64_t first = begin / to;
    const auto share_until = [&](uint64_t pixel) {
      const uint64_t length = std::min(pixel * to - begin, from);
      return static_cast<uint32_t>(((length << kWeightBits) + from / 2) / from);
    };
    const size_t weights = weights_.size();
    uint32_t before = 0;
    for (uint64_t pixel = first; pixel * to < begin + from; pixel += 2) {
      const uint32_t middle = share_until(pixel + 1);
      const uint32_t end = share_until(pixel + 2);
      weights_.push_back((middle - before) | (end - middle) << 16);
      before = end;
    }
    pixels_.push_back({first, weights, weights_.size() - weights});
  }

  std::vector<Pixel> pixels_;
  std::vector<uint32_t> weights_;
};

__m128i Repeated(uint32_t pair) {
  return _mm_set1_epi32(static_cast<int32_t>(pair));
}

// The first ones of four pixels; the others are 0.
__m128i Load(const uint8_t* pixels, size_t count) {
  if (count >= 4) return _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixels));
  uint8_t four[16] = {};
  std::memcpy(four, pixels, count * kPixelBytes);
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(four));
}

// The weighted sums over rows, from `first` on, for each channel of each column. Writes four
// columns at a time.
void SumRows(const PixelView& picture, size_t first, std::span<const uint32_t> weights,
             int16_t* sums) {
  const __m128i zero = _mm_setzero_si128();
  for (size_t x = 0; x < picture.width; x += 4, sums += 16) {
    __m128i sum[4] = {zero, zero, zero, zero};
    for (size_t i = 0; i < weights.size(); ++i) {
      const size_t row = first + 2 * i;
      const uint8_t* upper = picture.pixels + row * picture.row_pitch + x * kPixelBytes;
      // Below the last row, the weight is 0.
      const uint8_t* lower = row + 1 < picture.height ? upper + picture.row_pitch : upper;
      const __m128i above = Load(upper, picture.width - x);
      const __m128i below = Load(lower, picture.width - x);
      const __m128i left = _mm_unpacklo_epi8(above, below);
      const __m128i right = _mm_unpackhi_epi8(above, below);
      const __m128i pixels[4] = {_mm_unpacklo_epi8(left, zero), _mm_unpackhi_epi8(left, zero),
                                 _mm_unpacklo_epi8(right, zero), _mm_unpackhi_epi8(right, zero)};
      for (size_t pixel = 0; pixel < 4; ++pixel) {
        sum[pixel] = _mm_add_epi32(sum[pixel], _mm_madd_epi16(pixels[pixel], Repeated(weights[i])));
      }
    }
    constexpr int kDropped = kWeightBits - kRowBits;
    for (__m128i& each : sum) {
      each = _mm_srli_epi32(_mm_add_epi32(each, _mm_set1_epi32(1 << (kDropped - 1))), kDropped);
    }
    auto* to = reinterpret_cast<__m128i*>(sums);
    _mm_storeu_si128(to, _mm_packs_epi32(sum[0], sum[1]));
    _mm_storeu_si128(to + 1, _mm_packs_epi32(sum[2], sum[3]));
  }
}

// The pixel that is the weighted sum of sums over rows, whose first is at sums.
void PutPixel(const int16_t* sums, std::span<const uint32_t> weights, uint8_t* pixel) {
  constexpr int kBits = kWeightBits + kRowBits;
  __m128i sum = _mm_set1_epi32(1 << (kBits - 1));
  for (const uint32_t pair : weights) {
    const __m128i two = _mm_loadu_si128(reinterpret_cast<const __m128i*>(sums));
    const __m128i channels = _mm_unpacklo_epi16(two, _mm_srli_si128(two, 8));
    sum = _mm_add_epi32(sum, _mm_madd_epi16(channels, Repeated(pair)));
    sums += 8;
  }
  const __m128i words = _mm_packs_epi32(_mm_srli_epi32(sum, kBits), sum);
  const int32_t bytes = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
  std::memcpy(pixel, &bytes, kPixelBytes);
}

}  // namespace

void Shrink(const PixelView& picture, const FrameSize& size, std::vector<uint8_t>& bgra) {
  const Cover rows(picture.height, size.height);
  const Cover columns(picture.width, size.width);
  // SumRows() writes up to three pixels beyond the last, and PutPixel() reads one.
  std::vector<int16_t> sums((size_t{picture.width} + 4) * kPixelBytes);
  bgra.resize(size_t{size.width} * size.height * kPixelBytes);
  uint8_t* pixel = bgra.data();
  for (uint32_t y = 0; y < size.height; ++y) {
    SumRows(picture, rows.first(y), rows.weights(y), sums.data());
    for (uint32_t x = 0; x < size.width; ++x, pixel += kPixelBytes) {
      PutPixel(&sums[columns.first(x) * kPixelBytes], columns.weights(x), pixel);
    }
  }
}

}  // namespace quill_apps
