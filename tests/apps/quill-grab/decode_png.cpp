// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "apps/quill-grab/decode_png.h"

#include <windows.h>

#include <wincodec.h>
#include <wrl/client.h>

#include <filesystem>
#include <fstream>
#include <iterator>

using Microsoft::WRL::ComPtr;

DecodedPng DecodePng(std::span<const uint8_t> bytes) {
  ComPtr<IWICImagingFactory> factory;
  ComPtr<IWICStream> stream;
  ComPtr<IWICBitmapDecoder> decoder;
  ComPtr<IWICBitmapFrameDecode> frame;
  ComPtr<IWICBitmapSource> bgra;
  WICPixelFormatGUID format{};
  DecodedPng picture;
  const bool opened =
      SUCCEEDED(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                 IID_PPV_ARGS(&factory))) &&
      SUCCEEDED(factory->CreateStream(&stream)) &&
      SUCCEEDED(stream->InitializeFromMemory(const_cast<uint8_t*>(bytes.data()),
                                             static_cast<DWORD>(bytes.size()))) &&
      SUCCEEDED(factory->CreateDecoderFromStream(stream.Get(), nullptr,
                                                 WICDecodeMetadataCacheOnLoad, &decoder)) &&
      SUCCEEDED(decoder->GetFrame(0, &frame)) && SUCCEEDED(frame->GetPixelFormat(&format)) &&
      SUCCEEDED(WICConvertBitmapSource(GUID_WICPixelFormat32bppBGRA, frame.Get(), &bgra));
  UINT width = 0;
  UINT height = 0;
  if (!opened || FAILED(bgra->GetSize(&width, &height))) return picture;
  picture.bgra.resize(size_t{width} * height * 4);
  if (FAILED(bgra->CopyPixels(nullptr, width * 4, static_cast<UINT>(picture.bgra.size()),
                              picture.bgra.data()))) {
    return picture;
  }
  picture.has_alpha = format != GUID_WICPixelFormat24bppBGR;
  picture.width = width;
  picture.height = height;
  return picture;
}

std::vector<uint8_t> ReadWholeFile(const wchar_t* path) {
  std::ifstream file(std::filesystem::path(path), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
