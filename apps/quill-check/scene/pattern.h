// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>

#include "common/pixels.h"

namespace quill_apps {

// What the windows show: opaque flat blocks of 16 x 16 pixels. The last column and row of blocks
// take what is left of the width and height, up to 15 pixels more.
//
// Two by two blocks in each corner are a mark, different in each corner, of colours that no other
// block has. The other blocks, row by row: 24 for the bits of the counter, highest first, then
// colours, and 8 at the end for the checksum; white is 1, black is 0. All colours change with the
// counter.
constexpr uint32_t kPatternBlock = 16;
constexpr FrameSize kSmallestPattern{128, 96};
constexpr uint32_t kCounterLimit = 1u << 24;

// size: at least kSmallestPattern. counter: below kCounterLimit.
void DrawPattern(uint8_t* pixels, FrameSize size, size_t row_pitch, uint32_t counter);

struct BlockDeviation {
  uint32_t column;
  uint32_t row;
  uint32_t expected;  // 0xAARRGGBB
  uint32_t seen;      // the pixel that deviates most
};

struct PatternReading {
  bool found = false;  // all four marks
  // Where the client area lies in the frame. It reaches beyond the frame when its edges are cut
  // off.
  RECT area{};
  // The marks are at other distances than the client area's size says, or their edges are blurred.
  // Then no colours are compared.
  bool scaled = false;
  uint32_t counter = 0;
  bool torn = false;  // the checksum is that of another counter: no colours are compared

  // Of the pixels at least two away from their block's edges.
  uint8_t deviation[3]{};  // the largest of blue, green and red
  size_t deviating_blocks = 0;
  BlockDeviation first{};  // of the blocks that deviate, row by row
  // How 32, 64 and so on up to 224, in all channels, are seen in green.
  uint8_t greys[7]{};
  uint8_t smallest_alpha = 0;
  uint8_t largest_alpha = 0;

  // The colours were compared.
  bool IsCompared() const { return found && !scaled && !torn; }
  uint8_t LargestDeviation() const;
};

// Finds the pattern of a client area of that size by its marks, anywhere in the frame, and compares
// it with what was drawn. Of several patterns it reads the first, row by row.
PatternReading ReadPattern(const PixelView& frame, FrameSize client);

}  // namespace quill_apps
