// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "support/reference_diff.h"

#include <algorithm>

namespace reference {

namespace {

constexpr uint32_t kColorMask = 0x00ffffff;

// Where a run or a tile row ends on screen: at a multiple of the tile size, or, when that reaches
// the frame's edge, one pixel before the edge.
uint32_t ClipEnd(uint32_t end, uint32_t size) {
  return end < size ? end : size - 1;
}

bool IsFlagSet(const std::vector<uint32_t>& words, uint32_t row, uint32_t column) {
  const uint32_t word = words[row * kWordsPerRow + column / kTilesPerWord];
  return (word >> (column % kTilesPerWord) & 1) != 0;
}

// A run begins at a set flag whose left neighbour in the same word is not set; it ends where the
// set flags or the word end.
bool BeginsRun(const std::vector<uint32_t>& words, uint32_t row, uint32_t column) {
  return IsFlagSet(words, row, column) &&
         (column % kTilesPerWord == 0 || !IsFlagSet(words, row, column - 1));
}

uint32_t RunEnd(const std::vector<uint32_t>& words, uint32_t row, uint32_t column) {
  const uint32_t wordEnd = (column / kTilesPerWord + 1) * kTilesPerWord;
  while (column < wordEnd && IsFlagSet(words, row, column)) ++column;
  return column;
}

}  // namespace

bool IsTileExamined(uint32_t column, uint32_t row, uint32_t width, uint32_t height) {
  return (column + 1) * kTileSize < width && (row + 1) * kTileSize < height;
}

TileGrid ChangedTiles(const Image& before, const Image& after) {
  TileGrid tiles((after.width + kTileSize - 1) / kTileSize,
                 (after.height + kTileSize - 1) / kTileSize);
  for (uint32_t y = 0; y < after.height; ++y) {
    for (uint32_t x = 0; x < after.width; ++x) {
      if (((before.At(x, y) ^ after.At(x, y)) & kColorMask) == 0) continue;
      const uint32_t column = x / kTileSize;
      const uint32_t row = y / kTileSize;
      if (IsTileExamined(column, row, after.width, after.height)) {
        tiles.changed[static_cast<size_t>(row) * tiles.columns + column] = true;
      }
    }
  }
  return tiles;
}

std::vector<uint32_t> FlagWords(const TileGrid& tiles) {
  std::vector<uint32_t> words(static_cast<size_t>(tiles.rows) * kWordsPerRow, 0);
  for (uint32_t row = 0; row < tiles.rows; ++row) {
    for (uint32_t column = 0; column < std::min(tiles.columns, kReportedColumns); ++column) {
      if (tiles.changed[static_cast<size_t>(row) * tiles.columns + column]) {
        words[row * kWordsPerRow + column / kTilesPerWord] |= 1u << (column % kTilesPerWord);
      }
    }
  }
  return words;
}

Diff RectsOfFlags(const std::vector<uint32_t>& words, uint32_t rows, uint32_t width,
                  uint32_t height) {
  Diff diff;
  for (uint32_t row = 0; row < rows; ++row) {
    for (uint32_t column = 0; column < kReportedColumns; ++column) {
      const uint32_t left = column * kTileSize;
      const uint32_t top = row * kTileSize;
      if (left >= width || top >= height || !BeginsRun(words, row, column)) continue;
      const uint32_t right = ClipEnd(RunEnd(words, row, column) * kTileSize, width);
      const uint32_t bottom = ClipEnd(top + kTileSize, height);
      diff.rects.push_back({left, top, 0, right, bottom, 0});
      diff.area += (right - left) * (bottom - top);
    }
  }
  return diff;
}

Diff DiffOf(const Image& before, const Image& after) {
  const TileGrid tiles = ChangedTiles(before, after);
  return RectsOfFlags(FlagWords(tiles), tiles.rows, after.width, after.height);
}

float Ratio(uint32_t area, uint32_t width, uint32_t height) {
  const uint32_t pixels = width * height;
  return static_cast<float>(static_cast<double>(area) / static_cast<double>(pixels));
}

std::vector<BoxFields> FieldsOf(const std::vector<D3D11_BOX>& boxes) {
  std::vector<BoxFields> fields;
  for (const D3D11_BOX& box : boxes) {
    fields.push_back({box.left, box.top, box.front, box.right, box.bottom, box.back});
  }
  return fields;
}

}  // namespace reference
