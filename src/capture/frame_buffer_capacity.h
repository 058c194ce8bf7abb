// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

// The capacity in bytes that a frame buffer grows to when it must hold needed_bytes: the next
// larger common screen at four bytes a pixel, so that a window that is dragged larger reallocates
// rarely. A need that equals a screen's size exactly goes to the screen above it.
constexpr uint32_t GrownFrameBufferCapacity(uint32_t needed_bytes) {
  constexpr uint32_t kScreenBytes[] = {
      1920 * 1080 * 4, 2560 * 1440 * 4, 3200 * 1800 * 4, 3840 * 2160 * 4, 4096 * 2160 * 4,
  };
  for (const uint32_t screen_bytes : kScreenBytes) {
    if (needed_bytes < screen_bytes) return screen_bytes;
  }
  return needed_bytes;
}
