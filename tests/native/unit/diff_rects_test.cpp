// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "diff/diff_rects.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/reference_diff.h"

namespace {

using reference::FieldsOf;

// The reference has its own numbers. Change them together, and every picture that is worked out by
// hand with them.
static_assert(kTileSize == reference::kTileSize, "change tests/support/reference_diff.h as well");

constexpr uint32_t kRowWords = reference::kWordsPerRow;

uint32_t Bits(uint32_t first, uint32_t last) {
  uint32_t word = 0;
  for (uint32_t bit = first; bit <= last; ++bit) word |= 1u << bit;
  return word;
}

D3D11_BOX Box(uint32_t left, uint32_t top, uint32_t right, uint32_t bottom) {
  return {left, top, 0, right, bottom, 0};
}

struct Case {
  const char* name;
  std::vector<uint32_t> words;  // four a tile row
  uint32_t width;
  uint32_t height;
  std::vector<D3D11_BOX> rects;
  uint32_t area;

  friend std::ostream& operator<<(std::ostream& out, const Case& test) { return out << test.name; }
};

class DecodeDiffRectsOf : public testing::TestWithParam<Case> {};

TEST_P(DecodeDiffRectsOf, GivesRectanglesAndArea) {
  const Case& test = GetParam();
  const auto rows = static_cast<uint32_t>(test.words.size() / kRowWords);
  std::vector<D3D11_BOX> rects;
  EXPECT_EQ(DecodeDiffRects(test.words.data(), rows, test.width, test.height, rects), test.area);
  EXPECT_EQ(FieldsOf(rects), FieldsOf(test.rects));
}

// 5000 is wide and high enough that nothing is clipped.
const Case kCases[] = {
    {"NoRows", {}, 1920, 1080, {}, 0},
    {"ZeroWords", {0, 0, 0, 0, 0, 0, 0, 0}, 1920, 1080, {}, 0},
    {"TheLeftmostTile", {1, 0, 0, 0}, 5000, 5000, {Box(0, 0, 32, 32)}, 1024},
    {"TheLastTileOfAWord", {1u << 31, 0, 0, 0}, 5000, 5000, {Box(992, 0, 1024, 32)}, 1024},
    {"Neighbours", {Bits(3, 7), 0, 0, 0}, 5000, 5000, {Box(96, 0, 256, 32)}, 160 * 32},
    {"AGap",
     {Bits(0, 0) | Bits(2, 3) | Bits(5, 5), 0, 0, 0},
     1920,
     1080,
     {Box(0, 0, 32, 32), Box(64, 0, 128, 32), Box(160, 0, 192, 32)},
     4 * 1024},
    {"AFullWord", {0xffffffff, 0, 0, 0}, 5000, 5000, {Box(0, 0, 1024, 32)}, 1024 * 32},
    {"RunsThatEndWithTheirWord",
     {Bits(30, 31), Bits(0, 1) | Bits(30, 31), Bits(0, 1), 0},
     5000,
     5000,
     {Box(960, 0, 1024, 32), Box(1024, 0, 1088, 32), Box(1984, 0, 2048, 32),
      Box(2048, 0, 2112, 32)},
     8 * 1024},
    {"RowsWordsAndColumnsInOrder",
     {0, Bits(4, 4) | Bits(9, 9), 0, 1, Bits(20, 20), 0, 1, 1},
     5000,
     5000,
     {Box(1152, 0, 1184, 32), Box(1312, 0, 1344, 32), Box(3072, 0, 3104, 32), Box(640, 32, 672, 64),
      Box(2048, 32, 2080, 64), Box(3072, 32, 3104, 64)},
     6 * 1024},
    {"AnEndBeforeTheEdge", {1, 0, 0, 0}, 33, 33, {Box(0, 0, 32, 32)}, 1024},
    {"AnEndOnTheEdge", {3, 0, 0, 0}, 64, 32, {Box(0, 0, 63, 31)}, 63 * 31},
    {"AnEndPastTheEdge", {Bits(0, 5), 0, 0, 0}, 70, 20, {Box(0, 0, 69, 19)}, 69 * 19},
    {"AnEndPastTheEdgeAndOfAWord", {1u << 31, 0, 0, 0}, 1000, 20, {Box(992, 0, 999, 19)}, 7 * 19},
    // The last pixel column starts a tile: its rectangle ends where it begins, and is listed.
    {"AnEmptyRectangle", {2, 0, 0, 0}, 33, 33, {Box(32, 0, 32, 32)}, 0},
    {"OnePixel", {1, 0, 0, 0}, 1, 1, {Box(0, 0, 0, 0)}, 0},
    {"ColumnsBeyondTheWidth", {1 | Bits(2, 6), 0, 0, 0}, 64, 1080, {Box(0, 0, 32, 32)}, 1024},
    {"WordsBeyondTheWidth", {1, ~0u, 1u << 31, 32}, 1024, 1080, {Box(0, 0, 32, 32)}, 1024},
    {"RowsBeyondTheHeight",
     {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0},
     1000,
     64,
     {Box(0, 0, 32, 32), Box(0, 32, 32, 63)},
     1024 + 32 * 31},
    {"NoWidth", {~0u, ~0u, ~0u, ~0u}, 0, 1080, {}, 0},
    {"NoHeight", {~0u, ~0u, ~0u, ~0u}, 1920, 0, {}, 0},
};

INSTANTIATE_TEST_SUITE_P(, DecodeDiffRectsOf, testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(DecodeDiffRects, ReplacesTheListAndKeepsItsStorage) {
  std::vector<D3D11_BOX> rects(8, D3D11_BOX{1, 2, 3, 4, 5, 6});
  const D3D11_BOX* const storage = rects.data();
  const uint32_t words[kRowWords] = {1, 0, 0, 0};
  EXPECT_EQ(DecodeDiffRects(words, 1, 100, 100, rects), 1024u);
  EXPECT_EQ(FieldsOf(rects), FieldsOf({Box(0, 0, 32, 32)}));
  EXPECT_EQ(rects.data(), storage);
}

}  // namespace
