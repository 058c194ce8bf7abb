// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/scaler.h"

#include "common/error.h"
#include "common/png_encoder.h"

namespace quill_apps {

namespace {

using Microsoft::WRL::ComPtr;

}  // namespace

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
