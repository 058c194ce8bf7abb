// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <vector>

#include "common/pixels.h"

namespace quill_apps {

// A shrunk frame.
struct Thumbnail {
  double seconds;
  float ratio;
  FrameSize frame;              // the size of the frame
  FrameSize size;               // that of the pixels
  std::vector<uint8_t> pixels;  // BGRA without gaps

  PixelView view() const {
    return {pixels.data(), size.width, size.height, size.width * kPixelBytes};
  }
};

// Keeps the frames of greatest change: of each of several equally long spans of the run, the first
// frame with the largest ratio. The number of spans stays bounded, because their length doubles.
class ThumbnailPicker {
 public:
  static constexpr size_t kPicked = 8;
  static constexpr uint32_t kMaxSide = 320;

  void Offer(double seconds, float ratio, const PixelView& frame);

  // At most kPicked in the order of time: those with the largest ratios in whole per cent, and of
  // equal ones those that are farthest from the others.
  std::vector<Thumbnail> Picked() const;

 private:
  static constexpr size_t kSpans = 32;

  void HalveSpans();

  double span_seconds_ = 0.5;
  std::vector<Thumbnail> best_;  // of each span that had a frame, in the order of time
};

}  // namespace quill_apps
