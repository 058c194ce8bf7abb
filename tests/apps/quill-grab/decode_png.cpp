// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "apps/quill-grab/decode_png.h"

#include <windows.h>

#include <wincodec.h>
#include <wrl/client.h>

using Microsoft::WRL::ComPtr;

Picture DecodePng(std::span<const uint8_t> bytes) {
  ComPtr<IWICImagingFactory> factory;
  ComPtr<IWICStream> stream;
  ComPtr<IWICBitmapDecoder> decoder;
  ComPtr<IWICBitmapFrameDecode> frame;
  ComPtr<IWICBitmapSource> bgra;
  UINT width = 0;
  UINT height = 0;
  const bool is_open =
      SUCCEEDED(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                 IID_PPV_ARGS(&factory))) &&
      SUCCEEDED(factory->CreateStream(&stream)) &&
      SUCCEEDED(stream->InitializeFromMemory(const_cast<uint8_t*>(bytes.data()),
                                             static_cast<DWORD>(bytes.size()))) &&
      SUCCEEDED(factory->CreateDecoderFromStream(stream.Get(), nullptr,
                                                 WICDecodeMetadataCacheOnLoad, &decoder)) &&
      SUCCEEDED(decoder->GetFrame(0, &frame)) &&
      SUCCEEDED(WICConvertBitmapSource(GUID_WICPixelFormat32bppBGRA, frame.Get(), &bgra)) &&
      SUCCEEDED(bgra->GetSize(&width, &height));
  if (!is_open) return {};
  Picture picture(width, height);
  const UINT size = static_cast<UINT>(picture.pixels.size() * 4);
  auto* const pixels = reinterpret_cast<uint8_t*>(picture.pixels.data());
  return SUCCEEDED(bgra->CopyPixels(nullptr, width * 4, size, pixels)) ? picture : Picture{};
}
