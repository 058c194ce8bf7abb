// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/video/canvas.h"

#include <algorithm>

#include "common/fit.h"

namespace quill_apps {

namespace {

void SetOpaque(std::vector<uint8_t>& bgra) {
  for (size_t alpha = 3; alpha < bgra.size(); alpha += kPixelBytes) bgra[alpha] = 255;
}

}  // namespace

Canvas::Canvas(const FrameSize& size, OnResize rule)
    : size_(size), rule_(rule), scaler_("use --on-resize crop or stop") {}

PixelView Canvas::Compose(const PixelView& picture) {
  if (picture.size() == size_) return picture;
  const size_t row_pitch = size_.width * kPixelBytes;
  pixels_.assign(row_pitch * size_.height, 0);
  SetOpaque(pixels_);
  if (rule_ == OnResize::kCrop) {
    Place(picture, 0, 0);
  } else {
    const FrameSize placed = ShrunkToFit(picture.size(), size_);
    const uint32_t left = (size_.width - placed.width) / 2;
    const uint32_t top = (size_.height - placed.height) / 2;
    if (placed == picture.size()) {
      Place(picture, left, top);
    } else {
      scaler_.Shrink(picture, placed, shrunk_);
      SetOpaque(shrunk_);
      Place({shrunk_.data(), placed.width, placed.height, placed.width * kPixelBytes}, left, top);
    }
  }
  return {pixels_.data(), size_.width, size_.height, row_pitch};
}

// Cuts off what lies beyond the canvas.
void Canvas::Place(const PixelView& picture, uint32_t left, uint32_t top) {
  const uint32_t columns = std::min(picture.width, size_.width - left);
  const uint32_t rows = std::min(picture.height, size_.height - top);
  for (uint32_t row = 0; row < rows; ++row) {
    const uint8_t* from = picture.pixels + row * picture.row_pitch;
    uint8_t* to = pixels_.data() + (size_t{top + row} * size_.width + left) * kPixelBytes;
    std::copy_n(from, columns * kPixelBytes, to);
  }
}

}  // namespace quill_apps
