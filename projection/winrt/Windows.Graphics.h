// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.graphics.h>

#include <cstdint>

#include "winrt/base.h"

namespace winrt::Windows::Graphics {

struct SizeInt32 {
  std::int32_t Width;
  std::int32_t Height;

  friend bool operator==(SizeInt32 const&, SizeInt32 const&) = default;
};

}  // namespace winrt::Windows::Graphics
