// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <vector>

#include "common/pixels.h"
#include "quill-grab/console/options.h"
#include "quill-grab/output/scaler.h"

namespace quill_apps {

// Composes pictures of any size onto black canvases of one size. The thread must have initialised
// COM.
class Canvas {
 public:
  // OnResize::kStop composes as kLetterbox does: the stream itself stops. Throws ToolError.
  Canvas(const FrameSize& size, OnResize rule);

  const FrameSize& size() const { return size_; }

  // The picture itself, or the canvas with the picture on it, which is valid until the next call.
  // Throws ToolError.
  PixelView Compose(const PixelView& picture);

 private:
  void Place(const PixelView& picture, uint32_t left, uint32_t top);

  FrameSize size_;
  OnResize rule_;
  Scaler scaler_;
  std::vector<uint8_t> pixels_;
  std::vector<uint8_t> shrunk_;
};

}  // namespace quill_apps
