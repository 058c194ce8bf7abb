// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/png_encoder.h"

#include <algorithm>

#include "common/error.h"

namespace quill_apps {

namespace {

using Microsoft::WRL::ComPtr;

constexpr ResultCheck kCheck{ExitCode::kOutputFailed, "a PNG file could not be encoded", ""};

void DropAlpha(const uint8_t* bgra, uint8_t* bgr, uint32_t pixels) {
  for (uint32_t i = 0; i < pixels; ++i) {
    std::copy_n(bgra + size_t{4} * i, 3, bgr + size_t{3} * i);
  }
}

// Writes bands of rows, so that a large picture is not in memory twice.
void WriteRows(IWICBitmapFrameEncode* frame, const PixelView& view) {
  constexpr uint32_t kBandRows = 64;
  const size_t stride = size_t{view.width} * 3;
  std::vector<uint8_t> band(stride * std::min(kBandRows, view.height));
  for (uint32_t top = 0; top < view.height; top += kBandRows) {
    const uint32_t rows = std::min(kBandRows, view.height - top);
    for (uint32_t row = 0; row < rows; ++row) {
      DropAlpha(view.pixels + (size_t{top} + row) * view.row_pitch, band.data() + row * stride,
                view.width);
    }
    kCheck(frame->WritePixels(rows, static_cast<UINT>(stride), static_cast<UINT>(rows * stride),
                              band.data()),
           "WritePixels");
  }
}

ComPtr<IWICBitmapFrameEncode> BeginFrame(IWICBitmapEncoder* encoder, const PixelView& view) {
  ComPtr<IWICBitmapFrameEncode> frame;
  kCheck(encoder->CreateNewFrame(&frame, nullptr), "CreateNewFrame");
  kCheck(frame->Initialize(nullptr), "Initialize");
  kCheck(frame->SetSize(view.width, view.height), "SetSize");
  WICPixelFormatGUID format = GUID_WICPixelFormat24bppBGR;
  kCheck(frame->SetPixelFormat(&format), "SetPixelFormat");
  if (format != GUID_WICPixelFormat24bppBGR) {
    kCheck(WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT, "24 bits a pixel");
  }
  return frame;
}

std::vector<uint8_t> Contents(IStream* stream) {
  STATSTG info{};
  kCheck(stream->Stat(&info, STATFLAG_NONAME), "Stat");
  std::vector<uint8_t> bytes(static_cast<size_t>(info.cbSize.QuadPart));
  kCheck(stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr), "Seek");
  ULONG read = 0;
  kCheck(stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &read), "Read");
  bytes.resize(read);
  return bytes;
}

}  // namespace

PngEncoder::PngEncoder() {
  kCheck(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                          IID_PPV_ARGS(&factory_)),
         "Windows Imaging Component");
}

std::vector<uint8_t> PngEncoder::Encode(const PixelView& view) const {
  ComPtr<IStream> stream;
  kCheck(CreateStreamOnHGlobal(nullptr, TRUE, &stream), "CreateStreamOnHGlobal");
  ComPtr<IWICBitmapEncoder> encoder;
  kCheck(factory_->CreateEncoder(GUID_ContainerFormatPng, nullptr, &encoder), "CreateEncoder");
  kCheck(encoder->Initialize(stream.Get(), WICBitmapEncoderNoCache), "Initialize");
  const ComPtr<IWICBitmapFrameEncode> frame = BeginFrame(encoder.Get(), view);
  WriteRows(frame.Get(), view);
  kCheck(frame->Commit(), "Commit of the frame");
  kCheck(encoder->Commit(), "Commit");
  return Contents(stream.Get());
}

}  // namespace quill_apps
