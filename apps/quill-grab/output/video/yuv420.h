// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>

#include "common/pixels.h"

namespace quill_apps {

enum class Chroma { kPlanes, kPairs };

// The bytes of a frame in 4:2:0.
constexpr size_t Yuv420Size(const FrameSize& size) {
  return size_t{size.width} * size.height * 3 / 2;
}

// Converts to 4:2:0 in limited range: all luma, then chroma in two planes, or in one of pairs.
// Width and height are even. The colour matrix follows from the size. samples has room for
// Yuv420Size(picture.size()) bytes.
void ConvertToYuv420(const PixelView& picture, Chroma chroma, uint8_t* samples);

}  // namespace quill_apps
