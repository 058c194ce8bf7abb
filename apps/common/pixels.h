// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>

namespace quill_apps {

struct FrameSize {
  uint32_t width;
  uint32_t height;
  bool operator==(const FrameSize&) const = default;
};

constexpr size_t kPixelBytes = 4;

// Borrowed BGRA pixels, four bytes each, rows from top to bottom row_pitch bytes apart.
struct PixelView {
  const uint8_t* pixels;
  uint32_t width;
  uint32_t height;
  size_t row_pitch;

  FrameSize size() const { return {width, height}; }
};

}  // namespace quill_apps
