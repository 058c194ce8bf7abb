// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <d3d11.h>
#include <wrl/client.h>

#include "quill-grab/output/pixel_view.h"

namespace quill_grab {

// A mapped staging texture; unmapped at the end of its life.
class MappedPixels {
 public:
  MappedPixels(ID3D11DeviceContext* context, ID3D11Texture2D* staging, const PixelView& view)
      : context_(context), staging_(staging), view_(view) {}
  ~MappedPixels() { context_->Unmap(staging_.Get(), 0); }
  MappedPixels(const MappedPixels&) = delete;
  MappedPixels& operator=(const MappedPixels&) = delete;

  const PixelView& view() const { return view_; }

 private:
  Microsoft::WRL::ComPtr<ID3D11DeviceContext> context_;
  Microsoft::WRL::ComPtr<ID3D11Texture2D> staging_;
  PixelView view_;
};

// Reads BGRA textures of one device back to the CPU. For the thread that uses the device's
// immediate context.
class TextureReader {
 public:
  explicit TextureReader(ID3D11Device* device);

  // Waits for the GPU. Throws GrabError.
  MappedPixels Read(ID3D11Texture2D* texture);

 private:
  // Keeps one staging texture, which is made anew when the size or format changes.
  void EnsureStaging(const D3D11_TEXTURE2D_DESC& source);

  Microsoft::WRL::ComPtr<ID3D11Device> device_;
  Microsoft::WRL::ComPtr<ID3D11DeviceContext> context_;
  Microsoft::WRL::ComPtr<ID3D11Texture2D> staging_;
  D3D11_TEXTURE2D_DESC description_{};
};

}  // namespace quill_grab
