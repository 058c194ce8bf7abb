// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <wincodec.h>
#include <wrl/client.h>

#include <vector>

#include "common/pixels.h"

namespace quill_apps {

// Encodes pictures as PNG through the Windows Imaging Component. The thread must have initialised
// COM.
class PngEncoder {
 public:
  PngEncoder();  // throws ToolError

  // A complete PNG file of 24 bits a pixel. Alpha is left out: captured windows have arbitrary
  // alpha in places, and viewers would hide the picture there. Throws ToolError.
  std::vector<uint8_t> Encode(const PixelView& view) const;

 private:
  Microsoft::WRL::ComPtr<IWICImagingFactory> factory_;
};

}  // namespace quill_apps
