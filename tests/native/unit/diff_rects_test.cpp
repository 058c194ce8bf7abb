// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "diff/diff_rects.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "support/reference_diff.h"

namespace {

using reference::BoxFields;
using reference::FieldsOf;

constexpr uint32_t kRowWords = reference::kWordsPerRow;

// Wide and high enough that nothing is clipped.
constexpr uint32_t kWideWidth = 5000;
constexpr uint32_t kTallHeight = 5000;

struct Decoded {
  std::vector<BoxFields> rects;
  uint32_t area = 0;
};

Decoded Decode(const std::vector<uint32_t>& words, uint32_t width, uint32_t height) {
  std::vector<D3D11_BOX> rects;
  const auto rows = static_cast<uint32_t>(words.size() / kRowWords);
  const uint32_t area = DecodeDiffRects(words.data(), rows, width, height, rects);
  return {FieldsOf(rects), area};
}

uint32_t Bits(uint32_t first, uint32_t last) {
  uint32_t word = 0;
  for (uint32_t bit = first; bit <= last; ++bit) word |= 1u << bit;
  return word;
}

BoxFields Box(uint32_t left, uint32_t top, uint32_t right, uint32_t bottom) {
  return {left, top, 0, right, bottom, 0};
}

using Boxes = std::vector<BoxFields>;

TEST(DecodeDiffRects, NoRowsGiveNothing) {
  std::vector<D3D11_BOX> rects;
  EXPECT_EQ(DecodeDiffRects(nullptr, 0, 1920, 1080, rects), 0u);
  EXPECT_TRUE(rects.empty());
}

TEST(DecodeDiffRects, ZeroWordsGiveNothing) {
  const Decoded decoded = Decode(std::vector<uint32_t>(3 * kRowWords, 0), 1920, 1080);
  EXPECT_TRUE(decoded.rects.empty());
  EXPECT_EQ(decoded.area, 0u);
}

TEST(DecodeDiffRects, BitZeroIsTheLeftmostTile) {
  const Decoded decoded = Decode({1, 0, 0, 0}, kWideWidth, kTallHeight);
  EXPECT_EQ(decoded.rects, Boxes{Box(0, 0, 32, 32)});
  EXPECT_EQ(decoded.area, 1024u);
}

TEST(DecodeDiffRects, LastBitOfAWordEndsItsRun) {
  const Decoded decoded = Decode({Bits(31, 31), 0, 0, 0}, kWideWidth, kTallHeight);
  EXPECT_EQ(decoded.rects, Boxes{Box(992, 0, 1024, 32)});
  EXPECT_EQ(decoded.area, 1024u);
}

TEST(DecodeDiffRects, NeighboursMergeIntoOneRectangle) {
  const Decoded decoded = Decode({Bits(3, 7), 0, 0, 0}, kWideWidth, kTallHeight);
  EXPECT_EQ(decoded.rects, Boxes{Box(96, 0, 256, 32)});
  EXPECT_EQ(decoded.area, 160u * 32);
}

TEST(DecodeDiffRects, AGapSeparatesRectangles) {
  const Decoded decoded = Decode({Bits(0, 0) | Bits(2, 3) | Bits(5, 5), 0, 0, 0}, 1920, 1080);
  EXPECT_EQ(decoded.rects, (Boxes{Box(0, 0, 32, 32), Box(64, 0, 128, 32), Box(160, 0, 192, 32)}));
  EXPECT_EQ(decoded.area, 4u * 1024);
}

TEST(DecodeDiffRects, AFullWordIsOneRectangle) {
  const Decoded decoded = Decode({0xffffffff, 0, 0, 0}, kWideWidth, kTallHeight);
  EXPECT_EQ(decoded.rects, Boxes{Box(0, 0, 1024, 32)});
  EXPECT_EQ(decoded.area, 1024u * 32);
}

TEST(DecodeDiffRects, RunsDoNotJoinAcrossWords) {
  const uint32_t end = Bits(30, 31);
  const uint32_t start = Bits(0, 1);
  const Decoded decoded = Decode({end, start | end, start | end, start}, kWideWidth, kTallHeight);
  EXPECT_EQ(decoded.rects,
            (Boxes{Box(960, 0, 1024, 32), Box(1024, 0, 1088, 32), Box(1984, 0, 2048, 32),
                   Box(2048, 0, 2112, 32), Box(3008, 0, 3072, 32), Box(3072, 0, 3136, 32)}));
  EXPECT_EQ(decoded.area, 12u * 1024);
}

TEST(DecodeDiffRects, RowsDoNotMerge) {
  const Decoded decoded = Decode({1, 0, 0, 0, 1, 0, 0, 0}, kWideWidth, kTallHeight);
  EXPECT_EQ(decoded.rects, (Boxes{Box(0, 0, 32, 32), Box(0, 32, 32, 64)}));
  EXPECT_EQ(decoded.area, 2u * 1024);
}

TEST(DecodeDiffRects, OrderIsRowThenWordThenColumn) {
  const Decoded decoded =
      Decode({0, Bits(4, 4) | Bits(9, 9), 0, 1, Bits(20, 20), 0, 1, 0}, kWideWidth, kTallHeight);
  EXPECT_EQ(decoded.rects,
            (Boxes{Box(1152, 0, 1184, 32), Box(1312, 0, 1344, 32), Box(3072, 0, 3104, 32),
                   Box(640, 32, 672, 64), Box(2048, 32, 2080, 64)}));
}

TEST(DecodeDiffRects, AnEndBeforeTheEdgeIsNotClipped) {
  EXPECT_EQ(Decode({1, 0, 0, 0}, 33, 33).rects, Boxes{Box(0, 0, 32, 32)});
}

TEST(DecodeDiffRects, AnEndOnTheEdgeIsClippedByOne) {
  const Decoded decoded = Decode({Bits(0, 1), 0, 0, 0}, 64, 32);
  EXPECT_EQ(decoded.rects, Boxes{Box(0, 0, 63, 31)});
  EXPECT_EQ(decoded.area, 63u * 31);
}

TEST(DecodeDiffRects, AnEndPastTheEdgeIsClippedToOneLessThanTheSize) {
  const Decoded decoded = Decode({Bits(0, 5), 0, 0, 0}, 70, 20);
  EXPECT_EQ(decoded.rects, Boxes{Box(0, 0, 69, 19)});
  EXPECT_EQ(decoded.area, 69u * 19);
}

TEST(DecodeDiffRects, ARunThatEndsWithItsWordIsClippedToo) {
  const Decoded decoded = Decode({Bits(31, 31), 0, 0, 0}, 1000, 20);
  EXPECT_EQ(decoded.rects, Boxes{Box(992, 0, 999, 19)});
  EXPECT_EQ(decoded.area, 7u * 19);
}

TEST(DecodeDiffRects, AClippedRectangleMayBeEmptyAndIsStillListed) {
  // The last pixel column starts a tile: its rectangle ends where it begins.
  const Decoded decoded = Decode({Bits(1, 1), 0, 0, 0}, 33, 33);
  EXPECT_EQ(decoded.rects, Boxes{Box(32, 0, 32, 32)});
  EXPECT_EQ(decoded.area, 0u);
  EXPECT_EQ(Decode({1, 0, 0, 0}, 1, 1).rects, Boxes{Box(0, 0, 0, 0)});
}

TEST(DecodeDiffRects, RunsThatBeginAtOrBeyondTheWidthAreDropped) {
  const Decoded decoded = Decode({Bits(0, 0) | Bits(2, 2) | Bits(4, 6), 0, 0, 0}, 64, 1080);
  EXPECT_EQ(decoded.rects, Boxes{Box(0, 0, 32, 32)});
  EXPECT_EQ(decoded.area, 1024u);
}

TEST(DecodeDiffRects, WordsBeyondTheWidthAreDropped) {
  const Decoded decoded = Decode({1, 0xffffffff, Bits(31, 31), Bits(5, 5)}, 1024, 1080);
  EXPECT_EQ(decoded.rects, Boxes{Box(0, 0, 32, 32)});
  EXPECT_EQ(decoded.area, 1024u);
}

TEST(DecodeDiffRects, RowsThatBeginAtOrBeyondTheHeightAreDropped) {
  const std::vector<uint32_t> words(4 * kRowWords, 1);
  const Decoded decoded = Decode(words, 1000, 64);
  EXPECT_EQ(decoded.rects, (Boxes{Box(0, 0, 32, 32), Box(0, 32, 32, 63)}));
  EXPECT_EQ(decoded.area, 1024u + 32 * 31);
}

TEST(DecodeDiffRects, AFrameWithoutPixelsGivesNothing) {
  const std::vector<uint32_t> words(2 * kRowWords, 0xffffffff);
  EXPECT_TRUE(Decode(words, 0, 1080).rects.empty());
  EXPECT_TRUE(Decode(words, 1920, 0).rects.empty());
}

TEST(DecodeDiffRects, WhatTheListHeldBeforeIsReplaced) {
  std::vector<D3D11_BOX> rects(5, D3D11_BOX{1, 2, 3, 4, 5, 6});
  const uint32_t words[kRowWords] = {1, 0, 0, 0};
  EXPECT_EQ(DecodeDiffRects(words, 1, 100, 100, rects), 1024u);
  EXPECT_EQ(FieldsOf(rects), Boxes{Box(0, 0, 32, 32)});
}

TEST(DecodeDiffRects, TheListsStorageIsKept) {
  std::vector<D3D11_BOX> rects;
  rects.reserve(8);
  const D3D11_BOX* const storage = rects.data();
  const uint32_t words[kRowWords] = {Bits(0, 0) | Bits(2, 2), 1, 1, 1};
  DecodeDiffRects(words, 1, kWideWidth, kTallHeight, rects);
  EXPECT_EQ(rects.size(), 5u);
  EXPECT_EQ(rects.data(), storage);
}

// A word with long runs or single flags, as frames give them, or with anything.
uint32_t AnyWord(std::mt19937& random) {
  const auto bits = static_cast<uint32_t>(random());
  switch (random() % 6) {
    case 0:
      return 0;
    case 1:
      return 0xffffffff;
    case 2:
      return 1u << (bits % 32);
    case 3: {
      const auto [first, last] = std::minmax({bits % 32, (bits >> 8) % 32});
      return Bits(first, last);
    }
    case 4:
      return bits & static_cast<uint32_t>(random()) & static_cast<uint32_t>(random());
    default:
      return bits;
  }
}

TEST(DecodeDiffRects, ArbitraryFlagsGiveTheRunsThatBeginInsideTheFrame) {
  constexpr uint32_t kSeed = 20261;
  std::mt19937 random(kSeed);
  for (int round = 0; round < 20000; ++round) {
    const auto width = static_cast<uint32_t>(random() % 4300);
    const auto height = static_cast<uint32_t>(random() % 200);
    const auto rows = static_cast<uint32_t>(random() % 8);
    std::vector<uint32_t> words(rows * kRowWords);
    for (uint32_t& word : words) word = AnyWord(random);

    const Decoded decoded = Decode(words, width, height);
    const reference::Diff expected = reference::RectsOfFlags(words, rows, width, height);
    ASSERT_EQ(decoded.rects, FieldsOf(expected.rects))
        << "seed " << kSeed << ", round " << round << ", " << width << " x " << height;
    ASSERT_EQ(decoded.area, expected.area) << "seed " << kSeed << ", round " << round;
  }
}

}  // namespace
