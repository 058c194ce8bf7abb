// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "capture/capture_surface.h"

namespace standin {

using ABI::Windows::Graphics::DirectX::DirectXPixelFormat;
using ABI::Windows::Graphics::DirectX::Direct3D11::Direct3DSurfaceDescription;

CaptureSurface::CaptureSurface(Ref<ID3D11Texture2D> texture)
    : RuntimeObject(L"Windows.Graphics.DirectX.Direct3D11.Direct3DSurface"),
      texture_(std::move(texture)) {}

HRESULT CaptureSurface::get_Description(Direct3DSurfaceDescription* value) {
  if (!value) return E_POINTER;
  D3D11_TEXTURE2D_DESC description;
  texture_->GetDesc(&description);
  value->Width = static_cast<INT32>(description.Width);
  value->Height = static_cast<INT32>(description.Height);
  value->Format = static_cast<DirectXPixelFormat>(description.Format);
  value->MultisampleDescription = {static_cast<INT32>(description.SampleDesc.Count),
                                   static_cast<INT32>(description.SampleDesc.Quality)};
  return S_OK;
}

HRESULT CaptureSurface::GetInterface(REFIID iid, void** result) {
  return texture_->QueryInterface(iid, result);
}

}  // namespace standin
