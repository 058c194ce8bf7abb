// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// A real Direct3D 11 device for tests, with frames made from pixels.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <unknwn.h>

#include <winrt/base.h>

#include <cstdint>

#include "support/frame_desc.h"
#include "support/reference_diff.h"

struct D3dDevice {
  winrt::com_ptr<ID3D11Device> device;
  winrt::com_ptr<ID3D11DeviceContext> context;
};

// On the default adapter, or Windows' own in software where there is none; both references are null
// when neither works.
D3dDevice CreateD3dDevice();

// A frame that holds the image's 32-bit pixels as they are. Null when it cannot be made.
winrt::com_ptr<ID3D11Texture2D> CreateFrame(const D3dDevice& d3d, const reference::Image& image,
                                            DXGI_FORMAT format = DXGI_FORMAT_B8G8R8A8_UNORM);

// The number of references that callers hold on the object.
unsigned long ReferenceCount(IUnknown* object);
