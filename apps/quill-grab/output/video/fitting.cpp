// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/video/fitting.h"

#include <algorithm>

#include "quill-grab/console/error.h"
#include "quill-grab/console/text.h"

namespace quill_grab {

namespace {

using Microsoft::WRL::ComPtr;

constexpr size_t kPixelBytes = 4;

void Check(HRESULT result, const char* what) {
  if (SUCCEEDED(result)) return;
  throw GrabError(ExitCode::kOutputFailed, std::string("a frame could not be shrunk: ") + what +
                                               ": " + DescribeError(static_cast<DWORD>(result)) +
                                               ": use --on-resize crop or stop");
}

void SetOpaque(std::vector<uint8_t>& bgra) {
  for (size_t alpha = 3; alpha < bgra.size(); alpha += kPixelBytes) bgra[alpha] = 255;
}

// length * part / whole, rounded, and at least 1.
uint32_t Scaled(uint32_t length, uint32_t part, uint32_t whole) {
  return static_cast<uint32_t>(
      std::max<uint64_t>((uint64_t{length} * part + whole / 2) / whole, 1));
}

}  // namespace

FrameSize ShrunkToFit(const FrameSize& picture, const FrameSize& room) {
  if (picture.width <= room.width && picture.height <= room.height) return picture;
  const bool is_wider =
      uint64_t{picture.width} * room.height >= uint64_t{picture.height} * room.width;
  return is_wider ? FrameSize{room.width, Scaled(picture.height, room.width, picture.width)}
                  : FrameSize{Scaled(picture.width, room.height, picture.height), room.height};
}

Fitter::Fitter(const FrameSize& canvas, OnResize rule) : canvas_(canvas), rule_(rule) {
  Check(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                         IID_PPV_ARGS(&factory_)),
        "Windows Imaging Component");
}

PixelView Fitter::Fit(const PixelView& picture) {
  const FrameSize size{picture.width, picture.height};
  if (size == canvas_) return picture;
  const size_t row_pitch = canvas_.width * kPixelBytes;
  pixels_.assign(row_pitch * canvas_.height, 0);
  SetOpaque(pixels_);
  if (rule_ == OnResize::kCrop) {
    Place(picture, 0, 0);
  } else {
    const FrameSize fitted = ShrunkToFit(size, canvas_);
    const uint32_t left = (canvas_.width - fitted.width) / 2;
    const uint32_t top = (canvas_.height - fitted.height) / 2;
    if (fitted == size) {
      Place(picture, left, top);
    } else {
      Shrink(picture, fitted);
      Place({shrunk_.data(), fitted.width, fitted.height, fitted.width * kPixelBytes}, left, top);
    }
  }
  return {pixels_.data(), canvas_.width, canvas_.height, row_pitch};
}

// Without alpha, as weighing colours with the arbitrary alpha of captured windows would stain them.
void Fitter::Shrink(const PixelView& picture, const FrameSize& size) {
  ComPtr<IWICBitmap> bitmap;
  ComPtr<IWICBitmapScaler> scaler;
  const UINT row_pitch = static_cast<UINT>(picture.row_pitch);
  Check(factory_->CreateBitmapFromMemory(picture.width, picture.height, GUID_WICPixelFormat32bppBGR,
                                         row_pitch, row_pitch * picture.height,
                                         const_cast<BYTE*>(picture.pixels), &bitmap),
        "CreateBitmapFromMemory");
  Check(factory_->CreateBitmapScaler(&scaler), "CreateBitmapScaler");
  Check(scaler->Initialize(bitmap.Get(), size.width, size.height, WICBitmapInterpolationModeFant),
        "Initialize");
  const size_t shrunk_pitch = size.width * kPixelBytes;
  shrunk_.resize(shrunk_pitch * size.height);
  Check(scaler->CopyPixels(nullptr, static_cast<UINT>(shrunk_pitch),
                           static_cast<UINT>(shrunk_.size()), shrunk_.data()),
        "CopyPixels");
  SetOpaque(shrunk_);
}

// What lies beyond the canvas is cut off.
void Fitter::Place(const PixelView& picture, uint32_t left, uint32_t top) {
  const uint32_t columns = std::min(picture.width, canvas_.width - left);
  const uint32_t rows = std::min(picture.height, canvas_.height - top);
  for (uint32_t row = 0; row < rows; ++row) {
    const uint8_t* from = picture.pixels + row * picture.row_pitch;
    uint8_t* to = pixels_.data() + (size_t{top + row} * canvas_.width + left) * kPixelBytes;
    std::copy_n(from, columns * kPixelBytes, to);
  }
}

}  // namespace quill_grab
