// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.graphics.directx.direct3d11.h>

#include <cstdint>

#include "winrt/base.h"

namespace winrt::Windows::Graphics::DirectX {

enum class DirectXPixelFormat : std::int32_t {
  Unknown = ABI::Windows::Graphics::DirectX::DirectXPixelFormat_Unknown,
  B8G8R8A8UIntNormalized =
      ABI::Windows::Graphics::DirectX::DirectXPixelFormat_B8G8R8A8UIntNormalized,
};

}  // namespace winrt::Windows::Graphics::DirectX
