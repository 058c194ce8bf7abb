// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>

namespace quill_grab {

// Borrowed BGRA pixels, four bytes each, rows from top to bottom row_pitch bytes apart.
struct PixelView {
  const uint8_t* pixels;
  uint32_t width;
  uint32_t height;
  size_t row_pitch;
};

}  // namespace quill_grab
