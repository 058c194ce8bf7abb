// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace quill_grab {

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

// One poll that reported a frame.
struct FrameRecord {
  double seconds;  // since the start of the run
  FrameSize size;
  float ratio;       // the update ratio; see CapturedFrame
  bool is_new;       // see IsNewFrame
  uint64_t missed;   // polls since the previous frame that were not made, because they came due
                     // while it was handled, or that gave no frame
  std::string file;  // empty when the frame was not written to a file of its own
};

}  // namespace quill_grab
