// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

// BGRA pixels as the library hands them out: little-endian words 0xAARRGGBB, rows from top to
// bottom without padding.
struct Picture {
  uint32_t width = 0;
  uint32_t height = 0;
  std::vector<uint32_t> pixels;

  Picture() = default;
  Picture(uint32_t w, uint32_t h, uint32_t fill = 0)
      : width(w), height(h), pixels(static_cast<size_t>(w) * h, fill) {}
  // Copies rows that begin row_pitch bytes apart.
  Picture(uint32_t w, uint32_t h, const void* rows, size_t row_pitch) : Picture(w, h) {
    for (uint32_t y = 0; y < h; ++y) {
      std::memcpy(&At(0, y), static_cast<const uint8_t*>(rows) + y * row_pitch, size_t{w} * 4);
    }
  }

  uint32_t& At(uint32_t x, uint32_t y) { return pixels[static_cast<size_t>(y) * width + x]; }
  uint32_t At(uint32_t x, uint32_t y) const { return pixels[static_cast<size_t>(y) * width + x]; }

  bool operator==(const Picture&) const = default;
};

// Every pixel differs from its neighbours, and no two rows or columns are alike. Patterns of
// different seeds differ in every pixel. Opaque.
inline uint32_t PatternPixel(uint32_t x, uint32_t y, uint32_t seed) {
  // An odd multiplier makes this a permutation of the 24-bit colours within a picture's rows.
  const uint32_t colour = (y * 4099 + x + seed * 77003 + 1) * 0x9E3779;
  return 0xFF000000 | (colour & 0xFFFFFF);
}

// The top left part of a larger pattern is the smaller pattern of the same seed.
inline Picture MakePattern(uint32_t width, uint32_t height, uint32_t seed = 0) {
  Picture picture(width, height);
  for (uint32_t y = 0; y < height; ++y) {
    for (uint32_t x = 0; x < width; ++x) picture.At(x, y) = PatternPixel(x, y, seed);
  }
  return picture;
}
