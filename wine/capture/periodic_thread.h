// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <functional>
#include <memory>

namespace standin {

// A thread that does a step at intervals until the step returns false or Stop() is called. Stop()
// and the destructor only signal the thread and never wait for it: they may be called from
// anywhere, from the step itself and from the host's event handlers as well. So the step must own
// all it uses.
class PeriodicThread {
 public:
  PeriodicThread() = default;
  PeriodicThread(const PeriodicThread&) = delete;
  PeriodicThread& operator=(const PeriodicThread&) = delete;
  ~PeriodicThread() { Stop(); }

  // To be called once. The first step comes at once.
  HRESULT Start(DWORD interval_ms, std::function<bool()> step);
  void Stop();

 private:
  std::shared_ptr<void> stop_event_;
};

}  // namespace standin
