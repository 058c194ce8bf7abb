// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <d3d11.h>
#include <windows.graphics.directx.direct3d11.h>
#include <windows.graphics.directx.direct3d11.interop.h>

#include "common/object.h"
#include "common/ref.h"

namespace standin {

// The Windows Runtime's view of a texture of the pool.
class CaptureSurface
    : public RuntimeObject<ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DSurface,
                           Windows::Graphics::DirectX::Direct3D11::IDirect3DDxgiInterfaceAccess> {
 public:
  explicit CaptureSurface(Ref<ID3D11Texture2D> texture);

  HRESULT STDMETHODCALLTYPE get_Description(
      ABI::Windows::Graphics::DirectX::Direct3D11::Direct3DSurfaceDescription* value) override;
  HRESULT STDMETHODCALLTYPE GetInterface(REFIID iid, void** result) override;

 private:
  const Ref<ID3D11Texture2D> texture_;
};

}  // namespace standin
