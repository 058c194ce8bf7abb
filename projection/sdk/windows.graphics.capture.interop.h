// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The Windows SDK's windows.graphics.capture.interop.h: capture items from window and monitor
// handles. mingw-w64 ships no such header.
#pragma once

#include <unknwn.h>

// Answered by the activation factory of Windows.Graphics.Capture.GraphicsCaptureItem.
struct IGraphicsCaptureItemInterop : ::IUnknown {
  virtual HRESULT STDMETHODCALLTYPE CreateForWindow(HWND window, REFIID riid, void** result) = 0;
  virtual HRESULT STDMETHODCALLTYPE CreateForMonitor(HMONITOR monitor, REFIID riid,
                                                     void** result) = 0;
};
__CRT_UUID_DECL(IGraphicsCaptureItemInterop, 0x3628e81b, 0x3cac, 0x4c60, 0xb7, 0xf4, 0x23, 0xce,
                0x0e, 0x0c, 0x33, 0x56)
