// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Finds a window's picture in a frame. How wide the borders around a window's client area are, and
// what the alpha of a frame is, depends on Windows and is not documented.
#pragma once

#include <gtest/gtest.h>

#include "support/picture.h"

inline bool SameColour(uint32_t a, uint32_t b) {
  return ((a ^ b) & 0xFFFFFF) == 0;
}

// Whether the frame has the picture at this place; describes the first difference.
inline testing::AssertionResult ShowsAt(const Picture& frame, uint32_t left, uint32_t top,
                                        const Picture& picture) {
  if (left + picture.width > frame.width || top + picture.height > frame.height) {
    return testing::AssertionFailure()
           << "the frame of " << frame.width << " x " << frame.height
           << " ends before the picture at (" << left << ", " << top << ")";
  }
  for (uint32_t y = 0; y < picture.height; ++y) {
    for (uint32_t x = 0; x < picture.width; ++x) {
      if (SameColour(frame.At(left + x, top + y), picture.At(x, y))) continue;
      return testing::AssertionFailure()
             << "pixel (" << x << ", " << y << ") of the picture at (" << left << ", " << top
             << ") is " << std::hex << frame.At(left + x, top + y) << " instead of "
             << picture.At(x, y);
    }
  }
  return testing::AssertionSuccess();
}

// Whether the frame shows the picture somewhere. The picture's corners tell where to look: in a
// pattern no two pixels are alike.
inline testing::AssertionResult Shows(const Picture& frame, const Picture& picture) {
  auto result = testing::AssertionFailure()
                << "the corners of a picture of " << picture.width << " x " << picture.height
                << " are nowhere in the frame of " << frame.width << " x " << frame.height;
  const uint32_t right = picture.width - 1;
  const uint32_t bottom = picture.height - 1;
  for (uint32_t top = 0; top + picture.height <= frame.height; ++top) {
    for (uint32_t left = 0; left + picture.width <= frame.width; ++left) {
      const auto is_corner = [&](uint32_t x, uint32_t y) {
        return SameColour(frame.At(left + x, top + y), picture.At(x, y));
      };
      if (!is_corner(0, 0) || !is_corner(right, 0) || !is_corner(0, bottom) ||
          !is_corner(right, bottom)) {
        continue;
      }
      result = ShowsAt(frame, left, top, picture);
      if (result) return result;
    }
  }
  return result;
}
