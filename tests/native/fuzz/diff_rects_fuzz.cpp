// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// DecodeDiffRects on any flag words and any frame size.
//
// Input: one byte of size kinds (bits 0 and 1 the width's, bits 2 and 3 the height's), four bytes
// of width and four of height, and the mapped flag buffer: 16 bytes a tile row, of which an
// incomplete last one is not a row. Words are little-endian.

#include "diff/diff_rects.h"

#include <cstddef>
#include <cstdint>
#include <vector>

#include "native/fuzz/fuzz_input.h"
#include "support/reference_diff.h"

namespace {

// Only one kind in four is any number: most frames are of a size that capture meets, and of these
// most end at a tile's edge or one pixel behind it.
uint32_t ReadSize(FuzzInput& input, uint32_t kind) {
  constexpr uint32_t kMaxTiles = 160;
  const uint32_t value = input.Word();
  switch (kind % 4) {
    case 0:
      return value;
    case 1:
      return value % (kMaxTiles * reference::kTileSize + 1);
    case 2:
      return value % (kMaxTiles + 1) * reference::kTileSize;
    default:
      return value % kMaxTiles * reference::kTileSize + 1;
  }
}

std::vector<uint32_t> ReadRows(FuzzInput& input) {
  constexpr size_t kBytesPerRow = reference::kWordsPerRow * sizeof(uint32_t);
  // Not a word longer than the rows, so that a read past the end is seen.
  std::vector<uint32_t> words(input.Remaining() / kBytesPerRow * reference::kWordsPerRow);
  for (uint32_t& word : words) word = input.Word();
  return words;
}

bool LiesInFrame(const D3D11_BOX& box, uint32_t width, uint32_t height) {
  return box.left <= box.right && box.right < width && box.top <= box.bottom && box.bottom < height;
}

bool Follows(const D3D11_BOX& box, const D3D11_BOX& previous) {
  if (box.top == previous.top) return box.left >= previous.right && box.left > previous.left;
  return box.top >= previous.bottom && box.top > previous.top;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const uint8_t kinds = input.Byte();
  const uint32_t width = ReadSize(input, kinds);
  const uint32_t height = ReadSize(input, kinds >> 2);
  const std::vector<uint32_t> words = ReadRows(input);
  const auto rows = static_cast<uint32_t>(words.size() / reference::kWordsPerRow);

  std::vector<D3D11_BOX> rects{{1, 2, 3, 4, 5, 6}};
  const uint32_t area = DecodeDiffRects(words.data(), rows, width, height, rects);

  // Unsigned, as the area is: whole rows of 4096 pixels pass 2^32 only in a readback of half a
  // megabyte.
  uint32_t sum = 0;
  for (size_t i = 0; i < rects.size(); ++i) {
    const D3D11_BOX& box = rects[i];
    Require(LiesInFrame(box, width, height), "a rectangle lies in the frame");
    Require(box.front == 0 && box.back == 0, "a rectangle has no depth");
    Require(i == 0 || Follows(box, rects[i - 1]), "rectangles come by row, then by column");
    sum += (box.right - box.left) * (box.bottom - box.top);
  }
  Require(area == sum, "the area is the sum of the rectangles' areas");

  const reference::Diff expected = reference::RectsOfFlags(words, rows, width, height);
  Require(reference::FieldsOf(rects) == reference::FieldsOf(expected.rects),
          "the rectangles are the runs of set flags that begin in the frame");
  Require(area == expected.area, "the area is that of these runs");
  return 0;
}
