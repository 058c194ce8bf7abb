// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The part of the Windows SDK's windows.graphics.h that capture needs; mingw-w64 ships no such
// header.
#pragma once

#include <inspectable.h>

namespace ABI::Windows::Graphics {

// Pixels. Eight bytes, passed by value in one register on x64.
struct SizeInt32 {
  INT32 Width;
  INT32 Height;
};

}  // namespace ABI::Windows::Graphics
