// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "common/pixels.h"
#include "quill-grab/console/options.h"

namespace quill_apps {

// Composes pictures of any size onto black canvases of one size.
class Canvas {
 public:
  // OnResize::kStop composes as kLetterbox does: the stream itself stops.
  Canvas(const FrameSize& size, OnResize rule);

  const FrameSize& size() const { return size_; }

  // The picture itself, or the canvas with the picture on it, which is valid until the next call.
  PixelView Compose(const PixelView& picture);

 private:
  // Where on the canvas a picture is, or what is seen of it.
  struct Place {
    uint32_t left;
    uint32_t top;
    FrameSize size;
    bool operator==(const Place&) const = default;
  };

  Place PlaceOf(const FrameSize& picture) const;

  FrameSize size_;
  OnResize rule_;
  std::vector<uint32_t> pixels_;  // black everywhere but at filled_
  std::optional<Place> filled_;
  std::vector<uint8_t> shrunk_;
};

}  // namespace quill_apps
