// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/scaler.h"

#include <algorithm>

#include "common/error.h"
#include "common/png_encoder.h"

namespace quill_apps {

namespace {

using Microsoft::WRL::ComPtr;

// length * part / whole, rounded, and at least 1.
uint32_t Scaled(uint32_t length, uint32_t part, uint32_t whole) {
  return static_cast<uint32_t>(
      std::max<uint64_t>((uint64_t{length} * part + whole / 2) / whole, 1));
}

}  // namespace

FrameSize ShrunkToFit(const FrameSize& picture, const FrameSize& bounds) {
  if (picture.width <= bounds.width && picture.height <= bounds.height) return picture;
  const bool is_wider =
      uint64_t{picture.width} * bounds.height >= uint64_t{picture.height} * bounds.width;
  return is_wider ? FrameSize{bounds.width, Scaled(picture.height, bounds.width, picture.width)}
                  : FrameSize{Scaled(picture.width, bounds.height, picture.height), bounds.height};
}

Scaler::Scaler(const char* remedy) : remedy_(remedy), factory_(MakeImagingFactory()) {}

// Without alpha: the scaler would weight colours by the arbitrary alpha of captured windows.
void Scaler::Shrink(const PixelView& picture, const FrameSize& size,
                    std::vector<uint8_t>& bgra) const {
  const ResultCheck check{ExitCode::kOutputFailed, "a frame could not be shrunk", remedy_};
  ComPtr<IWICBitmap> bitmap;
  ComPtr<IWICBitmapScaler> scaler;
  const UINT row_pitch = static_cast<UINT>(picture.row_pitch);
  check(factory_->CreateBitmapFromMemory(picture.width, picture.height, GUID_WICPixelFormat32bppBGR,
                                         row_pitch, row_pitch * picture.height,
                                         const_cast<BYTE*>(picture.pixels), &bitmap),
        "CreateBitmapFromMemory");
  check(factory_->CreateBitmapScaler(&scaler), "CreateBitmapScaler");
  check(scaler->Initialize(bitmap.Get(), size.width, size.height, WICBitmapInterpolationModeFant),
        "Initialize");
  const size_t shrunk_pitch = size.width * kPixelBytes;
  bgra.resize(shrunk_pitch * size.height);
  check(scaler->CopyPixels(nullptr, static_cast<UINT>(shrunk_pitch), static_cast<UINT>(bgra.size()),
                           bgra.data()),
        "CopyPixels");
}

}  // namespace quill_apps
