// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/png/png_encoder.h"

#include <algorithm>

#include "quill-grab/console/error.h"
#include "quill-grab/console/text.h"

namespace quill_grab {

namespace {

using Microsoft::WRL::ComPtr;

void Check(HRESULT result, const char* what) {
  if (SUCCEEDED(result)) return;
  throw GrabError(ExitCode::kOutputFailed, std::string("a PNG file could not be encoded: ") + what +
                                               ": " + DescribeError(static_cast<DWORD>(result)));
}

void DropAlpha(const uint8_t* bgra, uint8_t* bgr, uint32_t pixels) {
  for (uint32_t i = 0; i < pixels; ++i) {
    std::copy_n(bgra + size_t{4} * i, 3, bgr + size_t{3} * i);
  }
}

// In bands of rows, so that a large picture is not held twice.
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
    Check(frame->WritePixels(rows, static_cast<UINT>(stride), static_cast<UINT>(rows * stride),
                             band.data()),
          "WritePixels");
  }
}

ComPtr<IWICBitmapFrameEncode> BeginFrame(IWICBitmapEncoder* encoder, const PixelView& view) {
  ComPtr<IWICBitmapFrameEncode> frame;
  Check(encoder->CreateNewFrame(&frame, nullptr), "CreateNewFrame");
  Check(frame->Initialize(nullptr), "Initialize");
  Check(frame->SetSize(view.width, view.height), "SetSize");
  WICPixelFormatGUID format = GUID_WICPixelFormat24bppBGR;
  Check(frame->SetPixelFormat(&format), "SetPixelFormat");
  if (format != GUID_WICPixelFormat24bppBGR) {
    Check(WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT, "24 bits a pixel");
  }
  return frame;
}

std::vector<uint8_t> Contents(IStream* stream) {
  STATSTG info{};
  Check(stream->Stat(&info, STATFLAG_NONAME), "Stat");
  std::vector<uint8_t> bytes(static_cast<size_t>(info.cbSize.QuadPart));
  Check(stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr), "Seek");
  ULONG read = 0;
  Check(stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &read), "Read");
  bytes.resize(read);
  return bytes;
}

}  // namespace

PngEncoder::PngEncoder() {
  Check(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                         IID_PPV_ARGS(&factory_)),
        "Windows Imaging Component");
}

std::vector<uint8_t> PngEncoder::Encode(const PixelView& view) const {
  ComPtr<IStream> stream;
  Check(CreateStreamOnHGlobal(nullptr, TRUE, &stream), "CreateStreamOnHGlobal");
  ComPtr<IWICBitmapEncoder> encoder;
  Check(factory_->CreateEncoder(GUID_ContainerFormatPng, nullptr, &encoder), "CreateEncoder");
  Check(encoder->Initialize(stream.Get(), WICBitmapEncoderNoCache), "Initialize");
  const ComPtr<IWICBitmapFrameEncode> frame = BeginFrame(encoder.Get(), view);
  WriteRows(frame.Get(), view);
  Check(frame->Commit(), "Commit of the frame");
  Check(encoder->Commit(), "Commit");
  return Contents(stream.Get());
}

}  // namespace quill_grab
