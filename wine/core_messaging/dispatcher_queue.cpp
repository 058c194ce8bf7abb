// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "core_messaging/dispatcher_queue.h"

#include <unordered_map>
#include <utility>

#include "common/platform_value.h"

namespace standin {
namespace {

using ABI::Windows::System::DispatcherQueuePriority;
using ABI::Windows::System::IDispatcherQueueHandler;

constexpr UINT kRunOne = WM_APP;
constexpr wchar_t kWindowClass[] = L"libquill-wgc.DispatcherQueue";

// The queues by thread. The map does not own them; a queue is taken out when its thread ends or
// when it is destroyed.
struct Registry {
  std::mutex mutex;
  std::unordered_map<DWORD, DispatcherQueue*> queues;
};

// Never destroyed: threads may still end while the DLL's static objects are torn down.
Registry& GetRegistry() {
  static auto* const registry = new Registry;
  return *registry;
}

// Never unloaded from now on: a queue's window refers to this code until its thread ends.
HINSTANCE ThisModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                     kWindowClass, &module);
  return module;
}

}  // namespace

HRESULT DispatcherQueue::CreateForCurrentThread(Ref<DispatcherQueue>& result) {
  if (ForCurrentThread()) return RPC_E_WRONG_THREAD;
  auto queue = Make<DispatcherQueue>();
  const HRESULT opened = queue->OpenWindow();
  if (FAILED(opened)) return opened;
  if (PlatformValue(L"QueueEndsWithController", 0) == 0) queue->kept_by_thread_ = queue;
  Registry& registry = GetRegistry();
  {
    const std::lock_guard lock(registry.mutex);
    registry.queues[GetCurrentThreadId()] = queue.Get();
  }
  result = std::move(queue);
  return S_OK;
}

Ref<DispatcherQueue> DispatcherQueue::ForCurrentThread() {
  Registry& registry = GetRegistry();
  const std::lock_guard lock(registry.mutex);
  const auto found = registry.queues.find(GetCurrentThreadId());
  // A queue whose last reference another thread is just releasing counts as none.
  if (found == registry.queues.end() || !found->second->Count()->AddIfAlive()) return {};
  return Ref<DispatcherQueue>::Attach(found->second);
}

void DispatcherQueue::CurrentThreadEnds() {
  const Ref<DispatcherQueue> queue = ForCurrentThread();
  {
    Registry& registry = GetRegistry();
    const std::lock_guard lock(registry.mutex);
    registry.queues.erase(GetCurrentThreadId());
  }
  if (queue) queue->LoseThread();
}

DispatcherQueue::DispatcherQueue()
    : RuntimeObject(L"Windows.System.DispatcherQueue"), thread_id_(GetCurrentThreadId()) {}

DispatcherQueue::~DispatcherQueue() {
  Registry& registry = GetRegistry();
  {
    const std::lock_guard lock(registry.mutex);
    const auto found = registry.queues.find(thread_id_);
    if (found != registry.queues.end() && found->second == this) registry.queues.erase(found);
  }
  if (!window_) return;
  // Only the owning thread can destroy a window; other threads ask it to.
  if (GetCurrentThreadId() == thread_id_) {
    DestroyWindow(window_);
  } else {
    PostMessageW(window_, WM_CLOSE, 0, 0);
  }
}

HRESULT DispatcherQueue::OpenWindow() {
  WNDCLASSW window_class = {};
  window_class.lpfnWndProc = WindowProcedure;
  window_class.hInstance = ThisModule();
  window_class.lpszClassName = kWindowClass;
  {
    // While one thread registers the class, Wine tells another that it exists before it can be
    // used.
    static std::mutex registering;
    const std::lock_guard lock(registering);
    if (!RegisterClassW(&window_class) && GetLastError() != ERROR_CLASS_ALREADY_EXISTS) {
      return HRESULT_FROM_WIN32(GetLastError());
    }
  }
  window_ = CreateWindowExW(0, kWindowClass, nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                            window_class.hInstance, nullptr);
  if (!window_) return HRESULT_FROM_WIN32(GetLastError());
  return S_OK;
}

void DispatcherQueue::LoseThread() {
  const Ref<DispatcherQueue> kept = std::exchange(kept_by_thread_, {});
  std::deque<Work> dropped;
  const std::lock_guard lock(mutex_);
  window_ = nullptr;
  dropped.swap(work_);
}

LRESULT CALLBACK DispatcherQueue::WindowProcedure(HWND window, UINT message, WPARAM wparam,
                                                  LPARAM lparam) {
  if (message != kRunOne) return DefWindowProcW(window, message, wparam, lparam);
  // Looked up rather than kept with the window: the last reference may go away on another thread.
  const Ref<DispatcherQueue> queue = ForCurrentThread();
  if (queue && queue->window_ == window) queue->RunOne();
  return 0;
}

void DispatcherQueue::RunOne() {
  Work work;
  {
    const std::lock_guard lock(mutex_);
    if (work_.empty()) return;
    work = std::move(work_.front());
    work_.pop_front();
  }
  work->Invoke();
}

HRESULT DispatcherQueue::TryEnqueue(IDispatcherQueueHandler* callback, boolean* result) {
  if (!callback || !result) return E_POINTER;
  *result = false;
  // Posted under the lock, so that messages and pieces of work stay in step.
  const std::lock_guard lock(mutex_);
  if (!window_ || !PostMessageW(window_, kRunOne, 0, 0)) return S_OK;
  work_.emplace_back(callback);
  *result = true;
  return S_OK;
}

// Work runs in the order of the thread's messages; priorities are ignored.
HRESULT DispatcherQueue::TryEnqueueWithPriority(DispatcherQueuePriority,
                                                IDispatcherQueueHandler* callback,
                                                boolean* result) {
  return TryEnqueue(callback, result);
}

HRESULT DispatcherQueue::CreateTimer(IInspectable**) {
  return E_NOTIMPL;
}

HRESULT DispatcherQueue::add_ShutdownStarting(IUnknown*, EventRegistrationToken*) {
  return E_NOTIMPL;
}

HRESULT DispatcherQueue::remove_ShutdownStarting(EventRegistrationToken) {
  return E_NOTIMPL;
}

HRESULT DispatcherQueue::add_ShutdownCompleted(IUnknown*, EventRegistrationToken*) {
  return E_NOTIMPL;
}

HRESULT DispatcherQueue::remove_ShutdownCompleted(EventRegistrationToken) {
  return E_NOTIMPL;
}

}  // namespace standin
