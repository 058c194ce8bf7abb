// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

// The capacity in bytes of a frame buffer that must grow to hold needed_bytes: the next larger
// common screen at four bytes per pixel, so that dragging a window larger rarely reallocates. A
// need that equals a screen's size takes the next larger screen.
constexpr uint32_t GrownFrameBufferCapacity(uint32_t needed_bytes) {
  constexpr uint32_t kScreenBytes[] = {
      1920 * 1080 * 4, 2560 * 1440 * 4, 3200 * 1800 * 4, 3840 * 2160 * 4, 4096 * 2160 * 4,
  };
  for (const uint32_t screen_bytes : kScreenBytes) {
    if (needed_bytes < screen_bytes) return screen_bytes;
  }
  return needed_bytes;
}
