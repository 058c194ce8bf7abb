// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The Windows SDK's weakreference.h; mingw-w64 ships no such header.
#pragma once

#include <inspectable.h>

struct IWeakReference : ::IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Resolve(REFIID riid, IInspectable** objectReference) = 0;
};
__CRT_UUID_DECL(IWeakReference, 0x00000037, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00,
                0x00, 0x46)

struct IWeakReferenceSource : ::IUnknown {
  virtual HRESULT STDMETHODCALLTYPE GetWeakReference(IWeakReference** weakReference) = 0;
};
__CRT_UUID_DECL(IWeakReferenceSource, 0x00000038, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00,
                0x00, 0x00, 0x46)
