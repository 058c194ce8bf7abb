// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The activation factories that the tests register, in a library of their own.
#pragma once

#include <activation.h>
#include <inspectable.h>

// What a test asks a factory.
struct ITestStatics : ::IInspectable {
  // How many references the factory has.
  virtual HRESULT STDMETHODCALLTYPE CountReferences(ULONG* count) = 0;
};
__CRT_UUID_DECL(ITestStatics, 0x5d3c9a12, 0x8f04, 0x4c61, 0x9b, 0x2e, 0x71, 0x0a, 0xd4, 0x5e, 0x83,
                0xf6)

// Exported by the library: how often it was asked for a factory, ever.
using CountActivationsFunction = LONG(WINAPI*)();
