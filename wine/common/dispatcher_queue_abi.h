// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The Windows SDK's declarations of Windows.System.DispatcherQueue, as far as posting work to a
// thread's queue needs them; mingw-w64's windows.system.h stops at the controller.
#pragma once

#include <eventtoken.h>
#include <inspectable.h>

namespace ABI::Windows::System {

struct IDispatcherQueueHandler : ::IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Invoke() = 0;
};

enum DispatcherQueuePriority : int {
  DispatcherQueuePriority_Low = -10,
  DispatcherQueuePriority_Normal = 0,
  DispatcherQueuePriority_High = 10,
};

struct IDispatcherQueue : ::IInspectable {
  // A Windows.System.DispatcherQueueTimer.
  virtual HRESULT STDMETHODCALLTYPE CreateTimer(::IInspectable** result) = 0;
  virtual HRESULT STDMETHODCALLTYPE TryEnqueue(IDispatcherQueueHandler* callback,
                                               boolean* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE TryEnqueueWithPriority(DispatcherQueuePriority priority,
                                                           IDispatcherQueueHandler* callback,
                                                           boolean* result) = 0;
  // TypedEventHandlers of the queue.
  virtual HRESULT STDMETHODCALLTYPE add_ShutdownStarting(::IUnknown* handler,
                                                         EventRegistrationToken* token) = 0;
  virtual HRESULT STDMETHODCALLTYPE remove_ShutdownStarting(EventRegistrationToken token) = 0;
  virtual HRESULT STDMETHODCALLTYPE add_ShutdownCompleted(::IUnknown* handler,
                                                          EventRegistrationToken* token) = 0;
  virtual HRESULT STDMETHODCALLTYPE remove_ShutdownCompleted(EventRegistrationToken token) = 0;
};

struct IDispatcherQueueStatics : ::IInspectable {
  // Null and S_OK when the thread has no queue.
  virtual HRESULT STDMETHODCALLTYPE GetForCurrentThread(IDispatcherQueue** result) = 0;
};

}  // namespace ABI::Windows::System

__CRT_UUID_DECL(ABI::Windows::System::IDispatcherQueueHandler, 0xdfa2dc9c, 0x1a2d, 0x4917, 0x98,
                0xf2, 0x93, 0x9a, 0xf1, 0xd6, 0xe0, 0xc8)
__CRT_UUID_DECL(ABI::Windows::System::IDispatcherQueue, 0x603e88e4, 0xa338, 0x4ffe, 0xa4, 0x57,
                0xa5, 0xcf, 0xb9, 0xce, 0xb8, 0x99)
__CRT_UUID_DECL(ABI::Windows::System::IDispatcherQueueStatics, 0xa96d83d7, 0x9371, 0x4517, 0x92,
                0x45, 0xd0, 0x82, 0x4a, 0xc1, 0x2c, 0x74)
