// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "diff/FrameDiffRectsCS.h"
#include "device/shaders/compute_device.h"

namespace shader_test {
namespace {

constexpr uint32_t kUntouched = 0xa5a5a5a5;
constexpr uint32_t kAllBits = 0xffffffff;

// The per-tile values, in a texture with room for more, as the engine's is.
struct Tiles {
  uint32_t width;
  uint32_t height;
  std::vector<uint32_t> values;

  Tiles(uint32_t w, uint32_t h, uint32_t fill = 0)
      : width(w), height(h), values(size_t{w} * h, fill) {}
  uint32_t& At(uint32_t column, uint32_t row) { return values[size_t{row} * width + column]; }
};

struct Run {
  uint32_t buff_width = 4;
  uint32_t buff_height = 1;
  uint32_t tex_width = 128;
  uint32_t tex_step = 4;
  uint32_t buffer_words = 4;
  DXGI_FORMAT format = DXGI_FORMAT_R8_UINT;
};

// The flag buffer after the pass, of which each word held kUntouched.
std::vector<uint32_t> Flags(const Run& run, const Tiles& tiles) {
  ComputeDevice& device = ComputeDevice::Shared();
  const WritableTexture texture =
      device.MakeWritable(tiles.width, tiles.height, run.format, tiles.values);
  const WritableBuffer words =
      device.MakeWords(std::vector<uint32_t>(run.buffer_words, kUntouched));
  const Constants constants = {run.buff_width, run.buff_height, run.tex_width, run.tex_step};
  device.Run({.bytecode = szGetBitFlagCS,
              .outputs = {texture.view.get(), words.view.get()},
              .constants = &constants,
              .groups = {1, (run.buff_height + 15) / 16, 1}});
  return device.Read(words);
}

TEST(GetBitFlag, UnchangedTilesGiveZeroWords) {
  EXPECT_EQ(Flags({.buff_height = 2, .buffer_words = 8}, Tiles(130, 2)),
            std::vector<uint32_t>(8, 0));
}

TEST(GetBitFlag, EachTileColumnSetsItsOwnBit) {
  for (const uint32_t column : {0u, 1u, 31u, 32u, 63u, 64u, 95u, 96u, 127u}) {
    Tiles tiles(130, 3);
    tiles.At(column, 1) = 230;
    std::vector<uint32_t> expected(12, 0);
    expected[4 + column / 32] = 1u << column % 32;
    EXPECT_EQ(Flags({.buff_height = 3, .buffer_words = 12}, tiles), expected) << column;
  }
}

TEST(GetBitFlag, AnyNonzeroValueCounts) {
  Tiles tiles(130, 1);
  tiles.At(0, 0) = 1;
  tiles.At(2, 0) = 255;
  EXPECT_EQ(Flags({}, tiles), (std::vector<uint32_t>{0b101, 0, 0, 0}));
}

// The programs declare the texture as signed, and the comparison is unsigned.
TEST(GetBitFlag, ANegativeValueCounts) {
  Tiles tiles(130, 1);
  tiles.At(33, 0) = static_cast<uint32_t>(-1);
  tiles.At(34, 0) = 0x80000000;
  EXPECT_EQ(Flags({.format = DXGI_FORMAT_R32_SINT}, tiles),
            (std::vector<uint32_t>{0, 0b110, 0, 0}));
}

TEST(GetBitFlag, TheColumnOnePastTheLastTileIsReadAndTheNextIsNot) {
  const Tiles tiles(130, 1, 255);
  // Columns 0 to 40: nine bits of the second word.
  EXPECT_EQ(Flags({.tex_width = 40}, tiles), (std::vector<uint32_t>{kAllBits, 0x1ff, 0, 0}));
  // Columns 0 to 31 fill a word.
  EXPECT_EQ(Flags({.tex_width = 31}, tiles), (std::vector<uint32_t>{kAllBits, 0, 0, 0}));
  // The column past the last tile is the first of the next word.
  EXPECT_EQ(Flags({.tex_width = 64}, tiles), (std::vector<uint32_t>{kAllBits, kAllBits, 1, 0}));
  EXPECT_EQ(Flags({.tex_width = 0}, tiles), (std::vector<uint32_t>{1, 0, 0, 0}));
}

TEST(GetBitFlag, ColumnsFrom128AreNeverReported) {
  const Tiles tiles(140, 2, 255);
  EXPECT_EQ(Flags({.buff_height = 1, .tex_width = 132, .tex_step = 5, .buffer_words = 12}, tiles),
            (std::vector<uint32_t>{kAllBits, kAllBits, kAllBits, kAllBits, kUntouched, kUntouched,
                                   kUntouched, kUntouched, kUntouched, kUntouched, kUntouched,
                                   kUntouched}));
}

TEST(GetBitFlag, ARowTakesFourWordsWhenFewerAreComputed) {
  Tiles tiles(130, 3);
  tiles.At(0, 0) = 255;
  tiles.At(33, 1) = 255;
  tiles.At(64, 1) = 255;  // in a word that is not computed
  tiles.At(2, 2) = 255;
  EXPECT_EQ(Flags({.buff_width = 2, .buff_height = 3, .buffer_words = 12}, tiles),
            (std::vector<uint32_t>{1, 0, kUntouched, kUntouched,     //
                                   0, 0b10, kUntouched, kUntouched,  //
                                   0b100, 0, kUntouched, kUntouched}));
}

TEST(GetBitFlag, RowsFromBuffHeightOnAreUntouched) {
  const Tiles tiles(130, 5, 255);
  std::vector<uint32_t> expected(20, kUntouched);
  std::fill_n(expected.begin(), 12, kAllBits);
  EXPECT_EQ(Flags({.buff_height = 3, .buffer_words = 20}, tiles), expected);
}

TEST(GetBitFlag, TexStepIsNotRead) {
  Tiles tiles(130, 1);
  tiles.At(77, 0) = 255;
  const std::vector<uint32_t> expected = {0, 0, 1u << 13, 0};
  EXPECT_EQ(Flags({.tex_step = 0}, tiles), expected);
  EXPECT_EQ(Flags({.tex_step = kAllBits}, tiles), expected);
}

// 34 tile rows take three thread groups.
TEST(GetBitFlag, AgreesWithTheDefinitionOnRandomTiles) {
  std::mt19937 random(20240229);
  constexpr uint32_t kColumns = 60;
  constexpr uint32_t kRows = 34;
  Tiles tiles(1920, kRows);
  std::vector<uint32_t> expected(4 * kRows, 0);
  for (uint32_t row = 0; row < kRows; ++row) {
    for (uint32_t column = 0; column < kColumns; ++column) {
      if (random() % 3 == 0) {
        tiles.At(column, row) = 230;
        expected[4 * row + column / 32] |= 1u << column % 32;
      }
    }
  }
  EXPECT_EQ(
      Flags({.buff_height = kRows, .tex_width = kColumns, .tex_step = 2, .buffer_words = 4 * kRows},
            tiles),
      expected);
}

}  // namespace
}  // namespace shader_test
