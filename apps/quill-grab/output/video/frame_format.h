// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "quill-grab/output/pixel_view.h"
#include "quill-grab/console/summary.h"

namespace quill_grab {

// Raw video: the picture's bytes, rows packed, added to bytes.
void AddRawFrame(const PixelView& picture, std::vector<uint8_t>& bytes);

// YUV4MPEG2 with 4:2:0 chroma in the middle of each 2 x 2 block, in limited range. Players that are
// not told the colour matrix go by the size, and so it is chosen: BT.601 up to 1279 columns and 576
// rows, else BT.709. Width and height must be even.
//
// The line that a file begins with. fps has at most three decimals.
std::string Y4mHeader(const FrameSize& size, double fps);
// One frame with its own line, added to bytes.
void AddY4mFrame(const PixelView& picture, std::vector<uint8_t>& bytes);

}  // namespace quill_grab
