// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <d3d11.h>
#include <wrl/client.h>

#include "common/pixels.h"

namespace quill_apps {

// The pixels of a frame: those of a mapped staging texture, which is unmapped at the end of the
// object's life, or borrowed ones.
class FramePixels {
 public:
  explicit FramePixels(const PixelView& view) : view_(view) {}
  FramePixels(const PixelView& view, ID3D11DeviceContext* context, ID3D11Texture2D* staging)
      : view_(view), context_(context), staging_(staging) {}
  ~FramePixels() {
    if (context_) context_->Unmap(staging_.Get(), 0);
  }
  FramePixels(const FramePixels&) = delete;
  FramePixels& operator=(const FramePixels&) = delete;

  const PixelView& view() const { return view_; }

 private:
  PixelView view_;
  Microsoft::WRL::ComPtr<ID3D11DeviceContext> context_;
  Microsoft::WRL::ComPtr<ID3D11Texture2D> staging_;
};

// Copies BGRA textures of one device to the CPU. For the thread that uses the device's immediate
// context.
class TextureReader {
 public:
  explicit TextureReader(ID3D11Device* device);

  // Waits for the GPU. Throws ToolError.
  FramePixels Read(ID3D11Texture2D* texture);

 private:
  // Keeps one staging texture and replaces it when the size or format changes.
  void EnsureStaging(const D3D11_TEXTURE2D_DESC& source);

  Microsoft::WRL::ComPtr<ID3D11Device> device_;
  Microsoft::WRL::ComPtr<ID3D11DeviceContext> context_;
  Microsoft::WRL::ComPtr<ID3D11Texture2D> staging_;
  D3D11_TEXTURE2D_DESC description_{};
};

}  // namespace quill_apps
