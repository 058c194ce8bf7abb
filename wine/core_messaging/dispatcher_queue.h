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
// The thread keeps its queue until it ends. With the registry value QueueEndsWithController the
// queue lives only as long as something refers to it (controllers, frame pools). Work is refused
// once the thread has ended.
class DispatcherQueue : public RuntimeObject<ABI::Windows::System::IDispatcherQueue> {
 public:
  // Makes the calling thread's queue. RPC_E_WRONG_THREAD when the thread has one already.
  static HRESULT CreateForCurrentThread(Ref<DispatcherQueue>& result);
  // Empty when the calling thread has none.
  static Ref<DispatcherQueue> ForCurrentThread();
  // To be called on a thread that ends.
  static void CurrentThreadEnds();

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
  // Leaves the window to the system, which destroys it as the thread ends: a thread that ends holds
  // the loader lock, under which no window procedure should run.
  void LoseThread();
  void RunOne();

  const DWORD thread_id_;
  Ref<DispatcherQueue> kept_by_thread_;  // Itself, until its thread ends.
  std::mutex mutex_;
  HWND window_ = nullptr;  // Null once the thread has ended.
  std::deque<Work> work_;
};

}  // namespace standin
