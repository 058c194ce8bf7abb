// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <d3d11.h>

#include <cstdint>
#include <vector>

inline constexpr uint32_t kTileSize = 32;  // pixels, in both directions

// The GPU's answer: four 32-bit words per tile row; bit i of word w is set when the tile in column
// 32 * w + i changed. That is 128 tile columns, 4096 pixels of width.
inline constexpr uint32_t kFlagsPerWord = 32;
inline constexpr uint32_t kFlagWordsPerRow = 4;
inline constexpr uint32_t kFlagBytesPerRow = kFlagWordsPerRow * sizeof(uint32_t);

// Turns the flag words of `rows` tile rows, tightly packed, into rectangles, which replace what
// `diffRects` holds, and returns their area in pixels.
//
// width, height: the frame's size in pixels. A rectangle is a horizontal run of changed tiles
// within one word of one tile row, in the order of row, word and column; right and bottom are
// exclusive.
uint32_t DecodeDiffRects(const uint32_t* flagWords, uint32_t rows, uint32_t width, uint32_t height,
                         std::vector<D3D11_BOX>& diffRects);
