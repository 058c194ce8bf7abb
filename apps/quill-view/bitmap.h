// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "common/pixels.h"

namespace quill_apps {

// A picture drawn on the CPU: words 0xAARRGGBB, colours multiplied by alpha.
struct Bitmap {
  Bitmap() = default;
  explicit Bitmap(const FrameSize& s, uint32_t fill = 0)
      : size(s), pixels(size_t{s.width} * s.height, fill) {}

  uint32_t& At(uint32_t x, uint32_t y) { return pixels[size_t{y} * size.width + x]; }
  uint32_t At(uint32_t x, uint32_t y) const { return pixels[size_t{y} * size.width + x]; }

  PixelView view() const {
    return {reinterpret_cast<const uint8_t*>(pixels.data()), size.width, size.height,
            size.width * kPixelBytes};
  }

  FrameSize size{};
  std::vector<uint32_t> pixels;
};

}  // namespace quill_apps
