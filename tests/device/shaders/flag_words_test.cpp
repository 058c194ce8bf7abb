// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// ResetDiffRects, which clears the flag words, and GetBitFlag, which fills them.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "diff/FrameDiffRectsCS.h"
#include "device/shaders/compute_device.h"

namespace shader_test {
namespace {

using Words = std::vector<uint32_t>;

constexpr uint32_t kUntouched = 0xa5a5a5a5;
constexpr uint32_t kAllBits = 0xffffffff;

// `size` words of which the first `count` hold `value`.
Words StartingWith(size_t size, size_t count, uint32_t value) {
  Words words(size, kUntouched);
  std::fill_n(words.begin(), count, value);
  return words;
}

TEST(ResetDiffRects, EachGroupClearsSixteenWordsOfTheView) {
  struct Case {
    size_t size;
    UINT viewed;
    UINT groups;
    size_t cleared;
  };
  for (const Case& c : {Case{40, 40, 1, 16}, Case{40, 40, 2, 32},
                        // The last group reaches past the end of the buffer or the view.
                        Case{40, 40, 3, 40}, Case{40, 24, 3, 24},
                        // The 34 tile rows of a 1920 x 1080 frame.
                        Case{136, 136, 9, 136}}) {
    ComputeDevice& device = ComputeDevice::Shared();
    const OutputBuffer words = device.MakeWords(StartingWith(c.size, 0, 0), c.viewed);
    device.Run({.bytecode = szResetDiffRectsCS,
                .outputs = {words.view.get()},
                .groups = {c.groups, 1, 1}});
    EXPECT_EQ(device.Read(words), StartingWith(c.size, c.cleared, 0))
        << c.viewed << " words, " << c.groups << " groups";
  }
}

struct Run {
  uint32_t buff_width = 4;
  uint32_t buff_height = 1;
  uint32_t tex_width = 128;
  uint32_t tex_step = 4;
  uint32_t buffer_words = 4;
  DXGI_FORMAT format = DXGI_FORMAT_R8_UINT;
};

// One value per tile, in a texture with room for more, as the engine's is.
using Tiles = Picture;

// The flag words after the pass, each of which held kUntouched.
Words Flags(const Run& run, const Tiles& tiles) {
  ComputeDevice& device = ComputeDevice::Shared();
  const OutputTexture texture =
      device.MakeOutput(tiles.width, tiles.height, run.format, tiles.pixels);
  const OutputBuffer words =
      device.MakeWords(Words(run.buffer_words, kUntouched), run.buffer_words);
  const Constants constants = {run.buff_width, run.buff_height, run.tex_width, run.tex_step};
  device.Run({.bytecode = szGetBitFlagCS,
              .outputs = {texture.view.get(), words.view.get()},
              .constants = &constants,
              .groups = {1, (run.buff_height + 15) / 16, 1}});
  return device.Read(words);
}

TEST(GetBitFlag, EachTileColumnSetsItsOwnBit) {
  for (const uint32_t column : {0u, 1u, 31u, 32u, 63u, 64u, 95u, 96u, 127u}) {
    Tiles tiles(130, 3);
    tiles.At(column, 1) = 230;
    Words expected(12, 0);
    expected[4 + column / 32] = 1u << column % 32;
    EXPECT_EQ(Flags({.buff_height = 3, .buffer_words = 12}, tiles), expected) << column;
  }
}

// The programs declare the texture as signed, and the comparison is unsigned.
TEST(GetBitFlag, AnyValueButZeroCounts) {
  Tiles tiles(130, 1);
  tiles.At(0, 0) = 1;
  tiles.At(2, 0) = 255;
  EXPECT_EQ(Flags({}, tiles), (Words{0b101, 0, 0, 0}));
  tiles.At(33, 0) = static_cast<uint32_t>(-1);
  tiles.At(34, 0) = 0x80000000;
  EXPECT_EQ(Flags({.format = DXGI_FORMAT_R32_SINT}, tiles), (Words{0b101, 0b110, 0, 0}));
}

TEST(GetBitFlag, TheColumnOnePastTheLastTileIsReadAndTheNextIsNot) {
  const Tiles tiles(130, 1, 255);
  EXPECT_EQ(Flags({.tex_width = 40}, tiles), (Words{kAllBits, 0x1ff, 0, 0}));
  EXPECT_EQ(Flags({.tex_width = 31}, tiles), (Words{kAllBits, 0, 0, 0}));
  EXPECT_EQ(Flags({.tex_width = 64}, tiles), (Words{kAllBits, kAllBits, 1, 0}));
  EXPECT_EQ(Flags({.tex_width = 0}, tiles), (Words{1, 0, 0, 0}));
}

TEST(GetBitFlag, ColumnsFrom128AndRowsFromBuffHeightAreLeftOut) {
  EXPECT_EQ(Flags({.tex_width = 132, .tex_step = 5, .buffer_words = 12}, Tiles(140, 2, 255)),
            StartingWith(12, 4, kAllBits));
  EXPECT_EQ(Flags({.buff_height = 3, .buffer_words = 20}, Tiles(130, 5, 255)),
            StartingWith(20, 12, kAllBits));
}

TEST(GetBitFlag, ARowTakesFourWordsWhenFewerAreComputed) {
  Tiles tiles(130, 3);
  tiles.At(0, 0) = 255;
  tiles.At(33, 1) = 255;
  tiles.At(64, 1) = 255;  // in a word that is not computed
  tiles.At(2, 2) = 255;
  EXPECT_EQ(Flags({.buff_width = 2, .buff_height = 3, .buffer_words = 12}, tiles),
            (Words{1, 0, kUntouched, kUntouched,     //
                   0, 0b10, kUntouched, kUntouched,  //
                   0b100, 0, kUntouched, kUntouched}));
}

// 34 tile rows take three thread groups.
TEST(GetBitFlag, AgreesWithTheDefinitionOnRandomTilesWhateverTexStepIs) {
  std::mt19937 random(20240229);
  constexpr uint32_t kColumns = 60;
  constexpr uint32_t kRows = 34;
  Tiles tiles(1920, kRows);
  Words expected(4 * kRows, 0);
  for (uint32_t row = 0; row < kRows; ++row) {
    for (uint32_t column = 0; column < kColumns; ++column) {
      if (random() % 3 != 0) continue;
      tiles.At(column, row) = 230;
      expected[4 * row + column / 32] |= 1u << column % 32;
    }
  }
  for (const uint32_t tex_step : {0u, 2u, kAllBits}) {
    EXPECT_EQ(Flags({.buff_height = kRows,
                     .tex_width = kColumns,
                     .tex_step = tex_step,
                     .buffer_words = 4 * kRows},
                    tiles),
              expected);
  }
}

}  // namespace
}  // namespace shader_test
