// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <deque>
#include <mutex>

#include "common/dispatcher_queue_abi.h"
#include "common/object.h"

namespace standin {

// The queue of one thread: work that any thread enqueues and the owning thread runs, one piece per
// message, when its message loop dispatches the queue's message-only window.
//
// It lives as long as something refers to it (controllers, frame pools); work enqueued after its
// thread has ended is refused.
class DispatcherQueue : public RuntimeObject<ABI::Windows::System::IDispatcherQueue> {
 public:
  // Makes the calling thread's queue. RPC_E_WRONG_THREAD when the thread has one already.
  static HRESULT CreateForCurrentThread(Ref<DispatcherQueue>& result);
  // Empty when the calling thread has none.
  static Ref<DispatcherQueue> ForCurrentThread();
  // To be called on a thread that ends: the system destroys its windows without a message.
  static void ForgetCurrentThread();

  DispatcherQueue();
  ~DispatcherQueue() override;

  HRESULT STDMETHODCALLTYPE CreateTimer(IInspectable** result) override;
  HRESULT STDMETHODCALLTYPE TryEnqueue(ABI::Windows::System::IDispatcherQueueHandler* callback,
                                       boolean* result) override;
  HRESULT STDMETHODCALLTYPE TryEnqueueWithPriority(
      ABI::Windows::System::DispatcherQueuePriority priority,
      ABI::Windows::System::IDispatcherQueueHandler* callback, boolean* result) override;
  HRESULT STDMETHODCALLTYPE add_ShutdownStarting(IUnknown* handler,
                                                 EventRegistrationToken* token) override;
  HRESULT STDMETHODCALLTYPE remove_ShutdownStarting(EventRegistrationToken token) override;
  HRESULT STDMETHODCALLTYPE add_ShutdownCompleted(IUnknown* handler,
                                                  EventRegistrationToken* token) override;
  HRESULT STDMETHODCALLTYPE remove_ShutdownCompleted(EventRegistrationToken token) override;

 private:
  using Work = Ref<ABI::Windows::System::IDispatcherQueueHandler>;

  static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  HRESULT OpenWindow();
  void RunOne();

  const DWORD thread_id_;
  HWND window_ = nullptr;
  std::mutex mutex_;
  std::deque<Work> work_;
};

}  // namespace standin
