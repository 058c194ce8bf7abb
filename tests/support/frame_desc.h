// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <d3d11.h>

#include <cstdint>

// A texture like those of captured frames, or one that the CPU can read.
inline D3D11_TEXTURE2D_DESC FrameDesc(uint32_t width, uint32_t height,
                                      DXGI_FORMAT format = DXGI_FORMAT_B8G8R8A8_UNORM,
                                      D3D11_USAGE usage = D3D11_USAGE_DEFAULT) {
  if (usage == D3D11_USAGE_STAGING) {
    return CD3D11_TEXTURE2D_DESC(format, width, height, 1, 1, 0, usage, D3D11_CPU_ACCESS_READ);
  }
  return CD3D11_TEXTURE2D_DESC(format, width, height, 1, 1,
                               D3D11_BIND_SHADER_RESOURCE | D3D11_BIND_RENDER_TARGET, usage);
}
