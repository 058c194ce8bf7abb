// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <wincodec.h>
#include <wrl/client.h>

#include <cstdint>
#include <vector>

#include "quill-grab/console/options.h"
#include "quill-grab/output/pixel_view.h"
#include "quill-grab/console/summary.h"

namespace quill_grab {

// The size at which a picture is shown in a room: its own where it fits, else shrunk until it does,
// with its aspect kept.
FrameSize ShrunkToFit(const FrameSize& picture, const FrameSize& room);

// Puts pictures of any size on black canvases of one size. The thread must have initialised COM.
class Fitter {
 public:
  // Throws GrabError. With OnResize::kStop it fits as with kLetterbox; the stream ends itself.
  Fitter(const FrameSize& canvas, OnResize rule);

  // The picture, or the canvas that holds it, valid until the next call. Throws GrabError.
  PixelView Fit(const PixelView& picture);

 private:
  void Shrink(const PixelView& picture, const FrameSize& size);
  void Place(const PixelView& picture, uint32_t left, uint32_t top);

  FrameSize canvas_;
  OnResize rule_;
  std::vector<uint8_t> pixels_;
  std::vector<uint8_t> shrunk_;
  Microsoft::WRL::ComPtr<IWICImagingFactory> factory_;
};

}  // namespace quill_grab
