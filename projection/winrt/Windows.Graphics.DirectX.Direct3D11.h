// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.graphics.directx.direct3d11.h>

#include "winrt/Windows.Foundation.h"
#include "winrt/Windows.Graphics.DirectX.h"

namespace winrt {

namespace Windows::Graphics::DirectX::Direct3D11 {
struct IDirect3DDevice;
struct IDirect3DSurface;
}  // namespace Windows::Graphics::DirectX::Direct3D11

template <>
struct impl::abi<Windows::Graphics::DirectX::Direct3D11::IDirect3DDevice> {
  using type = ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DDevice;
};
template <>
struct impl::abi<Windows::Graphics::DirectX::Direct3D11::IDirect3DSurface> {
  using type = ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DSurface;
};

namespace Windows::Graphics::DirectX::Direct3D11 {

struct IDirect3DDevice : Foundation::IInspectable {
  using IInspectable::IInspectable;
};

struct IDirect3DSurface : Foundation::IInspectable {
  using IInspectable::IInspectable;
};

}  // namespace Windows::Graphics::DirectX::Direct3D11
}  // namespace winrt
