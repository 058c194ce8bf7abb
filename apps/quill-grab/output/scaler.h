// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <wincodec.h>
#include <wrl/client.h>

#include <cstdint>
#include <vector>

#include "common/pixels.h"

namespace quill_apps {

// Shrinks pictures. The thread must have initialised COM.
class Scaler {
 public:
  explicit Scaler(const char* remedy);  // ends the text of errors. Throws ToolError.

  // Fills bgra with the picture at that size, rows without gaps. Its alpha is undefined. Throws
  // ToolError.
  void Shrink(const PixelView& picture, const FrameSize& size, std::vector<uint8_t>& bgra) const;

 private:
  const char* remedy_;
  Microsoft::WRL::ComPtr<IWICImagingFactory> factory_;
};

}  // namespace quill_apps
