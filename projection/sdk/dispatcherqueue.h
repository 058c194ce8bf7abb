// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The Windows SDK's dispatcherqueue.h. mingw-w64's declares the same function, Wine's headers have
// none; this one serves both.
#pragma once

#include <inspectable.h>

namespace ABI::Windows::System {

struct IDispatcherQueueController : ::IInspectable {
  // A Windows.System.DispatcherQueue.
  virtual HRESULT STDMETHODCALLTYPE get_DispatcherQueue(::IInspectable** value) = 0;
  // A Windows.Foundation.IAsyncAction.
  virtual HRESULT STDMETHODCALLTYPE ShutdownQueueAsync(::IInspectable** operation) = 0;
};

}  // namespace ABI::Windows::System

__CRT_UUID_DECL(ABI::Windows::System::IDispatcherQueueController, 0x22f34e66, 0x50db, 0x4e36, 0xa9,
                0x8d, 0x61, 0xc0, 0x1b, 0x38, 0x4d, 0x20)

enum DISPATCHERQUEUE_THREAD_APARTMENTTYPE {
  DQTAT_COM_NONE = 0,
  DQTAT_COM_ASTA = 1,
  DQTAT_COM_STA = 2,
};

enum DISPATCHERQUEUE_THREAD_TYPE {
  DQTYPE_THREAD_DEDICATED = 1,
  DQTYPE_THREAD_CURRENT = 2,
};

struct DispatcherQueueOptions {
  DWORD dwSize;
  DISPATCHERQUEUE_THREAD_TYPE threadType;
  DISPATCHERQUEUE_THREAD_APARTMENTTYPE apartmentType;
};

// Exported by CoreMessaging.dll.
STDAPI CreateDispatcherQueueController(
    DispatcherQueueOptions options,
    ABI::Windows::System::IDispatcherQueueController** dispatcherQueueController);
