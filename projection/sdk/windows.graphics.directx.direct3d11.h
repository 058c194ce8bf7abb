// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The Windows SDK's windows.graphics.directx.direct3d11.h: the Windows Runtime's view of a Direct3D
// device and of a texture, and the pixel formats that capture uses. mingw-w64 ships no such header.
#pragma once

#include <inspectable.h>

namespace ABI::Windows::Graphics::DirectX {

// The values equal those of DXGI_FORMAT.
enum DirectXPixelFormat : int {
  DirectXPixelFormat_Unknown = 0,
  DirectXPixelFormat_B8G8R8A8UIntNormalized = 87,
};

namespace Direct3D11 {

struct Direct3DMultisampleDescription {
  INT32 Count;
  INT32 Quality;
};

struct Direct3DSurfaceDescription {
  INT32 Width;
  INT32 Height;
  DirectXPixelFormat Format;
  Direct3DMultisampleDescription MultisampleDescription;
};

struct IDirect3DDevice : ::IInspectable {
  virtual HRESULT STDMETHODCALLTYPE Trim() = 0;
};

struct IDirect3DSurface : ::IInspectable {
  virtual HRESULT STDMETHODCALLTYPE get_Description(Direct3DSurfaceDescription* value) = 0;
};

}  // namespace Direct3D11
}  // namespace ABI::Windows::Graphics::DirectX

__CRT_UUID_DECL(ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DDevice, 0xa37624ab, 0x8d5f,
                0x4650, 0x9d, 0x3e, 0x9e, 0xae, 0x3d, 0x9b, 0xc6, 0x70)
__CRT_UUID_DECL(ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DSurface, 0x0bf4a146, 0x13c1,
                0x4694, 0xbe, 0xe3, 0x7a, 0xbf, 0x15, 0xea, 0xf5, 0x86)
