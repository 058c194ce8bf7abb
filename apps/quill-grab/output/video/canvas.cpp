// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/video/canvas.h"

#include <algorithm>
#include <cstring>

#include "common/fit.h"
#include "quill-grab/output/shrink.h"

namespace quill_apps {

Canvas::Canvas(const FrameSize& size, OnResize rule) : size_(size), rule_(rule) {}

// Where the picture is once it has been cut off or shrunk to fit.
Canvas::Place Canvas::PlaceOf(const FrameSize& picture) const {
  if (rule_ == OnResize::kCrop) {
    return {0, 0, {std::min(picture.width, size_.width), std::min(picture.height, size_.height)}};
  }
  const FrameSize size = ShrunkToFit(picture, size_);
  return {(size_.width - size.width) / 2, (size_.height - size.height) / 2, size};
}

PixelView Canvas::Compose(const PixelView& picture) {
  if (picture.size() == size_) return picture;
  const Place place = PlaceOf(picture.size());
  PixelView seen = picture;
  const bool is_shrunk = rule_ != OnResize::kCrop && place.size != picture.size();
  if (is_shrunk) {
    Shrink(picture, place.size, shrunk_);
    for (size_t alpha = 3; alpha < shrunk_.size(); alpha += kPixelBytes) shrunk_[alpha] = 255;
    seen = {shrunk_.data(), place.size.width, place.size.height, place.size.width * kPixelBytes};
  }
  if (filled_ != place) {
    constexpr uint32_t kBlack = 0xFF000000;
    pixels_.assign(size_t{size_.width} * size_.height, kBlack);
    filled_ = place;
  }
  for (uint32_t row = 0; row < place.size.height; ++row) {
    std::memcpy(&pixels_[size_t{place.top + row} * size_.width + place.left],
                seen.pixels + row * seen.row_pitch, place.size.width * kPixelBytes);
  }
  return {reinterpret_cast<const uint8_t*>(pixels_.data()), size_.width, size_.height,
          size_.width * kPixelBytes};
}

}  // namespace quill_apps
