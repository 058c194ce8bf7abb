// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "capture/periodic_thread.h"

namespace standin {
namespace {

struct Plan {
  DWORD interval_ms;
  std::function<bool()> step;
  std::shared_ptr<void> stop_event;
};

DWORD WINAPI Run(void* parameter) {
  const std::unique_ptr<Plan> plan(static_cast<Plan*>(parameter));
  HANDLE stop_event = plan->stop_event.get();
  while (WaitForSingleObject(stop_event, 0) == WAIT_TIMEOUT && plan->step()) {
    if (WaitForSingleObject(stop_event, plan->interval_ms) != WAIT_TIMEOUT) break;
  }
  return 0;
}

}  // namespace

HRESULT PeriodicThread::Start(DWORD interval_ms, std::function<bool()> step) {
  HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (!event) return HRESULT_FROM_WIN32(GetLastError());
  stop_event_ = std::shared_ptr<void>(event, CloseHandle);
  auto plan = std::make_unique<Plan>(Plan{interval_ms, std::move(step), stop_event_});
  HANDLE thread = CreateThread(nullptr, 0, Run, plan.get(), 0, nullptr);
  if (!thread) return HRESULT_FROM_WIN32(GetLastError());
  static_cast<void>(plan.release());  // The thread's now.
  CloseHandle(thread);
  return S_OK;
}

void PeriodicThread::Stop() {
  if (stop_event_) SetEvent(stop_event_.get());
}

}  // namespace standin
