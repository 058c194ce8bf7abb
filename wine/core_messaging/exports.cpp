// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <dispatcherqueue.h>

#include <string_view>

#include "common/factory.h"
#include "core_messaging/dispatcher_queue.h"

namespace standin {
namespace {

using ABI::Windows::System::IDispatcherQueue;
using ABI::Windows::System::IDispatcherQueueController;
using ABI::Windows::System::IDispatcherQueueStatics;

class Controller : public RuntimeObject<IDispatcherQueueController> {
 public:
  explicit Controller(Ref<DispatcherQueue> queue)
      : RuntimeObject(L"Windows.System.DispatcherQueueController"), queue_(std::move(queue)) {}

  HRESULT STDMETHODCALLTYPE get_DispatcherQueue(IInspectable** value) override {
    if (!value) return E_POINTER;
    *value = Ref<DispatcherQueue>(queue_).Detach();
    return S_OK;
  }

  // Not offered: a queue ends with its thread.
  HRESULT STDMETHODCALLTYPE ShutdownQueueAsync(IInspectable** operation) override {
    if (!operation) return E_POINTER;
    *operation = nullptr;
    return E_NOTIMPL;
  }

 private:
  const Ref<DispatcherQueue> queue_;
};

class QueueFactory : public Factory<IDispatcherQueueStatics> {
 public:
  QueueFactory() : Factory(L"Windows.System.DispatcherQueue") {}

  HRESULT STDMETHODCALLTYPE GetForCurrentThread(IDispatcherQueue** result) override {
    if (!result) return E_POINTER;
    *result = DispatcherQueue::ForCurrentThread().Detach();
    return S_OK;
  }
};

bool IsValid(const DispatcherQueueOptions& options) {
  return options.dwSize == sizeof(DispatcherQueueOptions) &&
         (options.threadType == DQTYPE_THREAD_CURRENT ||
          options.threadType == DQTYPE_THREAD_DEDICATED) &&
         options.apartmentType >= DQTAT_COM_NONE && options.apartmentType <= DQTAT_COM_STA;
}

}  // namespace
}  // namespace standin

// The apartment type matters only for a dedicated thread: the current thread's COM is the host's.
STDAPI CreateDispatcherQueueController(
    DispatcherQueueOptions options,
    ABI::Windows::System::IDispatcherQueueController** dispatcherQueueController) {
  if (!dispatcherQueueController) return E_POINTER;
  *dispatcherQueueController = nullptr;
  if (!standin::IsValid(options)) return E_INVALIDARG;
  if (options.threadType == DQTYPE_THREAD_DEDICATED) return E_NOTIMPL;
  standin::Ref<standin::DispatcherQueue> queue;
  const HRESULT created = standin::DispatcherQueue::CreateForCurrentThread(queue);
  if (FAILED(created)) return created;
  *dispatcherQueueController = standin::Make<standin::Controller>(std::move(queue)).Detach();
  return S_OK;
}

STDAPI DllGetActivationFactory(HSTRING class_id, IActivationFactory** factory) {
  if (!factory) return E_POINTER;
  *factory = nullptr;
  const std::wstring_view name = WindowsGetStringRawBuffer(class_id, nullptr);
  if (name != L"Windows.System.DispatcherQueue") return CLASS_E_CLASSNOTAVAILABLE;
  *factory = standin::Make<standin::QueueFactory>().Detach();
  return S_OK;
}

// Queue windows refer to this code until their threads end.
STDAPI DllCanUnloadNow() {
  return S_FALSE;
}

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
  if (reason == DLL_THREAD_DETACH) standin::DispatcherQueue::CurrentThreadEnds();
  return TRUE;
}
