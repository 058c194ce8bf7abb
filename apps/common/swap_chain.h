// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <d3d11.h>
#include <dxgi1_2.h>
#include <wrl/client.h>

#include "common/error.h"
#include "common/pixels.h"

namespace quill_apps {

constexpr DXGI_FORMAT kSwapChainFormat = DXGI_FORMAT_B8G8R8A8_UNORM;
constexpr UINT kSwapChainBuffers = 2;

// A swap chain of the flip model for the window, whose pictures are never scaled, and the back
// buffer of which can be drawn to. Lets one picture wait for the display at most. Throws what check
// makes of a failure.
Microsoft::WRL::ComPtr<IDXGISwapChain1> MakeSwapChain(ID3D11Device* device, HWND window,
                                                      const FrameSize& size,
                                                      const ResultCheck& check);

}  // namespace quill_apps
