// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/fit.h"

#include <algorithm>

namespace quill_apps {

namespace {

// length * part / whole, rounded, and at least 1.
uint32_t Scaled(uint32_t length, uint32_t part, uint32_t whole) {
  return static_cast<uint32_t>(
      std::max<uint64_t>((uint64_t{length} * part + whole / 2) / whole, 1));
}

}  // namespace

FrameSize ScaledToFit(const FrameSize& picture, const FrameSize& bounds) {
  const bool is_wider =
      uint64_t{picture.width} * bounds.height >= uint64_t{picture.height} * bounds.width;
  return is_wider ? FrameSize{bounds.width, Scaled(picture.height, bounds.width, picture.width)}
                  : FrameSize{Scaled(picture.width, bounds.height, picture.height), bounds.height};
}

FrameSize ShrunkToFit(const FrameSize& picture, const FrameSize& bounds) {
  if (picture.width <= bounds.width && picture.height <= bounds.height) return picture;
  return ScaledToFit(picture, bounds);
}

}  // namespace quill_apps
