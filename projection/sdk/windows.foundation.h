// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The part of the Windows SDK's windows.foundation.h that capture needs; mingw-w64's own does not
// compile as C++ (it declares enumerations ahead of their definition).
#pragma once

#include <inspectable.h>

namespace ABI::Windows::Foundation {

// 100-nanosecond units.
struct TimeSpan {
  INT64 Duration;
};

struct IClosable : ::IInspectable {
  virtual HRESULT STDMETHODCALLTYPE Close() = 0;
};

}  // namespace ABI::Windows::Foundation

__CRT_UUID_DECL(ABI::Windows::Foundation::IClosable, 0x30d5a829, 0x7fa4, 0x4026, 0x83, 0xbb, 0xd7,
                0x5b, 0xae, 0x4e, 0xa9, 0x9e)
