// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

namespace standin {

// Windows Runtime error codes that mingw-w64's winerror.h lacks.
constexpr HRESULT kClosed = static_cast<HRESULT>(0x80000013);             // RO_E_CLOSED
constexpr HRESULT kIllegalMethodCall = static_cast<HRESULT>(0x8000000E);  // E_ILLEGAL_METHOD_CALL

}  // namespace standin
