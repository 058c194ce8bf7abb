// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/png/png_encoder.h"

#include <algorithm>
#include <array>

#include "apps/quill-grab/decode_png.h"
#include "apps/quill-grab/test_support.h"

namespace quill_grab {
namespace {

// Bytes that differ between neighbours in every direction and channel; alpha takes all values.
std::vector<uint8_t> Picture(uint32_t width, uint32_t height, size_t row_pitch, uint8_t filler) {
  std::vector<uint8_t> bytes(row_pitch * height, filler);
  for (uint32_t y = 0; y < height; ++y) {
    for (uint32_t x = 0; x < width; ++x) {
      uint8_t* pixel = bytes.data() + y * row_pitch + x * 4;
      pixel[0] = static_cast<uint8_t>(x * 7 + y);
      pixel[1] = static_cast<uint8_t>(x + y * 5);
      pixel[2] = static_cast<uint8_t>(x * y + 3);
      pixel[3] = static_cast<uint8_t>(x + y);
    }
  }
  return bytes;
}

uint32_t BigEndian(const uint8_t* bytes) {
  return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

class PngEncoderTest : public ComTest {
 protected:
  // Every pixel must come back with its three colours, and fully opaque.
  void ExpectRoundTrip(uint32_t width, uint32_t height, size_t row_pitch) {
    const std::vector<uint8_t> picture = Picture(width, height, row_pitch, 0xEE);
    const PngEncoder encoder;
    const DecodedPng decoded =
        DecodePng(encoder.Encode({picture.data(), width, height, row_pitch}));
    ASSERT_EQ(decoded.width, width);
    ASSERT_EQ(decoded.height, height);
    EXPECT_FALSE(decoded.has_alpha);
    size_t different = 0;
    for (uint32_t y = 0; y < height; ++y) {
      for (uint32_t x = 0; x < width; ++x) {
        const uint8_t* expected = picture.data() + y * row_pitch + x * 4;
        const uint8_t* actual = decoded.bgra.data() + (size_t{y} * width + x) * 4;
        different += !std::equal(expected, expected + 3, actual) || actual[3] != 255;
      }
    }
    EXPECT_EQ(different, 0u);
  }
};

TEST_F(PngEncoderTest, KeepsEveryColourAndDropsAlpha) {
  ExpectRoundTrip(64, 48, 64 * 4);
}

TEST_F(PngEncoderTest, TakesASinglePixel) {
  ExpectRoundTrip(1, 1, 4);
}

// 130 rows: two full bands of 64 and a rest of two.
TEST_F(PngEncoderTest, TakesSizesThatAreNoMultiples) {
  ExpectRoundTrip(37, 130, 37 * 4);
}

TEST_F(PngEncoderTest, HonoursAWiderRowPitch) {
  ExpectRoundTrip(37, 70, 256);
}

TEST_F(PngEncoderTest, TakesAFullScreen) {
  ExpectRoundTrip(1920, 1080, 1920 * 4);
}

TEST_F(PngEncoderTest, WritesTheHeaderOfATrueColourFile) {
  const std::vector<uint8_t> picture = Picture(300, 2, 1200, 0);
  const std::vector<uint8_t> png = PngEncoder().Encode({picture.data(), 300, 2, 1200});
  constexpr std::array<uint8_t, 8> kSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  ASSERT_GT(png.size(), 33u);
  EXPECT_TRUE(std::equal(kSignature.begin(), kSignature.end(), png.begin()));
  EXPECT_EQ(BigEndian(png.data() + 16), 300u);  // IHDR: width, height, bit depth, colour type
  EXPECT_EQ(BigEndian(png.data() + 20), 2u);
  EXPECT_EQ(png[24], 8);
  EXPECT_EQ(png[25], 2);
}

TEST_F(PngEncoderTest, EncodesSeveralPicturesOneAfterTheOther) {
  const PngEncoder encoder;
  for (uint32_t size : {40u, 8u, 90u}) {
    const std::vector<uint8_t> picture = Picture(size, size, size * 4, 0);
    EXPECT_EQ(DecodePng(encoder.Encode({picture.data(), size, size, size * 4})).width, size);
  }
}

}  // namespace
}  // namespace quill_grab
