// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The Windows SDK's windows.graphics.directx.direct3d11.interop.h: from a DXGI device to the
// Windows Runtime's, and from a Windows Runtime surface back to its texture. mingw-w64 ships no
// such header.
#pragma once

#include <dxgi.h>
#include <inspectable.h>

// Exported by d3d11.dll. The result answers IDirect3DDevice.
STDAPI CreateDirect3D11DeviceFromDXGIDevice(IDXGIDevice* dxgiDevice, IInspectable** graphicsDevice);

namespace Windows::Graphics::DirectX::Direct3D11 {

struct IDirect3DDxgiInterfaceAccess : ::IUnknown {
  virtual HRESULT STDMETHODCALLTYPE GetInterface(REFIID iid, void** p) = 0;
};

}  // namespace Windows::Graphics::DirectX::Direct3D11

__CRT_UUID_DECL(Windows::Graphics::DirectX::Direct3D11::IDirect3DDxgiInterfaceAccess, 0xa9b3d012,
                0x3df2, 0x4ee3, 0xb8, 0xd1, 0x86, 0x95, 0xf4, 0x57, 0xd3, 0xc1)
