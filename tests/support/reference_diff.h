// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What a detection has to find, computed on the CPU from the definition of the result: pixels make
// changed tiles, changed tiles make runs, runs make rectangles. Slow and plain on purpose; shares
// neither code nor method with the engine.
#pragma once

#include <windows.h>

#include <d3d11.h>

#include <array>
#include <cstdint>
#include <vector>

#include "support/picture.h"

namespace reference {

constexpr uint32_t kTileSize = 32;
constexpr uint32_t kTilesPerWord = 32;
constexpr uint32_t kWordsPerRow = 4;
constexpr uint32_t kReportedColumns = kTilesPerWord * kWordsPerRow;

using Image = Picture;

// One element per tile, whole and partial ones, row by row.
struct TileGrid {
  uint32_t columns = 0;
  uint32_t rows = 0;
  std::vector<bool> changed;

  TileGrid(uint32_t c, uint32_t r)
      : columns(c), rows(r), changed(static_cast<size_t>(c) * r, false) {}
};

struct Diff {
  std::vector<D3D11_BOX> rects;
  uint32_t area = 0;
};

// A tile is examined when it ends before the frame's right and bottom edges: a tile that ends
// exactly on an edge is as blind as a partial one.
bool IsTileExamined(uint32_t column, uint32_t row, uint32_t width, uint32_t height);

// The examined tiles that hold a pixel whose blue, green or red differs.
TileGrid ChangedTiles(const Image& before, const Image& after);

// Four words per tile row; the bit of a tile is its column. Columns from 128 on have none.
std::vector<uint32_t> FlagWords(const TileGrid& tiles);

// The rectangles and their area that `rows` tile rows of flag words, whatever they hold, stand for
// in a frame of that size.
Diff RectsOfFlags(const std::vector<uint32_t>& words, uint32_t rows, uint32_t width,
                  uint32_t height);

Diff DiffOf(const Image& before, const Image& after);

float Ratio(uint32_t area, uint32_t width, uint32_t height);

// left, top, front, right, bottom, back: comparable, and printed by the test framework.
using BoxFields = std::array<uint32_t, 6>;
std::vector<BoxFields> FieldsOf(const std::vector<D3D11_BOX>& boxes);

}  // namespace reference
